#include "encodecommands.h"

#include "cppsource.h"
#include "decodecommand.h"
#include "shapewords.h"
#include "suggestion.h"
#include "terminal.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>
#include <packagerequestcombination.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>

#include <cstdlib>
#include <utility>
#include <vector>

using namespace KorvinInspect;

namespace {

const char EncodeExamples[] =
    "\n"
    "Examples:\n"
    "  korvinpack encode --class PackageRequestRead --set deviceKey=usb0 \\\n"
    "      --set replyDataLength=4\n"
    "  korvinpack encode --form text --direction reply package.json\n"
    "  korvinpack encode --form linux --direction reply --class PackageRequestReadData \\\n"
    "      --set data=01FF10\n"
    "  korvinpack encode --raw --class PackageRequestWriteData --set data=01FF > frame.bin\n";

const char CombineExamples[] = "\n"
                               "Example:\n"
                               "  korvinpack combine write.json upload.json read.json\n";

/// Returns a member that an object of a JSON text has twice; empty if each is there once. The
/// parser keeps only the last one.
QString doubledMember(const QByteArray &json)
{
    // The parser takes any character after a backslash, a line feed as well.
    static const QRegularExpression tokens(
        QStringLiteral(R"re([{}]|"([^"\\]*+(?:\\.[^"\\]*+)*+)"(\s*:)?)re"),
        QRegularExpression::DotMatchesEverythingOption);
    std::vector<QSet<QString>> open(1);
    for (auto matches = tokens.globalMatch(QString::fromUtf8(json)); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        QString name = match.captured(1);
        if (match.captured() == QLatin1String("{"))
            open.emplace_back();
        else if (match.captured() == QLatin1String("}") && open.size() > 1)
            open.pop_back();
        else if (match.capturedLength(2) == 0)
            continue;
        else if (open.back().contains(name))
            return name;
        else
            open.back().insert(name);
    }
    return {};
}

/// Reads a JSON file: an object, or the list of the packages of a combination.
QJsonObject jsonOf(const QString &fileName)
{
    const QByteArray content = contentOf(fileName);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError) {
        const QByteArray before = content.left(error.offset);
        fail(QStringLiteral("%1: line %2, column %3: %4")
                 .arg(fileName)
                 .arg(before.count('\n') + 1)
                 .arg(before.size() - before.lastIndexOf('\n'))
                 .arg(error.errorString()));
    }
    const QString doubled = doubledMember(content);
    if (!doubled.isEmpty()) {
        fail(QStringLiteral("%1: %2: given twice; only one value can be meant")
                 .arg(fileName, doubled));
    }
    if (document.isObject())
        return document.object();
    if (document.array().isEmpty())
        fail(QStringLiteral("%1: the package must be a JSON object").arg(fileName));
    return {{QStringLiteral("class"), className(ClassId::PackageRequestCombination)},
            {QStringLiteral("packages"), document.array()}};
}

/// A package and its class.
struct Described
{
    const PackageClass &packageClass;
    std::unique_ptr<PackageBase> package;
};

/// Ends the program for a field that the class does not have.
void checkFields(const QJsonObject &json, const PackageClass &packageClass, const QString &origin)
{
    QStringList names;
    for (const PackageField &field : packageClass.fields)
        names << field.name;
    for (const QString &name : json.keys()) {
        if (name == QLatin1String("class") || names.contains(name))
            continue;
        QString hint = suggestion(name, names);
        if (hint.isEmpty())
            hint = QStringLiteral("; \"korvinpack classes %1\" lists them").arg(packageClass.name);
        fail(QStringLiteral("%1: %2: %3 has no such field%4")
                 .arg(origin, name, packageClass.name, hint));
    }
}

/// Makes the package that a JSON object describes. @p origin names it in messages.
Described packageOf(const QJsonObject &json, const QString &origin)
{
    const QJsonValue name = json.value(QLatin1String("class"));
    if (!name.isString()) {
        fail(QStringLiteral("%1: class: missing; give it with --class CLASS or in JSON as "
                            "\"class\": \"CLASS\"")
                 .arg(origin));
    }
    const QString place = origin == QLatin1String(EncodeCommand.name)
        ? QString()
        : origin + QLatin1String(": class: ");
    Described described{classNamed(name.toString(), place), nullptr};
    checkFields(json, described.packageClass, origin);
    described.package = described.packageClass.create();
    const QString fault = packageFromJson(json, *described.package);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(origin, fault));
    return described;
}

