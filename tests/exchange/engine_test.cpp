// The engine, call by call: when requests are sent, which reply is taken, and how each request
// ends.

#include "exchangesupport.h"

#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwriteip.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

namespace {

constexpr quint32 Register = 0x0A000010;

RequestOptions repeat(Repeat repeat)
{
    RequestOptions options;
    options.repeat = repeat;
    return options;
}

// One request.

/// A read of three bytes with serial number 1, and its reply.
struct ExchangeRow
{
    const char *name;
    Form form;
    const char *request; // hexadecimal digits, or a record
    const char *reply;
    const char *data;
};

void PrintTo(const ExchangeRow &row, std::ostream *out)
{
    *out << row.name;
}

#define HEADER " 0100 6B 0300 746167 09000000 0100 00 FF 01 02 FFFF 00 00 1000 000A "
#define COLUMNS "1,k,1,0,255,2,65535,2560,16,0,read,9,tag,"

const ExchangeRow ExchangeRows[] = {
    {"short reply frame", Form::Frame, "00" HEADER "03000000 00 03000000",
     "00 0100 00 01 00 03000000 A0 A1 A2", "A0 A1 A2"},
    {"full reply frame", Form::Frame, "00" HEADER "03000000 00 03000000",
     "01" HEADER "03000000 00 03000000 A0 A1 A2 00 00 01 00 00 00"
     "03000000 00 03000000 A0 A1 A2",
     "A0 A1 A2"},
    {"Linux frame", Form::Linux, "55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 7358",
     "55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 A0 A1 A2 565A", "A0 A1 A2"},
    {"record", Form::Text, COLUMNS "ok,ok,3,data", COLUMNS "ok,ok,0,3,data,3,160/161/162",
     "A0 A1 A2"},
};

class Exchanges : public EngineTest, public testing::WithParamInterface<ExchangeRow>
{
};

TEST_P(Exchanges, SendARequestAndTakeItsReply)
{
    const ExchangeRow &row = GetParam();
    const auto bytesOf = [&](const char *text) {
        return row.form == Form::Text ? QByteArray(text) : hex(text);
    };
    restart(row.form);
    now = ms(5);
    const auto read = makeRead(Register, 3);
    read->setData("old");
    read->setCommResult(OrvexEnum::CommTimeout);
    read->setPackResult(OrvexEnum::PackAbort);
    read->setAckCode(5);
    const RequestId id = send(*read);
    EXPECT_EQ(id, 1U);
    EXPECT_EQ(engine->queued(), 1);
    EXPECT_EQ(read->getCommResult(), OrvexEnum::CommPending);

    const OutgoingMessage message = take();
    EXPECT_EQ(message.request, id);
    EXPECT_EQ(message.attempt, 1);
    EXPECT_EQ(
        describe(message.shape),
        describe(MessageShape{ClassId::PackageRequestReadData, row.form, Direction::Request}));
    EXPECT_EQ(message.bytes, bytesOf(row.request));
    EXPECT_EQ(read->getSerialNum(), 77U) << "its own";
    EXPECT_EQ(read->getCommResult(), OrvexEnum::CommPending);
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackOk);
    EXPECT_EQ(read->getAckCode(), 0U);
    EXPECT_EQ(read->data(), QByteArray("old"));
    EXPECT_EQ(engine->inFlight(), 1);
    EXPECT_EQ(engine->queued(), 0);
    EXPECT_EQ(engine->bytesInFlight(), message.bytes.size() + 3);
    EXPECT_EQ(engine->nextTimeout(), ms(3005));
    expectNothingToSend();
    expectNoEvent();

    read->setData({});
    const QJsonObject before = snapshot(*read);
    now = ms(7);
    engine->receive(row.form, bytesOf(row.reply), now);
    const Event event = expectEnd(id, Outcome::Success);
    EXPECT_EQ(event.package, read.get());
    EXPECT_EQ(event.attempts, 1);
    EXPECT_EQ(event.latency, ms(2));
    EXPECT_EQ(read->data(), hex(row.data));
    EXPECT_TRUE(read->isPackageSuccess());
    read->setData({});
    read->setCommResult(OrvexEnum::CommPending);
    EXPECT_EQ(snapshot(*read), before) << "nothing else has changed";
    EXPECT_EQ(engine->inFlight(), 0);
    EXPECT_EQ(engine->bytesInFlight(), 0);
    EXPECT_EQ(engine->nextTimeout(), std::nullopt);
    expectNoEvent();
}

INSTANTIATE_TEST_SUITE_P(Forms, Exchanges, testing::ValuesIn(ExchangeRows));

TEST_F(EngineTest, EveryClassInEveryFormThatCarriesIt)
{
    const auto fill = [](PackageBase &package, OrvexEnum::ReadWriteCode code) {
        package.setDeviceKey(QStringLiteral("k"));
        package.setReadWriteCode(code);
    };
    for (const PackageClass &listed : packageClasses()) {
        for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
            for (const ReplySize size : {ReplySize::Short, ReplySize::Full}) {
                if (!exists({listed.id, form, Direction::Request}))
                    continue;
                const std::unique_ptr<PackageBase> package = listed.create();
                fill(*package,
                     qobject_cast<PackageRequestWrite *>(package.get()) ? OrvexEnum::Write
                                                                        : OrvexEnum::Read);
                if (auto *write = qobject_cast<PackageRequestWriteData *>(package.get())) {
                    write->setData("x");
                    write->setPackageDataLength(1);
                }
                if (auto *read = qobject_cast<PackageRequestReadData *>(package.get()))
                    read->setReplyDataLength(2);
                if (auto *file = qobject_cast<PackageRequestWriteFile *>(package.get()))
                    file->setFileNameWithPaht(QStringLiteral("f"));
                SCOPED_TRACE(
                    describe(MessageShape{listed.id, form, Direction::Request}).toStdString());
                restart(form);
                const RequestId id = send(*package);
                const bool isCarried = form != Form::Frame
                    || (listed.id != ClassId::PackageRequestWriteFile
                        && listed.id != ClassId::SpecialPackageRequest);
                if (!isCarried) {
                    expectNothingToSend();
                    EXPECT_EQ(expectEnd(id, Outcome::Refused).sendError, SendError::NotCarried);
                    continue;
                }
                const OutgoingMessage message = take();
                receive(message, replyTo(message, {}, size));
                expectEnd(id, Outcome::Success);
                EXPECT_TRUE(package->isPackageSuccess());
            }
        }
    }
}

struct FailureRow
{
    Form form;
    ReplySize size;
    uint ackCode;
    OrvexEnum::CommResults comm;
    OrvexEnum::PackageResults pack;
};

TEST_F(EngineTest, AReadThatDoesNotSucceedKeepsItsData)
{
    settings.forms = {Form::Text};
    for (const char *tag : {"tag", "a,b"}) { // of which the second is refused
        restart(settings);
        const auto read = makeRead(Register, 3, tag);
        read->setData("old");
        send(*read);
        engine->takeMessage(now);
        engine->linkLost(now);
        EXPECT_EQ(read->data(), QByteArray("old")) << tag;
    }
}

TEST_F(EngineTest, AFailureIsTheOneThatThePeerTells)
{
    const FailureRow rows[] = {
        {Form::Frame, ReplySize::Short, 2, OrvexEnum::CommLengthErr, OrvexEnum::PackMemErr},
        {Form::Frame, ReplySize::Full, 5, OrvexEnum::CommOk, OrvexEnum::PackFileNoExist},
        {Form::Text, ReplySize::Short, 300, OrvexEnum::CommTimeout, OrvexEnum::PackAbort},
        {Form::Text, ReplySize::Short, 0, OrvexEnum::CommOk, OrvexEnum::PackFailure},
        {Form::Linux, ReplySize::Short, 4, OrvexEnum::CommTimeout,
         OrvexEnum::PackDirectoryCreateErr},
    };
    for (const FailureRow &row : rows) {
        restart(row.form);
        const auto read = makeRead(Register, 3);
        const RequestId id = send(*read);
        const OutgoingMessage message = take();
        receive(message, replyTo(message, failing(row.ackCode, row.comm, row.pack), row.size));
        const Event event = expectEnd(id, Outcome::Failure);
        EXPECT_EQ(read->getAckCode(), row.ackCode);
        EXPECT_EQ(read->getCommResult(), row.comm);
        EXPECT_EQ(read->getPackResult(), row.pack);
        EXPECT_EQ(read->data(), QByteArray()) << "a failed read has no data";
        EXPECT_EQ(read->getReplyDataLength(), 3);
        EXPECT_EQ(event.latency, ms(0));
        EXPECT_EQ(engine->counters().failed, 1U);
        expectNothingToSend();
        setTime(now + ms(100000));
        expectNothingToSend(); // a final answer is not asked for again
        expectNoEvent();
        now = Time(0);
    }
}

// Which reply is taken.

/// Something sent instead of a reply to a read of three bytes at Register, with serial number 1.
struct MisfitRow
{
    const char *name;
    Form form;
    const char *reply;
    const char *verdict;
};

void PrintTo(const MisfitRow &row, std::ostream *out)
{
    *out << row.name;
}

