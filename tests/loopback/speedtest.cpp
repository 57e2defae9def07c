// Measures how fast korvin-device answers one connection, beside a bare echo server.
//
// Usage: loopback_speedtest DEVICE [REQUESTS]
//
// Both servers have Qt's sockets, and are processes of their own; the client is this one. A request
// reads 16 bytes as a byte frame after its length. The echo server sends back what it receives.
// Status 1 means that the device misses its target: 40,000 requests in a second of processor time,
// and, one request at a time, at most three times the time of the echo server.

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <chrono>
#include <cstdio>
#include <ctime>

namespace {

constexpr int UsualRequests = 100000;
constexpr int Pipelined = 100;
constexpr double LeastSpeed = 40000;
constexpr double MostOfEcho = 3;
constexpr int StartMilliseconds = 20000;

const QByteArray Configuration = R"({"units": [{"desAddr": 255, "deviceType": 1, "portAddr": 2,
    "scanBoardAddr": 65535, "blocks": [{"address": "0x0A000020",
                                        "data": "0102030405060708090A0B0C0D0E0F10"}]}]})";

QByteArray prefixed(const QByteArray &hexadecimalFrame)
{
    const QByteArray message =
        "frame PackageRequestReadData " + QByteArray::fromHex(hexadecimalFrame);
    return QByteArray(1, static_cast<char>(message.size())) + QByteArray(3, '\0') + message;
}

int runEcho()
{
    QTcpServer server;
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        QTcpSocket *socket = server.nextPendingConnection();
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        QObject::connect(socket, &QTcpSocket::readyRead,
                         [socket] { socket->write(socket->readAll()); });
    });
    if (!server.listen(QHostAddress::LocalHost))
        return 2;
    std::printf("echo: listening on 127.0.0.1:%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}

/// The seconds that something took.
struct Seconds
{
    double wall = 0;
    double processor = 0; ///< Of the server.
};

/// A server and a connection to it.
class Peer
{
public:
    ~Peer()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    bool start(const QString &program, const QStringList &arguments)
    {
        m_process.start(program, arguments);
        if (!m_process.waitForReadyRead(StartMilliseconds))
            return false;
        const quint16 port = m_process.readLine().trimmed().split(':').last().toUShort();
        m_socket.connectToHost(QStringLiteral("127.0.0.1"), port);
        if (!m_socket.waitForConnected())
            return false;
        m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        return clock_getcpuclockid(static_cast<pid_t>(m_process.processId()), &m_clock) == 0;
    }

    /// Sends requests, and expects a reply to each. Sets @p fault if another comes.
    Seconds measure(int requests, int together, const QByteArray &request, const QByteArray &reply,
                    bool *fault)
    {
        const double processor = processorSeconds();
        const auto begin = std::chrono::steady_clock::now();
        const QByteArray sent = request.repeated(together);
        const QByteArray expected = reply.repeated(together);
        for (int done = 0; done < requests && !*fault; done += together)
            *fault = !exchange(sent, expected);
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
        return {wall.count(), processorSeconds() - processor};
    }

private:
    bool exchange(const QByteArray &sent, const QByteArray &expected)
    {
        m_socket.write(sent);
        m_socket.flush();
        QByteArray received;
        while (received.size() < expected.size()) {
            if (m_socket.bytesAvailable() == 0 && !m_socket.waitForReadyRead())
                return false;
            received += m_socket.readAll();
        }
        return received == expected;
    }

    double processorSeconds() const
    {
        constexpr double Second = 1e9;
        timespec time = {};
        clock_gettime(m_clock, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / Second;
    }

    QProcess m_process;
    QTcpSocket m_socket;
    clockid_t m_clock = 0;
};

int runBoth(const QString &device, int requests)
{
    const QTemporaryDir folder;
    const QString configuration = folder.filePath(QStringLiteral("device.json"));
    QFile file(configuration);
    Peer simulated;
    Peer echo;
    const bool isStarted = file.open(QIODevice::WriteOnly)
        && file.write(Configuration) == Configuration.size() && file.flush()
        && simulated.start(device, {QStringLiteral("--config"), configuration})
        && echo.start(QCoreApplication::applicationFilePath(), {QStringLiteral("echo")});
    if (!isStarted) {
        std::fprintf(stderr, "loopback_speedtest: the servers do not start\n");
        return 2;
    }
    const QByteArray request =
        prefixed("0001006B010074030000000700 00FF0102FFFF00002000000A10000000 0010000000");
    const QByteArray reply = prefixed("0007000001001000000001020304 05060708090A0B0C0D0E0F10");
    bool isFast = true;
    bool fault = false;
    for (const int together : {1, Pipelined}) {
        const Seconds ofDevice = simulated.measure(requests, together, request, reply, &fault);
        const Seconds ofEcho = echo.measure(requests, together, request, request, &fault);
        const double speed = requests / ofDevice.processor;
        const double ratio = ofDevice.processor / ofEcho.processor;
        std::printf("%3d at a time: %7.0f requests/s, %7.0f in a second of processor time; echo "
                    "%7.0f, %7.0f; ratio of time %.2f, of processor time %.2f\n",
                    together, requests / ofDevice.wall, speed, requests / ofEcho.wall,
                    requests / ofEcho.processor, ofDevice.wall / ofEcho.wall, ratio);
        isFast = isFast && speed >= LeastSpeed && (together > 1 || ratio <= MostOfEcho);
    }
    if (fault)
        std::fprintf(stderr, "loopback_speedtest: a reply is missing or wrong\n");
    return isFast && !fault ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "Usage: loopback_speedtest DEVICE [REQUESTS]\n");
        return 2;
    }
    if (arguments.at(1) == QLatin1String("echo"))
        return runEcho();
    const int requests = arguments.size() > 2 ? arguments.at(2).toInt() : UsualRequests;
    return runBoth(arguments.at(1), qMax(requests, Pipelined));
}
