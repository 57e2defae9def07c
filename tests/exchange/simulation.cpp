#include "simulation.h"

#include <packagerequestreadfile.h>
#include <packagerequestwritefile.h>
#include <specialpackagerequest.h>

#include <algorithm>
#include <cstdio>

namespace {

// What the engine is promised: no reply comes later than the rest of its number, and no second
// reply later after the first than the short rest.
constexpr std::chrono::milliseconds Rest(700);
constexpr std::chrono::milliseconds RestAfterReply(40);
constexpr int LongestWay = 100;
constexpr int LongestPause = 100;
constexpr int LongestJump = 150;

constexpr int StampSize = 8;

/// Data that names the execution which gave it.
QByteArray stamped(quint64 execution, int length)
{
    QByteArray data;
    for (int i = 0; i < length; ++i)
        data.append(static_cast<char>(execution >> 8 * (i % StampSize)));
    return data;
}

quint32 registerOf(const PackageBase &package)
{
    return quint32(package.getHighAddr()) << 16 | package.getLowAddr();
}

/// Data of a register, to be told from that of another one.
QByteArray placed(quint32 address, const QByteArray &data)
{
    return QByteArray::number(address) + ' ' + data;
}

bool isSpecial(const MessageShape &shape)
{
    return shape.classId == ClassId::SpecialPackageRequest;
}

bool isCombination(const MessageShape &shape)
{
    return shape.classId == ClassId::PackageRequestCombination;
}

/// The request of a message, or those of a combination.
std::vector<std::unique_ptr<PackageBase>> packagesOf(const OutgoingMessage &message)
{
    std::vector<std::unique_ptr<PackageBase>> packages(1);
    if (isCombination(message.shape))
        decodeCombination(message.bytes, &packages);
    else
        decodeMessage(message.bytes, message.shape, &packages.front());
    return packages;
}

template <typename Package, typename... Arguments>
std::unique_ptr<Package> makeOf(quint32 address, const QString &tag, Arguments... arguments)
{
    return std::make_unique<Package>(QStringLiteral("k"), 0, 255, 1, 2, 65535,
                                     static_cast<ushort>(address >> 16),
                                     static_cast<ushort>(address), 0, 9, tag, arguments...);
}

} // namespace

/// Counts what becomes of replies, and sees when a serial number is in flight no more.
class Simulation::Listener : public Trace
{
public:
    explicit Listener(Simulation *simulation)
        : m_simulation(*simulation)
    {
    }

    void add(const TraceEntry &entry) override
    {
        static const char *const names[] = {"sent",      "repeated", "answered",     "late",
                                            "duplicate", "unknown",  "refused reply"};
        ++m_simulation.m_counts[names[static_cast<int>(entry.event)]];
        m_simulation.say(describe(entry));
        if (entry.event == TraceEvent::Late)
            m_simulation.checkLate(entry);
        if (entry.event != TraceEvent::Answered && entry.event != TraceEvent::Late)
            return;
        if (const auto serial = serialNumOfReply(entry.message, entry.shape.form))
            m_simulation.m_serials.erase(*serial);
        else
            m_simulation.m_special = 0;
    }

private:
    Simulation &m_simulation;
};

Simulation::Simulation(quint64 seed, int requests, SimulationCounts *counts, bool isVerbose)
    : m_random(seed)
    , m_requests(requests)
    , m_counts(*counts)
    , m_isVerbose(isVerbose)
    , m_listener(std::make_unique<Listener>(this))
{
    chooseSettings();
    m_engine = std::make_unique<Engine>(m_settings);
    m_engine->setTrace(m_listener.get());
}

Simulation::~Simulation() = default;

QString Simulation::run()
{
    constexpr int MostIdleSteps = 100000;
    int idleSteps = 0;
    while (m_failure.isEmpty() && (m_begun < m_requests || !m_truths.empty())) {
        if (m_begun < m_requests)
            act();
        else
            expect(++idleSteps < MostIdleSteps, "all requests end");
        deliver();
        transmit();
        takeEvents();
        checkLimits();
        moveOn();
    }
    if (m_failure.isEmpty()) {
        expect(m_engine->inFlight() == 0 && m_engine->queued() == 0
                   && m_engine->bytesInFlight() == 0,
               "nothing is left");
    }
    return m_failure;
}

