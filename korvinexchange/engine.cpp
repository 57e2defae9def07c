#include "include/korvinexchange/engine.h"

#include "durations_p.h"
#include "engine_p.h"
#include "requestcoding_p.h"

#include <korvininspect/packageforms.h>
#include <specialpackagerequest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

/// Upper limit of moments: a later one counts as this one.
constexpr Time LastMoment = Time::max() / 2;

/// A longer request is not kept after it has ended. A reply to it is recognised by its serial
/// number alone, and does not shorten the rest of that number.
constexpr int LongestKeptRequest = 512;

Settings inRange(Settings settings)
{
    constexpr std::chrono::milliseconds LeastRest(60000);
    constexpr int TimeoutsOfRest = 10;
    bound(&settings.timeout, 1);
    bound(&settings.queueTimeout, 1);
    bound(&settings.rest, 0);
    bound(&settings.restAfterReply, 0);
    bound(&settings.retry.pause, 0);
    bound(&settings.retry.longestPause, 0);
    if (settings.rest.count() == 0)
        settings.rest = qMax(LeastRest, TimeoutsOfRest * settings.timeout);
    bound(&settings.rest, 0);
    settings.retry.attempts = qMax(settings.retry.attempts, 1);
    settings.lastSerialNum = qBound(1U, settings.lastSerialNum, lastSerialNumOf(Form::Text));
    settings.firstSerialNum = qBound(1U, settings.firstSerialNum, settings.lastSerialNum);
    Limits &limits = settings.limits;
    for (int *limit :
         {&limits.inFlight, &limits.queued, &limits.messageSize, &limits.serialNumbers})
        *limit = qMax(*limit, 1);
    return settings;
}

/// Returns the key by which a reply refers to its request; nothing if it has no such key.
std::optional<SerialNumbers::Key> keyOf(Form form, const QByteArray &reply)
{
    if (const std::optional<quint32> serialNum = serialNumOfReply(reply, form))
        return *serialNum;
    if (form != Form::Text)
        return {};
    // Only records of special requests have no serial number.
    bool isNumber = false;
    const int id = reply.left(qMax(reply.indexOf(','), 0)).toInt(&isNumber);
    return isNumber ? std::optional(SerialNumbers::ofSpecial(id)) : std::nullopt;
}

Verdict outOfRange(const QString &expected, const QString &found)
{
    Verdict verdict;
    verdict.refusal = Refusal::OutOfRange;
    verdict.expected = expected;
    verdict.found = found;
    return verdict;
}

MessageShape replyShapeOf(const Job &job, const JobItem &item)
{
    return {item.classId, job.shape.form, Direction::Reply};
}

/// Returns what a reply to a request must match.
EndedRequest expectedOf(const Job &job, const JobItem &item)
{
    EndedRequest expected;
    expected.shape = replyShapeOf(job, item);
    expected.request = item.request;
    expected.asked = item.asked;
    expected.isOfCombination = job.isCombination;
    return expected;
}

EndedRequest expectedOf(const SerialNumbers::Number &number)
{
    return number.job ? expectedOf(*number.job, number.job->items[number.item]) : number.ended;
}

Form formOf(const SerialNumbers::Number &number)
{
    return number.job ? number.job->shape.form : number.ended.shape.form;
}

RequestId idOf(const Job &job, const JobItem &item)
{
    return job.transfer ? job.transfer->id : item.id;
}

/// Returns whether no item that was sent has ended. Otherwise a combination is not repeated,
/// because the peer would carry out answered or cancelled items again.
bool isWhole(const Job &job)
{
    return job.unfinished == job.sentItems;
}

/// Returns whether the caller's package was deleted.
bool isPackageGone(const Job &job, const JobItem &item)
{
    return job.transfer ? !job.transfer->running.package() : !item.package;
}

/// Compares what a transport says of a reply with what was sent.
Verdict checkClass(const EndedRequest &expected, std::optional<ClassId> received)
{
    Verdict verdict;
    const ClassId sent =
        expected.isOfCombination ? ClassId::PackageRequestCombination : expected.shape.classId;
    if (!received || *received == sent)
        return verdict;
    verdict.refusal = Refusal::OtherRequest;
    verdict.expected = className(sent);
    verdict.found = className(*received);
    return verdict;
}

} // namespace

EnginePrivate::EnginePrivate(const Settings &given)
    : settings(inRange(given))
    , numbers(settings.firstSerialNum, settings.lastSerialNum, settings.limits.serialNumbers,
              {settings.rest, settings.restAfterReply})
{
}

int EnginePrivate::queued() const
{
    return m_waitingRequests + static_cast<int>(m_transfers.size() + m_events.size());
}

// Accepting requests.

