// The commands explain, check and diff of the command-line program, and encode --cpp.

#include "korvinpackrun.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QProcess>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

class ExplainCommands : public KorvinpackRun
{
protected:
    /// A file with so many thousand lines. It is made piece by piece: what the test holds when it
    /// starts a process would count as memory of that process.
    QString thousands(int count, const char *line) const
    {
        QFile file(path("thousands.txt"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        const QByteArray thousand = (QByteArray(line) + '\n').repeated(1000);
        for (int i = 0; i < count; ++i)
            file.write(thousand);
        return file.fileName();
    }
};

const char ShortReply[] = "00 0500 00 01 00";
const char Record[] = "7,usb0,0,0,0,0,0,0,0,0,read,3,,ok,ok";

QStringList arguments(const char *command, const char *input)
{
    return {QString::fromLatin1(command), QString::fromLatin1(input)};
}

TEST_F(ExplainCommands, GuessesWhatIsNotSaid)
{
    EXPECT_TRUE(outputOf(arguments("explain", ShortReply))
                    .startsWith("reply frame of PackageBase, 6 bytes: ok (a guess: "));
    EXPECT_TRUE(outputOf(arguments("explain", Record))
                    .startsWith("request record of PackageBase, 36 bytes: ok (a guess: "));
    EXPECT_TRUE(outputOf(words("explain --class PackageRequestWrite --form frame --direction reply"
                               " 000500000100"))
                    .startsWith("reply frame of PackageRequestWrite, 6 bytes: ok\n"));
    EXPECT_TRUE(outputOf(arguments("explain", "00"))
                    .startsWith("request frame of PackageBase, 1 byte: refused: "));
    // A record of digits alone looks like a frame.
    EXPECT_TRUE(outputOf(words("explain --form text 1234")).contains("1234"));
}

TEST_F(ExplainCommands, JsonIsAnObjectInALineForEachInput)
{
    const QByteArray output = outputOf(words("explain --json"), "00 0500 00 01 00\r\n\n1,2,x,y\n");
    const QList<QByteArray> lines = output.split('\n');
    ASSERT_EQ(lines.size(), 3);
    const QJsonObject first = QJsonDocument::fromJson(lines.at(0)).object();
    EXPECT_EQ(first.value(QStringLiteral("line")).toInt(), 1);
    EXPECT_EQ(first.value(QStringLiteral("what")).toString(),
              QStringLiteral("reply frame of PackageBase"));
    EXPECT_EQ(first.value(QStringLiteral("verdict")).toObject(),
              (QJsonObject{{QStringLiteral("ok"), true}}));
    EXPECT_EQ(first.value(QStringLiteral("fields")).toArray().size(), 5);
    const QJsonObject second = QJsonDocument::fromJson(lines.at(1)).object();
    EXPECT_EQ(second.value(QStringLiteral("line")).toInt(), 3);
    const QJsonObject verdict = second.value(QStringLiteral("verdict")).toObject();
    EXPECT_FALSE(verdict.value(QStringLiteral("ok")).toBool());
    EXPECT_TRUE(verdict.contains(QStringLiteral("reason")));
}

TEST_F(ExplainCommands, VerdictInJsonSaysWhere)
{
    const QByteArray output = outputOf(
        {QStringLiteral("explain"), QStringLiteral("--json"), QStringLiteral("ReadData^1,2|x^")});
    EXPECT_EQ(QJsonDocument::fromJson(output).object().value(QStringLiteral("verdict")).toObject(),
              QJsonDocument::fromJson(R"({"ok": false, "item": 1, "position": 2,
                  "reason": "item 1, too few: 17 columns expected, 2 found",
                  "expected": "17 columns", "found": "2"})")
                  .object());
    const QByteArray frame = outputOf(words("explain --json --direction request 000500"));
    EXPECT_EQ(QJsonDocument::fromJson(frame).object().value(QStringLiteral("verdict")).toObject(),
              QJsonDocument::fromJson(R"({"ok": false, "field": "deviceKey", "position": 3,
                  "reason": "deviceKey at 3: announced 5 bytes, left 0 bytes",
                  "expected": "5 bytes", "found": "0 bytes"})")
                  .object());
}

