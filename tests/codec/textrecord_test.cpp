// The common text record: escapes, number parsing, column counts.

#include "testsupport.h"

#include <packagerequestread.h>

namespace {

struct KeyRow
{
    const char *key;
    const char *written;
    const char *readBack;
};

constexpr KeyRow KeyRows[] = {
    {"", "", ""},
    {"usb0", "usb0", "usb0"},
    {"usb/0,1", "usb#*#0*#*1", "usb/0,1"},
    {"/,", "#*#*#*", "#,#*"}, // a slash directly before a comma does not come back
    {",/", "*#*#*#", ",/"},
    {"#*#*#", "#*#*#", "#,#"}, // the escape of the comma is read first
    {"a#*#b", "a#*#b", "a/b"}, // nor does a key that holds an escape
    {"x*#*y", "x*#*y", "x,y"},
    {"//", "#*##*#", "//"},
    {",,", "*#**#*", ",,"},
    {"/a,b/", "#*#a*#*b#*#", "/a,b/"},
    {"#*", "#*", "#*"},
};

TEST(TextRecord, EscapesOfTheDeviceKey)
{
    for (const KeyRow &row : KeyRows) {
        SCOPED_TRACE(row.key);
        PackageBase package;
        package.setDeviceKey(QString::fromLatin1(row.key));
        const QString record = package.makePackageRequest();
        EXPECT_EQ(
            record,
            QStringLiteral("0,%1,0,0,0,0,0,0,0,0,read,3,,ok,ok").arg(QLatin1String(row.written)));
        PackageBase decoded;
        EXPECT_TRUE(decoded.unPackageRequest(record));
        EXPECT_EQ(decoded.getDeviceKey(), QString::fromLatin1(row.readBack));
    }
}

struct EscapeOrderRow
{
    const char *key;
    const char *written;       // in either order
    const char *slashReadLast; // as the format has it
    const char *slashReadFirst;
};

constexpr EscapeOrderRow EscapeOrderRows[] = {
    {"a/b,c", "a#*#b*#*c", "a/b,c", "a/b,c"},
    {"/,", "#*#*#*", "#,#*", "/,"},
    {",/", "*#*#*#", ",/", "*/*#"},
};

QString replaced(const QString &text, const char *first, const char *firstBy, const char *second,
                 const char *secondBy)
{
    QString result = text;
    result.replace(QLatin1String(first), QLatin1String(firstBy));
    return result.replace(QLatin1String(second), QLatin1String(secondBy));
}

TEST(TextRecord, OrderOfTheEscapesMattersOnlyForReading)
{
    for (const EscapeOrderRow &row : EscapeOrderRows) {
        SCOPED_TRACE(row.key);
        const QString key = QString::fromLatin1(row.key);
        const QString written = QString::fromLatin1(row.written);
        EXPECT_EQ(replaced(key, "/", "#*#", ",", "*#*"), written);
        EXPECT_EQ(replaced(key, ",", "*#*", "/", "#*#"), written);
        EXPECT_EQ(replaced(written, "*#*", ",", "#*#", "/"),
                  QString::fromLatin1(row.slashReadLast));
        EXPECT_EQ(replaced(written, "#*#", "/", "*#*", ","),
                  QString::fromLatin1(row.slashReadFirst));

        PackageBase package;
        package.setDeviceKey(key);
        EXPECT_EQ(package.makePackageRequest().section(QLatin1Char(','), 1, 1), written);
        PackageBase decoded;
        EXPECT_TRUE(decoded.unPackageRequest(package.makePackageRequest()));
        EXPECT_EQ(decoded.getDeviceKey(), QString::fromLatin1(row.slashReadLast));
    }
}

/// A request record whose column @p column is @p text and all others are "0".
QString recordWith(int column, const QString &text, int columns = 15)
{
    QStringList texts;
    for (int i = 0; i < columns; ++i)
        texts << (i == column ? text : QStringLiteral("0"));
    return texts.join(QLatin1Char(','));
}

struct NumberRow
{
    const char *text;
    qint64 asInt;  // QString::toInt
    qint64 asUInt; // QString::toUInt
};

constexpr NumberRow NumberRows[] = {
    {"", 0, 0},
    {"0", 0, 0},
    {"7", 7, 7},
    {"007", 7, 7},
    {"0000000000000007", 7, 7},
    {"123456789", 123456789, 123456789},
    {"2147483647", 2147483647, 2147483647},
    {"2147483648", 0, 2147483648},
    {"4294967295", 0, 4294967295},
    {"4294967296", 0, 0},
    {"99999999999999999999", 0, 0},
    {"+7", 7, 7},
    {"-7", -7, 0},
    {"-2147483648", -2147483648, 0},
    {"-2147483649", 0, 0},
    {" 7", 7, 7},
    {"7 ", 7, 7},
    {"\t7\n", 7, 7},
    {"7 7", 0, 0},
    {"- 7", 0, 0},
    {"7x", 0, 0},
    {"x7", 0, 0},
    {"0x7", 0, 0},
    {"7.0", 0, 0},
    {"7e1", 0, 0},
    {"1'000", 0, 0},
    {"abc", 0, 0},
    {"/", 0, 0}, // the characters beside the digits
    {":", 0, 0},
};

TEST(TextRecord, SignedColumns)
{
    for (const NumberRow &row : NumberRows) {
        SCOPED_TRACE(row.text);
        const QString text = QString::fromLatin1(row.text);
        ASSERT_EQ(text.toInt(), row.asInt);
        PackageBase package;
        EXPECT_TRUE(package.unPackageRequest(recordWith(0, text)));
        EXPECT_EQ(package.getSerialNum(), static_cast<quint64>(row.asInt)) << "sign extended";
        EXPECT_TRUE(package.unPackageRequest(recordWith(2, text)));
        EXPECT_EQ(package.getDeviceType(), row.asInt);
        EXPECT_TRUE(package.unPackageRequest(recordWith(11, text)));
        EXPECT_EQ(package.getTimeout(), row.asInt);
        EXPECT_TRUE(package.unPackageReply(recordWith(15, text, 16)));
        EXPECT_EQ(package.getAckCode(), static_cast<uint>(row.asInt));
    }
}

TEST(TextRecord, UnsignedColumns)
{
    for (const NumberRow &row : NumberRows) {
        SCOPED_TRACE(row.text);
        const QString text = QString::fromLatin1(row.text);
        ASSERT_EQ(text.toUInt(), row.asUInt);
        PackageBase package;
        EXPECT_TRUE(package.unPackageRequest(recordWith(3, text)));
        EXPECT_EQ(package.getScrAddr(), row.asUInt % 256);
        EXPECT_TRUE(package.unPackageRequest(recordWith(4, text)));
        EXPECT_EQ(package.getDesAddr(), row.asUInt % 256);
        EXPECT_TRUE(package.unPackageRequest(recordWith(5, text)));
        EXPECT_EQ(package.getPortAddr(), row.asUInt % 256);
        EXPECT_TRUE(package.unPackageRequest(recordWith(6, text)));
        EXPECT_EQ(package.getScanBoardAddr(), row.asUInt % 65536);
        EXPECT_TRUE(package.unPackageRequest(recordWith(7, text)));
        EXPECT_EQ(package.getHighAddr(), row.asUInt % 65536);
        EXPECT_TRUE(package.unPackageRequest(recordWith(8, text)));
        EXPECT_EQ(package.getLowAddr(), row.asUInt % 65536);
        EXPECT_TRUE(package.unPackageRequest(recordWith(9, text)));
        EXPECT_EQ(static_cast<uint>(package.getReserved2()), row.asUInt);
    }
}

TEST(TextRecord, ForeignDigitsAreNoNumbers)
{
    PackageBase package;
    EXPECT_TRUE(package.unPackageRequest(recordWith(2, QString(QChar(0x0667)))));
    EXPECT_EQ(package.getDeviceType(), QString(QChar(0x0667)).toInt());
    EXPECT_EQ(package.getDeviceType(), 0);
    EXPECT_TRUE(package.unPackageRequest(recordWith(2, QString(QChar(0x0130 + '7')))));
    EXPECT_EQ(package.getDeviceType(), 0) << "only the low byte is that of a digit";
}

TEST(TextRecord, WideNumbersAreCut)
{
    PackageBase package;
    EXPECT_TRUE(package.unPackageRequest(recordWith(3, QStringLiteral("256"))));
    EXPECT_EQ(package.getScrAddr(), 0);
    EXPECT_TRUE(package.unPackageRequest(recordWith(6, QStringLiteral("65536"))));
    EXPECT_EQ(package.getScanBoardAddr(), 0);
}

TEST(TextRecord, SerialNumberIsWrittenWith64BitsAndReadWith32)
{
    const struct
    {
        quint64 serialNum;
        const char *written;
        quint64 readBack;
    } rows[] = {
        {2147483647, "2147483647", 2147483647},
        {2147483648, "2147483648", 0},
        {4294967296, "4294967296", 0},
        {18446744073709551615U, "18446744073709551615", 0},
    };
    for (const auto &row : rows) {
        PackageBase package;
        package.setSerialNum(row.serialNum);
        const QString record = package.makePackageRequest();
        EXPECT_EQ(record,
                  QString::fromLatin1(row.written)
                      + QStringLiteral(",,0,0,0,0,0,0,0,0,read,3,,ok,ok"));
        EXPECT_TRUE(package.unPackageRequest(record));
        EXPECT_EQ(package.getSerialNum(), row.readBack);
    }
}

TEST(TextRecord, NegativeAndLargestNumbersAsWritten)
{
    PackageBase package;
    package.setDeviceType(-2147483647 - 1);
    package.setScrAddr(static_cast<char>(255));
    package.setScanBoardAddr(65535);
    package.setReserved2(-1);
    package.setTimeout(-3);
    package.setAckCode(4294967295U);
    EXPECT_EQ(package.makePackageReply(),
              QStringLiteral("0,,-2147483648,255,0,0,65535,0,0,-1,read,-3,,ok,ok,4294967295"));
}

TEST(TextRecord, ReadWriteWord)
{
    for (const int code : {-1, 0, 1, 2}) {
        PackageBase package;
        package.setReadWriteCode(OrvexEnum::ReadWriteCode(code));
        EXPECT_EQ(package.makePackageRequest().contains(QStringLiteral("write")), code == 1);
    }
    const struct
    {
        const char *word;
        OrvexEnum::ReadWriteCode code;
    } rows[] = {
        {"read", OrvexEnum::Read},   {"write", OrvexEnum::Write}, {"Read", OrvexEnum::Write},
        {"READ", OrvexEnum::Write},  {" read", OrvexEnum::Write}, {"read ", OrvexEnum::Write},
        {"reads", OrvexEnum::Write}, {"", OrvexEnum::Write},      {"0", OrvexEnum::Write},
    };
    for (const auto &row : rows) {
        PackageBase package;
        EXPECT_TRUE(package.unPackageRequest(recordWith(10, QString::fromLatin1(row.word))));
        EXPECT_EQ(package.getReadWriteCode(), row.code) << row.word;
    }
}

TEST(TextRecord, TooFewColumnsAreRefusedWithTheObjectUnchanged)
{
    for (int columns = 1; columns <= 20; ++columns) {
        SCOPED_TRACE(columns);
        PackageBase package;
        package.setSerialNum(99);
        package.setDeviceKey(QStringLiteral("key"));
        package.setAckCode(98);
        const QJsonObject before = snapshot(package);
        const QString record = recordWith(0, QStringLiteral("1"), columns);

        EXPECT_EQ(package.unPackageReply(record), columns >= 16);
        if (columns < 16) {
            EXPECT_EQ(snapshot(package), before);
        }
        EXPECT_EQ(package.unPackageRequest(record), columns >= 15);
        if (columns < 15) {
            EXPECT_EQ(snapshot(package), before);
        }
    }
    PackageBase package;
    EXPECT_FALSE(package.unPackageRequest(QString()));
    EXPECT_FALSE(package.unPackageReply(QString()));
    EXPECT_FALSE(package.unPackageReply(QStringLiteral("")));
}

TEST(TextRecord, EmptyColumnsCount)
{
    PackageBase package;
    package.setTimeout(9);
    EXPECT_TRUE(package.unPackageRequest(QString(14, QLatin1Char(','))));
    EXPECT_EQ(package.getTimeout(), 0);
    EXPECT_EQ(package.getReadWriteCode(), OrvexEnum::Write);
    EXPECT_TRUE(package.isPackageSuccess()) << "empty result names read as success";
}

TEST(TextRecord, RequestLeavesTheFieldsThatItDoesNotCarry)
{
    PackageBase package;
    package.setAckCode(5);
    package.setTagProto(QStringLiteral("proto"));
    package.setServerConnectionKey(QStringLiteral("server"));
    package.setMaxPartSize(6);
    package.setPartCount(7);
    package.setCurPartIndex(8);
    package.setSubcribeHardware(true);
    package.setIsRegisterAddrSelfIncreasing(false);
    package.setClientPackageType(OrvexEnum::FilePackage);
    const QJsonObject before = snapshot(package);
    EXPECT_TRUE(package.unPackageRequest(package.makePackageRequest()));
    EXPECT_EQ(snapshot(package), before);
}

TEST(TextRecord, TagIsNotEscaped)
{
    PackageBase package;
    package.setTag(QStringLiteral("a,b"));
    package.setCommResult(OrvexEnum::CommTimeout);
    package.setPackResult(OrvexEnum::PackAbort);
    const QString record = package.makePackageRequest();
    EXPECT_EQ(record, QStringLiteral("0,,0,0,0,0,0,0,0,0,read,3,a,b,timeout,abort"));
    PackageBase decoded;
    EXPECT_TRUE(decoded.unPackageRequest(record));
    EXPECT_EQ(decoded.getTag(), QStringLiteral("a"));
    EXPECT_EQ(decoded.getCommResult(), OrvexEnum::CommOk) << "\"b\" is not a name";
    EXPECT_EQ(decoded.getPackResult(), OrvexEnum::PackOk) << "\"timeout\" is not a package result";
}

/// Replaces the common columns.
class OwnColumns : public PackageBase
{
public:
    QString columns = QStringLiteral("");

protected:
    QString makePackage() override { return columns; }
    bool unPackage(QString text) override
    {
        columns = text;
        return text != QStringLiteral("refused") + QString(15, QLatin1Char(','));
    }
};

TEST(TextRecord, CommonColumnsAreMadeAndReadThroughTheVirtualCall)
{
    OwnColumns package;
    package.columns = QStringLiteral("own");
    package.setAckCode(3);
    EXPECT_EQ(package.makePackageRequest(), QStringLiteral("own"));
    EXPECT_EQ(package.makePackageReply(), QStringLiteral("own,3"));
    package.columns = QStringLiteral("");
    EXPECT_EQ(package.makePackageReply(), QStringLiteral(",3")) << "empty is not missing";

    EXPECT_TRUE(package.unPackageRequest(QStringLiteral("text")));
    EXPECT_EQ(package.columns, QStringLiteral("text"));
    EXPECT_TRUE(package.unPackageReply(recordWith(15, QStringLiteral("4"), 16)));
    EXPECT_EQ(package.getAckCode(), 4U);
    EXPECT_FALSE(package.unPackageReply(QStringLiteral("refused") + QString(15, QLatin1Char(','))));
    EXPECT_EQ(package.getAckCode(), 4U);
}

/// Replaces the common columns of a class that has columns of its own.
class OwnColumnsOfARead : public PackageRequestRead
{
protected:
    QString makePackage() override { return {}; }
};

TEST(TextRecord, NullCommonColumnsAreEmptyOnes)
{
    OwnColumns package;
    package.columns = QString();
    package.setAckCode(3);
    EXPECT_EQ(package.makePackageReply(), QStringLiteral(",3"));
    EXPECT_EQ(OwnColumnsOfARead().makePackageRequest(), QStringLiteral(",0,data"));
    EXPECT_EQ(OwnColumnsOfARead().makePackageReply(), QStringLiteral(",0,0,data"));
}

/// Counts calls of the virtual parser, and accepts everything.
class CountingParser : public PackageBase
{
public:
    int calls = 0;
    bool result = false;

protected:
    bool unPackage(QString text) override
    {
        ++calls;
        return result && PackageBase::unPackage(text);
    }
};

TEST(TextRecord, ReplyReaderAsksTheVirtualParser)
{
    CountingParser package;
    int calls = 0;
    const QJsonObject before = snapshot(package);
    for (const int columns : {1, 14, 16, 17}) {
        EXPECT_FALSE(package.unPackageReply(recordWith(0, QStringLiteral("9"), columns)));
        EXPECT_EQ(package.calls, ++calls) << columns;
    }
    package.result = true;
    EXPECT_FALSE(package.unPackageReply(recordWith(0, QStringLiteral("9"), 14)));
    EXPECT_EQ(package.calls, ++calls);
    EXPECT_FALSE(package.unPackageReply(recordWith(0, QStringLiteral("9"), 15)));
    EXPECT_EQ(snapshot(package), before);
    EXPECT_TRUE(package.unPackageReply(recordWith(0, QStringLiteral("9"), 16)));
    EXPECT_EQ(package.calls, ++calls);
    EXPECT_EQ(package.getSerialNum(), 9U);
}

} // namespace
