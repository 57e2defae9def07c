#ifndef RANGE_P_H
#define RANGE_P_H

#include "behaviour_p.h"
#include "delay_p.h"

#include <korvinsimulator/devicestate.h>
#include <korvinsimulator/requestoutcome.h>

#include <QtCore/QHash>

#include <map>

namespace KorvinSimulator {

/// A value that a write gives to another range.
struct Setting
{
    QString range;
    QJsonValue value;
};

/// Registers that have a name, a type, and what makes them more than memory.
struct Range
{
    QString name;
    quint32 address = 0;
    ValueType type;
    int repeat = 1; ///< Values one after the other.
    bool isReadable = true;
    bool isWritable = true;
    Delay delay; ///< Of each request for it.
    Behaviour behaviour;

    // What a write does.
    std::vector<Setting> settings;
    RequestOutcome writeOutcome; ///< Its failure, if the code is not 0.
    Delay writeDelay;

    /// The next step of a behaviour that follows reads; the last one of a behaviour that follows
    /// the clock.
    quint64 step = 0;
    bool hasBegun = false; ///< Whether the behaviour has given it a value.

    quint64 requests = 0; ///< Counts those for which a delay is drawn.
    quint64 stream = 0;   ///< Of its random numbers.
    QJsonObject source;   ///< As it was read, without values.

    int size() const { return type.width * repeat; }
    qint64 end() const { return qint64(address) + size(); }

    /// Returns the bytes of one value, or of a list of at most as many as repeat. The others are
    /// @p fill.
    std::optional<QByteArray> encode(const QJsonValue &value, const QByteArray &fill) const;

    /// Returns the value, or a list if there are several.
    QJsonValue decode(const QByteArray &bytes) const;

    /// Returns which values encode() takes.
    QString words() const;
};

/// The ranges of a unit, and its name.
struct UnitRanges
{
    QString name;
    std::map<quint32, Range> ranges; ///< By address.
    QHash<QString, quint32> addresses;

    Range *named(const QString &rangeName);

    /// Returns the first range that ends after @p address.
    std::map<quint32, Range>::iterator firstAfter(quint32 address);
};

/// Reads a range, and its bytes if the text has its values.
QString readRange(const QJsonValue &json, Range *range, std::optional<QByteArray> *bytes);

/// Reads an outcome; the acknowledge code is 6 by default, the package result "failure".
QString readOutcome(const QJsonValue &json, RequestOutcome *outcome);

/// Reads the members of an outcome.
void readOutcomeMembers(KorvinInspect::ObjectReader &reader, RequestOutcome *outcome);

/// Returns bytes of a block; nothing if no block has them all.
std::optional<QByteArray> bytesAt(const Unit &unit, quint32 address, int size);

/// Overwrites bytes that a block has.
void setBytes(Unit *unit, quint32 address, const QByteArray &bytes);

} // namespace KorvinSimulator

#endif
