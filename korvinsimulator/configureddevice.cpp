#include "configureddevice_p.h"

#include "classrow_p.h"
#include "memory_p.h"

#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

constexpr qint64 LongestWait = 3600000;

/// Returns how many bytes of registers a request reads or writes; -1 for one that uses them as a
/// buffer, or not at all.
int registerBytesOf(const PackageBase &request)
{
    switch (rowOf(classOf(request).id).own) {
    case Korvin::Own::ReadBlock:
        return qMax(static_cast<const PackageRequestReadData &>(request).getReplyDataLength(), 0);
    case Korvin::Own::WriteBlock:
        return static_cast<int>(
            static_cast<const PackageRequestWriteData &>(request).data().size());
    default:
        return -1;
    }
}

RequestFacts factsOf(const PackageBase &request, ClassId classId)
{
    // Nobody compares the code of a request with its class.
    const bool isWrite = qobject_cast<const PackageRequestWrite *>(&request) != nullptr;
    const bool isRead = qobject_cast<const PackageRequestRead *>(&request) != nullptr;
    return {classId, unitAddressOf(request), registerAddressOf(request),
            isWrite || (!isRead && request.getReadWriteCode() != OrvexEnum::Read)};
}

bool isBroadcast(const PackageBase &request)
{
    const auto *write = qobject_cast<const PackageRequestWrite *>(&request);
    return write && write->bBroadcast();
}

/// Calls an operation with the ranges and the state of each unit that a request is for.
template <typename Operation>
void forUnits(std::map<UnitAddress, UnitRanges> &units, DeviceState &state,
              const PackageBase &request, const UnitAddress &address, Operation operation)
{
    if (isBroadcast(request)) {
        for (auto &[unitAddress, ranges] : units)
            operation(ranges, &*state.units.find(unitAddress));
        return;
    }
    const auto ranges = units.find(address);
    if (ranges != units.end())
        operation(ranges->second, &*state.units.find(address));
}

QJsonObject error(const QString &fault)
{
    return {{QStringLiteral("error"), fault}};
}

QJsonArray rangesToJson(const UnitRanges &ranges)
{
    QJsonArray json;
    for (const auto &[start, range] : ranges.ranges) {
        QJsonObject item = range.source;
        if (range.hasBegun)
            item.insert(QStringLiteral("step"), numberToJson(range.step));
        item.insert(QStringLiteral("requests"), numberToJson(range.requests));
        json.append(item);
    }
    return json;
}

} // namespace

ConfiguredDevice::Private::Device::Device(Private *owner)
    : m_owner(owner)
{
}

void ConfiguredDevice::Private::Device::carryOut(PackageBase &request)
{
    m_owner->carryOut(request);
}

ConfiguredDevice::Private::Private()
    : m_device(this)
{
}

/// Begins anew with a setup.
void ConfiguredDevice::Private::begin(const Setup &setup)
{
    m_setup = setup;
    restart();
}

void ConfiguredDevice::Private::setTime(qint64 now)
{
    if (!m_isTold)
        m_start = now;
    m_isTold = true;
    m_time = qMax(m_time, now);
}

void ConfiguredDevice::Private::addFaults(double share)
{
    for (Setup *setup : {&m_setup, &m_current}) {
        QJsonArray rules = setup->faults.toJson();
        rules.prepend(QJsonObject{{QStringLiteral("kind"), QStringLiteral("any")},
                                  {QStringLiteral("chance"), share}});
        setup->faults.read(rules, unitNames());
    }
}

void ConfiguredDevice::Private::restart()
{
    m_current = m_setup;
    m_device.state() = m_setup.state;
    m_used.clear();
    m_start = m_time;
    m_lineFree = 0;
    m_isSilent = false;
}

DeviceAnswer ConfiguredDevice::Private::answer(const QByteArray &request, ClassId classId,
                                               Form form)
{
    m_isFirst = true;
    m_classId = classId;
    m_plan = {};
    m_delay = 0;
    DeviceAnswer answer;
    answer.answer = m_device.answer(request, classId, form);
    if (!answer.answer.verdict.isOk()) {
        ++m_refused;
        return answer;
    }
    ++m_requests;
    applyFault(&answer);
    addTransmission(&answer.answer);
    m_replies += static_cast<qint64>(answer.answer.replies.size());
    return answer;
}

