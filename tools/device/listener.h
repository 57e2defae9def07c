#ifndef DEVICE_LISTENER_H
#define DEVICE_LISTENER_H

#include <korvinsimulator/configureddevice.h>

#include <QtCore/QObject>
#include <QtCore/QTimer>

class QIODevice;

/// Opens one of the places where a device can be reached, and hands out who comes there.
class Listener : public QObject
{
    Q_OBJECT

public:
    Listener(const KorvinSimulator::Endpoint &endpoint, QObject *parent);

    /// Opens the place. Returns what is wrong; empty on success.
    QString open();

    /// Returns how the place can be reached, such as "127.0.0.1:5001".
    QString address() const { return m_address; }

    const KorvinSimulator::Endpoint &endpoint() const { return m_endpoint; }

Q_SIGNALS:
    /// Somebody is there. The device belongs to the receiver.
    void arrived(QIODevice *device, const QString &peer);

private:
    QString openTcp();
    QString openUnix();
    QString openTerminal();

    KorvinSimulator::Endpoint m_endpoint;
    QString m_address;
    int m_arrivals = 0; ///< Who comes to a Unix socket has no address.
};

#endif
