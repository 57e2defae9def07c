#include <korvinexchange/packagetimerout.h>

#include <packagebase.h>

bool korvinexchange_packagetimerout();

bool korvinexchange_packagetimerout()
{
    KORVIN_LINUX_CLIENT::PackageTimerOut timer;
    PackageBase package;
    package.setTimeOutTimer(&timer);
    return package.getTimeOutTimer()->isSingleShot() && !timer.isActive();
}
