#include "decodecommand.h"

#include "encodecommands.h"
#include "fieldtable.h"
#include "messageinput.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagejson.h>
#include <packagerequestcombination.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cstdio>
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

/// How often decoders have logged that a message is short.
int shortMessages = 0;

/// Counts what decoders log of a message that is short, and prints nothing: it does not say which
/// message, and comes again each time that the message is decoded.
void countShort(QtMsgType, const QMessageLogContext &, const QString &)
{
    ++shortMessages;
}

/// Returns the fields that a message carries: decoding changes them, or they had the value before
/// that it gives.
QStringList carriedFields(const PackageClass &packageClass, const Encoding &encoding,
                          const QByteArray &message, const PackageBase &decoded)
{
    QStringList names;
    for (const PackageField &field : packageClass.fields) {
        const std::unique_ptr<PackageBase> other = packageClass.create();
        changeField(field, *other);
        const QJsonValue before = field.get(*other);
        decodePackage(*other, encoding, message);
        const QJsonValue after = field.get(*other);
        if (after != before || after == field.get(decoded))
            names << field.name;
    }
    return names;
}

void printWarning(QtMsgType, const QMessageLogContext &, const QString &message)
{
    std::fprintf(stderr, "warning: %s\n", qUtf8Printable(printable(message)));
}

/// Removes the fields that a message does not carry.
QJsonObject onlyCarried(QJsonObject json, const QStringList &carried)
{
    for (const QString &name : json.keys()) {
        if (name != QLatin1String("class") && !carried.contains(name))
            json.remove(name);
    }
    return json;
}

/// Formats the fields that a message carries, and the names of the others.
QByteArray fieldTable(const PackageClass &packageClass, PackageBase &package,
                      const QStringList &carried, const Rows &more)
{
    constexpr int LongestName = 28;
    QStringList others;
    Rows rows{{QStringLiteral("class"), packageClass.name}};
    for (const PackageField &field : packageClass.fields) {
        if (carried.contains(field.name))
            rows.append({field.name, field.describe(package)});
        else
            others << field.name;
    }
    if (!others.isEmpty())
        rows.insert(1, {QStringLiteral("not carried"), others.join(QLatin1String(", "))});
    return table(rows + more, LongestName);
}

int decodeCombination(const CommandLine &line, const Captured &input)
{
    qInstallMessageHandler(printWarning);
    constexpr Encoding Item{Form::Text, Direction::Request};
    PackageRequestCombination combination;
    const bool decoded = combination.unCombinationPackageRequest(textFromUtf8(input.bytes));
    const bool verified = !line.isSet("verify") || combination.makeCombinationPackageRequest();
    QJsonArray json;
    QByteArray tables;
    for (PackageBase *package : combination.packageList()) {
        const PackageClass &itemClass = classOf(*package);
        QByteArray record;
        encodePackage(*package, Item, &record);
        const QStringList carried = carriedFields(itemClass, Item, record, *package);
        json.append(onlyCarried(packageToJson(*package), carried));
        tables += "item " + QByteArray::number(json.size()) + '\n'
            + fieldTable(itemClass, *package, carried, {}) + '\n';
        PackageBase::clear(package);
    }
    if (!decoded)
        fail(QStringLiteral("%1: an item has a type word that is refused").arg(input.origin));
    if (!verified)
        fail(QStringLiteral("%1: the requests cannot be carried out").arg(input.origin));
    print(line.isSet("json") ? QJsonDocument(json).toJson() : tables);
    return EXIT_SUCCESS;
}

void declareDecode(CommandLine &line)
{
    addEncodingOptions(line);
    line.addOption({"json", "Prints JSON that encode accepts."});
    line.addOption({"verify", "Checks that a combination can be carried out."});
    MessageInput::addOptions(line);
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
    if (isCombination)
        return decodeCombination(line, input);
    const std::unique_ptr<PackageBase> package = packageClass->create();
    if (input.label.form)
        encoding.form = *input.label.form;
    failUnlessPossible(*packageClass, encoding, input.origin);
    qInstallMessageHandler(countShort);
    int consumed = 0;
    failUnlessOk(decodePackage(*package, encoding, input.bytes, &consumed), input.origin);
    if (shortMessages > 0)
        note(QStringLiteral("%1: the message ends before its data does").arg(input.origin));
    const QStringList carried = carriedFields(*packageClass, encoding, input.bytes, *package);
    if (line.isSet("json")) {
        print(QJsonDocument(onlyCarried(packageToJson(*package), carried)).toJson());
        return EXIT_SUCCESS;
    }
    Rows more;
    if (encoding.form == Form::Frame) {
        more.append({QStringLiteral("consumed"),
                     QStringLiteral("%1 of %2 bytes")
                         .arg(std::min<qint64>(consumed, input.bytes.size()))
                         .arg(input.bytes.size())});
    }
    print(fieldTable(*packageClass, *package, carried, more));
    return EXIT_SUCCESS;
}

} // namespace

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

const Command DecodeCommand{
    "decode",
    "print the fields of a frame or record",
    "Prints the fields of a frame or text record.",
    DecodeExamples,
    declareDecode,
    decode,
};
