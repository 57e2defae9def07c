#ifndef BYTECURSORS_P_H
#define BYTECURSORS_P_H

#include "include/packagebase.h"
#include "integers_p.h"
#include "memory_p.h"
#include "utf8_p.h"

#include <QtCore/QtEndian>

namespace Korvin {

/// Walks over a layout and appends its fields to a frame. Integers are little-endian.
///
/// The names of the fields are for walkers that explain a layout; this one ignores them.
class ByteWriter
{
public:
    /// Appends to @p frame. Allocates memory for @p room more bytes at once.
    explicit ByteWriter(QByteArray *frame, qint64 room = 0)
        : m_frame(frame)
        , m_size(checkedSize(frame->size()))
    {
        makeRoom(room);
    }

    int size() const { return m_size; }

    /// Sets the size of the frame to the number of bytes written.
    void finish() { m_frame->resize(m_size); }

    /// Writes a byte of fixed value.
    void constant(const char *, quint8 value) { integer<1>(value); }

    /// Writes a byte that the format leaves undefined.
    void gap() { integer<1>(0); }

    void zeros(int count) { std::memset(next(count), 0, static_cast<size_t>(count)); }

    template <typename T>
    void u8(const char *, const T &field)
    {
        integer<1>(static_cast<quint32>(field));
    }

    template <typename T>
    void s8(const char *, const T &field)
    {
        integer<1>(static_cast<quint32>(field));
    }

    template <typename T>
    void u16(const char *, const T &field)
    {
        integer<2>(static_cast<quint32>(field));
    }

    template <typename T>
    void i32(const char *, const T &field)
    {
        integer<4>(static_cast<quint32>(field));
    }

    void serial(const char *name, quint64 field) { u16(name, field); }
    void shortSerial(const char *name, quint64 field) { u8(name, field); }
    void timeout(const char *name, qint32 field) { i32(name, field); }
    void reserved(const char *name, qint32 field) { u8(name, field); }
    void signedReserved(const char *name, qint32 field) { s8(name, field); }
    void ack(const char *name, quint32 field) { u8(name, field); }
    void result(const char *name, int field) { u8(name, field); }
    void status(const char *name, int field) { s8(name, field); }
    void kind(const char *name, OrvexEnum::ClientPackageType field) { u8(name, field); }
    void length(const char *name, qint32 field) { i32(name, field); }
    void length(const char *name, quint16 field) { u16(name, field); }
    void clampedLength(const char *name, qint32 field) { i32(name, field); }

    /// Writes 0 for `Read` and 1 for any other code.
    void access(const char *, OrvexEnum::ReadWriteCode code)
    {
        integer<1>(code == OrvexEnum::Read ? 0 : 1);
    }

    void rawAccess(const char *name, OrvexEnum::ReadWriteCode code) { s8(name, code); }

    void flag(const char *, bool field) { integer<1>(field ? 1 : 0); }

    /// Writes the 16-bit size of a text in UTF-8, then the text.
    void sizedText(const char *name, const QString &text)
    {
        const int sizePosition = m_size;
        integer<2>(0);
        this->text(name, text);
        const int size = m_size - sizePosition - 2;
        storeLittleEndian<2>(m_out + sizePosition, static_cast<quint32>(size));
    }

    /// Writes a sized text whose bytes a reader does not count.
    void uncountedText(const char *name, const QString &text) { sizedText(name, text); }

    /// Writes a text in UTF-8 without its size.
    void text(const char *, const QString &text)
    {
        const int start = m_size;
        if (!narrowAscii(text, next(text.size()))) {
            m_size = start;
            bytes(text.toUtf8());
        }
    }

    /// Writes the bytes of a block. Another field holds its length.
    void block(const char *, int, const QByteArray &data) { bytes(data); }
    void uncountedBlock(const char *, int, const QByteArray &data) { bytes(data); }
    void announcedBlock(const char *, int, const QByteArray &data) { bytes(data); }

private:
    template <int Width>
    void integer(quint32 value)
    {
        storeLittleEndian<Width>(next(Width), value);
    }

    void bytes(const QByteArray &data)
    {
        char *const out = next(data.size());
        std::memcpy(out, data.constData(), static_cast<size_t>(data.size()));
    }

    /// Makes room for the next @p count bytes and returns where they belong.
    char *next(qint64 count)
    {
        if (m_capacity - m_size < count) {
            finish(); // otherwise reserve() would not copy what is written
            makeRoom(qMax<qint64>(count, m_size));
        }
        char *const out = m_out + m_size;
        m_size += static_cast<int>(count);
        return out;
    }

    void makeRoom(qint64 count)
    {
        m_capacity = checkedSize(m_size + count);
        m_frame->reserve(m_capacity);
        m_out = m_frame->data();
    }

    QByteArray *m_frame;
    char *m_out = nullptr;
    int m_size;         // bytes written, most of them past the size() of the frame until finish()
    int m_capacity = 0; // bytes that the frame's memory holds at least
};

/// Walks over a layout and reads its fields from a frame.
///
/// An integer that does not fit into the rest of the frame reads as 0 and consumes no bytes. A text
/// or block that does not fit consumes the bytes that it announces and reads as zeros; the byte
/// copy logs it.
class ByteReader
{
public:
    ByteReader(const QByteArray &frame, int position)
        : m_frame(frame)
        , m_bytes(frame.constData())
        , m_size(frame.size())
        , m_position(position)
    {
    }

