// The client side: builds requests, sends them to the device program, reads the replies and prints
// what happened.
//
// Usage: example-client DEVICE DATA UPLOAD [DIRECTORY]
//
// DEVICE is the device program, DATA a file whose bytes are written to registers and read back,
// UPLOAD a file to send. Each frame and record also goes into a file of DIRECTORY.

#include "envelope.h"

#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <cstdio>

namespace {

constexpr int TimeoutMilliseconds = 10000;

const QString DeviceKey = QStringLiteral("usb/0,1");

void say(const QString &text)
{
    std::printf("%s\n", qUtf8Printable(text));
    std::fflush(stdout);
}

/// The device program and the pipes to it.
class Device
{
public:
    Device(const QString &program, const QString &directory)
        : m_directory(directory)
        , m_stream(&m_process)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(program, QStringList());
    }

    ~Device()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished(TimeoutMilliseconds);
    }

    /// Sends a request and waits for its reply; empty when there is none.
    QByteArray exchange(const QString &kind, const QByteArray &request)
    {
        show(kind + QStringLiteral(" request"), request);
        m_stream << Envelope{kind, request};
        Envelope reply;
        do {
            m_stream.startTransaction();
            m_stream >> reply;
        } while (!m_stream.commitTransaction() && m_process.waitForReadyRead(TimeoutMilliseconds));
        show(kind + QStringLiteral(" reply"), reply.bytes);
        return reply.bytes;
    }

private:
    void show(const QString &name, const QByteArray &bytes)
    {
        const bool text = name.contains(QStringLiteral("record"));
        say(QStringLiteral("  %1, %2 bytes").arg(name).arg(bytes.size()));
        const QStringList lines = text ? QString::fromUtf8(bytes).split(QLatin1Char('|'))
                                       : QStringList{QString::fromLatin1(bytes.toHex(' '))};
        for (const QString &line : lines)
            say(QStringLiteral("    ") + line);
        if (m_directory.isEmpty())
            return;
        const QString fileName =
            QStringLiteral("%1 %2.%3")
                .arg(++m_files, 2, 10, QLatin1Char('0'))
                .arg(name, text ? QStringLiteral("txt") : QStringLiteral("bin"))
                .replace(QLatin1Char(' '), QLatin1Char('-'));
        QFile file(QDir(m_directory).filePath(fileName));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            say(QStringLiteral("  cannot write ") + file.fileName());
    }

    QString m_directory;
    QProcess m_process;
    QDataStream m_stream;
    int m_files = 0;
};

PackageRequestWriteData makeWrite(const QByteArray &data)
{
    const int length = data.size();
    return {DeviceKey, 0,    255,   1, 2, 65535, 0x0A00, 0x0010, 0, 3000, QStringLiteral("demo"),
            false,     data, length};
}

PackageRequestReadData makeRead(ushort lowAddr, int length)
{
    return {DeviceKey, 0, 255, 1, 2, 65535, 0x0A00, lowAddr, 0, 3000, QStringLiteral("demo"),
            length};
}

bool report(PackageBase &request, bool expected)
{
    say(QStringLiteral(
            "  outcome: acknowledge code %1, communication result %2, package result %3: %4")
            .arg(request.getAckCode())
            .arg(request.getCommResult())
            .arg(request.getPackResult())
            .arg(request.isPackageSuccess() ? QStringLiteral("success")
                                            : QStringLiteral("no success")));
    return request.isPackageSuccess() == expected;
}

bool compare(const QByteArray &readBack, const QByteArray &data)
{
    say(readBack == data ? QStringLiteral("  read back: the same %1 bytes").arg(data.size())
                         : QStringLiteral("  read back: other bytes"));
    return readBack == data;
}

bool overFrames(Device &device, const QByteArray &data)
{
    say(QStringLiteral("Write %1 bytes to register 0x0A000010, byte frame").arg(data.size()));
    PackageRequestWriteData write = makeWrite(data);
    int consumed = 0;
    bool full = false;
    bool good = write.UnPackageReply(
        device.exchange(QStringLiteral("write frame"), write.MackPackageRequest()), 0, &consumed,
        &full);
    good = report(write, true) && good;

    say(QStringLiteral("Read them back, byte frame"));
    PackageRequestReadData read = makeRead(0x0010, data.size());
    good = read.UnPackageReply(
               device.exchange(QStringLiteral("read frame"), read.MackPackageRequest()), 0,
               &consumed, &full)
        && good;
    return report(read, true) && compare(read.data(), data) && good;
}

