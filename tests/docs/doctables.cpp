#include "doctables.h"

#include "codenames_p.h"
#include "layouts_p.h"

#include <QtCore/QRegularExpression>

#include <type_traits>

using namespace Korvin;

namespace {

/// Walks over the layout of a frame and describes it, a row for each field.
class ByteTable
{
public:
    QStringList names() const { return m_names; }

    QString markdown() const
    {
        return QStringLiteral("| offset | width | field | value |\n|---|---|---|---|\n") + m_rows;
    }

    void constant(const char *name, quint8 value)
    {
        const QString digits = QString::number(value, 16).toUpper();
        row("1", name, QStringLiteral("always %1").arg(digits.rightJustified(2, QLatin1Char('0'))));
    }

    void gap() { row("1", "-", QStringLiteral("undefined, written as 00")); }

    template <typename T>
    void u8(const char *name, T &)
    {
        number<T>(name, 1, "unsigned");
    }

    template <typename T>
    void s8(const char *name, T &)
    {
        number<T>(name, 1, "signed");
    }

    template <typename T>
    void u16(const char *name, T &)
    {
        number<T>(name, 2, "unsigned");
    }

    template <typename T>
    void i32(const char *name, T &)
    {
        number<T>(name, 4, "signed");
    }

    void serial(const char *name, quint64) { number<quint64>(name, 2, "unsigned"); }
    void shortSerial(const char *name, quint64) { number<quint64>(name, 1, "unsigned"); }
    void timeout(const char *name, qint32 &field) { i32(name, field); }
    void reserved(const char *name, qint32 &field) { u8(name, field); }
    void signedReserved(const char *name, qint32 &field) { s8(name, field); }
    void textLength(const char *name, qint32 &field) { length(name, field); }
    void ack(const char *name, quint32) { number<quint32>(name, 1, "unsigned"); }
    void result(const char *name, int) { number<int>(name, 1, "code"); }
    void status(const char *name, qint32) { number<qint8>(name, 1, "signed, 0 in a request"); }
    void offset(const char *name, qint32) { number<qint32>(name, 4, "bytes, signed"); }

    template <typename T>
    void length(const char *name, T &)
    {
        number<T>(name, sizeof(T), std::is_signed_v<T> ? "bytes, signed" : "bytes, unsigned");
    }

    void clampedLength(const char *name, qint32 &field) { length(name, field); }

    void kind(const char *name, OrvexEnum::ClientPackageType)
    {
        QStringList kinds;
        for (const auto &kind : ClientPackageTypeNames)
            kinds << QStringLiteral("%1 %2").arg(kind.code).arg(kind.name);
        row("1", name, kinds.join(QLatin1String(", ")));
    }

    void access(const char *name, OrvexEnum::ReadWriteCode)
    {
        row("1", name, QStringLiteral("0 read; 1 any other code"));
    }

    void rawAccess(const char *name, OrvexEnum::ReadWriteCode)
    {
        number<int>(name, 1, "code, signed");
    }

    void flag(const char *name, bool)
    {
        row("1", name, QStringLiteral("1 true; any other byte false"));
    }

    void sizedText(const char *name, const QString &field)
    {
        const QByteArray size = name + QByteArray("Size");
        row("2", size, QStringLiteral("%1, unsigned").arg(QLatin1String(letter(name))));
        text(name, field);
    }

    void uncountedText(const char *name, const QString &field) { sizedText(name, field); }

    void text(const char *name, const QString &)
    {
        row(letter(name), name, QStringLiteral("UTF-8 without a terminator"));
    }

    void keptText(const char *name, int, const QString &field) { text(name, field); }

    void uncountedBlock(const char *name, int, QStringView)
    {
        row(letter(name), name, QStringLiteral("bytes"));
    }

    void announcedBlock(const char *name, int length, QStringView field)
    {
        uncountedBlock(name, length, field);
    }

private:
    /// The text for the size of a field.
    static QByteArray letter(const char *name) { return QByteArray(name).left(1).toUpper(); }

