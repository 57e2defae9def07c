#ifndef KORVINEXCHANGE_PACKAGETIMEROUT_H
#define KORVINEXCHANGE_PACKAGETIMEROUT_H

#include <QtCore/QDeadlineTimer>

#include <chrono>

namespace KORVIN_LINUX_CLIENT {

/// The time-out timer of a package that is under way, which PackageBase only declares.
///
/// A KorvinExchange::Client attaches one to each package that it sends, unless the caller has set
/// one: PackageBase::getTimeOutTimer() returns it until the package has its outcome, and null
/// afterwards. It shows the time left for the reply, and starts again with each repetition; the
/// client itself uses its own clock.
///
/// A copy of the package that is made meanwhile has the same pointer: set it to null in the copy.
///
/// The class is defined in this header only, so a program that does not include it may define a
/// class of the same name.
class PackageTimerOut
{
public:
    /// Makes a timer that expires after @p left.
    explicit PackageTimerOut(std::chrono::milliseconds left)
        : m_deadline(left, Qt::PreciseTimer)
    {
    }

    /// Returns the time left in milliseconds, 0 if the timer has expired.
    qint64 remainingTime() const { return m_deadline.remainingTime(); }

    /// Returns whether the timer has expired.
    bool hasExpired() const { return m_deadline.hasExpired(); }

private:
    QDeadlineTimer m_deadline;
};

} // namespace KORVIN_LINUX_CLIENT

#endif
