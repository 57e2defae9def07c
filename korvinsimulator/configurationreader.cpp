#include "configureddevice_p.h"
#include "jsonplace_p.h"
#include "memory_p.h"
#include "statereader_p.h"
#include "unitoperations_p.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QSet>
#include <QtCore/QStringList>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

const QStringList &framings()
{
    static const QStringList words{QStringLiteral("prefix"), QStringLiteral("lines"),
                                   QStringLiteral("linux")};
    return words;
}

/// Reads ADDRESS:PORT.
bool readTcp(const QString &text, Endpoint *endpoint)
{
    constexpr int LastPort = 65535;
    bool isNumber = false;
    const QString port = text.section(QLatin1Char(':'), -1);
    endpoint->place = text.section(QLatin1Char(':'), 0, -2);
    endpoint->port = port.toInt(&isNumber);
    return isNumber && endpoint->port >= 0 && endpoint->port <= LastPort && port.front().isDigit()
        && !endpoint->place.isEmpty();
}

void readKind(ObjectReader &reader, const char *kind, Endpoint *endpoint)
{
    const QJsonValue place = reader.member(kind);
    if (place.isUndefined())
        return;
    const QString name = QLatin1String(kind);
    if (!endpoint->kind.isEmpty())
        reader.fail(name, QStringLiteral("there is %1 already").arg(endpoint->kind));
    endpoint->kind = name;
    const bool isTcp = name == QLatin1String("tcp");
    if (!place.isString() || (isTcp && !readTcp(place.toString(), endpoint)))
        reader.fail(name,
                    isTcp ? QStringLiteral("not ADDRESS:PORT") : QStringLiteral("not a path"));
    if (!isTcp)
        endpoint->place = place.toString();
    if (endpoint->place.isEmpty() && name != QLatin1String("pty"))
        reader.fail(name, QStringLiteral("empty"));
}

QString readEndpoint(const QJsonValue &json, std::vector<Endpoint> *endpoints)
{
    ObjectReader reader(json);
    Endpoint endpoint;
    for (const char *kind : {"tcp", "unix", "serial", "pty"})
        readKind(reader, kind, &endpoint);
    if (endpoint.kind.isEmpty())
        reader.fail(QStringLiteral("tcp"), QStringLiteral("missing; or unix, serial, pty"));
    const bool isLine =
        endpoint.kind == QLatin1String("serial") || endpoint.kind == QLatin1String("pty");
    endpoint.framing = framings().at(isLine ? 2 : 0);
    reader.read("framing", QLatin1String("one of ") + framings().join(QLatin1String(", ")),
                &endpoint.framing, [](const QJsonValue &value) {
                    return framings().contains(value.toString()) ? std::optional(value.toString())
                                                                 : std::nullopt;
                });
    reader.number("baud", 1, MaxInt, &endpoint.baud);
    endpoints->push_back(endpoint);
    return reader.end();
}

QString readLimits(const QJsonValue &json, DeviceLimits *limits)
{
    constexpr int LargestMessage = 16777216;
    ObjectReader reader(json);
    reader.number("connections", 1, MaxInt, &limits->connections);
    reader.number("messageSize", 1, LargestMessage, &limits->messageSize);
    reader.number("unsentSize", 1, LargestMessage, &limits->unsentSize);
    return reader.end();
}

/// A range as it was read, with its number in the list.
struct ListedRange
{
    Range range;
    std::optional<QByteArray> bytes; ///< Its first values, if it has any.
    int number = 0;
};

/// Makes sure that blocks have the bytes of all ranges. Ranges outside of blocks become blocks;
/// those that touch become one.
class BlockMaker
{
public:
    explicit BlockMaker(Unit *unit)
        : m_unit(unit)
    {
    }

    /// Takes ranges in the order of their addresses. Returns what is wrong.
    QString take(const ListedRange &listed)
    {
        const Range &range = listed.range;
        if (bytesAt(*m_unit, range.address, range.size())) {
            if (listed.bytes)
                setBytes(m_unit, range.address, *listed.bytes);
            return {};
        }
        if (overlapsBlock(range))
            return QStringLiteral("address: only a part of it is in a block");
        const QByteArray bytes = listed.bytes.value_or(QByteArray(range.size(), '\0'));
        if (!m_made || m_end != range.address)
            m_made = &m_unit->blocks[range.address];
        m_made->data += bytes;
        m_end = range.end();
        return {};
    }

private:
    bool overlapsBlock(const Range &range) const
    {
        const auto next = std::as_const(m_unit->blocks).upperBound(range.address);
        if (next != m_unit->blocks.constEnd() && next.key() < range.end())
            return true;
        if (next == m_unit->blocks.constBegin())
            return false;
        const auto before = std::prev(next);
        return before.value().data.size() + qint64(before.key()) > range.address;
    }

    Unit *m_unit;
    Block *m_made = nullptr; ///< The last one that ranges have made.
    qint64 m_end = 0;        ///< Where it ends.
};

