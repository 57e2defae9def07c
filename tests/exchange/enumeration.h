#ifndef ENUMERATION_H
#define ENUMERATION_H

#include <QtCore/QString>

#include <string>

/// What may go wrong in an enumeration, and how often of each.
struct EnumeratedFaults
{
    int duplicates = 0; ///< A reply comes once more.
    int spoilt = 0;     ///< A reply comes cut.
    int cancelled = 0;  ///< The client gives up.
    int lost = 0;       ///< The link ends.
    int ticks = 3; ///< Time passes until something is due: replies that come after it are late.
};

/// How much an enumeration has seen.
struct EnumerationResult
{
    QString failure; ///< What does not hold, and after which events; empty where all holds.
    int states = 0;  ///< That differ from each other.
    int events = 0;  ///< That led from one to the next.
};

/// Plays all orders of events for some requests and faults: a request is begun, its message is
/// sent, the reply to a message comes or never comes, time passes, and the faults happen. Orders
/// that lead to the same state are followed once.
///
/// The requests are reads ('r') and writes ('w') of one register in byte frames, whose short
/// replies show nothing but the serial number; there are two of these.
EnumerationResult enumerateOrders(const std::string &requests, const EnumeratedFaults &faults);

#endif
