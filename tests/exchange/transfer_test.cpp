// Transfers: their requests, their data, and how they end.

#include "exchangesupport.h"

#include <korvinsimulator/simulateddevice.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>

#include <QtCore/QStringList>

namespace {

using namespace KorvinSimulator;

constexpr quint32 Register = 0x0A00FFF8; // whose low word ends soon
constexpr UnitAddress Here{0, 255, 1, 2, 65535};
constexpr int PartSize = 10;

/// Numbers that differ from each other.
QByteArray bytes(int size)
{
    QByteArray data;
    for (int i = 0; i < size; ++i)
        data.append(static_cast<char>(i * 7 + 1));
    return data;
}

template <typename Package, typename... Arguments>
std::unique_ptr<Package> make(const Arguments &...arguments)
{
    auto package = makeRequest<Package>(Register, "t", arguments...);
    package->setMaxPartSize(PartSize);
    return package;
}

std::unique_ptr<PackageRequestWriteFile> makeFileWrite(int offset = 0, bool isBroadcast = false)
{
    return make<PackageRequestWriteFile>(isBroadcast, QStringLiteral("f"), offset);
}

/// A short description of a request.
QString shortly(const OutgoingMessage &message)
{
    std::unique_ptr<PackageBase> package;
    EXPECT_TRUE(decodeMessage(message.bytes, message.shape, &package).isOk());
    const auto field = [&](const char *name) {
        const PackageField *known = packageClass(message.shape.classId)->field(QLatin1String(name));
        return known ? QLatin1Char(' ') + known->get(*package).toVariant().toString() : QString();
    };
    const QString data = message.shape.classId == ClassId::PackageRequestWriteData
        ? QLatin1Char(' ') + QString::fromLatin1(package->data().toHex())
        : field("replyDataLength") + field("packageDataLength");
    return message.shape.form == Form::Text && message.shape.classId == ClassId::PackageBase
        ? QString()
        : className(message.shape.classId).mid(14) + QLatin1Char(' ')
            + QString::number(package->getHighAddr(), 16) + QLatin1Char(':')
            + QString::number(package->getLowAddr(), 16) + field("offset") + data;
}

class TransferTest : public EngineTest
{
protected:
    TransferTest()
    {
        DeviceState state;
        Unit &unit = state.units[Here];
        unit.blocks[Register] = {QByteArray(200, '\0')};
        unit.memory = QByteArray(200, 'm');
        unit.files[QStringLiteral("f")] = bytes(35);
        device.state() = state;
    }

    Unit &unit() { return device.state().units[Here]; }

    RequestId start(const Transfer &transfer, const RequestOptions &options = {})
    {
        const Accepted accepted = engine->start(transfer, options, now);
        EXPECT_EQ(accepted.sendError, SendError::None);
        return accepted.id;
    }

    /// Lets the device answer all that is sent, one after the other.
    void run()
    {
        while (const auto message = engine->takeMessage(now)) {
            asked << shortly(*message);
            mostInFlight = qMax(mostInFlight, engine->inFlight());
            const Answer answer =
                device.answer(message->bytes, message->shape.classId, message->shape.form);
            for (const QByteArray &reply : answer.replies)
                receive(*message, reply);
        }
    }

    /// The event that ends a transfer, after those of its progress.
    Event end(RequestId id)
    {
        Event event = takeEvent();
        while (event.type == Event::Type::Progress) {
            EXPECT_EQ(event.id, id);
            progress << static_cast<int>(event.done);
            event = takeEvent();
        }
        EXPECT_EQ(event.id, id);
        expectNoEvent();
        return event;
    }

    void expectSuccess(RequestId id)
    {
        const Event event = end(id);
        EXPECT_EQ(event.outcome, Outcome::Success) << describe(event).toStdString();
        EXPECT_EQ(event.failedOffset, -1);
        EXPECT_EQ(event.done, event.total);
        EXPECT_TRUE(event.package->isPackageSuccess());
        EXPECT_TRUE(event.package->partSendComplete(event.package->getCurPartIndex()));
        EXPECT_EQ(engine->inFlight(), 0);
        EXPECT_EQ(engine->queued(), 0);
    }