    template <typename T>
    void number(const char *name, std::size_t width, const char *value)
    {
        const QString cut =
            sizeof(T) > width ? QStringLiteral(", low %1 bits").arg(8 * width) : QString();
        row(QByteArray::number(static_cast<int>(width)), name, QLatin1String(value) + cut);
    }

    void row(const QByteArray &width, const QByteArray &field, const QString &value)
    {
        m_rows += QStringLiteral("| %1%2 | %3 | %4 | %5 |\n")
                      .arg(m_fixed)
                      .arg(m_variable, QLatin1String(width), QLatin1String(field), value);
        m_names << QString::fromLatin1(field);
        bool number = false;
        m_fixed += width.toInt(&number);
        if (!number)
            m_variable += QLatin1Char('+') + QLatin1String(width);
    }

    QString m_rows;
    QStringList m_names;
    int m_fixed = 0;
    QString m_variable;
};

/// Walks over the columns of a record and describes them, a row for each. @p placeOf makes the
/// cells before the name of the field from the number of the row.
template <typename PlaceOf>
class ColumnTable
{
public:
    explicit ColumnTable(PlaceOf placeOf)
        : m_placeOf(placeOf)
    {
    }

    QString rows() const { return m_rows; }

    template <typename T>
    void u8(const char *name, T &)
    {
        row(name, "0 to 255", "unsigned, low 8 bits kept");
    }

    template <typename T>
    void u16(const char *name, T &)
    {
        row(name, "0 to 65535", "unsigned, low 16 bits kept");
    }

    template <typename T>
    void i32(const char *name, T &)
    {
        row(name, "signed", "signed 32-bit");
    }

    template <typename T>
    void offset(const char *name, T &)
    {
        row(name, "bytes, signed", "signed 32-bit");
    }

    void length(const char *name, qint32) { row(name, "bytes, signed", "signed 32-bit"); }
    void ack(const char *name, quint32) { row(name, "unsigned 32-bit", "signed 32-bit"); }
    void serial(const char *name, quint64) { row(name, "unsigned 64-bit", "signed 32-bit"); }

    void timeout(const char *name, qint32 &field) { i32(name, field); }

    void unsignedTimeout(const char *name, qint32)
    {
        row(name, "signed 32-bit", "unsigned 32-bit");
    }

    void reserved(const char *name, qint32 field) { unsignedTimeout(name, field); }

    void text(const char *name, const QString &) { row(name, "as it stands", "as it stands"); }
    void answer(const char *name, const QString &field) { text(name, field); }

    void escaped(const char *name, const QString &)
    {
        row(name, "`/` as `#*#`, `,` as `*#*`", "`*#*` as `,`, then `#*#` as `/`");
    }

    void access(const char *name, OrvexEnum::ReadWriteCode)
    {
        row(name, "`write` for code 1, else `read`", "`read` as 0, any other text as 1");
    }

    void flag(const char *name, bool)
    {
        row(name, "`true` or `false`", "`true` as true, any other text as false");
    }

    void readKind(const char *name, OrvexEnum::ClientPackageType)
    {
        row(name, "`data`, `file` or `memData`", "any other text as `memData`");
    }

    void writeKind(const char *name, OrvexEnum::ClientPackageType)
    {
        row(name, "`data`, `file` or `memData`", "any other text as `data`");
    }

    template <typename Result>
    void result(const char *name, Result)
    {
        row(name, "name, or nothing for a code without one", "any other text as `ok`");
    }

    void dataString(const char *name, int, QStringView)
    {
        row(name, "bytes as numbers joined by `/`", "low 8 bits of each number kept");
    }

private:
    void row(const char *field, const char *written, const char *read)
    {
        m_rows += QStringLiteral("| %1 | %2 | %3 | %4 |\n")
                      .arg(m_placeOf(m_count++), QLatin1String(field), QLatin1String(written),
                           QLatin1String(read));
    }

    PlaceOf m_placeOf;
    QString m_rows;
    int m_count = 0;
};

/// Collects the tables.
class Tables
{
public:
    QMap<QString, DocTable> take() { return std::move(m_tables); }

    template <typename Walk>
    void bytes(const QString &className, const QString &name, Walk walk)
    {
        ByteTable table;
        walk(table);
        if (!table.names().isEmpty())
            m_tables[name] = {className, table.markdown()};
    }

