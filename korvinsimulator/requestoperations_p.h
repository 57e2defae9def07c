#ifndef REQUESTOPERATIONS_P_H
#define REQUESTOPERATIONS_P_H

#include "unitoperations_p.h"

#include <korvinsimulator/faultplan.h>

#include <packagebase.h>

/// @file
/// What devices do with a decoded request, and what faults do with its reply.

namespace KorvinSimulator {

void setOutcome(PackageBase &request, const RequestOutcome &outcome);

/// Gives a request the serial number before its own, from 255 down to 1.
void setStaleSerial(PackageBase &request);

/// Carries out a request on a state, and stores outcome and data in it.
///
/// @param used may be null.
void carryOutOn(DeviceState &state, PackageBase &request, SpaceCache *used);

/// Returns what is sent of a reply that meets a fault.
std::vector<QByteArray> transmit(const QByteArray &reply, const Fault &fault);

} // namespace KorvinSimulator

#endif