Accepted EnginePrivate::send(PackageBase *const *packages, int count, bool isCombination,
                             const RequestOptions &options)
{
    if (count < 1 || count > mostItems())
        return refuse(packages, count, SendError::TooManyItems);
    if (queued() + count > settings.limits.queued)
        return refuse(packages, count, SendError::QueueFull);
    const RequestId first = m_lastId + 1;
    SendError sendError = SendError::OutOfMemory;
    try {
        Jobs made(1);
        Job &job = made.front();
        job.options = options;
        job.isCombination = isCombination;
        job.events.resize(static_cast<std::size_t>(count));
        job.items.resize(count);
        bool isNew = true;
        for (int i = 0; i < count && isNew; ++i)
            isNew = enter(job, job.items[i], packages[i]);
        if (isNew)
            enqueue(&made);
        sendError = isNew ? SendError::None : SendError::TooManyItems;
    } catch (const std::bad_alloc &) {
        // It is refused below.
    }
    if (sendError != SendError::None) {
        m_lastId = first - 1;
        for (int i = 0; i < count; ++i) {
            const RequestId id = first + static_cast<RequestId>(i);
            m_jobs.erase(id);
            endPackage(packages[i], id);
        }
        return refuse(packages, count, sendError);
    }
    m_waitingRequests += count;
    for (int i = 0; i < count; ++i)
        packages[i]->setCommResult(OrvexEnum::CommPending);
    return {first, SendError::None};
}

/// Returns how many requests one message may have: each needs a serial number.
qint64 EnginePrivate::mostItems() const
{
    const qint64 range = qint64(settings.lastSerialNum) - settings.firstSerialNum + 1;
    return qMin<qint64>(range, qMin(settings.limits.inFlight, settings.limits.serialNumbers));
}

Accepted EnginePrivate::refuse(PackageBase *const *packages, int count, SendError sendError)
{
    for (int i = 0; i < count; ++i) {
        if (!isUnderWay(packages[i]))
            setOutcome(packages[i], Outcome::Refused);
    }
    counters.refused += static_cast<quint64>(count);
    return {0, sendError};
}

/// Gives an item its package and an id. Throws std::bad_alloc.
///
/// @return false if the package is under way already.
bool EnginePrivate::enter(Job &job, JobItem &item, PackageBase *package)
{
    if (isUnderWay(package))
        return false;
    item.id = ++m_lastId;
    item.package = package;
    item.address = package;
    item.classId = classOf(*package).id;
    item.listed = m_jobs.emplace_hint(m_jobs.end(), item.id, &job);
    m_underWay.insert_or_assign(package, item.id);
    return true;
}

/// Notes that a package is not under way any more, unless it was deleted and its address is that of
/// another package.
void EnginePrivate::endPackage(const PackageBase *address, RequestId id)
{
    const auto entry = m_underWay.find(address);
    if (entry != m_underWay.end() && entry->second == id)
        m_underWay.erase(entry);
}

/// Returns whether a package is that of an unfinished request or transfer. A deleted package may
/// have had the same address.
bool EnginePrivate::isUnderWay(const PackageBase *package) const
{
    const auto entry = m_underWay.find(package);
    return entry != m_underWay.end() && packageOf(entry->second) == package;
}

/// Returns the package of an unfinished request or transfer; null if it was deleted.
const PackageBase *EnginePrivate::packageOf(RequestId id) const
{
    const auto transfer = m_transfers.find(id);
    if (transfer != m_transfers.end())
        return transfer->second.running.package();
    const auto &items = m_jobs.at(id)->items;
    return items[static_cast<int>(id - items[0].id)].package;
}

/// Puts a job at the end of its queue. Throws std::bad_alloc, with nothing changed.
void EnginePrivate::enqueue(Jobs *made)
{
    Job &job = made->front();
    job.unfinished = static_cast<int>(job.items.size());
    if (job.options.deadline) {
        bound(&*job.options.deadline, 1);
        job.deadline = m_now + *job.options.deadline;
    }
    const Time due = qMin(m_now + settings.queueTimeout, job.deadline);
    job.due = m_due.insert({due, ++m_lastOrder, &job}).first;
    job.list = made;
    job.place = made->begin();
    const bool isSpecial = !job.isCombination && isWithoutSerialNum(job.items[0].classId);
    moveTo(isSpecial ? &m_waitingSpecials : &m_waiting, job);
}

bool EnginePrivate::cancel(RequestId id)
{
    const StepResult cancelled = resultOf(Outcome::Cancelled, SendError::None);
    const auto transfer = m_transfers.find(id);
    if (transfer != m_transfers.end()) {
        stop(transfer->second, cancelled);
        return true;
    }
    const auto found = m_jobs.find(id);
    if (found == m_jobs.end())
        return false;
    Job &job = *found->second;
    JobItem &item = job.items[static_cast<int>(id - job.items[0].id)];
    if (item.isFinished)
        return false;
    finish(job, item, cancelled);
    return true;
}

void EnginePrivate::refuse(RequestId id)
{
    const auto transfer = m_transfers.find(id);
    const auto job = m_jobs.find(id);
    if (transfer != m_transfers.end())
        stop(transfer->second, resultOf(Outcome::Refused, SendError::NotCarried));
    else if (job != m_jobs.end())
        end(*job->second, SendError::NotCarried, {});
}

