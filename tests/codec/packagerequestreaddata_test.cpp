#include "testsupport.h"

#include <packagerequestreaddata.h>

#include <limits>

namespace {

constexpr int Mebibyte = 1024 * 1024;

void expectRead(const PackageRequestReadData &package, OrvexEnum::CommResults commResult)
{
    expectCommonArguments(package, commResult, OrvexEnum::Read, OrvexEnum::DataPackage);
    EXPECT_EQ(package.getReplyDataLength(), 10);
}

TEST(PackageRequestReadData, Constructors)
{
    PackageRequestReadData defaults;
    EXPECT_EQ(defaults.data(), QByteArray());
    EXPECT_EQ(defaults.getReplyDataLength(), 0);
    EXPECT_EQ(defaults.getSerialNum(), 0U);

    const QString key = QStringLiteral("key");
    const QString tag = QStringLiteral("tag");
    PackageRequestReadData full(key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, tag, OrvexEnum::CommCodeErr, 10);
    expectRead(full, OrvexEnum::CommCodeErr);
    EXPECT_EQ(full.data(), QByteArray());

    PackageRequestReadData ok(key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, tag, 10);
    expectRead(ok, OrvexEnum::CommOk);
    EXPECT_EQ(ok.data(), QByteArray());

    PackageRequestReadData withData(key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, tag, hex("0102"), 10);
    expectRead(withData, OrvexEnum::CommOk);
    EXPECT_EQ(withData.data(), hex("0102")) << "whatever the length says";
}

TEST(PackageRequestReadData, CopyHasEverythingAssignmentOnlyTheData)
{
    PackageRequestReadData source(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                  QStringLiteral("tag"), hex("0102"), 10);
    PackageRequestReadData copy(source);
    EXPECT_EQ(snapshot(copy), snapshot(source));

    PackageRequestReadData target;
    QJsonObject expected = snapshot(target);
    expected[QStringLiteral("data")] = QStringLiteral("0102");
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), expected);
}

TEST(PackageRequestReadData, SetDataLeavesTheLength)
{
    PackageRequestReadData package;
    package.setReplyDataLength(7);
    package.setData(hex("0102"));
    EXPECT_EQ(package.data(), hex("0102"));
    EXPECT_EQ(package.getReplyDataLength(), 7);
    EXPECT_EQ(package.getDataLength(), 7);
    package.setPackageDataLength(3);
    EXPECT_EQ(package.getPackageDataLength(), 0) << "a read has none";
}

TEST(PackageRequestReadData, AppendsItsBlockToRequestsAndReplies)
{
    PackageRequestReadData package;
    package.setReplyDataLength(3);
    package.setData(hex("01 FF 10"));
    QByteArray frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA 03 00 00 00 01 FF 10"));
    frame = hex("AA");
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 03 00 00 00 00 03 00 00 00 01 FF 10"));
}

TEST(PackageRequestReadData, BlockTakesLengthAndDataFromDifferentFields)
{
    PackageRequestReadData package;
    package.setReplyDataLength(-2);
    package.setData(hex("01 02 03"));
    QByteArray frame;
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("FE FF FF FF 01 02 03"));
}

struct BlockRow
{
    const char *bytes;
    int start;
    int parsed;
    int length;
    const char *data; // of a package that held AA BB
    bool reported;
};

const BlockRow BlockRows[] = {
    {"03 00 00 00 01 FF 10", 0, 7, 3, "01 FF 10", false},
    {"EE 03 00 00 00 01 FF 10 EE", 1, 7, 3, "01 FF 10", false},
    {"01 00 00 00 07", 0, 5, 1, "07", false},
    {"00 00 00 00 07", 0, 4, 0, "", false},
    {"FF FF FF FF 07", 0, 4, -1, "", false},
    {"", 0, 0, 0, "", false},
    {"03 00 00", 0, 0, 0, "", false}, // the length does not fit
    // Nothing is copied of a block that is cut off: old bytes stay, new ones are 0.
    {"03 00 00 00 01 FF", 0, 7, 3, "AA BB 00", true},
    {"01 00 00 00", 0, 5, 1, "AA", true},
    {"05 00 00 00 01 02 03 04", 0, 9, 5, "AA BB 00 00 00", true},
};

