#include "messagesocket.h"

#include <QtNetwork/QHostAddress>

#include <poll.h>

using namespace KorvinExchange;

namespace {

constexpr std::chrono::seconds StallDeadline(10);
constexpr std::chrono::milliseconds WatchPeriod(250);

constexpr int Piece = 65536;

/// A peer that sends but does not read gets no more of its messages read.
constexpr qint64 MaxUnsent = MaxMessageSize;

/// The time that framings are told.
Time now()
{
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

} // namespace

MessageSocket::MessageSocket(QTcpSocket *socket, Wire wire, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_framing(makeFraming(wire))
{
    const auto onConnected = [this] {
        m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_peer = QStringLiteral("%1:%2")
                     .arg(m_socket->peerAddress().toString())
                     .arg(m_socket->peerPort());
    };
    socket->setParent(this);
    socket->setReadBufferSize(qint64(4) * Piece); // the kernel makes the peer wait with more
    onConnected();
    connect(&m_watch, &QTimer::timeout, this, &MessageSocket::watch);
    m_watch.start(WatchPeriod);
    connect(socket, &QTcpSocket::connected, this, onConnected);
    connect(socket, &QTcpSocket::readyRead, this, &MessageSocket::read);
    connect(socket, &QTcpSocket::bytesWritten, this, &MessageSocket::onWritten);
    connect(socket, &QTcpSocket::disconnected, this, &MessageSocket::onPeerClosed);
    connect(socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        if (error != QAbstractSocket::RemoteHostClosedError)
            close(m_socket->errorString());
    });
    // What has arrived by now is not announced again.
    QMetaObject::invokeMethod(this, &MessageSocket::read, Qt::QueuedConnection);
}

bool MessageSocket::send(const Message &message)
{
    const std::optional<QByteArray> bytes = m_framing->encode(pack(message));
    if (!bytes)
        return false;
    if (m_isClosed || !m_socket->isOpen())
        return true; // nobody is there to miss it
    if (m_socket->bytesToWrite() == 0)
        m_lastProgress = now();
    m_socket->write(*bytes);
    return true;
}

void MessageSocket::setPaused(bool paused)
{
    if (m_isPaused == paused)
        return;
    m_isPaused = paused;
    watchReading();
    if (!paused)
        QMetaObject::invokeMethod(this, &MessageSocket::read, Qt::QueuedConnection);
}

void MessageSocket::close(const QString &reason)
{
    if (m_isClosed)
        return;
    m_isClosed = true;
    m_reason = reason;
    m_messages.clear();
    if (m_socket->state() == QAbstractSocket::ConnectedState)
        m_socket->disconnectFromHost();
    else
        m_socket->abort();
    if (m_socket->state() == QAbstractSocket::UnconnectedState)
        finish();
}

bool MessageSocket::isReading() const
{
    return !m_isClosed && !m_isPaused && m_socket->bytesToWrite() <= MaxUnsent;
}

/// The clock of the framing: it stands still while nothing is read.
Time MessageSocket::timeOfReading() const
{
    return m_notReadSince.value_or(now()) - m_notRead;
}

void MessageSocket::read()
{
    watchReading();
    while (isReading()) {
        if (!m_messages.empty()) {
            const QByteArray bytes = m_messages.front();
            m_messages.pop_front();
            deliver(bytes);
        } else if (m_framing->fault() != FramingFault::None) {
            close(describe(m_framing->fault()));
        } else if (m_socket->bytesAvailable() > 0) {
            for (const QByteArray &bytes :
                 m_framing->receive(m_socket->read(Piece), timeOfReading()))
                m_messages.push_back(bytes);
        } else {
            break;
        }
    }
    watchReading();
}

void MessageSocket::deliver(const QByteArray &bytes)
{
    const std::optional<Message> message = unpack(bytes);
    if (message)
        Q_EMIT received(*message);
    else
        close(QStringLiteral("no message begins so"));
}

/// Stops the clock of the framing while nothing is read.
void MessageSocket::watchReading()
{
    const bool reads = isReading();
    if (!reads && !m_notReadSince) {
        m_notReadSince = now();
    } else if (reads && m_notReadSince) {
        m_notRead += now() - *m_notReadSince;
        m_notReadSince.reset();
    }
}

/// Ends a connection on which something takes too long.
void MessageSocket::watch()
{
    if (m_socket->bytesToWrite() > 0 && now() - m_lastProgress >= StallDeadline) {
        abort(QStringLiteral("does not read what it is sent"));
    } else if (!isReading()) {
        if (hasLeft())
            abort(QStringLiteral("closed by the peer"));
    } else if (m_framing->nextTimeout()) {
        read();
        m_framing->handleTimeout(timeOfReading());
        read();
    }
}

/// Whether the peer has closed the connection: its end comes after all that is not read, and is not
/// announced before.
bool MessageSocket::hasLeft() const
{
    pollfd connection = {static_cast<int>(m_socket->socketDescriptor()), POLLRDHUP, 0};
    return ::poll(&connection, 1, 0) == 1;
}

void MessageSocket::abort(const QString &reason)
{
    close(reason);
    m_socket->abort();
    finish();
}

void MessageSocket::onWritten()
{
    m_lastProgress = now();
    if (m_notReadSince)
        read();
}

void MessageSocket::onPeerClosed()
{
    if (!m_isClosed) {
        read();
        m_framing->end();
        close(m_framing->fault() == FramingFault::None ? QStringLiteral("closed by the peer")
                                                       : describe(m_framing->fault()));
    }
    finish();
}

void MessageSocket::finish()
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    m_watch.stop();
    Q_EMIT closed(m_reason);
}
