// korvin-client: reads and writes a device through the proxy, from the command line.

#include "proxyconnection.h"
#include "replies.h"

#include <korvininspect/hexbytes.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QThread>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

using namespace KorvinInspect;

namespace {

/// The unit of the device that is spoken to.
constexpr uchar Screen = 0;
constexpr uchar Destination = 255;
constexpr uchar DeviceType = 1;
constexpr uchar Port = 2;
constexpr ushort ScanBoard = 65535;

constexpr int PartSize = 2048;
constexpr int ReopenMilliseconds = 100;

ushort highWord(quint32 address)
{
    return static_cast<ushort>(address >> 16);
}

ushort lowWord(quint32 address)
{
    return static_cast<ushort>(address);
}

/// How far a transfer is, on a terminal.
class ProgressBar
{
public:
    explicit ProgressBar(int parts)
        : m_parts(parts)
    {
    }

    ~ProgressBar()
    {
        if (m_isTerminal)
            std::fprintf(stderr, "\r%*s\r", Width + 10, "");
    }

    void show(int part) const
    {
        if (!m_isTerminal)
            return;
        const int done = Width * part / m_parts;
        std::fprintf(stderr, "\r[%s%s] %3d %%", QByteArray(done, '#').constData(),
                     QByteArray(Width - done, ' ').constData(), 100 * part / m_parts);
    }

private:
    static constexpr int Width = 40;
    int m_parts;
    bool m_isTerminal = ::isatty(STDERR_FILENO) == 1;
};

/// Speaks to one device through the proxy, a request after the other.
class Client
{
public:
    struct Settings
    {
        QHostAddress proxy;
        quint16 port = 0;
        QString deviceKey;
        int timeout = 0; ///< Of a request, in milliseconds.
        int attempts = 1;
        quint32 buffer = 0; ///< Register of the block that file and memory requests use.
    };

    explicit Client(const Settings &settings)
        : m_settings(settings)
    {
    }

    int retries() const { return m_retries; }
    int requests() const { return m_requests; }

    /// What became of the last request that failed.
    QString error() const { return m_error; }

    bool write(quint32 address, const QByteArray &data)
    {
        PackageRequestWriteData whole = makeWrite(address, data);
        return inParts(&whole, [&](int offset, int size) {
            PackageRequestWriteData part =
                makeWrite(address + static_cast<quint32>(offset), data.mid(offset, size));
            return exchange(&part);
        });
    }

    bool read(quint32 address, int length, QByteArray *data)
    {
        PackageRequestReadData whole = makeRead(address, length);
        return inParts(&whole, [&](int offset, int size) {
            PackageRequestReadData part = makeRead(address + static_cast<quint32>(offset), size);
            if (!exchange(&part))
                return false;
            data->append(part.data());
            return true;
        });
    }

    /// The bytes go to the buffer, from where the device appends them to the file.
    bool upload(const QByteArray &contents, const QString &name)
    {
        PackageRequestWriteData whole = makeWrite(m_settings.buffer, contents);
        return inParts(&whole, [&](int offset, int size) {
            PackageRequestWriteData part = makeWrite(m_settings.buffer, contents.mid(offset, size));
            PackageRequestWriteFile append(m_settings.deviceKey, Screen, Destination, DeviceType,
                                           Port, ScanBoard, highWord(m_settings.buffer),
                                           lowWord(m_settings.buffer), 0, m_settings.timeout,
                                           nextTag(), false, name, offset);
            return exchange(&part) && exchange(&append);
        });
    }

    /// The device copies the file to the buffer, from where the bytes are read.
    bool download(const QString &name, int length, QByteArray *contents)
    {
        PackageRequestReadFile request(m_settings.deviceKey, Screen, Destination, DeviceType, Port,
                                       ScanBoard, highWord(m_settings.buffer),
                                       lowWord(m_settings.buffer), 0, m_settings.timeout, nextTag(),
                                       length, name);
        return exchange(&request) && read(m_settings.buffer, length, contents);
    }

