#include <korvinexchange/reply.h>

#include <korvinexchange/client.h>

bool korvinexchange_reply();

bool korvinexchange_reply()
{
    using namespace KorvinExchange;
    Client client;
    PackageBase package;
    const Reply *reply = client.send(&package);
    return reply->id() == 1 && !reply->isFinished() && reply->outcome() == Outcome::Success
        && reply->result().id == 0 && reply->package()->getCommResult() == OrvexEnum::CommPending;
}
