// A client over TCP, against a simulated device that listens on a port.

#include "clientsupport.h"

#include <korvinsimulator/simulateddevice.h>

#include <QtCore/QProcess>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

namespace {

using std::chrono::milliseconds;

constexpr quint32 Register = 0x0A000010;

/// Data reads and writes as lines, to a device with 16 bytes.
class DeviceServer
{
public:
    DeviceServer()
    {
        KorvinSimulator::DeviceState state;
        state.units[{0, 255, 1, 2, 65535}].blocks[Register] = {QByteArray(16, '\0')};
        m_device.state() = state;
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] { serve(); });
        listen(0);
    }

    void listen(quint16 port) { EXPECT_TRUE(m_server.listen(QHostAddress::LocalHost, port)); }

    /// Ends the connection, and listens no more.
    void stop()
    {
        m_server.close();
        delete m_socket;
    }

    quint16 port() const { return m_server.serverPort(); }

    /// What the registers hold.
    QByteArray data()
    {
        return m_device.state().units[{0, 255, 1, 2, 65535}].blocks[Register].data;
    }

    QTcpSocket *socket() const { return m_socket; }

private:
    void serve()
    {
        m_socket = m_server.nextPendingConnection();
        m_framing = std::make_unique<LineFraming>();
        QObject::connect(m_socket, &QTcpSocket::readyRead, m_socket, [this] {
            for (const QByteArray &request : m_framing->receive(m_socket->readAll(), Time(0)))
                answer(request);
        });
    }

    void answer(const QByteArray &request)
    {
        const bool isWrite = request.split(',').value(10) == "write";
        const ClassId classId =
            isWrite ? ClassId::PackageRequestWriteData : ClassId::PackageRequestReadData;
        for (const QByteArray &reply : m_device.answer(request, classId, Form::Text).replies)
            m_socket->write(reply + '\n');
    }

    KorvinSimulator::SimulatedDevice m_device;
    QTcpServer m_server;
    QPointer<QTcpSocket> m_socket;
    std::unique_ptr<LineFraming> m_framing;
};

class ClientTcp : public testing::Test
{
protected:
    ClientTcp()
    {
        ClientSettings settings;
        settings.reconnectPause = milliseconds(10);
        settings.longestReconnectPause = milliseconds(20);
        client = std::make_unique<Client>(settings);
    }

    void open()
    {
        const quint16 port = server.port();
        client->setOpener([port] {
            auto *socket = new QTcpSocket;
            socket->connectToHost(QHostAddress(QHostAddress::LocalHost), port);
            return socket;
        });
    }

    Outcome write(const QByteArray &data)
    {
        const auto package = makeWrite(Register, data);
        return client->exchange(package.get(), milliseconds(5000)).outcome;
    }

    DeviceServer server;
    std::unique_ptr<Client> client;
};

TEST_F(ClientTcp, WritesAndReads)
{
    open();
    EXPECT_EQ(write(hex("01FF10")), Outcome::Success);
    EXPECT_EQ(server.data().left(4), hex("01FF1000"));
    const auto read = makeRead(Register, 4);
    EXPECT_EQ(client->exchange(read.get(), milliseconds(5000)).outcome, Outcome::Success);
    EXPECT_EQ(read->data(), hex("01FF1000"));
    const auto unknown = makeRead(Register + 0x1000, 4);
    EXPECT_EQ(client->exchange(unknown.get(), milliseconds(5000)).outcome, Outcome::Failure);
}

TEST_F(ClientTcp, ReconnectsToAServerThatComesBack)
{
    open();
    EXPECT_EQ(write("one"), Outcome::Success);
    const quint16 port = server.port();
    server.stop();
    EXPECT_TRUE(waitUntil([&] { return !client->isConnected(); }));
    const auto waiting = makeWrite(Register, "two");
    const Reply *reply = client->send(waiting.get());
    runFor(milliseconds(50)); // connections are refused
    EXPECT_FALSE(reply->isFinished());
    server.listen(port);
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(server.data().left(3), "two");
}

TEST_F(ClientTcp, TakesWhatAPeerSendsBeforeItEnds)
{
    open();
    EXPECT_EQ(write("one"), Outcome::Success);
    const auto read = makeRead(Register, 3);
    Reply *reply = client->send(read.get());
    QString reason;
    QObject::connect(client.get(), &Client::disconnected,
                     [&](const QString &given) { reason = given; });
    QObject::connect(server.socket(), &QTcpSocket::bytesWritten, server.socket(),
                     &QTcpSocket::disconnectFromHost);
    EXPECT_TRUE(reply->waitForFinished(milliseconds(5000)));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(read->data(), "one");
    EXPECT_TRUE(waitUntil([&] { return !reason.isEmpty(); }));
    EXPECT_EQ(reason, QStringLiteral("The remote host closed the connection"));
}

TEST_F(ClientTcp, StopsSendingToAPeerThatDoesNotRead)
{
    open();
    EXPECT_EQ(write("one"), Outcome::Success);
    server.socket()->setReadBufferSize(1);
    QObject::disconnect(server.socket(), &QTcpSocket::readyRead, nullptr, nullptr);
    // More than the buffers of the connection take.
    const QByteArray data(500000, 'a');
    std::vector<std::unique_ptr<PackageRequestWriteData>> writes;
    for (int i = 0; i < 50; ++i) {
        writes.push_back(makeWrite(Register, data));
        client->send(writes.back().get());
    }
    runFor(milliseconds(100));
    EXPECT_LT(client->device()->bytesToWrite(), 3000000); // a record has 4 bytes for each
    EXPECT_LT(client->engine().inFlight(), 50);
}

TEST_F(ClientTcp, IsAsShortAsTheExampleShows)
{
    QProcess example;
    example.start(QStringLiteral(TCP_CLIENT), {QString::number(server.port())});
    EXPECT_TRUE(waitUntil([&] { return example.state() == QProcess::NotRunning; }));
    EXPECT_EQ(example.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(example.exitCode(), 0) << example.readAllStandardError().toStdString();
    EXPECT_EQ(server.data().left(4), hex("01FF1000"));
}

} // namespace
