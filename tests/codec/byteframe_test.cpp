// The common byte frame: cases that the vectors do not have, above all input that is not a whole
// frame.

#include "bytecursors_p.h"
#include "testsupport.h"

#include <packagerequestread.h>
#include <packagerequestwritedata.h>

#include <limits>

namespace {

/// The fields of a header after the two texts.
struct Fields
{
    int timeout = 0;
    quint64 serialNum = 0;
    int scrAddr = 0;
    int desAddr = 0;
    int deviceType = 0;
    int portAddr = 0;
    int scanBoardAddr = 0;
    int readWriteCode = 0;
    int reserved2 = 0;
    int lowAddr = 0;
    int highAddr = 0;
};

Fields fieldsOf(const PackageBase &package)
{
    return {package.getTimeout(),       package.getSerialNum(),     package.getScrAddr(),
            package.getDesAddr(),       package.getDeviceType(),    package.getPortAddr(),
            package.getScanBoardAddr(), package.getReadWriteCode(), package.getReserved2(),
            package.getLowAddr(),       package.getHighAddr()};
}

bool operator==(const Fields &a, const Fields &b)
{
    return a.timeout == b.timeout && a.serialNum == b.serialNum && a.scrAddr == b.scrAddr
        && a.desAddr == b.desAddr && a.deviceType == b.deviceType && a.portAddr == b.portAddr
        && a.scanBoardAddr == b.scanBoardAddr && a.readWriteCode == b.readWriteCode
        && a.reserved2 == b.reserved2 && a.lowAddr == b.lowAddr && a.highAddr == b.highAddr;
}

void PrintTo(const Fields &fields, std::ostream *out)
{
    *out << std::hex << "timeout " << fields.timeout << ", serial " << fields.serialNum
         << ", screen " << fields.scrAddr << ", destination " << fields.desAddr << ", type "
         << fields.deviceType << ", port " << fields.portAddr << ", scan board "
         << fields.scanBoardAddr << ", read/write " << fields.readWriteCode << ", reserved "
         << fields.reserved2 << ", low " << fields.lowAddr << ", high " << fields.highAddr;
}

struct TruncationRow
{
    int size; // of a frame 00 0000 0000 01 02 03 ... 12
    int consumed;
    Fields fields;
};

// A field that does not fit reads as 0 and takes no bytes, so a shorter one after it may still
// be read.
const TruncationRow TruncationRows[] = {
    {0, 1, {}},
    {1, 1, {}},
    {2, 2, {}}, // the byte 00 is too short for K, T, time-out and serial number: screen address
    {3, 3, {}},
    {4, 4, {}}, // likewise after K
    {5, 5, {}},
    {6, 6, {0, 0, 0x01}},
    {7, 7, {0, 0x0201}},
    {8, 8, {0, 0x0201, 0x03}},
    {9, 9, {0x04030201}},
    {10, 10, {0x04030201, 0, 0x05}},
    {11, 11, {0x04030201, 0x0605}},
    {12, 12, {0x04030201, 0x0605, 0x07}},
    {13, 13, {0x04030201, 0x0605, 0x07, 0x08}},
    {14, 14, {0x04030201, 0x0605, 0x07, 0x08, 0x09}},
    {15, 15, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A}},
    {16, 16, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0, 1}},
    {17, 17, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B}},
    {18, 18, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B, 1}},
    {19, 19, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B, 1, 0x0E}},
    {20, 19, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B, 1, 0x0E}},
    {21, 21, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B, 1, 0x0E, 0x100F}},
    {22, 21, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B, 1, 0x0E, 0x100F}},
    {23, 23, {0x04030201, 0x0605, 0x07, 0x08, 0x09, 0x0A, 0x0C0B, 1, 0x0E, 0x100F, 0x1211}},
};

TEST(RequestFrame, EveryTruncation)
{
    const QByteArray frame =
        hex("00 0000 0000 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12");
    ASSERT_EQ(frame.size(), 23);
    for (const TruncationRow &row : TruncationRows) {
        SCOPED_TRACE(row.size);
        PackageBase package;
        package.setDeviceKey(QStringLiteral("key"));
        package.setTag(QStringLiteral("tag"));
        int consumed = -1;
        EXPECT_TRUE(package.UnPackageRequest(frame.left(row.size), 0, &consumed));
        EXPECT_EQ(consumed, row.consumed);
        EXPECT_EQ(fieldsOf(package), row.fields);
        EXPECT_EQ(package.getDeviceKey(), QString());
        EXPECT_EQ(package.getTag(), QString());
    }
}

