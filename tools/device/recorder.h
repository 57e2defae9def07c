#ifndef DEVICE_RECORDER_H
#define DEVICE_RECORDER_H

#include "listener.h"
#include "relay.h"

/// Listens for clients, and records what each of them and the device say.
class Recorder : public QObject
{
    Q_OBJECT

public:
    Recorder(const Place &upstream, RecordingWriter *recording);

    /// Opens a place; ends the program where that fails.
    void open(const KorvinSimulator::Endpoint &endpoint);

    /// Tells where clients reach the device.
    void announce() const;

    /// Carries out a command of a control connection.
    QJsonObject carryOut(const QJsonObject &command) const;

private:
    void accept(const Listener *listener, QIODevice *client, const QString &peer);

    Place m_upstream;
    RecordingWriter *m_recording;
    std::vector<Listener *> m_listeners;
    int m_connections = 0;
};

#endif
