#include "testsupport.h"

#include <packagerequestwriteip.h>

#include <limits>

namespace {

constexpr int Mebibyte = 1024 * 1024;
constexpr int MaxInt = std::numeric_limits<int>::max();

template <typename Package>
Package makeWrite(const QByteArray &data, int dataLength)
{
    return Package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 0x30, 9, QStringLiteral("tag"), true,
                   data, dataLength);
}

template <typename Package>
Package makeWrite(OrvexEnum::CommResults commResult, const QByteArray &data, int dataLength)
{
    return Package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 0x30, 9, QStringLiteral("tag"),
                   commResult, true, data, dataLength);
}

template <typename Package>
class DataWrite : public testing::Test
{
};

using DataWrites = testing::Types<PackageRequestWriteData, PackageRequestWriteIP>;
TYPED_TEST_SUITE(DataWrite, DataWrites, );

TYPED_TEST(DataWrite, DefaultConstructor)
{
    TypeParam package;
    EXPECT_EQ(package.data(), QByteArray());
    EXPECT_EQ(package.getPackageDataLength(), 0);
    EXPECT_FALSE(package.bBroadcast());
    EXPECT_EQ(package.getSerialNum(), 0U);
}

TYPED_TEST(DataWrite, ConstructorsWithArguments)
{
    auto ok = makeWrite<TypeParam>(hex("0102"), 2);
    auto result = makeWrite<TypeParam>(OrvexEnum::CommCodeErr, hex("0102"), 2);
    expectCommonArguments(ok, OrvexEnum::CommOk, OrvexEnum::Write, OrvexEnum::DataPackage);
    expectCommonArguments(result, OrvexEnum::CommCodeErr, OrvexEnum::Write, OrvexEnum::DataPackage);
    for (TypeParam *package : {&ok, &result}) {
        EXPECT_TRUE(package->bBroadcast());
        EXPECT_EQ(package->data(), hex("0102"));
        EXPECT_EQ(package->getPackageDataLength(), 2);
        EXPECT_EQ(package->getDataLength(), 2);
    }
}

TYPED_TEST(DataWrite, ConstructorTakesDataLengthBytes)
{
    const struct
    {
        int length;
        const char *data;
    } rows[] = {
        {3, "01 02 03"}, {5, "01 02 03 04 05"},
        {0, ""},         {7, "01 02 03 04 05 00 00"}, // what the caller did not supply is 0
        {-1, ""},        {256 * Mebibyte + 1, ""},
        {MaxInt, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.length);
        const auto package = makeWrite<TypeParam>(hex("01 02 03 04 05"), row.length);
        EXPECT_EQ(package.data(), hex(row.data));
        EXPECT_EQ(package.getPackageDataLength(), row.length);
    }
}

TYPED_TEST(DataWrite, CopyAndAssignment)
{
    auto source = makeWrite<TypeParam>(hex("0102"), 2);
    TypeParam copy(source);
    EXPECT_EQ(snapshot(copy), snapshot(source));
    TypeParam target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), snapshot(source));
}

TYPED_TEST(DataWrite, MetaObjectIsThatOfTheDataWrite)
{
    TypeParam package;
    EXPECT_STREQ(package.metaObject()->className(), "PackageRequestWriteData");
    EXPECT_STREQ(package.metaObject()->superClass()->className(), "PackageRequestWrite");
    EXPECT_EQ(package.metaObject(), &PackageRequestWriteData::staticMetaObject);
    EXPECT_TRUE(package.unPackageReply(nullptr, 0));
}

