// korvin-device: simulated devices on sockets, serial devices and pseudo-terminals.

#include "arguments.h"
#include "controlserver.h"
#include "detach.h"
#include "deviceprogram.h"
#include "recorder.h"
#include "terminationsignals.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>

#include <limits>

namespace {

/// What the program does, as bits.
enum Command : unsigned {
    Simulate = 1,
    Record = 2,
    Replay = 4,
    Answer = Simulate | Replay,
    Any = Simulate | Record | Replay
};

struct Option
{
    unsigned commands; ///< That have it.
    const char *name;
    const char *help;
    const char *value; ///< Null for a flag.
};

constexpr Option Options[] = {
    {Record, "upstream", "The device whose replies are recorded.", "address:port"},
    {Simulate, "config", "What the devices are: a JSON file.", "file"},
    {Any, "address", "Address to listen on; 127.0.0.1 by default.", "address"},
    {Any, "port", "TCP port to listen on; 0, the default, for any free one.", "port"},
    {Any, "unix", "Unix socket to listen on.", "path"},
    {Answer, "serial", "Serial device to speak on.", "path"},
    {Answer, "baud", "Speed of the serial device; 115200 by default.", "number"},
    {Answer, "pty", "Speak on a pseudo-terminal, whose path is printed.", nullptr},
    {Any, "framing", "prefix, lines or linux; by default linux on lines, prefix elsewhere.",
     "kind"},
    {Simulate, "faults", "Share of requests that go wrong, 0 to 1, before the faults of the file.",
     "share"},
    {Simulate, "seed", "What random numbers depend on.", "number"},
    {Answer, "trace", "Print each message; \"-\" for standard output.", "file"},
    {Answer, "pcap", "Write each message for Wireshark.", "file"},
    {Simulate, "journal", "Append a line for each request that is carried out.", "file"},
    {Simulate, "save", "Save the devices at the end, for --config.", "file"},
    {Any, "control", "Unix socket for \"korvin-device ctl\".", "path"},
    {Any, "detach", "Go on in the background once it listens.", nullptr},
};

void addOptions(QCommandLineParser *parser, Command command)
{
    for (const Option &option : Options) {
        QCommandLineOption added(QString::fromLatin1(option.name), QString::fromLatin1(option.help),
                                 option.value ? QString::fromLatin1(option.value) : QString());
        if ((option.commands & command) == 0)
            added.setFlags(QCommandLineOption::HiddenFromHelp);
        parser->addOption(added);
    }
}

void refuseOthers(const QCommandLineParser &parser, Command command)
{
    for (const Option &option : Options) {
        const QString name = QString::fromLatin1(option.name);
        if ((option.commands & command) == 0 && parser.isSet(name))
            fail(QStringLiteral("--%1: not an option of this command").arg(name));
    }
}

QString framingFrom(const QCommandLineParser &parser, const char *usual)
{
    if (!parser.isSet(QStringLiteral("framing")))
        return QLatin1String(usual);
    QString framing = parser.value(QStringLiteral("framing"));
    for (const char *known : {"prefix", "lines", "linux"}) {
        if (framing == QLatin1String(known))
            return framing;
    }
    fail(QStringLiteral("--framing: \"%1\" is not one of prefix, lines, linux").arg(framing));
}

KorvinSimulator::Endpoint tcpFrom(const QCommandLineParser &parser)
{
    KorvinSimulator::Endpoint tcp;
    tcp.kind = QStringLiteral("tcp");
    tcp.place = QStringLiteral("127.0.0.1");
    if (parser.isSet(QStringLiteral("address"))) {
        tcp.place =
            addressFrom(QStringLiteral("--address"), parser.value(QStringLiteral("address")))
                .toString();
    }
    if (parser.isSet(QStringLiteral("port"))) {
        tcp.port = static_cast<int>(numberFrom(QStringLiteral("--port"),
                                               parser.value(QStringLiteral("port")), 0,
                                               std::numeric_limits<quint16>::max()));
    }
    tcp.framing = framingFrom(parser, "prefix");
    return tcp;
}

std::vector<KorvinSimulator::Endpoint> endpointsFrom(const QCommandLineParser &parser)
{
    constexpr int UsualSpeed = 115200;
    std::vector<KorvinSimulator::Endpoint> endpoints;
    if (parser.isSet(QStringLiteral("address")) || parser.isSet(QStringLiteral("port")))
        endpoints.push_back(tcpFrom(parser));
    const QString local = parser.value(QStringLiteral("unix"));
    if (!local.isEmpty())
        endpoints.push_back({QStringLiteral("unix"), local, 0, 0, framingFrom(parser, "prefix")});
    const int baud = parser.isSet(QStringLiteral("baud")) ? static_cast<int>(
                         numberFrom(QStringLiteral("--baud"), parser.value(QStringLiteral("baud")),
                                    1, std::numeric_limits<int>::max()))
                                                          : UsualSpeed;
    const QString serial = parser.value(QStringLiteral("serial"));
    if (!serial.isEmpty())
        endpoints.push_back(
            {QStringLiteral("serial"), serial, 0, baud, framingFrom(parser, "linux")});
    if (parser.isSet(QStringLiteral("pty")))
        endpoints.push_back({QStringLiteral("pty"), {}, 0, 0, framingFrom(parser, "linux")});
    if (endpoints.empty() && parser.isSet(QStringLiteral("framing")))
        endpoints.push_back(tcpFrom(parser));
    return endpoints;
}

ProgramOptions optionsFrom(const QCommandLineParser &parser)
{
    ProgramOptions options;
    options.configuration = parser.value(QStringLiteral("config"));
    options.saved = parser.value(QStringLiteral("save"));
    options.control = parser.value(QStringLiteral("control"));
    options.endpoints = endpointsFrom(parser);
    if (parser.isSet(QStringLiteral("faults")))
        options.faults =
            shareFrom(QStringLiteral("--faults"), parser.value(QStringLiteral("faults")));
    if (parser.isSet(QStringLiteral("seed"))) {
        options.seed = static_cast<quint32>(numberFrom(QStringLiteral("--seed"),
                                                       parser.value(QStringLiteral("seed")), 0,
                                                       std::numeric_limits<quint32>::max()));
    }
    return options;
}

void openLogs(const QCommandLineParser &parser, RequestLog *log)
{
    const auto open = [&](const char *name, QString (RequestLog::*openFile)(const QString &)) {
        const QString fileName = parser.value(QLatin1String(name));
        const QString fault = fileName.isEmpty() ? QString() : (log->*openFile)(fileName);
        if (!fault.isEmpty())
            fail(fault);
    };
    open("trace", &RequestLog::openTrace);
    open("pcap", &RequestLog::openCapture);
    open("journal", &RequestLog::openJournal);
}

/// Returns the argument of a command that takes one file.
QString fileFrom(const QCommandLineParser &parser)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty())
        fail(QStringLiteral("FILE expected"));
    if (arguments.size() > 1)
        fail(QStringLiteral("%1: one argument too many").arg(arguments.at(1)));
    return arguments.first();
}

