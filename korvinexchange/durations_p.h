#ifndef KORVINEXCHANGE_DURATIONS_P_H
#define KORVINEXCHANGE_DURATIONS_P_H

#include "include/korvinexchange/korvinexchangeglobal.h"

namespace KorvinExchange {

/// Upper limit of durations, so that adding them to moments cannot overflow.
constexpr std::chrono::milliseconds LongestDuration = std::chrono::hours(24 * 365);

/// Bounds a duration of the caller. @p least is in milliseconds.
inline void bound(std::chrono::milliseconds *duration, int least)
{
    *duration = qBound(std::chrono::milliseconds(least), *duration, LongestDuration);
}

} // namespace KorvinExchange

#endif
