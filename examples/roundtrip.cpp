// Asks a device for three bytes, and checks, decodes, compares and prints what it answers.

#include <korvininspect/packagecheck.h>
#include <packagerequestreaddata.h>

#include <cstdio>

using namespace KorvinInspect;

// Stands in for your link and the device at its other end.
QByteArray answerOf(const QByteArray &request)
{
    PackageRequestReadData served;
    served.unPackageRequest(QString::fromUtf8(request));
    served.setData(QByteArray("\x01\xFF\x10", 3).left(served.getReplyDataLength()));
    served.setReplyDataLength(served.data().size());
    served.setPackResult(OrvexEnum::PackOk);
    return served.makePackageReply().toUtf8();
}

int main()
{
    // 3 bytes from register 0x0A000010 of port 2.
    PackageRequestReadData request(QStringLiteral("usb0"), 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0,
                                   3000, QStringLiteral("tag"), 3);
    const quint64 serialNum = request.getSerialNum();
    const QByteArray sent = request.makePackageRequest().toUtf8();
    const QByteArray received = answerOf(sent);
    std::printf("sent      %s\n", sent.constData());
    std::printf("received  %s\n", received.constData());

    const Verdict verdict =
        check(received, {ClassId::PackageRequestReadData, Form::Text, Direction::Reply});
    if (!verdict.isOk()) {
        std::printf("refused   %s\n", qUtf8Printable(describe(verdict)));
        return 1;
    }
    if (!request.unPackageReply(QString::fromUtf8(received)) || request.getSerialNum() != serialNum
        || !request.isPackageSuccess()) {
        std::printf("failed\n");
        return 1;
    }
    std::printf("data      %s\n", request.data().toHex(' ').constData());
}
