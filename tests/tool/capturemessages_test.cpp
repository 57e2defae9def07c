// Capture files: their formats, the packets in them, streams and framings, and what is broken.

#include "capturemessages.h"
#include "testsupport.h"
#include "textmessages.h"

#include <korvinexchange/lengthprefixframing.h>

#include <QtCore/QBuffer>
#include <QtCore/QFile>

namespace {

QByteArray little(quint32 number, int bytes = 4)
{
    QByteArray text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(number >> 8 * i & 0xFF);
    return text;
}

QByteArray big(quint32 number, int bytes = 4)
{
    QByteArray text = little(number, bytes);
    std::reverse(text.begin(), text.end());
    return text;
}

/// The header of a pcap file of Ethernet packets, or of others.
QByteArray pcapHeader(quint32 linkType = 1)
{
    return hex("D4C3B2A1 0200 0400 00000000 00000000 FFFF0000") + little(linkType);
}

/// A packet in a pcap file, one second after the one before.
QByteArray pcapPacket(const QByteArray &bytes, quint32 seconds = 1)
{
    const auto size = static_cast<quint32>(bytes.size());
    return little(seconds) + little(250000) + little(size) + little(size) + bytes;
}

QByteArray pcapngBlock(quint32 type, const QByteArray &body)
{
    const QByteArray padded = body + QByteArray((4 - body.size() % 4) % 4, '\0');
    const QByteArray size = little(static_cast<quint32>(padded.size()) + 12);
    return little(type) + size + padded + size;
}

const QByteArray SectionHeader =
    pcapngBlock(0x0A0D0D0A, hex("4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF"));

/// An IPv4 packet from 10.0.0.1 to 10.0.0.2; its checksum is left out.
QByteArray ipv4(quint8 protocol, const QByteArray &payload)
{
    return hex("4500") + big(static_cast<quint32>(payload.size()) + 20, 2) + hex("0000 0000 40")
        + static_cast<char>(protocol) + hex("0000 0A000001 0A000002") + payload;
}

QByteArray ethernet(const QByteArray &ip)
{
    return QByteArray(12, '\2') + hex("0800") + ip;
}

QByteArray udp(const QByteArray &payload)
{
    return ipv4(17,
                hex("0FA0 1388") + big(static_cast<quint32>(payload.size()) + 8, 2) + hex("0000")
                    + payload);
}

constexpr quint8 Fin = 1;
constexpr quint8 Syn = 2;
constexpr quint8 Ack = 16;

/// A segment of TCP from port 4000 to port 5000.
QByteArray tcp(quint32 sequence, const QByteArray &payload, quint8 flags = 0)
{
    return ipv4(6,
                hex("0FA0 1388") + big(sequence) + hex("00000000 50") + static_cast<char>(flags)
                    + hex("0400 0000 0000") + payload);
}

/// A pcap file of IP packets.
QByteArray capture(const QByteArrayList &packets)
{
    QByteArray file = pcapHeader();
    for (const QByteArray &packet : packets)
        file += pcapPacket(ethernet(packet));
    return file;
}

struct Read
{
    std::vector<FoundMessage> messages;
    QString summary;
};

Read read(const QByteArray &file, StreamFraming framing = StreamFraming::Unknown)
{
    QBuffer buffer;
    buffer.setData(file);
    EXPECT_TRUE(buffer.open(QIODevice::ReadOnly));
    EXPECT_TRUE(CaptureFile::isCapture(file.left(4)));
    CaptureMessages source(&buffer, framing);
    Read found;
    for (FoundMessage message; source.next(&message);)
        found.messages.push_back(message);
    found.summary = source.summary();
    return found;
}

/// The messages in hexadecimal digits; faults in words.
QStringList shown(const Read &found)
{
    QStringList list;
    for (const FoundMessage &message : found.messages) {
        list << (message.fault.isEmpty() ? QString::fromLatin1(message.bytes.toHex())
                                         : message.fault);
    }
    return list;
}

const char Reply[] = "000500000100";

TEST(CaptureMessages, EveryFormatOfFileHasThePacket)
{
    const QByteArray packet = ethernet(udp(hex(Reply)));
    const auto size = static_cast<quint32>(packet.size());
    const QByteArray interface = hex("0100 0000 00000000");
    const QByteArray enhanced =
        hex("00000000 00000000") + little(1250000) + little(size) + little(size) + packet;
    const struct
    {
        const char *name;
        QByteArray file;
        qint64 time;
    } rows[] = {
        {"pcap", pcapHeader() + pcapPacket(packet), 1250000000},
        {"pcap, big-endian",
         hex("A1B2C3D4 0002 0004 00000000 00000000 0000FFFF 00000001 00000001 00000005") + big(size)
             + big(size) + packet,
         1000005000},
        {"pcap, nanoseconds",
         hex("4D3CB2A1 0200 0400 00000000 00000000 FFFF0000 01000000 01000000 05000000")
             + little(size) + little(size) + packet,
         1000000005},
        {"pcapng", SectionHeader + pcapngBlock(1, interface) + pcapngBlock(6, enhanced),
         1250000000},
        {"pcapng, milliseconds, an offset of two seconds, an unknown block",
         SectionHeader + pcapngBlock(0x0BAD, hex("00"))
             + pcapngBlock(1, interface + hex("0900 0100 03000000 0E00 0800 0200000000000000"))
             + pcapngBlock(6, enhanced),
         1252000000000},
        {"pcapng, powers of two",
         SectionHeader + pcapngBlock(1, interface + hex("0900 0100 8A000000 00000000"))
             + pcapngBlock(6, enhanced),
         1220703125000},
        {"pcapng without a time",
         SectionHeader + pcapngBlock(1, interface) + pcapngBlock(3, little(size) + packet), -1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const Read found = read(row.file);
        EXPECT_EQ(shown(found), QStringList{QLatin1String(Reply)});
        ASSERT_EQ(found.messages.size(), 1U);
        EXPECT_EQ(found.messages.front().time, row.time);
        EXPECT_EQ(found.messages.front().number, 1);
        EXPECT_EQ(found.messages.front().from, QStringLiteral("10.0.0.1:4000"));
        EXPECT_EQ(found.messages.front().to, QStringLiteral("10.0.0.2:5000"));
        EXPECT_TRUE(found.summary.endsWith(QLatin1String("1 packet, 1 message")));
    }
}

TEST(CaptureMessages, EveryLinkHasTheDatagram)
{
    const QByteArray datagram = udp(hex(Reply));
    const QByteArray ipv6 = hex("60000000 000E 11 40 20010DB8 00000000 00000000 00000001 "
                                "00000000 00000000 00000000 00000001 0FA0 1388 000E 0000")
        + hex(Reply);
    const QByteArray withOptions = hex("60000000 0016 00 40 20010DB8 00000000 00000000 00000001 "
                                       "00000000 00000000 00000000 00000001 1100 000000000000 "
                                       "0FA0 1388 000E 0000")
        + hex(Reply);
    const struct
    {
        quint32 linkType;
        QByteArray packet;
        const char *from;
    } rows[] = {
        {1, ethernet(datagram), "10.0.0.1:4000"},
        {1, ethernet(datagram) + QByteArray(6, '\0'), "10.0.0.1:4000"}, // filled up
        {1, QByteArray(12, '\2') + hex("8100 0005 0800") + datagram, "10.0.0.1:4000"},
        {1, QByteArray(12, '\2') + hex("86DD") + ipv6, "[2001:db8::1]:4000"},
        {1, QByteArray(12, '\2') + hex("86DD") + withOptions, "[2001:db8::1]:4000"},
        {0, hex("02000000") + datagram, "10.0.0.1:4000"},
        {101, datagram, "10.0.0.1:4000"},
        {113, QByteArray(14, '\0') + hex("0800") + datagram, "10.0.0.1:4000"},
        {276, QByteArray(20, '\0') + datagram, "10.0.0.1:4000"},
        {229, ipv6, "[2001:db8::1]:4000"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.linkType);
        const Read found = read(pcapHeader(row.linkType) + pcapPacket(row.packet));
        EXPECT_EQ(shown(found), QStringList{QLatin1String(Reply)});
        ASSERT_EQ(found.messages.size(), 1U);
        EXPECT_EQ(found.messages.front().from, QLatin1String(row.from));
    }
}

TEST(CaptureMessages, StreamsArePutTogether)
{
    const QByteArray line("7,usb0,0,0,0,0,0,0,0,0,read,3,,ok,ok\n");
    const QString record = QString::fromLatin1(line.trimmed().toHex());
    const struct
    {
        const char *name;
        QByteArrayList packets;
        QStringList messages;
    } rows[] = {
        {"in order", {tcp(100, {}, Syn), tcp(101, line), tcp(138, line)}, {record, record}},
        {"in pieces", {tcp(1, line.left(5)), tcp(6, line.mid(5))}, {record}},
        {"in another order",
         {tcp(1, line.left(5)), tcp(10, line.mid(9)), tcp(6, line.mid(5, 4))},
         {record}},
        {"sent twice", {tcp(1, line), tcp(1, line), tcp(38, line)}, {record, record}},
        {"sent again with more", {tcp(1, line.left(5)), tcp(3, line.mid(2))}, {record}},
        {"past the largest number", {tcp(0xFFFFFFFE, line.left(5)), tcp(3, line.mid(5))}, {record}},
        {"a last line without its end",
         {tcp(1, line + "7,"), tcp(40, {}, Fin)},
         {record, QStringLiteral("the stream ended inside a message")}},
        {"sent again after the end", {tcp(1, line), tcp(38, {}, Fin), tcp(1, line)}, {record}},
        {"a new connection of the same ports",
         {tcp(1, line), tcp(38, {}, Fin), tcp(700, {}, Syn), tcp(701, line)},
         {record, record}},
        {"bytes that the capture lacks", {tcp(1, line), tcp(50, line)}, {record, record}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(shown(read(capture(row.packets))), row.messages);
    }
    EXPECT_TRUE(read(capture({tcp(1, line), tcp(50, line)}))
                    .summary.contains(QLatin1String("bytes missing in 1 place")));
}

TEST(CaptureMessages, TheBeginningOfAConnectionShowsWhoSendsRequests)
{
    const QByteArray line("12,0,hello\n");
    const struct
    {
        quint8 flags; // of the segment before the message
        std::optional<Direction> direction;
    } rows[] = {{Syn, Direction::Request}, {Syn | Ack, Direction::Reply}, {Ack, {}}};
    for (const auto &row : rows) {
        SCOPED_TRACE(int(row.flags));
        const Read found = read(capture({tcp(100, {}, row.flags), tcp(101, line, Ack)}));
        ASSERT_EQ(found.messages.size(), 1U);
        EXPECT_EQ(found.messages.front().label.direction, row.direction);
    }
    EXPECT_FALSE(read(capture({udp(hex(Reply))})).messages.front().label.direction);
}

TEST(CaptureMessages, AMessageHasThePacketThatCompletesIt)
{
    const QByteArray line("12,0,hello\n");
    const Read found = read(pcapHeader() + pcapPacket(ethernet(tcp(1, line.left(3))), 1)
                            + pcapPacket(ethernet(tcp(4, line.mid(3))), 7));
    ASSERT_EQ(found.messages.size(), 1U);
    EXPECT_EQ(found.messages.front().number, 2);
    EXPECT_EQ(found.messages.front().time, 7250000000);
}

TEST(CaptureMessages, TheStreamShowsItsFraming)
{
    const QByteArray read1 = hex("55AA 00 05 00000000 0000 00 00 0000 0000 0001 5B55");
    const QByteArray readReply = hex("55AA 04 05 00000000 0000 00 00 0000 0000 0200 01FF 6056");
    const QByteArray write = hex("55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0300 01FF10 8A59");
    const QByteArray reply = hex(Reply);
    const QByteArray other = hex("000600000100");
    const struct
    {
        const char *name;
        QByteArrayList packets;
        QByteArrayList messages;
        const char *summary;
    } rows[] = {
        {"lines", {tcp(1, "12,0,a\r\n12,0,"), tcp(14, "b\n")}, {"12,0,a", "12,0,b"}, "lines"},
        {"length", {tcp(1, little(6) + reply + little(6) + other)}, {reply, other}, "length"},
        {"length in pieces", {tcp(1, little(6)), tcp(5, reply)}, {reply}, "length"},
        {"Linux requests", {tcp(1, read1 + write + read1)}, {read1, write, read1}, "start bytes"},
        {"Linux replies",
         {tcp(1, readReply), tcp(23, readReply)},
         {readReply, readReply},
         "start bytes"},
        {"Linux after noise",
         {tcp(1, read1), tcp(21, "xx" + read1)},
         {read1, read1},
         "start bytes"},
        {"Linux in pieces",
         {tcp(1, readReply.left(9)), tcp(10, readReply.mid(9))},
         {readReply},
         "start bytes"},
        {"frames as they are", {tcp(1, reply), tcp(7, other)}, {reply, other}, "segments"},
        {"a record without an end", {tcp(1, "12,0,a")}, {"12,0,a"}, "segments"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const Read found = read(capture(row.packets));
        QStringList expected;
        for (const QByteArray &message : row.messages)
            expected << QString::fromLatin1(message.toHex());
        EXPECT_EQ(shown(found), expected);
        EXPECT_TRUE(found.summary.endsWith(QStringLiteral("1 TCP stream framed by ")
                                           + QLatin1String(row.summary)))
            << found.summary.toStdString();
    }
}

TEST(CaptureMessages, TheFramingMayBeGiven)
{
    const QByteArray prefixed = little(6) + hex(Reply);
    EXPECT_EQ(shown(read(capture({tcp(1, prefixed)}), StreamFraming::Segments)),
              QStringList{QString::fromLatin1(prefixed.toHex())});
    EXPECT_EQ(shown(read(capture({tcp(1, "\xFF\xFF\xFF\xFF")}), StreamFraming::Length)),
              QStringList{QStringLiteral("a message is too long")});
    EXPECT_EQ(shown(read(capture({tcp(1, "a\nb\n")}), StreamFraming::Lines)),
              (QStringList{QStringLiteral("61"), QStringLiteral("62")}));
}

TEST(CaptureMessages, WhatIsLeftOutIsSaid)
{
    QByteArray fragment = udp(hex(Reply));
    fragment[6] = '\x20'; // more fragments
    const struct
    {
        QByteArray file;
        const char *summary;
    } rows[] = {
        {capture({fragment}), "left out 1 packet that are IP fragments"},
        {capture({ipv4(1, "ping")}), "left out 1 packet without UDP or TCP"},
        {capture({QByteArray()}), "left out 1 packet without UDP or TCP"},
        {pcapHeader(189) + pcapPacket("usb"), "left out 1 packet of link type 189"},
    };
    for (const auto &row : rows) {
        const Read found = read(row.file);
        EXPECT_TRUE(found.messages.empty());
        EXPECT_TRUE(found.summary.endsWith(QLatin1String(row.summary)))
            << found.summary.toStdString();
    }
}

TEST(CaptureMessages, ADatagramThatIsCutOffIsNotAMessage)
{
    const QByteArray packet = ethernet(udp(hex(Reply)));
    EXPECT_EQ(shown(read(pcapHeader() + pcapPacket(packet.left(packet.size() - 2)))),
              QStringList{QStringLiteral("the capture has cut off 2 bytes of the datagram")});
}

TEST(CaptureMessages, BrokenFilesEndWithAReason)
{
    const QByteArray packet = pcapPacket(ethernet(udp(hex(Reply))));
    const QByteArray interface = pcapngBlock(1, hex("0100 0000 00000000"));
    QByteArray otherSize = SectionHeader;
    otherSize[otherSize.size() - 4] = '\x20';
    const struct
    {
        QByteArray file;
        const char *reason;
    } rows[] = {
        {pcapHeader().left(20), "the file is cut off: 24 bytes expected, 20 left"},
        {pcapHeader() + packet + packet.left(10),
         "the file is cut off: 16 bytes expected, 10 left"},
        {pcapHeader() + packet + packet.left(20), "the file is cut off: 48 bytes expected, 4 left"},
        {pcapHeader() + little(0) + little(0) + little(0x7FFFFFFF) + little(0),
         "a packet of 2147483647 bytes is announced"},
        {pcapHeader() + little(0) + little(0) + little(0x100000) + little(0),
         "the file is cut off: 1048576 bytes expected, 0 left"},
        {pcapHeader() + little(0) + little(0) + little(0x100001) + little(0),
         "a packet of 1048577 bytes is announced"},
        {SectionHeader + little(6) + little(8), "a block of 8 bytes is announced"},
        {SectionHeader + little(6) + little(0x1000000),
         "the file is cut off: 16777208 bytes expected, 0 left"},
        {SectionHeader + little(6) + little(0x1000004), "a block of 16777220 bytes is announced"},
        {SectionHeader + little(6) + little(0xFFFFFFFC),
         "a block of 4294967292 bytes is announced"},
        {SectionHeader + little(6) + little(13), "a block of 13 bytes is announced"},
        {SectionHeader + interface.left(14), "the file is cut off: 12 bytes expected, 6 left"},
        {otherSize, "the two sizes of a block differ"},
        {hex("0A0D0D0A 1C000000 00000000"), "a section begins without its byte order"},
        {SectionHeader + pcapngBlock(1, "x"), "a block describes no interface"},
        {SectionHeader + pcapngBlock(1, hex("0100 0000 00000000 0900 0100 14000000")),
         "an interface has times that are too fine"},
        {SectionHeader + pcapngBlock(6, QByteArray(20, '\0')),
         "a packet is of interface 0, which is not described"},
        {SectionHeader
             + interface + pcapngBlock(6, hex("00000000 00000000 00000000 FFFFFFFF 00000000")),
         "a packet of 4294967295 bytes is announced, its block holds less"},
        {SectionHeader + pcapngBlock(3, little(4) + "abcd"), "a packet is of no interface"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.reason);
        const Read found = read(row.file);
        EXPECT_TRUE(found.summary.endsWith(QLatin1String(row.reason)))
            << found.summary.toStdString();
    }
}

TEST(CaptureMessages, EveryTruncationAndFlippedByteIsSafe)
{
    QByteArray file = SectionHeader + pcapngBlock(1, hex("0100 0000 00000000 0900 0100 06000000"));
    for (const QByteArray &packet :
         {ethernet(udp(hex(Reply))), ethernet(tcp(1, "12,0,a\n")), ethernet(tcp(8, "12,0,b\n"))}) {
        const QByteArray size = little(static_cast<quint32>(packet.size()));
        file += pcapngBlock(6, QByteArray(12, '\0') + size + size + packet);
    }
    for (int size = 4; size < file.size(); ++size)
        EXPECT_LE(read(file.left(size)).messages.size(), 3U);
    for (int at = 4; at < file.size(); ++at) {
        for (const int flipped : {0x01, 0x80, 0xFF}) {
            QByteArray broken = file;
            broken[at] = static_cast<char>(broken.at(at) ^ flipped);
            EXPECT_LE(read(broken).messages.size(), 4U);
        }
    }
}

TEST(CaptureMessages, ManyStreamsAndSegmentsThatWaitAreBounded)
{
    QByteArray file = pcapHeader();
    for (quint32 i = 0; i < 3000; ++i) {
        QByteArray segment = tcp(1, "12,0,a\n");
        segment[20] = static_cast<char>(i >> 8); // the port
        segment[21] = static_cast<char>(i);
        file += pcapPacket(ethernet(segment));
    }
    EXPECT_EQ(read(file).messages.size(), 3000U);
    file = pcapHeader() + pcapPacket(ethernet(tcp(1, "12,0,a\n")));
    for (quint32 i = 0; i < 6000; ++i)
        file += pcapPacket(ethernet(tcp(1000 + 10 * i, "12,0,b\n")));
    EXPECT_EQ(read(file).messages.size(), 6001U);
}

TEST(CaptureMessages, DumpsOfPacketsAreReadAsPackets)
{
    // tshark -x: Ethernet, IPv4 with its checksum, UDP from 4000 to 5000
    const char dump[] =
        "0000  20 52 45 43 56 00 20 53 45 4e 44 00 08 00 45 00    RECV. SEND...E.\n"
        "0010  00 22 12 34 00 00 ff 11 92 91 0a 01 01 01 0a 02   .\".4............\n"
        "0020  02 02 0f a0 13 88 00 0e af 83 00 05 00 00 01 00   ................\n";
    QBuffer buffer;
    buffer.setData(dump);
    ASSERT_TRUE(buffer.open(QIODevice::ReadOnly));
    TextMessages source(&buffer, {});
    FoundMessage message;
    ASSERT_TRUE(source.next(&message));
    EXPECT_EQ(message.bytes, hex(Reply));
    EXPECT_EQ(message.from, QStringLiteral("10.1.1.1:4000"));
    EXPECT_EQ(message.to, QStringLiteral("10.2.2.2:5000"));
    EXPECT_FALSE(source.next(&message));
    EXPECT_EQ(source.summary(), QStringLiteral("dumps of network packets: 1 packet, 1 message"));
}

TEST(CaptureMessages, HeadingsOfDumpsAreLeftOut)
{
    // tcpdump -x, whose dumps begin with the IP header
    const char dump[] = "12:00:01.250000 IP 10.1.1.1.4000 > 10.2.2.2.5000: UDP, length 6\n"
                        "\t0x0000:  4500 0022 1234 0000 ff11 9291 0a01 0101\n"
                        "\t0x0010:  0a02 0202 0fa0 1388 000e af83 0005 0000\n"
                        "\t0x0020:  0100\n"
                        "12:00:02.250000 IP 10.2.2.2.5000 > 10.1.1.1.4000: what is this\n";
    QBuffer buffer;
    buffer.setData(dump);
    ASSERT_TRUE(buffer.open(QIODevice::ReadOnly));
    TextMessages source(&buffer, {});
    FoundMessage message;
    ASSERT_TRUE(source.next(&message));
    EXPECT_EQ(message.bytes, hex(Reply));
    EXPECT_EQ(message.number, 2);
    ASSERT_TRUE(source.next(&message)); // before no dump
    EXPECT_FALSE(message.fault.isEmpty());
    EXPECT_EQ(message.number, 5);
    EXPECT_FALSE(source.next(&message));
    EXPECT_EQ(source.summary(),
              QStringLiteral("dumps of network packets: 1 packet, 1 message, left out 1 line "
                             "before a dump"));
}

TEST(CaptureMessages, TheLoopbackCaptureHasAllMessages)
{
    QFile file(QStringLiteral(CAPTURES_DIR "/loopback.pcap"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    CaptureMessages source(&file, StreamFraming::Unknown);
    int messages = 0;
    for (FoundMessage message; source.next(&message); ++messages)
        EXPECT_TRUE(message.label.form) << message.number;
    EXPECT_EQ(messages, 119);
}

} // namespace
