#include "testsupport.h"

#include <packagerequestwrite.h>

namespace {

PackageRequestWrite makeWrite(uchar reserved2, bool broadcast,
                              OrvexEnum::ClientPackageType kind = OrvexEnum::MemDataPackage)
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
            broadcast,
            kind};
}

TEST(PackageRequestWrite, Defaults)
{
    PackageRequestWrite package;
    PackageBase base;
    EXPECT_FALSE(package.bBroadcast());
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::DataPackage);
    EXPECT_EQ(package.getPackageDataLength(), 0);
    EXPECT_EQ(baseSnapshot(package), baseSnapshot(base));
}

TEST(PackageRequestWrite, Constructor)
{
    const quint64 serial = PackageBase::makeSerialNum();
    PackageRequestWrite package = makeWrite(10, true);
    EXPECT_TRUE(package.bBroadcast());
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::MemDataPackage);
    EXPECT_EQ(package.PackageBase::getClientPackageType(), OrvexEnum::DataPackage)
        << "the kind of the base is another one";
    EXPECT_EQ(package.getPackageDataLength(), 0);

    PackageBase expected;
    expected.setSerialNum(serial % 255 + 1);
    expected.setDeviceKey(QStringLiteral("key"));
    expected.setScrAddr(1);
    expected.setDesAddr(2);
    expected.setDeviceType(3);
    expected.setPortAddr(4);
    expected.setScanBoardAddr(0x0506);
    expected.setHighAddr(0x0708);
    expected.setLowAddr(0x090A);
    expected.setReadWriteCode(OrvexEnum::Write);
    expected.setReserved2(10);
    expected.setTimeout(11);
    expected.setTag(QStringLiteral("tag"));
    expected.setCommResult(OrvexEnum::CommPending);
    EXPECT_EQ(baseSnapshot(package), baseSnapshot(expected));
}

TEST(PackageRequestWrite, Reserved2ChoosesTheTagProtocol)
{
    EXPECT_EQ(makeWrite(0x30, false).getTagProto(), QStringLiteral("3rdCalder-proto"));
    EXPECT_EQ(makeWrite(0x31, false).getTagProto(), QStringLiteral("3rd-proto"));
}

TEST(PackageRequestWrite, CopyAndAssignment)
{
    PackageRequestWrite source = makeWrite(10, true);
    source.setPackageDataLength(77);
    PackageRequestWrite copy(source);
    EXPECT_EQ(snapshot(copy), snapshot(source));
    PackageRequestWrite target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), snapshot(source));
}

/// Shows and changes the column counts that only subclasses reach.
class Counts : public PackageRequestWrite
{
public:
    int request() const { return m_nRequestFieldCount; }
    int reply() const { return m_nReplyFieldCount; }

    void set(int request, int reply)
    {
        m_nRequestFieldCount = request;
        m_nReplyFieldCount = reply;
    }
};

TEST(PackageRequestWrite, ColumnCountsAreNotCopied)
{
    Counts source;
    EXPECT_EQ(source.request(), 2);
    EXPECT_EQ(source.reply(), 2);
    source.set(7, 8);
    const Counts copy(source);
    EXPECT_EQ(copy.request(), 2);
    EXPECT_EQ(copy.reply(), 2);
    Counts target;
    target = source;
    EXPECT_EQ(target.request(), 2);
    EXPECT_EQ(target.reply(), 2);
}

TEST(PackageRequestWrite, ColumnCountsAreWhatTheParsersRequire)
{
    Counts package;
    package.set(3, 4);
    EXPECT_FALSE(package.unPackageRequest(QString(16, QLatin1Char(','))));
    EXPECT_TRUE(package.unPackageRequest(QString(17, QLatin1Char(','))));
    EXPECT_FALSE(package.unPackageReply(QString(18, QLatin1Char(','))));
    EXPECT_TRUE(package.unPackageReply(QString(19, QLatin1Char(','))));
}

TEST(PackageRequestWrite, DataLengthIsTheVirtualPackageDataLength)
{
    class FixedLength : public PackageRequestWrite
    {
    public:
        int getPackageDataLength() const override { return 42; }
    };
    PackageRequestWrite package;
    package.setPackageDataLength(7);
    EXPECT_EQ(package.getDataLength(), 7);
    EXPECT_EQ(FixedLength().getDataLength(), 42);
}

TEST(PackageRequestWrite, PayloadHooks)
{
    PackageRequestWrite package = makeWrite(0, true);
    QByteArray frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA"));
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 01 02"));

    const QJsonObject before = snapshot(package);
    int parsed = -1;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("00 00"), 0, &parsed));
    EXPECT_EQ(parsed, 0);
    EXPECT_EQ(snapshot(package), before);
}

struct PayloadRow
{
    const char *bytes;
    int start;
    int parsed;
    bool broadcast;
    int kind;
};

const PayloadRow PayloadRows[] = {
    {"01 02", 0, 2, true, 2},    {"00 01", 0, 2, false, 1},
    {"02 01", 0, 2, false, 1}, // only 1 is true
    {"FF FF", 0, 2, false, 255}, {"AA 01 02", 1, 2, true, 2},
    {"01", 0, 1, true, 0},       {"", 0, 0, false, 0},
};

TEST(PackageRequestWrite, ParsesItsPayload)
{
    for (const PayloadRow &row : PayloadRows) {
        SCOPED_TRACE(testing::Message() << row.bytes << " at " << row.start);
        PackageRequestWrite package = makeWrite(0, true);
        int parsed = -1;
        EXPECT_TRUE(package.ParseDataFromPackage(true, hex(row.bytes), row.start, &parsed));
        EXPECT_EQ(parsed, row.parsed);
        EXPECT_EQ(package.bBroadcast(), row.broadcast);
        EXPECT_EQ(package.getClientPackageType(), row.kind);
        EXPECT_EQ(package.PackageBase::getClientPackageType(), OrvexEnum::DataPackage);
    }
}

