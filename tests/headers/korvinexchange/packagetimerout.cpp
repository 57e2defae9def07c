#include <korvinexchange/packagetimerout.h>

#include <packagebase.h>

bool korvinexchange_packagetimerout();

bool korvinexchange_packagetimerout()
{
    KORVIN_LINUX_CLIENT::PackageTimerOut timer(std::chrono::hours(1));
    PackageBase package;
    package.setTimeOutTimer(&timer);
    return package.getTimeOutTimer()->remainingTime() > 1000 && !timer.hasExpired();
}