/// Reads the units of a device with their ranges.
class UnitReader : public StateReader
{
public:
    UnitReader(const ReadFile &readFile, Setup *setup)
        : m_readFile(readFile)
        , m_setup(setup)
    {
    }

protected:
    void readUnitMembers(ObjectReader &reader, const UnitAddress &address, Unit *unit) override;
    void readFileMembers(ObjectReader &reader, QByteArray *contents) override;

private:
    using ListedRanges = std::map<quint32, ListedRange>; // by address

    void readName(ObjectReader &reader, QString *name);
    QString readListed(const QJsonValue &json, ListedRange listed, ListedRanges *all);
    QString addTo(const ListedRange &listed, BlockMaker *maker, UnitRanges *ranges);
    static QString checkReferences(UnitRanges &ranges, const Range &range);

    const ReadFile &m_readFile;
    Setup *m_setup;
    QSet<QString> m_names;      ///< Of units.
    QSet<QString> m_rangeNames; ///< Of the unit that is being read.
    quint64 m_streams = 0;
};

void UnitReader::readName(ObjectReader &reader, QString *name)
{
    *name = QString::number(m_names.size() + 1);
    reader.text("name", name);
    if (name->isEmpty() || name->contains(QLatin1Char('/')))
        reader.fail(QStringLiteral("name"), QStringLiteral("not a text without \"/\""));
    if (m_names.contains(*name)) {
        reader.fail(QStringLiteral("name"),
                    QStringLiteral("there is a unit \"%1\" already").arg(*name));
    }
    m_names.insert(*name);
}

QString UnitReader::readListed(const QJsonValue &json, ListedRange listed, ListedRanges *all)
{
    QString fault = readRange(json, &listed.range, &listed.bytes);
    if (!fault.isEmpty())
        return fault;
    if (m_rangeNames.contains(listed.range.name))
        return QStringLiteral("name: there is a range of this name already");
    m_rangeNames.insert(listed.range.name);
    const Range &range = listed.range;
    const auto next = all->lower_bound(range.address);
    const auto before = next == all->begin() ? all->end() : std::prev(next);
    const bool overlapsNext = next != all->end() && next->first < range.end();
    if (overlapsNext || (before != all->end() && before->second.range.end() > range.address)) {
        return QStringLiteral("address: it overlaps \"%1\"")
            .arg((overlapsNext ? next : before)->second.range.name);
    }
    if (!take(range.size()))
        return QLatin1String("repeat: ") + tooMuch();
    all->emplace(range.address, listed);
    return {};
}

QString UnitReader::addTo(const ListedRange &listed, BlockMaker *maker, UnitRanges *ranges)
{
    QString fault = maker->take(listed);
    Range &range = ranges->ranges[listed.range.address] = listed.range;
    range.stream = m_streams++;
    ranges->addresses.insert(range.name, range.address);
    return fault;
}

QString UnitReader::checkReferences(UnitRanges &ranges, const Range &range)
{
    if (range.behaviour.kind == Behaviour::Kind::Echo) {
        const Range *source = ranges.named(range.behaviour.source);
        const bool isSource = source && source->behaviour.kind != Behaviour::Kind::Echo
            && source->size() == range.size();
        if (!isSource) {
            return QStringLiteral("behaviour: of: not a range of this unit with %1 bytes that is "
                                  "not an echo itself")
                .arg(range.size());
        }
    }
    int number = 0;
    for (const Setting &setting : range.settings) {
        const QString path = QStringLiteral("onWrite: set: %1: ").arg(++number);
        const Range *target = ranges.named(setting.range);
        if (!target)
            return path + QStringLiteral("range: no range has this name");
        if (!target->encode(setting.value, QByteArray(target->type.width, '\0')))
            return path + QLatin1String("value: not ") + target->words();
    }
    return {};
}

void UnitReader::readUnitMembers(ObjectReader &reader, const UnitAddress &address, Unit *unit)
{
    UnitRanges &ranges = m_setup->units[address];
    readName(reader, &ranges.name);
    ListedRanges listed;
    int number = 0;
    m_rangeNames.clear();
    reader.list("ranges", [&](const QJsonValue &item) {
        return readListed(item, {{}, {}, ++number}, &listed);
    });
    BlockMaker maker(unit);
    const auto check = [&](const ListedRange &one, const QString &fault) {
        if (!fault.isEmpty())
            reader.fail(QStringLiteral("ranges"), inMember(QString::number(one.number), fault));
    };
    for (const auto &[start, one] : listed)
        check(one, addTo(one, &maker, &ranges));
    for (const auto &[start, one] : listed)
        check(one, checkReferences(ranges, one.range));
}

