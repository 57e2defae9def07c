#include <korvinsimulator/devicestate.h>

#include "memory_p.h"
#include "statereader_p.h"
#include "unitoperations_p.h"

#include <packagebase.h>

#include <limits>
#include <tuple>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

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

} // namespace

StateReader::~StateReader() = default;

void StateReader::readUnitMembers(ObjectReader &, const UnitAddress &, Unit *) { }

void StateReader::readFileMembers(ObjectReader &, QByteArray *) { }

void StateReader::read(ObjectReader &reader, DeviceState *state)
{
    reader.number("maxPartSize", 1, MaxInt, &state->maxPartSize);
    reader.list("units", [&](const QJsonValue &item) { return readUnit(item, state); });
    reader.list("specials", [&](const QJsonValue &item) { return readSpecial(item, state); });
}

bool StateReader::take(qint64 size)
{
    m_left -= size;
    return m_left >= 0;
}

void StateReader::readData(ObjectReader &reader, QByteArray *value)
{
    const auto parse = [](const QJsonValue &json) {
        const std::optional<QByteArray> data = dataFromJson(json);
        return data && data->size() <= MaxContents ? data : std::nullopt;
    };
    reader.read("data", QStringLiteral("hexadecimal digits of at most 16 MiB"), value, parse);
    qint64 size = value->size();
    reader.number("size", size, MaxContents, &size);
    if (take(size))
        *value = value->leftJustified(static_cast<int>(size), '\0');
    else
        reader.fail(QStringLiteral("size"), tooMuch());
}

QString StateReader::tooMuch()
{
    return QStringLiteral("all units together hold more than %1 MiB").arg(MaxState >> 20);
}

QString StateReader::readBlock(const QJsonValue &json, Unit *unit)
{
    ObjectReader reader(json);
    qint64 address = 0;
    Block block;
    if (reader.member("data").isUndefined())
        reader.require("size");
    readData(reader, &block.data);
    reader.number("address", 0, MaxAddress + 1 - block.data.size(), &address);
    reader.number("filled", 0, block.data.size(), &block.filled);
    const auto start = static_cast<quint32>(address);
    if (unit->blocks.contains(start) || overlapsBlock(*unit, start, block.data.size()))
        reader.fail(QStringLiteral("address"), QStringLiteral("it overlaps a block before it"));
    unit->blocks.insert(start, block);
    return reader.end();
}

QString StateReader::readFile(const QJsonValue &json, Unit *unit)
{
    ObjectReader reader(json);
    QString name;
    QByteArray contents;
    reader.require("name");
    reader.text("name", &name);
    readData(reader, &contents);
    readFileMembers(reader, &contents);
    if (unit->files.contains(name))
        reader.fail(QStringLiteral("name"),
                    QStringLiteral("there is a file \"%1\" already").arg(name));
    unit->files.insert(name, contents);
    return reader.end();
}

QString StateReader::readMemory(const QJsonValue &json, Unit *unit)
{
    ObjectReader reader(json);
    readData(reader, &unit->memory);
    return reader.end();
}

void StateReader::readFiles(ObjectReader &reader, Unit *unit)
{
    reader.number("fileSpace", 0, MaxContents, &unit->fileSpace);
    reader.list("files", [&](const QJsonValue &item) { return readFile(item, unit); });
    const qint64 used = usedSpace(*unit);
    if (used > unit->fileSpace) {
        reader.fail(
            QStringLiteral("files"),
            QStringLiteral("they take %1 bytes with their names and entries; fileSpace is %2")
                .arg(used)
                .arg(unit->fileSpace));
    }
}

QString StateReader::readUnit(const QJsonValue &json, DeviceState *state)
{
    ObjectReader reader(json);
    UnitAddress address;
    Unit unit;
    readUnitAddress(reader, &address);
    reader.list("blocks", [&](const QJsonValue &item) { return readBlock(item, &unit); });
    readFiles(reader, &unit);
    const QJsonValue memory = reader.member("memory");
    const QString fault = memory.isUndefined() ? QString() : readMemory(memory, &unit);
    if (!fault.isEmpty())
        reader.fail(QStringLiteral("memory"), fault);
    readUnitMembers(reader, address, &unit);
    if (state->units.contains(address))
        reader.fail(QStringLiteral("scrAddr"),
                    QStringLiteral("there is a unit at this address already"));
    state->units.insert(address, unit);
    return reader.end();
}

QString StateReader::readSpecial(const QJsonValue &json, DeviceState *state)
{
    ObjectReader reader(json);
    int id = 0;
    QString answer;
    reader.number("id", -MaxInt - 1, MaxInt, &id);
    reader.require("answer");
    reader.text("answer", &answer);
    if (answer.contains(QLatin1Char(',')))
        reader.fail(QStringLiteral("answer"), QStringLiteral("a \",\" would end it"));
    if (state->specials.contains(id))
        reader.fail(QStringLiteral("id"),
                    QStringLiteral("there is an answer to %1 already").arg(id));
    state->specials.insert(id, answer);
    return reader.end();
}

bool overlapsBlock(const Unit &unit, quint32 address, qint64 size)
{
    const auto next = unit.blocks.upperBound(address);
    if (next != unit.blocks.end() && next.key() < address + size)
        return true;
    if (next == unit.blocks.begin())
        return false;
    const auto before = std::prev(next);
    return before->data.size() + qint64(before.key()) > address;
}

void readUnitAddress(ObjectReader &reader, UnitAddress *address)
{
    reader.number("scrAddr", 0, 0xFF, &address->screen);
    reader.number("desAddr", 0, 0xFF, &address->destination);
    reader.number("deviceType", 0, 0xFF, &address->deviceType);
    reader.number("portAddr", 0, 0xFF, &address->port);
    reader.number("scanBoardAddr", 0, 0xFFFF, &address->scanBoard);
}

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
        StateReader().read(reader, &made);
        QString fault = reader.end();
        if (fault.isEmpty())
            *state = made;
        return fault;
    };
    return Korvin::guarded(read, QStringLiteral("out of memory"));
}

} // namespace KorvinSimulator
