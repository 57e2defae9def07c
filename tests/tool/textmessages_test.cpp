// The notations that texts with messages come in. The texts are what the named programs print.

#include "testsupport.h"
#include "textmessages.h"

#include <QtCore/QBuffer>

namespace {

using namespace KorvinInspect;

std::vector<FoundMessage> messagesOf(const QByteArray &text, const InputSettings &settings = {})
{
    QBuffer buffer;
    buffer.setData(text);
    EXPECT_TRUE(buffer.open(QIODevice::ReadOnly));
    TextMessages source(&buffer, settings);
    std::vector<FoundMessage> messages;
    for (FoundMessage message; source.next(&message);)
        messages.push_back(message);
    return messages;
}

const char Reply[] = "000500000100";
const char ReadReply[] = "00050000010003000000 01FF10 6162636465666768696A";

TEST(TextMessages, EachNotationGivesTheBytes)
{
    const struct
    {
        const char *text;
        const char *hex;
        const char *notation;
    } rows[] = {
        {"00 0500 00 01 00", Reply, ""},
        {"  000500000100  ", Reply, ""},
        {" 00 05 00 00 01 00\n", Reply, ""}, // od -An -tx1
        {"00:05:00:00:01:00", Reply, "hexadecimal digits with colons"},
        {"00-05-00-00-01-00", Reply, "hexadecimal digits with dashes"},
        {"0x00 0x05 0x0 0x0 0x1 0x0", Reply, "numbers with 0x"},
        {"0x00, 0x05,0x00;0X00, 0x01, 0x00,", Reply, "numbers with 0x"},
        {"0x00, 0x05, 0x00,\n0x00, 0x01, 0x00\n", Reply, "numbers with 0x"},
        {"0x000500000100", Reply, "one number with 0x, in the order of its digits"},
        {"{0x00, 0x05, 0x00, 0x00, 0x01, 0x00}", Reply, "a C array"},
        {"/* Packet 1 */\n\n", "", ""}, // stands alone: no message
        {"/* Frame (6 bytes) */\n"
         "static const unsigned char pkt1[6] = {\n"
         "0x00, 0x05, 0x00, /* .}{ */\n0x00, 0x01, 0x00  /* ... */\n};\n",
         Reply, "a C array"},
        {"// a frame\n{0x00, 0x05, 0x00, 0x00, 0x01, 0x00}\n", Reply, "a C array"},
        {"char peer0_0[] = { /* Packet 1 */\n0x00, 0x05, 0x00, \n0x00, 0x01, 0x00 };\n", Reply,
         "a C array"},
        {"unsigned char frame_bin[] = {\n  0x00, 0x05, 0x00,\n  0x00, 0x01, 0x00\n};\n"
         "unsigned int frame_bin_len = 6;\n",
         Reply, "a C array"},
        {"\\x00\\x05\\x00\\x00\\x01\\x00", Reply, "a string with \\x escapes"},
        {"\"\\x00\\x05\\x00\" \\\n\"\\x00\\x01\\x00\"\n", Reply, "a string with \\x escapes"},
        {R"(b'\x00\x05\x00\x00\x01\x00\x03\x00\x00\x00\x01\xff\x10abcdefghij')", ReadReply,
         "a string with \\x escapes"},
        {R"("\x00\t\n\\\"\0\x01")", "00090A5C220001", "a string with \\x escapes"},
        {"AAUAAAEA", Reply, "base64"},
        {"AAUAAAEAAwAAAAH/EGFiY2RlZmdoaWo=\n", ReadReply, "base64"},
        // od -tx1
        {"0000000 00 05 00 00 01 00 03 00 00 00 01 ff 10 61 62 63\n"
         "0000020 64 65 66 67 68 69 6a\n0000027\n",
         ReadReply, "a dump with offsets"},
        // od -Ad -tx1
        {"0000000 00 05 00 00 01 00 03 00 00 00 01 ff 10 61 62 63\n"
         "0000016 64 65 66 67 68 69 6a\n0000023\n",
         ReadReply, "a dump with offsets"},
        // od -Ax -tx1z
        {"000000 00 05 00 00 01 00 03 00 00 00 01 ff 10 61 62 63  >.............abc<\n"
         "000010 64 65 66 67 68 69 6a                             >defghij<\n000017\n",
         ReadReply, "a dump with offsets"},
        // od
        {"0000000 002400 000000 000001 000003 000000 177401 060420 061542\n"
         "0000020 062544 063546 064550 000152\n0000027\n",
         ReadReply, "a dump of words, the low byte first"},
        // od -b
        {"0000000 000 005 000 000 001 000\n0000006\n", Reply,
         "a dump of words, the low byte first"},
        // od -x
        {"0000000 0500 0000 0001 0003 0000 ff01 6110 6362\n"
         "0000020 6564 6766 6968 006a\n0000027\n",
         ReadReply, "a dump of words, the low byte first"},
        // hexdump
        {"0000000 0500 0000 0001 0003 0000 ff01 6110 6362\n"
         "0000010 6564 6766 6968 006a                    \n0000017\n",
         ReadReply, "a dump of words, the low byte first"},
        // hexdump -C
        {"00000000  00 05 00 00 01 00 03 00  00 00 01 ff 10 61 62 63  |.............abc|\n"
         "00000010  64 65 66 67 68 69 6a                              |defghij|\n00000017\n",
         ReadReply, "a dump with offsets"},
        // xxd, and a row of it
        {"00000000: 0005 0000 0100 0300 0000 01ff 1061 6263  .............abc\n"
         "00000010: 6465 6667 6869 6a                        defghij\n",
         ReadReply, "a dump with offsets"},
        {"00000000: 0005 0000 0100                           ......", Reply, "a dump with offsets"},
        // xxd -e: the text shows the order
        {"00000000: 37342c37 00000035                    7,475...\n", "372C343735000000",
         "a dump with offsets"},
        {"00000000: 37342c37 00000035                    7,475...\n"
         "00000008: 00000001 00000002                    ........\n",
         "372C3437350000000100000002000000", "a dump with offsets"},
        // xxd -g3, xxd -g4, xxd -b, xxd -d
        {"00000000: 000500 000100                        ......\n", Reply, "a dump with offsets"},
        {"00000000: 00003161 31000000                    ..1a1...\n", "0000316131000000",
         "a dump with offsets"},
        {"00000000: 00000000 00000101 00000000 00000000 00000001 00000000  ......\n"
         "00000006: 01100001                                               a\n",
         "00050000010061", "a dump with offsets"},
        {"00000000: 0005 0000 0100 0300 0000 01ff 1061 6263  .............abc\n"
         "00000016: 6465 6667 6869 6a                        defghij\n",
         ReadReply, "a dump with offsets"},
        // Wireshark: copy as hex dump
        {"0000   00 05 00 00 01 00\n", Reply, "a dump with offsets"},
        // Wireshark: copy as hex and ASCII dump; the text looks like bytes
        {"0000   00 01 61 62                                       ..ab\n", "00016162",
         "a dump with offsets"},
        {"0x0000:  0005 0000 0100                           ......\n", Reply,
         "a dump with offsets"},
        {"0000  00 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00   ................\n"
         "0010  01                                                .\n",
         "0005000000000000000000000000000001", "a dump with offsets"},
        // hexdump -C leaves out rows that repeat
        {"00000000  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n*\n"
         "00000030  01                                                |.|\n00000031\n",
         "00000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
         "0"
         "00000001",
         "a dump with offsets"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        const std::vector<FoundMessage> messages = messagesOf(row.text);
        if (!*row.hex) {
            EXPECT_FALSE(messages.front().fault.isEmpty());
            continue;
        }
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(messages.front().fault, QString());
        EXPECT_EQ(messages.front().bytes.toHex(), hex(row.hex).toHex());
        EXPECT_EQ(messages.front().notation, QLatin1String(row.notation));
    }
}

TEST(TextMessages, DumpsThatMayBeMisreadAreRefused)
{
    const auto missingBefore = QStringLiteral("the row at offset %1 does not follow the row before "
                                              "it");
    const auto moreText = QStringLiteral("the row at offset %1 has more text than bytes; print it "
                                         "with xxd -g1");
    const struct
    {
        const char *text;
        QString fault;
    } rows[] = {
        // The row at 0x10 is missing: 020 is 16 in octal.
        {"00000000: 0005 0000 0100 0300 0000 01ff 1061 6263  .............abc\n"
         "00000020: 6465                                     de\n",
         missingBefore.arg(QLatin1String("00000020"))},
        {"00000000  00 05 00 00 01 00 03 00  00 00 01 ff 10 61 62 63  |.............abc|\n"
         "00000020  64 65                                             |de|\n",
         missingBefore.arg(QLatin1String("00000020"))},
        {"0000  00 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00   ................\n"
         "0020  01 02                                             ..\n",
         missingBefore.arg(QLatin1String("0020"))},
        // The row at 0xC is missing: 12 in decimal is where the third row of six bytes begins.
        {"0000  00 05 00 00 01 00   ......\n0006  00 05 00 00 01 00   ......\n"
         "0012  00 05   ..\n",
         missingBefore.arg(QLatin1String("0012"))},
        // xxd -e with a short last word, in the first row and in another one
        {"00000000: 04030201 08070605 0c0b0a09   0f0e0d  ...............\n",
         moreText.arg(QLatin1String("00000000"))},
        {"00000000: 34333231 38373635 34333231 38373635  1234567812345678\n"
         "00000010: 34333231       35                    12345\n",
         moreText.arg(QLatin1String("00000010"))},
        // xxd -e or xxd -g4: the text shows no order
        {"00000000: 00000500 00000001                    ........\n",
         QStringLiteral("8 bytes in the order of their digits, or the last one of each group "
                        "first; print them with xxd -g1")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        const std::vector<FoundMessage> messages = messagesOf(row.text);
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(messages.front().fault, row.fault);
    }
}

TEST(TextMessages, RecordsAreLeftAsTheyAre)
{
    for (const char *record : {"7,usb0,0,0,0,0,0,0,0,0,read,3,,ok,ok", "7,0x10,0", "7,{a},",
                               "ReadData^1|x^", "12,0,", "7,AAAA,\\,", "7,C:\\x,\"a\""}) {
        SCOPED_TRACE(record);
        const std::vector<FoundMessage> messages = messagesOf(QByteArray(record) + "\r\n");
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(messages.front().fault, QString());
        EXPECT_EQ(messages.front().bytes, QByteArray(record));
        EXPECT_EQ(messages.front().notation, QString());
    }
}

TEST(TextMessages, DumpsAndLinesFollowEachOther)
{
    const std::vector<FoundMessage> messages = messagesOf("00000000: 0005 0000 0100  ......\n"
                                                          "00000000: 0006 0000 0100  ......\n\n"
                                                          "000700000100\n"
                                                          "{0x00, 0x08, 0x00,\n0x00, 0x01, 0x00}\n"
                                                          "7,usb0,0\n");
    ASSERT_EQ(messages.size(), 5U);
    const char *const expected[] = {"000500000100", "000600000100", "000700000100", "000800000100"};
    const int lines[] = {1, 2, 4, 5, 7};
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(messages[i].fault, QString());
        EXPECT_EQ(messages[i].number, lines[i]);
        if (i < std::size(expected)) {
            EXPECT_EQ(messages[i].bytes, hex(expected[i]));
        }
    }
}

TEST(TextMessages, Base64InRowsIsOneMessage)
{
    QByteArray frame = hex("00 0500 00 01 00 FA000000") + QByteArray(250, '\x7F');
    QByteArray text = frame.toBase64();
    for (auto at = 76; at < text.size(); at += 77)
        text.insert(at, '\n');
    const std::vector<FoundMessage> messages = messagesOf(text + '\n');
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages.front().bytes, frame);
}

/// Zeros are "AAAA" in base64, which is hexadecimal as well.
TEST(TextMessages, ZerosInBase64InRowsAreOneMessage)
{
    const QByteArray frame = hex("00 0500 00 01 00 FA000000") + QByteArray(250, '\0');
    QByteArray text = frame.toBase64();
    for (auto at = 76; at < text.size(); at += 77)
        text.insert(at, '\n');
    const std::vector<FoundMessage> messages = messagesOf(text + '\n');
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages.front().bytes, frame);
}

