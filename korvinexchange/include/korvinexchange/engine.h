#ifndef KORVINEXCHANGE_ENGINE_H
#define KORVINEXCHANGE_ENGINE_H

#include "counters.h"
#include "korvinexchangeglobal.h"
#include "outcome.h"
#include "settings.h"
#include "trace.h"

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>

#include <memory>
#include <optional>
#include <vector>

class PackageBase;

namespace KorvinExchange {

class Transfer;

/// A message to send.
struct OutgoingMessage
{
    RequestId request = 0; ///< The request; for a combination, its first unfinished item.

    /// The shape of the message, for transports that transmit it. A combination has its own.
    KorvinInspect::MessageShape shape;

    int attempt = 1;  ///< Above 1 if the request is repeated.
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    Time due{0};      ///< When the time for its reply is over.
};

/// Whether an engine accepted a request.
struct Accepted
{
    RequestId id = 0;                      ///< 0 if the request was refused; then no event follows.
    SendError sendError = SendError::None; ///< Why the request was refused.
};

/// Matches requests and replies on one link to a peer.
///
/// The engine opens no socket, starts no thread, runs no timer and reads no clock. It turns
/// packages into messages to send, and received messages into finished requests. The caller passes
/// the time to each operation; nextTimeout() says when to call handleTimeout(). The same calls
/// always have the same results.
///
///     Engine engine;
///     engine.send(&read, {}, now());
///     while (const auto message = engine.takeMessage(now())) {
///         if (const auto bytes = framing.encode(message->bytes))
///             transport.write(*bytes);
///         else
///             engine.refuse(message->request, now());
///     }
///     for (const QByteArray &record : framing.receive(transport.readAll(), now()))
///         engine.receive(Form::Text, record, now());
///     while (const auto event = engine.takeEvent())
///         handle(*event);
///     if (const auto due = engine.nextTimeout())
///         timer.start(*due - now()); // and then engine.handleTimeout(now())
///
/// After each call of another operation, take the messages that the transport has room for, take
/// the events, and set the timer to nextTimeout(). While the transport is full, do not take
/// messages; requests that wait too long then time out without being sent.
///
/// **Packages** belong to the caller. Do not change a package until its request has finished.
/// Deleting it cancels the request. The engine sends it with a serial number of the link, and
/// restores the package's own serial number before takeMessage() returns. While a request is under
/// way, its communication result is pending. When it has finished, the package has its results (see
/// Outcome), a successful data read has its data, and a special request has the text of the reply.
/// No other field changes. A package that is sent again before its request has finished is refused
/// with `SendError::TooManyItems` and stays as it is.
///
/// **Replies** are compared with their request as far as the encoding allows.
/// KorvinInspect::check() must accept the reply for the class of the request; the serial number and
/// everything else that the reply repeats of the request (see CheckOptions::request) must be the
/// same; a successful data read must return as many bytes as were asked for. A reply that does not
/// match is counted and traced, and has no other effect.
///
/// | form        | shows                                  | cannot show                          |
/// |-------------|----------------------------------------|--------------------------------------|
/// | short frame | serial number                          | address; a bit that has flipped      |
/// | full frame  | request                                | a flipped bit in the results or data |
/// | Linux frame | serial number, address, direction, sum | two changes that cancel each other   |
/// | record      | request                                | a changed digit in results or data   |
///
/// The results of a full reply are read where an encoder writes them, not where the decoder of the
/// class reads them. A full reply with any other layout is refused.
///
/// **Serial numbers** are drawn one after the other. No number is in flight twice, and no number is
/// used again while a reply to its last request may still come (see Settings::rest and
/// Settings::restAfterReply). A special request has no serial number in a record. Therefore only
/// one is under way at a time, and its id rests like a serial number before it is used again. Until
/// then another request with this id waits, and special requests with other ids overtake it. After
/// a lost reply it may wait for all of Settings::rest. If that is longer than
/// Settings::queueTimeout (both are 60 s by default), it may end with `Outcome::TimedOut` without
/// having been sent: Event::attempts is 0.
///
/// **Order.** Requests are sent in the order in which they were accepted; special requests have an
/// order of their own for each id. Replies may come in any order.
///
/// An engine belongs to one thread at a time. Only its constructor throws. If memory runs out, a
/// request is refused, or a reply is treated as lost; every accepted request still ends exactly
/// once.
class KORVINEXCHANGE_EXPORT Engine
{
public:
    /// Makes an engine for a link that is up.
    explicit Engine(const Settings &settings = {});

    /// Does not change packages whose requests have not finished.
    ~Engine();

    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    /// Sends a request of any class.
    Accepted send(PackageBase *package, const RequestOptions &options, Time now);

    /// Sends several requests, of classes that a combination can carry, in one record. Each has an
    /// event of its own. Their ids are consecutive: @p packages[i] has the returned id plus i. No
    /// package may be there twice.
    ///
    /// The peer must reply with the replies of the items joined by "|". Each reply that matches
    /// ends its item, whatever happens to the others. A message of more replies than requests may
    /// be under way is refused.
    Accepted sendCombination(const std::vector<PackageBase *> &packages,
                             const RequestOptions &options, Time now);

    /// Begins a transfer. The options apply to each of its requests. If a write that may not be
    /// repeated is not answered, the transfer ends.
    ///
    /// A transfer that is not possible ends at once, with `Outcome::Refused`,
    /// `SendError::NotCarried`, and a verdict that names the field: its length is negative, its
    /// parts have less than one byte, or its register addresses or offsets are too large.
    Accepted start(const Transfer &transfer, const RequestOptions &options, Time now);

    /// Ends a request or transfer with `Outcome::Cancelled`. The peer may still carry out a request
    /// that was sent; its serial number rests.
    ///
    /// @return false if the request or transfer has ended already.
    bool cancel(RequestId id, Time now);

    /// Ends a request or transfer, with all items of its message, that takeMessage() has handed out
    /// and the transport cannot carry: with `Outcome::Refused` and `SendError::NotCarried`.
    void refuse(RequestId id, Time now);

    /// Ends all requests and transfers with `Outcome::LinkLost` and frees all serial numbers. Call
    /// it when a connection has ended, so that no reply to these requests can come any more. Do not
    /// call it if the link may still deliver earlier messages.
    void linkLost(Time now);

    /// Returns the next message to send, and counts it as sent; returns nothing if no message may
    /// be sent now.
    std::optional<OutgoingMessage> takeMessage(Time now);

    /// Handles a message that was received.
    ///
    /// @param classId is the class of the message, if the transport says it. A reply of another
    ///     class than its request is refused.
    void receive(KorvinInspect::Form form, const QByteArray &message, Time now,
                 std::optional<KorvinInspect::ClassId> classId = {});

    /// Returns when to call handleTimeout() and then takeMessage(); nothing if there is no need to.
    std::optional<Time> nextTimeout() const;

    /// Ends requests that have taken too long. Every operation with the parameter @p now does this.
    void handleTimeout(Time now);

    /// Returns the oldest event that was not taken yet.
    std::optional<Event> takeEvent();

    /// Returns the counts of all events so far.
    const Counters &counters() const;

    /// Reports all messages to @p trace from now on; null ends this. It must outlive the engine.
    void setTrace(Trace *trace);

    int inFlight() const;         ///< Requests under way, including items of combinations.
    int queued() const;           ///< The number that Limits::queued limits.
    qint64 bytesInFlight() const; ///< The number that Limits::bytesInFlight limits.
    int serialNumbers() const;    ///< Serial numbers in use or resting.

private:
    std::unique_ptr<class EnginePrivate> d;
};

} // namespace KorvinExchange

#endif