TEST(PackageRequestWriteIP, AddressIsKeptAndCopiedButInNoEncoding)
{
    auto package = makeWrite<PackageRequestWriteIP>(hex("C0A80014"), 4);
    EXPECT_EQ(package.getIPAddress(), QString());
    package.setIPAddress(QStringLiteral("192.168.0.20"));
    EXPECT_EQ(package.getIPAddress(), QStringLiteral("192.168.0.20"));
    const PackageRequestWriteIP copy(package);
    EXPECT_EQ(copy.getIPAddress(), QStringLiteral("192.168.0.20"));
    PackageRequestWriteIP target;
    target = package;
    EXPECT_EQ(target.getIPAddress(), QStringLiteral("192.168.0.20"));

    auto data = makeWrite<PackageRequestWriteData>(hex("C0A80014"), 4);
    data.setSerialNum(package.getSerialNum());
    EXPECT_EQ(package.MackPackageRequest(), data.MackPackageRequest());
    EXPECT_EQ(package.MackPackageReply(true), data.MackPackageReply(true));
    EXPECT_EQ(package.MackPackageReply(false), data.MackPackageReply(false));
    EXPECT_EQ(package.makePackageRequest(), data.makePackageRequest());
    EXPECT_EQ(package.makePackageReply(), data.makePackageReply());
    EXPECT_EQ(package.ParseSendRequest_Linux(), data.ParseSendRequest_Linux());
}

TEST(PackageRequestWriteData, SetDataLeavesTheLength)
{
    PackageRequestWriteData package;
    package.setPackageDataLength(7);
    package.setData(hex("0102"));
    EXPECT_EQ(package.data(), hex("0102"));
    EXPECT_EQ(package.getPackageDataLength(), 7);
}

TEST(PackageRequestWriteData, AppendsItsBlockToRequestsOnly)
{
    auto package = makeWrite<PackageRequestWriteData>(hex("01 FF 10"), 3);
    QByteArray frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA"));
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 01 00 03 00 00 00 01 FF 10"));
    package.setPackageDataLength(0x01020304);
    frame.clear();
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("01 00 04 03 02 01 01 FF 10")) << "all of the data all the same";
}

TEST(PackageRequestWriteData, ReplyHasNothingToParse)
{
    auto package = makeWrite<PackageRequestWriteData>(hex("0102"), 2);
    const QJsonObject before = snapshot(package);
    int parsed = -1;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("00 00 01 00 00 00 09"), 0, &parsed));
    EXPECT_EQ(parsed, 0);
    EXPECT_EQ(snapshot(package), before);
}

struct BlockRow
{
    const char *bytes; // after 01 02
    int parsed;
    int length;
    const char *data; // of a package that held AA BB
    bool reported;
};

// The data bytes are never counted.
const BlockRow BlockRows[] = {
    {"03 00 00 00 01 FF 10", 6, 3, "01 FF 10", false},
    {"01 00 00 00 07 08", 6, 1, "07", false},
    {"00 00 00 00 07", 6, 0, "", false},
    {"FE FF FF FF 07", 6, 0, "", false}, // a negative length becomes 0
    {"", 2, 0, "", false},
    {"03 00 00", 2, 0, "", false},
    {"03 00 00 00 01 FF", 6, 3, "AA BB 00", true},
    {"01 00 00 00", 6, 1, "AA", true},
    {"01 00 00 10 01", 6, 256 * Mebibyte + 1, "", true},
    {"FF FF FF 7F 01", 6, MaxInt, "", true},
};

TEST(PackageRequestWriteData, ParsesItsBlock)
{
    for (const BlockRow &row : BlockRows) {
        SCOPED_TRACE(row.bytes);
        PackageRequestWriteData package;
        package.setPackageDataLength(99);
        package.setData(hex("AA BB"));
        int parsed = -1;
        const LogCapture log;
        EXPECT_TRUE(
            package.ParseDataFromPackage(true, hex("EE 01 02") + hex(row.bytes), 1, &parsed));
        EXPECT_EQ(parsed, row.parsed);
        EXPECT_TRUE(package.bBroadcast());
        EXPECT_EQ(package.getClientPackageType(), OrvexEnum::MemDataPackage);
        EXPECT_EQ(package.getPackageDataLength(), row.length);
        EXPECT_EQ(package.data(), hex(row.data));
        EXPECT_EQ(log.messages().size(), row.reported ? 1U : 0U);
    }
}

