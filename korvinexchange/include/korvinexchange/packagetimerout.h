#ifndef KORVINEXCHANGE_PACKAGETIMEROUT_H
#define KORVINEXCHANGE_PACKAGETIMEROUT_H

#include <QtCore/QDeadlineTimer>

#include <chrono>

namespace KORVIN_LINUX_CLIENT {

/// The time-out timer of a package that is under way, which PackageBase only declares.
///
/// A KorvinExchange::Client attaches one to each package that it sends and that has none of the
/// caller's: PackageBase::getTimeOutTimer() is that timer until the package has its outcome, and
/// null again after it. It shows the time that is left for the reply, which begins anew with each
/// repetition; the client looks at its own clock.
///
/// A copy of the package that is made meanwhile has the same pointer: set it to null there.
///
/// Nothing of the class is in the library: a program may have a class of this name of its own,
/// which the interface leaves to it.
class PackageTimerOut
{
public:
    /// One that runs out after @p left.
    explicit PackageTimerOut(std::chrono::milliseconds left)
        : m_deadline(left, Qt::PreciseTimer)
    {
    }

    /// In milliseconds, 0 where it has run out.
    qint64 remainingTime() const { return m_deadline.remainingTime(); }

    /// Whether it has run out.
    bool hasExpired() const { return m_deadline.hasExpired(); }

private:
    QDeadlineTimer m_deadline;
};

} // namespace KORVIN_LINUX_CLIENT

#endif
