// JSON and debug output of every class.

#include "testsupport.h"

#include <commpackagebase.h>
#include <korvininspect/packagedebug.h>
#include <packagerequestcombination.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QJsonArray>

#include <climits>
#include <limits>

namespace {

QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

/// A value other than the default, different for each field.
QJsonValue otherValue(const PackageField &field, const PackageBase &package, int seed)
{
    switch (field.valueType) {
    case ValueType::Number:
    case ValueType::Length:
        return seed + 10;
    case ValueType::Code:
        return 1000 + seed;
    case ValueType::Flag:
        return !field.get(package).toBool();
    case ValueType::Text:
        return QStringLiteral("tëxt %1").arg(seed);
    default:
        return QStringLiteral("00ff%1").arg(seed, 2, 16, QLatin1Char('0'));
    }
}

TEST(PackageJson, EveryFieldOfEveryClassComesBack)
{
    for (const PackageClass &listed : packageClasses()) {
        SCOPED_TRACE(listed.name.toStdString());
        const std::unique_ptr<PackageBase> package = listed.create();
        QJsonObject expected{{QStringLiteral("class"), listed.name}};
        int seed = 0;
        for (const PackageField &field : listed.fields) {
            const QJsonValue value = otherValue(field, *package, ++seed);
            EXPECT_NE(field.get(*package), value) << field.name.toStdString();
            expected.insert(field.name, value);
        }
        ASSERT_EQ(packageFromJson(expected, *package), QString());
        EXPECT_EQ(packageToJson(*package), expected);
        EXPECT_EQ(&classOf(*package), &listed);
    }
}

TEST(PackageJson, LargestNumbersComeBack)
{
    PackageRequestReadMemData package;
    package.setSerialNum(std::numeric_limits<quint64>::max());
    package.setOffset(std::numeric_limits<long>::min());
    package.setAckCode(std::numeric_limits<uint>::max());
    PackageRequestReadMemData copy;
    EXPECT_EQ(packageFromJson(packageToJson(package), copy), QString());
    EXPECT_EQ(copy.getSerialNum(), std::numeric_limits<quint64>::max());
    EXPECT_EQ(copy.offset(), std::numeric_limits<long>::min());
    EXPECT_EQ(copy.getAckCode(), std::numeric_limits<uint>::max());
}

TEST(PackageJson, TheLargestAndTheSmallestCodeComeBack)
{
    for (const int code : {2147483647, -2147483647 - 1}) {
        PackageBase package;
        EXPECT_EQ(packageFromJson({{QStringLiteral("commResult"), code}}, package), QString());
        EXPECT_EQ(int(package.getCommResult()), code);
        EXPECT_EQ(packageToJson(package).value(QStringLiteral("commResult")), QJsonValue(code));
    }
}

TEST(PackageJson, NumbersAreWholeAndInTheirRange)
{
    const struct
    {
        const char *json;
        const char *fault;
    } rows[] = {
        {R"({"serialNum": 1.5})",
         "serialNum: 1.5 is not a whole number from 0 to 18446744073709551615"},
        {R"({"serialNum": 1e17})",
         "serialNum: 100000000000000000 is not a whole number from 0 to 18446744073709551615"},
        {R"({"serialNum": -1})",
         "serialNum: -1 is not a whole number from 0 to 18446744073709551615"},
        {R"({"serialNum": true})",
         "serialNum: true is not a whole number from 0 to 18446744073709551615"},
        {R"({"timeout": 1.5})",
         "timeout: 1.5 is not a whole number from -2147483648 to 2147483647"},
        {R"({"timeout": -1e300})",
         "timeout: -1e+300 is not a whole number from -2147483648 to 2147483647"},
        {R"({"timeout": 2147483648})",
         "timeout: 2147483648 is not a whole number from -2147483648 to 2147483647"},
        {R"({"timeout": -2147483649})",
         "timeout: -2147483649 is not a whole number from -2147483648 to 2147483647"},
        {R"({"readWriteCode": 2147483648})",
         "readWriteCode: 2147483648 is not one of read, write, or a number from -2147483648 to "
         "2147483647"},
        {R"({"readWriteCode": -2147483649})",
         "readWriteCode: -2147483649 is not one of read, write, or a number from -2147483648 to "
         "2147483647"},
        {R"({"commResult": "Ok"})",
         "commResult: \"Ok\" is not one of pending, ok, crcErr, lengthErr, portErr, timeout, "
         "codeErr, forcedCancel, or a number from -2147483648 to 2147483647"},
        {R"({"packResult": "x", "scrAddr": 1})",
         "packResult: \"x\" is not one of ok, fileErr, memErr, fileDeleteErr, directoryCreateErr, "
         "invalidPort, parseFailure, messageDisconnect, forceCancel, sendError, "
         "parsePackAddrFailure, failure, disConnect, fileNoExist, fileReadFailure, "
         "fileCreatFailure, fileWriteFailure, deviceSpaceNoEnough, cancelWait, cancel, abort, "
         "timeOut, or a number from -2147483648 to 2147483647"},
        {R"({"clientPackageType": null})",
         "clientPackageType: null is not one of data, file, memData, or a number from -2147483648 "
         "to 2147483647"},
    };
    for (const auto &row : rows) {
        PackageBase package;
        const QJsonObject before = packageToJson(package);
        EXPECT_EQ(packageFromJson(object(row.json), package), QString::fromLatin1(row.fault));
        EXPECT_EQ(packageToJson(package), before);
    }
    PackageBase package;
    EXPECT_EQ(packageFromJson(object(R"({"serialNum": "0xFFFFFFFFFFFFFFFF", "timeout": "-0x1",
                                         "scrAddr": "0Xff", "portAddr": "7"})"),
                              package),
              QStringLiteral("timeout: \"-0x1\" is not a whole number from -2147483648 to "
                             "2147483647"));
    EXPECT_EQ(package.getSerialNum(), std::numeric_limits<quint64>::max());
    EXPECT_EQ(package.getScrAddr(), 255);
    EXPECT_EQ(package.getPortAddr(), 7);
}

