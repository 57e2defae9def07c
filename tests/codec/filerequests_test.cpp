// File reads and file writes, with real files.

#include "ownpart_p.h"
#include "testsupport.h"

#include <packagerequestreadfile.h>
#include <packagerequestwritefile.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

namespace {

const QString Key = QStringLiteral("key");
const QString Tag = QStringLiteral("tag");
const QString Name = QStringLiteral("a/b.txt");

template <typename Package>
void expectFile(const Package &package, OrvexEnum::CommResults commResult,
                OrvexEnum::ReadWriteCode code)
{
    expectCommonArguments(package, commResult, code, OrvexEnum::FilePackage);
    EXPECT_EQ(package.fileNameWithPath(), Name);
    EXPECT_TRUE(package.isBroadcastRspToAllApp());
}

TEST(PackageRequestReadFile, Constructors)
{
    const PackageRequestReadFile defaults;
    EXPECT_EQ(defaults.fileNameWithPath(), QString());
    EXPECT_TRUE(defaults.isBroadcastRspToAllApp());
    EXPECT_EQ(defaults.getClientPackageType(), OrvexEnum::DataPackage) << "not a file yet";

    const PackageRequestReadFile full(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag,
                                      OrvexEnum::CommCodeErr, 10, Name);
    expectFile(full, OrvexEnum::CommCodeErr, OrvexEnum::Read);
    EXPECT_EQ(full.getReplyDataLength(), 10);
    const PackageRequestReadFile ok(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag, 10, Name);
    expectFile(ok, OrvexEnum::CommOk, OrvexEnum::Read);
    EXPECT_EQ(ok.getReplyDataLength(), 10);
}

TEST(PackageRequestWriteFile, Constructors)
{
    const PackageRequestWriteFile defaults;
    EXPECT_EQ(defaults.fileNameWithPath(), QString());
    EXPECT_EQ(defaults.Offset(), 0);
    EXPECT_TRUE(defaults.isBroadcastRspToAllApp());
    EXPECT_EQ(defaults.getClientPackageType(), OrvexEnum::DataPackage) << "not a file yet";

    const PackageRequestWriteFile full(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag,
                                       OrvexEnum::CommCodeErr, true, Name, 11);
    expectFile(full, OrvexEnum::CommCodeErr, OrvexEnum::Write);
    EXPECT_TRUE(full.bBroadcast());
    EXPECT_EQ(full.Offset(), 11);
    const PackageRequestWriteFile ok(Key, 1, 2, 3, 4, 5, 6, 7, 0x30, 9, Tag, true, Name, 11);
    expectFile(ok, OrvexEnum::CommOk, OrvexEnum::Write);
    EXPECT_TRUE(ok.bBroadcast());
    EXPECT_EQ(ok.Offset(), 11);
    EXPECT_EQ(ok.PackageBase::getClientPackageType(), OrvexEnum::DataPackage);
}

TEST(PackageRequestReadFile, AccessorsCopyAndAssignment)
{
    PackageRequestReadFile source(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, 10, Name);
    source.setFileNameWithPath(QStringLiteral("other"));
    source.set_isBroadcastRspToAllApp(false);
    EXPECT_EQ(source.fileNameWithPath(), QStringLiteral("other"));
    EXPECT_FALSE(source.isBroadcastRspToAllApp());
    PackageRequestReadFile copy(source);
    EXPECT_EQ(snapshot(copy), snapshot(source));
    PackageRequestReadFile target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), snapshot(source));
}

TEST(PackageRequestWriteFile, AccessorsCopyAndAssignment)
{
    PackageRequestWriteFile source(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, Name, 11);
    source.setFileNameWithPaht(QStringLiteral("other"));
    source.set_isBroadcastRspToAllApp(false);
    EXPECT_EQ(source.fileNameWithPath(), QStringLiteral("other"));
    EXPECT_FALSE(source.isBroadcastRspToAllApp());
    PackageRequestWriteFile copy(source);
    EXPECT_EQ(snapshot(copy), snapshot(source));
    PackageRequestWriteFile target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), snapshot(source));
}

