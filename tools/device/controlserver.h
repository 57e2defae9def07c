#ifndef DEVICE_CONTROLSERVER_H
#define DEVICE_CONTROLSERVER_H

#include <QtCore/QJsonObject>
#include <QtNetwork/QLocalServer>

#include <functional>

class QLocalSocket;

/// Takes commands as lines of JSON on a local socket, which only its user can open, and answers
/// each with a line.
class ControlServer : public QObject
{
    Q_OBJECT

public:
    using CarryOut = std::function<QJsonObject(const QJsonObject &command)>;

    ControlServer(const CarryOut &carryOut, QObject *parent);

    /// Opens the socket, unless @p path is empty; ends the program where that fails.
    void open(const QString &path);

private:
    void accept();
    void read(QLocalSocket *socket);
    QJsonObject answerTo(const QByteArray &line) const;

    CarryOut m_carryOut;
    QLocalServer m_server;
    int m_connections = 0;
};

/// Listens on a local socket, in place of one on which nobody listens any more.
///
/// @return what is wrong; empty on success.
QString listenOn(QLocalServer *server, const QString &path);

/// Runs "korvin-device ctl": sends a command to a device and prints its answer.
///
/// @return the exit status.
int runControl(const QStringList &arguments);

#endif
