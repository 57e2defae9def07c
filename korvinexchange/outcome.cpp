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

QString describe(Refusal refusal)
{
    switch (refusal) {
    case Refusal::None:
        return QStringLiteral("ok");
    case Refusal::QueueFull:
        return QStringLiteral("too many requests wait");
    case Refusal::TooManyItems:
        return QStringLiteral("too few or too many items");
    case Refusal::NotCarried:
        return QStringLiteral("no form of the peer carries it");
    case Refusal::NotAccepted:
        return QStringLiteral("it would be refused");
    case Refusal::TooLong:
        return QStringLiteral("its message is too long");
    case Refusal::TooMuchData:
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
    if (event.refusal != Refusal::None)
        text += QLatin1String(": ") + describe(event.refusal);
    if (!event.verdict.isOk())
        text += QLatin1String(": ") + KorvinInspect::describe(event.verdict);
    return text;
}

} // namespace KorvinExchange
