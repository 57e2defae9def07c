// What becomes of a client where memory runs out.

#include "clientsupport.h"
#include "mallochook.h"

#include <limits>
#include <new>

namespace {

using std::chrono::milliseconds;

constexpr quint32 Register = 0x0A000010;

/// Lets the allocation fail that comes after so many, until it is destroyed.
class Shortage
{
public:
    explicit Shortage(int allocation) { failingAllocation = allocation; }
    ~Shortage() { end(); }

    /// Ends it.
    ///
    /// @return whether an allocation has failed.
    bool end()
    {
        const bool hasFailed = std::exchange(failingAllocation, -1) < 0;
        return m_isOver ? false : (m_isOver = true, hasFailed);
    }

private:
    bool m_isOver = false;
};

class ClientMemory : public ClientTest
{
protected:
    ClientMemory()
    {
        device.onWritten = [this] { // the peer has memory enough
            const int left = std::exchange(failingAllocation, -1);
            peer.answerAll();
            failingAllocation = left;
        };
    }

    /// Calls an operation with each of its allocations failing, and before and after with none:
    /// what is allocated only once would hide those that come after it.
    void forEachAllocation(const std::function<void()> &operation,
                           const std::function<void()> &check)
    {
        const auto attempt = [&](int allocation) {
            SCOPED_TRACE(allocation);
            device.close(); // a link that was lost before has closed it, too
            device.connectNow();
            start();
            EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
            Shortage shortage(allocation);
            operation();
            const bool hasFailed = shortage.end();
            check();
            return hasFailed;
        };
        attempt(std::numeric_limits<int>::max());
        for (int allocation = 0; attempt(allocation);)
            ++allocation;
    }

    std::unique_ptr<PackageRequestReadData> read = makeRead(Register, 3);
};

TEST_F(ClientMemory, SendsOrRefuses)
{
    Reply *reply = nullptr;
    forEachAllocation([&] { reply = client->send(read.get()); },
                      [&] {
                          if (!reply) {
                              EXPECT_EQ(read->getPackResult(), OrvexEnum::PackSendError);
                              return;
                          }
                          EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
                          if (reply->outcome() == Outcome::Refused)
                              EXPECT_EQ(reply->result().sendError, SendError::OutOfMemory);
                          else
                              EXPECT_EQ(reply->outcome(), Outcome::Success);
                      });
}

TEST_F(ClientMemory, Exchanges)
{
    Event event;
    forEachAllocation([&] { event = client->exchange(read.get(), milliseconds(500)); },
                      [&] { EXPECT_NE(read->getCommResult(), OrvexEnum::CommPending); });
    EXPECT_EQ(event.outcome, Outcome::Success);
}

TEST_F(ClientMemory, TakesADevice)
{
    MemoryDevice other;
    forEachAllocation([&] { client->setDevice(&other); },
                      [&] {
                          client->exchange(read.get(), milliseconds(1));
                          EXPECT_EQ(client->isConnected(), client->device() == &other);
                      });
    EXPECT_EQ(client->device(), &other);
}

TEST_F(ClientMemory, LetsADeviceGo)
{
    QPointer<MemoryDevice> opened;
    forEachAllocation(
        [&] {
            const int allocation = std::exchange(failingAllocation, -1);
            client->setOpener([&] { return opened = new MemoryDevice; });
            EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
            failingAllocation = allocation;
            opened->close();
        },
        [&] {
            client->send(read.get());
            EXPECT_TRUE(waitUntil([&] { return client->isConnected(); }));
            client.reset();
            EXPECT_EQ(opened, nullptr);
        });
}

TEST_F(ClientMemory, LosesADeviceWithSomethingToRead)
{
    forEachAllocation(
        [&] {
            const int allocation = std::exchange(failingAllocation, -1);
            device.deliver("1,2\n");
            failingAllocation = allocation;
            device.close();
        },
        [&] { EXPECT_FALSE(client->isConnected()); });
}

} // namespace
