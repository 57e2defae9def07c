#ifndef KORVINSIMULATOR_REQUESTOUTCOME_H
#define KORVINSIMULATOR_REQUESTOUTCOME_H

#include <orvexenum.h>

namespace KorvinSimulator {

/// The outcome of a request on a device.
struct RequestOutcome
{
    /// 0 for success; always below 128. A Linux frame carries only this code, as its status.
    unsigned ackCode = 0;
    OrvexEnum::CommResults commResult = OrvexEnum::CommOk;    ///< Result of the transport.
    OrvexEnum::PackageResults packResult = OrvexEnum::PackOk; ///< Result of the device.
};

} // namespace KorvinSimulator

#endif
