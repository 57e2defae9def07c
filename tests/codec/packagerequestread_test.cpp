#include "testsupport.h"

#include <packagerequestread.h>

#include <cstring>

namespace {

PackageRequestRead makeRead(uchar reserved2, int replyDataLength,
                            OrvexEnum::ClientPackageType kind = OrvexEnum::FilePackage)
{
    return {QStringLiteral("key"),
            1,
            2,
            3,
            4,
            0x0506,
            0x0708,
            0x090A,
            reserved2,
            11,
            QStringLiteral("tag"),
            OrvexEnum::CommPending,
            replyDataLength,
            kind};
}

/// Overrides the length that getDataLength() and the encoders use.
class FixedLength : public PackageRequestRead
{
public:
    int getReplyDataLength() const override { return 0x01020304; }
};

TEST(PackageRequestRead, Defaults)
{
    PackageRequestRead package;
    PackageBase base;
    EXPECT_EQ(package.getReplyDataLength(), 0);
    EXPECT_EQ(baseSnapshot(package), baseSnapshot(base));
}

TEST(PackageRequestRead, Constructor)
{
    const quint64 serial = PackageBase::makeSerialNum();
    PackageRequestRead package = makeRead(10, 12);
    PackageRequestRead expected;
    expected.setSerialNum(serial % 255 + 1);
    expected.setDeviceKey(QStringLiteral("key"));
    expected.setScrAddr(1);
    expected.setDesAddr(2);
    expected.setDeviceType(3);
    expected.setPortAddr(4);
    expected.setScanBoardAddr(0x0506);
    expected.setHighAddr(0x0708);
    expected.setLowAddr(0x090A);
    expected.setReadWriteCode(OrvexEnum::Read);
    expected.setReserved2(10);
    expected.setTimeout(11);
    expected.setTag(QStringLiteral("tag"));
    expected.setCommResult(OrvexEnum::CommPending);
    expected.setReplyDataLength(12);
    expected.setClientPackageType(OrvexEnum::FilePackage);
    EXPECT_EQ(snapshot(package), snapshot(expected));
    EXPECT_TRUE(package.getIsRegisterAddrSelfIncreasing());
}

TEST(PackageRequestRead, Reserved2ChoosesTheTagProtocol)
{
    EXPECT_EQ(makeRead(0x30, 0).getTagProto(), QStringLiteral("3rdCalder-proto"));
    EXPECT_EQ(makeRead(0x2F, 0).getTagProto(), QStringLiteral("3rd-proto"));
    EXPECT_EQ(makeRead(0x31, 0).getTagProto(), QStringLiteral("3rd-proto"));
    EXPECT_EQ(makeRead(0, 0).getTagProto(), QStringLiteral("3rd-proto"));
}

TEST(PackageRequestRead, CopyTakesTheLengthThroughTheGetter)
{
    FixedLength source;
    source.setReplyDataLength(5);
    source.setTimeout(6);
    const PackageRequestRead &asRead = source;
    PackageRequestRead copy(asRead);
    EXPECT_EQ(copy.getReplyDataLength(), 0x01020304);
    EXPECT_EQ(copy.getTimeout(), 6);

    PackageRequestRead target;
    EXPECT_EQ(&(target = asRead), &target);
    EXPECT_EQ(target.getReplyDataLength(), 5) << "assignment copies the member";
    EXPECT_EQ(target.getTimeout(), 6);
}

TEST(PackageRequestRead, DataLengthIsTheVirtualReplyDataLength)
{
    PackageRequestRead package;
    package.setReplyDataLength(7);
    EXPECT_EQ(package.getDataLength(), 7);
    EXPECT_EQ(FixedLength().getDataLength(), 0x01020304);
}

TEST(PackageRequestRead, EncodersUseTheVirtualReplyDataLength)
{
    FixedLength package;
    EXPECT_EQ(package.MackPackageRequest().mid(23), hex("04 03 02 01 00"));
    EXPECT_TRUE(package.makePackageRequest().endsWith(QStringLiteral(",16909060,data")));
    EXPECT_TRUE(package.makePackageReply().endsWith(QStringLiteral(",0,16909060,data")));
}

TEST(PackageRequestRead, PayloadHooks)
{
    PackageRequestRead package;
    package.setReplyDataLength(4096);
    package.setClientPackageType(OrvexEnum::FilePackage);
    QByteArray frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA"));
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 00 10 00 00 01"));

    const QJsonObject before = snapshot(package);
    int parsed = -1;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("01 02 03 04 05"), 0, &parsed));
    EXPECT_EQ(parsed, 0);
    EXPECT_EQ(snapshot(package), before);
}

struct PayloadRow
{
    const char *bytes;
    int start;
    int parsed;
    int replyDataLength;
    int kind;
};

const PayloadRow PayloadRows[] = {
    {"78 56 34 12 02", 0, 5, 0x12345678, 2},
    {"FF 78 56 34 12 02", 1, 5, 0x12345678, 2},
    {"FF FF FF FF FF", 0, 5, -1, 255},
    {"78 56 34 12", 0, 4, 0x12345678, 0},
    {"78 56 34", 0, 1, 0, 0x78}, // the length does not fit, the kind does
    {"78", 0, 1, 0, 0x78},
    {"", 0, 0, 0, 0},
    {"78 56 34 12 02", 99, 0, 0, 0},
};

