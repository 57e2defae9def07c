// The command-line program, run as its users run it.

#include "korvinpackrun.h"

#include <QtCore/QJsonArray>

namespace {

using Korvinpack = KorvinpackRun;

TEST_F(Korvinpack, WorkedExampleOfTheByteFrame)
{
    EXPECT_EQ(outputOf(words("encode --class PackageBase")),
              "00 00 00 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
    EXPECT_EQ(outputOf(words("encode --class PackageBase --set deviceKey=ab")),
              "00 02 00 61 62 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
    EXPECT_EQ(outputOf(words("encode --class PackageBase --set serialNum=5 --direction reply")),
              "00 05 00 00 01 00\n");
}

const char Example[] = R"({
  "class": "PackageBase", "serialNum": 7, "deviceKey": "usb/0,1", "deviceType": 1,
  "desAddr": 255, "portAddr": 2, "scanBoardAddr": 65535, "highAddr": 2560, "lowAddr": 16,
  "readWriteCode": "write", "timeout": 3000, "tag": "t1", "commResult": "pending"
})";

TEST_F(Korvinpack, WorkedExampleOfTheTextRecord)
{
    const QString file = write("package.json", Example);
    EXPECT_EQ(outputOf({QStringLiteral("encode"), QStringLiteral("--form"), QStringLiteral("text"),
                        file}),
              "7,usb#*#0*#*1,1,0,255,2,65535,2560,16,0,write,3000,t1,pending,ok\n");
    EXPECT_EQ(outputOf(words("encode --form text --direction reply -"), Example),
              "7,usb#*#0*#*1,1,0,255,2,65535,2560,16,0,write,3000,t1,pending,ok,0\n");
}

TEST_F(Korvinpack, ReplySizes)
{
    EXPECT_EQ(outputOf(words("encode --class PackageRequestRead --direction reply --reply full "
                             "--set ackCode=7 --set replyDataLength=0x1234")),
              "01 00 00 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "34 12 00 00 00 07 00 01 00 00 00 34 12 00 00 00\n");
    EXPECT_EQ(outputOf(words("encode --class PackageRequestRead --direction reply --reply short "
                             "--set commResult=crcErr --set packResult=abort")),
              "00 00 00 00 02 FE\n");
}

TEST_F(Korvinpack, RawBytesInAndOut)
{
    const QByteArray frame =
        outputOf(words("encode --raw --class PackageRequestWriteData --set data=01ff10"));
    EXPECT_EQ(frame,
              hex("00 0000 0000 03000000 0000 00 00 00 00 0000 01 00 0000 0000 00 00 "
                  "03000000 01FF10"));
    const QString file = write("frame.bin", frame);
    const QByteArray expected =
        outputOf(words("decode --class PackageRequestWriteData"), frame.toHex());
    EXPECT_TRUE(expected.contains("\npackageDataLength             3\n"
                                  "data                          3 bytes: 01 FF 10\n"
                                  "consumed                      29 of 32 bytes\n"))
        << expected.toStdString();
    EXPECT_EQ(outputOf(words("decode --raw --class PackageRequestWriteData"), frame), expected);
    EXPECT_EQ(outputOf(words("decode --raw --class PackageRequestWriteData --file") << file),
              expected);
}

TEST_F(Korvinpack, TextInput)
{
    const char record[] = "12,0,hello";
    const QByteArray expected = outputOf(words("decode --class SpecialPackageRequest --form text")
                                         << QString::fromLatin1(record));
    EXPECT_TRUE(expected.contains("\nstrData                       hello\n"));
    for (const char *input : {"12,0,hello", "12,0,hello\n", "12,0,hello\r\n"}) {
        EXPECT_EQ(outputOf(words("decode --class SpecialPackageRequest --form text"), input),
                  expected);
    }
    EXPECT_EQ(outputOf(words("encode --raw --form text --class SpecialPackageRequest --set id=12 "
                             "--set timeout=0 --set strData=hello")),
              record);
}

TEST_F(Korvinpack, EncodedPackagesOfEveryClassAndFormComeBack)
{
    const struct
    {
        const char *form;
        const char *direction;
    } forms[] = {{"frame", "request"}, {"text", "request"}, {"frame", "reply"}};
    for (const PackageClass &listed : packageClasses()) {
        // Each class is read back in every form; a note says which of these fields it lacks.
        QStringList assignments = words("--set serialNum=21 --set ackCode=0");
        if (listed.field(QStringLiteral("data")))
            assignments << words("--set data=0102");
        if (listed.name == QLatin1String("PackageRequestReadFile"))
            assignments << words("--set fileNameWithPath=a/b");
        for (const auto &form : forms) {
            if (listed.name == QLatin1String("SpecialPackageRequest")
                && QLatin1String(form.form) == QLatin1String("text")) {
                continue; // has no serial number
            }
            SCOPED_TRACE((listed.name + QLatin1Char(' ') + QLatin1String(form.form)
                          + QLatin1Char(' ') + QLatin1String(form.direction))
                             .toStdString());
            const QStringList options{QStringLiteral("--class"),     listed.name,
                                      QStringLiteral("--form"),      QLatin1String(form.form),
                                      QStringLiteral("--direction"), QLatin1String(form.direction)};
            const QByteArray encoded =
                korvinpack(QStringList{QStringLiteral("encode")} + options + assignments).output;
            const QByteArray json =
                korvinpack(QStringList{QStringLiteral("decode"), QStringLiteral("--json")}
                               + options,
                           encoded)
                    .output;
            EXPECT_EQ(QJsonDocument::fromJson(json).object().value(QLatin1String("serialNum")), 21);
            EXPECT_EQ(outputOf(QStringList{QStringLiteral("encode"), QStringLiteral("-")} + options,
                               json),
                      encoded);
        }
    }
}

TEST_F(Korvinpack, JsonHasEveryFieldAndKeepsIt)
{
    for (const PackageClass &listed : packageClasses()) {
        SCOPED_TRACE(listed.name.toStdString());
        const std::unique_ptr<PackageBase> package = listed.create();
        const QJsonObject json = packageToJson(*package);
        EXPECT_EQ(static_cast<std::size_t>(json.size()), listed.fields.size() + 1);
        const std::unique_ptr<PackageBase> copy = listed.create();
        EXPECT_EQ(packageFromJson(json, *copy), QString());
        EXPECT_EQ(packageToJson(*copy), json);
    }
}

TEST_F(Korvinpack, BracesInTextsOfJsonAreText)
{
    // The parser takes a line feed after a backslash.
    EXPECT_EQ(outputOf(words("encode --form text -"),
                       "{\"class\": \"PackageBase\", \"tag\": \"\\\n}}{\\\"}\"}"),
              QByteArray("0,,0,0,0,0,0,0,0,0,read,3,\n}}{\"},ok,ok\n"));
}

TEST_F(Korvinpack, LargeNumbersSurviveInJson)
{
    const QByteArray json = outputOf(words("decode --json --class PackageBase --form text"),
                                     "-1,,0,0,0,0,0,0,0,0,read,3,,ok,ok");
    EXPECT_TRUE(json.contains("\"serialNum\": \"18446744073709551615\""));
    EXPECT_TRUE(outputOf(words("encode --form text -"), json).startsWith("18446744073709551615,"));
}

TEST_F(Korvinpack, ClassesSaysWhatEachIsFor)
{
    const QList<QByteArray> lines = outputOf(words("classes")).trimmed().split('\n');
    ASSERT_EQ(static_cast<std::size_t>(lines.size()), packageClasses().size() + 1);
    for (int i = 0; i < lines.size() - 1; ++i)
        EXPECT_TRUE(lines.at(i).startsWith(
            packageClasses()[static_cast<std::size_t>(i)].name.toUtf8() + "  "));
    EXPECT_EQ(lines.constLast(),
              QByteArray("PackageRequestCombination   carries several requests in one record"));
}

TEST_F(Korvinpack, ClassesListsTheFieldsOfOne)
{
    for (const PackageClass &listed : packageClasses()) {
        const QByteArray one = outputOf({QStringLiteral("classes"), listed.name});
        EXPECT_TRUE(one.startsWith(listed.name.toUtf8() + ": "));
        for (const PackageField &field : listed.fields)
            EXPECT_TRUE(one.contains("\n  " + field.name.toUtf8() + ' '))
                << field.name.toStdString();
    }
    EXPECT_TRUE(
        outputOf(words("classes PackageRequestRead"))
            .contains("\n  maxPartSize                   a whole number from -2147483648 to "
                      "2147483647; default \"2048 (0x800)\"\n"));
    EXPECT_TRUE(outputOf(words("classes PackageRequestCombination")).contains("\n  packages "));
}

TEST_F(Korvinpack, Help)
{
    const QByteArray overview = outputOf(words("help"));
    EXPECT_TRUE(overview.contains("\nCommands:\n"));
    EXPECT_EQ(outputOf(words("-h")), overview);
    EXPECT_EQ(outputOf(words("--help")), overview);
    const char *const commands[] = {"encode",  "decode",  "explain", "check", "diff",
                                    "combine", "conform", "classes", "help"};
    for (const char *command : commands) {
        SCOPED_TRACE(command);
        const QByteArray help = outputOf({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(outputOf({QStringLiteral("help"), QString::fromLatin1(command)}), help);
        EXPECT_TRUE(help.startsWith("Usage: korvinpack " + QByteArray(command) + " [options]"));
        EXPECT_FALSE(help.contains("\n  " + QByteArray(command)));
        EXPECT_TRUE(help.contains("\nExample"));
        EXPECT_FALSE(help.contains("Qt"));
        EXPECT_TRUE(overview.contains("\n  " + QByteArray(command) + ' '));
    }
}

TEST_F(Korvinpack, UsageShowsWhichArgumentsMayBeLeftOut)
{
    const struct
    {
        const char *command;
        const char *usage;
    } rows[] = {{"encode", "encode [options] [FILE]"},
                {"explain", "explain [options] [INPUT]"},
                {"diff", "diff [options] A B"},
                {"combine", "combine [options] FILE..."}};
    for (const auto &row : rows) {
        EXPECT_EQ(
            outputOf({QStringLiteral("help"), QLatin1String(row.command)}).split('\n').first(),
            "Usage: korvinpack " + QByteArray(row.usage));
    }
}

TEST_F(Korvinpack, Version)
{
    EXPECT_EQ(outputOf(words("--version")), "korvinpack " KORVINPACK_VERSION "\n");
}

TEST_F(Korvinpack, DecodeLeavesOutWhatTheFormDoesNotCarry)
{
    EXPECT_EQ(outputOf(words("decode --class SpecialPackageRequest --form text 12,5,hello")),
              "class                         SpecialPackageRequest\n"
              "not carried                   serialNum, deviceKey, tag, tagProto, "
              "serverConnectionKey, scrAddr, desAddr, deviceType, portAddr, scanBoardAddr, "
              "highAddr, lowAddr, readWriteCode, reserved2, isRegisterAddrSelfIncreasing, "
              "maxPartSize, partCount, curPartIndex, clientPackageType, subcribeHardware, ackCode, "
              "commResult, packResult, specialFlagEndTimeOut, enabledSpecialPackForAllPort\n"
              "timeout                       5\n"
              "id                            12 (0xC)\n"
              "strData                       hello\n");
    EXPECT_TRUE(outputOf(words("decode --class PackageRequestReadData --form text"
                               " 7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data"))
                    .contains(", data\n"));
    const QByteArray json =
        outputOf(words("decode --json --class PackageBase --direction reply 000500000100"));
    EXPECT_EQ(QJsonDocument::fromJson(json).object(),
              QJsonDocument::fromJson(R"({"class": "PackageBase", "serialNum": 5, "ackCode": 0,
                  "commResult": "ok", "packResult": "ok"})")
                  .object());
    // The status byte of a Linux frame sets all three results.
    const QByteArray linux =
        outputOf(words("decode --json --form linux --class PackageRequestReadData"),
                 "55AA 04 05 00000000 0000 00 00 0000 0000 0000 5E55");
    EXPECT_EQ(QJsonDocument::fromJson(linux).object().value(QLatin1String("commResult")),
              QStringLiteral("timeout"));
    EXPECT_FALSE(linux.contains("deviceKey"));
    // Its data is appended to what there was.
    const QByteArray read =
        outputOf(words("decode --json --form linux --class PackageRequestReadData"),
                 "55AA 00 05 00000000 0000 00 00 0000 0000 0200 01FF 5C56");
    EXPECT_EQ(QJsonDocument::fromJson(read).object().value(QLatin1String("data")),
              QStringLiteral("01ff"));
}

TEST_F(Korvinpack, DecodePrintsNoControlCharacters)
{
    const QByteArray output = outputOf(words("decode --class SpecialPackageRequest --form text"),
                                       QByteArray("12,0,a\x1B[31mb\0c", 14));
    EXPECT_TRUE(output.contains("a\\u001b[31mb\\u0000c\n")) << output.toStdString();
}

TEST_F(Korvinpack, DecodeSaysOnceThatDataIsMissing)
{
    const struct
    {
        const char *command;
        const char *frame;
        const char *consumed;
    } rows[] = {
        // Five bytes are announced; two follow.
        {"decode --class PackageRequestReadData --direction reply",
         "00 0500 00 01 00 05000000 0102", "12 of 12 bytes"},
        // Three bytes are announced; two follow, which are not read.
        {"decode --class PackageRequestWriteData",
         "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 03000000 "
         "01FF",
         "34 of 36 bytes"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.frame);
        const Finished run = korvinpack(words(row.command) << QString::fromLatin1(row.frame));
        EXPECT_EQ(run.exitStatus, 0);
        EXPECT_EQ(run.error,
                  QStringLiteral("korvinpack: INPUT: the message ends before its data does\n"));
        EXPECT_TRUE(
            run.output.endsWith("consumed                      " + QByteArray(row.consumed) + '\n'))
            << run.output.toStdString();
    }
}

TEST_F(Korvinpack, LinuxFrames)
{
    EXPECT_EQ(outputOf(words("encode --form linux --class PackageRequestReadData "
                             "--set serialNum=5 --set replyDataLength=256")),
              "55 AA 00 05 00 00 00 00 00 00 00 00 00 00 00 00 00 01 5B 55\n");
    const QByteArray decoded =
        outputOf(words("decode --form linux --class PackageRequestWriteIP"),
                 "55AA 04 07 00 00 00 00 0000 01 00 0000 0000 0200 ABCD DB56");
    EXPECT_TRUE(decoded.contains("\ncommResult                    timeout (5)\n"));
    EXPECT_TRUE(decoded.contains("\ndata                          2 bytes: AB CD\n"));
    EXPECT_EQ(outputOf(words("encode --form linux --direction reply --class PackageRequestReadData "
                             "--set serialNum=5 --set commResult=timeout --set data=01FF")),
              "55 AA 04 05 00 00 00 00 00 00 00 00 00 00 00 00 02 00 01 FF 60 56\n");
}

TEST_F(Korvinpack, Combination)
{
    const QString upload = write("upload.txt", "content");
    const QString writeData = write("write.json", R"({"class": "PackageRequestWriteData",
        "serialNum": 1, "data": "01FF"})");
    const QString writeFile = write("file.json",
                                    R"({"class": "PackageRequestWriteFile",
        "serialNum": 2, "fileNameWithPath": ")"
                                        + upload.toUtf8() + "\"}");
    const QString readData = write("read.json", R"({"class": "PackageRequestReadData",
        "serialNum": 3, "replyDataLength": 4})");
    const QString readFile = write("readfile.json", R"({"class": "PackageRequestReadFile",
        "serialNum": 4, "replyDataLength": 5, "fileNameWithPath": "b"})");
    const QByteArray record =
        outputOf({QStringLiteral("combine"), writeData, writeFile, readData, readFile});
    EXPECT_EQ(record,
              "writeData^1,,0,0,0,0,0,0,0,0,write,3,,ok,ok,false,data,2,1/255|"
              "writeFile^2,,0,0,0,0,0,0,0,0,write,3,,ok,ok,false,file,"
                  + upload.toUtf8()
                  + ",0|"
                    "ReadData^3,,0,0,0,0,0,0,0,0,read,3,,ok,ok,4,data|"
                    "ReadFile^4,,0,0,0,0,0,0,0,0,read,3,,ok,ok,5,file,b\n");

