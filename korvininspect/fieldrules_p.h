#ifndef FIELDRULES_P_H
#define FIELDRULES_P_H

#include "wirefield_p.h"

#include <korvininspect/packagecheck.h>

namespace KorvinInspect {

/// What is wrong with a field, taken by itself.
struct FieldRefusal
{
    Refusal refusal = Refusal::None;
    QString expected;
    QString found;
};

inline Verdict refused(Refusal refusal)
{
    Verdict verdict;
    verdict.refusal = refusal;
    return verdict;
}

/// Compares a field with what encoders write. @p shape tells where an empty data string is one
/// number and where it is none.
FieldRefusal refusalOf(const WireField &field, const MessageShape &shape);

/// Returns whether a reply must repeat a field as its request has it.
bool identifiesRequest(WireType type);

/// Returns the refusal in words.
QString reasonOf(const FieldRefusal &refusal);

/// Returns the name of a code; empty for a code without one and for other fields.
QStringView codeName(WireType type, qint64 code);

} // namespace KorvinInspect

#endif
