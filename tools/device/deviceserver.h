#ifndef DEVICE_DEVICESERVER_H
#define DEVICE_DEVICESERVER_H

#include "connection.h"
#include "listener.h"
#include "recording.h"
#include "requestlog.h"

#include <QtCore/QSet>

/// Makes a device available where its configuration says.
class DeviceServer : public QObject
{
    Q_OBJECT

public:
    DeviceServer(KorvinSimulator::ConfiguredDevice device, RequestLog *log, QObject *parent);

    /// Opens places. Returns what is wrong; empty on success.
    QString open(const std::vector<KorvinSimulator::Endpoint> &endpoints);

    /// Returns where the device can be reached.
    QStringList addresses() const;

    /// Replaces the device; the connections stay.
    void replace(KorvinSimulator::ConfiguredDevice device);

    /// Returns the device, with its clock at the present time.
    KorvinSimulator::ConfiguredDevice &device();

    /// Answers from a recording instead of from the device.
    void setRecording(Recording *recording) { m_recording = recording; }

    int connections() const { return m_connections.size(); }

private:
    void accept(const Listener *listener, QIODevice *device, const QString &peer);
    void answer(Connection *connection, const Message &request);
    void replay(Connection *connection, const Message &request);
    void applyLinkFault(Connection *connection, KorvinSimulator::LinkFault fault);

    KorvinSimulator::ConfiguredDevice m_device;
    RequestLog *m_log;
    Recording *m_recording = nullptr;
    std::vector<Listener *> m_listeners;
    QSet<Connection *> m_connections;
    QTimer m_watch; ///< Looks now and then at what takes too long.
    bool m_isFull = false;
};

#endif
