// Byte frames of every class, requests and replies, from any start index.

#include "codecagreement.h"
#include "fuzztarget.h"
#include "secondreading.h"

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const PackageClass *const itsClass = input.packageClass();
    if (!itsClass)
        return -1;
    const quint8 flags = input.byte();
    const Direction direction = flags & 1 ? Direction::Reply : Direction::Request;
    int start = 0;
    if (flags & 2)
        start = flags & 4 ? input.number() : static_cast<qint8>(input.byte());
    const QByteArray frame = input.rest();

    const std::unique_ptr<PackageBase> expected = filledPackage(*itsClass);
    const Reading reading = readFrame(*expected, direction, frame, start);
    if (reading.announcesMuch)
        return -1;
    const std::unique_ptr<PackageBase> package = filledPackage(*itsClass);
    int consumed = 0;
    bool full = false;
    if (direction == Direction::Request)
        EXPECT_TRUE(package->UnPackageRequest(frame, start, &consumed));
    else
        EXPECT_TRUE(package->UnPackageReply(frame, start, &consumed, &full));
    EXPECT_EQ(snapshot(*package), snapshot(*expected));
    EXPECT_EQ(consumed, reading.consumed);
    EXPECT_EQ(full, reading.full);
    observe(*package);
    expectWritten(*package);
    if (start == 0) {
        const Encoding encoding{Form::Frame, direction, ReplySize::Short};
        expectExplained(frame, *itsClass, encoding);
        expectWrittenByAnEncoder(frame, *itsClass, encoding);
    }
    return 0;
}