TEST(PackageJson, FlagsMayBeText)
{
    PackageBase package;
    EXPECT_EQ(packageFromJson(object(R"({"subcribeHardware": "true"})"), package), QString());
    EXPECT_TRUE(package.getSubcribeHardware());
    EXPECT_EQ(packageFromJson(object(R"({"subcribeHardware": "false"})"), package), QString());
    EXPECT_FALSE(package.getSubcribeHardware());
    EXPECT_EQ(packageFromJson(object(R"({"subcribeHardware": "TRUE"})"), package),
              QStringLiteral("subcribeHardware: \"TRUE\" is not true or false"));
    EXPECT_EQ(packageFromJson(object(R"({"subcribeHardware": 1})"), package),
              QStringLiteral("subcribeHardware: 1 is not true or false"));
}

TEST(PackageFields, ExpressionOfNoData)
{
    const PackageRequestWriteData package;
    EXPECT_EQ(classOf(package).field(QStringLiteral("data"))->expression(package),
              QStringLiteral("QByteArray()"));
}

TEST(PackageFields, NamesOfSetters)
{
    const struct
    {
        ClassId classId;
        const char *field;
        const char *setter; // empty where only constructors set the field
    } rows[] = {
        {ClassId::PackageBase, "deviceKey", "setDeviceKey"},
        {ClassId::PackageRequestReadFile, "fileNameWithPath", "setFileNameWithPath"},
        {ClassId::PackageRequestReadFile, "broadcastRspToAllApp", "set_isBroadcastRspToAllApp"},
        {ClassId::PackageRequestWrite, "baseClientPackageType", "setClientPackageType"},
        {ClassId::PackageRequestWrite, "broadcast", ""},
        {ClassId::PackageRequestWrite, "clientPackageType", ""},
        {ClassId::PackageRequestWriteIP, "ipAddress", "setIPAddress"},
        {ClassId::PackageRequestWriteFile, "fileNameWithPath", "setFileNameWithPaht"},
        {ClassId::PackageRequestWriteFile, "offset", ""},
        {ClassId::PackageRequestWriteFile, "broadcastRspToAllApp", "set_isBroadcastRspToAllApp"},
        {ClassId::PackageRequestWriteMemData, "offset", "setOffset"},
    };
    for (const auto &row : rows) {
        const PackageField *field = packageClass(row.classId)->field(QLatin1String(row.field));
        ASSERT_TRUE(field) << row.field;
        EXPECT_EQ(field->setter, QLatin1String(row.setter)) << row.field;
    }
}

