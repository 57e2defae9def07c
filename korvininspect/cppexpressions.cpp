#include "cppexpressions_p.h"

#include <QtCore/QStringList>

#include <limits>

namespace KorvinInspect {

namespace {

/// Returns a C++ string literal. Uses octal escapes, because a digit after a hexadecimal escape
/// would become part of it.
QString literal(const QByteArray &bytes)
{
    QString text(QLatin1Char('"'));
    for (const char byte : bytes) {
        const auto code = static_cast<uchar>(byte);
        // Two question marks could begin a trigraph.
        if (byte == '"' || byte == '\\' || (byte == '?' && text.endsWith(QLatin1Char('?'))))
            text += QLatin1Char('\\');
        if (code >= 0x20 && code < 0x7F)
            text += QLatin1Char(byte);
        else
            text += QStringLiteral("\\%1").arg(code, 3, 8, QLatin1Char('0'));
    }
    return text + QLatin1Char('"');
}

/// Splits a long value into pieces and joins their expressions with "+": compilers need not accept
/// literals of more than 65536 characters.
template <typename Value, typename Expression>
QString sumOfPieces(const Value &value, Expression expression)
{
    constexpr int MaxSize = 16384;
    QStringList pieces;
    for (int i = 0; i < value.size(); i += MaxSize)
        pieces << expression(value.mid(i, MaxSize));
    return pieces.join(QLatin1String(" + "));
}

QString pieceOfText(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    if (QString::fromUtf8(utf8) == text) {
        return QStringLiteral("QString::fromUtf8(%1, %2)")
            .arg(literal(utf8), QString::number(utf8.size()));
    }
    // Conversion from UTF-8 drops a leading byte order mark and lone surrogates.
    QStringList units;
    for (const QChar unit : text)
        units << QStringLiteral("u\"\\x%1\"").arg(unit.unicode(), 0, 16);
    return QStringLiteral("QStringView(%1, %2).toString()")
        .arg(units.join(QLatin1Char(' ')), QString::number(text.size()));
}

QString pieceOfData(const QByteArray &data)
{
    return QStringLiteral("QByteArray::fromHex(\"%1\")").arg(QString::fromLatin1(data.toHex()));
}

} // namespace

QString numberExpression(qint64 number)
{
    // The smallest number has no literal: without its sign it would be too large.
    if (number == std::numeric_limits<qint64>::min())
        return QStringLiteral("%1LL - 1").arg(number + 1);
    return QString::number(number);
}

QString numberExpression(quint64 number)
{
    return QStringLiteral("%1ULL").arg(number);
}

QString textExpression(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("QString()") : sumOfPieces(text, pieceOfText);
}

QString dataExpression(const QByteArray &data)
{
    return data.isEmpty() ? QStringLiteral("QByteArray()") : sumOfPieces(data, pieceOfData);
}

} // namespace KorvinInspect