void insertClass(const CommandLine &line, const QString &origin, QJsonObject *json)
{
    const QString given = line.value("class");
    const QString own = json->value(QLatin1String("class")).toString(given);
    if (!line.isSet("class"))
        return;
    if (own != given)
        fail(QStringLiteral("--class %1: %2 says class %3").arg(given, origin, own));
    json->insert(QStringLiteral("class"), given);
}

void insertFields(const CommandLine &line, const QString &origin, QJsonObject *json)
{
    QJsonObject given;
    for (const QString &assignment : line.values("set")) {
        const int equals = assignment.indexOf(QLatin1Char('='));
        if (equals <= 0)
            fail(QStringLiteral("--set %1: not NAME=VALUE").arg(assignment));
        const QString name = assignment.left(equals);
        const QString value = assignment.mid(equals + 1);
        if (given.contains(name) && given.value(name) != value) {
            fail(QStringLiteral("--set %1: %2 is set twice; only one value can be meant")
                     .arg(assignment, name));
        }
        given.insert(name, value);
        if (json->contains(name)) {
            note(QStringLiteral("--set %1: replaces the value in %2").arg(assignment, origin));
        }
    }
    for (auto field = given.constBegin(); field != given.constEnd(); ++field)
        json->insert(field.key(), field.value());
}

/// Says which fields that --set gives a value are not in the message: with another value it is the
/// same.
void tellNotCarried(const CommandLine &line, const Described &described, const Encoding &encoding,
                    const QByteArray &message)
{
    const MessageShape shape{described.packageClass.id, encoding.form, encoding.direction};
    for (const QString &assignment : line.values("set")) {
        const QString name = assignment.section(QLatin1Char('='), 0, 0);
        const PackageField &field = *described.packageClass.field(name);
        const QJsonValue value = field.get(*described.package);
        QByteArray other;
        changeField(field, *described.package);
        const bool isEncoded = encodePackage(*described.package, encoding, &other).isOk();
        field.set(*described.package, value);
        if (isEncoded && other == message)
            note(QStringLiteral("--set %1: not in the %2").arg(assignment, describe(shape)));
    }
}

/// Prints a record. A terminal gets no characters that would control it.
void printRecord(const QByteArray &record)
{
    constexpr int LongestRecord = 1 << 30;
    print(isTerminal(stdout) ? printable(textFromUtf8(record), LongestRecord).toUtf8() + '\n'
                             : record + '\n');
}

/// Encodes a combination, which has no form but text and no direction but request.
QByteArray combinationRecord(const CommandLine &line, const QJsonObject &json,
                             const QString &origin)
{
    line.refuseWithout("a single package", {"set", "cpp", "reply"});
    const Encoding encoding = encodingOf(line);
    const bool isText = encoding.form == Form::Text || !line.isSet("form");
    if (!isText || encoding.direction == Direction::Reply)
        fail(QStringLiteral("%1: a combination is encoded only as the text of a request")
                 .arg(origin));
    PackageRequestCombination combination;
    const QString fault = combinationFromJson(json, combination);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(origin, fault));
    const auto list = combination.packageList();
    const std::vector<PackageBase *> packages(list.begin(), list.end());
    QByteArray record;
    const Verdict verdict = encodeCombination(packages, &record);
    for (PackageBase *package : packages)
        PackageBase::clear(package);
    failUnlessOk(verdict, origin);
    if (record.isEmpty())
        fail(QStringLiteral("%1: packages: missing; a combination has at least one").arg(origin));
    return record;
}

void declareEncode(CommandLine &line)
{
    addEncodingOptions(line);
    line.addOption({"reply",
                    "Size of a reply frame: short (default) or full.",
                    "SIZE",
                    {QStringLiteral("short"), QStringLiteral("full")}});
    line.addOption({"set", "Gives a field a value; may be repeated.", "NAME=VALUE", {}, true});
    line.addOption({"raw", "Prints the bytes themselves, and no line feed after a record."});
    line.addOption({"cpp", "Prints C++ that makes the package."});
    line.addArgument("FILE",
                     "The package as JSON, or the packages of a combination; \"-\" is standard "
                     "input.");
}

