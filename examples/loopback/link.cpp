#include "link.h"

using namespace KorvinExchange;

namespace {

constexpr std::chrono::milliseconds FirstPause(20);
constexpr std::chrono::milliseconds LongestPause(1000);

} // namespace

Link::Link(const QString &name, const Settings &settings, MessageSocket::Framing framing,
           QObject *parent)
    : QObject(parent)
    , m_name(name)
    , m_framing(framing)
    , m_engine(settings)
    , m_pause(FirstPause)
{
    m_engine.setTrace(this);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Link::work);
}

Link::~Link() = default;

void Link::open(const Place &place)
{
    m_place = place;
    connectToPeer();
}

void Link::close()
{
    m_isEnding = true;
    if (m_socket)
        m_socket->close(QStringLiteral("closed"));
    m_isOpen = false;
    m_engine.linkLost(now());
    schedule();
}

Accepted Link::send(PackageBase *package, const RequestOptions &options, const Listener &listener)
{
    return listen(m_engine.send(package, options, now()), 1, listener);
}

Accepted Link::sendCombination(const std::vector<PackageBase *> &packages,
                               const RequestOptions &options, const Listener &listener)
{
    return listen(m_engine.sendCombination(packages, options, now()), packages.size(), listener);
}

Accepted Link::start(const Transfer &transfer, const RequestOptions &options,
                     const Listener &listener)
{
    return listen(m_engine.start(transfer, options, now()), 1, listener);
}

void Link::cancel(RequestId id)
{
    m_listeners.remove(id);
    m_engine.cancel(id, now());
    schedule();
}

/// Remembers who is told of the requests with @p count ids.
Accepted Link::listen(const Accepted &accepted, std::size_t count, const Listener &listener)
{
    for (std::size_t i = 0; i < count && accepted.id != 0; ++i)
        m_listeners.insert(accepted.id + i, listener);
    schedule();
    return accepted;
}

/// Logs the replies that reach no request.
void Link::add(const TraceEntry &entry)
{
    const auto leftOut = [&](const char *what) {
        qInfo("%s: a reply is left out: %s%s", qUtf8Printable(m_name), what,
              entry.verdict.isOk() ? "" : qUtf8Printable(describe(entry.verdict)));
    };
    switch (entry.event) {
    case TraceEvent::Late:
        return leftOut("late");
    case TraceEvent::Duplicate:
        return leftOut("the request has been answered");
    case TraceEvent::Unknown:
        return leftOut("to no request");
    case TraceEvent::RefusedReply:
        return leftOut("refused: ");
    default:
        return;
    }
}

void Link::connectToPeer()
{
    auto *socket = new QTcpSocket;
    m_socket = new MessageSocket(socket, m_framing, this);
    connect(socket, &QTcpSocket::connected, this, [this] {
        m_isOpen = true;
        Q_EMIT opened();
        schedule();
    });
    connect(m_socket, &MessageSocket::received, this, [this](const Message &message) {
        m_pause = FirstPause; // the peer is really there
        m_engine.receive(message.form, message.bytes, now(), message.classId);
        schedule();
    });
    connect(m_socket, &MessageSocket::drained, this, &Link::schedule);
    connect(m_socket, &MessageSocket::closed, this, &Link::onClosed);
    socket->connectToHost(m_place.address, m_place.port);
}

void Link::onClosed(const QString &reason)
{
    m_socket->deleteLater();
    m_socket = nullptr;
    const bool isNew = m_isOpen || reason != m_lastReason;
    m_isOpen = false;
    m_lastReason = reason;
    m_engine.linkLost(now());
    schedule();
    if (isNew)
        Q_EMIT closed(reason);
    if (m_isEnding)
        return;
    QTimer::singleShot(m_pause, this, [this] {
        if (!m_isEnding)
            connectToPeer();
    });
    m_pause = qMin(2 * m_pause, LongestPause);
}

/// Lets the engine work when all that has arrived by now is known to it.
void Link::schedule()
{
    if (m_isScheduled)
        return;
    m_isScheduled = true;
    QMetaObject::invokeMethod(this, &Link::work, Qt::QueuedConnection);
}

void Link::work()
{
    m_isScheduled = false;
    m_engine.handleTimeout(now());
    while (m_isOpen && m_socket->hasRoom()) {
        const std::optional<OutgoingMessage> message = m_engine.takeMessage(now());
        if (!message)
            break;
        m_socket->send({message->shape.classId, message->shape.form, message->bytes});
    }
    tellEvents();
    setTimer();
}

void Link::tellEvents()
{
    while (const std::optional<Event> event = m_engine.takeEvent()) {
        const Listener listener = m_listeners.value(event->id);
        if (event->type == Event::Type::Finished)
            m_listeners.remove(event->id);
        if (listener)
            listener(*event);
    }
}

/// A timer that fires too early costs less than one that is set for each reply.
void Link::setTimer()
{
    const std::optional<Time> due = m_engine.nextTimeout();
    if (!due || (m_timer.isActive() && m_timerDue <= *due))
        return;
    m_timerDue = *due;
    m_timer.start(std::chrono::ceil<std::chrono::milliseconds>(qMax(*due - now(), Time(0))));
}
