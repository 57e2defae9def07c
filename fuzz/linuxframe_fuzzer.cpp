// Frames of the Linux client: replies to data requests, and requests made of what was decoded.

#include "codecagreement.h"
#include "fuzztarget.h"

#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>
#include <packagerequestwritedata.h>

namespace {

constexpr int HeaderSize = 18;
constexpr int Seed = 0x5555;

quint8 byteAt(const QByteArray &frame, int position)
{
    return position >= 0 && position < frame.size() ? static_cast<quint8>(frame.at(position)) : 0;
}

int word(const QByteArray &frame, int position)
{
    return byteAt(frame, position) + 256 * byteAt(frame, position + 1);
}

/// The checksum over all but the first and the last two bytes.
int sumOf(const QByteArray &frame)
{
    int sum = Seed;
    for (int i = 2; i < frame.size() - 2; ++i)
        sum += byteAt(frame, i);
    return sum & 0xFFFF;
}

void expectReplyDecoded(const PackageClass &itsClass, const QByteArray &frame)
{
    constexpr Encoding Requests{Form::Linux, Direction::Request, ReplySize::Short};
    constexpr Encoding Replies{Form::Linux, Direction::Reply, ReplySize::Short};
    const std::unique_ptr<PackageBase> package = filledPackage(itsClass);
    PackageBase &request = *package;
    const QByteArray dataBefore = request.data();
    const bool decoded = decodePackage(request, Replies, frame).isOk();
    EXPECT_EQ(decoded, word(frame, frame.size() - 2) == sumOf(frame));
    if (!decoded) {
        EXPECT_EQ(snapshot(request), snapshot(*filledPackage(itsClass)));
        return;
    }
    const int length = word(frame, 16);
    QByteArray data = frame.mid(HeaderSize, qBound(0, length, qMax(0, frame.size() - 20)));
    if (itsClass.id == ClassId::PackageRequestReadData)
        data.prepend(dataBefore);
    else
        data = (data + dataBefore.mid(data.size())).leftJustified(length, '\0', true);
    EXPECT_EQ(request.data(), data);
    EXPECT_EQ(request.getDataLength(), length);
    EXPECT_EQ(request.getCommResult(), static_cast<qint8>(byteAt(frame, 2)) + 1);
    EXPECT_EQ(request.getScanBoardAddr(), word(frame, 8));
    observe(request);
    QByteArray encoded;
    EXPECT_TRUE(encodePackage(request, Requests, &encoded).isOk());
    observe(encoded);
    if (encodePackage(request, Replies, &encoded).isOk())
        observe(encoded);

    // Sent on as a write of this data, it arrives as it was.
    PackageRequestWriteData write;
    write.setReadWriteCode(OrvexEnum::Write);
    write.setData(data);
    write.setPackageDataLength(data.size());
    PackageRequestWriteData received;
    EXPECT_TRUE(encodePackage(write, Requests, &encoded).isOk());
    EXPECT_TRUE(decodePackage(received, Requests, encoded).isOk());
    EXPECT_EQ(received.data(), data.left(data.size() & 0xFFFF));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const quint8 flags = input.byte();
    const PackageClass &itsClass =
        *packageClass(flags & 1       ? ClassId::PackageRequestReadData
                          : flags & 2 ? ClassId::PackageRequestWriteIP
                                      : ClassId::PackageRequestWriteData);
    const Direction direction = flags & 4 ? Direction::Request : Direction::Reply;
    QByteArray frame = input.rest();
    if (flags & 8 && frame.size() >= 2) { // no mutation finds the checksum
        const int sum = sumOf(frame);
        frame[frame.size() - 2] = static_cast<char>(sum & 0xFF);
        frame[frame.size() - 1] = static_cast<char>(sum >> 8);
    }

    expectReplyDecoded(itsClass, frame);
    const Encoding encoding{Form::Linux, direction, ReplySize::Short};
    expectExplained(frame, itsClass, encoding);
    expectWrittenByAnEncoder(frame, itsClass, encoding);
    observe(describe(check(frame, shapeOf(itsClass, encoding))).toUtf8());
    return 0;
}
