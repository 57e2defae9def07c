#ifndef DELAY_P_H
#define DELAY_P_H

#include "objectreader_p.h"

namespace KorvinSimulator {

/// A time that something takes: always the same, or one of a distribution.
struct Delay
{
    enum class Kind { Fixed, Range, Normal, LogNormal };

    Kind kind = Kind::Fixed;
    double first = 0;  ///< Time, least time, mean or median, in milliseconds.
    double second = 0; ///< Largest time, deviation in milliseconds, or sigma.

    /// Returns a time in milliseconds, at most ten minutes.
    int draw(quint64 seed, quint64 stream, quint64 index) const;
};

/// Reads a member that is a number of milliseconds, or an object with a distribution.
void readDelay(KorvinInspect::ObjectReader &reader, const char *name, Delay *delay);

/// Reads a number that need not be whole.
void readReal(KorvinInspect::ObjectReader &reader, const char *name, double least, double most,
              double *value);

} // namespace KorvinSimulator

#endif
