#include <korvininspect/packageexplain.h>

#include "classlayouts_p.h"
#include "codenames_p.h"
#include "datastring_p.h"
#include "fieldrules_p.h"
#include "jsonvalues_p.h"
#include "memory_p.h"
#include "recordcursors_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>

#include <QtCore/QJsonObject>
#include <QtCore/QMap>

#include <algorithm>

namespace KorvinInspect {

namespace {

/// What the fields are for, by name.
QString descriptionOf(const QString &name)
{
    static const QMap<QString, QString> descriptions{
        {QStringLiteral("marker"),
         QStringLiteral("kind of frame: 0 request or short reply, 1 full reply")},
        {QStringLiteral("start"), QStringLiteral("start of a Linux frame, 55 AA")},
        {QStringLiteral("status"), QStringLiteral("outcome: 0 success; sets all three results")},
        {QStringLiteral("deviceKey"), QStringLiteral("key of the device or connection")},
        {QStringLiteral("deviceKeySize"), QStringLiteral("size of the device key")},
        {QStringLiteral("tag"), QStringLiteral("the client's own label")},
        {QStringLiteral("tagSize"), QStringLiteral("size of the tag")},
        {QStringLiteral("timeout"), QStringLiteral("time-out, in the unit of the peers")},
        {QStringLiteral("serialNum"), QStringLiteral("ties a reply to its request")},
        {QStringLiteral("scrAddr"), QStringLiteral("address of the screen")},
        {QStringLiteral("desAddr"), QStringLiteral("address of the destination")},
        {QStringLiteral("deviceType"), QStringLiteral("type of the device")},
        {QStringLiteral("portAddr"), QStringLiteral("port of the device")},
        {QStringLiteral("scanBoardAddr"), QStringLiteral("address of the scan board")},
        {QStringLiteral("readWriteCode"), QStringLiteral("direction of the access")},
        {QStringLiteral("reserved2"), QStringLiteral("reserved")},
        {QStringLiteral("lowAddr"), QStringLiteral("register address, low word")},
        {QStringLiteral("highAddr"), QStringLiteral("register address, high word")},
        {QStringLiteral("ackCode"), QStringLiteral("acknowledge code of the device: 0 success")},
        {QStringLiteral("commResult"), QStringLiteral("outcome of the transport")},
        {QStringLiteral("packResult"), QStringLiteral("outcome of the request")},
        {QStringLiteral("replyDataLength"), QStringLiteral("how much a read asks for or brings")},
        {QStringLiteral("packageDataLength"), QStringLiteral("how much is written")},
        {QStringLiteral("dataLength"), QStringLiteral("how much is read or written")},
        {QStringLiteral("data"), QStringLiteral("the data itself")},
        {QStringLiteral("clientPackageType"), QStringLiteral("kind of payload")},
        {QStringLiteral("broadcast"), QStringLiteral("whether the write goes to all devices")},
        {QStringLiteral("fileNameWithPath"), QStringLiteral("name of the file")},
        {QStringLiteral("fileNameWithPathSize"), QStringLiteral("size of the file name")},
        {QStringLiteral("fileNameSize"), QStringLiteral("size of the file name")},
        {QStringLiteral("offset"), QStringLiteral("where in the file or memory it begins")},
        {QStringLiteral("id"), QStringLiteral("id of the special request")},
        {QStringLiteral("strData"), QStringLiteral("text of the special request")},
        {QStringLiteral("checksum"),
         QStringLiteral("0x5555 plus all bytes from offset 2 on, modulo 0x10000")},
        {QStringLiteral("type"), QStringLiteral("what the item of the combination is")},
    };
    return descriptions.value(name);
}

QString nameOf(const WireField &field)
{
    const QString name = QString::fromLatin1(field.name);
    return field.type == WireType::TextSize ? name + QLatin1String("Size") : name;
}

bool isCountOfBytes(const QString &name)
{
    return name.endsWith(QLatin1String("Length")) || name.endsWith(QLatin1String("Size"))
        || name == QLatin1String("offset");
}

/// Makes explained fields of those of a scanner.
class Explainer : public FieldSink
{
public:
    /// @param frame is empty for a record, whose columns come with the fields.
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
        explained.name = nameOf(field);
        explained.column = field.column;
        explained.offset = static_cast<int>(field.offset);
        explained.width = static_cast<int>(field.present);
        explained.raw = field.column < 0 ? m_frame.mid(explained.offset, explained.width)
                                         : field.text.toString().toUtf8();
        WireField taken = field;
        // The readers of byte frames know two codes.
        if (field.type == WireType::ReadWriteCode && m_shape.form == Form::Frame)
            taken.number = field.number == 0 ? OrvexEnum::Read : OrvexEnum::Write;
        explained.value = valueOf(taken, explained);
        explained.meaning = meaningOf(taken, explained);
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
            return field.number == 1;
        case WireType::Text:
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
            return static_cast<qulonglong>(field.number);
        // The length that a data write takes over is never negative.
        if (explained.name == QLatin1String("packageDataLength") && field.column < 0)
            return qMax<qlonglong>(0, field.number);
        return static_cast<qlonglong>(field.number);
    }