TEST_F(ExplainCommands, ManyInputsAreReportedByLine)
{
    const QByteArray input("00 0500 00 01 00\n\n00 0500\n");
    const QByteArray explained = outputOf(words("explain"), input);
    EXPECT_TRUE(explained.startsWith("line 1: reply frame of PackageBase, 6 bytes: ok"));
    EXPECT_TRUE(explained.contains("\n\nline 3: reply frame of PackageBase, 3 bytes: refused: "));

    const Finished checked = korvinpack(words("check"), input);
    EXPECT_EQ(checked.exitStatus, 1);
    EXPECT_EQ(checked.error, QString());
    EXPECT_EQ(checked.output,
              QByteArray("line 1: ok (as reply frame of PackageBase)\n"
                         "line 3: refused: ackCode at 3: truncated: 1 byte expected, 0 bytes found "
                         "(as reply frame of PackageBase)\n"));
}

TEST_F(ExplainCommands, ALineThatIsNeitherFrameNorRecordDoesNotEndAStream)
{
    const QByteArray input("000500000100\n0x\n000600000100\n");
    const Finished checked =
        korvinpack(words("check --class PackageBase --form frame --direction reply"), input);
    EXPECT_EQ(checked.exitStatus, 1);
    EXPECT_EQ(checked.output,
              QByteArray("line 1: ok\n"
                         "line 2: refused: \"x\" at character 2 is not a hexadecimal digit\n"
                         "line 3: ok\n"));
    const Finished explained = korvinpack(words("explain --json"), input);
    EXPECT_EQ(explained.exitStatus, 2);
    EXPECT_EQ(explained.error, QStringLiteral("korvinpack: inputs without an explanation: 1\n"));
    EXPECT_EQ(explained.output.split('\n').value(1),
              QByteArray("{\"line\":2,\"verdict\":{\"ok\":false,\"reason\":\"\\\"x\\\" at "
                         "character 2 is not a hexadecimal digit\"}}"));
    EXPECT_TRUE(korvinpack(words("explain"), input).output.contains("\nline 2: refused: "));
}

TEST_F(ExplainCommands, AZeroByteIsPartOfTheInput)
{
    const QByteArray record = QByteArray(Record) + QByteArray("\0,evil", 6);
    for (const char *command :
         {"check", "check --class PackageBase --form text --direction request"}) {
        const Finished run = korvinpack(words(command), record + '\n');
        EXPECT_EQ(run.exitStatus, 1) << command;
        EXPECT_TRUE(run.output.startsWith("refused: ")) << run.output.toStdString();
    }
    EXPECT_EQ(korvinpack(words("check"), QByteArray("\0\5\n", 3)).exitStatus, 2);
}

TEST_F(ExplainCommands, TerminalsGetNoControlCharacters)
{
    const QByteArray frame = hex("00 0300 1B5B48 0100 0A 03000000 0000 00 00 00 00 0000 00 00 0000 "
                                 "0000");
    const QByteArray output = outputOf(words("explain --raw"), frame);
    EXPECT_FALSE(output.contains('\x1B'));
    EXPECT_TRUE(output.contains("\"\\u001b[H\""));
    EXPECT_TRUE(output.contains("\"\\u000a\""));
}

TEST_F(ExplainCommands, RawInputIsOneFrame)
{
    const QString frame = write("frame.bin", hex("00 0A0D 00 01 00"));
    EXPECT_EQ(outputOf({QStringLiteral("check"), QStringLiteral("--raw"), QStringLiteral("--file"),
                        frame}),
              QByteArray("ok (as reply frame of PackageBase)\n"));
    EXPECT_EQ(outputOf(words("check --raw"), hex("00 0A0D 00 01 00")),
              QByteArray("ok (as reply frame of PackageBase)\n"));
}

TEST_F(ExplainCommands, HtmlIsWrittenToAFile)
{
    const QString page = path("page.html");
    EXPECT_EQ(outputOf({QStringLiteral("explain"), QStringLiteral("--html"), page,
                        QString::fromLatin1(ShortReply)}),
              QByteArray());
    QFile file(page);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray content = file.readAll();
    EXPECT_TRUE(content.startsWith("<!DOCTYPE html>"));
    EXPECT_TRUE(content.contains("reply frame of PackageBase"));
    EXPECT_TRUE(content.contains("commResult"));
}

