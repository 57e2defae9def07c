#ifndef PACKAGEFIELDS_P_H
#define PACKAGEFIELDS_P_H

#include <korvininspect/packageclass.h>

namespace KorvinInspect {

/// Makes the list of all classes of packages, in the order of their rows.
std::vector<PackageClass> makePackageClasses();

/// Returns the purpose of the fields of that name; empty for an unknown name.
QString descriptionOf(const QString &name);

} // namespace KorvinInspect

#endif
