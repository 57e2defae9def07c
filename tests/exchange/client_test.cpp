// A client on a device in memory: what is sent and told, and how requests end.

#include "clientsupport.h"

#include <korvinexchange/linuxframing.h>
#include <korvinexchange/packagetimerout.h>

#include <QtCore/QStringList>
#include <QtCore/QThread>

namespace {

using KORVIN_LINUX_CLIENT::PackageTimerOut;
using std::chrono::milliseconds;

constexpr quint32 Register = 0x0A000010;

TEST_F(ClientTest, AnswersARequest)
{
    const auto read = makeRead(Register, 3);
    const Reply *reply = client->send(read.get());
    EXPECT_EQ(reply->id(), 1U);
    EXPECT_EQ(reply->package(), read.get());
    EXPECT_EQ(reply->parent(), client.get());
    EXPECT_FALSE(reply->isFinished());
    EXPECT_EQ(read->getCommResult(), OrvexEnum::CommPending);

    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_TRUE(client->isConnected());
    EXPECT_EQ(client->device(), &device);
    EXPECT_EQ(QString::fromUtf8(device.written),
              QStringLiteral("1,k,1,0,255,2,65535,2560,16,0,read,9,tag,ok,ok,3,data\n"));
    EXPECT_EQ(read->getSerialNum(), 77U);

    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(reply->result().id, 1U);
    EXPECT_EQ(reply->result().package, read.get());
    EXPECT_EQ(reply->result().attempts, 1);
    EXPECT_EQ(read->data(), dataAt(Register, 3));
    EXPECT_EQ(client->engine().counters().answered, 1U);
}

TEST_F(ClientTest, TellsOfBothEndsFromTheEventLoop)
{
    peer.answerAtOnce();
    const auto read = makeRead(Register, 3);
    QObject::connect(client.get(), &Client::connected, [&] { log << QStringLiteral("connected"); });
    logSignals(*read);
    Reply *reply = client->send(read.get());
    QObject::connect(reply, &Reply::finished, [&] {
        EXPECT_TRUE(reply->isFinished());
        log << QStringLiteral("finished");
    });
    EXPECT_EQ(log, QStringList());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("connected begin complete finished"));
}

TEST_F(ClientTest, TellsOfTheBeginningOnce)
{
    settings.timeout = milliseconds(20);
    settings.retry.pause = milliseconds(1);
    start();
    const auto read = makeRead(Register, 3);
    logSignals(*read);
    const Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::TimedOut);
    EXPECT_EQ(peer.takeRequests().size(), 3U);
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin complete"));
}

TEST_F(ClientTest, TellsOfFailure)
{
    const auto read = makeRead(Register, 3);
    const Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    peer.answerAll(failing(3, OrvexEnum::CommOk, OrvexEnum::PackTimeOut));
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Failure);
    EXPECT_EQ(read->getAckCode(), 3U);
}

TEST_F(ClientTest, ShowsTheTimeThatIsLeft)
{
    settings.timeout = milliseconds(60000);
    start();
    const auto read = makeRead(Register, 3);
    EXPECT_EQ(read->getTimeOutTimer(), nullptr);
    const Reply *reply = client->send(read.get());
    EXPECT_EQ(read->getTimeOutTimer(), nullptr);
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    const PackageTimerOut *timer = read->getTimeOutTimer();
    ASSERT_NE(timer, nullptr);
    EXPECT_FALSE(timer->hasExpired());
    EXPECT_GT(timer->remainingTime(), 50000);
    EXPECT_LE(timer->remainingTime(), 60000);
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(read->getTimeOutTimer(), nullptr);
}

TEST_F(ClientTest, BeginsTheTimeAnewForEachAttempt)
{
    settings.timeout = milliseconds(100);
    settings.retry.pause = milliseconds(1);
    start();
    const auto read = makeRead(Register, 3);
    client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return client->engine().counters().repeated == 1; }));
    EXPECT_GT(read->getTimeOutTimer()->remainingTime(), 50);
}

TEST_F(ClientTest, LeavesATimerOfTheCallerAlone)
{
    PackageTimerOut own(milliseconds(1));
    const auto read = makeRead(Register, 3);
    read->setTimeOutTimer(&own);
    client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_EQ(read->getTimeOutTimer(), &own);
    client.reset();
    EXPECT_EQ(read->getTimeOutTimer(), &own);
}