void EnginePrivate::linkLost()
{
    for (Jobs *list : {&m_sent, &m_ready, &m_waiting, &m_waitingSpecials}) {
        while (!list->empty())
            finishAll(list->front(), Outcome::LinkLost);
    }
    while (!m_aside.empty())
        finishAll(m_aside.begin()->second.front(), Outcome::LinkLost);
    numbers.reset();
}

// Sending.

std::optional<OutgoingMessage> EnginePrivate::takeMessage()
{
    m_lacksNumbers = false;
    while (!m_ready.empty()) {
        Job &job = m_ready.front();
        if (dropGonePackages(job))
            continue;
        if (isWhole(job))
            return handOut(job);
        finishAll(job, Outcome::TimedOut);
    }
    const Job *blocked = nullptr;
    while (Job *job = nextWaiting(blocked)) {
        const Dispatch result = dispatch(*job);
        if (result == Dispatch::Sent)
            return handOut(*job);
        if (result == Dispatch::Blocked && blocked)
            return {};
        if (result == Dispatch::Blocked)
            blocked = job;
    }
    return {};
}

/// Returns the next job of the two queues except @p blocked.
Job *EnginePrivate::nextWaiting(const Job *blocked)
{
    Job *next = nullptr;
    for (Jobs *list : {&m_waiting, &m_waitingSpecials}) {
        if (list->empty() || &list->front() == blocked)
            continue;
        if (!next || list->front().due->order < next->due->order)
            next = &list->front();
    }
    return next;
}

EnginePrivate::Dispatch EnginePrivate::dispatch(Job &job)
{
    if (dropGonePackages(job))
        return Dispatch::Ended;
    if (inFlight + job.unfinished > settings.limits.inFlight || lacksBytes(job))
        return Dispatch::Blocked;
    Verdict verdict;
    try {
        verdict = chooseShape(job);
        if (!verdict.isOk())
            return end(job, SendError::NotCarried, verdict);
        if (asksForTooMuch(job))
            return end(job, SendError::TooMuchData, verdict);
        if (setAside(job))
            return Dispatch::Aside;
        if (!drawNumbers(job)) {
            releaseNumbers(job);
            return Dispatch::Blocked;
        }
        verdict = encode(job);
        if (verdict.isOk())
            return dispatchEncoded(job);
    } catch (const std::bad_alloc &) {
        verdict.refusal = Refusal::OutOfMemory;
    }
    releaseNumbers(job);
    return end(job,
               verdict.refusal == Refusal::OutOfMemory ? SendError::OutOfMemory
                                                       : SendError::NotAccepted,
               verdict);
}

/// Sends an encoded job if its size allows it.
EnginePrivate::Dispatch EnginePrivate::dispatchEncoded(Job &job)
{
    const Limits &limits = settings.limits;
    const qint64 size = job.message.size();
    job.cost = size + askedOf(job);
    SendError sendError = SendError::None;
    if (size > qMin<qint64>(limits.messageSize, limits.bytesInFlight))
        sendError = SendError::TooLong;
    else if (job.cost > limits.bytesInFlight)
        sendError = SendError::TooMuchData;
    if (sendError != SendError::None || lacksBytes(job)) {
        releaseNumbers(job);
        return sendError != SendError::None ? end(job, sendError, {}) : Dispatch::Blocked;
    }
    job.sentItems = job.unfinished;
    for (JobItem &item : job.items) {
        if (item.isFinished)
            continue;
        item.number->job = &job;
        item.number->item = static_cast<int>(&item - job.items.data());
    }
    job.sentAt = m_now;
    inFlight += job.unfinished;
    bytesInFlight += job.cost;
    m_waitingRequests -= job.transfer ? 0 : job.unfinished;
    m_isSpecialUnderWay = m_isSpecialUnderWay || job.list == &m_waitingSpecials;
    return Dispatch::Sent;
}

EnginePrivate::Dispatch EnginePrivate::end(Job &job, SendError sendError, const Verdict &verdict)
{
    StepResult result = resultOf(Outcome::Refused, sendError);
    result.verdict = verdict;
    int left = job.unfinished;
    for (int i = 0; left > 0; ++i) {
        if (job.items[i].isFinished)
            continue;
        --left; // the job ends with the last of them
        finish(job, job.items[i], result);
    }
    return Dispatch::Ended;
}

/// Ends the requests whose packages the caller has deleted.
///
/// @return whether the job has ended with them.
bool EnginePrivate::dropGonePackages(Job &job)
{
    const auto isGone = [&](const JobItem &item) {
        return !item.isFinished && isPackageGone(job, item);
    };
    auto left = std::count_if(job.items.begin(), job.items.end(), isGone);
    const bool isOver = left == job.unfinished;
    StepResult result;
    result.outcome = Outcome::Cancelled;
    for (int i = 0; left > 0; ++i) {
        if (!isGone(job.items[i]))
            continue;
        --left;
        finish(job, job.items[i], result);
    }
    return isOver;
}

