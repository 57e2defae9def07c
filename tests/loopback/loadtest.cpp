// Runs korvin-device and korvin-proxy as processes, and many clients of them in this one.
//
// Usage: loopback_loadtest DEVICE PROXY SCENARIO [options]
//
//   load     every request is answered, with the data of its own client, and memory stays flat
//   faults   devices drop, delay and garble replies: clients that ask again get there
//   restart  device and proxy are killed meanwhile: every request ends, none is carried out twice
//   garbage  what is no message closes its connection with a reason, and no other

#include "link.h"

#include <korvinexchange/reply.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace {

constexpr quint32 FirstRegister = 0x0C000000;
constexpr quint32 BlockSize = 16;
constexpr int StartMilliseconds = 20000;

struct Settings
{
    int clients = 20;
    int requests = 2000; ///< Of all clients together.
    int devices = 3;
    int timeout = 10000; ///< Of a request, in milliseconds.
    int deadline = 60;   ///< Of the scenario, in seconds.
};

/// What is wrong, if anything is.
class Verdict
{
public:
    void expect(bool good, const QString &what)
    {
        if (!good)
            std::printf("  WRONG: %s\n", qUtf8Printable(what));
        m_isGood = m_isGood && good;
    }

    bool isGood() const { return m_isGood; }

private:
    bool m_isGood = true;
};

/// A program of the example that listens on a port.
class Server
{
public:
    Server(const QString &program, const QStringList &arguments, const QString &log)
        : m_arguments(arguments)
    {
        m_process.setProgram(program);
        m_process.setStandardErrorFile(log, QIODevice::Append);
    }

    ~Server()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    /// Starts it, again on the same port, and waits until it listens.
    bool start()
    {
        m_process.setArguments(QStringList{QStringLiteral("--port"), QString::number(m_port)}
                               + m_arguments);
        m_process.start();
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(StartMilliseconds))
                return false;
        }
        m_port = m_process.readLine().trimmed().split(':').last().toUShort();
        return m_port != 0;
    }

    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    /// Asks it to end.
    bool terminate()
    {
        m_process.terminate();
        return m_process.waitForFinished() && m_process.exitStatus() == QProcess::NormalExit
            && m_process.exitCode() == 0;
    }

    quint16 port() const { return m_port; }

    /// Resident memory, in MiB.
    double memory() const
    {
        QFile file(QStringLiteral("/proc/%1/statm").arg(m_process.processId()));
        constexpr double PagesOfMiB = 256;
        return file.open(QIODevice::ReadOnly)
            ? file.readAll().split(' ').value(1).toDouble() / PagesOfMiB
            : 0;
    }

private:
    QStringList m_arguments;
    QProcess m_process;
    quint16 m_port = 0;
};

/// The devices and the proxy, in a directory of their own.
class System
{
public:
    System(const QString &device, const QString &proxy, const Settings &settings,
           const QStringList &deviceOptions, const QStringList &proxyOptions)
    {
        const QString state = path(QStringLiteral("state.json"));
        QFile file(state);
        m_isGood = file.open(QIODevice::WriteOnly) && file.write(stateOf(settings)) > 0;
        file.close();
        QStringList places = proxyOptions;
        for (int i = 0; i < settings.devices; ++i) {
            const QStringList arguments{
                QStringLiteral("--config"),  state,
                QStringLiteral("--seed"),    QString::number(i + 1),
                QStringLiteral("--journal"), path(QStringLiteral("journal%1").arg(i))};
            m_devices.push_back(std::make_unique<Server>(device, arguments + deviceOptions,
                                                         path(QStringLiteral("device.log"))));
            m_isGood = m_devices.back()->start() && m_isGood;
            places << QStringLiteral("device%1=127.0.0.1:%2").arg(i).arg(m_devices.back()->port());
        }
        m_proxy = std::make_unique<Server>(proxy, places, path(QStringLiteral("proxy.log")));
        m_isGood = m_proxy->start() && m_isGood;
    }

    bool isGood() const { return m_isGood; }
    Server &proxy() { return *m_proxy; }
    Server &device(int i) { return *m_devices.at(static_cast<std::size_t>(i)); }

    double memoryOfDevices() const
    {
        double sum = 0;
        for (const auto &device : m_devices)
            sum += device->memory();
        return sum;
    }

    void shutDown(Verdict *verdict)
    {
        verdict->expect(m_proxy->terminate(), QStringLiteral("the proxy ends as it should"));
        for (const auto &device : m_devices)
            verdict->expect(device->terminate(), QStringLiteral("a device ends as it should"));
    }

