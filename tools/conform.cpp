#include "conform.h"

#include "commandline.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/messageshape.h>
#include <packagebase.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QSet>

#include <cstdlib>

using namespace KorvinInspect;

namespace {

const char ConformExamples[] = "\n"
                               "The program gets one case in a line of JSON on standard input, "
                               "answers it with one line of JSON\n"
                               "on standard output, and gets the next; docs/conformance.md has "
                               "both. The exit status is 1 where\n"
                               "a case fails.\n"
                               "\n"
                               "Examples:\n"
                               "  korvinpack conform ./my-codec\n"
                               "  korvinpack conform --timeout 1 -- python3 my_codec.py --stdin\n"
                               "  korvinpack conform --print | grep '\"form\":\"text\"' | "
                               "korvinpack conform --cases - ./my-codec\n";

constexpr int DefaultTimeout = 5;
constexpr int LongestTimeout = 3600;
constexpr int LongestAnswer = 1024 * 1024;

/// A program that had to be ended so often is not asked any more.
constexpr int MostEndings = 10;

/// How a case went.
struct Outcome
{
    enum Kind { Passed, Failed, Unsupported, Ended } kind;
    QString reason; ///< Of a failed case, and of one with which the program has ended.
};

Outcome failed(const QString &reason)
{
    return {Outcome::Failed, reason};
}

Outcome ended(const QString &reason)
{
    return {Outcome::Ended, reason};
}

QString compact(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    constexpr int Longest = 200;
    const QString text = QString::fromUtf8(array.mid(1, array.size() - 2));
    return text.size() > Longest ? text.left(Longest) + QLatin1String("...") : text;
}

QString text(const QJsonObject &json, const char *name)
{
    return json.value(QLatin1String(name)).toString();
}

/// The program under test, one answer for one line.
class Program
{
public:
    Program(const QStringList &command, int timeout)
        : m_command(command)
        , m_timeout(timeout)
    {
    }

    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    ~Program() { end(); }

    /// Asks for one line. Starts the program where it does not run.
    ///
    /// @return what is wrong, or an empty text.
    QString ask(const QByteArray &line, QByteArray *answer)
    {
        if (!m_process)
            start();
        if (m_process->bytesAvailable() > 0)
            return QStringLiteral("the program printed more than one line for the case in front");
        QElapsedTimer clock;
        clock.start();
        m_process->write(line + '\n');
        while (!m_process->canReadLine()) {
            if (m_process->bytesAvailable() > LongestAnswer)
                return QStringLiteral("the answer is longer than 1 MiB");
            const int left = m_timeout - static_cast<int>(qMin<qint64>(clock.elapsed(), m_timeout));
            if (left == 0)
                return QStringLiteral("no answer within %1 s").arg(m_timeout / 1000.0);
            if (m_process->waitForReadyRead(left) || m_process->canReadLine())
                continue;
            // It has ended, closed its output, or said nothing for long enough.
            const bool isRunning = m_process->state() != QProcess::NotRunning;
            if ((!isRunning || m_process->waitForFinished(left)) && !m_process->canReadLine())
                return howItEnded();
        }
        *answer = m_process->readLine();
        return {};
    }

    void end()
    {
        if (!m_process)
            return;
        m_process->kill();
        m_process->waitForFinished(m_timeout);
        m_process.reset();
    }

private:
    void start()
    {
        m_process = std::make_unique<QProcess>();
        m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process->start(m_command.constFirst(), m_command.mid(1));
        if (!m_process->waitForStarted())
            fail(QStringLiteral("%1: %2").arg(m_command.constFirst(), m_process->errorString()));
    }

    QString howItEnded() const
    {
        if (m_process->exitStatus() == QProcess::CrashExit)
            return QStringLiteral("the program crashed");
        return QStringLiteral("the program ended with exit status %1").arg(m_process->exitCode());
    }