const MisfitRow MisfitRows[] = {
    {"truncated frame", Form::Frame, "00 0100 00 01 00 03000000 A0 A1",
     "data at 10: announced 3 bytes, left 2 bytes"},
    {"frame with more data", Form::Frame, "00 0100 00 01 00 04000000 A0 A1 A2 A3",
     "replyDataLength at 6: out of range: a length of at most 3 expected, 4 found"},
    {"frame with less data", Form::Frame, "00 0100 00 01 00 02000000 A0 A1",
     "replyDataLength: out of range: 3 expected, 2 found"},
    {"frame without data", Form::Frame, "00 0100 00 01 00 00000000",
     "replyDataLength: out of range: 3 expected, 0 found"},
    {"frame without a block", Form::Frame, "00 0100 00 01 00",
     "replyDataLength at 6: truncated: 4 bytes expected, 0 bytes found"},
    {"frame with more bytes", Form::Frame, "00 0100 00 01 00 03000000 A0 A1 A2 00",
     "at 13: trailing bytes after the last field: 13 bytes expected, 14 bytes found"},
    {"unknown result", Form::Frame, "00 0100 00 08 00 03000000 A0 A1 A2",
     "commResult at 4: unknown result code 8; expected one of 0, 1, 2, 3, 4, 5, 6, 7"},
    {"full reply of another unit", Form::Frame,
     "01 0100 6B 0300 746167 09000000 0100 00 FF 01 03 FFFF 00 00 1000 000A "
     "03000000 00 03000000 A0 A1 A2 00 00 01 00 00 00 03000000 00 03000000 A0 A1 A2",
     "portAddr at 18: not that of the request: 2 expected, 3 found"},
    {"full reply in the order of its reader", Form::Frame,
     "01" HEADER "03000000 00 03000000 A0 A1 A2 00 01 00 03000000 00 03000000 A0 A1 A2",
     "replyDataLength at 45: differs from the first copy: 3 expected, 196608 found"},
    {"Linux frame with a flipped bit", Form::Linux,
     "55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 A0 A1 A3 565A",
     "checksum at 21: wrong checksum: 0x5A57 expected, 0x5A56 found"},
    {"Linux frame of another register", Form::Linux,
     "55AA 00 01 00 FF 01 02 FFFF 00 00 1100 000A 0300 A0 A1 A2 575A",
     "lowAddr at 12: not that of the request: 16 expected, 17 found"},
    {"Linux frame of another direction", Form::Linux,
     "55AA 00 01 00 FF 01 02 FFFF 01 00 1000 000A 0300 A0 A1 A2 575A",
     "readWriteCode at 10: not what the class is for: read expected, write found"},
    {"record of another kind", Form::Text, COLUMNS "ok,ok,0,3,file,3,160/161/162",
     "clientPackageType at 17: not that of the request: 0 expected, 1 found"},
    {"record with another tag", Form::Text,
     "1,k,1,0,255,2,65535,2560,16,0,read,9,tag2,ok,ok,0,3,data,3,160/161/162",
     "tag at 12: not that of the request: \"tag\" expected, \"tag2\" found"},
    {"record of another class", Form::Text, COLUMNS "ok,ok,0,3,data",
     "too few: 20 columns expected, 18 found"},
    {"request record", Form::Text, COLUMNS "ok,ok,3,data",
     "too few: 20 columns expected, 17 found"},
};

class Misfits : public EngineTest, public testing::WithParamInterface<MisfitRow>
{
};

TEST_P(Misfits, ChangeNothing)
{
    const MisfitRow &row = GetParam();
    const QByteArray bytes = row.form == Form::Text ? QByteArray(row.reply) : hex(row.reply);
    settings.retry.attempts = 1;
    restart(row.form);
    const auto read = makeRead(Register, 3);
    const auto other = makeRead(Register, 3);
    const RequestId first = send(*read);
    const RequestId second = send(*other);
    const OutgoingMessage message = take();
    const OutgoingMessage unanswered = take();
    const QJsonObject before = snapshot(*read);
    engine->receive(row.form, bytes, now);
    expectNoEvent();
    EXPECT_EQ(snapshot(*read), before);
    EXPECT_EQ(engine->counters().refusedReplies, 1U);
    EXPECT_EQ(engine->inFlight(), 2);
    // The right one is taken nevertheless.
    receive(message, replyTo(message));
    expectEnd(first, Outcome::Success);
    EXPECT_EQ(read->data(), dataAt(Register, 3));
    // Without it, the end names the reply that came.
    receive(unanswered, replyTo(message)); // it has the number of the first one
    setTime(ms(3000));
    expectEnd(second, Outcome::TimedOut);

    const auto third = makeRead(Register, 3);
    restart(row.form);
    const RequestId id = send(*third);
    take();
    engine->receive(row.form, bytes, now);
    setTime(now + ms(3000));
    const Event event = expectEnd(id, Outcome::RefusedReply);
    EXPECT_EQ(describe(event.verdict), QString::fromLatin1(row.verdict));
    EXPECT_EQ(third->getCommResult(), OrvexEnum::CommCodeErr);
    EXPECT_EQ(third->getPackResult(), OrvexEnum::PackParseFailure);
}

INSTANTIATE_TEST_SUITE_P(Replies, Misfits, testing::ValuesIn(MisfitRows));

TEST_F(EngineTest, AReplyIsOfTheClassThatTheTransportSays)
{
    settings.retry.attempts = 1;
    restart(Form::Frame);
    const auto write = makeWrite(Register, "x");
    const RequestId id = send(*write);
    const OutgoingMessage message = take();
    const QByteArray reply = replyTo(message); // as that of any write
    engine->receive(Form::Frame, reply, now, ClassId::PackageRequestWrite);
    EXPECT_EQ(engine->counters().refusedReplies, 1U);
    expectNoEvent();
    setTime(ms(3000));
    EXPECT_EQ(describe(expectEnd(id, Outcome::RefusedReply)),
              QStringLiteral("refused reply: not that of the request: PackageRequestWriteData "
                             "expected, PackageRequestWrite found"));
    engine->receive(Form::Frame, reply, now, ClassId::PackageRequestWrite);
    EXPECT_EQ(engine->counters().refusedReplies, 2U);
    engine->receive(Form::Frame, reply, now, ClassId::PackageRequestWriteData);
    EXPECT_EQ(engine->counters().late, 1U);
}

TEST_F(EngineTest, MessagesToNoRequestAreCounted)
{
    restart(Form::Frame);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    const OutgoingMessage message = take();
    const QByteArray reply = replyTo(message);
    const std::pair<Form, QByteArray> messages[] = {
        {Form::Frame, hex("00 0200 00 01 00 03000000 A0 A1 A2")}, // another number
        {Form::Frame, ""},
        {Form::Frame, "\x02"},
        {Form::Linux, reply},
        {Form::Text, reply},
        {Form::Text, "x"},
        {Form::Text, "1,2,3,4"}, // of a special request
        {Form::Text, "x,2,3,4"},
        {Form::Text, COLUMNS "ok,ok,0,3,data,3,160/161/162"}, // in another form
        {Form::Linux, hex("55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 A0 A1 A2 565A")},
    };
    quint64 count = 0;
    for (const auto &[form, bytes] : messages) {
        engine->receive(form, bytes, now);
        EXPECT_EQ(engine->counters().unknown, ++count) << bytes.toHex(' ').constData();
    }
    expectNoEvent();
    receive(message, reply);
    expectEnd(id, Outcome::Success);
}

TEST_F(EngineTest, AReplyThatIsTooLongIsRefused)
{
    settings.limits.messageSize = 70;
    settings.retry.attempts = 1;
    restart(Form::Text);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    const OutgoingMessage message = take();
    receive(message, replyTo(message) + QByteArray(70, ' ')); // whatever it is
    EXPECT_EQ(engine->counters().refusedReplies, 1U);
    setTime(ms(3000));
    const Event event = expectEnd(id, Outcome::RefusedReply);
    EXPECT_EQ(describe(event),
              QStringLiteral("refused reply: out of range: a message of at most 70 bytes "
                             "expected, 136 found"));
    receive(message, replyTo(message) + QByteArray(70, ' ')); // too late as well
    EXPECT_EQ(engine->counters().late, 0U);
    EXPECT_EQ(engine->counters().refusedReplies, 2U);
}

TEST_F(EngineTest, ALateReplyMustFitAsOneInTime)
{
    settings.lastSerialNum = 1;
    settings.retry.attempts = 1;
    restart(Form::Frame);
    const auto first = makeRead(Register, 3);
    send(*first);
    const OutgoingMessage message = take();
    const QByteArray reply = replyTo(message);
    receive(message, reply);
    expectEnd(1, Outcome::Success);

    setTime(ms(200));
    const auto second = makeRead(Register + 100, 100);
    send(*second);
    const OutgoingMessage unanswered = take();
    setTime(ms(3200));
    expectEnd(2, Outcome::TimedOut);
    receive(message, reply); // once more, with as little data as was asked for then
    EXPECT_EQ(engine->counters().late, 0U);
    EXPECT_EQ(engine->counters().refusedReplies, 1U);

    // Else the number would be free, and the reply to the second read that of the third.
    const auto third = makeRead(Register + 200, 100);
    send(*third);
    setTime(ms(3300));
    expectNothingToSend();
    receive(unanswered, replyTo(unanswered));
    EXPECT_EQ(engine->counters().late, 1U);
    expectNoEvent();
}

// Time-outs and repetition.

TEST_F(EngineTest, ARequestThatIsNotAnsweredTimesOut)
{
    restart(Form::Frame);
    const auto write = makeWrite(Register, "x");
    const RequestId id = send(*write);
    take();
    setTime(ms(2999));
    expectNoEvent();
    EXPECT_EQ(engine->nextTimeout(), ms(3000));
    setTime(ms(3000));
    const Event event = expectEnd(id, Outcome::TimedOut);
    EXPECT_EQ(event.attempts, 1);
    EXPECT_EQ(event.latency, ms(0));
    EXPECT_EQ(write->getCommResult(), OrvexEnum::CommTimeout);
    EXPECT_EQ(write->getPackResult(), OrvexEnum::PackTimeOut);
    EXPECT_EQ(write->getAckCode(), 0U);
    EXPECT_FALSE(write->isPackageSuccess());
    expectNothingToSend();
    setTime(ms(100000));
    expectNoEvent();
    EXPECT_EQ(engine->counters().timedOut, 1U);
}

TEST_F(EngineTest, AnyOperationEndsWhatIsDue)
{
    const auto write = makeWrite(Register, "x");
    const auto other = makeWrite(Register, "y");
    const std::function<void()> operations[] = {
        [&] { engine->takeMessage(now); },
        [&] { engine->receive(Form::Text, "", now); },
        [&] { engine->cancel(99, now); },
        [&] { engine->send(other.get(), {}, now); },
        [&] { engine->sendCombination({}, {}, now); },
        [&] { engine->start(Transfer::writeData(other.get()), {}, now); },
        [&] { engine->linkLost(now); },
    };
    for (const auto &operation : operations) {
        restart(Form::Text);
        now = Time(0);
        const RequestId id = send(*write);
        take();
        now = ms(3000);
        operation();
        expectEnd(id, Outcome::TimedOut);
    }
}

