#include <korvininspect/packageexplain.h>

#include "classlayouts_p.h"
#include "codenames_p.h"
#include "datastring_p.h"
#include "fieldrules_p.h"
#include "jsontext_p.h"
#include "jsonvalues_p.h"
#include "memory_p.h"
#include "packagefields_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>

#include <QtCore/QJsonObject>
#include <QtCore/QMap>

#include <algorithm>

namespace KorvinInspect {

namespace {

QString labelOf(const WireField &field)
{
    const QString name = QString::fromLatin1(field.name);
    return field.type == WireType::TextSize ? name + QLatin1String("Size") : name;
}

/// Makes explained fields from the fields of a scanner.
class Explainer : public FieldSink
{
public:
    /// @param frame is empty for a record, where each field has its text.
    Explainer(const MessageShape &shape, QByteArray frame)
        : m_shape(shape)
        , m_frame(std::move(frame))
    {
    }

    void add(const WireField &field) override
    {
        if (field.present < 0)
            return;
        ExplainedField explained;
        explained.name = labelOf(field);
        explained.column = field.column;
        explained.offset = static_cast<int>(field.offset);
        explained.width = static_cast<int>(field.present);
        explained.raw = field.column < 0 ? m_frame.mid(explained.offset, explained.width)
                                         : field.text.toString().toUtf8();
        explained.value = valueOf(field, explained);
        explained.meaning = meaningOf(field);
        explained.description = descriptionOf(explained.name);
        remark(field, explained);
        m_fields.append(explained);
    }

    QVector<ExplainedField> take() { return std::move(m_fields); }

private:
    QVariant valueOf(const WireField &field, const ExplainedField &explained)
    {
        switch (field.type) {
        case WireType::Flag:
            return field.taken == 1;
        case WireType::Text:
        case WireType::Answer:
            return field.column < 0 ? textOf(field, explained) : field.text.toString();
        case WireType::EscapedText:
            return Korvin::unescaped(field.text);
        case WireType::Block:
            return blockOf(field, explained);
        case WireType::DataString:
            return dataOf(field);
        default:
            break;
        }
        if (field.isUnsigned64)
            return static_cast<qulonglong>(field.taken);
        return static_cast<qlonglong>(field.taken);
    }

    /// Returns a text of a frame. Where a frame has a text twice, a decoder ignores the second one
    /// if it is empty, so this returns the first one.
    QVariant textOf(const WireField &field, const ExplainedField &explained)
    {
        QString &text = m_texts[field.source];
        if (field.width == 0)
            return text;
        text.clear();
        if (explained.width == field.width) {
            const auto size = qstrnlen(field.bytes, static_cast<uint>(field.width));
            text = QString::fromUtf8(field.bytes, static_cast<int>(size));
        }
        return text;
    }

    /// Returns a block. A Linux frame gives the bytes that are there, a byte frame all or none.
    QVariant blockOf(const WireField &field, const ExplainedField &explained) const
    {
        if (m_shape.form != Form::Linux && explained.width < field.width)
            return {};
        QByteArray data = explained.raw;
        if (field.isPadded)
            Korvin::resizeWithZeros(data, field.width); // at most 65535
        return data;
    }

    static QVariant dataOf(const WireField &field)
    {
        const qsizetype parts = Korvin::dataStringParts(field.text);
        if (field.number > parts)
            return {};
        QByteArray data;
        Korvin::readDataString(field.text, static_cast<int>(field.number), data);
        return data;
    }

    static QString meaningOf(const WireField &field)
    {
        switch (field.type) {
        case WireType::Length:
        case WireType::TextLength:
        case WireType::Offset:
        case WireType::TextSize:
            return QStringLiteral("bytes");
        case WireType::Status: {
            const auto result = static_cast<OrvexEnum::CommResults>(field.number + 1);
            return Korvin::nameOf(Korvin::CommResultNames, result, u"no name").toString();
        }
        default:
            return codeName(field.type, field.taken).toString();
        }
    }

    void remark(const WireField &field, ExplainedField &explained) const
    {
        const FieldRefusal refusal = refusalOf(field, m_shape);
        if (refusal.refusal == Refusal::None)
            return;
        explained.remarks << reasonOf(refusal);
        const QString consequence = consequenceOf(field, refusal.refusal, explained);
        if (!consequence.isEmpty())
            explained.remarks << consequence;
    }

