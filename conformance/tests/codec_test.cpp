// korvinpack conform with programs that answer rightly, wrongly, or not at all.

#include "korvinpackrun.h"

#include <QtCore/QElapsedTimer>

namespace {

class Conform : public KorvinpackRun
{
protected:
    /// Runs one case against a program that prints @p answer for it.
    Finished answered(const char *expected, const char *answer) const
    {
        const QString cases = write("cases.jsonl", expected);
        return conform({QStringLiteral("--timeout"), QStringLiteral("60"),
                        QStringLiteral("--cases"), cases, QStringLiteral("--"),
                        QStringLiteral("sh"), QStringLiteral("-c"),
                        QStringLiteral("read line; printf '%s\\n' \"$1\"; cat"),
                        QStringLiteral("sh"), QString::fromUtf8(answer)});
    }

    /// Runs all cases against a line of shell.
    static Finished shell(const char *timeout, const char *program)
    {
        return conform({QStringLiteral("--timeout"), QString::fromLatin1(timeout),
                        QStringLiteral("--"), QStringLiteral("sh"), QStringLiteral("-c"),
                        QString::fromLatin1(program)});
    }

    static Finished conform(const QStringList &arguments)
    {
        return korvinpack(QStringList{QStringLiteral("conform")} + arguments);
    }

