#include "listener.h"

#include "controlserver.h"
#include "serialterminal.h"

#include <QtCore/QFileInfo>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

namespace {

constexpr int Backlog = 1000;

} // namespace

Listener::Listener(const KorvinSimulator::Endpoint &endpoint, QObject *parent)
    : QObject(parent)
    , m_endpoint(endpoint)
{
}

QString Listener::open()
{
    const bool isTcp = m_endpoint.kind == QLatin1String("tcp");
    const QString fault = isTcp                    ? openTcp()
        : m_endpoint.kind == QLatin1String("unix") ? openUnix()
                                                   : openTerminal();
    if (fault.isEmpty())
        return {};
    const QString port = isTcp ? QStringLiteral(":%1").arg(m_endpoint.port) : QString();
    return QStringLiteral("cannot listen on %1: %2").arg(m_endpoint.place + port, fault);
}

QString Listener::openTcp()
{
    auto *server = new QTcpServer(this);
    server->setMaxPendingConnections(Backlog);
    connect(server, &QTcpServer::newConnection, this, [=] {
        while (QTcpSocket *socket = server->nextPendingConnection()) {
            Q_EMIT arrived(socket,
                           QStringLiteral("%1:%2")
                               .arg(socket->peerAddress().toString())
                               .arg(socket->peerPort()));
        }
    });
    const QHostAddress address(m_endpoint.place == QLatin1String("localhost")
                                   ? QStringLiteral("127.0.0.1")
                                   : m_endpoint.place);
    if (address.isNull())
        return QStringLiteral("\"%1\" is not an IP address").arg(m_endpoint.place);
    if (!server->listen(address, static_cast<quint16>(m_endpoint.port)))
        return server->errorString();
    m_address =
        QStringLiteral("%1:%2").arg(server->serverAddress().toString()).arg(server->serverPort());
    return {};
}

QString Listener::openUnix()
{
    auto *server = new QLocalServer(this);
    server->setMaxPendingConnections(Backlog);
    connect(server, &QLocalServer::newConnection, this, [=] {
        while (QLocalSocket *socket = server->nextPendingConnection())
            Q_EMIT arrived(socket,
                           QStringLiteral("%1#%2").arg(m_address, QString::number(++m_arrivals)));
    });
    m_address = QFileInfo(m_endpoint.place).absoluteFilePath();
    return listenOn(server, m_address);
}

QString Listener::openTerminal()
{
    QString fault;
    std::unique_ptr<SerialTerminal> terminal = m_endpoint.kind == QLatin1String("pty")
        ? SerialTerminal::makePseudo(m_endpoint.place, &fault)
        : SerialTerminal::openSerial(m_endpoint.place, m_endpoint.baud, &fault);
    if (!terminal)
        return fault;
    m_address = terminal->path();
    terminal->setParent(this);
    // After the receiver is connected.
    QTimer::singleShot(0, this,
                       [this, device = terminal.release()] { Q_EMIT arrived(device, m_address); });
    return {};
}
