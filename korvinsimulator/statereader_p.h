#ifndef STATEREADER_P_H
#define STATEREADER_P_H

#include "objectreader_p.h"

#include <korvinsimulator/devicestate.h>

namespace KorvinSimulator {

/// Most bytes of all blocks, files and memories of a state that is read: a short text can ask for
/// any size.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr qint64 MaxState = 1048576;
#else
constexpr qint64 MaxState = 268435456;
#endif

/// Reads a state from JSON. A class that derives from it knows more members.
class StateReader
{
public:
    StateReader() = default;
    virtual ~StateReader();

    StateReader(const StateReader &) = delete;
    StateReader &operator=(const StateReader &) = delete;

    void read(KorvinInspect::ObjectReader &reader, DeviceState *state);

protected:
    /// Reads more members of a unit, after its own ones.
    virtual void readUnitMembers(KorvinInspect::ObjectReader &reader, const UnitAddress &address,
                                 Unit *unit);

    /// Reads more members of a file.
    virtual void readFileMembers(KorvinInspect::ObjectReader &reader, QByteArray *contents);

    /// Takes a part of the bytes that a state may have. Returns false if there are not as many
    /// left.
    bool take(qint64 size);

    static QString tooMuch();

private:
    void readData(KorvinInspect::ObjectReader &reader, QByteArray *value);
    QString readBlock(const QJsonValue &json, Unit *unit);
    QString readFile(const QJsonValue &json, Unit *unit);
    QString readMemory(const QJsonValue &json, Unit *unit);
    void readFiles(KorvinInspect::ObjectReader &reader, Unit *unit);
    QString readUnit(const QJsonValue &json, DeviceState *state);
    QString readSpecial(const QJsonValue &json, DeviceState *state);

    qint64 m_left = MaxState;
};

/// Returns whether bytes from an address on overlap a block, or are inside of one.
bool overlapsBlock(const Unit &unit, quint32 address, qint64 size);

/// Reads the five members of the address of a unit.
void readUnitAddress(KorvinInspect::ObjectReader &reader, UnitAddress *address);

} // namespace KorvinSimulator

#endif
