#include "connection.h"

#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>
#include <korvinexchange/linuxframing.h>
#include <korvininspect/packageguess.h>

#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

constexpr std::chrono::seconds StallDeadline(10);
constexpr std::chrono::seconds MessageDeadline(3);
constexpr int ReadSize = 65536;

} // namespace

std::unique_ptr<Framing> makeFraming(FramingKind kind, int messageSize, Direction direction,
                                     std::chrono::milliseconds deadline)
{
    constexpr int LargestLinuxFrame = 65555;
    switch (kind) {
    case FramingKind::Prefix:
        return std::make_unique<LengthPrefixFraming>(messageSize, deadline);
    case FramingKind::Lines:
        return std::make_unique<LineFraming>(messageSize, deadline);
    default:
        return std::make_unique<LinuxFraming>(direction, deadline,
                                              qMin(messageSize, LargestLinuxFrame));
    }
}

std::optional<Message> messageIn(const QByteArray &bytes, FramingKind kind)
{
    if (kind != FramingKind::Linux)
        return unpack(bytes);
    const std::optional<Guess> guess = bestGuess(bytes, {{}, Form::Linux, Direction::Request});
    return Message{guess ? guess->shape.classId : ClassId::PackageRequestReadData, Form::Linux,
                   bytes};
}

void prepareSocket(QIODevice *device)
{
    if (auto *socket = qobject_cast<QTcpSocket *>(device)) {
        socket->setReadBufferSize(ReadSize);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    }
    if (auto *socket = qobject_cast<QLocalSocket *>(device))
        socket->setReadBufferSize(ReadSize);
}

void closeSocket(QIODevice *device)
{
    if (auto *socket = qobject_cast<QTcpSocket *>(device))
        socket->disconnectFromHost();
    else if (auto *local = qobject_cast<QLocalSocket *>(device))
        local->disconnectFromServer();
}

FramingKind framingKindOf(const QString &name)
{
    if (name == QLatin1String("prefix"))
        return FramingKind::Prefix;
    return name == QLatin1String("lines") ? FramingKind::Lines : FramingKind::Linux;
}

Time timeSinceStart()
{
    static const auto start = std::chrono::steady_clock::now();
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start);
}

Connection::Connection(QIODevice *device, const QString &peer, FramingKind framing,
                       const KorvinSimulator::DeviceLimits &limits, QObject *parent)
    : QObject(parent)
    , m_device(device)
    , m_peer(peer)
    , m_kind(framing)
    , m_framing(makeFraming(framing, limits.messageSize, Direction::Request, MessageDeadline))
    , m_mostUnsent(limits.unsentSize)
{
    device->setParent(this);
    connect(device, &QIODevice::readyRead, this, &Connection::read);
    connect(device, &QIODevice::bytesWritten, this, &Connection::onWritten);
    connect(device, &QIODevice::readChannelFinished, this, &Connection::onPeerClosed);
    prepareSocket(device);
    if (auto *socket = qobject_cast<QTcpSocket *>(device))
        connect(socket, &QTcpSocket::disconnected, this, &Connection::onPeerClosed);
    if (auto *socket = qobject_cast<QLocalSocket *>(device))
        connect(socket, &QLocalSocket::disconnected, this, &Connection::onPeerClosed);
    // What has arrived by now is not announced again.
    QMetaObject::invokeMethod(this, &Connection::read, Qt::QueuedConnection);
}

Connection::~Connection()
{
    m_device->disconnect(this);
}

void Connection::send(const std::vector<Message> &messages, int delay, int sliceSize,
                      int slicePause)
{
    QByteArray bytes;
    for (const Message &message : messages)
        bytes += encoded(message);
    if (bytes.isEmpty() || m_isClosed)
        return;
    if (delay <= 0)
        return enqueue(bytes, sliceSize, slicePause);
    m_waiting += bytes.size();
    QTimer::singleShot(delay, Qt::PreciseTimer, this, [=] {
        m_waiting -= bytes.size();
        enqueue(bytes, sliceSize, slicePause);
        read();
    });
}

/// Returns the bytes of a message, as far as the framing can carry it.
QByteArray Connection::encoded(const Message &message) const
{
    // What a fault has made of a frame is sent as well.
    if (m_kind == FramingKind::Linux)
        return message.bytes;
    return m_framing->encode(pack(message)).value_or(QByteArray());
}

