// korvin-device: a simulated device as a TCP server.
//
// Each message is a byte frame, Linux frame or text record; anything else closes its connection.

#include "arguments.h"
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

#include <limits>

using namespace KorvinInspect;
using namespace KorvinSimulator;

namespace {

QString cannotWrite(const QFile &file)
{
    return QStringLiteral("cannot write %1: %2").arg(file.fileName(), file.errorString());
}

/// A device that keeps a journal of what it carries out.
class JournalingDevice : public SimulatedDevice
{
public:
    using SimulatedDevice::SimulatedDevice;

    void openJournal(const QString &fileName)
    {
        m_journal.setFileName(fileName);
        if (!m_journal.open(QIODevice::Append | QIODevice::Unbuffered))
            fail(cannotWrite(m_journal));
    }

    void carryOut(PackageBase &request) override
    {
        SimulatedDevice::carryOut(request);
        if (!m_journal.isOpen())
            return;
        const QByteArray line = QStringLiteral("%1 %2 %3\n")
                                    .arg(classOf(request).name, request.getTag())
                                    .arg(request.getPackResult())
                                    .toUtf8();
        if (m_journal.write(line) != line.size())
            fail(cannotWrite(m_journal));
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

    void listen(const QHostAddress &address, quint16 port)
    {
        if (!m_server.listen(address, port))
            fail(QStringLiteral("cannot listen: ") + m_server.errorString());
        print(QStringLiteral("korvin-device: listening on %1:%2\n")
                  .arg(m_server.serverAddress().toString())
                  .arg(m_server.serverPort()));
    }

private:
    void accept()
    {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            auto *peer = new MessageSocket(socket, Wire::LengthPrefix, this);
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

/// The state in a file.
DeviceState load(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        fail(fileName + QLatin1String(": ") + file.errorString());
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    DeviceState state;
    const QString fault = error.error == QJsonParseError::NoError
        ? stateFromJson(document.object(), &state)
        : error.errorString();
    if (!fault.isEmpty())
        fail(fileName + QLatin1String(": ") + fault);
    return state;
}

void save(const QString &fileName, const DeviceState &state)
{
    QFile file(fileName);
    const QByteArray json = QJsonDocument(stateToJson(state)).toJson();
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.flush())
        fail(cannotWrite(file));
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

    if (!parser.positionalArguments().isEmpty())
        fail(QStringLiteral("%1: one argument too many").arg(parser.positionalArguments().first()));
    const double share = shareFrom(QStringLiteral("--faults"), parser.value(faults));
    const auto seedNumber = numberFrom(QStringLiteral("--seed"), parser.value(seed), 0,
                                       std::numeric_limits<uint>::max());
    const auto portNumber = numberFrom(QStringLiteral("--port"), parser.value(port), 0,
                                       std::numeric_limits<quint16>::max());
    const QHostAddress host = addressFrom(QStringLiteral("--address"), parser.value(address));
    JournalingDevice device(parser.isSet(state) ? load(parser.value(state)) : DeviceState());
    device.setFaults(FaultPlan::random(static_cast<uint>(seedNumber), share));
    if (parser.isSet(journal))
        device.openJournal(parser.value(journal));
    DeviceServer server(&device);
    handleTermination([] { QCoreApplication::quit(); });
    server.listen(host, static_cast<quint16>(portNumber));
    const int result = QCoreApplication::exec();
    if (parser.isSet(saved))
        save(parser.value(saved), device.state());
    return result;
}