    static std::string firstLine(const Finished &run)
    {
        return run.output.left(run.output.indexOf('\n')).toStdString();
    }
};

// Half of them leave fields out: the runner must not care.
const char ShortReply[] = R"({"case":"c","task":"encode","class":"PackageBase","form":"frame",)"
                          R"("direction":"reply","reply":"short","fields":{"serialNum":5},)"
                          R"("bytes":"000500000100","verdict":"accepted"})";
const char Undefined[] = R"({"case":"c","task":"encode","class":"PackageBase","form":"frame",)"
                         R"("direction":"reply","reply":"full","fields":{},)"
                         R"("bytes":"070000","undefined":[1],"verdict":"accepted"})";
const char Record[] = R"({"case":"c","task":"encode","class":"SpecialPackageRequest",)"
                      R"("form":"text","direction":"request","fields":{"id":12},)"
                      R"("text":"12,0,é","verdict":"accepted"})";
const char Decode[] = R"({"case":"c","task":"decode","class":"PackageRequestReadData",)"
                      R"("form":"linux","direction":"reply","bytes":"",)"
                      R"("fields":{"serialNum":300,"commResult":"timeout","data":"01ff"},)"
                      R"("verdict":"accepted"})";
const char Refuse[] = R"({"case":"c","task":"decode","class":"PackageBase","form":"text",)"
                      R"("direction":"request","text":"0","verdict":"refused"})";

TEST_F(Conform, ComparesAnswers)
{
    const struct
    {
        const char *expected;
        const char *answer;
        const char *reason; // empty where it passes
    } rows[] = {
        {ShortReply, R"({"case":"c","verdict":"accepted","bytes":"000500000100"})", ""},
        {ShortReply, R"({"case":"c","verdict":"accepted","bytes":"00 05 00 00 01 00"})", ""},
        {ShortReply, R"({"case":"c","verdict":"accepted","bytes":"000500000101"})",
         "bytes: expected 00 05 00 00 01 00, got 00 05 00 00 01 01"},
        {ShortReply, R"({"case":"c","verdict":"accepted","bytes":"0005000001"})",
         "bytes: expected 00 05 00 00 01 00, got 00 05 00 00 01"},
        {ShortReply, R"({"case":"c","verdict":"accepted"})", "the answer has no bytes"},
        {ShortReply, R"({"case":"c","verdict":"accepted","bytes":[]})", "the answer has no bytes"},
        {ShortReply, R"({"case":"c","verdict":"refused"})",
         R"(verdict: expected "accepted", got "refused")"},
        {ShortReply, R"({"case":"c"})", R"(verdict: expected "accepted", got null)"},
        {ShortReply, R"({"case":"d","verdict":"accepted","bytes":"000500000100"})",
         R"(the answer is not for this case: "d")"},
        {ShortReply, R"([])", "the answer is not a JSON object in one line"},
        {ShortReply, "", "the answer is not a JSON object in one line"},
        {Undefined, R"({"case":"c","verdict":"accepted","bytes":"07FF00"})", ""},
        {Undefined, R"({"case":"c","verdict":"accepted","bytes":"07FF01"})",
         "bytes: expected 07 00 00, got 07 FF 01"},
        {Undefined, R"({"case":"c","verdict":"accepted","bytes":"07"})",
         "bytes: expected 07 00 00, got 07"},
        {Record, R"({"case":"c","verdict":"accepted","text":"12,0,é"})", ""},
        {Record, R"({"case":"c","verdict":"accepted","text":"12,0,\u00e9"})", ""},
        {Record, R"({"case":"c","verdict":"accepted","text":"12,0,e"})",
         R"(text: expected "12,0,é", got "12,0,e")"},
        {Record, R"({"case":"c","verdict":"accepted"})", R"(text: expected "12,0,é", got null)"},
        {Decode,
         R"({"case":"c","verdict":"accepted",)"
         R"("fields":{"serialNum":300,"commResult":"timeout","data":"01FF","more":1}})",
         ""},
        {Decode,
         R"({"case":"c","verdict":"accepted",)"
         R"("fields":{"serialNum":"300","commResult":5,"data":"01 ff"}})",
         ""},
        {Decode,
         R"({"case":"c","verdict":"accepted","fields":{"serialNum":300,"commResult":"timeout"}})",
         "data: missing"},
        {Decode,
         R"({"case":"c","verdict":"accepted",)"
         R"("fields":{"serialNum":300,"commResult":"timeOut","data":"01FF"}})",
         R"(commResult: "timeOut" is not one of pending, ok, crcErr, lengthErr, portErr, timeout, )"
         R"(codeErr, forcedCancel, or a number from -2147483648 to 2147483647)"},
        {Decode,
         R"({"case":"c","verdict":"accepted",)"
         R"("fields":{"serialNum":44,"commResult":"timeout","data":"01FF"}})",
         "serialNum: expected 300, got 44"},
        {Decode, R"({"case":"c","verdict":"accepted"})", "commResult: missing"},
        {Refuse, R"({"case":"c","verdict":"refused"})", ""},
        {Refuse, R"({"case":"c","verdict":"accepted","fields":{}})",
         R"(verdict: expected "refused", got "accepted")"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.answer);
        const Finished run = answered(row.expected, row.answer);
        EXPECT_EQ(run.error, QString());
        if (*row.reason == '\0') {
            EXPECT_EQ(run.output, "1 cases: 1 passed, 0 failed, 0 unsupported, 0 not run\n");
            EXPECT_EQ(run.exitStatus, 0);
        } else {
            EXPECT_EQ(firstLine(run), std::string("FAILED c: ") + row.reason);
            EXPECT_EQ(run.exitStatus, 1);
        }
    }
}

TEST_F(Conform, DoesNotTellTheAnswer)
{
    const QString asked = path("asked.jsonl");
    for (const char *expected : {ShortReply, Undefined, Record, Decode, Refuse}) {
        const QString cases = write("cases.jsonl", expected);
        conform({QStringLiteral("--cases"), cases, QStringLiteral("--"), QStringLiteral("sh"),
                 QStringLiteral("-c"), QStringLiteral("head -n 1 > \"$1\""), QStringLiteral("sh"),
                 asked});
        QFile file(asked);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QJsonObject question = QJsonDocument::fromJson(file.readAll()).object();
        const bool encode = question.value(QLatin1String("task")) == QLatin1String("encode");
        EXPECT_EQ(question.value(QLatin1String("case")), QLatin1String("c"));
        EXPECT_EQ(question.contains(QLatin1String("fields")), encode);
        EXPECT_EQ(question.contains(QLatin1String("bytes"))
                      || question.contains(QLatin1String("text")),
                  !encode);
        EXPECT_FALSE(question.contains(QLatin1String("verdict")));
        EXPECT_FALSE(question.contains(QLatin1String("undefined")));
    }
}

TEST_F(Conform, OutlivesProgramsThatDoNotAnswer)
{
    const struct
    {
        const char *program;
        const char *timeout;
        const char *reason;
    } rows[] = {
        {"kill -SEGV $$", "60", "the program crashed"},
        {"read line; kill -SEGV $$", "60", "the program crashed"},
        {"exit 3", "60", "the program ended with exit status 3"},
        {"read line; printf '{'", "60", "the program ended with exit status 0"},
        {"sleep 600", "0.05", "no answer within 0.05 s"},
        {"exec >&-; exec sleep 600", "0.05", "no answer within 0.05 s"},
        {"exec <&-; exec sleep 600", "0.05", "no answer within 0.05 s"},
        {"trap '' TERM HUP INT; while :; do :; done", "0.05", "no answer within 0.05 s"},
        {"while :; do printf x; sleep 0.01; done", "0.05", "no answer within 0.05 s"},
        {"exec cat /dev/zero", "60", "the answer is longer than 1 MiB"},
        {"exec yes", "60", "the answer is not a JSON object in one line"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.program);
        QElapsedTimer clock;
        clock.start();
        const Finished run = shell(row.timeout, row.program);
        EXPECT_LT(clock.elapsed(), 120000);
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_TRUE(QByteArray::fromStdString(firstLine(run)).endsWith(row.reason))
            << run.output.toStdString();
        EXPECT_EQ(run.output.count("FAILED"), 10);
        EXPECT_TRUE(run.output.contains("\ngiven up: too many of these\n"));
        EXPECT_TRUE(run.output.contains(": 0 passed, 10 failed, 0 unsupported, "));
    }
}

/// The second line must not pass for the answer to the next case.
TEST_F(Conform, NoticesASecondLine)
{
    const Finished run = shell("60", R"(while read line; do printf '%s\n%s\n' "$line" x; done)");
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.output.count("the program printed more than one line for the case before")
                  + run.output.count("the answer is not a JSON object in one line"),
              10);
}

