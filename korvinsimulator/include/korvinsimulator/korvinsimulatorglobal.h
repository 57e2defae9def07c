#ifndef KORVINSIMULATOR_KORVINSIMULATORGLOBAL_H
#define KORVINSIMULATOR_KORVINSIMULATORGLOBAL_H

/// @file
/// Defines the macro that exports classes and functions of the library. A static build defines
/// KORVINSIMULATOR_STATIC, for itself and for its users.

/// @namespace KorvinSimulator
/// SimulatedDevice, a device in memory, with its state and the faults that it shows on purpose.

#include <QtCore/QtGlobal>

/// @def KORVINSIMULATOR_EXPORT
/// Marks an exported class or function; empty in a static build.

#if defined(KORVINSIMULATOR_STATIC)
#define KORVINSIMULATOR_EXPORT
#elif defined(KORVINSIMULATOR_LIBRARY)
#define KORVINSIMULATOR_EXPORT Q_DECL_EXPORT
#else
#define KORVINSIMULATOR_EXPORT Q_DECL_IMPORT
#endif

#endif
