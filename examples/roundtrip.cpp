// A request and its reply in both encodings, without a transport: what README.md shows.

#include <packagerequestreaddata.h>

#include <QtCore/QTextStream>

int main()
{
    // The client asks for 3 bytes from register 0x0A000010 of port 2.
    PackageRequestReadData request(QStringLiteral("usb0"), 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0,
                                   3000, QStringLiteral("tag"), 3);
    const QByteArray frame = request.MackPackageRequest();
    const QString record = request.makePackageRequest();

    // The device side decodes either one into an empty package, fills in data and outcome, answers.
    PackageRequestReadData served;
    int consumed = 0;
    served.UnPackageRequest(frame, 0, &consumed); // or served.unPackageRequest(record)
    served.setData(QByteArray("\x01\xFF\x10", 3).left(served.getReplyDataLength()));
    served.setReplyDataLength(served.data().size());
    served.setPackResult(OrvexEnum::PackOk);
    const QByteArray replyFrame = served.MackPackageReply(false);
    const QString replyRecord = served.makePackageReply();

    // The client reads the reply into its request.
    bool full = false;
    const bool fromFrame = request.UnPackageReply(replyFrame, 0, &consumed, &full)
        && request.isPackageSuccess() && request.data() == QByteArray("\x01\xFF\x10", 3);
    const bool fromRecord = request.unPackageReply(replyRecord) && request.isPackageSuccess()
        && request.data() == QByteArray("\x01\xFF\x10", 3);

    QTextStream(stdout) << frame.toHex(' ') << '\n'
                        << record << '\n'
                        << replyFrame.toHex(' ') << '\n'
                        << replyRecord << '\n';
    return fromFrame && fromRecord ? 0 : 1;
}