TEST(PackageFields, ExpressionsOfTexts)
{
    const std::pair<QString, QString> rows[] = {
        {QString(), QStringLiteral("QString()")},
        {QStringLiteral(" ~"), QStringLiteral(R"(QString::fromUtf8(" ~", 2))")},
        {QStringLiteral("\x1F\x7F"), QStringLiteral(R"(QString::fromUtf8("\037\177", 2))")},
        {QStringLiteral("\u00E9"
                        "1"),
         QStringLiteral(R"(QString::fromUtf8("\303\2511", 3))")},
        {QStringLiteral("\"\\"), QStringLiteral(R"(QString::fromUtf8("\"\\", 2))")},
        {QStringLiteral("?"), QStringLiteral(R"(QString::fromUtf8("?", 1))")},
        // Two question marks could begin a trigraph.
        {QStringLiteral("?\?="), QStringLiteral(R"(QString::fromUtf8("?\?=", 3))")},
        // Half of a surrogate pair has no UTF-8.
        {QString(QChar(0xD83D)) + QLatin1Char('a'),
         QStringLiteral(R"(QStringView(u"\xd83d" u"\x61", 2).toString())")},
    };
    for (const auto &[text, expression] : rows) {
        PackageBase package;
        package.setTag(text);
        EXPECT_EQ(classOf(package).field(QStringLiteral("tag"))->expression(package), expression);
    }
}

/// A literal may not be longer than compilers accept.
TEST(PackageFields, ExpressionsOfLongTextsAndDataAreSums)
{
    PackageRequestWriteData package;
    package.setTag(QString(16385, QLatin1Char('a')));
    package.setData(QByteArray(16385, 'a'));
    const auto expressionOf = [&](const char *field) {
        return classOf(package).field(QLatin1String(field))->expression(package);
    };
    EXPECT_EQ(expressionOf("tag"),
              QStringLiteral("QString::fromUtf8(\"%1\", 16384) + "
                             "QString::fromUtf8(\"a\", 1)")
                  .arg(QString(16384, QLatin1Char('a'))));
    EXPECT_EQ(expressionOf("data"),
              QStringLiteral("QByteArray::fromHex(\"%1\") + QByteArray::fromHex(\"61\")")
                  .arg(QStringLiteral("61").repeated(16384)));
}

TEST(PackageFields, ExpressionsOfNumbers)
{
    PackageRequestReadMemData package;
    const auto expressionOf = [&](const char *field) {
        return classOf(package).field(QLatin1String(field))->expression(package);
    };
    package.setSerialNum(std::numeric_limits<quint64>::max());
    EXPECT_EQ(expressionOf("serialNum"), QStringLiteral("18446744073709551615ULL"));
    package.setOffset(-5);
    EXPECT_EQ(expressionOf("offset"), QStringLiteral("-5"));
    package.setPortAddr(7);
    EXPECT_EQ(expressionOf("portAddr"), QStringLiteral("char(7)"));
    package.setCommResult(OrvexEnum::CommTimeout);
    EXPECT_EQ(expressionOf("commResult"), QStringLiteral("OrvexEnum::CommTimeout"));
    package.setCommResult(static_cast<OrvexEnum::CommResults>(8));
    EXPECT_EQ(expressionOf("commResult"), QStringLiteral("static_cast<OrvexEnum::CommResults>(8)"));
    package.setClientPackageType(OrvexEnum::MemDataPackage);
    EXPECT_EQ(expressionOf("clientPackageType"), QStringLiteral("OrvexEnum::MemDataPackage"));
    package.setSubcribeHardware(true);
    EXPECT_EQ(expressionOf("subcribeHardware"), QStringLiteral("true"));
#if LONG_MAX > INT_MAX
    package.setOffset(std::numeric_limits<long>::min());
    EXPECT_EQ(expressionOf("offset"), QStringLiteral("-9223372036854775807LL - 1"));
#endif
}

TEST(PackageJson, OffsetOfAFileWriteLeavesAllElse)
{
    PackageRequestWriteFile package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                    QStringLiteral("tag"), true, QStringLiteral("name"), 5);
    package.set_isBroadcastRspToAllApp(true);
    package.setPackageDataLength(77);
    QJsonObject expected = packageToJson(package);
    EXPECT_EQ(packageFromJson(object(R"({"offset": -6})"), package), QString());
    expected.insert(QStringLiteral("offset"), -6);
    EXPECT_EQ(packageToJson(package), expected);
    EXPECT_EQ(package.PackageRequestWrite::getPackageDataLength(), 77);
}

