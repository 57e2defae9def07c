#ifndef KORVINEXCHANGE_KORVINEXCHANGEGLOBAL_H
#define KORVINEXCHANGE_KORVINEXCHANGEGLOBAL_H

/// @file
/// Marks what the library exports. A static build defines KORVINEXCHANGE_STATIC, for itself and for
/// its users.

/// @namespace KorvinExchange
/// Requests and the replies that belong to them. Without input and output: Engine ties them
/// together, a Framing finds messages in a stream of bytes. Client does both on a QIODevice.

#include <QtCore/QtGlobal>

#include <chrono>

/// @def KORVINEXCHANGE_EXPORT
/// Stands before what is exported; empty in a static build.

#if defined(KORVINEXCHANGE_STATIC)
#define KORVINEXCHANGE_EXPORT
#elif defined(KORVINEXCHANGE_LIBRARY)
#define KORVINEXCHANGE_EXPORT Q_DECL_EXPORT
#else
#define KORVINEXCHANGE_EXPORT Q_DECL_IMPORT
#endif

namespace KorvinExchange {

/// A moment: how long ago one was that never changes, such as the start of the program or of the
/// machine. The caller reads the clock, nothing here does. It should be a clock that nobody sets:
/// QElapsedTimer or std::chrono::steady_clock. A moment before the latest one that was passed
/// counts as that one.
using Time = std::chrono::microseconds;

} // namespace KorvinExchange

#endif
