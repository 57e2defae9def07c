// korvin-client: reads and writes a device through the proxy, from the command line.

#include "link.h"

#include <korvinexchange/reply.h>
#include <korvinexchange/transfer.h>
#include <korvininspect/hexbytes.h>
#include <korvininspect/packageclass.h>
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
#include <QtCore/QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <unistd.h>
#include <vector>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

/// The unit of the device that is spoken to.
constexpr uchar Screen = 0;
constexpr uchar Destination = 255;
constexpr uchar DeviceType = 1;
constexpr uchar Port = 2;
constexpr ushort ScanBoard = 65535;

/// The proxy gives up after the time-out of the request; its reply needs a moment as well.
constexpr std::chrono::milliseconds Grace(1000);

/// How far a transfer is, on a terminal.
class ProgressBar
{
public:
    ~ProgressBar()
    {
        if (m_isTerminal)
            std::fprintf(stderr, "\r%*s\r", Width + 10, "");
    }

    void show(qint64 done, qint64 total) const
    {
        if (!m_isTerminal || total == 0)
            return;
        const auto filled = static_cast<int>(Width * done / total);
        std::fprintf(stderr, "\r[%s%s] %3d %%", QByteArray(filled, '#').constData(),
                     QByteArray(Width - filled, ' ').constData(),
                     static_cast<int>(100 * done / total));
    }

private:
    static constexpr int Width = 40;
    bool m_isTerminal = ::isatty(STDERR_FILENO) == 1;
};

/// How a request failed: "timeout, timeOut, acknowledge code 0".
QString outcomeText(const PackageBase &request)
{
    const PackageClass &itsClass = classOf(request);
    return QStringLiteral("%1, %2, acknowledge code %3")
        .arg(itsClass.field(QStringLiteral("commResult"))->get(request).toString(),
             itsClass.field(QStringLiteral("packResult"))->get(request).toString())
        .arg(request.getAckCode());
}

/// Speaks to one device through the proxy. All that it does may be done twice without harm, which
/// may happen: a lost reply looks like a lost request.
class DeviceClient
{
public:
    struct Options
    {
        Place proxy;
        QString deviceKey;
        int timeout = 0;    ///< Of a request, in milliseconds.
        int attempts = 1;   ///< How often it is sent until it succeeds.
        quint32 buffer = 0; ///< Register of the block that file and memory requests use.
    };

    explicit DeviceClient(const Options &options)
        : m_options(options)
        , m_link(QStringLiteral("proxy"), Wire::Lines, settingsOf(options))
    {
        QObject::connect(&m_link, &Link::disconnected, [this](const QString &reason) {
            m_error = QLatin1String("no proxy: ") + reason;
        });
        m_link.open(options.proxy);
    }

    /// Requests that were sent more than once, by the link or after a failure.
    quint64 repeated() const { return m_link.engine().counters().repeated + m_repeated; }
    quint64 requests() const { return m_link.engine().counters().sent - m_repeated; }

    /// What became of the last request that failed.
    QString error() const { return m_error; }

    bool write(quint32 address, const QByteArray &data)
    {
        return transfer(
            [&](int done) {
                const QByteArray left = data.mid(done);
                return request<PackageRequestWriteData>(address + static_cast<quint32>(done), false,
                                                        left, static_cast<int>(left.size()));
            },
            [](auto *package) { return Transfer::writeData(package); });
    }

    bool read(quint32 address, int length, QByteArray *data)
    {
        return transfer(
            [&](int done) {
                return request<PackageRequestReadData>(address + static_cast<quint32>(done),
                                                       length - done);
            },
            [](auto *package) { return Transfer::readData(package); }, data);
    }

    /// The bytes go to the buffer, from where the device appends them to the file.
    bool upload(const QByteArray &contents, const QString &name)
    {
        // A record cannot carry a write of no bytes: to read none of the memory empties the buffer.
        if (contents.isEmpty() && !fillBuffer<PackageRequestReadMemData>(0, 0L))
            return false;
        int left = 0;
        return transfer(
            [&](int done) {
                left = done;
                return request<PackageRequestWriteFile>(m_options.buffer, false, name, done);
            },
            [&](auto *package) { return Transfer::writeFile(package, contents.mid(left)); });
    }

    /// The device copies the file to the buffer, from where the bytes are read.
    bool download(const QString &name, int length, QByteArray *contents)
    {
        return fillBuffer<PackageRequestReadFile>(length, name)
            && read(m_options.buffer, length, contents);
    }

    bool readMemory(int offset, int length, QByteArray *data)
    {
        return transfer(
            [&](int done) {
                return request<PackageRequestReadMemData>(m_options.buffer, length - done,
                                                          long(offset) + done);
            },
            [](auto *package) { return Transfer::readMemory(package); }, data);
    }

