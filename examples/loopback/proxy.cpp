#include "proxy.h"

#include <korvininspect/packageforms.h>
#include <specialpackagerequest.h>

#include <algorithm>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

/// A client that has as much under way must wait with more.
constexpr int MaxJobsOfClient = 500;
constexpr qint64 MaxBytesOfClient = 4 << 20;

/// So must all clients.
constexpr qint64 MaxBytes = 64 << 20;

constexpr std::chrono::milliseconds LongestWaitForDevices(2000);

/// How long what is under way may take to end, and then what is left to send.
constexpr std::chrono::milliseconds LongestEnd(4000);
constexpr std::chrono::milliseconds LongestSending(500);

constexpr int DevicesSpecial = 1;
constexpr uint UnknownSpecial = 1;

} // namespace

Proxy::Proxy(const Settings &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
{
    connect(&m_server, &QTcpServer::newConnection, this, &Proxy::accept);
}

Proxy::~Proxy()
{
    // Their jobs use the links.
    qDeleteAll(m_clients.keys());
}

void Proxy::addDevice(const QString &deviceKey, const Place &place)
{
    const QString name = QLatin1String("device ") + deviceKey;
    auto *link = new Link(name, Wire::LengthPrefix, m_settings, this);
    m_links.insert(deviceKey, link);
    connect(link, &Link::connected, this, [=] {
        qInfo("%s is connected", qUtf8Printable(name));
        if (openDevices() == m_links.size())
            beginToServe();
    });
    connect(link, &Link::disconnected, this, [=](const QString &reason) {
        qInfo("%s is not connected: %s", qUtf8Printable(name), qUtf8Printable(reason));
    });
    link->open(place);
}

bool Proxy::listen(const QHostAddress &address, quint16 port)
{
    if (!m_server.listen(address, port))
        return false;
    m_server.pauseAccepting();
    QTimer::singleShot(LongestWaitForDevices, this, &Proxy::beginToServe);
    return true;
}

void Proxy::beginToServe()
{
    if (m_isServing || m_isShuttingDown)
        return;
    m_isServing = true;
    m_server.resumeAccepting();
    Q_EMIT ready();
}

int Proxy::openDevices() const
{
    return static_cast<int>(std::count_if(m_links.begin(), m_links.end(),
                                          [](const Link *link) { return link->isConnected(); }));
}

void Proxy::shutDown()
{
    m_isShuttingDown = true;
    m_server.close();
    const QList<MessageSocket *> clients = m_clients.keys();
    for (MessageSocket *client : clients)
        client->setPaused(true);
    closeClients();
    // What has not ended by then ends without its reply.
    QTimer::singleShot(LongestEnd, this, [this] {
        for (Link *link : std::as_const(m_links))
            link->setDevice(nullptr);
    });
}

/// Lets the clients go when all has ended.
void Proxy::closeClients()
{
    if (m_jobs > 0 || m_isClosing)
        return;
    m_isClosing = true;
    const QList<MessageSocket *> clients = m_clients.keys();
    for (MessageSocket *client : clients)
        client->close(QStringLiteral("the proxy ends"));
    if (m_clients.isEmpty())
        Q_EMIT finished();
    QTimer::singleShot(LongestSending, this, &Proxy::finished);
}

void Proxy::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        auto *client = new MessageSocket(socket, Wire::Lines, this);
        m_clients.insert(client, {});
        client->setPaused(isBusy({}));
        connect(client, &MessageSocket::received, this,
                [=](const Message &message) { receive(client, message); });
        connect(client, &MessageSocket::closed, this,
                [=](const QString &reason) { dismiss(client, reason); });
    }
}

/// Gives up a client that has left, with its jobs.
void Proxy::dismiss(MessageSocket *client, const QString &reason)
{
    qInfo("connection of %s ended: %s", qUtf8Printable(client->peer()), qUtf8Printable(reason));
    const Client left = m_clients.value(client);
    changeLoad(client, -left.jobs, -left.bytes);
    m_clients.remove(client);
    client->deleteLater();
    if (m_isShuttingDown)
        closeClients();
    if (m_isClosing && m_clients.isEmpty())
        Q_EMIT finished();
}

void Proxy::receive(MessageSocket *client, const Message &message)
{
    const MessageShape shape{message.classId, message.form, Direction::Request};
    CheckOptions options;
    options.announcedData = MaxMessageSize;
    std::unique_ptr<PackageBase> request;
    const bool isCombination = message.classId == ClassId::PackageRequestCombination;
    const Verdict verdict = isCombination ? check(message.bytes, shape, options)
                                          : decodeMessage(message.bytes, shape, &request, options);
    if (message.form != Form::Text || !verdict.isOk()) {
        client->close(QLatin1String("refused: ")
                      + (verdict.isOk() ? QStringLiteral("not a record") : describe(verdict)));
    } else if (message.classId == ClassId::SpecialPackageRequest) {
        answerSpecial(client, request.get());
    } else if (isCombination) {
        begin(client, new Job(message.bytes, m_links, client));
    } else {
        begin(client, new Job(std::move(request), message.bytes.size(), m_links, client));
    }
}

void Proxy::answerSpecial(MessageSocket *client, PackageBase *request)
{
    auto *special = static_cast<SpecialPackageRequest *>(request);
    if (special->id() == DevicesSpecial)
        special->setStrData(
            QStringLiteral("%1 of %2 devices").arg(openDevices()).arg(m_links.size()));
    else
        special->setAckCode(UnknownSpecial);
    client->send(
        {ClassId::SpecialPackageRequest, Form::Text, special->makePackageReply().toUtf8()});
}

void Proxy::begin(MessageSocket *client, Job *job)
{
    const qint64 cost = job->cost();
    changeLoad(client, 1, cost);
    connect(job, &Job::finished, this,
            [=](const Message &reply) { end(client, job, cost, reply); });
    job->proceed();
}

void Proxy::end(MessageSocket *client, Job *job, qint64 cost, const Message &reply)
{
    job->deleteLater();
    if (!m_clients.contains(client))
        return; // it has left
    if (!client->send(reply))
        client->close(QStringLiteral("the reply to its request is too long"));
    changeLoad(client, -1, -cost);
    if (m_isShuttingDown)
        closeClients();
}

void Proxy::changeLoad(MessageSocket *client, int jobs, qint64 bytes)
{
    const auto its = m_clients.find(client);
    if (its == m_clients.end())
        return;
    its->jobs += jobs;
    its->bytes += bytes;
    m_jobs += jobs;
    m_bytes += bytes;
    if (m_isFull == (m_bytes >= MaxBytes)) {
        client->setPaused(isBusy(*its));
        return;
    }
    m_isFull = !m_isFull;
    for (auto each = m_clients.begin(); each != m_clients.end(); ++each)
        each.key()->setPaused(isBusy(*each));
}

/// Whether a client must wait with more requests.
bool Proxy::isBusy(const Client &client) const
{
    return m_isShuttingDown || m_isFull || client.jobs >= MaxJobsOfClient
        || client.bytes >= MaxBytesOfClient;
}
