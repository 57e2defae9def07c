#include "disagreement_p.h"

#include "classlayouts_p.h"
#include "fieldcopies_p.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace KorvinInspect {

namespace {

/// What a disagreement weighs. A test of broken messages judges these numbers, and the dissector of
/// Wireshark repeats them.
enum Weight : int {
    Unusual = 1,       // code or kind of payload that another class is for
    Value = 4,         // a field that no encoder writes
    NoWord = 2,        // in addition, where the field is a word, and not a number
    Access = 5,        // a read with the code of a write, or a write with that of a read
    Bytes = 2,         // that bytes are missing or left over; in addition each of them:
    MostMissing = 4,   // up to so many that are missing
    MostTrailing = 12, // up to so many that are left over
    Column = 5,        // each column that is missing or left over
    MostOfItem = 8,    // of a combination
    Gap = 4            // that a byte is missing or too much before the last field
};

constexpr int MostShifted = 4096; // of a larger message, no byte or column is looked for

bool isWord(WireType type)
{
    return type == WireType::Flag || type == WireType::ReadWriteCode || type == WireType::Kind
        || type == WireType::CommResult || type == WireType::PackageResult;
}

char lowerCase(QStringView text)
{
    return text.isEmpty() ? '\0' : static_cast<char>(text.front().toLatin1() | 0x20);
}

bool startsWithLetter(QStringView text)
{
    return lowerCase(text) >= 'a' && lowerCase(text) <= 'z';
}

/// Returns whether a word may be another one, misspelt: whether it has the same first letter.
bool resembles(QStringView text, QStringView word)
{
    return lowerCase(text) == lowerCase(word);
}

/// Weighs fields, one after the other. A code of no meaning is judged by its first letter.
class FieldWeight
{
public:
    explicit FieldWeight(const MessageShape &shape)
        : m_shape(shape)
        , m_row(rowOf(shape))
    {
    }

    int of(const WireField &field)
    {
        const Refusal refusal = refusalOf(field, m_shape, Words::Without).refusal;
        if (refusal == Refusal::OtherAccess)
            return Access;
        if (refusal != Refusal::None)
            return Value + weightOfWord(field);
        const FieldCopies::Copy *first = m_copies.firstOf(field);
        if (first && !first->isSameAs(field))
            return Value;
        return isUnusual(field) ? Unusual : 0;
    }

private:
    /// Returns whether a valid field is more probable in another class.
    bool isUnusual(const WireField &field) const
    {
        const bool isWrite = m_row.base == Korvin::Base::Write;
        switch (field.type) {
        case WireType::Kind:
            return field.number != m_row.usualKind;
        case WireType::ReadWriteCode:
            return !isWrite && field.number != OrvexEnum::Read;
        case WireType::Block:
            return !isWrite && m_shape.direction == Direction::Request;
        default:
            return false;
        }
    }

    /// Returns what a word that has no meaning weighs in addition.
    int weightOfWord(const WireField &field) const
    {
        if (field.column < 0 || !isWord(field.type))
            return 0;
        if (!startsWithLetter(field.text))
            return NoWord;
        const bool isOtherKind = field.type == WireType::Kind
            && !resembles(field.text, codeName(WireType::Kind, m_row.usualKind));
        return isOtherKind ? Unusual : 0;
    }