    bool writeMemory(int offset, const QByteArray &data)
    {
        int left = 0;
        return transfer(
            [&](int done) {
                left = done;
                return request<PackageRequestWriteMemData>(m_options.buffer, false,
                                                           long(offset) + done, 0);
            },
            [&](auto *package) { return Transfer::writeMemory(package, data.mid(left)); });
    }

    bool special(int id, const QString &text, QString *answer)
    {
        SpecialPackageRequest request(id, 0, m_options.deviceKey);
        request.setTimeout(m_options.timeout);
        request.setStrData(text);
        const bool done = exchange(&request);
        *answer = request.strData();
        return done;
    }

    /// Writes data, stores it in a file, and reads it back, all in one record.
    bool combination(const QByteArray &data, const QString &name, QByteArray *readBack)
    {
        const auto size = static_cast<int>(data.size());
        auto write = request<PackageRequestWriteData>(m_options.buffer, false, data, size);
        auto store = request<PackageRequestWriteFile>(m_options.buffer, false, name, 0);
        auto read = request<PackageRequestReadData>(m_options.buffer, size);
        const bool done = repeat([&] {
            return m_link.sendCombination({write.get(), store.get(), read.get()}, options());
        });
        *readBack = read->data();
        return done;
    }

private:
    using Replies = std::vector<Reply *>;

    static Settings settingsOf(const Options &options)
    {
        Settings settings;
        settings.lastSerialNum = std::numeric_limits<int>::max(); // a record carries them
        settings.timeout = std::chrono::milliseconds(options.timeout) + Grace;
        settings.retry.attempts = options.attempts;
        return settings;
    }

    static RequestOptions options()
    {
        RequestOptions options;
        options.repeat = Repeat::Always;
        return options;
    }

    /// A request to a register, with the last arguments of its constructor.
    template <typename Package, typename... Arguments>
    std::unique_ptr<Package> request(quint32 address, const Arguments &...arguments)
    {
        return std::make_unique<Package>(m_options.deviceKey, Screen, Destination, DeviceType, Port,
                                         ScanBoard, static_cast<ushort>(address >> 16),
                                         static_cast<ushort>(address), 0, m_options.timeout,
                                         QStringLiteral("client-%1").arg(++m_tags), arguments...);
    }

    template <typename Package, typename Argument>
    bool fillBuffer(int length, const Argument &argument)
    {
        const auto fill = request<Package>(m_options.buffer, length, argument);
        return exchange(fill.get());
    }

    bool exchange(PackageBase *package)
    {
        return repeat([&] { return Replies{m_link.send(package, options())}; });
    }

    /// Carries out a transfer. Where a part of it fails, it goes on from there.
    ///
    /// @param make makes the package for what is left after the bytes that are done.
    template <typename Make, typename MakeTransfer>
    bool transfer(Make make, MakeTransfer makeTransfer, QByteArray *data = nullptr)
    {
        int done = 0;
        for (int failures = 0; failures < m_options.attempts; ++failures) {
            const auto package = make(done);
            const Event event = carryOut(
                [&] { return Replies{m_link.start(makeTransfer(package.get()), options())}; });
            const bool isDone = event.outcome == Outcome::Success;
            const auto more =
                static_cast<int>(isDone ? event.total : qMax<qint64>(0, event.failedOffset));
            if (data)
                data->append(event.data.left(more));
            if (isDone)
                return true;
            if (more > 0)
                failures = 0;
            done += more;
            ++m_repeated;
        }
        --m_repeated; // the last failure
        return false;
    }

    template <typename Send>
    bool repeat(Send send)
    {
        for (int attempt = 0; attempt < m_options.attempts; ++attempt) {
            if (attempt > 0)
                ++m_repeated;
            if (carryOut(send).outcome == Outcome::Success)
                return true;
        }
        return false;
    }

    /// Sends requests and waits until all of them have ended.
    ///
    /// @return the event of the first one that failed, or of the last one.
    template <typename Send>
    Event carryOut(Send send)
    {
        constexpr std::chrono::hours LongerThanAny(24);
        Event result;
        result.outcome = Outcome::LinkLost;
        if (!waitForProxy())
            return result;
        result.outcome = Outcome::Success;
        const ProgressBar progress;
        for (Reply *reply : send()) {
            QObject::connect(reply, &Reply::progress,
                             [&](qint64 done, qint64 total) { progress.show(done, total); });
            reply->waitForFinished(LongerThanAny);
            if (result.outcome == Outcome::Success)
                result = reply->result();
            delete reply;
        }
        if (result.outcome == Outcome::Failure)
            m_error = outcomeText(*result.package);
        else if (result.outcome != Outcome::Success)
            m_error = describe(result);
        return result;
    }