/// Chooses the shape in which a job is sent.
Verdict EnginePrivate::chooseShape(Job &job) const
{
    static const std::vector<Form> onlyRecords{Form::Text};
    const auto &forms = settings.forms;
    Verdict verdict;
    if (job.isCombination && std::find(forms.begin(), forms.end(), Form::Text) == forms.end())
        verdict.refusal = Refusal::NoSuchForm;
    job.isRepeatable = job.options.repeat != Repeat::Never;
    int items = 0;
    for (JobItem &item : job.items) {
        if (item.isFinished || !verdict.isOk())
            continue;
        item.asked = askedData(*item.package, item.classId);
        const ChosenForm chosen =
            chooseForm(*item.package, item.classId, job.isCombination ? onlyRecords : forms,
                       settings.firstSerialNum);
        ++items;
        verdict = chosen.verdict;
        if (job.isCombination && !verdict.isOk())
            verdict.item = items;
        job.shape = {item.classId, chosen.form, Direction::Request};
        job.isRepeatable = job.isRepeatable
            && (job.options.repeat == Repeat::Always || isRead(*item.package, item.classId));
    }
    if (job.isCombination)
        job.shape.classId = ClassId::PackageRequestCombination;
    return verdict;
}

/// Returns whether a request asks for more data than one may.
bool EnginePrivate::asksForTooMuch(const Job &job) const
{
    return std::any_of(job.items.begin(), job.items.end(), [&](const JobItem &item) {
        return item.asked > settings.limits.announcedData;
    });
}

/// Returns the number of data bytes that the replies may carry.
qint64 EnginePrivate::askedOf(const Job &job) const
{
    qint64 asked = 0;
    for (const JobItem &item : job.items)
        asked += item.isFinished ? 0 : item.asked;
    return asked;
}

/// Returns whether a job must wait because too many bytes are in flight.
bool EnginePrivate::lacksBytes(const Job &job) const
{
    return bytesInFlight + job.cost > settings.limits.bytesInFlight;
}

/// Sets a special request aside if its id rests, so that it does not hold up others. Throws
/// std::bad_alloc.
bool EnginePrivate::setAside(Job &job)
{
    if (job.list != &m_waitingSpecials || m_isSpecialUnderWay)
        return false;
    const auto &special = static_cast<const SpecialPackageRequest &>(*job.items[0].package);
    const SerialNumbers::Key key = SerialNumbers::ofSpecial(special.id());
    if (!numbers.find(key))
        return false;
    moveTo(&m_aside[key], job);
    job.awaited = key;
    return true;
}

/// Gives the first request that was set aside for a key its turn, now that the key is free. The
/// others stay, so that each is moved only once before it is sent.
void EnginePrivate::recall(SerialNumbers::Key key)
{
    const auto aside = m_aside.find(key);
    if (aside == m_aside.end())
        return;
    Job &first = aside->second.front();
    m_waitingSpecials.splice(m_waitingSpecials.begin(), aside->second, first.place);
    first.list = &m_waitingSpecials;
    if (aside->second.empty())
        m_aside.erase(aside);
}

/// Draws a serial number for each item. Throws std::bad_alloc.
///
/// @return false, with some numbers drawn, if there are not enough.
bool EnginePrivate::drawNumbers(Job &job)
{
    const bool isSpecial = job.list == &m_waitingSpecials;
    if (isSpecial && m_isSpecialUnderWay)
        return false;
    for (JobItem &item : job.items) {
        if (item.isFinished)
            continue;
        const auto *special = qobject_cast<const SpecialPackageRequest *>(item.package.data());
        item.number = special ? numbers.claim(SerialNumbers::ofSpecial(special->id()))
                              : numbers.draw(lastSerialNumOf(job.shape.form));
        if (!item.number) {
            m_lacksNumbers = true;
            return false;
        }
    }
    return true;
}

void EnginePrivate::releaseNumbers(Job &job)
{
    for (JobItem &item : job.items) {
        if (item.number)
            numbers.release(std::exchange(item.number, nullptr));
    }
}

/// Encodes the message of a job.
Verdict EnginePrivate::encode(Job &job) const
{
    if (!job.isCombination) {
        JobItem &item = job.items[0];
        Verdict verdict = encodeRequest(*item.package, static_cast<quint32>(item.number->key),
                                        job.shape, &job.message);
        item.request = job.message;
        return verdict;
    }
    std::vector<std::pair<PackageBase *, quint32>> packages;
    for (const JobItem &item : job.items) {
        if (!item.isFinished)
            packages.emplace_back(item.package, static_cast<quint32>(item.number->key));
    }
    Verdict verdict = encodeItems(packages, &job.message);
    if (!verdict.isOk())
        return verdict;
    const std::vector<QByteArray> requests = itemsOf(job.message);
    auto request = requests.begin();
    for (JobItem &item : job.items) {
        if (!item.isFinished)
            item.request = *request++;
    }
    return verdict;
}

OutgoingMessage EnginePrivate::handOut(Job &job)
{
    const auto first = std::find_if(job.items.begin(), job.items.end(),
                                    [](const JobItem &item) { return !item.isFinished; });
    const RequestId id = idOf(job, *first);
    const Time due = m_now + timeoutOf(job);
    ++job.attempts;
    job.state = Job::State::InFlight;
    moveTo(&m_sent, job);
    setDue(job, due);
    ++(job.attempts == 1 ? counters.sent : counters.repeated);
    counters.bytesSent += static_cast<quint64>(job.message.size());
    note(job.attempts == 1 ? TraceEvent::Sent : TraceEvent::Repeated, job.shape, id, job.message);
    return {id, job.shape, job.attempts, job.message, due};
}

