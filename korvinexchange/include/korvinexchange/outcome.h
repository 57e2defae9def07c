#ifndef KORVINEXCHANGE_OUTCOME_H
#define KORVINEXCHANGE_OUTCOME_H

#include "korvinexchangeglobal.h"

#include <korvininspect/packagecheck.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

class PackageBase;

namespace KorvinExchange {

/// Identifies a request or transfer of an Engine: 1, 2, 3 and so on, never the same twice. 0 stands
/// for none.
using RequestId = quint64;

/// How a request has ended. The table shows the results of its package.
///
/// | outcome         | communication result | package result      |
/// |-----------------|----------------------|---------------------|
/// | `Success`       | ok                   | ok                  |
/// | `Failure`       | of the peer          | of the peer         |
/// | `TimedOut`      | timeout              | timeOut             |
/// | `Cancelled`     | forcedCancel         | forceCancel         |
/// | `LinkLost`      | forcedCancel         | disConnect          |
/// | `Refused`       | forcedCancel         | sendError           |
/// | `RefusedReply`  | codeErr              | parseFailure        |
enum class Outcome {
    Success,     ///< The peer has carried it out.
    Failure,     ///< The peer has reported a failure.
    TimedOut,    ///< No reply came in time. The peer may have carried it out.
    Cancelled,   ///< Engine::cancel() ended it, or its package was deleted. See TimedOut.
    LinkLost,    ///< Engine::linkLost() ended it. See TimedOut.
    Refused,     ///< It was not sent: see SendError.
    RefusedReply ///< The replies that came in time do not match it. See TimedOut.
};

/// Why a request was not sent.
enum class SendError {
    None,
    QueueFull,    ///< Too many requests are waiting, or too many events were not taken.
    TooManyItems, ///< A combination is empty or has more items than may be sent, or the package of
                  ///< a request is that of another one that has not finished.
    NotCarried,   ///< No form of the peer carries all of it: see the verdict.
    NotAccepted,  ///< KorvinInspect::check() refuses its message: see the verdict.
    TooLong,      ///< Its message is longer than the limit.
    TooMuchData,  ///< It asks for more data than the limits allow.
    OutOfMemory   ///< There was not enough memory for it.
};

/// An event of Engine::takeEvent().
struct Event
{
    /// The type of an event.
    enum class Type {
        Progress, ///< `done` of a transfer has grown.
        Finished  ///< A request or transfer has ended: its last event.
    };

    Type type = Type::Finished;     ///< What has happened.
    RequestId id = 0;               ///< The request or transfer.
    PackageBase *package = nullptr; ///< The caller's package; null if it was deleted.

    Outcome outcome = Outcome::Success;    ///< How it ended.
    SendError sendError = SendError::None; ///< For `Outcome::Refused`: why.

    /// For `Outcome::Refused` and `Outcome::RefusedReply`: why the request or reply was refused.
    KorvinInspect::Verdict verdict = {};

    int attempts = 0; ///< How often it was sent; 0 for a transfer.
    Time latency{0};  ///< For `Success` and `Failure`: from the first attempt to the reply.

    qint64 done = 0;  ///< For a transfer: bytes done without a gap from its beginning on.
    qint64 total = 0; ///< For a transfer: all of its bytes.

    /// For a transfer that did not succeed: the offset of the first part that failed. All earlier
    /// parts are done; later parts may be.
    qint64 failedOffset = -1;

    QByteArray data = {}; ///< For a transfer that reads: the first `done` bytes.
};

/// Returns the reason in words.
KORVINEXCHANGE_EXPORT QString describe(SendError sendError);

/// Returns the event in one line, such as
/// "refused reply: portAddr at 5: not that of the request: ...".
KORVINEXCHANGE_EXPORT QString describe(const Event &event);

} // namespace KorvinExchange

#endif