    QByteArray contentsOf(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QString path(const QString &name) const { return m_directory.filePath(name); }

    /// A block for each client.
    static QByteArray stateOf(const Settings &settings)
    {
        QJsonArray blocks;
        for (int i = 0; i < settings.clients; ++i) {
            blocks.append(QJsonObject{
                {QStringLiteral("address"), qint64(FirstRegister) + i * qint64(BlockSize)},
                {QStringLiteral("size"), qint64(BlockSize)}});
        }
        const QJsonObject unit{{QStringLiteral("desAddr"), 255},
                               {QStringLiteral("blocks"), blocks}};
        return QJsonDocument(QJsonObject{{QStringLiteral("units"), QJsonArray{unit}}}).toJson();
    }

    QTemporaryDir m_directory;
    std::vector<std::unique_ptr<Server>> m_devices;
    std::unique_ptr<Server> m_proxy;
    bool m_isGood = false;
};

/// What came of the requests of all clients.
struct Tally
{
    int done = 0; ///< Requests that have ended, well or not.
    int mixedUp = 0;
    QMap<QString, int> failures; ///< By outcome.
    QStringList succeeded;       ///< Tags of writes that succeeded.
    std::vector<double> milliseconds;
};

/// A client that writes data of its own and reads it back, a request at a time.
class Client : public QObject
{
public:
    Client(int number, const Settings &settings, quint16 proxyPort, Tally *tally)
        : m_link(QStringLiteral("proxy"), Wire::Lines, linkSettings())
        , m_number(number)
        , m_settings(settings)
        , m_tally(tally)
        , m_left(settings.requests / settings.clients)
    {
        connect(&m_link, &Link::connected, this, &Client::next);
        m_link.open({QHostAddress::LocalHost, proxyPort});
    }

    bool isDone() const { return m_left == 0 && !m_request; }

    /// Asks again after a failure, with a request that says the same.
    void setPersistent() { m_isPersistent = true; }

    /// No more requests than the one that is under way.
    void stop() { m_left = 0; }

private:
    static KorvinExchange::Settings linkSettings()
    {
        KorvinExchange::Settings settings;
        settings.lastSerialNum = std::numeric_limits<int>::max();
        return settings;
    }

    void next()
    {
        if (m_left == 0 || m_request || !m_link.isConnected())
            return;
        --m_left;
        const quint32 address = FirstRegister + static_cast<quint32>(m_number) * BlockSize;
        const QString key = QStringLiteral("device%1").arg(m_number % m_settings.devices);
        const QString tag = QStringLiteral("c%1-%2").arg(m_number).arg(++m_sent);
        const auto high = static_cast<ushort>(address >> 16);
        const auto low = static_cast<ushort>(address);
        if (m_isWriting) {
            m_data = QStringLiteral("%1/%2").arg(m_number).arg(m_sent).toLatin1().leftJustified(
                BlockSize, ' ');
            m_request = std::make_unique<PackageRequestWriteData>(key, 0, 255, 0, 0, 0, high, low,
                                                                  0, m_settings.timeout, tag, false,
                                                                  m_data, m_data.size());
        } else {
            m_request = std::make_unique<PackageRequestReadData>(
                key, 0, 255, 0, 0, 0, high, low, 0, m_settings.timeout, tag, BlockSize);
        }
        KorvinExchange::RequestOptions options;
        options.repeat = KorvinExchange::Repeat::Never;
        options.timeout = std::chrono::milliseconds(m_settings.timeout + 1000); // after the proxy
        m_clock.start();
        KorvinExchange::Reply *reply = m_link.send(m_request.get(), options);
        connect(reply, &KorvinExchange::Reply::finished, this, [=] {
            reply->deleteLater();
            complete(reply->result());
        });
    }

    void complete(const KorvinExchange::Event &event)
    {
        m_tally->milliseconds.push_back(static_cast<double>(m_clock.nsecsElapsed()) / 1e6);
        ++m_tally->done;
        const bool success = m_request->isPackageSuccess();
        if (!success)
            ++m_tally->failures[describe(event)];
        if (success && m_isWriting)
            m_tally->succeeded << m_request->getTag();
        // What an unsuccessful write left is not known.
        if (success && !m_isWriting && m_isWritten && m_request->data() != m_data)
            ++m_tally->mixedUp;
        if (m_isWriting)
            m_isWritten = success;
        if (!success && m_isPersistent)
            ++m_left;
        else
            m_isWriting = !m_isWriting;
        m_request.reset();
        next();
    }

