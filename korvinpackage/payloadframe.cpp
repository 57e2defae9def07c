#include "payloadframe_p.h"

#include "bytecursors_p.h"
#include "layouts_p.h"

namespace Korvin {

bool readHeader(PackageBasePrivate &fields, const QByteArray &data, int startIndex, int *length)
{
    *length = 0;
    return guarded([&] {
        ByteReader reader(data, startIndex);
        CommonPart{fields}.header(reader);
        *length = reader.distanceFrom(startIndex);
        return true;
    });
}

QByteArray makeRequestFrame(PackageBase &package)
{
    return guarded([&] {
        QByteArray frame = package.PackageBase::MackPackageRequest();
        if (!frame.isEmpty())
            package.AppendDataToPackage(true, &frame);
        return frame;
    });
}

bool readRequestFrame(PackageBase &package, PackageBasePrivate &fields, QByteArray data,
                      int startIndex, int *parsedLength)
{
    *parsedLength = 0;
    int baseLength = 0;
    if (!readHeader(fields, data, startIndex, &baseLength))
        return false;
    int payloadLength = 0;
    package.ParseDataFromPackage(true, std::move(data), wrapped(qint64(startIndex) + baseLength),
                                 &payloadLength);
    *parsedLength = wrapped(qint64(baseLength) + payloadLength);
    return true;
}

QByteArray makeReplyFrame(PackageBase &package, bool withRequest)
{
    return guarded([&] {
        QByteArray frame = package.PackageBase::MackPackageReply(withRequest);
        if (!frame.isEmpty())
            package.AppendDataToPackage(withRequest, &frame);
        return frame;
    });
}

bool readReplyFrame(PackageBase &package, QByteArray data, int startIndex, int *parsedLength,
                    bool *withRequest)
{
    *parsedLength = 0;
    int baseLength = 0;
    if (!package.PackageBase::UnPackageReply(data, startIndex, &baseLength, withRequest))
        return false;
    int payloadLength = 0;
    package.ParseDataFromPackage(*withRequest, std::move(data),
                                 wrapped(qint64(startIndex) + baseLength), &payloadLength);
    *parsedLength = wrapped(qint64(baseLength) + payloadLength);
    return true;
}

} // namespace Korvin