    QStringList m_command;
    int m_timeout; // in milliseconds
    std::unique_ptr<QProcess> m_process;
};

/// What the program is not told: the answer.
QJsonObject questionOf(QJsonObject json)
{
    const bool encode = text(json, "task") == QLatin1String("encode");
    for (const char *name : {"verdict", "undefined"})
        json.remove(QLatin1String(name));
    for (const char *name : {"bytes", "text"}) {
        if (encode)
            json.remove(QLatin1String(name));
    }
    if (!encode)
        json.remove(QStringLiteral("fields"));
    return json;
}

Outcome compareBytes(const QJsonObject &expected, const QJsonObject &answer)
{
    QByteArray wanted;
    QByteArray got;
    bytesFromHex(text(expected, "bytes"), &wanted);
    if (!answer.value(QLatin1String("bytes")).isString())
        return failed(QStringLiteral("the answer has no bytes"));
    const QString fault = bytesFromHex(text(answer, "bytes"), &got);
    if (!fault.isEmpty())
        return failed(QStringLiteral("bytes: %1").arg(fault));
    QByteArray compared = got;
    for (const QJsonValue offset : expected.value(QLatin1String("undefined")).toArray()) {
        const int position = offset.toInt();
        if (position < compared.size() && position < wanted.size())
            compared[position] = wanted.at(position);
    }
    if (compared != wanted) {
        return failed(QStringLiteral("bytes: expected %1, got %2")
                          .arg(hexFromBytes(wanted), hexFromBytes(got)));
    }
    return {Outcome::Passed, {}};
}

Outcome compareText(const QJsonObject &expected, const QJsonObject &answer)
{
    const QJsonValue wanted = expected.value(QLatin1String("text"));
    const QJsonValue got = answer.value(QLatin1String("text"));
    if (got == wanted)
        return {Outcome::Passed, {}};
    return failed(QStringLiteral("text: expected %1, got %2").arg(compact(wanted), compact(got)));
}

/// Compares the fields that are expected; a program may give more.
QString faultOfFields(const PackageClass &itsClass, const QJsonObject &wanted,
                      const QJsonObject &got)
{
    for (auto member = wanted.begin(); member != wanted.end(); ++member) {
        if (member.key() == QLatin1String("class"))
            continue;
        const QJsonValue value = got.value(member.key());
        if (value.isUndefined())
            return QStringLiteral("%1: missing").arg(member.key());
        // A value may be written in several ways.
        const PackageField &field = *itsClass.field(member.key());
        const std::unique_ptr<PackageBase> package = itsClass.create();
        const QString fault = field.set(*package, value);
        if (!fault.isEmpty())
            return QStringLiteral("%1: %2").arg(field.name, fault);
        if (field.get(*package) != member.value()) {
            return QStringLiteral("%1: expected %2, got %3")
                .arg(field.name, compact(member.value()), compact(value));
        }
    }
    return {};
}

QString faultOfPackages(const QJsonArray &wanted, const QJsonArray &got)
{
    if (got.size() != wanted.size())
        return QStringLiteral("packages: expected %1, got %2").arg(wanted.size()).arg(got.size());
    for (int i = 0; i < wanted.size(); ++i) {
        const QJsonObject package = wanted.at(i).toObject();
        const QString name = text(package, "class");
        QString fault = faultOfFields(*packageClass(name), package, got.at(i).toObject());
        if (text(got.at(i).toObject(), "class") != name)
            fault = QStringLiteral("class: expected %1").arg(name);
        if (!fault.isEmpty())
            return QStringLiteral("package %1: %2").arg(i + 1).arg(fault);
    }
    return {};
}

Outcome compareFields(const QJsonObject &expected, const QJsonObject &answer)
{
    const QJsonObject wanted = expected.value(QLatin1String("fields")).toObject();
    const QJsonObject got = answer.value(QLatin1String("fields")).toObject();
    const PackageClass *itsClass = packageClass(text(expected, "class"));
    const QString fault = itsClass
        ? faultOfFields(*itsClass, wanted, got)
        : faultOfPackages(wanted.value(QLatin1String("packages")).toArray(),
                          got.value(QLatin1String("packages")).toArray());
    return fault.isEmpty() ? Outcome{Outcome::Passed, {}} : failed(fault);
}

Outcome compare(const QJsonObject &expected, const QByteArray &line)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (!document.isObject())
        return ended(QStringLiteral("the answer is not a JSON object in one line"));
    const QJsonObject answer = document.object();
    const QString name = text(expected, "case");
    if (text(answer, "case") != name)
        return ended(QStringLiteral("the answer is not for this case: %1")
                         .arg(compact(answer.value(QLatin1String("case")))));
    const QString verdict = text(answer, "verdict");
    if (verdict == QLatin1String("unsupported"))
        return {Outcome::Unsupported, {}};
    if (verdict != text(expected, "verdict")) {
        return failed(QStringLiteral("verdict: expected %1, got %2")
                          .arg(compact(expected.value(QLatin1String("verdict"))),
                               compact(answer.value(QLatin1String("verdict")))));
    }
    if (verdict == QLatin1String("refused"))
        return {Outcome::Passed, {}};
    if (text(expected, "task") == QLatin1String("decode"))
        return compareFields(expected, answer);
    return expected.contains(QLatin1String("text")) ? compareText(expected, answer)
                                                    : compareBytes(expected, answer);
}

Outcome run(Program &program, const QJsonObject &expected)
{
    QByteArray answer;
    const QString fault =
        program.ask(QJsonDocument(questionOf(expected)).toJson(QJsonDocument::Compact), &answer);
    return fault.isEmpty() ? compare(expected, answer) : ended(fault);
}

