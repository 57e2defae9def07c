#include "range_p.h"

#include "codenames_p.h"
#include "unitoperations_p.h"

#include <QtCore/QStringList>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

template <typename Code, std::size_t N>
void readCode(ObjectReader &reader, const char *name, const Korvin::CodeName<Code> (&names)[N],
              Code *code)
{
    QStringList words;
    for (const Korvin::CodeName<Code> &row : names)
        words << row.name.toString();
    reader.read(name, QLatin1String("one of ") + words.join(QLatin1String(", ")), code,
                [&](const QJsonValue &json) {
                    const QString word = json.toString();
                    return words.contains(word) ? std::optional(Korvin::codeOf(names, word, Code()))
                                                : std::nullopt;
                });
}

void readType(ObjectReader &reader, Range *range)
{
    reader.require("type");
    reader.read("type", QLatin1String("one of ") + valueTypeNames(), &range->type,
                [](const QJsonValue &json) { return valueTypeOf(json.toString()); });
    if (range->type.kind == ValueType::Kind::Text) {
        range->type.width = 1;
        reader.require("size");
        reader.number("size", 1, MaxContents, &range->type.width);
    }
    reader.read("byteOrder", QStringLiteral("little or big"), &range->type.isBigEndian,
                [](const QJsonValue &json) {
                    const QString order = json.toString();
                    const bool isBig = order == QLatin1String("big");
                    return isBig || order == QLatin1String("little") ? std::optional(isBig)
                                                                     : std::nullopt;
                });
    reader.number("repeat", 1, MaxContents / range->type.width, &range->repeat);
}

void readAccess(ObjectReader &reader, Range *range)
{
    QString access = QStringLiteral("readWrite");
    reader.read("access", QStringLiteral("one of read, write, readWrite, none"), &access,
                [](const QJsonValue &json) {
                    const QStringList words{QStringLiteral("read"), QStringLiteral("write"),
                                            QStringLiteral("readWrite"), QStringLiteral("none")};
                    return words.contains(json.toString()) ? std::optional(json.toString())
                                                           : std::nullopt;
                });
    range->isReadable = access.startsWith(QLatin1String("read"));
    range->isWritable = access.endsWith(QLatin1String("rite"));
}

QString readSetting(const QJsonValue &json, Range *range)
{
    ObjectReader reader(json);
    Setting setting;
    reader.require("range");
    reader.text("range", &setting.range);
    reader.require("value");
    setting.value = reader.member("value");
    range->settings.push_back(setting);
    return reader.end();
}

QString readOnWrite(const QJsonValue &json, Range *range)
{
    ObjectReader reader(json);
    reader.list("set", [&](const QJsonValue &item) { return readSetting(item, range); });
    const QJsonValue outcome = reader.member("outcome");
    const QString fault =
        outcome.isUndefined() ? QString() : readOutcome(outcome, &range->writeOutcome);
    if (!fault.isEmpty())
        reader.fail(QStringLiteral("outcome"), fault);
    readDelay(reader, "delay", &range->writeDelay);
    return reader.end();
}

void readInitialValue(ObjectReader &reader, const Range &range, std::optional<QByteArray> *bytes)
{
    QByteArray fill(range.type.width, '\0');
    const QJsonValue fillJson = reader.member("fill");
    if (!fillJson.isUndefined()) {
        const std::optional<QByteArray> encoded = range.type.encode(fillJson);
        if (!encoded)
            reader.fail(QStringLiteral("fill"), QLatin1String("not ") + range.type.words());
        fill = encoded.value_or(fill);
        *bytes = fill.repeated(range.repeat);
    }
    const QJsonValue value = reader.member("value");
    if (value.isUndefined())
        return;
    *bytes = range.encode(value, fill);
    if (!*bytes)
        reader.fail(QStringLiteral("value"), QLatin1String("not ") + range.words());
}

void readObject(ObjectReader &reader, const char *name,
                QString (*read)(const QJsonValue &, Range *), Range *range)
{
    const QJsonValue json = reader.member(name);
    const QString fault = json.isUndefined() ? QString() : read(json, range);
    if (!fault.isEmpty())
        reader.fail(QLatin1String(name), fault);
}

} // namespace