// The clients.

void Simulation::chooseSettings()
{
    using std::chrono::milliseconds;
    const std::vector<Form> forms[] = {{Form::Text},
                                       {Form::Frame},
                                       {Form::Linux},
                                       {Form::Frame, Form::Text},
                                       {Form::Linux, Form::Frame, Form::Text}};
    const quint32 ranges[] = {2, 5, 12, 60, 200};
    const int shares[] = {0, 10, 60, 200};
    const int inFlight[] = {1, 4, 16, 64};
    m_settings.forms = forms[upTo(4)];
    m_settings.firstSerialNum = 1 + static_cast<quint32>(upTo(50));
    m_settings.lastSerialNum = m_settings.firstSerialNum + ranges[upTo(4)] - 1;
    m_settings.timeout = milliseconds(50);
    m_settings.queueTimeout = milliseconds(2000);
    m_settings.rest = Rest;
    m_settings.restAfterReply = RestAfterReply;
    m_settings.retry.attempts = static_cast<int>(1 + upTo(3));
    m_settings.retry.pause = milliseconds(upTo(20));
    m_settings.retry.longestPause = milliseconds(30);
    m_settings.limits.inFlight = inFlight[upTo(3)];
    m_settings.limits.queued = happens(500) ? 8 : 64;
    m_settings.limits.bytesInFlight = happens(300) ? 600 : 4 << 20;
    m_settings.limits.messageSize = happens(300) ? 400 : 1 << 20;
    m_settings.limits.announcedData = 1000;
    m_settings.limits.serialNumbers = happens(300) ? 3 : 4096;
    m_keepsOrder = happens(500);
    m_faults = shares[upTo(3)];
}

void Simulation::act()
{
    // Where the queue is full, mostly wait.
    if (m_engine->queued() + 4 > m_settings.limits.queued && !happens(10))
        return;
    for (auto actions = upTo(3); actions > 0; --actions) {
        const quint64 kind = upTo(99);
        if (kind < 70)
            begin();
        else if (kind < 78)
            beginCombination();
        else if (kind < 85)
            beginTransfer();
        else if (kind < 92)
            cancelOne();
        else if (kind < 95)
            deleteOne();
        else if (kind < 98)
            loseLink();
    }
}

/// Of a few registers, so that replies to different requests look the same where they can.
std::unique_ptr<PackageBase> Simulation::makePackage(bool *isUnsendable)
{
    const auto address = static_cast<quint32>(0x0A000000 + upTo(1) * 0x100);
    const QString tag = QStringLiteral("t");
    const auto length = static_cast<int>(StampSize + upTo(20));
    const quint64 kind = upTo(99);
    if (kind < 55)
        return makeOf<PackageRequestReadData>(address, tag, length);
    if (kind < 80) {
        const QByteArray data(length, 'w');
        return makeOf<PackageRequestWriteData>(address, tag, happens(100), data, length);
    }
    if (kind < 85)
        return makeOf<PackageRequestRead>(address, tag, OrvexEnum::CommOk, length,
                                          OrvexEnum::DataPackage);
    if (kind < 90)
        return makeOf<PackageRequestReadFile>(address, tag, length, QStringLiteral("file"));
    if (kind < 97) {
        auto special = std::make_unique<SpecialPackageRequest>(static_cast<int>(upTo(2)), 0);
        special->setStrData(QStringLiteral("ask"));
        return special;
    }
    *isUnsendable = true;
    return makeOf<PackageRequestReadData>(address, tag, kind == 97 ? -1 : 1001);
}

