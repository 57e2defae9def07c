// Frames of the Linux client: replies to data requests, and the header of a reply that a request of
// any other class reads.

#include "codecagreement.h"
#include "fuzztarget.h"
#include "secondreading.h"

#include <korvininspect/packagecheck.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

namespace {

bool decode(PackageBase &package, const QByteArray &frame)
{
    if (auto *const read = dynamic_cast<PackageRequestReadData *>(&package))
        return read->unPackageReply_Linux(frame);
    if (auto *const write = dynamic_cast<PackageRequestWriteData *>(&package))
        return write->unPackageReply_Linux(frame);
    return package.unBasePackageReply_Linux(frame);
}

/// Puts the right checksum at the end, which a mutation would hardly find.
void close(QByteArray &frame)
{
    if (frame.size() < 2)
        return;
    int sum = 0x5555;
    for (int i = 2; i < frame.size() - 2; ++i)
        sum += byteAt(frame, i);
    frame[frame.size() - 2] = static_cast<char>(sum & 0xFF);
    frame[frame.size() - 1] = static_cast<char>(sum >> 8);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const PackageClass *const itsClass = input.packageClass();
    if (!itsClass)
        return -1;
    const quint8 flags = input.byte();
    const Direction direction = flags & 1 ? Direction::Reply : Direction::Request;
    QByteArray frame = input.rest();
    if (flags & 2)
        close(frame);

    const std::unique_ptr<PackageBase> expected = filledPackage(*itsClass);
    const Reading reading = readLinuxReply(*expected, frame);
    const std::unique_ptr<PackageBase> package = filledPackage(*itsClass);
    EXPECT_EQ(decode(*package, frame), reading.succeeded);
    EXPECT_EQ(snapshot(*package), snapshot(*expected));
    observe(*package);
    expectWritten(*package);

    const Encoding encoding{Form::Linux, direction, ReplySize::Short};
    if (!exists(shapeOf(*itsClass, encoding)))
        return 0;
    const std::unique_ptr<PackageBase> decoded = filledPackage(*itsClass);
    constexpr Encoding Replies{Form::Linux, Direction::Reply, ReplySize::Short};
    EXPECT_EQ(decodePackage(*decoded, Replies, frame).isOk(), reading.succeeded);
    EXPECT_EQ(snapshot(*decoded), snapshot(*expected));
    QByteArray encoded;
    if (encodePackage(*decoded, Replies, &encoded).isOk())
        observe(encoded);
    expectExplained(frame, *itsClass, encoding);
    expectWrittenByAnEncoder(frame, *itsClass, encoding);
    observe(describe(check(frame, shapeOf(*itsClass, encoding))).toUtf8());
    return 0;
}
