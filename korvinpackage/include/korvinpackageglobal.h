#ifndef KORVINPACKAGE_KORVINPACKAGEGLOBAL_H
#define KORVINPACKAGE_KORVINPACKAGEGLOBAL_H

/// @file
/// Marks what the library exports. A static build defines KORVINPACKAGE_STATIC, for itself and
/// for its users.

#include <QtCore/QtGlobal>

/// @def KORVINPACKAGE_EXPORT
/// Stands before what is exported; empty in a static build.

#if defined(KORVINPACKAGE_STATIC)
#define KORVINPACKAGE_EXPORT
#elif defined(KORVINPACKAGE_LIBRARY)
#define KORVINPACKAGE_EXPORT Q_DECL_EXPORT
#else
#define KORVINPACKAGE_EXPORT Q_DECL_IMPORT
#endif

#endif