TEST_F(EngineTest, ReadsAreRepeatedWithTheSameSerialNumberAndGrowingPauses)
{
    settings.timeout = std::chrono::milliseconds(1000);
    settings.retry = {5, std::chrono::milliseconds(100), std::chrono::milliseconds(300)};
    restart(Form::Frame);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    const OutgoingMessage first = take();
    int time = 0;
    int attempt = 1;
    for (const int pause : {100, 200, 300, 300}) {
        time += 1000;
        setTime(ms(time));
        expectNothingToSend();
        EXPECT_EQ(engine->nextTimeout(), ms(time + pause));
        setTime(ms(time + pause - 1));
        expectNothingToSend();
        time += pause;
        setTime(ms(time));
        const OutgoingMessage again = take();
        EXPECT_EQ(again.bytes, first.bytes);
        EXPECT_EQ(again.request, id);
        EXPECT_EQ(again.attempt, ++attempt);
        EXPECT_EQ(engine->inFlight(), 1);
        expectNothingToSend();
        expectNoEvent();
    }
    setTime(ms(time + 1000));
    EXPECT_EQ(expectEnd(id, Outcome::TimedOut).attempts, 5);
    EXPECT_EQ(engine->counters().sent, 1U);
    EXPECT_EQ(engine->counters().repeated, 4U);
    EXPECT_EQ(engine->counters().bytesSent, 5U * static_cast<quint64>(first.bytes.size()));
}

struct RepeatRow
{
    const char *name;
    std::unique_ptr<PackageBase> (*make)();
    Repeat repeat;
    bool isRepeated;
};

template <typename Package, typename... Arguments>
std::unique_ptr<PackageBase> makeOf(Arguments... arguments)
{
    return std::make_unique<Package>(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                     QStringLiteral("t"), OrvexEnum::CommOk, arguments...);
}

const RepeatRow RepeatRows[] = {
    {"data read", [] { return makeOf<PackageRequestReadData>(1); }, Repeat::Reads, true},
    {"data read of a register that does not advance",
     [] {
         auto read = makeOf<PackageRequestReadData>(1);
         read->setIsRegisterAddrSelfIncreasing(false);
         return read;
     },
     Repeat::Reads, false},
    {"register read of one",
     [] {
         auto read = makeOf<PackageRequestRead>(1, OrvexEnum::DataPackage);
         read->setIsRegisterAddrSelfIncreasing(false);
         return read;
     },
     Repeat::Reads, true},
    {"data read, never", [] { return makeOf<PackageRequestReadData>(1); }, Repeat::Never, false},
    {"register read", [] { return makeOf<PackageRequestRead>(1, OrvexEnum::DataPackage); },
     Repeat::Reads, true},
    {"file read", [] { return makeOf<PackageRequestReadFile>(1, QStringLiteral("f")); },
     Repeat::Reads, true},
    {"memory read", [] { return makeOf<PackageRequestReadMemData>(1, 2L); }, Repeat::Reads, true},
    {"common part, read",
     [] { return std::unique_ptr<PackageBase>(std::make_unique<PackageBase>()); }, Repeat::Reads,
     true},
    {"common part, write",
     [] {
         auto package = std::make_unique<PackageBase>();
         package->setReadWriteCode(OrvexEnum::Write);
         return package;
     },
     Repeat::Reads, false},
    {"register write", [] { return makeOf<PackageRequestWrite>(false, OrvexEnum::DataPackage); },
     Repeat::Reads, false},
    {"data write", [] { return makeOf<PackageRequestWriteData>(false, QByteArray("x"), 1); },
     Repeat::Reads, false},
    {"data write, always",
     [] { return makeOf<PackageRequestWriteData>(false, QByteArray("x"), 1); }, Repeat::Always,
     true},
    {"address write", [] { return makeOf<PackageRequestWriteIP>(false, QByteArray("x"), 1); },
     Repeat::Reads, false},
    {"file write", [] { return makeOf<PackageRequestWriteFile>(false, QStringLiteral("f"), 0); },
     Repeat::Reads, false},
    {"memory write", [] { return makeOf<PackageRequestWriteMemData>(false, 0L, 1); }, Repeat::Reads,
     false},
    {"special request",
     [] { return std::unique_ptr<PackageBase>(std::make_unique<SpecialPackageRequest>(1, 0)); },
     Repeat::Reads, false},
    {"special request, always",
     [] { return std::unique_ptr<PackageBase>(std::make_unique<SpecialPackageRequest>(1, 0)); },
     Repeat::Always, true},
};

TEST_F(EngineTest, OnlyWhatMayBeDoneTwiceIsRepeated)
{
    for (const RepeatRow &row : RepeatRows) {
        SCOPED_TRACE(row.name);
        now = Time(0);
        restart(Form::Text);
        const std::unique_ptr<PackageBase> package = row.make();
        const RequestId id = send(*package, repeat(row.repeat));
        take();
        setTime(ms(3000));
        if (!row.isRepeated) {
            expectEnd(id, Outcome::TimedOut);
            setTime(ms(100000));
            expectNothingToSend();
            continue;
        }
        expectNoEvent();
        setTime(ms(3100));
        EXPECT_EQ(take().attempt, 2);
    }
}

TEST_F(EngineTest, ALateReplyToTheFirstAttemptAnswersTheSecond)
{
    restart(Form::Frame);
    // In flight again, in the pause, and ready but not sent.
    for (const int time : {3100, 3050, 3100}) {
        now = Time(0);
        restart(Form::Frame);
        const auto read = makeRead(Register, 3);
        const RequestId id = send(*read);
        const OutgoingMessage message = take();
        setTime(ms(3000));
        setTime(ms(time));
        const bool isSentAgain =
            engine.get() != nullptr && time == 3100 && engine->takeMessage(now).has_value();
        receive(message, replyTo(message));
        const Event event = expectEnd(id, Outcome::Success);
        EXPECT_EQ(event.attempts, isSentAgain ? 2 : 1);
        EXPECT_EQ(event.latency, ms(time));
        EXPECT_EQ(read->data(), dataAt(Register, 3));
        EXPECT_EQ(engine->counters().late, 0U);
        expectNothingToSend();
        setTime(ms(100000));
        expectNothingToSend();
        expectNoEvent();
    }
}

TEST_F(EngineTest, ARepetitionThatIsNotTakenTimesOut)
{
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    take();
    setTime(ms(3000));
    setTime(ms(3100)); // ready, but the transport takes nothing
    EXPECT_EQ(engine->nextTimeout(), ms(6100));
    setTime(ms(6100));
    EXPECT_EQ(expectEnd(id, Outcome::TimedOut).attempts, 1);
    expectNothingToSend();
    EXPECT_EQ(engine->inFlight(), 0);
}

TEST_F(EngineTest, RepetitionsComeBeforeNewRequests)
{
    const auto read = makeRead(Register, 3);
    const auto other = makeRead(Register, 3, "other");
    const RequestId id = send(*read);
    take();
    setTime(ms(3000));
    send(*other);
    setTime(ms(3100));
    EXPECT_EQ(take().request, id);
    EXPECT_EQ(take().request, id + 1);
}

TEST_F(EngineTest, ATimeoutOfItsOwn)
{
    RequestOptions options;
    options.timeout = std::chrono::milliseconds(50);
    const auto write = makeWrite(Register, "x");
    const RequestId id = send(*write, options);
    take();
    EXPECT_EQ(engine->nextTimeout(), ms(50));
    setTime(ms(50));
    expectEnd(id, Outcome::TimedOut);
    options.timeout = std::chrono::milliseconds(-5);
    send(*write, options);
    take();
    EXPECT_EQ(engine->nextTimeout(), ms(51)) << "at least a millisecond";
}

TEST_F(EngineTest, ADeadlineIsForAllThatARequestWaits)
{
    settings.limits.inFlight = 1;
    restart(Form::Text);
    RequestOptions options;
    options.deadline = std::chrono::milliseconds(500);
    const auto read = makeRead(Register, 3);
    const auto waiting = makeRead(Register, 3);
    const RequestId id = send(*read, options);
    send(*waiting, options);
    take();
    expectNothingToSend();
    EXPECT_EQ(engine->nextTimeout(), ms(500)) << "not 3000";
    setTime(ms(499));
    expectNoEvent();
    setTime(ms(500));
    EXPECT_EQ(expectEnd(id, Outcome::TimedOut).attempts, 1) << "a read, not repeated";
    EXPECT_EQ(expectEnd(id + 1, Outcome::TimedOut).attempts, 0);
    expectNothingToSend();
}

TEST_F(EngineTest, ADeadlineEndsRepetitions)
{
    settings.timeout = std::chrono::milliseconds(300);
    restart(settings);
    RequestOptions options;
    options.deadline = std::chrono::milliseconds(600);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read, options);
    take();
    setTime(ms(300));
    setTime(ms(400)); // the pause is over
    EXPECT_EQ(take().attempt, 2);
    EXPECT_EQ(engine->nextTimeout(), ms(600)) << "not 700";
    setTime(ms(600));
    EXPECT_EQ(expectEnd(id, Outcome::TimedOut).attempts, 2);
    options.deadline = std::chrono::milliseconds(-5);
    send(*read, options);
    EXPECT_EQ(engine->nextTimeout(), ms(601)) << "at least a millisecond";
}

// The queue.

TEST_F(EngineTest, RequestsAreSentInTheirOrder)
{
    std::vector<std::unique_ptr<PackageRequestReadData>> reads;
    for (quint32 i = 0; i < 10; ++i) {
        reads.push_back(makeRead(Register + i, 3));
        EXPECT_EQ(send(*reads.back()), i + 1);
    }
    EXPECT_EQ(engine->queued(), 10);
    for (RequestId id = 1; id <= 10; ++id)
        EXPECT_EQ(take().request, id);
    EXPECT_EQ(engine->inFlight(), 10);
}

TEST_F(EngineTest, TheQueueHasALimitAndSoHaveEvents)
{
    settings.limits.queued = 3;
    settings.limits.inFlight = 2;
    restart(Form::Text);
    const auto make = [] { return makeRead(Register, 3); };
    std::vector<std::unique_ptr<PackageRequestReadData>> reads;
    for (int i = 0; i < 3; ++i) {
        reads.push_back(make());
        send(*reads.back());
    }
    const auto refusedAtOnce = [&] {
        const auto read = make();
        const Accepted accepted = engine->send(read.get(), {}, now);
        EXPECT_EQ(accepted.id, 0U);
        EXPECT_EQ(read->getCommResult(), OrvexEnum::CommForcedCancel);
        EXPECT_EQ(read->getPackResult(), OrvexEnum::PackSendError);
        return accepted.sendError;
    };
    EXPECT_EQ(refusedAtOnce(), SendError::QueueFull);
    const OutgoingMessage first = take();
    const OutgoingMessage second = take();
    expectNothingToSend(); // two are in flight
    EXPECT_EQ(engine->queued(), 1);
    receive(first, replyTo(first));
    receive(second, replyTo(second));
    EXPECT_EQ(engine->queued(), 3) << "one waits, and two events";
    EXPECT_EQ(refusedAtOnce(), SendError::QueueFull);
    takeEvent();
    const auto read = make();
    EXPECT_EQ(send(*read), 4U) << "refused requests have no id";
    takeEvent();
    expectNoEvent();
    EXPECT_EQ(engine->counters().refused, 2U);
}

