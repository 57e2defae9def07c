#include "include/korvinexchange/counters.h"

#include <numeric>

namespace KorvinExchange {

void LatencyHistogram::add(Time latency)
{
    std::size_t step = 0;
    for (auto rest = latency.count(); rest > 0 && step + 1 < Steps; rest /= 2)
        ++step;
    ++m_counts.at(step);
}

quint64 LatencyHistogram::total() const
{
    return std::accumulate(m_counts.begin(), m_counts.end(), quint64(0));
}

Time LatencyHistogram::percentile(double share) const
{
    const double wanted = share * static_cast<double>(total());
    quint64 seen = 0;
    Time end{0};
    for (std::size_t step = 0; step < Steps; ++step) {
        if (m_counts.at(step) > 0 && (seen == 0 || static_cast<double>(seen) < wanted))
            end = step + 1 < Steps ? Time(Time::rep(1) << step) : Time::max();
        seen += m_counts.at(step);
    }
    return end;
}

} // namespace KorvinExchange
