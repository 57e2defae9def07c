#ifndef MEMORY_P_H
#define MEMORY_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Korvin {

/// Returns the result of an operation that ran out of memory: false, 0, or an empty frame or
/// record.
///
/// isOutOfMemory() can tell this frame and record from empty ones that an override returned: they
/// point to constant memory of their own, which copies share.
template <typename Result>
Result outOfMemory()
{
    return Result();
}

template <>
inline QByteArray outOfMemory()
{
    return QByteArrayLiteral("");
}

template <>
inline QString outOfMemory()
{
    return QStringLiteral("");
}

/// Returns whether an encoder failed because memory ran out.
template <typename Encoded>
bool isOutOfMemory(const Encoded &encoded)
{
    return encoded.isEmpty() && encoded.constData() == outOfMemory<Encoded>().constData();
}

/// Runs an operation that reports by its result. Returns outOfMemory() if it throws std::bad_alloc.
template <typename Operation>
Q_ALWAYS_INLINE auto guarded(Operation &&operation) -> decltype(operation())
{
    try {
        return std::forward<Operation>(operation)();
    } catch (const std::bad_alloc &) {
        return outOfMemory<decltype(operation())>();
    }
}

/// Runs an operation. Returns @p whenOutOfMemory if it throws std::bad_alloc.
template <typename Operation, typename Result>
Result guarded(Operation &&operation, Result whenOutOfMemory)
{
    try {
        return std::forward<Operation>(operation)();
    } catch (const std::bad_alloc &) {
        return whenOutOfMemory;
    }
}

/// The most bytes to allocate for data that was announced but is not there.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr int MaxAnnouncedLength = 64 * 1024; // large allocations would slow down a fuzzer
#else
constexpr int MaxAnnouncedLength = 256 * 1024 * 1024;
#endif

/// Converts a size to int. Throws std::bad_alloc for a larger size: Qt 6 could hold it, but Qt 5
/// could not.
inline int checkedSize(qint64 size)
{
    if (size > std::numeric_limits<int>::max())
        throw std::bad_alloc();
    return static_cast<int>(size);
}

/// Resizes @p bytes; added bytes are 0. A negative length counts as 0.
inline void resizeWithZeros(QByteArray &bytes, qint64 length)
{
    const int newLength = qMax(checkedSize(length), 0);
    const qint64 oldLength = bytes.size();
    if (newLength == oldLength)
        return; // does not detach shared data
    bytes.resize(newLength);
    if (newLength > oldLength)
        std::memset(bytes.data() + oldLength, 0, static_cast<size_t>(newLength - oldLength));
}

/// Resizes @p bytes to an announced length, of which @p available bytes are really there. Clears
/// @p bytes instead if some are missing and the length is above MaxAnnouncedLength.
inline void resizeToAnnounced(QByteArray &bytes, int length, qint64 available)
{
    if (length > available && length > MaxAnnouncedLength) {
        bytes.clear();
    } else if (length > bytes.size()) {
        // resize() may reserve up to twice as much, to grow into.
        QByteArray longer(length, '\0');
        std::memcpy(longer.data(), bytes.constData(), static_cast<size_t>(bytes.size()));
        bytes = std::move(longer);
    } else {
        resizeWithZeros(bytes, length);
    }
}

} // namespace Korvin

#endif
