#ifndef KORVINSIMULATOR_KORVINSIMULATORGLOBAL_H
#define KORVINSIMULATOR_KORVINSIMULATORGLOBAL_H

/// @file
/// Marks what the library exports. A static build defines KORVINSIMULATOR_STATIC, for itself and
/// for its users.

/// @namespace KorvinSimulator
/// A device in memory, SimulatedDevice: what it holds, what it answers, and what goes wrong on
/// purpose.

#include <QtCore/QtGlobal>

/// @def KORVINSIMULATOR_EXPORT
/// Stands before what is exported; empty in a static build.

#if defined(KORVINSIMULATOR_STATIC)
#define KORVINSIMULATOR_EXPORT
#elif defined(KORVINSIMULATOR_LIBRARY)
#define KORVINSIMULATOR_EXPORT Q_DECL_EXPORT
#else
#define KORVINSIMULATOR_EXPORT Q_DECL_IMPORT
#endif

#endif
