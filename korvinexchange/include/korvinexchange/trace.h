#ifndef KORVINEXCHANGE_TRACE_H
#define KORVINEXCHANGE_TRACE_H

#include "outcome.h"

#include <korvininspect/messageshape.h>

namespace KorvinExchange {

/// What happened to a message.
enum class TraceEvent {
    Sent,         ///< A request, for the first time.
    Repeated,     ///< A request, again.
    Answered,     ///< A reply that ended its request.
    Late,         ///< A reply to a request that had ended without a reply.
    Duplicate,    ///< A reply to a request that had been answered.
    Unknown,      ///< A reply that belongs to no request.
    RefusedReply, ///< A reply that does not match its request: see the verdict.
};

/// A message and its event. Each part of the reply to a combination has an entry of its own.
struct TraceEntry
{
    TraceEvent event = TraceEvent::Sent; ///< What happened.
    Time time{0};                        ///< When it happened.

    /// The shape of the message. Only form and direction of an unknown reply are known; its class
    /// is `PackageBase`, whose fields all classes have.
    KorvinInspect::MessageShape shape;

    RequestId request = 0;               ///< The request; 0 if it is unknown.
    QByteArray message;                  ///< The message itself.
    KorvinInspect::Verdict verdict = {}; ///< Why a reply was refused.
};

/// Returns the entry in one line: the event, the shape of the message, and all of its fields.
KORVINEXCHANGE_EXPORT QString describe(const TraceEntry &entry);

/// Receives every message of an engine, see Engine::setTrace(). Derive from it.
class KORVINEXCHANGE_EXPORT Trace
{
public:
    virtual ~Trace();

    /// Called by the engine for each message. Must neither throw nor call the engine.
    virtual void add(const TraceEntry &entry) = 0;
};

} // namespace KorvinExchange

#endif
