// What becomes of the requests of a client when its device ends, and how the next one is opened.

#include "clientsupport.h"

#include <korvinexchange/linuxframing.h>
#include <packagerequestreaddata.h>

#include <QtCore/QElapsedTimer>

namespace {

using std::chrono::milliseconds;

constexpr quint32 Register = 0x0A000010;

/// A client with a request under way.
class ClientLink : public ClientTest
{
protected:
    void sendRead()
    {
        reasons.clear();
        QObject::connect(client.get(), &Client::disconnected,
                         [this](const QString &reason) { reasons << reason; });
        reply = client->send(read.get());
        EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    }

    /// Expects that the link is lost, once, and the request with it.
    void expectLost(const char *reason)
    {
        EXPECT_TRUE(waitUntil([&] { return reply->isFinished() && !reasons.isEmpty(); }));
        EXPECT_EQ(reply->outcome(), Outcome::LinkLost);
        EXPECT_EQ(read->getPackResult(), OrvexEnum::PackDisConnect);
        EXPECT_EQ(reasons, QStringList(QLatin1String(reason)));
        EXPECT_FALSE(client->isConnected());
        EXPECT_EQ(client->device(), nullptr);
    }

    std::unique_ptr<PackageRequestReadData> read = makeRead(Register, 3);
    Reply *reply = nullptr;
    QStringList reasons;
};

TEST_F(ClientLink, IsLostWhenTheDeviceCloses)
{
    sendRead();
    device.close();
    expectLost("the device was closed");
}

TEST_F(ClientLink, IsLostWhenTheDeviceIsDeleted)
{
    auto other = std::make_unique<MemoryDevice>();
    client->setDevice(other.get());
    reply = client->send(read.get());
    QObject::connect(client.get(), &Client::disconnected,
                     [this](const QString &reason) { reasons << reason; });
    EXPECT_TRUE(waitUntil([&] { return !other->written.isEmpty(); }));
    other.reset();
    expectLost("the device was deleted");
}

TEST_F(ClientLink, IsLostWhenThePeerEndsItsSide)
{
    sendRead();
    Q_EMIT device.readChannelFinished();
    expectLost("the peer sends nothing more");
    EXPECT_TRUE(device.isOpen());
}

TEST_F(ClientLink, IsLostByAnError)
{
    sendRead();
    device.mostWritten = -1;
    device.write("x"); // sets the text of the error
    Q_EMIT device.errorOccurred(3);
    expectLost("the cable is cut");
}

TEST_F(ClientLink, IsLostWhenItCannotWrite)
{
    sendRead();
    device.mostWritten = -1;
    const auto more = makeRead(Register, 3);
    const Reply *ofMore = client->send(more.get());
    expectLost("cannot write: the cable is cut");
    EXPECT_EQ(ofMore->outcome(), Outcome::LinkLost);
    EXPECT_FALSE(device.isOpen());
}

TEST_F(ClientLink, IsLostWhenAMessageIsTooLong)
{
    settings.limits.messageSize = 1000;
    start();
    sendRead();
    device.deliver(QByteArray(2000, 'a'));
    expectLost("a message is too long");
    EXPECT_FALSE(device.isOpen());
}

TEST_F(ClientLink, IsLostInsideOfAMessage)
{
    sendRead();
    device.deliver("1,k");
    Q_EMIT device.readChannelFinished();
    expectLost("the stream ended inside a message");
}

class ImpatientClient : public Client
{
public:
    using Client::Client;

protected:
    std::unique_ptr<Framing> makeFraming() const override
    {
        return std::make_unique<LineFraming>(1000, milliseconds(30));
    }
};

TEST_F(ClientLink, IsLostWhenTheRestOfAMessageDoesNotCome)
{
    client = std::make_unique<ImpatientClient>(settings);
    client->setDevice(&device);
    sendRead();
    device.deliver("1,k");
    expectLost("the rest of a message did not come in time");
}

TEST_F(ClientLink, TakesWhatHasComeBeforeItIsLost)
{
    for (const bool isClosed : {false, true}) {
        MemoryDevice other;
        MemoryPeer otherPeer(&other);
        client->setDevice(&other);
        reply = client->send(read.get());
        EXPECT_TRUE(waitUntil([&] { return !other.written.isEmpty(); }));
        otherPeer.answerAll();
        if (isClosed)
            other.close();
        else
            Q_EMIT other.errorOccurred(1);
        EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
        EXPECT_EQ(reply->outcome(), Outcome::Success);
    }
}

TEST_F(ClientLink, TakesAFrameThatIsFoundAtTheEnd)
{
    settings.forms = {Form::Linux};
    start();
    sendRead();
    // A beginning that announces 512 bytes, and in it the reply: 3 bytes.
    device.deliver(hex("55AA 00 09 00 FF 01 02 FFFF 00 00 1000 000A 0002"
                       "55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 A0 A1 A2 565A"));
    Q_EMIT device.readChannelFinished();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(read->data(), hex("A0A1A2"));
}

TEST_F(ClientLink, IsLostOnceWhereReadingEndsIt)
{
    sendRead();
    device.deliver("hello\n");
    device.onRead = [&] { Q_EMIT device.readChannelFinished(); };
    Q_EMIT device.errorOccurred(1);
    expectLost("the peer sends nothing more");
}

TEST_F(ClientLink, IsLostOnceWhereTheLastBytesAreAFault)
{
    settings.limits.messageSize = 1000;
    start();
    sendRead();
    device.deliver(QByteArray(2000, 'a'));
    Q_EMIT device.readChannelFinished();
    expectLost("a message is too long");
}

TEST_F(ClientLink, ReadsNothingWhereTheDeviceHasLess)
{
    sendRead();
    device.announced = 10;
    Q_EMIT device.readyRead();
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
}

TEST_F(ClientLink, GoesOnWithAnotherDevice)
{
    sendRead();
    MemoryDevice other;
    MemoryPeer otherPeer(&other);
    otherPeer.answerAtOnce();
    client->setDevice(&other);
    EXPECT_EQ(client->device(), &other);
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::LinkLost);
    EXPECT_EQ(reasons, QStringList(QStringLiteral("another device is used")));
    EXPECT_TRUE(device.isOpen());

