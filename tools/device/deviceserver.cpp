#include "deviceserver.h"

#include <packagebase.h>

#include <limits>
#include <sys/resource.h>

using namespace KorvinSimulator;

namespace {

/// Returns how many connections there may be, so that there is always a descriptor left to accept
/// one that is refused: without one, Qt's server would be woken all the time.
int mostConnections()
{
    constexpr rlim_t Others = 64; // files, servers, control connections
    static const int most = [] {
        rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        const rlim_t left = limit.rlim_cur > Others ? limit.rlim_cur - Others : 1;
        return static_cast<int>(qMin<rlim_t>(left, std::numeric_limits<int>::max()));
    }();
    return most;
}

/// Connections of all devices.
int allConnections = 0;

} // namespace

DeviceServer::DeviceServer(ConfiguredDevice device, RequestLog *log, QObject *parent)
    : QObject(parent)
    , m_log(log)
{
    constexpr std::chrono::milliseconds WatchPeriod(250);
    replace(std::move(device));
    connect(&m_watch, &QTimer::timeout, this, [this] {
        const QSet<Connection *> all = m_connections; // some may go
        for (Connection *connection : all)
            connection->watch();
    });
    m_watch.setInterval(WatchPeriod);
}

QString DeviceServer::open(const std::vector<Endpoint> &endpoints)
{
    for (const Endpoint &endpoint : endpoints) {
        auto *listener = new Listener(endpoint, this);
        QString fault = listener->open();
        if (!fault.isEmpty())
            return fault;
        connect(listener, &Listener::arrived, this,
                [=](QIODevice *device, const QString &peer) { accept(listener, device, peer); });
        m_listeners.push_back(listener);
    }
    return {};
}

QStringList DeviceServer::addresses() const
{
    QStringList all;
    for (const Listener *listener : m_listeners)
        all << listener->address();
    return all;
}

void DeviceServer::replace(ConfiguredDevice device)
{
    m_device = std::move(device);
    m_device.setObserver([this](const PackageBase &request) { m_log->addCarriedOut(request); });
}

ConfiguredDevice &DeviceServer::device()
{
    m_device.setTime(std::chrono::duration_cast<std::chrono::milliseconds>(timeSinceStart()));
    return m_device;
}

void DeviceServer::accept(const Listener *listener, QIODevice *device, const QString &peer)
{
    if (m_connections.size() >= m_device.limits().connections
        || allConnections >= mostConnections()) {
        if (!m_isFull) {
            qInfo("connection of %s refused, and further ones: there are %d already",
                  qUtf8Printable(peer), allConnections);
        }
        m_isFull = true;
        device->deleteLater();
        return;
    }
    auto *connection = new Connection(device, peer, framingKindOf(listener->endpoint().framing),
                                      m_device.limits(), this);
    m_connections.insert(connection);
    ++allConnections;
    m_watch.start();
    connect(connection, &Connection::received, this,
            [=](const Message &message) { answer(connection, message); });
    connect(connection, &Connection::ended, this, [=](const QString &reason) {
        qInfo("connection of %s ended: %s", qUtf8Printable(peer), qUtf8Printable(reason));
        m_connections.remove(connection);
        --allConnections;
        m_isFull = false;
        if (m_connections.isEmpty())
            m_watch.stop();
        connection->deleteLater();
    });
}

void DeviceServer::answer(Connection *connection, const Message &request)
{
    if (m_recording)
        return replay(connection, request);
    const DeviceAnswer answered = device().answer(request.bytes, request.classId, request.form);
    const Answer &answer = answered.answer;
    m_log->addRequest(request, connection->peer(), answer.verdict);
    if (!answer.verdict.isOk()) {
        const QString reason = QStringLiteral("refused: ") + describe(answer.verdict);
        if (!connection->skipsNoise())
            return connection->close(reason);
        qInfo("%s: %s", qUtf8Printable(connection->peer()), qUtf8Printable(reason));
        return;
    }
    std::vector<Message> replies;
    for (const QByteArray &reply : answer.replies) {
        replies.push_back({request.classId, request.form, reply});
        m_log->addReply(replies.back(), connection->peer());
    }
    connection->send(replies, answer.delay, answered.sliceSize, answered.slicePause);
    if (answered.link != LinkFault::None)
        applyLinkFault(connection, answered.link);
}

void DeviceServer::replay(Connection *connection, const Message &request)
{
    const std::optional<std::vector<Message>> replies = m_recording->answer(request);
    if (!replies)
        return m_log->addUnknownRequest(request, connection->peer());
    m_log->addRequest(request, connection->peer(), {});
    for (const Message &reply : *replies)
        m_log->addReply(reply, connection->peer());
    connection->send(*replies);
}

void DeviceServer::applyLinkFault(Connection *connection, LinkFault fault)
{
    if (fault == LinkFault::Close)
        connection->close(QStringLiteral("closed as a fault"));
    if (fault != LinkFault::Restart)
        return;
    const QSet<Connection *> all = m_connections;
    for (Connection *other : all)
        other->close(QStringLiteral("the device restarts"));
}
