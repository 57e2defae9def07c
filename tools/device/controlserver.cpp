#include "controlserver.h"

#include "arguments.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtNetwork/QLocalSocket>

#include <sys/stat.h>
#include <sys/un.h>

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
    const QString fault = listenOn(&m_server, path);
    if (!fault.isEmpty())
        fail(QStringLiteral("cannot listen on %1: %2").arg(path, fault));
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

QString listenOn(QLocalServer *server, const QString &path)
{
    const QString name = QFileInfo(path).absoluteFilePath();
    const QByteArray encoded = QFile::encodeName(name);
    struct stat file = {};
    if (encoded.size() >= static_cast<int>(sizeof sockaddr_un::sun_path))
        return QStringLiteral("the path of a socket has at most %1 bytes")
            .arg(sizeof sockaddr_un::sun_path - 1);
    if (::lstat(encoded.constData(), &file) == 0) {
        // A file, and a socket in use, are not to be replaced.
        QLocalSocket probe;
        if (S_ISSOCK(file.st_mode))
            probe.connectToServer(name);
        if (probe.error() != QLocalSocket::ConnectionRefusedError)
            return S_ISSOCK(file.st_mode) ? QStringLiteral("in use")
                                          : QStringLiteral("there is a file that is not a socket");
        QLocalServer::removeServer(name);
    }
    if (server->listen(name))
        return {};
    return QFileInfo(name).dir().exists() ? server->errorString().section(QLatin1String(": "), -1)
                                          : QStringLiteral("there is no such folder");
}
