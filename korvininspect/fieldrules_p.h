#ifndef FIELDRULES_P_H
#define FIELDRULES_P_H

#include "wirefield_p.h"

#include <korvininspect/packagecheck.h>

namespace KorvinInspect {

/// What is wrong with a field, taken by itself.
struct FieldFault
{
    Fault fault = Fault::None;
    QString expected;
    QString found;
};

/// Compares a field with what encoders write. @p shape tells where an empty data string is one
/// number and where none.
FieldFault faultOf(const WireField &field, const MessageShape &shape);

/// Whether a field says how many bytes of data there are, or shall be.
bool isDataLength(const WireField &field);

/// Whether a reply must repeat the field as its request has it.
bool identifiesRequest(const WireField &field);

/// The fault in words.
QString reasonOf(const FieldFault &fault);

/// The name of a code, or an empty view; of any field whose type is a code.
QStringView codeName(const WireField &field);

} // namespace KorvinInspect

#endif