    MessageShape m_shape;
    const Korvin::ClassRow &m_row;
    FieldCopies m_copies;
};

using Weights = QVarLengthArray<int, 32>; // more than the fields of any class

int sumOf(const Weights &weights)
{
    return std::accumulate(weights.begin(), weights.end(), 0);
}

enum class Fault { Missing, Extra };

/// Returns the least weight of a message that lacks something, or has something too much, at one
/// place: @p before is the weight of fields before the place, @p after that of fields after it. A
/// field that lacks something weighs a value less.
int weightAround(Fault fault, const Weights &before, const Weights &after)
{
    int weight = sumOf(after);
    int least = weight;
    for (int i = 0; i < after.size(); ++i) {
        weight -= after.at(i);
        if (fault == Fault::Missing)
            least = qMin(least, weight + qMax(0, after.at(i) - Value));
        if (i == before.size())
            break;
        weight += before.at(i);
        least = qMin(least, weight);
    }
    return least;
}

/// Weighs the fields of a frame, and its size.
class FrameWeights : public FieldSink
{
public:
    FrameWeights(const QByteArray &frame, const MessageShape &shape)
        : m_field(shape)
    {
        Korvin::LayoutFields fields;
        if (shape.form == Form::Linux) {
            scanLinuxFrame(frame, shape, fields, *this);
        } else {
            scanFrameAsWritten(frame, shape, fields, *this);
            endAt(frame.size());
        }
    }

    void add(const WireField &field) override
    {
        if (field.type == WireType::Checksum)
            endAt(field.offset);
        const bool isCut = field.present < field.width;
        if (isCut)
            m_whole = qMin(m_whole, static_cast<int>(m_weights.size()));
        m_weights.append(isCut ? 0 : m_field.of(field));
        m_missing += isCut ? field.width - field.left : 0;
        m_end = qMax(m_end, field.offset + field.width);
    }

    const Weights &fields() const { return m_weights; }

    /// Returns the weights of the fields before the first one that is cut.
    Weights wholeFields() const
    {
        Weights whole = m_weights;
        whole.resize(qMin(m_whole, static_cast<int>(whole.size())));
        return whole;
    }

    int ofSize() const
    {
        return weightOf(m_missing, MostMissing) + weightOf(m_trailing, MostTrailing);
    }

private:
    void endAt(qint64 end) { m_trailing = qMax<qint64>(0, end - m_end); }

    static int weightOf(qint64 count, int most)
    {
        return count == 0 ? 0 : Bytes + static_cast<int>(qMin<qint64>(most, count));
    }

    FieldWeight m_field;
    Weights m_weights;
    int m_whole = std::numeric_limits<int>::max();
    qint64 m_end = 0;
    qint64 m_missing = 0;
    qint64 m_trailing = 0;
};

/// Weighs the columns of a record that are there.
class ColumnWeights : public FieldSink
{
public:
    ColumnWeights(QStringView record, const MessageShape &shape)
        : m_field(shape)
    {
        Korvin::LayoutFields fields;
        RecordScanner scanner(record, *this);
        scanRecordAsWritten(scanner, rowOf(shape), shape.direction == Direction::Reply, fields);
    }

    void add(const WireField &field) override
    {
        m_weights.append(field.present < 0 ? 0 : m_field.of(field));
    }