TEST_F(ClientTest, LeavesATimerAloneThatTheCallerHasSetMeanwhile)
{
    PackageTimerOut own(milliseconds(1));
    const auto read = makeRead(Register, 3);
    client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    read->setTimeOutTimer(&own);
    client.reset();
    EXPECT_EQ(read->getTimeOutTimer(), &own);
}

TEST_F(ClientTest, TellsLaterThatARequestIsRefusedAtOnce)
{
    settings.limits.queued = 1;
    start();
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register, 3);
    logSignals(*second);
    client->send(first.get());
    Reply *reply = client->send(second.get());
    EXPECT_EQ(reply->id(), 0U);
    EXPECT_FALSE(reply->isFinished());
    reply->abort();
    EXPECT_TRUE(log.isEmpty());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Refused);
    EXPECT_EQ(reply->result().sendError, SendError::QueueFull);
    EXPECT_EQ(reply->result().package, second.get());
    EXPECT_EQ(second->getPackResult(), OrvexEnum::PackSendError);
    EXPECT_EQ(log, QStringList(QStringLiteral("complete")));
}

TEST_F(ClientTest, TellsThePackageOfARefusalWhoseReplyIsGone)
{
    settings.limits.queued = 1;
    start();
    const auto first = makeRead(Register, 3);
    auto second = makeRead(Register, 3);
    const auto third = makeRead(Register, 3);
    logSignals(*third);
    client->send(first.get());
    const Reply *ofGone = client->send(second.get());
    delete client->send(third.get());
    second.reset();
    EXPECT_TRUE(waitUntil([&] { return !log.isEmpty(); }));
    EXPECT_EQ(log, QStringList(QStringLiteral("complete")));
    EXPECT_EQ(ofGone->outcome(), Outcome::Refused);
    EXPECT_EQ(ofGone->package(), nullptr);
}

TEST_F(ClientTest, RefusesWhatItsFramingCannotCarry)
{
    const auto withLineFeed = makeRead(Register, 3, "a\nb");
    const auto after = makeRead(Register, 3);
    const Reply *refused = client->send(withLineFeed.get());
    client->send(after.get());
    EXPECT_TRUE(waitUntil([&] { return refused->isFinished(); }));
    EXPECT_EQ(refused->outcome(), Outcome::Refused);
    EXPECT_EQ(refused->result().sendError, SendError::NotCarried);
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_EQ(peer.takeRequests().size(), 1U);
}

TEST_F(ClientTest, SendsACombination)
{
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register + 8, 2);
    logSignals(*first);
    logSignals(*second);
    const std::vector<Reply *> replies = client->sendCombination({first.get(), second.get()});
    ASSERT_EQ(replies.size(), 2U);
    EXPECT_EQ(replies[0]->id() + 1, replies[1]->id());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin begin"));
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return replies[0]->isFinished() && replies[1]->isFinished(); }));
    EXPECT_EQ(replies[0]->outcome(), Outcome::Success);
    EXPECT_EQ(replies[1]->outcome(), Outcome::Success);
    EXPECT_EQ(second->data(), dataAt(Register + 8, 2));
}

TEST_F(ClientTest, SendsWhatIsLeftOfACombination)
{
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register + 8, 2);
    const auto third = makeRead(Register + 16, 2);
    logSignals(*first);
    logSignals(*second);
    logSignals(*third);
    const std::vector<Reply *> replies =
        client->sendCombination({first.get(), second.get(), third.get()});
    replies[0]->abort();
    delete replies[1];
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("complete complete begin"));
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return replies[2]->isFinished(); }));
    EXPECT_EQ(replies[0]->outcome(), Outcome::Cancelled);
    EXPECT_EQ(replies[2]->outcome(), Outcome::Success);
}