    QString consequenceOf(const WireField &field, Refusal refusal,
                          const ExplainedField &explained) const
    {
        switch (refusal) {
        case Refusal::Truncated:
            return m_shape.form == Form::Linux ? QStringLiteral("missing bytes read as 0")
                                               : QStringLiteral("read as 0");
        case Refusal::LengthTooLarge:
            if (field.type == WireType::Text)
                return QStringLiteral("read as an empty text");
            if (m_shape.form != Form::Linux)
                return QStringLiteral("read as zeros, or left as it was");
            return field.isPadded ? QStringLiteral("missing bytes read as 0")
                                  : QStringLiteral("only the bytes present are read");
        case Refusal::UnknownCode:
            if (field.type != WireType::Flag && field.type != WireType::ReadWriteCode)
                return {};
            [[fallthrough]];
        case Refusal::NotANumber:
        case Refusal::OutOfRange:
        case Refusal::UnknownName:
            return QStringLiteral("read as %1")
                .arg(codeName(field.type, field.taken).isEmpty() ? valueForPeople(explained)
                                                                 : explained.meaning);
        default:
            return {};
        }
    }

    MessageShape m_shape;
    QByteArray m_frame;
    QMap<const void *, QString> m_texts; // by the field of the package
    QVector<ExplainedField> m_fields;
};

/// Positions of the fields that an encoder writes, to compare with what a decoder reads there.
class WrittenFields : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        if (field.present > 0 || field.column >= 0)
            m_fields.append({labelOf(field), field.column, field.offset, field.present});
    }

    /// Returns the names of the fields that overlap @p field, without its own name.
    QStringList othersIn(const ExplainedField &field) const
    {
        QStringList names;
        bool itself = false;
        for (const Extent &extent : m_fields) {
            const bool same = field.column >= 0 ? extent.column == field.column
                                                : extent.offset < field.offset + field.width
                    && field.offset < extent.offset + extent.width;
            if (!same)
                continue;
            itself = itself || extent.name == field.name;
            if (!extent.name.isEmpty())
                names << extent.name;
        }
        names.removeDuplicates();
        return itself && names.size() == 1 ? QStringList() : names;
    }

private:
    struct Extent
    {
        QString name;
        int column;
        qint64 offset;
        qint64 width;
    };

    QVector<Extent> m_fields;
};

void remarkWritten(QVector<ExplainedField> &fields, const WrittenFields &written)
{
    for (ExplainedField &field : fields) {
        const QStringList names = written.othersIn(field);
        if (!names.isEmpty() && (field.width > 0 || field.column >= 0)) {
            field.remarks
                << QStringLiteral("an encoder writes %1 here").arg(names.join(QLatin1String(", ")));
        }
    }
}

void sortByOffset(QVector<ExplainedField> &fields)
{
    std::stable_sort(
        fields.begin(), fields.end(),
        [](const ExplainedField &a, const ExplainedField &b) { return a.offset < b.offset; });
}

/// Adds bytes that no field covers, and remarks on those that two fields cover.
void completeFrame(QVector<ExplainedField> &fields, const QByteArray &frame)
{
    sortByOffset(fields);
    QVector<ExplainedField> complete;
    int end = 0;
    const auto addUnread = [&](int until) {
        if (end >= until)
            return;
        ExplainedField unread;
        unread.offset = end;
        unread.width = until - end;
        unread.raw = frame.mid(end, unread.width);
        unread.remarks << QStringLiteral("not read");
        complete.append(unread);
    };
    for (ExplainedField &field : fields) {
        addUnread(field.offset);
        if (field.offset < end && field.width > 0)
            field.remarks << QStringLiteral("reads bytes of the previous field again");
        end = qMax(end, field.offset + field.width);
        complete.append(field);
    }
    addUnread(static_cast<int>(frame.size()));
    fields = complete;
}

QVector<ExplainedField> explainFrame(const QByteArray &frame, const MessageShape &shape)
{
    Korvin::LayoutFields layout;
    Explainer explainer(shape, frame);
    WrittenFields written;
    if (shape.form == Form::Linux) {
        scanLinuxFrame(frame, shape, layout, explainer);
    } else {
        scanFrameAsRead(frame, shape, layout, explainer);
        scanFrameAsWritten(frame, shape, layout, written);
    }
    QVector<ExplainedField> fields = explainer.take();
    completeFrame(fields, frame);
    remarkWritten(fields, written);
    return fields;
}

