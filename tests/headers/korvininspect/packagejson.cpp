#include <korvininspect/packagejson.h>

#include <commpackagebase.h>
#include <packagerequestcombination.h>

bool korvininspect_packagejson();

bool korvininspect_packagejson()
{
    PackageBase package;
    const QJsonObject json = KorvinInspect::packageToJson(package);
    PackageRequestCombination combination;
    CommPackageBase slice;
    return json.size() > 20 && KorvinInspect::packageFromJson(json, package).isEmpty()
        && KorvinInspect::combinationToJson(combination).size() > 1
        && KorvinInspect::frameSliceToJson(slice).size() > 1;
}