std::optional<QByteArray> Range::encode(const QJsonValue &value, const QByteArray &fill) const
{
    if (!value.isArray()) {
        const std::optional<QByteArray> bytes = type.encode(value);
        return bytes ? std::optional(bytes->repeated(repeat)) : std::nullopt;
    }
    const QJsonArray values = value.toArray();
    if (values.size() > repeat)
        return {};
    QByteArray all;
    for (const QJsonValue item : values) {
        const std::optional<QByteArray> bytes = type.encode(item);
        if (!bytes)
            return {};
        all += *bytes;
    }
    return all + fill.repeated(repeat - values.size());
}

QJsonValue Range::decode(const QByteArray &bytes) const
{
    if (repeat == 1)
        return type.decode(bytes);
    QJsonArray values;
    for (int i = 0; i < repeat; ++i)
        values.append(type.decode(bytes.mid(i * type.width, type.width)));
    return values;
}

QString Range::words() const
{
    return repeat == 1
        ? type.words()
        : QStringLiteral("%1, or a list of at most %2 of them").arg(type.words()).arg(repeat);
}

Range *UnitRanges::named(const QString &rangeName)
{
    const auto address = addresses.constFind(rangeName);
    return address == addresses.constEnd() ? nullptr : &ranges.at(*address);
}

std::map<quint32, Range>::iterator UnitRanges::firstAfter(quint32 address)
{
    auto range = ranges.upper_bound(address);
    if (range == ranges.begin())
        return range;
    const auto before = std::prev(range);
    return before->second.end() > address ? before : range;
}

QString readRange(const QJsonValue &json, Range *range, std::optional<QByteArray> *bytes)
{
    ObjectReader reader(json);
    reader.require("name");
    reader.text("name", &range->name);
    if (range->name.contains(QLatin1Char('/')))
        reader.fail(QStringLiteral("name"),
                    QStringLiteral("a \"/\" stands after the name of a unit"));
    readType(reader, range);
    reader.require("address");
    reader.number("address", 0, MaxAddress + 1 - range->size(), &range->address);
    readAccess(reader, range);
    readDelay(reader, "delay", &range->delay);
    const QJsonValue behaviour = reader.member("behaviour");
    const QString fault = behaviour.isUndefined()
        ? QString()
        : readBehaviour(behaviour, range->type, &range->behaviour);
    if (!fault.isEmpty())
        reader.fail(QStringLiteral("behaviour"), fault);
    readObject(reader, "onWrite", readOnWrite, range);
    readInitialValue(reader, *range, bytes);
    reader.number("step", &range->step);
    range->hasBegun = json.toObject().contains(QLatin1String("step"));
    reader.number("requests", &range->requests);
    range->source = json.toObject();
    for (const char *name : {"value", "fill", "step", "requests"})
        range->source.remove(QLatin1String(name));
    return reader.end();
}

QString readOutcome(const QJsonValue &json, RequestOutcome *outcome)
{
    ObjectReader reader(json);
    readOutcomeMembers(reader, outcome);
    return reader.end();
}

void readOutcomeMembers(ObjectReader &reader, RequestOutcome *outcome)
{
    constexpr int MostAckCode = 127;
    *outcome = AnyFailure;
    reader.number("ackCode", 1, MostAckCode, &outcome->ackCode);
    readCode(reader, "commResult", Korvin::CommResultNames, &outcome->commResult);
    readCode(reader, "packResult", Korvin::PackageResultNames, &outcome->packResult);
}

std::optional<QByteArray> bytesAt(const Unit &unit, quint32 address, int size)
{
    auto block = unit.blocks.upperBound(address);
    if (block == unit.blocks.begin())
        return {};
    --block;
    const qint64 offset = qint64(address) - block.key();
    if (offset + size > block->data.size())
        return {};
    return block->data.mid(static_cast<int>(offset), size);
}

void setBytes(Unit *unit, quint32 address, const QByteArray &bytes)
{
    const auto block = --unit->blocks.upperBound(address);
    const auto offset = static_cast<int>(address - block.key());
    block->data.replace(offset, static_cast<int>(bytes.size()), bytes);
}

} // namespace KorvinSimulator
