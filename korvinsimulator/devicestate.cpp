#include <korvinsimulator/devicestate.h>

#include "memory_p.h"
#include "objectreader_p.h"
#include "unitoperations_p.h"

#include <packagebase.h>

#include <limits>
#include <tuple>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

constexpr qint64 MaxInt = std::numeric_limits<int>::max();
constexpr qint64 MaxAddress = std::numeric_limits<quint32>::max();

/// Reads data from hexadecimal digits and appends zeros up to "size".
void readData(ObjectReader &reader, QByteArray *value)
{
    const auto parse = [](const QJsonValue &json) {
        const std::optional<QByteArray> data = dataFromJson(json);
        return data && data->size() <= MaxContents ? data : std::nullopt;
    };
    reader.read("data", QStringLiteral("hexadecimal digits of at most 16 MiB"), value, parse);
    qint64 size = value->size();
    reader.number("size", size, MaxContents, &size);
    *value = value->leftJustified(static_cast<int>(size), '\0');
}

/// Inserts the members of data, without its trailing zeros.
void insertData(QJsonObject *json, const QByteArray &data)
{
    auto size = data.size();
    while (size > 0 && data.at(size - 1) == '\0')
        --size;
    json->insert(QStringLiteral("data"), dataToJson(data.left(size)));
    json->insert(QStringLiteral("size"), data.size());
}

QJsonValue addressToJson(quint32 address)
{
    return QStringLiteral("0x%1").arg(address, 8, 16, QLatin1Char('0'));
}

QJsonObject unitToJson(const UnitAddress &address, const Unit &unit)
{
    QJsonArray blocks;
    for (auto block = unit.blocks.begin(); block != unit.blocks.end(); ++block) {
        QJsonObject json{{QStringLiteral("address"), addressToJson(block.key())},
                         {QStringLiteral("filled"), block->filled}};
        insertData(&json, block->data);
        blocks.append(json);
    }
    QJsonArray files;
    for (auto file = unit.files.begin(); file != unit.files.end(); ++file) {
        files.append(QJsonObject{{QStringLiteral("name"), file.key()},
                                 {QStringLiteral("data"), dataToJson(*file)}});
    }
    QJsonObject memory;
    insertData(&memory, unit.memory);
    return {{QStringLiteral("scrAddr"), address.screen},
            {QStringLiteral("desAddr"), address.destination},
            {QStringLiteral("deviceType"), address.deviceType},
            {QStringLiteral("portAddr"), address.port},
            {QStringLiteral("scanBoardAddr"), address.scanBoard},
            {QStringLiteral("blocks"), blocks},
            {QStringLiteral("files"), files},
            {QStringLiteral("fileSpace"), numberToJson(unit.fileSpace)},
            {QStringLiteral("memory"), memory}};
}

QString readBlock(const QJsonValue &json, Unit *unit)
{
    ObjectReader reader(json);
    qint64 address = 0;
    Block block;
    readData(reader, &block.data);
    reader.number("address", 0, MaxAddress + 1 - block.data.size(), &address);
    reader.number("filled", 0, block.data.size(), &block.filled);
    unit->blocks.insert(static_cast<quint32>(address), block);
    return reader.end();
}

QString readFile(const QJsonValue &json, Unit *unit)
{
    ObjectReader reader(json);
    QString name;
    QByteArray contents;
    reader.require("name");
    reader.text("name", &name);
    readData(reader, &contents);
    unit->files.insert(name, contents);
    return reader.end();
}

QString readMemory(const QJsonValue &json, Unit *unit)
{
    ObjectReader reader(json);
    readData(reader, &unit->memory);
    return reader.end();
}

/// Returns whether no two blocks overlap.
bool areApart(const QMap<quint32, Block> &blocks, int listed)
{
    qint64 end = 0;
    for (auto block = blocks.begin(); block != blocks.end(); ++block) {
        if (block.key() < end)
            return false;
        end = block.key() + qint64(block->data.size());
    }
    return blocks.size() == listed;
}