TEST_F(EngineTest, WhatWaitsTooLongTimesOutWithoutHavingBeenSent)
{
    settings.queueTimeout = std::chrono::milliseconds(500);
    settings.limits.inFlight = 1;
    restart(Form::Text);
    const auto read = makeRead(Register, 3);
    const auto waiting = makeRead(Register, 3);
    const RequestId id = send(*read);
    const OutgoingMessage message = take();
    send(*waiting);
    EXPECT_EQ(engine->nextTimeout(), ms(500));
    setTime(ms(500));
    const Event event = expectEnd(id + 1, Outcome::TimedOut);
    EXPECT_EQ(event.attempts, 0);
    EXPECT_EQ(waiting->getCommResult(), OrvexEnum::CommTimeout);
    receive(message, replyTo(message));
    expectEnd(id, Outcome::Success);
    expectNothingToSend();
}

// Limits.

TEST_F(EngineTest, NoMoreAreInFlightThanTheLimit)
{
    settings.limits.inFlight = 2;
    restart(Form::Text);
    std::vector<std::unique_ptr<PackageRequestReadData>> reads;
    for (quint32 i = 0; i < 3; ++i) {
        reads.push_back(makeRead(Register + i, 3));
        send(*reads.back());
    }
    const OutgoingMessage first = take();
    take();
    expectNothingToSend();
    receive(first, replyTo(first));
    EXPECT_EQ(take().request, 3U);
    EXPECT_EQ(engine->inFlight(), 2);
}

TEST_F(EngineTest, NoMoreBytesAreInFlightThanTheLimit)
{
    const auto read = makeRead(Register, 100);
    const RequestId id = send(*read);
    const qint64 cost = take().bytes.size() + 100;
    EXPECT_EQ(engine->bytesInFlight(), cost);
    engine->cancel(id, now);
    EXPECT_EQ(engine->bytesInFlight(), 0);

    settings.limits.bytesInFlight = 2 * cost;
    restart(Form::Text);
    std::vector<std::unique_ptr<PackageRequestReadData>> reads;
    for (int i = 0; i < 3; ++i) {
        reads.push_back(makeRead(Register, 100));
        send(*reads.back());
    }
    const OutgoingMessage first = take();
    take();
    expectNothingToSend();
    expectNothingToSend(); // it is known now what it costs
    EXPECT_EQ(engine->serialNumbers(), 2);
    EXPECT_EQ(engine->bytesInFlight(), 2 * cost);
    receive(first, replyTo(first));
    EXPECT_EQ(take().request, 3U);

    settings.limits.bytesInFlight = cost - 1;
    restart(Form::Text);
    RequestId refused = send(*read);
    expectNothingToSend();
    EXPECT_EQ(expectEnd(refused, Outcome::Refused).sendError, SendError::TooMuchData);

    settings.limits.bytesInFlight = cost - 101; // a byte less than the request
    restart(Form::Text);
    refused = send(*read);
    expectNothingToSend();
    EXPECT_EQ(expectEnd(refused, Outcome::Refused).sendError, SendError::TooLong);
}

TEST_F(EngineTest, MessagesAreNotLongerThanTheLimit)
{
    const auto write = makeWrite(Register, "x");
    send(*write);
    settings.limits.messageSize = static_cast<int>(take().bytes.size());
    restart(Form::Text);
    send(*write);
    take();
    const auto longer = makeWrite(Register, "xy");
    const RequestId id = send(*longer);
    expectNothingToSend();
    EXPECT_EQ(expectEnd(id, Outcome::Refused).sendError, SendError::TooLong);
    EXPECT_EQ(engine->serialNumbers(), 1);
    EXPECT_EQ(longer->getSerialNum(), 77U);
}

TEST_F(EngineTest, RequestsDoNotAskForMoreThanTheLimit)
{
    settings.limits.announcedData = 100;
    restart(Form::Frame);
    const auto most = makeRead(Register, 100);
    const auto more = makeRead(Register, 101);
    send(*most);
    take();
    const RequestId id = send(*more);
    expectNothingToSend();
    EXPECT_EQ(expectEnd(id, Outcome::Refused).sendError, SendError::TooMuchData);

    restart(Form::Text);
    const auto next = makeRead(Register + 100, 100);
    const RequestId first = engine->sendCombination({most.get(), next.get()}, {}, now).id;
    EXPECT_EQ(take().request, first) << "each item may ask for as much";
    const auto last = makeRead(Register + 200, 100);
    const RequestId mixed = engine->sendCombination({last.get(), more.get()}, {}, now).id;
    expectNothingToSend();
    EXPECT_EQ(expectEnd(mixed, Outcome::Refused).sendError, SendError::TooMuchData);
}

TEST_F(EngineTest, NonsenseInSettingsIsBounded)
{
    Settings nonsense;
    nonsense.firstSerialNum = 0;
    nonsense.lastSerialNum = 0;
    nonsense.timeout = std::chrono::milliseconds::min();
    nonsense.queueTimeout = std::chrono::milliseconds::min();
    nonsense.rest = std::chrono::milliseconds::max();
    nonsense.restAfterReply = std::chrono::milliseconds::max();
    nonsense.retry = {0, std::chrono::milliseconds::max(), std::chrono::milliseconds::max()};
    nonsense.limits.inFlight = 0;
    nonsense.limits.queued = -1;
    nonsense.limits.messageSize = 0;
    nonsense.limits.serialNumbers = 0;
    restart(nonsense);
    const auto write = makeWrite(Register, "x");
    const RequestId id = send(*write);
    expectNothingToSend();
    EXPECT_EQ(expectEnd(id, Outcome::Refused).sendError, SendError::TooLong) << "for one byte";

    nonsense.limits.messageSize = 1000;
    nonsense.timeout = std::chrono::milliseconds::max();
    nonsense.queueTimeout = std::chrono::milliseconds::max();
    restart(nonsense);
    send(*write);
    take();
    EXPECT_GT(engine->nextTimeout(), std::chrono::hours(24 * 364));
    setTime(Time::max());
    expectEnd(1, Outcome::TimedOut);
    setTime(Time::max()); // a year later, and what comes after counts as the same
    send(*write);
    expectNothingToSend(); // the only number rests
    EXPECT_TRUE(engine->nextTimeout());
}

TEST_F(EngineTest, TimeDoesNotGoBack)
{
    const auto write = makeWrite(Register, "x");
    setTime(ms(1000));
    send(*write);
    take();
    now = ms(10);
    engine->handleTimeout(now);
    EXPECT_EQ(engine->nextTimeout(), ms(4000));
    const OutgoingMessage message{1, {ClassId::PackageRequestWriteData, Form::Text}, 1, {}};
    setTime(ms(3999));
    expectNoEvent();
    setTime(ms(4000));
    expectEnd(1, Outcome::TimedOut);
}

// Refused before sending.

struct RefusedRow
{
    const char *name;
    Form form;
    std::function<void(PackageBase &)> change;
    const char *reason;
};

const RefusedRow RefusedWrites[] = {
    {"another code", Form::Frame, [](PackageBase &p) { p.setReadWriteCode(OrvexEnum::Read); },
     "refused: no form of the peer carries it: readWriteCode: out of range: 1 to 1 expected, "
     "0 found"},
    {"length without data", Form::Frame, [](PackageBase &p) { p.setPackageDataLength(2); },
     "refused: no form of the peer carries it: packageDataLength: out of range: 1 to 1 "
     "expected, 2 found"},
    {"data without length", Form::Linux, [](PackageBase &p) { p.setPackageDataLength(0); },
     "refused: no form of the peer carries it: packageDataLength: out of range: 1 to 1 "
     "expected, 0 found"},
    {"no data in a record", Form::Text,
     [](PackageBase &p) {
         p.setData({});
         p.setPackageDataLength(0);
     },
     "refused: no form of the peer carries it: data: out of range: at least 1 byte expected, "
     "0 bytes found"},
    {"device type", Form::Frame, [](PackageBase &p) { p.setDeviceType(256); },
     "refused: no form of the peer carries it: deviceType: out of range: -128 to 255 "
     "expected, 256 found"},
    {"reserved 2", Form::Linux, [](PackageBase &p) { p.setReserved2(-129); },
     "refused: no form of the peer carries it: reserved2: out of range: -128 to 255 expected, "
     "-129 found"},
    {"tag that breaks a record", Form::Text,
     [](PackageBase &p) { p.setTag(QStringLiteral("a,b")); },
     "refused: no form of the peer carries it: tag: out of range: a text without commas "
     "expected, \"a,b\" found"},
    {"zero in a tag", Form::Frame, [](PackageBase &p) { p.setTag(QString(QChar(0))); },
     "refused: no form of the peer carries it: tag: the text contains a zero byte, where a "
     "decoder ends it"},
    {"long tag", Form::Frame, [](PackageBase &p) { p.setTag(QString(65536, QLatin1Char('a'))); },
     "refused: no form of the peer carries it: tag: out of range: 0 to 65535 expected, 65536 "
     "found"},
    {"long key", Form::Frame, [](PackageBase &p) { p.setDeviceKey(QString(21846, QChar(0x20AC))); },
     "refused: no form of the peer carries it: deviceKey: out of range: 0 to 65535 expected, "
     "65538 found"},
    {"too much for a Linux frame", Form::Linux,
     [](PackageBase &p) {
         p.setData(QByteArray(65536, 'x'));
         p.setPackageDataLength(65536);
     },
     "refused: no form of the peer carries it: packageDataLength: out of range: 0 to 65535 "
     "expected, 65536 found"},
};

TEST_F(EngineTest, WhatDoesNotArriveAsItIsIsNotSent)
{
    for (const RefusedRow &row : RefusedWrites) {
        SCOPED_TRACE(row.name);
        restart(row.form);
        const auto write = makeWrite(Register, "x");
        row.change(*write);
        const RequestId id = send(*write);
        expectNothingToSend();
        EXPECT_EQ(describe(expectEnd(id, Outcome::Refused)), QString::fromLatin1(row.reason));
        EXPECT_EQ(write->getCommResult(), OrvexEnum::CommForcedCancel);
        EXPECT_EQ(write->getPackResult(), OrvexEnum::PackSendError);
        EXPECT_EQ(write->getSerialNum(), 77U);
        EXPECT_EQ(engine->serialNumbers(), 0);
        EXPECT_EQ(engine->counters().refused, 1U);
    }
}

