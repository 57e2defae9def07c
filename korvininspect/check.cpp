#include "classlayouts_p.h"
#include "fieldrules_p.h"
#include "memory_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>

#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <cstring>
#include <new>

namespace KorvinInspect {

namespace {

using Fields = QVarLengthArray<WireField, 32>; // more than a frame or record has different ones

/// Keeps what a reply must repeat of its request.
class RequestFields : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        if (identifiesRequest(field) || isDataLength(field))
            m_fields.append(field);
    }

    /// The field of that name, or null. Replies have the fields in the order of the request.
    const WireField *find(const char *name)
    {
        for (int i = 0; i < m_fields.size(); ++i, ++m_next) {
            const WireField &field = m_fields.at(m_next % m_fields.size());
            if (isNamed(field, name))
                return &field;
        }
        return nullptr;
    }

private:
    Fields m_fields;
    int m_next = 0;
};

/// What stands in two fields is the same.
bool isSame(const WireField &one, const WireField &other)
{
    const bool isText = one.type == WireType::Text || one.type == WireType::EscapedText;
    if (!isText)
        return one.number == other.number;
    if (one.column >= 0)
        return one.text == other.text;
    return one.width == other.width
        && std::memcmp(one.bytes, other.bytes, static_cast<size_t>(one.width)) == 0;
}

/// A field for people.
QString inWords(const WireField &field)
{
    constexpr int MaxCharacters = 40;
    if (field.type != WireType::Text && field.type != WireType::EscapedText)
        return QString::number(field.number);
    const QString text = field.column >= 0
        ? field.text.toString()
        : textFromUtf8(QByteArray(field.bytes, static_cast<int>(field.width)));
    return QLatin1Char('"') + printable(text, MaxCharacters) + QLatin1Char('"');
}

/// Keeps the first fault.
class FirstFault : public FieldSink
{
public:
    /// @param request has the fields that a reply must repeat, or none.
    FirstFault(const MessageShape &shape, int announcedData, RequestFields *request)
        : m_shape(shape)
        , m_announcedData(announcedData)
        , m_request(request)
    {
    }

    void add(const WireField &field) override
    {
        if (!m_verdict.isOk())
            return;
        if (field.type == WireType::Checksum)
            endAt(field.offset);
        FieldFault fault = faultOf(field, m_shape);
        if (fault.fault == Fault::None)
            fault = contradiction(field);
        if (fault.fault == Fault::None)
            fault = excess(field, m_announcedData);
        if (fault.fault == Fault::None)
            fault = difference(field);
        if (m_verdict.isOk() && fault.fault != Fault::None) {
            m_verdict.fault = fault.fault;
            m_verdict.field = QString::fromLatin1(field.name);
            m_verdict.position = field.column < 0 ? static_cast<int>(field.offset) : field.column;
            m_verdict.expected = fault.expected;
            m_verdict.found = fault.found;
        }
        m_end = qMax(m_end, field.offset + field.width);
    }

    /// Expects that the fields end at @p end.
    void endAt(qint64 end)
    {
        if (!m_verdict.isOk() || m_end >= end)
            return;
        m_verdict.fault = Fault::TrailingBytes;
        m_verdict.position = static_cast<int>(m_end);
        m_verdict.expected = byteCount(m_end);
        m_verdict.found = byteCount(end);
    }

    Verdict verdict() const { return m_verdict; }

private:
    /// An encoder takes fields of the same name from the same field of its package.
    FieldFault contradiction(const WireField &field)
    {
        if (field.type == WireType::Constant || field.type == WireType::Gap)
            return {};
        const auto *const earlier =
            std::find_if(m_seen.begin(), m_seen.end(), [&](const WireField &seen) {
                return seen.type == field.type && isNamed(seen, field.name);
            });
        if (earlier == m_seen.end()) {
            m_seen.append(field);
            return {};
        }
        const bool same = earlier->number == field.number
            && (!field.bytes
                || std::memcmp(earlier->bytes, field.bytes, static_cast<size_t>(field.width)) == 0);
        if (same)
            return {};
        if (earlier->number == field.number)
            return {Fault::Contradiction, QStringLiteral("the same bytes"),
                    QStringLiteral("others")};
        return {Fault::Contradiction, QString::number(earlier->number),
                QString::number(field.number)};
    }

    static FieldFault excess(const WireField &field, qint64 most)
    {
        if (field.number <= most || !isDataLength(field))
            return {};
        return {Fault::OutOfRange, QStringLiteral("a length of at most %1").arg(most),
                QString::number(field.number)};
    }

    /// Compares a field of a reply with that of its request.
    FieldFault difference(const WireField &field)
    {
        const WireField *asked = m_request->find(field.name);
        if (!asked)
            return {};
        if (isDataLength(field))
            return excess(field, asked->number);
        if (!identifiesRequest(field) || isSame(field, *asked))
            return {};
        return {Fault::OtherRequest, inWords(*asked), inWords(field)};
    }

    MessageShape m_shape;
    qint64 m_announcedData;
    RequestFields *m_request;
    Verdict m_verdict;
    qint64 m_end = 0;
    Fields m_seen;
};

Verdict countFault(int expected, int found, const char *what)
{
    Verdict verdict;
    verdict.fault = found < expected ? Fault::TooFewFields : Fault::TooManyFields;
    verdict.position = qMin(expected, found);
    verdict.expected = QStringLiteral("%1 %2").arg(expected).arg(QLatin1String(what));
    verdict.found = QString::number(found);
    return verdict;
}

/// The input of a check, and what it must hold to.
struct Task
{
    const MessageShape &shape;
    const CheckOptions &options;
};

