#ifndef KORVINEXCHANGE_COUNTERS_H
#define KORVINEXCHANGE_COUNTERS_H

#include "korvinexchangeglobal.h"

#include <array>

namespace KorvinExchange {

/// How often a request took how long, in steps that double: below 1, 2, 4 microseconds and so on.
class KORVINEXCHANGE_EXPORT LatencyHistogram
{
public:
    static constexpr int Steps = 40; ///< The last one has no end.

    /// Counts one.
    void add(Time latency);

    /// How many took less than 2 to the power of @p step microseconds, and not less than half of
    /// it.
    quint64 count(int step) const { return m_counts.at(static_cast<std::size_t>(step)); }

    /// How many there are.
    quint64 total() const;

    /// A time that at least @p share of all have not exceeded, 0 to 1: the end of its step. 0 where
    /// there are none.
    Time percentile(double share) const;

private:
    std::array<quint64, Steps> m_counts = {};
};

/// What has happened on a link.
struct Counters
{
    // Messages.
    quint64 sent = 0;          ///< Sent for the first time.
    quint64 repeated = 0;      ///< Sent again.
    quint64 bytesSent = 0;     ///< Of both.
    quint64 bytesReceived = 0; ///< Of all that was received.

    // Replies; a message with the replies of a combination has several.
    quint64 answered = 0;       ///< That ended a request.
    quint64 late = 0;           ///< To a request that had ended without one.
    quint64 duplicate = 0;      ///< To a request that had been answered.
    quint64 unknown = 0;        ///< To no request.
    quint64 refusedReplies = 0; ///< That do not fit to the request whose serial number they have.

    // Requests that have ended; items of combinations and parts of transfers included.
    quint64 succeeded = 0; ///< With `Outcome::Success`.
    quint64 failed = 0;    ///< With `Outcome::Failure`.
    quint64 timedOut = 0;  ///< With `Outcome::TimedOut` or `Outcome::RefusedReply`.
    quint64 cancelled = 0; ///< With `Outcome::Cancelled`.
    quint64 linkLost = 0;  ///< With `Outcome::LinkLost`.
    quint64 refused = 0;   ///< With `Outcome::Refused`, those that Engine::send() refused included.

    LatencyHistogram latency; ///< From the first attempt to the reply.
};

} // namespace KorvinExchange

#endif
