#ifndef BYTECURSORS_P_H
#define BYTECURSORS_P_H

#include "include/packagebase.h"
#include "integers_p.h"
#include "memory_p.h"

namespace Korvin {

/// Walks over a layout and appends its fields to a frame, integers little-endian.
///
/// The names are for walkers that explain a layout; the ones that read and write ignore them.
class ByteWriter
{
public:
    explicit ByteWriter(QByteArray *frame)
        : m_frame(frame)
    {
    }

    /// A byte of fixed value.
    void constant(const char *, quint8 value) { integer(1, value); }

    /// A byte that the format leaves undefined.
    void gap() { integer(1, 0); }

    template <typename T>
    void u8(const char *, const T &field)
    {
        integer(1, static_cast<quint32>(field));
    }

    template <typename T>
    void s8(const char *, const T &field)
    {
        integer(1, static_cast<quint32>(field));
    }

    template <typename T>
    void u16(const char *, const T &field)
    {
        integer(2, static_cast<quint32>(field));
    }

    template <typename T>
    void i32(const char *, const T &field)
    {
        integer(4, static_cast<quint32>(field));
    }

    /// 0 for `Read`, 1 for any other code.
    void access(const char *, OrvexEnum::ReadWriteCode code)
    {
        integer(1, code == OrvexEnum::Read ? 0 : 1);
    }

    void flag(const char *, bool field) { integer(1, field ? 1 : 0); }

    /// A text in UTF-8 behind its 16-bit size.
    void sizedText(const char *, const QString &text)
    {
        const QByteArray utf8 = text.toUtf8();
        integer(2, static_cast<quint32>(utf8.size()));
        m_frame->append(utf8);
    }

    /// A sized text whose bytes a reader does not count.
    void uncountedText(const char *name, const QString &text) { sizedText(name, text); }

    /// A text in UTF-8 without its size.
    void text(const char *, const QString &text) { m_frame->append(text.toUtf8()); }

    /// The bytes of a block whose length stands in a field of its own.
    void block(const char *, int, const QByteArray &data) { m_frame->append(data); }

private:
    void integer(int width, quint32 value)
    {
        char bytes[4];
        for (int i = 0; i < width; ++i)
            bytes[i] = littleEndianByte(value, i);
        m_frame->append(bytes, width);
    }

    QByteArray *m_frame;
};

/// Walks over a layout and reads its fields from a frame.
///
/// An integer that does not fit reads as 0 and takes no bytes. A text or block that does not fit
/// takes the bytes that it announces, is reported by the byte copy, and reads as zeros.
class ByteReader
{
public:
    ByteReader(const QByteArray &frame, int position)
        : m_frame(frame)
        , m_position(position)
    {
    }

    /// The number of bytes that lie between @p start and here.
    int distanceFrom(int start) const { return wrapped(qint64(m_position) - start); }

    void constant(const char *, quint8) { advance(1); }

    template <typename T>
    void u8(const char *, T &field)
    {
        field = static_cast<T>(integer(1));
    }

    template <typename T>
    void u16(const char *, T &field)
    {
        field = static_cast<T>(integer(2));
    }

    template <typename T>
    void i32(const char *, T &field)
    {
        field = static_cast<T>(integer(4));
    }

    void access(const char *, OrvexEnum::ReadWriteCode &code)
    {
        code = integer(1) == 0 ? OrvexEnum::Read : OrvexEnum::Write;
    }

    void flag(const char *, bool &field) { field = integer(1) == 1; }

    void sizedText(const char *name, QString &text)
    {
        text.clear();
        this->text(name, integer(2), text);
    }

    /// A sized text whose bytes are not counted.
    void uncountedText(const char *name, QString &text)
    {
        const int size = integer(2);
        const int start = m_position;
        this->text(name, size, text);
        m_position = start;
    }

    /// A text of @p size bytes of UTF-8, which ends at its first zero byte. Left as it is where
    /// the size is 0 or less.
    void text(const char *, int size, QString &text)
    {
        if (size <= 0)
            return;
        const char *bytes = take(size);
        text = bytes ? QString::fromUtf8(bytes, static_cast<int>(qstrnlen(bytes, uint(size))))
                     : QString();
    }

    /// The bytes of a block. What a short frame does not hold stays as it was in @p data, or is 0
    /// where @p data grew.
    void block(const char *, int length, QByteArray &data)
    {
        resizeToAnnounced(data, length, m_frame.size() - qint64(m_position));
        const char *bytes = take(length);
        if (bytes && length > 0)
            std::memcpy(data.data(), bytes, static_cast<size_t>(length));
    }

private:
    int integer(int width) { return littleEndianField(m_frame, m_position, width, &m_position); }

    void advance(int count) { m_position = wrapped(qint64(m_position) + count); }

    /// The next bytes, or null where they do not all lie inside the frame.
    const char *take(int count)
    {
        const int start = m_position;
        advance(count);
        if (start >= 0 && qint64(start) + count <= m_frame.size())
            return m_frame.constData() + start;
        QByteArray missing;
        PackageBase::ArrayCopy(m_frame, start, &missing, 0, count);
        return nullptr;
    }

    const QByteArray &m_frame;
    int m_position;
};

/// Walks over a layout and reads its fields from a frame of the Linux client, where a byte behind
/// the end reads as 0 and every field takes its bytes.
class LinuxFrameReader
{
public:
    explicit LinuxFrameReader(const QByteArray &frame)
        : m_frame(frame)
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

private:
    quint8 next() { return byteAt(m_frame, m_position++); }

    const QByteArray &m_frame;
    int m_position = 0;
};

} // namespace Korvin

#endif
