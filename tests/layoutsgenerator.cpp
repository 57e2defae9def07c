// Writes what the dissector knows of the protocol, as a Lua table: the fields of every frame and
// record in the order in which decoders read them, from the layouts that the library itself walks.

#include "classlayouts_p.h"
#include "codenames_p.h"

#include <korvininspect/packageexplain.h>

#include <QtCore/QMap>
#include <QtCore/QStringList>

#include <cstdio>

using namespace KorvinInspect;

namespace {

/// Walks over a frame and notes each step.
class FrameRecorder
{
public:
    QStringList steps() const { return m_steps; }

    void constant(const char *name, quint8 value)
    {
        step("constant", name);
        m_steps.last() += QLatin1Char('=') + QString::number(value);
    }

    template <typename T>
    void u8(const char *name, T &)
    {
        step("u8", name);
    }

    template <typename T>
    void s8(const char *name, T &)
    {
        step("s8", name);
    }

    template <typename T>
    void u16(const char *name, T &)
    {
        step("u16", name);
    }

    template <typename T>
    void i32(const char *name, T &)
    {
        step("i32", name);
    }

    void access(const char *name, OrvexEnum::ReadWriteCode) { step("access", name); }
    void flag(const char *name, bool) { step("flag", name); }
    void sizedText(const char *name, const QString &) { step("sizedText", name); }
    void uncountedText(const char *name, const QString &) { step("uncountedText", name); }

    /// Of the size that the number in front gives, as is the block.
    void text(const char *name, int, const QString &) { step("text", name); }
    void block(const char *name, int, const QByteArray &) { step("block", name); }

    /// Stands for the beginning of the next field.
    int position() const { return -1 - m_steps.size(); }

    void setPosition(int position)
    {
        if (position >= 0)
            m_steps << QStringLiteral("at:%1").arg(position);
        else
            m_steps << QStringLiteral("back:")
                    + m_steps.at(-1 - position).section(QLatin1Char(':'), 1);
    }

private:
    void step(const char *type, const char *name)
    {
        m_steps << QLatin1String(type) + QLatin1Char(':') + QLatin1String(name);
    }

    QStringList m_steps;
};

/// Walks over a record and notes the columns.
class RecordRecorder
{
public:
    QStringList steps() const { return m_steps; }
    int column() const { return m_column; }

    template <typename Part>
    void scan(int column, Part part)
    {
        m_column = column;
        part.columns(*this);
    }

    template <typename T>
    void u8(const char *name, T &)
    {
        step("u8", name);
    }

    template <typename T>
    void u16(const char *name, T &)
    {
        step("u16", name);
    }

    template <typename T>
    void i32(const char *name, T &)
    {
        step("i32", name);
    }

    template <typename T>
    void u32WrittenI32Read(const char *name, T &)
    {
        step("positiveI32", name);
    }

    template <typename T>
    void i32WrittenU32Read(const char *name, T &)
    {
        step("positiveU32", name);
    }

    template <typename T>
    void u64WrittenI32Read(const char *name, T &)
    {
        step("positiveI32", name);
    }

    void text(const char *name, const QString &) { step("text", name); }
    void escaped(const char *name, const QString &) { step("escaped", name); }
    void access(const char *name, OrvexEnum::ReadWriteCode) { step("access", name); }
    void flag(const char *name, bool) { step("flag", name); }
    void readKind(const char *name, OrvexEnum::ClientPackageType) { step("readKind", name); }
    void writeKind(const char *name, OrvexEnum::ClientPackageType) { step("writeKind", name); }
    void result(const char *name, OrvexEnum::CommResults) { step("result", name); }
    void result(const char *name, OrvexEnum::PackageResults) { step("result", name); }
    void dataString(const char *name, QStringView) { step("dataString", name); }

private:
    void step(const char *type, const char *name)
    {
        m_steps << QStringLiteral("%1:%2@%3")
                       .arg(QLatin1String(type), QLatin1String(name))
                       .arg(m_column++);
    }