    Link m_link;
    int m_number;
    const Settings &m_settings;
    Tally *m_tally;
    int m_left;
    int m_sent = 0;
    bool m_isPersistent = false;
    bool m_isWriting = true;
    bool m_isWritten = false;
    QByteArray m_data;
    std::unique_ptr<PackageBase> m_request;
    QElapsedTimer m_clock;
};

/// All clients of a scenario.
class Crowd
{
public:
    Crowd(const Settings &settings, quint16 proxyPort)
        : m_settings(settings)
    {
        for (int i = 0; i < settings.clients; ++i)
            m_clients.push_back(std::make_unique<Client>(i, m_settings, proxyPort, &m_tally));
    }

    const Tally &tally() const { return m_tally; }

    void setPersistent()
    {
        for (const auto &client : m_clients)
            client->setPersistent();
    }

    void stop()
    {
        for (const auto &client : m_clients)
            client->stop();
    }

    /// Runs until @p share of the requests have ended. False when that takes too long.
    bool run(double share = 1)
    {
        QElapsedTimer clock;
        clock.start();
        const int goal = static_cast<int>(share * m_settings.requests);
        const auto isDone = [&] {
            return share < 1 ? m_tally.done >= goal
                             : std::all_of(m_clients.begin(), m_clients.end(),
                                           [](const auto &client) { return client->isDone(); });
        };
        while (!isDone()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents,
                                            100);
            if (clock.elapsed() > m_settings.deadline * 1000)
                return false;
        }
        return true;
    }

private:
    Settings m_settings;
    Tally m_tally;
    std::vector<std::unique_ptr<Client>> m_clients;
};

double percentile(std::vector<double> values, double share)
{
    if (values.empty())
        return 0;
    const auto index = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(index),
                     values.end());
    return values.at(index);
}

void print(const Tally &tally, double seconds)
{
    std::printf(
        "  %d requests in %.2f s: %.0f requests/s, median %.2f ms, 99th percentile %.2f ms\n",
        tally.done, seconds, tally.done / seconds, percentile(tally.milliseconds, 0.5),
        percentile(tally.milliseconds, 0.99));
    for (auto failure = tally.failures.begin(); failure != tally.failures.end(); ++failure)
        std::printf("  %d requests ended with %s\n", *failure, qUtf8Printable(failure.key()));
}

