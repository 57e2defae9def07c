#ifndef FIELDRULES_P_H
#define FIELDRULES_P_H

#include "wirefield_p.h"

#include <korvininspect/packagecheck.h>

namespace KorvinInspect {

/// Whether a refusal says what was expected and found. To rank guesses, nobody reads that.
enum class Words { With, Without };

/// A fault of a single field.
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

/// Checks that an encoder would write a field like this. @p shape decides whether an empty data
/// string counts as one number or none.
FieldRefusal refusalOf(const WireField &field, const MessageShape &shape,
                       Words words = Words::With);

/// Returns what is wrong with a text of a frame, or `Refusal::None`.
Refusal textRefusal(const QByteArray &utf8);

/// Returns whether a reply must repeat a field of its request unchanged.
bool identifiesRequest(WireType type);

/// Returns the refusal in words.
QString reasonOf(const FieldRefusal &refusal);

/// Returns the name of a code; empty for a code without one and for other fields.
QStringView codeName(WireType type, qint64 code);

} // namespace KorvinInspect

#endif
