#include "conform.h"

#include "codecjudge.h"
#include "codecprogram.h"
#include "commandline.h"
#include "testreport.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QSet>

#include <cstdlib>

namespace {

const char ConformExamples[] = "\n"
                               "The program gets one case in a line of JSON on standard input, "
                               "answers it with one line of JSON\n"
                               "on standard output, and gets the next; docs/conformance.md has "
                               "both. The exit status is 1 where\n"
                               "a case fails, and where none passes.\n"
                               "\n"
                               "Examples:\n"
                               "  korvinpack conform ./my-codec\n"
                               "  korvinpack conform --timeout 1 -- python3 my_codec.py --stdin\n"
                               "  korvinpack conform --print | grep '\"form\":\"text\"' | "
                               "korvinpack conform --cases - ./my-codec\n";

constexpr int DefaultTimeout = 5;
constexpr int LongestTimeout = 3600;

/// A program that had to be ended so often is not asked any more.
constexpr int MostEndings = 10;

int timeoutOf(const CommandLine &line)
{
    if (!line.isSet("timeout"))
        return DefaultTimeout * 1000;
    bool isNumber = false;
    const double seconds = line.value("timeout").toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0.001 && seconds <= LongestTimeout))
        fail(QStringLiteral("--timeout %1: not seconds from 0.001 to %2")
                 .arg(line.value("timeout"))
                 .arg(LongestTimeout));
    return static_cast<int>(seconds * 1000);
}

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

/// Asks for one case after the other, as long as the program answers.
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

/// A kind of case is supported or it is not: whoever answers some cases of it answers all.
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

/// Prints the summary, writes the report, and returns the exit status.
int finish(const CommandLine &line, const QString &subject, const QVector<TestResult> &results)
{
    const int passed = countOf(TestResult::Passed, results);
    const int failed = countOf(TestResult::Failed, results);
    if (passed == 0)
        print("nothing passed: a program that supports nothing does not conform\n");
    print(QStringLiteral("%1 cases: %2 passed, %3 failed, %4 unsupported, %5 not run\n")
              .arg(results.size())
              .arg(passed)
              .arg(failed)
              .arg(countOf(TestResult::Unsupported, results))
              .arg(countOf(TestResult::NotRun, results))
              .toUtf8());
    if (line.isSet("junit")) {
        QFile file(line.value("junit"));
        const QByteArray xml = junitXml(subject, results);
        if (!file.open(QIODevice::WriteOnly) || file.write(xml) != xml.size())
            fail(QStringLiteral("%1: %2").arg(file.fileName(), file.errorString()));
    }
    return failed == 0 && passed > 0 ? EXIT_SUCCESS : Refused;
}

} // namespace

int conformProgram(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("conform"),
                     QStringLiteral("Asks a program to encode and decode, and reports what it gets "
                                    "wrong."),
                     ConformExamples);
    line.addOption("cases", "Takes the cases from a file, \"-\" for standard input.", "FILE");
    line.addOption("timeout", "How long an answer may take; 5 where it is missing.", "SECONDS");
    line.addOption("junit", "Writes the results as JUnit XML as well.", "FILE");
    line.addOption("print", "Prints the cases and runs no program.");
    line.addArgument("PROGRAM",
                     "The program and its arguments, behind \"--\" if one is an option.");
    line.parse(arguments, std::numeric_limits<int>::max());

    const QString origin =
        line.isSet("cases") ? line.value("cases") : QStringLiteral(":/conformance/cases.jsonl");
    const QByteArray content = contentOf(origin);
    QVector<QJsonObject> cases;
    const QString fault = casesFromLines(content, &cases);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(origin, fault));
    if (line.isSet("print")) {
        print(content);
        return EXIT_SUCCESS;
    }
    if (line.arguments().isEmpty())
        fail(QStringLiteral("PROGRAM: missing"));

    CodecProgram program(line.arguments(), timeoutOf(line));
    QVector<TestResult> results = resultsOf(cases, program);
    refuseExceptions(&results);
    return finish(line, line.arguments().constFirst(), results);
}