/// Makes of the reply what is sent.
void ConfiguredDevice::Private::applyFault(DeviceAnswer *answer)
{
    std::vector<QByteArray> &replies = answer->answer.replies;
    const Fault &fault = m_plan.fault;
    answer->answer.fault = fault.kind;
    const qint64 late = fault.kind == FaultKind::Delay ? fault.delay : 0;
    answer->answer.delay = static_cast<int>(qMin(m_delay + late, LongestWait));
    answer->link = m_isSilent ? LinkFault::Silence : m_plan.link;
    answer->sliceSize = m_plan.sliceSize;
    answer->slicePause = m_plan.slicePause;
    if (!m_plan.isNone())
        ++m_faults;
    if (fault.kind == FaultKind::DropRequest || answer->link != LinkFault::None)
        replies.clear();
    else
        replies = transmit(replies.front(), fault);
    if (m_plan.link == LinkFault::Restart)
        restart();
}

/// Adds the time that the replies take at a limited bandwidth, one after the other.
void ConfiguredDevice::Private::addTransmission(Answer *answer)
{
    constexpr qint64 Second = 1000;
    if (m_bandwidth == 0 || answer->replies.empty())
        return;
    qint64 size = 0;
    for (const QByteArray &reply : answer->replies)
        size += reply.size();
    const qint64 time = (size * Second + m_bandwidth - 1) / m_bandwidth;
    m_lineFree = qMax(m_lineFree, m_time + answer->delay) + time;
    answer->delay = static_cast<int>(qMin(m_lineFree - m_time, LongestWait));
}

/// Carries out a request or an item of a combination, or what a fault leaves of it.
void ConfiguredDevice::Private::carryOut(PackageBase &request)
{
    if (m_isFirst && !m_isSilent)
        m_plan = m_current.faults.next(factsOf(request, m_classId), m_seed);
    m_isFirst = false;
    m_isSilent = m_isSilent || m_plan.link == LinkFault::Silence;
    const FaultKind kind = m_plan.fault.kind;
    if (kind == FaultKind::Result)
        return setOutcome(request, m_plan.fault.outcome);
    if (kind == FaultKind::DropRequest || m_isSilent || m_plan.link != LinkFault::None)
        return;
    perform(request);
    ++m_carriedOut;
    if (m_observer)
        m_observer(request);
    if (kind == FaultKind::StaleSerial)
        setStaleSerial(request);
}

/// Carries out a request, with what the ranges that it is for add.
void ConfiguredDevice::Private::perform(PackageBase &request)
{
    const int length = m_current.units.empty() ? -1 : registerBytesOf(request);
    if (length < 0)
        return carryOutOn(m_device.state(), request, &m_used);
    const RequestFacts facts = factsOf(request, m_classId);
    const RequestOutcome outcome = admit(facts, request, length);
    if (outcome.ackCode != 0) {
        if (auto *read = qobject_cast<PackageRequestReadData *>(&request))
            read->setReplyDataLength(0);
        return setOutcome(request, outcome);
    }
    carryOutOn(m_device.state(), request, &m_used);
    if (!facts.isWrite || request.getAckCode() != 0)
        return;
    forUnits(
        m_current.units, m_device.state(), request, facts.unit,
        [&](UnitRanges &ranges, Unit *unit) { setOthers(ranges, unit, facts.address, length); });
}

/// Decides whether the ranges let a request through, and gives those that are read their values.
RequestOutcome ConfiguredDevice::Private::admit(const RequestFacts &facts,
                                                const PackageBase &request, int length)
{
    RequestOutcome outcome;
    forUnits(m_current.units, m_device.state(), request, facts.unit,
             [&](UnitRanges &ranges, Unit *unit) {
                 if (outcome.ackCode == 0)
                     outcome = admitTo(ranges, unit, facts, length);
             });
    return outcome;
}

RequestOutcome ConfiguredDevice::Private::admitTo(UnitRanges &ranges, Unit *unit,
                                                  const RequestFacts &facts, int length)
{
    const qint64 end = qint64(facts.address) + length;
    for (auto at = ranges.firstAfter(facts.address); at != ranges.ranges.end() && at->first < end;
         ++at) {
        Range &range = at->second;
        if (!(facts.isWrite ? range.isWritable : range.isReadable))
            return OtherAccess;
        const quint64 index = range.requests++;
        m_delay += range.delay.draw(m_seed, range.stream, index);
        if (!facts.isWrite) {
            refresh(ranges, unit, range, true);
            continue;
        }
        m_delay += range.writeDelay.draw(m_seed, range.stream, index);
        if (range.writeOutcome.ackCode != 0)
            return range.writeOutcome;
    }
    return Done;
}

/// Gives the ranges that a write sets their values.
void ConfiguredDevice::Private::setOthers(UnitRanges &ranges, Unit *unit, quint32 address,
                                          int length)
{
    const qint64 end = qint64(address) + length;
    for (auto at = ranges.firstAfter(address); at != ranges.ranges.end() && at->first < end; ++at) {
        for (const Setting &setting : at->second.settings) {
            const Range &target = *ranges.named(setting.range);
            const QByteArray fill(target.type.width, '\0');
            setBytes(unit, target.address, *target.encode(setting.value, fill));
        }
    }
}