    SimulatedDevice device;
    QStringList asked;
    QList<int> progress;
    int mostInFlight = 0;
};

TEST_F(TransferTest, WritesDataInParts)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestWriteData>(false, bytes(25), 25);
    package->setSerialNum(77);
    const RequestId id = start(Transfer::writeData(package.get()));
    EXPECT_EQ(id, 1U);
    EXPECT_EQ(package->getPartCount(), 3);
    EXPECT_EQ(package->getCommResult(), OrvexEnum::CommPending);
    run();
    EXPECT_EQ(asked,
              (QStringList{QStringLiteral("WriteData a00:fff8 01080f161d242b323940"),
                           QStringLiteral("WriteData a01:2 474e555c636a71787f86"),
                           QStringLiteral("WriteData a01:c 8d949ba2a9")}));
    expectSuccess(id);
    EXPECT_EQ(unit().blocks[Register].data.left(25), bytes(25));
    EXPECT_EQ(package->getSerialNum(), 77U);
    EXPECT_EQ(package->getPartCount(), 3);
    EXPECT_EQ(package->getCurPartIndex(), 3);
    EXPECT_EQ(package->getLowAddr(), 0xFFF8);
    EXPECT_EQ(package->data(), bytes(25));
}

TEST_F(TransferTest, ReadsDataInParts)
{
    restart(Form::Linux);
    unit().blocks[Register].data = bytes(200);
    const auto package = make<PackageRequestReadData>(20);
    const RequestId id = start(Transfer::readData(package.get()));
    run();
    EXPECT_EQ(
        asked,
        (QStringList{QStringLiteral("ReadData a00:fff8 10"), QStringLiteral("ReadData a01:2 10")}));
    expectSuccess(id);
    EXPECT_EQ(package->data(), bytes(20));
    EXPECT_EQ(package->getReplyDataLength(), 20);
    EXPECT_EQ(package->getPartCount(), 2);
}

TEST_F(TransferTest, WritesAFileByWayOfItsRegister)
{
    restart(Form::Text);
    const auto package = makeFileWrite();
    const RequestId id = start(Transfer::writeFile(package.get(), bytes(15)));
    run();
    EXPECT_EQ(asked,
              (QStringList{QStringLiteral("WriteData a00:fff8 01080f161d242b323940"),
                           QStringLiteral("WriteFile a00:fff8 0"),
                           QStringLiteral("WriteData a00:fff8 474e555c63"),
                           QStringLiteral("WriteFile a00:fff8 10")}));
    EXPECT_EQ(mostInFlight, 1);
    expectSuccess(id);
    EXPECT_EQ(unit().files[QStringLiteral("f")], bytes(15));
    // The rest of a file.
    const auto more = makeFileWrite(15);
    const RequestId next = start(Transfer::writeFile(more.get(), "abc"));
    run();
    expectSuccess(next);
    EXPECT_EQ(unit().files[QStringLiteral("f")], bytes(15) + "abc");
}

TEST_F(TransferTest, AnEmptyFileIsAFile)
{
    for (const auto &forms : {std::vector<Form>{Form::Frame, Form::Text}, {Form::Text}}) {
        settings.forms = forms;
        restart(settings);
        asked.clear();
        unit().files.clear();
        const auto package = makeFileWrite();
        const RequestId id = start(Transfer::writeFile(package.get(), {}));
        run();
        QStringList expected{QStringLiteral("WriteFile a00:fff8 0")};
        if (forms.size() > 1) // records cannot empty the buffer
            expected.prepend(QStringLiteral("WriteData a00:fff8 "));
        EXPECT_EQ(asked, expected);
        expectSuccess(id);
        ASSERT_TRUE(unit().files.contains(QStringLiteral("f")));
        EXPECT_EQ(unit().files[QStringLiteral("f")], QByteArray());
        EXPECT_EQ(package->getPartCount(), 0);
        // Whatever the buffer was filled with.
        unit().blocks[Register].filled = forms.size() > 1 ? 5 : 0;

        asked.clear();
        const auto read = make<PackageRequestReadFile>(0, QStringLiteral("f"));
        const RequestId reading = start(Transfer::readFile(read.get()));
        run();
        EXPECT_EQ(asked, QStringList{QStringLiteral("ReadFile a00:fff8 0")});
        EXPECT_EQ(end(reading).outcome, Outcome::Success);
        unit().files.clear();
        const RequestId missing = start(Transfer::readFile(read.get()));
        run();
        EXPECT_EQ(end(missing).outcome, Outcome::Failure);
    }
}

