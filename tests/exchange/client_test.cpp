// A client on a device in memory: what is sent, told, repeated, given up, and what slots may do.

#include "clientsupport.h"

namespace {

using std::chrono::milliseconds;

/// A client on a device whose other end is the test.
class ClientTest : public testing::Test
{
protected:
    ClientTest() { start(); }

    void start()
    {
        client = std::make_unique<Client>(settings);
        client->setDevice(&device);
    }

    ClientSettings settings;
    MemoryDevice device;
    MemoryPeer peer{&device};
    std::unique_ptr<Client> client;
};

TEST_F(ClientTest, AnswersARequest)
{
    const auto read = makeRead(0x0A000010, 3);
    Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_EQ(QString::fromUtf8(device.written),
              QStringLiteral("1,k,1,0,255,2,65535,2560,16,0,read,9,tag,ok,ok,3,data\n"));
    EXPECT_FALSE(reply->isFinished());
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(read->data(), dataAt(0x0A000010, 3));
}

} // namespace
