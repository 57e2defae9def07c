#ifndef KORVININSPECT_KORVININSPECTGLOBAL_H
#define KORVININSPECT_KORVININSPECTGLOBAL_H

/// @file
/// Defines the macro that exports classes and functions of the library. A static build defines
/// KORVININSPECT_STATIC, for itself and for its users.

/// @namespace KorvinInspect
/// Inspects frames and records: check() refuses hostile input before a decoder sees it, explain()
/// says what each field is, and guess() what unknown input may be. Also converts packages of any
/// class to and from frames, records and JSON, and prints them in debug output.

#include <QtCore/QtGlobal>

/// @def KORVININSPECT_EXPORT
/// Marks an exported class or function; empty in a static build.

#if defined(KORVININSPECT_STATIC)
#define KORVININSPECT_EXPORT
#elif defined(KORVININSPECT_LIBRARY)
#define KORVININSPECT_EXPORT Q_DECL_EXPORT
#else
#define KORVININSPECT_EXPORT Q_DECL_IMPORT
#endif

#endif