/// Adds columns that are not read, and remarks on those that are read twice.
void completeRecord(QVector<ExplainedField> &fields, QStringView record)
{
    std::stable_sort(
        fields.begin(), fields.end(),
        [](const ExplainedField &a, const ExplainedField &b) { return a.column < b.column; });
    QVector<ExplainedField> complete;
    QVector<ExplainedField>::iterator field = fields.begin();
    int column = 0;
    for (Korvin::TextParts parts(record, ','); !parts.atEnd(); ++column) {
        const QStringView text = parts.next();
        int readers = 0;
        for (; field != fields.end() && field->column == column; ++field) {
            if (++readers > 1)
                field->remarks << QStringLiteral("reads the column again");
            complete.append(*field);
        }
        if (readers > 0)
            continue;
        ExplainedField unread;
        unread.column = column;
        unread.offset = static_cast<int>(text.data() - record.data());
        unread.width = static_cast<int>(text.size());
        unread.raw = text.toString().toUtf8();
        unread.remarks << QStringLiteral("not read");
        complete.append(unread);
    }
    fields = complete;
}

QVector<ExplainedField> explainRecord(QStringView record, const MessageShape &shape)
{
    Explainer explainer(shape, {});
    WrittenFields written;
    Korvin::LayoutFields layout;
    const bool isReply = shape.direction == Direction::Reply;
    RecordScanner asRead(record, explainer);
    scanRecordAsRead(asRead, rowOf(shape), isReply, layout);
    RecordScanner asWritten(record, written);
    scanRecordAsWritten(asWritten, rowOf(shape), isReply, layout);
    QVector<ExplainedField> fields = explainer.take();
    completeRecord(fields, record);
    remarkWritten(fields, written);
    return fields;
}

ExplainedField unreadItem(QStringView item, const char *remark)
{
    ExplainedField field;
    field.width = static_cast<int>(item.size());
    field.raw = item.toString().toUtf8();
    field.remarks << QString::fromLatin1(remark);
    return field;
}

/// Explains an item of a combination. Sets @p goesOn to false if the decoder stops at it.
QVector<ExplainedField> explainItem(QStringView item, bool *goesOn)
{
    Korvin::TextParts props(item, '^');
    const QStringView word = props.next();
    const QStringView record = props.atEnd() ? QStringView() : props.next();
    if (word.size() == item.size() || !props.atEnd()) {
        *goesOn = false;
        return {unreadItem(item, "not two parts with a ^ between them: the decoder stops here")};
    }
    const std::optional<ClassId> id = classOfType(word);
    if (!id) {
        *goesOn = false;
        return {unreadItem(item, "the decoder refuses the type")};
    }
    ExplainedField type;
    type.name = QStringLiteral("type");
    type.width = static_cast<int>(word.size());
    type.raw = word.toString().toUtf8();
    type.value = word.toString();
    type.meaning = className(*id);
    type.description = descriptionOf(type.name);
    QVector<ExplainedField> fields{type};
    for (ExplainedField &field : explainRecord(record, {*id, Form::Text, Direction::Request})) {
        field.offset += static_cast<int>(record.data() - item.data());
        fields.append(field);
    }
    return fields;
}

QVector<ExplainedField> explainCombination(QStringView record)
{
    QVector<ExplainedField> fields;
    bool goesOn = true;
    int number = 0;
    for (Korvin::TextParts items(record, '|'); !items.atEnd();) {
        const QStringView item = items.next();
        ++number;
        const bool isRead = goesOn;
        for (ExplainedField &field : isRead
                 ? explainItem(item, &goesOn)
                 : QVector<ExplainedField>{unreadItem(item, "not read")}) {
            field.item = number;
            field.offset += static_cast<int>(item.data() - record.data());
            fields.append(field);
        }
    }
    return fields;
}

/// The members as those of an object.
class JsonObjectMembers
{
public:
    QJsonObject object;

    void add(const char *name, const QStringList &value)
    {
        object.insert(QLatin1String(name), QJsonArray::fromStringList(value));
    }

    void add(const char *name, quint64 value)
    {
        object.insert(QLatin1String(name), numberToJson(value));
    }

    template <typename Value>
    void add(const char *name, const Value &value)
    {
        object.insert(QLatin1String(name), value);
    }
};

/// The members as text.
class JsonTextMembers
{
public:
    explicit JsonTextMembers(JsonText &json)
        : m_json(json)
    {
    }

    void add(const char *name, const QString &value)
    {
        begin(name);
        m_json.text(value);
    }

    void add(const char *name, const QStringList &value)
    {
        begin(name);
        for (const QString &item : value) {
            m_json.raw(&item == &value.front() ? '[' : ',');
            m_json.text(item);
        }
        m_json.raw(']');
    }

    void add(const char *name, bool value)
    {
        begin(name);
        m_json.raw(value ? "true" : "false");
    }

