#include <korvinexchange/client.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QCoreApplication>
#include <QtNetwork/QTcpSocket>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), QByteArray(argv[1]).toUShort());
    KorvinExchange::Client client;
    client.setDevice(&socket);
    PackageRequestWriteData write(QStringLiteral("usb0"), 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0,
                                  3000, QStringLiteral("tag"), false, "\x01\xFF\x10", 3);
    PackageRequestReadData read(QStringLiteral("usb0"), 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0,
                                3000, QStringLiteral("tag"), 3);
    client.exchange(&write, std::chrono::seconds(5));
    client.exchange(&read, std::chrono::seconds(5));
    return write.isPackageSuccess() && read.isPackageSuccess() ? 0 : 1;
}
