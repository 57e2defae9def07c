#ifndef MEMORY_P_H
#define MEMORY_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Korvin {

/// What an operation returns when memory has run out: false, 0, or an empty frame or record.
///
/// The empty frame and the empty record can be told from those that an override made: they lie in
/// constant memory of their own, which copies share.
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

/// Returns whether an encoder gave up because memory had run out.
template <typename Encoded>
bool isOutOfMemory(const Encoded &encoded)
{
    return encoded.isEmpty() && encoded.constData() == outOfMemory<Encoded>().constData();
}

/// Runs an operation that reports by its result; catches that memory has run out.
template <typename Operation>
auto guarded(Operation &&operation) -> decltype(operation())
{
    try {
        return std::forward<Operation>(operation)();
    } catch (const std::bad_alloc &) {
        return outOfMemory<decltype(operation())>();
    }
}

/// Runs an operation; returns @p whenOutOfMemory where memory runs out.
template <typename Operation, typename Result>
Result guarded(Operation &&operation, Result whenOutOfMemory)
{
    try {
        return std::forward<Operation>(operation)();
    } catch (const std::bad_alloc &) {
        return whenOutOfMemory;
    }
}

/// The most that is made ready for a length that was announced but not delivered.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr int MaxAnnouncedLength = 64 * 1024; // a fuzzer announces much, and wants to be fast
#else
constexpr int MaxAnnouncedLength = 256 * 1024 * 1024;
#endif

/// A size as an int. Of more than an int counts, which Qt 6 could hold, memory has run out, as it
/// has with Qt 5.
inline int checkedSize(qint64 size)
{
    if (size > std::numeric_limits<int>::max())
        throw std::bad_alloc();
    return static_cast<int>(size);
}

/// Gives @p bytes a length; what this adds is 0. A length below 0 counts as 0.
inline void resizeWithZeros(QByteArray &bytes, qint64 length)
{
    const int newLength = qMax(checkedSize(length), 0);
    const qint64 oldLength = bytes.size();
    if (newLength == oldLength)
        return; // without a copy of what is shared
    bytes.resize(newLength);
    if (newLength > oldLength)
        std::memset(bytes.data() + oldLength, 0, static_cast<size_t>(newLength - oldLength));
}

/// Gives @p bytes an announced length of which @p available bytes are really there; beyond
/// MaxAnnouncedLength it is left empty instead.
inline void resizeToAnnounced(QByteArray &bytes, int length, qint64 available)
{
    if (length > available && length > MaxAnnouncedLength) {
        bytes.clear();
    } else if (length > bytes.size()) {
        // Where resize() makes room to grow into, it may take twice as much.
        QByteArray longer(length, '\0');
        std::memcpy(longer.data(), bytes.constData(), static_cast<size_t>(bytes.size()));
        bytes = std::move(longer);
    } else {
        resizeWithZeros(bytes, length);
    }
}

} // namespace Korvin

#endif