    /// The proxy may be about to come: waits as long as a request may take.
    bool waitForProxy()
    {
        if (m_link.isConnected())
            return true;
        QEventLoop loop;
        QObject::connect(&m_link, &Link::connected, &loop, &QEventLoop::quit);
        QTimer::singleShot(m_options.timeout, &loop, &QEventLoop::quit);
        loop.exec();
        return m_link.isConnected();
    }

    Options m_options;
    Link m_link;
    QString m_error = QStringLiteral("no proxy");
    quint64 m_repeated = 0;
    int m_tags = 0;
};

QByteArray contentsOf(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        fail(QStringLiteral("%1: %2").arg(fileName, file.errorString()));
    return file.readAll();
}

/// Data on the command line: hexadecimal digits, or "@" and the name of a file.
QByteArray dataFrom(const QString &argument)
{
    if (argument.startsWith(QLatin1Char('@')))
        return contentsOf(argument.mid(1));
    QByteArray bytes;
    const QString fault = bytesFromHex(argument, &bytes);
    if (!fault.isEmpty())
        fail(QLatin1String("DATA: ") + fault);
    return bytes;
}

quint32 registerFrom(const QString &name, const QString &text)
{
    return static_cast<quint32>(numberFrom(name, text, 0, std::numeric_limits<quint32>::max()));
}

int countFrom(const QString &name, const QString &text, int least = 0)
{
    return static_cast<int>(numberFrom(name, text, least, std::numeric_limits<int>::max()));
}

/// Writes what was read to the file, or returns its beginning for the line that is printed.
QString deliver(const QByteArray &data, const QString &fileName)
{
    constexpr int MaxShown = 16;
    if (fileName.isEmpty())
        return hexFromBytes(data.left(MaxShown));
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.flush())
        fail(QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
    return {};
}

/// Carries out a command, and returns whether it succeeded.
using Action = std::function<bool(DeviceClient &)>;

/// Makes the action of a command that reads, from an operation that reads into a QByteArray.
template <typename Read>
Action makeReading(Read read, const QString &fileName, QString *shown)
{
    return [=](DeviceClient &client) {
        QByteArray data;
        const bool done = read(client, &data);
        if (done)
            *shown = deliver(data, fileName);
        return done;
    };
}

Action makeWrite(const QStringList &arguments, QString *)
{
    const quint32 address = registerFrom(QStringLiteral("ADDRESS"), arguments.at(0));
    const QByteArray data = dataFrom(arguments.at(1));
    return [=](DeviceClient &client) { return client.write(address, data); };
}

Action makeRead(const QStringList &arguments, QString *shown)
{
    const int length = countFrom(QStringLiteral("LENGTH"), arguments.at(1));
    const quint32 address = registerFrom(QStringLiteral("ADDRESS"), arguments.at(0));
    return makeReading(
        [=](DeviceClient &client, QByteArray *data) { return client.read(address, length, data); },
        arguments.value(2), shown);
}

Action makeUpload(const QStringList &arguments, QString *)
{
    const QByteArray contents = contentsOf(arguments.at(0));
    const QString &name = arguments.at(1);
    return [=](DeviceClient &client) { return client.upload(contents, name); };
}

Action makeDownload(const QStringList &arguments, QString *shown)
{
    const QString &name = arguments.at(0);
    const int length = countFrom(QStringLiteral("LENGTH"), arguments.at(1));
    return makeReading(
        [=](DeviceClient &client, QByteArray *data) { return client.download(name, length, data); },
        arguments.value(2), shown);
}

Action makeMemoryWrite(const QStringList &arguments, QString *)
{
    const int offset = countFrom(QStringLiteral("OFFSET"), arguments.at(0));
    const QByteArray data = dataFrom(arguments.at(1));
    return [=](DeviceClient &client) { return client.writeMemory(offset, data); };
}

Action makeMemoryRead(const QStringList &arguments, QString *shown)
{
    const int length = countFrom(QStringLiteral("LENGTH"), arguments.at(1));
    const int offset = countFrom(QStringLiteral("OFFSET"), arguments.at(0));
    return makeReading([=](DeviceClient &client,
                           QByteArray *data) { return client.readMemory(offset, length, data); },
                       arguments.value(2), shown);
}

Action makeSpecial(const QStringList &arguments, QString *shown)
{
    const int id = countFrom(QStringLiteral("ID"), arguments.at(0));
    const QString text = arguments.value(1);
    return [=](DeviceClient &client) { return client.special(id, text, shown); };
}

