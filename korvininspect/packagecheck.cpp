#include <korvininspect/packagecheck.h>

#include "packagecheck_p.h"

#include "acceptance_p.h"
#include "classlayouts_p.h"
#include "fieldcopies_p.h"
#include "fieldrules_p.h"
#include "memory_p.h"
#include "utf8_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>

#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <cstring>

namespace KorvinInspect {

namespace {

using WireFields = QVarLengthArray<WireField, 32>; // more than any frame or record needs

/// Collects the fields of a request that its reply must repeat.
class RequestFields : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        const bool isCompared = identifiesRequest(field.type) || field.type == WireType::Length;
        if (isCompared && field.present == field.width) // only a wrong request is cut off
            m_fields.append(field);
    }

    /// Returns the field of the request that corresponds to one of the reply, or null. Replies have
    /// the fields in the same order.
    const WireField *find(const WireField &field)
    {
        for (int i = 0; i < m_fields.size(); ++i, ++m_next) {
            const WireField &candidate = m_fields.at(m_next % m_fields.size());
            if (candidate.source == field.source && candidate.type == field.type)
                return &candidate;
        }
        return nullptr;
    }

private:
    WireFields m_fields;
    int m_next = 0;
};

bool isText(const WireField &field)
{
    return field.type == WireType::Text || field.type == WireType::EscapedText;
}

/// Compares the values of two fields.
bool isSame(const WireField &one, const WireField &other)
{
    if (!isText(one))
        return one.number == other.number;
    if (one.column >= 0)
        return one.text == other.text;
    return one.width == other.width
        && std::memcmp(one.bytes, other.bytes, static_cast<size_t>(one.width)) == 0;
}

/// Returns the value of a field for people.
QString inWords(const WireField &field)
{
    constexpr int MaxCharacters = 40;
    if (!isText(field))
        return QString::number(field.number);
    const QString text = field.column >= 0
        ? field.text.toString()
        : textFromUtf8(QByteArray(field.bytes, static_cast<int>(field.width)));
    return QLatin1Char('"') + printable(text, MaxCharacters) + QLatin1Char('"');
}

/// Keeps the first reason to refuse the input.
class FirstRefusal : public FieldSink
{
public:
    /// @param request has the fields that a reply must repeat; it may be empty.
    FirstRefusal(const MessageShape &shape, int announcedData, RequestFields *request, Words words)
        : m_shape(shape)
        , m_announcedData(announcedData)
        , m_request(request)
        , m_words(words)
    {
    }

    void add(const WireField &field) override
    {
        if (!m_verdict.isOk())
            return;
        if (field.type == WireType::Checksum)
            endAt(field.offset);
        FieldRefusal refusal = refusalOf(field, m_shape, m_words);
        if (refusal.refusal == Refusal::None)
            refusal = contradiction(field);
        if (refusal.refusal == Refusal::None)
            refusal = excess(field, m_announcedData);
        if (refusal.refusal == Refusal::None)
            refusal = difference(field);
        if (m_verdict.isOk() && refusal.refusal != Refusal::None) {
            m_verdict.refusal = refusal.refusal;
            m_verdict.field = QString::fromLatin1(field.name);
            m_verdict.position = field.column < 0 ? static_cast<int>(field.offset) : field.column;
            m_verdict.expected = refusal.expected;
            m_verdict.found = refusal.found;
        }
        m_end = qMax(m_end, field.offset + field.width);
    }

    /// Checks that the fields end at @p end.
    void endAt(qint64 end)
    {
        if (!m_verdict.isOk() || m_end >= end)
            return;
        m_verdict.refusal = Refusal::TrailingBytes;
        m_verdict.position = static_cast<int>(m_end);
        m_verdict.expected = byteCount(m_end);
        m_verdict.found = byteCount(end);
    }

    Verdict verdict() const { return m_verdict; }

private:
    /// Compares a field with an earlier copy of it.
    FieldRefusal contradiction(const WireField &field)
    {
        const FieldCopies::Copy *earlier = m_copies.firstOf(field);
        if (!earlier || earlier->isSameAs(field))
            return {};
        if (earlier->number == field.number)
            return {Refusal::Contradiction, QStringLiteral("the same bytes"),
                    QStringLiteral("others")};
        return {Refusal::Contradiction, QString::number(earlier->number),
                QString::number(field.number)};
    }