/// Sends bytes after those that wait.
void Connection::enqueue(const QByteArray &bytes, int sliceSize, int slicePause)
{
    if (m_isClosed)
        return;
    if (sliceSize <= 0 && m_pieces.empty() && !m_isPausing)
        return write(bytes);
    m_waiting += bytes.size();
    const int size = sliceSize > 0 ? sliceSize : static_cast<int>(bytes.size());
    const int pause = sliceSize > 0 ? slicePause : -1;
    for (int start = 0; start < bytes.size(); start += size)
        m_pieces.push_back({bytes.mid(start, size), pause});
    pump();
}

/// Sends pieces up to the next pause.
void Connection::pump()
{
    while (!m_pieces.empty() && !m_isPausing && !m_isClosed) {
        const Piece piece = m_pieces.front();
        m_pieces.pop_front();
        m_waiting -= piece.bytes.size();
        write(piece.bytes);
        if (piece.pause < 0)
            continue;
        m_isPausing = true;
        QTimer::singleShot(piece.pause, Qt::PreciseTimer, this, [this] {
            m_isPausing = false;
            pump();
            read();
        });
    }
}

void Connection::write(const QByteArray &bytes)
{
    if (m_isInside) { // with the other replies
        m_together += bytes;
        return;
    }
    if (m_device->bytesToWrite() == 0)
        m_lastProgress = timeSinceStart();
    m_device->write(bytes);
}

bool Connection::isReading() const
{
    return !m_isClosed && m_device->bytesToWrite() + m_waiting + m_together.size() <= m_mostUnsent;
}

/// Returns the clock of the framing, which stands still while nothing is read.
Time Connection::timeOfReading() const
{
    return m_notReadSince.value_or(timeSinceStart()) - m_notRead;
}

/// Stops the clock of the framing while nothing is read.
void Connection::watchReading()
{
    const bool reads = isReading();
    if (!reads && !m_notReadSince) {
        m_notReadSince = timeSinceStart();
    } else if (reads && m_notReadSince) {
        m_notRead += timeSinceStart() - *m_notReadSince;
        m_notReadSince.reset();
    }
}

void Connection::read()
{
    if (m_isInside)
        return;
    m_isInside = true;
    watchReading();
    while (isReading()) {
        if (!m_messages.empty()) {
            const QByteArray bytes = m_messages.front();
            m_messages.pop_front();
            deliver(bytes);
        } else if (m_framing->fault() != FramingFault::None) {
            close(describe(m_framing->fault()));
        } else if (m_device->bytesAvailable() > 0) {
            for (const QByteArray &bytes :
                 m_framing->receive(m_device->read(ReadSize), timeOfReading()))
                m_messages.push_back(bytes);
        } else {
            break;
        }
    }
    watchReading();
    m_isInside = false;
    if (m_together.isEmpty())
        return;
    const QByteArray together = std::exchange(m_together, {});
    if (!m_isFinished)
        write(together);
}

void Connection::deliver(const QByteArray &bytes)
{
    const std::optional<Message> message = messageIn(bytes, m_kind);
    if (message)
        Q_EMIT received(*message);
    else
        close(QStringLiteral("not a message: it does not begin with a form and a class"));
}

void Connection::watch()
{
    if (m_isFinished)
        return;
    const Time now = timeSinceStart();
    if (m_device->bytesToWrite() > 0 && now - m_lastProgress >= StallDeadline)
        return abort(QStringLiteral("does not read what it is sent"));
    if (!isReading() || !m_framing->nextTimeout())
        return;
    read();
    for (const QByteArray &bytes : m_framing->handleTimeout(timeOfReading()))
        m_messages.push_back(bytes);
    read();
}

void Connection::close(const QString &reason)
{
    if (m_isClosed)
        return;
    m_isClosed = true;
    m_reason = reason;
    m_messages.clear();
    // Not while signals of the device or of this are being handled.
    QMetaObject::invokeMethod(
        this,
        [this] {
            closeSocket(m_device);
            if (!m_device->isOpen() || m_device->bytesToWrite() == 0)
                finish();
        },
        Qt::QueuedConnection);
}

void Connection::abort(const QString &reason)
{
    close(reason);
    if (auto *socket = qobject_cast<QTcpSocket *>(m_device))
        socket->abort();
    else if (auto *local = qobject_cast<QLocalSocket *>(m_device))
        local->abort();
    finish();
}

void Connection::onWritten()
{
    m_lastProgress = timeSinceStart();
    if (m_isClosed && m_device->bytesToWrite() == 0)
        finish();
    else
        read();
}

void Connection::onPeerClosed()
{
    if (!m_isClosed) {
        read();
        m_framing->end();
        close(m_framing->fault() == FramingFault::None ? QStringLiteral("closed by the peer")
                                                       : describe(m_framing->fault()));
    }
    finish();
}

void Connection::finish()
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    m_isClosed = true;
    Q_EMIT ended(m_reason);
}
