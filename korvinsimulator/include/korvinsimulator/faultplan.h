#ifndef KORVINSIMULATOR_FAULTPLAN_H
#define KORVINSIMULATOR_FAULTPLAN_H

#include <korvinsimulator/korvinsimulatorglobal.h>
#include <korvinsimulator/requestoutcome.h>

#include <QtCore/QString>

#include <random>
#include <vector>

namespace KorvinSimulator {

/// The kinds of faults that a request may meet.
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

/// Returns the kind in words, such as "truncated reply".
KORVINSIMULATOR_EXPORT QString describe(FaultKind kind);

/// One fault and its details.
struct Fault
{
    FaultKind kind = FaultKind::None; ///< What goes wrong.

    /// For Delay: milliseconds.
    int delay = 0;

    /// For Corrupt: the bit to flip, counted from the lowest bit of the first byte. For Truncate:
    /// the number of bytes to keep. Used modulo the size of the reply, so any number is valid.
    quint32 position = 0;

    /// For Result: the outcome.
    RequestOutcome outcome = {};
};

/// Decides which fault each request of a device meets: none, those of a script, or random ones.
///
/// The same script or seed gives the same faults in every run.
class KORVINSIMULATOR_EXPORT FaultPlan
{
public:
    /// Plans no faults.
    FaultPlan() = default;

    /// Plans one fault for each of the next requests, in order, and no faults after the last one.
    static FaultPlan scripted(const std::vector<Fault> &faults);

    /// Plans random faults.
    ///
    /// @param seed initialises the random numbers.
    /// @param share is the probability that a request meets a fault: 0 for none, 1 for every
    ///     request.
    /// @param kinds are the kinds to choose from, all equally likely. A delay is 1 to 100
    ///     milliseconds, a result is `PackFailure` with acknowledge code 6.
    static FaultPlan random(quint32 seed, double share,
                            const std::vector<FaultKind> &kinds = all());

    /// Returns all kinds except None.
    static std::vector<FaultKind> all();

    /// Returns the fault of the next request.
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
