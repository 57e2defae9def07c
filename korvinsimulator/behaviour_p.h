#ifndef BEHAVIOUR_P_H
#define BEHAVIOUR_P_H

#include "objectreader_p.h"
#include "valuetype_p.h"

#include <vector>

namespace KorvinSimulator {

/// How the value of a range changes by itself.
struct Behaviour
{
    enum class Kind { None, Count, Ramp, Sine, List, Random, Echo };

    Kind kind = Kind::None;
    qint64 every = 0;    ///< Milliseconds of a step; 0 for a step with each read.
    qint64 period = 0;   ///< Milliseconds until a ramp or sine begins again.
    double low = 0;      ///< Where a ramp begins, or the least value.
    double high = 0;     ///< Where a ramp ends, or the largest value.
    quint64 from = 0;    ///< The bits that a count begins with.
    quint64 step = 1;    ///< The bits that a count adds.
    double realFrom = 0; ///< The same for a count of a type that is not whole.
    double realStep = 1;
    std::vector<QByteArray> values; ///< Of a list, encoded.
    QString source;                 ///< The name of the range whose bytes an echo has.

    /// Returns whether its steps follow the clock.
    bool isTimed() const { return every > 0 || period > 0; }

    /// Returns the number of the step at a time.
    quint64 stepAt(qint64 milliseconds) const;

    /// Returns the bytes of a value in a step. Not for an echo.
    QByteArray valueAt(quint64 number, const ValueType &type, quint64 seed, quint64 stream) const;
};

/// Reads a behaviour of values of a type.
///
/// @return what is wrong; empty on success.
QString readBehaviour(const QJsonValue &json, const ValueType &type, Behaviour *behaviour);

} // namespace KorvinSimulator

#endif