TEST(RequestFrame, BeginsAnywhere)
{
    const QByteArray frame = hex("FF FF FF 00 0100 6B 0000 04030201 0605 07 08 09 0A 0C0B 01 0D "
                                 "0F0E 1110 FF FF");
    PackageBase package;
    int consumed = -1;
    EXPECT_TRUE(package.UnPackageRequest(frame, 3, &consumed));
    EXPECT_EQ(consumed, 24);
    EXPECT_EQ(package.getDeviceKey(), QStringLiteral("k"));
    EXPECT_EQ(fieldsOf(package),
              (Fields{0x01020304, 0x0506, 7, 8, 9, 0x0A, 0x0B0C, 1, 0x0D, 0x0E0F, 0x1011}));
}

TEST(RequestFrame, PositionsOutsideTheDataReadAsZero)
{
    constexpr int MinInt = std::numeric_limits<int>::min();
    constexpr int MaxInt = std::numeric_limits<int>::max();
    for (const int start : {23, 24, 1000, MaxInt - 1, MaxInt, MinInt, MinInt + 1, -1000, -100}) {
        SCOPED_TRACE(start);
        PackageBase package;
        package.setTimeout(99);
        int consumed = -1;
        EXPECT_TRUE(package.UnPackageRequest(QByteArray(23, '\xFF'), start, &consumed));
        EXPECT_EQ(fieldsOf(package), Fields());
    }
}

TEST(RequestFrame, MarkerIsNotTested)
{
    const QByteArray frame = hex("FE 0000 0000 03000000 0500 00 00 00 00 0000 00 00 0000 0000");
    PackageBase package;
    int consumed = 0;
    EXPECT_TRUE(package.UnPackageRequest(frame, 0, &consumed));
    EXPECT_EQ(package.getSerialNum(), 5U);
}

struct TextRow
{
    const char *bytes;
    QString text;
};

TEST(RequestFrame, TextsAreUtf8AndEndAtTheirFirstZeroByte)
{
    const TextRow rows[] = {
        {"61 62", QStringLiteral("ab")},
        {"61 00 62", QStringLiteral("a")},
        {"00 61", QString()},
        {"C3 BC", QString(QChar(0xFC))},
        {"E2 82 AC F0 9F 98 80", QString::fromUtf8("\xE2\x82\xAC\xF0\x9F\x98\x80")},
        {"61 FF 62", QString(QStringLiteral("a%1b")).arg(QChar(0xFFFD))}, // not UTF-8
    };
    for (const TextRow &row : rows) {
        SCOPED_TRACE(row.bytes);
        const QByteArray text = hex(row.bytes);
        const QByteArray sized = QByteArray(1, static_cast<char>(text.size())) + '\0' + text;
        PackageBase package;
        int consumed = 0;
        EXPECT_TRUE(
            package.UnPackageRequest('\0' + sized + sized + QByteArray(18, '\x01'), 0, &consumed));
        EXPECT_EQ(consumed, 23 + 2 * text.size()) << "all bytes count";
        EXPECT_EQ(package.getDeviceKey(), row.text);
        EXPECT_EQ(package.getTag(), row.text);
        EXPECT_EQ(package.getTimeout(), 0x01010101);
    }
}

TEST(RequestFrame, TextThatRunsPastTheEndIsEmptyAndReported)
{
    PackageBase package;
    package.setDeviceKey(QStringLiteral("before"));
    int consumed = 0;
    const LogCapture log;
    EXPECT_TRUE(package.UnPackageRequest(hex("00 0A00 61 62 63"), 0, &consumed));
    EXPECT_EQ(package.getDeviceKey(), QString());
    EXPECT_EQ(fieldsOf(package), Fields());
    EXPECT_EQ(consumed, 13) << "the announced bytes count as consumed";
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(log.messages().front().line, 530);
    EXPECT_TRUE(log.messages().front().function.contains(QStringLiteral("ArrayCopy")));
}