TEST_F(ClientTest, BeginsNothingThatASlotOfTheSameCombinationHasDeleted)
{
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register + 8, 2);
    auto third = makeRead(Register + 16, 2);
    logSignals(*second);
    logSignals(*third);
    std::vector<Reply *> replies =
        client->sendCombination({first.get(), second.get(), third.get()});
    QObject::connect(first.get(), &PackageBase::BeginRequestEvent, [&] {
        delete replies[1];
        third.reset();
    });
    EXPECT_TRUE(waitUntil([&] { return !log.isEmpty() && !device.written.isEmpty(); }));
    EXPECT_EQ(log, QStringList(QStringLiteral("complete")));
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return replies[2]->isFinished(); }));
    EXPECT_EQ(replies[0]->outcome(), Outcome::Success);
    EXPECT_EQ(replies[2]->outcome(), Outcome::Cancelled);
}

TEST_F(ClientTest, RefusesACombinationThatIsTooLarge)
{
    settings.limits.inFlight = 1;
    start();
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register, 3);
    const std::vector<Reply *> replies = client->sendCombination({first.get(), second.get()});
    ASSERT_EQ(replies.size(), 2U);
    EXPECT_TRUE(waitUntil([&] { return replies[1]->isFinished(); }));
    EXPECT_EQ(replies[0]->result().sendError, SendError::TooManyItems);
    EXPECT_EQ(replies[1]->result().sendError, SendError::TooManyItems);
    EXPECT_TRUE(client->sendCombination({}).empty());
}

TEST_F(ClientTest, DoesATransfer)
{
    peer.answerAtOnce();
    const auto read = makeRead(Register, 5000);
    logSignals(*read);
    Reply *reply = client->start(Transfer::readData(read.get()));
    std::vector<std::pair<qint64, qint64>> progress;
    QObject::connect(reply, &Reply::progress,
                     [&](qint64 done, qint64 total) { progress.emplace_back(done, total); });
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(reply->result().data, dataAt(Register, 5000));
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin complete"));
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.back(), std::make_pair(qint64(5000), qint64(5000)));
}

TEST_F(ClientTest, TellsNobodyOfTheProgressWhenTheReplyIsGone)
{
    const auto first = makeRead(Register, 3);
    const auto whole = makeRead(Register, 50000);
    logSignals(*whole);
    const Reply *ofFirst = client->send(first.get());
    const Reply *ofWhole = client->start(Transfer::readData(whole.get()));
    QObject::connect(ofFirst, &Reply::finished, [&] { delete ofWhole; });
    EXPECT_TRUE(waitUntil([&] { return device.written.count('\n') > 1; }));
    peer.answerAll(); // all of it at once
    EXPECT_TRUE(waitUntil([&] { return log.size() == 2; }));
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin complete"));
    EXPECT_EQ(whole->getPackResult(), OrvexEnum::PackForceCancel);
}

TEST_F(ClientTest, RefusesATransferThatItsFramingCannotCarry)
{
    const auto read = makeRead(Register, 5000, "a\nb");
    const Reply *reply = client->start(Transfer::readData(read.get()));
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Refused);
    EXPECT_EQ(reply->result().sendError, SendError::NotCarried);
    EXPECT_EQ(reply->result().failedOffset, 0);
}

TEST_F(ClientTest, Aborts)
{
    const auto read = makeRead(Register, 3);
    Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    reply->abort();
    EXPECT_FALSE(reply->isFinished());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Cancelled);
    reply->abort(); // it is over
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return client->engine().counters().late == 1; }));
    EXPECT_EQ(read->data(), QByteArray());
}

TEST_F(ClientTest, AbortsWhatLosesItsReply)
{
    const auto read = makeRead(Register, 3);
    logSignals(*read);
    Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    delete reply;
    EXPECT_EQ(read->getTimeOutTimer(), nullptr);
    EXPECT_TRUE(waitUntil([&] { return log.size() == 2; }));
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin complete"));
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackForceCancel);
}

TEST_F(ClientTest, CancelsWhatLosesItsPackage)
{
    auto unsent = makeRead(Register, 3);
    const Reply *ofUnsent = client->send(unsent.get());
    unsent.reset();
    auto sent = makeRead(Register, 3);
    const Reply *ofSent = client->send(sent.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    sent.reset();
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return ofSent->isFinished(); }));
    EXPECT_EQ(ofUnsent->outcome(), Outcome::Cancelled);
    EXPECT_EQ(ofSent->outcome(), Outcome::Cancelled);
    EXPECT_EQ(ofSent->result().package, nullptr);
}