TEST_F(TransferTest, ABufferIsEmptiedOnlyWhereAFormCarriesThat)
{
    const auto stepsOf = [this](const std::vector<Form> &forms, PackageRequestWriteFile *package) {
        settings.forms = forms;
        restart(settings);
        asked.clear();
        unit().files.clear();
        const RequestId id = start(Transfer::writeFile(package, {}));
        run();
        expectSuccess(id);
        EXPECT_TRUE(unit().files.contains(QStringLiteral("f")));
        return asked.size();
    };
    const auto package = makeFileWrite();
    EXPECT_EQ(stepsOf({Form::Linux, Form::Text}, package.get()), 2);
    const auto broadcast = makeFileWrite(0, true);
    EXPECT_EQ(stepsOf({Form::Linux, Form::Text}, broadcast.get()), 1) << "not in a Linux frame";
    EXPECT_EQ(stepsOf({Form::Frame, Form::Text}, broadcast.get()), 2);
    package->setTag(QString(QChar::ByteOrderMark));
    EXPECT_EQ(stepsOf({Form::Frame, Form::Text}, package.get()), 1) << "not with this tag";
}

TEST_F(TransferTest, ReadsAFileByWayOfItsRegister)
{
    restart(Form::Text);
    const auto package = make<PackageRequestReadFile>(25, QStringLiteral("f"));
    const RequestId id = start(Transfer::readFile(package.get()));
    const OutgoingMessage first = take();
    expectNothingToSend(); // until the buffer is filled
    receive(first, device.answer(first.bytes, first.shape.classId, Form::Text).replies.at(0));
    run();
    EXPECT_EQ(shortly(first), QStringLiteral("ReadFile a00:fff8 25"));
    EXPECT_EQ(
        asked,
        (QStringList{QStringLiteral("ReadData a00:fff8 10"), QStringLiteral("ReadData a01:2 10"),
                     QStringLiteral("ReadData a01:c 5")}));
    const Event event = end(id);
    EXPECT_EQ(event.outcome, Outcome::Success);
    EXPECT_EQ(event.data, bytes(25));
    EXPECT_EQ(event.total, 25);
}

TEST_F(TransferTest, WritesMemoryByWayOfItsRegister)
{
    restart(Form::Text);
    const auto package = make<PackageRequestWriteMemData>(false, 7L, 99);
    const RequestId id = start(Transfer::writeMemory(package.get(), bytes(15)));
    run();
    EXPECT_EQ(asked,
              (QStringList{QStringLiteral("WriteData a00:fff8 01080f161d242b323940"),
                           QStringLiteral("WriteMemData a00:fff8 7 10"),
                           QStringLiteral("WriteData a00:fff8 474e555c63"),
                           QStringLiteral("WriteMemData a00:fff8 17 5")}));
    expectSuccess(id);
    EXPECT_EQ(unit().memory.mid(5, 19), "mm" + bytes(15) + "mm");
    EXPECT_EQ(package->getPackageDataLength(), 99);
    EXPECT_EQ(package->offset(), 7);
}

TEST_F(TransferTest, ReadsMemoryByWayOfItsRegister)
{
    restart(Form::Text);
    unit().memory.replace(7, 15, bytes(15));
    const auto package = make<PackageRequestReadMemData>(15, 7L);
    const RequestId id = start(Transfer::readMemory(package.get()));
    run();
    EXPECT_EQ(asked,
              (QStringList{QStringLiteral("ReadMemData a00:fff8 7 10"),
                           QStringLiteral("ReadData a00:fff8 10"),
                           QStringLiteral("ReadMemData a00:fff8 17 5"),
                           QStringLiteral("ReadData a00:fff8 5")}));
    const Event event = end(id);
    EXPECT_EQ(event.outcome, Outcome::Success);
    EXPECT_EQ(event.data, bytes(15));
    EXPECT_EQ(package->offset(), 7);
    EXPECT_EQ(package->getReplyDataLength(), 15);
}

