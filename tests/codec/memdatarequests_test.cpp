// Memory reads and memory writes.

#include "testsupport.h"

#include <packagerequestreadmemdata.h>
#include <packagerequestwritememdata.h>

#include <limits>

namespace {

const QString Key = QStringLiteral("key");
const QString Tag = QStringLiteral("tag");

template <typename Package>
void expectMemory(const Package &package, OrvexEnum::CommResults commResult,
                  OrvexEnum::ReadWriteCode code)
{
    expectCommonArguments(package, commResult, code, OrvexEnum::MemDataPackage);
    EXPECT_EQ(package.offset(), -12L);
}

TEST(PackageRequestReadMemData, Constructors)
{
    const PackageRequestReadMemData defaults;
    EXPECT_EQ(defaults.offset(), 0L);
    EXPECT_EQ(defaults.getClientPackageType(), OrvexEnum::DataPackage) << "not memory data yet";
    const PackageRequestReadMemData full(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag,
                                         OrvexEnum::CommCodeErr, 10, -12L);
    expectMemory(full, OrvexEnum::CommCodeErr, OrvexEnum::Read);
    EXPECT_EQ(full.getReplyDataLength(), 10);
    const PackageRequestReadMemData ok(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag, 10, -12L);
    expectMemory(ok, OrvexEnum::CommOk, OrvexEnum::Read);
    EXPECT_EQ(ok.getReplyDataLength(), 10);
}

TEST(PackageRequestWriteMemData, Constructors)
{
    EXPECT_FALSE(std::is_default_constructible_v<PackageRequestWriteMemData>);
    const PackageRequestWriteMemData full(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag,
                                          OrvexEnum::CommCodeErr, true, -12L, 13);
    expectMemory(full, OrvexEnum::CommCodeErr, OrvexEnum::Write);
    EXPECT_TRUE(full.bBroadcast());
    EXPECT_EQ(full.getPackageDataLength(), 13);
    EXPECT_EQ(full.getDataLength(), 13);
    const PackageRequestWriteMemData ok(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag, true, -12L, 13);
    expectMemory(ok, OrvexEnum::CommOk, OrvexEnum::Write);
    EXPECT_TRUE(ok.bBroadcast());
    EXPECT_EQ(ok.getPackageDataLength(), 13);
}

TEST(PackageRequestReadMemData, CopyMoveAndAssignment)
{
    PackageRequestReadMemData source(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, 10, 11L);
    const QJsonObject expected = snapshot(source);
    PackageRequestReadMemData copy(source);
    EXPECT_EQ(snapshot(copy), expected);
    PackageRequestReadMemData moved(std::move(copy));
    EXPECT_EQ(snapshot(moved), expected);
    PackageRequestReadMemData target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), expected);
    PackageRequestReadMemData moveTarget;
    EXPECT_EQ(&(moveTarget = std::move(moved)), &moveTarget);
    EXPECT_EQ(snapshot(moveTarget), expected);
    moveTarget.setOffset(5L);
    EXPECT_EQ(moveTarget.offset(), 5L);
}

TEST(PackageRequestWriteMemData, CopyAndAssignment)
{
    PackageRequestWriteMemData source(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 11L, 12);
    PackageRequestWriteMemData copy(source);
    EXPECT_EQ(snapshot(copy), snapshot(source));
    PackageRequestWriteMemData target(QString(), 0, 0, 0, 0, 0, 0, 0, 0, 0, QString(), false, 0L,
                                      0);
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), snapshot(source));
    target.setOffset(5L);
    EXPECT_EQ(target.offset(), 5L);
}

TEST(MemDataRequests, FramesAreThoseOfTheRegisterRequests)
{
    PackageRequestReadMemData read(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, 10, 100L);
    PackageRequestRead registerRead(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, OrvexEnum::CommOk, 10,
                                    OrvexEnum::MemDataPackage);
    registerRead.setSerialNum(read.getSerialNum());
    EXPECT_EQ(read.MackPackageRequest(), registerRead.MackPackageRequest());
    EXPECT_EQ(read.MackPackageReply(true), registerRead.MackPackageReply(true));
    EXPECT_EQ(read.MackPackageReply(false), registerRead.MackPackageReply(false));

    PackageRequestWriteMemData write(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 100L, 10);
    PackageRequestWrite registerWrite(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, OrvexEnum::CommOk, true,
                                      OrvexEnum::MemDataPackage);
    registerWrite.setSerialNum(write.getSerialNum());
    EXPECT_EQ(write.MackPackageRequest(), registerWrite.MackPackageRequest());
    EXPECT_EQ(write.MackPackageReply(true), registerWrite.MackPackageReply(true));
    EXPECT_EQ(write.MackPackageReply(false), registerWrite.MackPackageReply(false));
}

