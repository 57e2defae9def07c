#include "runningtransfer_p.h"

#include "requestcoding_p.h"

#include <packagerequestreaddata.h>

#include <new>

namespace KorvinExchange {

RunningTransfer::RunningTransfer(const Transfer &transfer, bool emptiesBuffer)
    : m_transfer(transfer)
    , m_package(transfer.package())
    , m_plan(transfer, emptiesBuffer)
{
    PackageBase *package = m_transfer.package();
    package->setPartCount(m_plan.partCount());
    package->setCurPartIndex(0);
    package->setCommResult(OrvexEnum::CommPending);
}

bool RunningTransfer::mayStart(int underWay) const
{
    if (m_isStopping || m_nextStep == m_plan.stepCount())
        return false;
    return underWay == 0 || (underWay < m_transfer.window() && !m_plan.waits(m_nextStep));
}

TransferStep RunningTransfer::startStep()
{
    return m_plan.makeStep(m_nextStep++);
}

void RunningTransfer::endStep(const StepResult &result)
{
    if (result.outcome != Outcome::Success) {
        fail(result);
        return;
    }
    try {
        add(result);
    } catch (const std::bad_alloc &) {
        stop(Outcome::Refused, SendError::OutOfMemory);
    }
}

void RunningTransfer::stop(Outcome outcome, SendError sendError)
{
    StepResult result;
    result.offset = m_done;
    result.outcome = outcome;
    result.sendError = sendError;
    fail(result);
}

void RunningTransfer::finish(Event *event) const
{
    event->outcome = m_failure.outcome;
    event->sendError = m_failure.sendError;
    event->verdict = m_failure.verdict;
    // After it was stopped, requests under way may still have succeeded.
    event->failedOffset = m_isStopping ? qMax(m_failure.offset, m_done) : -1;
    event->done = m_done;
    event->total = m_plan.total();
    event->data = m_data;
    PackageBase *package = m_package;
    if (!package)
        return;
    package->setAckCode(m_failure.ackCode);
    package->setCommResult(m_failure.commResult);
    package->setPackResult(m_failure.packResult);
    setOutcome(package, m_failure.outcome);
    if (m_transfer.kind() == Transfer::Kind::ReadData && !m_isStopping)
        package->setData(m_data);
}

void RunningTransfer::add(const StepResult &result)
{
    if (result.finishes == 0)
        return;
    m_early.insert({result.offset, {result.finishes, result.data}});
    for (auto part = m_early.begin(); part != m_early.end() && part->first == m_done;
         part = m_early.erase(part)) {
        m_data += part->second.data;
        m_done += part->second.size;
    }
    if (PackageBase *package = m_package)
        package->setCurPartIndex(m_plan.partAt(m_done));
}

/// Keeps the failure with the smallest offset.
void RunningTransfer::fail(const StepResult &result)
{
    if (!m_isStopping || result.offset < m_failure.offset)
        m_failure = result;
    m_isStopping = true;
}

} // namespace KorvinExchange