TEST(PackageRequestWriteData, AnnouncedDataIsMadeReadyUpTo256Mebibytes)
{
    PackageRequestWriteData package;
    int parsed = -1;
    const LogCapture log;
    EXPECT_TRUE(package.ParseDataFromPackage(true, hex("00 00 00 00 00 10 01"), 0, &parsed));
    EXPECT_EQ(package.data().size(), 256 * Mebibyte);
    EXPECT_EQ(package.data().count('\0'), 256 * Mebibyte);
}

TEST(PackageRequestWriteData, DataThatIsThereIsKeptBeyond256Mebibytes)
{
    const QByteArray data(256 * Mebibyte + 1, 'x');
    const auto package = makeWrite<PackageRequestWriteData>(data, data.size());
    EXPECT_EQ(package.data().size(), 256 * Mebibyte + 1);
}

TEST(PackageRequestWriteData, ConsumedLengthLeavesOutTheData)
{
    auto package = makeWrite<PackageRequestWriteData>(hex("01 02 03 04 05"), 5);
    const QByteArray frame = package.MackPackageRequest();
    EXPECT_EQ(frame.size(), 29 + 2 + 4 + 5);
    PackageRequestWriteData decoded;
    int consumed = 0;
    EXPECT_TRUE(decoded.UnPackageRequest(frame, 0, &consumed));
    EXPECT_EQ(consumed, 29 + 6);
    EXPECT_EQ(decoded.data(), hex("01 02 03 04 05"));
}

TEST(PackageRequestWriteData, FullReplyTakesItsResultsFromTheData)
{
    auto package = makeWrite<PackageRequestWriteData>(hex("0A 0B 0C 0D"), 4);
    PackageRequestWriteData decoded;
    int consumed = 0;
    bool full = false;
    const LogCapture log;
    EXPECT_TRUE(decoded.UnPackageReply(package.MackPackageReply(true), 0, &consumed, &full));
    EXPECT_EQ(decoded.getAckCode(), 0x0AU);
    EXPECT_EQ(decoded.getCommResult(), 0x0B);
    EXPECT_EQ(decoded.getPackResult(), 0x0C);
}

TEST(PackageRequestWriteData, VirtualLengthDecidesWhetherThereIsData)
{
    class FixedLength : public PackageRequestWriteData
    {
    public:
        int length = 0;
        int stored = -1;
        int getPackageDataLength() const override { return length; }
        void setPackageDataLength(int packageDataLength) override { stored = packageDataLength; }
    };
    FixedLength package;
    int parsed = 0;
    package.length = 1;
    EXPECT_TRUE(package.ParseDataFromPackage(true, hex("00 00 02 00 00 00 01 02 03"), 0, &parsed));
    EXPECT_EQ(package.data(), hex("01 02"));
    EXPECT_EQ(package.stored, 2);
    EXPECT_TRUE(package.ParseDataFromPackage(true, hex("00 00 FE FF FF FF 01 02 03"), 0, &parsed));
    EXPECT_EQ(package.data(), QByteArray());
    package.setData(hex("AA"));
    package.length = 0;
    EXPECT_TRUE(package.ParseDataFromPackage(true, hex("00 00 02 00 00 00 01 02 03"), 0, &parsed));
    EXPECT_EQ(package.data(), QByteArray());
    EXPECT_EQ(package.stored, 0);
}

constexpr char Columns[] = "0,,0,0,0,0,0,0,0,0,read,3,,ok,ok";

struct MakeRow
{
    int length;
    const char *data;
    const char *request; // columns 17 and 18
    const char *reply;   // columns 18 and 19
};

