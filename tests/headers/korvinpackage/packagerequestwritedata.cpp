#include <packagerequestwritedata.h>

bool korvinpackage_packagerequestwritedata();

bool korvinpackage_packagerequestwritedata()
{
    PackageRequestWriteData write;
    write.setData(QByteArray(2, '\1'));
    PackageBase &package = write;
    return package.data().size() == 2 && package.MackPackageRequest().size() == 25 + 6;
}
