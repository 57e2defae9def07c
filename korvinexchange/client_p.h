#ifndef KORVINEXCHANGE_CLIENT_P_H
#define KORVINEXCHANGE_CLIENT_P_H

#include "include/korvinexchange/client.h"
#include "include/korvinexchange/packagetimerout.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <list>

namespace KorvinExchange {

class ReplyPrivate
{
public:
    ~ReplyPrivate();

    /// Shows the time that is left for the reply.
    void showTime(std::chrono::milliseconds left);

    /// Takes the timer off the package.
    void hideTime();

    class ClientPrivate *client = nullptr; ///< While the engine has the request.
    RequestId id = 0;
    RequestId lastOfMessage = 0; ///< Of a combination; else the same as `id`.
    bool hasBegun = false;
    bool isFinished = false;
    QPointer<PackageBase> package;
    Event event;
    Event *awaited = nullptr;        ///< Becomes the event as well.
    QPointer<Reply> self;            ///< Copied without taking memory.
    ClientPrivate *waiter = nullptr; ///< The client, finished or not: where one can wait.
    std::optional<KORVIN_LINUX_CLIENT::PackageTimerOut> timer;
};

/// Somebody who waits for a reply in an event loop, until a deadline. Connects no signals: Qt does
/// not survive a lack of memory for that.
class Waiting
{
public:
    Waiting(ClientPrivate *client, const QPointer<Reply> &reply, QEventLoop *loop,
            std::chrono::milliseconds deadline);
    ~Waiting();

    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

    /// Ends the loops that have nothing to wait for, its own one and those outside of it.
    void look(Time now) const;

    /// The first deadline of them.
    Time due() const;

private:
    QPointer<ClientPrivate> m_client;
    const Waiting *m_outer;
    QPointer<Reply> m_reply;
    QEventLoop *m_loop;
    Time m_due;
};

/// A request that was refused at once: its end is announced later, as of all others.
struct RefusedRequest
{
    Event event;
    QPointer<PackageBase> package;
    QPointer<Reply> reply;
};

class ClientPrivate : public QObject
{
    Q_OBJECT

public:
    ClientPrivate(Client *client, const ClientSettings &given);
    ~ClientPrivate() override;

    void setDevice(QIODevice *device);
    void setOpener(const Client::Opener &opener);

    template <typename HandOver>
    std::vector<Reply *> send(PackageBase *const *packages, int count, HandOver handOver);
    Event waitFor(Reply *reply, std::chrono::milliseconds deadline);
    void abort(RequestId id);
    void forget(RequestId id);
    void close();

    Time now() const;

    ClientSettings settings;
    Engine engine;
    QIODevice *device = nullptr;
    bool isConnected = false;
    const Waiting *waiting = nullptr;   ///< The innermost.
    const QPointer<ClientPrivate> self; ///< Copied without taking memory.

public Q_SLOTS:
    /// Has work() called from the event loop.
    void wake();

    /// The device has told of an error.
    void endWithError();

private:
    // The device.
    void attach(QIODevice *newDevice);
    void detach();
    static void discard(QIODevice *device);
    void endDevice(const QString &reason);
    void connectByName(const char *signal, const char *slot);
    void open();
    void checkConnection();
    void read();
    void receive(const std::vector<QByteArray> &messages);
    bool flush();
    void giveUp(const QString &reason);
    void lose(const QString &reason);

    // Work.
    void work();
    void handleTimeouts();
    bool workOnce();
    void schedule();
    void wakeIn(Time pause);

    // Requests.
    std::unique_ptr<Reply> makeReply(PackageBase *package);
    bool isUnderWay(const PackageBase *package) const;
    bool announceDevice();
    bool takeEvent();
    bool takeMessage();
    std::list<Reply *>::iterator findPending(RequestId id);
    void begin(const OutgoingMessage &message);
    void begin(ReplyPrivate &reply, Time due);
    void tell(const Event &event, Reply *reply);

    Client *m_client;
    Client::Opener m_opener;
    std::unique_ptr<Framing> m_framing;
    bool m_isAttached = false;
    QPointer<QIODevice> m_guardedDevice; ///< Copied without taking memory.
    QByteArray m_unsent;                 ///< Of the message that the device has not taken whole.
    std::optional<Time> m_connectDue;
    std::optional<Time> m_openDue;
    std::chrono::milliseconds m_pause;
    std::optional<QString> m_lostReason; ///< To be announced.
    bool m_isConnectedTold = false;
    bool m_isClosing = false;
    std::list<Reply *> m_pending; ///< Those that the engine has not finished.
    std::list<RefusedRequest> m_refused;
    QElapsedTimer m_clock;
    QTimer m_timer;
    QTimer m_spareTimer; ///< Runs while there are requests, as the other one may fail to start.
};

} // namespace KorvinExchange

#endif