// In a request the data decides whether there is a first number, in a reply the length.
const MakeRow MakeRows[] = {
    {3, "01 FF 10", "3,1/255/16", "3,1/255/16"},
    {0, "", "0,", "0,"},
    {0, "07 08", "0,7", "0,"},
    {-5, "07 08", "-5,7", "-5,7"},
    {-5, "", "-5,", "-5,0"},
    {1, "07 08", "1,7", "1,7"},
    {4, "07 08", "4,7/8/0/0", "4,7/8/0/0"},
    {2, "", "2,", "2,0/0"},
    {256 * Mebibyte + 1, "07 08", "268435457,7/8", "268435457,7/8"},
    {256 * Mebibyte + 1, "", "268435457,", "268435457,"},
};

TEST(PackageRequestWriteData, MakesItsColumns)
{
    for (const MakeRow &row : MakeRows) {
        SCOPED_TRACE(testing::Message() << row.length << ", " << row.data);
        PackageRequestWriteData package;
        package.setPackageDataLength(row.length);
        package.setData(hex(row.data));
        EXPECT_EQ(package.makePackageRequest(),
                  QString::fromLatin1(Columns) + QStringLiteral(",false,data,")
                      + QLatin1String(row.request));
        EXPECT_EQ(package.makePackageReply(),
                  QString::fromLatin1(Columns) + QStringLiteral(",0,false,data,")
                      + QLatin1String(row.reply));
    }
}

TEST(PackageRequestWriteData, DataThatOwnsNoMemoryIsCutAndFilledUp)
{
    static const char Bytes[] = "\x01\x02\x03\x04\x05\x06\x07\x08";
    for (const QByteArray &data : {QByteArrayLiteral("\x01\x02\x03\x04\x05\x06\x07\x08"),
                                   QByteArray::fromRawData(Bytes, 8)}) {
        EXPECT_EQ(makeWrite<PackageRequestWriteData>(data, 3).data(), hex("01 02 03"));
        EXPECT_EQ(makeWrite<PackageRequestWriteData>(data, 10).data(),
                  hex("01 02 03 04 05 06 07 08 00 00"));

        auto package = makeWrite<PackageRequestWriteData>({}, 0);
        package.setData(data);
        const LogCapture log;
        int parsed = 0;
        // Announces three bytes and holds one.
        EXPECT_TRUE(package.ParseDataFromPackage(true, hex("00 00 03 00 00 00 AA"), 0, &parsed));
        EXPECT_EQ(package.data(), hex("01 02 03"));

        package.setData(data);
        EXPECT_TRUE(
            package.unPackageReply(QLatin1String(Columns) + QLatin1String(",0,false,data,4,9")));
        EXPECT_EQ(package.data(), hex("09 02 03 04"));
    }
}

TEST(PackageRequestWriteData, DataStringThatNoTextCanHoldMakesNoRecord)
{
    // Texts of Qt 5 have at most 2^30 characters.
    for (const int length :
         {QT_VERSION_MAJOR < 6 ? 300 * Mebibyte : 600 * Mebibyte, 600 * Mebibyte}) {
        PackageRequestWriteData package;
        package.setData(QByteArray(length, '\0'));
        package.setPackageDataLength(length);
        EXPECT_TRUE(package.makePackageRequest().isEmpty()) << length;
        EXPECT_TRUE(package.makePackageReply().isEmpty()) << length;
    }
}

struct ReadRow
{
    const char *own;
    bool result;
    int length;
    const char *data; // of a package that held AA BB
};

const ReadRow RequestRows[] = {
    {"3,1/255/16", true, 3, "01 FF 10"}, {"1,", true, 1, "00"},
    {"3,256/-1/x", true, 3, "00 FF 00"}, {"0,", false, 0, "AA BB"},
    {"4,1/2/3", false, 4, "AA BB"},      {"2,1/2/3", false, 2, "AA BB"},
    {"-1,1", false, -1, "AA BB"},
};

