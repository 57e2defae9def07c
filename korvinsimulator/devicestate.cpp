#include <korvinsimulator/devicestate.h>

#include "jsonvalues_p.h"
#include "unitoperations_p.h"

#include <packagebase.h>

#include <QtCore/QJsonArray>

#include <limits>
#include <new>
#include <tuple>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

constexpr qint64 MaxInt = std::numeric_limits<int>::max();
constexpr qint64 MaxAddress = std::numeric_limits<quint32>::max();

QString inMember(const QString &name, const QString &fault)
{
    return QStringLiteral("%1: %2").arg(name, fault);
}

/// Reads the members of an object one by one, and keeps the first fault.
class MemberReader
{
public:
    explicit MemberReader(const QJsonValue &value)
        : m_members(value.toObject())
    {
        if (!value.isObject())
            m_fault = QStringLiteral("not an object");
    }

    template <typename Integer>
    void number(const char *name, qint64 min, qint64 max, Integer *value)
    {
        const QJsonValue json = m_members.read(name);
        if (json.isUndefined())
            return;
        const std::optional<qint64> number = numberFromJson<qint64>(json);
        if (number && *number >= min && *number <= max)
            *value = static_cast<Integer>(*number);
        else
            fail(QLatin1String(name),
                 QStringLiteral("not a whole number from %1 to %2").arg(min).arg(max));
    }

    void text(const char *name, QString *value)
    {
        const std::optional<QString> text = textFromJson(m_members.read(name));
        if (text)
            *value = *text;
        else
            fail(QLatin1String(name), QStringLiteral("not a text"));
    }

    /// Data in hexadecimal digits; zeros up to "size" behind it.
    void data(QByteArray *value)
    {
        const QJsonValue json = m_members.read("data");
        const std::optional<QByteArray> data =
            json.isUndefined() ? QByteArray() : dataFromJson(json);
        if (!data || data->size() > MaxContents) {
            fail(QStringLiteral("data"),
                 QStringLiteral("not hexadecimal digits of at most 16 MiB"));
            return;
        }
        qint64 size = data->size();
        number("size", size, MaxContents, &size);
        *value = data->leftJustified(static_cast<int>(size), '\0');
    }

    QJsonValue member(const char *name) { return m_members.read(name); }

    /// The objects of a list, each read by @p read, which returns what is wrong.
    template <typename Read>
    void list(const char *name, Read read)
    {
        const QJsonValue json = m_members.read(name);
        if (!json.isUndefined() && !json.isArray())
            fail(QLatin1String(name), QStringLiteral("not a list"));
        const QJsonArray items = json.toArray();
        int number = 0;
        for (const QJsonValue item : items) {
            const QString fault = read(item);
            ++number;
            if (!fault.isEmpty())
                fail(QLatin1String(name), inMember(QString::number(number), fault));
        }
    }

    /// Keeps the first fault.
    void fail(const QString &name, const QString &fault)
    {
        if (m_fault.isEmpty())
            m_fault = inMember(name, fault);
    }

    /// The first fault, or an empty text.
    QString end()
    {
        const std::optional<QString> unknown = m_members.unknown();
        if (unknown)
            fail(*unknown, QStringLiteral("there is no such member"));
        return m_fault;
    }

private:
    JsonMembers m_members;
    QString m_fault;
};

/// The members of data, without the zeros at its end.
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
    MemberReader reader(json);
    qint64 address = 0;
    Block block;
    reader.data(&block.data);
    reader.number("address", 0, MaxAddress + 1 - block.data.size(), &address);
    reader.number("filled", 0, block.data.size(), &block.filled);
    unit->blocks.insert(static_cast<quint32>(address), block);
    return reader.end();
}

QString readFile(const QJsonValue &json, Unit *unit)
{
    MemberReader reader(json);
    QString name;
    QByteArray contents;
    reader.text("name", &name);
    reader.data(&contents);
    unit->files.insert(name, contents);
    return reader.end();
}

QString readMemory(const QJsonValue &json, Unit *unit)
{
    MemberReader reader(json);
    reader.data(&unit->memory);
    return reader.end();
}

/// Whether each block ends in front of the next one, and none is there twice.
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
    MemberReader reader(json);
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
    MemberReader reader(json);
    int id = 0;
    QString answer;
    reader.number("id", -MaxInt - 1, MaxInt, &id);
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
try {
    QJsonArray units;
    for (auto unit = state.units.begin(); unit != state.units.end(); ++unit)
        units.append(unitToJson(unit.key(), *unit));
    QJsonArray specials;
    for (auto special = state.specials.begin(); special != state.specials.end(); ++special) {
        specials.append(QJsonObject{{QStringLiteral("id"), special.key()},
                                    {QStringLiteral("answer"), *special}});
    }
    return {{QStringLiteral("units"), units},
            {QStringLiteral("specials"), specials},
            {QStringLiteral("maxPartSize"), state.maxPartSize}};
} catch (const std::bad_alloc &) {
    return {};
}

QString stateFromJson(const QJsonObject &json, DeviceState *state)
try {
    DeviceState read;
    MemberReader reader(json);
    reader.number("maxPartSize", 1, MaxInt, &read.maxPartSize);
    reader.list("units", [&](const QJsonValue &item) { return readUnit(item, &read); });
    reader.list("specials", [&](const QJsonValue &item) { return readSpecial(item, &read); });
    QString fault = reader.end();
    if (fault.isEmpty())
        *state = read;
    return fault;
} catch (const std::bad_alloc &) {
    return QStringLiteral("out of memory");
}

} // namespace KorvinSimulator