    const QByteArray tables =
        outputOf(words("decode --verify --class PackageRequestCombination"), record);
    EXPECT_TRUE(
        tables.startsWith("item 1\nclass                         PackageRequestWriteData\n"));
    EXPECT_TRUE(
        tables.contains("\n\nitem 4\nclass                         PackageRequestReadFile\n"));
    const QJsonArray json =
        QJsonDocument::fromJson(
            outputOf(words("decode --json --class PackageRequestCombination"), record))
            .array();
    ASSERT_EQ(json.size(), 4);
    EXPECT_EQ(json.at(0).toObject().value(QLatin1String("data")), QStringLiteral("01ff"));
    EXPECT_EQ(json.at(2).toObject().value(QLatin1String("replyDataLength")), 4);
}

TEST_F(Korvinpack, EncodeTakesTheCombinationThatDecodePrints)
{
    const QByteArray record = "writeData^1,,0,0,0,0,0,0,0,0,write,3,,ok,ok,false,data,2,1/255|"
                              "ReadData^3,,0,0,0,0,0,0,0,0,read,3,,ok,ok,4,data";
    const QByteArray list =
        outputOf(words("decode --json --class PackageRequestCombination"), record);
    EXPECT_EQ(outputOf(words("encode -"), list), record + '\n');
    EXPECT_EQ(outputOf(words("encode --raw --form text -"),
                       R"({"class": "PackageRequestCombination", "packages": )" + list + '}'),
              record);
}