// Time.

void EnginePrivate::advance(Time now)
{
    m_now = qBound(m_now, now, LastMoment);
    while (const std::optional<SerialNumbers::Key> key = numbers.expireNext(m_now))
        recall(*key);
    while (!m_due.empty() && m_due.begin()->at <= m_now)
        onDue(*m_due.begin()->job);
}

std::optional<Time> EnginePrivate::nextTimeout() const
{
    std::optional<Time> next;
    if (!m_due.empty())
        next = m_due.begin()->at;
    const bool isNumberAwaited = m_lacksNumbers || !m_aside.empty();
    const std::optional<Time> number = isNumberAwaited ? numbers.nextExpiry() : std::nullopt;
    return next && number ? qMin(*next, *number) : next;
}

void EnginePrivate::onDue(Job &job)
{
    if (dropGonePackages(job))
        return;
    if (m_now >= job.deadline) {
        finishAll(job, Outcome::TimedOut);
        return;
    }
    switch (job.state) {
    case Job::State::InFlight:
        if (!job.isRepeatable || !isWhole(job) || job.attempts >= settings.retry.attempts)
            break;
        job.state = Job::State::Pausing;
        setDue(job, m_now + pauseOf(job));
        return;
    case Job::State::Pausing:
        if (!isWhole(job))
            break;
        job.state = Job::State::Ready;
        moveTo(&m_ready, job);
        setDue(job, m_now + timeoutOf(job));
        return;
    default:
        break;
    }
    finishAll(job, Outcome::TimedOut);
}

Time EnginePrivate::timeoutOf(const Job &job) const
{
    const auto count = static_cast<int>(job.items.size());
    if (!job.options.timeout)
        return qMin(settings.timeout, LongestDuration / count) * count;
    std::chrono::milliseconds timeout = *job.options.timeout;
    bound(&timeout, 1);
    return timeout;
}

Time EnginePrivate::pauseOf(const Job &job) const
{
    std::chrono::milliseconds pause = settings.retry.pause;
    for (int attempt = 1; attempt < job.attempts && pause < settings.retry.longestPause; ++attempt)
        pause *= 2;
    return qMin(pause, settings.retry.longestPause);
}

void EnginePrivate::setDue(Job &job, Time at)
{
    auto due = m_due.extract(job.due);
    due.value().at = qMin(at, job.deadline);
    job.due = m_due.insert(std::move(due)).position;
}

void EnginePrivate::moveTo(Jobs *list, Job &job)
{
    list->splice(list->end(), *job.list, job.place);
    job.list = list;
}

// Ending requests.

StepResult EnginePrivate::resultOf(Outcome outcome, SendError sendError)
{
    StepResult result;
    result.outcome = outcome;
    result.sendError = sendError;
    return result;
}

/// Ends a transfer, with the last of its requests.
void EnginePrivate::stop(TransferJobs &transfer, const StepResult &result)
{
    transfer.running.stop(result.outcome, result.sendError);
    for (auto left = transfer.jobs.size(); left > 0; --left)
        finish(*transfer.jobs.front(), transfer.jobs.front()->items[0], result);
}

void EnginePrivate::finishAll(Job &job, Outcome outcome)
{
    int left = job.unfinished;
    for (int i = 0; left > 0; ++i) {
        JobItem &item = job.items[i];
        if (item.isFinished)
            continue;
        --left; // the job ends with the last of them
        StepResult result;
        result.outcome = outcome;
        if (outcome == Outcome::TimedOut && !item.refusedReply.isOk()) {
            result.outcome = Outcome::RefusedReply;
            result.verdict = item.refusedReply;
        }
        finish(job, item, result);
    }
}

/// Ends a request, and its job if it is the last one.
void EnginePrivate::finish(Job &job, JobItem &item, const StepResult &given)
{
    item.isFinished = true;
    --job.unfinished;
    if (job.state == Job::State::Waiting && !job.transfer)
        --m_waitingRequests;
    if (item.number)
        rest(job, item, false);
    count(given.outcome);
    if (item.package)
        setOutcome(item.package, given.outcome);
    TransferJobs *const transfer = job.transfer;
    if (!transfer) {
        endPackage(item.address, item.id);
        tell(job, item, given);
        if (job.unfinished == 0)
            remove(job);
        return;
    }
    StepResult result = given;
    result.offset = job.step.offset;
    result.finishes = job.step.finishes;
    result.data = job.step.reads ? job.step.package->data() : QByteArray();
    result.ackCode = job.step.package->getAckCode();
    result.commResult = job.step.package->getCommResult();
    result.packResult = job.step.package->getPackResult();
    transfer->jobs.erase(job.ofTransfer);
    remove(job); // a request of a transfer has one item
    endStep(*transfer, result);
}