TEST(PackageRequestReadFile, AppendsItsNameToRequestsAndReplies)
{
    PackageRequestReadFile package;
    QByteArray frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA 00 00")) << "an empty name has its size only";
    package.setFileNameWithPath(Name);
    frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA 07 00 61 2F 62 2E 74 78 74"));
    package.setReplyDataLength(0x01020304);
    frame = hex("AA");
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 04 03 02 01 00 07 00 61 2F 62 2E 74 78 74"));
}

struct ReadPayloadRow
{
    bool isRequest;
    const char *bytes;
    int parsed;
    const char *name; // of a package that held "before"
    bool reported;
};

// The bytes of the name are not counted.
const ReadPayloadRow ReadPayloadRows[] = {
    {true, "01 00 00 00 01 03 00 61 2F 62", 7, "a/b", false},
    {false, "03 00 61 2F 62", 2, "a/b", false},
    {false, "03 00 61 00 62", 2, "a", false}, // ends at its first zero byte
    {false, "00 00 61", 2, "before", false},
    {false, "", 0, "before", false},
    {false, "03", 0, "before", false},
    {false, "03 00 61 2F", 2, "", true},
    {false, "FF FF", 2, "", true},
    {true, "01 00 00 00 01", 5, "before", false},
};

TEST(PackageRequestReadFile, ParsesItsName)
{
    for (const ReadPayloadRow &row : ReadPayloadRows) {
        SCOPED_TRACE(row.bytes);
        PackageRequestReadFile package;
        package.setFileNameWithPath(QStringLiteral("before"));
        int parsed = -1;
        const LogCapture log;
        EXPECT_TRUE(
            package.ParseDataFromPackage(row.isRequest, hex("EE") + hex(row.bytes), 1, &parsed));
        EXPECT_EQ(parsed, row.parsed);
        EXPECT_EQ(package.fileNameWithPath(), QString::fromLatin1(row.name));
        EXPECT_EQ(package.getReplyDataLength(), row.isRequest ? 1 : 0);
        EXPECT_EQ(log.messages().size(), row.reported ? 1U : 0U);
    }
}

TEST(PackageRequestReadFile, LongestName)
{
    PackageRequestReadFile package;
    package.setFileNameWithPath(QString(65535, QLatin1Char('n')));
    const QByteArray frame = package.MackPackageRequest();
    EXPECT_EQ(frame.mid(28, 3), hex("FF FF 6E"));
    PackageRequestReadFile decoded;
    int consumed = 0;
    EXPECT_TRUE(decoded.UnPackageRequest(frame, 0, &consumed));
    EXPECT_EQ(consumed, 30);
    EXPECT_EQ(decoded.fileNameWithPath(), package.fileNameWithPath());

    package.setFileNameWithPath(QString(65536 + 2, QLatin1Char('n')));
    EXPECT_EQ(package.MackPackageRequest().mid(28), hex("02 00") + QByteArray(65538, 'n'))
        << "the size is cut, the name is not";
}

TEST(PackageRequestWriteFile, AppendsAGapAndItsNameToRequestsOnly)
{
    PackageRequestWriteFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, Name, 11);
    QByteArray frame = hex("AA");
    package.AppendDataToPackage(false, &frame);
    EXPECT_EQ(frame, hex("AA"));
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 01 01 00 00 00 00 61 2F 62 2E 74 78 74"));
    package.setFileNameWithPaht(QString());
    frame = hex("AA");
    package.AppendDataToPackage(true, &frame);
    EXPECT_EQ(frame, hex("AA 01 01"));
}

struct WritePayloadRow
{
    const char *bytes; // after 01 01
    int parsed;
    const char *name; // of a package that held "before" and 99
    int offset;
    bool reported;
};