RequestOptions Simulation::chooseOptions(const PackageBase &package, Truth *truth)
{
    RequestOptions options;
    options.repeat = happens(800) ? Repeat::Reads : happens(500) ? Repeat::Always : Repeat::Never;
    if (happens(100))
        options.timeout = std::chrono::milliseconds(1 + upTo(60));
    const bool takesData = qobject_cast<const PackageRequestReadData *>(&package)
        && !package.getIsRegisterAddrSelfIncreasing();
    const bool isRead = package.getReadWriteCode() == OrvexEnum::Read && !takesData
        && !qobject_cast<const SpecialPackageRequest *>(&package);
    truth->mayRepeat =
        options.repeat == Repeat::Always || (options.repeat == Repeat::Reads && isRead);
    return options;
}

Simulation::Truth Simulation::makeTruth(std::unique_ptr<PackageBase> package) const
{
    Truth truth;
    package->setSerialNum(static_cast<quint64>(1000 + m_begun));
    truth.identity = identityOf(*package);
    truth.package = std::move(package);
    return truth;
}

Simulation::Identity Simulation::identityOf(const PackageBase &package)
{
    return {package.getSerialNum(),     package.getDeviceKey(),    package.getTag(),
            package.getScrAddr(),       package.getDesAddr(),      package.getDeviceType(),
            package.getPortAddr(),      package.getHighAddr(),     package.getLowAddr(),
            package.getScanBoardAddr(), package.getReadWriteCode()};
}

void Simulation::begin()
{
    bool isUnsendable = false;
    Truth truth = makeTruth(makePackage(&isUnsendable));
    truth.isUnsendable = isUnsendable;
    if (qobject_cast<PackageRequestReadData *>(truth.package.get()))
        truth.package->setIsRegisterAddrSelfIncreasing(!happens(50));
    const RequestOptions options = chooseOptions(*truth.package, &truth);
    const Accepted accepted = m_engine->send(truth.package.get(), options, m_now);
    accept(accepted.id, std::move(truth));
}

void Simulation::beginCombination()
{
    std::vector<Truth> truths;
    std::vector<PackageBase *> packages;
    RequestOptions options;
    for (auto items = 1 + upTo(3); items > 0; --items) {
        const QString tag = QStringLiteral("c%1").arg(m_begun + static_cast<int>(truths.size()));
        const auto address = static_cast<quint32>(0x0A000000);
        std::unique_ptr<PackageBase> package;
        if (happens(600))
            package = makeOf<PackageRequestReadData>(address, tag, StampSize);
        else
            package = makeOf<PackageRequestWriteFile>(address, tag, false, QStringLiteral("f"), 0);
        truths.push_back(makeTruth(std::move(package)));
        options = chooseOptions(*truths.back().package, &truths.back());
        packages.push_back(truths.back().package.get());
    }
    options.repeat = happens(500) ? Repeat::Always : Repeat::Reads;
    const Accepted accepted = m_engine->sendCombination(packages, options, m_now);
    for (std::size_t i = 0; i < truths.size(); ++i) {
        truths[i].mayRepeat = options.repeat == Repeat::Always
            || truths[i].package->getReadWriteCode() == OrvexEnum::Read;
        const RequestId id = accepted.id == 0 ? 0 : accepted.id + i;
        if (id != 0)
            m_tags[truths[i].package->getTag().toLatin1()] = id;
        accept(id, std::move(truths[i]));
    }
}

void Simulation::beginTransfer()
{
    const auto length = static_cast<int>(upTo(100));
    const auto address = static_cast<quint32>(0x0B000000);
    Truth truth;
    std::unique_ptr<Transfer> transfer;
    if (happens(500)) {
        auto package = makeOf<PackageRequestReadData>(address, QStringLiteral("t"), length);
        transfer = std::make_unique<Transfer>(Transfer::readData(package.get()));
        truth = makeTruth(std::move(package));
    } else {
        auto package = makeOf<PackageRequestWriteFile>(address, QStringLiteral("t"), false,
                                                       QStringLiteral("f"), 0);
        transfer =
            std::make_unique<Transfer>(Transfer::writeFile(package.get(), QByteArray(length, 'x')));
        truth = makeTruth(std::move(package));
    }
    truth.isTransfer = true;
    truth.package->setMaxPartSize(static_cast<int>(StampSize + upTo(20)));
    transfer->setWindow(static_cast<int>(1 + upTo(4)));
    const RequestOptions options = chooseOptions(*truth.package, &truth);
    truth.mayRepeat = truth.mayRepeat || options.repeat == Repeat::Reads; // its reads
    const Accepted accepted = m_engine->start(*transfer, options, m_now);
    accept(accepted.id, std::move(truth));
}

