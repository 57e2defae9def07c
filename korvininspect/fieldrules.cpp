#include "fieldrules_p.h"

#include "classlayouts_p.h"
#include "codenames_p.h"
#include "datastring_p.h"
#include "include/inputtext.h"
#include "valuetext_p.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace KorvinInspect {

namespace {

QString quoted(QStringView text)
{
    constexpr int MaxCharacters = 40;
    return QLatin1Char('"') + printable(text.toString(), MaxCharacters) + QLatin1Char('"');
}

QString hexadecimal(qint64 number)
{
    return QLatin1String("0x") + QString::number(number, 16).toUpper();
}

/// Returns whether a text is a number as encoders write it: digits without leading zeros, and a
/// sign only for a number below 0. @p value becomes the number; one larger than any field has is
/// cut.
bool isWrittenNumber(QStringView text, qint64 *value)
{
    constexpr qint64 Largest = std::numeric_limits<qint64>::max() / 16;
    const bool negative = text.startsWith(QLatin1Char('-'));
    const QStringView digits = text.mid(negative ? 1 : 0);
    if (digits.isEmpty() || (digits.front() == QLatin1Char('0') && text.size() > 1))
        return false;
    *value = 0;
    for (const QChar digit : digits) {
        if (digit < QLatin1Char('0') || digit > QLatin1Char('9'))
            return false;
        *value = qMin(Largest, 10 * *value + digit.unicode() - '0');
    }
    if (negative)
        *value = -*value;
    return true;
}

FieldRefusal numberRefusal(QStringView text, qint64 min, qint64 max)
{
    qint64 value = 0;
    const bool isNumber = isWrittenNumber(text, &value);
    if (isNumber && value >= min && value <= max)
        return {};
    return {isNumber ? Refusal::OutOfRange : Refusal::NotANumber,
            QStringLiteral("a number from %1 to %2").arg(min).arg(max), quoted(text)};
}

FieldRefusal dataStringRefusal(const WireField &field, const MessageShape &shape)
{
    const bool isReply = shape.direction == Direction::Reply;
    qint64 count = Korvin::dataStringParts(field.text);
    if (field.text.isEmpty() && Korvin::takesNoNumbers(rowOf(shape), isReply))
        count = 0;
    if (count != field.number) {
        return {Refusal::DataStringMismatch, QStringLiteral("%1 numbers").arg(field.number),
                QString::number(count)};
    }
    if (count == 0)
        return {};
    for (Korvin::TextParts parts(field.text, '/'); !parts.atEnd();) {
        FieldRefusal refusal = numberRefusal(parts.next(), 0, 255);
        if (refusal.refusal != Refusal::None)
            return refusal;
    }
    return {};
}

/// Hands the names of the codes of a type to @p visit, and what such a code is called.
template <typename Visitor>
void visitCodes(WireType type, Visitor visit)
{
    switch (type) {
    case WireType::ReadWriteCode:
        return visit("access", Korvin::ReadWriteNames);
    case WireType::Kind:
        return visit("kind", Korvin::ClientPackageTypeNames);
    case WireType::CommResult:
        return visit("result", Korvin::CommResultNames);
    case WireType::PackageResult:
        return visit("result", Korvin::PackageResultNames);
    default:
        return;
    }
}

/// Makes a list of what @p wordOf gives for each name of a table.
template <typename Names, typename WordOf>
QString oneOf(const Names &names, WordOf wordOf)
{
    QStringList words;
    for (const auto &row : names)
        words << wordOf(row);
    return QLatin1String("one of ") + words.join(QLatin1String(", "));
}

/// Looks at a word of a record, which must be one of those of its field.
FieldRefusal wordRefusal(const WireField &field)
{
    if (field.type == WireType::Flag) {
        if (field.text == QStringView(u"true") || field.text == QStringView(u"false"))
            return {};
        return {Refusal::UnknownName, QStringLiteral("true or false"),
                QLatin1String("flag ") + quoted(field.text)};
    }
    FieldRefusal refusal;
    visitCodes(field.type, [&](const char *noun, const auto &names) {
        const auto isThis = [&](const auto &row) { return row.name == field.text; };
        if (std::any_of(std::begin(names), std::end(names), isThis))
            return;
        refusal = {Refusal::UnknownName,
                   oneOf(names, [](const auto &row) { return row.name.toString(); }),
                   QStringLiteral("%1 name %2").arg(QLatin1String(noun), quoted(field.text))};
    });
    return refusal;
}

/// Looks at a code of a frame, which must have a name.
FieldRefusal codeRefusal(const WireField &field)
{
    FieldRefusal refusal;
    visitCodes(field.type, [&](const char *noun, const auto &names) {
        const auto isThis = [&](const auto &row) { return row.code == field.number; };
        if (std::any_of(std::begin(names), std::end(names), isThis))
            return;
        refusal = {Refusal::UnknownCode,
                   oneOf(names, [](const auto &row) { return QString::number(row.code); }),
                   QStringLiteral("%1 code %2").arg(QLatin1String(noun)).arg(field.number)};
    });
    return refusal;
}

FieldRefusal columnRefusal(const WireField &field, const MessageShape &shape)
{
    switch (field.type) {
    case WireType::Number:
    case WireType::Length:
    case WireType::Offset:
        return numberRefusal(field.text, field.min, field.max);
    case WireType::Text:
        return {};
    case WireType::EscapedText:
        if (!field.text.contains(QLatin1Char('/')))
            return {};
        return {Refusal::NotEscaped, QStringLiteral("#*# for /"), quoted(field.text)};
    case WireType::DataString:
        return dataStringRefusal(field, shape);
    default:
        return wordRefusal(field);
    }
}

FieldRefusal textRefusal(const QByteArray &utf8)
{
    if (utf8.contains('\0'))
        return {Refusal::ZeroInText, {}, {}};
    if (QString::fromUtf8(utf8).toUtf8() != utf8)
        return {Refusal::NotUtf8, {}, {}};
    return {};
}

FieldRefusal byteRefusal(const WireField &field, const MessageShape &shape)
{
    if (field.present < field.width) {
        const bool isExtent = field.type == WireType::Text || field.type == WireType::Block;
        return {isExtent ? Refusal::LengthTooLarge : Refusal::Truncated, byteCount(field.width),
                byteCount(field.left)};
    }
    const QString number = QString::number(field.number);
    switch (field.type) {
    case WireType::Constant:
        if (field.number == field.max)
            return {};
        return {Refusal::UnknownMarker, hexadecimal(field.max), hexadecimal(field.number)};
    case WireType::Length:
        if (field.number >= 0)
            return {};
        return {Refusal::OutOfRange, QStringLiteral("a length"), number};
    case WireType::Status:
        if (field.number == 0 || shape.direction == Direction::Reply)
            return {};
        return {Refusal::OutOfRange, QStringLiteral("0 in a request"), number};
    case WireType::Flag:
        if (field.number <= 1)
            return {};
        return {Refusal::UnknownCode, QStringLiteral("0 or 1"), QLatin1String("flag ") + number};
    case WireType::Text:
        return textRefusal(QByteArray::fromRawData(field.bytes, static_cast<int>(field.width)));
    case WireType::Checksum:
        if (field.number == field.max)
            return {};
        return {Refusal::WrongChecksum, hexadecimal(field.max), hexadecimal(field.number)};
    default:
        return codeRefusal(field);
    }
}

} // namespace