    peer.answerAll(); // comes to nobody
    reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(client->engine().counters().unknown, 0U);
    client->setDevice(nullptr);
    EXPECT_EQ(client->device(), nullptr);
}

TEST_F(ClientLink, StaysWithADeviceThatASlotOfTheFirstOneHasBrought)
{
    MemoryDevice other;
    MemoryPeer otherPeer(&other);
    device.onWritten = [&] {
        client->setDevice(&other);
        EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
    };
    reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::LinkLost);
    EXPECT_EQ(client->device(), &other);
    otherPeer.answerAtOnce();
    EXPECT_EQ(client->exchange(read.get(), milliseconds(5000)).outcome, Outcome::Success);
}

TEST_F(ClientLink, EndsWhereTheClientIsDeletedByASlotOfTheDevice)
{
    device.onWritten = [&] { client.reset(); };
    client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !client; }));
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackDisConnect);
}

TEST_F(ClientLink, EndsWhereTheDeviceIsClosedWhileItIsWrittenTo)
{
    device.onWritten = [&] { device.close(); };
    reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::LinkLost);
}

// Connecting.

TEST_F(ClientLink, AsksAgainAfterAnOpenerThatRanOutOfMemory)
{
    int calls = 0;
    client->setOpener([&]() -> QIODevice * {
        if (++calls == 1)
            throw std::bad_alloc();
        return new MemoryDevice;
    });
    EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
    EXPECT_EQ(calls, 2);
}

