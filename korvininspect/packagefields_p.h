#ifndef PACKAGEFIELDS_P_H
#define PACKAGEFIELDS_P_H

#include <korvininspect/packageclass.h>

namespace KorvinInspect {

/// Makes the list of all classes of packages, in the order of their rows.
std::vector<PackageClass> makePackageClasses();

} // namespace KorvinInspect

#endif
