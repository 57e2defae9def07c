#ifndef KORVINPACKAGE_KORVINPACKAGEGLOBAL_H
#define KORVINPACKAGE_KORVINPACKAGEGLOBAL_H

/// @file
/// Defines the macro that exports classes and functions of the library. A static build defines
/// KORVINPACKAGE_STATIC, for itself and for its users.

#include <QtCore/QtGlobal>

/// @def KORVINPACKAGE_EXPORT
/// Marks an exported class or function; empty in a static build.

#if defined(KORVINPACKAGE_STATIC)
#define KORVINPACKAGE_EXPORT
#elif defined(KORVINPACKAGE_LIBRARY)
#define KORVINPACKAGE_EXPORT Q_DECL_EXPORT
#else
#define KORVINPACKAGE_EXPORT Q_DECL_IMPORT
#endif

#endif