TEST_F(TransferTest, BroadcastIsBroadcast)
{
    restart(Form::Text);
    const auto package = makeFileWrite(0, true);
    start(Transfer::writeFile(package.get(), bytes(15)));
    for (int i = 0; i < 4; ++i) {
        const OutgoingMessage message = take();
        EXPECT_TRUE(message.bytes.contains(",true,")) << message.bytes.constData();
        receive(message, replyTo(message));
    }
    const auto data = make<PackageRequestWriteData>(true, bytes(5), 5);
    start(Transfer::writeData(data.get()));
    EXPECT_TRUE(take().bytes.contains(",true,"));
}

TEST_F(TransferTest, ARegisterThatDoesNotAdvanceIsWrittenInOrder)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestWriteData>(false, bytes(15), 15);
    package->setIsRegisterAddrSelfIncreasing(false);
    const RequestId id = start(Transfer::writeData(package.get()));
    run();
    EXPECT_EQ(asked,
              (QStringList{QStringLiteral("WriteData a00:fff8 01080f161d242b323940"),
                           QStringLiteral("WriteData a00:fff8 474e555c63")}));
    EXPECT_EQ(mostInFlight, 1);
    expectSuccess(id);
}

TEST_F(TransferTest, SeveralPartsAreInFlight)
{
    restart(Form::Frame);
    unit().blocks[Register].data = bytes(200);
    const auto package = make<PackageRequestReadData>(95);
    Transfer transfer = Transfer::readData(package.get());
    EXPECT_EQ(transfer.window(), 4);
    transfer.setWindow(3);
    const RequestId id = start(transfer);
    std::vector<OutgoingMessage> messages{take(), take(), take()};
    expectNothingToSend();
    EXPECT_EQ(engine->queued(), 1);
    for (const OutgoingMessage &message : messages)
        EXPECT_EQ(message.request, id);
    // In any order: only bytes without a gap from the beginning count.
    const auto answerTo = [&](std::size_t index) {
        const OutgoingMessage &message = messages[index];
        receive(message,
                device.answer(message.bytes, message.shape.classId, Form::Frame).replies.at(0));
    };
    answerTo(1);
    expectNoEvent();
    EXPECT_EQ(package->getCurPartIndex(), 0);
    messages.push_back(take());
    expectNothingToSend();
    answerTo(0);
    Event event = takeEvent();
    EXPECT_EQ(event.type, Event::Type::Progress);
    EXPECT_EQ(describe(event), QStringLiteral("20 of 95 bytes"));
    EXPECT_EQ(event.package, package.get());
    EXPECT_EQ(package->getCurPartIndex(), 2);
    expectNoEvent();
    // Progress that nobody has taken is reported once.
    answerTo(2);
    answerTo(3);
    event = takeEvent();
    EXPECT_EQ(event.done, 40);
    expectNoEvent();
    run();
    expectSuccess(id);
    EXPECT_EQ(progress, QList<int>{95});
    EXPECT_EQ(package->data(), bytes(95));
}

TEST_F(TransferTest, OtherRequestsGoOnMeanwhile)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(95);
    const auto read = make<PackageRequestReadData>(3);
    start(Transfer::readData(package.get()));
    const RequestId other = send(*read);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(take().request, 1U);
    EXPECT_EQ(take().request, other);
}

TEST_F(TransferTest, DoesNotFillTheQueueWithItsParts)
{
    settings.limits.inFlight = 2;
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(95);
    package->setMaxPartSize(1);
    Transfer transfer = Transfer::readData(package.get());
    transfer.setWindow(95);
    start(transfer);
    const auto read = make<PackageRequestReadData>(3);
    const RequestId other = send(*read);
    const OutgoingMessage message = take();
    take();
    receive(message, replyTo(message));
    EXPECT_EQ(take().request, other) << "after as many parts as may be in flight";
}

// How they end otherwise.