QString faultOfNames(const QString &name, const QJsonObject &fields)
{
    const PackageClass *itsClass = packageClass(name);
    if (!itsClass)
        return QStringLiteral("class: there is no such class");
    for (const QString &field : fields.keys()) {
        if (!itsClass->field(field) && field != QLatin1String("class"))
            return QStringLiteral("%1: %2 has no such field").arg(field, name);
    }
    return {};
}

/// What is wrong with a case, or an empty text.
QString faultOf(const QJsonObject &json)
{
    if (text(json, "case").isEmpty())
        return QStringLiteral("no JSON object with a case");
    const QString task = text(json, "task");
    if (task != QLatin1String("encode") && task != QLatin1String("decode"))
        return QStringLiteral("task: not one of encode, decode");
    const QString verdict = text(json, "verdict");
    if (verdict != QLatin1String("accepted") && verdict != QLatin1String("refused"))
        return QStringLiteral("verdict: not one of accepted, refused");
    const bool hasText = json.value(QLatin1String("text")).isString();
    QByteArray bytes;
    if (hasText == json.value(QLatin1String("bytes")).isString()
        || !bytesFromHex(text(json, "bytes"), &bytes).isEmpty())
        return QStringLiteral("neither bytes nor text");
    const QJsonObject fields = json.value(QLatin1String("fields")).toObject();
    if (text(json, "class") != className(ClassId::PackageRequestCombination))
        return faultOfNames(text(json, "class"), fields);
    for (const QJsonValue package : fields.value(QLatin1String("packages")).toArray()) {
        QString fault = faultOfNames(text(package.toObject(), "class"), package.toObject());
        if (!fault.isEmpty())
            return fault;
    }
    return task == QLatin1String("decode")
        ? QString()
        : QStringLiteral("task: no program encodes a combination");
}

/// Reads all cases before the first of them is run.
QVector<QJsonObject> casesOf(const QByteArray &content, const QString &origin)
{
    QVector<QJsonObject> cases;
    int number = 0;
    for (const QByteArray &line : content.split('\n')) {
        ++number;
        if (line.trimmed().isEmpty())
            continue;
        const QJsonObject json = QJsonDocument::fromJson(line).object();
        const QString fault = faultOf(json);
        if (!fault.isEmpty())
            fail(QStringLiteral("%1: line %2: %3").arg(origin).arg(number).arg(fault));
        cases.append(json);
    }
    if (cases.isEmpty())
        fail(QStringLiteral("%1: there is no case").arg(origin));
    return cases;
}

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

} // namespace

int conformProgram(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("conform"),
                     QStringLiteral("Asks a program to encode and decode, and reports what it gets "
                                    "wrong."),
                     ConformExamples);
    line.addOption("cases", "Takes the cases from a file, \"-\" for standard input.", "FILE");
    line.addOption("timeout", "How long an answer may take; 5 where it is missing.", "SECONDS");
    line.addOption("print", "Prints the cases and runs no program.");
    line.addArgument("PROGRAM",
                     "The program and its arguments, behind \"--\" if one is an option.");
    line.parse(arguments, std::numeric_limits<int>::max());

    const QString origin =
        line.isSet("cases") ? line.value("cases") : QStringLiteral(":/conformance/cases.jsonl");
    const QByteArray content = contentOf(origin);
    const QVector<QJsonObject> cases = casesOf(content, origin);
    if (line.isSet("print")) {
        print(content);
        return EXIT_SUCCESS;
    }
    if (line.arguments().isEmpty())
        fail(QStringLiteral("PROGRAM: missing"));

    Program program(line.arguments(), timeoutOf(line));
    int counts[4] = {};
    for (const QJsonObject &json : cases) {
        const Outcome outcome = run(program, json);
        ++counts[outcome.kind];
        if (outcome.kind == Outcome::Ended)
            program.end();
        if (!outcome.reason.isEmpty())
            print(
                QStringLiteral("FAILED %1: %2\n").arg(text(json, "case"), outcome.reason).toUtf8());
        if (counts[Outcome::Ended] == MostEndings) {
            print("given up: too many of these\n");
            break;
        }
    }
    const int failures = counts[Outcome::Failed] + counts[Outcome::Ended];
    const int notRun =
        cases.size() - failures - counts[Outcome::Passed] - counts[Outcome::Unsupported];
    print(QStringLiteral("%1 cases: %2 passed, %3 failed, %4 unsupported, %5 not run\n")
              .arg(cases.size())
              .arg(counts[Outcome::Passed])
              .arg(failures)
              .arg(counts[Outcome::Unsupported])
              .arg(notRun)
              .toUtf8());
    return failures == 0 && counts[Outcome::Passed] > 0 ? EXIT_SUCCESS : Refused;
}
