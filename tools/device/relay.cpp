#include "relay.h"

#include "serialplace.h"

#include <korvininspect/packageforms.h>

#include <QtNetwork/QLocalSocket>

#include <limits>

using namespace KorvinInspect;

namespace {

constexpr std::chrono::seconds LastDeadline(10);
constexpr int PieceSize = 65536;
constexpr qint64 MostUnsent = 1 << 20;
constexpr std::size_t MostPending = 1000;

/// Returns how long a message may take. Noise that looks like a Linux frame is given up as a device
/// does that; elsewhere the device decides.
std::chrono::milliseconds deadlineOf(FramingKind kind)
{
    return kind == FramingKind::Linux ? std::chrono::seconds(3) : std::chrono::hours(24);
}

} // namespace

Relay::Relay(QIODevice *client, const Place &upstream, FramingKind framing,
             RecordingWriter *recording, QObject *parent)
    : QObject(parent)
    , m_client(client)
    , m_kind(framing)
    , m_requests(makeFraming(framing, MaxMessageSize, Direction::Request, deadlineOf(framing)))
    , m_replies(makeFraming(framing, MaxMessageSize, Direction::Reply, deadlineOf(framing)))
    , m_recording(recording)
{
    client->setParent(this);
    prepareSocket(client);
    prepareSocket(&m_device);
    for (QIODevice *side : {client, static_cast<QIODevice *>(&m_device)}) {
        connect(side, &QIODevice::readyRead, this, &Relay::passAll);
        connect(side, &QIODevice::bytesWritten, this, &Relay::passAll);
    }
    connect(&m_device, &QTcpSocket::connected, this, &Relay::passAll);
    connect(client, &QIODevice::readChannelFinished, this,
            [this] { end(QStringLiteral("closed by the client")); });
    if (auto *local = qobject_cast<QLocalSocket *>(client)) {
        connect(local, &QLocalSocket::disconnected, this,
                [this] { end(QStringLiteral("closed by the client")); });
    }
    connect(&m_device, &QTcpSocket::disconnected, this,
            [this] { end(QStringLiteral("closed by the device")); });
    connect(&m_device, &QTcpSocket::stateChanged, this, [this](QAbstractSocket::SocketState state) {
        if (state == QAbstractSocket::UnconnectedState)
            end(m_device.errorString());
    });
    m_device.connectToHost(upstream.address, upstream.port);
}

Relay::~Relay()
{
    m_client->disconnect(this);
    m_device.disconnect(this);
}

void Relay::pass(QIODevice *from, QIODevice *to, qint64 mostUnsent)
{
    while (from->bytesAvailable() > 0 && to->bytesToWrite() < mostUnsent) {
        const QByteArray bytes = from->read(PieceSize);
        const bool isRequest = from == m_client;
        KorvinExchange::Framing *framing = isRequest ? m_requests.get() : m_replies.get();
        const bool wasSound = framing->fault() == KorvinExchange::FramingFault::None;
        for (const QByteArray &message : framing->receive(bytes, timeSinceStart()))
            keep(message, isRequest);
        if (wasSound && framing->fault() != KorvinExchange::FramingFault::None) {
            qWarning("what %s sends is passed on and not recorded any more: %s",
                     isRequest ? "a client" : "the device",
                     qUtf8Printable(describe(framing->fault())));
        }
        to->write(bytes);
    }
}

void Relay::passAll()
{
    if (m_isEnding)
        return finishIfSent();
    if (m_device.state() != QAbstractSocket::ConnectedState)
        return;
    pass(m_client, &m_device, MostUnsent);
    for (const QByteArray &request : m_requests->handleTimeout(timeSinceStart()))
        keep(request, true); // before the reply to it
    pass(&m_device, m_client, MostUnsent);
}

void Relay::keep(const QByteArray &bytes, bool isRequest)
{
    const std::optional<Message> message = messageIn(bytes, m_kind);
    if (!message)
        ++m_notKept;
    else if (isRequest)
        keepRequest(*message);
    else
        keepReply(*message);
}

void Relay::keepRequest(const Message &request)
{
    Pending pending;
    pending.number = m_recording->addRequest(request);
    pending.request = {request.classId, request.form, {}};
    const std::vector<SerialPlace> places = serialPlacesOf(request);
    if (!places.empty() && places.front().item <= 1)
        pending.serialNum = places.front().value;
    m_pending.push_back(pending);
    if (m_pending.size() > MostPending)
        m_pending.pop_front();
}

void Relay::keepReply(const Message &reply)
{
    Pending *pending = pendingOf(reply);
    if (!pending) {
        ++m_notKept;
        return;
    }
    pending->isAnswered = true;
    m_recording->addReply(pending->number, reply);
}

/// Returns the oldest request that a reply may answer and that has none yet, or else the latest one
/// that the reply repeats; null without either.
Relay::Pending *Relay::pendingOf(const Message &reply)
{
    const std::optional<quint32> serialNum = serialNumOfReply(reply.bytes, reply.form);
    Pending *repeated = nullptr;
    for (Pending &pending : m_pending) {
        const bool isOfClass =
            reply.form == Form::Linux || pending.request.classId == reply.classId;
        const bool isOfNumber = !pending.serialNum || pending.serialNum == serialNum;
        if (pending.request.form != reply.form || !isOfClass || !isOfNumber)
            continue;
        if (!pending.isAnswered)
            return &pending;
        repeated = &pending;
    }
    return repeated;
}

void Relay::end(const QString &reason)
{
    if (m_isEnding)
        return;
    m_isEnding = true;
    m_reason = reason;
    if (m_device.state() == QAbstractSocket::ConnectedState)
        pass(m_client, &m_device, std::numeric_limits<qint64>::max());
    pass(&m_device, m_client, std::numeric_limits<qint64>::max());
    if (m_notKept > 0)
        m_reason +=
            QStringLiteral("; %1 messages answered no request and are not recorded").arg(m_notKept);
    closeSocket(m_client);
    m_device.disconnectFromHost();
    QTimer::singleShot(LastDeadline, this, [this] { finish(); });
    // Not while signals of the sockets are being handled.
    QMetaObject::invokeMethod(this, &Relay::finishIfSent, Qt::QueuedConnection);
}

void Relay::finishIfSent()
{
    const bool isSent = (!m_client->isOpen() || m_client->bytesToWrite() == 0)
        && (!m_device.isOpen() || m_device.bytesToWrite() == 0);
    if (isSent)
        finish();
}

void Relay::finish()
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    Q_EMIT ended(m_reason);
}