TEST(PackageJson, BroadcastAndKindOfAWriteLeaveAllElse)
{
    PackageRequestWriteData package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                    QStringLiteral("tag"), false, hex("01 02"), 2);
    QJsonObject expected = packageToJson(package);
    EXPECT_EQ(
        packageFromJson(object(R"({"broadcast": true, "clientPackageType": "file"})"), package),
        QString());
    expected.insert(QStringLiteral("broadcast"), true);
    expected.insert(QStringLiteral("clientPackageType"), QStringLiteral("file"));
    EXPECT_EQ(packageToJson(package), expected);
}

const char Combination[] = R"({
    "class": "PackageRequestCombination", "deviceKey": "usb0", "timeout": -7,
    "serialNum": "18446744073709551615",
    "packages": [
        {"class": "PackageRequestWriteData", "serialNum": 300, "data": "01ff", "tagProto": "other",
         "broadcast": true},
        {"class": "PackageRequestReadFile", "fileNameWithPath": "a,b|c^d"},
        {"class": "PackageRequestWriteFile", "offset": 5},
        {"class": "PackageRequestReadData", "replyDataLength": 4}
    ]})";

void deletePackages(PackageRequestCombination &combination)
{
    for (PackageBase *package : combination.packageList())
        PackageBase::clear(package);
}

TEST(CombinationJson, ComesBack)
{
    PackageRequestCombination combination;
    ASSERT_EQ(combinationFromJson(object(Combination), combination), QString());
    EXPECT_EQ(combination.getDeviceKey(), QStringLiteral("usb0"));
    EXPECT_EQ(combination.getTimeout(), -7);
    EXPECT_EQ(combination.getSerialNum(), std::numeric_limits<quint64>::max());
    const std::list<PackageBase *> packages = combination.packageList();
    ASSERT_EQ(packages.size(), 4U);
    EXPECT_EQ(packages.front()->getSerialNum(), 300U);
    EXPECT_EQ(packages.front()->data(), hex("01 FF"));
    EXPECT_EQ(packages.front()->getReadWriteCode(), OrvexEnum::Write);

    const QJsonObject json = combinationToJson(combination);
    EXPECT_EQ(json.value(QStringLiteral("packages")).toArray().size(), 4);
    PackageRequestCombination copy;
    ASSERT_EQ(combinationFromJson(json, copy), QString());
    EXPECT_EQ(combinationToJson(copy), json);
    deletePackages(combination);
    deletePackages(copy);
}

TEST(CombinationJson, EmptyComesBack)
{
    PackageRequestCombination combination(5, QStringLiteral("key"));
    ASSERT_EQ(combinationFromJson({}, combination), QString());
    EXPECT_EQ(combination.getSerialNum(), 0U);
    EXPECT_EQ(combination.getTimeout(), 0);
    EXPECT_EQ(combination.getDeviceKey(), QString());
    EXPECT_TRUE(combination.packageList().empty());
}

TEST(CombinationJson, WrongInputLeavesTheCombination)
{
    const struct
    {
        const char *json;
        const char *fault;
    } rows[] = {
        {R"({"timeout": 2147483648})",
         "timeout: not a whole number from -2147483648 to 2147483647"},
        {R"({"timeout": -2147483649})",
         "timeout: not a whole number from -2147483648 to 2147483647"},
        {R"({"timeout": "x", "serialNum": -1})",
         "timeout: not a whole number from -2147483648 to 2147483647"},
        {R"({"serialNum": -1})", "serialNum: not a whole number of 0 or more"},
        {R"({"deviceKey": 1})", "deviceKey: not a text"},
        {R"({"packages": {}})", "packages: not a list"},
        {R"({"x": 1})", "x: there is no such member"},
        {R"({"packages": [{"class": "PackageRequestRead"}]})",
         "packages: 1: class: a combination carries no such class"},
        {R"({"packages": [{"class": "PackageRequestReadData"}, 5]})",
         "packages: 2: class: a combination carries no such class"},
        {R"({"packages": [{"class": "PackageRequestReadData", "tag": 5}]})",
         "packages: 1: tag: 5 is not a text"},
    };
    PackageRequestCombination combination(5, QStringLiteral("key"));
    const QJsonObject before = combinationToJson(combination);
    for (const auto &row : rows) {
        EXPECT_EQ(combinationFromJson(object(row.json), combination),
                  QString::fromLatin1(row.fault));
        EXPECT_EQ(combinationToJson(combination), before);
    }
}

