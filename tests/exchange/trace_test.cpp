// Traces of messages, in words and as a capture file.

#include "exchangesupport.h"

#include <korvinexchange/pcapngwriter.h>
#include <specialpackagerequest.h>

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>

namespace {

constexpr quint32 Register = 0x0A000010;

/// Keeps the traced messages.
class KeptTrace : public Trace
{
public:
    void add(const TraceEntry &entry) override { entries.push_back(entry); }

    std::vector<TraceEntry> entries;
};

TEST_F(EngineTest, TracesEveryMessage)
{
    KeptTrace trace;
    engine->setTrace(&trace);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    const OutgoingMessage message = take();
    const QByteArray reply = replyTo(message);
    setTime(ms(3000));
    setTime(ms(3100));
    take();
    receive(message, QByteArray(reply).replace(",tag,", ",gat,"));
    receive(message, reply);
    setTime(ms(3150));
    receive(message, reply);
    receive(message, "99,k");
    const auto write = makeWrite(Register, "x");
    send(*write);
    const OutgoingMessage unanswered = take();
    setTime(ms(6150));
    receive(unanswered, replyTo(unanswered));
    receive(unanswered, "2,k");

    const std::pair<int, const char *> expected[] = {
        {0, "sent: request record of PackageRequestReadData"},
        {3100, "repeated: request record of PackageRequestReadData"},
        {3100,
         "refused (tag at 12: not that of the request: \"tag\" expected, \"gat\" found): "
         "reply record of PackageRequestReadData"},
        {3100, "answered: reply record of PackageRequestReadData"},
        {3150, "duplicate: reply record of PackageRequestReadData"},
        {3150, "unknown: reply record of PackageBase"},
        {3150, "sent: request record of PackageRequestWriteData"},
        {6150, "late: reply record of PackageRequestWriteData"},
        {6150, "refused (too few: 20 columns expected"},
    };
    ASSERT_EQ(trace.entries.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(trace.entries[i].time, ms(expected[i].first));
        EXPECT_TRUE(describe(trace.entries[i]).startsWith(QLatin1String(expected[i].second)))
            << describe(trace.entries[i]).toStdString();
    }
    EXPECT_EQ(trace.entries[0].message, message.bytes);
    EXPECT_EQ(trace.entries[0].request, id);
    EXPECT_EQ(trace.entries[3].message, reply);
    EXPECT_EQ(trace.entries[3].request, id);
    EXPECT_EQ(trace.entries[5].request, 0U);
    EXPECT_EQ(trace.entries[5].message, QByteArray("99,k"));

    engine->setTrace(nullptr);
    receive(message, reply);
    EXPECT_EQ(trace.entries.size(), std::size(expected));
}

TEST_F(EngineTest, TracesThePartsOfACombinationsReply)
{
    KeptTrace trace;
    const auto one = makeRead(Register, 1, "one");
    const auto two = makeRead(Register, 1, "two");
    const RequestId id = engine->sendCombination({one.get(), two.get()}, {}, now).id;
    engine->setTrace(&trace);
    const OutgoingMessage message = take();
    QByteArrayList replies;
    for (const QByteArray &item : message.bytes.split('|')) {
        replies << replyTo(item.mid(9),
                           {ClassId::PackageRequestReadData, Form::Text, Direction::Request});
    }
    receive(message, replies.join('|'));
    ASSERT_EQ(trace.entries.size(), 3U);
    EXPECT_TRUE(describe(trace.entries[0])
                    .startsWith(QLatin1String("sent: request record of PackageRequestCombination, "
                                              "type \"ReadData\", serialNum 1, ")));
    EXPECT_EQ(trace.entries[1].message, replies[0]);
    EXPECT_EQ(trace.entries[2].message, replies[1]);
    EXPECT_EQ(trace.entries[2].request, id + 1);
}

TEST(TraceEntry, InOneLine)
{
    TraceEntry entry{TraceEvent::Answered,
                     Time(5),
                     {ClassId::PackageRequestReadData, Form::Frame, Direction::Reply},
                     1,
                     hex("00 0500 00 01 00 02000000 A0A1"),
                     {}};
    EXPECT_EQ(describe(entry),
              QStringLiteral("answered: reply frame of PackageRequestReadData, marker 0, serialNum "
                             "5, ackCode 0, commResult 1, packResult 0, replyDataLength 2, data 2 "
                             "bytes: A0 A1"));
    entry.shape.form = Form::Linux;
    entry.message = {};
    entry.event = TraceEvent::RefusedReply;
    entry.verdict.refusal = Refusal::NotUtf8;
    EXPECT_TRUE(describe(entry).startsWith(QLatin1String(
        "refused (the text is not UTF-8): Linux reply frame of PackageRequestReadData, start 0")));
}

// Capture files.

TEST(PcapngWriter, Header)
{
    EXPECT_EQ(PcapngWriter().header(),
              hex("0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000"
                  "01000000 14000000 0100 0000 00000000 14000000"));
}

TEST(PcapngWriter, Packet)
{
    const TraceEntry entry{TraceEvent::Sent,
                           Time(0x100000002),
                           {ClassId::PackageBase, Form::Text, Direction::Request},
                           1,
                           "7,k",
                           {}};
    // 14 + 20 + 8 bytes of headers, "text PackageBase 7,k", and two bytes to a multiple of four.
    const QByteArray comment = "sent: request record of PackageBase, serialNum 7, deviceKey \"k\"";
    const QByteArray captured = hex("000000000000 000000000000 0800"
                                    "45 00 0030 0000 0000 40 11 0000 0A000001 0A000002"
                                    "9C40 1388 001C 0000")
        + "text PackageBase 7,k";
    ASSERT_EQ(captured.size(), 62);
    const QByteArray body = hex("00000000 01000000 05000000 3E000000 3E000000") + captured
        + hex("0000") + hex("0100 3F00") + comment + hex("00") + hex("00000000");
    const QByteArray size = hex("A8000000"); // 12 + 20 + 64 + 4 + 64 + 4
    EXPECT_EQ(PcapngWriter(Time(3)).packet(entry), hex("06000000") + size + body + size);
}

TEST(PcapngWriter, CutsWhatADatagramCannotHold)
{
    TraceEntry entry{
        TraceEvent::Sent,       Time(0), {ClassId::PackageBase, Form::Frame, Direction::Reply}, 1,
        QByteArray(70000, 'x'), {}};
    const QByteArray packet = PcapngWriter().packet(entry);
    EXPECT_LT(packet.size(), 65000 + 9000);
    EXPECT_EQ(packet.mid(20, 4), hex("12FE0000")); // 65,000 + 42
    EXPECT_EQ(packet.mid(28 + 34, 4), hex("1388 9C40")) << "from the peer";
}

/// The packets of a file as tshark shows them, a line for each.
std::vector<std::string> dissected(const QString &fileName, const QStringList &fields)
{
    QStringList arguments{QStringLiteral("-X"),
                          QStringLiteral("lua_script:" DISSECTOR),
                          QStringLiteral("-n"),
                          QStringLiteral("-r"),
                          fileName,
                          QStringLiteral("-d"),
                          QStringLiteral("udp.port==5000,korvinpackage"),
                          QStringLiteral("-T"),
                          QStringLiteral("fields")};
    for (const QString &field : fields)
        arguments << QStringLiteral("-e") << field;
    QProcess process;
    process.start(QStringLiteral("tshark"), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
    std::vector<std::string> lines;
    for (const QByteArray &line : process.readAllStandardOutput().split('\n'))
        lines.push_back(line.toStdString());
    lines.pop_back();
    return lines;
}

TEST_F(EngineTest, ItsTraceIsReadByTheDissector)
{
    if (QStandardPaths::findExecutable(QStringLiteral("tshark")).isEmpty())
        GTEST_SKIP() << "tshark is missing";
    KeptTrace trace;
    settings.forms = {Form::Linux, Form::Frame, Form::Text};
    settings.retry.attempts = 1;
    restart(settings);
    engine->setTrace(&trace);
    const auto read = makeRead(Register, 3);
    PackageRequestRead registerRead;
    SpecialPackageRequest special(12, 0);
    now = ms(1);
    for (PackageBase *package :
         {static_cast<PackageBase *>(read.get()), static_cast<PackageBase *>(&registerRead),
          static_cast<PackageBase *>(&special)}) {
        send(*package);
        const OutgoingMessage message = take();
        now += Time(250);
        receive(message, replyTo(message));
    }
    engine->receive(Form::Text, "junk", now);

    const PcapngWriter writer(std::chrono::seconds(1700000000));
    QTemporaryDir directory;
    QFile file(directory.filePath(QStringLiteral("trace.pcapng")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(writer.header());
    for (const TraceEntry &entry : trace.entries)
        file.write(writer.packet(entry));
    file.close();

    const std::vector<std::string> expected{
        "1700000000.001000000\tPackageRequestReadData\tLinux frame\trequest\t1",
        "1700000000.001250000\tPackageRequestReadData\tLinux frame\treply\t1",
        "1700000000.001250000\tPackageRequestRead\tbyte frame\trequest\t2",
        "1700000000.001500000\tPackageRequestRead\tbyte frame\tshort reply\t2",
        "1700000000.001500000\tSpecialPackageRequest\ttext record\trequest\t",
        "1700000000.001750000\tSpecialPackageRequest\ttext record\treply\t",
        "1700000000.001750000\tPackageBase\ttext record\treply\t0",
    };
    EXPECT_EQ(
        dissected(file.fileName(),
                  {QStringLiteral("frame.time_epoch"), QStringLiteral("korvinpackage.class"),
                   QStringLiteral("korvinpackage.form"), QStringLiteral("korvinpackage.direction"),
                   QStringLiteral("korvinpackage.serialNum")}),
        expected);
    std::vector<std::string> comments;
    for (const TraceEntry &entry : trace.entries)
        comments.push_back(describe(entry).toStdString());
    EXPECT_EQ(dissected(file.fileName(), {QStringLiteral("frame.comment")}), comments);
}

} // namespace
