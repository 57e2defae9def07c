#include <korvinexchange/counters.h>

bool korvinexchange_counters();

bool korvinexchange_counters()
{
    KorvinExchange::Counters counters;
    counters.latency.add(KorvinExchange::Time(3));
    return counters.latency.total() == 1 && counters.latency.count(2) == 1
        && counters.latency.percentile(0.5) >= KorvinExchange::Time(3);
}