TEST(ByteReader, TakesNoTextFromInFrontOfTheFrame)
{
    // No decoder gets here: a size read before the frame is 0.
    const QByteArray frame = hex("61 62");
    Korvin::ByteReader reader(frame, -1);
    QString text = QStringLiteral("before");
    reader.keptText("name", 2, text);
    EXPECT_EQ(text, QString());
    EXPECT_EQ(reader.distanceFrom(-1), 2);
}

TEST(RequestFrame, LongestTexts)
{
    PackageBase package;
    package.setDeviceKey(QString(65535, QLatin1Char('k')));
    package.setTag(QString(65535, QLatin1Char('t')));
    const QByteArray frame = package.MackPackageRequest();
    EXPECT_EQ(frame.size(), 23 + 2 * 65535);
    PackageBase decoded;
    int consumed = 0;
    EXPECT_TRUE(decoded.UnPackageRequest(frame, 0, &consumed));
    EXPECT_EQ(consumed, frame.size());
    EXPECT_EQ(decoded.getDeviceKey(), package.getDeviceKey());
    EXPECT_EQ(decoded.getTag(), package.getTag());
}

TEST(RequestFrame, SizeOfALongerTextIsCutButItsBytesAreNot)
{
    PackageBase package;
    package.setTag(QString(65536 + 2, QLatin1Char('t')));
    const QByteArray frame = package.MackPackageRequest();
    EXPECT_EQ(frame.size(), 23 + 65538);
    EXPECT_EQ(frame.mid(3, 4), hex("02 00 74 74"));
}

TEST(RequestFrame, SerialNumberHas16Bits)
{
    PackageBase package;
    package.setSerialNum(300);
    const QByteArray frame = package.MackPackageRequest();
    EXPECT_EQ(frame.mid(9, 2), hex("2C 01"));
    PackageBase decoded;
    int consumed = 0;
    EXPECT_TRUE(decoded.UnPackageRequest(frame, 0, &consumed));
    EXPECT_EQ(decoded.getSerialNum(), 300U);
}

TEST(RequestFrame, BaseCodecDoesNotCallThePayloadHooks)
{
    class Payload : public PackageBase
    {
    public:
        void AppendDataToPackage(bool, QByteArray *package) override { package->append("x"); }
        bool ParseDataFromPackage(bool, QByteArray, int, int *) override
        {
            ADD_FAILURE();
            return false;
        }
    };
    Payload package;
    EXPECT_EQ(package.MackPackageRequest().size(), 23);
    EXPECT_EQ(package.MackPackageReply(true).size(), 29);
    int consumed = 0;
    EXPECT_TRUE(package.UnPackageRequest(QByteArray(23, '\0'), 0, &consumed));
}

TEST(PayloadHooks, OfTheBaseDoNothing)
{
    PackageBase package;
    QByteArray frame = hex("01 02");
    package.AppendDataToPackage(true, &frame);
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("01 02"));
    const QJsonObject before = snapshot(package);
    for (const bool isRequest : {true, false}) {
        int parsed = -1;
        EXPECT_TRUE(package.ParseDataFromPackage(isRequest, hex("01 02 03 04"), 1, &parsed));
        EXPECT_EQ(parsed, 0);
    }
    EXPECT_EQ(snapshot(package), before);
}

TEST(ReplyFrame, ShortReplyOfSuccess)
{
    PackageBase package;
    package.setSerialNum(5);
    EXPECT_EQ(package.MackPackageReply(false), hex("00 05 00 00 01 00"));
}

struct ShortReplyRow
{
    int size; // of the short reply 00 34 12 07 02 FE
    quint64 serialNum;
    uint ackCode;
    int commResult;
    int packResult;
};

const ShortReplyRow ShortReplyRows[] =
    {
        {0, 0, 0, 0, 0},         {1, 0, 0, 0, 0},
        {2, 0, 0x34, 0, 0}, // the serial number does not fit, the acknowledge code does
        {3, 0x1234, 0, 0, 0},    {4, 0x1234, 7, 0, 0},
        {5, 0x1234, 7, 2, 0},    {6, 0x1234, 7, 2, 0xFE},
        {7, 0x1234, 7, 2, 0xFE},
};

