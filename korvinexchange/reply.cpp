#include "client_p.h"
#include "durations_p.h"

#include <QtCore/QEventLoop>

#include <new>

namespace KorvinExchange {

ReplyPrivate::~ReplyPrivate()
{
    hideTime();
}

void ReplyPrivate::showTime(std::chrono::milliseconds left)
{
    timer.emplace(left);
    if (package && !package->getTimeOutTimer())
        package->setTimeOutTimer(&*timer);
}

void ReplyPrivate::hideTime()
{
    if (timer && package && package->getTimeOutTimer() == &*timer)
        package->setTimeOutTimer(nullptr);
}

Waiting::Waiting(ClientPrivate *client, const QPointer<Reply> &reply, QEventLoop *loop,
                 std::chrono::milliseconds deadline)
    : m_client(client->self)
    , m_outer(client->waiting)
    , m_reply(reply)
    , m_loop(loop)
{
    bound(&deadline, 0);
    m_due = client->now() + deadline;
    client->waiting = this;
    client->wake();
}

Waiting::~Waiting()
{
    if (ClientPrivate *client = m_client)
        client->waiting = m_outer;
}

void Waiting::look(Time now) const
{
    for (const Waiting *waiting = this; waiting; waiting = waiting->m_outer) {
        if (waiting->m_due <= now || !waiting->m_reply || waiting->m_reply->isFinished())
            waiting->m_loop->quit();
    }
}

Time Waiting::due() const
{
    return m_outer ? qMin(m_due, m_outer->due()) : m_due;
}

Reply::Reply(std::unique_ptr<ReplyPrivate> fields)
    : d(std::move(fields))
{
    d->self = this;
}

Reply::~Reply()
{
    if (d->client)
        d->client->forget(d->id);
}

RequestId Reply::id() const
{
    return d->id;
}

PackageBase *Reply::package() const
{
    return d->package;
}

bool Reply::isFinished() const
{
    return d->isFinished;
}

Event Reply::result() const
{
    Event event = d->event;
    event.package = d->package;
    return event;
}

Outcome Reply::outcome() const
{
    return d->event.outcome;
}

void Reply::abort()
{
    if (d->client)
        d->client->abort(d->id);
}

bool Reply::waitForFinished(std::chrono::milliseconds deadline)
{
    if (d->isFinished)
        return true;
    const QPointer<Reply> alive(d->self);
    try {
        QEventLoop loop;
        const Waiting waiting(d->waiter, alive, &loop, deadline);
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return alive && d->isFinished;
}

} // namespace KorvinExchange