const WritePayloadRow WritePayloadRows[] = {
    {"03 00 00 00 61 2F 62 78 56 34 12", 13, "a/b", 0x12345678, false},
    {"00 00 00 00 78 56 34 12", 10, "before", 0x12345678, false},
    {"FF FF FF FF 78 56 34 12", 10, "before", 0x12345678, false},
    {"03 00 00 00 61 2F 62", 9, "a/b", 0, false},
    {"03 00 00 00 61 2F 62 78 56", 9, "a/b", 0, false},
    {"", 2, "before", 0, false},
    {"03 00 00", 2, "before", 0, false},
    {"03 00 00 00 61 2F", 9, "", 0, true},
    // The announced end exceeds the range of an int: the position wraps, nothing is read there.
    {"FF FF FF 7F 61 2F", -2147483648 + 9, "", 0, true},
};

TEST(PackageRequestWriteFile, ParsesSizeNameAndOffset)
{
    for (const WritePayloadRow &row : WritePayloadRows) {
        SCOPED_TRACE(row.bytes);
        PackageRequestWriteFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, false,
                                        QStringLiteral("before"), 99);
        int parsed = -1;
        const LogCapture log;
        EXPECT_TRUE(
            package.ParseDataFromPackage(true, hex("EE 01 01") + hex(row.bytes), 1, &parsed));
        EXPECT_EQ(parsed, row.parsed);
        EXPECT_EQ(package.fileNameWithPath(), QString::fromLatin1(row.name));
        EXPECT_EQ(package.Offset(), row.offset);
        EXPECT_TRUE(package.bBroadcast());
        EXPECT_EQ(log.messages().size(), row.reported ? 1U : 0U);
    }
}

TEST(PackageRequestWriteFile, ReplyHasNothingToParse)
{
    PackageRequestWriteFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, Name, 11);
    const QJsonObject before = snapshot(package);
    int parsed = -1;
    EXPECT_TRUE(package.ParseDataFromPackage(false, hex("00 00 01 00 00 00 61"), 0, &parsed));
    EXPECT_EQ(parsed, 0);
    EXPECT_EQ(snapshot(package), before);
}

/// Real files in a directory that is removed after the test.
class FileSizes : public testing::Test
{
protected:
    QString path(const QString &name) const { return m_directory.filePath(name); }

    QString makeFile(const QString &name, qint64 size) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_TRUE(file.resize(size)); // sparse where it is large
        return path(name);
    }

    static int packageDataLength(const QString &fileName)
    {
        PackageRequestWriteFile package;
        package.setPackageDataLength(99); // not what counts
        package.setFileNameWithPaht(fileName);
        EXPECT_EQ(package.getDataLength(), package.getPackageDataLength());
        return package.getPackageDataLength();
    }

    static int partCount(const QString &fileName, const QString &offset, int maxPartSize)
    {
        PackageRequestWriteFile package;
        package.setMaxPartSize(maxPartSize);
        package.setPartCount(-99);
        EXPECT_TRUE(package.unPackageRequest(
            QStringLiteral("0,,0,0,0,0,0,0,0,0,write,3,,ok,ok,true,file,%1,%2")
                .arg(fileName, offset)));
        EXPECT_EQ(package.fileNameWithPath(), fileName);
        EXPECT_EQ(package.Offset(), offset.toInt());
        return package.getPartCount();
    }

private:
    QTemporaryDir m_directory;
};

TEST_F(FileSizes, PackageDataLength)
{
    EXPECT_EQ(packageDataLength(QString()), 0);
    EXPECT_EQ(packageDataLength(path(QStringLiteral("missing"))), 0);
    EXPECT_EQ(packageDataLength(makeFile(QStringLiteral("empty"), 0)), 0);
    EXPECT_EQ(packageDataLength(makeFile(QStringLiteral("file"), 2500)), 2500);
    EXPECT_EQ(packageDataLength(makeFile(QString::fromUtf8("gr\xC3\xBC\xC3\x9F \xE2\x82\xAC"), 7)),
              7);
    EXPECT_EQ(packageDataLength(path(QString())), QFileInfo(path(QString())).size())
        << "a directory exists and has a size";
}

