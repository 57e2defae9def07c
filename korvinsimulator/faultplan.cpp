#include <korvinsimulator/faultplan.h>

#include "unitoperations_p.h"

namespace KorvinSimulator {

QString describe(FaultKind kind)
{
    switch (kind) {
    case FaultKind::None:
        return QStringLiteral("no fault");
    case FaultKind::DropRequest:
        return QStringLiteral("lost request");
    case FaultKind::DropReply:
        return QStringLiteral("lost reply");
    case FaultKind::Delay:
        return QStringLiteral("late reply");
    case FaultKind::Corrupt:
        return QStringLiteral("corrupt reply");
    case FaultKind::Truncate:
        return QStringLiteral("truncated reply");
    case FaultKind::Duplicate:
        return QStringLiteral("reply sent twice");
    case FaultKind::StaleSerial:
        return QStringLiteral("reply with a stale serial number");
    default:
        return QStringLiteral("given outcome");
    }
}

FaultPlan FaultPlan::scripted(const std::vector<Fault> &faults)
{
    FaultPlan plan;
    plan.m_script = faults;
    return plan;
}

FaultPlan FaultPlan::random(quint32 seed, double share, const std::vector<FaultKind> &kinds)
{
    FaultPlan plan;
    plan.m_engine.seed(seed);
    plan.m_share = kinds.empty() ? 0 : share;
    plan.m_kinds = kinds;
    return plan;
}

std::vector<FaultKind> FaultPlan::all()
{
    return {FaultKind::DropRequest, FaultKind::DropReply, FaultKind::Delay,
            FaultKind::Corrupt,     FaultKind::Truncate,  FaultKind::Duplicate,
            FaultKind::StaleSerial, FaultKind::Result};
}

Fault FaultPlan::next()
{
    if (m_nextOfScript < m_script.size())
        return m_script.at(m_nextOfScript++);
    // The distributions of the standard library differ between implementations.
    constexpr double Range = 4294967296.0;
    if (static_cast<double>(m_engine()) >= m_share * Range)
        return {};
    constexpr quint32 LongestDelay = 100;
    Fault fault;
    fault.kind = m_kinds.at(m_engine() % m_kinds.size());
    fault.delay = static_cast<int>(m_engine() % LongestDelay + 1);
    fault.position = static_cast<quint32>(m_engine());
    fault.outcome = AnyFailure;
    return fault;
}

} // namespace KorvinSimulator
