#include <korvininspect/packageguess.h>

#include "classlayouts_p.h"
#include "memory_p.h"

#include <korvininspect/inputtext.h>

#include <algorithm>
#include <array>
#include <new>

namespace KorvinInspect {

namespace {

bool looksLikeLinuxFrame(const QByteArray &input)
{
    return input.startsWith("\x55\xAA");
}

/// No byte frame begins with a character, and no record holds a zero byte.
bool looksLikeText(const QByteArray &input)
{
    return !input.contains('\0') && !input.startsWith('\1')
        && (input.contains(',') || input.contains('^'));
}

/// Counts the codes that are usual for a class.
class UsualCodes : public FieldSink
{
public:
    explicit UsualCodes(ClassId id)
        : m_id(id)
    {
    }

    int count() const { return m_count; }

    void add(const WireField &field) override
    {
        if (field.type == WireType::ReadWriteCode
            && field.number == (isWrite(m_id) ? OrvexEnum::Write : OrvexEnum::Read))
            ++m_count;
        if (field.type == WireType::Kind && field.number == usualKind())
            ++m_count;
    }

private:
    OrvexEnum::ClientPackageType usualKind() const
    {
        switch (m_id) {
        case ClassId::PackageRequestReadFile:
        case ClassId::PackageRequestWriteFile:
            return OrvexEnum::FilePackage;
        case ClassId::PackageRequestReadMemData:
        case ClassId::PackageRequestWriteMemData:
            return OrvexEnum::MemDataPackage;
        default:
            return OrvexEnum::DataPackage;
        }
    }

    ClassId m_id;
    int m_count = 0;
};

/// A guess and what it is ranked by.
struct Ranked
{
    Guess guess;
    int form = 0; // place among the forms that the input looks like
    int usualCodes = 0;
};

/// Whether the record has another number of columns, which says more than a wrong value.
bool hasOtherColumns(const Verdict &verdict)
{
    return verdict.fault == Fault::TooFewFields || verdict.fault == Fault::TooManyFields;
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

QString reasonFor(const Guess &guess, int columns)
{
    if (!guess.verdict.isOk())
        return describe(guess.verdict);
    if (guess.shape.classId == ClassId::PackageRequestCombination)
        return QStringLiteral("type words and ^ in every item");
    switch (guess.shape.form) {
    case Form::Text:
        return QStringLiteral("%1 columns, every one in its range").arg(columns);
    case Form::Linux:
        return QStringLiteral("begins with 55 AA and the checksum holds");
    default:
        return QStringLiteral("fits to the last byte");
    }
}

Ranked rank(const QByteArray &input, const QString &record, const MessageShape &shape)
{
    Ranked ranked;
    ranked.guess.shape = shape;
    ranked.guess.verdict = check(input, shape);
    UsualCodes codes(shape.classId);
    int columns = 0;
    if (shape.form == Form::Text) {
        RecordScanner scanner(record, codes);
        columns = scanner.count();
        scanRecordAsWritten(scanner, shape);
    } else if (shape.form == Form::Frame) {
        scanFrame<FrameAsWritten>(input, shape, codes);
    } else {
        scanLinuxFrame(input, shape, codes);
    }
    ranked.usualCodes = codes.count();
    ranked.guess.reason = reasonFor(ranked.guess, columns);
    return ranked;
}

/// All forms, the one that the input looks like first.
std::array<Form, 3> formsOf(const QByteArray &input)
{
    if (looksLikeLinuxFrame(input))
        return {Form::Linux, Form::Frame, Form::Text};
    if (looksLikeText(input))
        return {Form::Text, Form::Frame, Form::Linux};
    return {Form::Frame, Form::Text, Form::Linux};
}

QVector<Guess> guesses(const QByteArray &input)
{
    QVector<ClassId> classes;
    for (const PackageClass &listed : packageClasses())
        classes << listed.id;
    if (input.contains('^'))
        classes << ClassId::PackageRequestCombination;
    const QString record = textFromUtf8(input);

    std::vector<Ranked> ranked;
    int place = 0;
    for (const Form form : formsOf(input)) {
        for (const Direction direction : {Direction::Request, Direction::Reply}) {
            for (const ClassId id : classes) {
                if (!exists({id, form, direction}))
                    continue;
                ranked.push_back(rank(input, record, {id, form, direction}));
                ranked.back().form = place;
            }
        }
        ++place;
    }
    std::stable_sort(ranked.begin(), ranked.end(), isBetter);
    QVector<Guess> guesses;
    for (const Ranked &candidate : ranked)
        guesses << candidate.guess;
    return guesses;
}

} // namespace

QVector<Guess> guess(const QByteArray &input)
{
    try {
        Korvin::checkedSize(input.size()); // positions are ints
        return guesses(input);
    } catch (const std::bad_alloc &) {
        return {};
    }
}

} // namespace KorvinInspect