int runRecorder(const QCommandLineParser &parser, const Detachment &detachment)
{
    const QString fileName = fileFrom(parser);
    if (!parser.isSet(QStringLiteral("upstream")))
        fail(QStringLiteral("--upstream ADDRESS:PORT expected"));
    const Place upstream =
        placeFrom(QStringLiteral("--upstream"), parser.value(QStringLiteral("upstream")));
    std::vector<KorvinSimulator::Endpoint> endpoints = endpointsFrom(parser);
    if (endpoints.empty())
        endpoints.push_back(tcpFrom(parser));
    RecordingWriter recording;
    const QString fault = recording.open(fileName);
    if (!fault.isEmpty())
        fail(fault);
    Recorder recorder(upstream, &recording);
    for (const KorvinSimulator::Endpoint &endpoint : endpoints)
        recorder.open(endpoint);
    ControlServer control([&](const QJsonObject &command) { return recorder.carryOut(command); },
                          nullptr);
    control.open(parser.value(QStringLiteral("control")));
    handleTermination([] { QCoreApplication::quit(); });
    recorder.announce();
    detachment.complete();
    const int status = QCoreApplication::exec();
    return recording.fault().isEmpty() ? status : 2;
}

/// Says which requests the recording had no answer to. Returns the exit status.
int reportUnknown(const Recording &recording)
{
    if (recording.unknown() == 0)
        return 0;
    print(QStringLiteral("korvin-device: %1 requests were not in the recording:\n")
              .arg(recording.unknown()));
    for (const QString &request : recording.unknownRequests())
        print(request + QLatin1Char('\n'));
    return 1;
}

int runDevice(const QCommandLineParser &parser, const Detachment &detachment, bool isReplay)
{
    ProgramOptions options = optionsFrom(parser);
    if (isReplay)
        options.recording = fileFrom(parser);
    else if (!parser.positionalArguments().isEmpty())
        fail(QStringLiteral("%1: one argument too many").arg(parser.positionalArguments().first()));
    RequestLog log;
    openLogs(parser, &log);
    DeviceProgram program(options, &log);
    program.start();
    handleTermination([] { QCoreApplication::quit(); },
                      [&] {
                          const QString fault = program.reload();
                          qInfo("%s",
                                fault.isEmpty() ? "the configuration has been read again"
                                                : qUtf8Printable(fault));
                      });
    program.announce();
    detachment.complete();
    const int status = QCoreApplication::exec();
    const QString fault = options.saved.isEmpty() ? QString() : program.save();
    if (!fault.isEmpty())
        fail(fault);
    return isReplay ? reportUnknown(program.recording()) : status;
}

Command commandOf(const QString &word)
{
    if (word == QLatin1String("record"))
        return Record;
    return word == QLatin1String("replay") ? Replay : Simulate;
}

} // namespace

int main(int argc, char *argv[])
{
    const Detachment detachment(argc, argv); // before there are threads
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("korvin-device"));
    qSetMessagePattern(QStringLiteral("korvin-device: %{message}"));
    QStringList arguments = QCoreApplication::arguments();
    const QString word = arguments.value(1);
    const bool isControl = word == QLatin1String("ctl");
    const Command command = commandOf(word);
    if (isControl || command != Simulate) {
        arguments.removeAt(1);
        arguments.first() += QLatin1Char(' ') + word;
    }
    if (isControl)
        return runControl(arguments);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Simulated devices. \"korvin-device ctl\" talks to a running one, "
                       "\"korvin-device record\"\n"
                       "keeps what a client and a device say as a file, \"korvin-device replay\" "
                       "answers from it."));
    addOptions(&parser, command);
    if (command != Simulate)
        parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("The recording."));
    parse(&parser, arguments);
    refuseOthers(parser, command);
    if (command == Record)
        return runRecorder(parser, detachment);
    return runDevice(parser, detachment, command == Replay);
}
