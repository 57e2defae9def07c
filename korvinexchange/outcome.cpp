#include "include/korvinexchange/outcome.h"

namespace KorvinExchange {

namespace {

QString describe(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Success:
        return QStringLiteral("success");
    case Outcome::Failure:
        return QStringLiteral("failure");
    case Outcome::TimedOut:
        return QStringLiteral("timed out");
    case Outcome::Cancelled:
        return QStringLiteral("cancelled");
    case Outcome::LinkLost:
        return QStringLiteral("link lost");
    case Outcome::Refused:
        return QStringLiteral("refused");
    default:
        return QStringLiteral("refused reply");
    }
}

} // namespace

QString describe(SendError sendError)
{
    switch (sendError) {
    case SendError::None:
        return QStringLiteral("ok");
    case SendError::QueueFull:
        return QStringLiteral("too many requests are waiting");
    case SendError::TooManyItems:
        return QStringLiteral("too few or too many items, or one that is under way");
    case SendError::NotCarried:
        return QStringLiteral("no form of the peer carries it");
    case SendError::NotAccepted:
        return QStringLiteral("the peer would refuse it");
    case SendError::TooLong:
        return QStringLiteral("its message is too long");
    case SendError::TooMuchData:
        return QStringLiteral("it asks for too much data");
    default:
        return QStringLiteral("out of memory");
    }
}

QString describe(const Event &event)
{
    if (event.type == Event::Type::Progress)
        return QStringLiteral("%1 of %2 bytes").arg(event.done).arg(event.total);
    QString text = describe(event.outcome);
    if (event.failedOffset >= 0)
        text += QStringLiteral(" at byte %1").arg(event.failedOffset);
    if (event.sendError != SendError::None)
        text += QLatin1String(": ") + describe(event.sendError);
    if (!event.verdict.isOk())
        text += QLatin1String(": ") + KorvinInspect::describe(event.verdict);
    return text;
}

} // namespace KorvinExchange