TEST_F(TransferTest, TheFirstPartThatFailsSaysWhere)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(95);
    const RequestId id = start(Transfer::readData(package.get()));
    std::vector<OutgoingMessage> messages{take(), take(), take(), take()};
    receive(messages[0], replyTo(messages[0]));
    messages.push_back(take());
    const auto fail = [&](std::size_t index, uint ackCode) {
        receive(
            messages[index],
            replyTo(messages[index], failing(ackCode, OrvexEnum::CommOk, OrvexEnum::PackMemErr)));
    };
    fail(3, 9);
    expectNothingToSend(); // nothing more is begun
    receive(messages[1], replyTo(messages[1]));
    fail(2, 8);
    receive(messages[4], replyTo(messages[4]));
    const Event event = end(id);
    EXPECT_EQ(describe(event), QStringLiteral("failure at byte 20"));
    EXPECT_EQ(event.failedOffset, 20);
    EXPECT_EQ(event.done, 20);
    EXPECT_EQ(event.total, 95);
    EXPECT_EQ(event.data, dataAt(Register, 10) + dataAt(Register + 10, 10));
    EXPECT_EQ(package->getAckCode(), 8U);
    EXPECT_EQ(package->getPackResult(), OrvexEnum::PackMemErr);
    EXPECT_EQ(package->data(), QByteArray());
    EXPECT_EQ(package->getCurPartIndex(), 2);
    EXPECT_FALSE(package->partSendComplete(package->getCurPartIndex()));
    EXPECT_EQ(engine->queued(), 0);
}

TEST_F(TransferTest, AWriteThatIsNotAnsweredEndsIt)
{
    restart(Form::Text);
    const auto package = makeFileWrite();
    const RequestId id = start(Transfer::writeFile(package.get(), bytes(15)));
    for (int i = 0; i < 3; ++i) {
        const OutgoingMessage message = take();
        receive(message, replyTo(message));
    }
    take();
    setTime(ms(3000));
    const Event event = end(id);
    EXPECT_EQ(describe(event), QStringLiteral("timed out at byte 10"));
    EXPECT_EQ(package->getCommResult(), OrvexEnum::CommTimeout);
    expectNothingToSend();
}

TEST_F(TransferTest, AWriteThatMayBeRepeatedIs)
{
    restart(Form::Text);
    RequestOptions options;
    options.repeat = Repeat::Always;
    options.timeout = std::chrono::milliseconds(10);
    const auto package = makeFileWrite();
    const RequestId id = start(Transfer::writeFile(package.get(), bytes(15)), options);
    const OutgoingMessage message = take();
    setTime(ms(10));
    setTime(ms(110));
    EXPECT_EQ(take().bytes, message.bytes);
    receive(message, device.answer(message.bytes, message.shape.classId, Form::Text).replies.at(0));
    run();
    expectSuccess(id);
}

TEST_F(TransferTest, ARefusedReplySaysWhy)
{
    restart(Form::Text);
    settings.retry.attempts = 1;
    restart(settings);
    const auto package = make<PackageRequestReadData>(5);
    const RequestId id = start(Transfer::readData(package.get()));
    const OutgoingMessage message = take();
    receive(message, replyTo(message).replace(",t,", ",u,"));
    setTime(ms(3000));
    EXPECT_EQ(describe(end(id)),
              QStringLiteral("refused reply at byte 0: tag at 12: not that of the request: \"t\" "
                             "expected, \"u\" found"));
    EXPECT_EQ(package->getPackResult(), OrvexEnum::PackParseFailure);
}

TEST_F(TransferTest, CanBeCancelled)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(95);
    const RequestId id = start(Transfer::readData(package.get()));
    std::vector<OutgoingMessage> messages{take(), take(), take()};
    receive(messages[0], replyTo(messages[0]));
    EXPECT_TRUE(engine->cancel(id, now)); // two in flight, two wait
    const Event event = end(id);
    EXPECT_EQ(describe(event), QStringLiteral("cancelled at byte 10"));
    EXPECT_EQ(event.data, dataAt(Register, 10));
    EXPECT_EQ(package->getPackResult(), OrvexEnum::PackForceCancel);
    EXPECT_FALSE(engine->cancel(id, now));
    EXPECT_EQ(engine->inFlight(), 0);
    EXPECT_EQ(engine->bytesInFlight(), 0);
    EXPECT_EQ(engine->serialNumbers(), 3);
    expectNothingToSend();
    receive(messages[1], replyTo(messages[1]));
    EXPECT_EQ(engine->counters().late, 1U);
    expectNoEvent();
}