TEST_F(Korvinpack, SetSaysWhatItReplaces)
{
    const Finished run = korvinpack(words("encode --form text --set serialNum=8 -"), Example);
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_TRUE(run.output.startsWith("8,usb"));
    EXPECT_EQ(run.error,
              QStringLiteral("korvinpack: --set serialNum=8: replaces the value in -\n"));
}

TEST_F(Korvinpack, SetSaysWhatTheFormDoesNotCarry)
{
    const QStringList command =
        words("encode --class PackageRequestReadMemData --set offset=4 --set timeout=5");
    EXPECT_EQ(korvinpack(command).error,
              QStringLiteral("korvinpack: --set offset=4: not in the request frame of "
                             "PackageRequestReadMemData\n"));
    EXPECT_EQ(korvinpack(command + words("--form text")).error, QString());
}

TEST_F(Korvinpack, LinuxReplyToAWrite)
{
    // 0x5555 + 07 + 01, without data
    const Finished run =
        korvinpack(words("encode --form linux --direction reply --class PackageRequestWriteData "
                         "--set serialNum=7 --set data=01FF"));
    EXPECT_EQ(run.error,
              QStringLiteral("korvinpack: --set data=01FF: not in the Linux reply frame of "
                             "PackageRequestWriteData\n"));
    EXPECT_EQ(run.output, "55 AA 00 07 00 00 00 00 00 00 01 00 00 00 00 00 00 00 5D 55\n");
}

