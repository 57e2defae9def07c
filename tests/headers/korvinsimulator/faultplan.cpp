#include <korvinsimulator/faultplan.h>

bool korvinsimulator_faultplan();

bool korvinsimulator_faultplan()
{
    using namespace KorvinSimulator;
    FaultPlan plan = FaultPlan::scripted({{FaultKind::Truncate, 0, 40}});
    const Fault fault = plan.next();
    return fault.kind == FaultKind::Truncate && fault.outcome.ackCode == 0
        && !describe(fault.kind).isEmpty();
}