void Simulation::accept(RequestId id, Truth truth)
{
    ++m_begun;
    if (id == 0) {
        ++m_counts["refused at once"];
        expect(truth.package->getPackResult() == OrvexEnum::PackSendError, "a refusal is told");
        return;
    }
    expect(m_truths.count(id) == 0, "ids are not used twice", id);
    m_truths.emplace(id, std::move(truth));
}

void Simulation::cancelOne()
{
    if (m_truths.empty())
        return;
    auto truth = m_truths.lower_bound(upTo(m_truths.rbegin()->first));
    truth->second.isCancelled = true;
    m_engine->cancel(truth->first, m_now); // it may have ended, with an event that is not taken
}

void Simulation::deleteOne()
{
    if (m_truths.empty())
        return;
    Truth &truth = m_truths.lower_bound(upTo(m_truths.rbegin()->first))->second;
    truth.isDeleted = true;
    truth.package.reset();
}

void Simulation::loseLink()
{
    if (!fault("link lost", 1))
        return;
    for (auto &[id, truth] : m_truths)
        truth.isLinkLost = true;
    m_link = {};
    m_engine->linkLost(m_now);
    expect(m_engine->serialNumbers() == 0, "all numbers are free on the next link");
    m_serials.clear();
    m_special = 0;
}

// The link.

bool Simulation::fault(const char *name, int share)
{
    const bool isFaulty = m_begun < m_requests && happens(m_faults / share);
    if (isFaulty)
        ++m_counts[name];
    return isFaulty;
}

void Simulation::transmit()
{
    if (fault("full transport", 4))
        m_fullUntil = m_now + someTime(LongestPause);
    while (m_now >= m_fullUntil) {
        const std::optional<OutgoingMessage> message = m_engine->takeMessage(m_now);
        if (!message)
            return;
        checkSent(*message);
        const auto copies =
            std::make_shared<Copies>(Copies{message->request, message->attempt, {}});
        put(*message, copies, true, m_now, message->bytes);
    }
}

/// Looks at a message that the engine hands out.
void Simulation::checkSent(const OutgoingMessage &message)
{
    const RequestId id = message.request;
    const auto truth = m_truths.find(id);
    expect(truth != m_truths.end(), "what is sent has not ended", id);
    if (truth == m_truths.end())
        return;
    expect(message.bytes.size() <= m_settings.limits.messageSize, "no message is too long", id);
    expect(!truth->second.isUnsendable, "what is refused is not sent", id);
    expect(!truth->second.isCancelled && !truth->second.isDeleted, "what is cancelled is not sent",
           id);
    const std::vector<std::unique_ptr<PackageBase>> packages = packagesOf(message);
    const auto ownerOf = [&](const PackageBase &package) {
        return isCombination(message.shape) ? m_tags[package.getTag().toLatin1()] : id;
    };
    if (message.attempt > 1) {
        for (const auto &package : packages) {
            expect(m_truths[ownerOf(*package)].mayRepeat,
                   "only what may be done twice is sent twice", id);
        }
        expect(message.attempt <= m_settings.retry.attempts, "attempts have a limit", id);
        if (!truth->second.isTransfer)
            expect(m_sent[id] == message.bytes, "it is repeated as it was", id);
        return;
    }
    if (truth->second.mayRepeat)
        m_sent[id] = message.bytes;
    if (isSpecial(message.shape)) {
        takeAllEvents();
        expect(m_special == 0, "special requests are sent one at a time", id);
        m_special = id;
        return;
    }
    for (const auto &package : packages) {
        const auto serial = static_cast<quint32>(package->getSerialNum());
        expect(serial >= m_settings.firstSerialNum && serial <= m_settings.lastSerialNum,
               "serial numbers are of the range", id);
        expect(!isInFlight(serial), "no serial number is in flight twice", id);
        m_serials[serial] = {ownerOf(*package), m_now};
        m_asked[serial] = package->getDataLength();
    }
}