/// Gives a range the value that its behaviour has now.
void ConfiguredDevice::Private::refresh(UnitRanges &ranges, Unit *unit, Range &range, bool isRead)
{
    const Behaviour &behaviour = range.behaviour;
    if (behaviour.kind == Behaviour::Kind::None)
        return;
    if (behaviour.kind == Behaviour::Kind::Echo) {
        Range &source = *ranges.named(behaviour.source);
        refresh(ranges, unit, source, false);
        return setBytes(unit, range.address, *bytesAt(*unit, source.address, source.size()));
    }
    const quint64 step = behaviour.isTimed() ? behaviour.stepAt(clock()) : range.step;
    if (behaviour.isTimed() ? range.hasBegun && step == range.step : !isRead)
        return;
    const QByteArray value = behaviour.valueAt(step, range.type, m_seed, range.stream);
    setBytes(unit, range.address, value.repeated(range.repeat));
    range.hasBegun = true;
    range.step = behaviour.isTimed() ? step : step + 1;
}

std::map<QString, UnitAddress> ConfiguredDevice::Private::unitNames() const
{
    std::map<QString, UnitAddress> names;
    for (const auto &[address, ranges] : m_current.units)
        names[ranges.name] = address;
    return names;
}

QJsonObject ConfiguredDevice::Private::control(const QJsonObject &command)
{
    const QString word = command.value(QLatin1String("command")).toString();
    if (word == QLatin1String("get"))
        return get(command);
    if (word == QLatin1String("set"))
        return set(command);
    if (word == QLatin1String("faults"))
        return setFaults(command);
    if (word == QLatin1String("statistics"))
        return statistics();
    return error(QStringLiteral("command: not one of get, set, faults, statistics"));
}

/// Finds what a command is about: a range by its name, or a place in a unit.
QString ConfiguredDevice::Private::find(const QJsonObject &command, Unit **unit,
                                        UnitRanges **ranges, Range **range)
{
    const QJsonValue unitName = command.value(QLatin1String("unit"));
    const QJsonValue rangeName = command.value(QLatin1String("range"));
    int found = 0;
    for (auto &[address, unitRanges] : m_current.units) {
        if (!unitName.isUndefined() && unitName != QJsonValue(unitRanges.name))
            continue;
        Range *const named = unitRanges.named(rangeName.toString());
        if (!rangeName.isUndefined() && !named)
            continue;
        ++found;
        *unit = &*m_device.state().units.find(address);
        *ranges = &unitRanges;
        *range = named;
    }
    if (found == 1)
        return {};
    const QString what = rangeName.isUndefined() ? QStringLiteral("unit") : QStringLiteral("range");
    return found == 0 ? QStringLiteral("%1: no %1 has this name").arg(what)
                      : QStringLiteral("unit: missing, since several would do");
}

QJsonObject ConfiguredDevice::Private::get(const QJsonObject &command)
{
    constexpr int MostBytes = 65536;
    ObjectReader reader(command);
    qint64 address = -1;
    int size = 1;
    for (const char *name : {"command", "unit", "range"})
        reader.member(name);
    reader.number("address", 0, std::numeric_limits<quint32>::max(), &address);
    reader.number("size", 1, MostBytes, &size);
    const QString wrong = reader.end();
    if (!wrong.isEmpty())
        return error(wrong);
    Unit *unit = nullptr;
    UnitRanges *ranges = nullptr;
    Range *range = nullptr;
    const QString fault = find(command, &unit, &ranges, &range);
    if (!fault.isEmpty())
        return error(fault);
    if (!range && address < 0)
        return error(QStringLiteral("range: missing; or an address"));
    if (range)
        refresh(*ranges, unit, *range, false);
    const std::optional<QByteArray> bytes = range
        ? bytesAt(*unit, range->address, qMin(range->size(), MostBytes))
        : bytesAt(*unit, static_cast<quint32>(address), size);
    if (!bytes)
        return error(QStringLiteral("address: no block has these bytes"));
    if (range && range->size() <= MostBytes)
        return {{QStringLiteral("value"), range->decode(*bytes)}};
    return {{QStringLiteral("data"), dataToJson(*bytes)}};
}

