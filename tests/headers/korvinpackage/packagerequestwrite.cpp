#include <packagerequestwrite.h>

bool korvinpackage_packagerequestwrite();

bool korvinpackage_packagerequestwrite()
{
    PackageRequestWrite write;
    write.setPackageDataLength(4);
    PackageBase &package = write;
    return package.getDataLength() == 4 && package.MackPackageRequest().size() == 25;
}
