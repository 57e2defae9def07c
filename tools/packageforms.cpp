#include "packageforms.h"

#include <korvininspect/inputtext.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

namespace {

const char NoLinuxFrame[] = "only PackageRequestReadData, PackageRequestWriteData and "
                            "PackageRequestWriteIP have a Linux frame";

} // namespace

QString encodePackage(PackageBase &package, const Encoding &encoding, QByteArray *encoded)
{
    const bool request = encoding.direction == Direction::Request;
    switch (encoding.form) {
    case Form::Frame:
        *encoded = request ? package.MackPackageRequest()
                           : package.MackPackageReply(encoding.replySize == ReplySize::Full);
        return {};
    case Form::Text:
        *encoded = (request ? package.makePackageRequest() : package.makePackageReply()).toUtf8();
        return {};
    case Form::Linux:
        break;
    }
    if (!request)
        return QStringLiteral("a Linux frame is made of requests only");
    if (auto *read = qobject_cast<PackageRequestReadData *>(&package))
        *encoded = read->ParseSendRequest_Linux();
    else if (auto *write = qobject_cast<PackageRequestWriteData *>(&package))
        *encoded = write->ParseSendRequest_Linux();
    else
        return QString::fromLatin1(NoLinuxFrame);
    return {};
}

QString decodePackage(PackageBase &package, const Encoding &encoding, const QByteArray &encoded,
                      int *consumed)
{
    const bool request = encoding.direction == Direction::Request;
    *consumed = encoded.size();
    if (encoding.form == Form::Frame) {
        bool full = false;
        const bool decoded = request ? package.UnPackageRequest(encoded, 0, consumed)
                                     : package.UnPackageReply(encoded, 0, consumed, &full);
        return decoded ? QString() : QStringLiteral("the frame does not decode");
    }
    if (encoding.form == Form::Text) {
        const QString record = KorvinInspect::textFromUtf8(encoded);
        const bool decoded =
            request ? package.unPackageRequest(record) : package.unPackageReply(record);
        return decoded ? QString()
                       : QStringLiteral("the record has too few columns for the class, or its "
                                        "data string does not have as many numbers as its length "
                                        "column says");
    }
    bool decoded = false;
    if (auto *read = qobject_cast<PackageRequestReadData *>(&package))
        decoded = read->unPackageReply_Linux(encoded);
    else if (auto *write = qobject_cast<PackageRequestWriteData *>(&package))
        decoded = write->unPackageReply_Linux(encoded);
    else
        return QString::fromLatin1(NoLinuxFrame);
    return decoded ? QString() : QStringLiteral("the checksum of the frame is wrong");
}
