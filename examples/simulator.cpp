// A client against a simulated device, in one process.

#include <korvinsimulator/simulateddevice.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QTextStream>

using namespace KorvinInspect;
using namespace KorvinSimulator;

int main()
{
    // A device with 16 bytes from register 0x0A000010 of port 2 on.
    DeviceState state;
    state.units[{0, 255, 1, 2, 65535}].blocks[0x0A000010] = {QByteArray(16, '\0')};
    SimulatedDevice device(state);

    // What your transport would send goes to the device, and what comes back to your client.
    const QByteArray data("\x01\xFF\x10", 3);
    PackageRequestWriteData write(QStringLiteral("usb0"), 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0,
                                  3000, QStringLiteral("tag"), false, data, data.size());
    Answer answer =
        device.answer(write.MackPackageRequest(), ClassId::PackageRequestWriteData, Form::Frame);
    int consumed = 0;
    bool full = false;
    const bool written =
        write.UnPackageReply(answer.replies.at(0), 0, &consumed, &full) && write.isPackageSuccess();

    // The same device takes records, and forgets nothing. Its next reply gets lost, the one after
    // that ends after 40 bytes.
    PackageRequestReadData read(QStringLiteral("usb0"), 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0,
                                3000, QStringLiteral("tag"), 3);
    const QByteArray record = read.makePackageRequest().toUtf8();
    device.setFaults(FaultPlan::scripted({{FaultKind::DropReply}, {FaultKind::Truncate, 0, 40}}));
    const bool lost =
        device.answer(record, ClassId::PackageRequestReadData, Form::Text).replies.empty();
    answer = device.answer(record, ClassId::PackageRequestReadData, Form::Text);
    const Verdict verdict = check(answer.replies.at(0),
                                  {ClassId::PackageRequestReadData, Form::Text, Direction::Reply});
    answer = device.answer(record, ClassId::PackageRequestReadData, Form::Text);
    const bool readBack = read.unPackageReply(QString::fromUtf8(answer.replies.at(0)))
        && read.isPackageSuccess() && read.data() == data;

    QTextStream(stdout) << "the truncated reply: " << describe(verdict) << '\n'
                        << "the good one: " << answer.replies.at(0) << '\n';
    return written && lost && !verdict.isOk() && readBack ? 0 : 1;
}