TEST_F(EngineTest, LongTextsThatFitAreSent)
{
    restart(Form::Frame);
    const auto write = makeWrite(Register, "x");
    write->setTag(QString(65535, QLatin1Char('a')));
    send(*write);
    EXPECT_GT(take().bytes.size(), 65535);
}

TEST_F(EngineTest, ARequestTravelsInTheFirstFormThatCarriesIt)
{
    settings.forms = {Form::Linux, Form::Frame, Form::Text};
    restart(settings);
    PackageRequestWriteData broadcast(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                      QStringLiteral("t"), true, "x", 1);
    PackageRequestReadMemData memory(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                     QStringLiteral("t"), 5, 1L);
    PackageRequestReadMemData memoryStart(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                          QStringLiteral("t"), 5, 0L);
    PackageRequestWriteMemData memoryWrite(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                           QStringLiteral("t"), false, 1L, 0);
    PackageRequestWriteMemData memoryLength(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                            QStringLiteral("t"), false, 0L, 1);
    PackageRequestWriteMemData memoryAll(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                         QStringLiteral("t"), false, 0L, 0);
    PackageRequestWriteFile file(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                 QStringLiteral("t"), false, QStringLiteral("f"), 0);
    PackageRequestReadFile fileRead(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                    QStringLiteral("t"), 5, QStringLiteral("f"));
    const auto read = makeRead(Register, 3);
    const auto longRead = makeRead(Register, 65536);
    SpecialPackageRequest special(1, 0);
    const std::pair<PackageBase *, Form> rows[] = {
        {read.get(), Form::Linux},   {longRead.get(), Form::Frame}, {&broadcast, Form::Frame},
        {&memory, Form::Text},       {&memoryStart, Form::Frame},   {&memoryWrite, Form::Text},
        {&memoryLength, Form::Text}, {&memoryAll, Form::Frame},     {&file, Form::Text},
        {&fileRead, Form::Frame},    {&special, Form::Text},
    };
    for (const auto &[package, form] : rows) {
        send(*package);
        EXPECT_EQ(int(take().shape.form), int(form)) << classOf(*package).name.toStdString();
    }
}

TEST_F(EngineTest, APeerThatTakesNothing)
{
    settings.forms = {};
    restart(settings);
    const auto read = makeRead(Register, 3);
    const RequestId id = send(*read);
    expectNothingToSend();
    EXPECT_EQ(
        describe(expectEnd(id, Outcome::Refused)),
        QStringLiteral("refused: no form of the peer carries it: the class has no such form"));
}

TEST_F(EngineTest, EveryOutcomeAndReasonHasWords)
{
    const std::pair<Outcome, const char *> outcomes[] = {
        {Outcome::Success, "success"},           {Outcome::Failure, "failure"},
        {Outcome::TimedOut, "timed out"},        {Outcome::Cancelled, "cancelled"},
        {Outcome::LinkLost, "link lost"},        {Outcome::Refused, "refused"},
        {Outcome::RefusedReply, "refused reply"}};
    for (const auto &[outcome, words] : outcomes) {
        Event event;
        event.outcome = outcome;
        EXPECT_EQ(describe(event), QString::fromLatin1(words));
    }
    const std::pair<SendError, const char *> reasons[] = {
        {SendError::None, "ok"},
        {SendError::QueueFull, "too many requests are waiting"},
        {SendError::TooManyItems, "too few or too many items, or one that is under way"},
        {SendError::NotCarried, "no form of the peer carries it"},
        {SendError::NotAccepted, "the peer would refuse it"},
        {SendError::TooLong, "its message is too long"},
        {SendError::TooMuchData, "it asks for too much data"},
        {SendError::OutOfMemory, "out of memory"}};
    for (const auto &[reason, words] : reasons)
        EXPECT_EQ(describe(reason), QString::fromLatin1(words));
}

// Cancelling, and the end of the link.

TEST_F(EngineTest, CancelsWhatWaitsAndWhatIsInFlight)
{
    const auto read = makeRead(Register, 3);
    const auto other = makeRead(Register, 3, "other");
    const RequestId inFlight = send(*read);
    const OutgoingMessage message = take();
    const RequestId waiting = send(*other);
    EXPECT_TRUE(engine->cancel(waiting, now));
    EXPECT_EQ(expectEnd(waiting, Outcome::Cancelled).attempts, 0);
    EXPECT_EQ(other->getCommResult(), OrvexEnum::CommForcedCancel);
    EXPECT_EQ(other->getPackResult(), OrvexEnum::PackForceCancel);
    expectNothingToSend();
    EXPECT_EQ(engine->queued(), 0);
    EXPECT_TRUE(engine->cancel(inFlight, now));
    EXPECT_EQ(expectEnd(inFlight, Outcome::Cancelled).attempts, 1);
    EXPECT_EQ(engine->inFlight(), 0);
    EXPECT_EQ(engine->serialNumbers(), 1) << "it rests";
    for (const RequestId id : {waiting, inFlight, RequestId(0), RequestId(99)}) {
        EXPECT_FALSE(engine->cancel(id, now));
        engine->refuse(id, now); // which changes as little
    }
    // The reply is late, and changes nothing.
    const QJsonObject before = snapshot(*read);
    receive(message, replyTo(message));
    EXPECT_EQ(snapshot(*read), before);
    EXPECT_EQ(engine->counters().late, 1U);
    expectNoEvent();
    EXPECT_EQ(engine->counters().cancelled, 2U);
    EXPECT_EQ(engine->nextTimeout(), std::nullopt);
}

TEST_F(EngineTest, DeletingAPackageCancelsItsRequest)
{
    auto waiting = makeRead(Register, 3);
    auto inFlight = makeRead(Register, 3);
    const auto other = makeRead(Register, 3);
    send(*inFlight);
    const OutgoingMessage message = take();
    send(*waiting);
    send(*other);
    waiting.reset();
    inFlight.reset();
    EXPECT_EQ(take().request, 3U);
    Event event = expectEnd(2, Outcome::Cancelled);
    EXPECT_EQ(event.package, nullptr);
    receive(message, replyTo(message));
    event = expectEnd(1, Outcome::Cancelled);
    EXPECT_EQ(event.package, nullptr);

    auto unanswered = makeWrite(Register, "x");
    send(*unanswered);
    take();
    unanswered.reset();
    setTime(ms(3000));
    EXPECT_EQ(expectEnd(4, Outcome::Cancelled).package, nullptr);

    // When its event waits to be taken.
    auto ended = makeWrite(Register, "x");
    send(*ended);
    engine->cancel(5, now);
    ended.reset();
    EXPECT_EQ(expectEnd(5, Outcome::Cancelled).package, nullptr);
}

TEST_F(EngineTest, WhatHasNoPackageIsNotRepeated)
{
    // Deleted in flight, in the pause, and ready to be repeated.
    for (const int time : {0, 3050, 3100}) {
        now = Time(0);
        restart(settings);
        auto write = makeWrite(Register, "x");
        const RequestId id = send(*write, repeat(Repeat::Always));
        take();
        if (time > 0)
            setTime(ms(3000));
        setTime(ms(time));
        write.reset();
        setTime(qMax(now, ms(3000)));
        setTime(ms(3100));
        expectNothingToSend();
        expectEnd(id, Outcome::Cancelled);
        EXPECT_EQ(engine->inFlight(), 0);
    }
}

TEST_F(EngineTest, WhatHasNoPackageDoesNotWaitInVain)
{
    settings.limits.inFlight = 1;
    settings.timeout = std::chrono::minutes(10);
    restart(settings);
    const auto write = makeWrite(Register, "x");
    auto waiting = makeWrite(Register, "y");
    send(*write);
    take();
    const RequestId id = send(*waiting);
    waiting.reset();
    setTime(ms(60000));
    expectEnd(id, Outcome::Cancelled);
}

TEST_F(EngineTest, TheEndOfTheLinkEndsAll)
{
    settings.limits.inFlight = 2;
    restart(Form::Text);
    const auto sent = makeRead(Register, 3);
    const auto repeated = makeRead(Register, 3);
    const auto waiting = makeRead(Register, 3);
    SpecialPackageRequest special(1, 0);
    SpecialPackageRequest nextSpecial(1, 0);
    send(*repeated);
    const OutgoingMessage first = take();
    setTime(ms(3000));
    setTime(ms(3100)); // ready to be repeated
    send(*sent);
    send(special);
    send(nextSpecial);
    send(*waiting);
    EXPECT_EQ(take().attempt, 2);
    setTime(ms(6100));
    setTime(ms(6300));
    engine->linkLost(now);
    std::vector<RequestId> ended;
    while (const auto event = engine->takeEvent()) {
        EXPECT_EQ(event->outcome, Outcome::LinkLost);
        EXPECT_EQ(event->package->getCommResult(), OrvexEnum::CommForcedCancel);
        EXPECT_EQ(event->package->getPackResult(), OrvexEnum::PackDisConnect);
        ended.push_back(event->id);
    }
    EXPECT_EQ(ended, (std::vector<RequestId>{1, 2, 5, 3, 4}));
    EXPECT_EQ(engine->inFlight(), 0);
    EXPECT_EQ(engine->queued(), 0);
    EXPECT_EQ(engine->bytesInFlight(), 0);
    EXPECT_EQ(engine->serialNumbers(), 0);
    EXPECT_EQ(engine->nextTimeout(), std::nullopt);
    EXPECT_EQ(engine->counters().linkLost, 5U);
    // On the next link, a reply to a request of the last one answers nothing.
    receive(first, replyTo(first));
    EXPECT_EQ(engine->counters().unknown, 1U);
    send(*sent);
    take();
}

// Special requests.