TEST_F(ClientLink, SendsWhenTheDeviceIsConnected)
{
    MemoryDevice other(MemoryDevice::State::Connecting);
    MemoryPeer otherPeer(&other);
    otherPeer.answerAtOnce();
    client->setDevice(&other);
    reply = client->send(read.get());
    runFor(milliseconds(20));
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(client->engine().inFlight(), 0);
    other.connectNow();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
}

TEST_F(ClientLink, WaitsForADeviceThatCanOnlyBeRead)
{
    QObject::connect(client.get(), &Client::connected, [&] { reasons << QStringLiteral("wrong"); });
    device.close();
    device.open(QIODevice::ReadOnly);
    client->setDevice(&device);
    runFor(milliseconds(10));
    EXPECT_FALSE(client->isConnected());
}

TEST_F(ClientLink, GivesUpADeviceThatIsNotConnectedInTime)
{
    settings.connectTimeout = milliseconds(20);
    start();
    MemoryDevice other(MemoryDevice::State::Connecting);
    client->setDevice(&other);
    QObject::connect(client.get(), &Client::disconnected,
                     [this](const QString &reason) { reasons << reason; });
    reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return reasons.size() == 1 && !client->device(); }));
    EXPECT_EQ(reasons.last(), QStringLiteral("the device was not connected in time"));
    EXPECT_FALSE(reply->isFinished()); // nothing was sent: it waits for the next one
}

// Opening.

/// A client whose devices are made by the test.
class ClientOpener : public ClientLink
{
protected:
    ClientOpener()
    {
        settings.reconnectPause = milliseconds(20);
        settings.longestReconnectPause = milliseconds(50);
        client = std::make_unique<Client>(settings);
        QObject::connect(client.get(), &Client::disconnected,
                         [this](const QString &reason) { reasons << reason; });
        clock.start();
    }

    void openDevices(MemoryDevice::State state)
    {
        client->setOpener([this, state] {
            opened = new MemoryDevice(state);
            times.push_back(clock.elapsed());
            return opened.data();
        });
    }

    bool waitForOpenings(std::size_t count)
    {
        return waitUntil([&] { return times.size() >= count; });
    }

    QPointer<MemoryDevice> opened;
    std::vector<qint64> times; ///< When devices were opened.
    QElapsedTimer clock;
};

TEST_F(ClientOpener, OpensADeviceFromTheEventLoop)
{
    openDevices(MemoryDevice::State::Open);
    EXPECT_TRUE(times.empty());
    EXPECT_TRUE(waitForOpenings(1));
    EXPECT_EQ(client->device(), opened);
    reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !opened->written.isEmpty(); }));
    MemoryPeer(opened).answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    client.reset();
    EXPECT_EQ(opened, nullptr);
}

TEST_F(ClientOpener, ReconnectsWithAGrowingPause)
{
    openDevices(MemoryDevice::State::Open);
    for (std::size_t i = 1; i <= 4; ++i) {
        ASSERT_TRUE(waitForOpenings(i));
        EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
        const QPointer<MemoryDevice> lost = opened;
        opened->close();
        EXPECT_TRUE(waitUntil([&] { return !lost; }));
    }
    ASSERT_TRUE(waitForOpenings(5));
    EXPECT_GE(times[1] - times[0], 20);
    EXPECT_GE(times[2] - times[1], 40);
    EXPECT_GE(times[3] - times[2], 50);
    EXPECT_GE(times[4] - times[3], 50);
    EXPECT_LT(times[4], 5000);
    EXPECT_EQ(reasons.size(), 4);
}

TEST_F(ClientOpener, BeginsWithTheShortestPauseAgainWhenItHasReceivedSomething)
{
    settings.reconnectPause = milliseconds(1);
    settings.longestReconnectPause = std::chrono::hours(1);
    client = std::make_unique<Client>(settings);
    openDevices(MemoryDevice::State::Open);
    for (std::size_t i = 1; i <= 40; ++i) { // 2 to the power of 39 milliseconds else
        ASSERT_TRUE(waitForOpenings(i));
        EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
        opened->deliver("1,k\n");
        opened->close();
    }
}