MessageShape requestOf(const MessageShape &shape)
{
    return {shape.classId, shape.form, Direction::Request};
}

Verdict checkRecord(QStringView record, const Task &task)
{
    const MessageShape &shape = task.shape;
    QString request; // to which its fields refer
    RequestFields asked;
    if (!task.options.request.isEmpty()) {
        request = textFromUtf8(task.options.request);
        RecordScanner scanner(request, asked);
        scanRecordAsWritten(scanner, requestOf(shape));
    }
    FirstFault sink(shape, task.options.announcedData, &asked);
    RecordScanner scanner(record, sink);
    if (scanner.count() < neededColumns(shape))
        return countFault(neededColumns(shape), scanner.count(), "columns");
    if (scanner.count() > writtenColumns(shape))
        return countFault(writtenColumns(shape), scanner.count(), "columns");
    scanRecordAsWritten(scanner, shape);
    return sink.verdict();
}

Verdict checkItem(QStringView item, const CheckOptions &options)
{
    const auto parts = static_cast<int>(std::count(item.begin(), item.end(), QLatin1Char('^'))) + 1;
    if (parts != 2)
        return countFault(2, parts, "parts");
    Korvin::TextParts props(item, '^');
    const QStringView word = props.next();
    const std::optional<ClassId> id = classOfType(word);
    if (id)
        return checkRecord(props.next(), {{*id, Form::Text, Direction::Request}, options});
    Verdict verdict;
    verdict.fault = Fault::UnknownType;
    verdict.field = QStringLiteral("type");
    verdict.expected = QStringLiteral("writeData, writeFile, ReadData or ReadFile");
    verdict.found = QLatin1Char('"') + printable(word.toString(), 20) + QLatin1Char('"');
    return verdict;
}

Verdict checkCombination(QStringView record, const CheckOptions &options)
{
    int number = 0;
    for (Korvin::TextParts items(record, '|'); !items.atEnd();) {
        Verdict verdict = checkItem(items.next(), options);
        ++number;
        if (!verdict.isOk()) {
            verdict.item = number;
            return verdict;
        }
    }
    return {};
}

Verdict checkText(QStringView record, const Task &task)
{
    return task.shape.classId == ClassId::PackageRequestCombination
        ? checkCombination(record, task.options)
        : checkRecord(record, task);
}

void scanFrameAsWritten(const QByteArray &frame, const MessageShape &shape, FieldSink &sink)
{
    if (shape.form == Form::Frame)
        scanFrame<FrameAsWritten>(frame, shape, sink);
    else
        scanLinuxFrame(frame, shape, sink);
}

Verdict checkBytes(const QByteArray &frame, const Task &task)
{
    constexpr int Smallest = Korvin::LinuxHeader::Size + Korvin::LinuxHeader::ChecksumSize;
    if (task.shape.form == Form::Linux && frame.size() < Smallest) {
        Verdict verdict;
        verdict.fault = Fault::Truncated;
        verdict.position = static_cast<int>(frame.size());
        verdict.expected = QStringLiteral("at least %1 bytes").arg(Smallest);
        verdict.found = byteCount(frame.size());
        return verdict;
    }
    RequestFields asked;
    if (!task.options.request.isEmpty())
        scanFrameAsWritten(task.options.request, requestOf(task.shape), asked);
    FirstFault sink(task.shape, task.options.announcedData, &asked);
    scanFrameAsWritten(frame, task.shape, sink);
    if (task.shape.form == Form::Frame)
        sink.endAt(frame.size());
    return sink.verdict();
}

Verdict refused(Fault fault)
{
    Verdict verdict;
    verdict.fault = fault;
    return verdict;
}

/// Runs a check of an input of @p size for a shape that exists.
template <typename Check>
Verdict guardedCheck(qint64 size, const MessageShape &shape, Check &&run)
{
    try {
        Korvin::checkedSize(size); // positions are ints
        return exists(shape) ? run() : refused(Fault::NoSuchForm);
    } catch (const std::bad_alloc &) {
        return refused(Fault::OutOfMemory);
    }
}

} // namespace

QString describe(const Verdict &verdict)
{
    QString place;
    if (verdict.item > 0)
        place += QStringLiteral("item %1, ").arg(verdict.item);
    if (!verdict.field.isEmpty())
        place += QStringLiteral("%1 at %2: ").arg(verdict.field).arg(verdict.position);
    else if (verdict.fault == Fault::TrailingBytes || verdict.fault == Fault::Truncated)
        place += QStringLiteral("at %1: ").arg(verdict.position);
    return place + reasonOf({verdict.fault, verdict.expected, verdict.found});
}

Verdict check(const QByteArray &input, const MessageShape &shape)
{
    return check(input, shape, CheckOptions());
}

Verdict check(const QByteArray &input, const MessageShape &shape, const CheckOptions &options)
{
    return guardedCheck(input.size(), shape, [&] {
        if (shape.form != Form::Text)
            return checkBytes(input, {shape, options});
        const QString record = textFromUtf8(input);
        return record.toUtf8() == input ? checkText(record, {shape, options})
                                        : refused(Fault::NotUtf8);
    });
}

Verdict check(const QString &record, const MessageShape &shape)
{
    return check(record, shape, CheckOptions());
}

Verdict check(const QString &record, const MessageShape &shape, const CheckOptions &options)
{
    if (shape.form != Form::Text)
        return refused(Fault::NoSuchForm);
    return guardedCheck(record.size(), shape, [&] { return checkText(record, {shape, options}); });
}

} // namespace KorvinInspect