/// Starts the rest of the serial number of a request that was sent.
void EnginePrivate::rest(const Job &job, JobItem &item, bool isAnswered)
{
    EndedRequest ended = expectedOf(job, item);
    item.request.clear(); // it has ended: the number alone keeps it
    if (ended.request.size() > LongestKeptRequest)
        ended.request.clear();
    ended.isAnswered = isAnswered;
    ended.isSentOnce = job.attempts == 1;
    numbers.rest(std::exchange(item.number, nullptr), std::move(ended), m_now);
    --inFlight;
    if (isWithoutSerialNum(item.classId))
        m_isSpecialUnderWay = false;
}

void EnginePrivate::count(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Success:
        ++counters.succeeded;
        break;
    case Outcome::Failure:
        ++counters.failed;
        break;
    case Outcome::TimedOut:
    case Outcome::RefusedReply:
        ++counters.timedOut;
        break;
    case Outcome::Cancelled:
        ++counters.cancelled;
        break;
    case Outcome::LinkLost:
        ++counters.linkLost;
        break;
    default:
        ++counters.refused;
        break;
    }
}

void EnginePrivate::tell(Job &job, const JobItem &item, const StepResult &result)
{
    Event &event = job.events.front().event;
    job.events.front().package = item.package;
    event.id = item.id;
    event.outcome = result.outcome;
    event.sendError = result.sendError;
    event.verdict = result.verdict;
    event.attempts = job.attempts;
    if (result.outcome == Outcome::Success || result.outcome == Outcome::Failure)
        event.latency = m_now - job.sentAt;
    m_events.splice(m_events.end(), job.events, job.events.begin());
}

void EnginePrivate::remove(Job &job)
{
    if (job.state != Job::State::Waiting)
        bytesInFlight -= job.cost;
    for (const JobItem &item : job.items) {
        if (!job.transfer)
            m_jobs.erase(item.listed);
    }
    m_due.erase(job.due);
    Jobs *const list = job.list;
    const SerialNumbers::Key awaited = job.awaited;
    list->erase(job.place);
    if (awaited == 0)
        return;
    const auto aside = m_aside.find(awaited);
    if (list == &m_waitingSpecials)
        recall(awaited);
    else if (aside != m_aside.end() && aside->second.empty())
        m_aside.erase(aside);
}

std::optional<Event> EnginePrivate::takeEvent()
{
    if (m_events.empty())
        return {};
    std::list<Told> first;
    first.splice(first.end(), m_events, m_events.begin());
    Event event = first.front().event;
    event.package = first.front().package;
    const auto transfer = m_transfers.find(event.id);
    if (transfer != m_transfers.end()) { // keep the progress event, to use it again
        transfer->second.told = nullptr;
        transfer->second.progress.splice(transfer->second.progress.end(), first);
    }
    return event;
}

// Replies.

void EnginePrivate::receive(Form form, const QByteArray &message, std::optional<ClassId> classId)
{
    counters.bytesReceived += static_cast<quint64>(message.size());
    try {
        if (!hasSeveralReplies(form, message)) {
            receiveOne(form, message, classId);
            return;
        }
        for (const QByteArray &part : message.split('|'))
            receiveOne(form, part, classId);
    } catch (const std::bad_alloc &) {
        ++counters.refusedReplies;
    }
}

/// Returns the number that a reply has; null if no request in this form had it.
SerialNumbers::Number *EnginePrivate::numberOf(Form form, const QByteArray &reply)
{
    const std::optional<SerialNumbers::Key> key = keyOf(form, reply);
    SerialNumbers::Number *number = key ? numbers.find(*key) : nullptr;
    return number && formOf(*number) == form ? number : nullptr;
}

/// Returns whether a message is the replies of a combination. Only their numbers say so: the texts
/// of another reply may have a "|", too.
bool EnginePrivate::hasSeveralReplies(Form form, const QByteArray &message)
{
    const auto size = static_cast<std::size_t>(message.size());
    if (form != Form::Text || !std::memchr(message.constData(), '|', size)
        || message.size() > settings.limits.messageSize
        || message.count('|') >= settings.limits.inFlight) {
        return false;
    }
    const auto isOfCombination = [](const SerialNumbers::Number *number) {
        return number && expectedOf(*number).isOfCombination;
    };
    const SerialNumbers::Number *first = numberOf(form, message);
    std::unique_ptr<PackageBase> reply;
    if (first && !isOfCombination(first) && decodeReply(*first, message, {}, &reply).isOk())
        return false;
    const QList<QByteArray> parts = message.split('|');
    return std::any_of(parts.begin(), parts.end(), [&](const QByteArray &part) {
        return isOfCombination(numberOf(form, part));
    });
}

void EnginePrivate::receiveOne(Form form, const QByteArray &message, std::optional<ClassId> classId)
{
    SerialNumbers::Number *number = numberOf(form, message);
    if (!number) {
        ++counters.unknown;
        note(TraceEvent::Unknown, {ClassId::PackageBase, form, Direction::Reply}, 0, message);
        return;
    }
    std::unique_ptr<PackageBase> reply;
    const Verdict verdict = decodeReply(*number, message, classId, &reply);
    if (!number->job)
        receiveLate(number, message, verdict);
    else if (verdict.isOk())
        answer(*number->job, number->job->items[number->item], message, *reply);
    else
        refuseReply(number->job->items[number->item], *number->job, message, verdict);
}

