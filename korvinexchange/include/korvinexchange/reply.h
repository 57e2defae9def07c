#ifndef KORVINEXCHANGE_REPLY_H
#define KORVINEXCHANGE_REPLY_H

#include "korvinexchangeglobal.h"
#include "outcome.h"

#include <packagebase.h>

#include <QtCore/QObject>

#include <memory>

namespace KorvinExchange {

/// A request or transfer that was passed to a Client. When it is finished, it has the outcome.
///
///     Reply *reply = client.send(&read);
///     connect(reply, &Reply::finished, this, [=] {
///         reply->deleteLater();
///         if (reply->outcome() == Outcome::Success)
///             show(reply->package()->data());
///     });
///
/// It is a child of its client. The caller deletes it when it is no longer needed, preferably with
/// deleteLater(); otherwise the client deletes it. Deleting an unfinished reply aborts it; then
/// only the signals of its package announce the end.
class KORVINEXCHANGE_EXPORT Reply : public QObject
{
    Q_OBJECT

public:
    ~Reply() override;

    /// Returns the id that names it in traces; 0 if the request was refused at once.
    RequestId id() const;

    /// Returns the caller's package; null if it has been deleted.
    PackageBase *package() const;

    /// Returns whether it has its outcome. Then finished() has been emitted or is about to be.
    bool isFinished() const;

    /// Returns how it ended; before the end, `Outcome::Success` with the id 0.
    Event result() const;

    /// Returns the Event::outcome of result().
    Outcome outcome() const;

    /// Ends it with `Outcome::Cancelled`, as Engine::cancel() does. The end is announced from the
    /// event loop, like every other end.
    void abort();

    /// Runs an event loop until it is finished, at most until @p deadline. See Client::exchange().
    ///
    /// @return whether it is finished. If it is not, a slot may have deleted the reply.
    bool waitForFinished(std::chrono::milliseconds deadline);

Q_SIGNALS:
    /// Emitted by a transfer: the first @p done of @p total bytes are done.
    void progress(qint64 done, qint64 total);

    /// Emitted once, when it has its outcome. A slot may delete the reply, its package and its
    /// client, and send and abort others.
    void finished();

private:
    friend class ClientPrivate;

    explicit Reply(std::unique_ptr<class ReplyPrivate> fields);

    std::unique_ptr<ReplyPrivate> d;
};

} // namespace KorvinExchange

#endif
