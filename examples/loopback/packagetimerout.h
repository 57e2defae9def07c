#ifndef PACKAGETIMEROUT_H
#define PACKAGETIMEROUT_H

#include <orvexenum.h>

#include <QtCore/QTimer>

namespace KORVIN_LINUX_CLIENT {

/// The time-out timer of a request, which the library declares and leaves to the transport: it is
/// attached to the package with setTimeOutTimer() while the request is under way.
///
/// When it runs out the request ends with the outcome that the timer has: a time-out, unless the
/// transport has found a reason to give up earlier.
class PackageTimerOut : public QTimer
{
    Q_OBJECT

public:
    /// Starts to run.
    PackageTimerOut(int milliseconds, QObject *parent)
        : QTimer(parent)
    {
        setSingleShot(true);
        start(milliseconds);
    }

    /// Runs out as soon as the event loop comes round, with another outcome.
    void giveUp(OrvexEnum::CommResults commResult, OrvexEnum::PackageResults packResult)
    {
        m_commResult = commResult;
        m_packResult = packResult;
        start(0);
    }

    OrvexEnum::CommResults commResult() const { return m_commResult; }
    OrvexEnum::PackageResults packResult() const { return m_packResult; }

private:
    OrvexEnum::CommResults m_commResult = OrvexEnum::CommTimeout;
    OrvexEnum::PackageResults m_packResult = OrvexEnum::PackTimeOut;
};

} // namespace KORVIN_LINUX_CLIENT

#endif