TEST_F(FileSizes, PackageDataLengthIsCutTo32Bits)
{
    EXPECT_EQ(packageDataLength(makeFile(QStringLiteral("2g-1"), 0x7FFFFFFF)), 0x7FFFFFFF);
    EXPECT_EQ(packageDataLength(makeFile(QStringLiteral("2g"), 0x80000000)), -0x7FFFFFFF - 1);
    EXPECT_EQ(packageDataLength(makeFile(QStringLiteral("4g"), 0x100000007)), 7);
}

TEST_F(FileSizes, PartCountOfWhatLiesBehindTheOffset)
{
    const QString file = makeFile(QStringLiteral("file"), 2500);
    EXPECT_EQ(partCount(file, QStringLiteral("5"), 1000), 3);
    EXPECT_EQ(partCount(file, QStringLiteral("500"), 1000), 2);
    EXPECT_EQ(partCount(file, QStringLiteral("0"), 2500), 1);
    EXPECT_EQ(partCount(file, QStringLiteral("2500"), 1000), 0);
    EXPECT_EQ(partCount(file, QStringLiteral("2501"), 1000), 1) << "the remainder of -1 adds one";
    EXPECT_EQ(partCount(file, QStringLiteral("-500"), 1000), 3);
    EXPECT_EQ(partCount(file, QStringLiteral("none"), 1000), 3);
    EXPECT_EQ(partCount(file, QStringLiteral("5"), 0), 0);
    EXPECT_EQ(partCount(path(QStringLiteral("missing")), QStringLiteral("0"), 1000), 0);
    EXPECT_EQ(partCount(makeFile(QStringLiteral("empty"), 0), QStringLiteral("0"), 1000), 0);
    EXPECT_EQ(partCount(makeFile(QString::fromUtf8("\xC3\xBC"), 1001), QStringLiteral("0"), 1000),
              2);
    EXPECT_EQ(
        partCount(makeFile(QStringLiteral("large"), 0x180000001), QStringLiteral("1"), 0x1000),
        0x180000)
        << "the size is not cut here";
}

TEST(PackageRequestReadFile, RecordsHaveTheNameAsItStands)
{
    PackageRequestReadFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, 10, QStringLiteral("x/y"));
    EXPECT_TRUE(package.makePackageRequest().endsWith(QStringLiteral(",10,file,x/y")));
    EXPECT_TRUE(package.makePackageReply().endsWith(QStringLiteral(",0,10,file,x/y")));

    PackageRequestReadFile decoded;
    EXPECT_TRUE(decoded.unPackageRequest(package.makePackageRequest()));
    EXPECT_EQ(decoded.fileNameWithPath(), QStringLiteral("x/y"));
    decoded.setFileNameWithPath(QString());
    EXPECT_TRUE(decoded.unPackageReply(package.makePackageReply()));
    EXPECT_EQ(decoded.fileNameWithPath(), QStringLiteral("x/y"));
}

TEST(PackageRequestReadFile, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns <= 20; ++columns) {
        SCOPED_TRACE(columns);
        PackageRequestReadFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, 10, Name);
        const QJsonObject before = snapshot(package);
        const QString record(columns - 1, QLatin1Char(','));
        EXPECT_EQ(package.unPackageReply(record), columns >= 19);
        if (columns < 19) {
            EXPECT_EQ(snapshot(package), before);
        }
        EXPECT_EQ(package.unPackageRequest(record), columns >= 18);
        if (columns < 18) {
            EXPECT_EQ(snapshot(package), before);
        }
    }
}

TEST(PackageRequestWriteFile, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns <= 21; ++columns) {
        SCOPED_TRACE(columns);
        PackageRequestWriteFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, Name, 11);
        const QJsonObject before = snapshot(package);
        const QString record(columns - 1, QLatin1Char(','));
        EXPECT_EQ(package.unPackageReply(record), columns >= 20);
        if (columns < 20) {
            EXPECT_EQ(snapshot(package), before);
        }
        EXPECT_EQ(package.unPackageRequest(record), columns >= 19);
        if (columns < 19) {
            EXPECT_EQ(snapshot(package), before);
        }
    }
}