TEST(PackageRequestReadData, ParsesItsBlock)
{
    for (const BlockRow &row : BlockRows) {
        SCOPED_TRACE(testing::Message() << row.bytes << " at " << row.start);
        PackageRequestReadData package;
        package.setReplyDataLength(99);
        package.setData(hex("AA BB"));
        int parsed = -1;
        const LogCapture log;
        EXPECT_TRUE(package.ParseDataFromPackage(false, hex(row.bytes), row.start, &parsed));
        EXPECT_EQ(parsed, row.parsed);
        EXPECT_EQ(package.getReplyDataLength(), row.length);
        EXPECT_EQ(package.data(), hex(row.data));
        ASSERT_EQ(log.messages().size(), row.reported ? 1U : 0U);
        if (row.reported) {
            EXPECT_EQ(log.messages().front().line, 530);
        }
    }
}

TEST(PackageRequestReadData, EveryTruncationOfARequestFrame)
{
    PackageRequestReadData package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                   QStringLiteral("tag"), hex("01020304"), 4);
    const QByteArray frame = package.MackPackageRequest();
    ASSERT_EQ(frame.size(), 29 + 5 + 8);
    for (int size = 0; size <= frame.size(); ++size) {
        SCOPED_TRACE(size);
        PackageRequestReadData decoded;
        int consumed = -1;
        const LogCapture log;
        EXPECT_TRUE(decoded.UnPackageRequest(frame.left(size), 0, &consumed));
        // The common fields are those of PackageBase, whatever follows them.
        PackageBase base;
        int baseConsumed = -1;
        EXPECT_TRUE(base.UnPackageRequest(frame.left(size), 0, &baseConsumed));
        base.setClientPackageType(decoded.getClientPackageType()); // of the payload
        EXPECT_EQ(baseSnapshot(decoded), baseSnapshot(base));
        // After the header: 4 bytes of length, 1 of kind, 4 of length, 4 of data.
        if (size >= 38) {
            EXPECT_EQ(decoded.getReplyDataLength(), 4);
            EXPECT_EQ(consumed, 42) << "the announced bytes count, there or not";
            EXPECT_EQ(decoded.data(), size == 42 ? hex("01020304") : QByteArray(4, '\0'));
        } else {
            EXPECT_EQ(decoded.getReplyDataLength(), 0);
            EXPECT_EQ(decoded.data(), QByteArray());
        }
    }
}

