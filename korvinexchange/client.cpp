#include "include/korvinexchange/client.h"

#include "client_p.h"
#include "durations_p.h"
#include "include/korvinexchange/lengthprefixframing.h"
#include "include/korvinexchange/lineframing.h"
#include "include/korvinexchange/linuxframing.h"
#include "requestcoding_p.h"

#include <QtCore/QMetaMethod>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

/// How often a client looks after its requests where there was no memory to start its timer.
constexpr std::chrono::milliseconds SparePause(100);

/// A Linux frame may take this long even if its request has timed out: it is a late reply then.
constexpr std::chrono::milliseconds LeastFrameTime(1000);

Form firstForm(const Settings &settings)
{
    return settings.forms.empty() ? Form::Text : settings.forms.front();
}

std::chrono::milliseconds roundedUp(Time time)
{
    return std::chrono::ceil<std::chrono::milliseconds>(qMax(time, Time(0)));
}

ClientSettings inRange(ClientSettings settings)
{
    for (std::chrono::milliseconds *duration :
         {&settings.connectTimeout, &settings.reconnectPause, &settings.longestReconnectPause})
        bound(duration, 1);
    settings.reconnectPause = qMin(settings.reconnectPause, settings.longestReconnectPause);
    return settings;
}

} // namespace

ClientPrivate::ClientPrivate(Client *client, const ClientSettings &given)
    : settings(inRange(given))
    , engine(given)
    , self(this)
    , m_client(client)
    , m_pause(settings.reconnectPause)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ClientPrivate::work);
    connect(&m_spareTimer, &QTimer::timeout, this, &ClientPrivate::work);
    // Qt takes the memory that a timer needs when it is started for the first time, and would not
    // survive to run out of it later.
    for (QTimer *timer : {&m_timer, &m_spareTimer}) {
        timer->start(SparePause);
        timer->stop();
    }
}

ClientPrivate::~ClientPrivate() = default;

Time ClientPrivate::now() const
{
    return std::chrono::duration_cast<Time>(std::chrono::nanoseconds(m_clock.nsecsElapsed()));
}

// The device.

void ClientPrivate::setDevice(QIODevice *newDevice)
{
    setOpener({});
    m_openDue.reset();
    if (newDevice)
        attach(newDevice);
}

void ClientPrivate::setOpener(const Client::Opener &opener)
{
    if (m_isConnectedTold)
        m_lostReason = QStringLiteral("another device is used");
    detach();
    m_opener = opener;
    m_openDue = now();
    m_pause = settings.reconnectPause;
    wake();
}

void ClientPrivate::attach(QIODevice *newDevice)
{
    device = newDevice;
    m_isAttached = true;
    try {
        m_guardedDevice = newDevice;
        m_connectDue = now() + settings.connectTimeout;
        m_framing = m_client->makeFraming();
        connect(newDevice, &QIODevice::readyRead, this, &ClientPrivate::wake);
        connect(newDevice, &QIODevice::bytesWritten, this, &ClientPrivate::wake);
        connect(newDevice, &QIODevice::aboutToClose, this,
                [this] { endDevice(QStringLiteral("the device was closed")); });
        connect(newDevice, &QIODevice::readChannelFinished, this,
                [this] { endDevice(QStringLiteral("the peer sends nothing more")); });
        connect(newDevice, &QObject::destroyed, this, [this] {
            device = nullptr;
            lose(QStringLiteral("the device was deleted"));
        });
        connectByName("connected", "wake()");
        connectByName("errorOccurred", "endWithError()");
    } catch (const std::bad_alloc &) {
        lose(QStringLiteral("out of memory"));
    }
}

/// Connects a signal that only some devices have, whatever its arguments are.
void ClientPrivate::connectByName(const char *signal, const char *slot)
{
    const QMetaObject *meta = device->metaObject();
    const QMetaMethod own = metaObject()->method(metaObject()->indexOfSlot(slot));
    for (int i = 0; i < meta->methodCount(); ++i) {
        const QMetaMethod candidate = meta->method(i);
        if (candidate.methodType() == QMetaMethod::Signal && candidate.name() == signal)
            connect(device, candidate, this, own);
    }
}

