// The checksummed frame of the Linux client, for both data requests.

#include "testsupport.h"

#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

namespace {

constexpr int Mebibyte = 1024 * 1024;

/// Appends the checksum, computed without the library.
QByteArray closed(QByteArray frame)
{
    unsigned sum = 0x5555;
    for (int i = 2; i < frame.size(); ++i)
        sum += static_cast<unsigned char>(frame.at(i));
    frame.append(static_cast<char>(sum % 256));
    frame.append(static_cast<char>(sum / 256 % 256));
    return frame;
}

struct WriteRow
{
    int length;
    const char *data;
    const char *frame; // after the header, from offset 16 on
};

// Sums: 0x5555, 1 for the code, the two bytes of the length, the data before the checksum.
const WriteRow WriteRows[] = {
    {3, "01 02 03", "03 00 01 02 03 5F 55"},
    {1, "07", "01 00 07 5E 55"},
    {0, "", "00 00 56 55"},
    {0, "01 02 03", "00 00 56 55"},                      // no length, no data
    {-1, "01 02 03", "00 00 56 55"},                     // a negative length counts as 0
    {2, "01 02 03 04 05 06", "02 00 01 02 5B 55 05 06"}, // written over the data after the length
    {2, "01 02 03", "02 00 01 02 5B 55"},
    {1, "07 08 09 0A 0B", "01 00 07 5E 55 0A 0B"},
    {4, "01 02", "04 00 01 02 00 00 5D 55"}, // the gap is 0
    {2, "", "02 00 00 00 58 55"},
    {0x10001, "", nullptr}, // the field has the low 16 bits, the frame all of the length
};

TEST(LinuxFrame, OfAWrite)
{
    for (const WriteRow &row : WriteRows) {
        SCOPED_TRACE(testing::Message() << row.length << ", " << row.data);
        PackageRequestWriteData package;
        package.setReadWriteCode(OrvexEnum::Write);
        package.setPackageDataLength(row.length);
        package.setData(hex(row.data));
        const QByteArray header = hex("55 AA 00 00 00 00 00 00 0000 01 00 0000 0000");
        const QByteArray frame = row.frame
            ? header + hex(row.frame)
            : closed(header + hex("01 00") + QByteArray(row.length, '\0'));
        EXPECT_EQ(package.ParseSendRequest_Linux(), frame);

        PackageRequestReadData read;
        read.setReadWriteCode(OrvexEnum::Write);
        read.setReplyDataLength(row.length);
        read.setData(hex(row.data));
        EXPECT_EQ(read.ParseSendRequest_Linux(), frame) << "both classes build the same frame";
    }
}

TEST(LinuxFrame, OfAReadCarriesNoData)
{
    const struct
    {
        int length;
        const char *frame;
    } rows[] = {
        {256, "00 01 56 55"},
        {0, "00 00 55 55"},
        {0x12345, "45 23 BD 55"}, // low 16 bits
        {-1, "FF FF 53 57"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.length);
        const QByteArray frame =
            hex("55 AA 00 00 00 00 00 00 0000 00 00 0000 0000") + hex(row.frame);
        PackageRequestReadData read;
        read.setReplyDataLength(row.length);
        read.setData(hex("01 02 03"));
        EXPECT_EQ(read.ParseSendRequest_Linux(), frame);
        PackageRequestWriteData write;
        write.setPackageDataLength(row.length);
        write.setData(hex("01 02 03"));
        EXPECT_EQ(write.ParseSendRequest_Linux(), frame);
    }
}

TEST(LinuxFrame, OfAnyOtherCodeHasAHeaderOfZeros)
{
    for (const int code : {-1, 2, 255, 256, 257}) {
        PackageRequestWriteData package;
        package.setReadWriteCode(OrvexEnum::ReadWriteCode(code));
        package.setScrAddr(7);
        package.setPackageDataLength(3);
        package.setData(hex("01 02 03"));
        EXPECT_EQ(package.ParseSendRequest_Linux(), QByteArray(18, '\0') + hex("55 55")) << code;
    }
}

TEST(LinuxFrame, LengthFarBeyondTheDataCountsOnlyTheData)
{
    PackageRequestWriteData package;
    package.setReadWriteCode(OrvexEnum::Write);
    package.setData(hex("01 02"));
    package.setPackageDataLength(256 * Mebibyte + 1);
    EXPECT_EQ(package.ParseSendRequest_Linux(),
              hex("55 AA 00 00 00 00 00 00 0000 01 00 0000 0000 01 00 01 02 5A 55"));
    package.setPackageDataLength(256 * Mebibyte);
    EXPECT_EQ(package.ParseSendRequest_Linux().size(), 256 * Mebibyte + 20);
}

TEST(LinuxFrame, BuilderChangesNothing)
{
    PackageRequestWriteData package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                    QStringLiteral("tag"), true, hex("0102"), 2);
    const QJsonObject before = snapshot(package);
    package.ParseSendRequest_Linux();
    EXPECT_EQ(snapshot(package), before);
}