    /// A text of a frame; where a decoder keeps what it has, what an earlier field gave.
    QVariant textOf(const WireField &field, const ExplainedField &explained)
    {
        QString &text = m_texts[explained.name];
        const bool keeps = explained.name == QLatin1String("fileNameWithPath");
        if (field.width > 0 || !keeps)
            text.clear();
        if (explained.width == field.width && field.width > 0) {
            const auto size = qstrnlen(field.bytes, static_cast<uint>(field.width));
            text = QString::fromUtf8(field.bytes, static_cast<int>(size));
        }
        return text;
    }

    /// A Linux frame gives the bytes that are there, a byte frame all or none of them.
    QVariant blockOf(const WireField &field, const ExplainedField &explained) const
    {
        if (m_shape.form != Form::Linux && explained.width < field.width)
            return {};
        QByteArray data = explained.raw;
        if (isDataWrite(m_shape.classId))
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

    static QString meaningOf(const WireField &field, const ExplainedField &explained)
    {
        const QStringView name = codeName(field);
        if (!name.isEmpty())
            return name.toString();
        if (field.type == WireType::Number && isCountOfBytes(explained.name))
            return QStringLiteral("bytes");
        if (field.type == WireType::TextSize)
            return QStringLiteral("bytes");
        if (explained.name == QLatin1String("status")) {
            const auto result = static_cast<OrvexEnum::CommResults>(field.number + 1);
            return Korvin::nameOf(Korvin::CommResultNames, result, u"no name").toString();
        }
        return {};
    }

    void remark(const WireField &field, ExplainedField &explained) const
    {
        const FieldFault fault = faultOf(field, m_shape);
        if (fault.fault == Fault::None)
            return;
        explained.remarks << reasonOf(fault);
        const QString consequence = consequenceOf(field, fault.fault, explained);
        if (!consequence.isEmpty())
            explained.remarks << consequence;
    }

    QString consequenceOf(const WireField &field, Fault fault,
                          const ExplainedField &explained) const
    {
        switch (fault) {
        case Fault::Truncated:
            return m_shape.form == Form::Linux ? QStringLiteral("what is missing is read as 0")
                                               : QStringLiteral("read as 0");
        case Fault::LengthTooLarge:
            if (field.type == WireType::Text)
                return QStringLiteral("read as an empty text");
            if (m_shape.form != Form::Linux)
                return QStringLiteral("read as zeros, or left as it was");
            return isDataWrite(m_shape.classId) ? QStringLiteral("what is missing is read as 0")
                                                : QStringLiteral("what is there is read");
        case Fault::UnknownCode:
            if (field.type != WireType::Flag && field.type != WireType::ReadWriteCode)
                return {};
            [[fallthrough]];
        case Fault::NotANumber:
        case Fault::OutOfRange:
        case Fault::UnknownName:
            return QStringLiteral("read as %1")
                .arg(explained.meaning.isEmpty() || field.type == WireType::Number
                         ? valueForPeople(explained)
                         : explained.meaning);
        default:
            return {};
        }
    }

    MessageShape m_shape;
    QByteArray m_frame;
    QMap<QString, QString> m_texts;
    QVector<ExplainedField> m_fields;
};

/// Where the fields that an encoder writes lie, to compare with what a decoder reads there.
class WrittenFields : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        if (field.present > 0 || field.column >= 0)
            m_fields.append({nameOf(field), field.column, field.offset, field.present});
    }

