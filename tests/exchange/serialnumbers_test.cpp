// Serial numbers: which one is drawn, and when it may be drawn again.

#include "exchangesupport.h"

#include <algorithm>
#include <random>

namespace {

constexpr quint32 Register = 0x0A000010;

class SerialNumberTest : public EngineTest
{
protected:
    SerialNumberTest()
    {
        settings.retry.attempts = 1;
        restart(Form::Frame);
    }

    /// Sends a read.
    OutgoingMessage exchange()
    {
        m_reads.push_back(makeRead(Register, 3));
        send(*m_reads.back());
        return take();
    }

    /// Sends a read, and answers it.
    OutgoingMessage answered()
    {
        const OutgoingMessage message = exchange();
        receive(message, replyTo(message));
        expectEnd(message.request, Outcome::Success);
        return message;
    }

    /// Whether a read can be sent now; it stays in flight.
    bool canSend()
    {
        m_reads.push_back(makeRead(Register, 3));
        const RequestId id = send(*m_reads.back());
        if (engine->takeMessage(now))
            return true;
        engine->cancel(id, now);
        takeEvent();
        return false;
    }

    static quint32 serialOf(const OutgoingMessage &message)
    {
        return *serialNumOfReply(replyTo(message), message.shape.form);
    }

    std::vector<std::unique_ptr<PackageRequestReadData>> m_reads;
};

TEST_F(SerialNumberTest, AreDrawnOneAfterTheOther)
{
    for (quint32 serial = 1; serial <= 5; ++serial)
        EXPECT_EQ(serialOf(answered()), serial);
}

TEST_F(SerialNumberTest, AreOfTheRangeOfTheLink)
{
    settings.firstSerialNum = 1000;
    settings.lastSerialNum = 1002;
    settings.restAfterReply = std::chrono::milliseconds(0);
    restart(settings);
    for (const quint32 serial : {1000U, 1001U, 1002U, 1000U, 1001U}) {
        EXPECT_EQ(serialOf(answered()), serial);
        now += Time(1);
    }
}

TEST_F(SerialNumberTest, AreOfTheRangeOfTheForm)
{
    const std::pair<Form, quint32> rows[] = {
        {Form::Linux, 255}, {Form::Frame, 65535}, {Form::Text, 2147483647}};
    for (const auto &[form, last] : rows) {
        settings.firstSerialNum = last - 1;
        settings.lastSerialNum = 0xFFFFFFFF;
        settings.forms = {form};
        restart(settings);
        EXPECT_EQ(serialOf(exchange()), last - 1);
        EXPECT_EQ(serialOf(exchange()), last);
        EXPECT_FALSE(canSend());
    }
}

TEST_F(SerialNumberTest, AFormThatCarriesNoneOfThemIsPassedOver)
{
    const std::pair<Form, quint32> rows[] = {{Form::Linux, 255}, {Form::Frame, 65535}};
    for (const auto &[form, last] : rows) {
        settings.lastSerialNum = last + 10;
        settings.forms = {form, Form::Text};
        settings.firstSerialNum = last;
        restart(settings);
        EXPECT_EQ(int(exchange().shape.form), int(form));
        settings.firstSerialNum = last + 1;
        restart(settings);
        EXPECT_EQ(int(exchange().shape.form), int(Form::Text));
    }
    // Where there is no other form, the request is refused at once.
    settings.forms = {Form::Frame};
    restart(settings);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    expectNothingToSend();
    EXPECT_EQ(describe(expectEnd(id, Outcome::Refused)),
              QStringLiteral("refused: no form of the peer carries it: serialNum: out of "
                             "range: 1 to 65535 expected, 65536 found"));
}

TEST_F(SerialNumberTest, OfSeveralFormsAreAllDifferent)
{
    settings.firstSerialNum = 254;
    settings.lastSerialNum = 300;
    settings.forms = {Form::Linux, Form::Frame};
    restart(settings);
    EXPECT_EQ(serialOf(exchange()), 254U);
    PackageBase other;
    send(other);
    EXPECT_EQ(take().bytes.mid(9, 2), hex("FF00")); // 255
    EXPECT_FALSE(canSend()) << "a Linux frame has no more";
    PackageBase next;
    send(next);
    EXPECT_EQ(take().bytes.mid(9, 2), hex("0001")); // 256
    // A small number that is free again is drawn for the form that needs it.
    setTime(ms(3000));
    while (engine->takeEvent()) { }
    EXPECT_FALSE(canSend());
    setTime(ms(63000));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, NoneIsInFlightTwice)
{
    settings.lastSerialNum = 3;
    restart(settings);
    std::vector<quint32> serials;
    for (int i = 0; i < 3; ++i)
        serials.push_back(serialOf(exchange()));
    EXPECT_EQ(serials, (std::vector<quint32>{1, 2, 3}));
    EXPECT_FALSE(canSend());
    EXPECT_EQ(engine->nextTimeout(), ms(3000)) << "no number becomes free earlier";
}

TEST_F(SerialNumberTest, RestForAMomentAfterTheirReply)
{
    settings.lastSerialNum = 1;
    restart(settings);
    const OutgoingMessage message = answered();
    EXPECT_EQ(engine->serialNumbers(), 1);
    setTime(ms(99));
    m_reads.push_back(makeRead(Register, 3));
    send(*m_reads.back());
    expectNothingToSend();
    EXPECT_EQ(engine->nextTimeout(), ms(100));
    // A second reply answers nothing, and lets the number rest again.
    receive(message, replyTo(message));
    EXPECT_EQ(engine->counters().duplicate, 1U);
    expectNothingToSend();
    EXPECT_EQ(engine->nextTimeout(), ms(199));
    setTime(ms(198));
    expectNothingToSend();
    setTime(ms(199));
    EXPECT_EQ(serialOf(take()), 1U);
}

TEST_F(SerialNumberTest, RestLongAfterATimeout)
{
    settings.lastSerialNum = 1;
    restart(settings);
    exchange();
    setTime(ms(3000));
    expectEnd(1, Outcome::TimedOut);
    setTime(ms(3000 + 59999));
    EXPECT_FALSE(canSend());
    setTime(ms(3000 + 60000));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, RestForTenTimeoutsWhereThatIsLonger)
{
    settings.lastSerialNum = 1;
    settings.timeout = std::chrono::milliseconds(10000);
    restart(settings);
    exchange();
    setTime(ms(10000));
    setTime(ms(10000 + 99999));
    EXPECT_FALSE(canSend());
    setTime(ms(10000 + 100000));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, RestForAStatedTime)
{
    settings.lastSerialNum = 1;
    settings.rest = std::chrono::milliseconds(500);
    restart(settings);
    exchange();
    EXPECT_TRUE(engine->cancel(1, now));
    takeEvent();
    setTime(ms(499));
    EXPECT_FALSE(canSend());
    setTime(ms(500));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, ALateReplyEndsTheRest)
{
    settings.lastSerialNum = 1;
    restart(settings);
    const OutgoingMessage message = exchange();
    setTime(ms(3000));
    takeEvent();
    setTime(ms(5000));
    EXPECT_FALSE(canSend());
    // A number that does not fit is refused.
    engine->receive(Form::Frame, hex("00 0100 00 01 00 04000000 A0 A1 A2 A3"), now);
    EXPECT_EQ(engine->counters().refusedReplies, 1U);
    EXPECT_EQ(engine->counters().late, 0U);
    receive(message, replyTo(message));
    EXPECT_EQ(engine->counters().late, 1U);
    EXPECT_FALSE(canSend()) << "it may come twice";
    receive(message, replyTo(message));
    EXPECT_EQ(engine->counters().duplicate, 1U);
    setTime(ms(5100));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, AReplyToALongRequestDoesNotEndTheRest)
{
    settings.lastSerialNum = 1;
    restart(settings);
    const auto write = makeWrite(Register, QByteArray(600, 'x'));
    send(*write);
    const OutgoingMessage message = take();
    setTime(ms(3000));
    expectEnd(1, Outcome::TimedOut);
    receive(message, "\x00\x01"); // nothing to compare it with
    receive(message, replyTo(message));
    EXPECT_EQ(engine->counters().late, 1U);
    EXPECT_EQ(engine->counters().unknown, 1U);
    setTime(ms(62999));
    EXPECT_FALSE(canSend());
    setTime(ms(63000));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, ARequestThatWasSentTwiceMayHaveTwoReplies)
{
    settings.lastSerialNum = 1;
    settings.retry.attempts = 2;
    restart(settings);
    const OutgoingMessage message = exchange();
    setTime(ms(3000));
    setTime(ms(3100));
    EXPECT_EQ(take().attempt, 2);
    receive(message, replyTo(message));
    expectEnd(1, Outcome::Success);
    // The reply to the other copy may come for as long as to a request that timed out, and a
    // duplicate of the first one must not be taken for it.
    setTime(ms(4000));
    receive(message, replyTo(message));
    EXPECT_EQ(engine->counters().duplicate, 1U);
    EXPECT_EQ(engine->counters().late, 0U);
    setTime(ms(5000));
    EXPECT_FALSE(canSend());
    setTime(ms(63099));
    EXPECT_FALSE(canSend());
    setTime(ms(63100));
    EXPECT_TRUE(canSend());
}

TEST_F(SerialNumberTest, AreFreeAgainOnTheNextLink)
{
    settings.lastSerialNum = 2;
    restart(settings);
    const OutgoingMessage first = exchange();
    exchange();
    setTime(ms(3000));
    while (engine->takeEvent()) { }
    EXPECT_FALSE(canSend());
    engine->linkLost(now);
    EXPECT_TRUE(canSend());
    EXPECT_TRUE(canSend());
    EXPECT_FALSE(canSend());
    engine->linkLost(now);
    receive(first, replyTo(first));
    EXPECT_EQ(engine->counters().unknown, 1U);
}

TEST_F(SerialNumberTest, NoMoreAreInUseAndAtRestThanTheLimit)
{
    settings.lastSerialNum = 65535;
    settings.limits.serialNumbers = 3;
    restart(settings);
    answered();
    exchange();
    exchange();
    EXPECT_EQ(engine->serialNumbers(), 3);
    EXPECT_FALSE(canSend());
    setTime(ms(100));
    EXPECT_TRUE(canSend());
    EXPECT_EQ(engine->serialNumbers(), 3);
}

TEST_F(SerialNumberTest, AreLeftAloneAsLongAsTheRangeAllows)
{
    settings.lastSerialNum = 100;
    settings.restAfterReply = std::chrono::milliseconds(0);
    restart(settings);
    std::vector<int> lastUse(101, -1000);
    for (int i = 0; i < 1000; ++i) {
        now += Time(1);
        const auto serial = static_cast<std::size_t>(serialOf(answered()));
        EXPECT_GE(i - lastUse[serial], 100) << serial;
        lastUse[serial] = i;
    }
}

/// The free numbers are kept as intervals: whatever the order in which they are drawn and become
/// free, none is drawn twice, and none is lost.
TEST_F(SerialNumberTest, AreNeitherLostNorDrawnTwice)
{
    std::mt19937 random(1);
    for (const quint32 last : {1U, 2U, 7U, 40U}) {
        settings.lastSerialNum = last;
        settings.rest = std::chrono::milliseconds(1);
        settings.restAfterReply = std::chrono::milliseconds(0);
        restart(settings);
        std::vector<OutgoingMessage> inFlight;
        for (int i = 0; i < 5000; ++i) {
            now += ms(2);
            if (inFlight.size() < last && random() % 2 == 0) {
                inFlight.push_back(exchange());
                m_reads.erase(m_reads.begin(),
                              m_reads.end() - 40 < m_reads.begin() ? m_reads.begin()
                                                                   : m_reads.end() - 40);
                continue;
            }
            if (inFlight.empty())
                continue;
            const auto chosen =
                inFlight.begin() + static_cast<std::ptrdiff_t>(random() % inFlight.size());
            receive(*chosen, replyTo(*chosen));
            inFlight.erase(chosen);
            takeEvent();
        }
        std::vector<quint32> serials;
        for (const OutgoingMessage &message : inFlight)
            serials.push_back(serialOf(message));
        now += ms(2);
        while (serials.size() < last)
            serials.push_back(serialOf(exchange()));
        std::sort(serials.begin(), serials.end());
        for (quint32 serial = 1; serial <= last; ++serial)
            EXPECT_EQ(serials[serial - 1], serial);
        EXPECT_FALSE(canSend());
        m_reads.clear();
    }
}

} // namespace