TEST_F(ClientOpener, PausesAtLeastAMillisecondAndMoreEachTime)
{
    for (const milliseconds pause : {milliseconds(0), milliseconds::min()}) {
        int tries = 0;
        settings.reconnectPause = pause;
        settings.longestReconnectPause = milliseconds::max();
        settings.connectTimeout = milliseconds::max();
        client = std::make_unique<Client>(settings);
        client->setOpener([&]() -> QIODevice * {
            ++tries;
            return nullptr;
        });
        runFor(milliseconds(100));
        EXPECT_GE(tries, 2);
        EXPECT_LE(tries, 7) << "after 1, 2, 4, 8, 16 and 32 ms";
    }
}

TEST_F(ClientOpener, PausesNoLongerThanTheLongestPause)
{
    int tries = 0;
    settings.reconnectPause = std::chrono::hours(1);
    settings.longestReconnectPause = milliseconds(1);
    client = std::make_unique<Client>(settings);
    client->setOpener([&]() -> QIODevice * {
        ++tries;
        return nullptr;
    });
    EXPECT_TRUE(waitUntil([&] { return tries >= 3; }));
}

TEST_F(ClientOpener, GivesADeviceAYearAtMostToConnect)
{
    settings.connectTimeout = milliseconds::max();
    client = std::make_unique<Client>(settings);
    openDevices(MemoryDevice::State::Connecting);
    EXPECT_TRUE(waitForOpenings(1));
    runFor(milliseconds(20));
    EXPECT_EQ(client->device(), opened) << "it is not given up";
    EXPECT_EQ(times.size(), 1U);
}

TEST_F(ClientOpener, TriesAgainWhereThereIsNoDevice)
{
    int tries = 0;
    client->setOpener([&]() -> QIODevice * {
        ++tries;
        return tries < 3 ? nullptr : opened = new MemoryDevice;
    });
    reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return opened && !opened->written.isEmpty(); }));
    EXPECT_EQ(reasons.size(), 2);
    EXPECT_EQ(reasons.last(), QStringLiteral("the device cannot be opened"));
    MemoryPeer(opened).answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
}

TEST_F(ClientOpener, TriesAgainWhereConnectingFails)
{
    openDevices(MemoryDevice::State::Connecting);
    reply = client->send(read.get());
    ASSERT_TRUE(waitForOpenings(1));
    Q_EMIT opened->errorOccurred(0);
    ASSERT_TRUE(waitForOpenings(2));
    EXPECT_FALSE(reply->isFinished());
    opened->connectNow();
    EXPECT_TRUE(waitUntil([&] { return !opened->written.isEmpty(); }));
}

TEST_F(ClientOpener, ReconnectsAfterAFault)
{
    openDevices(MemoryDevice::State::Open);
    ASSERT_TRUE(waitForOpenings(1));
    EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
    opened->deliver(QByteArray(settings.limits.messageSize + 1000, 'a'));
    ASSERT_TRUE(waitForOpenings(2));
    EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
    MemoryPeer second(opened);
    second.answerAtOnce();
    EXPECT_EQ(client->exchange(read.get(), milliseconds(5000)).outcome, Outcome::Success);
}

TEST_F(ClientOpener, OpensNothingMoreForADeviceThatIsHandedOver)
{
    client->setOpener([this]() -> QIODevice * {
        times.push_back(0);
        return nullptr;
    });
    ASSERT_TRUE(waitForOpenings(1));
    client->setDevice(&device);
    const std::size_t openings = times.size();
    EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
    device.close();
    runFor(milliseconds(60));
    EXPECT_EQ(times.size(), openings);
    EXPECT_EQ(client->device(), nullptr);
}

TEST_F(ClientOpener, OpensNothingWithoutAFunction)
{
    client->setOpener({});
    runFor(milliseconds(10));
    EXPECT_TRUE(reasons.isEmpty());
    EXPECT_EQ(client->device(), nullptr);
}

} // namespace
