#ifndef KORVINEXCHANGE_PACKAGETIMEROUT_H
#define KORVINEXCHANGE_PACKAGETIMEROUT_H

#include <QtCore/QTimer>

namespace KORVIN_LINUX_CLIENT {

/// The time-out timer of a package that is under way, which PackageBase only declares.
///
/// A KorvinExchange::Client attaches one to each package that it sends and that has none of the
/// caller's: PackageBase::getTimeOutTimer() is that timer until the package has its outcome, and
/// null again after it. remainingTime() is the time that is left for the reply; each repetition
/// begins anew. It only shows the time: the request ends by the clock of the client, whatever is
/// done to the timer.
///
/// A copy of the package that is made meanwhile has the same pointer: set it to null there.
///
/// Nothing of the class is in the library: a program may have a class of this name of its own,
/// which the interface leaves to it.
class PackageTimerOut : public QTimer
{
public:
    explicit PackageTimerOut(QObject *parent = nullptr)
        : QTimer(parent)
    {
        setSingleShot(true);
        setTimerType(Qt::PreciseTimer);
    }
};

} // namespace KORVIN_LINUX_CLIENT

#endif
