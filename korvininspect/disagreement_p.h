#ifndef DISAGREEMENT_P_H
#define DISAGREEMENT_P_H

#include "packagecheck_p.h"

#include <limits>

namespace KorvinInspect {

constexpr qint64 MostWeight = std::numeric_limits<qint64>::max();

/// Weighs how much of an input that check() refuses disagrees with a shape. The less it is, the
/// more probable is it that the input is a message of this shape with a small fault: a byte or
/// column that is wrong, missing or too much.
///
/// @param enough ends the weighing: a result that is not less may be too small.
qint64 disagreement(const TriedInput &input, const MessageShape &shape, qint64 enough = MostWeight);

} // namespace KorvinInspect

#endif
