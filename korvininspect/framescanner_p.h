#ifndef FRAMESCANNER_P_H
#define FRAMESCANNER_P_H

#include "integers_p.h"
#include "layouts_p.h"
#include "wirefield_p.h"

#include <limits>

namespace KorvinInspect {

/// What becomes of a field that the frame does not hold as a whole.
enum class ShortField {
    TakesNothing, // as in a byte frame
    TakesItsBytes // as in a Linux frame: a byte that is missing is 0
};

/// Walks over a layout along a frame, takes positions and integers as the decoders do, and reports
/// each field. It makes no copy of a text or block.
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
    void setPosition(int position) { m_position = position; }
    qint64 remaining() const { return qMax<qint64>(0, qint64(m_frame.size()) - m_position); }

    /// The next four bytes as a number, 0 where they are not all there.
    int peek() const
    {
        int end = 0;
        return Korvin::littleEndianField(m_frame, m_position, 4, &end);
    }

    /// Makes @p marker what the marker must be.
    void setMarker(quint8 marker) { m_marker = marker; }

    /// The size of the next text() that has none of its own.
    void setTextSize(qint64 size) { m_textSize = size; }

    void constant(const char *name, quint8 value)
    {
        WireField field = here(name, WireType::Constant, 1);
        field.number = Korvin::byteAt(m_frame, m_position);
        field.min = field.max = m_marker ? m_marker : value;
        report(field);
        advance(1);
    }

    void gap() { integer("", WireType::Gap, 1, 0, 255); }

    template <typename T>
    void u8(const char *name, T &field)
    {
        field = static_cast<T>(integer(name, typeOf(field), 1, 0, 255));
    }

    template <typename T>
    void s8(const char *name, T &field)
    {
        field = static_cast<T>(integer(name, typeOf(field), 1, -128, 127));
    }

    template <typename T>
    void u16(const char *name, T &field)
    {
        field = static_cast<T>(integer(name, typeOf(field), 2, 0, 65535));
    }

    template <typename T>
    void i32(const char *name, T &field)
    {
        using Limits = std::numeric_limits<qint32>;
        field = static_cast<T>(integer(name, typeOf(field), 4, Limits::min(), Limits::max()));
    }

    void access(const char *name, OrvexEnum::ReadWriteCode &code)
    {
        code = integer(name, WireType::ReadWriteCode, 1, 0, 1) == 0 ? OrvexEnum::Read
                                                                    : OrvexEnum::Write;
    }

    void flag(const char *name, bool &field)
    {
        field = integer(name, WireType::Flag, 1, 0, 1) == 1;
    }

    void sizedText(const char *name, const QString &field)
    {
        text(name, static_cast<int>(integer(name, WireType::TextSize, 2, 0, 65535)), field);
    }

    void uncountedText(const char *name, const QString &field)
    {
        const auto size = static_cast<int>(integer(name, WireType::TextSize, 2, 0, 65535));
        const int start = m_position;
        text(name, size, field);
        m_position = start;
    }

    void text(const char *name, const QString &) { extent(name, WireType::Text, m_textSize); }

    void text(const char *name, int size, const QString &)
    {
        extent(name, WireType::Text, qMax(size, 0));
    }

    void block(const char *name, int length, const QByteArray &)
    {
        extent(name, WireType::Block, length);
    }

    /// A checksum that must be @p sum.
    void checksum(const char *name, quint16 sum) { integer(name, WireType::Checksum, 2, 0, sum); }

private:
    template <typename T>
    static WireType typeOf(const T &)
    {
        if constexpr (std::is_same_v<T, OrvexEnum::ReadWriteCode>)
            return WireType::ReadWriteCode;
        else if constexpr (std::is_same_v<T, OrvexEnum::ClientPackageType>)
            return WireType::Kind;
        else if constexpr (std::is_same_v<T, OrvexEnum::CommResults>)
            return WireType::CommResult;
        else if constexpr (std::is_same_v<T, OrvexEnum::PackageResults>)
            return WireType::PackageResult;
        else
            return WireType::Number;
    }

    /// A field of @p width bytes, and as many of them as there are.
    WireField here(const char *name, WireType type, qint64 width) const
    {
        WireField field;
        field.name = name;
        field.type = type;
        field.offset = m_position < 0 ? m_frame.size() : qMin(m_position, m_frame.size());
        field.width = width;
        field.left = qBound<qint64>(0, m_frame.size() - field.offset, width);
        field.present = field.left;
        return field;
    }

    qint64 integer(const char *name, WireType type, int width, qint64 min, qint64 max)
    {
        WireField field = here(name, type, width);
        field.min = min;
        field.max = max;
        if (field.present == width || m_shortField == ShortField::TakesItsBytes) {
            for (int i = 0; i < width; ++i)
                field.number |= qint64(Korvin::byteAt(m_frame, field.offset + i)) << (8 * i);
            if (min < 0 && field.number > max)
                field.number -= qint64(1) << (8 * width);
            advance(width);
        } else {
            field.present = 0;
        }
        report(field);
        return field.number;
    }

    void extent(const char *name, WireType type, qint64 size)
    {
        WireField field = here(name, type, size);
        field.number = size;
        field.bytes = m_frame.constData() + field.offset;
        report(field);
        advance(size);
    }

    void report(const WireField &field) { m_sink.add(field); }
    void advance(qint64 count) { m_position = Korvin::wrapped(m_position + count); }

    const QByteArray &m_frame;
    FieldSink &m_sink;
    ShortField m_shortField;
    int m_position = 0;
    qint64 m_textSize = 0;
    quint8 m_marker = Korvin::RequestMarker;
};

} // namespace KorvinInspect

#endif
