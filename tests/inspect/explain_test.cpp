// Compares explain() with the decoders, for every vector and for many generated packages and broken
// inputs.

#include "codecagreement.h"
#include "generatedpackages.h"
#include "testsupport.h"
#include "testvectors.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageexplain.h>
#include <packagerequestcombination.h>
#include <packagerequestwritedata.h>

#include <QtCore/QJsonArray>
#include <QtCore/QMap>
#include <QtCore/QSet>

#include <algorithm>

namespace {

using Explanation = QVector<ExplainedField>;

class ExplainedVectors : public testing::TestWithParam<Vector>
{
};

TEST_P(ExplainedVectors, FieldsAreTheInputAndValuesThoseOfTheDecoder)
{
    const PackageClass &itsClass = *packageClass(GetParam().className);
    std::vector<FormOfVector> forms(std::begin(EncodedForms), std::end(EncodedForms));
    forms.push_back(LinuxReply);
    for (const FormOfVector &form : forms) {
        const QJsonValue vector = GetParam().content.value(QLatin1String(form.name));
        if (vector.isUndefined())
            continue;
        SCOPED_TRACE(form.name);
        const QByteArray input = encodedForm(vector.toObject());
        EXPECT_FALSE(explain(input, shapeOf(itsClass, form.encoding)).isEmpty());
        expectExplained(input, itsClass, form.encoding);
    }
}

INSTANTIATE_TEST_SUITE_P(Data, ExplainedVectors, testing::ValuesIn(allVectors()));

TEST(Explain, AgreesWithTheDecodersOnGeneratedInput)
{
    Generator generate(20261121);
    for (int i = 0; i < 100000 && !testing::Test::HasFailure(); ++i) {
        const PackageClass &itsClass = generate.anyClass();
        const Encoding encoding = generate.anyEncoding(itsClass);
        const auto package = generate.oneIn(2) ? generate.consistentPackage(itsClass)
                                               : generate.wildPackage(itsClass);
        QByteArray input;
        ASSERT_TRUE(encodePackage(*package, encoding, &input).isOk());
        SCOPED_TRACE(testing::Message()
                     << i << ": " << describe(shapeOf(itsClass, encoding)).toStdString() << ": "
                     << (encoding.form == Form::Text ? input : input.toHex(' ')).toStdString());
        expectExplained(input, itsClass, encoding);
        const QByteArray mutated = generate.mutated(input, encoding.form);
        SCOPED_TRACE(testing::Message()
                     << "mutated: "
                     << (encoding.form == Form::Text ? mutated : mutated.toHex(' ')).toStdString());
        // A record is text: other bytes than UTF-8 would not come back.
        if (encoding.form != Form::Text || QString::fromUtf8(mutated).toUtf8() == mutated)
            expectExplained(mutated, itsClass, encoding);
    }
}

TEST(Explain, AgreesWithTheDecoderOfLinuxReplies)
{
    Generator generate(7);
    for (int i = 0; i < 20000 && !testing::Test::HasFailure(); ++i) {
        const PackageClass &itsClass =
            *packageClass(generate.oneIn(2) ? QStringLiteral("PackageRequestReadData")
                                            : QStringLiteral("PackageRequestWriteData"));
        QByteArray frame(generate.upTo(40), '\0');
        for (char &byte : frame)
            byte = static_cast<char>(generate.upTo(255));
        if (frame.size() > 17)
            frame[17] = '\0'; // the length is of the size of the frame
        if (frame.size() >= 2) {
            int sum = 0;
            PackageBase::calcRevise(frame, 2, frame.size() - 4, &sum);
            int index = 0;
            PackageBase::SetBytesFromInt(&frame, frame.size() - 2, 2, sum, &index);
        }
        SCOPED_TRACE(frame.toHex(' ').toStdString());
        expectExplained(frame, itsClass, {Form::Linux, Direction::Reply, ReplySize::Short});
    }
}

/// A combination record and its decoded packages.
TEST(Explain, AgreesWithTheDecoderOfCombinations)
{
    Generator generate(11);
    for (int i = 0; i < 5000 && !testing::Test::HasFailure(); ++i) {
        QStringList items;
        for (int item = generate.upTo(3); item >= 0; --item) {
            const PackageClass &itsClass = generate.anyClass();
            items << itsClass.combinationType + QLatin1Char('^')
                    + generate.consistentPackage(itsClass)->makePackageRequest();
        }
        const QString record =
            QString::fromUtf8(generate.mutated(items.join(QLatin1Char('|')).toUtf8(), Form::Text));
        SCOPED_TRACE(record.toStdString());
        expectCombinationExplained(record);
    }
}

QString rowOf(const ExplainedField &field)
{
    QStringList parts{field.name};
    parts << (field.column < 0 ? QStringLiteral("%1+%2").arg(field.offset).arg(field.width)
                               : QString::number(field.column));
    parts << valueForPeople(field) << field.meaning << field.remarks.join(QStringLiteral("; "));
    return parts.join(QLatin1Char('|'));
}

TEST(Explain, ShortFrameSaysWhatIsMissing)
{
    const Explanation fields =
        explain(hex("00 0500 61"), {ClassId::PackageBase, Form::Frame, Direction::Request});
    ASSERT_EQ(fields.size(), 16);
    EXPECT_EQ(rowOf(fields.at(0)), QStringLiteral("marker|0+1|0||"));
    EXPECT_EQ(rowOf(fields.at(1)), QStringLiteral("deviceKeySize|1+2|5|bytes|"));
    EXPECT_EQ(rowOf(fields.at(2)),
              QStringLiteral("deviceKey|3+1|\"\"||announced 5 bytes, left 1 byte; "
                             "read as an empty text"));
    EXPECT_EQ(rowOf(fields.at(3)),
              QStringLiteral("tagSize|4+0|0|bytes|truncated: 2 bytes expected, 0 bytes found; "
                             "read as 0"));
}

/// A decoder reads no part of a number that is cut, and reads its bytes as those of later fields.
TEST(Explain, ACutNumberIsNotRead)
{
    const Explanation fields =
        explain(hex("00 07"), {ClassId::PackageBase, Form::Frame, Direction::Request});
    EXPECT_EQ(rowOf(fields.at(1)),
              QStringLiteral("deviceKeySize|1+0|0|bytes|truncated: 2 bytes expected, 1 byte found; "
                             "read as 0"));
    const auto isRead = [](const ExplainedField &field) { return field.raw == hex("07"); };
    const auto reader = std::find_if(fields.begin(), fields.end(), isRead);
    ASSERT_NE(reader, fields.end());
    EXPECT_EQ(rowOf(*reader), QStringLiteral("scrAddr|1+1|7||"));
}

/// The decoder of a full reply reads the results where the name begins, and so the second size of
/// the name at 38. It is 0.
TEST(Explain, ALaterEmptyTextIsIgnored)
{
    const Explanation fields = explain(
        hex("01 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 02000000 01 0100 61"
            "00 00 01 00 00 00 02000000 01 0000"),
        {ClassId::PackageRequestReadFile, Form::Frame, Direction::Reply});
    EXPECT_EQ(rowOf(fields.at(fields.size() - 2)), QStringLiteral("fileNameWithPath|40+0|\"a\"||"));
}

TEST(Explain, AZeroByteDoesNotEndARecord)
{
    const QByteArray record("1,2,a\0b,c", 9);
    const Explanation fields =
        explain(record, {ClassId::SpecialPackageRequest, Form::Text, Direction::Request});
    ASSERT_EQ(fields.size(), 4);
    EXPECT_EQ(fields.at(2).raw, QByteArray("a\0b", 3));
    EXPECT_EQ(fields.at(2).value.toString().size(), 3);
    EXPECT_EQ(fields.at(3).raw, QByteArray("c"));
}

TEST(Explain, NumbersOf64BitsAreNotRoundedInJson)
{
    const QJsonArray json =
        explanationToJson(explain(QStringLiteral("-1,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok"),
                                  {ClassId::PackageBase, Form::Text, Direction::Request}));
    EXPECT_EQ(json.at(0).toObject().value(QStringLiteral("value")).toString(),
              QStringLiteral("18446744073709551615"));
}

TEST(Explain, ReplyRecordSaysWhatIsReadElsewhere)
{
    const Explanation fields =
        explain(QStringLiteral("1,,0,0,0,0,0,0,0,0,read,3,,ok,late,7,4,data"),
                {ClassId::PackageRequestRead, Form::Text, Direction::Reply});
    ASSERT_EQ(fields.size(), 19);
    EXPECT_EQ(rowOf(fields.at(14)),
              QStringLiteral(
                  "packResult|14|0|ok|unknown result name \"late\"; expected one of ok, fileErr, "
                  "memErr, fileDeleteErr, directoryCreateErr, invalidPort, parseFailure, "
                  "messageDisconnect, forceCancel, sendError, parsePackAddrFailure, failure, "
                  "disConnect, fileNoExist, fileReadFailure, fileCreatFailure, fileWriteFailure, "
                  "deviceSpaceNoEnough, cancelWait, cancel, abort, timeOut; read as ok"));
    EXPECT_EQ(rowOf(fields.at(15)), QStringLiteral("ackCode|15|7||"));
    EXPECT_EQ(rowOf(fields.at(16)),
              QStringLiteral("replyDataLength|15|7|bytes|reads the column again; an encoder "
                             "writes ackCode here"));
    EXPECT_EQ(rowOf(fields.at(17)),
              QStringLiteral("clientPackageType|16|2|memData|unknown kind name \"4\"; expected one "
                             "of data, file, memData; read as memData; an encoder writes "
                             "replyDataLength here"));
    EXPECT_EQ(rowOf(fields.at(18)),
              QStringLiteral("|17|||not read; an encoder writes clientPackageType here"));
}

TEST(Explain, AnEmptyColumnThatIsNotReadSaysWhatItIsFor)
{
    const Explanation fields =
        explain(QStringLiteral("1,3,pong,"),
                {ClassId::SpecialPackageRequest, Form::Text, Direction::Reply});
    EXPECT_EQ(rowOf(fields.at(3)), QStringLiteral("|3|||not read; an encoder writes ackCode here"));
}

/// The columns of a request record with the smallest and the largest numbers that encoders write.
const char *const RecordsOfExtremes[] = {
    "0,,-2147483648,0,0,0,0,0,0,0,read,-2147483648,,pending,ok",
    "2147483647,,2147483647,255,255,255,65535,65535,65535,2147483647,write,2147483647,,"
    "forcedCancel,timeOut",
};

TEST(Explain, NothingIsRemarkedAtTheEndsOfTheRanges)
{
    for (const char *record : RecordsOfExtremes) {
        for (const ExplainedField &field :
             explain(QByteArray(record), {ClassId::PackageBase, Form::Text, Direction::Request}))
            EXPECT_EQ(field.remarks.join(u','), QString()) << field.name.toStdString();
    }
}

TEST(Explain, FullReplyOfAWriteSaysThatItReadsItsDataTwice)
{
    PackageRequestWriteData package;
    package.setData(hex("01 02 03"));
    package.setPackageDataLength(3);
    const Explanation fields =
        explain(package.MackPackageReply(true),
                {ClassId::PackageRequestWriteData, Form::Frame, Direction::Reply});
    QStringList rows;
    for (const ExplainedField &field : fields)
        rows << rowOf(field);
    EXPECT_TRUE(rows.contains(QStringLiteral("data|29+3|3 bytes: 01 02 03||")));
    EXPECT_TRUE(rows.contains(QStringLiteral("ackCode|29+1|1||reads bytes of the previous field "
                                             "again; an encoder writes data here")));
}

TEST(Explain, LinuxFrameSaysWhatItsStatusStandsFor)
{
    const Explanation fields =
        explain(hex("55AA 04 05 00000000 0000 00 00 0000 0000 0000 5F55"),
                {ClassId::PackageRequestReadData, Form::Linux, Direction::Reply});
    ASSERT_EQ(fields.size(), 15);
    EXPECT_EQ(rowOf(fields.at(2)), QStringLiteral("status|2+1|4|timeout|"));
    EXPECT_EQ(
        rowOf(fields.at(14)),
        QStringLiteral("checksum|18+2|21855 (0x555F)||wrong checksum: 0x555E expected, 0x555F "
                       "found"));
}

TEST(Explain, ThereIsNothingToSayOfAFormThatDoesNotExist)
{
    EXPECT_TRUE(
        explain(hex("00"), {ClassId::PackageRequestRead, Form::Linux, Direction::Reply}).isEmpty());
    EXPECT_TRUE(
        explain(QStringLiteral("1,2,3"), {ClassId::PackageBase, Form::Frame, Direction::Request})
            .isEmpty());
    EXPECT_TRUE(explain(QStringLiteral("ReadData^"),
                        {ClassId::PackageRequestCombination, Form::Text, Direction::Reply})
                    .isEmpty());
}

TEST(Explain, JsonHasEveryMember)
{
    const QJsonArray json = explanationToJson(
        explain(hex("00 0100 FF 0000"), {ClassId::PackageBase, Form::Frame, Direction::Request}));
    EXPECT_EQ(json.at(1).toObject(),
              QJsonDocument::fromJson(R"({
        "name": "deviceKeySize", "offset": 1, "width": 2, "raw": "0100", "value": 1,
        "meaning": "bytes", "description": "size of the device key"})")
                  .object());
    const QJsonArray record = explanationToJson(
        explain(QStringLiteral("writeData^x"),
                {ClassId::PackageRequestCombination, Form::Text, Direction::Request}));
    EXPECT_EQ(record.at(0).toObject(),
              QJsonDocument::fromJson(R"({
        "name": "type", "item": 1, "offset": 0, "width": 9, "raw": "writeData",
        "value": "writeData", "meaning": "PackageRequestWriteData",
        "description": "what the item of the combination is"})")
                  .object());
    EXPECT_EQ(record.at(1).toObject().value(QStringLiteral("column")).toInt(), 0);
    EXPECT_TRUE(record.at(1).toObject().contains(QStringLiteral("remarks")));
}