    /// The names of the fields that lie over @p field, without its own.
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

/// Adds what no field covers, and remarks what two fields cover.
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
            field.remarks << QStringLiteral("reads bytes of the field in front once more");
        end = qMax(end, field.offset + field.width);
        complete.append(field);
    }
    addUnread(static_cast<int>(frame.size()));
    fields = complete;
}

QVector<ExplainedField> explainFrame(const QByteArray &frame, const MessageShape &shape)
{
    Explainer explainer(shape, frame);
    WrittenFields written;
    if (shape.form == Form::Linux) {
        scanLinuxFrame(frame, shape, explainer);
    } else {
        scanFrame<FrameAsRead<FrameScanner>>(frame, shape, explainer);
        scanFrame<FrameAsWritten>(frame, shape, written);
    }
    QVector<ExplainedField> fields = explainer.take();
    completeFrame(fields, frame);
    remarkWritten(fields, written);
    return fields;
}

/// Adds the columns that are not read, and remarks those that are read twice.
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
                field->remarks << QStringLiteral("reads the column once more");
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
    RecordScanner asRead(record, explainer);
    scanRecordAsRead(asRead, shape);
    RecordScanner asWritten(record, written);
    scanRecordAsWritten(asWritten, shape);
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

/// An item of a combination; @p goesOn becomes false where the decoder ends with it.
QVector<ExplainedField> explainItem(QStringView item, bool *goesOn)
{
    Korvin::TextParts props(item, '^');
    const QStringView word = props.next();
    const QStringView record = props.atEnd() ? QStringView() : props.next();
    if (word.size() == item.size() || !props.atEnd()) {
        *goesOn = false;
        return {unreadItem(item, "not two parts with a ^ between them: the decoder ends here")};
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

/// Runs an explanation of an input of @p size; out of memory gives none.
template <typename Explain>
QVector<ExplainedField> guardedExplain(qint64 size, Explain &&run)
{
    try {
        Korvin::checkedSize(size); // positions are ints
        return run();
    } catch (const std::bad_alloc &) {
        return {};
    }
}

} // namespace

QVector<ExplainedField> explain(const QByteArray &input, const MessageShape &shape)
{
    if (!exists(shape))
        return {};
    return guardedExplain(input.size(), [&] {
        return shape.form == Form::Text ? explain(textFromUtf8(input), shape)
                                        : explainFrame(input, shape);
    });
}

QVector<ExplainedField> explain(const QString &record, const MessageShape &shape)
{
    if (!exists(shape) || shape.form != Form::Text)
        return {};
    return guardedExplain(record.size(), [&] {
        return shape.classId == ClassId::PackageRequestCombination ? explainCombination(record)
                                                                   : explainRecord(record, shape);
    });
}

QJsonArray explanationToJson(const QVector<ExplainedField> &fields)
{
    QJsonArray array;
    for (const ExplainedField &field : fields) {
        QJsonObject json{
            {QStringLiteral("name"), field.name},
            {QStringLiteral("offset"), field.offset},
            {QStringLiteral("width"), field.width},
        };
        const bool isText = field.column >= 0 || field.item > 0;
        json.insert(QStringLiteral("raw"),
                    isText ? textFromUtf8(field.raw) : QString::fromLatin1(field.raw.toHex()));
        if (field.column >= 0)
            json.insert(QStringLiteral("column"), field.column);
        if (field.item > 0)
            json.insert(QStringLiteral("item"), field.item);
        if (field.value.userType() == QMetaType::QByteArray)
            json.insert(QStringLiteral("value"),
                        QString::fromLatin1(field.value.toByteArray().toHex()));
        else if (field.value.userType() == QMetaType::ULongLong)
            json.insert(QStringLiteral("value"), numberToJson(field.value.toULongLong()));
        else if (field.value.isValid())
            json.insert(QStringLiteral("value"), QJsonValue::fromVariant(field.value));
        if (!field.meaning.isEmpty())
            json.insert(QStringLiteral("meaning"), field.meaning);
        if (!field.description.isEmpty())
            json.insert(QStringLiteral("description"), field.description);
        if (!field.remarks.isEmpty())
            json.insert(QStringLiteral("remarks"), QJsonArray::fromStringList(field.remarks));
        array.append(json);
    }
    return array;
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

} // namespace KorvinInspect