    static FieldRefusal excess(const WireField &field, qint64 most)
    {
        if (field.number <= most || field.type != WireType::Length)
            return {};
        return {Refusal::OutOfRange, QStringLiteral("a length of at most %1").arg(most),
                QString::number(field.number)};
    }

    /// Compares a field of a reply with that of its request.
    FieldRefusal difference(const WireField &field)
    {
        const WireField *asked = m_request->find(field);
        if (!asked)
            return {};
        if (field.type == WireType::Length)
            return excess(field, asked->number);
        if (isSame(field, *asked))
            return {};
        return {Refusal::OtherRequest, inWords(*asked), inWords(field)};
    }

    MessageShape m_shape;
    qint64 m_announcedData;
    RequestFields *m_request;
    Verdict m_verdict;
    Words m_words;
    qint64 m_end = 0;
    FieldCopies m_copies;
};

Verdict wrongCount(int expected, int found, const char *what, Words words)
{
    Verdict verdict = refused(found < expected ? Refusal::TooFewFields : Refusal::TooManyFields);
    verdict.position = qMin(expected, found);
    if (words == Words::Without)
        return verdict;
    verdict.expected = QStringLiteral("%1 %2").arg(expected).arg(QLatin1String(what));
    verdict.found = QString::number(found);
    return verdict;
}

/// The input of a check and the conditions on it.
struct Task
{
    const MessageShape &shape;
    const CheckOptions &options;
    Words words = Words::With;
};

MessageShape requestOf(const MessageShape &shape)
{
    return {shape.classId, shape.form, Direction::Request};
}

Verdict checkRecord(QStringView record, const Task &task)
{
    const Korvin::ClassRow &row = rowOf(task.shape);
    const bool isReply = task.shape.direction == Direction::Reply;
    const int columns = columnsOf(record);
    const int needed = Korvin::neededColumns(row, isReply);
    const int written = Korvin::writtenColumns(row, isReply);
    if (columns < needed)
        return wrongCount(needed, columns, "columns", task.words);
    if (columns > written)
        return wrongCount(written, columns, "columns", task.words);
    Korvin::LayoutFields fields;
    QString request; // the memory that the fields of the request refer to
    RequestFields asked;
    if (!task.options.request.isEmpty()) {
        request = withoutData(task.options.request, task.shape);
        RecordScanner scanner(request, asked);
        scanRecordAsWritten(scanner, row, false, fields);
    }
    FirstRefusal sink(task.shape, task.options.announcedData, &asked, task.words);
    RecordScanner scanner(record, sink);
    scanRecordAsWritten(scanner, row, isReply, fields);
    return sink.verdict();
}

QStringList typeWords()
{
    QStringList words;
    for (const Korvin::ClassRow &row : Korvin::Classes) {
        if (!row.typeWord.isEmpty())
            words << row.typeWord.toString();
    }
    return words;
}

Verdict checkItem(QStringView item, const CheckOptions &options)
{
    const auto parts = static_cast<int>(std::count(item.begin(), item.end(), QLatin1Char('^'))) + 1;
    if (parts != 2)
        return wrongCount(2, parts, "parts", Words::With);
    Korvin::TextParts props(item, '^');
    const QStringView word = props.next();
    const std::optional<ClassId> id = classOfType(word);
    if (id)
        return checkRecord(props.next(), {{*id, Form::Text, Direction::Request}, options});
    Verdict verdict = refused(Refusal::UnknownType);
    verdict.field = QStringLiteral("type");
    verdict.expected = QLatin1String("one of ") + typeWords().join(QLatin1String(", "));
    verdict.found = QStringLiteral("type word \"%1\"").arg(printable(word.toString(), 20));
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
    return rowOf(task.shape).base == Korvin::Base::Items ? checkCombination(record, task.options)
                                                         : checkRecord(record, task);
}

void scanBytes(const QByteArray &frame, const MessageShape &shape, Korvin::LayoutFields &fields,
               FieldSink &sink)
{
    if (shape.form == Form::Frame)
        scanFrameAsWritten(frame, shape, fields, sink);
    else
        scanLinuxFrame(frame, shape, fields, sink);
}

