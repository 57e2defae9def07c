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
    return QString::fromRawData(text.data(), static_cast<int>(text.size()));
}

/// The value of one to nine decimal digits with nothing around them, or -1 for any other text.
inline int plainNumber(QStringView text)
{
    if (text.isEmpty() || text.size() > 9)
        return -1;
    int value = 0;
    for (const QChar character : text) {
        const int digit = character.unicode() - '0';
        if (digit < 0 || digit > 9)
            return -1;
        value = 10 * value + digit;
    }
    return value;
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

} // namespace Korvin

#endif
