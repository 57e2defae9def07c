#include "decodecommand.h"

#include "encodecommands.h"
#include "fieldtable.h"
#include "messageinput.h"
#include "shapewords.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagejson.h>
#include <packagerequestcombination.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <cstdlib>

using namespace KorvinInspect;

namespace {

const char DecodeExamples[] =
    "\n"
    "Examples:\n"
    "  korvinpack decode --class PackageBase \"00 0000 0000 03000000 0500 00000000 0000 00 00"
    " 0000 0000\"\n"
    "  korvinpack decode --class PackageRequestRead --form text --json --file record.txt\n"
    "  korvinpack decode --class PackageRequestWriteData --raw < frame.bin\n"
    "  korvinpack decode --class PackageRequestCombination --verify --file record.txt\n";

Rows rowsOf(const PackageClass &packageClass, PackageBase &package, const QStringList &names)
{
    Rows rows{{QStringLiteral("class"), packageClass.name}};
    for (const PackageField &field : packageClass.fields) {
        if (names.contains(field.name))
            rows.append({field.name, field.describe(package)});
    }
    return rows;
}

/// Gives a field a value other than that of a new package.
void changeField(const PackageField &field, PackageBase &package)
{
    const QJsonValue value = field.get(package);
    if (field.valueType == ValueType::Flag)
        field.set(package, !value.toBool());
    else if (field.valueType == ValueType::Text)
        field.set(package, value.toString() + QLatin1Char('x'));
    else if (field.valueType == ValueType::Data)
        package.setData(QByteArray(1, 'x'));
    else if (field.valueType == ValueType::Code)
        field.set(package, 1);
    else
        field.set(package, value.toInt() + 1);
    if (field.get(package) == value)
        field.set(package, 0);
}

/// Returns the fields that the message carries: decoding gives them the same value, whatever they
/// had before.
QStringList carriedFields(const PackageClass &packageClass, const Encoding &encoding,
                          const QByteArray &message, const PackageBase &decoded)
{
    QStringList names;
    for (const PackageField &field : packageClass.fields) {
        const std::unique_ptr<PackageBase> other = packageClass.create();
        changeField(field, *other);
        decodePackage(*other, encoding, message);
        if (field.get(*other) == field.get(decoded))
            names << field.name;
    }
    return names;
}

QStringList namesOf(const PackageClass &packageClass)
{
    QStringList names;
    for (const PackageField &field : packageClass.fields)
        names << field.name;
    return names;
}

void printWarning(QtMsgType, const QMessageLogContext &, const QString &message)
{
    note(QLatin1String("warning: ") + message.trimmed());
}

int decodeCombination(const CommandLine &line, const Captured &input)
{
    qInstallMessageHandler(printWarning);
    PackageRequestCombination combination;
    const bool decoded = combination.unCombinationPackageRequest(textFromUtf8(input.bytes));
    const bool verified = !line.isSet("verify") || combination.makeCombinationPackageRequest();
    QJsonArray json;
    QByteArray tables;
    for (PackageBase *package : combination.packageList()) {
        const PackageClass &itemClass = classOf(*package);
        json.append(packageToJson(*package));
        tables += "item " + QByteArray::number(json.size()) + '\n'
            + table(rowsOf(itemClass, *package, namesOf(itemClass))) + '\n';
        PackageBase::clear(package);
    }
    if (!decoded)
        fail(QStringLiteral("%1: an item has a type word that is refused").arg(input.origin));
    if (!verified)
        fail(QStringLiteral("%1: the requests cannot be carried out").arg(input.origin));
    print(line.isSet("json") ? QJsonDocument(json).toJson() : tables);
    return EXIT_SUCCESS;
}

/// Prints the fields that the message carries, and the names of the others.
void printFields(const PackageClass &packageClass, const Encoding &encoding, const Captured &input,
                 PackageBase &package, int consumed)
{
    const QStringList carried = carriedFields(packageClass, encoding, input.bytes, package);
    QStringList others = namesOf(packageClass);
    for (const QString &name : carried)
        others.removeOne(name);
    Rows rows = rowsOf(packageClass, package, carried);
    if (!others.isEmpty())
        rows.insert(1, {QStringLiteral("not in it"), others.join(QLatin1String(", "))});
    if (encoding.form == Form::Frame) {
        rows.append({QStringLiteral("consumed"),
                     QStringLiteral("%1 of %2 bytes").arg(consumed).arg(input.bytes.size())});
    }
    print(table(rows));
}

/// Returns the JSON of the fields that the message carries.
QJsonObject jsonOfCarried(const PackageClass &packageClass, const Encoding &encoding,
                          const Captured &input, const PackageBase &package)
{
    QStringList kept = carriedFields(packageClass, encoding, input.bytes, package);
    kept << QStringLiteral("class");
    QJsonObject json = packageToJson(package);
    for (const QString &name : json.keys()) {
        if (!kept.contains(name))
            json.remove(name);
    }
    return json;
}

void declareDecode(CommandLine &line)
{
    addEncodingOptions(line);
    line.addOption({"json", "Prints JSON that encode accepts."});
    line.addOption({"verify", "Checks that a combination can be carried out."});
    MessageInput::addOptions(line);
}

/// Ends the program if the words in front of the message contradict the options.
void checkLabel(const CommandLine &line, const Encoding &encoding, const Captured &input)
{
    const KnownShape &label = input.label;
    const bool hasOtherClass = label.classId && className(*label.classId) != line.value("class");
    const bool hasOtherForm = label.form && line.isSet("form") && *label.form != encoding.form;
    if (hasOtherClass || hasOtherForm) {
        fail(QStringLiteral("%1: begins with \"%2 %3\", which contradicts the options")
                 .arg(input.origin, formWords().at(static_cast<int>(*label.form)),
                      className(*label.classId)));
    }
}

int decode(const CommandLine &line)
{
    Encoding encoding = encodingOf(line);
    const QString name = line.value("class");
    if (name.isEmpty())
        fail(QStringLiteral("--class: missing; write decode --class CLASS, or explain, which "
                            "guesses it"));
    const bool isCombination = name == className(ClassId::PackageRequestCombination);
    if (!isCombination)
        line.refuseWithout("--class PackageRequestCombination", {"verify"});
    const PackageClass *const packageClass = isCombination ? nullptr : &classNamed(name);
    if (isCombination && (line.choice("form") % 2 == 0 && line.isSet("form")))
        fail(QStringLiteral("--form %1: a combination has only the form text")
                 .arg(line.value("form")));
    if (isCombination && encoding.direction == Direction::Reply)
        fail(QStringLiteral("--direction reply: a combination has only requests"));
    if (isCombination)
        encoding.form = Form::Text;

    const Captured input = MessageInput(line, encoding.form, true).only();
    checkLabel(line, encoding, input);
    if (isCombination)
        return decodeCombination(line, input);
    const std::unique_ptr<PackageBase> package = packageClass->create();
    if (input.label.form)
        encoding.form = *input.label.form;
    int consumed = 0;
    failUnlessOk(decodePackage(*package, encoding, input.bytes, &consumed), input.origin);
    if (line.isSet("json"))
        print(QJsonDocument(jsonOfCarried(*packageClass, encoding, input, *package)).toJson());
    else
        printFields(*packageClass, encoding, input, *package, consumed);
    return EXIT_SUCCESS;
}

} // namespace

const Command DecodeCommand{
    "decode",
    "print the fields of a frame or record",
    "Prints the fields of a frame or text record.",
    DecodeExamples,
    declareDecode,
    decode,
};
