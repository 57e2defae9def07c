#include <packagerequestwritememdata.h>

bool korvinpackage_packagerequestwritememdata();

bool korvinpackage_packagerequestwritememdata()
{
    PackageRequestWriteMemData write(QString(), 0, 0, 0, 0, 0, 0, 0, 0, 3, QString(), false, 100,
                                     4);
    PackageBase &package = write;
    return package.makePackageRequest().endsWith(QStringLiteral(",100,4"));
}
