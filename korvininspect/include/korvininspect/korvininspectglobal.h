#ifndef KORVININSPECT_KORVININSPECTGLOBAL_H
#define KORVININSPECT_KORVININSPECTGLOBAL_H

/// @file
/// Marks what the library exports. A static build defines KORVININSPECT_STATIC, for itself and
/// for its users.

/// @namespace KorvinInspect
/// Looks into frames and records: check() refuses hostile ones before a decoder sees them,
/// explain() says what each field is, guess() what an unknown one may be; packages as JSON and in
/// debug output.

#include <QtCore/QtGlobal>

/// @def KORVININSPECT_EXPORT
/// Stands before what is exported; empty in a static build.

#if defined(KORVININSPECT_STATIC)
#define KORVININSPECT_EXPORT
#elif defined(KORVININSPECT_LIBRARY)
#define KORVININSPECT_EXPORT Q_DECL_EXPORT
#else
#define KORVININSPECT_EXPORT Q_DECL_IMPORT
#endif

#endif
