#include "include/korvinexchange/trace.h"

#include <korvininspect/packageexplain.h>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

QString describe(TraceEvent event)
{
    switch (event) {
    case TraceEvent::Sent:
        return QStringLiteral("sent");
    case TraceEvent::Repeated:
        return QStringLiteral("repeated");
    case TraceEvent::Answered:
        return QStringLiteral("answered");
    case TraceEvent::Late:
        return QStringLiteral("late");
    case TraceEvent::Duplicate:
        return QStringLiteral("duplicate");
    case TraceEvent::Unknown:
        return QStringLiteral("unknown");
    default:
        return QStringLiteral("refused");
    }
}

} // namespace

QString describe(const TraceEntry &entry)
{
    QString text = describe(entry.event);
    if (!entry.verdict.isOk())
        text += QStringLiteral(" (%1)").arg(KorvinInspect::describe(entry.verdict));
    text += QLatin1String(": ") + KorvinInspect::describe(entry.shape);
    for (const ExplainedField &field : explain(entry.message, entry.shape)) {
        if (!field.name.isEmpty())
            text += QStringLiteral(", %1 %2").arg(field.name, valueForPeople(field));
    }
    return text;
}

Trace::~Trace() = default;

} // namespace KorvinExchange
