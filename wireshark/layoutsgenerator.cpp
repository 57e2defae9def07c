// Writes the tables of the dissector in Lua: the parts of each class, and the fields of every frame
// and record as decoders read and as encoders write them. They come from the rows and layouts that
// the library itself walks over. A step of a layout is a verb, which says what the field is, and a
// name.

#include "classlayouts_p.h"
#include "codenames_p.h"

#include <korvininspect/packageexplain.h>

#include <QtCore/QMap>
#include <QtCore/QStringList>

#include <cstdio>

using namespace KorvinInspect;

namespace {

/// The type as which Wireshark shows a field, and the table of its codes.
struct FieldType
{
    const char *type;
    const char *codes = nullptr;
};

constexpr FieldType Number{"int32"};
constexpr FieldType Serial{"uint64"};
constexpr FieldType Ack{"uint32"};
constexpr FieldType Checksum{"uint16"};
constexpr FieldType Flag{"bool"};
constexpr FieldType Text{"string"};
constexpr FieldType Bytes{"bytes"};
constexpr FieldType Access{"int32", "access"};
constexpr FieldType Kind{"int32", "kind"};
constexpr FieldType CommResult{"int32", "commResult"};
constexpr FieldType PackageResult{"int32", "packageResult"};

QMap<QString, FieldType> fieldTypes;

/// Keeps the type of a field; a name has one type in all layouts.
void keepType(const QString &name, const FieldType &type)
{
    const auto known = fieldTypes.constFind(name);
    if (known != fieldTypes.constEnd() && known->type != type.type)
        qFatal("%s has two types, %s and %s", qUtf8Printable(name), known->type, type.type);
    fieldTypes.insert(name, type);
}

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

    void gap() { note(QStringLiteral("gap")); }
    void serial(const char *name, quint64) { step("serial", name, Serial); }
    void shortSerial(const char *name, quint64) { step("shortSerial", name, Serial); }
    void timeout(const char *name, qint32) { step("timeout", name); }
    void reserved(const char *name, qint32) { step("reserved", name); }
    void signedReserved(const char *name, qint32) { step("signedReserved", name); }
    void ack(const char *name, quint32) { step("ack", name, Ack); }
    void result(const char *name, OrvexEnum::CommResults) { step("commResult", name, CommResult); }
    void result(const char *name, OrvexEnum::PackageResults)
    {
        step("packageResult", name, PackageResult);
    }
    void kind(const char *name, OrvexEnum::ClientPackageType) { step("kind", name, Kind); }
    void length(const char *name, qint32) { step("length", name); }
    void length(const char *name, quint16) { step("shortLength", name); }
    void clampedLength(const char *name, qint32) { step("clampedLength", name); }
    void textLength(const char *name, qint32) { step("textLength", name); }
    void offset(const char *name, qint32) { step("offset", name); }
    void status(const char *name, qint32) { step("status", name); }
    void access(const char *name, OrvexEnum::ReadWriteCode) { step("access", name, Access); }
    void rawAccess(const char *name, OrvexEnum::ReadWriteCode) { step("rawAccess", name, Access); }
    void flag(const char *name, bool) { step("flag", name, Flag); }

    void sizedText(const char *name, const QString &)
    {
        keepType(QLatin1String(name) + QLatin1String("Size"), Number);
        step("sizedText", name, Text);
    }

    void uncountedText(const char *name, const QString &) { step("uncountedText", name, Text); }
    void keptText(const char *name, int, const QString &) { step("keptText", name, Text); }
    void block(const char *name, int, QStringView) { step("block", name, Bytes); }
    void uncountedBlock(const char *name, int, QStringView) { step("uncountedBlock", name, Bytes); }
    void announcedBlock(const char *name, int, QStringView) { step("announcedBlock", name, Bytes); }
    void goTo(int position) { note(QStringLiteral("at=%1").arg(position)); }

protected:
    void note(const QString &step) { m_steps << step; }