TEST_F(TransferTest, EndsWithTheLink)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(95);
    const RequestId id = start(Transfer::readData(package.get()));
    take();
    take();
    engine->linkLost(now);
    const Event event = end(id);
    EXPECT_EQ(describe(event), QStringLiteral("link lost at byte 0"));
    EXPECT_EQ(package->getPackResult(), OrvexEnum::PackDisConnect);
    EXPECT_EQ(engine->queued(), 0);
}

TEST_F(TransferTest, EndsWithItsPackage)
{
    restart(Form::Frame);
    auto package = make<PackageRequestReadData>(95);
    const RequestId id = start(Transfer::readData(package.get()));
    const OutgoingMessage message = take();
    package.reset();
    receive(message, replyTo(message));
    expectNothingToSend(); // of the three that wait
    const Event event = end(id);
    EXPECT_EQ(describe(event), QStringLiteral("cancelled at byte 10"));
    EXPECT_EQ(event.package, nullptr);
    EXPECT_EQ(event.data.size(), 10);
}

TEST_F(TransferTest, OfAPackageThatIsGoneRepeatsNothing)
{
    RequestOptions options;
    options.repeat = Repeat::Always;
    for (const int time : {0, 3100}) { // in flight, and ready to be repeated
        now = Time(0);
        restart(Form::Frame);
        auto package = make<PackageRequestWriteData>(false, bytes(5), 5);
        const RequestId id = start(Transfer::writeData(package.get()), options);
        take();
        if (time > 0)
            setTime(ms(3000));
        setTime(ms(time));
        package.reset();
        setTime(qMax(now, ms(3000)));
        setTime(ms(3100));
        expectNothingToSend();
        EXPECT_EQ(describe(end(id)), QStringLiteral("cancelled at byte 0"));
    }
    // Its last reply does not make a success of it, as with any request.
    restart(Form::Frame);
    auto package = make<PackageRequestWriteData>(false, bytes(5), 5);
    const RequestId id = start(Transfer::writeData(package.get()));
    const OutgoingMessage message = take();
    package.reset();
    receive(message, replyTo(message));
    EXPECT_EQ(end(id).outcome, Outcome::Cancelled);
}

TEST_F(TransferTest, TakesARegisterThatDoesNotAdvanceOnce)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(15);
    package->setIsRegisterAddrSelfIncreasing(false);
    const RequestId id = start(Transfer::readData(package.get()));
    take(); // its reply is lost, and with it what the device has taken out of the register
    setTime(ms(3000));
    setTime(ms(3100));
    expectNothingToSend();
    EXPECT_EQ(describe(end(id)), QStringLiteral("timed out at byte 0"));
}

TEST_F(TransferTest, OfNoBytesSucceedsAtOnce)
{
    const auto write = make<PackageRequestWriteData>(false, QByteArray(), 0);
    const auto read = make<PackageRequestReadData>(0);
    const auto memoryRead = make<PackageRequestReadMemData>(0, 5L);
    const auto memoryWrite = make<PackageRequestWriteMemData>(false, 5L, 7);
    for (const Transfer &transfer :
         {Transfer::writeData(write.get()), Transfer::readData(read.get()),
          Transfer::readMemory(memoryRead.get()), Transfer::writeMemory(memoryWrite.get(), {})}) {
        const RequestId id = start(transfer);
        expectNothingToSend();
        expectSuccess(id);
    }
}

