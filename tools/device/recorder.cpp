#include "recorder.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>

Recorder::Recorder(const Place &upstream, RecordingWriter *recording)
    : m_upstream(upstream)
    , m_recording(recording)
{
}

void Recorder::open(const KorvinSimulator::Endpoint &endpoint)
{
    auto *listener = new Listener(endpoint, this);
    const QString fault = listener->open();
    if (!fault.isEmpty())
        fail(fault);
    connect(listener, &Listener::arrived, this,
            [=](QIODevice *client, const QString &peer) { accept(listener, client, peer); });
    m_listeners.push_back(listener);
}

void Recorder::announce() const
{
    for (const Listener *listener : m_listeners)
        print(QStringLiteral("korvin-device: listening on %1\n").arg(listener->address()));
}

QJsonObject Recorder::carryOut(const QJsonObject &command) const
{
    const QString word = command.value(QLatin1String("command")).toString();
    if (word == QLatin1String("quit")) {
        QCoreApplication::quit();
        return {};
    }
    if (word != QLatin1String("addresses")) {
        return {{QStringLiteral("error"),
                 QStringLiteral("%1: not while recording; addresses or quit expected").arg(word)}};
    }
    QJsonArray all;
    for (const Listener *listener : m_listeners)
        all.append(listener->address());
    return {{QStringLiteral("addresses"), all}};
}

void Recorder::accept(const Listener *listener, QIODevice *client, const QString &peer)
{
    constexpr int MostConnections = 100; // each has two sockets and up to 4 MiB
    if (m_connections >= MostConnections) {
        qInfo("connection of %s refused: there are %d already", qUtf8Printable(peer),
              m_connections);
        client->deleteLater();
        return;
    }
    auto *relay = new Relay(client, m_upstream, framingKindOf(listener->endpoint().framing),
                            m_recording, this);
    ++m_connections;
    connect(relay, &Relay::ended, this, [=](const QString &reason) {
        qInfo("connection of %s ended: %s", qUtf8Printable(peer), qUtf8Printable(reason));
        --m_connections;
        relay->deleteLater();
    });
}
