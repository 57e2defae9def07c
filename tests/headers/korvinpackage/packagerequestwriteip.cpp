#include <packagerequestwriteip.h>

bool korvinpackage_packagerequestwriteip();

bool korvinpackage_packagerequestwriteip()
{
    PackageRequestWriteIP write;
    write.setIPAddress(QStringLiteral("10.0.0.1"));
    PackageBase &package = write;
    return write.getIPAddress().size() == 8 && package.MackPackageRequest().size() == 25 + 4;
}