constexpr char Columns[] = "0,,0,0,0,0,0,0,0,0,write,3,,ok,ok";

struct OffsetRow
{
    const char *text;
    long offset;
};

constexpr OffsetRow OffsetRows[] = {
    {"0", 0},
    {"1024", 1024},
    {"-1", -1},
    {"2147483647", 2147483647},
    {"2147483648", 0}, // read with 32 bits on every platform
    {"-2147483648", -2147483647L - 1},
    {"-2147483649", 0},
    {"x", 0},
    {"", 0},
};

TEST(MemDataRequests, OffsetsAreReadWith32Bits)
{
    for (const OffsetRow &row : OffsetRows) {
        SCOPED_TRACE(row.text);
        const QString text = QString::fromLatin1(row.text);
        PackageRequestReadMemData read;
        EXPECT_TRUE(
            read.unPackageRequest(QLatin1String(Columns) + QStringLiteral(",1,memData,") + text));
        EXPECT_EQ(read.offset(), row.offset);
        read.setOffset(99);
        EXPECT_TRUE(
            read.unPackageReply(QLatin1String(Columns) + QStringLiteral(",0,1,memData,") + text));
        EXPECT_EQ(read.offset(), row.offset);

        PackageRequestWriteMemData write(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 99L, 99);
        EXPECT_TRUE(write.unPackageRequest(QLatin1String(Columns)
                                           + QStringLiteral(",true,memData,%1,7").arg(text)));
        EXPECT_EQ(write.offset(), row.offset);
        EXPECT_EQ(write.getPackageDataLength(), 7);
    }
}

TEST(PackageRequestReadMemData, WritesTheWholeOffset)
{
    PackageRequestReadMemData package;
    package.setOffset(std::numeric_limits<long>::max());
    const auto largest = QLatin1String(sizeof(long) == 8 ? "9223372036854775807" : "2147483647");
    EXPECT_TRUE(package.makePackageRequest().endsWith(QStringLiteral(",0,data,") + largest));
    EXPECT_TRUE(package.makePackageReply().endsWith(QStringLiteral(",0,0,data,") + largest));
}

TEST(PackageRequestReadMemData, RequestRecordGivesThePartCountOfTheRead)
{
    PackageRequestReadMemData package;
    EXPECT_TRUE(
        package.unPackageRequest(QLatin1String(Columns) + QStringLiteral(",5000,memData,4000")));
    EXPECT_EQ(package.getPartCount(), 3);
    EXPECT_EQ(package.getReplyDataLength(), 5000);
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::MemDataPackage);
}

struct PartRow
{
    const char *offset;
    const char *length;
    int maxPartSize;
    int partCount;
};

constexpr PartRow PartRows[] = {
    {"1024", "4096", 1024, 3},
    {"1000", "4096", 1024, 4},
    {"4096", "4096", 1024, 0},
    {"5000", "4096", 1024, 1}, // -904: the remainder adds one to 0
    {"0", "4096", 0, 0},
    {"-2147483648", "1", 1, -2147483647}, // 2^31 + 1 wraps in 32 bits
    {"2147483647", "-2", 1, 2147483647},  // -2^31 - 1 wraps
    {"2147483647", "-2147483648", 1, 1},
};

TEST(PackageRequestWriteMemData, RequestRecordGivesThePartCount)
{
    for (const PartRow &row : PartRows) {
        SCOPED_TRACE(testing::Message() << row.length << " from " << row.offset);
        PackageRequestWriteMemData package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 0L, 0);
        package.setMaxPartSize(row.maxPartSize);
        EXPECT_TRUE(package.unPackageRequest(
            QLatin1String(Columns)
            + QStringLiteral(",true,memData,%1,%2")
                  .arg(QLatin1String(row.offset), QLatin1String(row.length))));
        EXPECT_EQ(package.getPartCount(), row.partCount);
    }
}

