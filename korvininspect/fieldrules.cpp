#include "fieldrules_p.h"

#include "classlayouts_p.h"
#include "codenames_p.h"
#include "datastring_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>

#include <QtCore/QStringList>

#include <algorithm>

namespace KorvinInspect {

namespace {

/// Messages of the refusals, in the order of the enumeration. %1 is what was expected, %2 what was
/// found.
constexpr const char *Reasons[] = {
    "ok",
    "the class has no such form",
    "truncated: %1 expected, %2 found",
    "announced %1, left %2",
    "trailing bytes after the last field: %1 expected, %2 found",
    "unknown marker %2; expected %1",
    "unknown %2; expected %1", // code
    "wrong checksum: %1 expected, %2 found",
    "the text contains a zero byte, where a decoder ends it",
    "the text is not UTF-8",
    "too few: %1 expected, %2 found",
    "too many: %1 expected, %2 found",
    "not a number: %1 expected, %2 found",
    "out of range: %1 expected, %2 found",
    "unknown %2; expected %1", // name
    "not escaped: %1 expected, %2 found",
    "differs from the first copy: %1 expected, %2 found",
    "the data string does not have the announced length: %1 expected, %2 found",
    "unknown %2; expected %1", // type
    "out of memory",
    "not that of the request: %1 expected, %2 found",
    "not what the class is for: %1 expected, %2 found",
};
static_assert(std::size(Reasons) == static_cast<std::size_t>(Refusal::OtherAccess) + 1,
              "a reason for every refusal");

QString quoted(QStringView text)
{
    constexpr int MaxCharacters = 40;
    return QLatin1Char('"') + printable(text.toString(), MaxCharacters) + QLatin1Char('"');
}

/// Makes a refusal. @p expected and @p found make its words, where somebody reads them.
template <typename Expected, typename Found>
FieldRefusal refusalWith(Refusal refusal, Words words, Expected expected, Found found)
{
    if (words == Words::Without)
        return {refusal, {}, {}};
    return {refusal, expected(), found()};
}

QString hexadecimal(qint64 number)
{
    return QLatin1String("0x") + QString::number(number, 16).toUpper();
}

/// Returns whether a text is a number as encoders write it: digits without leading zeros, with a
/// sign only for a number below 0. Sets @p value to the number, or to Largest if that is larger.
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

FieldRefusal numberRefusal(QStringView text, qint64 min, qint64 max, Words words)
{
    qint64 value = 0;
    const bool isNumber = isWrittenNumber(text, &value);
    if (isNumber && value >= min && value <= max)
        return {};
    return refusalWith(
        isNumber ? Refusal::OutOfRange : Refusal::NotANumber, words,
        [&] { return QStringLiteral("a number from %1 to %2").arg(min).arg(max); },
        [&] { return quoted(text); });
}

FieldRefusal dataStringRefusal(const WireField &field, const MessageShape &shape, Words words)
{
    const bool isReply = shape.direction == Direction::Reply;
    qint64 count = Korvin::dataStringParts(field.text);
    if (field.text.isEmpty() && Korvin::takesNoNumbers(rowOf(shape), isReply))
        count = 0;
    if (count != field.number) {
        return refusalWith(
            Refusal::DataStringMismatch, words,
            [&] { return QStringLiteral("%1 numbers").arg(field.number); },
            [&] { return QString::number(count); });
    }
    if (count == 0)
        return {};
    for (Korvin::TextParts parts(field.text, '/'); !parts.atEnd();) {
        FieldRefusal refusal = numberRefusal(parts.next(), 0, 255, words);
        if (refusal.refusal != Refusal::None)
            return refusal;
    }
    return {};
}

/// Calls @p visit with the names of the codes of a type, and with the word for such a code.
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

/// Returns a text that lists the result of @p wordOf for each name of a table.
template <typename Names, typename WordOf>
QString oneOf(const Names &names, WordOf wordOf)
{
    QStringList words;
    for (const auto &row : names)
        words << wordOf(row);
    return QLatin1String("one of ") + words.join(QLatin1String(", "));
}

/// Checks that a word of a record is one of those of its field.
FieldRefusal wordRefusal(const WireField &field, Words words)
{
    if (field.type == WireType::Flag) {
        if (field.text == QStringView(u"true") || field.text == QStringView(u"false"))
            return {};
        return refusalWith(
            Refusal::UnknownName, words, [] { return QStringLiteral("true or false"); },
            [&] { return QLatin1String("flag ") + quoted(field.text); });
    }
    FieldRefusal refusal;
    visitCodes(field.type, [&](const char *noun, const auto &names) {
        const auto isThis = [&](const auto &row) { return row.name == field.text; };
        if (std::any_of(std::begin(names), std::end(names), isThis))
            return;
        refusal = refusalWith(
            Refusal::UnknownName, words,
            [&] { return oneOf(names, [](const auto &row) { return row.name.toString(); }); },
            [&] {
                return QStringLiteral("%1 name %2").arg(QLatin1String(noun), quoted(field.text));
            });
    });
    return refusal;
}

/// Checks that a code of a frame has a name.
FieldRefusal codeRefusal(const WireField &field, Words words)
{
    FieldRefusal refusal;
    visitCodes(field.type, [&](const char *noun, const auto &names) {
        const auto isThis = [&](const auto &row) { return row.code == field.number; };
        if (std::any_of(std::begin(names), std::end(names), isThis))
            return;
        refusal = refusalWith(
            Refusal::UnknownCode, words,
            [&] { return oneOf(names, [](const auto &row) { return QString::number(row.code); }); },
            [&] {
                return QStringLiteral("%1 code %2").arg(QLatin1String(noun)).arg(field.number);
            });
    });
    return refusal;
}

FieldRefusal columnRefusal(const WireField &field, const MessageShape &shape, Words words)
{
    switch (field.type) {
    case WireType::Text:
    case WireType::Answer:
        return {};
    case WireType::EscapedText:
        if (!field.text.contains(QLatin1Char('/')))
            return {};
        return refusalWith(
            Refusal::NotEscaped, words, [] { return QStringLiteral("#*# for /"); },
            [&] { return quoted(field.text); });
    case WireType::DataString:
        return dataStringRefusal(field, shape, words);
    case WireType::Flag:
    case WireType::ReadWriteCode:
    case WireType::Kind:
    case WireType::CommResult:
    case WireType::PackageResult:
        return wordRefusal(field, words);
    default:
        return numberRefusal(field.text, field.min, field.max, words);
    }
}

/// Refuses any other number than the one that a field must have.
FieldRefusal differenceRefusal(Refusal refusal, const WireField &field, Words words)
{
    if (field.number == field.max)
        return {};
    return refusalWith(
        refusal, words, [&] { return hexadecimal(field.max); },
        [&] { return hexadecimal(field.number); });
}

FieldRefusal byteRefusal(const WireField &field, const MessageShape &shape, Words words)
{
    const auto foundNumber = [&] { return QString::number(field.number); };
    if (field.present < field.width) {
        const bool isExtent = field.type == WireType::Text || field.type == WireType::Block;
        return refusalWith(
            isExtent ? Refusal::LengthTooLarge : Refusal::Truncated, words,
            [&] { return byteCount(field.width); }, [&] { return byteCount(field.left); });
    }
    switch (field.type) {
    case WireType::Constant:
        return differenceRefusal(Refusal::UnknownMarker, field, words);
    case WireType::Length:
    case WireType::TextLength:
        if (field.number >= 0)
            return {};
        return refusalWith(
            Refusal::OutOfRange, words, [] { return QStringLiteral("a length"); }, foundNumber);
    case WireType::Status:
        if (field.number == 0 || shape.direction == Direction::Reply)
            return {};
        return refusalWith(
            Refusal::OutOfRange, words, [] { return QStringLiteral("0 in a request"); },
            foundNumber);
    case WireType::Flag:
        if (field.number <= 1)
            return {};
        return refusalWith(
            Refusal::UnknownCode, words, [] { return QStringLiteral("0 or 1"); },
            [&] { return QStringLiteral("flag %1").arg(field.number); });
    case WireType::Text:
        return {textRefusal(QByteArray::fromRawData(field.bytes, static_cast<int>(field.width))),
                {},
                {}};
    case WireType::Checksum:
        return differenceRefusal(Refusal::WrongChecksum, field, words);
    default:
        return codeRefusal(field, words);
    }
}

/// Compares a code with the class: one that is named after a direction of access has no other.
FieldRefusal accessRefusal(const WireField &field, const MessageShape &shape, Words words)
{
    const auto access = Korvin::onlyAccess(rowOf(shape));
    if (!access)
        return {};
    const QStringView expected = codeName(WireType::ReadWriteCode, *access);
    const QStringView found =
        field.column < 0 ? codeName(WireType::ReadWriteCode, field.number) : field.text;
    if (found == expected)
        return {};
    return refusalWith(
        Refusal::OtherAccess, words, [&] { return expected.toString(); },
        [&] { return found.toString(); });
}

} // namespace

FieldRefusal refusalOf(const WireField &field, const MessageShape &shape, Words words)
{
    FieldRefusal refusal =
        field.column < 0 ? byteRefusal(field, shape, words) : columnRefusal(field, shape, words);
    if (refusal.refusal != Refusal::None || field.type != WireType::ReadWriteCode)
        return refusal;
    return accessRefusal(field, shape, words);
}

Refusal textRefusal(const QByteArray &utf8)
{
    if (utf8.contains('\0'))
        return Refusal::ZeroInText;
    return QString::fromUtf8(utf8).toUtf8() == utf8 ? Refusal::None : Refusal::NotUtf8;
}

bool identifiesRequest(WireType type)
{
    switch (type) {
    case WireType::Number:
    case WireType::Serial:
    case WireType::Offset:
    case WireType::ReadWriteCode:
    case WireType::Flag:
    case WireType::Kind:
    case WireType::Text:
    case WireType::EscapedText:
        return true;
    default:
        return false;
    }
}

QString reasonOf(const FieldRefusal &refusal)
{
    const QString reason = QString::fromLatin1(Reasons[static_cast<std::size_t>(refusal.refusal)]);
    return reason.contains(QLatin1Char('%')) ? reason.arg(refusal.expected, refusal.found) : reason;
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