TEST(LinuxFrame, SerialNumberTravelsAsItsLowByte)
{
    PackageRequestReadData package;
    package.setSerialNum(0x1234);
    const QByteArray frame = package.ParseSendRequest_Linux();
    EXPECT_EQ(frame.mid(3, 1), hex("34"));
    EXPECT_TRUE(package.unPackageReply_Linux(frame));
    EXPECT_EQ(package.getSerialNum(), 0x34U);
}

struct StatusRow
{
    int status;
    int commResult;
    uint ackCode;
    int packResult;
};

constexpr StatusRow StatusRows[] = {
    {0x00, OrvexEnum::CommOk, 0, 0},
    {0x01, OrvexEnum::CommCrcErr, 1, 1},
    {0x02, OrvexEnum::CommLengthErr, 2, 2},
    {0x03, OrvexEnum::CommPortErr, 3, 3},
    {0x04, OrvexEnum::CommTimeout, 4, 4},
    {0x05, OrvexEnum::CommCodeErr, 5, 5},
    {0x06, OrvexEnum::CommForcedCancel, 6, 6},
    {0x7F, 128, 127, 127},
    {0x80, -127, 0xFFFFFF80, -128},
    {0xFE, -1, 0xFFFFFFFE, -2},
    {0xFF, OrvexEnum::CommPending, 0xFFFFFFFF, -1},
};

TEST(LinuxFrame, Status)
{
    for (const StatusRow &row : StatusRows) {
        SCOPED_TRACE(row.status);
        QByteArray reply(18, '\0');
        reply[2] = static_cast<char>(row.status);
        PackageBase package;
        EXPECT_TRUE(package.unBasePackageReply_Linux(closed(reply)));
        EXPECT_EQ(package.getCommResult(), row.commResult);
        EXPECT_EQ(package.getAckCode(), row.ackCode);
        EXPECT_EQ(package.getPackResult(), row.packResult);
        EXPECT_EQ(package.isPackageSuccess(), row.status == 0);
    }
}

TEST(LinuxFrame, SignedBytes)
{
    PackageBase package;
    EXPECT_TRUE(package.unBasePackageReply_Linux(
        closed(hex("55 AA 00 80 81 82 83 84 8586 87 88 898A 8B8C 0000"))));
    EXPECT_EQ(package.getSerialNum(), 0x80U);
    EXPECT_EQ(package.getScrAddr(), 0x81);
    EXPECT_EQ(package.getDesAddr(), 0x82);
    EXPECT_EQ(package.getDeviceType(), 0x83 - 256);
    EXPECT_EQ(package.getPortAddr(), 0x84);
    EXPECT_EQ(package.getScanBoardAddr(), 0x8685);
    EXPECT_EQ(package.getReadWriteCode(), 0x87 - 256);
    EXPECT_EQ(package.getReserved2(), 0x88 - 256);
    EXPECT_EQ(package.getLowAddr(), 0x8A89);
    EXPECT_EQ(package.getHighAddr(), 0x8C8B);
}

