#ifndef KORVINEXCHANGE_ENGINE_P_H
#define KORVINEXCHANGE_ENGINE_P_H

#include "include/korvinexchange/engine.h"
#include "runningtransfer_p.h"
#include "serialnumbers_p.h"

#include <QtCore/QPointer>
#include <QtCore/QVarLengthArray>

#include <list>
#include <map>
#include <set>
#include <unordered_map>

namespace KorvinExchange {

/// When a job is due. Those of the same moment are in the order in which they were handed over.
struct Due
{
    Time at;
    quint64 order;
    Job *job;

    bool operator<(const Due &other) const
    {
        return at != other.at ? at < other.at : order < other.order;
    }
};

/// An event to tell. Its package may be deleted before it is taken.
struct Told
{
    Event event;
    QPointer<PackageBase> package;
};

/// A request, or one of those of a combination.
struct JobItem
{
    RequestId id = 0;
    QPointer<PackageBase> package;
    KorvinInspect::ClassId classId = KorvinInspect::ClassId::PackageBase;
    SerialNumbers::Number *number = nullptr; ///< From when it was sent.
    QByteArray request;                      ///< As it was sent.
    int asked = 0;                           ///< Bytes of data that its reply may bring.
    KorvinInspect::Verdict refusedReply;     ///< Of the last reply that did not fit.
    bool isFinished = false;
};

/// A transfer, and its requests that have not ended.
struct TransferJobs
{
    TransferJobs(const Transfer &transfer, bool emptiesBuffer)
        : running(transfer, emptiesBuffer)
    {
    }

    RunningTransfer running;
    RequestId id = 0;
    RequestOptions options;
    std::list<Job *> jobs;
    std::list<Told> finished; ///< The event to come.
    std::list<Told> progress; ///< An event to tell, while it is not told.
    Told *told = nullptr;     ///< The same, told but not taken.
};

/// What goes in one message. All that it needs until its end is made when it is handed over or
/// sent: to end takes no memory.
struct Job
{
    enum class State {
        Waiting,  ///< For its turn.
        InFlight, ///< For its reply.
        Pausing,  ///< Until it may be repeated; its reply may still come.
        Ready     ///< To be repeated; its reply may still come.
    };

    QVarLengthArray<JobItem, 1> items;
    int unfinished = 0;
    State state = State::Waiting;
    RequestOptions options;
    bool isCombination = false;
    bool isRepeatable = false;

    KorvinInspect::MessageShape shape; ///< Of the message.
    QByteArray message;
    qint64 cost = 0; ///< Of the bytes in flight, once it is known.
    int attempts = 0;
    Time sentAt{0};

    Time deadline = Time::max();
    std::set<Due>::iterator due;
    std::list<Job> *list = nullptr; ///< The one that it is in.
    std::list<Job>::iterator place;
    std::list<Told> events; ///< Those to come, one for each item.

    TransferJobs *transfer = nullptr; ///< Of a request of a transfer.
    TransferStep step;
    std::list<Job *>::iterator ofTransfer;
};

class EnginePrivate
{
public:
    explicit EnginePrivate(const Settings &settings);

    Accepted send(PackageBase *const *packages, int count, bool isCombination,
                  const RequestOptions &options);
    Accepted start(const Transfer &transfer, const RequestOptions &options);
    bool cancel(RequestId id);
    void refuse(RequestId id);
    void linkLost();
    std::optional<OutgoingMessage> takeMessage();
    void receive(KorvinInspect::Form form, const QByteArray &message,
                 std::optional<KorvinInspect::ClassId> classId);
    std::optional<Time> nextTimeout() const;
    std::optional<Event> takeEvent();
    int queued() const;

    /// Moves the time on, and ends what is due by then.
    void advance(Time now);

    Settings settings;
    SerialNumbers numbers;
    Counters counters;
    Trace *trace = nullptr;
    int inFlight = 0;
    qint64 bytesInFlight = 0;

private:
    using Jobs = std::list<Job>;

    /// What became of the attempt to send a job.
    enum class Dispatch {
        Sent,
        Blocked, ///< It has to wait.
        Ended    ///< It was refused, or its packages are gone.
    };

    // Handing over.
    Accepted refuse(PackageBase *const *packages, int count, SendError sendError);
    void enqueue(Jobs *made);

    // Sending.
    Job *nextWaiting(const Job *blocked);
    Dispatch dispatch(Job &job);
    Dispatch dispatchEncoded(Job &job);
    Dispatch end(Job &job, SendError sendError, const KorvinInspect::Verdict &verdict);
    bool dropGonePackages(Job &job);
    KorvinInspect::Verdict chooseShape(Job &job) const;
    qint64 askedOf(const Job &job) const;
    bool lacksBytes(const Job &job) const;
    bool drawNumbers(Job &job);
    void releaseNumbers(Job &job);
    KorvinInspect::Verdict encode(Job &job) const;
    OutgoingMessage handOut(Job &job);

    // Time.
    void onDue(Job &job);
    Time timeoutOf(const Job &job) const;
    Time pauseOf(const Job &job) const;
    void setDue(Job &job, Time at);
    static void moveTo(Jobs *list, Job &job);

    // The end.
    static StepResult resultOf(Outcome outcome, SendError sendError);
    void stop(TransferJobs &transfer, const StepResult &result);
    void finishAll(Job &job, Outcome outcome);
    void finish(Job &job, JobItem &item, StepResult result);
    void rest(const Job &job, JobItem &item, bool isAnswered);
    void count(Outcome outcome);
    void tell(Job &job, const JobItem &item, const StepResult &result);
    void remove(Job &job);

    // Replies.
    void receiveOne(KorvinInspect::Form form, const QByteArray &message,
                    std::optional<KorvinInspect::ClassId> classId);
    void receiveLate(SerialNumbers::Number *number, const QByteArray &message,
                     KorvinInspect::Verdict verdict);
    void answer(Job &job, JobItem &item, const QByteArray &message, KorvinInspect::Verdict verdict);
    void refuseReply(JobItem &item, const Job &job, const QByteArray &message,
                     const KorvinInspect::Verdict &verdict);
    void note(TraceEvent event, const KorvinInspect::MessageShape &shape, RequestId request,
              const QByteArray &message, const KorvinInspect::Verdict &verdict = {});

    // Transfers.
    void continueTransfer(TransferJobs &transfer);
    void startStep(TransferJobs &transfer);
    void endStep(TransferJobs &transfer, const StepResult &result);
    void tellProgress(TransferJobs &transfer);
    void endTransfer(TransferJobs &transfer);

    Time m_now{0};
    RequestId m_lastId = 0;
    quint64 m_lastOrder = 0;
    Jobs m_waiting;
    Jobs m_waitingSpecials; ///< Those that have no serial number on the wire.
    Jobs m_sent;            ///< In flight, or pausing.
    Jobs m_ready;           ///< To be repeated.
    int m_waitingRequests = 0;
    bool m_isSpecialUnderWay = false;
    bool m_lacksNumbers = false; ///< What waits, waits for a serial number.
    std::set<Due> m_due;
    std::unordered_map<RequestId, Job *> m_jobs; ///< By the ids of their items.
    std::map<RequestId, TransferJobs> m_transfers;
    std::list<Told> m_events;
};

} // namespace KorvinExchange

#endif
