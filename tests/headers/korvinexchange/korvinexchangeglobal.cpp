#include <korvinexchange/korvinexchangeglobal.h>

bool korvinexchange_korvinexchangeglobal();

bool korvinexchange_korvinexchangeglobal()
{
    return KorvinExchange::Time(2) > KorvinExchange::Time(1);
}
