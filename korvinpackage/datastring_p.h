#ifndef DATASTRING_P_H
#define DATASTRING_P_H

#include "integers_p.h"
#include "memory_p.h"
#include "textparts_p.h"

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

inline QChar *writeDecimal(QChar *out, quint8 value)
{
    if (value >= 100)
        *out++ = QLatin1Char(static_cast<char>('0' + value / 100));
    if (value >= 10)
        *out++ = QLatin1Char(static_cast<char>('0' + value / 10 % 10));
    *out++ = QLatin1Char(static_cast<char>('0' + value % 10));
    return out;
}

inline void appendDataString(QString &text, const DataStringSource &source)
{
    const int size = source.data.size();
    const int count = source.count > MaxAnnouncedLength ? qMin(source.count, size) : source.count;
    if (count <= 0)
        return;
    const int present = qMin(count, size);
    // Of what no QString can hold, Qt says so by std::bad_alloc.
    const qint64 widest =
        qMin<qint64>(text.size() + qint64(4) * present + qint64(2) * (count - present),
                     std::numeric_limits<int>::max());
    const int start = text.size();
    text.reserve(static_cast<int>(widest));
    text.resize(static_cast<int>(widest));
    QChar *out = writeDecimal(text.data() + start, byteAt(source.data, 0));
    for (int i = 1; i < count; ++i) {
        *out++ = QLatin1Char('/');
        out = writeDecimal(out, byteAt(source.data, i));
    }
    text.truncate(static_cast<int>(out - text.constData()));
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
        for (TextParts parts(text, '/'); out != end && !parts.atEnd(); ++out)
            *out = static_cast<char>(toInt(parts.next()));
        return true;
    });
}

} // namespace Korvin

#endif
