#ifndef FRAMESCANNER_P_H
#define FRAMESCANNER_P_H

#include "integers_p.h"
#include "layouts_p.h"
#include "wirefield_p.h"

#include <type_traits>

namespace KorvinInspect {

/// How a field that runs past the end of the frame is read.
enum class ShortField {
    TakesNothing, // as in a byte frame: it consumes no bytes
    TakesItsBytes // as in a Linux frame: missing bytes are 0
};

/// Walks over a layout along a frame, reads positions and integers as the decoders do, and reports
/// each field. Does not copy texts or blocks.
class FrameScanner
{
public:
    FrameScanner(const QByteArray &frame, FieldSink &sink,
                 ShortField shortField = ShortField::TakesNothing)
        : m_frame(frame)
        , m_sink(sink)
        , m_shortField(shortField)
    {
    }

    int position() const { return m_position; }
    void goTo(int position) { m_position = position; }

    /// Sets the value that the marker must have.
    void setMarker(quint8 marker) { m_marker = marker; }

    void constant(const char *name, quint8 value)
    {
        WireField field = here(name, WireType::Constant, 1, nullptr);
        field.number = Korvin::byteAt(m_frame, m_position);
        field.taken = field.number;
        field.max = m_marker ? m_marker : value;
        report(field);
        advance(1);
    }

    void gap() { report(integer("", WireType::Gap, 1, nullptr)); }

    template <typename T>
    void u8(const char *name, T &field)
    {
        number(name, WireType::Number, 1, field);
    }

    template <typename T>
    void s8(const char *name, T &field)
    {
        number(name, WireType::Number, 1, field, Sign::Signed);
    }

    template <typename T>
    void u16(const char *name, T &field)
    {
        number(name, WireType::Number, 2, field);
    }

    template <typename T>
    void i32(const char *name, T &field)
    {
        number(name, WireType::Number, 4, field, Sign::Signed);
    }

    void serial(const char *name, quint64 &field) { number(name, WireType::Serial, 2, field); }
    void shortSerial(const char *name, quint64 &field) { number(name, WireType::Serial, 1, field); }
    void reserved(const char *name, qint32 &field) { number(name, WireType::Setting, 1, field); }
    void ack(const char *name, quint32 &field) { number(name, WireType::Ack, 1, field); }

    void timeout(const char *name, qint32 &field)
    {
        number(name, WireType::Setting, 4, field, Sign::Signed);
    }

    void signedReserved(const char *name, qint32 &field)
    {
        number(name, WireType::Setting, 1, field, Sign::Signed);
    }

    void textLength(const char *name, qint32 &field)
    {
        number(name, WireType::TextLength, 4, field, Sign::Signed);
    }

    template <typename T>
    void length(const char *name, T &field)
    {
        number(name, WireType::Length, sizeof(T), field,
               std::is_signed_v<T> ? Sign::Signed : Sign::Unsigned);
    }

    void clampedLength(const char *name, qint32 &field)
    {
        WireField length = integer(name, WireType::Length, 4, &field, Sign::Signed);
        field = static_cast<qint32>(length.number);
        length.taken = qMax<qint64>(0, length.number);
        report(length);
    }

    void offset(const char *name, qint32 &field)
    {
        number(name, WireType::Offset, 4, field, Sign::Signed);
    }

    void status(const char *name, qint32 &field)
    {
        number(name, WireType::Status, 1, field, Sign::Signed);
    }

    void kind(const char *name, OrvexEnum::ClientPackageType &field)
    {
        number(name, WireType::Kind, 1, field);
    }

    void result(const char *name, OrvexEnum::CommResults &field)
    {
        number(name, WireType::CommResult, 1, field);
    }

    void result(const char *name, OrvexEnum::PackageResults &field)
    {
        number(name, WireType::PackageResult, 1, field);
    }

    void access(const char *name, OrvexEnum::ReadWriteCode &code)
    {
        WireField field = integer(name, WireType::ReadWriteCode, 1, &code);
        code = field.number == 0 ? OrvexEnum::Read : OrvexEnum::Write;
        field.taken = code;
        report(field);
    }

    void rawAccess(const char *name, OrvexEnum::ReadWriteCode &code)
    {
        number(name, WireType::ReadWriteCode, 1, code, Sign::Signed);
    }

    void flag(const char *name, bool &field)
    {
        const WireField flag = integer(name, WireType::Flag, 1, &field);
        field = flag.number == 1;
        report(flag);
    }

    void sizedText(const char *name, const QString &field)
    {
        bareText(name, textSize(name, field), field);
    }

    void uncountedText(const char *name, const QString &field)
    {
        const int size = textSize(name, field);
        const int start = m_position;
        keptText(name, size, field);
        m_position = start;
    }

    void keptText(const char *name, int size, const QString &field) { bareText(name, size, field); }

    template <typename Bytes>
    void block(const char *name, int length, const Bytes &field)
    {
        extent(name, WireType::Block, length, &field);
    }

    template <typename Bytes>
    void announcedBlock(const char *name, int length, const Bytes &field)
    {
        block(name, length, field);
    }