TEST(PackageRequestReadData, RequestWithoutDataConsumesBytesThatAreNotThere)
{
    PackageRequestReadData package;
    package.setReplyDataLength(8);
    const QByteArray frame = package.MackPackageRequest();
    EXPECT_EQ(frame.size(), 23 + 5 + 4);
    PackageRequestReadData decoded;
    int consumed = 0;
    const LogCapture log;
    EXPECT_TRUE(decoded.UnPackageRequest(frame, 0, &consumed));
    EXPECT_EQ(consumed, 23 + 5 + 4 + 8);
    EXPECT_EQ(decoded.data(), QByteArray(8, '\0'));
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST(PackageRequestReadData, AnnouncedDataIsMadeReadyUpTo256Mebibytes)
{
    const struct
    {
        const char *bytes;
        int length;
        int size;
    } rows[] = {
        {"00 00 00 10 01", 256 * Mebibyte, 256 * Mebibyte},
        {"01 00 00 10 01", 256 * Mebibyte + 1, 0},
        {"FF FF FF 7F 01", std::numeric_limits<int>::max(), 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.bytes);
        PackageRequestReadData package;
        package.setData(hex("AA"));
        int parsed = -1;
        const LogCapture log;
        EXPECT_TRUE(package.ParseDataFromPackage(false, hex(row.bytes), 0, &parsed));
        EXPECT_EQ(parsed, static_cast<int>(static_cast<quint32>(row.length) + 4U));
        EXPECT_EQ(package.getReplyDataLength(), row.length);
        EXPECT_EQ(package.data().size(), row.size);
        EXPECT_EQ(package.data().count('\0'), qMax(row.size - 1, 0)) << "all but the AA";
        EXPECT_EQ(log.messages().size(), 1U);
    }
}

TEST(PackageRequestReadData, PositionThatOverflowsReadsNothing)
{
    // The first block ends beyond the range of an int; the reply goes on after it.
    const QByteArray request = hex("01 0000 0000 00000000 0000 00 00 00 00 0000 00 00 0000 0000 "
                                   "00000000 00 FFFFFF7F");
    PackageRequestReadData package;
    int consumed = 0;
    bool full = false;
    const LogCapture log;
    EXPECT_TRUE(package.UnPackageReply(request, 0, &consumed, &full));
    EXPECT_EQ(package.getAckCode(), 0U);
    EXPECT_EQ(package.getReplyDataLength(), 0);
    EXPECT_EQ(package.data(), QByteArray());
}

/// Returns another length than that of the block.
class FixedLength : public PackageRequestReadData
{
public:
    int length = 0;
    int getReplyDataLength() const override { return length; }
};

TEST(PackageRequestReadData, VirtualLengthDecidesWhetherThereIsDataTheBlockHowMuch)
{
    FixedLength package;
    package.setData(hex("AA BB CC"));
    int parsed = -1;
    package.length = 1;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("02 00 00 00 01 02 03"), 0, &parsed));
    EXPECT_EQ(package.data(), hex("01 02"));
    EXPECT_EQ(parsed, 6);
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("FE FF FF FF 01 02 03"), 0, &parsed));
    EXPECT_EQ(package.data(), QByteArray());
    EXPECT_EQ(parsed, 2) << "the position goes back by two";
    package.setData(hex("AA"));
    package.length = 0;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("02 00 00 00 01 02 03"), 0, &parsed));
    EXPECT_EQ(package.data(), QByteArray());
    EXPECT_EQ(parsed, 4);
}

constexpr char RequestColumns[] = "0,,0,0,0,0,0,0,0,0,read,3,,ok,ok";

QString replyRecord(const char *own)
{
    return QString::fromLatin1(RequestColumns) + QStringLiteral(",0,0,data,") + QLatin1String(own);
}

struct MakeRow
{
    int length;
    const char *data;
    const char *own; // columns 18 and 19
};

const MakeRow MakeRows[] = {
    {3, "01 FF 10", "3,1/255/16"},
    {0, "", "0,"},
    {0, "01 02", "0,"},
    {-1, "01 02", "-1,"},
    {1, "01 02", "1,1"},
    {2, "00 00", "2,0/0"},
    {4, "01 02", "4,1/2/0/0"}, // a missing byte is written as 0
    {2, "", "2,0/0"},
    {3, "09 0A 63", "3,9/10/99"},
    {2, "64 C8", "2,100/200"},
};

TEST(PackageRequestReadData, MakesItsReplyColumns)
{
    for (const MakeRow &row : MakeRows) {
        SCOPED_TRACE(row.own);
        PackageRequestReadData package;
        package.setReplyDataLength(row.length);
        package.setData(hex(row.data));
        const QString record = package.makePackageReply();
        EXPECT_EQ(
            record,
            QString::fromLatin1(RequestColumns)
                + QStringLiteral(",0,%1,data,%2").arg(row.length).arg(QLatin1String(row.own)));
        EXPECT_EQ(package.makePackageRequest(),
                  QString::fromLatin1(RequestColumns) + QStringLiteral(",%1,data").arg(row.length));
    }
}

TEST(PackageRequestReadData, EveryByteValueInTheDataString)
{
    PackageRequestReadData package;
    QByteArray data;
    QStringList numbers;
    for (int i = 0; i < 256; ++i) {
        data.append(static_cast<char>(i));
        numbers << QString::number(i);
    }
    package.setData(data);
    package.setReplyDataLength(256);
    const QString record = package.makePackageReply();
    EXPECT_TRUE(record.endsWith(QStringLiteral(",256,") + numbers.join(QLatin1Char('/'))));
    PackageRequestReadData decoded;
    EXPECT_TRUE(decoded.unPackageReply(record));
    EXPECT_EQ(decoded.data(), data);
    EXPECT_EQ(decoded.getReplyDataLength(), 256);
}

