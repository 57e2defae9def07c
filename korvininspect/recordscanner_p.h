#ifndef RECORDSCANNER_P_H
#define RECORDSCANNER_P_H

#include "codenames_p.h"
#include "textparts_p.h"
#include "wirefield_p.h"

#include <QtCore/QVarLengthArray>

#include <limits>

namespace KorvinInspect {

/// Walks over the columns of a record, takes numbers and codes as the decoders do, and reports each
/// column. It makes no copy of a text.
class RecordScanner
{
public:
    /// @p record must outlive the scanner.
    RecordScanner(QStringView record, FieldSink &sink)
        : m_record(record)
        , m_sink(sink)
    {
        for (Korvin::TextParts parts(record, ','); !parts.atEnd(); ++m_count) {
            const QStringView column = parts.next();
            if (m_count < MostColumns)
                m_columns.append(column);
        }
    }

    /// The number of columns that the record has.
    int count() const { return m_count; }

    /// The column that the next field is.
    int column() const { return m_next; }

    /// Walks over a part whose first column is @p column.
    template <typename Part>
    void scan(int column, Part part)
    {
        m_next = column;
        part.columns(*this);
    }

    template <typename T>
    void u8(const char *name, T &field)
    {
        const auto number = static_cast<quint8>(Korvin::toUInt(view()));
        field = static_cast<T>(number);
        report(name, number, 0, 255);
    }

    template <typename T>
    void u16(const char *name, T &field)
    {
        const auto number = static_cast<quint16>(Korvin::toUInt(view()));
        field = static_cast<T>(number);
        report(name, number, 0, 65535);
    }

    template <typename T>
    void i32(const char *name, T &field)
    {
        field = static_cast<T>(Korvin::toInt(view()));
        report(name, field, Limits::min(), Limits::max());
    }

    template <typename T>
    void u32WrittenI32Read(const char *name, T &field)
    {
        field = static_cast<T>(Korvin::toInt(view()));
        report(name, field, 0, Limits::max());
    }

    template <typename T>
    void i32WrittenU32Read(const char *name, T &field)
    {
        field = static_cast<T>(Korvin::toUInt(view()));
        report(name, field, 0, Limits::max());
    }

    template <typename T>
    void u64WrittenI32Read(const char *name, T &field)
    {
        field = static_cast<T>(Korvin::toInt(view()));
        report(name, field, 0, Limits::max());
    }

    void text(const char *name, const QString &) { report(name, WireType::Text); }
    void escaped(const char *name, const QString &) { report(name, WireType::EscapedText); }

    void access(const char *name, OrvexEnum::ReadWriteCode &code)
    {
        code = Korvin::codeOf(Korvin::ReadWriteNames, view(), OrvexEnum::Write);
        report(name, WireType::ReadWriteCode, code);
    }

    void flag(const char *name, bool &field)
    {
        field = view() == QStringView(u"true");
        report(name, WireType::Flag, field ? 1 : 0);
    }

    void readKind(const char *name, OrvexEnum::ClientPackageType &type)
    {
        kind(name, type, OrvexEnum::MemDataPackage);
    }

    void writeKind(const char *name, OrvexEnum::ClientPackageType &type)
    {
        kind(name, type, OrvexEnum::DataPackage);
    }

    void result(const char *name, OrvexEnum::CommResults &result)
    {
        result = Korvin::codeOf(Korvin::CommResultNames, view(), OrvexEnum::CommOk);
        report(name, WireType::CommResult, result);
    }

    void result(const char *name, OrvexEnum::PackageResults &result)
    {
        result = Korvin::codeOf(Korvin::PackageResultNames, view(), OrvexEnum::PackOk);
        report(name, WireType::PackageResult, result);
    }

    /// The numbers whose announced count is the column in front.
    void dataString(const char *name, const QStringView &)
    {
        report(name, WireType::DataString, m_lastNumber);
    }

private:
    using Limits = std::numeric_limits<qint32>;

    static constexpr int MostColumns = 32; // more than any class has

    /// The next column; an empty one behind the last.
    QStringView view() const
    {
        return m_next < m_columns.size() ? m_columns.at(m_next) : QStringView();
    }

    void kind(const char *name, OrvexEnum::ClientPackageType &type,
              OrvexEnum::ClientPackageType fallback)
    {
        type = Korvin::codeOf(Korvin::ClientPackageTypeNames, view(), fallback);
        report(name, WireType::Kind, type);
    }

    template <typename Number>
    void report(const char *name, Number number, qint64 min, qint64 max)
    {
        WireField field = here(name, WireType::Number);
        field.number = static_cast<qint64>(number);
        field.isUnsigned64 = std::is_same_v<Number, quint64>;
        field.min = min;
        field.max = max;
        m_lastNumber = field.number;
        m_sink.add(field);
        ++m_next;
    }

    void report(const char *name, WireType type, qint64 number = 0)
    {
        WireField field = here(name, type);
        field.number = number;
        m_sink.add(field);
        ++m_next;
    }

    WireField here(const char *name, WireType type) const
    {
        WireField field;
        field.name = name;
        field.type = type;
        field.column = m_next;
        field.text = view();
        field.width = field.present = field.text.size();
        field.offset =
            m_next < m_columns.size() ? field.text.data() - m_record.data() : m_record.size();
        if (m_next >= m_count)
            field.present = -1;
        return field;
    }

    QStringView m_record;
    FieldSink &m_sink;
    QVarLengthArray<QStringView, MostColumns> m_columns;
    int m_count = 0;
    int m_next = 0;
    qint64 m_lastNumber = 0;
};

} // namespace KorvinInspect

#endif
