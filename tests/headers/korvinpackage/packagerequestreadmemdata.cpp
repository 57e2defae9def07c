#include <packagerequestreadmemdata.h>

bool korvinpackage_packagerequestreadmemdata();

bool korvinpackage_packagerequestreadmemdata()
{
    PackageRequestReadMemData read;
    read.setOffset(100);
    PackageBase &package = read;
    return package.makePackageRequest().endsWith(QStringLiteral(",100"));
}
