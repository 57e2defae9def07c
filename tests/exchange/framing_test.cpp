// Messages in streams of bytes, however the stream is cut.

#include "exchangesupport.h"

#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>
#include <korvinexchange/linuxframing.h>

#include <random>

namespace {

using Messages = std::vector<QByteArray>;

constexpr std::chrono::milliseconds Deadline(100);
constexpr int Longest = 8;

std::unique_ptr<Framing> makeLines()
{
    return std::make_unique<LineFraming>(Longest, Deadline);
}

std::unique_ptr<Framing> makePrefixed()
{
    return std::make_unique<LengthPrefixFraming>(Longest, Deadline);
}

std::unique_ptr<Framing> makeLinux()
{
    return std::make_unique<LinuxFraming>(Direction::Reply, Deadline);
}

std::unique_ptr<Framing> makeLinuxOfRequests()
{
    return std::make_unique<LinuxFraming>(Direction::Request, Deadline);
}

/// A stream, the messages in it, and what is left of it.
struct StreamRow
{
    const char *name;
    std::unique_ptr<Framing> (*make)();
    QByteArray stream;
    Messages messages;
    FramingFault fault;
    int buffered;
};

void PrintTo(const StreamRow &row, std::ostream *out)
{
    *out << row.name;
}

// A read of 2 bytes and its reply, a write of 2 bytes, each with its checksum.
const QByteArray ReadRequest = hex("55AA 00 05 00 00 00 00 0000 00 00 0000 0000 0200 5C55");
const QByteArray ReadReply = hex("55AA 00 05 00 00 00 00 0000 00 00 0000 0000 0200 01 FF 5C56");
const QByteArray WriteRequest = hex("55AA 00 05 00 00 00 00 0000 01 00 0000 0000 0200 01 FF 5D56");
const QByteArray WriteReply = hex("55AA 00 05 00 00 00 00 0000 01 00 0000 0000 0000 5B55");

// Begins as a frame of 65,535 bytes of data does.
const QByteArray FalseStart = hex("55AA 00 00 00 00 00 00 0000 00 00 0000 0000 FFFF");

const StreamRow StreamRows[] = {
    {"a line", makeLines, "7,a\n", {"7,a"}, FramingFault::None, 0},
    {"lines", makeLines, "1\n2\n3\n", {"1", "2", "3"}, FramingFault::None, 0},
    {"half a line", makeLines, "1\n23", {"1"}, FramingFault::None, 2},
    {"a carriage return before the line feed",
     makeLines,
     "1\r\n2\n",
     {"1", "2"},
     FramingFault::None,
     0},
    {"carriage returns elsewhere", makeLines, "\r1\r2\r\r\n", {"\r1\r2\r"}, FramingFault::None, 0},
    {"lone separators", makeLines, "\n\r\n\n1\n\r\n", {"1"}, FramingFault::None, 0},
    {"a lone carriage return", makeLines, "\r", {}, FramingFault::None, 1},
    {"the longest line", makeLines, "12345678\n", {"12345678"}, FramingFault::None, 0},
    {"the longest line, carriage return",
     makeLines,
     "12345678\r\n",
     {"12345678"},
     FramingFault::None,
     0},
    {"a line that is too long", makeLines, "1\n123456789\n2\n", {"1"}, FramingFault::TooLong, 0},
    {"a line that is too long, carriage return",
     makeLines,
     "12345678\r\r\n",
     {},
     FramingFault::TooLong,
     0},
    {"no line feed where it must be", makeLines, "1234567890", {}, FramingFault::TooLong, 0},
    {"where it may come at last", makeLines, "123456789", {}, FramingFault::None, 9},

    {"a message with its length",
     makePrefixed,
     hex("02000000 3031"),
     {"01"},
     FramingFault::None,
     0},
    {"messages with their lengths",
     makePrefixed,
     hex("01000000 30 02000000 3132"),
     {"0", "12"},
     FramingFault::None,
     0},
    {"lone lengths",
     makePrefixed,
     hex("00000000 01000000 30 00000000"),
     {"0"},
     FramingFault::None,
     0},
    {"half a length", makePrefixed, hex("020000"), {}, FramingFault::None, 3},
    {"half a message", makePrefixed, hex("02000000 30"), {}, FramingFault::None, 5},
    {"the longest message",
     makePrefixed,
     hex("08000000 3030303030303030"),
     {"00000000"},
     FramingFault::None,
     0},
    {"a length that is too long",
     makePrefixed,
     hex("01000000 30 09000000"),
     {"0"},
     FramingFault::TooLong,
     0},
    {"the largest length", makePrefixed, hex("FFFFFFFF"), {}, FramingFault::TooLong, 0},

    {"a Linux reply", makeLinux, ReadReply, {ReadReply}, FramingFault::None, 0},
    {"a Linux reply without data", makeLinux, WriteReply, {WriteReply}, FramingFault::None, 0},
    {"Linux replies",
     makeLinux,
     ReadReply + WriteReply,
     {ReadReply, WriteReply},
     FramingFault::None,
     0},
    {"Linux requests",
     makeLinuxOfRequests,
     ReadRequest + WriteRequest,
     {ReadRequest, WriteRequest},
     FramingFault::None,
     0},
    {"noise around it",
     makeLinux,
     hex("00 55 AB 55 55") + ReadReply + hex("FF 00"),
     {ReadReply},
     FramingFault::None,
     0},
    {"half a beginning", makeLinux, ReadReply + hex("01 55"), {ReadReply}, FramingFault::None, 1},
    {"half a header", makeLinux, ReadReply.left(17), {}, FramingFault::None, 17},
    {"half a frame", makeLinux, ReadReply.left(19), {}, FramingFault::None, 19},
    {"a wrong checksum",
     makeLinux,
     hex("55AA 00 05 00 00 00 00 0000 00 00 0000 0000 0000 0000") + ReadReply,
     {ReadReply},
     FramingFault::None,
     0},
    {"a beginning right before a frame",
     makeLinux,
     hex("55AA") + ReadReply,
     {ReadReply},
     FramingFault::None,
     0},
    {"a beginning that hides a frame",
     makeLinux,
     FalseStart + ReadReply,
     {},
     FramingFault::None,
     40},
    {"a frame in the data of another one",
     makeLinux,
     hex("55AA 00 05 00 00 00 00 0000 00 00 0000 0000 1400") + WriteReply + hex("2357"),
     {hex("55AA 00 05 00 00 00 00 0000 00 00 0000 0000 1400") + WriteReply + hex("2357")},
     FramingFault::None,
     0},
};

class Streams : public testing::TestWithParam<StreamRow>
{
};

TEST_P(Streams, GiveTheirMessages)
{
    const StreamRow &row = GetParam();
    const std::unique_ptr<Framing> framing = row.make();
    EXPECT_EQ(framing->receive(row.stream, Time(0)), row.messages);
    EXPECT_EQ(framing->fault(), row.fault);
    EXPECT_EQ(framing->buffered(), row.buffered);
    EXPECT_EQ(framing->nextTimeout().has_value(), row.buffered > 0);
}

TEST_P(Streams, GiveTheSameByteByByte)
{
    const StreamRow &row = GetParam();
    const std::unique_ptr<Framing> framing = row.make();
    Messages messages;
    for (const char byte : row.stream) {
        for (const QByteArray &message : framing->receive(QByteArray(1, byte), Time(0)))
            messages.push_back(message);
    }
    EXPECT_EQ(messages, row.messages);
    EXPECT_EQ(framing->fault(), row.fault);
}

INSTANTIATE_TEST_SUITE_P(Framing, Streams, testing::ValuesIn(StreamRows));

TEST(Framing, TakesWhatItEncodes)
{
    const std::pair<std::unique_ptr<Framing> (*)(), QByteArray> rows[] = {
        {makeLines, "1,2"},
        {makeLines, "1\r2"},
        {makeLines, "12345678"},
        {makePrefixed, hex("00 0A 0D")},
        {makePrefixed, "12345678"},
        {makeLinuxOfRequests, WriteReply},
        {makeLinux, ReadRequest},
        {makeLinux, WriteRequest},
        {makeLinuxOfRequests, ReadReply},
    };
    for (const auto &[make, message] : rows) {
        const std::optional<QByteArray> bytes = make()->encode(message);
        ASSERT_TRUE(bytes) << message.toHex().constData();
        // A device takes the requests that a client sends, and the other way round.
        const std::unique_ptr<Framing> peer = make == makeLinux ? makeLinuxOfRequests()
            : make == makeLinuxOfRequests                       ? makeLinux()
                                                                : make();
        EXPECT_EQ(peer->receive(*bytes, Time(0)), Messages{message});
    }
    EXPECT_EQ(makeLines()->encode("1"), QByteArray("1\n"));
    EXPECT_EQ(makePrefixed()->encode("1"), hex("01000000 31"));
    EXPECT_EQ(makeLinux()->encode(WriteRequest), WriteRequest);
}

TEST(Framing, EncodesNothingThatWouldNotComeBack)
{
    const std::pair<std::unique_ptr<Framing> (*)(), QByteArray> rows[] = {
        {makeLines, ""},
        {makeLines, "1\n2"},
        {makeLines, "1\r"},
        {makeLines, "123456789"},
        {makePrefixed, ""},
        {makePrefixed, "123456789"},
        {makeLinux, ""},
        {makeLinux, "7,k"},
        {makeLinux, ReadReply}, // a request to read carries no data
        {makeLinux, WriteRequest + '\0'},
        {makeLinux, WriteRequest.left(20)},
        {makeLinux, QByteArray(WriteRequest).replace(19, 1, "x")},
    };
    for (const auto &[make, message] : rows)
        EXPECT_EQ(make()->encode(message), std::nullopt) << message.toHex(' ').constData();
}

TEST(Framing, LinuxFramesThatAreLongerThanTheLimitAreNone)
{
    LinuxFraming framing(Direction::Reply, Deadline, 21);
    EXPECT_EQ(framing.receive(ReadReply + WriteReply, Time(0)), Messages{WriteReply});
    EXPECT_EQ(framing.encode(WriteRequest), std::nullopt);
    // A beginning whose length is the high address of the frame right after it.
    const QByteArray reply = hex("55AA 00 05 00 00 00 00 0000 01 00 0000 0001 0000 5C55");
    EXPECT_EQ(framing.receive(hex("55AA") + reply, Time(0)), Messages{reply});
}

TEST(Framing, ADeadlineBeginsAndEndsWithItsMessage)
{
    for (const auto make : {makeLines, makePrefixed}) {
        const std::unique_ptr<Framing> framing = make();
        const QByteArray whole = *framing->encode("12345");
        EXPECT_EQ(framing->nextTimeout(), std::nullopt);
        // Busy: a message ends and the next one begins, every 60 ms.
        framing->receive(whole.left(2), ms(0));
        for (int time = 60; time < 1000; time += 60) {
            EXPECT_EQ(framing->nextTimeout(), ms(time - 60 + 100));
            EXPECT_EQ(framing->handleTimeout(ms(time)), Messages());
            EXPECT_EQ(framing->receive(whole.mid(2) + whole.left(2), ms(time)), Messages{"12345"});
        }
        EXPECT_EQ(framing->fault(), FramingFault::None);
        // A byte now and then does not extend it.
        const Time began = *framing->nextTimeout() - ms(100);
        framing->receive(whole.mid(2, 1), began + ms(99));
        EXPECT_EQ(framing->nextTimeout(), began + ms(100));
        framing->handleTimeout(began + ms(100));
        EXPECT_EQ(framing->fault(), FramingFault::Overdue);
        EXPECT_EQ(framing->nextTimeout(), std::nullopt);
        EXPECT_EQ(framing->receive(whole, began + ms(101)), Messages()) << "the stream has ended";
    }
}

TEST(Framing, NoDeadlineBeginsWithoutBytes)
{
    for (const auto make : {makeLines, makePrefixed, makeLinux}) {
        const std::unique_ptr<Framing> framing = make();
        EXPECT_EQ(framing->receive("", ms(0)), Messages());
        EXPECT_EQ(framing->nextTimeout(), std::nullopt);
    }
}

TEST(Framing, AClockThatGoesBackExtendsNothing)
{
    LineFraming framing(Longest, Deadline);
    framing.receive("1", ms(50));
    framing.receive("2", ms(20));
    EXPECT_EQ(framing.nextTimeout(), ms(150));
}

TEST(Framing, AClockThatGoesBackBetweenMessagesEndsNothingEarly)
{
    LineFraming framing(Longest, Deadline);
    framing.receive("1\n", ms(50));
    framing.receive("2", ms(20)); // counts as 50
    EXPECT_EQ(framing.nextTimeout(), ms(150));
    framing.receive("\n", ms(60));
    framing.handleTimeout(ms(200));
    framing.receive("3", ms(70)); // counts as 200
    EXPECT_EQ(framing.nextTimeout(), ms(300));
}

TEST(Framing, TheRestOfAMessageDoesNotComeAfterItsDeadline)
{
    for (const auto make : {makeLines, makePrefixed}) {
        const std::unique_ptr<Framing> framing = make();
        const QByteArray whole = *framing->encode("12345");
        framing->receive(whole.left(2), ms(0));
        EXPECT_EQ(framing->receive(whole.mid(2), ms(100)), Messages()) << "nobody has said so yet";
        EXPECT_EQ(framing->fault(), FramingFault::Overdue);
    }
    LinuxFraming framing(Direction::Reply, Deadline);
    framing.receive(FalseStart + ReadReply, ms(0));
    EXPECT_EQ(framing.receive(WriteReply, ms(100)), (Messages{ReadReply, WriteReply}));
}

TEST(Framing, NothingIsKeptOfAStreamThatHasEnded)
{
    LineFraming tooLong(Longest, Deadline);
    tooLong.receive(QByteArray(60000, 'x'), ms(0));
    EXPECT_EQ(tooLong.fault(), FramingFault::TooLong);
    EXPECT_EQ(tooLong.buffered(), 0);
    LineFraming overdue(Longest, Deadline);
    overdue.receive("1", ms(0));
    overdue.handleTimeout(ms(100));
    EXPECT_EQ(overdue.buffered(), 0);
    LineFraming incomplete(Longest, Deadline);
    incomplete.receive("1", ms(0));
    incomplete.end();
    EXPECT_EQ(incomplete.buffered(), 0);
}

TEST(Framing, ADeadlineMayBeAnyDuration)
{
    using std::chrono::milliseconds;
    const Time moments[] = {Time::min(), ms(0), ms(1), Time::max()};
    for (const Time begin : moments) {
        LineFraming endless(Longest, milliseconds::max());
        endless.receive("1", begin);
        EXPECT_GT(*endless.nextTimeout(), qMin(begin, Time::max() / 2)) << begin.count();
        EXPECT_EQ(endless.receive("2\n", begin + ms(begin == ms(0) ? 1000000 : 0)), Messages{"12"});
        LineFraming none(Longest, milliseconds::min());
        EXPECT_EQ(none.receive("1\n2", begin), Messages{"1"});
        none.handleTimeout(begin);
        EXPECT_EQ(none.fault(), FramingFault::Overdue) << begin.count();
    }
}

TEST(Framing, AMessageMayBeOfAnySize)
{
    constexpr int Largest = std::numeric_limits<int>::max();
    LineFraming lines(Largest, Deadline);
    lines.receive("abc", ms(0));
    EXPECT_EQ(lines.receive("\n", ms(0)), Messages{"abc"});
    LengthPrefixFraming prefixed(Largest, Deadline);
    EXPECT_EQ(prefixed.receive(hex("FFFFFF7F 30"), ms(0)), Messages());
    EXPECT_EQ(prefixed.fault(), FramingFault::None);
    EXPECT_EQ(prefixed.receive(hex("31"), ms(1)), Messages());
    EXPECT_EQ(prefixed.buffered(), 6);
    LinuxFraming frames(Direction::Reply, Deadline, Largest);
    EXPECT_EQ(frames.receive(ReadReply, ms(0)), Messages{ReadReply});
}

TEST(Framing, WhatAFalseBeginningHidesIsFoundAtItsDeadline)
{
    LinuxFraming framing(Direction::Reply, Deadline);
    EXPECT_EQ(framing.receive(FalseStart, ms(0)), Messages());
    EXPECT_EQ(framing.receive(FalseStart + ReadReply, ms(30)), Messages());
    EXPECT_EQ(framing.receive(WriteReply.left(10), ms(40)), Messages());
    EXPECT_EQ(framing.handleTimeout(ms(99)), Messages());
    // The second beginning has come later.
    EXPECT_EQ(framing.handleTimeout(ms(100)), Messages());
    EXPECT_EQ(framing.nextTimeout(), ms(130));
    EXPECT_EQ(framing.handleTimeout(ms(130)), Messages{ReadReply});
    EXPECT_EQ(framing.nextTimeout(), ms(140));
    EXPECT_EQ(framing.receive(WriteReply.mid(10), ms(139)), Messages{WriteReply});
    EXPECT_EQ(framing.fault(), FramingFault::None);
}

TEST(Framing, AFalseBeginningIsNotWaitedForLongerThanTheLargestFrame)
{
    LinuxFraming framing(Direction::Reply, Deadline);
    framing.receive(FalseStart, ms(0));
    const int rest = 20 + 65535 - static_cast<int>(FalseStart.size());
    EXPECT_EQ(framing.receive(QByteArray(rest - 1, '\0'), ms(1)), Messages());
    EXPECT_EQ(framing.buffered(), 65554);
    EXPECT_EQ(framing.receive(QByteArray(1, '\0') + ReadReply, ms(2)), Messages{ReadReply});
    EXPECT_EQ(framing.buffered(), 0);
}

TEST(Framing, TheEndOfAStream)
{
    const auto whole = makeLines();
    whole->receive("1\n", Time(0));
    EXPECT_EQ(whole->end(), Messages());
    EXPECT_EQ(whole->fault(), FramingFault::None);

    const auto half = makeLines();
    half->receive("1\n2", Time(0));
    EXPECT_EQ(half->end(), Messages());
    EXPECT_EQ(half->fault(), FramingFault::Incomplete);
    EXPECT_EQ(half->end(), Messages());

    const auto hidden = makeLinux();
    hidden->receive(FalseStart + ReadReply + ReadReply.left(5), Time(0));
    EXPECT_EQ(hidden->end(), Messages{ReadReply});
    EXPECT_EQ(hidden->fault(), FramingFault::Incomplete);
}

TEST(Framing, ManyMessagesAtOnceKeepNoMoreThanOne)
{
    LineFraming framing(1 << 20, Deadline);
    const QByteArray line(1000, 'x');
    const Messages messages = framing.receive((line + '\n').repeated(1000) + "rest", Time(0));
    EXPECT_EQ(messages.size(), 1000U);
    EXPECT_EQ(messages.back(), line);
    EXPECT_EQ(framing.buffered(), 4);
}

/// Beginnings that all have to be added up take no longer than others.
TEST(Framing, NoiseTakesTimeInProportionToItsSize)
{
    LinuxFraming framing(Direction::Reply, Deadline);
    // Each pair of bytes begins a frame of 0xAA55 bytes of data.
    const QByteArray noise = hex("55AA").repeated(300000);
    EXPECT_EQ(framing.receive(noise, Time(0)), Messages());
    EXPECT_LE(framing.buffered(), 65555);
}

TEST(Framing, FindsEveryFrameInRandomNoise)
{
    std::mt19937 random(1);
    for (int run = 0; run < 200; ++run) {
        LinuxFraming framing(Direction::Reply, Deadline);
        Messages sent;
        Messages found;
        Time now{0};
        for (int i = 0; i < 20; ++i) {
            QByteArray noise;
            for (auto size = random() % 30; size > 0; --size)
                noise += random() % 3 == 0 ? '\x55' : random() % 2 == 0 ? '\xAA' : char(random());
            sent.push_back(random() % 2 == 0 ? ReadReply : WriteReply);
            for (const QByteArray &message : framing.receive(noise + sent.back(), now))
                found.push_back(message);
            now += ms(10);
        }
        for (const QByteArray &message : framing.end())
            found.push_back(message);
        EXPECT_EQ(found, sent) << "run " << run;
    }
}

TEST(Framing, FaultsInWords)
{
    const FramingFault faults[] = {FramingFault::None, FramingFault::TooLong, FramingFault::Overdue,
                                   FramingFault::Incomplete, FramingFault::OutOfMemory};
    const char *words[] = {"ok", "a message is too long",
                           "the rest of a message did not come in time",
                           "the stream ended inside a message", "out of memory"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(KorvinExchange::describe(faults[i]), QLatin1String(words[i]));
}

} // namespace
