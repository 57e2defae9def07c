#ifndef DATASTRING_P_H
#define DATASTRING_P_H

#include "integers_p.h"
#include "memory_p.h"
#include "textparts_p.h"

#include <array>

/// @file
/// The data string: a byte array in a text record, each byte as an unsigned decimal number, the
/// numbers joined by "/".

namespace Korvin {

/// The first @p count bytes of @p data as a data string is written: a byte that @p data lacks is
/// written as 0, but for a count above MaxAnnouncedLength, which stops where @p data ends.
struct DataStringSource
{
    const QByteArray &data;
    int count;
};

/// A byte as decimal digits and the separator behind them.
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

inline void appendDataString(QString &text, const DataStringSource &source)
{
    const auto present = static_cast<int>(qMin<qint64>(source.count, source.data.size()));
    const int count = source.count > MaxAnnouncedLength ? present : source.count;
    if (count <= 0)
        return;
    const auto start = text.size();
    const int widest = checkedSize(start + qint64(4) * present + qint64(2) * (count - present));
    text.reserve(widest);
    text.resize(widest);
    QChar *out = text.data() + start;
    for (const char *byte = source.data.constData(), *end = byte + present; byte != end; ++byte) {
        const DecimalByte &decimal = DecimalBytes[static_cast<quint8>(*byte)];
        std::memcpy(out, decimal.text, sizeof decimal.text);
        out += decimal.size;
    }
    for (int missing = count - present; missing > 0; --missing) {
        *out++ = QLatin1Char('0');
        *out++ = QLatin1Char('/');
    }
    text.truncate(static_cast<int>(out - text.constData()) - 1); // the last separator
}

/// Number of parts between the "/" of a data string; an empty one has one part.
inline qsizetype dataStringParts(QStringView text)
{
    qsizetype parts = 1;
    for (const QChar character : text)
        parts += character == QLatin1Char('/') ? 1 : 0;
    return parts;
}

/// Gives @p data the announced length and writes the parts of a data string over its first bytes,
/// as many as both have. A part is cut to its low 8 bits; one that is not a number gives 0.
///
/// @return false when memory has run out.
inline bool readDataString(QStringView text, int length, QByteArray &data)
{
    return guarded([&] {
        resizeToAnnounced(data, length, dataStringParts(text));
        char *out = data.data();
        const char *const end = out + data.size();
        for (NumberParts parts(text, '/'); out != end && !parts.atEnd(); ++out)
            *out = static_cast<char>(parts.next());
        return true;
    });
}

} // namespace Korvin

#endif