TEST_F(ClientTest, SendsNothingOfATransferThatHasLostItsPackage)
{
    auto read = makeRead(Register, 3);
    const Reply *reply = client->start(Transfer::readData(read.get()));
    read.reset();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Cancelled);
    EXPECT_EQ(reply->result().package, nullptr);
    EXPECT_TRUE(device.written.isEmpty());
}

TEST_F(ClientTest, TakesWhatHasComeBeforeItsTimeOutWasLookedAt)
{
    settings.timeout = milliseconds(50);
    settings.retry.attempts = 1;
    start();
    const auto read = makeRead(Register, 3);
    const Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    peer.answerAll();
    QThread::msleep(100); // the program is busy
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
}

TEST_F(ClientTest, TracesMessages)
{
    class Kept : public Trace
    {
    public:
        void add(const TraceEntry &entry) override { events.push_back(entry.event); }
        std::vector<TraceEvent> events;
    };
    Kept kept;
    client->setTrace(&kept);
    peer.answerAtOnce();
    const auto read = makeRead(Register, 3);
    client->exchange(read.get(), milliseconds(5000));
    EXPECT_EQ(kept.events, std::vector({TraceEvent::Sent, TraceEvent::Answered}));
}

// Many at once.

TEST_F(ClientTest, AnswersMoreThanItTellsOfAtOnce)
{
    peer.answerAtOnce();
    std::vector<std::unique_ptr<PackageRequestReadData>> reads;
    int finished = 0;
    for (quint32 i = 0; i < 600; ++i) {
        reads.push_back(makeRead(i, 2));
        const Reply *reply = client->send(reads.back().get());
        QObject::connect(reply, &Reply::finished,
                         [&, reply] { finished += reply->outcome() == Outcome::Success ? 1 : 0; });
    }
    EXPECT_TRUE(waitUntil([&] { return finished == 600; }));
    for (quint32 i = 0; i < 600; ++i)
        EXPECT_EQ(reads[i]->data(), dataAt(i, 2));
}

TEST_F(ClientTest, SendsNothingWhileTheDeviceHasEnoughToWrite)
{
    device.waiting = settings.bytesToWrite;
    const auto read = makeRead(Register, 3);
    const Reply *reply = client->send(read.get());
    runFor(milliseconds(20));
    EXPECT_EQ(device.written, QByteArray());
    EXPECT_EQ(client->engine().inFlight(), 0);
    device.waiting = settings.bytesToWrite - 1;
    Q_EMIT device.bytesWritten(1);
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
}

TEST_F(ClientTest, WritesOnWhereTheDeviceTakesAPart)
{
    device.mostWritten = 7;
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register, 4);
    client->send(first.get());
    client->send(second.get());
    EXPECT_TRUE(waitUntil([&] { return device.written.count('\n') == 2; }));
    EXPECT_EQ(peer.takeRequests().size(), 2U);
}

TEST_F(ClientTest, WaitsWhereTheDeviceTakesNothing)
{
    device.mostWritten = 0;
    int writes = 0;
    device.onWritten = [&] { ++writes; };
    const auto read = makeRead(Register, 3);
    client->send(read.get());
    runFor(milliseconds(20));
    EXPECT_EQ(writes, 1);
    device.mostWritten = 1000;
    Q_EMIT device.bytesWritten(0);
    EXPECT_TRUE(waitUntil([&] { return device.written.endsWith('\n'); }));
    EXPECT_EQ(peer.takeRequests().size(), 1U);
}

// One after the other.

TEST_F(ClientTest, ExchangesWithoutAnEventLoop)
{
    peer.answerAtOnce();
    const auto read = makeRead(Register, 3);
    const Event event = client->exchange(read.get(), milliseconds(5000));
    EXPECT_EQ(event.outcome, Outcome::Success);
    EXPECT_EQ(event.package, read.get());
    EXPECT_EQ(read->data(), dataAt(Register, 3));
    EXPECT_TRUE(client->findChildren<Reply *>().isEmpty());

    const auto whole = makeRead(Register, 5000);
    EXPECT_EQ(client->exchange(Transfer::readData(whole.get()), milliseconds(5000)).outcome,
              Outcome::Success);
    EXPECT_EQ(whole->data(), dataAt(Register, 5000));
}

