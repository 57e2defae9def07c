#include "exchangesupport.h"

std::unique_ptr<PackageRequestReadData> makeRead(quint32 address, int length, const char *tag)
{
    return makeRequest<PackageRequestReadData>(address, tag, length);
}

std::unique_ptr<PackageRequestWriteData> makeWrite(quint32 address, const QByteArray &data,
                                                   const char *tag)
{
    return makeRequest<PackageRequestWriteData>(address, tag, false, data,
                                                static_cast<int>(data.size()));
}

QByteArray dataAt(quint32 address, int length)
{
    QByteArray data;
    for (int i = 0; i < length; ++i) {
        const quint32 at = address + static_cast<quint32>(i);
        data.append(static_cast<char>(at ^ at >> 8 ^ at >> 16));
    }
    return data;
}

QByteArray replyTo(const QByteArray &request, const MessageShape &shape, const CarryOut &carryOut,
                   ReplySize size)
{
    std::unique_ptr<PackageBase> package;
    const Verdict verdict = decodeMessage(request, shape, &package);
    EXPECT_TRUE(verdict.isOk()) << describe(verdict).toStdString();
    if (auto *read = qobject_cast<PackageRequestReadData *>(package.get())) {
        const quint32 address = quint32(read->getHighAddr()) << 16 | read->getLowAddr();
        read->setData(dataAt(address, read->getReplyDataLength()));
    }
    if (carryOut)
        carryOut(*package);
    QByteArray reply;
    EXPECT_TRUE(encodePackage(*package, {shape.form, Direction::Reply, size}, &reply).isOk());
    return reply;
}

CarryOut failing(uint ackCode, OrvexEnum::CommResults comm, OrvexEnum::PackageResults pack)
{
    return [=](PackageBase &package) {
        package.setAckCode(ackCode);
        package.setCommResult(comm);
        package.setPackResult(pack);
    };
}

void EngineTest::restart(const Settings &newSettings)
{
    settings = newSettings;
    engine = std::make_unique<Engine>(settings);
}

void EngineTest::restart(Form form)
{
    settings.forms = {form};
    restart(settings);
}

RequestId EngineTest::send(PackageBase &package, const RequestOptions &options)
{
    const Accepted accepted = engine->send(&package, options, now);
    EXPECT_EQ(accepted.sendError, SendError::None);
    return accepted.id;
}

OutgoingMessage EngineTest::take()
{
    const std::optional<OutgoingMessage> message = engine->takeMessage(now);
    EXPECT_TRUE(message);
    return message.value_or(OutgoingMessage());
}

void EngineTest::expectNothingToSend()
{
    EXPECT_FALSE(engine->takeMessage(now));
}

void EngineTest::receive(const OutgoingMessage &request, const QByteArray &reply)
{
    engine->receive(request.shape.form, reply, now);
}

Event EngineTest::takeEvent()
{
    const std::optional<Event> event = engine->takeEvent();
    EXPECT_TRUE(event);
    return event.value_or(Event());
}

void EngineTest::expectNoEvent()
{
    EXPECT_FALSE(engine->takeEvent());
}

Event EngineTest::expectEnd(RequestId id, Outcome outcome)
{
    const Event event = takeEvent();
    EXPECT_EQ(event.type, Event::Type::Finished);
    EXPECT_EQ(event.id, id);
    EXPECT_EQ(event.outcome, outcome);
    return event;
}

void EngineTest::setTime(Time time)
{
    now = time;
    engine->handleTimeout(now);
}