TEST(PackageRequestRead, ParsesItsPayload)
{
    for (const PayloadRow &row : PayloadRows) {
        SCOPED_TRACE(testing::Message() << row.bytes << " at " << row.start);
        PackageRequestRead package = makeRead(0, 99, OrvexEnum::FilePackage);
        int parsed = -1;
        EXPECT_TRUE(package.ParseDataFromPackage(true, hex(row.bytes), row.start, &parsed));
        EXPECT_EQ(parsed, row.parsed);
        EXPECT_EQ(package.getReplyDataLength(), row.replyDataLength);
        EXPECT_EQ(package.getClientPackageType(), row.kind);
    }
}

/// Has a payload of its own, which its hooks read and write.
class OwnPayload : public PackageRequestRead
{
public:
    bool result = true;
    int length = 2;
    QStringList calls;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override
    {
        package->append(isRequest ? "Q" : "A");
    }

    bool ParseDataFromPackage(bool isRequest, QByteArray, int startIndex,
                              int *parsedLength) override
    {
        calls << QStringLiteral("%1 at %2").arg(isRequest).arg(startIndex);
        *parsedLength = length;
        return result;
    }
};

TEST(PackageRequestRead, FramesReachTheHooksThroughTheVirtualCall)
{
    OwnPayload package;
    EXPECT_EQ(package.MackPackageRequest().mid(23), QByteArray("Q"));
    EXPECT_EQ(package.MackPackageReply(false).mid(6), QByteArray("A"));
    const QByteArray full = package.MackPackageReply(true);
    EXPECT_EQ(full.size(), 23 + 1 + 6 + 1);
    EXPECT_EQ(full.at(23), 'Q') << "inside the request";
    EXPECT_EQ(full.at(30), 'Q') << "and again at the end";
}

TEST(PackageRequestRead, DecodersReachTheHookThroughTheVirtualCallAndIgnoreItsResult)
{
    OwnPayload package;
    package.result = false;
    int consumed = -1;
    EXPECT_TRUE(package.UnPackageRequest(QByteArray(40, '\0'), 4, &consumed));
    EXPECT_EQ(package.calls, QStringList{QStringLiteral("1 at 27")});
    EXPECT_EQ(consumed, 25);

    package.calls.clear();
    bool full = true;
    EXPECT_TRUE(package.UnPackageReply(QByteArray(40, '\0'), 4, &consumed, &full));
    EXPECT_EQ(package.calls, QStringList{QStringLiteral("0 at 10")});
    EXPECT_FALSE(full);
    EXPECT_EQ(consumed, 8);

    package.calls.clear();
    EXPECT_TRUE(package.UnPackageReply('\1' + QByteArray(40, '\0'), 4, &consumed, &full));
    EXPECT_EQ(package.calls, QStringList({QStringLiteral("1 at 27"), QStringLiteral("1 at 32")}));
    EXPECT_TRUE(full);
    EXPECT_EQ(consumed, 23 + 2 + 3 + 2);
}

/// Refuses to decode, as a subclass may.
class Refusing : public PackageRequestRead
{
public:
    bool UnPackageRequest(QByteArray, int, int *) override { return false; }
};

TEST(PackageRequestRead, FullReplyWhoseRequestIsRefusedFails)
{
    Refusing package;
    package.setAckCode(9);
    const QJsonObject before = snapshot(package);
    int consumed = -1;
    bool full = false;
    EXPECT_FALSE(package.UnPackageReply(QByteArray(40, '\1'), 0, &consumed, &full));
    EXPECT_EQ(consumed, 0);
    EXPECT_TRUE(full);
    EXPECT_EQ(snapshot(package), before);
}

constexpr char Common[] = "0,,0,0,0,0,0,0,0,0,read,3,,ok,ok";

QString requestRecord(const char *own)
{
    return QString::fromLatin1(Common) + QLatin1String(own);
}

struct KindRow
{
    int kind;
    const char *written;
};

TEST(PackageRequestRead, KindWords)
{
    for (const KindRow &row : {KindRow{0, "data"}, KindRow{1, "file"}, KindRow{2, "memData"},
                               KindRow{3, "data"}, KindRow{-1, "data"}}) {
        PackageRequestRead package;
        package.setClientPackageType(OrvexEnum::ClientPackageType(row.kind));
        EXPECT_EQ(package.makePackageRequest(), requestRecord(",0,") + QLatin1String(row.written));
    }
    const struct
    {
        const char *word;
        OrvexEnum::ClientPackageType kind;
    } rows[] = {
        {"data", OrvexEnum::DataPackage},       {"file", OrvexEnum::FilePackage},
        {"memData", OrvexEnum::MemDataPackage}, {"DATA", OrvexEnum::MemDataPackage},
        {"", OrvexEnum::MemDataPackage},        {"other", OrvexEnum::MemDataPackage},
    };
    for (const auto &row : rows) {
        PackageRequestRead package;
        EXPECT_TRUE(package.unPackageRequest(requestRecord(",1,") + QLatin1String(row.word)));
        EXPECT_EQ(package.getClientPackageType(), row.kind) << row.word;
    }
}

