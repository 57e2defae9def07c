// What explain() says of every vector, and of many generated packages and broken inputs, against
// what the decoders make of them.

#include "generatedpackages.h"
#include "testsupport.h"
#include "testvectors.h"

#include <inputtext.h>
#include <packageexplain.h>
#include <packagerequestcombination.h>
#include <packagerequestwritedata.h>

#include <QtCore/QJsonArray>
#include <QtCore/QMap>
#include <QtCore/QSet>

#include <algorithm>

namespace {

using Explanation = QVector<ExplainedField>;

// Longer blocks are not decoded here, since a decoder makes them ready.
constexpr qint64 LongestBlock = 100000;

MessageShape shapeOf(const PackageClass &itsClass, const Encoding &encoding)
{
    return {itsClass.id, encoding.form, encoding.direction};
}

/// Puts the fields together again, without what a later one covers once more.
QByteArray together(const Explanation &fields, Form form)
{
    QByteArray input;
    int column = -1;
    for (const ExplainedField &field : fields) {
        if (form != Form::Text) {
            EXPECT_LE(field.offset, input.size());
            const int known = input.size() - field.offset;
            EXPECT_EQ(input.mid(field.offset, field.width), field.raw.left(known))
                << field.name.toStdString();
            input += field.raw.mid(known);
        } else if (field.column != column) {
            if (column >= 0)
                input += ',';
            input += field.raw;
            column = field.column;
        }
    }
    return input;
}

/// The explained values by the names that the class has for them; of a name that is read twice the
/// later one.
QMap<QString, ExplainedField> decodedFields(const Explanation &fields, const PackageClass &itsClass)
{
    const QSet<QString> others{
        QString(),
        QStringLiteral("marker"),
        QStringLiteral("start"),
        QStringLiteral("checksum"),
        QStringLiteral("deviceKeySize"),
        QStringLiteral("tagSize"),
        QStringLiteral("fileNameSize"),
        QStringLiteral("fileNameWithPathSize"),
        QStringLiteral("status"),
        QStringLiteral("dataLength"),
        QStringLiteral("type"),
    };
    QMap<QString, ExplainedField> decoded;
    for (const ExplainedField &field : fields) {
        if (itsClass.field(field.name))
            decoded[field.name] = field;
        else
            EXPECT_TRUE(others.contains(field.name)) << field.name.toStdString();
    }
    return decoded;
}

QString comparable(const QJsonValue &value)
{
    if (value.isDouble())
        return QString::number(static_cast<qint64>(value.toDouble()));
    return value.toVariant().toString();
}

QString comparable(const ExplainedField &field, ValueType type)
{
    if (type == ValueType::Code && !field.meaning.isEmpty())
        return field.meaning;
    return field.value.toString();
}

/// The data that explained fields give. A block that is not there as a whole leaves what an earlier
/// one gave, cut or filled with zeros to the announced @p length; so does a data string that is too
/// short, behind its own numbers.
QByteArray dataOf(const Explanation &fields, int length)
{
    QByteArray data;
    for (const ExplainedField &field : fields) {
        if (field.name != QLatin1String("data"))
            continue;
        if (field.value.isValid()) {
            data = field.value.toByteArray();
            continue;
        }
        EXPECT_FALSE(field.remarks.isEmpty());
        if (field.column >= 0) {
            for (const QByteArray &number : field.raw.split('/'))
                data += static_cast<char>(number.toInt());
        }
        data = data.leftJustified(length, '\0', true);
    }
    return data;
}

/// Expects that the explained values are those that a decoder has stored.
void expectValues(const Explanation &fields, const PackageClass &itsClass,
                  const PackageBase &decoded)
{
    const QMap<QString, ExplainedField> explained = decodedFields(fields, itsClass);
    for (const ExplainedField &field : explained) {
        const PackageField &known = *itsClass.field(field.name);
        if (known.valueType == ValueType::Data) {
            EXPECT_EQ(decoded.data(), dataOf(fields, decoded.data().size()));
            continue;
        }
        EXPECT_EQ(comparable(field, known.valueType), comparable(known.get(decoded)))
            << field.name.toStdString();
    }
}

/// Expects that the status of a Linux frame stands for the three results.
void expectStatus(const Explanation &fields, const PackageBase &decoded)
{
    for (const ExplainedField &field : fields) {
        const int number = field.value.toInt();
        if (field.name == QLatin1String("status")) {
            EXPECT_EQ(decoded.getCommResult(), number + 1);
            EXPECT_EQ(decoded.getPackResult(), number);
            EXPECT_EQ(decoded.getAckCode(), static_cast<uint>(number));
        } else if (field.name == QLatin1String("dataLength")) {
            EXPECT_EQ(decoded.getDataLength(), number);
        }
    }
}

bool announcesTooMuch(const Explanation &fields)
{
    return std::any_of(fields.begin(), fields.end(), [](const ExplainedField &field) {
        return field.name.endsWith(QLatin1String("DataLength"))
            && field.value.toLongLong() > LongestBlock;
    });
}

void expectExplained(const QByteArray &input, const PackageClass &itsClass,
                     const Encoding &encoding)
{
    const Explanation fields = explain(input, shapeOf(itsClass, encoding));
    EXPECT_EQ(together(fields, encoding.form), input);
    if (encoding.form == Form::Text) {
        const QString record = textFromUtf8(input);
        for (const ExplainedField &field : fields)
            EXPECT_EQ(record.mid(field.offset, field.width).toUtf8(), field.raw);
    }
    if (announcesTooMuch(fields))
        return;
    const LogCapture log; // short blocks are reported
    const std::unique_ptr<PackageBase> decoded = itsClass.create();
    int consumed = 0;
    const bool isDecoded = decodePackage(*decoded, encoding, input, &consumed).isEmpty();
    if (isDecoded && (encoding.form != Form::Linux || encoding.direction == Direction::Reply))
        expectValues(fields, itsClass, *decoded);
    if (isDecoded && encoding.form == Form::Linux && encoding.direction == Direction::Reply)
        expectStatus(fields, *decoded);
}

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
        ASSERT_EQ(encodePackage(*package, encoding, &input), QString());
        SCOPED_TRACE(testing::Message()
                     << i << ": " << describe(shapeOf(itsClass, encoding)).toStdString() << ": "
                     << (encoding.form == Form::Text ? input : input.toHex(' ')).toStdString());
        expectExplained(input, itsClass, encoding);
        const QByteArray mutated = generate.mutated(input, encoding.form);
        SCOPED_TRACE(testing::Message()
                     << "mutated: "
                     << (encoding.form == Form::Text ? mutated : mutated.toHex(' ')).toStdString());
        // A record is text: what is not UTF-8 would not come back.
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

/// A combination record and what a decoder makes of it.
TEST(Explain, AgreesWithTheDecoderOfCombinations)
{
    Generator generate(11);
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Text, Direction::Request};
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
        QMap<int, Explanation> explained;
        int end = 0;
        for (const ExplainedField &field : explain(record, shape)) {
            explained[field.item].append(field);
            EXPECT_EQ(record.mid(field.offset, field.width).toUtf8(), field.raw);
            EXPECT_LE(field.offset, end + 1);
            end = qMax(end, field.offset + field.width);
        }
        EXPECT_EQ(end, record.size());

