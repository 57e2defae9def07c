// The engine and the framings when memory runs out.

#include "exchangesupport.h"
#include "mallochook.h"

#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>
#include <korvinexchange/linuxframing.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <map>

namespace {

/// Lets an allocation fail, counted only inside of calls.
class MemoryShortage
{
public:
    /// @param allocation counts from 0; each call has one that fails where @p inEachCall.
    MemoryShortage(int allocation, bool inEachCall)
        : m_allocation(allocation)
        , m_inEachCall(inEachCall)
    {
    }

    template <typename Call>
    auto during(Call call)
    {
        failingAllocation = m_allocation;
        auto result = call();
        if (!m_inEachCall)
            m_allocation = failingAllocation;
        m_hasFailed = m_hasFailed || failingAllocation < 0;
        failingAllocation = -1;
        return result;
    }

    bool hasFailed() const { return m_hasFailed; }

private:
    int m_allocation;
    bool m_inEachCall;
    bool m_hasFailed = false;
};

/// Hands requests to an engine, and plays their peer until all have ended.
class Play
{
public:
    Play(Engine &engine, MemoryShortage &shortage, Time begin)
        : m_engine(engine)
        , m_shortage(shortage)
        , m_now(begin)
    {
    }

    void send(const std::vector<PackageBase *> &packages)
    {
        RequestOptions options;
        options.repeat = Repeat::Always;
        const bool isCombination = packages.size() > 1;
        const Accepted accepted = m_shortage.during([&] {
            return isCombination ? m_engine.sendCombination(packages, options, m_now)
                                 : m_engine.send(packages.front(), options, m_now);
        });
        for (std::size_t i = 0; i < packages.size(); ++i)
            accept(accepted, i, packages[i]);
    }

    void start(const Transfer &transfer)
    {
        const Accepted accepted =
            m_shortage.during([&] { return m_engine.start(transfer, {}, m_now); });
        accept(accepted, 0, transfer.package());
    }

    void untilAllHaveEnded()
    {
        takeEvents();
        for (int round = 0; !m_packages.empty(); ++round) {
            ASSERT_LT(round, 1000);
            while (const auto message =
                       m_shortage.during([&] { return m_engine.takeMessage(m_now); })) {
                answer(*message);
            }
            takeEvents();
            if (const std::optional<Time> due = m_engine.nextTimeout()) {
                m_now = *due;
                handleTimeout();
            }
        }
        EXPECT_EQ(m_engine.inFlight(), 0);
        EXPECT_EQ(m_engine.bytesInFlight(), 0);
        EXPECT_EQ(m_engine.queued(), 0);
        m_now += std::chrono::minutes(2);
        handleTimeout();
        EXPECT_EQ(m_engine.serialNumbers(), 0);
    }

private:
    void accept(const Accepted &accepted, std::size_t item, PackageBase *package)
    {
        EXPECT_EQ(accepted.id == 0, accepted.sendError == SendError::OutOfMemory);
        if (accepted.id == 0)
            EXPECT_EQ(package->getPackResult(), OrvexEnum::PackSendError);
        else
            m_packages[accepted.id + item] = package;
    }

    /// Answers two of three messages, every fourth twice.
    void answer(const OutgoingMessage &message)
    {
        ++m_messages;
        if (m_messages % 3 == 2)
            return;
        QByteArray reply;
        if (message.shape.classId == ClassId::PackageRequestCombination) {
            for (const QByteArray &item : message.bytes.split('|')) {
                const MessageShape shape{classNamed(item), Form::Text, Direction::Request};
                reply += reply.isEmpty() ? "" : "|";
                reply += replyTo(item.mid(item.indexOf('^') + 1), shape);
            }
        } else {
            reply = replyTo(message);
        }
        for (int times = m_messages % 4 == 0 ? 2 : 1; times > 0; --times) {
            m_shortage.during([&] {
                m_engine.receive(message.shape.form, reply, m_now);
                return 0;
            });
        }
    }