/// A program that fails one case still gets the next.
TEST_F(Conform, GoesOnAfterAWrongAnswer)
{
    const Finished run = shell("60", "exec cat");
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_GT(run.output.count("verdict: expected"), 200);
    EXPECT_TRUE(run.output.endsWith(" 0 unsupported, 0 not run\n")) << run.output.toStdString();
}

TEST_F(Conform, DoesNotPassAProgramThatSupportsNothing)
{
    const Finished run = shell("60",
                               R"(sed -u 's/.*"case":\("[^"]*"\).*/)"
                               R"({"case":\1,"verdict":"unsupported"}/')");
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(firstLine(run), "nothing passed: a program that supports nothing does not conform");
    EXPECT_EQ(run.output.count('\n'), 2) << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(": 0 passed, 0 failed, ")) << run.output.toStdString();
    EXPECT_TRUE(run.output.endsWith(" unsupported, 0 not run\n"));
}

/// Two cases of one kind and one of another.
const char TwoKinds[] =
    R"({"case":"a","task":"decode","class":"PackageBase","form":"frame","direction":"reply",)"
    R"("bytes":"00","fields":{},"verdict":"accepted"})"
    "\n"
    R"({"case":"b","task":"decode","class":"PackageBase","form":"frame","direction":"reply",)"
    R"("bytes":"0005","fields":{},"verdict":"accepted"})"
    "\n"
    R"({"case":"c","task":"decode","class":"PackageBase","form":"frame","direction":"reply",)"
    R"("bytes":"01","fields":{},"verdict":"accepted"})";

/// Answers case a as it should be, and calls all others unsupported.
const char SupportsOne[] = R"(sed -u -e 's/.*"case":"a".*/{"case":"a","verdict":"accepted"}/;t' )"
                           R"(-e 's/.*"case":\("[^"]*"\).*/{"case":\1,"verdict":"unsupported"}/')";

