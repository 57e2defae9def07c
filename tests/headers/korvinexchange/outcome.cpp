#include <korvinexchange/outcome.h>

bool korvinexchange_outcome();

bool korvinexchange_outcome()
{
    using namespace KorvinExchange;
    Event event;
    event.outcome = Outcome::TimedOut;
    return !describe(event).isEmpty() && event.verdict.isOk();
}
