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

/// When a job is due. Jobs of the same moment keep the order in which they were passed to send().
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

/// An event to report. Its package may be deleted before the event is taken.
struct Told
{
    Event event;
    QPointer<PackageBase> package;
};

/// A request, or an item of a combination.
struct JobItem
{
    RequestId id = 0;
    QPointer<PackageBase> package;
    const PackageBase *address = nullptr; ///< Of the package, even after it was deleted.
    KorvinInspect::ClassId classId = KorvinInspect::ClassId::PackageBase;
    SerialNumbers::Number *number = nullptr; ///< Null until it is sent.
    QByteArray request;                      ///< The request as it was sent.
    int asked = 0;                           ///< Bytes of data that its reply may carry.
    KorvinInspect::Verdict refusedReply;     ///< On the last reply that did not match.
    bool isFinished = false;
    std::map<RequestId, Job *>::iterator listed; ///< Where cancel() finds it.
};

/// A transfer and its unfinished requests.
struct TransferJobs
{
    TransferJobs(const Transfer &transfer, bool emptiesBuffer)
        : running(transfer, emptiesBuffer)
    {
    }

    RunningTransfer running;
    RequestId id = 0;
    const PackageBase *address = nullptr; ///< Of the package, even after it was deleted.
    RequestOptions options;
    std::list<Job *> jobs;
    std::list<Told> finished; ///< The final event, allocated in advance.
    std::list<Told> progress; ///< The progress event, unless it is among the engine's events.
    Told *told = nullptr;     ///< The progress event if it is there and was not taken yet.
};

/// The requests of one message. Everything that it needs is allocated when it is accepted or sent,
/// so that ending it needs no memory.
struct Job
{
    enum class State {
        Waiting,  ///< It waits for its turn.
        InFlight, ///< It waits for its reply.
        Pausing,  ///< It waits until it may be repeated; its reply may still come.
        Ready     ///< It may be repeated now; its reply may still come.
    };

    QVarLengthArray<JobItem, 1> items;
    int unfinished = 0;
    int sentItems = 0; ///< Those that the message has.
    State state = State::Waiting;
    RequestOptions options;
    bool isCombination = false;
    bool isRepeatable = false;

    KorvinInspect::MessageShape shape; ///< Shape of the message.
    QByteArray message;
    qint64 cost = 0; ///< Its share of the bytes in flight, once it is known.
    int attempts = 0;
    Time sentAt{0};
    SerialNumbers::Key awaited = 0; ///< The key that it was last set aside for; 0 if it never was.

    Time deadline = Time::max();
    std::set<Due>::iterator due;
    std::list<Job> *list = nullptr; ///< The list that contains it.
    std::list<Job>::iterator place;
    std::list<Told> events; ///< Final events, one for each item, allocated in advance.

    TransferJobs *transfer = nullptr; ///< The transfer that it belongs to, if any.
    TransferStep step;
    std::list<Job *>::iterator ofTransfer;
};

class EnginePrivate
{
public:
    explicit EnginePrivate(const Settings &given);

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

    /// Advances the time and ends jobs that are due.
    void advance(Time now);

    Settings settings;
    SerialNumbers numbers;
    Counters counters;
    Trace *trace = nullptr;
    int inFlight = 0;
    qint64 bytesInFlight = 0;

private:
    using Jobs = std::list<Job>;

    /// The result of an attempt to send a job.
    enum class Dispatch {
        Sent,
        Blocked, ///< It has to wait, and later ones with it.
        Aside,   ///< It has to wait, but not in the queue.
        Ended    ///< It was refused, or its packages were deleted.
    };

    // Accepting requests.
    qint64 mostItems() const;
    Accepted refuse(PackageBase *const *packages, int count, SendError sendError);
    bool enter(Job &job, JobItem &item, PackageBase *package);
    void endPackage(const PackageBase *address, RequestId id);
    bool isUnderWay(const PackageBase *package) const;
    const PackageBase *packageOf(RequestId id) const;
    void enqueue(Jobs *made);

    // Sending.
    Job *nextWaiting(const Job *blocked);
    Dispatch dispatch(Job &job);
    Dispatch dispatchEncoded(Job &job);
    Dispatch end(Job &job, SendError sendError, const KorvinInspect::Verdict &verdict);
    bool dropGonePackages(Job &job);
    KorvinInspect::Verdict chooseShape(Job &job) const;
    bool asksForTooMuch(const Job &job) const;
    qint64 askedOf(const Job &job) const;
    bool lacksBytes(const Job &job) const;
    bool setAside(Job &job);
    void recall(SerialNumbers::Key key);
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

    // Ending requests.
    static StepResult resultOf(Outcome outcome, SendError sendError);
    void stop(TransferJobs &transfer, const StepResult &result);
    void finishAll(Job &job, Outcome outcome);
    void finish(Job &job, JobItem &item, const StepResult &given);
    void rest(const Job &job, JobItem &item, bool isAnswered);
    void count(Outcome outcome);
    void tell(Job &job, const JobItem &item, const StepResult &result);
    void remove(Job &job);

    // Replies.
    SerialNumbers::Number *numberOf(KorvinInspect::Form form, const QByteArray &reply);
    bool hasSeveralReplies(KorvinInspect::Form form, const QByteArray &message);
    void receiveOne(KorvinInspect::Form form, const QByteArray &message,
                    std::optional<KorvinInspect::ClassId> classId);
    KorvinInspect::Verdict decodeReply(const SerialNumbers::Number &number,
                                       const QByteArray &message,
                                       std::optional<KorvinInspect::ClassId> classId,
                                       std::unique_ptr<PackageBase> *reply) const;
    void receiveLate(SerialNumbers::Number *number, const QByteArray &message,
                     const KorvinInspect::Verdict &verdict);
    void answer(Job &job, JobItem &item, const QByteArray &message, PackageBase &reply);
    void refuseReply(JobItem &item, const Job &job, const QByteArray &message,
                     const KorvinInspect::Verdict &verdict);
    void note(TraceEvent event, const KorvinInspect::MessageShape &shape, RequestId request,
              const QByteArray &message, const KorvinInspect::Verdict &verdict = {});

    // Transfers.
    Accepted endAtOnce(PackageBase *package, const KorvinInspect::Verdict &verdict);
    bool canEmptyBuffer(const Transfer &transfer) const;
    void continueTransfer(TransferJobs &transfer);
    void startStep(TransferJobs &transfer);
    void endStep(TransferJobs &transfer, const StepResult &result);
    void tellProgress(TransferJobs &transfer);
    void endTransfer(TransferJobs &transfer);

    Time m_now{0};
    RequestId m_lastId = 0;
    quint64 m_lastOrder = 0;
    Jobs m_waiting;
    Jobs m_waitingSpecials; ///< Waiting jobs without a serial number on the wire.
    std::map<SerialNumbers::Key, Jobs> m_aside; ///< Those whose id rests, by its key.
    Jobs m_sent;                                ///< Jobs in flight or pausing.
    Jobs m_ready;                               ///< Jobs to be repeated.
    int m_waitingRequests = 0;
    bool m_isSpecialUnderWay = false;
    bool m_lacksNumbers = false; ///< Whether jobs wait for a serial number.
    std::set<Due> m_due;
    std::map<RequestId, Job *> m_jobs; ///< By the ids of their items, except those of transfers.
    std::map<RequestId, TransferJobs> m_transfers;
    std::unordered_map<const PackageBase *, RequestId> m_underWay; ///< By addresses of packages.
    std::list<Told> m_events;
};

} // namespace KorvinExchange

#endif