TEST(TextMessages, LinesOfDigitsAreMessagesAlthoughBase64HasRowsOfThatLength)
{
    for (const int size : {32, 38}) {
        const QByteArray frame = QByteArray(size - 1, '\0') + '\x1B';
        const QByteArray line = frame.toHex() + '\n';
        const std::vector<FoundMessage> messages = messagesOf(line + line);
        ASSERT_EQ(messages.size(), 2U);
        EXPECT_EQ(messages.front().bytes, frame);
        EXPECT_EQ(messages.back().bytes, frame);
    }
}

TEST(TextMessages, FormAndClassAreTakenOff)
{
    const std::vector<FoundMessage> messages =
        messagesOf("frame PackageRequestRead 00:05:00:00:01:00\n"
                   "text PackageBase 7,usb0\n"
                   "66 72 61 6D 65 20 50 61 63 6B 61 67 65 42 61 73 65 20 00 05 00 00 01 00\n"
                   "frame Package 00\n");
    ASSERT_EQ(messages.size(), 4U);
    EXPECT_EQ(messages[0].bytes, hex(Reply));
    EXPECT_EQ(messages[0].label.classId, ClassId::PackageRequestRead);
    EXPECT_EQ(messages[0].label.form, Form::Frame);
    EXPECT_EQ(messages[1].bytes, QByteArray("7,usb0"));
    EXPECT_EQ(messages[1].label.form, Form::Text);
    EXPECT_EQ(messages[2].bytes, hex(Reply));
    EXPECT_EQ(messages[2].label.classId, ClassId::PackageBase);
    EXPECT_EQ(messages[3].fault, QStringLiteral("begins with \"frame Package\": no such class"));
}

