#include "explaincommands.h"

#include "annotateddump.h"
#include "htmlpage.h"
#include "messageinput.h"
#include "shapewords.h"
#include "terminal.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>
#include <korvininspect/packageguess.h>

#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QSaveFile>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <tuple>
#include <utility>

using namespace KorvinInspect;

namespace {

const char ExplainExamples[] =
    "\n"
    "Examples:\n"
    "  korvinpack explain \"00 0500 01 02 03\"\n"
    "  korvinpack explain --class PackageRequestRead --direction reply --file records.txt\n"
    "  korvinpack explain --html page.html \"7,usb0,0,0,0,0,0,0,0,0,read,3,,ok,ok\"\n"
    "  hexdump -C frame.bin | korvinpack explain\n"
    "  korvinpack explain --file capture.pcapng\n";

const char CheckExamples[] =
    "\n"
    "Examples:\n"
    "  korvinpack check --class PackageBase --direction reply \"00 0500 00 01 00\"\n"
    "  korvinpack check --class PackageRequestRead --form text --direction request < records.txt\n"
    "\n"
    "The exit status is 0 if all are accepted, 1 if one is refused.\n";

const char DiffExamples[] = "\n"
                            "Examples:\n"
                            "  korvinpack diff \"00 0500 00 01 00\" \"00 0600 00 05 00\"\n"
                            "  korvinpack diff --files sent.hex received.hex\n"
                            "\n"
                            "The exit status is 0 if no field differs, 1 if one does.\n";

void addShapeOptions(CommandLine &line)
{
    line.addOption({"class", "The class of the package; guessed by default.", "CLASS"});
    line.addOption({"form", "frame, text or linux; guessed by default.", "FORM", formWords()});
    line.addOption(
        {"direction", "request or reply; guessed by default.", "DIRECTION", directionWords()});
}

/// The shape of an input according to the options. Missing options are guessed.
class ShapeOptions
{
public:
    explicit ShapeOptions(const CommandLine &line)
    {
        if (line.isSet("class"))
            m_known.classId = idOf(line.value("class"));
        if (line.isSet("form"))
            m_known.form = static_cast<Form>(line.choice("form"));
        if (line.isSet("direction"))
            m_known.direction = static_cast<Direction>(line.choice("direction"));
    }

    /// Returns what the options and the words before a message say.
    KnownShape knownOf(const Captured &captured) const
    {
        KnownShape known = m_known;
        if (captured.label.form) {
            known.classId = captured.label.classId;
            known.form = captured.label.form;
        }
        return known;
    }

    /// Returns the best guess that agrees with what is known. Otherwise sets the fault of the
    /// input, and ends the program if it is the only one.
    std::optional<Guess> shapeOf(Captured *captured) const
    {
        std::optional<Guess> best;
        const KnownShape known = knownOf(*captured);
        if (!isComplete(known))
            best = guessOf(*captured, known);
        if (!best)
            best = given(captured, known);
        if (!best && captured->isOnly)
            fail(captured->origin + QLatin1String(": ") + captured->fault);
        return best;
    }

    /// Returns whether nothing is left to guess.
    static bool isComplete(const KnownShape &known)
    {
        return known.classId && known.form && known.direction;
    }

    const KnownShape &known() const { return m_known; }

private:
    static ClassId idOf(const QString &name)
    {
        const ClassId combination = ClassId::PackageRequestCombination;
        return name == className(combination) ? combination : classNamed(name).id;
    }

    /// Returns the best guess. That in the direction of the connection comes first, if it is
    /// accepted: a device may have opened the connection.
    static std::optional<Guess> guessOf(const Captured &captured, const KnownShape &known)
    {
        if (!known.direction && captured.label.direction) {
            KnownShape directed = known;
            directed.direction = captured.label.direction;
            std::optional<Guess> best = bestGuess(captured.bytes, directed);
            if (best && best->verdict.isOk())
                return best;
        }
        return bestGuess(captured.bytes, known);
    }

    /// Judges the input in the shape that is known, and for what is not, in that of a combination.
    /// Without a class every input has a guess.
    static std::optional<Guess> given(Captured *captured, const KnownShape &known)
    {
        const Direction usual = captured->label.direction.value_or(Direction::Request);
        const MessageShape shape{known.classId.value_or(ClassId::PackageRequestCombination),
                                 known.form.value_or(Form::Text), known.direction.value_or(usual)};
        if (exists(shape))
            return Guess{shape, check(captured->bytes, shape), QString()};
        captured->fault = QStringLiteral("there is no %1").arg(describe(shape));
        return {};
    }