constexpr char Common[] = "0,,0,0,0,0,0,0,0,0,read,3,,ok,ok";

QString recordWith(const char *own)
{
    return QString::fromLatin1(Common) + QLatin1String(own);
}

TEST(PackageRequestWrite, BroadcastAndKindWords)
{
    const struct
    {
        const char *own;
        bool broadcast;
        OrvexEnum::ClientPackageType kind;
    } rows[] = {
        {",true,file", true, OrvexEnum::FilePackage},
        {",false,memData", false, OrvexEnum::MemDataPackage},
        {",TRUE,data", false, OrvexEnum::DataPackage},
        {",1,MEMDATA", false, OrvexEnum::DataPackage}, // a write takes any other word for data
        {",,", false, OrvexEnum::DataPackage},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.own);
        PackageRequestWrite package = makeWrite(0, true);
        package.setPartCount(99);
        EXPECT_TRUE(package.unPackageRequest(recordWith(row.own)));
        EXPECT_EQ(package.bBroadcast(), row.broadcast);
        EXPECT_EQ(package.getClientPackageType(), row.kind);
        EXPECT_EQ(package.getPartCount(), 99);
    }
    for (const int kind : {0, 1, 2, 3, -1}) {
        const char *const words[] = {"data", "file", "memData"};
        PackageRequestWrite package = makeWrite(0, false, OrvexEnum::ClientPackageType(kind));
        EXPECT_TRUE(package.makePackageRequest().endsWith(
            QStringLiteral(",false,%1")
                .arg(QLatin1String(words[kind < 0 || kind > 2 ? 0 : kind]))));
    }
}

TEST(PackageRequestWrite, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns <= 20; ++columns) {
        SCOPED_TRACE(columns);
        PackageRequestWrite package = makeWrite(1, true);
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

TEST(PackageRequestWrite, OwnReplyRecordDoesNotGiveTheFieldsBack)
{
    PackageRequestWrite package = makeWrite(0, true);
    package.setAckCode(5);
    const QString record = package.makePackageReply();
    EXPECT_TRUE(record.endsWith(QStringLiteral(",5,true,memData")));
    EXPECT_TRUE(package.unPackageReply(record));
    EXPECT_EQ(package.getAckCode(), 5U);
    EXPECT_FALSE(package.bBroadcast());
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::DataPackage);
}

/// Has fewer columns of its own in a request record.
class FewerColumns : public PackageRequestWrite
{
public:
    FewerColumns() { m_nRequestFieldCount = 0; }
};

TEST(PackageRequestWrite, ColumnsThatASubclassDoesNotAskForReadAsEmpty)
{
    FewerColumns package;
    EXPECT_TRUE(package.unPackageRequest(recordWith("")));
    EXPECT_FALSE(package.bBroadcast());
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::DataPackage);
}

/// Refuses its common columns.
class NoColumns : public PackageRequestWrite
{
protected:
    bool unPackage(QString) override { return false; }
};

TEST(PackageRequestWrite, RefusedCommonColumnsRefuseTheRecord)
{
    NoColumns package;
    const QJsonObject before = snapshot(package);
    EXPECT_FALSE(package.unPackageRequest(recordWith(",true,file")));
    EXPECT_FALSE(package.unPackageReply(recordWith(",0,true,file")));
    EXPECT_EQ(snapshot(package), before);
}

TEST(PackageRequestWrite, FramesReachTheHooksThroughTheVirtualCall)
{
    class OwnPayload : public PackageRequestWrite
    {
    public:
        QStringList calls;

        void AppendDataToPackage(bool isRequest, QByteArray *package) override
        {
            package->append(isRequest ? "Q" : "A");
        }

        bool ParseDataFromPackage(bool isRequest, QByteArray, int startIndex,
                                  int *parsedLength) override
        {
            calls << QStringLiteral("%1 at %2").arg(isRequest).arg(startIndex);
            *parsedLength = 2;
            return false;
        }
    };
    OwnPayload package;
    EXPECT_EQ(package.MackPackageRequest().mid(23), QByteArray("Q"));
    EXPECT_EQ(package.MackPackageReply(false).mid(6), QByteArray("A"));
    EXPECT_EQ(package.MackPackageReply(true).size(), 23 + 1 + 6 + 1);

    int consumed = -1;
    bool full = false;
    EXPECT_TRUE(package.UnPackageRequest(QByteArray(40, '\0'), 4, &consumed));
    EXPECT_EQ(consumed, 25);
    EXPECT_TRUE(package.UnPackageReply(QByteArray(40, '\0'), 4, &consumed, &full));
    EXPECT_EQ(consumed, 8);
    EXPECT_EQ(package.calls, QStringList({QStringLiteral("1 at 27"), QStringLiteral("0 at 10")}));
}

TEST(PackageRequestWrite, RawBufferOverloadIsNotHidden)
{
    PackageRequestWrite package;
    EXPECT_TRUE(package.unPackageReply(nullptr, 0));
}

TEST(PackageRequestWrite, MetaObject)
{
    const QMetaObject &meta = PackageRequestWrite::staticMetaObject;
    EXPECT_STREQ(meta.className(), "PackageRequestWrite");
    EXPECT_EQ(meta.superClass(), &PackageBase::staticMetaObject);
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
}

} // namespace