void UnitReader::readFileMembers(ObjectReader &reader, QByteArray *contents)
{
    QString text;
    QString name;
    reader.text("text", &text);
    reader.text("from", &name);
    if (!text.isEmpty())
        *contents = text.toUtf8();
    if (name.isEmpty())
        return;
    const QString fault =
        m_readFile ? m_readFile(name, contents) : QStringLiteral("files cannot be read here");
    if (!fault.isEmpty())
        reader.fail(QStringLiteral("from"), fault);
    else if (!take(contents->size()))
        reader.fail(QStringLiteral("from"), tooMuch());
}

/// The members that stay as they are while a device runs.
constexpr const char *FixedMembers[] = {"$schema", "name", "listen", "bandwidth", "limits"};

} // namespace

/// Reads devices.
class ConfigurationReader
{
public:
    explicit ConfigurationReader(const ReadFile &readFile)
        : m_readFile(readFile)
    {
    }

    /// Reads a device, or a list of them.
    QString read(const QJsonObject &json, std::vector<ConfiguredDevice> *devices)
    {
        if (!json.contains(QLatin1String("devices"))) {
            devices->emplace_back();
            return readDevice(json, devices);
        }
        ObjectReader reader(json);
        QString schema;
        reader.text("$schema", &schema);
        reader.list("devices", [&](const QJsonValue &item) {
            devices->emplace_back();
            return readDevice(item, devices);
        });
        if (devices->empty())
            reader.fail(QStringLiteral("devices"), QStringLiteral("none"));
        return reader.end();
    }

private:
    QString readDevice(const QJsonValue &json, std::vector<ConfiguredDevice> *devices)
    {
        ConfiguredDevice::Private &device = *devices->back().d;
        ObjectReader reader(json);
        Setup setup;
        UnitReader(m_readFile, &setup).read(reader, &setup.state);
        readFixed(reader, json.toObject(), &device);
        for (std::size_t i = 0; i + 1 < devices->size(); ++i) {
            if ((*devices)[i].name() == device.m_name) {
                reader.fail(QStringLiteral("name"),
                            QStringLiteral("there is a device \"%1\" already").arg(device.m_name));
            }
        }
        reader.number("seed", 0, std::numeric_limits<quint32>::max(), &device.m_seed);
        reader.number("clock", 0, MaxInt * MaxInt, &setup.clock);
        readFaults(reader, &setup);
        device.begin(setup);
        return reader.end();
    }

    static void readFixed(ObjectReader &reader, const QJsonObject &json,
                          ConfiguredDevice::Private *device)
    {
        QString schema;
        reader.text("$schema", &schema);
        reader.text("name", &device->m_name);
        reader.list("listen", [&](const QJsonValue &item) {
            return readEndpoint(item, &device->m_endpoints);
        });
        reader.number("bandwidth", 1, MaxInt, &device->m_bandwidth);
        const QJsonValue limits = reader.member("limits");
        const QString fault =
            limits.isUndefined() ? QString() : readLimits(limits, &device->m_limits);
        if (!fault.isEmpty())
            reader.fail(QStringLiteral("limits"), fault);
        for (const char *name : FixedMembers) {
            if (json.contains(QLatin1String(name)))
                device->m_source.insert(QLatin1String(name), json.value(QLatin1String(name)));
        }
    }

    static void readFaults(ObjectReader &reader, Setup *setup)
    {
        std::map<QString, UnitAddress> names;
        for (const auto &[address, ranges] : setup->units)
            names[ranges.name] = address;
        QJsonArray rules;
        reader.list("faults", [&](const QJsonValue &item) {
            rules.append(item);
            return QString();
        });
        const QString fault = setup->faults.read(rules, names);
        if (!fault.isEmpty())
            reader.fail(QStringLiteral("faults"), fault);
    }

    const ReadFile &m_readFile;
};

namespace {

QString readDevices(const QByteArray &json, const ReadFile &readFile,
                    std::vector<ConfiguredDevice> *devices)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        return lineAndColumn(json, error.offset) + QLatin1String(": ") + error.errorString();
    if (!document.isObject())
        return QStringLiteral("1:1: not an object");
    QString doubled = findDoubledMember(json);
    if (!doubled.isEmpty())
        return doubled;
    std::vector<ConfiguredDevice> made;
    const QString fault = ConfigurationReader(readFile).read(document.object(), &made);
    if (!fault.isEmpty())
        return placeOf(json, fault) + QLatin1String(": ") + fault;
    *devices = std::move(made);
    return {};
}

} // namespace

QString readConfiguration(const QByteArray &json, const ReadFile &readFile,
                          std::vector<ConfiguredDevice> *devices)
{
    return Korvin::guarded([&] { return readDevices(json, readFile, devices); },
                           QStringLiteral("out of memory"));
}

QJsonObject configurationOf(const std::vector<const ConfiguredDevice *> &devices)
{
    return Korvin::guarded([&] {
        if (devices.size() == 1)
            return devices.front()->toJson();
        QJsonArray list;
        for (const ConfiguredDevice *device : devices)
            list.append(device->toJson());
        return QJsonObject{{QStringLiteral("devices"), list}};
    });
}

} // namespace KorvinSimulator