    QStringList m_steps;
    int m_column = 0;
};

template <typename Walk>
QStringList frame(ClassId id, Walk walk)
{
    FrameRecorder recorder;
    FrameAsRead<FrameRecorder> layout(id, recorder);
    walk(layout);
    return recorder.steps();
}

void put(const QString &line)
{
    std::puts(qUtf8Printable(line));
}

void putSteps(const char *name, const QStringList &steps)
{
    constexpr int LastColumn = 100;
    QString line = QStringLiteral("            %1 = [[").arg(QLatin1String(name));
    for (const QString &step : steps) {
        if (line.size() + step.size() + 1 > LastColumn) {
            put(line);
            line = QString(15, QLatin1Char(' '));
        }
        line += QLatin1Char(' ') + step;
    }
    put(line + QLatin1String(" ]],"));
}

template <typename Scan>
void putRecord(const char *name, const MessageShape &shape, Scan scan)
{
    RecordRecorder recorder;
    scan(recorder, shape);
    putSteps(name, recorder.steps());
}

void putClass(ClassId id)
{
    put(QStringLiteral("        %1 = {").arg(className(id)));
    putSteps("request", frame(id, [](auto &layout) { layout.request(); }));
    putSteps("shortReply", frame(id, [](auto &layout) { layout.shortReply(); }));
    putSteps("fullReply", frame(id, [](auto &layout) { layout.fullReply(); }));
    const MessageShape request{id, Form::Text, Direction::Request};
    const MessageShape reply{id, Form::Text, Direction::Reply};
    const auto asRead = [](auto &scanner, const MessageShape &shape) {
        scanRecordAsRead(scanner, shape);
    };
    const auto asWritten = [](auto &scanner, const MessageShape &shape) {
        scanRecordAsWritten(scanner, shape);
    };
    putRecord("requestRecord", request, asRead);
    putRecord("replyRecord", reply, asRead);
    putRecord("writtenReplyRecord", reply, asWritten);
    put(QStringLiteral("            columns = { %1, %2 },")
            .arg(neededColumns(request))
            .arg(neededColumns(reply)));
    if (exists({id, Form::Linux, Direction::Request})) {
        FrameRecorder recorder;
        PackageBasePrivate common;
        Korvin::LinuxHeader{common}.walk(recorder);
        putSteps("linux", recorder.steps());
    }
    const QString type = packageClass(className(id))->combinationType;
    if (!type.isEmpty())
        put(QStringLiteral("            combinationType = \"%1\",").arg(type));
    put(QStringLiteral("        },"));
}

template <typename Code, std::size_t N>
void putNames(const char *field, const Korvin::CodeName<Code> (&names)[N])
{
    put(QStringLiteral("        %1 = {").arg(QLatin1String(field)));
    for (const Korvin::CodeName<Code> &row : names)
        put(QStringLiteral("            [%1] = \"%2\",").arg(row.code).arg(row.name));
    put(QStringLiteral("        },"));
}

/// The descriptions of all fields, by name.
QMap<QString, QString> descriptions()
{
    QMap<QString, QString> found;
    const QString columns = QStringLiteral("0,,0,0,0,0,0,0,0,0,read,0,,ok,ok,0,0,0,1,0");
    for (const PackageClass &listed : packageClasses()) {
        for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
            for (const Direction direction : {Direction::Request, Direction::Reply}) {
                const QByteArray input =
                    form == Form::Text ? columns.toLatin1() : QByteArray("\1") + QByteArray(99, 1);
                for (const ExplainedField &field : explain(input, {listed.id, form, direction}))
                    found.insert(field.name, field.description);
            }
        }
    }
    found.remove({});
    return found;
}

} // namespace

int main()
{
    put(QStringLiteral("-- Generated by layouts_generator, from the layouts of the library."));
    put(QStringLiteral("return {\n    classes = {"));
    QStringList order;
    for (const PackageClass &listed : packageClasses()) {
        putClass(listed.id);
        order << QStringLiteral("        \"%1\",").arg(listed.name);
    }
    put(QStringLiteral("    },\n    order = {\n%1\n    },\n    names = {")
            .arg(order.join(QLatin1Char('\n'))));
    putNames("readWriteCode", Korvin::ReadWriteNames);
    putNames("clientPackageType", Korvin::ClientPackageTypeNames);
    putNames("commResult", Korvin::CommResultNames);
    putNames("packResult", Korvin::PackageResultNames);
    put(QStringLiteral("    },\n    descriptions = {"));
    const QMap<QString, QString> descriptionOf = descriptions();
    for (auto field = descriptionOf.begin(); field != descriptionOf.end(); ++field)
        put(QStringLiteral("        %1 = \"%2\",").arg(field.key(), field.value()));
    put(QStringLiteral("    },\n}"));
    return 0;
}
