#ifndef KORVINEXCHANGE_OUTCOME_H
#define KORVINEXCHANGE_OUTCOME_H

#include "korvinexchangeglobal.h"

#include <korvininspect/packagecheck.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

class PackageBase;

namespace KorvinExchange {

/// Names a request of an Engine, or a transfer: 1, 2, 3 and so on, none twice; 0 names none.
using RequestId = quint64;

/// How a request has ended. Its package has the results that the table says.
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
    Failure,     ///< The peer has told that it has not.
    TimedOut,    ///< There was no reply in time. The peer may have carried it out.
    Cancelled,   ///< By Engine::cancel(), or its package is gone. As with a time-out.
    LinkLost,    ///< By Engine::linkLost(). As with a time-out.
    Refused,     ///< It was not sent: see SendError.
    RefusedReply ///< What came in time with its serial number does not fit. As with a time-out.
};

/// Why a request was not sent.
enum class SendError {
    None,
    QueueFull,    ///< Too many requests wait, or events that nobody has taken.
    TooManyItems, ///< A combination of none, or of more than may be under way.
    NotCarried,   ///< No form that the peer takes carries all of it: the verdict says what.
    NotAccepted,  ///< KorvinInspect::check() refuses what it is encoded to: see the verdict.
    TooLong,      ///< Its message is longer than the limit.
    TooMuchData,  ///< It asks for more data than the limit.
    OutOfMemory   ///< There was no memory for it.
};

/// What Engine::takeEvent() tells.
struct Event
{
    /// Whether it is over.
    enum class Type {
        Progress, ///< Of a transfer: `done` has grown.
        Finished  ///< Of a request or transfer: the last event that it has.
    };

    Type type = Type::Finished;     ///< What has happened.
    RequestId id = 0;               ///< Of the request or transfer.
    PackageBase *package = nullptr; ///< The caller's; null where it is gone.

    Outcome outcome = Outcome::Success;    ///< How it ended.
    SendError sendError = SendError::None; ///< Why it was refused, of `Outcome::Refused`.

    /// Why it was refused, or its reply: of `Outcome::Refused` and `Outcome::RefusedReply`.
    KorvinInspect::Verdict verdict = {};

    int attempts = 0; ///< How often it was sent; 0 for a transfer.
    Time latency{0};  ///< From the first attempt to the reply, of `Success` and `Failure`.

    qint64 done = 0;  ///< Of a transfer: bytes from its beginning that are there.
    qint64 total = 0; ///< Of a transfer: all of its bytes.

    /// Of a transfer that did not succeed: the offset of the first part that failed. All before it
    /// is done; later ones may be.
    qint64 failedOffset = -1;

    QByteArray data = {}; ///< Of a transfer that reads: what it has read from its beginning on.
};

/// Why a request was not sent, in words.
KORVINEXCHANGE_EXPORT QString describe(SendError sendError);

/// The event in one line, such as "refused reply: portAddr at 5: not that of the request: ...".
KORVINEXCHANGE_EXPORT QString describe(const Event &event);

} // namespace KorvinExchange

#endif