TEST(ReplyFrame, EveryTruncationOfTheShortReply)
{
    for (const ShortReplyRow &row : ShortReplyRows) {
        SCOPED_TRACE(row.size);
        PackageBase package;
        package.setSerialNum(99);
        package.setAckCode(99);
        int consumed = -1;
        bool full = true;
        EXPECT_TRUE(package.UnPackageReply(hex("00 34 12 07 02 FE 99").left(row.size), 0, &consumed,
                                           &full));
        EXPECT_FALSE(full);
        EXPECT_EQ(consumed, 6) << "whatever was read";
        EXPECT_EQ(package.getSerialNum(), row.serialNum);
        EXPECT_EQ(package.getAckCode(), row.ackCode);
        EXPECT_EQ(package.getCommResult(), row.commResult);
        EXPECT_EQ(package.getPackResult(), row.packResult);
    }
}

TEST(ReplyFrame, ShortReplyLeavesAllOtherFields)
{
    PackageBase package;
    package.setDeviceKey(QStringLiteral("key"));
    package.setTimeout(77);
    QJsonObject expected = snapshot(package);
    expected[QStringLiteral("serialNum")] = 0x1234;
    expected[QStringLiteral("ackCode")] = 7;
    expected[QStringLiteral("commResult")] = QStringLiteral("crcErr");
    expected[QStringLiteral("packResult")] = QStringLiteral("abort");
    int consumed = 0;
    bool full = true;
    EXPECT_TRUE(package.UnPackageReply(hex("00 34 12 07 02 FE"), 0, &consumed, &full));
    EXPECT_EQ(snapshot(package), expected);
}

TEST(ReplyFrame, MarkerIsTheFirstByteOfTheArrayWhateverTheStart)
{
    // Byte 0 is 0: a short reply, read from offset 11 on although the byte at 10 is not 0.
    PackageBase package;
    int consumed = 0;
    bool full = true;
    EXPECT_TRUE(package.UnPackageReply(hex("00 FF FF FF FF FF FF FF FF FF 01 34 12 07 02 FE"), 10,
                                       &consumed, &full));
    EXPECT_FALSE(full);
    EXPECT_EQ(consumed, 6);
    EXPECT_EQ(package.getSerialNum(), 0x1234U);
    EXPECT_EQ(package.getAckCode(), 7U);
    EXPECT_EQ(package.getCommResult(), 2);
    EXPECT_EQ(package.getPackResult(), 0xFE);

    // Byte 0 is not 0: a full reply, read from offset 2 on although the byte there is 0.
    const QByteArray reply =
        hex("7F FF 00 0000 0000 03000000 0500 00 00 00 00 0000 00 00 0000 0000 "
            "07 02 FE");
    EXPECT_TRUE(package.UnPackageReply(reply, 2, &consumed, &full));
    EXPECT_TRUE(full);
    EXPECT_EQ(consumed, 26);
    EXPECT_EQ(package.getSerialNum(), 5U);
    EXPECT_EQ(package.getAckCode(), 7U);
    EXPECT_EQ(package.getCommResult(), 2);
    EXPECT_EQ(package.getPackResult(), 0xFE);
}

TEST(ReplyFrame, FullReplyReadsItsResultsAsConsecutiveBytes)
{
    PackageBase package;
    package.setAckCode(7);
    package.setCommResult(OrvexEnum::CommCodeErr);
    package.setPackResult(OrvexEnum::PackAbort);
    const QByteArray reply = package.MackPackageReply(true);
    EXPECT_EQ(reply.mid(23), hex("07 00 06 00 FE 00"));
    PackageBase decoded;
    int consumed = 0;
    bool full = false;
    EXPECT_TRUE(decoded.UnPackageReply(reply, 0, &consumed, &full));
    EXPECT_TRUE(full);
    EXPECT_EQ(consumed, 26);
    EXPECT_EQ(decoded.getAckCode(), 7U);
    EXPECT_EQ(decoded.getCommResult(), 0) << "the unwritten byte after the acknowledge code";
    EXPECT_EQ(decoded.getPackResult(), 6) << "the communication result";
}

