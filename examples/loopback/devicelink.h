#ifndef DEVICELINK_H
#define DEVICELINK_H

#include "messagesocket.h"
#include "packagetimerout.h"

#include <packagebase.h>

#include <QtCore/QHash>
#include <QtCore/QQueue>
#include <QtNetwork/QHostAddress>

/// The proxy's connection to one device, opened again whenever it ends.
///
/// The requests of all clients travel on it. Each gets a serial number of the link while it is
/// under way, and its own one back: those of two clients may be equal, and devices know 255 of
/// them. What exceeds that waits.
///
/// No request is sent twice, whatever happens: a device may have carried out what it did not
/// answer. It is for the client to ask again.
class DeviceLink : public QObject
{
    Q_OBJECT

public:
    /// @param prefersLinux sends data requests as Linux frames, which have a checksum.
    DeviceLink(const QString &deviceKey, const QHostAddress &address, quint16 port,
               bool prefersLinux, QObject *parent);

    QString deviceKey() const { return m_deviceKey; }
    bool isOpen() const { return m_isOpen; }

    /// Sends a request, which stays the caller's. BeginRequestEvent() and CompleteRequestEvent() of
    /// the package tell when it is under way and when it has an outcome, which is always and never
    /// inside send(). Their first argument is the link.
    void send(PackageBase *request);

private:
    using Timer = KORVIN_LINUX_CLIENT::PackageTimerOut;

    void open();
    void sendQueued();
    void receive(const Message &message);
    void complete(PackageBase *request);
    void failAll();

    /// A request as it leaves a client, to put it back when it is complete.
    struct UnderWay
    {
        PackageBase *request = nullptr;
        quint64 clientSerial = 0;
    };

    QString m_deviceKey;
    QHostAddress m_address;
    quint16 m_port;
    bool m_prefersLinux;
    MessageSocket *m_socket = nullptr;
    bool m_isOpen = false;
    QQueue<PackageBase *> m_queue;
    QHash<quint64, UnderWay> m_underWay; ///< By serial number of the link.
    QQueue<quint64> m_freeSerials;       ///< That which has been free longest is the next.
};

#endif
