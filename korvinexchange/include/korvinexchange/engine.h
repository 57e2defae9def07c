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
    RequestId request = 0; ///< The request; of a combination the first item that is in it.

    /// What the message is, for transports that say so. A combination is one.
    KorvinInspect::MessageShape shape;

    int attempt = 1;  ///< Above 1 for a request that is repeated.
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    Time due{0};      ///< When the time for its reply is over.
};

/// What became of a request that was handed to an engine.
struct Accepted
{
    RequestId id = 0; ///< 0 for one that was refused: no event will tell of it.
    SendError sendError = SendError::None; ///< Why it was refused at once.
};

/// The requests of one link to a peer, and the replies that belong to them.
///
/// Opens no socket, starts no thread, runs no timer and reads no clock. Packages go in, messages
/// come out; messages that were received go in, finished requests come out. The time is passed to
/// each operation, and nextTimeout() says when the next one is due. The same calls have the same
/// results, always.
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
/// After each call of another operation: take the messages that the transport has room for, take
/// the events, and set the timer to nextTimeout(). A transport that is full takes no messages;
/// then nothing is sent, and what waits too long times out without having been sent.
///
/// **Packages** stay the caller's until they are finished, and are left alone meanwhile; deleting
/// one cancels its request. The engine sends it with a serial number of the link, and the package
/// has its own again before takeMessage() returns. While a request is under way its communication
/// result is pending. In the end it has its results (see Outcome), a data read its data where it
/// succeeded, and a special request the text of the reply. Nothing else of it changes.
///
/// **What a reply must show** is all that its encoding can: KorvinInspect::check() accepts it as
/// the reply of the class that its request has, with the serial number of the request, and whatever
/// of CheckOptions::request it repeats is the same; a success of a data read brings as many bytes
/// as were asked for. What does not fit is counted and traced, and changes nothing.
///
/// | form        | shows                                  | cannot show                          |
/// |-------------|----------------------------------------|--------------------------------------|
/// | short frame | serial number                          | address; a bit that has flipped      |
/// | full frame  | request                                | a flipped bit in the results or data |
/// | Linux frame | serial number, address, direction, sum | two changes that cancel each other   |
/// | record      | request                                | a changed digit in results or data   |
///
/// The results of a full reply are taken from where an encoder writes them, not from where its own
/// reader takes them, and it is refused in any other layout.
///
/// **Serial numbers** are drawn one after the other. None is in flight twice, and none is used
/// again while a reply to its last request may come, see Settings::rest and
/// Settings::restAfterReply. A special request has no serial number in a record: one is under way
/// at a time, and one with the same id waits as a serial number rests.
///
/// **Order.** Requests are sent in the order in which they were handed over, special requests among
/// themselves. Replies may come in any order.
///
/// An engine belongs to one thread at a time. Only its constructor throws: out of memory a request
/// is refused, a reply is as good as lost, and all that was accepted still has its one end.
class KORVINEXCHANGE_EXPORT Engine
{
public:
    /// An engine for a link that is there.
    explicit Engine(const Settings &settings = {});

    /// Leaves what is not finished as it is.
    ~Engine();

    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    /// Sends a request of any class.
    Accepted send(PackageBase *package, const RequestOptions &options, Time now);

    /// Sends several requests, of classes that a combination carries, in one record. Each has an
    /// event, and the ids are consecutive: @p packages[i] has the one that is returned plus i. The
    /// reply of the peer is the replies of the items, joined by "|"; each that fits ends its item,
    /// whatever becomes of the others.
    Accepted sendCombination(const std::vector<PackageBase *> &packages,
                             const RequestOptions &options, Time now);

    /// Begins a transfer. The options are those of each of its requests; a write that may not be
    /// repeated ends the transfer where one of them is not answered.
    Accepted start(const Transfer &transfer, const RequestOptions &options, Time now);

    /// Ends a request or transfer with `Outcome::Cancelled`. What has been sent cannot be taken
    /// back: its serial number rests.
    ///
    /// @return false for one that has ended already.
    bool cancel(RequestId id, Time now);

    /// Ends a request or transfer, with all items of its message, that takeMessage() has handed out
    /// and the transport cannot carry: with `Outcome::Refused` and `SendError::NotCarried`.
    void refuse(RequestId id, Time now);

    /// Ends all requests and transfers with `Outcome::LinkLost`. No reply to them can come on the
    /// next link: all serial numbers are free again. Call it when a connection has ended, not where
    /// a link may still deliver what was sent before.
    void linkLost(Time now);

    /// The next message to send; nothing where none may be sent now. It counts as sent.
    std::optional<OutgoingMessage> takeMessage(Time now);

    /// Takes a message that was received.
    ///
    /// @param classId is what the message is, of transports that say so: a reply that is not of the
    ///     class of its request does not fit.
    void receive(KorvinInspect::Form form, const QByteArray &message, Time now,
                 std::optional<KorvinInspect::ClassId> classId = {});

    /// When handleTimeout() is due, and after it takeMessage(); nothing where nothing is.
    std::optional<Time> nextTimeout() const;

    /// Ends what has taken too long by now. Every operation that is passed the time does it too.
    void handleTimeout(Time now);

    /// The next event, oldest first.
    std::optional<Event> takeEvent();

    /// What has happened so far.
    const Counters &counters() const;

    /// Tells @p trace of all messages from now on; null for none. It must outlive the engine.
    void setTrace(Trace *trace);

    int inFlight() const;         ///< Requests under way, items of combinations included.
    int queued() const;           ///< What Limits::queued limits.
    qint64 bytesInFlight() const; ///< What Limits::bytesInFlight limits.
    int serialNumbers() const;    ///< Serial numbers in use and at rest.

private:
    std::unique_ptr<class EnginePrivate> d;
};

} // namespace KorvinExchange

#endif