Action makeCombination(const QStringList &arguments, QString *shown)
{
    const QByteArray data = dataFrom(arguments.at(0));
    const QString &name = arguments.at(1);
    return makeReading(
        [=](DeviceClient &client, QByteArray *readBack) {
            return client.combination(data, name, readBack) && *readBack == data;
        },
        QString(), shown);
}

/// A command. Its action is made from all arguments before anything is sent; what the command has
/// to say becomes @p shown.
struct Command
{
    const char *name;
    const char *arguments;
    const char *help;
    int least; ///< Arguments that it must have.
    int most;
    Action (*make)(const QStringList &arguments, QString *shown);
};

const Command Commands[] = {
    {"write", "ADDRESS DATA", "Write data to registers; DATA is hexadecimal digits or @FILE.", 2, 2,
     makeWrite},
    {"read", "ADDRESS LENGTH [FILE]", "Read data, and show it or store it in a file.", 2, 3,
     makeRead},
    {"upload", "FILE NAME", "Send a file to the device.", 2, 2, makeUpload},
    {"download", "NAME LENGTH [FILE]", "Read a file of the device.", 2, 3, makeDownload},
    {"memory-write", "OFFSET DATA", "Write device memory.", 2, 2, makeMemoryWrite},
    {"memory-read", "OFFSET LENGTH [FILE]", "Read device memory.", 2, 3, makeMemoryRead},
    {"special", "ID [TEXT]", "Send a special request; 1 asks the proxy for its devices.", 1, 2,
     makeSpecial},
    {"combination", "DATA NAME", "Write data, store it in a file, read it back: one record.", 2, 2,
     makeCombination},
};

/// The command and its arguments, which are as many as it takes.
const Command &commandOf(const QStringList &arguments)
{
    if (arguments.isEmpty())
        fail(QStringLiteral("no command; --help lists them"));
    const auto *command =
        std::find_if(std::begin(Commands), std::end(Commands), [&](const Command &known) {
            return arguments.first() == QLatin1String(known.name);
        });
    if (command == std::end(Commands))
        fail(QStringLiteral("%1: no such command; --help lists them").arg(arguments.first()));
    const auto count = static_cast<int>(arguments.size()) - 1;
    if (count < command->least || count > command->most)
        fail(QStringLiteral("%1: %2 expected")
                 .arg(QLatin1String(command->name), QLatin1String(command->arguments)));
    return *command;
}

QString description()
{
    QString text = QStringLiteral("A client of the proxy.\n\nCommands:");
    for (const Command &command : Commands) {
        text += QStringLiteral("\n  %1 %2\n      %3")
                    .arg(QLatin1String(command.name), QLatin1String(command.arguments),
                         QLatin1String(command.help));
    }
    return text;
}

/// What the command line asks for.
struct Invocation
{
    DeviceClient::Options options;
    QStringList arguments; ///< The command first.
};

Invocation invocationFrom(const QStringList &words)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description());
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
    parse(&parser, words);

    Invocation invocation;
    invocation.arguments = parser.positionalArguments();
    commandOf(invocation.arguments);
    if (!parser.isSet(proxy))
        fail(QStringLiteral("--proxy: missing: ADDRESS:PORT expected"));
    DeviceClient::Options &options = invocation.options;
    options.proxy = placeFrom(QStringLiteral("--proxy"), parser.value(proxy));
    options.deviceKey = parser.value(key);
    options.timeout = countFrom(QStringLiteral("--timeout"), parser.value(timeout), 1);
    options.attempts = countFrom(QStringLiteral("--attempts"), parser.value(attempts), 1);
    options.buffer = registerFrom(QStringLiteral("--buffer"), parser.value(buffer));
    return invocation;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qSetMessagePattern(QStringLiteral("korvin-client: %{message}"));
    const auto [options, arguments] = invocationFrom(QCoreApplication::arguments());
    QString shown;
    const Action action = commandOf(arguments).make(arguments.mid(1), &shown);
    QElapsedTimer clock;
    clock.start();
    DeviceClient client(options);
    const bool done = action(client);
    print(QStringLiteral("%1 %2, %3 requests, %4 repeated, %5 ms  %6\n")
              .arg(arguments.join(QLatin1Char(' ')), -42)
              .arg(done ? QStringLiteral("ok") : QStringLiteral("FAILED"))
              .arg(client.requests(), 3)
              .arg(client.repeated(), 2)
              .arg(static_cast<double>(clock.nsecsElapsed()) / 1e6, 7, 'f', 1)
              .arg(done ? shown : client.error()));
    return done ? 0 : 1;
}