TEST(Explain, OnlyFieldsOfRecordsHaveAColumn)
{
    for (const ExplainedField &field :
         explain(hex("00 0500 00 01 00 FF"), {ClassId::PackageBase, Form::Frame, Direction::Reply}))
        EXPECT_EQ(field.column, -1) << field.name.toStdString();
    const MessageShape items{ClassId::PackageRequestCombination, Form::Text, Direction::Request};
    for (const ExplainedField &field : explain(QStringLiteral("x^1|y"), items))
        EXPECT_EQ(field.column, -1);
    EXPECT_EQ(explain(QStringLiteral("ReadData^7"), items).at(1).column, 0);
}

/// So what differs in column 0 always has a name.
TEST(Explain, EveryDecoderReadsColumn0)
{
    for (const PackageClass &itsClass : packageClasses()) {
        for (const Direction direction : {Direction::Request, Direction::Reply}) {
            const Explanation fields =
                explain(QStringLiteral("1,2"), {itsClass.id, Form::Text, direction});
            EXPECT_EQ(fields.front().column, 0);
            EXPECT_FALSE(fields.front().name.isEmpty()) << itsClass.name.toStdString();
        }
    }
}

QByteArray compact(const Explanation &fields)
{
    return QJsonDocument(explanationToJson(fields)).toJson(QJsonDocument::Compact);
}