    void step(const char *verb, const char *name, const FieldType &type = Number)
    {
        keepType(QLatin1String(name), type);
        note(QLatin1String(verb) + QLatin1Char(':') + QLatin1String(name));
    }

private:
    QStringList m_steps;
};

/// Walks over a frame as its encoder writes it: see WrittenFrameScanner.
class WrittenFrameRecorder : public FrameRecorder
{
public:
    void uncountedText(const char *name, const QString &field) { sizedText(name, field); }

    void uncountedBlock(const char *name, int length, QStringView field)
    {
        block(name, length, field);
    }

    void text(const char *name, const QString &) { step("text", name, Text); }
    void announce(qint64 rest) { note(QStringLiteral("announce=%1").arg(rest)); }

    template <typename Walk>
    void tail(qint64 rest, int copies, Walk walk)
    {
        note(QStringLiteral("tail=%1/%2").arg(rest).arg(copies));
        walk();
        note(QStringLiteral("end"));
    }

    template <typename Nonzero, typename Zeros>
    void either(Nonzero nonzero, Zeros zeros)
    {
        note(QStringLiteral("either"));
        nonzero();
        note(QStringLiteral("otherwise"));
        zeros();
        note(QStringLiteral("end"));
    }
};

/// Walks over a record and notes the columns.
class RecordRecorder
{
public:
    explicit RecordRecorder(bool takesNoNumbers)
        : m_dataString(takesNoNumbers ? "dataStringOrNone" : "dataString")
    {
    }

    QStringList steps() const { return m_steps; }
    int column() const { return m_column; }

    void goTo(int column) { m_column = column; }

