#include "conform.h"

#include "codecjudge.h"
#include "codecprogram.h"
#include "devicejudge.h"
#include "deviceport.h"
#include "shapewords.h"
#include "testreport.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>

#include <cstdlib>

using namespace KorvinInspect;

namespace {

const char ConformExamples[] =
    "\n"
    "The program gets one case as a line of JSON on standard input, answers it with one line of "
    "JSON\n"
    "on standard output, and gets the next. A device is asked for data blocks. "
    "docs/conformance.md\n"
    "describes both. The exit status is 1 if something fails, or if nothing passes.\n"
    "\n"
    "Examples:\n"
    "  korvinpack conform ./my-codec\n"
    "  korvinpack conform --timeout 1 -- python3 my_codec.py --stdin\n"
    "  korvinpack conform --print | grep '\"form\":\"text\"' | korvinpack conform --cases - "
    "./my-codec\n"
    "  korvinpack conform --device /dev/ttyUSB0 --form linux --read 0x0A000010:4=01FF10AA\n"
    "  korvinpack conform --device 192.168.0.9:5000 --form frame --form text --set desAddr=255 \\\n"
    "      --read 0x0A000010:4 --write 0x0A001000=0102 --junit report.xml\n";

constexpr int ProgramTimeout = 5;
constexpr int DeviceTimeout = 1;
constexpr int LongestTimeout = 3600;
constexpr int UsualBaud = 115200;

/// Most bytes of data in a Linux frame.
constexpr int LargestBlock = 65535;

/// After a program had to be killed this often, it is not asked any more.
constexpr int MostEndings = 10;

double secondsOf(const CommandLine &line, int usual)
{
    if (!line.isSet("timeout"))
        return usual;
    bool isNumber = false;
    const double seconds = line.value("timeout").toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0.001 && seconds <= LongestTimeout))
        fail(QStringLiteral("--timeout %1: not seconds from 0.001 to %2")
                 .arg(line.value("timeout"))
                 .arg(LongestTimeout));
    return seconds;
}

