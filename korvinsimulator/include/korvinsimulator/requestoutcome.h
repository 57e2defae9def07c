#ifndef KORVINSIMULATOR_REQUESTOUTCOME_H
#define KORVINSIMULATOR_REQUESTOUTCOME_H

#include <orvexenum.h>

namespace KorvinSimulator {

/// What a device says about a request.
struct RequestOutcome
{
    /// 0 for success, below 128. The status of a Linux frame is this code, and nothing else of the
    /// outcome is in it.
    unsigned ackCode = 0;
    OrvexEnum::CommResults commResult = OrvexEnum::CommOk;    ///< Of the transport.
    OrvexEnum::PackageResults packResult = OrvexEnum::PackOk; ///< Of the device.
};

} // namespace KorvinSimulator

#endif
