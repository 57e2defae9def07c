#ifndef CHECKSUM_P_H
#define CHECKSUM_P_H

#include "integers_p.h"

namespace Korvin {

constexpr int ChecksumSeed = 0x5555;

/// The 16-bit additive checksum before it is cut to 16 bits: the seed plus all bytes of the range
/// that lie inside the array.
inline int additiveSum(const QByteArray &data, int start, int length)
{
    const qint64 end = qMin<qint64>(qint64(start) + length, data.size());
    quint32 sum = ChecksumSeed;
    for (qint64 i = qMax(start, 0); i < end; ++i)
        sum += static_cast<quint8>(data.at(static_cast<int>(i)));
    return static_cast<int>(sum);
}

/// Verifies a frame of @p length bytes at @p start. @p sumOf is called with the start and the
/// length of the summed body: all but the first two and the last two bytes.
template <typename SumOf>
bool checksumHolds(const QByteArray &data, int start, int length, SumOf sumOf)
{
    const qint64 end = qint64(start) + length;
    if (end > data.size())
        return false;
    const int sum = sumOf(wrapped(qint64(start) + 2), wrapped(qint64(length) - 4));
    const int stored = byteAt(data, end - 2) + 256 * byteAt(data, end - 1);
    return stored == (sum & 0xFFFF);
}

} // namespace Korvin

#endif