TEST(PackageRequestReadData, MissingBytesAreWrittenUpTo256Mebibytes)
{
    PackageRequestReadData package;
    package.setData(hex("07"));
    package.setReplyDataLength(256 * Mebibyte + 1);
    EXPECT_TRUE(package.makePackageReply().endsWith(QStringLiteral(",268435457,7")));
    package.setReplyDataLength(256 * Mebibyte);
    const QString record = package.makePackageReply();
    EXPECT_TRUE(record.contains(QStringLiteral(",268435456,7/0/0")));
    EXPECT_EQ(record.count(QLatin1Char('/')), 256 * Mebibyte - 1);
}

struct ReadRow
{
    const char *own; // columns 18 and 19
    bool result;
    int length;
    const char *data; // of a package that held AA BB
};

const ReadRow ReadRows[] = {
    {"3,1/255/16", true, 3, "01 FF 10"},
    {"1,", true, 1, "00"}, // an empty data string has one part
    {"2,/", true, 2, "00 00"},
    {"4,256/257/-1/-256", true, 4, "00 01 FF 00"}, // cut to the low 8 bits
    {"5,x/ 7/+8/1.5/99999999999", true, 5, "00 07 08 00 00"},
    {"2,7/8,more", true, 2, "07 08"},
    {"0,", false, 0, "AA BB"},
    {"4,1/2/3", false, 4, "AA BB"},
    {"2,1/2/3", false, 2, "AA BB"},
    {"-1,1", false, -1, "AA BB"},
    {"x,1", false, 0, "AA BB"},
};

TEST(PackageRequestReadData, ReadsItsReplyColumns)
{
    for (const ReadRow &row : ReadRows) {
        SCOPED_TRACE(row.own);
        PackageRequestReadData package;
        package.setReplyDataLength(99);
        package.setData(hex("AA BB"));
        EXPECT_EQ(package.unPackageReply(replyRecord(row.own)), row.result);
        EXPECT_EQ(package.getReplyDataLength(), row.length);
        EXPECT_EQ(package.data(), hex(row.data));
        EXPECT_EQ(package.getClientPackageType(), OrvexEnum::MemDataPackage)
            << "the register columns are stored either way";
    }
}

TEST(PackageRequestReadData, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns < 20; ++columns) {
        SCOPED_TRACE(columns);
        PackageRequestReadData package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                       QStringLiteral("tag"), hex("0102"), 10);
        const QJsonObject before = snapshot(package);
        EXPECT_FALSE(package.unPackageReply(QString(columns - 1, QLatin1Char(','))));
        EXPECT_EQ(snapshot(package), before);
    }
}

TEST(PackageRequestReadData, RefusedCommonColumnsRefuseTheRecord)
{
    class NoColumns : public PackageRequestReadData
    {
    protected:
        bool unPackage(QString) override { return false; }
    };
    NoColumns package;
    package.setData(hex("AA"));
    const QJsonObject before = snapshot(package);
    EXPECT_FALSE(package.unPackageReply(replyRecord("1,1")));
    EXPECT_FALSE(package.unPackageRequest(replyRecord("1,1")));
    EXPECT_EQ(snapshot(package), before);
}

TEST(PackageRequestReadData, DecodingDoesNotTouchTheDataThatACallerHolds)
{
    PackageRequestReadData package;
    const QByteArray held = hex("AA BB");
    package.setData(held);
    int parsed = 0;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("02 00 00 00 01 02"), 0, &parsed));
    EXPECT_TRUE(package.unPackageReply(replyRecord("2,3/4")));
    EXPECT_EQ(held, hex("AA BB"));
    EXPECT_EQ(package.data(), hex("03 04"));
}

TEST(PackageRequestReadData, MetaObject)
{
    const QMetaObject &meta = PackageRequestReadData::staticMetaObject;
    EXPECT_STREQ(meta.className(), "PackageRequestReadData");
    EXPECT_STREQ(meta.superClass()->className(), "PackageRequestRead");
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
    EXPECT_TRUE(PackageRequestReadData().unPackageReply(nullptr, 0));
}

} // namespace