/// Whether a request with the serial number has been sent that has not ended.
bool Simulation::isInFlight(quint32 serial)
{
    if (m_serials.count(serial) == 0)
        return false;
    takeAllEvents();
    const auto use = m_serials.find(serial);
    if (use == m_serials.end())
        return false;
    // That a request of a transfer has ended is not told: it has where its number has rested.
    const auto truth = m_truths.find(use->second.request);
    const bool isOfTransfer = truth != m_truths.end() && truth->second.isTransfer;
    return !isOfTransfer || m_now - use->second.since < Rest;
}

/// Lets a message travel, or what becomes of it.
void Simulation::put(const OutgoingMessage &message, const std::shared_ptr<Copies> &copies,
                     bool isRequest, Time earliest, const QByteArray &bytes)
{
    if (fault(isRequest ? "lost request" : "lost reply"))
        return;
    const int copiesOnTheWay = fault(isRequest ? "request twice" : "reply twice") ? 2 : 1;
    for (int i = 0; i < copiesOnTheWay; ++i) {
        const Time way = fault("delay") ? someTime(LongestWay) : someTime(3);
        const std::optional<Time> at = arrival(copies, isRequest, earliest + way);
        if (!at)
            continue;
        MessageShape shape = message.shape;
        shape.direction = isRequest ? Direction::Request : Direction::Reply;
        const bool isSpoilt = fault("spoilt");
        m_link.push(
            {*at, ++m_order, isRequest, message, copies, isSpoilt ? spoilt(bytes, shape) : bytes});
    }
}

/// When a message arrives; nothing for a reply that would come later than the engine is promised.
std::optional<Time> Simulation::arrival(const std::shared_ptr<Copies> &copies, bool isRequest,
                                        Time at)
{
    if (m_keepsOrder)
        at = qMax(at, m_lastArrival[isRequest]);
    if (!isRequest) {
        if (copies->firstReply && at >= *copies->firstReply + RestAfterReply)
            return {};
        at = copies->firstReply ? qMax(at, *copies->firstReply) : at;
        copies->firstReply = copies->firstReply.value_or(at);
    }
    m_lastArrival[isRequest] = at;
    return at;
}

/// A message with a flipped bit, cut or longer, such that it shows; the message itself where that
/// is not to be found.
QByteArray Simulation::spoilt(const QByteArray &bytes, const MessageShape &shape)
{
    if (isCombination(shape) || isSpecial(shape))
        return bytes.left(1);
    const auto serial = serialNumOfReply(bytes, shape.form);
    for (int attempt = 0; attempt < 10; ++attempt) {
        QByteArray changed = bytes;
        const auto at = static_cast<int>(upTo(static_cast<quint64>(bytes.size()) - 1));
        if (happens(300))
            changed.truncate(at);
        else if (happens(200))
            changed.append(static_cast<char>(upTo(255)));
        else
            changed[at] = static_cast<char>(changed.at(at) ^ 1 << upTo(7));
        std::unique_ptr<PackageBase> package;
        const auto changedSerial = serialNumOfReply(changed, shape.form);
        const bool shows = shape.form == Form::Linux || !changedSerial || changedSerial == serial;
        if (shows && !decodeMessage(changed, shape, &package).isOk())
            return changed;
    }
    return bytes;
}

void Simulation::deliver()
{
    while (!m_link.empty() && m_link.top().at <= m_now) {
        const Parcel parcel = m_link.top();
        m_link.pop();
        if (parcel.isRequest)
            serve(parcel);
        else
            m_engine->receive(parcel.message.shape.form, parcel.bytes, m_now);
        takeEvents();
    }
}

// The device.

