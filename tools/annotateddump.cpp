#include "annotateddump.h"

#include "terminal.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>

using namespace KorvinInspect;

namespace {

constexpr int BytesInARow = 8;
constexpr int MostRows = 4;
constexpr int MostCharacters = 3 * BytesInARow;

// Terminal colours: adjacent fields have different colours, and remarks have one of their own.
constexpr const char *FieldColors[] = {"36", "32", "35", "34"};
constexpr char RemarkColor[] = "33";

QString withoutTrailingBlanks(QString text)
{
    while (text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text;
}

class Dump
{
public:
    explicit Dump(bool isColored)
        : m_isColored(isColored)
        , m_width(terminalWidth())
    {
    }

    QByteArray take() { return m_text.toUtf8(); }

    void header(const MessageShape &shape)
    {
        const bool isText = shape.form == Form::Text;
        row({isText ? QStringLiteral("column") : QStringLiteral("offset"),
             isText ? QStringLiteral("text") : QStringLiteral("bytes"), QStringLiteral("field"),
             QStringLiteral("value"), QStringLiteral("meaning")},
            nullptr);
    }

    void item(int number) { m_text += QStringLiteral("item %1\n").arg(number); }

    void field(const ExplainedField &field, bool isText)
    {
        const char *color = FieldColors[m_fields++ % std::size(FieldColors)];
        const QStringList rows = isText ? textRows(field) : byteRows(field);
        row({position(field), rows.constFirst(),
             field.name.isEmpty() ? QStringLiteral("-") : field.name, value(field), wordsOf(field)},
            color);
        for (int i = 1; i < rows.size(); ++i)
            row({QString(), rows.at(i), QString(), QString(), QString()}, color);
        for (const QString &remark : field.remarks)
            m_text +=
                colored(QString(10, QLatin1Char(' ')) + QLatin1String("! ") + remark, RemarkColor)
                + QLatin1Char('\n');
    }

private:
    struct Row
    {
        QString position;
        QString raw;
        QString name;
        QString value;
        QString words;
    };

    static QString position(const ExplainedField &field)
    {
        if (field.column >= 0)
            return QString::number(field.column);
        return field.item > 0 ? QString() : QString::number(field.offset);
    }

    static QString value(const ExplainedField &field)
    {
        if (field.value.userType() == QMetaType::QByteArray)
            return valueForPeople(field).section(QLatin1Char(':'), 0, 0);
        return valueForPeople(field);
    }

    static QStringList byteRows(const ExplainedField &field)
    {
        QStringList rows;
        for (int start = 0; start < field.raw.size() && rows.size() < MostRows;
             start += BytesInARow)
            rows << hexFromBytes(field.raw.mid(start, BytesInARow));
        const int shown = MostRows * BytesInARow;
        if (field.raw.size() > shown)
            rows << QStringLiteral("... %1 more").arg(field.raw.size() - shown);
        return rows.isEmpty() ? QStringList{QString()} : rows;
    }

    static QStringList textRows(const ExplainedField &field)
    {
        const QString text = printable(textFromUtf8(field.raw), MostRows * MostCharacters + 1);
        QStringList rows;
        for (int start = 0; start < text.size() && rows.size() < MostRows; start += MostCharacters)
            rows << text.mid(start, MostCharacters);
        if (text.size() > MostRows * MostCharacters)
            rows << QStringLiteral("...");
        return rows.isEmpty() ? QStringList{QString()} : rows;
    }

    QString colored(const QString &text, const char *color) const
    {
        if (!m_isColored || !color)
            return text;
        return QStringLiteral("\x1B[%1m%2\x1B[0m").arg(QLatin1String(color), text);
    }

    /// Appends a row. In a terminal that is too narrow, value and words move to rows of their own.
    void row(const Row &row, const char *color)
    {
        constexpr int Indent = 10;
        const QString raw = row.raw.leftJustified(MostCharacters);
        const QString name = QLatin1String("  ") + row.name.leftJustified(20);
        QString head = row.position.rightJustified(6) + QLatin1String("  ");
        const int start = head.size() + raw.size() + name.size();
        const QString value = QLatin1String("  ") + row.value.leftJustified(16);
        const QString rest = withoutTrailingBlanks(value + QLatin1String("  ") + row.words);
        head += colored(raw, color) + name;
        if (m_width == 0 || rest.isEmpty() || start + rest.size() <= m_width) {
            m_text += withoutTrailingBlanks(head + rest) + QLatin1Char('\n');
            return;
        }
        QString more = row.words;
        if (start + value.size() <= m_width)
            head += value;
        else
            more = row.value + QLatin1String("  ") + row.words;
        m_text += withoutTrailingBlanks(head) + QLatin1Char('\n')
            + wrapped(QString(Indent, QLatin1Char(' ')) + more.trimmed(), Indent, m_width)
            + QLatin1Char('\n');
    }

    bool m_isColored;
    int m_width;
    unsigned m_fields = 0;
    QString m_text;
};

} // namespace

QByteArray annotatedDump(const QVector<ExplainedField> &fields, const MessageShape &shape,
                         bool isColored)
{
    Dump dump(isColored);
    dump.header(shape);
    int item = 0;
    for (const ExplainedField &field : fields) {
        if (field.item != item) {
            item = field.item;
            dump.item(item);
        }
        dump.field(field, shape.form == Form::Text);
    }
    return dump.take();
}

QString wordsOf(const ExplainedField &field)
{
    if (field.meaning.isEmpty() || field.description.isEmpty())
        return field.meaning + field.description;
    return field.meaning + QLatin1String(": ") + field.description;
}