TEST(TextMessages, WhatHasTwoReadingsIsRefusedWithBoth)
{
    const struct
    {
        const char *text;
        const char *fault;
        Notation as; // and what settles it
        const char *hex;
    } rows[] = {
        {"000000 00 05 00 00 01 00",
         "9 bytes in hexadecimal digits, or a dump with the offset 000000 and 6 bytes; --as hex "
         "or --as dump says which",
         Notation::Dump, Reply},
        {"000010 00 05",
         "5 bytes in hexadecimal digits, or a dump with the offset 000010 and 2 "
         "bytes; --as hex or --as dump says which",
         Notation::Hex, "0000100005"},
        {"AAAA",
         "2 bytes in hexadecimal digits, or 3 bytes in base64; --as hex or --as base64 "
         "says which",
         Notation::Base64, "000000"},
        {"AAAA",
         "2 bytes in hexadecimal digits, or 3 bytes in base64; --as hex or --as base64 "
         "says which",
         Notation::Hex, "AAAA"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(messagesOf(row.text).at(0).fault, QLatin1String(row.fault));
        InputSettings settings;
        settings.notation = row.as;
        EXPECT_EQ(messagesOf(row.text, settings).at(0).bytes, hex(row.hex));
    }
    EXPECT_EQ(messagesOf("00,05").at(0).fault,
              QStringLiteral("2 bytes with commas between them, or a record of 2 columns; --form "
                             "frame or --form text says which"));
    InputSettings settings;
    settings.form = Form::Frame;
    EXPECT_EQ(messagesOf("00,05", settings).at(0).bytes, hex("0005"));
    settings.form = Form::Text;
    EXPECT_EQ(messagesOf("00,05", settings).at(0).bytes, QByteArray("00,05"));
}

TEST(TextMessages, RowsOfPlainDigitsAreOneMessageOrMany)
{
    // xxd -p breaks lines after 30 bytes; a request of 30 bytes has a line of its own.
    const QByteArray broken = hex("00 0500 00 01 00 1C000000") + QByteArray(28, '\x7F');
    const QByteArray whole = hex("00 0500 00 01 00 14000000") + QByteArray(20, '\x7F');
    const QByteArray rows = broken.left(30).toHex() + '\n' + broken.mid(30).toHex() + '\n';
    EXPECT_EQ(messagesOf(rows).at(0).fault,
              QStringLiteral("30 bytes, or the first row of a longer message; join its rows, or "
                             "say --as hex"));
    InputSettings settings;
    settings.isOneText = true;
    EXPECT_EQ(messagesOf(rows, settings).at(0).bytes, broken);
    const std::vector<FoundMessage> messages =
        messagesOf(whole.toHex() + '\n' + whole.toHex() + '\n');
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[1].bytes, whole);
    EXPECT_EQ(messagesOf(broken.left(30).toHex() + "\n\n").at(0).bytes, broken.left(30));
}

TEST(TextMessages, PlainDigitsAreNoDump)
{
    for (const char *text : {"0005 0000 0100", "00 0400 75736230 0100", "55AA 00 07 00 FF",
                             "0001 00 05 00", "00000500"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(messagesOf(text).at(0).bytes, hex(text));
        EXPECT_EQ(messagesOf(text).at(0).notation, QString());
    }
}

TEST(TextMessages, LongDumpsOfRepeatedRowsAreRefused)
{
    EXPECT_EQ(messagesOf("00000000: 00\n*\n7fffffffffffffff: 00\n").at(0).fault,
              QStringLiteral("rows are left out (*): print them with od -v or hexdump -v"));
}

} // namespace
