#include "client_p.h"

#include <QtCore/QEventLoop>

#include <new>

namespace KorvinExchange {

ReplyPrivate::~ReplyPrivate()
{
    hideTime();
}

void ReplyPrivate::showTime(std::chrono::milliseconds left)
{
    if (package && !package->getTimeOutTimer()) {
        timer = std::make_unique<KORVIN_LINUX_CLIENT::PackageTimerOut>();
        package->setTimeOutTimer(timer.get());
    }
    if (timer)
        timer->start(left);
}

void ReplyPrivate::hideTime()
{
    if (timer && package && package->getTimeOutTimer() == timer.get())
        package->setTimeOutTimer(nullptr);
    timer.reset();
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

Event Reply::event() const
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
        connect(this, &Reply::finished, &loop, &QEventLoop::quit);
        connect(this, &QObject::destroyed, &loop, &QEventLoop::quit);
        QTimer::singleShot(deadline, Qt::PreciseTimer, &loop, &QEventLoop::quit);
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return alive && d->isFinished;
}

} // namespace KorvinExchange
