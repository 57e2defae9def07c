#include <korvininspect/packagedebug.h>

#include <commpackagebase.h>
#include <packagerequestcombination.h>

bool korvininspect_packagedebug();

bool korvininspect_packagedebug()
{
    QString text;
    QDebug(&text) << PackageBase() << PackageRequestCombination() << CommPackageBase();
    return text.contains(QStringLiteral("PackageBase("));
}
