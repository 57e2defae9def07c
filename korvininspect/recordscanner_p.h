#ifndef RECORDSCANNER_P_H
#define RECORDSCANNER_P_H

#include "recordcursors_p.h"
#include "wirefield_p.h"

#include <algorithm>
#include <limits>
#include <type_traits>

namespace KorvinInspect {

/// Returns the number of columns that a record has.
inline int columnsOf(QStringView record)
{
    return static_cast<int>(Korvin::countCharacter(record, ',')) + 1;
}

/// Walks over the columns of a record, reads each as the decoders do, and reports it. Does not copy
/// texts.
class RecordScanner
{
public:
    /// @p record must outlive the scanner.
    RecordScanner(QStringView record, FieldSink &sink)
        : m_record(record)
        , m_sink(sink)
        , m_reader(record, MostColumns)
        , m_count(columnsOf(record))
    {
    }

    /// Returns the number of columns of the record.
    int count() const { return m_count; }

    /// Goes to the column of the next field.
    void goTo(int column) { m_reader.goTo(column); }

    /// Walks over a part, which begins at the next column.
    template <typename Part>
    void scan(Part part)
    {
        part.columns(*this);
    }

    template <typename T>
    void u8(const char *name, T &field)
    {
        read(name, WireType::Number, field, &Reader::u8<T>, 0, 255);
    }

    template <typename T>
    void u16(const char *name, T &field)
    {
        read(name, WireType::Number, field, &Reader::u16<T>, 0, 65535);
    }

    template <typename T>
    void i32(const char *name, T &field)
    {
        read(name, WireType::Number, field, &Reader::i32<T>, Limits::min(), Limits::max());
    }

    template <typename T>
    void offset(const char *name, T &field)
    {
        read(name, WireType::Offset, field, &Reader::offset<T>, Limits::min(), Limits::max());
    }

    void length(const char *name, qint32 &field)
    {
        read(name, WireType::Length, field, &Reader::length, 0, Limits::max());
    }

    void serial(const char *name, quint64 &field)
    {
        read(name, WireType::Serial, field, &Reader::serial, 0, Limits::max());
    }

    void timeout(const char *name, qint32 &field)
    {
        read(name, WireType::Setting, field, &Reader::timeout, Limits::min(), Limits::max());
    }

    void unsignedTimeout(const char *name, qint32 &field)
    {
        read(name, WireType::Setting, field, &Reader::unsignedTimeout, 0, Limits::max());
    }

    void reserved(const char *name, qint32 &field)
    {
        read(name, WireType::Setting, field, &Reader::reserved, 0, Limits::max());
    }

    void ack(const char *name, quint32 &field)
    {
        read(name, WireType::Ack, field, &Reader::ack, 0, Limits::max());
    }

    void access(const char *name, OrvexEnum::ReadWriteCode &code)
    {
        read(name, WireType::ReadWriteCode, code, &Reader::access);
    }

    void flag(const char *name, bool &field) { read(name, WireType::Flag, field, &Reader::flag); }

    void readKind(const char *name, OrvexEnum::ClientPackageType &type)
    {
        read(name, WireType::Kind, type, &Reader::readKind);
    }

    void writeKind(const char *name, OrvexEnum::ClientPackageType &type)
    {
        read(name, WireType::Kind, type, &Reader::writeKind);
    }

    void result(const char *name, OrvexEnum::CommResults &result)
    {
        read(name, WireType::CommResult, result, &Reader::result);
    }

    void result(const char *name, OrvexEnum::PackageResults &result)
    {
        read(name, WireType::PackageResult, result, &Reader::result);
    }

    void text(const char *name, const QString &field) { pass(name, WireType::Text, 0, &field); }
    void answer(const char *name, const QString &field) { pass(name, WireType::Answer, 0, &field); }

    void escaped(const char *name, const QString &field)
    {
        pass(name, WireType::EscapedText, 0, &field);
    }

    void dataString(const char *name, int length, QStringView &field)
    {
        pass(name, WireType::DataString, length, &field);
    }

private:
    using Reader = Korvin::RecordReader;
    using Limits = std::numeric_limits<qint32>;

    static constexpr int MostColumns = 32; // more than any class has

    template <typename T>
    void read(const char *name, WireType type, T &field, void (Reader::*verb)(const char *, T &),
              qint64 min = 0, qint64 max = 0)
    {
        WireField wire = here(name, type, &field);
        (m_reader.*verb)(name, field);
        wire.number = static_cast<qint64>(field);
        wire.taken = wire.number;
        wire.isUnsigned64 = std::is_same_v<T, quint64>;
        wire.min = min;
        wire.max = max;
        m_sink.add(wire);
    }

    /// Reports a column without reading it.
    void pass(const char *name, WireType type, int number, const void *source)
    {
        WireField wire = here(name, type, source);
        wire.number = number;
        m_sink.add(wire);
        goTo(column() + 1);
    }

    int column() const { return m_reader.column(); }

    WireField here(const char *name, WireType type, const void *source) const
    {
        WireField field;
        field.name = name;
        field.type = type;
        field.source = source;
        field.column = column();
        field.text = m_reader.peek();
        field.width = field.present = field.text.size();
        field.offset =
            column() < m_reader.columns() ? field.text.data() - m_record.data() : m_record.size();
        if (column() >= m_count)
            field.present = -1;
        return field;
    }

    QStringView m_record;
    FieldSink &m_sink;
    Reader m_reader;
    int m_count;
};

} // namespace KorvinInspect

#endif