double secondsSince(const QElapsedTimer &clock)
{
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

void runLoad(System *system, const Settings &settings, Verdict *verdict)
{
    QElapsedTimer clock;
    clock.start();
    Crowd crowd(settings, system->proxy().port());
    verdict->expect(crowd.run(0.2), QStringLiteral("a fifth of the requests end"));
    const double proxyBefore = system->proxy().memory();
    const double devicesBefore = system->memoryOfDevices();
    verdict->expect(crowd.run(), QStringLiteral("all requests end"));
    const double seconds = secondsSince(clock);
    const double proxyAfter = system->proxy().memory();
    const double devicesAfter = system->memoryOfDevices();
    print(crowd.tally(), seconds);
    std::printf("  memory: proxy %.1f MiB, %+.2f since the first fifth; devices %.1f MiB, %+.2f\n",
                proxyAfter, proxyAfter - proxyBefore, devicesAfter, devicesAfter - devicesBefore);
    verdict->expect(crowd.tally().done == settings.requests,
                    QStringLiteral("as many requests end as begin"));
    verdict->expect(crowd.tally().failures.isEmpty(), QStringLiteral("no request fails"));
    verdict->expect(crowd.tally().mixedUp == 0, QStringLiteral("every client reads its own data"));
    constexpr double AllowedGrowth = 4;
    verdict->expect(proxyAfter - proxyBefore < AllowedGrowth,
                    QStringLiteral("the memory of the proxy stays flat"));
    verdict->expect(devicesAfter - devicesBefore < AllowedGrowth * settings.devices,
                    QStringLiteral("the memory of the devices stays flat"));
}

void runFaults(System *system, const Settings &settings, Verdict *verdict)
{
    QElapsedTimer clock;
    clock.start();
    Crowd crowd(settings, system->proxy().port());
    crowd.setPersistent();
    verdict->expect(crowd.run(), QStringLiteral("all requests end"));
    print(crowd.tally(), secondsSince(clock));
    const int failures =
        std::accumulate(crowd.tally().failures.begin(), crowd.tally().failures.end(), 0);
    verdict->expect(failures > 0, QStringLiteral("there are faults"));
    verdict->expect(crowd.tally().done - failures == settings.requests,
                    QStringLiteral("everything succeeds in the end"));
    verdict->expect(crowd.tally().mixedUp == 0, QStringLiteral("every client reads its own data"));
}

void runRestart(System *system, const Settings &settings, Verdict *verdict)
{
    QElapsedTimer clock;
    clock.start();
    Crowd crowd(settings, system->proxy().port());
    verdict->expect(crowd.run(0.3), QStringLiteral("requests end"));
    system->device(0).kill();
    verdict->expect(crowd.run(0.4), QStringLiteral("requests end while a device is gone"));
    verdict->expect(system->device(0).start(), QStringLiteral("the device starts again"));
    verdict->expect(crowd.run(0.6), QStringLiteral("requests end after the device came back"));
    system->proxy().kill();
    verdict->expect(system->proxy().start(), QStringLiteral("the proxy starts again"));
    verdict->expect(crowd.run(), QStringLiteral("all requests end"));
    print(crowd.tally(), secondsSince(clock));
    verdict->expect(crowd.tally().done == settings.requests,
                    QStringLiteral("as many requests end as begin"));
    verdict->expect(!crowd.tally().failures.isEmpty(), QStringLiteral("some requests fail"));

    QMap<QByteArray, int> carriedOut;
    for (int i = 0; i < settings.devices; ++i) {
        const QList<QByteArray> lines =
            system->contentsOf(QStringLiteral("journal%1").arg(i)).split('\n');
        for (const QByteArray &line : lines)
            ++carriedOut[line.split(' ').value(1)];
    }
    carriedOut.remove({}); // after the last line
    const bool noneTwice =
        std::all_of(carriedOut.begin(), carriedOut.end(), [](int times) { return times == 1; });
    verdict->expect(noneTwice, QStringLiteral("no request is carried out twice"));
    const QStringList &succeeded = crowd.tally().succeeded;
    const bool allDone = std::all_of(succeeded.begin(), succeeded.end(), [&](const QString &tag) {
        return carriedOut.contains(tag.toLatin1());
    });
    verdict->expect(allDone && !succeeded.isEmpty(),
                    QStringLiteral("what succeeded was carried out"));
    std::printf("  %d requests carried out by devices, none twice\n",
                static_cast<int>(carriedOut.size()));
}

/// Whether @p text turns up in a log, which is written a moment later, for the @p times th time.
bool turnsUp(const System &system, const QString &log, const char *text, int times)
{
    QElapsedTimer clock;
    clock.start();
    while (system.contentsOf(log).count(text) != times) {
        if (clock.elapsed() > 5000)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

/// Sends @p bytes to a port. Whether the other side closes the connection.
bool isCutOff(quint16 port, const QByteArray &bytes)
{
    QTcpSocket socket;
    QEventLoop loop;
    QTimer deadline;
    QObject::connect(&socket, &QTcpSocket::connected, &loop, [&] { socket.write(bytes); });
    QObject::connect(&socket, &QTcpSocket::disconnected, &loop, &QEventLoop::quit);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    deadline.setSingleShot(true);
    deadline.start(15000);
    socket.connectToHost(QHostAddress::LocalHost, port);
    loop.exec();
    return socket.state() == QAbstractSocket::UnconnectedState && deadline.isActive();
}

void runGarbage(System *system, const Settings &settings, Verdict *verdict)
{
    struct Row
    {
        const char *name;
        QByteArray bytes;
        const char *reason;
    };
    std::mt19937 engine(1);
    QByteArray noise(3000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(engine()); });
    const QByteArray brokenFrame = "frame PackageRequestRead " + QByteArray(5, '\0');
    const Row toProxy[] = {
        {"a web browser", "GET / HTTP/1.1\r\nHost: x\r\n\r\n",
         "not a message: it does not begin with a form and a class"},
        {"noise in a line", noise.replace('\n', ' ') + '\n',
         "not a message: it does not begin with a form and a class"},
        {"a broken record", "text PackageRequestRead 1,2,3\n", "refused: too few"},
        {"a number that is none",
         "text PackageRequestRead 1,device0,0,0,255,0,0,0,0,0,read,x,t,ok,ok,1,data\n",
         "refused: timeout at 11"},
        {"a frame", brokenFrame + '\n', "refused: "},
        {"a line without an end", QByteArray(1100000, 'x'), "a message is too long"},
        {"half a line", "text Packa", "the rest of a message did not come in time"},
    };
    const Row toDevice[] = {
        {"a web browser", "GET / HTTP/1.1\r\nHost: x\r\n\r\n", "a message is too long"},
        {"noise", noise, "a message is too long"},
        {"a broken frame", QByteArray("\x1E\0\0\0", 4) + brokenFrame, "refused: "},
        {"an unknown class", QByteArray("\x0A\0\0\0frame Nix ", 14),
         "not a message: it does not begin with a form and a class"},
        {"half a message", QByteArray("\x0A\0\0\0frame", 9),
         "the rest of a message did not come in time"},
    };
    // The others go on until they are stopped.
    Settings endless = settings;
    endless.requests = std::numeric_limits<int>::max();
    Crowd crowd(endless, system->proxy().port());
    const auto throwAt = [&](quint16 port, const Row &row, const QString &log) {
        const int before = system->contentsOf(log).count(row.reason);
        verdict->expect(isCutOff(port, row.bytes),
                        QStringLiteral("%1 is cut off").arg(QLatin1String(row.name)));
        verdict->expect(turnsUp(*system, log, row.reason, before + 1),
                        QStringLiteral("the reason of %1 is in %2: %3")
                            .arg(QLatin1String(row.name), log, QLatin1String(row.reason)));
    };
    for (const Row &row : toProxy)
        throwAt(system->proxy().port(), row, QStringLiteral("proxy.log"));
    for (const Row &row : toDevice)
        throwAt(system->device(0).port(), row, QStringLiteral("device.log"));
    std::printf("  %zu kinds of garbage cut off\n", std::size(toProxy) + std::size(toDevice));
    const int meanwhile = crowd.tally().done;
    crowd.stop();
    verdict->expect(crowd.run(), QStringLiteral("the others end"));
    verdict->expect(meanwhile > settings.clients, QStringLiteral("the others go on meanwhile"));
    verdict->expect(crowd.tally().failures.isEmpty() && crowd.tally().mixedUp == 0,
                    QStringLiteral("the others notice nothing"));
    std::printf("  %d requests of others meanwhile\n", meanwhile);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    QCommandLineParser parser;
    parser.addHelpOption();
    const auto option = [&](const char *name, int value) {
        parser.addOption(
            {QLatin1String(name), QString(), QLatin1String(name), QString::number(value)});
    };
    Settings settings;
    option("clients", settings.clients);
    option("requests", settings.requests);
    option("devices", settings.devices);
    option("timeout", settings.timeout);
    option("deadline", settings.deadline);
    option("serial-numbers", 255); // of the links between proxy and devices
    parser.process(application);
    const auto valueOf = [&](const char *name) {
        return parser.value(QLatin1String(name)).toInt();
    };
    settings.clients = valueOf("clients");
    settings.devices = valueOf("devices");
    settings.timeout = valueOf("timeout");
    settings.deadline = valueOf("deadline");
    // As many for each.
    settings.requests = valueOf("requests") / settings.clients * settings.clients;

    const QStringList arguments = parser.positionalArguments();
    const QString scenario = arguments.value(2);
    QMap<QString, void (*)(System *, const Settings &, Verdict *)> scenarios{
        {QStringLiteral("load"), runLoad},
        {QStringLiteral("faults"), runFaults},
        {QStringLiteral("restart"), runRestart},
        {QStringLiteral("garbage"), runGarbage}};
    if (!scenarios.contains(scenario)) {
        std::fprintf(stderr, "Usage: loopback_loadtest DEVICE PROXY load|faults|restart|garbage\n");
        return 2;
    }
    const bool hasFaults = scenario == QLatin1String("faults");
    QStringList proxyOptions{QStringLiteral("--serial-numbers"),
                             parser.value(QLatin1String("serial-numbers"))};
    if (hasFaults)
        proxyOptions << QStringLiteral("--linux");
    Verdict verdict;
    System system(arguments.at(0), arguments.at(1), settings,
                  hasFaults ? QStringList{QStringLiteral("--faults"), QStringLiteral("0.05")}
                            : QStringList(),
                  proxyOptions);
    std::printf("%s: %d clients, %d requests, %d devices\n", qUtf8Printable(scenario),
                settings.clients, settings.requests, settings.devices);
    std::fflush(stdout);
    verdict.expect(system.isGood(), QStringLiteral("devices and proxy start"));
    if (verdict.isGood())
        scenarios.value(scenario)(&system, settings, &verdict);
    system.shutDown(&verdict);
    std::printf("  %s\n", verdict.isGood() ? "all as it should be" : "something is wrong");
    return verdict.isGood() ? 0 : 1;
}
