#ifndef MESSAGESOCKET_H
#define MESSAGESOCKET_H

#include "message.h"

#include <korvinexchange/framing.h>

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

#include <deque>
#include <memory>
#include <optional>

/// A TCP connection that carries whole messages; docs/simulator.md says how.
///
/// A peer that breaks the rules is cut off: with a message that is too long or no message, one that
/// does not arrive whole in time, or where it does not read what it is sent. Nothing is read from a
/// peer that does not read; that time counts for no deadline.
class MessageSocket : public QObject
{
    Q_OBJECT

public:
    /// Takes over @p socket, which is connected or about to be.
    MessageSocket(QTcpSocket *socket, Wire wire, QObject *parent);

    /// Sends a message.
    ///
    /// @return false for one that is too long, or that cannot be sent in a line.
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
    bool isReading() const;
    KorvinExchange::Time timeOfReading() const;
    void read();
    void deliver(const QByteArray &bytes);
    void watchReading();
    void watch();
    bool hasLeft() const;
    void onWritten();
    void onPeerClosed();
    void abort(const QString &reason);
    void finish();

    QTcpSocket *m_socket;
    std::unique_ptr<KorvinExchange::Framing> m_framing;
    std::deque<QByteArray> m_messages; ///< That have arrived and are not delivered.
    QString m_peer;
    QString m_reason;
    QTimer m_watch;                         ///< Looks now and then at what takes too long.
    KorvinExchange::Time m_lastProgress{0}; ///< When the peer has last read something.
    bool m_isPaused = false;
    bool m_isClosed = false;
    bool m_isFinished = false;

    KorvinExchange::Time m_notRead{0};                  ///< How long nothing was read.
    std::optional<KorvinExchange::Time> m_notReadSince; ///< While nothing is read.
};

#endif