TEST_F(ClientTest, ExchangesUntilTheDeadline)
{
    const auto read = makeRead(Register, 3);
    logSignals(*read);
    EXPECT_EQ(client->exchange(read.get(), milliseconds(20)).outcome, Outcome::Cancelled);
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackForceCancel);
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin complete"));
}

TEST_F(ClientTest, ExchangesWhatIsRefused)
{
    settings.limits.announcedData = 2;
    start();
    const auto read = makeRead(Register, 3);
    const Event event = client->exchange(read.get(), milliseconds(5000));
    EXPECT_EQ(event.outcome, Outcome::Refused);
    EXPECT_EQ(event.sendError, SendError::TooMuchData);
}

TEST_F(ClientTest, ExchangesInsideOfASlot)
{
    peer.answerAtOnce();
    const auto outer = makeRead(Register, 3);
    const auto inner = makeRead(Register + 1, 3);
    Outcome ofInner = Outcome::Refused;
    const Reply *reply = client->send(outer.get());
    QObject::connect(reply, &Reply::finished,
                     [&] { ofInner = client->exchange(inner.get(), milliseconds(5000)).outcome; });
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(ofInner, Outcome::Success);
    EXPECT_EQ(inner->data(), dataAt(Register + 1, 3));
}

TEST_F(ClientTest, EndsToExchangeWhereTheReplyIsDeleted)
{
    const auto read = makeRead(Register, 3);
    QObject::connect(read.get(), &PackageBase::BeginRequestEvent,
                     [&] { delete client->findChild<Reply *>(); });
    EXPECT_EQ(client->exchange(read.get(), milliseconds(5000)).outcome, Outcome::Cancelled);
}

TEST_F(ClientTest, EndsToExchangeWhereTheClientIsDeleted)
{
    const auto read = makeRead(Register, 3);
    QObject::connect(read.get(), &PackageBase::BeginRequestEvent, [&] { client.reset(); });
    EXPECT_EQ(client->exchange(read.get(), milliseconds(5000)).outcome, Outcome::LinkLost);
}

TEST_F(ClientTest, EndsToExchangeWhereTheClientIsDeletedAtTheDeadline)
{
    const auto read = makeRead(Register, 3);
    QObject::connect(read.get(), &PackageBase::CompleteRequestEvent, [&] { client.reset(); });
    EXPECT_EQ(client->exchange(read.get(), milliseconds(20)).outcome, Outcome::Cancelled);
    EXPECT_EQ(client, nullptr);
}

TEST_F(ClientTest, WaitsForAReply)
{
    const auto read = makeRead(Register, 3);
    Reply *reply = client->send(read.get());
    EXPECT_FALSE(reply->waitForFinished(milliseconds(10)));
    peer.answerAll();
    EXPECT_TRUE(reply->waitForFinished(milliseconds(5000)));
    EXPECT_TRUE(reply->waitForFinished(milliseconds(0)));
}

TEST_F(ClientTest, EndsToWaitAtTheDeadlineOfEach)
{
    const auto outer = makeRead(Register, 3);
    const auto inner = makeRead(Register, 3);
    Outcome ofInner = Outcome::Success;
    QObject::connect(outer.get(), &PackageBase::BeginRequestEvent,
                     [&] { ofInner = client->exchange(inner.get(), milliseconds(60)).outcome; });
    EXPECT_EQ(client->exchange(outer.get(), milliseconds(20)).outcome, Outcome::Cancelled);
    EXPECT_EQ(ofInner, Outcome::Cancelled);
}

// What slots may do.

/// What a slot of each signal deletes.
struct Deletion
{
    const char *name;
    std::function<void(Client *, PackageBase *, Reply *, const std::function<void()> &)> connect;
};

void PrintTo(const Deletion &deletion, std::ostream *out)
{
    *out << deletion.name;
}