TEST(FrameSliceJson, ComesBack)
{
    const QJsonObject json = object(R"({
        "class": "CommPackageBase", "spareBytes": "01ff", "spareLength": -5,
        "frameSlice": "55aa015655", "sliceLength": 2147483647, "checkStatus": -2147483648,
        "spareWord": "18446744073709551615"})");
    CommPackageBase slice;
    ASSERT_EQ(frameSliceFromJson(json, slice), QString());
    EXPECT_EQ(slice.getFrameSlice(), hex("55 AA 01 56 55"));
    EXPECT_EQ(slice.getSpareWord(), std::numeric_limits<quint64>::max());
    EXPECT_EQ(frameSliceToJson(slice), json);

    EXPECT_EQ(frameSliceFromJson(object(R"({"checkStatus": 2, "frameSlice": "0"})"), slice),
              QStringLiteral("frameSlice: not bytes in hexadecimal digits"));
    EXPECT_EQ(frameSliceToJson(slice), json);
    EXPECT_EQ(frameSliceFromJson(object(R"({"checkStatus": 2})"), slice), QString());
    EXPECT_EQ(slice.getCheckStatus(), 2);
}

template <typename Object>
QString debugged(const Object &object)
{
    QString text;
    QDebug(&text) << object << 7;
    return text.trimmed();
}

TEST(DebugOutput, PackageShowsNamesAndHexadecimal)
{
    PackageRequestWriteData package;
    package.setSerialNum(7);
    package.setHighAddr(2560);
    package.setTag(QStringLiteral("t1"));
    package.setData(QByteArray(33, '\x01'));
    const QString text = debugged(package);
    EXPECT_TRUE(
        text.startsWith(QStringLiteral("PackageRequestWriteData(serialNum=7, deviceKey=\"\", "
                                       "tag=\"t1\", ")))
        << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral(", highAddr=2560 (0xA00), ")));
    EXPECT_TRUE(text.contains(QStringLiteral(", commResult=ok (1), ")));
    EXPECT_TRUE(text.contains(QStringLiteral(", broadcast=false, ")));
    const QString thirtyTwo = QStringLiteral("01 ").repeated(32);
    EXPECT_TRUE(
        text.endsWith(QStringLiteral(", data=33 bytes: ") + thirtyTwo + QStringLiteral("...) 7")))
        << text.toStdString();
}

TEST(DebugOutput, CodesWithoutAName)
{
    PackageBase package;
    package.setCommResult(static_cast<OrvexEnum::CommResults>(77));
    EXPECT_TRUE(debugged(package).contains(QStringLiteral(", commResult=no name (77), ")));
}

TEST(DebugOutput, EveryClassShowsEveryField)
{
    for (const PackageClass &listed : packageClasses()) {
        const std::unique_ptr<PackageBase> package = listed.create();
        const QString text = debugged(*package);
        EXPECT_TRUE(text.startsWith(listed.name + QLatin1Char('(')));
        for (const PackageField &field : listed.fields)
            EXPECT_TRUE(text.contains(field.name + QLatin1Char('='))) << field.name.toStdString();
    }
}

TEST(DebugOutput, Combination)
{
    PackageRequestCombination combination(5, QStringLiteral("key"));
    combination.unCombinationPackageRequest(QStringLiteral("ReadData^|writeFile^"));
    const QString text = debugged(combination);
    EXPECT_TRUE(text.startsWith(
        QStringLiteral("PackageRequestCombination(deviceKey=\"key\", timeout=5, serialNum=")));
    EXPECT_TRUE(text.contains(QStringLiteral(", packages=[PackageRequestReadData(")));
    EXPECT_TRUE(text.contains(QStringLiteral("), PackageRequestWriteFile(")));
    EXPECT_TRUE(text.endsWith(QStringLiteral(")]) 7")));
    deletePackages(combination);
}

TEST(DebugOutput, FrameSlice)
{
    CommPackageBase slice(hex("55 AA 01 56 55"), 0, 5);
    slice.setSpareWord(255);
    EXPECT_EQ(
        debugged(slice),
        QStringLiteral("CommPackageBase(spareBytes=0 bytes, spareLength=0, frameSlice=5 bytes: "
                       "55 AA 01 56 55, sliceLength=5, checkStatus=1, spareWord=255 (0xFF)) 7"));
}

} // namespace