FieldRefusal refusalOf(const WireField &field, const MessageShape &shape)
{
    return field.column < 0 ? byteRefusal(field, shape) : columnRefusal(field, shape);
}

QString reasonOf(const FieldRefusal &refusal)
{
    const auto expectedAndFound = [&](const char *what) {
        return QStringLiteral("%1: %2 expected, %3 found")
            .arg(QLatin1String(what), refusal.expected, refusal.found);
    };
    switch (refusal.refusal) {
    case Refusal::None:
        return QStringLiteral("ok");
    case Refusal::NoSuchForm:
        return QStringLiteral("the class has no such form");
    case Refusal::Truncated:
        return expectedAndFound("truncated");
    case Refusal::LengthTooLarge:
        return QStringLiteral("announced %1, left %2").arg(refusal.expected, refusal.found);
    case Refusal::TrailingBytes:
        return expectedAndFound("trailing bytes after the last field");
    case Refusal::UnknownMarker:
        return QStringLiteral("unknown marker %1; expected %2")
            .arg(refusal.found, refusal.expected);
    case Refusal::UnknownCode:
    case Refusal::UnknownName:
    case Refusal::UnknownType:
        return QStringLiteral("unknown %1; expected %2").arg(refusal.found, refusal.expected);
    case Refusal::WrongChecksum:
        return expectedAndFound("wrong checksum");
    case Refusal::ZeroInText:
        return QStringLiteral("the text holds a zero byte, where readers end it");
    case Refusal::NotUtf8:
        return QStringLiteral("the text is not UTF-8");
    case Refusal::TooFewFields:
        return expectedAndFound("too few");
    case Refusal::TooManyFields:
        return expectedAndFound("too many");
    case Refusal::NotANumber:
        return expectedAndFound("not a number");
    case Refusal::OutOfRange:
        return expectedAndFound("out of range");
    case Refusal::NotEscaped:
        return expectedAndFound("not escaped");
    case Refusal::DataStringMismatch:
        return expectedAndFound("the data string does not have the announced length");
    case Refusal::Contradiction:
        return expectedAndFound("differs from the first one");
    default:
        return QStringLiteral("out of memory");
    }
}

QStringView codeName(WireType type, qint64 code)
{
    QStringView name;
    visitCodes(type, [&](const char *, const auto &names) {
        using Code = decltype(names[0].code);
        name = Korvin::nameOf(names, static_cast<Code>(code));
    });
    return name;
}

} // namespace KorvinInspect