    /// Returns the number of bytes between @p start and the current position.
    int distanceFrom(int start) const { return wrapped(qint64(m_position) - start); }

    void constant(const char *, quint8) { advance(1); }

    template <typename T>
    void u8(const char *, T &field)
    {
        field = static_cast<T>(integer<quint8>());
    }

    template <typename T>
    void u16(const char *, T &field)
    {
        field = static_cast<T>(integer<quint16>());
    }

    template <typename T>
    void i32(const char *, T &field)
    {
        field = static_cast<T>(integer<qint32>());
    }

    void serial(const char *name, quint64 &field) { u16(name, field); }
    void timeout(const char *name, qint32 &field) { i32(name, field); }
    void reserved(const char *name, qint32 &field) { u8(name, field); }
    void ack(const char *name, quint32 &field) { u8(name, field); }
    void kind(const char *name, OrvexEnum::ClientPackageType &field) { u8(name, field); }
    void textLength(const char *name, qint32 &field) { i32(name, field); }
    void length(const char *name, qint32 &field) { i32(name, field); }
    void clampedLength(const char *name, qint32 &field) { i32(name, field); }
    void offset(const char *name, qint32 &field) { i32(name, field); }

    template <typename Result>
    void result(const char *name, Result &field)
    {
        u8(name, field);
    }

    void access(const char *, OrvexEnum::ReadWriteCode &code)
    {
        code = integer<quint8>() == 0 ? OrvexEnum::Read : OrvexEnum::Write;
    }

    void flag(const char *, bool &field) { field = integer<quint8>() == 1; }

    void sizedText(const char *name, QString &text)
    {
        const int size = integer<quint16>();
        if (size == 0)
            text.clear();
        keptText(name, size, text);
    }

    /// Reads a sized text, but does not count its bytes as consumed.
    void uncountedText(const char *name, QString &text)
    {
        const int size = integer<quint16>();
        const int start = m_position;
        keptText(name, size, text);
        m_position = start;
    }

    /// Reads a text of @p size bytes of UTF-8, which ends at its first zero byte. A size of 0 or
    /// less leaves @p field unchanged.
    void keptText(const char *, int size, QString &text)
    {
        if (size <= 0)
            return;
        if (const char *bytes = take(size))
            readUtf8(bytes, size, text);
        else
            text.clear();
    }

    /// Reads the bytes of a block. Bytes that a short frame lacks stay as they were in @p data;
    /// bytes that @p data grows by are 0.
    void block(const char *, int length, QByteArray &data)
    {
        const qint64 available = m_size - m_position;
        const char *bytes = take(length);
        if (!bytes) {
            resizeToAnnounced(data, length, available);
            return;
        }
        data.resize(length);
        std::memcpy(data.data(), bytes, static_cast<size_t>(qMax(length, 0)));
    }

    void announcedBlock(const char *name, int length, QByteArray &data)
    {
        block(name, length, data);
    }

    /// Reads a block, but does not count its bytes as consumed.
    void uncountedBlock(const char *name, int length, QByteArray &data)
    {
        const int start = m_position;
        block(name, length, data);
        m_position = start;
    }

private:
    template <typename Integer>
    int integer()
    {
        constexpr int Width = sizeof(Integer);
        if (m_position < 0 || m_size - m_position < Width)
            return littleEndianField(m_frame, m_position, Width, &m_position);
        m_position += Width;
        return qFromLittleEndian<Integer>(m_bytes + m_position - Width);
    }

    void advance(int count) { m_position = wrapped(qint64(m_position) + count); }

    /// Returns the next @p count bytes, or null if they do not all lie inside the frame.
    const char *take(int count)
    {
        const int start = m_position;
        advance(count);
        if (start >= 0 && qint64(start) + count <= m_size)
            return m_bytes + start;
        QByteArray missing;
        PackageBase::ArrayCopy(m_frame, start, &missing, 0, count);
        return nullptr;
    }

    const QByteArray &m_frame;
    const char *m_bytes;
    qint64 m_size;
    int m_position;
};

/// Walks over a layout and reads its fields from a Linux frame. Bytes past the end of the frame
/// read as 0, and every field consumes its bytes.
class LinuxFrameReader
{
public:
    explicit LinuxFrameReader(const QByteArray &frame, int position = 0)
        : m_frame(frame)
        , m_position(position)
    {
    }

    void constant(const char *, quint8) { ++m_position; }

    template <typename T>
    void u8(const char *, T &field)
    {
        field = static_cast<T>(next());
    }

    template <typename T>
    void s8(const char *, T &field)
    {
        const int byte = next();
        field = static_cast<T>(byte < 128 ? byte : byte - 256);
    }

    template <typename T>
    void u16(const char *, T &field)
    {
        const int low = next();
        field = static_cast<T>(low + 256 * next());
    }

    void shortSerial(const char *name, quint64 &field) { u8(name, field); }
    void signedReserved(const char *name, qint32 &field) { s8(name, field); }
    void status(const char *name, qint32 &field) { s8(name, field); }
    void rawAccess(const char *name, OrvexEnum::ReadWriteCode &code) { s8(name, code); }
    void length(const char *name, quint16 &field) { u16(name, field); }

private:
    quint8 next() { return byteAt(m_frame, m_position++); }

    const QByteArray &m_frame;
    int m_position;
};

} // namespace Korvin

#endif