    template <typename Part>
    void columns(const QString &className, const QString &name, int first, Part part)
    {
        ColumnTable table([first](int number) { return QString::number(first + number); });
        part.columns(table);
        m_tables[name] = {className,
                          QStringLiteral("| column | field | written | read |\n|---|---|---|---|\n")
                              + table.rows()};
    }

    /// The columns of a part in a request, in a reply, and in a reply that is read; -1 for a part
    /// that a request does not have.
    template <typename Part>
    void columns(const QString &className, int inRequest, int inReply, int read, Part part)
    {
        ColumnTable table([=](int number) {
            const QString request =
                inRequest < 0 ? QStringLiteral("-") : QString::number(inRequest + number);
            return QStringLiteral("%1 | %2 | %3")
                .arg(request)
                .arg(inReply + number)
                .arg(read + number);
        });
        part.columns(table);
        m_tables[QStringLiteral("columns of ") + className] = {
            className,
            QStringLiteral("| request | reply | reply as read | field | written | read |\n"
                           "|---|---|---|---|---|---|\n")
                + table.rows()};
    }

    void add(const QString &name, const QString &markdown)
    {
        m_tables[name] = {QStringLiteral("PackageBase"), markdown};
    }

private:
    QMap<QString, DocTable> m_tables;
};

QString nameOfClass(const ClassRow &row)
{
    return QString::fromLatin1(row.name.data(), static_cast<int>(row.name.size()));
}

/// Adds the tables of a class: of its own part, or of the part that it shares with others.
void addTablesOf(const ClassRow &row, Tables &tables)
{
    const QString name = nameOfClass(row);
    LayoutFields fields;
    const auto addPayload = [&](auto part) {
        tables.bytes(name, QStringLiteral("payload of ") + name, [&](auto &w) { part.payload(w); });
        if constexpr (std::is_same_v<decltype(part), FileWritePart>) {
            tables.bytes(name, QStringLiteral("payload of %1 as written").arg(name),
                         [&](auto &w) { part.writtenPayload(w); });
        }
    };
    const int first = baseColumns(row.base);
    if (row.own == Own::None) {
        visitBase(row, fields, [&](auto part) {
            addPayload(part);
            const int common = CommonPart::RequestColumns;
            tables.columns(name, common, common + 1, common, part);
        });
        return;
    }
    visitOwn(row, fields, [&](auto part) {
        addPayload(part);
        const int read = first + countedCommonColumns(row) - CommonPart::RequestColumns;
        tables.columns(name, row.ownRequestColumns > 0 ? first : -1, first + 1, read, part);
    });
}

/// Returns the names of the fields of a payload, or "-".
template <typename Walk>
QString listOf(Walk walk)
{
    ByteTable table;
    walk(table);
    return table.names().isEmpty() ? QStringLiteral("-") : table.names().join(QLatin1String(", "));
}

/// What each class consists of.
QString classTable()
{
    QString text =
        QStringLiteral("| class | frame after the header | columns | of a reply | short "
                       "reply after the results | Linux frame |\n|---|---|---|---|---|---|\n");
    for (const ClassRow &row : Classes) {
        if (row.base == Base::Items)
            continue;
        LayoutFields fields;
        const QString payload = listOf([&](ByteTable &w) {
            visitBase(row, fields, [&w](auto part) { part.payload(w); });
            visitOwn(row, fields, [&w](auto part) { part.payload(w); });
        });
        const QString shortReply = listOf([&](ByteTable &w) {
            if (row.has(InShortReply))
                visitOwn(row, fields, [&w](auto part) { part.payload(w); });
        });
        text += QStringLiteral("| `%1` | %2 | %3 | %4 | %5 | %6 |\n")
                    .arg(nameOfClass(row), payload)
                    .arg(writtenColumns(row, false))
                    .arg(writtenColumns(row, true))
                    .arg(shortReply, row.has(Linux) ? QStringLiteral("yes") : QStringLiteral("-"));
    }
    return text;
}

/// Returns the rows of a table with its columns below each other, where that fits into a comment.
QStringList aligned(const QString &markdown)
{
    constexpr int MostCharacters = 96;
    QStringList rows = markdown.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVector<int> widths(rows.value(0).count(QLatin1Char('|')) + 1);
    const auto forCells = [&](const QString &row, auto visit) {
        const QStringList cells = row.split(QLatin1Char('|'));
        for (int i = 1; i < cells.size() - 1; ++i)
            visit(i, cells.at(i));
    };
    int total = 1;
    for (const QString &row : rows) {
        forCells(row, [&](int i, const QString &cell) {
            total += qMax(0, int(cell.size()) - widths[i]) + (widths[i] == 0 ? 1 : 0);
            widths[i] = qMax(widths[i], int(cell.size()));
        });
    }
    if (total > MostCharacters)
        return rows;
    QStringList result;
    for (const QString &row : rows) {
        QString line(QLatin1Char('|'));
        forCells(row, [&](int i, const QString &cell) {
            const QLatin1Char filler(cell.startsWith(QLatin1Char('-')) ? '-' : ' ');
            line += cell.leftJustified(widths[i], filler) + QLatin1Char('|');
        });
        result << line;
    }
    return result;
}

} // namespace

