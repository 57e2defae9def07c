#ifndef TEXTPARTS_P_H
#define TEXTPARTS_P_H

#include <QtCore/QString>

namespace Korvin {

/// Hands out the parts of a text between its separators, empty parts included; an empty text has
/// one empty part.
class TextParts
{
public:
    TextParts(QStringView text, char separator)
        : m_text(text)
        , m_separator(QLatin1Char(separator))
    {
    }

    bool atEnd() const { return m_position > m_text.size(); }

    QStringView next()
    {
        const qsizetype start = m_position;
        const qsizetype found = m_text.indexOf(m_separator, start);
        const qsizetype end = found < 0 ? m_text.size() : found;
        m_position = end + 1;
        return m_text.mid(start, end - start);
    }

private:
    QStringView m_text;
    QChar m_separator;
    qsizetype m_position = 0;
};

/// A QString that reads the characters of @p text where they are; it must not outlive them.
inline QString borrowed(QStringView text)
{
    return QString::fromRawData(text.data(), static_cast<QString::size_type>(text.size()));
}

/// Takes decimal digits off the front of a text, at most nine of them, so that no int overflows.
inline int takeDigits(const QChar *&at, const QChar *end)
{
    if (end - at > 9)
        end = at + 9;
    int value = 0;
    for (; at != end; ++at) {
        const uint digit = at->unicode() - uint('0');
        if (digit > 9)
            break;
        value = 10 * value + static_cast<int>(digit);
    }
    return value;
}

/// The value of one to nine decimal digits with nothing around them, or -1 for any other text.
inline int plainNumber(QStringView text)
{
    const QChar *at = text.begin();
    const int value = takeDigits(at, text.end());
    return at == text.end() && at != text.begin() ? value : -1;
}

/// QString::toInt: 0 for what is not a decimal number of the range; blanks around it and a sign
/// are allowed.
inline int toInt(QStringView text)
{
    const int value = plainNumber(text);
    return value >= 0 ? value : borrowed(text).toInt();
}

/// QString::toUInt, likewise.
inline uint toUInt(QStringView text)
{
    const int value = plainNumber(text);
    return value >= 0 ? static_cast<uint>(value) : borrowed(text).toUInt();
}

/// Hands out the parts of a text between its separators as toInt() reads them.
class NumberParts
{
public:
    NumberParts(QStringView text, char separator)
        : m_at(text.begin())
        , m_end(text.end())
        , m_separator(separator)
    {
    }

    bool atEnd() const { return m_atEnd; }

    int next()
    {
        const QChar *at = m_at;
        int value = takeDigits(at, m_end);
        if (at == m_at || (at != m_end && *at != QLatin1Char(m_separator))) {
            // No plain number: the part as a whole goes the careful way.
            const QStringView part = TextParts(QStringView(m_at, m_end), m_separator).next();
            value = toInt(part);
            at = part.end();
        }
        m_atEnd = at == m_end;
        m_at = m_atEnd ? m_end : at + 1;
        return value;
    }

private:
    const QChar *m_at;
    const QChar *m_end;
    char m_separator;
    bool m_atEnd = false;
};

} // namespace Korvin

#endif