TEST(PackageRequestWriteFile, CommaInThePathShiftsTheOffset)
{
    PackageRequestWriteFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true,
                                    QStringLiteral("a,b"), 11);
    PackageRequestWriteFile decoded;
    EXPECT_TRUE(decoded.unPackageRequest(package.makePackageRequest()));
    EXPECT_EQ(decoded.fileNameWithPath(), QStringLiteral("a"));
    EXPECT_EQ(decoded.Offset(), 0) << "\"b\" is not a number";
}

TEST(PackageRequestWriteFile, OwnReplyRecordGivesTheKindWordAsName)
{
    PackageRequestWriteFile package(Key, 1, 2, 3, 4, 5, 6, 7, 8, 9, Tag, true, QStringLiteral("17"),
                                    11);
    package.setAckCode(5);
    const QString record = package.makePackageReply();
    EXPECT_TRUE(record.endsWith(QStringLiteral(",5,true,file,17,11")));
    package.setPartCount(99);
    EXPECT_TRUE(package.unPackageReply(record));
    EXPECT_EQ(package.getAckCode(), 5U);
    EXPECT_EQ(package.fileNameWithPath(), QStringLiteral("file"));
    EXPECT_EQ(package.Offset(), 17) << "the file name, taken for a number";
    EXPECT_EQ(package.getPartCount(), 99) << "a reply does not derive it";
}

TEST(FileRequests, RefusedCommonColumnsRefuseTheRecord)
{
    class NoColumnsRead : public PackageRequestReadFile
    {
    protected:
        bool unPackage(QString) override { return false; }
    };
    class NoColumnsWrite : public PackageRequestWriteFile
    {
    protected:
        bool unPackage(QString) override { return false; }
    };
    NoColumnsRead read;
    NoColumnsWrite write;
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

TEST(FileRequests, MetaObjects)
{
    EXPECT_STREQ(PackageRequestReadFile::staticMetaObject.className(), "PackageRequestReadFile");
    EXPECT_STREQ(PackageRequestReadFile::staticMetaObject.superClass()->className(),
                 "PackageRequestRead");
    EXPECT_STREQ(PackageRequestWriteFile::staticMetaObject.className(), "PackageRequestWriteFile");
    EXPECT_STREQ(PackageRequestWriteFile::staticMetaObject.superClass()->className(),
                 "PackageRequestWrite");
    EXPECT_TRUE(PackageRequestReadFile().unPackageReply(nullptr, 0));
    EXPECT_TRUE(PackageRequestWriteFile().unPackageReply(nullptr, 0));
}

/// A short reply has the payload of a class only where the row of the class says so.
TEST(OwnPart, IsInShortRepliesOfSomeClasses)
{
    struct Part
    {
        quint32 &number;
        void payload(Korvin::ByteWriter &w) { w.i32("number", number); }
        void payload(Korvin::ByteReader &r) { r.i32("number", number); }
    };
    constexpr Korvin::ClassRow ReadFile = Korvin::rowOf("PackageRequestReadFile");
    constexpr Korvin::ClassRow ReadMemory = Korvin::rowOf("PackageRequestReadMemData");
    const struct
    {
        const Korvin::ClassRow &row;
        bool withRequest;
        bool isCarried;
    } rows[] = {{ReadFile, true, true},
                {ReadFile, false, true},
                {ReadMemory, true, true},
                {ReadMemory, false, false}};
    for (const auto &row : rows) {
        quint32 number = 0x04030201;
        QByteArray frame("\x7F");
        Korvin::appendPayload(row.row, row.withRequest, &frame, Part{number});
        EXPECT_EQ(frame, row.isCarried ? QByteArray("\x7F\x01\x02\x03\x04") : QByteArray("\x7F"));
        number = 0;
        int parsedLength = 1;
        EXPECT_TRUE(
            Korvin::readPayload(row.row, row.withRequest, frame, 0, &parsedLength, Part{number}));
        EXPECT_EQ(number, row.isCarried ? 0x04030201U : 0U);
        EXPECT_EQ(parsedLength, row.isCarried ? 5 : 1);
    }
}

} // namespace