TEST_F(EngineTest, SpecialRequestsAreSentOneAtATimeInOrder)
{
    SpecialPackageRequest first(1, 0);
    SpecialPackageRequest second(2, 0);
    const auto read = makeRead(Register, 3);
    first.setStrData(QStringLiteral("ask"));
    const quint64 serial = first.getSerialNum();
    send(first);
    send(second);
    const RequestId other = send(*read);
    const OutgoingMessage message = take();
    EXPECT_EQ(message.bytes, QByteArray("1,0,ask"));
    EXPECT_EQ(take().request, other) << "requests with serial numbers go on";
    expectNothingToSend();
    EXPECT_EQ(first.getSerialNum(), serial);
    engine->receive(Form::Text, "2,0,no,0", now); // the id of the one that waits
    expectNoEvent();
    engine->receive(Form::Text, "1,0,answer,0", now);
    expectEnd(1, Outcome::Success);
    EXPECT_EQ(first.strData(), QStringLiteral("answer"));
    EXPECT_EQ(take().bytes, QByteArray("2,0,"));
    engine->receive(Form::Text, "2,0,no,5", now);
    expectEnd(2, Outcome::Failure);
    EXPECT_EQ(second.getAckCode(), 5U);
    EXPECT_EQ(second.strData(), QStringLiteral("no"));
}

TEST_F(EngineTest, ASpecialRequestWaitsForTheReplyToTheLastOneOfItsId)
{
    SpecialPackageRequest first(1, 0);
    SpecialPackageRequest second(1, 0);
    SpecialPackageRequest other(-2, 0);
    send(first);
    send(other);
    send(second);
    take();
    setTime(ms(3000));
    expectEnd(1, Outcome::TimedOut);
    EXPECT_EQ(take().bytes, QByteArray("-2,0,"));
    engine->receive(Form::Text, "-2,0,x,0", now);
    expectEnd(2, Outcome::Success);
    expectNothingToSend();
    EXPECT_EQ(engine->nextTimeout(), ms(3100)) << "when the other id is free";
    // The late reply does not answer the second request, and lets it be sent soon.
    setTime(ms(4000));
    engine->receive(Form::Text, "1,0,late,0", now);
    EXPECT_EQ(engine->counters().late, 1U);
    expectNoEvent();
    expectNothingToSend();
    setTime(ms(4099));
    engine->receive(Form::Text, "1,0,late,0", now);
    EXPECT_EQ(engine->counters().duplicate, 1U);
    setTime(ms(4199));
    EXPECT_EQ(take().request, 3U);
    engine->receive(Form::Text, "1,0,mine,0", now);
    expectEnd(3, Outcome::Success);
    EXPECT_EQ(second.strData(), QStringLiteral("mine"));
}

TEST_F(EngineTest, WhatIsLeftOfACombinationWithASpecialRequestIsNotSpecial)
{
    auto special = std::make_unique<SpecialPackageRequest>(1, 0);
    const auto read = makeRead(Register, 3);
    const RequestId id = engine->sendCombination({special.get(), read.get()}, {}, now).id;
    EXPECT_TRUE(engine->cancel(id, now));
    special.reset();
    const OutgoingMessage message = take();
    SpecialPackageRequest next(1, 0);
    send(next);
    EXPECT_EQ(take().bytes, QByteArray("1,0,")) << "no special request is under way";
    engine->receive(Form::Text, "1,0,x,0", now);
    engine->linkLost(now);
    send(next);
    take();
}

/// Special requests with an id that rests.
class RestingIdTest : public EngineTest
{
protected:
    RestingIdTest()
    {
        settings.queueTimeout = std::chrono::minutes(5);
        restart(Form::Text);
    }

    /// Sends a special request without a reply. Its id rests for 60 s from now on.
    void loseOne(int id)
    {
        sendSpecial(id, "lost");
        EXPECT_EQ(take().bytes, QByteArray::number(id) + ",0,lost");
        setTime(now + ms(3000));
        EXPECT_EQ(takeEvent().outcome, Outcome::TimedOut);
    }

    RequestId sendSpecial(int id, const char *text)
    {
        specials.push_back(std::make_unique<SpecialPackageRequest>(id, 0));
        specials.back()->setStrData(QLatin1String(text));
        return send(*specials.back());
    }

    /// Expects this record to be sent now, and answers it.
    void exchange(const QByteArray &record)
    {
        EXPECT_EQ(take().bytes, record);
        engine->receive(Form::Text, record + ",0", now);
        EXPECT_EQ(takeEvent().outcome, Outcome::Success);
    }

    std::vector<std::unique_ptr<SpecialPackageRequest>> specials;
};

TEST_F(RestingIdTest, DoesNotHoldUpOtherSpecialRequests)
{
    loseOne(1);
    setTime(now + ms(1000));
    sendSpecial(1, "a");
    sendSpecial(1, "b");
    sendSpecial(2, "c");
    sendSpecial(3, "d");
    exchange("2,0,c");
    exchange("3,0,d");
    expectNothingToSend();
    EXPECT_EQ(engine->queued(), 2);
    sendSpecial(1, "e");
    sendSpecial(4, "f");
    exchange("4,0,f");
    expectNothingToSend();
    // The order of an id is kept. Its rest is over 60 s after the time-out, at 63 s.
    setTime(ms(62999));
    expectNothingToSend();
    EXPECT_EQ(engine->nextTimeout(), ms(63000));
    setTime(ms(63000));
    exchange("1,0,a");
    sendSpecial(2, "g");
    exchange("2,0,g");
    expectNothingToSend();
    setTime(ms(63100));
    exchange("1,0,b");
    setTime(ms(63200));
    exchange("1,0,e");
    expectNothingToSend();
    EXPECT_EQ(engine->queued(), 0);
}

TEST_F(RestingIdTest, IsUsedAgainAfterALateReply)
{
    loseOne(1);
    sendSpecial(1, "a");
    expectNothingToSend();
    engine->receive(Form::Text, "1,0,late,0", now);
    setTime(now + ms(99));
    expectNothingToSend();
    EXPECT_EQ(engine->nextTimeout(), now + ms(1));
    setTime(now + ms(1));
    exchange("1,0,a");
}

TEST_F(RestingIdTest, EndsARequestThatWaitsTooLong)
{
    settings.queueTimeout = std::chrono::milliseconds(500);
    restart(settings);
    loseOne(1);
    const RequestId id = sendSpecial(1, "a");
    expectNothingToSend();
    EXPECT_EQ(engine->queued(), 1);
    setTime(now + ms(500));
    EXPECT_EQ(expectEnd(id, Outcome::TimedOut).attempts, 0);
    EXPECT_EQ(engine->queued(), 0);
    setTime(now + ms(59500)); // nothing is left of it
    sendSpecial(1, "b");
    exchange("1,0,b");
}

TEST_F(RestingIdTest, KeepsTheOrderWhenRequestsThatWaitForItAreCancelled)
{
    for (const int cancelled : {0, 1, 2}) {
        SCOPED_TRACE(cancelled);
        now = Time(0);
        restart(settings);
        loseOne(1);
        const RequestId ids[] = {sendSpecial(1, "a"), sendSpecial(1, "b"), sendSpecial(1, "c")};
        expectNothingToSend();
        const char *const records[] = {"1,0,a", "1,0,b", "1,0,c"};
        setTime(ms(63000)); // now one of them may be sent
        sendSpecial(1, "d");
        EXPECT_TRUE(engine->cancel(ids[cancelled], now));
        expectEnd(ids[cancelled], Outcome::Cancelled);
        for (int i = 0; i < 3; ++i) {
            if (i == cancelled)
                continue;
            exchange(records[i]);
            expectNothingToSend();
            setTime(now + ms(100));
        }
        exchange("1,0,d");
    }
}

TEST_F(RestingIdTest, EndsWhatWaitsForItWithTheLink)
{
    loseOne(1);
    loseOne(2);
    std::vector<RequestId> ids;
    for (const int id : {1, 2, 1, 2})
        ids.push_back(sendSpecial(id, "a"));
    expectNothingToSend();
    specials[3].reset();
    ids.push_back(sendSpecial(3, "b"));
    engine->linkLost(now);
    std::vector<RequestId> ended;
    while (const auto event = engine->takeEvent()) {
        EXPECT_EQ(event->outcome, Outcome::LinkLost);
        ended.push_back(event->id);
    }
    std::sort(ended.begin(), ended.end());
    EXPECT_EQ(ended, ids);
    EXPECT_EQ(engine->queued(), 0);
    EXPECT_EQ(engine->nextTimeout(), std::nullopt);
    sendSpecial(1, "c");
    exchange("1,0,c");
}

// Packages under way.

/// A way to send a package.
struct SendingRow
{
    const char *name;
    Accepted (*send)(Engine *engine, PackageRequestReadData *package, Time now);
};

void PrintTo(const SendingRow &row, std::ostream *out)
{
    *out << row.name;
}

const SendingRow SendingRows[] = {
    {"send",
     [](Engine *engine, PackageRequestReadData *package, Time now) {
         return engine->send(package, {}, now);
     }},
    {"sendCombination",
     [](Engine *engine, PackageRequestReadData *package, Time now) {
         return engine->sendCombination({package}, {}, now);
     }},
    {"start",
     [](Engine *engine, PackageRequestReadData *package, Time now) {
         return engine->start(Transfer::readData(package), {}, now);
     }},
};

class PackageUnderWay : public EngineTest, public testing::WithParamInterface<SendingRow>
{
protected:
    Accepted sendAgain(const SendingRow &row) { return row.send(engine.get(), read.get(), now); }

    std::unique_ptr<PackageRequestReadData> read = makeRead(Register, 3);
};

TEST_P(PackageUnderWay, IsRefusedAndStaysAsItIs)
{
    const RequestId id = GetParam().send(engine.get(), read.get(), now).id;
    for (const SendingRow &row : SendingRows) {
        const QJsonObject before = snapshot(*read);
        const Accepted accepted = sendAgain(row);
        EXPECT_EQ(accepted.id, 0U) << row.name;
        EXPECT_EQ(accepted.sendError, SendError::TooManyItems) << row.name;
        EXPECT_EQ(snapshot(*read), before) << row.name;
    }
    const auto other = makeRead(Register, 3);
    EXPECT_EQ(engine->sendCombination({other.get(), read.get()}, {}, now).sendError,
              SendError::TooManyItems);
    EXPECT_EQ(engine->sendCombination({read.get(), other.get()}, {}, now).sendError,
              SendError::TooManyItems);
    EXPECT_EQ(other->getPackResult(), OrvexEnum::PackSendError) << "it is not under way";
    EXPECT_EQ(engine->counters().refused, 7U);
    const RequestId ofOther = send(*other);
    EXPECT_EQ(ofOther, id + 1);

    const OutgoingMessage message = take();
    engine->linkLost(now);
    Event event = takeEvent();
    while (event.id != id)
        event = takeEvent();
    EXPECT_EQ(event.package, read.get());
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackDisConnect);
    for (const SendingRow &row : SendingRows) {
        EXPECT_NE(sendAgain(row).id, 0U) << row.name;
        engine->linkLost(now);
    }
}