TEST_F(Korvinpack, CombinationThatCannotBeCarriedOut)
{
    const QByteArray record = "writeFile^2,,0,0,0,0,0,0,0,0,write,3,,ok,ok,false,file,missing,0";
    EXPECT_TRUE(outputOf(words("decode --class PackageRequestCombination"), record)
                    .contains("\nfileNameWithPath              missing\n"));
    const Finished run =
        korvinpack(words("decode --verify --class PackageRequestCombination"), record);
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.output, QByteArray());
    EXPECT_EQ(run.error,
              QStringLiteral("warning:  file is not exist .\n"
                             "korvinpack: -: the requests cannot be carried out\n"));
}

TEST_F(Korvinpack, RefusedCombination)
{
    const Finished run = korvinpack(words("decode --class PackageRequestCombination other^1"));
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.output, QByteArray());
    EXPECT_EQ(run.error,
              QStringLiteral("warning: Error package type of CMBPackages.\n"
                             "korvinpack: INPUT: an item has a type word that is refused\n"));
}

TEST_F(Korvinpack, OutputThatCannotBeWritten)
{
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(QStringLiteral(KORVINPACK), words("classes"));
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 2);
    EXPECT_EQ(QString::fromUtf8(process.readAllStandardError()),
              QStringLiteral("korvinpack: cannot write to standard output\n"));
}

} // namespace