void Simulation::serve(const Parcel &parcel)
{
    const MessageShape &shape = parcel.message.shape;
    if (!check(parcel.bytes, shape).isOk())
        return;
    QByteArray reply;
    if (isCombination(shape)) {
        QByteArrayList replies;
        std::vector<std::unique_ptr<PackageBase>> packages;
        decodeCombination(parcel.bytes, &packages);
        for (const auto &package : packages) {
            QByteArray record;
            encodePackage(*package, {Form::Text, Direction::Request}, &record);
            replies << execute(record, {classOf(*package).id, Form::Text, Direction::Request},
                               m_tags[package->getTag().toLatin1()]);
        }
        reply = replies.join('|');
    } else {
        reply = execute(parcel.bytes, shape, parcel.message.request);
    }
    if (fault("pause"))
        m_pausedUntil = m_now + someTime(LongestPause);
    put(parcel.message, parcel.copies, false, qMax(m_now, m_pausedUntil), reply);
}

/// Carries out a request, and remembers what it was told.
QByteArray Simulation::execute(const QByteArray &bytes, const MessageShape &shape, RequestId id)
{
    const auto found = m_truths.find(id);
    Truth gone;
    Truth &truth = found == m_truths.end() ? gone : found->second;
    ++truth.executions;
    ++m_executions;
    const bool fails = fault("failure");
    const bool isFull = shape.form == Form::Frame && happens(200);
    return replyTo(
        bytes, shape,
        [&](PackageBase &package) {
            const auto ackCode = fails ? static_cast<uint>(1 + m_executions % 100) : 0;
            truth.told.insert(ackCode);
            package.setAckCode(ackCode);
            if (auto *read = qobject_cast<PackageRequestReadData *>(&package)) {
                if (read->getReplyDataLength() > 0 && fault("spoilt", 4))
                    read->setReplyDataLength(read->getReplyDataLength() - 1);
                read->setData(stamped(m_executions, read->getReplyDataLength()));
                truth.given.insert(placed(registerOf(*read), read->data()));
            }
            if (auto *special = qobject_cast<SpecialPackageRequest *>(&package)) {
                special->setStrData(QString::number(m_executions));
                truth.given.insert(QByteArray::number(m_executions));
            }
        },
        isFull ? ReplySize::Full : ReplySize::Short);
}

// What must hold.

void Simulation::takeEvents()
{
    if (!fault("events not taken", 2))
        takeAllEvents();
}

void Simulation::takeAllEvents()
{
    while (const std::optional<Event> event = m_engine->takeEvent()) {
        const auto truth = m_truths.find(event->id);
        expect(truth != m_truths.end(), "each request ends once", event->id);
        if (truth == m_truths.end())
            return;
        say(describe(*event));
        if (event->type == Event::Type::Progress) {
            expect(event->done > truth->second.done, "progress goes on", event->id);
            truth->second.done = event->done;
            continue;
        }
        checkEnd(*event, truth->second);
        for (auto serial = m_serials.begin(); serial != m_serials.end();)
            serial =
                serial->second.request == event->id ? m_serials.erase(serial) : std::next(serial);
        m_special = m_special == event->id ? 0 : m_special;
        m_truths.erase(truth);
        m_sent.erase(event->id);
    }
}

void Simulation::checkEnd(const Event &event, const Truth &truth)
{
    static const char *const names[] = {"success",   "failure", "timed out",    "cancelled",
                                        "link lost", "refused", "refused reply"};
    const RequestId id = event.id;
    ++m_counts[std::string("ended: ") + names[static_cast<int>(event.outcome)]];
    expect(event.package == truth.package.get(), "the package is the caller's", id);
    if (truth.package) {
        expect(identityOf(*truth.package) == truth.identity, "the address does not change", id);
        expect(truth.package->isPackageSuccess() == (event.outcome == Outcome::Success),
               "the package says the outcome", id);
    }
    switch (event.outcome) {
    case Outcome::Success:
        checkSuccess(event, truth);
        break;
    case Outcome::Failure:
        expect(!truth.package || truth.told.count(truth.package->getAckCode()) > 0,
               "a failure is one that the device told", id);
        expect(!truth.package || !truth.package->isPackageSuccess(), "a failure is one", id);
        break;
    case Outcome::Cancelled:
        expect(truth.isCancelled || truth.isDeleted, "nothing is cancelled by itself", id);
        break;
    case Outcome::LinkLost:
        expect(truth.isLinkLost, "no link is lost by itself", id);
        break;
    case Outcome::RefusedReply:
        expect(m_counts["spoilt"] > 0, "good replies are not refused", id);
        break;
    default:
        break;
    }
}