    static ClassId classNamed(const QByteArray &item)
    {
        return item.startsWith("Read") ? ClassId::PackageRequestReadData
                                       : ClassId::PackageRequestWriteData;
    }

    void handleTimeout()
    {
        m_shortage.during([&] {
            m_engine.handleTimeout(m_now);
            return 0;
        });
        takeEvents();
    }

    void takeEvents()
    {
        while (const auto event = m_shortage.during([&] { return m_engine.takeEvent(); })) {
            ASSERT_EQ(m_packages.count(event->id), 1U) << "a request has ended twice";
            PackageBase *package = m_packages.at(event->id);
            EXPECT_EQ(event->package, package);
            if (event->type == Event::Type::Progress)
                continue;
            EXPECT_EQ(event->outcome == Outcome::Success, package->isPackageSuccess());
            const auto *read = qobject_cast<PackageRequestReadData *>(package);
            if (read && event->outcome == Outcome::Success) {
                EXPECT_EQ(read->data(), dataAt(read->getLowAddr(), read->getReplyDataLength()));
            }
            m_packages.erase(event->id);
        }
    }

    Engine &m_engine;
    MemoryShortage &m_shortage;
    Time m_now;
    int m_messages = 0;
    std::map<RequestId, PackageBase *> m_packages; ///< Of those that have not ended.
};

struct Row
{
    const char *name;
    std::vector<Form> forms;
    std::function<void(Play &)> play;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

void playRequests(Play &play)
{
    const auto read = makeRead(16, 4);
    const auto more = makeRead(32, 8);
    const auto write = makeWrite(16, "abc");
    play.send({read.get()});
    play.send({write.get()});
    play.send({more.get()});
    play.untilAllHaveEnded();
}

void playSpecials(Play &play)
{
    SpecialPackageRequest first(1, 5);
    SpecialPackageRequest second(1, 5);
    SpecialPackageRequest third(2, 5);
    SpecialPackageRequest fourth(2, 5);
    for (SpecialPackageRequest *special : {&first, &second, &third, &fourth})
        play.send({special});
    play.untilAllHaveEnded();
}

void playCombinations(Play &play)
{
    const auto read = makeRead(16, 4);
    const auto write = makeWrite(16, "abc");
    const auto more = makeRead(32, 8);
    play.send({read.get(), write.get(), more.get()});
    play.untilAllHaveEnded();
}

/// Requests that no form carries; the reasons are texts, which take memory.
void playRefused(Play &play)
{
    const auto contradiction = makeRead(16, 4);
    contradiction->setReadWriteCode(OrvexEnum::Write);
    const auto tooMuch = makeRead(16, 1 << 25);
    play.send({contradiction.get()});
    play.send({tooMuch.get()});
    play.untilAllHaveEnded();
}

void playDataTransfers(Play &play)
{
    const auto read = makeRead(16, 10);
    const auto write = makeWrite(16, "0123456789");
    read->setMaxPartSize(4);
    write->setMaxPartSize(4);
    play.start(Transfer::readData(read.get()));
    play.start(Transfer::writeData(write.get()));
    play.untilAllHaveEnded();
}

void playFileTransfers(Play &play)
{
    const auto read = makeRequest<PackageRequestReadFile>(16, "tag", 6, QStringLiteral("name"));
    const auto write =
        makeRequest<PackageRequestWriteFile>(32, "tag", false, QStringLiteral("name"), 0);
    read->setMaxPartSize(4);
    write->setMaxPartSize(4);
    play.start(Transfer::readFile(read.get()));
    play.start(Transfer::writeFile(write.get(), "012345"));
    play.untilAllHaveEnded();
}

void playMemoryTransfers(Play &play)
{
    const auto read = makeRequest<PackageRequestReadMemData>(16, "tag", 6, 7L);
    const auto write = makeRequest<PackageRequestWriteMemData>(32, "tag", false, 7L, 0);
    read->setMaxPartSize(4);
    write->setMaxPartSize(4);
    play.start(Transfer::readMemory(read.get()));
    play.start(Transfer::writeMemory(write.get(), "012345"));
    play.untilAllHaveEnded();
}

const Row Rows[] = {
    {"frames", {Form::Frame}, playRequests},
    {"records", {Form::Text}, playRequests},
    {"Linux frames", {Form::Linux}, playRequests},
    {"special requests", {Form::Text}, playSpecials},
    {"a combination", {Form::Text}, playCombinations},
    {"requests that are refused", {Form::Frame}, playRefused},
    {"data transfers", {Form::Linux}, playDataTransfers},
    {"file transfers", {Form::Linux, Form::Text}, playFileTransfers},
    {"memory transfers", {Form::Frame, Form::Text}, playMemoryTransfers},
};

class EngineMemory : public testing::TestWithParam<Row>
{
protected:
    /// Plays with a shortage, and once more without it on the same engine.
    ///
    /// @return whether an allocation failed.
    static bool play(int allocation, bool inEachCall)
    {
        Settings settings;
        settings.forms = GetParam().forms;
        settings.lastSerialNum = 20;
        Engine engine(settings);
        MemoryShortage shortage(allocation, inEachCall);
        Play hard(engine, shortage, Time(0));
        GetParam().play(hard);
        constexpr Time Later = std::chrono::hours(1);
        engine.linkLost(Later); // after which all serial numbers are there
        MemoryShortage none(-1, false);
        Play easy(engine, none, Later);
        GetParam().play(easy);
        return shortage.hasFailed();
    }
};

TEST_P(EngineMemory, EachAllocationMayFail)
{
    play(-1, false); // makes what is made only once
    int allocation = 0;
    for (bool hasFailed = true; hasFailed && !HasFailure(); ++allocation) {
        SCOPED_TRACE(allocation);
        const std::size_t before = allocations.inUse;
        hasFailed = play(allocation, false);
        EXPECT_EQ(allocations.inUse, before);
        ASSERT_LT(allocation, 10000);
    }
    EXPECT_GT(allocation, 10);
}

TEST_P(EngineMemory, OneMayFailInEachCall)
{
    int allocation = 0;
    for (bool hasFailed = true; hasFailed && !HasFailure(); ++allocation) {
        SCOPED_TRACE(allocation);
        hasFailed = play(allocation, true);
        ASSERT_LT(allocation, 10000);
    }
    EXPECT_GT(allocation, 5);
}

TEST_P(EngineMemory, NothingIsKeptOfWhatHasEnded)
{
    Settings settings;
    settings.forms = GetParam().forms;
    settings.lastSerialNum = 20;
    Engine engine(settings);
    MemoryShortage none(-1, false);
    std::size_t afterFirst = 0;
    for (int hour = 1; hour <= 20; ++hour) {
        Play again(engine, none, std::chrono::hours(hour));
        GetParam().play(again);
        if (hour == 1)
            afterFirst = allocations.inUse;
    }
    EXPECT_EQ(allocations.inUse, afterFirst);
}

INSTANTIATE_TEST_SUITE_P(All, EngineMemory, testing::ValuesIn(Rows));

TEST(EngineShortage, TheEndOfTheLinkTakesNone)
{
    Settings settings;
    settings.firstSerialNum = 5;
    settings.lastSerialNum = 5;
    Engine engine(settings);
    const auto read = makeRead(16, 4);
    engine.send(read.get(), {}, Time(0));
    ASSERT_TRUE(engine.takeMessage(Time(0)));
    failingAllocation = 0;
    EXPECT_NO_THROW(engine.linkLost(Time(0)));
    EXPECT_EQ(failingAllocation, 0);
    failingAllocation = -1;
    engine.send(read.get(), {}, Time(0));
    EXPECT_TRUE(engine.takeMessage(Time(0))) << "with the only number";
}

TEST(EngineShortage, AHostileReplyTakesLittle)
{
    constexpr std::size_t Most = 100000;
    Settings settings;
    settings.limits.messageSize = 1 << 20;
    Engine engine(settings);
    const auto read = makeRead(16, 4);
    const RequestId id = engine.sendCombination({read.get()}, {}, Time(0)).id;
    const OutgoingMessage message = engine.takeMessage(Time(0)).value();
    QByteArray parts = "1,|" + QByteArray("a|").repeated(500000);
    std::size_t before = allocations.inUse;
    allocations.peak = before;
    engine.receive(Form::Text, parts, Time(0));
    EXPECT_LT(allocations.peak - before, 6 * static_cast<std::size_t>(parts.size()));
    // One that is too long takes nothing, and as little when it is late.
    const QByteArray tooLong = "1," + QByteArray(4 << 20, 'x');
    for (const bool isLate : {false, true}) {
        if (isLate)
            engine.cancel(id, Time(0));
        before = allocations.inUse;
        allocations.peak = before;
        engine.receive(Form::Text, tooLong, Time(0));
        EXPECT_LT(allocations.peak - before, Most) << isLate;
    }
}

struct FramingRow
{
    const char *name;
    std::function<std::unique_ptr<Framing>()> make;
    QByteArray message;
    QByteArray stream;  ///< Of the message twice, and the beginning of another.
    QByteArray garbage; ///< More of it does not end any message.
};

void PrintTo(const FramingRow &row, std::ostream *out)
{
    *out << row.name;
}

const QByteArray LinuxReply = hex("55AA 00 05 00 00 00 00 0000 01 00 0000 0000 0000 5B55");

const FramingRow Framings[] = {
    {"lines", [] { return std::make_unique<LineFraming>(5000); }, "line", "line\nline\r\nl",
     QByteArray(100, 'a')},
    {"length prefixes", [] { return std::make_unique<LengthPrefixFraming>(5000); }, "line",
     hex("04000000 6C696E65 04000000 6C696E65 04000000"), hex("88130000") + QByteArray(96, 'a')},
    {"Linux frames", [] { return std::make_unique<LinuxFraming>(Direction::Reply); }, LinuxReply,
     LinuxReply + LinuxReply + hex("55AA"),
     hex("55AA 00 07 00 00 00 00 0000 00 00 0000 0000 0010") + QByteArray(80, 'a')},
};

class FramingMemory : public testing::TestWithParam<FramingRow>
{
};

TEST_P(FramingMemory, EachAllocationMayFail)
{
    const QByteArray &stream = GetParam().stream;
    int allocation = 0;
    for (bool hasFailed = true; hasFailed; ++allocation) {
        SCOPED_TRACE(allocation);
        MemoryShortage shortage(allocation, false);
        const auto framing = GetParam().make();
        std::size_t found = 0;
        for (const QByteArray &piece : {stream.left(5), stream.mid(5)}) {
            for (const QByteArray &message :
                 shortage.during([&] { return framing->receive(piece, Time(0)); })) {
                EXPECT_EQ(message, GetParam().message);
                ++found;
            }
        }
        const auto encoded = shortage.during([&] { return framing->encode(GetParam().message); });
        hasFailed = shortage.hasFailed();
        if (framing->fault() == FramingFault::None)
            EXPECT_EQ(found, 2U);
        else
            EXPECT_EQ(framing->fault(), FramingFault::OutOfMemory);
        if (encoded)
            EXPECT_TRUE(encoded->contains(GetParam().message));
        else
            EXPECT_TRUE(hasFailed);
    }
    EXPECT_GT(allocation, 5);
}

TEST_P(FramingMemory, NoMoreIsKeptThanAMessageAndAPiece)
{
    // Linux frames need four bytes for the sum of each; buffers grow by doubling.
    constexpr std::size_t Most = 16 * (5000 + 65536);
    const auto framing = GetParam().make();
    const QByteArray garbage = GetParam().garbage.repeated(100000);
    const std::size_t before = allocations.inUse;
    allocations.peak = before;
    framing->receive(garbage, Time(0));
    EXPECT_LT(allocations.peak - before, Most);
    EXPECT_LE(framing->buffered(), 70000);
}

INSTANTIATE_TEST_SUITE_P(All, FramingMemory, testing::ValuesIn(Framings));

} // namespace
