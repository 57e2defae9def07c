#ifndef KORVINEXCHANGE_COUNTERS_H
#define KORVINEXCHANGE_COUNTERS_H

#include "korvinexchangeglobal.h"

#include <array>

namespace KorvinExchange {

/// A histogram of latencies. The steps double: below 1, 2, 4 microseconds and so on.
class KORVINEXCHANGE_EXPORT LatencyHistogram
{
public:
    static constexpr int Steps = 40; ///< The last step has no upper limit.

    /// Counts a latency.
    void add(Time latency);

    /// Returns how many latencies were below 2 to the power of @p step microseconds, but not below
    /// half of that; 0 for a step that does not exist.
    quint64 count(int step) const
    {
        return step >= 0 && step < Steps ? m_counts.at(static_cast<std::size_t>(step)) : 0;
    }

    /// Returns the number of latencies.
    quint64 total() const;

    /// Returns a time that at least @p share (0 to 1) of the latencies did not exceed, rounded up
    /// to the end of its step, which is Time::max() for the last step; 0 if there are no latencies.
    Time percentile(double share) const;

private:
    std::array<quint64, Steps> m_counts = {};
};

/// Counts of events on a link.
struct Counters
{
    // Messages.
    quint64 sent = 0;          ///< Sent for the first time.
    quint64 repeated = 0;      ///< Sent again.
    quint64 bytesSent = 0;     ///< Bytes of all messages sent.
    quint64 bytesReceived = 0; ///< Bytes of all messages received.

    // Replies; a message with the replies of a combination has several.
    quint64 answered = 0;       ///< Ended a request.
    quint64 late = 0;           ///< Came after their request had ended without a reply.
    quint64 duplicate = 0;      ///< Came after their request had been answered.
    quint64 unknown = 0;        ///< Belong to no request.
    quint64 refusedReplies = 0; ///< Do not match the request with their serial number.

    // Requests that have ended, including items of combinations and parts of transfers.
    quint64 succeeded = 0; ///< With `Outcome::Success`.
    quint64 failed = 0;    ///< With `Outcome::Failure`.
    quint64 timedOut = 0;  ///< With `Outcome::TimedOut` or `Outcome::RefusedReply`.
    quint64 cancelled = 0; ///< With `Outcome::Cancelled`.
    quint64 linkLost = 0;  ///< With `Outcome::LinkLost`.
    quint64 refused = 0; ///< With `Outcome::Refused`, including those that Engine::send() refused.

    LatencyHistogram latency; ///< Times from the first attempt to the reply.
};

} // namespace KorvinExchange

#endif
