// Byte frames of every class, requests and replies, from any start index.

#include "codecagreement.h"
#include "fuzztarget.h"

namespace {

struct Decoded
{
    std::unique_ptr<PackageBase> package;
    bool succeeded;
    int consumed;
    bool full;
};

Decoded decode(const PackageClass &itsClass, Direction direction, const QByteArray &frame,
               int start)
{
    Decoded decoded{filledPackage(itsClass), false, 0, false};
    PackageBase &package = *decoded.package;
    decoded.succeeded = direction == Direction::Request
        ? package.UnPackageRequest(frame, start, &decoded.consumed)
        : package.UnPackageReply(frame, start, &decoded.consumed, &decoded.full);
    return decoded;
}

void expectSame(const Decoded &one, const Decoded &other)
{
    EXPECT_EQ(one.succeeded, other.succeeded);
    EXPECT_EQ(one.consumed, other.consumed);
    EXPECT_EQ(one.full, other.full);
    EXPECT_EQ(snapshot(*one.package), snapshot(*other.package));
}

/// Fields that no frame carries stay as they are.
void expectOthersUntouched(const PackageClass &itsClass, const PackageBase &package)
{
    const std::unique_ptr<PackageBase> before = filledPackage(itsClass);
    for (const char *name :
         {"tagProto", "serverConnectionKey", "maxPartSize", "partCount", "curPartIndex",
          "subcribeHardware", "isRegisterAddrSelfIncreasing", "ipAddress", "broadcastRspToAllApp",
          "strData", "id", "specialFlagEndTimeOut", "baseClientPackageType"}) {
        if (const PackageField *field = itsClass.field(QLatin1String(name))) {
            EXPECT_EQ(field->get(package), field->get(*before)) << name;
        }
    }
}

/// Where the marker is the same, a frame inside of an array is that frame alone.
void expectSameAlone(const PackageClass &itsClass, Direction direction, const QByteArray &frame,
                     int start, const Decoded &decoded)
{
    if (start < 0 || start > frame.size())
        return;
    const QByteArray alone = frame.mid(start);
    if (direction == Direction::Reply && alone.isEmpty() != frame.isEmpty())
        return;
    if (direction == Direction::Reply && !alone.isEmpty()
        && (alone.at(0) == '\0') != (frame.at(0) == '\0'))
        return;
    expectSame(decode(itsClass, direction, alone, 0), decoded);
}

void expectSameEncodings(PackageBase &package, PackageBase &other)
{
    EXPECT_EQ(package.MackPackageRequest(), other.MackPackageRequest());
    for (const bool full : {false, true}) {
        const QByteArray frame = package.MackPackageReply(full);
        observe(frame);
        EXPECT_EQ(frame, other.MackPackageReply(full));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const PackageClass &itsClass = input.packageClass();
    const quint8 flags = input.byte();
    const Direction direction = flags & 1 ? Direction::Reply : Direction::Request;
    int start = 0;
    if (flags & 2)
        start = flags & 4 ? input.number() : static_cast<qint8>(input.byte());
    const QByteArray frame = input.rest();

    const Decoded decoded = decode(itsClass, direction, frame, start);
    EXPECT_TRUE(decoded.succeeded);
    const Decoded again = decode(itsClass, direction, frame, start);
    expectSame(decoded, again);
    observe(*decoded.package);
    expectOthersUntouched(itsClass, *decoded.package);
    expectSameAlone(itsClass, direction, frame, start, decoded);
    if (isShort(*decoded.package))
        expectSameEncodings(*decoded.package, *again.package);
    if (start == 0) {
        const Encoding encoding{Form::Frame, direction, ReplySize::Short};
        expectExplained(frame, itsClass, encoding);
        expectWrittenByAnEncoder(frame, itsClass, encoding);
    }
    return 0;
}