void ClientPrivate::detach()
{
    if (device) {
        disconnect(device, nullptr, this, nullptr);
        if (device->parent() == this)
            discard(device);
    }
    device = nullptr;
    m_guardedDevice.clear();
    m_isAttached = false;
    m_framing.reset();
    m_unsent.clear();
    m_connectDue.reset();
    if (isConnected)
        engine.linkLost(now());
    isConnected = false;
    m_isConnectedTold = false;
}

/// Deletes a device of an opener, which may be emitting a signal.
void ClientPrivate::discard(QIODevice *device)
{
    try {
        device->deleteLater();
    } catch (const std::bad_alloc &) {
        // It is deleted with its parent.
    }
}

void ClientPrivate::open()
{
    m_openDue.reset();
    QIODevice *const opened = m_opener ? m_opener() : nullptr;
    if (opened) {
        opened->setParent(this);
        attach(opened);
    } else if (m_opener) {
        lose(QStringLiteral("the device cannot be opened"));
    }
}

void ClientPrivate::checkConnection()
{
    if (isConnected || !device)
        return;
    if (device->isOpen() && device->writeChannelCount() > 0) {
        isConnected = true;
        m_connectDue.reset();
    } else if (*m_connectDue <= now()) {
        giveUp(QStringLiteral("the device was not connected in time"));
    }
}

void ClientPrivate::read()
{
    constexpr qint64 Piece = 65536;
    // A signal tells of what comes meanwhile.
    for (qint64 left = isConnected ? device->bytesAvailable() : 0; left > 0;) {
        const QByteArray bytes = device->read(qMin(left, Piece));
        if (bytes.isEmpty() || !isConnected)
            return;
        left -= bytes.size();
        receive(m_framing->receive(bytes, now()));
        if (m_framing->fault() != FramingFault::None) {
            giveUp(describe(m_framing->fault()));
            return;
        }
    }
}

void ClientPrivate::receive(const std::vector<QByteArray> &messages)
{
    for (const QByteArray &bytes : messages) {
        const std::optional<IncomingMessage> message = m_client->unwrap(bytes);
        if (!message)
            continue;
        m_pause = settings.reconnectPause;
        // What can be read when a time-out is looked at has come before it, however long the
        // program has not looked.
        const Time due = engine.nextTimeout().value_or(Time::max());
        engine.receive(message->form, message->bytes, qMin(now(), due - Time(1)), message->classId);
    }
}

/// Hands to the device what it has not taken yet.
bool ClientPrivate::flush()
{
    if (!isConnected || m_unsent.isEmpty())
        return false;
    const QPointer<ClientPrivate> alive(self);
    QIODevice *const used = device;
    const qint64 written = used->write(m_unsent);
    if (!alive || !isConnected || used != device)
        return true;
    if (written < 0)
        giveUp(QStringLiteral("cannot write: ") + used->errorString());
    else
        m_unsent.remove(0, static_cast<int>(written));
    return written != 0;
}

/// Takes what is left to be read, and goes on without the device.
void ClientPrivate::endDevice(const QString &reason)
{
    QString last = reason;
    try {
        read();
        if (isConnected) {
            receive(m_framing->end());
            if (m_framing->fault() != FramingFault::None)
                last = describe(m_framing->fault());
        }
    } catch (const std::bad_alloc &) {
        last = QStringLiteral("out of memory");
    }
    if (m_isAttached)
        lose(last);
}

void ClientPrivate::endWithError()
{
    endDevice(device->errorString());
}

/// Closes the device, and goes on without it.
void ClientPrivate::giveUp(const QString &reason)
{
    const QPointer<QIODevice> closing(m_guardedDevice);
    lose(reason);
    if (closing)
        closing->close();
}

