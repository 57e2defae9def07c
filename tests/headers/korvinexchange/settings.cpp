#include <korvinexchange/settings.h>

bool korvinexchange_settings();

bool korvinexchange_settings()
{
    using namespace KorvinExchange;
    Settings settings;
    settings.forms = {KorvinInspect::Form::Linux};
    settings.timeout = std::chrono::seconds(1);
    return settings.forms.size() == 1 && !RequestOptions().timeout;
}
