#include <korvininspect/packageclass.h>

bool korvininspect_packageclass();

bool korvininspect_packageclass()
{
    const KorvinInspect::PackageClass *const listed =
        KorvinInspect::packageClass(QStringLiteral("PackageRequestRead"));
    const auto package = listed->create();
    package->setSerialNum(7);
    return listed->isClassOf(package.get()) && &KorvinInspect::classOf(*package) == listed
        && listed->field(QStringLiteral("serialNum"))->get(*package).toInt() == 7;
}
