#include <korvininspect/packageclass.h>

#include "packagefields_p.h"

#include <algorithm>

namespace KorvinInspect {

const PackageField *PackageClass::field(const QString &fieldName) const
{
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const PackageField &field) {
        return field.name == fieldName;
    });
    return found == fields.end() ? nullptr : &*found;
}

const std::vector<PackageClass> &packageClasses()
{
    static const std::vector<PackageClass> classes = makePackageClasses();
    return classes;
}

const PackageClass *packageClass(const QString &name)
{
    const std::vector<PackageClass> &classes = packageClasses();
    const auto found =
        std::find_if(classes.begin(), classes.end(),
                     [&](const PackageClass &candidate) { return candidate.name == name; });
    return found == classes.end() ? nullptr : &*found;
}

const PackageClass *packageClass(ClassId id)
{
    const std::vector<PackageClass> &classes = packageClasses();
    const auto found =
        std::find_if(classes.begin(), classes.end(),
                     [&](const PackageClass &candidate) { return candidate.id == id; });
    return found == classes.end() ? nullptr : &*found;
}

const PackageClass &classOf(const PackageBase &package)
{
    // A class comes after its base classes, so the last match is the most derived.
    const std::vector<PackageClass> &classes = packageClasses();
    return *std::find_if(classes.rbegin(), classes.rend(), [&](const PackageClass &candidate) {
        return candidate.isClassOf(&package);
    });
}

} // namespace KorvinInspect