    void add(const char *name, qint64 value)
    {
        begin(name);
        m_json.number(value);
    }

    void add(const char *name, quint64 value)
    {
        const QJsonValue json = numberToJson(value);
        if (json.isString())
            return add(name, json.toString());
        begin(name);
        m_json.number(value);
    }

private:
    void begin(const char *name)
    {
        m_json.raw(m_isFirst ? "\"" : ",\"");
        m_json.raw(name);
        m_json.raw("\":");
        m_isFirst = false;
    }

    JsonText &m_json;
    bool m_isFirst = true;
};

template <typename Out>
void writeValue(const QVariant &value, Out &out)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return out.add("value", value.toBool());
    case QMetaType::QString:
        return out.add("value", value.toString());
    case QMetaType::QByteArray:
        return out.add("value", QString::fromLatin1(value.toByteArray().toHex()));
    case QMetaType::LongLong:
        return out.add("value", value.toLongLong());
    case QMetaType::ULongLong:
        return out.add("value", value.toULongLong());
    default:
        return;
    }
}

/// Hands the members of the JSON of a field to @p out, in the order of their names, in which
/// QJsonObject keeps them.
template <typename Out>
void writeMembers(const ExplainedField &field, Out &out)
{
    const bool isText = field.column >= 0 || field.item > 0;
    if (field.column >= 0)
        out.add("column", qint64(field.column));
    if (!field.description.isEmpty())
        out.add("description", field.description);
    if (field.item > 0)
        out.add("item", qint64(field.item));
    if (!field.meaning.isEmpty())
        out.add("meaning", field.meaning);
    out.add("name", field.name);
    out.add("offset", qint64(field.offset));
    out.add("raw", isText ? textFromUtf8(field.raw) : QString::fromLatin1(field.raw.toHex()));
    if (!field.remarks.isEmpty())
        out.add("remarks", field.remarks);
    writeValue(field.value, out);
    out.add("width", qint64(field.width));
}

template <typename Names, typename Code>
QString nameForPeople(const Names &names, Code code)
{
    const QStringView name = Korvin::nameOf(names, code);
    return name.isEmpty() ? QStringLiteral("code %1").arg(static_cast<int>(code)) : name.toString();
}

} // namespace

QVector<ExplainedField> explain(const QByteArray &input, const MessageShape &shape)
{
    return Korvin::guarded([&]() -> QVector<ExplainedField> {
        Korvin::checkedSize(input.size()); // positions are ints
        if (shape.form == Form::Text)
            return explain(textFromUtf8(input), shape);
        return exists(shape) ? explainFrame(input, shape) : QVector<ExplainedField>();
    });
}

QVector<ExplainedField> explain(const QString &record, const MessageShape &shape)
{
    return Korvin::guarded([&]() -> QVector<ExplainedField> {
        Korvin::checkedSize(record.size()); // positions are ints
        if (!exists(shape) || shape.form != Form::Text)
            return {};
        return rowOf(shape).base == Korvin::Base::Items ? explainCombination(record)
                                                        : explainRecord(record, shape);
    });
}

QJsonArray explanationToJson(const QVector<ExplainedField> &fields)
{
    QJsonArray array;
    for (const ExplainedField &field : fields) {
        JsonObjectMembers members;
        writeMembers(field, members);
        array.append(members.object);
    }
    return array;
}

QByteArray explanationToJsonText(const QVector<ExplainedField> &fields)
{
    return Korvin::guarded([&] {
        JsonText json;
        json.raw('[');
        for (const ExplainedField &field : fields) {
            JsonTextMembers members(json);
            json.raw(&field == &fields.front() ? "{" : ",{");
            writeMembers(field, members);
            json.raw('}');
        }
        json.raw(']');
        return json.take();
    });
}

QString valueForPeople(const ExplainedField &field)
{
    switch (field.value.userType()) {
    case QMetaType::QString:
        return QLatin1Char('"') + printable(field.value.toString()) + QLatin1Char('"');
    case QMetaType::QByteArray:
        return firstBytes(field.value.toByteArray());
    case QMetaType::LongLong:
        return numberForPeople(field.value.toLongLong());
    case QMetaType::ULongLong:
        return numberForPeople(field.value.toULongLong());
    default:
        return field.value.toString();
    }
}

QString describe(OrvexEnum::CommResults result)
{
    return nameForPeople(Korvin::CommResultNames, result);
}

QString describe(OrvexEnum::PackageResults result)
{
    return nameForPeople(Korvin::PackageResultNames, result);
}

} // namespace KorvinInspect