TEST_P(PackageUnderWay, MayBeAnotherOneAtTheSamePlaceWhenItWasDeleted)
{
    alignas(PackageRequestReadData) std::array<char, sizeof(PackageRequestReadData)> place{};
    const auto make = [&] {
        auto *package = new (place.data()) PackageRequestReadData;
        package->setReplyDataLength(3);
        return package;
    };
    const auto destroy = [](PackageRequestReadData *package) {
        package->~PackageRequestReadData();
    };
    PackageRequestReadData *first = make();
    const RequestId id = GetParam().send(engine.get(), first, now).id;
    take();
    destroy(first);
    PackageRequestReadData *second = make();
    const RequestId next = engine->send(second, {}, now).id;
    EXPECT_EQ(next, id + 1);
    EXPECT_TRUE(engine->cancel(id, now)) << "the first request ends before the second one";
    EXPECT_EQ(engine->send(second, {}, now).sendError, SendError::TooManyItems);
    EXPECT_TRUE(engine->cancel(next, now));
    const RequestId last = engine->send(second, {}, now).id;
    EXPECT_NE(last, 0U);
    destroy(second);
    PackageRequestReadData *third = make();
    const RequestId ofThird = engine->send(third, {}, now).id;
    EXPECT_TRUE(engine->cancel(ofThird, now));
    EXPECT_TRUE(engine->cancel(last, now)) << "or after it";
    EXPECT_NE(engine->send(third, {}, now).id, 0U);
    destroy(third);
}

INSTANTIATE_TEST_SUITE_P(Engine, PackageUnderWay, testing::ValuesIn(SendingRows));

// Combinations.

class CombinationTest : public EngineTest
{
protected:
    CombinationTest() { restart(Form::Text); }

    RequestId sendAll(const RequestOptions &options = {})
    {
        const Accepted accepted =
            engine->sendCombination({write.get(), &file, read.get()}, options, now);
        EXPECT_EQ(accepted.sendError, SendError::None);
        return accepted.id;
    }

    /// The replies of the items, in their order.
    std::vector<QByteArray> repliesTo(const OutgoingMessage &message)
    {
        const ClassId classes[] = {ClassId::PackageRequestWriteData,
                                   ClassId::PackageRequestWriteFile,
                                   ClassId::PackageRequestReadData};
        std::vector<QByteArray> replies;
        for (const QByteArray &item : message.bytes.split('|')) {
            replies.push_back(replyTo(item.mid(item.indexOf('^') + 1),
                                      {classes[replies.size()], Form::Text, Direction::Request}));
        }
        return replies;
    }

    std::unique_ptr<PackageRequestWriteData> write = makeWrite(Register, "x");
    PackageRequestWriteFile file{
        QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9, QStringLiteral("t"), false,
        QStringLiteral("f"), 0};
    std::unique_ptr<PackageRequestReadData> read = makeRead(Register, 3);
};

TEST_F(CombinationTest, IsARecordEvenIfThePeerPrefersFrames)
{
    settings.forms = {Form::Linux, Form::Frame, Form::Text};
    restart(settings);
    const RequestId first = sendAll();
    const OutgoingMessage message = take();
    EXPECT_EQ(int(message.shape.form), int(Form::Text));
    for (const QByteArray &reply : repliesTo(message))
        receive(message, reply);
    for (RequestId id = first; id < first + 3; ++id)
        expectEnd(id, Outcome::Success);
}

TEST_F(CombinationTest, EachItemHasItsOutcome)
{
    file.setSerialNum(88);
    const RequestId first = sendAll();
    EXPECT_EQ(engine->queued(), 3);
    const OutgoingMessage message = take();
    EXPECT_EQ(message.request, first);
    EXPECT_EQ(int(message.shape.classId), int(ClassId::PackageRequestCombination));
    EXPECT_EQ(message.bytes,
              "writeData^1,k,1,0,255,2,65535,2560,16,0,write,9,tag,ok,ok,false,data,1,120|"
              "writeFile^2,k,0,0,0,0,0,0,0,0,write,9,t,ok,ok,false,file,f,0|"
              "ReadData^3,k,1,0,255,2,65535,2560,16,0,read,9,tag,ok,ok,3,data");
    EXPECT_EQ(engine->inFlight(), 3);
    EXPECT_EQ(engine->bytesInFlight(), message.bytes.size() + 3);
    EXPECT_EQ(file.getSerialNum(), 88U);
    const QByteArray reply = "1,k,1,0,255,2,65535,2560,16,0,write,9,tag,ok,ok,0,false,data,1,120|"
                             "2,k,0,0,0,0,0,0,0,0,write,9,t,ok,fileWriteFailure,1,false,file,f,0|"
                             "3,k,1,0,255,2,65535,2560,16,0,read,9,tag,ok,ok,0,3,data,3,1/2/3";
    receive(message, reply);
    expectEnd(first, Outcome::Success);
    expectEnd(first + 1, Outcome::Failure);
    expectEnd(first + 2, Outcome::Success);
    EXPECT_EQ(file.getPackResult(), OrvexEnum::PackFileWriteFailure);
    EXPECT_EQ(read->data(), hex("01 02 03"));
    EXPECT_EQ(engine->inFlight(), 0);
    EXPECT_EQ(engine->bytesInFlight(), 0);
    // The same once more.
    receive(message, reply);
    EXPECT_EQ(engine->counters().duplicate, 3U);
    engine->receive(Form::Text, reply, now, ClassId::PackageRequestCombination);
    EXPECT_EQ(engine->counters().duplicate, 6U);
    engine->receive(Form::Text, reply, now, ClassId::PackageRequestReadData);
    EXPECT_EQ(engine->counters().refusedReplies, 3U);
    expectNoEvent();
}

TEST_F(CombinationTest, WhatFitsEndsItsItem)
{
    const RequestId first = sendAll();
    const OutgoingMessage message = take();
    const std::vector<QByteArray> replies = repliesTo(message);
    engine->receive(Form::Text, replies[2], now, ClassId::PackageRequestReadData);
    EXPECT_EQ(engine->counters().refusedReplies, 1U) << "the transport says what was sent";
    receive(message, replies[2] + "|junk|" + replies[0] + "|5,k");
    expectEnd(first + 2, Outcome::Success);
    expectEnd(first, Outcome::Success);
    EXPECT_EQ(engine->counters().unknown, 2U);
    EXPECT_EQ(engine->inFlight(), 1);
    EXPECT_EQ(engine->bytesInFlight(), message.bytes.size() + 3) << "until the last item ends";
    receive(message, replies[1]); // by itself
    expectEnd(first + 1, Outcome::Success);
    EXPECT_EQ(engine->bytesInFlight(), 0);
}

TEST_F(CombinationTest, WhatFitsEndsItsItemWhateverComesFirst)
{
    settings.lastSerialNum = 3;
    for (const char *junk : {"junk|", "|", "5,k|"}) {
        restart(settings);
        const RequestId first = sendAll();
        const OutgoingMessage message = take();
        receive(message, junk + repliesTo(message)[1]);
        expectEnd(first + 1, Outcome::Success);
        EXPECT_EQ(engine->counters().unknown, 1U);
    }
    // Once the first number has gone to another request.
    restart(settings);
    const RequestId first = sendAll();
    const OutgoingMessage message = take();
    const std::vector<QByteArray> replies = repliesTo(message);
    receive(message, replies[0]);
    expectEnd(first, Outcome::Success);
    setTime(ms(200));
    const auto other = makeWrite(Register, "x", "other");
    const RequestId otherId = send(*other);
    const OutgoingMessage otherMessage = take();
    receive(message, replies[0] + '|' + replies[1]);
    expectEnd(first + 1, Outcome::Success);
    receive(otherMessage, replyTo(otherMessage));
    expectEnd(otherId, Outcome::Success);
}

TEST_F(CombinationTest, AReplyToAnotherRequestIsWhole)
{
    sendAll();
    take();
    const auto other = makeRead(Register, 3, "a|2");
    const RequestId id = send(*other);
    const OutgoingMessage message = take();
    receive(message, replyTo(message));
    expectEnd(id, Outcome::Success);
    EXPECT_EQ(engine->counters().refusedReplies, 0U);
    receive(message, replyTo(message));
    EXPECT_EQ(engine->counters().duplicate, 1U);
    EXPECT_EQ(engine->counters().refusedReplies, 0U);
}

TEST_F(CombinationTest, AReplyOfMorePartsThanItemsMayBeUnderWayIsRefused)
{
    settings.limits.inFlight = 3;
    restart(settings);
    const RequestId first = sendAll();
    const OutgoingMessage message = take();
    const std::vector<QByteArray> replies = repliesTo(message);
    receive(message, replies[0] + "|a|b|" + replies[1]);
    EXPECT_EQ(engine->counters().refusedReplies, 1U);
    EXPECT_EQ(engine->counters().unknown, 0U);
    expectNoEvent();
    receive(message, replies[0] + "|a|" + replies[1]);
    expectEnd(first, Outcome::Success);
    expectEnd(first + 1, Outcome::Success);
}

TEST_F(CombinationTest, ItsTimeoutIsThatOfAllItems)
{
    const RequestId first = sendAll();
    const OutgoingMessage message = take();
    EXPECT_EQ(engine->nextTimeout(), ms(9000));
    const std::vector<QByteArray> replies = repliesTo(message);
    receive(message, replies[1]);
    expectEnd(first + 1, Outcome::Success);
    EXPECT_FALSE(engine->cancel(first + 1, now));
    EXPECT_TRUE(engine->cancel(first, now));
    expectEnd(first, Outcome::Cancelled);
    receive(message, QByteArray(replies[2]).replace("tag", "other"));
    setTime(ms(9000));
    expectEnd(first + 2, Outcome::RefusedReply);
    // All of them late or twice.
    receive(message, replies[0] + '|' + replies[1] + '|' + replies[2]);
    EXPECT_EQ(engine->counters().late, 2U);
    EXPECT_EQ(engine->counters().unknown, 1U) << "the number of the answered one is free again";
    expectNoEvent();
}