    template <typename Bytes>
    void uncountedBlock(const char *name, int length, const Bytes &field)
    {
        const int start = m_position;
        block(name, length, field);
        m_position = start;
    }

    /// Reports a block that a decoder fills up with zeros.
    template <typename Bytes>
    void paddedBlock(const char *name, int length, const Bytes &field)
    {
        WireField block = here(name, WireType::Block, length, &field);
        block.isPadded = true;
        reportExtent(block);
    }

    /// Reports the checksum, which must be @p sum.
    void checksum(const char *name, quint16 sum)
    {
        WireField field = integer(name, WireType::Checksum, 2, nullptr);
        field.max = sum;
        report(field);
    }

protected:
    /// Reports a text whose size is in no field.
    void bareText(const char *name, qint64 size, const QString &field)
    {
        extent(name, WireType::Text, size, &field);
    }

    qint64 remaining() const { return qMax<qint64>(0, qint64(m_frame.size()) - m_position); }

    /// Returns the next four bytes as a number, or 0 if they are not all there.
    int peek() const
    {
        int end = 0;
        return Korvin::littleEndianField(m_frame, m_position, 4, &end);
    }

    int textSize(const char *name, const QString &field)
    {
        const WireField size = integer(name, WireType::TextSize, 2, &field);
        report(size);
        return static_cast<int>(size.number);
    }

    void extent(const char *name, WireType type, qint64 size, const void *source)
    {
        reportExtent(here(name, type, qMax<qint64>(size, 0), source));
    }

private:
    enum class Sign { Unsigned, Signed };

    /// Makes a field of @p width bytes, of which the frame may hold fewer.
    WireField here(const char *name, WireType type, qint64 width, const void *source) const
    {
        WireField field;
        field.name = name;
        field.type = type;
        field.source = source;
        field.offset = m_position < 0 ? m_frame.size() : qMin(m_position, m_frame.size());
        field.width = width;
        field.left = qBound<qint64>(0, m_frame.size() - field.offset, width);
        field.present = field.left;
        return field;
    }

    template <typename T>
    void number(const char *name, WireType type, int width, T &field, Sign sign = Sign::Unsigned)
    {
        const WireField number = integer(name, type, width, &field, sign);
        field = static_cast<T>(number.number);
        report(number);
    }

    WireField integer(const char *name, WireType type, int width, const void *source,
                      Sign sign = Sign::Unsigned)
    {
        WireField field = here(name, type, width, source);
        if (field.present < width && m_shortField == ShortField::TakesNothing) {
            field.present = 0;
            return field;
        }
        for (int i = 0; i < width; ++i)
            field.number |= qint64(Korvin::byteAt(m_frame, field.offset + i)) << (8 * i);
        if (sign == Sign::Signed && field.number >> (8 * width - 1) != 0)
            field.number -= qint64(1) << (8 * width);
        field.taken = field.number;
        advance(width);
        return field;
    }

    void reportExtent(WireField field)
    {
        field.number = field.width;
        field.bytes = m_frame.constData() + field.offset;
        report(field);
        advance(field.width);
    }

    void report(const WireField &field) { m_sink.add(field); }
    void advance(qint64 count) { m_position = Korvin::wrapped(m_position + count); }

    const QByteArray &m_frame;
    FieldSink &m_sink;
    ShortField m_shortField;
    int m_position = 0;
    quint8 m_marker = Korvin::RequestMarker;
};

/// Makes a walker read frames as their encoders write them, where decoders read something else.
template <typename Walker>
class AsWritten : public Walker
{
public:
    using Walker::Walker;

    void uncountedText(const char *name, const QString &field) { this->sizedText(name, field); }

    template <typename Bytes>
    void uncountedBlock(const char *name, int length, const Bytes &field)
    {
        this->block(name, length, field);
    }

    /// Decides whether the frame carries the announced blocks from here on: it does if it has more
    /// than the @p rest bytes that follow them.
    void announce(qint64 rest) { m_isCarried = this->remaining() > rest; }
    bool isCarried() const { return m_isCarried; }

    template <typename Bytes>
    void announcedBlock(const char *name, int length, const Bytes &field)
    {
        if (m_isCarried)
            this->block(name, length, field);
    }

    /// Calls @p walk for one of @p copies fields that share all bytes up to the last @p rest. Does
    /// nothing if there are no such bytes.
    template <typename Walk>
    void tail(qint64 rest, int copies, Walk walk)
    {
        const qint64 size = (this->remaining() - rest) / copies;
        if (size <= 0)
            return;
        m_afterTail = this->remaining() - size;
        walk();
    }

    /// Reports a text without a size, which ends where the tail ends.
    void text(const char *name, const QString &field)
    {
        this->bareText(name, this->remaining() - m_afterTail, field);
    }

    /// Calls @p ifNumber if the next four bytes are a number other than 0, else @p ifZeros.
    template <typename Nonzero, typename Zeros>
    void either(Nonzero nonzero, Zeros zeros)
    {
        if (this->peek() != 0)
            nonzero();
        else
            zeros();
    }

private:
    bool m_isCarried = true;
    qint64 m_afterTail = 0;
};

using WrittenFrameScanner = AsWritten<FrameScanner>;

} // namespace KorvinInspect

#endif
