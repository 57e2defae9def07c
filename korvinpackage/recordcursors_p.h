#ifndef RECORDCURSORS_P_H
#define RECORDCURSORS_P_H

#include "codenames_p.h"
#include "datastring_p.h"
#include "include/packagebase.h"

#include <QtCore/QVarLengthArray>

#include <charconv>

namespace Korvin {

/// Walks over columns and appends them to a record.
///
/// The names are for walkers that explain a record; the ones that read and write ignore them.
class RecordWriter
{
public:
    /// Begins a record.
    RecordWriter() { m_record.reserve(128); }

    /// Continues a record.
    explicit RecordWriter(QString record)
        : m_record(std::move(record))
        , m_first(false)
    {
    }

    QString take() { return std::move(m_record); }

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

    void i32WrittenU32Read(const char *, qint32 field) { number(field); }
    void length(const char *, qint32 field) { number(field); }
    void serial(const char *, quint64 field) { number(field); }
    void ack(const char *, quint32 field) { number(field); }

    /// A text as it stands.
    void text(const char *, const QString &field)
    {
        column();
        m_record.append(field);
    }

    /// A text whose "/" and then "," are escaped. Their order is part of the format.
    void escaped(const char *, const QString &field)
    {
        column();
        if (!field.contains(QLatin1Char('/')) && !field.contains(QLatin1Char(','))) {
            m_record.append(field);
            return;
        }
        QString safePort = field;
        safePort.replace(QLatin1Char('/'), QLatin1String("#*#"));
        safePort.replace(QLatin1Char(','), QLatin1String("*#*"));
        m_record.append(safePort);
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
        word(PackageBase::GetCommResultsToStr(result));
    }

    void result(const char *, OrvexEnum::PackageResults result)
    {
        word(PackageBase::GetPackageResultsToStr(result));
    }

    void dataString(const char *, int, const DataStringSource &source)
    {
        column();
        appendDataString(m_record, source);
    }

private:
    void column()
    {
        if (!m_first)
            m_record.append(QLatin1Char(','));
        m_first = false;
    }

    void word(QStringView text)
    {
        column();
        m_record.append(text.data(), static_cast<QString::size_type>(text.size()));
    }

    void kind(OrvexEnum::ClientPackageType type)
    {
        word(nameOf(ClientPackageTypeNames, type, u"data"));
    }

    template <typename Integer>
    void number(Integer value)
    {
        char digits[20]; // of the largest 64-bit number, or of the smallest with its sign
        const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value);
        column();
        m_record.append(QLatin1String(digits, static_cast<int>(end.ptr - digits)));
    }

    QString m_record;
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
    if (!oriPort.contains(QLatin1Char('#')))
        return oriPort;
    oriPort.replace(QLatin1String("*#*"), QLatin1String(","));
    oriPort.replace(QLatin1String("#*#"), QLatin1String("/"));
    return oriPort;
}

/// Splits a record at its commas and walks over its columns.
class RecordReader
{
public:
    /// Splits off the first @p needed columns; @p text must outlive the reader.
    RecordReader(QStringView text, int needed)
    {
        TextParts parts(text, ',');
        while (m_columns.size() < needed && !parts.atEnd())
            m_columns.append(parts.next());
        m_complete = m_columns.size() == needed;
    }

    /// Returns whether the record has as many columns as needed.
    bool isComplete() const { return m_complete; }

    /// Returns how many of the needed columns the record has.
    int columns() const { return static_cast<int>(m_columns.size()); }

    /// Returns the number of the next column, counted from 0.
    int column() const { return m_next; }

    /// Returns the next column; an empty text after the last one.
    QStringView peek() const
    {
        return m_next < m_columns.size() ? m_columns.at(m_next) : QStringView();
    }

    /// Makes @p column the next one.
    void goTo(int column) { m_next = column; }

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
    void offset(const char *name, T &field)
    {
        i32(name, field);
    }

    void length(const char *name, qint32 &field) { i32(name, field); }

    /// Written with 64 bits, read with 32.
    void serial(const char *name, quint64 &field) { i32(name, field); }

    /// Written unsigned, read signed.
    void ack(const char *name, quint32 &field) { i32(name, field); }

    void i32WrittenU32Read(const char *, qint32 &field)
    {
        field = static_cast<qint32>(toUInt(next()));
    }

    void text(const char *, QString &field) { field = next().toString(); }

    void escaped(const char *, QString &field) { field = unescaped(next()); }

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
        result = PackageBase::GetCommResults(borrowed(next()));
    }

    void result(const char *, OrvexEnum::PackageResults &result)
    {
        result = PackageBase::GetPackageResultsStr(borrowed(next()));
    }

    void dataString(const char *, int, QStringView &field) { field = next(); }

private:
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