/// The page goes through a pipe; a file that took its place would leave the reader waiting.
TEST_F(ExplainCommands, HtmlIsWrittenIntoAPipe)
{
    const QString pipe = path("pipe");
    ASSERT_EQ(mkfifo(pipe.toLocal8Bit().constData(), S_IRUSR | S_IWUSR), 0);
    const QString link = path("link");
    ASSERT_TRUE(QFile::link(pipe, link));
    for (const QString &target : {pipe, link}) {
        QProcess reader;
        reader.start(QStringLiteral("timeout"),
                     {QStringLiteral("20"), QStringLiteral("cat"), pipe});
        EXPECT_EQ(outputOf({QStringLiteral("explain"), QStringLiteral("--html"), target,
                            QString::fromLatin1(ShortReply)}),
                  QByteArray());
        EXPECT_TRUE(reader.waitForFinished());
        EXPECT_TRUE(reader.readAll().startsWith("<!DOCTYPE html>"));
        EXPECT_FALSE(QFileInfo(pipe).isFile());
        EXPECT_TRUE(QFileInfo(link).isSymLink());
    }
}

TEST_F(ExplainCommands, HtmlIsPrinted)
{
    const QByteArray page = outputOf({QStringLiteral("explain"), QStringLiteral("--html"),
                                      QStringLiteral("-"), QString::fromLatin1(ShortReply)});
    EXPECT_TRUE(page.startsWith("<!DOCTYPE html>"));
    EXPECT_TRUE(page.contains("commResult"));
}

TEST_F(ExplainCommands, WhatIsNotPlainIsSaid)
{
    const struct
    {
        const char *input;
        const char *understood;
    } rows[] = {
        {"00:05:00:00:01:00", "6 bytes in hexadecimal digits with colons"},
        {"0x00 0x05 0x00 0x00 0x01 0x00", "6 bytes in numbers with 0x"},
        {"AAUAAAEA", "6 bytes in base64"},
        {"00000000: 0005 0000 0100  ......", "6 bytes in a dump with offsets"},
        {"frame PackageBase 000500000100", "a message after its form and class"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.input);
        const Finished run = korvinpack(arguments("check", row.input));
        EXPECT_EQ(run.output, QByteArray("ok (as reply frame of PackageBase)\n"));
        EXPECT_EQ(run.error,
                  QStringLiteral("korvinpack: INPUT: understood as %1\n")
                      .arg(QLatin1String(row.understood)));
    }
}

TEST_F(ExplainCommands, FramingWithoutPacketsIsTold)
{
    const Finished run = korvinpack(words("check --framing lines 000500000100"));
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.error,
              QStringLiteral("korvinpack: INPUT: understood as messages that no network packets "
                             "have brought: --framing has no effect\n"));
    EXPECT_EQ(korvinpack(words("check --framing lines")).error,
              QStringLiteral("korvinpack: -: empty; a frame or record is expected\n"));
}

TEST_F(ExplainCommands, EachNotationIsSaidOnce)
{
    const Finished run =
        korvinpack(words("check"), "00:05:00:00:01:00\n000500000100\n00:06:00:00:01:00\n");
    EXPECT_EQ(run.output.count('\n'), 3);
    EXPECT_EQ(run.error,
              QStringLiteral("korvinpack: -, line 1: understood as 6 bytes in hexadecimal digits "
                             "with colons\n"));
}

TEST_F(ExplainCommands, ClassInFrontIsTaken)
{
    const Finished run = korvinpack(
        {QStringLiteral("explain"), QStringLiteral("text SpecialPackageRequest 12,0,hello")});
    EXPECT_TRUE(run.output.startsWith("request record of SpecialPackageRequest, 10 bytes: ok"));
}