TEST(PackageRequestWriteMemData, OwnReplyRecordGivesTheOffsetAsLength)
{
    PackageRequestWriteMemData package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 1000L, 4096);
    package.setAckCode(5);
    const QString record = package.makePackageReply();
    EXPECT_TRUE(record.endsWith(QStringLiteral(",5,true,memData,1000,4096")));
    EXPECT_TRUE(package.makePackageRequest().endsWith(QStringLiteral(",true,memData,1000,4096")));
    package.setPartCount(99);
    EXPECT_TRUE(package.unPackageReply(record));
    EXPECT_EQ(package.getAckCode(), 5U);
    EXPECT_EQ(package.offset(), 0L) << "\"memData\" is not a number";
    EXPECT_EQ(package.getPackageDataLength(), 1000);
    EXPECT_EQ(package.getPartCount(), 99) << "a reply does not derive it";
}

TEST(PackageRequestWriteMemData, LengthGoesThroughTheVirtualSetter)
{
    class FixedLength : public PackageRequestWriteMemData
    {
    public:
        using PackageRequestWriteMemData::PackageRequestWriteMemData;
        int stored = -1;
        int getPackageDataLength() const override { return 4096; }
        void setPackageDataLength(int packageDataLength) override { stored = packageDataLength; }
    };
    FixedLength package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 0L, 0);
    EXPECT_TRUE(
        package.unPackageRequest(QLatin1String(Columns) + QStringLiteral(",true,memData,0,7")));
    EXPECT_EQ(package.stored, 7);
    EXPECT_EQ(package.getPartCount(), 2) << "of the virtual length";
    EXPECT_TRUE(package.makePackageRequest().endsWith(QStringLiteral(",0,4096")));
    EXPECT_TRUE(package.makePackageReply().endsWith(QStringLiteral(",0,4096")));
    EXPECT_TRUE(package.unPackageReply(QLatin1String(Columns) + QStringLiteral(",0,0,8,9,10")));
    EXPECT_EQ(package.stored, 9);
}

TEST(MemDataRequests, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns <= 21; ++columns) {
        SCOPED_TRACE(columns);
        const QString record(columns - 1, QLatin1Char(','));
        PackageRequestReadMemData read(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, 10, 11L);
        const QJsonObject readBefore = snapshot(read);
        EXPECT_EQ(read.unPackageReply(record), columns >= 19);
        if (columns < 19) {
            EXPECT_EQ(snapshot(read), readBefore);
        }
        EXPECT_EQ(read.unPackageRequest(record), columns >= 18);
        if (columns < 18) {
            EXPECT_EQ(snapshot(read), readBefore);
        }

        PackageRequestWriteMemData write(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 11L, 12);
        const QJsonObject writeBefore = snapshot(write);
        EXPECT_EQ(write.unPackageReply(record), columns >= 20);
        if (columns < 20) {
            EXPECT_EQ(snapshot(write), writeBefore);
        }
        EXPECT_EQ(write.unPackageRequest(record), columns >= 19);
        if (columns < 19) {
            EXPECT_EQ(snapshot(write), writeBefore);
        }
    }
}

TEST(MemDataRequests, RefusedCommonColumnsRefuseTheRecord)
{
    class NoColumnsRead : public PackageRequestReadMemData
    {
    protected:
        bool unPackage(QString) override { return false; }
    };
    class NoColumnsWrite : public PackageRequestWriteMemData
    {
    public:
        using PackageRequestWriteMemData::PackageRequestWriteMemData;

    protected:
        bool unPackage(QString) override { return false; }
    };
    NoColumnsRead read;
    NoColumnsWrite write(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 11L, 12);
    const QJsonObject readBefore = snapshot(read);
    const QJsonObject writeBefore = snapshot(write);
    const QString record(20, QLatin1Char(','));
    EXPECT_FALSE(read.unPackageRequest(record));
    EXPECT_FALSE(read.unPackageReply(record));
    EXPECT_FALSE(write.unPackageRequest(record));
    EXPECT_FALSE(write.unPackageReply(record));
    EXPECT_EQ(snapshot(read), readBefore);
    EXPECT_EQ(snapshot(write), writeBefore);
}

TEST(MemDataRequests, MetaObjectsAreThoseOfTheRegisterRequests)
{
    PackageRequestReadMemData read;
    EXPECT_EQ(read.metaObject(), &PackageRequestRead::staticMetaObject);
    EXPECT_TRUE(read.unPackageReply(nullptr, 0));
    PackageRequestWriteMemData write(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, 11L, 12);
    EXPECT_EQ(write.metaObject(), &PackageRequestWrite::staticMetaObject);
    EXPECT_TRUE(write.unPackageReply(nullptr, 0));
}

} // namespace
