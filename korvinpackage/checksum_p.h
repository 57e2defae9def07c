#ifndef CHECKSUM_P_H
#define CHECKSUM_P_H

#include "integers_p.h"

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Korvin {

constexpr quint32 ChecksumSeed = 0x5555;

/// Returns the sum of all bytes.
inline quint32 byteSum(const char *bytes, qint64 count)
{
    quint32 sum = 0;
    const char *const end = bytes + count;
#ifdef __SSE2__
    __m128i even = _mm_setzero_si128();
    __m128i odd = _mm_setzero_si128();
    for (qint64 pairs = count / 32; pairs > 0; --pairs, bytes += 32) {
        __m128i next[2];
        std::memcpy(next, bytes, sizeof next);
        even = _mm_add_epi64(even, _mm_sad_epu8(next[0], _mm_setzero_si128()));
        odd = _mm_add_epi64(odd, _mm_sad_epu8(next[1], _mm_setzero_si128()));
    }
    const __m128i sums = _mm_add_epi64(even, odd);
    sum = static_cast<quint32>(_mm_cvtsi128_si32(sums))
        + static_cast<quint32>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
#endif
    for (; bytes != end; ++bytes)
        sum += static_cast<quint8>(*bytes);
    return sum;
}

/// Returns the seed plus all bytes of the range that lie inside the array. The checksum is the low
/// 16 bits.
inline int additiveSum(const QByteArray &data, int start, int length)
{
    const qint64 end = qMin<qint64>(qint64(start) + length, data.size());
    const qint64 begin = qMax(start, 0);
    const quint32 sum = begin < end ? byteSum(data.constData() + begin, end - begin) : 0;
    return static_cast<int>(ChecksumSeed + sum);
}

/// Verifies a frame of @p length bytes at @p start. Calls @p sumOf with the start and the length of
/// the bytes to sum: all except the first two and the last two.
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