void Simulation::checkSuccess(const Event &event, const Truth &truth)
{
    const RequestId id = event.id;
    if (truth.isTransfer) {
        expect(event.done == event.total && event.failedOffset == -1, "all of it is done", id);
        if (!truth.package || !qobject_cast<PackageRequestReadData *>(truth.package.get()))
            return;
        const int size = truth.package->getMaxPartSize();
        expect(event.data.size() == event.total, "all of it was read", id);
        for (int offset = 0; offset < event.total; offset += size) {
            checkData(event.data.mid(offset, size),
                      registerOf(*truth.package) + static_cast<quint32>(offset), truth, id);
        }
        return;
    }
    expect(truth.executions > 0, "what succeeds was carried out", id);
    expect(truth.told.count(0) > 0, "a success is one that the device told", id);
    if (auto *read = qobject_cast<PackageRequestReadData *>(truth.package.get()))
        checkData(read->data(), registerOf(*read), truth, id);
    if (auto *special = qobject_cast<SpecialPackageRequest *>(truth.package.get())) {
        expect(truth.given.count(special->strData().toLatin1()) > 0,
               "no answer is that to another request", id);
    }
}

void Simulation::checkData(const QByteArray &data, quint32 address, const Truth &truth,
                           RequestId id)
{
    expect(truth.given.count(placed(address, data)) > 0, "no data is that of another request", id);
}

/// Looks at a reply that lets its serial number be used again soon.
void Simulation::checkLate(const TraceEntry &entry)
{
    std::unique_ptr<PackageBase> package;
    if (entry.shape.classId != ClassId::PackageRequestReadData
        || !decodeMessage(entry.message, entry.shape, &package).isOk()
        || !package->isPackageSuccess()) {
        return;
    }
    expect(package->data().size() == m_asked[static_cast<quint32>(package->getSerialNum())],
           "a late reply has as much data as was asked for");
}

void Simulation::checkLimits()
{
    const Limits &limits = m_settings.limits;
    expect(m_engine->inFlight() <= limits.inFlight, "requests in flight are limited");
    expect(m_engine->queued() <= 2 * limits.queued + limits.inFlight, "the queue is limited");
    expect(m_engine->bytesInFlight() <= limits.bytesInFlight, "bytes in flight are limited");
    expect(m_engine->serialNumbers() <= limits.serialNumbers, "serial numbers are limited");
}

void Simulation::expect(bool holds, const char *what, RequestId id)
{
    if (holds || !m_failure.isEmpty())
        return;
    m_failure = QStringLiteral("at %1 ms, request %2: it does not hold that %3")
                    .arg(m_now.count() / 1000)
                    .arg(id)
                    .arg(QLatin1String(what));
}

/// Moves the clock to what happens next, or by chance a bit, far, or back.
void Simulation::moveOn()
{
    Time next = m_now + ms(20);
    if (!m_link.empty())
        next = qMin(next, m_link.top().at);
    if (const std::optional<Time> due = m_engine->nextTimeout()) {
        expect(*due > m_now, "what is due is done");
        next = qMin(next, *due);
    }
    if (fault("clock back", 4))
        m_engine->handleTimeout(m_now - someTime(LongestJump));
    if (fault("clock ahead", 8))
        next += someTime(LongestJump);
    if (happens(300))
        next += someTime(2);
    m_now = qMax(next, m_now + Time(1));
    m_engine->handleTimeout(m_now);
}

void Simulation::say(const QString &text) const
{
    if (m_isVerbose)
        std::printf("%10.3f ms  %s\n", static_cast<double>(m_now.count()) / 1000,
                    qUtf8Printable(text));
}