void ClientPrivate::lose(const QString &reason)
{
    detach();
    m_lostReason = reason;
    if (m_opener) {
        m_openDue = now() + m_pause;
        m_pause = qMin(2 * m_pause, settings.longestReconnectPause);
    }
    wake();
}

// Work.

void ClientPrivate::wake()
{
    const bool isAwake = m_timer.isActive() && m_timer.interval() == 0;
    if (!m_isClosing && !isAwake)
        wakeIn(Time(0));
}

void ClientPrivate::wakeIn(Time pause)
{
    constexpr std::chrono::milliseconds Longest(std::numeric_limits<int>::max());
    try {
        m_timer.start(qMin(roundedUp(pause), Longest));
    } catch (const std::bad_alloc &) {
        // The spare timer runs.
    }
}

void ClientPrivate::work()
{
    constexpr int MostAtOnce = 256; // then other events have their turn
    const QPointer<ClientPrivate> alive(self);
    try {
        read();
        handleTimeouts();
        checkConnection();
        int done = 0;
        while (alive && done < MostAtOnce && workOnce())
            ++done;
        if (alive && done == MostAtOnce)
            wake();
    } catch (const std::bad_alloc &) {
        giveUp(QStringLiteral("out of memory"));
    }
    if (!alive)
        return;
    if (waiting)
        waiting->look(now());
    schedule();
}

void ClientPrivate::handleTimeouts()
{
    engine.handleTimeout(now());
    if (m_framing) {
        receive(m_framing->handleTimeout(now()));
        if (m_framing->fault() != FramingFault::None)
            giveUp(describe(m_framing->fault()));
    }
    if (m_openDue && *m_openDue <= now())
        open();
}

/// Does the next piece of work. It may emit a signal, and a slot may delete the client.
///
/// @return whether there was anything to do.
bool ClientPrivate::workOnce()
{
    // The engine ends requests as well when it is asked for a message.
    return announceDevice() || flush() || takeEvent() || takeMessage() || takeEvent();
}

void ClientPrivate::schedule()
{
    if (m_pending.empty() && m_refused.empty())
        m_spareTimer.stop();
    if (m_timer.isActive() && m_timer.interval() == 0)
        return;
    std::optional<Time> due = engine.nextTimeout();
    const std::optional<Time> framing = m_framing ? m_framing->nextTimeout() : std::nullopt;
    const std::optional<Time> waited = waiting ? std::optional(waiting->due()) : std::nullopt;
    for (const std::optional<Time> &other : {framing, waited, m_connectDue, m_openDue}) {
        if (other && *other < due.value_or(Time::max()))
            due = other;
    }
    if (due)
        wakeIn(*due - now());
    else
        m_timer.stop();
}

// Requests.

bool ClientPrivate::announceDevice()
{
    if (m_lostReason) {
        const QString reason = *std::exchange(m_lostReason, std::nullopt);
        Q_EMIT m_client->disconnected(reason);
        return true;
    }
    if (!isConnected || m_isConnectedTold)
        return false;
    m_isConnectedTold = true;
    Q_EMIT m_client->connected();
    return true;
}

bool ClientPrivate::takeEvent()
{
    if (!m_refused.empty()) {
        const RefusedRequest refused = m_refused.front();
        m_refused.pop_front();
        Event event = refused.event;
        event.package = refused.package;
        tell(event, refused.reply);
        return true;
    }
    const std::optional<Event> event = engine.takeEvent();
    if (!event)
        return false;
    const auto found = findPending(event->id);
    Reply *const reply = found == m_pending.end() ? nullptr : *found;
    if (event->type == Event::Type::Finished) {
        if (reply)
            m_pending.erase(found);
        tell(*event, reply);
    } else if (reply) {
        Q_EMIT reply->progress(event->done, event->total);
    }
    return true;
}

/// Finds the reply of a request that has not ended; returns the end if the reply was deleted.
std::list<Reply *>::iterator ClientPrivate::findPending(RequestId id)
{
    // It is one of the first: requests are sent in the order in which they were handed over.
    return std::find_if(m_pending.begin(), m_pending.end(),
                        [id](const Reply *reply) { return reply->d->id == id; });
}

