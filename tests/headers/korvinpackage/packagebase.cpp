#include <packagebase.h>

bool korvinpackage_packagebase();

bool korvinpackage_packagebase()
{
    auto *package = new PackageBase;
    package->setTag(QString(3, QLatin1Char('t')));
    const bool ok = package->getTag().size() == 3 && package->MackPackageRequest().size() == 26;
    PackageBase::clear(package);
    return ok;
}
