#include <packagerequestread.h>

bool korvinpackage_packagerequestread();

bool korvinpackage_packagerequestread()
{
    PackageRequestRead read;
    read.setReplyDataLength(4);
    PackageBase &package = read;
    return package.getDataLength() == 4 && package.MackPackageRequest().size() == 28;
}