    KnownShape m_known;
};

QJsonObject jsonOf(const Verdict &verdict)
{
    if (verdict.isOk())
        return {{QStringLiteral("ok"), true}};
    QJsonObject json{
        {QStringLiteral("ok"), false},
        {QStringLiteral("reason"), describe(verdict)},
        {QStringLiteral("position"), verdict.position},
        {QStringLiteral("expected"), verdict.expected},
        {QStringLiteral("found"), verdict.found},
    };
    if (!verdict.field.isEmpty())
        json.insert(QStringLiteral("field"), verdict.field);
    if (verdict.item > 0)
        json.insert(QStringLiteral("item"), verdict.item);
    return json;
}

/// The members in the order of their names, as in all JSON: the long one is the first.
QByteArray jsonLine(const Captured &captured, const Guess &guessed)
{
    QJsonObject others = captured.placeJson;
    others.insert(QStringLiteral("what"), describe(guessed.shape));
    others.insert(QStringLiteral("verdict"), jsonOf(guessed.verdict));
    return "{\"fields\":" + explanationToJsonText(explain(captured.bytes, guessed.shape)) + ','
        + QJsonDocument(others).toJson(QJsonDocument::Compact).mid(1) + '\n';
}

/// Returns the output for a line that is neither a frame nor a record.
QByteArray faultLine(const Captured &captured, bool isJson)
{
    if (!isJson)
        return captured.place.toUtf8() + ": refused: " + printable(captured.fault).toUtf8() + '\n';
    QJsonObject json = captured.placeJson;
    json.insert(
        QStringLiteral("verdict"),
        QJsonObject{{QStringLiteral("ok"), false}, {QStringLiteral("reason"), captured.fault}});
    return QJsonDocument(json).toJson(QJsonDocument::Compact) + '\n';
}

/// Returns one line that says what the input is and whether it is accepted.
QByteArray headline(const Captured &captured, const Guess &guessed, bool isGuessed)
{
    QString line;
    if (!captured.isOnly)
        line += captured.place + QLatin1String(": ");
    line += describe(guessed.shape);
    line += QStringLiteral(", %1: ").arg(byteCount(captured.bytes.size()));
    line += guessed.verdict.isOk() ? QStringLiteral("ok")
                                   : QLatin1String("refused: ") + describe(guessed.verdict);
    if (isGuessed && guessed.verdict.isOk())
        line += QStringLiteral(" (a guess: %1)").arg(guessed.reason);
    else if (isGuessed)
        line += QStringLiteral(" (a guess)");
    return line.toUtf8() + "\n\n";
}

/// Lists what accepts the input, or where nothing does, what disagrees least with it.
QByteArray otherGuesses(const Captured &captured, const ShapeOptions &options)
{
    constexpr int MostRefused = 8;
    QByteArray list;
    int refused = 0;
    bool isAccepted = false;
    for (const Guess &candidate : guess(captured.bytes)) {
        if (!options.knownOf(captured).agreesWith(candidate.shape))
            continue;
        isAccepted = isAccepted || candidate.verdict.isOk();
        if (!candidate.verdict.isOk() && (isAccepted || ++refused > MostRefused))
            continue;
        list +=
            QStringLiteral("  %1: %2\n").arg(describe(candidate.shape), candidate.reason).toUtf8();
    }
    return (isAccepted ? "it may be\n" : "nothing accepts it; what disagrees least comes first\n")
        + list + '\n';
}

void writePage(const QString &fileName, const Captured &captured, const Guess &guessed)
{
    if (!captured.isOnly)
        fail(QStringLiteral("--html %1: a page shows only one input").arg(fileName));
    const QByteArray page =
        htmlPage(captured.bytes, guessed.shape, explain(captured.bytes, guessed.shape),
                 guessed.verdict, guessed.reason);
    if (fileName == QLatin1String("-")) {
        print(page);
        return;
    }
    // Devices and pipes are written to: a finished file would take their place.
    const QFileInfo target(fileName);
    const bool isReplaced = target.isFile() || !target.exists();
    QSaveFile finished(fileName);
    QFile existing(fileName);
    QFileDevice &file = isReplaced ? static_cast<QFileDevice &>(finished) : existing;
    if (!file.open(QIODevice::WriteOnly) || file.write(page) != page.size()
        || !(isReplaced ? finished.commit() : existing.flush()))
        fail(QStringLiteral("%1: %2").arg(fileName, file.errorString()));
}

bool isColored(const CommandLine &line)
{
    const int choice = line.choice("color");
    return choice == 1 || (choice == 0 && isTerminal(stdout));
}

/// Fields by item, name, and number of earlier fields of that name.
using FieldsByPlace = QMap<std::tuple<int, QString, int>, ExplainedField>;

FieldsByPlace byPlace(const QVector<ExplainedField> &fields)
{
    FieldsByPlace placed;
    QHash<QPair<int, QString>, int> occurrences;
    for (const ExplainedField &field : fields)
        placed.insert({field.item, field.name, occurrences[{field.item, field.name}]++}, field);
    return placed;
}

QString shown(const FieldsByPlace &fields, const FieldsByPlace::key_type &place)
{
    const auto found = fields.find(place);
    if (found == fields.end())
        return QStringLiteral("-");
    if (found->name.isEmpty())
        return found->column < 0 ? hexFromBytes(found->raw) : printable(textFromUtf8(found->raw));
    QString text = valueForPeople(*found);
    if (!found->meaning.isEmpty())
        text += QStringLiteral(" (%1)").arg(found->meaning);
    return text;
}

/// Returns the fields that differ, in the order of the first input.
QByteArray differences(const QVector<ExplainedField> &first, const QVector<ExplainedField> &second)
{
    const FieldsByPlace a = byPlace(first);
    const FieldsByPlace b = byPlace(second);
    QList<FieldsByPlace::key_type> places = a.keys();
    for (const auto &place : b.keys()) {
        if (!a.contains(place))
            places << place;
    }
    const auto fieldAt = [&](const FieldsByPlace::key_type &place) -> const ExplainedField & {
        const auto found = a.constFind(place);
        return found != a.constEnd() ? *found : *b.constFind(place);
    };
    std::stable_sort(places.begin(), places.end(), [&](const auto &left, const auto &right) {
        return fieldAt(left).offset < fieldAt(right).offset;
    });
    QString text;
    for (const auto &place : std::as_const(places)) {
        const auto inFirst = a.constFind(place);
        const auto inSecond = b.constFind(place);
        if (inFirst != a.constEnd() && inSecond != b.constEnd() && inFirst->raw == inSecond->raw)
            continue;
        const auto &[item, name, occurrence] = place;
        const ExplainedField &field = fieldAt(place);
        const QString itemName = item > 0 ? QStringLiteral("item %1 ").arg(item) : QString();
        text += QStringLiteral("%1  %2  %3 -> %4\n")
                    .arg(field.column < 0 ? field.offset : field.column, 6)
                    .arg(itemName + (name.isEmpty() ? QStringLiteral("not read") : name), -20)
                    .arg(shown(a, place), shown(b, place));
    }
    return text.toUtf8();
}

/// Ends the program if the value of --html is the message: its file was forgotten.
void refuseMessageAsFile(const CommandLine &line)
{
    const QString file = line.value("html");
    QByteArray bytes;
    const bool isFrame = bytesFromHex(file, &bytes).isEmpty() && beginAsMessage(bytes);
    const bool isMessage = isFrame || file.count(QLatin1Char(',')) > 1;
    if (line.isSet("html") && isMessage && line.arguments().isEmpty() && !line.isSet("file")) {
        fail(QStringLiteral("--html %1: the name of the page is missing; write --html FILE \"%1\"")
                 .arg(file));
    }
}

void declareExplain(CommandLine &line)
{
    addShapeOptions(line);
    line.addOption({"guess", "Also lists what else the input may be."});
    line.addOption({"json", "Prints one line of JSON for each input."});
    line.addOption(
        {"html", "Writes one input as a page for a browser; \"-\" is standard output.", "FILE"});
    line.addOption({"color",
                    "auto (default), always or never.",
                    "WHEN",
                    {QStringLiteral("auto"), QStringLiteral("always"), QStringLiteral("never")}});
    MessageInput::addOptions(line);
}

/// Prints the explanation of one input. Returns false if it has none.
bool explainOne(const CommandLine &line, const ShapeOptions &options, Captured captured)
{
    const std::optional<Guess> best =
        captured.fault.isEmpty() ? options.shapeOf(&captured) : std::nullopt;
    if (!best) {
        print(faultLine(captured, line.isSet("json")));
        return false;
    }
    const Guess &guessed = *best;
    if (line.isSet("html")) {
        writePage(line.value("html"), captured, guessed);
        return true;
    }
    if (line.isSet("json")) {
        print(jsonLine(captured, guessed));
        return true;
    }
    const bool isGuessed = !ShapeOptions::isComplete(options.knownOf(captured));
    QByteArray output = headline(captured, guessed, isGuessed);
    if (line.isSet("guess"))
        output += otherGuesses(captured, options);
    output += annotatedDump(explain(captured.bytes, guessed.shape), guessed.shape, isColored(line));
    print(captured.isOnly ? output : output + '\n');
    return true;
}

int explainInputs(const CommandLine &line)
{
    line.refuseTogether("html", {"json", "guess", "color"});
    line.refuseTogether("json", {"guess", "color"});
    refuseMessageAsFile(line);
    const ShapeOptions options(line);
    MessageInput inputs(line, options.known().form);
    Progress progress;
    Captured captured;
    int refused = 0;
    while (inputs.next(&captured)) {
        progress.show(captured.number);
        if (!explainOne(line, options, captured))
            ++refused;
    }
    if (refused == 0)
        return EXIT_SUCCESS;
    note(QStringLiteral("inputs without an explanation: %1").arg(refused));
    return WrongInput;
}

void declareCheck(CommandLine &line)
{
    addShapeOptions(line);
    MessageInput::addOptions(line);
}

int checkInputs(const CommandLine &line)
{
    const ShapeOptions options(line);
    MessageInput inputs(line, options.known().form);
    Progress progress;
    Captured captured;
    int status = EXIT_SUCCESS;
    while (inputs.next(&captured)) {
        progress.show(captured.number);
        const std::optional<Guess> best =
            captured.fault.isEmpty() ? options.shapeOf(&captured) : std::nullopt;
        if (!best) {
            print(faultLine(captured, false));
            status = Refused;
            continue;
        }
        const Guess &guessed = *best;
        QByteArray output;
        if (!captured.isOnly)
            output += captured.place.toUtf8() + ": ";
        output += guessed.verdict.isOk() ? QByteArray("ok")
                                         : "refused: " + describe(guessed.verdict).toUtf8();
        if (!ShapeOptions::isComplete(options.knownOf(captured)))
            output += " (as " + describe(guessed.shape).toUtf8() + ')';
        print(output + '\n');
        if (!guessed.verdict.isOk())
            status = Refused;
    }
    return status;
}

void declareDiff(CommandLine &line)
{
    addShapeOptions(line);
    line.addOption({"files", "A and B are names of files."});
    MessageInput::addNotation(line);
    line.addArgument("A", "A frame in hexadecimal digits, or a record.", true);
    line.addArgument("B", "Another one, which is read as the same class.", true);
}

int diffInputs(const CommandLine &line)
{
    if (line.arguments().size() < 2) {
        const bool hasOne = line.arguments().size() == 1;
        fail(QStringLiteral("%1: missing; write diff A B")
                 .arg(QLatin1String(hasOne ? "B" : "A and B")));
    }

    const ShapeOptions options(line);
    std::optional<MessageShape> shape;
    QVector<ExplainedField> explained[2];
    for (int i = 0; i < 2; ++i) {
        const QString argument = line.arguments().at(i);
        const QString name = line.isSet("files") ? argument : QString(QLatin1Char("AB"[i]));
        const QByteArray text = line.isSet("files") ? contentOf(argument) : argument.toUtf8();
        MessageInput input(line, shape ? shape->form : options.known().form, name, text);
        Captured captured = input.only();
        if (!shape)
            shape = options.shapeOf(&captured)->shape; // it is the only one: no shape, no return
        explained[i] = explain(captured.bytes, *shape);
    }
    const QByteArray output = differences(explained[0], explained[1]);
    print(describe(*shape).toUtf8() + '\n');
    print(output.isEmpty() ? QByteArray("no field differs\n") : output);
    return output.isEmpty() ? EXIT_SUCCESS : Refused;
}

} // namespace

const Command ExplainCommand{
    "explain",
    "explain frames and records byte by byte",
    "Explains frames and records field by field: position, bytes, value and meaning of each.",
    ExplainExamples,
    declareExplain,
    explainInputs,
};

const Command CheckCommand{
    "check",
    "say whether frames and records are what encoders write",
    "Says whether frames and records are what an encoder of their class writes, and if not, why.",
    CheckExamples,
    declareCheck,
    checkInputs,
};

const Command DiffCommand{
    "diff",
    "show the fields in which two frames or records differ",
    "Shows the fields in which two frames or records differ: offset or column, name, and both "
    "values.",
    DiffExamples,
    declareDiff,
    diffInputs,
};