TEST(Explain, TextOfJsonIsThatOfItsValues)
{
    EXPECT_EQ(explanationToJsonText({}), QByteArray("[]"));
    Generator generate(6);
    for (int i = 0; i < 2000 && !testing::Test::HasFailure(); ++i) {
        const PackageClass &itsClass = generate.anyClass();
        const Encoding encoding = generate.anyEncoding(itsClass);
        QByteArray input;
        ASSERT_TRUE(encodePackage(*generate.wildPackage(itsClass), encoding, &input).isOk());
        for (const QByteArray &explained : {input, generate.mutated(input, encoding.form)}) {
            const Explanation fields = explain(explained, shapeOf(itsClass, encoding));
            EXPECT_EQ(explanationToJsonText(fields), compact(fields)) << explained.toStdString();
        }
    }
    const Explanation items =
        explain(QStringLiteral("ReadData^7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data|x"),
                {ClassId::PackageRequestCombination, Form::Text, Direction::Request});
    EXPECT_EQ(explanationToJsonText(items), compact(items));
}

TEST(Explain, TextOfJsonEscapesEveryCharacterAsQtDoes)
{
    ExplainedField field;
    for (int unit = 0; unit <= 0xFFFF; ++unit) {
        const QChar character(static_cast<ushort>(unit));
        // Halves of surrogate pairs: alone, as pairs, and in the wrong order.
        for (const QChar next : {QChar(u'a'), QChar(ushort(0xD83D)), QChar(ushort(0xDE00))})
            field.name += QString(character) + next;
    }
    field.remarks = QStringList{field.name.left(5), QString(), QString(QChar(ushort(0xD83D)))};
    EXPECT_EQ(explanationToJsonText({field}), compact({field}));
}

