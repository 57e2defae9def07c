#include "codecagreement.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>
#include <packagerequestcombination.h>

#include <QtCore/QMap>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <algorithm>

namespace {

using Explanation = QVector<ExplainedField>;

// Longer blocks are not decoded here, since a decoder allocates them.
constexpr qint64 LongestBlock = 100000;

/// Drops the library's messages while it lives: short blocks are reported.
class Quiet
{
public:
    Quiet()
        : m_previous(qInstallMessageHandler([](auto...) {}))
    {
    }
    ~Quiet() { qInstallMessageHandler(m_previous); }
    Quiet(const Quiet &) = delete;
    Quiet &operator=(const Quiet &) = delete;

private:
    QtMessageHandler m_previous;
};

/// Joins the bytes of the fields, without bytes that a later field covers again.
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

/// The data that explained fields give. An incomplete block leaves the data of an earlier one, cut
/// or filled with zeros to the announced @p length; so does a data string that is too short, after
/// its own numbers.
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
                data += static_cast<char>(textFromUtf8(number).toInt());
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

bool isShortReply(const MessageShape &shape, const QByteArray &input)
{
    return shape.form == Form::Frame && shape.direction == Direction::Reply && input.at(0) == '\0';
}

/// Whether an encoder writes a decoded message as it was. The other forms do not read back what was
/// written.
bool isLossless(const MessageShape &shape, const QByteArray &input)
{
    const bool request = shape.direction == Direction::Request;
    switch (shape.form) {
    case Form::Frame:
        return shape.classId != ClassId::PackageRequestWriteFile || isShortReply(shape, input);
    case Form::Text:
        return request || shape.classId == ClassId::PackageBase
            || shape.classId == ClassId::SpecialPackageRequest;
    default:
        return request || shape.classId == ClassId::PackageRequestReadData;
    }
}

} // namespace

MessageShape shapeOf(const PackageClass &itsClass, const Encoding &encoding)
{
    return {itsClass.id, encoding.form, encoding.direction};
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
    const Quiet quiet;
    const std::unique_ptr<PackageBase> decoded = itsClass.create();
    const bool isDecoded = decodePackage(*decoded, encoding, input).isOk();
    if (isDecoded && (encoding.form != Form::Linux || encoding.direction == Direction::Reply))
        expectValues(fields, itsClass, *decoded);
    if (isDecoded && encoding.form == Form::Linux && encoding.direction == Direction::Reply)
        expectStatus(fields, *decoded);
}

void expectCombinationExplained(const QString &record)
{
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Text, Direction::Request};
    QMap<int, Explanation> explained;
    int end = 0;
    for (const ExplainedField &field : explain(record, shape)) {
        explained[field.item].append(field);
        EXPECT_EQ(record.mid(field.offset, field.width).toUtf8(), field.raw);
        EXPECT_LE(field.offset, end + 1);
        end = qMax(end, field.offset + field.width);
    }
    EXPECT_EQ(end, record.size());

    const Quiet quiet;
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

void expectWrittenByAnEncoder(const QByteArray &input, const PackageClass &itsClass,
                              const Encoding &encoding)
{
    const MessageShape shape = shapeOf(itsClass, encoding);
    const Quiet quiet;
    std::unique_ptr<PackageBase> decoded;
    const Verdict verdict = decodeMessage(input, shape, &decoded);
    const bool isSpecialReply = itsClass.id == ClassId::SpecialPackageRequest
        && shape.form == Form::Text && shape.direction == Direction::Reply;
    if (!isSpecialReply) {
        EXPECT_EQ(describe(verdict), describe(check(input, shape)));
    }
    EXPECT_EQ(verdict.isOk(), decoded != nullptr);
    if (!decoded)
        return;
    // A write's Linux frame with the code of a read announces data that it does not carry.
    EXPECT_LE(decoded->data().size(), shape.form == Form::Linux ? 65535 : input.size());
    if (!isSpecialReply && !announcesTooMuch(explain(input, shape))) {
        EXPECT_TRUE(decodePackage(*itsClass.create(), encoding, input).isOk());
    }
    if (!isLossless(shape, input))
        return;
    const bool full = shape.direction == Direction::Reply && !isShortReply(shape, input);
    QByteArray again;
    EXPECT_TRUE(
        encodePackage(*decoded,
                      {shape.form, shape.direction, full ? ReplySize::Full : ReplySize::Short},
                      &again)
            .isOk());
    if (full && shape.form == Form::Frame) {
        ASSERT_EQ(again.size(), input.size());
        const int results = decoded->MackPackageRequest().size();
        for (const int gap : {results + 1, results + 3, results + 5})
            again[gap] = input.at(gap);
    }
    EXPECT_EQ(again, input);
}
