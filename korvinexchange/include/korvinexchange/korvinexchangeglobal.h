#ifndef KORVINEXCHANGE_KORVINEXCHANGEGLOBAL_H
#define KORVINEXCHANGE_KORVINEXCHANGEGLOBAL_H

/// @file
/// Defines the macro that exports classes and functions of the library. A static build defines
/// KORVINEXCHANGE_STATIC, for itself and for its users.

/// @namespace KorvinExchange
/// Matches requests and replies. Without input and output: Engine matches them, a Framing finds
/// messages in a stream of bytes. Client does both on a QIODevice.

#include <QtCore/QtGlobal>

#include <chrono>

/// @def KORVINEXCHANGE_EXPORT
/// Marks an exported class or function; empty in a static build.

#if defined(KORVINEXCHANGE_STATIC)
#define KORVINEXCHANGE_EXPORT
#elif defined(KORVINEXCHANGE_LIBRARY)
#define KORVINEXCHANGE_EXPORT Q_DECL_EXPORT
#else
#define KORVINEXCHANGE_EXPORT Q_DECL_IMPORT
#endif

namespace KorvinExchange {

/// A point in time, as the time since a fixed moment such as the start of the program. The caller
/// reads the clock; this library does not. Use a monotonic clock: QElapsedTimer or
/// std::chrono::steady_clock. A time before an earlier one counts as that earlier one.
using Time = std::chrono::microseconds;

} // namespace KorvinExchange

#endif
