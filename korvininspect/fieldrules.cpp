#include "fieldrules_p.h"

#include "classlayouts_p.h"
#include "codenames_p.h"
#include "datastring_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>

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

/// Whether a text is a number as encoders write it: digits without zeros in front, and a sign only
/// for a number below 0. @p value becomes the number; a larger one than any field has is cut.
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

FieldFault numberFault(QStringView text, qint64 min, qint64 max)
{
    qint64 value = 0;
    const bool isNumber = isWrittenNumber(text, &value);
    if (isNumber && value >= min && value <= max)
        return {};
    return {isNumber ? Fault::OutOfRange : Fault::NotANumber,
            QStringLiteral("a number from %1 to %2").arg(min).arg(max), quoted(text)};
}

FieldFault dataStringFault(const WireField &field, const MessageShape &shape)
{
    qint64 count = Korvin::dataStringParts(field.text);
    // Only the decoder of a write's reply takes an empty data string for no numbers.
    if (field.text.isEmpty() && isDataWrite(shape.classId) && shape.direction == Direction::Reply)
        count = 0;
    if (count != field.number) {
        return {Fault::DataStringMismatch, QStringLiteral("%1 numbers").arg(field.number),
                QString::number(count)};
    }
    if (count == 0)
        return {};
    for (Korvin::TextParts parts(field.text, '/'); !parts.atEnd();) {
        FieldFault fault = numberFault(parts.next(), 0, 255);
        if (fault.fault != Fault::None)
            return fault;
    }
    return {};
}

/// A word of a record, which must be one of those of its field.
FieldFault wordFault(const WireField &field)
{
    if (field.type == WireType::Flag) {
        if (field.text == QStringView(u"true") || field.text == QStringView(u"false"))
            return {};
    } else if (codeName(field) == field.text) {
        return {};
    }
    return {Fault::UnknownName, QStringLiteral("a word of this field"), quoted(field.text)};
}

template <typename... Names>
bool isOneOf(const WireField &field, Names... names)
{
    return (isNamed(field, names) || ...);
}

bool isLength(const WireField &field)
{
    return isOneOf(field, "replyDataLength", "packageDataLength", "fileNameSize");
}

bool isStatusOfRequest(const WireField &field, const MessageShape &shape)
{
    return shape.direction == Direction::Request && isNamed(field, "status");
}

FieldFault columnFault(const WireField &field, const MessageShape &shape)
{
    switch (field.type) {
    case WireType::Number:
        return numberFault(field.text, isLength(field) ? 0 : field.min, field.max);
    case WireType::Text:
        return {};
    case WireType::EscapedText:
        if (!field.text.contains(QLatin1Char('/')))
            return {};
        return {Fault::NotEscaped, QStringLiteral("#*# for /"), quoted(field.text)};
    case WireType::DataString:
        return dataStringFault(field, shape);
    default:
        return wordFault(field);
    }
}

FieldFault textFault(const QByteArray &utf8)
{
    if (utf8.contains('\0'))
        return {Fault::ZeroInText, {}, {}};
    if (QString::fromUtf8(utf8).toUtf8() != utf8)
        return {Fault::NotUtf8, {}, {}};
    return {};
}

FieldFault byteFault(const WireField &field, const MessageShape &shape)
{
    const auto isText = field.type == WireType::Text || field.type == WireType::Block;
    if (field.present < field.width) {
        return {isText ? Fault::LengthTooLarge : Fault::Truncated, byteCount(field.width),
                byteCount(field.left)};
    }
    const QString number = QString::number(field.number);
    switch (field.type) {
    case WireType::Constant:
        if (field.number != field.max)
            return {Fault::UnknownMarker, hexadecimal(field.max), hexadecimal(field.number)};
        break;
    case WireType::Number:
        if (isLength(field) && field.number < 0)
            return {Fault::OutOfRange, QStringLiteral("a length"), number};
        if (isStatusOfRequest(field, shape) && field.number != 0)
            return {Fault::OutOfRange, QStringLiteral("0 in a request"), number};
        break;
    case WireType::Flag:
        if (field.number > 1)
            return {Fault::UnknownCode, QStringLiteral("0 or 1"), number};
        break;
    case WireType::Text:
        return textFault(QByteArray::fromRawData(field.bytes, static_cast<int>(field.width)));
    case WireType::Checksum:
        if (field.number != field.max)
            return {Fault::WrongChecksum, hexadecimal(field.max), hexadecimal(field.number)};
        break;
    case WireType::ReadWriteCode:
    case WireType::Kind:
    case WireType::CommResult:
    case WireType::PackageResult:
        if (codeName(field).isEmpty())
            return {Fault::UnknownCode, QStringLiteral("a code with a name"), number};
        break;
    default:
        break;
    }
    return {};
}