const Deletion Deletions[] = {
    {"connected",
     [](Client *client, PackageBase *, Reply *, const std::function<void()> &slot) {
         QObject::connect(client, &Client::connected, slot);
     }},
    {"disconnected",
     [](Client *client, PackageBase *, Reply *, const std::function<void()> &slot) {
         QObject::connect(client, &Client::disconnected, slot);
     }},
    {"BeginRequestEvent",
     [](Client *, PackageBase *package, Reply *, const std::function<void()> &slot) {
         QObject::connect(package, &PackageBase::BeginRequestEvent, slot);
     }},
    {"CompleteRequestEvent",
     [](Client *, PackageBase *package, Reply *, const std::function<void()> &slot) {
         QObject::connect(package, &PackageBase::CompleteRequestEvent, slot);
     }},
    {"progress",
     [](Client *, PackageBase *, Reply *reply, const std::function<void()> &slot) {
         QObject::connect(reply, &Reply::progress, slot);
     }},
    {"finished",
     [](Client *, PackageBase *, Reply *reply, const std::function<void()> &slot) {
         QObject::connect(reply, &Reply::finished, slot);
     }},
};

class ClientSlots : public ClientTest, public testing::WithParamInterface<Deletion>
{
protected:
    /// Does a transfer, then closes the device. @p slot is called by the first signal of the kind.
    void play(const std::function<void()> &slot)
    {
        package = makeRead(Register, 3000);
        reply = client->start(Transfer::readData(package.get()));
        GetParam().connect(client.get(), package.get(), reply, [this, slot] {
            if (!std::exchange(m_isCalled, true))
                slot();
        });
        waitUntil([&] { return m_isCalled || !device.written.isEmpty(); });
        for (int round = 0; round < 3 && !m_isCalled; ++round) {
            peer.answerAll();
            runFor(milliseconds(1));
        }
        device.close();
        EXPECT_TRUE(waitUntil([&] { return m_isCalled; }));
        runFor(milliseconds(1));
    }

    std::unique_ptr<PackageRequestReadData> package;
    QPointer<Reply> reply;

private:
    bool m_isCalled = false;
};

TEST_P(ClientSlots, DeleteTheClient)
{
    play([&] { client.reset(); });
    EXPECT_EQ(client, nullptr);
    EXPECT_EQ(reply, nullptr);
}

TEST_P(ClientSlots, DeleteTheReply)
{
    play([&] { delete reply; });
    EXPECT_EQ(reply, nullptr);
    EXPECT_EQ(client->engine().queued(), 0);
}

TEST_P(ClientSlots, DeleteThePackage)
{
    play([&] { package.reset(); });
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(reply->isFinished());
}

TEST_P(ClientSlots, DeleteAllOfThem)
{
    play([&] {
        delete reply;
        package.reset();
        client.reset();
    });
    EXPECT_EQ(client, nullptr);
}

TEST_P(ClientSlots, SendMore)
{
    const auto more = makeRead(Register + 1, 4);
    QPointer<Reply> ofMore;
    play([&] { ofMore = client->send(more.get()); });
    ASSERT_NE(ofMore, nullptr);
    MemoryDevice next;
    MemoryPeer nextPeer(&next);
    nextPeer.answerAtOnce();
    client->setDevice(&next);
    EXPECT_TRUE(ofMore->waitForFinished(milliseconds(5000)));
    EXPECT_TRUE(ofMore->outcome() == Outcome::Success || ofMore->outcome() == Outcome::LinkLost);
}

TEST_P(ClientSlots, TakeTheDeviceAway)
{
    play([&] { client->setDevice(nullptr); });
    EXPECT_FALSE(client->isConnected());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished() || client->engine().queued() > 0; }));
}

INSTANTIATE_TEST_SUITE_P(All, ClientSlots, testing::ValuesIn(Deletions));

TEST_F(ClientTest, AnnouncesMoreRefusalsThanItDoesAtOnce)
{
    settings.limits.inFlight = 1;
    start();
    const auto first = makeRead(Register, 3);
    const auto second = makeRead(Register, 3);
    std::vector<Reply *> replies;
    for (int i = 0; i < 150; ++i) {
        for (Reply *refused : client->sendCombination({first.get(), second.get()}))
            replies.push_back(refused);
    }
    ASSERT_EQ(replies.size(), 300U);
    for (Reply *refused : replies) {
        EXPECT_TRUE(refused->waitForFinished(milliseconds(5000)));
        EXPECT_EQ(refused->result().sendError, SendError::TooManyItems);
    }
}

