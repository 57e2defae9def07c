#include <packagerequestreadfile.h>

bool korvinpackage_packagerequestreadfile();

bool korvinpackage_packagerequestreadfile()
{
    PackageRequestReadFile read;
    read.setFileNameWithPath(QStringLiteral("a/b.txt"));
    PackageBase &package = read;
    return read.fileNameWithPath().size() == 7 && package.MackPackageRequest().size() == 28 + 9;
}
