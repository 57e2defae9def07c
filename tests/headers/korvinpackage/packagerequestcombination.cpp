#include <packagerequestcombination.h>

bool korvinpackage_packagerequestcombination();

bool korvinpackage_packagerequestcombination()
{
    PackageRequestCombination combination;
    const bool decoded = combination.unCombinationPackageRequest(
        QStringLiteral("ReadData^7,usb0,0,0,0,0,0,0,0,0,read,3,,ok,ok,4,data"));
    const bool ok = decoded && combination.packageList().size() == 1
        && combination.packageList().front()->getSerialNum() == 7
        && combination.packageList().front()->getDataLength() == 4;
    for (PackageBase *package : combination.packageList())
        delete package;
    return ok;
}