TEST(LinuxFrame, HeaderOfTheReplyReplacesTheFieldsThatItCarriesOnly)
{
    PackageBase package;
    package.setDeviceKey(QStringLiteral("key"));
    package.setTag(QStringLiteral("tag"));
    package.setTimeout(7);
    package.setSerialNum(8);
    QJsonObject expected = snapshot(package);
    expected[QStringLiteral("serialNum")] = 9;
    EXPECT_TRUE(package.unBasePackageReply_Linux(
        closed(hex("55 AA 00 09 00 00 00 00 0000 00 00 0000 0000 0000"))));
    EXPECT_EQ(snapshot(package), expected);
}

TEST(LinuxFrame, StartBytesAreNotExamined)
{
    PackageBase package;
    QByteArray frame = closed(hex("55 AA 00 09 00 00 00 00 0000 00 00 0000 0000 0000"));
    frame[0] = '\1';
    frame[1] = '\2';
    EXPECT_TRUE(package.unBasePackageReply_Linux(frame));
    EXPECT_EQ(package.getSerialNum(), 9U);
}

TEST(LinuxFrame, WrongChecksumIsRefusedWithTheObjectUnchanged)
{
    const QByteArray reply =
        closed(hex("55 AA 00 09 01 02 03 04 0506 00 08 090A 0B0C 0300 010203"));
    for (int bit = 16; bit < 8 * reply.size(); ++bit) {
        SCOPED_TRACE(bit);
        QByteArray flipped = reply;
        flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ (1 << (bit % 8)));
        PackageRequestReadData read;
        read.setData(hex("AA"));
        const QJsonObject readBefore = snapshot(read);
        EXPECT_FALSE(read.unBasePackageReply_Linux(flipped));
        EXPECT_FALSE(read.unPackageReply_Linux(flipped));
        EXPECT_EQ(snapshot(read), readBefore);
        PackageRequestWriteData write;
        write.setData(hex("AA"));
        const QJsonObject writeBefore = snapshot(write);
        EXPECT_FALSE(write.unPackageReply_Linux(flipped));
        EXPECT_EQ(snapshot(write), writeBefore);
    }
}

TEST(LinuxFrame, EveryTruncationThatDoesNotVerifyIsRefused)
{
    const QByteArray reply =
        closed(hex("55 AA 00 09 01 02 03 04 0506 00 08 090A 0B0C 0300 010203"));
    for (int size = 0; size < reply.size(); ++size) {
        PackageRequestReadData package;
        const QJsonObject before = snapshot(package);
        EXPECT_FALSE(package.unPackageReply_Linux(reply.left(size))) << size;
        EXPECT_EQ(snapshot(package), before);
    }
}

struct ShortRow
{
    const char *frame;
    int status;
    quint64 serialNum;
    int scrAddr;
};

// Only the checksum sets a least length; bytes past the end read as 0.
const ShortRow ShortRows[] = {
    {"55 55", 0, 0, 0},
    {"AA 55 55", 0x55, 0, 0}, // the checksum itself is taken for the status
    {"55 AA 55 55", 0x55, 0x55, 0},
    {"55 AA 00 55 55", 0, 0x55, 0x55},
    {"55 AA 01 02 58 55", 1, 2, 0x58},
};

TEST(LinuxFrame, ShortFramesThatVerify)
{
    for (const ShortRow &row : ShortRows) {
        SCOPED_TRACE(row.frame);
        PackageRequestReadData package;
        package.setHighAddr(99);
        EXPECT_TRUE(package.unPackageReply_Linux(hex(row.frame)));
        EXPECT_EQ(package.getAckCode(), static_cast<uint>(row.status));
        EXPECT_EQ(package.getSerialNum(), row.serialNum);
        EXPECT_EQ(package.getScrAddr(), row.scrAddr);
        EXPECT_EQ(package.getHighAddr(), 0);
        EXPECT_EQ(package.getReplyDataLength(), 0);
        EXPECT_EQ(package.data(), QByteArray());
    }
}

TEST(LinuxFrame, WordCutInTheMiddleReadsItsLowByte)
{
    // The frame ends after the low byte of the scan board address, which the checksum begins with.
    const QByteArray frame = closed(hex("55 AA 00 00 00 00 00"));
    ASSERT_EQ(frame.size(), 9);
    PackageBase package;
    EXPECT_TRUE(package.unBasePackageReply_Linux(frame));
    EXPECT_EQ(package.getPortAddr(), 0x55);
    EXPECT_EQ(package.getScanBoardAddr(), 0x55);
}

