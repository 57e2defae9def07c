#ifndef KORVINEXCHANGE_RUNNINGTRANSFER_P_H
#define KORVINEXCHANGE_RUNNINGTRANSFER_P_H

#include "include/korvinexchange/outcome.h"
#include "include/korvinexchange/settings.h"
#include "transferplan_p.h"

#include <orvexenum.h>

#include <QtCore/QPointer>

#include <map>

namespace KorvinExchange {

/// How a request of a transfer has ended.
struct StepResult
{
    qint64 offset = 0;
    int finishes = 0; ///< As in TransferStep.
    QByteArray data;  ///< That its reply brought.
    Outcome outcome = Outcome::Success;
    SendError sendError = SendError::None;
    KorvinInspect::Verdict verdict = {};
    uint ackCode = 0;
    OrvexEnum::CommResults commResult = OrvexEnum::CommOk;
    OrvexEnum::PackageResults packResult = OrvexEnum::PackOk;
};

/// What a transfer has done, and what is to do.
class RunningTransfer
{
public:
    RunningTransfer(const Transfer &transfer, bool emptiesBuffer);

    const TransferPlan &plan() const { return m_plan; }

    /// The caller's package; null where it is gone.
    PackageBase *package() const { return m_package; }

    /// The bytes that are done from the beginning on.
    qint64 done() const { return m_done; }

    /// Whether the next step may be started while some have not ended.
    bool mayStart(int underWay) const;

    /// Makes the request of the next step. Throws std::bad_alloc.
    TransferStep startStep();

    /// Takes a step that has ended. What memory does not suffice for has failed.
    void endStep(const StepResult &result);

    /// Starts nothing more; what is not done has failed.
    void stop(Outcome outcome, SendError sendError);

    /// Whether all is done, or nothing more will be, while some steps have not ended.
    bool isOver(int underWay) const;

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
    std::map<qint64, Part> m_early; ///< Parts that are done before an earlier one, by offset.
    qint64 m_done = 0;
    QByteArray m_data; ///< What was read of it.
    bool m_isStopping = false;
    StepResult m_failure; ///< The first one by offset, where it is stopping.
};

} // namespace KorvinExchange

#endif
