// korvin-proxy: takes the text records of clients, and hands their requests to devices.

#include "proxy.h"
#include "terminationsignals.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    qSetMessagePattern(QStringLiteral("korvin-proxy: %{message}"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A proxy between clients and devices."));
    parser.addHelpOption();
    const QCommandLineOption address(QStringLiteral("address"),
                                     QStringLiteral("Address to listen on."),
                                     QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Port to listen on; 0 for any free one."),
                                  QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption linuxFrames(
        QStringLiteral("linux"),
        QStringLiteral("Send data requests to devices as Linux frames, which have a checksum."));
    parser.addOptions({address, port, linuxFrames});
    parser.addPositionalArgument(QStringLiteral("devices"),
                                 QStringLiteral("Device keys and where the devices listen."),
                                 QStringLiteral("KEY=ADDRESS:PORT..."));
    parser.process(application);

    Proxy proxy;
    const QStringList devices = parser.positionalArguments();
    for (const QString &device : devices) {
        const QString key = device.section(QLatin1Char('='), 0, 0);
        const QString place = device.section(QLatin1Char('='), 1);
        const QHostAddress host(place.section(QLatin1Char(':'), 0, -2));
        const quint16 devicePort = place.section(QLatin1Char(':'), -1).toUShort();
        if (host.isNull() || devicePort == 0) {
            qWarning("not KEY=ADDRESS:PORT: %s", qUtf8Printable(device));
            return 2;
        }
        proxy.addDevice(key, host, devicePort, parser.isSet(linuxFrames));
    }
    if (!proxy.listen(QHostAddress(parser.value(address)), parser.value(port).toUShort())) {
        qWarning("cannot listen: %s", qUtf8Printable(proxy.server().errorString()));
        return 1;
    }
    std::printf("korvin-proxy: listening on %s:%d\n",
                qUtf8Printable(proxy.server().serverAddress().toString()),
                proxy.server().serverPort());
    std::fflush(stdout);
    QObject::connect(&proxy, &Proxy::finished, &application, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    handleTermination([&] { proxy.shutDown(); });
    return QCoreApplication::exec();
}
