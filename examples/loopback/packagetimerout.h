#ifndef PACKAGETIMEROUT_H
#define PACKAGETIMEROUT_H

#include <QtCore/QTimer>

namespace KORVIN_LINUX_CLIENT {

/// The time-out timer of a request, which the library declares and leaves to the transport: it is
/// attached to the package with setTimeOutTimer() while the request is under way.
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
};

} // namespace KORVIN_LINUX_CLIENT

#endif
