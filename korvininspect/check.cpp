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

/// Keeps the first fault.
class FirstFault : public FieldSink
{
public:
    explicit FirstFault(const MessageShape &shape)
        : m_shape(shape)
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
                return seen.type == field.type && std::strcmp(seen.name, field.name) == 0;
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

    MessageShape m_shape;
    Verdict m_verdict;
    qint64 m_end = 0;
    QVarLengthArray<WireField, 32> m_seen; // more than a frame or record has different ones
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

Verdict checkRecord(QStringView record, const MessageShape &shape)
{
    FirstFault sink(shape);
    RecordScanner scanner(record, sink);
    if (scanner.count() < neededColumns(shape))
        return countFault(neededColumns(shape), scanner.count(), "columns");
    if (scanner.count() > writtenColumns(shape))
        return countFault(writtenColumns(shape), scanner.count(), "columns");
    scanRecordAsWritten(scanner, shape);
    return sink.verdict();
}

Verdict checkItem(QStringView item)
{
    const auto parts = static_cast<int>(std::count(item.begin(), item.end(), QLatin1Char('^'))) + 1;
    if (parts != 2)
        return countFault(2, parts, "parts");
    Korvin::TextParts props(item, '^');
    const QStringView word = props.next();
    const std::optional<ClassId> id = classOfType(word);
    if (id)
        return checkRecord(props.next(), {*id, Form::Text, Direction::Request});
    Verdict verdict;
    verdict.fault = Fault::UnknownType;
    verdict.field = QStringLiteral("type");
    verdict.expected = QStringLiteral("writeData, writeFile, ReadData or ReadFile");
    verdict.found = QLatin1Char('"') + printable(word.toString(), 20) + QLatin1Char('"');
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
    return shape.classId == ClassId::PackageRequestCombination ? checkCombination(record)
                                                               : checkRecord(record, shape);
}

Verdict checkBytes(const QByteArray &frame, const MessageShape &shape)
{
    FirstFault sink(shape);
    if (shape.form == Form::Frame) {
        scanFrame<FrameAsWritten>(frame, shape, sink);
        sink.endAt(frame.size());
        return sink.verdict();
    }
    constexpr int Smallest = Korvin::LinuxHeader::Size + Korvin::LinuxHeader::ChecksumSize;
    if (frame.size() >= Smallest) {
        scanLinuxFrame(frame, shape, sink);
        return sink.verdict();
    }
    Verdict verdict;
    verdict.fault = Fault::Truncated;
    verdict.position = static_cast<int>(frame.size());
    verdict.expected = QStringLiteral("at least %1 bytes").arg(Smallest);
    verdict.found = byteCount(frame.size());
    return verdict;
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
    return guardedCheck(input.size(), shape, [&] {
        if (shape.form != Form::Text)
            return checkBytes(input, shape);
        const QString record = textFromUtf8(input);
        return record.toUtf8() == input ? checkText(record, shape) : refused(Fault::NotUtf8);
    });
}

Verdict check(const QString &record, const MessageShape &shape)
{
    if (shape.form != Form::Text)
        return refused(Fault::NoSuchForm);
    return guardedCheck(record.size(), shape, [&] { return checkText(record, shape); });
}

} // namespace KorvinInspect
