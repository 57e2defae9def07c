// A device that pauses, answers late, twice and in any order, with hundreds of requests under way:
// data for one request never reaches another.

#include "exchangesupport.h"

#include <map>
#include <random>

namespace {

constexpr int Requests = 5000;
constexpr int UnderWay = 450;
constexpr quint32 Register = 0x0A000010;
constexpr int StampSize = 4;

/// How the device lies.
struct Lie
{
    const char *name;
    int pauseEach; ///< Requests from one pause of 1.2 s to the next; 0 for none.
    int twice;     ///< Replies in a hundred that come twice.
    int late;      ///< In a hundred that come after the time-out.
    int mostDelay; ///< Of a reply or a second one, in milliseconds.
    Form form;
    quint32 lastSerialNum;
};

void PrintTo(const Lie &lie, std::ostream *out)
{
    *out << lie.name;
}

const Lie Lies[] = {
    {"pauses, 255 serial numbers", 1000, 0, 0, 5, Form::Frame, 255},
    {"pauses, 65,535 serial numbers", 1000, 0, 0, 5, Form::Frame, 65535},
    {"duplicates at once, 255 serial numbers", 0, 30, 0, 0, Form::Frame, 255},
    {"duplicates within the rest, 255 serial numbers", 0, 30, 0, 99, Form::Frame, 255},
    {"duplicates within the rest, 65,535 serial numbers", 0, 30, 0, 99, Form::Frame, 65535},
    {"late replies, 65,535 serial numbers", 0, 0, 5, 5, Form::Frame, 65535},
    {"all of it, frames", 1500, 20, 5, 99, Form::Frame, 65535},
    {"all of it, Linux frames", 1500, 20, 1, 99, Form::Linux, 255},
    {"all of it, records", 1500, 20, 5, 99, Form::Text, 2147483647},
};

class LyingDevice : public EngineTest, public testing::WithParamInterface<Lie>
{
protected:
    /// Sends replies as the lie demands.
    void answer(const OutgoingMessage &message)
    {
        const Lie &lie = GetParam();
        ++m_served;
        if (lie.pauseEach > 0 && m_served % lie.pauseEach == 0)
            m_pausedUntil = now + ms(1200);
        const QByteArray stamp = QByteArray::number(m_served).rightJustified(StampSize, '0', true);
        m_given[message.request].push_back(stamp);
        const QByteArray reply =
            replyTo(message, [&](PackageBase &package) { package.setData(stamp); });
        Time at = qMax(now, m_pausedUntil) + upTo(lie.mostDelay);
        if (upTo(100) < ms(lie.late))
            at += ms(1500);
        m_replies.emplace(at, reply);
        if (upTo(100) < ms(lie.twice))
            m_replies.emplace(at + upTo(lie.mostDelay), reply);
    }

    Time upTo(int most) { return ms(static_cast<int>(m_random() % (unsigned(most) + 1))); }

    void deliver()
    {
        while (!m_replies.empty() && m_replies.begin()->first <= now) {
            engine->receive(GetParam().form, m_replies.begin()->second, now);
            m_replies.erase(m_replies.begin());
        }
    }

    std::mt19937 m_random{1};
    int m_served = 0;
    Time m_pausedUntil{0};
    std::multimap<Time, QByteArray> m_replies;
    std::map<RequestId, std::vector<QByteArray>> m_given;
};

TEST_P(LyingDevice, NoRequestGetsAnothersData)
{
    const Lie &lie = GetParam();
    settings.forms = {lie.form};
    settings.lastSerialNum = lie.lastSerialNum;
    settings.timeout = std::chrono::milliseconds(1000);
    settings.queueTimeout = std::chrono::hours(1);
    settings.retry.attempts = 1;
    settings.limits.inFlight = UnderWay;
    settings.limits.queued = Requests;
    settings.limits.serialNumbers = 65535;
    restart(settings);
    std::map<RequestId, std::unique_ptr<PackageRequestReadData>> reads;
    int begun = 0;
    int mostInFlight = 0;
    int succeeded = 0;
    int wrong = 0;
    while (begun < Requests || !reads.empty()) {
        for (; begun < Requests && static_cast<int>(reads.size()) < UnderWay; ++begun) {
            auto read = makeRead(Register, StampSize); // all of them the same
            const RequestId id = send(*read);
            reads.emplace(id, std::move(read));
        }
        while (const auto message = engine->takeMessage(now))
            answer(*message);
        mostInFlight = qMax(mostInFlight, engine->inFlight());
        now += ms(1);
        deliver();
        while (const auto event = engine->takeEvent()) {
            const auto read = reads.find(event->id);
            ASSERT_NE(read, reads.end()) << "request " << event->id << " has ended twice";
            if (event->outcome == Outcome::Success) {
                ++succeeded;
                const auto &given = m_given[event->id];
                wrong += std::find(given.begin(), given.end(), read->second->data()) == given.end();
            }
            reads.erase(read);
        }
        ASSERT_LT(now, std::chrono::hours(2));
        engine->handleTimeout(now);
    }
    now += ms(2000);
    deliver();
    expectNoEvent();
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(succeeded, lie.pauseEach > 0 || lie.late > 0 ? Requests / 3 : Requests);
    EXPECT_EQ(mostInFlight, qMin<int>(UnderWay, static_cast<int>(qMin(lie.lastSerialNum, 65535U))));
    const Counters &counters = engine->counters();
    EXPECT_EQ(counters.succeeded, static_cast<quint64>(succeeded));
    EXPECT_EQ(counters.late > 0, lie.pauseEach > 0 || lie.late > 0);
    EXPECT_EQ(counters.duplicate + counters.unknown > 0, lie.twice > 0);
    RecordProperty("succeeded", succeeded);
}

INSTANTIATE_TEST_SUITE_P(Lies, LyingDevice, testing::ValuesIn(Lies));

} // namespace