/// Decodes the reply to a request, in flight or ended. A successful data read must have as much
/// data as was asked for. Decodes nothing if the request was not kept.
Verdict EnginePrivate::decodeReply(const SerialNumbers::Number &number, const QByteArray &message,
                                   std::optional<ClassId> classId,
                                   std::unique_ptr<PackageBase> *reply) const
{
    if (message.size() > settings.limits.messageSize) {
        return outOfRange(
            QStringLiteral("a message of at most %1 bytes").arg(settings.limits.messageSize),
            QString::number(message.size()));
    }
    EndedRequest expected = expectedOf(number);
    Verdict verdict = checkClass(expected, classId);
    if (!verdict.isOk() || expected.request.isEmpty())
        return verdict;
    CheckOptions options;
    options.request = std::move(expected.request);
    verdict = decodeMessage(message, expected.shape, reply, options);
    if (!verdict.isOk() || !bringsData(expected.shape.classId) || !(*reply)->isPackageSuccess())
        return verdict;
    const qint64 found = (*reply)->data().size();
    if (found != expected.asked) {
        verdict = outOfRange(QString::number(expected.asked), QString::number(found));
        verdict.field = QStringLiteral("replyDataLength");
        verdict.position = -1; // it depends on the form
    }
    return verdict;
}

/// Handles a reply to a request that has ended.
void EnginePrivate::receiveLate(SerialNumbers::Number *number, const QByteArray &message,
                                const Verdict &verdict)
{
    const EndedRequest &ended = number->ended;
    if (!verdict.isOk()) {
        ++counters.refusedReplies;
        note(TraceEvent::RefusedReply, ended.shape, 0, message, verdict);
        return;
    }
    ++(ended.isAnswered ? counters.duplicate : counters.late);
    note(ended.isAnswered ? TraceEvent::Duplicate : TraceEvent::Late, ended.shape, 0, message);
    if (!ended.request.isEmpty())
        numbers.restAnswered(number, m_now);
}

/// Ends a request with a reply that matches.
void EnginePrivate::answer(Job &job, JobItem &item, const QByteArray &message, PackageBase &reply)
{
    ++counters.answered;
    counters.latency.add(m_now - job.sentAt);
    note(TraceEvent::Answered, replyShapeOf(job, item), idOf(job, item), message);
    StepResult result;
    result.outcome = reply.isPackageSuccess() ? Outcome::Success : Outcome::Failure;
    if (item.package)
        takeOver(item.package, reply);
    else
        result.outcome = Outcome::Cancelled;
    rest(job, item, true);
    finish(job, item, result);
}

void EnginePrivate::refuseReply(JobItem &item, const Job &job, const QByteArray &message,
                                const Verdict &verdict)
{
    item.refusedReply = verdict;
    ++counters.refusedReplies;
    note(TraceEvent::RefusedReply, replyShapeOf(job, item), idOf(job, item), message, verdict);
}

void EnginePrivate::note(TraceEvent event, const MessageShape &shape, RequestId request,
                         const QByteArray &message, const Verdict &verdict)
{
    if (trace)
        trace->add({event, m_now, shape, request, message, verdict});
}

// Transfers.

Accepted EnginePrivate::start(const Transfer &transfer, const RequestOptions &options)
{
    PackageBase *package = transfer.package();
    if (queued() >= settings.limits.queued)
        return refuse(&package, 1, SendError::QueueFull);
    if (isUnderWay(package))
        return refuse(&package, 1, SendError::TooManyItems);
    const RequestId id = m_lastId + 1;
    try {
        const Verdict verdict = TransferPlan(transfer, true).check();
        if (!verdict.isOk())
            return endAtOnce(package, verdict);
        m_underWay.insert_or_assign(package, id);
        const bool emptiesBuffer = canEmptyBuffer(transfer);
        Transfer bounded = transfer;
        bounded.setWindow(qMin(transfer.window(), settings.limits.inFlight));
        TransferJobs &jobs = m_transfers.try_emplace(id, bounded, emptiesBuffer).first->second;
        jobs.id = id;
        jobs.address = package;
        jobs.options = options;
        jobs.finished.resize(1);
        jobs.progress.resize(1);
    } catch (const std::bad_alloc &) {
        m_transfers.erase(id);
        endPackage(package, id);
        return refuse(&package, 1, SendError::OutOfMemory);
    }
    ++m_lastId;
    continueTransfer(m_transfers.at(id));
    return {id, SendError::None};
}

/// Ends a transfer that cannot begin, with an event that says why. Throws std::bad_alloc.
Accepted EnginePrivate::endAtOnce(PackageBase *package, const Verdict &verdict)
{
    std::list<Told> told(1);
    told.front().package = package;
    Event &event = told.front().event;
    event.id = m_lastId + 1;
    event.outcome = Outcome::Refused;
    event.sendError = SendError::NotCarried;
    event.verdict = verdict;
    event.failedOffset = 0;
    m_events.splice(m_events.end(), told);
    refuse(&package, 1, SendError::NotCarried);
    return {++m_lastId, SendError::None};
}

