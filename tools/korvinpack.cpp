#include "commandline.h"
#include "conform.h"
#include "cppsource.h"
#include "explaincommands.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/packageclass.h>
#include <korvininspect/packageforms.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>
#include <packagerequestcombination.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <cstdio>
#include <cstdlib>
#include <utility>

using namespace KorvinInspect;

namespace {

const char Overview[] = "Encodes and decodes the packages of a device-control protocol.\n"
                        "\n"
                        "Usage: korvinpack COMMAND [OPTIONS] [ARGUMENTS]\n"
                        "\n"
                        "Commands:\n"
                        "  encode   print a package as a frame or record\n"
                        "  decode   print the fields of a frame or record\n"
                        "  explain  explain frames and records byte by byte\n"
                        "  check    say whether frames and records are what encoders write\n"
                        "  diff     show the fields in which two frames or records differ\n"
                        "  combine  print a combination record of several packages\n"
                        "  conform  test another program or a device\n"
                        "  classes  list the classes and their fields\n"
                        "\n"
                        "See korvinpack COMMAND --help for more. After wrong input the exit status "
                        "is 2, with one line\n"
                        "on standard error and nothing on standard output.\n";

const char EncodeExamples[] =
    "\n"
    "Examples:\n"
    "  korvinpack encode --class PackageRequestRead --set deviceKey=usb0 \\\n"
    "      --set replyDataLength=4\n"
    "  korvinpack encode --form text --direction reply package.json\n"
    "  korvinpack encode --raw --class PackageRequestWriteData --set data=01FF > frame.bin\n";

const char DecodeExamples[] =
    "\n"
    "Examples:\n"
    "  korvinpack decode --class PackageBase \"00 0000 0000 03000000 0500 00000000 0000 00 00"
    " 0000 0000\"\n"
    "  korvinpack decode --class PackageRequestRead --form text --json --file record.txt\n"
    "  korvinpack decode --class PackageRequestWriteData --raw < frame.bin\n"
    "  korvinpack decode --class PackageRequestCombination --verify --file record.txt\n";

const char CombineExamples[] = "\n"
                               "Example:\n"
                               "  korvinpack combine write.json upload.json read.json\n";

const char ClassesExamples[] = "\n"
                               "Examples:\n"
                               "  korvinpack classes\n"
                               "  korvinpack classes PackageRequestRead\n";

void addEncodingOptions(CommandLine &line)
{
    line.addOption("class", "The class of the package.", "CLASS");
    line.addOption("form", "frame (default), text or linux.", "FORM");
    line.addOption("direction", "request (default) or reply.", "DIRECTION");
}

Encoding encodingOf(const CommandLine &line)
{
    constexpr Form Forms[] = {Form::Frame, Form::Text, Form::Linux};
    Encoding encoding;
    encoding.form = Forms[line.choice(
        "form", {QStringLiteral("frame"), QStringLiteral("text"), QStringLiteral("linux")})];
    if (line.choice("direction", {QStringLiteral("request"), QStringLiteral("reply")}) == 1)
        encoding.direction = Direction::Reply;
    return encoding;
}

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
    if (!document.isObject())
        fail(QStringLiteral("%1: the package must be a JSON object").arg(fileName));
    return document.object();
}

/// Ends the program for input that is refused. @p origin names the input in the message.
void failUnlessOk(const Verdict &verdict, const QString &origin)
{
    if (!verdict.isOk())
        fail(QStringLiteral("%1: %2").arg(origin, describe(verdict)));
}

/// A package and its class.
struct Described
{
    const PackageClass &packageClass;
    std::unique_ptr<PackageBase> package;
};

/// Makes the package that a JSON object describes. @p origin names it in messages.
Described packageOf(const QJsonObject &json, const QString &origin)
{
    const QJsonValue name = json.value(QLatin1String("class"));
    if (!name.isString())
        fail(QStringLiteral("%1: class: missing").arg(origin));
    Described described{classNamed(name.toString()), nullptr};
    described.package = described.packageClass.create();
    const QString fault = packageFromJson(json, *described.package);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(origin, fault));
    return described;
}

