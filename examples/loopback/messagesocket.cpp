#include "messagesocket.h"

#include <QtCore/QtEndian>
#include <QtNetwork/QHostAddress>

namespace {

constexpr int PrefixSize = 4;
constexpr int DeadlineMilliseconds = 3000;

/// A peer that sends but does not read gets no more of its messages read.
constexpr qint64 MaxUnsent = 4 * qint64(MessageSocket::MaxMessageSize);

} // namespace

MessageSocket::MessageSocket(QTcpSocket *socket, Framing framing, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_framing(framing)
{
    const auto nameOfPeer = [this] {
        m_peer = QStringLiteral("%1:%2")
                     .arg(m_socket->peerAddress().toString())
                     .arg(m_socket->peerPort());
    };
    socket->setParent(this);
    // A whole message fits, and the kernel makes the peer wait with more.
    socket->setReadBufferSize(MaxMessageSize + PrefixSize);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    nameOfPeer();
    m_deadline.setSingleShot(true);
    m_deadline.setInterval(DeadlineMilliseconds);
    connect(&m_deadline, &QTimer::timeout, this,
            [this] { close(QStringLiteral("the rest of a message did not come in time")); });
    connect(socket, &QTcpSocket::connected, this, nameOfPeer);
    connect(socket, &QTcpSocket::readyRead, this, &MessageSocket::readMessages);
    connect(socket, &QTcpSocket::bytesWritten, this, &MessageSocket::readMessages);
    connect(socket, &QTcpSocket::disconnected, this,
            [this] { close(QStringLiteral("closed by the peer")); });
    connect(socket, &QTcpSocket::errorOccurred, this, [this] { close(m_socket->errorString()); });
    // What has arrived by now is not announced again.
    QTimer::singleShot(0, this, [this] { readMessages(); });
}

bool MessageSocket::send(const Message &message)
{
    QByteArray bytes = pack(message);
    if (m_closed || bytes.size() > MaxMessageSize)
        return false;
    if (m_framing == Framing::Lines) {
        if (bytes.contains('\n'))
            return false;
        bytes += '\n';
    } else {
        const quint32 size = qToLittleEndian(static_cast<quint32>(bytes.size()));
        bytes.prepend(reinterpret_cast<const char *>(&size), PrefixSize);
    }
    m_socket->write(bytes);
    return true;
}

void MessageSocket::setPaused(bool paused)
{
    if (m_paused == paused)
        return;
    m_paused = paused;
    if (!paused)
        QTimer::singleShot(0, this, [this] { readMessages(); });
}

void MessageSocket::close(const QString &reason)
{
    if (m_closed)
        return;
    m_closed = true;
    m_deadline.stop();
    m_socket->flush();
    m_socket->disconnectFromHost();
    Q_EMIT closed(reason);
}

void MessageSocket::readMessages()
{
    Reading reading = Reading::Message;
    while (!m_closed && !m_paused && m_socket->bytesToWrite() <= MaxUnsent) {
        QByteArray bytes;
        reading = m_framing == Framing::Lines ? readLine(&bytes) : readPrefixed(&bytes);
        if (reading != Reading::Message)
            break;
        const std::optional<Message> message = unpack(bytes);
        if (!message) {
            close(QStringLiteral("no message begins so"));
            return;
        }
        Q_EMIT received(*message);
    }
    if (reading == Reading::Broken)
        close(QStringLiteral("a message of more than %1 bytes").arg(MaxMessageSize));
    else if (m_closed || m_paused || m_socket->bytesAvailable() == 0)
        m_deadline.stop();
    else if (!m_deadline.isActive())
        m_deadline.start();
}

MessageSocket::Reading MessageSocket::readLine(QByteArray *bytes)
{
    if (!m_socket->canReadLine()) {
        return m_socket->bytesAvailable() > MaxMessageSize ? Reading::Broken : Reading::Incomplete;
    }
    *bytes = m_socket->readLine();
    bytes->chop(1);
    return bytes->size() > MaxMessageSize ? Reading::Broken : Reading::Message;
}

MessageSocket::Reading MessageSocket::readPrefixed(QByteArray *bytes)
{
    const QByteArray prefix = m_socket->peek(PrefixSize);
    if (prefix.size() < PrefixSize)
        return Reading::Incomplete;
    const auto size = qFromLittleEndian<quint32>(prefix.constData());
    if (size > MaxMessageSize)
        return Reading::Broken;
    if (m_socket->bytesAvailable() < PrefixSize + qint64(size))
        return Reading::Incomplete;
    m_socket->skip(PrefixSize);
    *bytes = m_socket->read(size);
    return Reading::Message;
}
