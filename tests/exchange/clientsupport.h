#ifndef CLIENTSUPPORT_H
#define CLIENTSUPPORT_H

#include "exchangesupport.h"

#include <korvinexchange/client.h>
#include <korvinexchange/lineframing.h>

#include <QtCore/QIODevice>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>

#include <functional>

/// A sequential device whose other end is the test.
class MemoryDevice : public QIODevice
{
    Q_OBJECT

public:
    enum class State { Open, Connecting };

    explicit MemoryDevice(State state = State::Open);
    ~MemoryDevice() override;

    /// Opens one that was about to be connected.
    void connectNow();

    /// Lets bytes come.
    void deliver(const QByteArray &bytes);

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override;
    qint64 bytesToWrite() const override { return waiting; }

    QByteArray written;
    qint64 waiting = 0;              ///< What bytesToWrite() says.
    qint64 mostWritten = 1 << 30;    ///< By one call; -1 for an error.
    qint64 announced = 0;            ///< Added to what bytesAvailable() says.
    std::function<void()> onWritten; ///< Called while it is written to.
    std::function<void()> onRead;    ///< Called while it is read.

Q_SIGNALS:
    void connected();
    void errorOccurred(int error);

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QByteArray m_incoming;
};

/// Answers the records that a device has been given. Reads and writes of data are carried out as
/// replyTo() does.
class MemoryPeer
{
public:
    explicit MemoryPeer(MemoryDevice *device);

    /// The records that have come since the last call.
    std::vector<QByteArray> takeRequests();

    /// Answers them; @p carryOut may change the replies.
    void answerAll(const CarryOut &carryOut = {});

    /// Answers at once from now on, inside of the write.
    void answerAtOnce();

    /// The reply to a record, or to several joined by "|".
    static QByteArray replyOf(const QByteArray &request, const CarryOut &carryOut = {});

private:
    MemoryDevice *m_device;
    LineFraming m_framing;
};

/// A client on a device whose other end is the test.
class ClientTest : public testing::Test
{
protected:
    ClientTest();

    /// Makes the client anew, with the settings as they are now.
    void start();

    /// Notes the signals of a package as "begin" and "complete", and that the client is their
    /// token.
    void logSignals(PackageBase &package);

    ClientSettings settings;
    MemoryDevice device;
    MemoryPeer peer{&device};
    std::unique_ptr<Client> client;
    QStringList log;
};

/// Runs the event loop until @p isDone, for a few seconds at most.
bool waitUntil(const std::function<bool()> &isDone);

/// Runs the event loop for so long.
void runFor(std::chrono::milliseconds time);

#endif