TEST_F(ClientTest, EndsWhatIsUnderWayWhenItIsDeleted)
{
    settings.limits.queued = 1;
    start();
    const auto sent = makeRead(Register, 3);
    const auto waiting = makeRead(Register, 3);
    const auto refused = makeRead(Register, 3);
    const QPointer<Reply> ofSent = client->send(sent.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    client->send(waiting.get());
    client->send(refused.get());
    logSignals(*sent);
    logSignals(*waiting);
    logSignals(*refused);
    const auto more = makeRead(Register, 3);
    QObject::connect(ofSent, &Reply::finished, [&] {
        EXPECT_EQ(client->send(more.get()), nullptr);
        EXPECT_EQ(client->start(Transfer::readData(more.get())), nullptr);
        EXPECT_EQ(client->send(waiting.get()), nullptr) << "it is announced next, as it is";
        EXPECT_EQ(client->exchange(more.get(), milliseconds(5000)).outcome, Outcome::Refused);
        for (Reply *other : client->findChildren<Reply *>())
            other->abort();
    });
    delete client.get(); // which slots use until it is gone
    EXPECT_EQ(log.size(), 3);
    EXPECT_EQ(sent->getPackResult(), OrvexEnum::PackDisConnect);
    EXPECT_EQ(waiting->getPackResult(), OrvexEnum::PackDisConnect);
    EXPECT_EQ(refused->getPackResult(), OrvexEnum::PackSendError);
    EXPECT_EQ(more->getPackResult(), OrvexEnum::PackSendError);
    EXPECT_EQ(ofSent, nullptr);
    EXPECT_TRUE(device.isOpen());
    client.release();
}

// Other peers.

class WrappingClient : public Client
{
public:
    using Client::Client;

protected:
    std::unique_ptr<Framing> makeFraming() const override
    {
        return std::make_unique<LineFraming>(100);
    }

    QByteArray wrap(const OutgoingMessage &message) const override
    {
        return className(message.shape.classId).toUtf8() + ' ' + message.bytes;
    }

    std::optional<IncomingMessage> unwrap(const QByteArray &bytes) const override
    {
        if (!bytes.startsWith("reply "))
            return {};
        return IncomingMessage{Form::Text, bytes.mid(6)};
    }
};

TEST_F(ClientTest, WrapsMessages)
{
    client = std::make_unique<WrappingClient>(settings);
    client->setDevice(&device);
    const auto read = makeRead(Register, 3);
    const Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    const QByteArray request = peer.takeRequests().at(0);
    EXPECT_TRUE(request.startsWith("PackageRequestReadData 1,k,"));
    device.deliver("hello\n");
    device.deliver("reply " + MemoryPeer::replyOf(request.mid(23)) + '\n');
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->outcome(), Outcome::Success);
    EXPECT_EQ(client->engine().counters().unknown, 0U);
}

TEST_F(ClientTest, FramesByTheFormOfItsSettings)
{
    const auto read = makeRead(Register, 3);
    const std::pair<Form, QByteArray> forms[] = {
        // The length of the frame; header, with the serial number 1; bytes to read, kind; length.
        {Form::Frame,
         hex("24000000 00 0100 6B 0300 746167 09000000 0100 00 FF 01 02 FFFF 00 00 1000 000A"
             "03000000 00 03000000")},
        {Form::Linux, hex("55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 7358")},
        {Form::Text, "1,k,1,0,255,2,65535,2560,16,0,read,9,tag,ok,ok,3,data\n"},
    };
    for (const auto &[form, expected] : forms) {
        device.written.clear();
        settings.forms = {form};
        start();
        client->send(read.get());
        EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
        EXPECT_EQ(device.written, expected);
    }
}

/// A client that shows its framing.
class FramedClient : public Client
{
public:
    using Client::Client;
    using Client::makeFraming;
};