bool overRecords(Device &device, const QByteArray &data)
{
    say(QStringLiteral("Write %1 bytes to register 0x0A000010, text record").arg(data.size()));
    PackageRequestWriteData write = makeWrite(data);
    bool good = write.unPackageReply(QString::fromUtf8(
        device.exchange(QStringLiteral("write record"), write.makePackageRequest().toUtf8())));
    good = report(write, true) && good;

    say(QStringLiteral("Read them back, text record"));
    PackageRequestReadData read = makeRead(0x0010, data.size());
    good = read.unPackageReply(QString::fromUtf8(
               device.exchange(QStringLiteral("read record"), read.makePackageRequest().toUtf8())))
        && good;
    return report(read, true) && compare(read.data(), data) && good;
}

bool overLinuxFrames(Device &device, const QByteArray &data)
{
    say(QStringLiteral("Write %1 bytes to register 0x0A000010, Linux frame").arg(data.size()));
    PackageRequestWriteData write = makeWrite(data);
    bool good = write.unPackageReply_Linux(
        device.exchange(QStringLiteral("linux frame"), write.ParseSendRequest_Linux()));
    good = report(write, true) && good;

    say(QStringLiteral("Read them back, Linux frame"));
    PackageRequestReadData read = makeRead(0x0010, data.size());
    good = read.unPackageReply_Linux(
               device.exchange(QStringLiteral("linux frame"), read.ParseSendRequest_Linux()))
        && good;
    good = report(read, true) && compare(read.data(), data) && good;

    say(QStringLiteral("Read a register that the device does not have, Linux frame"));
    PackageRequestReadData unknown = makeRead(0x0099, data.size());
    good = unknown.unPackageReply_Linux(
               device.exchange(QStringLiteral("linux frame"), unknown.ParseSendRequest_Linux()))
        && good;
    good = report(unknown, false) && good;
    return unknown.getCommResult() == OrvexEnum::CommTimeout && good;
}

bool overCombination(Device &device, const QByteArray &data, const QString &upload)
{
    say(QStringLiteral("Write data, upload %1, read data, in one combination record").arg(upload));
    PackageRequestWriteData write = makeWrite(data);
    PackageRequestWriteFile file(DeviceKey, 0, 255, 1, 2, 65535, 0x0A00, 0x0020, 0, 3000,
                                 QStringLiteral("demo"), false, upload, 0);
    PackageRequestReadData read = makeRead(0x0010, data.size());
    const QString record = QStringLiteral("writeData^") + write.makePackageRequest()
        + QStringLiteral("|writeFile^") + file.makePackageRequest() + QStringLiteral("|ReadData^")
        + read.makePackageRequest();
    const QStringList replies =
        QString::fromUtf8(device.exchange(QStringLiteral("combination record"), record.toUtf8()))
            .split(QLatin1Char('|'));
    bool good = replies.size() == 3 && write.unPackageReply(replies.at(0))
        && file.unPackageReply(replies.at(1)) && read.unPackageReply(replies.at(2));
    for (PackageBase *request :
         {static_cast<PackageBase *>(&write), static_cast<PackageBase *>(&file),
          static_cast<PackageBase *>(&read)}) {
        good = report(*request, true) && good;
    }
    return compare(read.data(), data) && good;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 4) {
        std::fprintf(stderr, "Usage: example-client DEVICE DATA UPLOAD [DIRECTORY]\n");
        return 2;
    }
    QFile dataFile(arguments.at(2));
    if (!dataFile.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "example-client: %s: %s\n", qUtf8Printable(dataFile.fileName()),
                     qUtf8Printable(dataFile.errorString()));
        return 2;
    }
    const QByteArray data = dataFile.readAll();

    Device device(arguments.at(1), arguments.value(4));
    bool good = overFrames(device, data);
    good = overRecords(device, data) && good;
    good = overLinuxFrames(device, data) && good;
    good = overCombination(device, data, arguments.at(3)) && good;
    say(good ? QStringLiteral("All of it came out as it should.")
             : QStringLiteral("Something came out wrong."));
    return good ? 0 : 1;
}
