#ifndef DEVICE_RELAY_H
#define DEVICE_RELAY_H

#include "arguments.h"
#include "connection.h"
#include "recording.h"

#include <QtNetwork/QTcpSocket>

/// Passes all bytes on between a client and a device, and records the messages among them.
///
/// Bytes pass as they come, whether or not they are messages. Nothing is read from one side while
/// too much waits to be sent to the other.
class Relay : public QObject
{
    Q_OBJECT

public:
    /// Takes over @p client, which is connected.
    Relay(QIODevice *client, const Place &upstream, FramingKind framing, RecordingWriter *recording,
          QObject *parent);
    ~Relay() override;

Q_SIGNALS:
    /// One of the sides has gone, and the other has what was for it.
    void ended(const QString &reason);

private:
    /// A request whose replies may still come.
    struct Pending
    {
        qint64 number = 0;
        Message request; ///< Without its bytes.
        std::optional<quint64> serialNum;
        bool isAnswered = false;
    };

    void pass(QIODevice *from, QIODevice *to, qint64 mostUnsent);
    void passAll();
    void keep(const QByteArray &bytes, bool isRequest);
    void keepRequest(const Message &request);
    void keepReply(const Message &reply);
    Pending *pendingOf(const Message &reply);
    void end(const QString &reason);
    void finishIfSent();
    void finish();

    QIODevice *m_client;
    QTcpSocket m_device;
    FramingKind m_kind;
    std::unique_ptr<KorvinExchange::Framing> m_requests;
    std::unique_ptr<KorvinExchange::Framing> m_replies;
    RecordingWriter *m_recording;
    std::deque<Pending> m_pending;
    qint64 m_notKept = 0; ///< Replies that answer no request, and what is no message.
    QString m_reason;
    bool m_isEnding = false;
    bool m_isFinished = false;
};

#endif