    bool readMemory(long offset, int length, QByteArray *data)
    {
        PackageRequestReadMemData request(m_settings.deviceKey, Screen, Destination, DeviceType,
                                          Port, ScanBoard, highWord(m_settings.buffer),
                                          lowWord(m_settings.buffer), 0, m_settings.timeout,
                                          nextTag(), length, offset);
        return exchange(&request) && read(m_settings.buffer, length, data);
    }

    bool writeMemory(long offset, const QByteArray &data)
    {
        PackageRequestWriteMemData request(m_settings.deviceKey, Screen, Destination, DeviceType,
                                           Port, ScanBoard, highWord(m_settings.buffer),
                                           lowWord(m_settings.buffer), 0, m_settings.timeout,
                                           nextTag(), false, offset, data.size());
        return write(m_settings.buffer, data) && exchange(&request);
    }

    bool special(int id, const QString &text, QString *answer)
    {
        SpecialPackageRequest request(id, 0, m_settings.deviceKey);
        request.setTimeout(m_settings.timeout);
        request.setStrData(text);
        const bool done = exchange(&request);
        *answer = request.strData();
        return done;
    }

    /// Writes data, stores it in a file, and reads it back, all in one record.
    bool combination(const QByteArray &data, const QString &name, QByteArray *readBack)
    {
        PackageRequestWriteData write = makeWrite(m_settings.buffer, data);
        PackageRequestWriteFile store(m_settings.deviceKey, Screen, Destination, DeviceType, Port,
                                      ScanBoard, highWord(m_settings.buffer),
                                      lowWord(m_settings.buffer), 0, m_settings.timeout, nextTag(),
                                      false, name, 0);
        PackageRequestReadData read = makeRead(m_settings.buffer, data.size());
        const bool done = exchangeAll({&write, &store, &read});
        *readBack = read.data();
        return done;
    }

private:
    PackageRequestWriteData makeWrite(quint32 address, const QByteArray &data)
    {
        return {m_settings.deviceKey,
                Screen,
                Destination,
                DeviceType,
                Port,
                ScanBoard,
                highWord(address),
                lowWord(address),
                0,
                m_settings.timeout,
                nextTag(),
                false,
                data,
                static_cast<int>(data.size())};
    }

    PackageRequestReadData makeRead(quint32 address, int length)
    {
        return {m_settings.deviceKey,
                Screen,
                Destination,
                DeviceType,
                Port,
                ScanBoard,
                highWord(address),
                lowWord(address),
                0,
                m_settings.timeout,
                nextTag(),
                length};
    }

    /// A tag that no other request of this client has.
    QString nextTag() { return QStringLiteral("client-%1").arg(++m_tags); }

    /// Does a transfer part by part, and keeps account of it in the package of the whole.
    template <typename DoPart>
    static bool inParts(PackageBase *whole, DoPart doPart)
    {
        const int length = whole->getDataLength();
        whole->setMaxPartSize(PartSize);
        whole->setPartCount((length + PartSize - 1) / PartSize);
        const ProgressBar progress(qMax(1, whole->getPartCount()));
        int done = 0;
        while (!whole->partSendComplete(done)) {
            whole->setCurPartIndex(done);
            const int offset = done * whole->getMaxPartSize();
            if (!doPart(offset, qMin(PartSize, length - offset)))
                return false;
            progress.show(++done);
        }
        return true;
    }

    bool exchange(PackageBase *request)
    {
        return repeat({request}, [&] { m_connection.send(request); });
    }

    bool exchangeAll(const std::vector<PackageBase *> &requests)
    {
        return repeat(requests, [&] { m_connection.sendCombination(requests); });
    }