Verdict checkBytes(const QByteArray &frame, const Task &task)
{
    constexpr int Smallest = Korvin::LinuxHeader::Size + Korvin::LinuxHeader::ChecksumSize;
    if (task.shape.form == Form::Linux && frame.size() < Smallest) {
        Verdict verdict = refused(Refusal::Truncated);
        verdict.position = static_cast<int>(frame.size());
        verdict.expected = QStringLiteral("at least %1 bytes").arg(Smallest);
        verdict.found = byteCount(frame.size());
        return verdict;
    }
    Korvin::LayoutFields fields;
    RequestFields asked;
    if (!task.options.request.isEmpty())
        scanBytes(task.options.request, requestOf(task.shape), fields, asked);
    FirstRefusal sink(task.shape, task.options.announcedData, &asked, task.words);
    scanBytes(frame, task.shape, fields, sink);
    if (task.shape.form == Form::Frame)
        sink.endAt(frame.size());
    return sink.verdict();
}

/// Returns whether the input is UTF-8 whose text is @p record.
bool isUtf8(const QByteArray &input, const QString &record)
{
    return Korvin::isPlainAscii(input.constData(), Korvin::checkedSize(input.size()))
        || record.toUtf8() == input;
}

/// Checks an input. Looks for the reason to refuse it only if there is one.
/// @{
Verdict checkKnown(const QByteArray &frame, const Task &task)
{
    return isAcceptable(frame, task.shape, task.options) ? Verdict() : checkBytes(frame, task);
}

Verdict checkKnown(const QString &record, const Task &task)
{
    return isAcceptable(record, task.shape, task.options) ? Verdict() : checkText(record, task);
}
/// @}

/// Runs a check of an input of @p size for a shape that exists.
template <typename Check>
Verdict guardedCheck(qint64 size, const MessageShape &shape, Check run)
{
    const auto checkSize = [&] {
        Korvin::checkedSize(size); // positions are ints
        return exists(shape) ? run() : refused(Refusal::NoSuchForm);
    };
    return Korvin::guarded(checkSize, refused(Refusal::OutOfMemory));
}

} // namespace

TriedInput::TriedInput(const QByteArray &input)
    : bytes(input)
    , record(textFromUtf8(input))
    , isUtf8(record.toUtf8() == input)
{
}

Verdict checkTried(const TriedInput &input, const MessageShape &shape, Words words)
{
    const Task task{shape, CheckOptions(), words};
    if (shape.form != Form::Text)
        return checkBytes(input.bytes, task);
    return input.isUtf8 ? checkText(input.record, task) : refused(Refusal::NotUtf8);
}

QString describe(const Verdict &verdict)
{
    QString place;
    if (verdict.item > 0)
        place += QStringLiteral("item %1, ").arg(verdict.item);
    if (!verdict.field.isEmpty() && verdict.position < 0)
        place += verdict.field + QLatin1String(": ");
    else if (!verdict.field.isEmpty())
        place += QStringLiteral("%1 at %2: ").arg(verdict.field).arg(verdict.position);
    else if (verdict.refusal == Refusal::TrailingBytes || verdict.refusal == Refusal::Truncated)
        place += QStringLiteral("at %1: ").arg(verdict.position);
    return place + reasonOf({verdict.refusal, verdict.expected, verdict.found});
}

Verdict check(const QByteArray &input, const MessageShape &shape)
{
    return check(input, shape, CheckOptions());
}

Verdict check(const QByteArray &input, const MessageShape &shape, const CheckOptions &options)
{
    return guardedCheck(input.size(), shape, [&] {
        if (shape.form != Form::Text)
            return checkKnown(input, {shape, options});
        const QString record = textFromUtf8(input);
        return isUtf8(input, record) ? checkKnown(record, {shape, options})
                                     : refused(Refusal::NotUtf8);
    });
}

Verdict check(const QString &record, const MessageShape &shape)
{
    return check(record, shape, CheckOptions());
}

Verdict check(const QString &record, const MessageShape &shape, const CheckOptions &options)
{
    if (shape.form != Form::Text)
        return refused(Refusal::NoSuchForm);
    return guardedCheck(record.size(), shape, [&] { return checkKnown(record, {shape, options}); });
}

} // namespace KorvinInspect
