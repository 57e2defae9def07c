#include <korvinexchange/framing.h>

bool korvinexchange_framing();

bool korvinexchange_framing()
{
    using namespace KorvinExchange;
    const auto use = [](Framing &framing) {
        return framing.encode("a").has_value() && framing.receive("a", Time(0)).empty()
            && framing.fault() == FramingFault::None;
    };
    return sizeof(use) > 0 && !describe(FramingFault::TooLong).isEmpty();
}
