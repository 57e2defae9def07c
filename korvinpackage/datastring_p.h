#ifndef DATASTRING_P_H
#define DATASTRING_P_H

#include "integers_p.h"
#include "memory_p.h"
#include "textparts_p.h"

#include <array>

/// @file
/// The data string: a byte array in a text record, written as unsigned decimal numbers joined by
/// "/".

namespace Korvin {

/// Writes the first @p count bytes of @p data as a data string. Writes 0 for a byte that @p data
/// lacks, except that a count above MaxAnnouncedLength stops at the end of @p data.
class DataStringSource
{
public:
    DataStringSource(const QByteArray &data, int count)
        : m_data(data)
        , m_present(static_cast<int>(qBound(qint64(0), qint64(count), qint64(data.size()))))
        , m_missing(count > MaxAnnouncedLength ? 0 : qMax(count, 0) - m_present)
    {
    }

    /// Returns the most characters that write() may write.
    qint64 widest() const { return qint64(4) * m_present + qint64(2) * m_missing; }

    /// Writes the data string and returns its end.
    QChar *write(QChar *out) const;

private:
    const QByteArray &m_data;
    int m_present;
    int m_missing;
};

/// A byte as decimal digits, with the separator after them.
struct DecimalByte
{
    char16_t text[4] = {};
    int size = 0;
};

constexpr std::array<DecimalByte, 256> makeDecimalBytes()
{
    std::array<DecimalByte, 256> bytes = {};
    for (int value = 0; value < 256; ++value) {
        DecimalByte &byte = bytes[static_cast<size_t>(value)];
        for (int scale = value >= 100 ? 100 : value >= 10 ? 10 : 1; scale > 0; scale /= 10)
            byte.text[byte.size++] = static_cast<char16_t>(u'0' + value / scale % 10);
        byte.text[byte.size++] = u'/';
    }
    return bytes;
}

constexpr std::array<DecimalByte, 256> DecimalBytes = makeDecimalBytes();

inline QChar *DataStringSource::write(QChar *out) const
{
    const QChar *const start = out;
    for (const char *byte = m_data.constData(), *end = byte + m_present; byte != end; ++byte) {
        const DecimalByte &decimal = DecimalBytes[static_cast<quint8>(*byte)];
        std::memcpy(static_cast<void *>(out), decimal.text, sizeof decimal.text);
        out += decimal.size;
    }
    for (int missing = m_missing; missing > 0; --missing) {
        *out++ = QLatin1Char('0');
        *out++ = QLatin1Char('/');
    }
    return out == start ? out : out - 1; // without the last separator
}

/// Returns the number of parts of a data string. An empty string has one part.
inline qsizetype dataStringParts(QStringView text)
{
    return countCharacter(text, '/') + 1;
}

#ifdef __SSE2__
/// Number of characters that readPlainNumbers() examines.
constexpr int PlainNumbersSize = 64;

/// Reads numbers of one to three digits from PlainNumbersSize characters at @p characters, and
/// stores the low 8 bits of each at @p out. Stops at @p end and at a longer or empty number.
///
/// @return the number of characters read, separators included; 0 if any of the characters is not a
///     digit or separator.
inline qsizetype readPlainNumbers(const QChar *characters, char *&out, const char *end)
{
    constexpr uint Widest = 4;              // digits that one 32-bit load covers
    char values[Widest + PlainNumbersSize]; // values of the digits, after padding for that load
    std::memset(values, 0, Widest);
    quint64 separators = 0;
    for (int i = 0; i < PlainNumbersSize; i += 16) {
        __m128i wide[2];
        std::memcpy(wide, characters + i, sizeof wide);
        const __m128i ascii = _mm_packus_epi16(wide[0], wide[1]); // others saturate to 0 or 255
        const __m128i digits = _mm_sub_epi8(ascii, _mm_set1_epi8('0'));
        std::memcpy(values + Widest + i, &digits, sizeof digits);
        const __m128i isDigit = _mm_cmpeq_epi8(_mm_min_epu8(digits, _mm_set1_epi8(9)), digits);
        const __m128i isSeparator = _mm_cmpeq_epi8(ascii, _mm_set1_epi8('/'));
        if (_mm_movemask_epi8(_mm_or_si128(isDigit, isSeparator)) != 0xFFFF)
            return 0;
        separators |= static_cast<quint64>(_mm_movemask_epi8(isSeparator)) << i;
    }
    char *next = out;
    uint start = 0;
    for (; separators != 0 && next != end; separators &= separators - 1) {
        const uint separator = qCountTrailingZeroBits(separators);
        const uint size = separator - start;
        if (size - 1 >= Widest - 1)
            break;
        quint32 number = 0; // its highest byte becomes the last digit
        std::memcpy(&number, values + separator, sizeof number);
        number &= ~quint32(0) << (32 - 8 * size);
        // The product's highest byte is ones + 10 * tens + 100 * hundreds.
        *next++ = static_cast<char>(number * (1 + (10 << 8) + (100 << 16)) >> 24);
        start = separator + 1;
    }
    out = next;
    return start;
}
#endif

#ifdef __SSE2__
/// Checks the whole numbers among PlainNumbersSize characters, the first of which begins a number,
/// and adds them to @p count.
///
/// @return the number of characters checked, separators included; 0 if a number is not written as
///     by DataStringSource.
inline qsizetype checkPlainNumbers(const QChar *characters, qsizetype *count)
{
    __m128i digits[PlainNumbersSize / 16]; // values of the digits; other characters are larger
    for (__m128i &values : digits) {
        __m128i wide[2];
        std::memcpy(wide, characters, sizeof wide);
        const __m128i ascii = _mm_packus_epi16(wide[0], wide[1]); // others saturate to 0 or 255
        values = _mm_sub_epi8(ascii, _mm_set1_epi8('0'));
        characters += 16;
    }
    // The characters that a condition holds for, as bits.
    const auto where = [&digits](auto holds) {
        const auto bits = [&](int i) {
            return static_cast<quint64>(static_cast<uint>(_mm_movemask_epi8(holds(digits[i]))))
                << (16 * i);
        };
        return bits(0) | bits(1) | bits(2) | bits(3);
    };
    const auto upTo = [&where](char most) {
        const __m128i limit = _mm_set1_epi8(most);
        return where([limit](__m128i d) { return _mm_cmpeq_epi8(_mm_min_epu8(d, limit), d); });
    };
    const __m128i separator = _mm_set1_epi8('/' - '0');
    const quint64 separators = where([=](__m128i d) { return _mm_cmpeq_epi8(d, separator); });
    if (separators == 0)
        return 0;
    const uint size = PlainNumbersSize - qCountLeadingZeroBits(separators);
    const quint64 whole = ~quint64(0) >> (PlainNumbersSize - size);
    const quint64 starts = ((separators << 1) | 1) & whole;
    const quint64 one = starts & (separators >> 1);
    const quint64 two = starts & (separators >> 2) & ~one;
    const quint64 three = starts & (separators >> 3) & ~one & ~two;
    const quint64 upTo5 = upTo(5);
    const quint64 upTo255 = upTo(1) | (upTo(2) & ((upTo(4) >> 1) | ((upTo5 >> 1) & (upTo5 >> 2))));
    const quint64 wrong = (whole & ~(upTo(9) | separators)) // neither digit nor separator
        | (starts & separators)                             // no digit
        | (starts & ~(one | two | three))                   // more than three digits
        | ((two | three) & upTo(0))                         // a leading zero
        | (three & ~upTo255);
    if (wrong != 0)
        return 0;
    *count += static_cast<qsizetype>(qPopulationCount(separators));
    return size;
}
#endif

/// Returns the number of parts of a data string; -1 if one is not written as by DataStringSource: a
/// number from 0 to 255 without leading zeros.
inline qsizetype writtenNumbers(QStringView text)
{
    const QChar *at = text.begin();
    qsizetype count = 0;
#ifdef __SSE2__
    for (qsizetype checked = 1; checked > 0 && text.end() - at >= PlainNumbersSize; at += checked)
        checked = checkPlainNumbers(at, &count);
#endif
    for (TextParts parts({at, text.end()}, '/'); !parts.atEnd(); ++count) {
        const QStringView part = parts.next();
        const int value = plainNumber(part);
        if (value < 0 || value > 255 || (part.size() > 1 && part.front() == QLatin1Char('0')))
            return -1;
    }
    return count;
}

/// Stores the low 8 bits of each part of a data string in the bytes from @p out to @p end, until
/// either ends. A part that is not a number gives 0.
inline void readNumbers(QStringView text, char *out, const char *end)
{
    NumberParts parts(text, '/');
    while (out != end && !parts.atEnd()) {
#ifdef __SSE2__
        for (qsizetype taken = 1; taken > 0 && parts.rest().size() >= PlainNumbersSize;) {
            taken = readPlainNumbers(parts.rest().data(), out, end);
            parts.skip(taken);
        }
        if (out == end)
            return;
#endif
        *out++ = static_cast<char>(parts.next());
    }
}

/// Resizes @p data to the announced length and reads a data string into its first bytes.
///
/// @return false when memory runs out.
inline bool readDataString(QStringView text, int length, QByteArray &data)
{
    return guarded([&] {
        resizeToAnnounced(data, length,
                          length > MaxAnnouncedLength ? dataStringParts(text) : length);
        readNumbers(text, data.data(), data.data() + data.size());
        return true;
    });
}

} // namespace Korvin

#endif
