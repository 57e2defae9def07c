#ifndef KORVINEXCHANGE_REPLY_H
#define KORVINEXCHANGE_REPLY_H

#include "korvinexchangeglobal.h"
#include "outcome.h"

#include <packagebase.h>

#include <QtCore/QObject>

#include <memory>

namespace KorvinExchange {

/// A request or transfer that was handed to a Client, and in the end its outcome.
///
///     Reply *reply = client.send(&read);
///     connect(reply, &Reply::finished, this, [=] {
///         reply->deleteLater();
///         if (reply->outcome() == Outcome::Success)
///             show(reply->package()->data());
///     });
///
/// It is a child of its client. The caller deletes it when it is no longer needed, at best with
/// deleteLater(); otherwise it goes with the client. Deleting one that is not finished is as
/// abort(), and nothing is announced but by its package.
class KORVINEXCHANGE_EXPORT Reply : public QObject
{
    Q_OBJECT

public:
    ~Reply() override;

    /// Names it in traces; 0 where the request was refused at once.
    RequestId id() const;

    /// The caller's package; null where it has been deleted.
    PackageBase *package() const;

    /// Whether it has its outcome. Then finished() has been emitted, or is next.
    bool isFinished() const;

    /// How it has ended. As long as it has not, `Outcome::Success` with the id 0.
    Event result() const;

    /// Event::outcome of the same.
    Outcome outcome() const;

    /// Ends it with `Outcome::Cancelled`, as Engine::cancel() does. It is announced from the event
    /// loop, as every other end.
    void abort();

    /// Runs an event loop until it is finished, at most for so long. See Client::exchange().
    ///
    /// @return whether it is finished. The reply may have been deleted where it is not.
    bool waitForFinished(std::chrono::milliseconds deadline);

Q_SIGNALS:
    /// Of a transfer: so many bytes from its beginning are there.
    void progress(qint64 done, qint64 total);

    /// It has its outcome, once. The reply, its package and its client may be deleted by a slot,
    /// and others may be sent and aborted.
    void finished();

private:
    friend class ClientPrivate;

    explicit Reply(std::unique_ptr<class ReplyPrivate> fields);

    std::unique_ptr<ReplyPrivate> d;
};

} // namespace KorvinExchange

#endif
