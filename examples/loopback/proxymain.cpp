// korvin-proxy: takes the text records of clients, and hands their requests to devices.

#include "proxy.h"
#include "terminationsignals.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>

#include <limits>

using KorvinInspect::Form;

namespace {

KorvinExchange::Settings settingsOf(bool prefersLinux, quint32 lastSerialNum)
{
    KorvinExchange::Settings settings;
    settings.forms = {Form::Frame, Form::Text};
    if (prefersLinux)
        settings.forms.insert(settings.forms.begin(), Form::Linux);
    settings.lastSerialNum = lastSerialNum;
    settings.limits.inFlight = settings.limits.serialNumbers;
    settings.limits.queued = 1 << 16;
    settings.limits.messageSize = MaxContentSize;
    return settings;
}

void addDevices(Proxy *proxy, const QStringList &devices)
{
    if (devices.isEmpty())
        fail(QStringLiteral("no device: KEY=ADDRESS:PORT expected"));
    for (const QString &device : devices) {
        const QString key = device.section(QLatin1Char('='), 0, 0);
        if (key.isEmpty() || key == device)
            fail(QStringLiteral("\"%1\" is not KEY=ADDRESS:PORT").arg(device));
        if (proxy->hasDevice(key))
            fail(QStringLiteral("device key \"%1\" is there twice").arg(key));
        proxy->addDevice(key, placeFrom(key, device.section(QLatin1Char('='), 1)));
    }
}

/// Serves until the program is told to end.
int run(Proxy &proxy)
{
    QObject::connect(&proxy, &Proxy::ready, &proxy, [&] {
        print(QStringLiteral("korvin-proxy: listening on %1:%2\n")
                  .arg(proxy.server().serverAddress().toString())
                  .arg(proxy.server().serverPort()));
    });
    QObject::connect(&proxy, &Proxy::finished, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    handleTermination([&] { proxy.shutDown(); });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    qSetMessagePattern(QStringLiteral("korvin-proxy: %{message}"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A proxy between clients and devices."));
    const QCommandLineOption address(QStringLiteral("address"),
                                     QStringLiteral("Address to listen on."),
                                     QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Port to listen on; 0 for any free one."),
                                  QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption linuxFrames(
        QStringLiteral("linux"),
        QStringLiteral("Send data requests to devices as Linux frames, which have a checksum."));
    const QCommandLineOption serialNumbers(
        QStringLiteral("serial-numbers"),
        QStringLiteral("The last serial number that the devices give back whole: 255 where they "
                       "keep 8 bits of it, 65535 where they keep 16."),
        QStringLiteral("number"), QStringLiteral("255"));
    parser.addOptions({address, port, linuxFrames, serialNumbers});
    parser.addPositionalArgument(QStringLiteral("devices"),
                                 QStringLiteral("Device keys and where the devices listen."),
                                 QStringLiteral("KEY=ADDRESS:PORT..."));
    parse(&parser, QCoreApplication::arguments());

    constexpr qint64 LastPort = std::numeric_limits<quint16>::max();
    const auto lastSerialNum =
        numberFrom(QStringLiteral("--serial-numbers"), parser.value(serialNumbers), 1, LastPort);
    const QHostAddress host = addressFrom(QStringLiteral("--address"), parser.value(address));
    const auto portNumber = numberFrom(QStringLiteral("--port"), parser.value(port), 0, LastPort);
    Proxy proxy(settingsOf(parser.isSet(linuxFrames), static_cast<quint32>(lastSerialNum)));
    addDevices(&proxy, parser.positionalArguments());
    if (!proxy.listen(host, static_cast<quint16>(portNumber)))
        fail(QStringLiteral("cannot listen: ") + proxy.server().errorString());
    return run(proxy);
}