QString readUnit(const QJsonValue &json, DeviceState *state)
{
    ObjectReader reader(json);
    UnitAddress address;
    Unit unit;
    reader.number("scrAddr", 0, 0xFF, &address.screen);
    reader.number("desAddr", 0, 0xFF, &address.destination);
    reader.number("deviceType", 0, 0xFF, &address.deviceType);
    reader.number("portAddr", 0, 0xFF, &address.port);
    reader.number("scanBoardAddr", 0, 0xFFFF, &address.scanBoard);
    reader.number("fileSpace", 0, MaxContents, &unit.fileSpace);
    int blocks = 0;
    reader.list("blocks", [&](const QJsonValue &item) {
        ++blocks;
        return readBlock(item, &unit);
    });
    if (!areApart(unit.blocks, blocks))
        reader.fail(QStringLiteral("blocks"), QStringLiteral("two of them overlap"));
    reader.list("files", [&](const QJsonValue &item) { return readFile(item, &unit); });
    const QJsonValue memory = reader.member("memory");
    const QString fault = memory.isUndefined() ? QString() : readMemory(memory, &unit);
    if (!fault.isEmpty())
        reader.fail(QStringLiteral("memory"), fault);
    if (state->units.contains(address))
        reader.fail(QStringLiteral("scrAddr"),
                    QStringLiteral("there is a unit at this address already"));
    state->units.insert(address, unit);
    return reader.end();
}

QString readSpecial(const QJsonValue &json, DeviceState *state)
{
    ObjectReader reader(json);
    int id = 0;
    QString answer;
    reader.number("id", -MaxInt - 1, MaxInt, &id);
    reader.require("answer");
    reader.text("answer", &answer);
    state->specials.insert(id, answer);
    return reader.end();
}

} // namespace

bool UnitAddress::operator<(const UnitAddress &other) const
{
    return std::tie(screen, destination, deviceType, port, scanBoard)
        < std::tie(other.screen, other.destination, other.deviceType, other.port, other.scanBoard);
}

UnitAddress unitAddressOf(const PackageBase &package)
{
    return {package.getScrAddr(), static_cast<uchar>(package.getDesAddr()),
            static_cast<uchar>(package.getDeviceType()), package.getPortAddr(),
            static_cast<quint16>(package.getScanBoardAddr())};
}

quint32 registerAddressOf(const PackageBase &package)
{
    constexpr int WordBits = 16;
    return quint32(package.getHighAddr()) << WordBits | package.getLowAddr();
}

QJsonObject stateToJson(const DeviceState &state)
{
    return Korvin::guarded([&] {
        QJsonArray units;
        for (auto unit = state.units.begin(); unit != state.units.end(); ++unit)
            units.append(unitToJson(unit.key(), *unit));
        QJsonArray specials;
        for (auto special = state.specials.begin(); special != state.specials.end(); ++special) {
            specials.append(QJsonObject{{QStringLiteral("id"), special.key()},
                                        {QStringLiteral("answer"), *special}});
        }
        return QJsonObject{{QStringLiteral("units"), units},
                           {QStringLiteral("specials"), specials},
                           {QStringLiteral("maxPartSize"), state.maxPartSize}};
    });
}

QString stateFromJson(const QJsonObject &json, DeviceState *state)
{
    const auto read = [&] {
        DeviceState made;
        ObjectReader reader(json);
        reader.number("maxPartSize", 1, MaxInt, &made.maxPartSize);
        reader.list("units", [&](const QJsonValue &item) { return readUnit(item, &made); });
        reader.list("specials", [&](const QJsonValue &item) { return readSpecial(item, &made); });
        QString fault = reader.end();
        if (fault.isEmpty())
            *state = made;
        return fault;
    };
    return Korvin::guarded(read, QStringLiteral("out of memory"));
}

} // namespace KorvinSimulator
