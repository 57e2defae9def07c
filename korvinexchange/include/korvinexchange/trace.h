#ifndef KORVINEXCHANGE_TRACE_H
#define KORVINEXCHANGE_TRACE_H

#include "outcome.h"

#include <korvininspect/messageshape.h>

namespace KorvinExchange {

/// What has become of a message.
enum class TraceEvent {
    Sent,         ///< A request, for the first time.
    Repeated,     ///< A request, again.
    Answered,     ///< A reply that ended its request.
    Late,         ///< A reply to a request that had ended without one.
    Duplicate,    ///< A reply to a request that had been answered.
    Unknown,      ///< A reply to no request.
    RefusedReply, ///< A reply that does not fit: see the verdict.
};

/// A message, and what has become of it. Of a reply to a combination each part has its entry.
struct TraceEntry
{
    TraceEvent event = TraceEvent::Sent; ///< What has become of it.
    Time time{0};                        ///< When.

    /// What the message is. Of an unknown reply only form and direction are known; its class is
    /// `PackageBase`, whose part all have.
    KorvinInspect::MessageShape shape;

    RequestId request = 0;               ///< The request concerned; 0 where it is unknown.
    QByteArray message;                  ///< The message itself.
    KorvinInspect::Verdict verdict = {}; ///< Why a reply was refused.
};

/// The entry in one line: what has become of the message, what it is, and all of its fields.
KORVINEXCHANGE_EXPORT QString describe(const TraceEntry &entry);

/// Is told of every message, see Engine::setTrace(). Derive from it.
class KORVINEXCHANGE_EXPORT Trace
{
public:
    virtual ~Trace();

    /// Called by the engine while it works: must not throw, nor call the engine.
    virtual void add(const TraceEntry &entry) = 0;
};

} // namespace KorvinExchange

#endif