    /// Sends until all have succeeded, as often as is allowed. All requests here may be carried out
    /// twice without harm, which may happen: a lost reply looks like a lost request.
    template <typename Send>
    bool repeat(const std::vector<PackageBase *> &requests, Send send)
    {
        for (int attempt = 0; attempt < m_settings.attempts; ++attempt) {
            m_retries += attempt > 0 ? 1 : 0;
            ++m_requests;
            if (!connectToProxy()) {
                m_error = QStringLiteral("no proxy");
                continue;
            }
            sendAndWait(requests, send);
            const auto failed =
                std::find_if(requests.begin(), requests.end(),
                             [](PackageBase *request) { return !request->isPackageSuccess(); });
            if (failed == requests.end())
                return true;
            m_error = outcomeText(*failed);
        }
        return false;
    }

    template <typename Send>
    static void sendAndWait(const std::vector<PackageBase *> &requests, Send send)
    {
        QEventLoop loop;
        auto left = requests.size();
        for (PackageBase *request : requests) {
            QObject::connect(request, &PackageBase::CompleteRequestEvent, &loop, [&] {
                if (--left == 0)
                    loop.quit();
            });
        }
        send();
        loop.exec();
    }

    bool connectToProxy()
    {
        if (m_connection.isOpen())
            return true;
        QEventLoop loop;
        QObject::connect(&m_connection, &ProxyConnection::opened, &loop, &QEventLoop::quit);
        QObject::connect(&m_connection, &ProxyConnection::closed, &loop, &QEventLoop::quit);
        m_connection.open(m_settings.proxy, m_settings.port);
        loop.exec();
        // It may be about to come back.
        if (!m_connection.isOpen())
            QThread::msleep(ReopenMilliseconds);
        return m_connection.isOpen();
    }

    Settings m_settings;
    ProxyConnection m_connection;
    QString m_error;
    int m_retries = 0;
    int m_requests = 0;
    int m_tags = 0;
};

struct Command
{
    const char *name;
    const char *arguments;
    const char *help;
    int argumentCount;
};

const Command Commands[] = {
    {"write", "ADDRESS DATA", "Write data to registers; DATA is hexadecimal digits or @FILE.", 2},
    {"read", "ADDRESS LENGTH [FILE]", "Read data, and show it or store it in a file.", 2},
    {"upload", "FILE NAME", "Send a file to the device.", 2},
    {"download", "NAME LENGTH [FILE]", "Read a file of the device.", 2},
    {"memory-write", "OFFSET DATA", "Write device memory.", 2},
    {"memory-read", "OFFSET LENGTH [FILE]", "Read device memory.", 2},
    {"special", "ID [TEXT]", "Send a special request; 1 asks the proxy for its devices.", 1},
    {"combination", "DATA NAME", "Write data, store it in a file, read it back: one record.", 2},
};

bool contentsOf(const QString &fileName, QByteArray *bytes)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly)) {
        *bytes = file.readAll();
        return true;
    }
    qWarning("%s: %s", qUtf8Printable(fileName), qUtf8Printable(file.errorString()));
    return false;
}

/// Data on the command line: hexadecimal digits, or "@" and the name of a file.
bool dataFrom(const QString &argument, QByteArray *bytes)
{
    if (argument.startsWith(QLatin1Char('@')))
        return contentsOf(argument.mid(1), bytes);
    const QString fault = bytesFromHex(argument, bytes);
    if (!fault.isEmpty())
        qWarning("%s", qUtf8Printable(fault));
    return fault.isEmpty();
}