void ClientPrivate::tell(const Event &event, Reply *reply)
{
    const QPointer<Reply> alive(reply ? reply->d->self : nullptr);
    if (reply) {
        reply->d->client = nullptr;
        reply->d->event = event;
        reply->d->isFinished = true;
        reply->d->hideTime();
        if (reply->d->awaited)
            *reply->d->awaited = event;
    }
    if (event.package)
        Q_EMIT event.package->CompleteRequestEvent(m_client, event.package);
    if (alive)
        Q_EMIT alive->finished();
}

bool ClientPrivate::takeMessage()
{
    if (!isConnected || !m_unsent.isEmpty() || device->bytesToWrite() >= settings.bytesToWrite)
        return false;
    const std::optional<OutgoingMessage> message = engine.takeMessage(now());
    if (!message)
        return false;
    const std::optional<QByteArray> bytes = m_framing->encode(m_client->wrap(*message));
    if (!bytes) {
        engine.refuse(message->request, now());
        return true;
    }
    m_unsent = *bytes;
    begin(*message);
    return true;
}

/// Announces the packages whose message is sent.
void ClientPrivate::begin(const OutgoingMessage &message)
{
    const QPointer<ClientPrivate> alive(self);
    auto found = findPending(message.request);
    const RequestId last = (*found)->d->lastOfMessage; // it has not ended: it is sent
    for (RequestId id = message.request; alive && id <= last; ++id) {
        found = findPending(id);
        if (found != m_pending.end())
            begin(*(*found)->d, message.due);
    }
}

void ClientPrivate::begin(ReplyPrivate &reply, Time due)
{
    reply.showTime(roundedUp(due - now()));
    if (reply.package && !std::exchange(reply.hasBegun, true))
        Q_EMIT reply.package->BeginRequestEvent(m_client, reply.package);
}

std::unique_ptr<Reply> ClientPrivate::makeReply(PackageBase *package)
{
    auto fields = std::make_unique<ReplyPrivate>();
    fields->package = package;
    fields->waiter = this;
    std::unique_ptr<Reply> reply(new Reply(std::move(fields)));
    reply->setParent(m_client);
    return reply;
}

/// Makes replies, and hands their requests to the engine; none where memory runs out.
template <typename HandOver>
std::vector<Reply *> ClientPrivate::send(PackageBase *const *packages, int count, HandOver handOver)
{
    std::vector<std::unique_ptr<Reply>> made;
    std::vector<Reply *> replies;
    std::list<Reply *> pending;
    std::list<RefusedRequest> refused;
    try {
        for (int i = 0; i < count && !m_isClosing; ++i) {
            made.push_back(makeReply(packages[i]));
            replies.push_back(made.back().get());
            pending.push_back(replies.back());
            refused.push_back({{}, packages[i], replies.back()});
        }
        if (!m_spareTimer.isActive())
            m_spareTimer.start(SparePause);
    } catch (const std::bad_alloc &) {
        replies.clear();
    }
    if (replies.empty()) {
        for (int i = 0; i < count; ++i) {
            if (!isUnderWay(packages[i]))
                setOutcome(packages[i], Outcome::Refused);
        }
        return {};
    }
    const Accepted accepted = handOver();
    if (accepted.id == 0) {
        for (RefusedRequest &request : refused) {
            request.event.outcome = Outcome::Refused;
            request.event.sendError = accepted.sendError;
            if (isUnderWay(request.package)) // it has not completed
                request.package.clear();
        }
        m_refused.splice(m_refused.end(), refused);
    } else {
        RequestId id = accepted.id;
        for (const Reply *reply : pending) {
            reply->d->id = id++;
            reply->d->lastOfMessage = accepted.id + replies.size() - 1;
            reply->d->client = this;
        }
        m_pending.splice(m_pending.end(), pending);
    }
    for (std::unique_ptr<Reply> &reply : made)
        (void)reply.release(); // its parent deletes it
    wake();
    return replies;
}

