#ifndef KORVINSIMULATOR_DEVICESTATE_H
#define KORVINSIMULATOR_DEVICESTATE_H

#include <korvinsimulator/korvinsimulatorglobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QString>

class PackageBase;

/// @file
/// The state of a simulated device. Fill it in directly or from JSON.
///
///     DeviceState state;
///     Unit &unit = state.units[{0, 255, 1, 2, 65535}];
///     unit.blocks[0x0A000010] = {QByteArray(16, '\0')};
///     unit.files[QStringLiteral("a.txt")] = "hello";
///
/// The same in JSON, where data is hexadecimal digits, filled up with zeros to "size" bytes:
///
///     {"units": [{"scrAddr": 0, "desAddr": 255, "deviceType": 1, "portAddr": 2,
///                 "scanBoardAddr": 65535,
///                 "blocks": [{"address": "0x0A000010", "size": 16}],
///                 "files": [{"name": "a.txt", "data": "68656C6C6F"}]}]}

namespace KorvinSimulator {

/// The address of a unit: the address of a package without the register.
struct UnitAddress
{
    uchar screen = 0;      ///< 0 to 255.
    uchar destination = 0; ///< 0 to 255.
    uchar deviceType = 0;  ///< The low 8 bits of the package's device type, as frames carry it.
    uchar port = 0;        ///< 0 to 255.
    quint16 scanBoard = 0; ///< 0 to 65535.

    /// Compares field by field, for QMap.
    KORVINSIMULATOR_EXPORT bool operator<(const UnitAddress &other) const;
};

/// Returns the unit that a package is addressed to.
KORVINSIMULATOR_EXPORT UnitAddress unitAddressOf(const PackageBase &package);

/// Returns the register that a package is addressed to: the high word, then the low word.
KORVINSIMULATOR_EXPORT quint32 registerAddressOf(const PackageBase &package);

/// Bytes at consecutive register addresses: a register of that width, or a data block.
struct Block
{
    QByteArray data; ///< The first byte is at the address of the block.

    /// Number of bytes that the last writes have put into the block. A write to the start of the
    /// block sets it; a write to a later address extends it. File and memory writes copy this many
    /// bytes out of the block.
    int filled = 0;
};

/// The contents of a device at one address.
struct Unit
{
    /// By the register address of the first byte; blocks must not overlap.
    QMap<quint32, Block> blocks;

    QByteArray memory; ///< From offset 0 on.

    QMap<QString, QByteArray> files; ///< By the name in requests, which may be a path.
    qint64 fileSpace = 1048576;      ///< Most bytes of all files together, at most 16 MiB.
};

/// A device: its units, and the state that belongs to no unit.
struct DeviceState
{
    QMap<UnitAddress, Unit> units; ///< By their address.

    /// The answers to special requests, by id. An answer must not contain a ",", which would end
    /// it.
    QMap<int, QString> specials;

    /// Most data bytes that one data request may transfer. Clients split longer transfers.
    int maxPartSize = 2048;
};

/// Returns the whole state for stateFromJson(); empty when memory runs out.
KORVINSIMULATOR_EXPORT QJsonObject stateToJson(const DeviceState &state);

/// Reads a state. Missing members get their defaults; unknown members are errors. No block, file or
/// memory may be larger than 16 MiB.
///
/// @param state becomes the state; unchanged on failure.
/// @return what is wrong, beginning with the name of the member; empty on success.
KORVINSIMULATOR_EXPORT QString stateFromJson(const QJsonObject &json, DeviceState *state);

} // namespace KorvinSimulator

#endif