TEST_F(ExplainCommands, CapturesAreReadWithTimesAndPartners)
{
    const Finished run = korvinpack(words("check --file " CAPTURES_DIR "/loopback.pcap"));
    EXPECT_EQ(run.exitStatus, 1); // replies to special requests and combinations are refused
    EXPECT_TRUE(run.output.startsWith(
        "packet 7, 2026-11-21T12:40:39.245526Z, 127.0.0.1:49748 -> 127.0.0.1:5001: ok "
        "(as request record of SpecialPackageRequest)\n"))
        << run.output.toStdString();
    EXPECT_EQ(run.output.count('\n'), 119);
    EXPECT_TRUE(run.error.endsWith(
        QLatin1String("loopback.pcap: understood as a pcap capture: 316 packets, 119 messages, 40 "
                      "TCP streams framed by lines, 4 TCP streams framed by length\n")));

    EXPECT_TRUE(run.output.contains(": refused: there is no reply record of "
                                    "PackageRequestCombination\n"));
    // Who opens the connection sends requests: Linux frames of a write do not show it.
    EXPECT_TRUE(run.output.contains("127.0.0.1:52138 -> 127.0.0.1:5002: ok (as Linux request "
                                    "frame of PackageRequestWriteData)\n"));
    EXPECT_EQ(run.output.count("127.0.0.1:5002 -> 127.0.0.1:52138: ok (as Linux reply frame of "
                               "PackageRequestWriteData)\n"),
              4);
    EXPECT_FALSE(run.output.contains("127.0.0.1:5002 -> 127.0.0.1:52138: ok (as Linux request"));

    const Finished json = korvinpack(words("explain --json --file " CAPTURES_DIR "/loopback.pcap"));
    const QJsonObject first = QJsonDocument::fromJson(json.output.split('\n').first()).object();
    EXPECT_EQ(first.value(QLatin1String("packet")), 7);
    EXPECT_EQ(first.value(QLatin1String("time")), QStringLiteral("2026-11-21T12:40:39.245526Z"));
    EXPECT_EQ(first.value(QLatin1String("from")), QStringLiteral("127.0.0.1:49748"));
    EXPECT_EQ(first.value(QLatin1String("to")), QStringLiteral("127.0.0.1:5001"));
}

TEST_F(ExplainCommands, DiffTakesTexts)
{
    const QString first = write("first.txt", "00 0500 00 01 00\n");
    const QString second = write("second.txt", "00 0500 00 01 02");
    const Finished run =
        korvinpack({QStringLiteral("diff"), QStringLiteral("--files"), first, second});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.output,
              QByteArray("reply frame of PackageBase\n"
                         "     5  packResult            0 (ok) -> 2 (memErr)\n"));
    const Finished firstColumn = korvinpack(words("diff --class PackageBase 7,usb0 8,usb0,1"));
    EXPECT_EQ(firstColumn.output,
              QByteArray("request record of PackageBase\n"
                         "     0  serialNum             7 -> 8\n"
                         "     2  deviceType            - -> 1\n"));
    // The second input is read as the class of the first one.
    const Finished longer = korvinpack(words("diff 000500000100 00050000010001"));
    EXPECT_EQ(longer.exitStatus, 1);
    EXPECT_EQ(longer.output,
              QByteArray("reply frame of PackageBase\n     6  not read              - -> 01\n"));
}

/// A run that takes quadratic time does not finish in time.
TEST_F(ExplainCommands, DiffOfManyColumnsTakesLinearTime)
{
    const QByteArray record = QByteArray(Record) + QByteArray(",1").repeated(50000);
    const QString first = write("first.txt", record);
    const QString second = write("second.txt", record + '2');
    const Finished run =
        korvinpack({QStringLiteral("diff"), QStringLiteral("--files"), first, second});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_TRUE(run.output.endsWith("\n 50014  not read              1 -> 12\n"))
        << run.output.toStdString();
}

TEST_F(ExplainCommands, ColorsAreShownOnDemand)
{
    const QStringList plain = arguments("explain", ShortReply);
    EXPECT_FALSE(outputOf(plain).contains('\x1B'));
    EXPECT_TRUE(outputOf(plain + words("--color=always")).contains("\x1B[36m00 "));
}

/// Tests on a pseudo-terminal, which not every machine has.
class NeedsATerminal : public KorvinpackRun
{
protected:
    void SetUp() override
    {
        if (!run(QStringLiteral("true")))
            GTEST_SKIP() << "no pseudo-terminal: " << m_output.toStdString();
    }

