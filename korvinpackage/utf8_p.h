#ifndef UTF8_P_H
#define UTF8_P_H

#include <QtCore/QString>

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// @file
/// Converts the texts of frames. Nearly all of them are ASCII, which is converted eight characters
/// at a time if the processor can; Qt converts the others.

namespace Korvin {

/// Writes a text of ASCII characters, one byte each.
///
/// @return false for any other text; what is written is undefined then.
inline bool narrowAscii(QStringView text, char *out)
{
    const QChar *in = text.begin();
    const QChar *const end = text.end();
#ifdef __SSE2__
    __m128i seen = _mm_setzero_si128();
    for (; end - in >= 8; in += 8, out += 8) {
        __m128i characters;
        std::memcpy(&characters, in, sizeof characters);
        seen = _mm_or_si128(seen, characters);
        const __m128i bytes = _mm_packus_epi16(characters, characters);
        std::memcpy(out, &bytes, 8);
    }
    const __m128i beyond = _mm_and_si128(seen, _mm_set1_epi16(~0x7F));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(beyond, _mm_setzero_si128())) != 0xFFFF)
        return false;
#endif
    uint rest = 0;
    for (; in != end; ++in, ++out) {
        rest |= in->unicode();
        *out = static_cast<char>(in->unicode());
    }
    return rest <= 0x7F;
}

/// Writes ASCII bytes other than zero, one character each.
///
/// @return false for any other bytes; what is written is undefined then.
inline bool widenAscii(const char *in, int size, QChar *out)
{
    const char *const end = in + size;
#ifdef __SSE2__
    int plain = 0xFF;
    for (; end - in >= 8; in += 8, out += 8) {
        __m128i bytes = _mm_setzero_si128();
        std::memcpy(&bytes, in, 8);
        plain &= _mm_movemask_epi8(_mm_cmpgt_epi8(bytes, _mm_setzero_si128()));
        const __m128i characters = _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
        std::memcpy(static_cast<void *>(out), &characters, sizeof characters);
    }
    if (plain != 0xFF)
        return false;
#endif
    bool isPlain = true;
    for (; in != end; ++in, ++out) {
        isPlain &= static_cast<signed char>(*in) > 0;
        *out = QLatin1Char(*in);
    }
    return isPlain;
}

/// Returns whether all bytes are ASCII and none is zero.
inline bool isPlainAscii(const char *in, int size)
{
    const char *const end = in + size;
#ifdef __SSE2__
    for (; end - in >= 16; in += 16) {
        __m128i bytes;
        std::memcpy(&bytes, in, sizeof bytes);
        if (_mm_movemask_epi8(_mm_cmpgt_epi8(bytes, _mm_setzero_si128())) != 0xFFFF)
            return false;
    }
    if (end - in >= 8) {
        __m128i bytes = _mm_setzero_si128();
        std::memcpy(&bytes, in, 8);
        if ((_mm_movemask_epi8(_mm_cmpgt_epi8(bytes, _mm_setzero_si128())) & 0xFF) != 0xFF)
            return false;
        in += 8;
    }
#endif
    while (in != end && static_cast<signed char>(*in) > 0)
        ++in;
    return in == end;
}

/// Reads a text of at most @p size bytes of UTF-8, which ends at its first zero byte. Uses the
/// memory that @p text already has if it suffices.
inline void readUtf8(const char *bytes, int size, QString &text)
{
    if (text.capacity() < size)
        text = QString(size, Qt::Uninitialized);
    else
        text.resize(size);
    if (widenAscii(bytes, size, text.data()))
        return;
    text.clear(); // frees the old text before the new one is allocated
    text = QString::fromUtf8(bytes, static_cast<int>(qstrnlen(bytes, static_cast<uint>(size))));
}

} // namespace Korvin

#endif