void encode(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("encode"),
                     QStringLiteral("Prints a package as a frame in hexadecimal digits or as a "
                                    "text record."),
                     EncodeExamples);
    addEncodingOptions(line);
    line.addOption("reply", "Size of a reply frame: short (default) or full.", "SIZE");
    line.addOption("set", "Gives a field a value; may be repeated.", "NAME=VALUE");
    line.addOption("raw", "Prints the bytes themselves, and no line feed after a record.");
    line.addOption("cpp", "Prints C++ that makes the package.");
    line.addArgument("FILE", "The package as JSON; \"-\" is standard input.");
    line.parse(arguments, 1);

    QJsonObject json;
    QString origin = QStringLiteral("encode");
    if (!line.arguments().isEmpty()) {
        origin = line.arguments().constFirst();
        json = jsonOf(origin);
    }
    if (line.isSet("class"))
        json.insert(QStringLiteral("class"), line.value("class"));
    for (const QString &assignment : line.values("set")) {
        const int equals = assignment.indexOf(QLatin1Char('='));
        if (equals < 0)
            fail(QStringLiteral("--set %1: not NAME=VALUE").arg(assignment));
        json.insert(assignment.left(equals), assignment.mid(equals + 1));
    }
    const Described described = packageOf(json, origin);
    if (line.isSet("cpp")) {
        print(cppSource(*described.package).toUtf8());
        return;
    }

    Encoding encoding = encodingOf(line);
    if (line.choice("reply", {QStringLiteral("short"), QStringLiteral("full")}) == 1)
        encoding.replySize = ReplySize::Full;
    QByteArray encoded;
    failUnlessOk(encodePackage(*described.package, encoding, &encoded), origin);
    if (line.isSet("raw"))
        print(encoded);
    else if (encoding.form == Form::Text)
        print(encoded + '\n');
    else
        print(hexFromBytes(encoded).toLatin1() + '\n');
}

using Rows = QVector<QPair<QString, QString>>;

/// Formats two columns, the first one padded.
QByteArray table(const Rows &rows)
{
    int width = 0;
    for (const auto &row : rows)
        width = qMax(width, row.first.size());
    QString text;
    for (const auto &row : rows)
        text +=
            row.first.leftJustified(width) + QLatin1String("  ") + row.second + QLatin1Char('\n');
    return text.toUtf8();
}

Rows rowsOf(const PackageClass &packageClass, PackageBase &package)
{
    Rows rows{{QStringLiteral("class"), packageClass.name}};
    for (const PackageField &field : packageClass.fields)
        rows.append({field.name, field.describe(package)});
    return rows;
}

const char CombinationClass[] = "PackageRequestCombination";

void printWarning(QtMsgType, const QMessageLogContext &, const QString &message)
{
    std::fprintf(stderr, "warning: %s\n", qUtf8Printable(message));
}

/// Bytes to decode, and their name in messages.
struct Input
{
    QByteArray bytes;
    QString origin;
};

Input inputOf(const CommandLine &line, Form form)
{
    Input input{{}, QStringLiteral("INPUT")};
    if (line.arguments().isEmpty()) {
        input.origin = line.isSet("file") ? line.value("file") : QStringLiteral("-");
        input.bytes = contentOf(input.origin);
    } else if (line.isSet("file")) {
        fail(QStringLiteral("--file %1: not allowed with INPUT").arg(line.value("file")));
    } else {
        input.bytes = line.arguments().constFirst().toUtf8();
    }
    if (line.isSet("raw"))
        return input;
    if (form == Form::Text) {
        if (input.bytes.endsWith('\n'))
            input.bytes.chop(input.bytes.endsWith("\r\n") ? 2 : 1);
        return input;
    }
    const QString fault = bytesFromHex(textFromUtf8(input.bytes), &input.bytes);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(input.origin, fault));
    return input;
}

void decodeCombination(const CommandLine &line, const Input &input)
{
    qInstallMessageHandler(printWarning);
    PackageRequestCombination combination;
    const bool decoded = combination.unCombinationPackageRequest(textFromUtf8(input.bytes));
    const bool verified = !line.isSet("verify") || combination.makeCombinationPackageRequest();
    QJsonArray json;
    QByteArray tables;
    for (PackageBase *package : combination.packageList()) {
        const PackageClass &itemClass =
            classNamed(QString::fromLatin1(package->metaObject()->className()));
        json.append(packageToJson(*package));
        tables += "item " + QByteArray::number(json.size()) + '\n'
            + table(rowsOf(itemClass, *package)) + '\n';
        PackageBase::clear(package);
    }
    if (!decoded)
        fail(QStringLiteral("%1: an item has a type word that is refused").arg(input.origin));
    if (!verified)
        fail(QStringLiteral("%1: the requests cannot be carried out").arg(input.origin));
    print(line.isSet("json") ? QJsonDocument(json).toJson() : tables);
}

