#ifndef KORVINSIMULATOR_FAULTPLAN_H
#define KORVINSIMULATOR_FAULTPLAN_H

#include <korvinsimulator/korvinsimulatorglobal.h>
#include <korvinsimulator/requestoutcome.h>

#include <QtCore/QString>

#include <random>
#include <vector>

namespace KorvinSimulator {

/// What goes wrong with a request.
enum class FaultKind {
    None,
    DropRequest, ///< The request gets lost: it is not carried out, and there is no reply.
    DropReply,   ///< The request is carried out, and its reply gets lost.
    Delay,       ///< The reply comes late.
    Corrupt,     ///< One bit of the reply is flipped.
    Truncate,    ///< The reply ends too early.
    Duplicate,   ///< The reply comes twice.
    StaleSerial, ///< The reply has the serial number before that of the request.
    Result       ///< The request is not carried out; the reply has a given outcome.
};

/// The kind in words, such as "truncated reply".
KORVINSIMULATOR_EXPORT QString describe(FaultKind kind);

/// One fault and its details.
struct Fault
{
    FaultKind kind = FaultKind::None; ///< What goes wrong.

    /// Delay: in milliseconds.
    int delay = 0;

    /// Corrupt: the bit to flip, counted from the lowest bit of the first byte. Truncate: the bytes
    /// that are left. Taken modulo what the reply has, so that any number will do.
    quint32 position = 0;

    /// Result: the outcome.
    RequestOutcome outcome = {};
};

/// Which request of a device meets which fault: none, those of a script, or some by chance.
///
/// The same script or seed gives the same faults in every run.
class KORVINSIMULATOR_EXPORT FaultPlan
{
public:
    /// No faults.
    FaultPlan() = default;

    /// The faults of the next requests, one for each, in order; none behind the last one.
    static FaultPlan scripted(const std::vector<Fault> &faults);

    /// A fault for about one in 1 / @p share requests.
    ///
    /// @param seed decides about all that is left to chance.
    /// @param share is a probability, from 0 for none to 1 for every request.
    /// @param kinds are those to choose from, all equally likely. Delays are of 1 to 100
    ///     milliseconds, results are `PackFailure` with acknowledge code 6.
    static FaultPlan random(quint32 seed, double share,
                            const std::vector<FaultKind> &kinds = all());

    /// All kinds but None.
    static std::vector<FaultKind> all();

    /// The fault of the next request.
    Fault next();

private:
    std::vector<Fault> m_script;
    std::size_t m_nextOfScript = 0;
    std::mt19937 m_engine;
    double m_share = 0;
    std::vector<FaultKind> m_kinds;
};

} // namespace KorvinSimulator

#endif
