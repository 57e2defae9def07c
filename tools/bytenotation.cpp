#include "bytenotation.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>

#include <QtCore/QRegularExpression>

#include <algorithm>

using namespace KorvinInspect;

namespace {

/// Nobody writes longer texts in a notation other than plain digits.
constexpr int LongestText = 64 * 1024 * 1024;

Reading refused(const QString &fault)
{
    return {{}, {}, fault};
}

Reading understood(const QByteArray &bytes, const QString &notation)
{
    return {bytes, notation, {}};
}

/// Reads pairs of digits with one kind of separator between them. Returns nothing for other texts.
std::optional<QByteArray> separatedBytes(const QByteArray &text, char separator)
{
    QByteArray digits;
    for (const QByteArray &pair : text.split(separator)) {
        const QByteArray trimmed = pair.trimmed();
        if (trimmed.size() != 2)
            return {};
        digits += trimmed;
    }
    QByteArray bytes;
    const bool isHex = bytesFromHex(QString::fromLatin1(digits), &bytes).isEmpty();
    return isHex && digits.size() > 2 ? std::optional(bytes) : std::nullopt;
}

/// Returns the size that "xxd -i" declares after an array; -1 without a declaration.
int declaredSize(const QString &afterArray)
{
    static const QRegularExpression declaration(QStringLiteral("_len\\s*=\\s*([0-9]{1,9})"));
    const QRegularExpressionMatch match = declaration.match(afterArray);
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

/// The numbers of a text, and what else it says.
struct Numbers
{
    QStringList words;
    bool isArray = false; ///< Whether they are in braces.
    int declared = -1;    ///< How many there should be; -1 if the text does not say.
};

Numbers numbersOf(QString text)
{
    static const QRegularExpression gaps(QStringLiteral("[\\s,;]+"));
    text = withoutComments(text);
    const auto begin = text.indexOf(QLatin1Char('{'));
    const auto end = text.indexOf(QLatin1Char('}'), begin + 1);
    // A record may have braces, after its first column.
    const auto comma = text.indexOf(QLatin1Char(','));
    Numbers numbers;
    numbers.isArray = begin >= 0 && end > begin && (comma < 0 || comma > begin);
    if (numbers.isArray) {
        numbers.declared = declaredSize(text.mid(end));
        text = text.mid(begin + 1, end - begin - 1);
    }
    numbers.words = text.split(gaps, Qt::SkipEmptyParts);
    return numbers;
}

/// Appends the byte or bytes of a number with 0x. Returns what is wrong; empty on success.
QString appendNumber(const QString &number, bool isOnly, QByteArray *bytes)
{
    QString digits = number.mid(2);
    if (!number.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        return QStringLiteral("\"%1\" in the array has no 0x: it may be decimal or hexadecimal; "
                              "write 0x before every byte")
            .arg(number);
    }
    if (!isOnly && digits.size() > 2) {
        return QStringLiteral("\"%1\" is more than a byte: its bytes may come in this order or the "
                              "low one first; write single bytes")
            .arg(number);
    }
    if (digits.size() % 2 == 1)
        digits.prepend(QLatin1Char('0'));
    QByteArray more;
    if (!bytesFromHex(digits, &more).isEmpty() || more.isEmpty())
        return QStringLiteral("\"%1\" is not a hexadecimal number").arg(number);
    *bytes += more;
    return {};
}

/// Reads numbers with 0x. Returns nothing for texts with other words in between.
std::optional<Reading> prefixedBytes(const QString &text)
{
    static const QRegularExpression hexNumber(QStringLiteral("^0[xX][0-9a-fA-F]+$"));
    const Numbers numbers = numbersOf(text);
    QByteArray bytes;
    for (const QString &number : numbers.words) {
        const QString fault = appendNumber(number, numbers.words.size() == 1, &bytes);
        if (!numbers.isArray && !number.contains(hexNumber))
            return {};
        if (!fault.isEmpty())
            return refused(fault);
    }
    if (bytes.isEmpty())
        return numbers.isArray ? std::optional(refused(QStringLiteral("the array is empty")))
                               : std::nullopt;
    if (numbers.declared >= 0 && numbers.declared != bytes.size()) {
        return refused(QStringLiteral("the array has %1, its declared length is %2")
                           .arg(byteCount(bytes.size()))
                           .arg(numbers.declared));
    }
    if (numbers.isArray)
        return understood(bytes, QStringLiteral("a C array"));
    return understood(bytes,
                      numbers.words.size() > 1
                          ? QStringLiteral("numbers with 0x")
                          : QStringLiteral("one number with 0x, in the order of its digits"));
}

/// Returns the value of an escape of one letter; -1 if there is no such escape.
int escapeValue(char letter)
{
    constexpr char Letters[] = "0abtnvfr\\'\"";
    constexpr char Values[] = "\0\a\b\t\n\v\f\r\\'\"";
    const char *const found = std::find(std::begin(Letters), std::end(Letters) - 1, letter);
    return found == std::end(Letters) - 1 ? -1 : static_cast<quint8>(Values[found - Letters]);
}

/// Joins what is in quotation marks, escapes as they are.
///
/// @param fault becomes what is wrong outside of them.
QByteArray quotedText(const QByteArray &text, QString *fault)
{
    QByteArray inside;
    char quote = '\0'; // the open one
    for (int i = 0; i < text.size(); ++i) {
        const char letter = text.at(i);
        if (letter == quote) {
            quote = '\0';
        } else if (quote != '\0') {
            inside += letter;
            if (letter == '\\' && i + 1 < text.size())
                inside += text.at(++i);
        } else if (letter == '"' || letter == '\'') {
            quote = letter;
        } else if (fault->isEmpty() && !QByteArray(" \t\r\n\\bB;").contains(letter)) {
            *fault = QStringLiteral("\"%1\" at character %2 is outside the string")
                         .arg(QChar::fromLatin1(letter))
                         .arg(i + 1);
        }
    }
    return inside;
}

/// Reads a string of C or Python with escapes. Without quotation marks it has nothing but escapes
/// of the form \x00, and blanks.
Reading escapedBytes(const QByteArray &text)
{
    constexpr int HexEscape = 4;
    const bool isQuoted = text.contains('"') || text.contains('\'');
    QString fault;
    const QByteArray inside = isQuoted ? quotedText(text, &fault) : text;
    if (!fault.isEmpty())
        return refused(fault);
    QByteArray bytes;
    for (int i = 0; i < inside.size(); ++i) {
        const char letter = inside.at(i);
        const char next = inside.mid(i + 1, 1).append('\1').at(0);
        QByteArray escaped;
        bytesFromHex(QString::fromLatin1(inside.mid(i + 2, 2)), &escaped);
        if (letter == '\\' && next == 'x' && escaped.size() == 1) {
            bytes += escaped;
            i += HexEscape - 1;
        } else if (isQuoted && letter == '\\' && escapeValue(next) >= 0) {
            bytes += static_cast<char>(escapeValue(next));
            ++i;
        } else if (isQuoted && letter != '\\') {
            bytes += letter;
        } else if (!QByteArray(" \t\r\n").contains(letter)) {
            return refused(QStringLiteral("\"%1\" at character %2 of the string begins no byte; "
                                          "expected \\x and two hexadecimal digits")
                               .arg(QChar::fromLatin1(letter))
                               .arg(i + 1));
        }
    }
    return understood(bytes, QStringLiteral("a string with \\x escapes"));
}

/// Decodes base64, in rows or not. Returns nothing for other texts.
std::optional<QByteArray> base64Bytes(const QByteArray &text)
{
    QByteArray joined = text;
    joined.replace('\n', QByteArray()).replace('\r', QByteArray());
    constexpr int Group = 4;
    if (joined.isEmpty() || joined.size() % Group != 0)
        return {};
    const auto decoded =
        QByteArray::fromBase64Encoding(joined, QByteArray::AbortOnBase64DecodingErrors);
    return decoded ? std::optional(decoded.decoded) : std::nullopt;
}

Reading readBase64(const QByteArray &text)
{
    const std::optional<QByteArray> bytes = base64Bytes(text);
    if (bytes)
        return understood(*bytes, QStringLiteral("base64"));
    return refused(QStringLiteral("not base64: groups of four of A-Z a-z 0-9 + / expected, and = "
                                  "only at the end"));
}

/// Reads what has more than plain digits. Returns nothing where none of the notations fits.
std::optional<Reading> readDecorated(const QByteArray &text, std::optional<Form> form)
{
    static const QRegularExpression beginsAsString(QStringLiteral("^\\s*([bB]?[\"']|\\\\x)"));
    if (text.contains("\\x") && textFromUtf8(text).contains(beginsAsString))
        return escapedBytes(text);
    if (text.contains('{') || text.contains("0x") || text.contains("0X")) {
        std::optional<Reading> reading = prefixedBytes(textFromUtf8(text));
        if (reading)
            return reading;
    }
    if (const auto bytes = separatedBytes(text, ':'))
        return understood(*bytes, QStringLiteral("hexadecimal digits with colons"));
    if (const auto bytes = separatedBytes(text, '-'))
        return understood(*bytes, QStringLiteral("hexadecimal digits with dashes"));
    const auto bytes = separatedBytes(text, ',');
    if (!bytes)
        return {};
    if (form)
        return understood(*bytes, QStringLiteral("hexadecimal digits with commas"));
    return refused(QStringLiteral("%1 with commas between them, or a record of %2 columns; --form "
                                  "frame or --form text says which")
                       .arg(byteCount(bytes->size()))
                       .arg(text.count(',') + 1));
}

/// Reads what is no text with separators: base64, or nothing but plain digits with a typing error.
Reading readUndecorated(const QByteArray &text, const QString &hexFault, Notation notation)
{
    const std::optional<QByteArray> decoded = base64Bytes(text);
    if (!decoded || notation == Notation::Hex)
        return refused(hexFault);
    if (beginAsMessage(*decoded))
        return understood(*decoded, QStringLiteral("base64"));
    return refused(
        QStringLiteral("%1; --as base64 would read %2").arg(hexFault, byteCount(decoded->size())));
}

} // namespace

QString withoutComments(const QString &text)
{
    static const QRegularExpression comments(QStringLiteral("/\\*.*?\\*/|//[^\n]*"),
                                             QRegularExpression::DotMatchesEverythingOption);
    return QString(text).remove(comments);
}

QString byteCount(qint64 count)
{
    return count == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(count);
}

bool beginAsMessage(const QByteArray &bytes)
{
    return bytes.startsWith('\0') || bytes.startsWith('\1') || bytes.startsWith("\x55\xAA")
        || (!bytes.contains('\0') && (bytes.contains(',') || bytes.contains('^')));
}

Reading readBytes(const QByteArray &text, std::optional<Form> form, Notation notation)
{
    if (notation == Notation::Base64)
        return readBase64(text);
    if (form == Form::Text && notation == Notation::Any)
        return understood(text, {});
    QByteArray bytes;
    const QString hexFault = bytesFromHex(textFromUtf8(text), &bytes);
    if (hexFault.isEmpty() && notation == Notation::Any && !beginAsMessage(bytes)) {
        const std::optional<QByteArray> decoded = base64Bytes(text);
        if (decoded && beginAsMessage(*decoded))
            return refused(QStringLiteral("%1 in hexadecimal digits, or %2 in base64; --as hex or "
                                          "--as base64 says which")
                               .arg(byteCount(bytes.size()), byteCount(decoded->size())));
    }
    if (hexFault.isEmpty())
        return understood(bytes, {});
    if (text.size() <= LongestText) {
        const std::optional<Reading> reading = readDecorated(text, form);
        if (reading)
            return *reading;
    }
    const bool hasSeparators = text.contains(',') || text.contains('^');
    if (!form && hasSeparators && notation == Notation::Any)
        return understood(text, {});
    return readUndecorated(text, hexFault, notation);
}
