#ifndef RECORDCURSORS_P_H
#define RECORDCURSORS_P_H

#include "codenames_p.h"
#include "datastring_p.h"
#include "include/packagebase.h"

#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <type_traits>

namespace Korvin {

/// Walks over columns and appends them to a record.
///
/// The names are for walkers that explain a record; the ones that read and write ignore them.
class RecordWriter
{
public:
    /// Begins a record.
    RecordWriter()
        : m_record(Room, Qt::Uninitialized)
        , m_out(m_record.data())
        , m_capacity(Room)
    {
    }

    /// Continues @p record.
    explicit RecordWriter(QString record)
        : m_record(std::move(record))
        , m_out(m_record.data())
        , m_size(checkedSize(m_record.size()))
        , m_capacity(static_cast<int>(m_record.capacity()))
        , m_first(false)
    {
    }

    QString take()
    {
        m_record.resize(m_size);
        return std::move(m_record);
    }

    template <typename T>
    void u8(const char *, const T &field)
    {
        number(field);
    }

    template <typename T>
    void u16(const char *, const T &field)
    {
        number(field);
    }

    template <typename T>
    void i32(const char *, const T &field)
    {
        number(field);
    }

    template <typename T>
    void u32WrittenI32Read(const char *, const T &field)
    {
        number(field);
    }

    template <typename T>
    void i32WrittenU32Read(const char *, const T &field)
    {
        number(field);
    }

    template <typename T>
    void u64WrittenI32Read(const char *, const T &field)
    {
        number(field);
    }

    /// A text as it stands.
    void text(const char *, const QString &field) { word(field); }

    /// A text whose "/" and then "," are escaped. Their order is part of the format.
    void escaped(const char *, const QString &field)
    {
        if (!contains(field, '/') && !contains(field, ',')) {
            word(field);
            return;
        }
        QString safePort = field;
        safePort.replace(QLatin1Char('/'), QLatin1String("#*#"));
        safePort.replace(QLatin1Char(','), QLatin1String("*#*"));
        word(safePort);
    }

    void access(const char *, OrvexEnum::ReadWriteCode code)
    {
        word(nameOf(ReadWriteNames, code, u"read"));
    }

    void flag(const char *, bool field)
    {
        word(field ? QStringView(u"true") : QStringView(u"false"));
    }

    void readKind(const char *, OrvexEnum::ClientPackageType type) { kind(type); }
    void writeKind(const char *, OrvexEnum::ClientPackageType type) { kind(type); }

    void result(const char *, OrvexEnum::CommResults result)
    {
        word(nameOf(CommResultNames, result));
    }

    void result(const char *, OrvexEnum::PackageResults result)
    {
        word(nameOf(PackageResultNames, result));
    }

    void dataString(const char *, const DataStringSource &source)
    {
        QChar *const out = column(source.widest());
        m_size += static_cast<int>(source.write(out) - out);
    }

private:
    static constexpr int Room = 160; // more than most records have
    static constexpr int MostDigits =
        20; // of the largest 64-bit number, or the smallest with its sign

    /// Begins a column of at most @p widest characters.
    ///
    /// @return where it belongs.
    QChar *column(qint64 widest)
    {
        if (m_capacity - m_size <= widest) {
            m_record.resize(m_size); // or what is written would not move along
            makeRoom(qMax<qint64>(widest + 1, m_size));
        }
        if (!m_first)
            m_out[m_size++] = QLatin1Char(',');
        m_first = false;
        return m_out + m_size;
    }

    void word(QStringView text)
    {
        QChar *const out = column(text.size());
        std::copy(text.begin(), text.end(), out); // a null text has no characters to point to
        m_size += static_cast<int>(text.size());
    }

    void kind(OrvexEnum::ClientPackageType type)
    {
        word(nameOf(ClientPackageTypeNames, type, u"data"));
    }

    template <typename Integer>
    void number(Integer value)
    {
        using Magnitude = std::conditional_t<sizeof(Integer) <= 4, quint32, quint64>;
        QChar digits[MostDigits];
        QChar *first = digits + MostDigits;
        const bool isNegative = value < 0;
        auto rest = isNegative ? 0 - static_cast<Magnitude>(value) : static_cast<Magnitude>(value);
        for (; rest > 9; rest /= 10)
            *--first = QLatin1Char(static_cast<char>('0' + rest % 10));
        *--first = QLatin1Char(static_cast<char>('0' + rest));
        if (isNegative)
            *--first = QLatin1Char('-');
        word({first, digits + MostDigits});
    }

    void makeRoom(qint64 count)
    {
        m_capacity = checkedSize(m_size + count);
        m_record.reserve(m_capacity);
        m_out = m_record.data();
    }