/// The file of --junit. It is opened before anything runs.
class Report
{
public:
    explicit Report(const CommandLine &line)
        : m_file(line.value("junit"))
    {
        if (line.isSet("junit") && !m_file.open(QIODevice::WriteOnly))
            fail(QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
    }

    void write(const QString &subject, const QVector<TestResult> &results)
    {
        if (!m_file.isOpen())
            return;
        const QByteArray xml = junitXml(subject, results);
        if (m_file.write(xml) != xml.size() || !m_file.flush())
            fail(QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
    }

private:
    QFile m_file;
};

int exitStatusOf(const QVector<TestResult> &results)
{
    return countOf(TestResult::Failed, results) == 0 && countOf(TestResult::Passed, results) > 0
        ? EXIT_SUCCESS
        : Refused;
}

// Programs

QString nameOf(const QJsonObject &ofCase)
{
    return ofCase.value(QLatin1String("case")).toString();
}

void printFailure(const TestResult &result)
{
    print(QStringLiteral("FAILED %1: %2\n").arg(result.name, result.reason).toUtf8());
}

Judgement askAndJudge(CodecProgram &program, const QJsonObject &ofCase)
{
    const QString fault = program.start();
    if (!fault.isEmpty())
        fail(fault);
    QByteArray answer;
    const QString reason = program.ask(questionOf(ofCase), &answer);
    return reason.isEmpty() ? judge(ofCase, answer) : Judgement{Judgement::NoAnswer, reason};
}

/// Asks for one case after the other while the program answers.
QVector<TestResult> resultsOf(const QVector<QJsonObject> &cases, CodecProgram &program)
{
    QVector<TestResult> results;
    for (const QJsonObject &ofCase : cases)
        results.append({TestResult::NotRun, kindOf(ofCase), nameOf(ofCase), {}, 0});
    int endings = 0;
    for (int i = 0; i < cases.size() && endings < MostEndings; ++i) {
        QElapsedTimer clock;
        clock.start();
        const Judgement judgement = askAndJudge(program, cases[i]);
        TestResult &result = results[i];
        result.seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
        result.reason = judgement.reason;
        result.verdict = judgement.kind == Judgement::Passed ? TestResult::Passed
            : judgement.kind == Judgement::Unsupported       ? TestResult::Unsupported
                                                             : TestResult::Failed;
        if (result.verdict == TestResult::Failed)
            printFailure(result);
        if (judgement.kind == Judgement::NoAnswer) {
            program.end();
            ++endings;
        }
    }
    if (endings == MostEndings)
        print("given up: too many of these\n");
    return results;
}

/// Fails unsupported cases of kinds that the program answers in other cases: it must support all
/// cases of a kind or none.
void refuseExceptions(QVector<TestResult> *results)
{
    QSet<QString> answered;
    for (const TestResult &result : qAsConst(*results)) {
        if (result.verdict == TestResult::Passed || result.verdict == TestResult::Failed)
            answered.insert(result.group);
    }
    for (TestResult &result : *results) {
        if (result.verdict != TestResult::Unsupported || !answered.contains(result.group))
            continue;
        result.verdict = TestResult::Failed;
        result.reason = QStringLiteral("unsupported, though the program answers others of this "
                                       "kind: %1")
                            .arg(result.group);
        printFailure(result);
    }
}

QVector<QJsonObject> casesOf(const CommandLine &line, QByteArray *content)
{
    const QString origin =
        line.isSet("cases") ? line.value("cases") : QStringLiteral(":/conformance/cases.jsonl");
    *content = contentOf(origin);
    QVector<QJsonObject> cases;
    const QString fault = casesFromLines(*content, &cases);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(origin, fault));
    return cases;
}

int conformCodec(const CommandLine &line)
{
    line.refuseWithout("--device", {"form", "set", "read", "write", "framing", "baud"});
    line.refuseTogether("print", {"junit", "timeout"});
    if (line.isSet("print") && !line.arguments().isEmpty())
        fail(QStringLiteral("%1: not allowed with --print").arg(line.arguments().constFirst()));
    QByteArray content;
    const QVector<QJsonObject> cases = casesOf(line, &content);
    if (line.isSet("print")) {
        print(content);
        return EXIT_SUCCESS;
    }
    if (line.arguments().isEmpty())
        fail(QStringLiteral("PROGRAM: missing; write conform PROGRAM, or conform --device PLACE"));
    Report report(line);
    CodecProgram program(line.arguments(),
                         static_cast<int>(1000 * secondsOf(line, ProgramTimeout)));
    QVector<TestResult> results = resultsOf(cases, program);
    refuseExceptions(&results);
    if (countOf(TestResult::Passed, results) == 0)
        print("nothing passed: a program that supports nothing does not conform\n");
    print(QStringLiteral("%1 cases: %2 passed, %3 failed, %4 unsupported, %5 not run\n")
              .arg(results.size())
              .arg(countOf(TestResult::Passed, results))
              .arg(countOf(TestResult::Failed, results))
              .arg(countOf(TestResult::Unsupported, results))
              .arg(countOf(TestResult::NotRun, results))
              .toUtf8());
    report.write(line.arguments().constFirst(), results);
    return exitStatusOf(results);
}

// Devices

/// Reads a block from the command line: ADDRESS:LENGTH, or ADDRESS=DATA.
RegisterBlock blockOf(const char *option, const QString &text)
{
    const auto refuse = [&](const QString &reason) {
        fail(QStringLiteral("--%1 %2: %3").arg(QLatin1String(option), text, reason));
    };
    const int end = text.indexOf(QRegularExpression(QStringLiteral("[:=]")));
    bool isNumber = false;
    RegisterBlock block;
    block.address = text.left(end).toUInt(&isNumber, 0);
    if (end < 0 || !isNumber)
        refuse(QStringLiteral("not ADDRESS:LENGTH or ADDRESS=DATA"));
    const QString rest = text.mid(end + 1);
    if (text.at(end) == QLatin1Char(':')) {
        block.length = rest.toInt();
    } else {
        QByteArray data;
        const QString fault = bytesFromHex(rest, &data);
        if (!fault.isEmpty())
            refuse(fault);
        block.length = static_cast<int>(data.size());
        block.data = data;
    }
    if (block.length < 1 || block.length > LargestBlock)
        refuse(QStringLiteral("not 1 to %1 bytes").arg(LargestBlock));
    return block;
}

std::vector<Form> formsOf(const CommandLine &line)
{
    std::vector<Form> forms;
    for (const QString &word : line.values("form"))
        forms.push_back(static_cast<Form>(formWords().indexOf(word)));
    return forms.empty() ? std::vector<Form>{Form::Frame} : forms;
}

/// Reads the fields that every request has.
QJsonObject fieldsOf(const CommandLine &line)
{
    const std::unique_ptr<PackageBase> package = packageClasses().front().create();
    QJsonObject fields;
    for (const QString &assignment : line.values("set")) {
        const QJsonObject field{
            {assignment.section(QLatin1Char('='), 0, 0), assignment.section(QLatin1Char('='), 1)}};
        const QString fault = packageFromJson(field, *package);
        if (!fault.isEmpty())
            fail(QStringLiteral("--set %1: %2").arg(assignment, fault));
        fields.insert(field.constBegin().key(), field.constBegin().value());
    }
    return fields;
}

DevicePlan planOf(const CommandLine &line)
{
    DevicePlan plan;
    plan.forms = formsOf(line);
    plan.fields = fieldsOf(line);
    plan.seconds = secondsOf(line, DeviceTimeout);
    for (const QString &text : line.values("read"))
        plan.reads.push_back(blockOf("read", text));
    for (const QString &text : line.values("write")) {
        plan.writes.push_back(blockOf("write", text));
        if (!plan.writes.back().data)
            fail(QStringLiteral("--write %1: not ADDRESS=DATA").arg(text));
    }
    if (plan.reads.empty() && plan.writes.empty())
        fail(QStringLiteral("--read: missing; it says which block may be read"));
    return plan;
}

/// Opens the connection to the device. Frames and records are sent to a serial port unchanged.
std::unique_ptr<DeviceLink> linkOf(const CommandLine &line)
{
    const QString place = line.value("device");
    const bool isSerial = place.startsWith(QLatin1Char('/'));
    const bool isRaw = line.isSet("framing") ? line.choice("framing") == 1 : isSerial;
    const int baud = line.isSet("baud") ? line.value("baud").toInt() : UsualBaud;
    if (baud <= 0)
        fail(QStringLiteral("--baud %1: not a speed such as 115200").arg(line.value("baud")));
    QString fault;
    std::unique_ptr<DeviceLink> link =
        openDevice(place, isRaw ? Framing::Raw : Framing::Labelled, baud, &fault);
    if (!link)
        fail(fault);
    return link;
}

void printCheck(const TestResult &result)
{
    const bool failed = result.verdict == TestResult::Failed;
    const char *const words[] = {"ok     ", "FAILED ", "", "not run"};
    print(QStringLiteral("%1 %2: %3%4\n")
              .arg(QLatin1String(words[result.verdict]), result.group, result.name,
                   failed ? QLatin1String(": ") + result.reason : QString())
              .toUtf8());
}

int conformDevice(const CommandLine &line)
{
    line.refuseTogether("device", {"cases", "print"});
    if (!line.arguments().isEmpty())
        fail(QStringLiteral("%1: not allowed with --device").arg(line.arguments().constFirst()));
    const DevicePlan plan = planOf(line);
    Report report(line);
    const std::unique_ptr<DeviceLink> link = linkOf(line);
    const QVector<TestResult> results = judgeDevice(*link, plan, printCheck);
    print(QStringLiteral("%1 checks: %2 passed, %3 failed, %4 not run\n")
              .arg(results.size())
              .arg(countOf(TestResult::Passed, results))
              .arg(countOf(TestResult::Failed, results))
              .arg(countOf(TestResult::NotRun, results))
              .toUtf8());
    report.write(line.value("device"), results);
    return exitStatusOf(results);
}

void declareConform(CommandLine &line)
{
    line.addOption({"cases", "Takes the cases from a file, \"-\" for standard input.", "FILE"});
    line.addOption(
        {"timeout", "How long an answer may take. Default: 5, or 1 for a device.", "SECONDS"});
    line.addOption({"junit", "Also writes the results as JUnit XML.", "FILE"});
    line.addOption({"print", "Prints the cases and runs no program."});
    line.addOption({"device", "Asks a device: HOST:PORT, or the file of a serial port.", "PLACE"});
    line.addOption({"form",
                    "An encoding of the device: frame (default), text or linux. May be repeated.",
                    "FORM", formWords(), true});
    line.addOption({"set",
                    "A field of every request, such as portAddr=2. May be repeated.",
                    "NAME=VALUE",
                    {},
                    true});
    line.addOption({"read",
                    "A block to read: ADDRESS:LENGTH, or ADDRESS=DATA if the data is known. May be "
                    "repeated.",
                    "BLOCK",
                    {},
                    true});
    line.addOption({"write",
                    "A block to write, read back and restore: ADDRESS=DATA. May be repeated. "
                    "Nothing else is written.",
                    "BLOCK",
                    {},
                    true});
    line.addOption({"framing",
                    "How messages are framed: labelled (default for HOST:PORT) or raw "
                    "(default for a serial port).",
                    "FRAMING",
                    {QStringLiteral("labelled"), QStringLiteral("raw")}});
    line.addOption({"baud", "The speed of a serial port. Default: 115200.", "BAUD"});
    line.addArgument("PROGRAM...",
                     "The program and its arguments, after \"--\" if one is an option.");
}

int conformProgram(const CommandLine &line)
{
    return line.isSet("device") ? conformDevice(line) : conformCodec(line);
}

} // namespace

const Command ConformCommand{
    "conform",
    "test another program or a device",
    "Asks a program to encode and decode, or a device for data, and reports wrong answers.",
    ConformExamples,
    declareConform,
    conformProgram,
};
