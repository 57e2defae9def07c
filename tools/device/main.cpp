// korvin-device: simulated devices on sockets, serial devices and pseudo-terminals.

#include "arguments.h"
#include "controlserver.h"
#include "detach.h"
#include "deviceprogram.h"
#include "terminationsignals.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>

#include <limits>

namespace {

struct Option
{
    const char *name;
    const char *help;
    const char *value; ///< Null for a flag.
};

constexpr Option Options[] = {
    {"config", "What the devices are: a JSON file.", "file"},
    {"address", "Address to listen on; 127.0.0.1 by default.", "address"},
    {"port", "TCP port to listen on; 0, the default, for any free one.", "port"},
    {"unix", "Unix socket to listen on.", "path"},
    {"serial", "Serial device to speak on.", "path"},
    {"baud", "Speed of the serial device; 115200 by default.", "number"},
    {"pty", "Speak on a pseudo-terminal, whose path is printed.", nullptr},
    {"framing", "prefix, lines or linux; by default linux on lines, prefix elsewhere.", "kind"},
    {"faults", "Share of requests that go wrong, 0 to 1, before the faults of the file.", "share"},
    {"seed", "What random numbers depend on.", "number"},
    {"trace", "Print each message; \"-\" for standard output.", "file"},
    {"pcap", "Write each message for Wireshark.", "file"},
    {"journal", "Append a line for each request that is carried out.", "file"},
    {"save", "Save the devices at the end, for --config.", "file"},
    {"control", "Unix socket for \"korvin-device ctl\".", "path"},
    {"detach", "Go on in the background once it listens.", nullptr},
};

void addOptions(QCommandLineParser *parser)
{
    for (const Option &option : Options) {
        parser->addOption({QString::fromLatin1(option.name), QString::fromLatin1(option.help),
                           option.value ? QString::fromLatin1(option.value) : QString()});
    }
}

QString framingFrom(const QCommandLineParser &parser, const char *usual)
{
    if (!parser.isSet(QStringLiteral("framing")))
        return QLatin1String(usual);
    const QString framing = parser.value(QStringLiteral("framing"));
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

int runDevice(const QCommandLineParser &parser, const Detachment &detachment)
{
    if (!parser.positionalArguments().isEmpty())
        fail(QStringLiteral("%1: one argument too many").arg(parser.positionalArguments().first()));
    const ProgramOptions options = optionsFrom(parser);
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
    return status;
}

} // namespace

int main(int argc, char *argv[])
{
    const Detachment detachment(argc, argv); // before there are threads
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("korvin-device"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KORVINPACKAGE_VERSION));
    qSetMessagePattern(QStringLiteral("korvin-device: %{message}"));
    QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("ctl")) {
        arguments.removeAt(1);
        return runControl(arguments);
    }
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Simulated devices. \"korvin-device ctl\" talks to a running one."));
    parser.addHelpOption();
    parser.addVersionOption();
    addOptions(&parser);
    parser.process(application);
    return runDevice(parser, detachment);
}
