#ifndef PROXYCONNECTION_H
#define PROXYCONNECTION_H

#include "messagesocket.h"
#include "packagetimerout.h"

#include <packagebase.h>

#include <QtCore/QHash>
#include <QtNetwork/QHostAddress>

#include <vector>

/// A client's connection to the proxy.
///
/// Requests are sent as text records and belong to the caller, who keeps them until they are
/// complete. The connection announces both ends with the signals of the package itself:
/// BeginRequestEvent() when it is sent, CompleteRequestEvent() when it has an outcome: that of the
/// reply, a time-out, or that the connection has ended. The first argument is the connection. Every
/// request that is sent is completed, once, and never inside send().
class ProxyConnection : public QObject
{
    Q_OBJECT

public:
    explicit ProxyConnection(QObject *parent = nullptr);
    ~ProxyConnection() override;

    void open(const QHostAddress &address, quint16 port);
    void close();
    bool isOpen() const { return m_isOpen; }

    /// Sends a request. It gets a serial number of this connection; its time-out counts in
    /// milliseconds.
    void send(PackageBase *request);

    /// Sends several requests, of classes that a combination carries, in one record. The proxy
    /// carries them out one after the other.
    void sendCombination(const std::vector<PackageBase *> &requests);

Q_SIGNALS:
    void opened();
    void closed(const QString &reason);

private:
    using Timer = KORVIN_LINUX_CLIENT::PackageTimerOut;

    void begin(PackageBase *request, int timeout);
    void complete(PackageBase *request);
    void failAll();
    void receive(const Message &message);
    void receiveSpecial(const Message &message);

    MessageSocket *m_socket = nullptr;
    bool m_isOpen = false;
    int m_lastSerial = 0;
    QHash<quint64, PackageBase *> m_pending; ///< By serial number.
};

#endif