/// What was read goes to the file, or its beginning into the line that is printed.
bool deliver(const QByteArray &data, const QString &fileName, QString *shown)
{
    constexpr int MaxShown = 16;
    if (fileName.isEmpty()) {
        *shown = hexFromBytes(data.left(MaxShown));
        return true;
    }
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

/// Runs a command with as many arguments as it needs. @p shown becomes what it has to say.
bool run(Client *client, const QString &command, const QStringList &arguments, QString *shown)
{
    const auto number = [&](int i) { return arguments.value(i).toUInt(nullptr, 0); };
    const auto length = [&](int i) { return static_cast<int>(number(i)); };
    const QString first = arguments.value(0);
    const QString second = arguments.value(1);
    QByteArray data;
    if (command == QLatin1String("write"))
        return dataFrom(second, &data) && client->write(number(0), data);
    if (command == QLatin1String("read"))
        return client->read(number(0), length(1), &data)
            && deliver(data, arguments.value(2), shown);
    if (command == QLatin1String("upload"))
        return contentsOf(first, &data) && client->upload(data, second);
    if (command == QLatin1String("download"))
        return client->download(first, length(1), &data)
            && deliver(data, arguments.value(2), shown);
    if (command == QLatin1String("memory-write"))
        return dataFrom(second, &data) && client->writeMemory(length(0), data);
    if (command == QLatin1String("memory-read"))
        return client->readMemory(length(0), length(1), &data)
            && deliver(data, arguments.value(2), shown);
    if (command == QLatin1String("special"))
        return client->special(length(0), second, shown);
    QByteArray readBack;
    return dataFrom(first, &data) && client->combination(data, second, &readBack)
        && readBack == data && deliver(readBack, {}, shown);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qSetMessagePattern(QStringLiteral("korvin-client: %{message}"));

    QString description = QStringLiteral("A client of the proxy.\n\nCommands:");
    for (const Command &command : Commands) {
        description += QStringLiteral("\n  %1 %2\n      %3")
                           .arg(QLatin1String(command.name), QLatin1String(command.arguments),
                                QLatin1String(command.help));
    }
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addHelpOption();
    const QCommandLineOption proxy(QStringLiteral("proxy"),
                                   QStringLiteral("Where the proxy listens."),
                                   QStringLiteral("address:port"));
    const QCommandLineOption key(QStringLiteral("key"), QStringLiteral("Key of the device."),
                                 QStringLiteral("key"), QStringLiteral("device0"));
    const QCommandLineOption timeout(QStringLiteral("timeout"),
                                     QStringLiteral("Time-out of a request in milliseconds."),
                                     QStringLiteral("ms"), QStringLiteral("3000"));
    const QCommandLineOption attempts(
        QStringLiteral("attempts"),
        QStringLiteral("How often a request is sent until it succeeds."), QStringLiteral("number"),
        QStringLiteral("1"));
    const QCommandLineOption buffer(
        QStringLiteral("buffer"),
        QStringLiteral("Register of the block that file and memory requests use."),
        QStringLiteral("address"), QStringLiteral("0x0B000000"));
    parser.addOptions({proxy, key, timeout, attempts, buffer});
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("What to do."));
    parser.process(application);

    QStringList arguments = parser.positionalArguments();
    const QString name = arguments.isEmpty() ? QString() : arguments.takeFirst();
    const auto *command =
        std::find_if(std::begin(Commands), std::end(Commands),
                     [&](const Command &known) { return name == QLatin1String(known.name); });
    if (command == std::end(Commands) || arguments.size() < command->argumentCount) {
        std::fprintf(stderr, "%s", qUtf8Printable(parser.helpText()));
        return 2;
    }
    const QString place = parser.value(proxy);
    Client client({QHostAddress(place.section(QLatin1Char(':'), 0, -2)),
                   place.section(QLatin1Char(':'), -1).toUShort(), parser.value(key),
                   parser.value(timeout).toInt(), parser.value(attempts).toInt(),
                   parser.value(buffer).toUInt(nullptr, 0)});
    QElapsedTimer clock;
    clock.start();
    QString shown;
    const bool done = run(&client, name, arguments, &shown);
    std::printf("%-42s %s, %3d requests, %2d repeated, %7.1f ms  %s\n",
                qUtf8Printable(name + QLatin1Char(' ') + arguments.join(QLatin1Char(' '))),
                done ? "ok" : "FAILED", client.requests() - client.retries(), client.retries(),
                static_cast<double>(clock.nsecsElapsed()) / 1e6,
                qUtf8Printable(done ? shown : client.error()));
    return done ? 0 : 1;
}