TEST_F(ClientTest, WaitsForALinuxFrameAsLongAsForAReply)
{
    // At 9,600 baud, 2,068 bytes take 2.15 s.
    settings.forms = {Form::Linux};
    const auto read = makeRead(Register, 2048);
    QByteArray request;
    const MessageShape shape{ClassId::PackageRequestReadData, Form::Linux, Direction::Request};
    ASSERT_TRUE(encodePackage(*read, {Form::Linux, Direction::Request}, &request).isOk());
    const QByteArray reply = replyTo(request, shape);
    const auto lastTime = [&] {
        const auto framing = FramedClient(settings).makeFraming();
        framing->receive(reply.left(1), ms(0));
        return framing->nextTimeout().value_or(Time(0));
    };
    const auto framing = FramedClient(settings).makeFraming();
    std::vector<QByteArray> messages;
    for (int i = 0; i < reply.size(); ++i) {
        EXPECT_TRUE(messages.empty());
        messages = framing->receive(reply.mid(i, 1), std::chrono::microseconds(i * 1040));
    }
    EXPECT_EQ(messages, std::vector<QByteArray>{reply});
    EXPECT_EQ(lastTime(), ms(3000));
    settings.timeout = milliseconds(20000);
    EXPECT_EQ(lastTime(), ms(20000));
    settings.timeout = milliseconds(1001);
    EXPECT_EQ(lastTime(), ms(1001));
    // A late reply is still recognised.
    for (const int timeout : {1000, 1, -1}) {
        settings.timeout = milliseconds(timeout);
        EXPECT_EQ(lastTime(), ms(1000));
    }
}

TEST_F(ClientTest, TakesNoLinuxFrameAboveTheLimit)
{
    settings.forms = {Form::Linux};
    const QByteArray reply = hex("55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 A0 A1 A2 565A");
    for (const int size : {23, 22}) {
        settings.limits.messageSize = size;
        const auto framing = FramedClient(settings).makeFraming();
        EXPECT_EQ(framing->receive(reply, ms(0)).size(), size == 23 ? 1U : 0U);
        EXPECT_EQ(framing->buffered(), 0);
    }
}

TEST_F(ClientTest, RefusesAPackageThatIsUnderWay)
{
    const auto read = makeRead(Register, 3);
    const auto other = makeRead(Register, 3);
    logSignals(*read);
    const Reply *first = client->send(read.get());
    const Reply *second = client->send(read.get());
    const auto both = client->sendCombination({other.get(), read.get()});
    ASSERT_EQ(both.size(), 2U);
    EXPECT_TRUE(waitUntil([&] { return second->isFinished() && both[1]->isFinished(); }));
    EXPECT_EQ(second->outcome(), Outcome::Refused);
    EXPECT_EQ(second->result().sendError, SendError::TooManyItems);
    EXPECT_EQ(second->package(), read.get());
    EXPECT_EQ(read->getCommResult(), OrvexEnum::CommPending);
    EXPECT_TRUE(waitUntil([&] { return !device.written.isEmpty(); }));
    EXPECT_EQ(log, QStringList(QStringLiteral("begin"))) << "its request has not ended";
    EXPECT_EQ(other->getPackResult(), OrvexEnum::PackSendError);
    peer.answerAll();
    EXPECT_TRUE(waitUntil([&] { return first->isFinished(); }));
    EXPECT_EQ(first->outcome(), Outcome::Success);
    EXPECT_EQ(log.join(QLatin1Char(' ')), QStringLiteral("begin complete"));
}

TEST_F(ClientTest, WaitsAYearAtMost)
{
    peer.answerAtOnce();
    const auto read = makeRead(Register, 3);
    EXPECT_EQ(client->exchange(read.get(), milliseconds::max()).outcome, Outcome::Success);
    Reply *reply = client->send(read.get());
    EXPECT_FALSE(reply->waitForFinished(milliseconds::min()));
    EXPECT_TRUE(reply->waitForFinished(milliseconds::max()));
}

TEST_F(ClientTest, SaysWhyATransferCannotBe)
{
    const auto read = makeRead(0xFFFFFFFF, 2);
    const Event event = client->exchange(Transfer::readData(read.get()), milliseconds(5000));
    EXPECT_EQ(describe(event),
              QStringLiteral("refused at byte 0: no form of the peer carries it: lowAddr: "
                             "out of range: a register address of 0 to 0xFFFFFFFE expected, "
                             "0xFFFFFFFF found"));
}

TEST_F(ClientTest, RefusesAllWithoutAForm)
{
    settings.forms.clear();
    start();
    const auto read = makeRead(Register, 3);
    const Reply *reply = client->send(read.get());
    EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
    EXPECT_EQ(reply->result().sendError, SendError::NotCarried);
}

} // namespace