int encode(const CommandLine &line)
{
    line.refuseTogether("cpp", {"raw", "form", "direction", "reply"});
    Encoding encoding = encodingOf(line);
    if (encoding.form != Form::Frame || encoding.direction == Direction::Request)
        line.refuseWithout("--form frame --direction reply", {"reply"});
    encoding.replySize = static_cast<ReplySize>(line.choice("reply"));

    QJsonObject json;
    QString origin = QStringLiteral("encode");
    if (!line.arguments().isEmpty()) {
        origin = line.arguments().constFirst();
        json = jsonOf(origin);
    }
    insertClass(line, origin, &json);
    const QString name = json.value(QLatin1String("class")).toString();
    if (name == className(ClassId::PackageRequestCombination)) {
        const QByteArray record = combinationRecord(line, json, origin);
        line.isSet("raw") ? print(record) : printRecord(record);
        return EXIT_SUCCESS;
    }
    insertFields(line, origin, &json);
    const Described described = packageOf(json, origin);
    if (line.isSet("cpp")) {
        print(cppSource(*described.package).toUtf8());
        return EXIT_SUCCESS;
    }

    failUnlessPossible(described.packageClass, encoding, origin);
    QByteArray encoded;
    failUnlessOk(encodePackage(*described.package, encoding, &encoded), origin);
    tellNotCarried(line, described, encoding, encoded);
    if (line.isSet("raw"))
        print(encoded);
    else if (encoding.form == Form::Text)
        printRecord(encoded);
    else
        print(hexFromBytes(encoded).toLatin1() + '\n');
    return EXIT_SUCCESS;
}

void declareCombine(CommandLine &line)
{
    line.addArgument("FILE...", "The packages as JSON, in the order of the record.", true);
}

int combine(const CommandLine &line)
{
    if (line.arguments().isEmpty())
        fail(QStringLiteral("FILE...: missing; write combine FILE..., each the JSON of a package"));

    std::vector<Described> described;
    std::vector<PackageBase *> packages;
    for (const QString &fileName : line.arguments()) {
        described.push_back(packageOf(jsonOf(fileName), fileName));
        packages.push_back(described.back().package.get());
    }
    QByteArray record;
    Verdict verdict = encodeCombination(packages, &record);
    const QString origin = line.arguments().value(std::exchange(verdict.item, 0) - 1);
    failUnlessOk(verdict, origin);
    printRecord(record);
    return EXIT_SUCCESS;
}

} // namespace

void addEncodingOptions(CommandLine &line)
{
    line.addOption({"class", "The class of the package.", "CLASS"});
    line.addOption({"form", "frame (default), text or linux.", "FORM", formWords()});
    line.addOption({"direction", "request (default) or reply.", "DIRECTION", directionWords()});
}

Encoding encodingOf(const CommandLine &line)
{
    Encoding encoding;
    encoding.form = static_cast<Form>(line.choice("form"));
    encoding.direction = static_cast<Direction>(line.choice("direction"));
    return encoding;
}

void failUnlessOk(const Verdict &verdict, const QString &origin)
{
    if (!verdict.isOk())
        fail(QStringLiteral("%1: %2").arg(origin, describe(verdict)));
}

void failUnlessPossible(const PackageClass &packageClass, const Encoding &encoding,
                        const QString &origin)
{
    const MessageShape shape{packageClass.id, encoding.form, encoding.direction};
    if (exists(shape))
        return;
    QStringList names;
    for (const PackageClass &other : packageClasses()) {
        if (exists({other.id, shape.form, shape.direction}))
            names << other.name;
    }
    fail(QStringLiteral("%1: there is no %2; there is one of %3")
             .arg(origin, describe(shape), names.join(QLatin1String(", "))));
}

const Command EncodeCommand{
    "encode",
    "print a package as a frame or record",
    "Prints a package as a frame in hexadecimal digits or as a text record.",
    EncodeExamples,
    declareEncode,
    encode,
};

const Command CombineCommand{
    "combine",
    "print a combination record of several packages",
    "Prints the combination record of several packages.",
    CombineExamples,
    declareCombine,
    combine,
};
