#ifndef PROXY_H
#define PROXY_H

#include "job.h"
#include "messagesocket.h"

#include <QtCore/QHash>
#include <QtNetwork/QTcpServer>

/// Stands between clients, which send text records, and devices.
///
/// A request goes to the device that its device key names. Special requests are for the proxy
/// itself: id 1 is answered with the number of devices that are there.
class Proxy : public QObject
{
    Q_OBJECT

public:
    /// @param settings are those of the links to devices.
    explicit Proxy(const KorvinExchange::Settings &settings, QObject *parent = nullptr);
    ~Proxy() override;

    bool hasDevice(const QString &deviceKey) const { return m_links.contains(deviceKey); }
    void addDevice(const QString &deviceKey, const Place &place);

    /// Takes the port. ready() follows when all devices are there, or were waited for in vain; only
    /// then clients are served.
    bool listen(const QHostAddress &address, quint16 port);
    const QTcpServer &server() const { return m_server; }

    /// Takes no more requests. finished() follows when every client has its replies, at most 5
    /// seconds later.
    void shutDown();

Q_SIGNALS:
    void ready();
    void finished();

private:
    /// A client and its jobs, which are its children.
    struct Client
    {
        int jobs = 0;
        qint64 bytes = 0; ///< What the jobs cost.
    };

    void beginToServe();
    int openDevices() const;
    void accept();
    void dismiss(MessageSocket *client, const QString &reason);
    void receive(MessageSocket *client, const Message &message);
    void answerSpecial(MessageSocket *client, PackageBase *request);
    void begin(MessageSocket *client, Job *job);
    void end(MessageSocket *client, Job *job, qint64 cost, const Message &reply);
    void changeLoad(MessageSocket *client, int jobs, qint64 bytes);
    bool isBusy(const Client &client) const;
    void closeClients();

    KorvinExchange::Settings m_settings;
    QTcpServer m_server;
    Links m_links;
    QHash<MessageSocket *, Client> m_clients;
    qint64 m_bytes = 0; ///< What all jobs cost.
    int m_jobs = 0;
    bool m_isFull = false; ///< All clients wait.
    bool m_isServing = false;
    bool m_isShuttingDown = false;
    bool m_isClosing = false;
};

#endif