struct PartRow
{
    const char *length;
    int maxPartSize;
    int partCount;
};

constexpr PartRow PartRows[] = {
    {"5000", 2048, 3},
    {"4096", 2048, 2},
    {"4097", 2048, 3},
    {"1", 2048, 1},
    {"0", 2048, 0},
    {"5000", 0, 0}, // no division by zero
    {"5000", -2048, -1},
    {"-5000", 2048, -1},
    {"-2147483648", -1, -2147483647 - 1},
    {"2147483647", 1, 2147483647},
    {"none", 2048, 0},
};

TEST(PackageRequestRead, RequestRecordGivesThePartCount)
{
    for (const PartRow &row : PartRows) {
        SCOPED_TRACE(testing::Message() << row.length << " / " << row.maxPartSize);
        PackageRequestRead package;
        package.setMaxPartSize(row.maxPartSize);
        package.setPartCount(99);
        EXPECT_TRUE(package.unPackageRequest(requestRecord(",") + QLatin1String(row.length)
                                             + QStringLiteral(",data")));
        EXPECT_EQ(package.getPartCount(), row.partCount);
    }
}

// A reply does not bring the bytes of a file or of memory that the length counts.
TEST(PackageRequestRead, ReplyReservesMemoryForDataOnly)
{
    PackageRequestRead package;
    package.setReplyDataLength(60000);
    EXPECT_GE(package.MackPackageReply(false).capacity(), 60000);
    for (const auto kind : {OrvexEnum::FilePackage, OrvexEnum::MemDataPackage}) {
        package.setClientPackageType(kind);
        EXPECT_LT(package.MackPackageReply(false).capacity(), 1000);
    }
}

TEST(PackageRequestRead, PartCountUsesTheVirtualReplyDataLength)
{
    FixedLength package;
    EXPECT_TRUE(package.unPackageRequest(requestRecord(",1,data")));
    EXPECT_EQ(package.getPartCount(), 0x01020304 / 2048 + 1);
}

TEST(PackageRequestRead, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns <= 20; ++columns) {
        SCOPED_TRACE(columns);
        PackageRequestRead package = makeRead(1, 2);
        const QJsonObject before = snapshot(package);
        const QString record(columns - 1, QLatin1Char(','));
        EXPECT_EQ(package.unPackageReply(record), columns >= 18);
        if (columns < 18) {
            EXPECT_EQ(snapshot(package), before);
        }
        EXPECT_EQ(package.unPackageRequest(record), columns >= 17);
        if (columns < 17) {
            EXPECT_EQ(snapshot(package), before);
        }
    }
}

TEST(PackageRequestRead, OwnReplyRecordGivesTheAcknowledgeCodeAsLength)
{
    PackageRequestRead package;
    package.setAckCode(5);
    package.setReplyDataLength(12);
    package.setClientPackageType(OrvexEnum::FilePackage);
    const QString record = package.makePackageReply();
    EXPECT_EQ(record, requestRecord(",5,12,file"));
    package.setPartCount(4);
    EXPECT_TRUE(package.unPackageReply(record));
    EXPECT_EQ(package.getAckCode(), 5U);
    EXPECT_EQ(package.getReplyDataLength(), 5);
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::MemDataPackage);
    EXPECT_EQ(package.getPartCount(), 4) << "a reply does not derive it";
}

/// Refuses its common columns.
class NoColumns : public PackageRequestRead
{
protected:
    bool unPackage(QString) override { return false; }
};

TEST(PackageRequestRead, RefusedCommonColumnsRefuseTheRecord)
{
    NoColumns package;
    package.setReplyDataLength(9);
    const QJsonObject before = snapshot(package);
    EXPECT_FALSE(package.unPackageRequest(requestRecord(",1,data")));
    EXPECT_FALSE(package.unPackageReply(requestRecord(",0,1,data")));
    EXPECT_EQ(snapshot(package), before);
}

TEST(PackageRequestRead, RawBufferOverloadIsNotHidden)
{
    PackageRequestRead package;
    EXPECT_TRUE(package.unPackageReply(nullptr, 0));
}

TEST(PackageRequestRead, MetaObject)
{
    const QMetaObject &meta = PackageRequestRead::staticMetaObject;
    EXPECT_STREQ(meta.className(), "PackageRequestRead");
    EXPECT_EQ(meta.superClass(), &PackageBase::staticMetaObject);
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
}

TEST(PackageRequestRead, ReplyDataLengthIsTheLastSlot)
{
    const auto slotOf = [](auto function) {
        long words[2];
        static_assert(sizeof words == sizeof function);
        std::memcpy(words, &function, sizeof words);
        return words[0] / static_cast<long>(sizeof(void *));
    };
    EXPECT_EQ(slotOf(&PackageRequestRead::getReplyDataLength),
              slotOf(&PackageBase::unBasePackageReply_Linux) + 2);
}

} // namespace
