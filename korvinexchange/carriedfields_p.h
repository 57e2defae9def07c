#ifndef KORVINEXCHANGE_CARRIEDFIELDS_P_H
#define KORVINEXCHANGE_CARRIEDFIELDS_P_H

#include <korvininspect/packageclass.h>

namespace KorvinExchange {

/// A field that a form does not have, and the value that its reader assumes, in words.
struct LackedField
{
    const KorvinInspect::PackageField *field;
    QString assumed;
};

/// What the forms of a request carry, apart from its device key and tag.
struct CarriedFields
{
    /// Texts that are columns of the record as they are.
    std::vector<const KorvinInspect::PackageField *> texts;

    /// Columns of the record that a byte frame does not have.
    std::vector<LackedField> notInFrames;

    /// Columns of the record that a Linux frame does not have, except those that only the link
    /// uses: device key, tag and time-out.
    std::vector<LackedField> notInLinuxFrames;
};

/// Returns what the forms of a class carry. Throws std::bad_alloc.
const CarriedFields &carriedFields(KorvinInspect::ClassId classId);

} // namespace KorvinExchange

#endif
