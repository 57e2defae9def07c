#ifndef INTEGERS_P_H
#define INTEGERS_P_H

#include <QtCore/QByteArray>

namespace Korvin {

/// Returns the low 32 bits of @p value, as 32-bit arithmetic that wraps around would.
constexpr int wrapped(qint64 value)
{
    return static_cast<int>(static_cast<quint32>(value));
}

/// Returns the number of parts of at most @p maxPartSize bytes that @p length bytes make. A part
/// size of 0 gives 0. Negative numbers are divided towards zero, and a remainder adds one part.
constexpr int partCount(qint64 length, int maxPartSize)
{
    if (maxPartSize == 0)
        return 0;
    return wrapped(length / maxPartSize + (length % maxPartSize != 0 ? 1 : 0));
}

/// Returns byte @p i of @p value, counted from the least significant one.
constexpr char littleEndianByte(quint32 value, int i)
{
    return static_cast<char>(i < 4 ? value >> (8 * i) : 0);
}

/// Stores the low @p Width bytes of @p value, least significant first.
template <int Width>
void storeLittleEndian(char *out, quint32 value)
{
    for (int i = 0; i < Width; ++i)
        out[i] = littleEndianByte(value, i);
}

/// Returns the unsigned byte at @p position; 0 outside the array.
inline quint8 byteAt(const QByteArray &bytes, qint64 position)
{
    if (position < 0 || position >= bytes.size())
        return 0;
    return static_cast<quint8>(bytes.constData()[position]);
}

/// Does the same as PackageBase::GetVauleFromBytes(), without a copy of the array.
inline int littleEndianField(const QByteArray &array, int start, int count, int *index)
{
    const qint64 end = qint64(start) + count;
    if (end > array.size())
        return 0;
    *index = wrapped(end);
    if (start < 0)
        return 0;
    quint32 value = 0;
    for (int i = 0; i < qMin(count, 4); ++i)
        value |= quint32(byteAt(array, qint64(start) + i)) << (8 * i);
    return static_cast<int>(value);
}

} // namespace Korvin

#endif
