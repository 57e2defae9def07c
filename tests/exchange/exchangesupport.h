#ifndef EXCHANGESUPPORT_H
#define EXCHANGESUPPORT_H

#include "testsupport.h"

#include <korvinexchange/engine.h>
#include <korvinexchange/transfer.h>
#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <functional>
#include <memory>
#include <vector>

/// @file
/// Shared by the tests of the engine: requests, a peer that answers them, and names in messages.

using namespace KorvinExchange;

namespace KorvinExchange {

inline void PrintTo(Outcome outcome, std::ostream *out)
{
    Event event;
    event.outcome = outcome;
    *out << describe(event).toStdString();
}

inline void PrintTo(SendError sendError, std::ostream *out)
{
    *out << describe(sendError).toStdString();
}

} // namespace KorvinExchange

constexpr Time ms(int count)
{
    return std::chrono::milliseconds(count);
}

/// A request to a register, with the last arguments of its constructor.
template <typename Package, typename... Arguments>
std::unique_ptr<Package> makeRequest(quint32 address, const char *tag,
                                     const Arguments &...arguments)
{
    auto package = std::make_unique<Package>(
        QStringLiteral("k"), 0, 255, 1, 2, 65535, static_cast<ushort>(address >> 16),
        static_cast<ushort>(address), 0, 9, QLatin1String(tag), arguments...);
    package->setSerialNum(77);
    return package;
}

/// A read of a register with a tag.
std::unique_ptr<PackageRequestReadData> makeRead(quint32 address, int length,
                                                 const char *tag = "tag");

std::unique_ptr<PackageRequestWriteData> makeWrite(quint32 address, const QByteArray &data,
                                                   const char *tag = "tag");

/// The data that replyTo() gives to makeRead(): bytes that show the address.
QByteArray dataAt(quint32 address, int length);

using CarryOut = std::function<void(PackageBase &)>;

/// The reply of a peer, with the data of dataAt(); @p carryOut may change it.
QByteArray replyTo(const QByteArray &request, const MessageShape &shape,
                   const CarryOut &carryOut = {}, ReplySize size = ReplySize::Short);

inline QByteArray replyTo(const OutgoingMessage &message, const CarryOut &carryOut = {},
                          ReplySize size = ReplySize::Short)
{
    return replyTo(message.bytes, message.shape, carryOut, size);
}

/// Results as a peer tells them.
CarryOut failing(uint ackCode, OrvexEnum::CommResults comm, OrvexEnum::PackageResults pack);

/// An engine and its events, with a clock that the test sets.
class EngineTest : public testing::Test
{
protected:
    void restart(const Settings &settings);

    /// An engine that takes requests in one form only.
    void restart(Form form);

    RequestId send(PackageBase &package, const RequestOptions &options = {});

    /// Returns the next message, which must exist.
    OutgoingMessage take();

    /// Expects that no message may be sent.
    void expectNothingToSend();

    void receive(const OutgoingMessage &request, const QByteArray &reply);

    /// Returns the next event, which must exist.
    Event takeEvent();

    void expectNoEvent();

    /// Expects the next event to have this content.
    Event expectEnd(RequestId id, Outcome outcome);

    /// Sets the clock, and tells the engine.
    void setTime(Time time);

    Settings settings;
    Time now{0};
    std::unique_ptr<Engine> engine = std::make_unique<Engine>(settings);
};

#endif