/// Returns whether some form carries the data write of no bytes that empties the buffer of an empty
/// file. Throws std::bad_alloc.
bool EnginePrivate::canEmptyBuffer(const Transfer &transfer) const
{
    const TransferPlan plan(transfer, true);
    if (transfer.kind() != Transfer::Kind::WriteFile || plan.total() > 0)
        return true;
    return chooseForm(*plan.makeStep(0).package, ClassId::PackageRequestWriteData, settings.forms,
                      settings.firstSerialNum)
        .verdict.isOk();
}

/// Starts as many requests as may be under way. Ends the transfer if there is nothing left to do.
void EnginePrivate::continueTransfer(TransferJobs &transfer)
{
    if (!transfer.running.package())
        transfer.running.stop(Outcome::Cancelled, SendError::None);
    while (transfer.running.mayStart(static_cast<int>(transfer.jobs.size())))
        startStep(transfer);
    if (transfer.jobs.empty())
        endTransfer(transfer);
}

void EnginePrivate::startStep(TransferJobs &transfer)
{
    try {
        Jobs made(1);
        Job &job = made.front();
        job.options = transfer.options;
        job.step = transfer.running.startStep();
        job.items.resize(1);
        job.items[0].package = job.step.package.get();
        job.items[0].classId = classOf(*job.step.package).id;
        job.transfer = &transfer;
        std::list<Job *> listed(1, &job);
        job.ofTransfer = listed.begin();
        enqueue(&made);
        transfer.jobs.splice(transfer.jobs.end(), listed);
    } catch (const std::bad_alloc &) {
        transfer.running.stop(Outcome::Refused, SendError::OutOfMemory);
    }
}

void EnginePrivate::endStep(TransferJobs &transfer, const StepResult &result)
{
    const qint64 done = transfer.running.done();
    transfer.running.endStep(result);
    if (transfer.running.done() > done)
        tellProgress(transfer);
    continueTransfer(transfer);
}

void EnginePrivate::tellProgress(TransferJobs &transfer)
{
    if (!transfer.told) {
        transfer.told = &transfer.progress.front();
        m_events.splice(m_events.end(), transfer.progress);
    }
    transfer.told->package = transfer.running.package();
    Event &event = transfer.told->event;
    event.type = Event::Type::Progress;
    event.id = transfer.id;
    event.done = transfer.running.done();
    event.total = transfer.running.plan().total();
}

void EnginePrivate::endTransfer(TransferJobs &transfer)
{
    Told &told = transfer.finished.front();
    told.event.id = transfer.id;
    told.package = transfer.running.package();
    transfer.running.finish(&told.event);
    m_events.splice(m_events.end(), transfer.finished);
    endPackage(transfer.address, transfer.id);
    m_transfers.erase(transfer.id);
}

// The public class.

Engine::Engine(const Settings &settings)
    : d(std::make_unique<EnginePrivate>(settings))
{
}

Engine::~Engine() = default;

Accepted Engine::send(PackageBase *package, const RequestOptions &options, Time now)
{
    d->advance(now);
    return d->send(&package, 1, false, options);
}

Accepted Engine::sendCombination(const std::vector<PackageBase *> &packages,
                                 const RequestOptions &options, Time now)
{
    d->advance(now);
    return d->send(packages.data(), static_cast<int>(packages.size()), true, options);
}

Accepted Engine::start(const Transfer &transfer, const RequestOptions &options, Time now)
{
    d->advance(now);
    return d->start(transfer, options);
}

bool Engine::cancel(RequestId id, Time now)
{
    d->advance(now);
    return d->cancel(id);
}

void Engine::refuse(RequestId id, Time now)
{
    d->advance(now);
    d->refuse(id);
}

void Engine::linkLost(Time now)
{
    d->advance(now);
    d->linkLost();
}

std::optional<OutgoingMessage> Engine::takeMessage(Time now)
{
    d->advance(now);
    return d->takeMessage();
}

void Engine::receive(Form form, const QByteArray &message, Time now, std::optional<ClassId> classId)
{
    d->advance(now);
    d->receive(form, message, classId);
}

std::optional<Time> Engine::nextTimeout() const
{
    return d->nextTimeout();
}

void Engine::handleTimeout(Time now)
{
    d->advance(now);
}

std::optional<Event> Engine::takeEvent()
{
    return d->takeEvent();
}

const Counters &Engine::counters() const
{
    return d->counters;
}

void Engine::setTrace(Trace *trace)
{
    d->trace = trace;
}

int Engine::inFlight() const
{
    return d->inFlight;
}

int Engine::queued() const
{
    return d->queued();
}

qint64 Engine::bytesInFlight() const
{
    return d->bytesInFlight;
}

int Engine::serialNumbers() const
{
    return d->numbers.count();
}

} // namespace KorvinExchange
