#include <packagerequestwritefile.h>

bool korvinpackage_packagerequestwritefile();

bool korvinpackage_packagerequestwritefile()
{
    PackageRequestWriteFile write;
    write.setFileNameWithPaht(QStringLiteral("a"));
    PackageBase &package = write;
    return write.Offset() == 0 && package.MackPackageRequest().size() == 25 + 5;
}