        const LogCapture log;
        PackageRequestCombination combination;
        combination.unCombinationPackageRequest(record);
        int number = 0;
        for (PackageBase *package : combination.packageList()) {
            const Explanation &fields = explained.value(++number);
            ASSERT_FALSE(fields.isEmpty());
            const PackageClass &itsClass = classOf(*package);
            EXPECT_EQ(fields.front().name, QStringLiteral("type"));
            EXPECT_EQ(fields.front().meaning, itsClass.name);
            const std::unique_ptr<PackageBase> decoded = itsClass.create();
            const QString own =
                record.split(QLatin1Char('|')).at(number - 1).section(QLatin1Char('^'), 1);
            if (decoded->unPackageRequest(own))
                expectValues(fields, itsClass, *package);
            PackageBase::clear(package);
        }
        const Explanation &next = explained.value(number + 1);
        EXPECT_TRUE(next.isEmpty() || next.front().name.isEmpty());
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
              QStringLiteral("packResult|14|0|ok|unknown name: a word of this field expected, "
                             "\"late\" found; read as ok"));
    EXPECT_EQ(rowOf(fields.at(15)), QStringLiteral("ackCode|15|7||"));
    EXPECT_EQ(rowOf(fields.at(16)),
              QStringLiteral("replyDataLength|15|7|bytes|reads the column once more; an encoder "
                             "writes ackCode here"));
    EXPECT_EQ(rowOf(fields.at(17)),
              QStringLiteral("clientPackageType|16|2|memData|unknown name: a word of this field "
                             "expected, \"4\" found; read as memData; an encoder writes "
                             "replyDataLength here"));
    EXPECT_EQ(rowOf(fields.at(18)),
              QStringLiteral("|17|||not read; an encoder writes clientPackageType here"));
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
    EXPECT_TRUE(rows.contains(QStringLiteral("ackCode|29+1|1||reads bytes of the field in front "
                                             "once more; an encoder writes data here")));
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

} // namespace
