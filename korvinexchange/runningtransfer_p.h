#ifndef KORVINEXCHANGE_RUNNINGTRANSFER_P_H
#define KORVINEXCHANGE_RUNNINGTRANSFER_P_H

#include "include/korvinexchange/outcome.h"
#include "include/korvinexchange/settings.h"
#include "transferplan_p.h"

#include <orvexenum.h>

#include <QtCore/QPointer>

#include <map>

namespace KorvinExchange {

/// The result of a request of a transfer.
struct StepResult
{
    qint64 offset = 0;
    int finishes = 0; ///< As in TransferStep.
    QByteArray data;  ///< The data of its reply.
    Outcome outcome = Outcome::Success;
    SendError sendError = SendError::None;
    KorvinInspect::Verdict verdict = {};
    uint ackCode = 0;
    OrvexEnum::CommResults commResult = OrvexEnum::CommOk;
    OrvexEnum::PackageResults packResult = OrvexEnum::PackOk;
};

/// The progress of a transfer.
class RunningTransfer
{
public:
    RunningTransfer(const Transfer &transfer, bool emptiesBuffer);

    const TransferPlan &plan() const { return m_plan; }

    /// Returns the caller's package; null if it was deleted.
    PackageBase *package() const { return m_package; }

    /// Returns the number of bytes that are done without a gap from the beginning on.
    qint64 done() const { return m_done; }

    /// Returns whether the next step may start before all earlier ones have ended. If it may not
    /// while none is under way, the transfer is over.
    bool mayStart(int underWay) const;

    /// Makes the request of the next step. Throws std::bad_alloc.
    TransferStep startStep();

    /// Handles a step that has ended. A step for whose result there is no memory has failed.
    void endStep(const StepResult &result);

    /// Starts no more steps. Parts that are not done have failed.
    void stop(Outcome outcome, SendError sendError);

    /// Stores results and data in the package, and the outcome in an event.
    void finish(Event *event) const;

private:
    struct Part
    {
        int size;
        QByteArray data;
    };

    void add(const StepResult &result);
    void fail(const StepResult &result);

    Transfer m_transfer;
    QPointer<PackageBase> m_package;
    TransferPlan m_plan;
    int m_nextStep = 0;
    std::map<qint64, Part> m_early; ///< Parts that are done although an earlier one is not.
    qint64 m_done = 0;
    QByteArray m_data; ///< The data read from the beginning on.
    bool m_isStopping = false;
    StepResult m_failure; ///< If it is stopping: the failure with the smallest offset.
};

} // namespace KorvinExchange

#endif