    /// What a command prints on a terminal.
    QByteArray shown(const QString &command)
    {
        EXPECT_TRUE(run(command));
        return m_output;
    }

private:
    bool run(const QString &command)
    {
        QProcess terminal;
        terminal.setProcessChannelMode(QProcess::MergedChannels);
        terminal.start(QStringLiteral("script"),
                       {QStringLiteral("--quiet"), QStringLiteral("--return"),
                        QStringLiteral("--command"), command, QStringLiteral("/dev/null")});
        const bool finished = terminal.waitForFinished();
        m_output = terminal.readAll();
        return finished && terminal.exitStatus() == QProcess::NormalExit
            && terminal.exitCode() == 0;
    }

    QByteArray m_output;
};

TEST_F(NeedsATerminal, ColorsAreShown)
{
    EXPECT_TRUE(shown(QStringLiteral(KORVINPACK " explain 000500000100")).contains("\x1B[36m00 "));
    const QByteArray never =
        shown(QStringLiteral(KORVINPACK " explain --color=never 000500000100"));
    EXPECT_TRUE(never.contains("marker"));
    EXPECT_FALSE(never.contains('\x1B'));
}

TEST_F(NeedsATerminal, TablesFit)
{
    const char *const commands[] = {
        "explain --color=never '00 0500 00 01 00 03000000 01FF10'",
        "decode --class PackageBase --direction reply 000500000100",
        "classes PackageRequestWriteData",
        "classes",
    };
    for (const int width : {80, 100, 120}) {
        for (const char *command : commands) {
            const QByteArray output = shown(QStringLiteral("stty cols %1; " KORVINPACK " %2")
                                                .arg(width)
                                                .arg(QLatin1String(command)));
            for (const QByteArray &line : output.split('\n').mid(2)) // after the headline
                EXPECT_LE(line.trimmed().size(), width) << line.toStdString();
        }
    }
}

/// The value or its meaning, or both, are on rows of their own, which are wrapped where there is
/// room for a word.
TEST_F(NeedsATerminal, TablesMoveWhatDoesNotFit)
{
    const QString command =
        QStringLiteral(KORVINPACK " explain --color=never --direction reply"
                                  " --class PackageRequestReadData"
                                  " 0005000001000C0000000102030405060708090A0B0C");
    const QByteArray start = "    10  01 02 03 04 05 06 07 08   data";
    const QByteArray moved = "          12 bytes  the";
    const struct
    {
        int width;
        QByteArray rows;
    } cases[] = {
        {89, start + "                  12 bytes          the data itself\n"},
        {88, start + "                  12 bytes\n          the data itself\n"},
        {72, start + "                  12 bytes\n          the data itself\n"},
        {71, start + '\n' + moved + " data itself\n"},
        {35, start + '\n' + moved + " data itself\n"},
        {34, start + '\n' + moved + " data\n          itself\n"},
        {28, start + '\n' + moved + " data\n          itself\n"},
        {27, start + '\n' + moved + "\n          data itself\n"},
        {26, start + '\n' + moved + "\n          data itself\n"},
        {25, start + '\n' + moved + " data itself\n"},
    };
    for (const auto &row : cases) {
        const QByteArray output =
            shown(QStringLiteral("stty cols %1; ").arg(row.width) + command).replace('\r', "");
        EXPECT_EQ(output.mid(output.indexOf("    10  ")).toStdString(),
                  (row.rows + "        09 0A 0B 0C\n").toStdString())
            << row.width;
    }
}

/// At words, and only where there is room for some.
TEST_F(NeedsATerminal, TablesWrapWhatIsListed)
{
    const QByteArray indent(30, ' ');
    const struct
    {
        int width;
        QByteArray rows;
    } cases[] = {
        {59,
         "\nnot carried                   deviceKey, tag, tagProto,\n" + indent
             + "serverConnectionKey, scrAddr,\n" + indent + "desAddr, deviceType,\n"},
        {58, "\n" + indent + "serverConnectionKey,\n" + indent + "scrAddr, desAddr,\n"},
        {46,
         "\n" + indent + "tagProto,\n" + indent + "serverConnection\n" + indent
             + "Key, scrAddr,\n"},
        {45,
         "\nnot carried                   deviceKey, tag, tagProto, serverConnectionKey, scrAddr,"},
    };
    for (const auto &row : cases) {
        const QByteArray output =
            shown(QStringLiteral("stty cols %1; " KORVINPACK
                                 " decode --class PackageBase --direction reply 000500000100")
                      .arg(row.width))
                .replace('\r', "");
        EXPECT_TRUE(output.contains(row.rows)) << row.width << '\n' << output.toStdString();
    }
}