    const Weights &all() const { return m_weights; }

private:
    FieldWeight m_field;
    Weights m_weights;
};

/// Weighs a record that has a column more or less than it should, which may be any of them.
int weightOfShifted(QStringView record, const MessageShape &shape, Fault fault)
{
    QString longer;
    QStringView shifted = record.mid(record.indexOf(QLatin1Char(',')) + 1);
    if (fault == Fault::Missing) {
        longer = QLatin1Char(',') + record.toString();
        shifted = longer;
    }
    return weightAround(fault, ColumnWeights(record, shape).all(),
                        ColumnWeights(shifted, shape).all());
}

qint64 weightOfRecord(QStringView record, const MessageShape &shape, qint64 enough)
{
    const bool isReply = shape.direction == Direction::Reply;
    const int written = Korvin::writtenColumns(rowOf(shape), isReply);
    const int missing = written - columnsOf(record);
    qint64 weight = Column * qint64(qAbs(missing));
    if (Korvin::neededColumns(rowOf(shape), isReply) > written)
        weight += Value; // no decoder reads what an encoder writes
    if (weight >= enough)
        return weight;
    if (qAbs(missing) == 1 && record.size() <= MostShifted)
        return weight + weightOfShifted(record, shape, missing > 0 ? Fault::Missing : Fault::Extra);
    return weight + sumOf(ColumnWeights(record, shape).all());
}

qint64 weightOfItem(QStringView item)
{
    const auto caret = item.indexOf(QLatin1Char('^'));
    const QStringView type = item.left(qMax<qsizetype>(0, caret));
    if (const std::optional<ClassId> id = classOfType(type)) {
        const MessageShape shape{*id, Form::Text, Direction::Request};
        return qMin<qint64>(MostOfItem, weightOfRecord(item.mid(caret + 1), shape, MostOfItem));
    }
    const bool isWord = std::all_of(type.begin(), type.end(), [](QChar character) {
        return startsWithLetter(QStringView(&character, 1));
    });
    return isWord && !type.isEmpty() ? Value : MostOfItem;
}

qint64 weightOfText(const QString &record, const MessageShape &shape, qint64 enough)
{
    if (rowOf(shape).base != Korvin::Base::Items) {
        return weightOfRecord(record, shape, enough)
            + (record.contains(QLatin1Char('^')) ? Value : 0);
    }
    qint64 weight = 0;
    for (Korvin::TextParts items(record, '|'); !items.atEnd();)
        weight += weightOfItem(items.next());
    return weight;
}

/// Returns where a frame that is shifted by a byte still agrees: where the numbers of the header
/// begin, or if the texts before them do not fit, the first text.
int firstShifted(const QByteArray &frame, const MessageShape &shape)
{
    constexpr int FirstText = 3;
    if (shape.form == Form::Linux)
        return Korvin::LinuxHeader::StartSize;
    if (shape.direction == Direction::Reply && Korvin::byteAt(frame, 0) == Korvin::ShortReplyMarker)
        return 1;
    const auto sizeAt = [&](int place) {
        int end = 0;
        return Korvin::littleEndianField(frame, place, 2, &end);
    };
    const int tag = FirstText + sizeAt(1);
    const int numbers = tag + 2 + sizeAt(tag);
    return numbers < frame.size() ? numbers : FirstText;
}

/// Weighs a frame as it is, and with a byte less or more.
int weightOfFrame(const QByteArray &frame, const MessageShape &shape, qint64 enough)
{
    const FrameWeights plain(frame, shape);
    const int weight = sumOf(plain.fields()) + plain.ofSize();
    if (frame.size() > MostShifted || qMin<qint64>(weight, enough) <= Gap)
        return weight;
    const int first = firstShifted(frame, shape);
    const auto weightOfShifted = [&](Fault fault, const QByteArray &shifted) {
        const FrameWeights weights(shifted, shape);
        return Gap + weights.ofSize() + weightAround(fault, plain.wholeFields(), weights.fields());
    };
    QByteArray longer = frame;
    longer.insert(qMin(first, static_cast<int>(frame.size())), '\1');
    QByteArray shorter = frame;
    shorter.remove(first, 1);
    return qMin(
        weight,
        qMin(weightOfShifted(Fault::Missing, longer), weightOfShifted(Fault::Extra, shorter)));
}

/// Weighs a reply whose marker is neither that of a short one nor that of a full one as both.
int weightOfBytes(const QByteArray &frame, const MessageShape &shape, qint64 enough)
{
    const int weight = weightOfFrame(frame, shape, enough);
    const bool isUnmarked = shape.form == Form::Frame && shape.direction == Direction::Reply
        && Korvin::byteAt(frame, 0) > Korvin::FullReplyMarker;
    if (!isUnmarked)
        return weight;
    QByteArray shortReply = frame;
    shortReply[0] = Korvin::ShortReplyMarker;
    return qMin(weight, Value + weightOfFrame(shortReply, shape, enough - Value));
}

} // namespace

qint64 disagreement(const TriedInput &input, const MessageShape &shape, qint64 enough)
{
    return shape.form == Form::Text ? weightOfText(input.record, shape, enough)
                                    : weightOfBytes(input.bytes, shape, enough);
}

} // namespace KorvinInspect
