#include <korvininspect/packageguess.h>

#include "classlayouts_p.h"
#include "memory_p.h"
#include "packagecheck_p.h"

#include <algorithm>
#include <array>

namespace KorvinInspect {

namespace {

bool looksLikeLinuxFrame(const QByteArray &input)
{
    return input.startsWith("\x55\xAA");
}

/// Returns whether the input looks like a record: it has a separator, no zero byte, and does not
/// begin with the marker of a byte frame.
bool looksLikeText(const QByteArray &input)
{
    return !input.contains('\0') && !input.startsWith('\1')
        && (input.contains(',') || input.contains('^'));
}

/// Counts the codes of a message that are usual for its class.
class UsualCodes : public FieldSink
{
public:
    explicit UsualCodes(const Korvin::ClassRow &row)
        : m_access(row.base == Korvin::Base::Write ? OrvexEnum::Write : OrvexEnum::Read)
        , m_kind(row.usualKind)
    {
    }

    int count() const { return m_count; }

    void add(const WireField &field) override
    {
        if (field.type == WireType::ReadWriteCode && field.number == m_access)
            ++m_count;
        if (field.type == WireType::Kind && field.number == m_kind)
            ++m_count;
    }

private:
    OrvexEnum::ReadWriteCode m_access;
    OrvexEnum::ClientPackageType m_kind;
    int m_count = 0;
};

/// A guess and its rank.
struct Ranked
{
    Guess guess;
    int form = 0; // index of its form in formsOf()
    int usualCodes = 0;
};

/// Returns whether the record has a wrong number of columns, which counts more than a wrong value.
bool hasOtherColumns(const Verdict &verdict)
{
    return verdict.refusal == Refusal::TooFewFields || verdict.refusal == Refusal::TooManyFields;
}

bool isBetter(const Ranked &a, const Ranked &b)
{
    const Verdict &first = a.guess.verdict;
    const Verdict &second = b.guess.verdict;
    if (first.isOk() != second.isOk())
        return first.isOk();
    if (first.isOk())
        return a.usualCodes > b.usualCodes;
    if (a.form != b.form)
        return a.form < b.form;
    if (hasOtherColumns(first) != hasOtherColumns(second))
        return hasOtherColumns(second);
    return std::tie(first.item, first.position) > std::tie(second.item, second.position);
}

QString reasonFor(const Guess &guess, const QString &record)
{
    if (!guess.verdict.isOk())
        return describe(guess.verdict);
    if (rowOf(guess.shape).base == Korvin::Base::Items)
        return QStringLiteral("type words and ^ in every item");
    switch (guess.shape.form) {
    case Form::Text:
        return QStringLiteral("%1 columns, all in range").arg(record.count(QLatin1Char(',')) + 1);
    case Form::Linux:
        return QStringLiteral("begins with 55 AA and the checksum matches");
    default:
        return QStringLiteral("fits to the last byte");
    }
}

/// Counts the usual codes of an input that its shape accepts.
int usualCodesOf(const TriedInput &input, const MessageShape &shape)
{
    const Korvin::ClassRow &row = rowOf(shape);
    Korvin::LayoutFields fields;
    UsualCodes codes(row);
    if (shape.form == Form::Text) {
        RecordScanner scanner(input.record, codes);
        scanRecordAsWritten(scanner, row, shape.direction == Direction::Reply, fields);
    } else if (shape.form == Form::Frame) {
        scanFrameAsWritten(input.bytes, shape, fields, codes);
    } else {
        scanLinuxFrame(input.bytes, shape, fields, codes);
    }
    return codes.count();
}

Ranked rank(const TriedInput &input, const MessageShape &shape, int form, Words words)
{
    Ranked ranked;
    ranked.form = form;
    ranked.guess.shape = shape;
    ranked.guess.verdict = checkTried(input, shape, words);
    if (ranked.guess.verdict.isOk())
        ranked.usualCodes = usualCodesOf(input, shape);
    return ranked;
}

/// Returns all forms, beginning with the one that the input looks like.
std::array<Form, 3> formsOf(const QByteArray &input)
{
    if (looksLikeLinuxFrame(input))
        return {Form::Linux, Form::Frame, Form::Text};
    if (looksLikeText(input))
        return {Form::Text, Form::Frame, Form::Linux};
    return {Form::Frame, Form::Text, Form::Linux};
}

/// Returns the shapes of all classes that have such a form, combinations only if asked for.
std::vector<MessageShape> shapesOf(Form form, Direction direction, bool withCombination)
{
    std::vector<MessageShape> shapes;
    for (std::size_t index = 0; index < std::size(Korvin::Classes); ++index) {
        const MessageShape shape{static_cast<ClassId>(index), form, direction};
        const bool isCombination = rowOf(shape).base == Korvin::Base::Items;
        if (exists(shape) && (!isCombination || withCombination))
            shapes.push_back(shape);
    }
    return shapes;
}

/// Hands each shape that may be that of the input to @p visit, with the place of its form.
template <typename Visitor>
void visitShapes(const QByteArray &input, Visitor visit)
{
    int place = 0;
    for (const Form form : formsOf(input)) {
        for (const Direction direction : {Direction::Request, Direction::Reply}) {
            for (const MessageShape &shape : shapesOf(form, direction, input.contains('^')))
                visit(shape, place);
        }
        ++place;
    }
}

QVector<Guess> guesses(const QByteArray &bytes)
{
    const TriedInput input(bytes);
    std::vector<Ranked> ranked;
    visitShapes(bytes, [&](const MessageShape &shape, int form) {
        ranked.push_back(rank(input, shape, form, Words::With));
        ranked.back().guess.reason = reasonFor(ranked.back().guess, input.record);
    });
    std::stable_sort(ranked.begin(), ranked.end(), isBetter);
    QVector<Guess> guesses;
    for (const Ranked &candidate : ranked)
        guesses << candidate.guess;
    return guesses;
}

std::optional<Guess> best(const QByteArray &bytes, const KnownShape &known)
{
    const TriedInput input(bytes);
    std::optional<Ranked> best;
    visitShapes(bytes, [&](const MessageShape &shape, int form) {
        // A form that comes later is better only where it accepts the input. Frames begin with
        // bytes that put their form first.
        const bool isLater = best && best->form < form;
        if (!known.agreesWith(shape) || (isLater && shape.form != Form::Text))
            return;
        Ranked candidate = rank(input, shape, form, Words::Without);
        if (!best || isBetter(candidate, *best))
            best = std::move(candidate);
    });
    if (!best)
        return {};
    best->guess.verdict = checkTried(input, best->guess.shape, Words::With);
    best->guess.reason = reasonFor(best->guess, input.record);
    return std::move(best->guess);
}

} // namespace

QVector<Guess> guess(const QByteArray &input)
{
    return Korvin::guarded([&] {
        Korvin::checkedSize(input.size()); // positions are ints
        return guesses(input);
    });
}

std::optional<Guess> bestGuess(const QByteArray &input, const KnownShape &known)
{
    return Korvin::guarded([&] {
        Korvin::checkedSize(input.size()); // positions are ints
        return best(input, known);
    });
}

} // namespace KorvinInspect
