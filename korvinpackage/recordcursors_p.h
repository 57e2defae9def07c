#ifndef RECORDCURSORS_P_H
#define RECORDCURSORS_P_H

#include "codenames_p.h"
#include "datastring_p.h"
#include "include/packagebase.h"

#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <type_traits>

namespace Korvin {

/// Returns a text with "/" and "," escaped. The order of the replacements does not matter, since
/// neither escape contains "/" or ",".
inline QString withEscapes(QString text)
{
    text.replace(QLatin1Char('/'), QLatin1String("#*#"));
    text.replace(QLatin1Char(','), QLatin1String("*#*"));
    return text;
}

/// Replaces the escapes of a column. The order is part of the format, since escapes can overlap: a
/// key "/," is written as "#*#*#*", whose characters 1 to 3 read as an escaped ",".
inline QString unescaped(QStringView column)
{
    QString text = column.toString();
    text.replace(QLatin1String("*#*"), QLatin1String(","));
    text.replace(QLatin1String("#*#"), QLatin1String("/"));
    return text;
}

/// Walks over columns and appends them to a record.
///
/// The names of the columns are for walkers that explain a record; this one ignores them.
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

    /// Appends to @p record.
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
    void offset(const char *, const T &field)
    {
        number(field);
    }

    void timeout(const char *, qint32 field) { number(field); }
    void unsignedTimeout(const char *, qint32 field) { number(field); }
    void reserved(const char *, qint32 field) { number(field); }
    void length(const char *, qint32 field) { number(field); }
    void serial(const char *, quint64 field) { number(field); }
    void ack(const char *, quint32 field) { number(field); }

    /// Writes a text as it is.
    void text(const char *, const QString &field) { word(field); }
    void answer(const char *, const QString &field) { word(field); }

    /// Writes a text with "/" and "," escaped.
    void escaped(const char *, const QString &field)
    {
        if (contains(field, '/') || contains(field, ','))
            word(withEscapes(field));
        else
            word(field);
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

    void dataString(const char *, int, const DataStringSource &source)
    {
        QChar *const out = column(source.widest());
        m_size += static_cast<int>(source.write(out) - out);
    }

private:
    static constexpr int Room = 160; // longer than most records
    /// Digits of the largest 64-bit number, or of the smallest with its sign.
    static constexpr int MostDigits = 20;

    /// Begins a column of at most @p widest characters.
    ///
    /// @return where to write it.
    QChar *column(qint64 widest)
    {
        if (m_capacity - m_size <= widest) {
            m_record.resize(m_size); // otherwise reserve() would not copy what is written
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
        std::copy(text.begin(), text.end(), out); // not memcpy(), which takes no null pointer
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
    int m_size = 0;     // characters written, most of them past the size() of the record
    int m_capacity = 0; // characters that the record's memory holds at least
    bool m_first = true;
};

/// Returns @p record with the columns of @p part appended. Returns @p record itself if memory ran
/// out when it was made.
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

/// Splits a record at its commas and walks over its columns.
class RecordReader
{
public:
    /// Splits off the first @p needed columns. @p text must outlive the reader.
    RecordReader(QStringView text, int needed)
    {
        for (TextParts parts(text, ','); m_columns.size() < needed && !parts.atEnd();)
            m_columns.append(parts.next());
        m_complete = m_columns.size() == needed;
    }

    /// Returns whether the record has all of the needed columns.
    bool isComplete() const { return m_complete; }

    /// Returns how many of the needed columns the record has.
    int columns() const { return static_cast<int>(m_columns.size()); }

    /// Returns the number of the next column, counted from 0.
    int column() const { return m_next; }

    /// Returns the next column without consuming it; empty after the last column.
    QStringView peek() const
    {
        return m_next < m_columns.size() ? m_columns.at(m_next) : QStringView();
    }

    /// Continues at @p column, counted from 0.
    void goTo(int column) { m_next = column; }

    /// Reads the columns of @p part, beginning at @p column, counted from 0.
    ///
    /// @return false when memory runs out.
    template <typename Part>
    bool read(int column, Part part)
    {
        return guarded([&] {
            m_next = column;
            part.columns(*this);
            return true;
        });
    }

    /// Reads the low 8 bits of an unsigned number.
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
    void offset(const char *name, T &field)
    {
        i32(name, field);
    }

    void length(const char *name, qint32 &field) { i32(name, field); }

    /// Reads 32 bits; encoders write 64.
    void serial(const char *name, quint64 &field) { i32(name, field); }

    /// Reads a signed number; encoders write an unsigned one.
    void ack(const char *name, quint32 &field) { i32(name, field); }

    void timeout(const char *name, qint32 &field) { i32(name, field); }

    /// Reads an unsigned number; encoders write a signed one.
    void unsignedTimeout(const char *, qint32 &field)
    {
        field = static_cast<qint32>(toUInt(next()));
    }

    void reserved(const char *name, qint32 &field) { unsignedTimeout(name, field); }

    void text(const char *, QString &field) { assign(field, next()); }
    void answer(const char *name, QString &field) { text(name, field); }

    void escaped(const char *, QString &field)
    {
        const QStringView column = next();
        if (contains(column, '#'))
            field = unescaped(column);
        else
            assign(field, column);
    }

    /// Reads any text except "read" as a write.
    void access(const char *, OrvexEnum::ReadWriteCode &code)
    {
        code = codeOf(ReadWriteNames, next(), OrvexEnum::Write);
    }

    void flag(const char *, bool &field) { field = next() == QStringView(u"true"); }

    /// Reads an unknown word as memory data; writeKind() reads it as data.
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

    void dataString(const char *, int, QStringView &field) { field = next(); }

private:
    /// Copies a column to @p field, into the memory that @p field already has if it suffices.
    static void assign(QString &field, QStringView column)
    {
        if (column.isEmpty())
            field = QStringLiteral("");
        else
            field.setUnicode(column.data(), static_cast<QString::size_type>(column.size()));
    }

    QStringView next()
    {
        const QStringView column = peek();
        ++m_next;
        return column;
    }

    QVarLengthArray<QStringView, 32> m_columns;
    int m_next = 0;
    bool m_complete = false;
};

} // namespace Korvin

#endif
