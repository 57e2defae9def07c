#ifndef KORVINSIMULATOR_DEVICESTATE_H
#define KORVINSIMULATOR_DEVICESTATE_H

#include <korvinsimulator/korvinsimulatorglobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QString>

class PackageBase;

/// @file
/// What a simulated device holds. Fill it in directly or from JSON.
///
///     DeviceState state;
///     Unit &unit = state.units[{0, 255, 1, 2, 65535}];
///     unit.blocks[0x0A000010] = {QByteArray(16, '\0')};
///     unit.files[QStringLiteral("a.txt")] = "hello";
///
/// The same in JSON, where data is hexadecimal digits, and zeros up to "size":
///
///     {"units": [{"scrAddr": 0, "desAddr": 255, "deviceType": 1, "portAddr": 2,
///                 "scanBoardAddr": 65535,
///                 "blocks": [{"address": "0x0A000010", "size": 16}],
///                 "files": [{"name": "a.txt", "data": "68656C6C6F"}]}]}

namespace KorvinSimulator {

/// Where a unit is: all of a package's address but the register.
struct UnitAddress
{
    uchar screen = 0;      ///< 0 to 255.
    uchar destination = 0; ///< 0 to 255.
    uchar deviceType = 0;  ///< The low byte of a package's, which is all that frames carry.
    uchar port = 0;        ///< 0 to 255.
    quint16 scanBoard = 0; ///< 0 to 65535.

    /// The order of QMap: field by field.
    KORVINSIMULATOR_EXPORT bool operator<(const UnitAddress &other) const;
};

/// The unit that a package is addressed to.
KORVINSIMULATOR_EXPORT UnitAddress unitAddressOf(const PackageBase &package);

/// The register that a package is addressed to: the high word, then the low word.
KORVINSIMULATOR_EXPORT quint32 registerAddressOf(const PackageBase &package);

/// Bytes at consecutive register addresses: a register of that width, or a data block.
struct Block
{
    QByteArray data; ///< The first byte is at the address of the block.

    /// How many bytes at the start of the block the last writes put there. A write to the start
    /// sets it; one further on extends it. File and memory writes take as many bytes from the
    /// block.
    int filled = 0;
};

/// What is at one address of a device.
struct Unit
{
    /// By the register address of the first byte; blocks must not overlap.
    QMap<quint32, Block> blocks;

    QByteArray memory; ///< From offset 0 on.

    QMap<QString, QByteArray> files; ///< By name, as requests have it: a path is a name as well.
    qint64 fileSpace = 1048576;      ///< What all files together may take, at most 16 MiB.
};

/// A device: its units, and what belongs to none of them.
struct DeviceState
{
    QMap<UnitAddress, Unit> units; ///< By their address.

    /// The special requests that the device knows: what it answers, by id. A "," would end the
    /// answer.
    QMap<int, QString> specials;

    /// Most data bytes that one data request may move; clients split longer transfers.
    int maxPartSize = 2048;
};

/// The whole state; stateFromJson() gives it back. Empty when memory has run out.
KORVINSIMULATOR_EXPORT QJsonObject stateToJson(const DeviceState &state);

/// Reads a state. What @p json leaves out has its default; what it does not know is an error. No
/// block, file or memory may have more than 16 MiB.
///
/// @param state becomes what @p json describes; unchanged when that is wrong.
/// @return what is wrong, beginning with the name of the member, or an empty text.
KORVINSIMULATOR_EXPORT QString stateFromJson(const QJsonObject &json, DeviceState *state);

} // namespace KorvinSimulator

#endif
