#include <specialpackagerequest.h>

bool korvinpackage_specialpackagerequest();

bool korvinpackage_specialpackagerequest()
{
    SpecialPackageRequest special(12, 60);
    special.setStrData(QStringLiteral("hello"));
    PackageBase &package = special;
    return package.makePackageRequest() == QStringLiteral("12,0,hello");
}