    template <typename Part>
    void scan(Part part)
    {
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
    void offset(const char *name, T &)
    {
        step("offset", name);
    }

    void serial(const char *name, quint64) { step("serial", name, Serial); }
    void timeout(const char *name, qint32) { step("timeout", name); }
    void unsignedTimeout(const char *name, qint32) { step("unsignedTimeout", name); }
    void reserved(const char *name, qint32) { step("reserved", name); }
    void ack(const char *name, quint32) { step("ack", name, Ack); }
    void length(const char *name, qint32) { step("length", name); }
    void text(const char *name, const QString &) { step("text", name, Text); }
    void escaped(const char *name, const QString &) { step("escaped", name, Text); }
    void answer(const char *name, const QString &) { step("answer", name, Text); }
    void access(const char *name, OrvexEnum::ReadWriteCode) { step("access", name, Access); }
    void flag(const char *name, bool) { step("flag", name, Flag); }
    void readKind(const char *name, OrvexEnum::ClientPackageType) { step("readKind", name, Kind); }
    void writeKind(const char *name, OrvexEnum::ClientPackageType)
    {
        step("writeKind", name, Kind);
    }
    void result(const char *name, OrvexEnum::CommResults) { step("commResult", name, CommResult); }
    void result(const char *name, OrvexEnum::PackageResults)
    {
        step("packageResult", name, PackageResult);
    }
    void dataString(const char *name, int, QStringView) { step(m_dataString, name, Bytes); }

private:
    void step(const char *verb, const char *name, const FieldType &type = Number)
    {
        keepType(QLatin1String(name), type);
        m_steps << QStringLiteral("%1:%2@%3")
                       .arg(QLatin1String(verb), QLatin1String(name))
                       .arg(m_column++);
    }

    const char *m_dataString;
    QStringList m_steps;
    int m_column = 0;
};

QString nameOfClass(const Korvin::ClassRow &row)
{
    return QString::fromLatin1(row.name.data(), static_cast<int>(row.name.size()));
}

void put(const QString &line)
{
    std::puts(qUtf8Printable(line));
}

/// Lists of steps that others begin with, by name.
using SharedSteps = QMap<QString, QStringList>;

/// Writes a list of steps, with the name of a shared list in place of its steps.
void putSteps(const char *name, QStringList steps, const SharedSteps &shared = {}, int indent = 12)
{
    constexpr int LastColumn = 100;
    for (auto other = shared.begin(); other != shared.end(); ++other) {
        if (steps.mid(0, other->size()) == *other)
            steps = QStringList(QLatin1Char('@') + other.key()) + steps.mid(other->size());
    }
    QString line = QString(indent, QLatin1Char(' ')) + QLatin1String(name) + QLatin1String(" = [[");
    for (const QString &step : std::as_const(steps)) {
        if (line.size() + step.size() + 1 > LastColumn) {
            put(line);
            line = QString(indent + 3, QLatin1Char(' '));
        }
        line += QLatin1Char(' ') + step;
    }
    put(line + QLatin1String(" ]],"));
}

template <template <typename> class Frame, typename Recorder, typename Walk>
QStringList frame(const Korvin::ClassRow &row, Walk walk)
{
    Recorder recorder;
    Korvin::LayoutFields fields;
    Frame<Recorder> layout(row, fields, recorder);
    walk(layout);
    return recorder.steps();
}

template <typename Walk>
QStringList asRead(const Korvin::ClassRow &row, Walk walk)
{
    return frame<FrameAsRead, FrameRecorder>(row, walk);
}

template <typename Walk>
QStringList asWritten(const Korvin::ClassRow &row, Walk walk)
{
    return frame<FrameAsWritten, WrittenFrameRecorder>(row, walk);
}

QStringList record(const Korvin::ClassRow &row, bool isReply, bool isWritten)
{
    RecordRecorder recorder(Korvin::takesNoNumbers(row, isReply));
    Korvin::LayoutFields fields;
    if (isWritten)
        scanRecordAsWritten(recorder, row, isReply, fields);
    else
        scanRecordAsRead(recorder, row, isReply, fields);
    return recorder.steps();
}

constexpr auto Request = [](auto &layout) { layout.request(); };
constexpr auto ShortReply = [](auto &layout) { layout.shortReply(); };
constexpr auto FullReply = [](auto &layout) { layout.fullReply(); };

void putClass(const Korvin::ClassRow &row, const SharedSteps &shared)
{
    const QStringList request = asRead(row, Request);
    put(QStringLiteral("        %1 = {").arg(nameOfClass(row)));
    putSteps("request", request, shared);
    putSteps("shortReply", asRead(row, ShortReply), shared);
    // The request is read before the rest of a full reply.
    putSteps("endOfFullReply", asRead(row, FullReply).mid(request.size()));
    putSteps("writtenRequest", asWritten(row, Request), shared);
    putSteps("writtenShortReply", asWritten(row, ShortReply), shared);
    putSteps("writtenFullReply", asWritten(row, FullReply), shared);
    putSteps("requestRecord", record(row, false, false), shared);
    putSteps("replyRecord", record(row, true, false), shared);
    putSteps("writtenReplyRecord", record(row, true, true), shared);
    put(QStringLiteral("            neededColumns = { request = %1, reply = %2 },")
            .arg(Korvin::neededColumns(row, false))
            .arg(Korvin::neededColumns(row, true)));
    const auto access = Korvin::onlyAccess(row);
    put(QStringLiteral("            usualAccess = %1,").arg(access.value_or(OrvexEnum::Read)));
    if (access)
        put(QStringLiteral("            onlyAccess = %1,").arg(*access));
    put(QStringLiteral("            usualKind = %1,").arg(row.usualKind));
    if (row.has(Korvin::Linux))
        put(QStringLiteral("            linux = true,"));
    if (Korvin::padsLinuxData(row))
        put(QStringLiteral("            padsLinuxData = true,"));
    if (!row.typeWord.isEmpty())
        put(QStringLiteral("            typeWord = \"%1\",").arg(row.typeWord));
    put(QStringLiteral("        },"));
}

void putClasses()
{
    constexpr const Korvin::ClassRow &Base = Korvin::rowOf("PackageBase");
    const SharedSteps shared{
        {QStringLiteral("header"), asRead(Base, Request)},
        {QStringLiteral("shortReply"), asWritten(Base, ShortReply)},
        {QStringLiteral("columns"), record(Base, false, false)},
    };
    put(QStringLiteral("    shared = {"));
    for (auto list = shared.begin(); list != shared.end(); ++list)
        putSteps(qUtf8Printable(list.key()), *list, {}, 8);
    put(QStringLiteral("    },\n    classes = {"));
    QStringList order;
    for (const Korvin::ClassRow &row : Korvin::Classes) {
        if (row.base == Korvin::Base::Items)
            continue;
        putClass(row, shared);
        order << QStringLiteral("        \"%1\",").arg(nameOfClass(row));
    }
    put(QStringLiteral("    },\n    order = {\n%1\n    },").arg(order.join(QLatin1Char('\n'))));
    FrameRecorder recorder;
    Korvin::LayoutFields fields;
    fields.linuxHeader.walk(recorder);
    putSteps("linuxHeader", recorder.steps(), {}, 4);
}

template <typename Code, std::size_t N>
void putNames(const char *codes, const Korvin::CodeName<Code> (&names)[N])
{
    put(QStringLiteral("        %1 = {").arg(QLatin1String(codes)));
    for (const Korvin::CodeName<Code> &row : names)
        put(QStringLiteral("            [%1] = \"%2\",").arg(row.code).arg(row.name));
    put(QStringLiteral("        },"));
}

/// Returns the descriptions of all fields, by name.
QMap<QString, QString> descriptions()
{
    constexpr int ManyColumns = 30;
    const QByteArray columns = QByteArray("0,").repeated(ManyColumns);
    QMap<QString, QString> found;
    const auto add = [&found](const QByteArray &input, const MessageShape &shape) {
        for (const ExplainedField &field : explain(input, shape))
            found.insert(field.name, field.description);
    };
    for (const PackageClass &listed : packageClasses()) {
        for (const Direction direction : {Direction::Request, Direction::Reply}) {
            add(QByteArray(100, '\1'), {listed.id, Form::Frame, direction});
            add(QByteArray(1, '\0'), {listed.id, Form::Frame, direction});
            add(QByteArray(100, '\1'), {listed.id, Form::Linux, direction});
            add(columns, {listed.id, Form::Text, direction});
        }
    }
    add("ReadData^", {ClassId::PackageRequestCombination, Form::Text, Direction::Request});
    found.remove({});
    return found;
}

void putFields()
{
    put(QStringLiteral("    fields = {"));
    keepType(QStringLiteral("type"), Text);
    keepType(QStringLiteral("checksum"), Checksum);
    const QMap<QString, QString> descriptionOf = descriptions();
    for (auto field = fieldTypes.begin(); field != fieldTypes.end(); ++field) {
        const QString description = descriptionOf.value(field.key());
        if (description.isEmpty())
            qFatal("%s has no description", qUtf8Printable(field.key()));
        const QString codes = field->codes
            ? QStringLiteral(" codes = \"%1\",").arg(QLatin1String(field->codes))
            : QString();
        put(QStringLiteral("        %1 = { type = \"%2\",%3 description = \"%4\" },")
                .arg(field.key(), QLatin1String(field->type), codes, description));
    }
    put(QStringLiteral("    },"));
}

} // namespace

int main()
{
    put(QStringLiteral("-- Generated by layouts_generator, from the layouts of the library."));
    put(QStringLiteral("return {"));
    putClasses();
    put(QStringLiteral("    codes = {"));
    putNames("access", Korvin::ReadWriteNames);
    putNames("kind", Korvin::ClientPackageTypeNames);
    putNames("commResult", Korvin::CommResultNames);
    putNames("packageResult", Korvin::PackageResultNames);
    put(QStringLiteral("    },"));
    putFields();
    put(QStringLiteral("}"));
    return 0;
}
