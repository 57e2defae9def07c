#ifndef MESSAGESOCKET_H
#define MESSAGESOCKET_H

#include "message.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

/// A TCP connection that carries whole messages.
///
/// TCP is a stream: it knows nothing of messages, so each one gets a frame of its own, of one of
/// two kinds. docs/simulator.md describes them. A peer that breaks the rules is cut off: with a
/// message that is too long or no message, or one that does not arrive whole in time.
class MessageSocket : public QObject
{
    Q_OBJECT

public:
    enum class Framing {
        Lines,       ///< Text records: UTF-8, a line feed behind each.
        LengthPrefix ///< Frames: the number of bytes, 32 bits, little-endian, in front of each.
    };

    /// No message may be longer, in bytes.
    static constexpr int MaxMessageSize = 1 << 20;

    /// Takes over @p socket, which is connected or about to be.
    MessageSocket(QTcpSocket *socket, Framing framing, QObject *parent);

    /// Sends a message. A record with a line feed in it cannot be sent in a line: it is dropped.
    ///
    /// @return whether it was sent.
    bool send(const Message &message);

    /// Stops or goes on to deliver messages; what arrives meanwhile waits at the peer.
    void setPaused(bool paused);

    /// Sends what is left, then closes the connection; closed() tells the reason.
    void close(const QString &reason);

    /// Address and port of the other side, for the log.
    QString peer() const { return m_peer; }

Q_SIGNALS:
    void received(const Message &message);

    /// The connection has ended, whoever ended it. Emitted once.
    void closed(const QString &reason);

private:
    enum class Reading { Message, Incomplete, Broken };

    void readMessages();
    Reading readLine(QByteArray *bytes);
    Reading readPrefixed(QByteArray *bytes);

    QTcpSocket *m_socket;
    Framing m_framing;
    QString m_peer;
    QTimer m_deadline; ///< For the rest of a message that has begun.
    bool m_paused = false;
    bool m_closed = false;
};

#endif
