#ifndef DEVICE_CONNECTION_H
#define DEVICE_CONNECTION_H

#include "message.h"

#include <korvinexchange/framing.h>
#include <korvinsimulator/configureddevice.h>

#include <QtCore/QIODevice>
#include <QtCore/QTimer>

#include <deque>
#include <memory>
#include <optional>
#include <vector>

/// How messages are found in the bytes of a connection.
enum class FramingKind {
    Prefix, ///< After their length: two words, then a frame or record.
    Lines,  ///< As lines: two words, then a record.
    Linux   ///< Linux frames as they are.
};

/// Returns the kind of that name, which the configuration has checked.
FramingKind framingKindOf(const QString &name);

/// Makes the framing for messages of one direction.
std::unique_ptr<KorvinExchange::Framing> makeFraming(FramingKind kind, int messageSize,
                                                     KorvinInspect::Direction direction,
                                                     std::chrono::milliseconds deadline);

/// Returns a message that a framing has found; nothing if it is not a message. The class
/// of a Linux frame is guessed, as for a request.
std::optional<Message> messageIn(const QByteArray &bytes, FramingKind kind);

/// Lets small messages of a socket go at once, and the kernel hold back a peer that sends much.
void prepareSocket(QIODevice *device);

/// Closes a socket after what is left is sent. Other devices stay open.
void closeSocket(QIODevice *device);

/// The milliseconds since the program started.
KorvinExchange::Time timeSinceStart();

/// A connection that carries messages: a socket, a serial device or a pseudo-terminal.
///
/// A peer that breaks the rules is cut off, with a reason. Nothing is read from a peer while too
/// much waits to be sent to it.
class Connection : public QObject
{
    Q_OBJECT

public:
    /// Takes over @p device, which is open. A line has no end, and noise on it is skipped.
    Connection(QIODevice *device, const QString &peer, FramingKind framing,
               const KorvinSimulator::DeviceLimits &limits, QObject *parent);
    ~Connection() override;

    /// Sends messages after a delay, in slices if their size is not 0.
    void send(const std::vector<Message> &messages, int delay = 0, int sliceSize = 0,
              int slicePause = 0);

    /// Sends what is left, then closes the connection.
    void close(const QString &reason);

    /// Closes the connection at once.
    void abort(const QString &reason);

    /// Ends the connection if something takes too long. To be called now and then.
    void watch();

    QString peer() const { return m_peer; }

    /// Whether bytes that are no message are skipped, as noise on a line.
    bool skipsNoise() const { return m_kind == FramingKind::Linux; }

Q_SIGNALS:
    void received(const Message &message);

    /// The connection has ended, whoever ended it. Emitted once.
    void ended(const QString &reason);

private:
    /// Bytes to send, and the time to wait after them.
    struct Piece
    {
        QByteArray bytes;
        int pause = 0;
    };

    QByteArray encoded(const Message &message) const;
    void enqueue(const QByteArray &bytes, int sliceSize, int slicePause);
    void pump();
    void write(const QByteArray &bytes);
    bool isReading() const;
    KorvinExchange::Time timeOfReading() const;
    void watchReading();
    void read();
    void deliver(const QByteArray &bytes);
    void onWritten();
    void onPeerClosed();
    void finish();

    QIODevice *m_device;
    QString m_peer;
    FramingKind m_kind;
    std::unique_ptr<KorvinExchange::Framing> m_framing;
    std::deque<QByteArray> m_messages; ///< That have arrived and are not delivered.
    std::deque<Piece> m_pieces;        ///< After a slice that waits.
    QByteArray m_together;             ///< Replies that are written at once.
    qint64 m_waiting = 0;              ///< Bytes that are delayed or in pieces.
    qint64 m_mostUnsent;
    KorvinExchange::Time m_lastProgress{0};             ///< When the peer has last read something.
    KorvinExchange::Time m_notRead{0};                  ///< How long nothing was read.
    std::optional<KorvinExchange::Time> m_notReadSince; ///< While nothing is read.
    QString m_reason;
    bool m_isPausing = false; ///< Between two slices.
    bool m_isInside = false;  ///< read() is running.
    bool m_isClosed = false;
    bool m_isFinished = false;
};

#endif
