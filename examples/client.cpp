// A client and a simulated device, in one process: builds requests in every encoding, reads the
// replies, and prints what was sent and what happened.
//
// Usage: example-client DATA UPLOAD [DIRECTORY]
//
// DATA is a file whose bytes are written to registers and read back, UPLOAD a file to send. Each
// frame and record also goes into a file of DIRECTORY.

#include <korvininspect/packageexplain.h>
#include <korvinsimulator/simulateddevice.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>
#include <optional>

using namespace KorvinInspect;
using namespace KorvinSimulator;

namespace {

const QString DeviceKey = QStringLiteral("usb/0,1");

void say(const QString &text)
{
    std::printf("%s\n", qUtf8Printable(text));
}

/// A device with registers from 0x0A000010 on, and what travels to and from it.
class Device
{
public:
    Device(int registers, const QString &directory)
        : m_directory(directory)
    {
        const UnitAddress address{0, 255, 1, 2, 65535};
        m_device.state().units[address].blocks[0x0A000010] = {QByteArray(registers, '\0')};
    }

    /// Sends a request and returns the reply, or an empty one if the device does not answer.
    QByteArray exchange(const QString &what, ClassId classId, Form form, const QByteArray &request)
    {
        show(what + QStringLiteral(" request"), form, request);
        const Answer answer = m_device.answer(request, classId, form);
        QByteArray reply = answer.replies.empty() ? QByteArray() : answer.replies.front();
        show(what + QStringLiteral(" reply"), form, reply);
        return reply;
    }

    /// Whether each file of the directory could be written.
    bool wroteAll() const { return m_wroteAll; }

private:
    void show(const QString &name, Form form, const QByteArray &bytes)
    {
        const bool text = form == Form::Text;
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
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
            say(QStringLiteral("  cannot write ") + file.fileName());
            m_wroteAll = false;
        }
    }

    SimulatedDevice m_device;
    QString m_directory;
    int m_files = 0;
    bool m_wroteAll = true;
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
            .arg(describe(request.getCommResult()), describe(request.getPackResult()),
                 request.isPackageSuccess() ? QStringLiteral("success")
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
    bool good = write.UnPackageReply(device.exchange(QStringLiteral("write frame"),
                                                     ClassId::PackageRequestWriteData, Form::Frame,
                                                     write.MackPackageRequest()),
                                     0, &consumed, &full);
    good = report(write, true) && good;

    say(QStringLiteral("Read them back, byte frame"));
    PackageRequestReadData read = makeRead(0x0010, data.size());
    good = read.UnPackageReply(device.exchange(QStringLiteral("read frame"),
                                               ClassId::PackageRequestReadData, Form::Frame,
                                               read.MackPackageRequest()),
                               0, &consumed, &full)
        && good;
    return report(read, true) && compare(read.data(), data) && good;
}

bool overRecords(Device &device, const QByteArray &data)
{
    say(QStringLiteral("Write %1 bytes to register 0x0A000010, text record").arg(data.size()));
    PackageRequestWriteData write = makeWrite(data);
    bool good = write.unPackageReply(QString::fromUtf8(
        device.exchange(QStringLiteral("write record"), ClassId::PackageRequestWriteData,
                        Form::Text, write.makePackageRequest().toUtf8())));
    good = report(write, true) && good;

    say(QStringLiteral("Read them back, text record"));
    PackageRequestReadData read = makeRead(0x0010, data.size());
    good = read.unPackageReply(QString::fromUtf8(
               device.exchange(QStringLiteral("read record"), ClassId::PackageRequestReadData,
                               Form::Text, read.makePackageRequest().toUtf8())))
        && good;
    return report(read, true) && compare(read.data(), data) && good;
}

bool overLinuxFrames(Device &device, const QByteArray &data)
{
    say(QStringLiteral("Write %1 bytes to register 0x0A000010, Linux frame").arg(data.size()));
    PackageRequestWriteData write = makeWrite(data);
    bool good = write.unPackageReply_Linux(
        device.exchange(QStringLiteral("linux frame"), ClassId::PackageRequestWriteData,
                        Form::Linux, write.ParseSendRequest_Linux()));
    good = report(write, true) && good;

    say(QStringLiteral("Read them back, Linux frame"));
    PackageRequestReadData read = makeRead(0x0010, data.size());
    good = read.unPackageReply_Linux(device.exchange(QStringLiteral("linux frame"),
                                                     ClassId::PackageRequestReadData, Form::Linux,
                                                     read.ParseSendRequest_Linux()))
        && good;
    good = report(read, true) && compare(read.data(), data) && good;

    say(QStringLiteral("Read a register that the device does not have, Linux frame"));
    PackageRequestReadData unknown = makeRead(0x0099, data.size());
    good = unknown.unPackageReply_Linux(
               device.exchange(QStringLiteral("linux frame"), ClassId::PackageRequestReadData,
                               Form::Linux, unknown.ParseSendRequest_Linux()))
        && good;
    return report(unknown, false) && good;
}

/// A file travels through registers: its bytes are written there, and the file write takes them.
bool overCombination(Device &device, const QString &fileName, const QByteArray &content)
{
    say(QStringLiteral("Upload %1 and read its registers, in one combination record")
            .arg(fileName));
    PackageRequestWriteData write = makeWrite(content);
    PackageRequestWriteFile file(DeviceKey, 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0, 3000,
                                 QStringLiteral("demo"), false, fileName, 0);
    PackageRequestReadData read = makeRead(0x0010, content.size());
    const QString record = QStringLiteral("writeData^") + write.makePackageRequest()
        + QStringLiteral("|writeFile^") + file.makePackageRequest() + QStringLiteral("|ReadData^")
        + read.makePackageRequest();
    const QStringList replies =
        QString::fromUtf8(device.exchange(QStringLiteral("combination record"),
                                          ClassId::PackageRequestCombination, Form::Text,
                                          record.toUtf8()))
            .split(QLatin1Char('|'));
    bool good = replies.size() == 3 && write.unPackageReply(replies.at(0))
        && file.unPackageReply(replies.at(1)) && read.unPackageReply(replies.at(2));
    for (PackageBase *request :
         {static_cast<PackageBase *>(&write), static_cast<PackageBase *>(&file),
          static_cast<PackageBase *>(&read)}) {
        good = report(*request, true) && good;
    }
    return compare(read.data(), content) && good;
}

std::optional<QByteArray> contentOf(const QString &fileName)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    std::fprintf(stderr, "example-client: %s: %s\n", qUtf8Printable(fileName),
                 qUtf8Printable(file.errorString()));
    return std::nullopt;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        std::fprintf(stderr, "Usage: example-client DATA UPLOAD [DIRECTORY]\n");
        return 2;
    }
    const std::optional<QByteArray> data = contentOf(arguments.at(1));
    const std::optional<QByteArray> upload = contentOf(arguments.at(2));
    if (!data || !upload)
        return 2;

    Device device(qMax(data->size(), upload->size()), arguments.value(3));
    bool good = overFrames(device, *data);
    good = overRecords(device, *data) && good;
    good = overLinuxFrames(device, *data) && good;
    good = overCombination(device, arguments.at(2), *upload) && good;
    good = device.wroteAll() && good;
    say(good ? QStringLiteral("All of it came out as it should.")
             : QStringLiteral("Something came out wrong."));
    return good ? 0 : 1;
}