TEST_F(Conform, TakesAKindOfCaseAsAWhole)
{
    const auto conformCases = [&](const QByteArray &cases) {
        return conform({QStringLiteral("--cases"), write("cases.jsonl", cases),
                        QStringLiteral("--"), QStringLiteral("sh"), QStringLiteral("-c"),
                        QString::fromLatin1(SupportsOne)});
    };
    const Finished run = conformCases(TwoKinds);
    EXPECT_EQ(run.output.toStdString(),
              "FAILED b: unsupported, though the program answers others of this kind: "
              "decode frame reply (short) of PackageBase\n"
              "3 cases: 1 passed, 1 failed, 1 unsupported, 0 not run\n");
    EXPECT_EQ(run.exitStatus, 1);

    QByteArray others = TwoKinds;
    others.replace(R"("bytes":"0005")", R"("bytes":"0105")");
    const Finished whole = conformCases(others);
    EXPECT_EQ(whole.output, "3 cases: 1 passed, 0 failed, 2 unsupported, 0 not run\n");
    EXPECT_EQ(whole.exitStatus, 0);
}

TEST_F(Conform, WritesAReport)
{
    const QString report = path("report.xml");
    conform({QStringLiteral("--junit"), report, QStringLiteral("--cases"),
             write("cases.jsonl", TwoKinds), QStringLiteral("--"), QStringLiteral("sh"),
             QStringLiteral("-c"), QString::fromLatin1(SupportsOne)});
    QFile file(report);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray xml = file.readAll();
    EXPECT_TRUE(
        xml.contains(R"(<testsuite name="sh" tests="3" failures="1" errors="0" skipped="1">)"))
        << xml.toStdString();
    EXPECT_TRUE(xml.contains(
        R"(<testcase classname="decode frame reply (short) of PackageBase" name="a" )"))
        << xml.toStdString();
}

TEST_F(Conform, RefusesWrongArgumentsAndCases)
{
    int files = 0;
    const auto conformCases = [&](const QByteArray &content) {
        const QByteArray name = QByteArray::number(++files);
        return QStringList{QStringLiteral("--cases"), write(name.constData(), content),
                           QStringLiteral("cat")};
    };
    const QByteArray valid = ShortReply;
    const QByteArray withoutBytes = QByteArray(valid).replace("\"bytes\"", "\"byte\"");
    const struct
    {
        QStringList arguments;
        const char *message;
    } rows[] = {
        {{}, "PROGRAM: missing"},
        {{QStringLiteral("--timeout"), QStringLiteral("x"), QStringLiteral("cat")}, "--timeout x"},
        {{QStringLiteral("--timeout"), QStringLiteral("0"), QStringLiteral("cat")}, "--timeout 0"},
        {{QStringLiteral("--timeout"), QStringLiteral("nan"), QStringLiteral("cat")}, "--timeout"},
        {{QStringLiteral("--cases"), path("none"), QStringLiteral("cat")}, "none: "},
        {conformCases(valid) + QStringList{QStringLiteral("--junit"), path("none/report")},
         "none/report: "},
        {{path("none")}, "none: "},
        {conformCases(""), ": empty"},
        {conformCases("x"), "line 1: no JSON object with a case"},
        {conformCases(valid + "\n\n{}\n"), "line 3: no JSON object with a case"},
        {conformCases(QByteArray(valid).replace("encode", "code")), "line 1: task: "},
        {conformCases(QByteArray(valid).replace("accepted", "ok")), "line 1: verdict: "},
        {conformCases(QByteArray(valid).replace("PackageBase", "Base")), "line 1: class: "},
        {conformCases(QByteArray(valid).replace("serialNum", "serial")), "line 1: serial: "},
        {conformCases(QByteArray(valid).replace("0005", "0x05")), "neither bytes nor text"},
        {conformCases(withoutBytes), "neither bytes nor text"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.message);
        const Finished run = conform(row.arguments);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.output, QByteArray());
        EXPECT_TRUE(run.error.contains(QLatin1String(row.message))) << run.error.toStdString();
        EXPECT_EQ(run.error.count(QLatin1Char('\n')), 1);
    }
}

TEST_F(Conform, PrintsTheCases)
{
    const QByteArray printed = outputOf({QStringLiteral("conform"), QStringLiteral("--print")});
    QFile file(QStringLiteral(CONFORMANCE_CASES));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(printed, file.readAll());
    EXPECT_GT(printed.count('\n'), 200);
}

} // namespace
