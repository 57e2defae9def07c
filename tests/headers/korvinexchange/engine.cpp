#include <korvinexchange/engine.h>

bool korvinexchange_engine();

bool korvinexchange_engine()
{
    using namespace KorvinExchange;
    Engine engine;
    const Time now(1);
    if (engine.takeMessage(now) || engine.takeEvent() || engine.nextTimeout())
        return false;
    engine.receive(KorvinInspect::Form::Text, "1,2,3", now);
    return engine.counters().unknown + engine.counters().refusedReplies == 1;
}