template <typename Code, std::size_t N>
QStringView nameIn(const Korvin::CodeName<Code> (&names)[N], qint64 number)
{
    return Korvin::nameOf(names, static_cast<Code>(number));
}

} // namespace

FieldFault faultOf(const WireField &field, const MessageShape &shape)
{
    return field.column < 0 ? byteFault(field, shape) : columnFault(field, shape);
}

bool isDataLength(const WireField &field)
{
    return field.type == WireType::Number
        && isOneOf(field, "replyDataLength", "packageDataLength", "dataLength");
}

bool identifiesRequest(const WireField &field)
{
    switch (field.type) {
    case WireType::ReadWriteCode:
    case WireType::Flag:
    case WireType::Kind:
    case WireType::EscapedText:
        return true;
    case WireType::Text:
        return !isNamed(field, "strData");
    case WireType::Number:
        return !isDataLength(field)
            && !isOneOf(field, "ackCode", "status", "timeout", "reserved2", "fileNameSize");
    default:
        return false;
    }
}

QString reasonOf(const FieldFault &fault)
{
    const auto expectedAndFound = [&](const char *what) {
        return QStringLiteral("%1: %2 expected, %3 found")
            .arg(QLatin1String(what), fault.expected, fault.found);
    };
    switch (fault.fault) {
    case Fault::None:
        return QStringLiteral("ok");
    case Fault::NoSuchForm:
        return QStringLiteral("the class has no such form");
    case Fault::Truncated:
        return expectedAndFound("truncated");
    case Fault::LengthTooLarge:
        return QStringLiteral("announced %1, left %2").arg(fault.expected, fault.found);
    case Fault::TrailingBytes:
        return expectedAndFound("bytes behind the last field");
    case Fault::UnknownMarker:
        return expectedAndFound("unknown marker");
    case Fault::UnknownCode:
        return expectedAndFound("unknown code");
    case Fault::WrongChecksum:
        return expectedAndFound("wrong checksum");
    case Fault::ZeroInText:
        return QStringLiteral("the text holds a zero byte, where readers end it");
    case Fault::NotUtf8:
        return QStringLiteral("the text is not UTF-8");
    case Fault::TooFewFields:
        return expectedAndFound("too few");
    case Fault::TooManyFields:
        return expectedAndFound("too many");
    case Fault::NotANumber:
        return expectedAndFound("not a number");
    case Fault::OutOfRange:
        return expectedAndFound("out of range");
    case Fault::UnknownName:
        return expectedAndFound("unknown name");
    case Fault::NotEscaped:
        return expectedAndFound("not escaped");
    case Fault::DataStringMismatch:
        return expectedAndFound("the data string does not have the announced length");
    case Fault::Contradiction:
        return expectedAndFound("differs from the first one");
    case Fault::UnknownType:
        return expectedAndFound("unknown type");
    case Fault::OtherRequest:
        return expectedAndFound("not that of the request");
    default:
        return QStringLiteral("out of memory");
    }
}

QStringView codeName(const WireField &field)
{
    switch (field.type) {
    case WireType::ReadWriteCode:
        return nameIn(Korvin::ReadWriteNames, field.number);
    case WireType::Kind:
        return nameIn(Korvin::ClientPackageTypeNames, field.number);
    case WireType::CommResult:
        return nameIn(Korvin::CommResultNames, field.number);
    case WireType::PackageResult:
        return nameIn(Korvin::PackageResultNames, field.number);
    default:
        return {};
    }
}

} // namespace KorvinInspect