    QString m_record;
    QChar *m_out = nullptr;
    int m_size = 0;     // of what is written, most of it past the end of the record
    int m_capacity = 0; // of the memory that is surely there
    bool m_first = true;
};

/// Returns @p record with the columns of @p part after it, or @p record itself if memory ran out
/// while it was made.
template <typename Part>
QString continued(QString record, Part part)
{
    if (isOutOfMemory(record))
        return record;
    return guarded([&] {
        RecordWriter writer(std::move(record));
        part.columns(writer);
        return writer.take();
    });
}

/// The text that escaped columns stand for. The order of the escapes is part of the format.
inline QString unescaped(QStringView column)
{
    QString oriPort = column.toString();
    oriPort.replace(QLatin1String("*#*"), QLatin1String(","));
    oriPort.replace(QLatin1String("#*#"), QLatin1String("/"));
    return oriPort;
}

/// Splits a record at its commas and walks over its columns.
class RecordReader
{
public:
    /// Splits off the first @p needed columns; @p text must outlive the reader.
    RecordReader(const QString &text, int needed)
    {
        for (TextParts parts(text, ','); m_columns.size() < needed && !parts.atEnd();)
            m_columns.append(parts.next());
        m_complete = m_columns.size() == needed;
    }

    /// Returns whether the record has as many columns as needed.
    bool isComplete() const { return m_complete; }

    /// Returns how many of the needed columns the record has.
    int columns() const { return static_cast<int>(m_columns.size()); }

    /// Reads the columns of @p part, the first of which is @p column, counted from 0.
    ///
    /// @return false when memory has run out.
    template <typename Part>
    bool read(int column, Part part)
    {
        return guarded([&] {
            m_next = column;
            part.columns(*this);
            return true;
        });
    }

    /// The least significant byte of an unsigned number.
    template <typename T>
    void u8(const char *, T &field)
    {
        field = static_cast<T>(static_cast<quint8>(toUInt(next())));
    }

    template <typename T>
    void u16(const char *, T &field)
    {
        field = static_cast<T>(static_cast<quint16>(toUInt(next())));
    }

    template <typename T>
    void i32(const char *, T &field)
    {
        field = static_cast<T>(toInt(next()));
    }

    template <typename T>
    void u32WrittenI32Read(const char *, T &field)
    {
        field = static_cast<T>(toInt(next()));
    }

    template <typename T>
    void i32WrittenU32Read(const char *, T &field)
    {
        field = static_cast<T>(toUInt(next()));
    }

    template <typename T>
    void u64WrittenI32Read(const char *, T &field)
    {
        field = static_cast<T>(toInt(next()));
    }

    void text(const char *, QString &field) { assign(field, next()); }

    void escaped(const char *, QString &field)
    {
        const QStringView column = next();
        if (contains(column, '#'))
            field = unescaped(column);
        else
            assign(field, column);
    }

    /// Any text but "read" is a write.
    void access(const char *, OrvexEnum::ReadWriteCode &code)
    {
        code = codeOf(ReadWriteNames, next(), OrvexEnum::Write);
    }

    void flag(const char *, bool &field) { field = next() == QStringView(u"true"); }

    /// A read takes an unknown word for memory data, a write for data.
    void readKind(const char *, OrvexEnum::ClientPackageType &type)
    {
        type = codeOf(ClientPackageTypeNames, next(), OrvexEnum::MemDataPackage);
    }

    void writeKind(const char *, OrvexEnum::ClientPackageType &type)
    {
        type = codeOf(ClientPackageTypeNames, next(), OrvexEnum::DataPackage);
    }

    void result(const char *, OrvexEnum::CommResults &result)
    {
        result = codeOf(CommResultNames, next(), OrvexEnum::CommOk);
    }

    void result(const char *, OrvexEnum::PackageResults &result)
    {
        result = codeOf(PackageResultNames, next(), OrvexEnum::PackOk);
    }

    void dataString(const char *, QStringView &field) { field = next(); }

private:
    /// Copies a column into the memory that @p field has, where it can.
    static void assign(QString &field, QStringView column)
    {
        if (column.isEmpty())
            field = QStringLiteral("");
        else
            field.setUnicode(column.data(), static_cast<QString::size_type>(column.size()));
    }

    /// Returns the next column; an empty one after the last.
    QStringView next()
    {
        const int column = m_next++;
        return column < m_columns.size() ? m_columns.at(column) : QStringView();
    }

    QVarLengthArray<QStringView, 32> m_columns;
    int m_next = 0;
    bool m_complete = false;
};

} // namespace Korvin

#endif
