#ifndef PACKAGECHECK_P_H
#define PACKAGECHECK_P_H

#include "fieldrules_p.h"

#include <korvininspect/packagecheck.h>

namespace KorvinInspect {

/// An input that is tried in several shapes.
struct TriedInput
{
    explicit TriedInput(const QByteArray &input);

    const QByteArray &bytes;
    const QString record; // the same as text
    const bool isUtf8;
};

/// Gives the verdict of check() for a shape that exists.
Verdict checkTried(const TriedInput &input, const MessageShape &shape, Words words);

} // namespace KorvinInspect

#endif