TEST(Explain, TextOfJsonHasValuesOfEveryType)
{
    Explanation fields;
    for (const QVariant &value :
         {QVariant(), QVariant(true), QVariant(false), QVariant(QStringLiteral("\"\\/\x7F")),
          QVariant(QByteArray("\x00\xFF", 2)), QVariant(qlonglong(0)),
          QVariant(qlonglong(-2147483648LL)), QVariant(qlonglong(4294967295LL)),
          QVariant(qulonglong(0)), QVariant(qulonglong(9007199254740991ULL)),
          QVariant(qulonglong(9007199254740993ULL)), QVariant(~qulonglong(0))}) {
        ExplainedField field;
        field.value = value;
        fields << field;
    }
    EXPECT_EQ(explanationToJsonText(fields), compact(fields));
    EXPECT_EQ(explanationToJsonText({fields.at(3)}),
              QByteArray(R"([{"name":"","offset":0,"raw":"","value":"\"\\/)"
                         "\x7F"
                         R"(","width":0}])"));
}

TEST(DescribedResults, AreNamesOrCodes)
{
    EXPECT_EQ(describe(OrvexEnum::CommTimeout), QStringLiteral("timeout"));
    EXPECT_EQ(describe(static_cast<OrvexEnum::CommResults>(9)), QStringLiteral("code 9"));
    EXPECT_EQ(describe(OrvexEnum::PackTimeOut), QStringLiteral("timeOut"));
    EXPECT_EQ(describe(static_cast<OrvexEnum::PackageResults>(11)), QStringLiteral("code 11"));
}

} // namespace