/// Returns whether a package is that of an unfinished request or transfer.
bool ClientPrivate::isUnderWay(const PackageBase *package) const
{
    return std::any_of(m_pending.begin(), m_pending.end(),
                       [package](const Reply *reply) { return reply->d->package == package; });
}

void ClientPrivate::abort(RequestId id)
{
    engine.cancel(id, now());
    wake();
}

void ClientPrivate::forget(RequestId id)
{
    m_pending.erase(findPending(id));
    abort(id);
}

/// Waits for a reply, and deletes it.
Event ClientPrivate::waitFor(Reply *reply, std::chrono::milliseconds deadline)
{
    Event event;
    if (!reply) {
        event.outcome = Outcome::Refused;
        event.sendError = SendError::OutOfMemory;
        return event;
    }
    event.outcome = Outcome::Cancelled; // where a slot deletes the reply
    const QPointer<Reply> alive(reply->d->self);
    reply->d->awaited = &event;
    if (!reply->waitForFinished(deadline) && alive) {
        alive->abort();
        while (alive && !alive->isFinished())
            work();
    }
    delete alive.data();
    return event;
}

/// Ends all that is not finished. Nobody can be told of anything later.
void ClientPrivate::close()
{
    m_isClosing = true;
    m_timer.stop();
    m_spareTimer.stop();
    detach();
    engine.linkLost(now());
    while (takeEvent()) { }
    if (waiting)
        waiting->look(Time::max());
}

// The public side.

Client::Client(const ClientSettings &settings, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<ClientPrivate>(this, settings))
{
}

Client::~Client()
{
    d->close();
}

void Client::setDevice(QIODevice *device)
{
    d->setDevice(device);
}

void Client::setOpener(const Opener &opener)
{
    d->setOpener(opener);
}

QIODevice *Client::device() const
{
    return d->device;
}

bool Client::isConnected() const
{
    return d->isConnected;
}

Reply *Client::send(PackageBase *package, const RequestOptions &options)
{
    const std::vector<Reply *> replies =
        d->send(&package, 1, [&] { return d->engine.send(package, options, d->now()); });
    return replies.empty() ? nullptr : replies.front();
}

std::vector<Reply *> Client::sendCombination(const std::vector<PackageBase *> &packages,
                                             const RequestOptions &options)
{
    return d->send(packages.data(), static_cast<int>(packages.size()),
                   [&] { return d->engine.sendCombination(packages, options, d->now()); });
}

Reply *Client::start(const Transfer &transfer, const RequestOptions &options)
{
    PackageBase *package = transfer.package();
    const std::vector<Reply *> replies =
        d->send(&package, 1, [&] { return d->engine.start(transfer, options, d->now()); });
    return replies.empty() ? nullptr : replies.front();
}

Event Client::exchange(PackageBase *package, std::chrono::milliseconds deadline,
                       const RequestOptions &options)
{
    return d->waitFor(send(package, options), deadline);
}

Event Client::exchange(const Transfer &transfer, std::chrono::milliseconds deadline,
                       const RequestOptions &options)
{
    return d->waitFor(start(transfer, options), deadline);
}

const Engine &Client::engine() const
{
    return d->engine;
}

void Client::setTrace(Trace *trace)
{
    d->engine.setTrace(trace);
}

std::unique_ptr<Framing> Client::makeFraming() const
{
    const int size = d->settings.limits.messageSize;
    switch (firstForm(d->settings)) {
    case Form::Text:
        return std::make_unique<LineFraming>(size);
    case Form::Linux:
        return std::make_unique<LinuxFraming>(Direction::Reply,
                                              qMax(LeastFrameTime, d->settings.timeout), size);
    default:
        return std::make_unique<LengthPrefixFraming>(size);
    }
}

QByteArray Client::wrap(const OutgoingMessage &message) const
{
    return message.bytes;
}

std::optional<IncomingMessage> Client::unwrap(const QByteArray &bytes) const
{
    return IncomingMessage{firstForm(d->settings), bytes};
}

} // namespace KorvinExchange