void decode(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("decode"),
                     QStringLiteral("Prints the fields of a frame or text record."),
                     DecodeExamples);
    addEncodingOptions(line);
    line.addOption("file", "Reads the input from a file.", "FILE");
    line.addOption("raw", "The input is the bytes themselves, not hexadecimal digits.");
    line.addOption("json", "Prints JSON that encode accepts.");
    line.addOption("verify", "Checks that a combination can be carried out.");
    line.addArgument("INPUT", "The frame or record. Default: standard input.");
    line.parse(arguments, 1);

    Encoding encoding = encodingOf(line);
    const QString className = line.value("class");
    if (className.isEmpty())
        fail(QStringLiteral("--class: missing"));
    const bool combination = className == QLatin1String(CombinationClass);
    if (combination)
        encoding.form = Form::Text;
    const Input input = inputOf(line, encoding.form);
    if (combination) {
        decodeCombination(line, input);
        return;
    }

    const PackageClass &wanted = classNamed(className);
    const std::unique_ptr<PackageBase> package = wanted.create();
    int consumed = 0;
    failUnlessOk(decodePackage(*package, encoding, input.bytes, &consumed), input.origin);
    if (line.isSet("json")) {
        print(QJsonDocument(packageToJson(*package)).toJson());
        return;
    }
    Rows rows = rowsOf(wanted, *package);
    if (encoding.form == Form::Frame) {
        rows.append({QStringLiteral("consumed"),
                     QStringLiteral("%1 of %2 bytes").arg(consumed).arg(input.bytes.size())});
    }
    print(table(rows));
}

void combine(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("combine"),
                     QStringLiteral("Prints the combination record of several packages."),
                     CombineExamples);
    line.addArgument("FILE...", "The packages as JSON, in the order of the record.");
    line.parse(arguments, std::numeric_limits<int>::max());
    if (line.arguments().isEmpty())
        fail(QStringLiteral("FILE...: missing"));

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
    print(record + '\n');
}

void classes(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("classes"),
                     QStringLiteral("Lists the classes, their fields, defaults and ranges."),
                     ClassesExamples);
    line.addArgument("CLASS", "Only this class.");
    line.parse(arguments, 1);
    if (!line.arguments().isEmpty())
        classNamed(line.arguments().constFirst());

    QByteArray output;
    for (const PackageClass &listed : packageClasses()) {
        if (!line.arguments().isEmpty() && listed.name != line.arguments().constFirst())
            continue;
        const std::unique_ptr<PackageBase> package = listed.create();
        Rows rows;
        for (const PackageField &field : listed.fields) {
            rows.append(
                {QStringLiteral("  ") + field.name,
                 QStringLiteral("%1; default \"%2\"").arg(field.type, field.describe(*package))});
        }
        output += listed.name.toUtf8() + '\n' + table(rows) + '\n';
    }
    print(output);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("korvinpack"));
    const QStringList arguments = QCoreApplication::arguments();
    const QString command = arguments.value(1);
    if (command == QLatin1String("encode"))
        encode(arguments);
    else if (command == QLatin1String("decode"))
        decode(arguments);
    else if (command == QLatin1String("explain"))
        explainInputs(arguments);
    else if (command == QLatin1String("check"))
        return checkInputs(arguments);
    else if (command == QLatin1String("diff"))
        return diffInputs(arguments);
    else if (command == QLatin1String("combine"))
        combine(arguments);
    else if (command == QLatin1String("conform"))
        return conformProgram(arguments);
    else if (command == QLatin1String("classes"))
        classes(arguments);
    else if (command == QLatin1String("--help") || command == QLatin1String("-h"))
        print(Overview);
    else if (command.isEmpty())
        fail(QStringLiteral("a command is missing; see korvinpack --help"));
    else
        fail(QStringLiteral("%1: no such command; see korvinpack --help").arg(command));
    return EXIT_SUCCESS;
}