TEST(PackageRequestWriteData, ReadsItsRequestColumns)
{
    for (const ReadRow &row : RequestRows) {
        SCOPED_TRACE(row.own);
        PackageRequestWriteData package;
        package.setData(hex("AA BB"));
        package.setMaxPartSize(2);
        package.setPartCount(99);
        EXPECT_EQ(package.unPackageRequest(QString::fromLatin1(Columns)
                                           + QStringLiteral(",true,file,")
                                           + QLatin1String(row.own)),
                  row.result);
        EXPECT_EQ(package.getPackageDataLength(), row.length);
        EXPECT_EQ(package.data(), hex(row.data));
        EXPECT_EQ(package.getPartCount(), row.result ? (row.length + 1) / 2 : 99);
        EXPECT_TRUE(package.bBroadcast()) << "the register columns are stored either way";
        EXPECT_EQ(package.getClientPackageType(), OrvexEnum::FilePackage);
    }
}

const ReadRow ReplyRows[] = {
    {"3,1/255/16", true, 3, "01 FF 10"},
    {"4,1/2", true, 4, "01 02 00 00"}, // the other two are not taken from the record
    {"2,1/2/3", true, 2, "01 02"},
    {"0,1/2", true, 0, ""},
    {"0,", true, 0, ""},
    {"-1,1/2", true, -1, ""},
    {"x,1", true, 0, ""},
    {"2,7", true, 2, "07 BB"}, // what the record does not carry stays
    {"268435457,7", true, 256 * Mebibyte + 1, ""},
};

TEST(PackageRequestWriteData, ReadsItsReplyColumns)
{
    for (const ReadRow &row : ReplyRows) {
        SCOPED_TRACE(row.own);
        PackageRequestWriteData package;
        package.setData(hex("AA BB"));
        package.setPartCount(99);
        EXPECT_EQ(package.unPackageReply(QString::fromLatin1(Columns)
                                         + QStringLiteral(",5,true,file,")
                                         + QLatin1String(row.own)),
                  row.result);
        EXPECT_EQ(package.getAckCode(), 5U);
        EXPECT_EQ(package.getPackageDataLength(), row.length);
        EXPECT_EQ(package.data(), hex(row.data));
        EXPECT_EQ(package.getPartCount(), 99) << "a reply does not derive it";
    }
}

TEST(PackageRequestWriteData, PartSizeOfZeroGivesNoParts)
{
    PackageRequestWriteData package;
    package.setMaxPartSize(0);
    EXPECT_TRUE(package.unPackageRequest(QString::fromLatin1(Columns)
                                         + QStringLiteral(",false,data,2,1/2")));
    EXPECT_EQ(package.getPartCount(), 0);
}

TEST(PackageRequestWriteData, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns < 20; ++columns) {
        SCOPED_TRACE(columns);
        auto package = makeWrite<PackageRequestWriteData>(hex("0102"), 2);
        const QJsonObject before = snapshot(package);
        EXPECT_FALSE(package.unPackageReply(QString(columns - 1, QLatin1Char(','))));
        EXPECT_EQ(snapshot(package), before);
        if (columns < 19) {
            EXPECT_FALSE(package.unPackageRequest(QString(columns - 1, QLatin1Char(','))));
            EXPECT_EQ(snapshot(package), before);
        }
    }
}

TEST(PackageRequestWriteData, RefusedCommonColumnsRefuseTheRecord)
{
    class NoColumns : public PackageRequestWriteData
    {
    protected:
        bool unPackage(QString) override { return false; }
    };
    NoColumns package;
    package.setData(hex("AA"));
    const QJsonObject before = snapshot(package);
    EXPECT_FALSE(
        package.unPackageRequest(QString::fromLatin1(Columns) + QStringLiteral(",true,data,1,1")));
    EXPECT_FALSE(
        package.unPackageReply(QString::fromLatin1(Columns) + QStringLiteral(",0,true,data,1,1")));
    EXPECT_EQ(snapshot(package), before);
}

} // namespace
