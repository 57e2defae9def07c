#ifndef PROXY_H
#define PROXY_H

#include "devicelink.h"
#include "job.h"

#include <QtCore/QPointer>
#include <QtNetwork/QTcpServer>

/// Stands between clients, which send text records, and devices.
///
/// A request goes to the device that its device key names. Special requests are for the proxy
/// itself: id 1 is answered with the number of devices that are there.
class Proxy : public QObject
{
    Q_OBJECT

public:
    explicit Proxy(QObject *parent = nullptr);

    void addDevice(const QString &deviceKey, const QHostAddress &address, quint16 port,
                   bool prefersLinux);

    bool listen(const QHostAddress &address, quint16 port);
    QTcpServer &server() { return m_server; }

    /// Takes no more requests. finished() follows when every client has its replies.
    void shutDown();

Q_SIGNALS:
    void finished();

private:
    void accept();
    void receive(MessageSocket *client, const Message &message);
    void answerSpecial(MessageSocket *client, const Message &message);
    void endJob(const QPointer<MessageSocket> &client, Job *job);
    void finish();

    QTcpServer m_server;
    Job::Links m_links;
    QHash<MessageSocket *, int> m_jobs; ///< How many each client has.
    int m_jobCount = 0;                 ///< Those of clients that have gone included.
    bool m_isShuttingDown = false;
};

#endif
