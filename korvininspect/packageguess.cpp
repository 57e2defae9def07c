#include <korvininspect/packageguess.h>

#include "checksum_p.h"
#include "classlayouts_p.h"
#include "disagreement_p.h"
#include "memory_p.h"
#include "packagecheck_p.h"

#include <algorithm>
#include <array>

namespace KorvinInspect {

namespace {

const char LinuxStart[] = "\x55\xAA";

/// Returns whether the input begins as a Linux frame. One of its two start bytes is enough where
/// the checksum matches.
bool looksLikeLinuxFrame(const QByteArray &input)
{
    if (input.startsWith(LinuxStart))
        return true;
    const bool isHalf = input.startsWith(LinuxStart[0]) || input.mid(1, 1) == LinuxStart + 1;
    constexpr int Smallest = Korvin::LinuxHeader::Size + Korvin::LinuxHeader::ChecksumSize;
    return isHalf && input.size() >= Smallest
        && Korvin::checksumHolds(
               input, 0, static_cast<int>(input.size()),
               [&](int start, int length) { return Korvin::additiveSum(input, start, length); });
}

/// Returns whether check() may accept the input in a form, by its first bytes.
bool mayBeAccepted(const QByteArray &input, Form form)
{
    if (form == Form::Text)
        return true;
    return form == Form::Linux ? input.startsWith(LinuxStart)
                               : input.startsWith('\0') || input.startsWith('\1');
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
    int form = 0;            // index of its form in formsOf()
    int usualCodes = 0;      // of an input that is accepted
    qint64 disagreement = 0; // of one that is refused
};

bool isBetter(const Ranked &a, const Ranked &b)
{
    const bool isAccepted = a.guess.verdict.isOk();
    if (isAccepted != b.guess.verdict.isOk())
        return isAccepted;
    if (isAccepted)
        return a.usualCodes > b.usualCodes;
    return std::tie(a.form, a.disagreement) < std::tie(b.form, b.disagreement);
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

/// Ranks a shape whose verdict is known. @p enough is that of disagreement().
Ranked ranked(const TriedInput &input, const MessageShape &shape, int form, Verdict verdict,
              qint64 enough = MostWeight)
{
    Ranked ranked;
    ranked.form = form;
    if (verdict.isOk())
        ranked.usualCodes = usualCodesOf(input, shape);
    else
        ranked.disagreement = disagreement(input, shape, enough);
    ranked.guess = {shape, std::move(verdict), {}};
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
    std::vector<Ranked> candidates;
    visitShapes(bytes, [&](const MessageShape &shape, int form) {
        candidates.push_back(ranked(input, shape, form, checkTried(input, shape, Words::With)));
        Guess &guess = candidates.back().guess;
        guess.reason = reasonFor(guess, input.record);
    });
    std::stable_sort(candidates.begin(), candidates.end(), isBetter);
    QVector<Guess> guesses;
    for (const Ranked &candidate : candidates)
        guesses << candidate.guess;
    return guesses;
}

/// Keeps the better one of two guesses, the first one where they are equal.
void keepBetter(std::optional<Ranked> &best, Ranked candidate)
{
    if (!best || isBetter(candidate, *best))
        best = std::move(candidate);
}

std::optional<Ranked> bestAccepted(const TriedInput &input, const KnownShape &known)
{
    std::optional<Ranked> best;
    visitShapes(input.bytes, [&](const MessageShape &shape, int form) {
        if (!known.agreesWith(shape) || !mayBeAccepted(input.bytes, shape.form))
            return;
        Verdict verdict = checkTried(input, shape, Words::Without);
        if (verdict.isOk())
            keepBetter(best, ranked(input, shape, form, std::move(verdict)));
    });
    return best;
}

/// Returns the best one of the guesses in the first form that agrees with what is known.
std::optional<Ranked> bestRefused(const TriedInput &input, const KnownShape &known)
{
    std::optional<Ranked> best;
    visitShapes(input.bytes, [&](const MessageShape &shape, int form) {
        if (!known.agreesWith(shape) || (best && best->form != form))
            return;
        const qint64 enough = best ? best->disagreement : MostWeight;
        keepBetter(best, ranked(input, shape, form, refused(Refusal::NoSuchForm), enough));
    });
    if (best)
        best->guess.verdict = checkTried(input, best->guess.shape, Words::With);
    return best;
}

std::optional<Guess> best(const QByteArray &bytes, const KnownShape &known)
{
    const TriedInput input(bytes);
    std::optional<Ranked> best = bestAccepted(input, known);
    if (!best)
        best = bestRefused(input, known);
    if (!best)
        return {};
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