QMap<QString, DocTable> docTables()
{
    Tables tables;
    LayoutFields fields;
    const QString base = QStringLiteral("PackageBase");
    const auto bytes = [&](const char *name, auto walk) {
        tables.bytes(base, QLatin1String(name), walk);
    };
    CommonPart common{fields.common};
    bytes("request header", [&](auto &w) { common.header(w); });
    bytes("short reply", [&](auto &w) { common.shortReply(w); });
    bytes("results of a full reply as written", [&](auto &w) { common.fullReplyResults(w); });
    bytes("results of a full reply as read", [&](auto &w) { common.results(w); });
    tables.columns(base, QStringLiteral("common columns"), 0, common);
    tables.columns(base, QStringLiteral("acknowledge column"), CommonPart::RequestColumns,
                   AckColumn{fields.common.ackCode});
    tables.bytes(QStringLiteral("PackageRequestReadData"), QStringLiteral("Linux header"),
                 [&](auto &w) { LinuxHeader{fields.common}.walk(w); });
    tables.columns(QStringLiteral("SpecialPackageRequest"), QStringLiteral("special record"), 0,
                   SpecialPart{fields.id, fields.common.timeout, fields.strData});
    for (const ClassRow &row : Classes) {
        // A class with the part of another one refers to its tables.
        const auto isSame = [&row](const ClassRow &other) {
            return other.base == row.base && other.own == row.own;
        };
        if (&*std::find_if(std::begin(Classes), std::end(Classes), isSame) == &row)
            addTablesOf(row, tables);
    }
    tables.add(QStringLiteral("classes"), classTable());
    return tables.take();
}

QString withDocTables(const QString &document, QStringList *names)
{
    static const QRegularExpression place(
        QStringLiteral(
            "^((?:/// )?)<!-- table: ([^\\n]*) -->\\n(?:(?:///)?\\n)?(?:(?:/// )?\\|[^\\n]*\\n)*"),
        QRegularExpression::MultilineOption);
    const QMap<QString, DocTable> tables = docTables();
    QString result;
    int end = 0;
    auto found = place.globalMatch(document);
    while (found.hasNext()) {
        const QRegularExpressionMatch match = found.next();
        const QString prefix = match.captured(1);
        const QString name = match.captured(2);
        *names << name;
        result += document.mid(end, match.capturedStart() - end);
        result += QStringLiteral("%1<!-- table: %2 -->\n%3\n").arg(prefix, name, prefix.trimmed());
        for (const QString &row : aligned(tables.value(name).markdown))
            result += prefix + row + QLatin1Char('\n');
        end = match.capturedEnd();
        // A blank line comes before further text, in a header only before text of the same comment.
        const QString next = document.mid(end, 4);
        if (prefix.isEmpty() ? !next.startsWith(QLatin1Char('\n')) : next == prefix)
            result += prefix.trimmed() + QLatin1Char('\n');
    }
    return result + document.mid(end);
}
