#include <korvininspect/packageclass.h>

#include "packagefields_p.h"

#include <algorithm>

namespace KorvinInspect {

namespace {

std::vector<const QMetaObject *> metaObjectsOf(const std::vector<PackageClass> &classes)
{
    std::vector<const QMetaObject *> metaObjects;
    metaObjects.reserve(classes.size());
    for (const PackageClass &itsClass : classes)
        metaObjects.push_back(itsClass.create()->metaObject());
    return metaObjects;
}

} // namespace

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
    const std::vector<PackageClass> &classes = packageClasses(); // in the order of their ids
    const auto index = static_cast<std::size_t>(id);
    return index < classes.size() ? &classes[index] : nullptr;
}

const PackageClass &classOf(const PackageBase &package)
{
    const std::vector<PackageClass> &classes = packageClasses();
    static const std::vector<const QMetaObject *> metaObjects = metaObjectsOf(classes);
    const QMetaObject *meta = package.metaObject();
    while (std::find(metaObjects.begin(), metaObjects.end(), meta) == metaObjects.end())
        meta = meta->superClass();
    // A class comes after its base classes, so the last match is the most derived. Some have no
    // meta-object of their own, but that of their base class.
    std::size_t index = classes.size();
    do
        --index;
    while (metaObjects[index] != meta || !classes[index].isClassOf(&package));
    return classes[index];
}

} // namespace KorvinInspect
