#include "controlserver.h"

#include "arguments.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtNetwork/QLocalSocket>

namespace {

constexpr qint64 LongestLine = 1048576;
constexpr int MostConnections = 16;

} // namespace

ControlServer::ControlServer(const CarryOut &carryOut, QObject *parent)
    : QObject(parent)
    , m_carryOut(carryOut)
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &ControlServer::accept);
}

void ControlServer::open(const QString &path)
{
    if (path.isEmpty())
        return;
    const QString name = QFileInfo(path).absoluteFilePath();
    removeStaleSocket(name);
    if (!m_server.listen(name))
        fail(QStringLiteral("cannot listen on %1: %2").arg(path, m_server.errorString()));
}

void ControlServer::accept()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        if (m_connections >= MostConnections) {
            qInfo("control connection refused: there are %d already", m_connections);
            socket->deleteLater();
            continue;
        }
        ++m_connections;
        socket->setReadBufferSize(LongestLine + 1);
        connect(socket, &QLocalSocket::readyRead, this, [=] { read(socket); });
        connect(socket, &QLocalSocket::bytesWritten, this, [=] { read(socket); });
        connect(socket, &QLocalSocket::disconnected, this, [=] {
            --m_connections;
            socket->deleteLater();
        });
    }
}

/// Answers lines, unless the answers before have not been read.
void ControlServer::read(QLocalSocket *socket)
{
    while (socket->canReadLine() && socket->bytesToWrite() <= LongestLine) {
        const QByteArray line = socket->readLine(LongestLine + 1);
        socket->write(QJsonDocument(answerTo(line)).toJson(QJsonDocument::Compact) + '\n');
        socket->flush(); // the command may have been to end the program
    }
    if (socket->bytesAvailable() <= LongestLine || socket->canReadLine())
        return;
    qInfo("control connection closed: a line is longer than 1 MiB");
    socket->abort();
}

QJsonObject ControlServer::answerTo(const QByteArray &line) const
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error == QJsonParseError::NoError && document.isObject())
        return m_carryOut(document.object());
    const QString what = error.error == QJsonParseError::NoError ? QStringLiteral("not an object")
                                                                 : error.errorString();
    return {{QStringLiteral("error"), what}};
}

void removeStaleSocket(const QString &path)
{
    QLocalSocket probe;
    probe.connectToServer(path);
    if (probe.error() == QLocalSocket::ConnectionRefusedError)
        QLocalServer::removeServer(path);
}