TEST(ReplyFrame, FullReplyNeedsNoMoreThanItsMarker)
{
    PackageBase package;
    package.setAckCode(9);
    int consumed = -1;
    bool full = false;
    EXPECT_TRUE(package.UnPackageReply(hex("01"), 0, &consumed, &full));
    EXPECT_TRUE(full);
    EXPECT_EQ(consumed, 1);
    EXPECT_EQ(package.getAckCode(), 0U);
}

/// Replaces the request inside a full reply.
class OwnRequest : public PackageBase
{
public:
    QByteArray request;
    bool accepts = true;

    QByteArray MackPackageRequest() override { return request; }
    bool UnPackageRequest(QByteArray, int startIndex, int *index) override
    {
        EXPECT_EQ(startIndex, 2);
        *index = 3;
        return accepts;
    }
};

TEST(ReplyFrame, FullReplyUsesTheRequestOfTheClass)
{
    OwnRequest package;
    package.setAckCode(7);
    package.request = hex("AA BB");
    EXPECT_EQ(package.MackPackageReply(true), hex("01 BB 07 00 01 00 00 00"));

    int consumed = 0;
    bool full = false;
    EXPECT_TRUE(package.UnPackageReply(hex("01 FF FF FF FF 03 04 05"), 2, &consumed, &full));
    EXPECT_EQ(package.getAckCode(), 3U);
    EXPECT_EQ(package.getCommResult(), 4);
    EXPECT_EQ(package.getPackResult(), 5);
    EXPECT_EQ(consumed, 6);
}

TEST(ReplyFrame, RefusedRequestInsideAFullReplyFailsWithTheObjectUnchanged)
{
    OwnRequest package;
    package.accepts = false;
    package.setAckCode(9);
    const QJsonObject before = snapshot(package);
    int consumed = -1;
    bool full = false;
    EXPECT_FALSE(package.UnPackageReply(hex("01 FF FF FF FF 03 04 05"), 2, &consumed, &full));
    EXPECT_TRUE(full);
    EXPECT_EQ(consumed, 0);
    EXPECT_EQ(snapshot(package), before);
}

TEST(ReplyFrame, EmptyRequestGivesTheResultsAroundTheMarker)
{
    OwnRequest package;
    package.setAckCode(7);
    package.setPackResult(OrvexEnum::PackCancel);
    // The acknowledge code is inserted before the marker, the two results after what follows it.
    EXPECT_EQ(package.MackPackageReply(true), hex("07 01 01 00 FD 00"));
    package.request = QByteArray("");
    EXPECT_EQ(package.MackPackageReply(true), hex("07 01 01 00 FD 00"));
}

/// Replaces the request inside a full reply of a class with a payload.
template <typename Package>
class EmptyRequest : public Package
{
public:
    QByteArray MackPackageRequest() override { return {}; }
};

TEST(ReplyFrame, EmptyRequestIsFollowedByThePayload)
{
    EmptyRequest<PackageRequestRead> read;
    read.setAckCode(7);
    read.setReplyDataLength(0x01020304);
    EXPECT_EQ(read.MackPackageReply(true), hex("07 01 01 00 00 00  04 03 02 01 00"));

    EmptyRequest<PackageRequestWriteData> write;
    write.setPackageDataLength(2);
    write.setData(hex("AA BB"));
    EXPECT_EQ(write.MackPackageReply(true), hex("00 01 01 00 00 00  00 00  02 00 00 00 AA BB"));
}

/// Encodes itself when asked for its data, as a class that forwards its own frame may.
class EncodesItself : public PackageRequestWriteData
{
public:
    QByteArray data() const override
    {
        return const_cast<EncodesItself *>(this)->MackPackageRequest(); // NOLINT(*-const-cast)
    }
};

TEST(RequestFrame, EncoderDoesNotAskForTheData)
{
    EncodesItself package;
    package.setData(hex("AA"));
    package.setPackageDataLength(1);
    EXPECT_EQ(package.data().size(), 23 + 2 + 4 + 1);
    EXPECT_EQ(package.MackPackageReply(true).size(), 30 + 6 + 7);
}

} // namespace