TEST_F(NeedsATerminal, RecordsDoNotControlIt)
{
    EXPECT_EQ(shown(QStringLiteral(KORVINPACK " encode --form text --class PackageBase "
                                              "--set \"tag=$(printf 'a\\033b')\"")),
              QByteArray("0,,0,0,0,0,0,0,0,0,read,3,a\\u001bb,ok,ok\r\n"));
}

TEST_F(NeedsATerminal, WaitingForInputIsSaid)
{
    EXPECT_TRUE(shown(QStringLiteral("printf '\\004' | script --quiet --command '" KORVINPACK
                                     " check' /dev/null; true"))
                    .contains("waiting for input on the terminal"));
}

TEST_F(NeedsATerminal, ProgressIsShown)
{
    const QString records = write("records.txt", (QByteArray(ShortReply) + '\n').repeated(10000));
    EXPECT_EQ(shown(QStringLiteral(KORVINPACK " check --file %1 > /dev/null").arg(records)),
              QByteArray("\rkorvinpack: 10000 lines\r\x1B[K"));
}

/// The most memory that any finished process has taken, in KiB.
long peakOfChildren()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
}

/// The address sanitizer keeps freed memory for a while; here it must not.
QProcessEnvironment environmentThatFrees()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("quarantine_size_mb=0"));
    return environment;
}

/// Runs korvinpack with its output in a file; returns the most memory that it took.
long peakOf(const QStringList &arguments, const QString &output)
{
    QProcess process;
    process.setProcessEnvironment(environmentThatFrees());
    process.setStandardOutputFile(output);
    process.start(QStringLiteral(KORVINPACK), arguments);
    EXPECT_TRUE(process.waitForFinished(300000));
    EXPECT_EQ(process.exitCode(), 0);
    return peakOfChildren();
}

TEST_F(ExplainCommands, AMillionRecordsTakeNoMoreMemoryThanAFew)
{
    const QStringList command =
        words("check --class PackageBase --form text --direction request --file");
    const QString verdicts = path("verdicts.txt");
    const long peakOfFew = peakOf(command + QStringList(thousands(1, Record)), verdicts);
    EXPECT_LT(peakOf(command + QStringList(thousands(1000, Record)), verdicts), peakOfFew + 4096);
    QFile file(verdicts);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    ASSERT_TRUE(file.seek(file.size() - 17));
    EXPECT_EQ(file.readAll(), QByteArray("line 1000000: ok\n"));
}

TEST_F(ExplainCommands, FiftyThousandExplanationsTakeNoMoreMemoryThanAFew)
{
    const QStringList command =
        words("explain --class PackageBase --form frame --direction reply --file");
    const QString nowhere = QStringLiteral("/dev/null");
    const long peakOfFew = peakOf(command + QStringList(thousands(1, ShortReply)), nowhere);
    EXPECT_LT(peakOf(command + QStringList(thousands(50, ShortReply)), nowhere), peakOfFew + 4096);
    const QStringList json = command.mid(0, 1) + words("--json --file");
    const long peakOfFewGuesses = peakOf(json + QStringList(thousands(1, ShortReply)), nowhere);
    EXPECT_LT(peakOf(json + QStringList(thousands(20, ShortReply)), nowhere),
              peakOfFewGuesses + 4096);
}

TEST_F(ExplainCommands, CppBuildsThePackage)
{
    EXPECT_EQ(outputOf(words("encode --cpp --class PackageBase --set tag=t1 --set highAddr=0xA00")),
              QByteArray("#include <packagebase.h>\n\n"
                         "PackageBase package;\n"
                         "package.setSerialNum(0ULL);\n"
                         "package.setTag(QString::fromUtf8(\"t1\", 2));\n"
                         "package.setHighAddr(2560);\n"));
}

TEST_F(ExplainCommands, HelpShowsExamples)
{
    for (const char *command : {"explain", "check", "diff"}) {
        const QByteArray help = outputOf({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_TRUE(help.contains("Example")) << command;
    }
}

} // namespace