struct ReplyRow
{
    const char *length;
    const char *data;
    int announced;
    const char *read;    // of a read that held AA BB CC
    const char *written; // of a write that held AA BB CC
};

const ReplyRow ReplyRows[] = {
    {"03 00", "01 02 03", 3, "AA BB CC 01 02 03", "01 02 03"},
    {"02 00", "01 02 03", 2, "AA BB CC 01 02", "01 02"},    // no more than announced
    {"04 00", "01 02", 4, "AA BB CC 01 02", "01 02 CC 00"}, // no more than there is
    {"00 00", "01 02", 0, "AA BB CC", ""},
    {"FF FF", "01", 65535, "AA BB CC 01", nullptr},
};

TEST(LinuxFrame, ReadReplyAppendsWriteReplyOverwrites)
{
    for (const ReplyRow &row : ReplyRows) {
        SCOPED_TRACE(testing::Message() << row.length << ", " << row.data);
        const QByteArray reply = closed(hex("55 AA 00 00 00 00 00 00 0000 00 00 0000 0000")
                                        + hex(row.length) + hex(row.data));
        PackageRequestReadData read;
        read.setData(hex("AA BB CC"));
        EXPECT_TRUE(read.unPackageReply_Linux(reply));
        EXPECT_EQ(read.getReplyDataLength(), row.announced);
        EXPECT_EQ(read.data(), hex(row.read));

        PackageRequestWriteData write;
        write.setData(hex("AA BB CC"));
        EXPECT_TRUE(write.unPackageReply_Linux(reply));
        EXPECT_EQ(write.getPackageDataLength(), row.announced);
        EXPECT_EQ(write.data(),
                  row.written ? hex(row.written) : hex("01 BB CC") + QByteArray(65532, '\0'));
    }
}

TEST(LinuxFrame, ReadReplyReceivedTwiceDoublesTheData)
{
    const QByteArray reply = closed(hex("55 AA 00 00 00 00 00 00 0000 00 00 0000 0000 0200 0102"));
    PackageRequestReadData package;
    EXPECT_TRUE(package.unPackageReply_Linux(reply));
    EXPECT_TRUE(package.unPackageReply_Linux(reply));
    EXPECT_EQ(package.data(), hex("01 02 01 02"));
    EXPECT_EQ(package.getReplyDataLength(), 2);
}

TEST(LinuxFrame, ReadersUseTheVirtualLengths)
{
    class FixedRead : public PackageRequestReadData
    {
    public:
        int getReplyDataLength() const override { return -3; }
    };
    class FixedWrite : public PackageRequestWriteData
    {
    public:
        int getPackageDataLength() const override { return -3; }
    };
    const QByteArray reply = closed(hex("55 AA 00 00 00 00 00 00 0000 00 00 0000 0000 0200 0102"));
    FixedRead read;
    read.setData(hex("AA"));
    EXPECT_TRUE(read.unPackageReply_Linux(reply));
    EXPECT_EQ(read.data(), hex("AA"));
    FixedWrite write;
    write.setData(hex("AA"));
    EXPECT_TRUE(write.unPackageReply_Linux(reply));
    EXPECT_EQ(write.data(), QByteArray());
}

TEST(LinuxFrame, DataReadersGoThroughTheVirtualHeaderReader)
{
    class OwnHeader : public PackageRequestReadData
    {
    public:
        bool accepts = true;
        bool unBasePackageReply_Linux(QByteArray) override { return accepts; }
    };
    OwnHeader package;
    const QByteArray reply = hex("55 AA 00 00 00 00 00 00 0000 00 00 0000 0000 0100 07 FFFF");
    EXPECT_TRUE(package.unPackageReply_Linux(reply)) << "no checksum of its own";
    EXPECT_EQ(package.data(), hex("07"));
    package.accepts = false;
    EXPECT_FALSE(package.unPackageReply_Linux(reply));
    EXPECT_EQ(package.data(), hex("07"));
}

} // namespace