TEST_F(CombinationTest, IsRepeatedAsAWholeWhereEachItemMayBe)
{
    RequestId first = sendAll(); // has writes
    take();
    setTime(now + ms(9000));
    for (RequestId id = first; id < first + 3; ++id)
        expectEnd(id, Outcome::TimedOut);

    RequestOptions options = repeat(Repeat::Always);
    options.timeout = std::chrono::milliseconds(500);
    first = sendAll(options);
    const OutgoingMessage message = take();
    setTime(now + ms(500));
    setTime(now + ms(100));
    const OutgoingMessage again = take();
    EXPECT_EQ(again.bytes, message.bytes);
    EXPECT_EQ(again.attempt, 2);
    receive(message, repliesTo(message)[0]);
    expectEnd(first, Outcome::Success);
    setTime(now + ms(500)); // one has been answered
    expectEnd(first + 1, Outcome::TimedOut);
    expectEnd(first + 2, Outcome::TimedOut);
    expectNothingToSend();

    const auto other = makeRead(Register, 3, "other");
    const RequestId reads = engine->sendCombination({read.get(), other.get()}, {}, now).id;
    take();
    setTime(now + ms(6000));
    setTime(now + ms(100));
    EXPECT_EQ(take().request, reads);
}

TEST_F(CombinationTest, IsNotRepeatedOnceAnItemHasEnded)
{
    const auto other = makeRead(Register, 3, "other");
    const std::vector<PackageBase *> reads{read.get(), other.get()};
    // Cancelled or answered in the pause, and when it is ready.
    for (const int time : {6050, 6100}) {
        for (const bool isAnswered : {false, true}) {
            now = Time(0);
            restart(Form::Text);
            const RequestId first = engine->sendCombination(reads, {}, now).id;
            const OutgoingMessage message = take();
            setTime(ms(6000));
            setTime(ms(time));
            if (isAnswered) {
                receive(message,
                        replyTo(message.bytes.split('|').front().mid(9),
                                {ClassId::PackageRequestReadData, Form::Text, Direction::Request}));
            } else {
                engine->cancel(first, now);
            }
            expectEnd(first, isAnswered ? Outcome::Success : Outcome::Cancelled);
            setTime(ms(6100));
            expectNothingToSend();
            expectEnd(first + 1, Outcome::TimedOut);
        }
    }
}

TEST_F(CombinationTest, DeletedPackagesAreLeftOut)
{
    const RequestId first = sendAll();
    write.reset();
    const OutgoingMessage message = take();
    EXPECT_FALSE(message.bytes.contains("writeData"));
    expectEnd(first, Outcome::Cancelled);
    EXPECT_EQ(engine->inFlight(), 2);
    setTime(now + ms(9000));
    expectEnd(first + 1, Outcome::TimedOut);
    expectEnd(first + 2, Outcome::TimedOut);

    auto one = makeRead(Register, 3);
    auto two = makeRead(Register, 3);
    const RequestId gone = engine->sendCombination({one.get(), two.get()}, {}, now).id;
    EXPECT_TRUE(engine->cancel(gone, now)); // before it is sent
    two.reset();
    expectNothingToSend();
    expectEnd(gone, Outcome::Cancelled);
    expectEnd(gone + 1, Outcome::Cancelled);

    one = makeRead(Register, 3, "one");
    two = makeRead(Register, 3, "two");
    const RequestId half = engine->sendCombination({one.get(), two.get()}, {}, now).id;
    EXPECT_TRUE(engine->cancel(half, now));
    EXPECT_FALSE(take().bytes.contains("one"));
    EXPECT_EQ(engine->queued(), 1) << "the event";
}

TEST_F(CombinationTest, WhatWasNotSentDoesNotKeepItFromBeingRepeated)
{
    const auto other = makeRead(Register, 3, "other");
    const RequestId first = engine->sendCombination({read.get(), other.get()}, {}, now).id;
    EXPECT_TRUE(engine->cancel(first, now));
    const OutgoingMessage message = take();
    setTime(ms(6000));
    setTime(ms(6100));
    EXPECT_EQ(take().bytes, message.bytes);
}

TEST_F(CombinationTest, IsRefusedAsAWhole)
{
    EXPECT_EQ(engine->sendCombination({}, {}, now).sendError, SendError::TooManyItems);
    settings.limits.inFlight = 2;
    restart(Form::Text);
    EXPECT_EQ(engine->sendCombination({write.get(), &file, read.get()}, {}, now).sendError,
              SendError::TooManyItems);
    EXPECT_EQ(engine->counters().refused, 3U);
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackSendError);

    // More than can ever have a serial number: nothing waits for it.
    settings.limits.inFlight = 64;
    const auto fits = [&] {
        restart(settings);
        const Accepted accepted =
            engine->sendCombination({write.get(), &file, read.get()}, {}, now);
        EXPECT_EQ(accepted.sendError, accepted.id == 0 ? SendError::TooManyItems : SendError::None);
        const auto next = makeRead(Register, 3);
        send(*next);
        take();
        return accepted.id != 0;
    };
    settings.firstSerialNum = 8;
    for (const quint32 last : {9U, 10U}) {
        settings.lastSerialNum = last;
        EXPECT_EQ(fits(), last == 10);
    }
    settings.lastSerialNum = 255;
    for (const int serialNumbers : {2, 3}) {
        settings.limits.serialNumbers = serialNumbers;
        EXPECT_EQ(fits(), serialNumbers == 3);
    }
    settings = {};

    restart(settings);
    EXPECT_EQ(engine->sendCombination({read.get(), write.get(), read.get()}, {}, now).sendError,
              SendError::TooManyItems);
    EXPECT_EQ(read->getSerialNum(), 77U);

    const auto refusalOf = [&](PackageBase *item) {
        restart(settings);
        const RequestId id = engine->sendCombination({item, read.get()}, {}, now).id;
        expectNothingToSend();
        const Event event = expectEnd(id, Outcome::Refused);
        EXPECT_EQ(expectEnd(id + 1, Outcome::Refused).sendError, event.sendError);
        EXPECT_EQ(engine->serialNumbers(), 0);
        return describe(event);
    };
    PackageRequestReadMemData memory(QStringLiteral("k"), 0, 0, 0, 0, 0, 0, 0, 0, 9,
                                     QStringLiteral("t"), 5, 1L);
    SpecialPackageRequest special(1, 0);
    EXPECT_EQ(refusalOf(&memory),
              QStringLiteral("refused: the peer would refuse it: item 1, type at 0: unknown class "
                             "PackageRequestReadMemData; expected one that a combination carries"));
    EXPECT_TRUE(refusalOf(&special).contains(QLatin1String("class SpecialPackageRequest;")));
    write->setTag(QStringLiteral("a|b"));
    EXPECT_TRUE(refusalOf(write.get()).contains(QLatin1String("item 1, too many")));
    write->setTag(QStringLiteral("a,b"));
    EXPECT_TRUE(
        refusalOf(write.get()).contains(QLatin1String("item 1, tag: out of range: a text")));
    write->setTag(QStringLiteral("a"));
    write->setReadWriteCode(OrvexEnum::Read);
    EXPECT_TRUE(refusalOf(write.get()).contains(QLatin1String("no form of the peer carries it")));
    restart(settings);
    const auto before = makeRead(Register, 3);
    engine->sendCombination({before.get(), read.get(), write.get()}, {}, now);
    expectNothingToSend();
    EXPECT_EQ(takeEvent().verdict.item, 3) << "as the record would have them";
    restart(settings);
    engine->cancel(engine->sendCombination({before.get(), read.get(), write.get()}, {}, now).id,
                   now);
    takeEvent();
    expectNothingToSend();
    EXPECT_EQ(takeEvent().verdict.item, 2) << "without the one that was cancelled";
    settings.forms = {Form::Frame, Form::Linux};
    const auto other = makeRead(Register, 3);
    EXPECT_EQ(
        refusalOf(other.get()),
        QStringLiteral("refused: no form of the peer carries it: the class has no such form"));
}

TEST_F(CombinationTest, WaitsForAsManySerialNumbersAsItHasItems)
{
    settings.lastSerialNum = 4;
    restart(Form::Text);
    const auto one = makeRead(Register, 3, "one");
    const auto two = makeRead(Register, 3, "two");
    send(*one);
    send(*two);
    const OutgoingMessage first = take();
    take();
    sendAll();
    expectNothingToSend();
    EXPECT_EQ(engine->serialNumbers(), 2) << "those that were drawn are free again";
    receive(first, replyTo(first));
    expectNothingToSend();
    setTime(ms(100));
    take();
    EXPECT_EQ(engine->serialNumbers(), 4);
}

TEST_F(CombinationTest, AReplyThatIsTooLongAnswersNone)
{
    read->setReplyDataLength(100);
    const RequestId first = sendAll();
    const OutgoingMessage probe = take();
    const std::vector<QByteArray> parts = repliesTo(probe);
    const QByteArray reply = parts[0] + '|' + parts[1] + '|' + parts[2];
    settings.limits.messageSize = static_cast<int>(qMax(probe.bytes.size(), reply.size() - 1));
    ASSERT_LT(settings.limits.messageSize, reply.size());
    restart(settings);
    ASSERT_EQ(sendAll(), first);
    const OutgoingMessage message = take();
    receive(message, reply);
    EXPECT_EQ(engine->counters().refusedReplies, 1U);
    expectNoEvent();
}

// What is counted and traced.

TEST_F(EngineTest, Counts)
{
    restart(Form::Frame);
    const auto read = makeRead(Register, 3);
    send(*read);
    const OutgoingMessage message = take();
    const QByteArray reply = replyTo(message);
    now = Time(1500);
    receive(message, reply);
    receive(message, reply);
    receive(message, "x");
    const Counters &counters = engine->counters();
    EXPECT_EQ(counters.sent, 1U);
    EXPECT_EQ(counters.repeated, 0U);
    EXPECT_EQ(counters.answered, 1U);
    EXPECT_EQ(counters.duplicate, 1U);
    EXPECT_EQ(counters.unknown, 1U);
    EXPECT_EQ(counters.late, 0U);
    EXPECT_EQ(counters.refusedReplies, 0U);
    EXPECT_EQ(counters.succeeded, 1U);
    EXPECT_EQ(counters.bytesSent, static_cast<quint64>(message.bytes.size()));
    EXPECT_EQ(counters.bytesReceived, 2U * static_cast<quint64>(reply.size()) + 1);
    EXPECT_EQ(counters.latency.total(), 1U);
    EXPECT_EQ(counters.latency.percentile(1), Time(2048));
}

} // namespace