TEST_F(TransferTest, RefusesWhatCannotBe)
{
    const auto refusalOf = [&](const Transfer &transfer) {
        const RequestId id = start(transfer);
        const std::optional<Event> event = engine->takeEvent();
        if (!event) {
            engine->linkLost(now);
            takeEvent();
            return QString();
        }
        EXPECT_EQ(event->id, id);
        EXPECT_EQ(event->outcome, Outcome::Refused);
        EXPECT_EQ(event->package, transfer.package());
        EXPECT_EQ(event->package->getPackResult(), OrvexEnum::PackSendError);
        EXPECT_EQ(event->package->getPartCount(), 77) << "nothing was begun";
        EXPECT_EQ(event->done, 0);
        EXPECT_EQ(event->failedOffset, 0);
        EXPECT_GE(event->total, 0);
        const QString text = describe(*event);
        const QString prefix =
            QStringLiteral("refused at byte 0: no form of the peer carries it: ");
        EXPECT_TRUE(text.startsWith(prefix)) << text.toStdString();
        return text.mid(prefix.size());
    };
    const auto refusal = [](const char *field, const char *expected, const char *found) {
        return QStringLiteral("%1: out of range: %2 expected, %3 found")
            .arg(QLatin1String(field), QLatin1String(expected), QLatin1String(found));
    };
    const auto read = make<PackageRequestReadData>(-1);
    read->setPartCount(77);
    EXPECT_EQ(refusalOf(Transfer::readData(read.get())),
              refusal("replyDataLength", "0 to 2147483647", "-1"));
    read->setReplyDataLength(1);
    for (const int size : {0, -1}) {
        read->setMaxPartSize(size);
        EXPECT_EQ(refusalOf(Transfer::readData(read.get())),
                  refusal("maxPartSize", "1 to 2147483647", size == 0 ? "0" : "-1"));
    }
    EXPECT_EQ(engine->counters().refused, 3U);
    // Up to the last register.
    const auto write = make<PackageRequestWriteData>(false, bytes(25), 25);
    write->setHighAddr(0xFFFF);
    write->setLowAddr(0xFFE7);
    EXPECT_EQ(refusalOf(Transfer::writeData(write.get())), QString());
    write->setLowAddr(0xFFE8);
    write->setPartCount(77);
    EXPECT_EQ(refusalOf(Transfer::writeData(write.get())),
              refusal("lowAddr", "a register address of 0 to 0xFFFFFFE7", "0xFFFFFFE8"));
    write->setIsRegisterAddrSelfIncreasing(false);
    EXPECT_EQ(refusalOf(Transfer::writeData(write.get())), QString());
    const auto file = makeFileWrite(2147483647 - 15);
    file->setHighAddr(0xFFFF);
    file->setLowAddr(0xFFF6);
    EXPECT_EQ(refusalOf(Transfer::writeFile(file.get(), bytes(15))), QString());
    file->setPartCount(77);
    EXPECT_EQ(refusalOf(Transfer::writeFile(file.get(), bytes(16))),
              refusal("offset", "0 to 2147483631", "2147483632"));
    file->setLowAddr(0xFFF7);
    EXPECT_EQ(refusalOf(Transfer::writeFile(file.get(), bytes(15))),
              refusal("lowAddr", "a register address of 0 to 0xFFFFFFF6", "0xFFFFFFF7"));
    const auto memory = make<PackageRequestReadMemData>(1, std::numeric_limits<long>::max());
    memory->setPartCount(77);
    EXPECT_EQ(refusalOf(Transfer::readMemory(memory.get())),
              refusal("offset", "0 to 2147483646", "9223372036854775807"));

    settings.limits.queued = 1;
    restart(settings);
    const auto most = make<PackageRequestReadData>(50);
    start(Transfer::readData(most.get()));
    EXPECT_EQ(engine->start(Transfer::readData(read.get()), {}, now).sendError,
              SendError::QueueFull);
    EXPECT_EQ(read->getPackResult(), OrvexEnum::PackSendError);
}

TEST_F(TransferTest, APartThatCannotBeSentEndsIt)
{
    restart(Form::Frame); // which carries no file writes
    const auto package = makeFileWrite();
    const RequestId id = start(Transfer::writeFile(package.get(), bytes(15)));
    run();
    EXPECT_EQ(describe(end(id)),
              QStringLiteral("refused at byte 0: no form of the peer carries it: fileNameWithPath: "
                             "out of range: \"\" expected, \"f\" found"));
}

TEST_F(TransferTest, ProgressThatIsNotTakenIsToldBeforeTheEnd)
{
    restart(Form::Frame);
    const auto package = make<PackageRequestReadData>(25);
    const RequestId id = start(Transfer::readData(package.get()));
    run();
    EXPECT_EQ(engine->queued(), 2);
    expectSuccess(id);
    EXPECT_EQ(progress, QList<int>{25});
}

} // namespace
