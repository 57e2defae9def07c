#ifndef CLASSROW_P_H
#define CLASSROW_P_H

#include "layouts_p.h"
#include <korvininspect/packageclass.h>

namespace KorvinInspect {

static_assert(Korvin::Classes[static_cast<std::size_t>(ClassId::PackageRequestCombination)].base
                  == Korvin::Base::Items,
              "the rows are in the order of the enumerators");

/// Returns the row of a class, or that of a combination for a number without a class.
inline const Korvin::ClassRow &rowOf(ClassId id)
{
    const auto index = static_cast<std::size_t>(id);
    const bool isClass = index < std::size(Korvin::Classes);
    return Korvin::Classes[isClass ? index
                                   : static_cast<std::size_t>(ClassId::PackageRequestCombination)];
}

} // namespace KorvinInspect

#endif
