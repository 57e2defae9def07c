#include "proxy.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <specialpackagerequest.h>

using namespace KorvinInspect;

namespace {

/// A client that has as many requests under way must wait with more.
constexpr int MaxJobsOfClient = 500;

constexpr int DevicesSpecial = 1;
constexpr uint UnknownSpecial = 1;

} // namespace

Proxy::Proxy(QObject *parent)
    : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &Proxy::accept);
}

void Proxy::addDevice(const QString &deviceKey, const QHostAddress &address, quint16 port,
                      bool prefersLinux)
{
    m_links.push_back(new DeviceLink(deviceKey, address, port, prefersLinux, this));
}

bool Proxy::listen(const QHostAddress &address, quint16 port)
{
    return m_server.listen(address, port);
}

void Proxy::shutDown()
{
    m_isShuttingDown = true;
    m_server.close();
    if (m_jobCount == 0)
        finish();
}

void Proxy::finish()
{
    const QList<MessageSocket *> clients = m_jobs.keys();
    for (MessageSocket *client : clients)
        client->close(QStringLiteral("the proxy ends"));
    Q_EMIT finished();
}

void Proxy::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        auto *client = new MessageSocket(socket, MessageSocket::Framing::Lines, this);
        m_jobs.insert(client, 0);
        connect(client, &MessageSocket::received, this,
                [=](const Message &message) { receive(client, message); });
        connect(client, &MessageSocket::closed, this, [=](const QString &reason) {
            qInfo("connection of %s ended: %s", qUtf8Printable(client->peer()),
                  qUtf8Printable(reason));
            m_jobs.remove(client);
            client->deleteLater();
        });
    }
}

void Proxy::receive(MessageSocket *client, const Message &message)
{
    if (m_isShuttingDown)
        return;
    const Verdict verdict =
        check(message.bytes, {message.classId, message.form, Direction::Request});
    if (message.form != Form::Text || !verdict.isOk()) {
        client->close(QStringLiteral("refused: ")
                      + (verdict.isOk() ? QStringLiteral("not a record") : describe(verdict)));
        return;
    }
    if (message.classId == ClassId::SpecialPackageRequest) {
        answerSpecial(client, message);
        return;
    }
    auto *job = new Job(message, m_links, this);
    ++m_jobCount;
    client->setPaused(++m_jobs[client] >= MaxJobsOfClient);
    connect(job, &Job::finished, this,
            [=, guarded = QPointer<MessageSocket>(client)] { endJob(guarded, job); });
    job->start();
}

void Proxy::answerSpecial(MessageSocket *client, const Message &message)
{
    SpecialPackageRequest request;
    request.unPackageRequest(textFromUtf8(message.bytes));
    if (request.id() == DevicesSpecial) {
        const auto open = std::count_if(m_links.begin(), m_links.end(),
                                        [](const DeviceLink *link) { return link->isOpen(); });
        request.setStrData(QStringLiteral("%1 of %2 devices").arg(open).arg(m_links.size()));
    } else {
        request.setAckCode(UnknownSpecial);
    }
    client->send({message.classId, Form::Text, request.makePackageReply().toUtf8()});
}

void Proxy::endJob(const QPointer<MessageSocket> &client, Job *job)
{
    // The client may have gone meanwhile, and another one may have its place in memory.
    const auto jobs = m_jobs.find(client.data());
    if (client && jobs != m_jobs.end()) {
        client->send(job->reply());
        client->setPaused(--*jobs >= MaxJobsOfClient);
    }
    job->deleteLater();
    if (--m_jobCount == 0 && m_isShuttingDown)
        finish();
}
