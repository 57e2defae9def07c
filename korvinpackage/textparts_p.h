#ifndef TEXTPARTS_P_H
#define TEXTPARTS_P_H

#include <QtCore/QString>
#include <QtCore/QtAlgorithms>

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Korvin {

/// Returns the first position of @p character, or @p end.
inline const QChar *findCharacter(const QChar *at, const QChar *end, char character)
{
#ifdef __SSE2__
    const __m128i wanted = _mm_set1_epi16(character);
    for (; end - at >= 8; at += 8) {
        __m128i characters;
        std::memcpy(&characters, at, sizeof characters);
        const int found = _mm_movemask_epi8(_mm_cmpeq_epi16(characters, wanted));
        if (found != 0)
            return at + qCountTrailingZeroBits(static_cast<quint32>(found)) / 2;
    }
#endif
    while (at != end && *at != QLatin1Char(character))
        ++at;
    return at;
}

inline bool contains(QStringView text, char character)
{
    return findCharacter(text.begin(), text.end(), character) != text.end();
}

/// Counts @p character in @p text.
inline qsizetype countCharacter(QStringView text, char character)
{
    qsizetype count = 0;
    const QChar *at = text.begin();
    const QChar *const end = text.end();
#ifdef __SSE2__
    const __m128i wanted = _mm_set1_epi16(character);
    __m128i sums = _mm_setzero_si128();
    for (; end - at >= 16; at += 16) {
        __m128i characters[2];
        std::memcpy(characters, at, sizeof characters);
        const __m128i found = _mm_packs_epi16(_mm_cmpeq_epi16(characters[0], wanted),
                                              _mm_cmpeq_epi16(characters[1], wanted));
        const __m128i ones = _mm_sub_epi8(_mm_setzero_si128(), found);
        sums = _mm_add_epi64(sums, _mm_sad_epu8(ones, _mm_setzero_si128()));
    }
    qint64 halves[2];
    std::memcpy(halves, &sums, sizeof halves);
    count = static_cast<qsizetype>(halves[0] + halves[1]);
#endif
    for (; at != end; ++at)
        count += *at == QLatin1Char(character) ? 1 : 0;
    return count;
}

/// Splits a text at its separators. Parts may be empty; an empty text has one empty part.
class TextParts
{
public:
    TextParts(QStringView text, char separator)
        : m_at(text.begin())
        , m_end(text.end())
        , m_separator(separator)
    {
    }

    bool atEnd() const { return m_atEnd; }

    QStringView next()
    {
        const QChar *const start = m_at;
        const QChar *const stop = findCharacter(start, m_end, m_separator);
        m_atEnd = stop == m_end;
        m_at = m_atEnd ? stop : stop + 1;
        return {start, stop};
    }

private:
    const QChar *m_at;
    const QChar *m_end;
    char m_separator;
    bool m_atEnd = false;
};

/// Returns a QString that refers to the characters of @p text without copying them.
inline QString borrowed(QStringView text)
{
    return QString::fromRawData(text.data(), static_cast<QString::size_type>(text.size()));
}

/// Reads at most nine decimal digits, which cannot overflow an int, and advances @p at past them.
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

/// Returns the value of a text of one to nine decimal digits, or -1 for any other text.
inline int plainNumber(QStringView text)
{
    const QChar *at = text.begin();
    const int value = takeDigits(at, text.end());
    return at == text.end() && at != text.begin() ? value : -1;
}

/// Does the same as QString::toInt(): blanks around the number and a sign are allowed; anything but
/// a decimal number within the range gives 0.
inline int toInt(QStringView text)
{
    const int value = plainNumber(text);
    return value >= 0 ? value : borrowed(text).toInt();
}

/// Does the same as QString::toUInt().
inline uint toUInt(QStringView text)
{
    const int value = plainNumber(text);
    return value >= 0 ? static_cast<uint>(value) : borrowed(text).toUInt();
}

/// Splits a text at its separators and reads each part with toInt().
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

    /// Returns the text that is not read yet.
    QStringView rest() const { return {m_at, m_end}; }

    /// Skips @p count characters, the last of which is a separator.
    void skip(qsizetype count) { m_at += count; }

    int next()
    {
        const QChar *at = m_at;
        int value = takeDigits(at, m_end);
        if (at == m_at || (at != m_end && *at != QLatin1Char(m_separator))) {
            // Not just digits, or more than nine: parse the whole part with QString::toInt().
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
