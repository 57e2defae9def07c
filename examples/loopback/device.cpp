// korvin-device: a simulated device as a TCP server.
//
// Each message is a byte frame, Linux frame or text record; what is none closes its connection.

#include "messagesocket.h"
#include "terminationsignals.h"

#include <korvininspect/packageclass.h>
#include <korvinsimulator/simulateddevice.h>
#include <packagebase.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtNetwork/QTcpServer>

#include <cstdio>

using namespace KorvinInspect;
using namespace KorvinSimulator;

namespace {

/// A device that keeps a journal of what it carries out.
class JournalingDevice : public SimulatedDevice
{
public:
    using SimulatedDevice::SimulatedDevice;

    bool openJournal(const QString &fileName)
    {
        m_journal.setFileName(fileName);
        return m_journal.open(QIODevice::Append | QIODevice::Unbuffered);
    }

    void carryOut(PackageBase &request) override
    {
        SimulatedDevice::carryOut(request);
        if (m_journal.isOpen()) {
            m_journal.write(QStringLiteral("%1 %2 %3\n")
                                .arg(classOf(request).name, request.getTag())
                                .arg(request.getPackResult())
                                .toUtf8());
        }
    }

private:
    QFile m_journal;
};

class DeviceServer : public QObject
{
public:
    explicit DeviceServer(JournalingDevice *device)
        : m_device(device)
    {
        connect(&m_server, &QTcpServer::newConnection, this, &DeviceServer::accept);
    }

    bool listen(const QHostAddress &address, quint16 port)
    {
        if (!m_server.listen(address, port)) {
            qWarning("cannot listen: %s", qUtf8Printable(m_server.errorString()));
            return false;
        }
        std::printf("korvin-device: listening on %s:%d\n",
                    qUtf8Printable(m_server.serverAddress().toString()), m_server.serverPort());
        std::fflush(stdout);
        return true;
    }

private:
    void accept()
    {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            auto *peer = new MessageSocket(socket, MessageSocket::Framing::LengthPrefix, this);
            connect(peer, &MessageSocket::received, this,
                    [=](const Message &message) { answer(peer, message); });
            connect(peer, &MessageSocket::closed, this, [=](const QString &reason) {
                qInfo("connection of %s ended: %s", qUtf8Printable(peer->peer()),
                      qUtf8Printable(reason));
                peer->deleteLater();
            });
        }
    }

    void answer(MessageSocket *peer, const Message &request)
    {
        const Answer answer = m_device->answer(request.bytes, request.classId, request.form);
        if (!answer.verdict.isOk()) {
            peer->close(QStringLiteral("refused: ") + describe(answer.verdict));
            return;
        }
        const auto send = [=] {
            for (const QByteArray &reply : answer.replies)
                peer->send({request.classId, request.form, reply});
        };
        if (answer.delay > 0)
            QTimer::singleShot(answer.delay, peer, send);
        else
            send();
    }

    JournalingDevice *m_device;
    QTcpServer m_server;
};

/// The state in a file; nothing, with a message, for a file that has none.
bool load(const QString &fileName, DeviceState *state)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("%s: %s", qUtf8Printable(fileName), qUtf8Printable(file.errorString()));
        return false;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    const QString fault = error.error == QJsonParseError::NoError
        ? stateFromJson(document.object(), state)
        : error.errorString();
    if (!fault.isEmpty())
        qWarning("%s: %s", qUtf8Printable(fileName), qUtf8Printable(fault));
    return fault.isEmpty();
}

bool save(const QString &fileName, const DeviceState &state)
{
    QFile file(fileName);
    const QByteArray json = QJsonDocument(stateToJson(state)).toJson();
    return file.open(QIODevice::WriteOnly) && file.write(json) == json.size();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    qSetMessagePattern(QStringLiteral("korvin-device: %{message}"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A simulated device."));
    parser.addHelpOption();
    const QCommandLineOption address(QStringLiteral("address"),
                                     QStringLiteral("Address to listen on."),
                                     QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Port to listen on; 0 for any free one."),
                                  QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption state(QStringLiteral("state"),
                                   QStringLiteral("JSON file with what the device holds."),
                                   QStringLiteral("file"));
    const QCommandLineOption saved(QStringLiteral("save"),
                                   QStringLiteral("Save what the device holds at its end."),
                                   QStringLiteral("file"));
    const QCommandLineOption faults(QStringLiteral("faults"),
                                    QStringLiteral("Share of requests that go wrong, 0 to 1."),
                                    QStringLiteral("share"), QStringLiteral("0"));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Decides which requests go wrong, and how."),
                                  QStringLiteral("number"), QStringLiteral("1"));
    const QCommandLineOption journal(QStringLiteral("journal"),
                                     QStringLiteral("Append each request that is carried out."),
                                     QStringLiteral("file"));
    parser.addOptions({address, port, state, saved, faults, seed, journal});
    parser.process(application);

    DeviceState initial;
    if (parser.isSet(state) && !load(parser.value(state), &initial))
        return 1;
    JournalingDevice device(initial);
    device.setFaults(
        FaultPlan::random(parser.value(seed).toUInt(), parser.value(faults).toDouble()));
    if (parser.isSet(journal) && !device.openJournal(parser.value(journal))) {
        qWarning("cannot write %s", qUtf8Printable(parser.value(journal)));
        return 1;
    }
    DeviceServer server(&device);
    if (!server.listen(QHostAddress(parser.value(address)), parser.value(port).toUShort()))
        return 1;
    handleTermination([] { QCoreApplication::quit(); });
    const int result = QCoreApplication::exec();
    if (parser.isSet(saved) && !save(parser.value(saved), device.state())) {
        qWarning("cannot write %s", qUtf8Printable(parser.value(saved)));
        return 1;
    }
    return result;
}