QJsonObject ConfiguredDevice::Private::set(const QJsonObject &command)
{
    ObjectReader reader(command);
    qint64 address = -1;
    QByteArray data;
    for (const char *name : {"command", "unit", "range"})
        reader.member(name);
    const QJsonValue value = reader.member("value");
    reader.number("address", 0, std::numeric_limits<quint32>::max(), &address);
    reader.data("data", &data);
    const QString wrong = reader.end();
    if (!wrong.isEmpty())
        return error(wrong);
    Unit *unit = nullptr;
    UnitRanges *ranges = nullptr;
    Range *range = nullptr;
    const QString fault = find(command, &unit, &ranges, &range);
    if (!fault.isEmpty())
        return error(fault);
    if (range) {
        const std::optional<QByteArray> bytes =
            range->encode(value, QByteArray(range->type.width, '\0'));
        if (!bytes)
            return error(QLatin1String("value: not ") + range->words());
        setBytes(unit, range->address, *bytes);
        return {};
    }
    if (address < 0 || data.isEmpty())
        return error(QStringLiteral("range: missing; or an address and data"));
    const auto place = static_cast<quint32>(address);
    if (!bytesAt(*unit, place, static_cast<int>(data.size())))
        return error(QStringLiteral("address: no block has these bytes"));
    setBytes(unit, place, data);
    return {};
}

QJsonObject ConfiguredDevice::Private::setFaults(const QJsonObject &command)
{
    const QJsonValue json = command.value(QLatin1String("faults"));
    if (json.isUndefined())
        return {{QStringLiteral("faults"), m_current.faults.toJson()}};
    if (!json.isArray())
        return error(QStringLiteral("faults: not a list"));
    const QString fault = m_current.faults.read(json.toArray(), unitNames());
    if (!fault.isEmpty())
        return error(inMember(QStringLiteral("faults"), fault));
    m_isSilent = false;
    return {};
}

QJsonObject ConfiguredDevice::Private::statistics() const
{
    return {{QStringLiteral("clock"), clock()},     {QStringLiteral("requests"), m_requests},
            {QStringLiteral("refused"), m_refused}, {QStringLiteral("carriedOut"), m_carriedOut},
            {QStringLiteral("replies"), m_replies}, {QStringLiteral("faults"), m_faults}};
}

QJsonObject ConfiguredDevice::Private::toJson() const
{
    QJsonObject json = stateToJson(m_device.state());
    QJsonArray units = json.value(QLatin1String("units")).toArray();
    int number = 0;
    for (const auto &[address, ranges] : m_current.units) { // in the order of the state
        QJsonObject unit = units.at(number).toObject();
        unit.insert(QStringLiteral("name"), ranges.name);
        unit.insert(QStringLiteral("ranges"), rangesToJson(ranges));
        units[number++] = unit;
    }
    json.insert(QStringLiteral("units"), units);
    json.insert(QStringLiteral("seed"), static_cast<qint64>(m_seed));
    json.insert(QStringLiteral("faults"), m_current.faults.toJson());
    json.insert(QStringLiteral("clock"), clock());
    for (auto member = m_source.begin(); member != m_source.end(); ++member)
        json.insert(member.key(), member.value());
    return json;
}

ConfiguredDevice::ConfiguredDevice()
    : d(std::make_unique<Private>())
{
}

ConfiguredDevice::~ConfiguredDevice() = default;
ConfiguredDevice::ConfiguredDevice(ConfiguredDevice &&other) noexcept = default;
ConfiguredDevice &ConfiguredDevice::operator=(ConfiguredDevice &&other) noexcept = default;

QString ConfiguredDevice::name() const
{
    return d->m_name;
}

std::vector<Endpoint> ConfiguredDevice::endpoints() const
{
    return d->m_endpoints;
}

DeviceLimits ConfiguredDevice::limits() const
{
    return d->m_limits;
}

void ConfiguredDevice::setTime(std::chrono::milliseconds now)
{
    d->setTime(now.count());
}

DeviceAnswer ConfiguredDevice::answer(const QByteArray &request, ClassId classId, Form form)
{
    DeviceAnswer outOfMemory;
    outOfMemory.answer.verdict.refusal = Refusal::OutOfMemory;
    return Korvin::guarded([&] { return d->answer(request, classId, form); }, outOfMemory);
}

QJsonObject ConfiguredDevice::control(const QJsonObject &command)
{
    return Korvin::guarded([&] { return d->control(command); });
}

void ConfiguredDevice::addFaults(double share)
{
    d->addFaults(share);
}

void ConfiguredDevice::setSeed(quint32 seed)
{
    d->m_seed = seed;
}

void ConfiguredDevice::restart()
{
    d->restart();
}

QJsonObject ConfiguredDevice::toJson() const
{
    return Korvin::guarded([&] { return d->toJson(); });
}

void ConfiguredDevice::setObserver(const std::function<void(const PackageBase &)> &observer)
{
    d->m_observer = observer;
}

} // namespace KorvinSimulator
