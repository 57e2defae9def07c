#include "include/packagecheck.h"

#include "classlayouts_p.h"
#include "fieldrules_p.h"
#include "include/inputtext.h"
#include "memory_p.h"
#include "valuetext_p.h"

#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <cstring>

namespace KorvinInspect {

namespace {

/// Keeps the first reason to refuse the input.
class FirstRefusal : public FieldSink
{
public:
    explicit FirstRefusal(const MessageShape &shape)
        : m_shape(shape)
    {
    }

    void add(const WireField &field) override
    {
        if (!m_verdict.isOk())
            return;
        if (field.type == WireType::Checksum)
            endAt(field.offset);
        FieldRefusal refusal = refusalOf(field, m_shape);
        if (refusal.refusal == Refusal::None)
            refusal = contradiction(field);
        if (m_verdict.isOk() && refusal.refusal != Refusal::None) {
            m_verdict.refusal = refusal.refusal;
            m_verdict.field = QString::fromLatin1(field.name);
            m_verdict.position = field.column < 0 ? static_cast<int>(field.offset) : field.column;
            m_verdict.expected = refusal.expected;
            m_verdict.found = refusal.found;
        }
        m_end = qMax(m_end, field.offset + field.width);
    }

    /// Expects that the fields end at @p end.
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
    /// Compares a field with an earlier one that stands for the same field of the package.
    FieldRefusal contradiction(const WireField &field)
    {
        if (!field.source)
            return {};
        const auto *const earlier =
            std::find_if(m_seen.begin(), m_seen.end(), [&](const WireField &seen) {
                return seen.type == field.type && seen.source == field.source;
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
            return {Refusal::Contradiction, QStringLiteral("the same bytes"),
                    QStringLiteral("others")};
        return {Refusal::Contradiction, QString::number(earlier->number),
                QString::number(field.number)};
    }

    MessageShape m_shape;
    Verdict m_verdict;
    qint64 m_end = 0;
    QVarLengthArray<WireField, 32> m_seen; // more than a frame or record has different ones
};

Verdict wrongCount(int expected, int found, const char *what)
{
    Verdict verdict;
    verdict.refusal = found < expected ? Refusal::TooFewFields : Refusal::TooManyFields;
    verdict.position = qMin(expected, found);
    verdict.expected = QStringLiteral("%1 %2").arg(expected).arg(QLatin1String(what));
    verdict.found = QString::number(found);
    return verdict;
}

Verdict checkRecord(QStringView record, const MessageShape &shape)
{
    FirstRefusal sink(shape);
    RecordScanner scanner(record, sink);
    const Korvin::ClassRow &row = rowOf(shape);
    const bool isReply = shape.direction == Direction::Reply;
    const int needed = Korvin::neededColumns(row, isReply);
    const int written = Korvin::writtenColumns(row, isReply);
    if (scanner.count() < needed)
        return wrongCount(needed, scanner.count(), "columns");
    if (scanner.count() > written)
        return wrongCount(written, scanner.count(), "columns");
    scanRecordAsWritten(scanner, row, isReply);
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

Verdict checkItem(QStringView item)
{
    const auto parts = static_cast<int>(std::count(item.begin(), item.end(), QLatin1Char('^'))) + 1;
    if (parts != 2)
        return wrongCount(2, parts, "parts");
    Korvin::TextParts props(item, '^');
    const QStringView word = props.next();
    const std::optional<ClassId> id = classOfType(word);
    if (id)
        return checkRecord(props.next(), {*id, Form::Text, Direction::Request});
    Verdict verdict;
    verdict.refusal = Refusal::UnknownType;
    verdict.field = QStringLiteral("type");
    verdict.expected = QLatin1String("one of ") + typeWords().join(QLatin1String(", "));
    verdict.found = QStringLiteral("type word \"%1\"").arg(printable(word.toString(), 20));
    return verdict;
}

Verdict checkCombination(QStringView record)
{
    int number = 0;
    for (Korvin::TextParts items(record, '|'); !items.atEnd();) {
        Verdict verdict = checkItem(items.next());
        ++number;
        if (!verdict.isOk()) {
            verdict.item = number;
            return verdict;
        }
    }
    return {};
}

Verdict checkText(QStringView record, const MessageShape &shape)
{
    return rowOf(shape).base == Korvin::Base::Items ? checkCombination(record)
                                                    : checkRecord(record, shape);
}

Verdict checkBytes(const QByteArray &frame, const MessageShape &shape)
{
    FirstRefusal sink(shape);
    if (shape.form == Form::Frame) {
        scanFrameAsWritten(frame, shape, sink);
        sink.endAt(frame.size());
        return sink.verdict();
    }
    constexpr int Smallest = Korvin::LinuxHeader::Size + Korvin::LinuxHeader::ChecksumSize;
    if (frame.size() >= Smallest) {
        scanLinuxFrame(frame, shape, sink);
        return sink.verdict();
    }
    Verdict verdict;
    verdict.refusal = Refusal::Truncated;
    verdict.position = static_cast<int>(frame.size());
    verdict.expected = QStringLiteral("at least %1 bytes").arg(Smallest);
    verdict.found = byteCount(frame.size());
    return verdict;
}

Verdict refused(Refusal refusal)
{
    Verdict verdict;
    verdict.refusal = refusal;
    return verdict;
}

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

QString describe(const Verdict &verdict)
{
    QString place;
    if (verdict.item > 0)
        place += QStringLiteral("item %1, ").arg(verdict.item);
    if (!verdict.field.isEmpty())
        place += QStringLiteral("%1 at %2: ").arg(verdict.field).arg(verdict.position);
    else if (verdict.refusal == Refusal::TrailingBytes || verdict.refusal == Refusal::Truncated)
        place += QStringLiteral("at %1: ").arg(verdict.position);
    return place + reasonOf({verdict.refusal, verdict.expected, verdict.found});
}

Verdict check(const QByteArray &input, const MessageShape &shape)
{
    return guardedCheck(input.size(), shape, [&] {
        if (shape.form != Form::Text)
            return checkBytes(input, shape);
        const QString record = textFromUtf8(input);
        return record.toUtf8() == input ? checkText(record, shape) : refused(Refusal::NotUtf8);
    });
}

Verdict check(const QString &record, const MessageShape &shape)
{
    if (shape.form != Form::Text)
        return refused(Refusal::NoSuchForm);
    return guardedCheck(record.size(), shape, [&] { return checkText(record, shape); });
}

} // namespace KorvinInspect
