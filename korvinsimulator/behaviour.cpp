#include "behaviour_p.h"

#include "delay_p.h"
#include "randomnumbers_p.h"

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

constexpr const char *BehaviourNames[] = {"count", "ramp", "sine", "list", "random", "echo"};

constexpr qint64 LongestPeriod = 2147483647;
constexpr double LargestReal = 1e300; // differences are finite

std::optional<Behaviour::Kind> behaviourOf(const QJsonValue &json)
{
    int kind = static_cast<int>(Behaviour::Kind::None);
    for (const char *name : BehaviourNames) {
        ++kind;
        if (json.toString() == QLatin1String(name))
            return static_cast<Behaviour::Kind>(kind);
    }
    return {};
}

double leastOf(const ValueType &type)
{
    return qMax(type.least(), -LargestReal);
}

double mostOf(const ValueType &type)
{
    return qMin(type.most(), LargestReal);
}

void readCount(ObjectReader &reader, const ValueType &type, Behaviour *behaviour)
{
    if (type.kind == ValueType::Kind::Float) {
        readReal(reader, "from", leastOf(type), mostOf(type), &behaviour->realFrom);
        readReal(reader, "step", leastOf(type), mostOf(type), &behaviour->realStep);
        return;
    }
    const auto bits = [](const QJsonValue &json) {
        const std::optional<qint64> number = numberFromJson<qint64>(json);
        return number ? std::optional(static_cast<quint64>(*number))
                      : numberFromJson<quint64>(json);
    };
    reader.read("from", type.words(), &behaviour->from, [&](const QJsonValue &json) {
        return type.encode(json) ? bits(json) : std::nullopt;
    });
    reader.read("step", QStringLiteral("a whole number"), &behaviour->step, bits);
}

/// Reads where values lie. Those of a ramp or sine may pass the limits of the type, which cut them.
void readLimits(ObjectReader &reader, const char *low, const char *high, Behaviour *behaviour)
{
    reader.require(low);
    reader.require(high);
    readReal(reader, low, -LargestReal, LargestReal, &behaviour->low);
    readReal(reader, high, -LargestReal, LargestReal, &behaviour->high);
}

void readRandom(ObjectReader &reader, const ValueType &type, Behaviour *behaviour)
{
    reader.require("low");
    reader.require("high");
    readReal(reader, "low", leastOf(type), mostOf(type), &behaviour->low);
    readReal(reader, "high", behaviour->low, mostOf(type), &behaviour->high);
}

void readPeriod(ObjectReader &reader, Behaviour *behaviour)
{
    reader.require("period");
    reader.number("period", 1, LongestPeriod, &behaviour->period);
}

void readValues(ObjectReader &reader, const ValueType &type, Behaviour *behaviour)
{
    reader.list("values", [&](const QJsonValue &item) {
        const std::optional<QByteArray> bytes = type.encode(item);
        behaviour->values.push_back(bytes.value_or(QByteArray()));
        return bytes ? QString() : QLatin1String("not ") + type.words();
    });
    if (behaviour->values.empty())
        reader.fail(QStringLiteral("values"), QStringLiteral("missing"));
}

void readMembers(ObjectReader &reader, const ValueType &type, Behaviour *behaviour)
{
    switch (behaviour->kind) {
    case Behaviour::Kind::Count:
        readCount(reader, type, behaviour);
        break;
    case Behaviour::Kind::Ramp:
        readLimits(reader, "from", "to", behaviour);
        return readPeriod(reader, behaviour);
    case Behaviour::Kind::Sine:
        readLimits(reader, "low", "high", behaviour);
        return readPeriod(reader, behaviour);
    case Behaviour::Kind::List:
        readValues(reader, type, behaviour);
        break;
    case Behaviour::Kind::Random:
        readRandom(reader, type, behaviour);
        break;
    default:
        reader.require("of");
        return reader.text("of", &behaviour->source);
    }
    reader.number("every", 1, LongestPeriod, &behaviour->every);
}

} // namespace

quint64 Behaviour::stepAt(qint64 milliseconds) const
{
    return static_cast<quint64>(every > 0 ? milliseconds / every : milliseconds);
}

QByteArray Behaviour::valueAt(quint64 number, const ValueType &type, quint64 seed,
                              quint64 stream) const
{
    constexpr double TwoPi = 6.283185307179586;
    const auto share = [&] {
        return static_cast<double>(number % static_cast<quint64>(period))
            / static_cast<double>(period);
    };
    switch (kind) {
    case Kind::Count:
        return type.kind == ValueType::Kind::Float
            ? type.encodeReal(realFrom + realStep * static_cast<double>(number))
            : type.encodeBits(from + step * number);
    case Kind::Ramp:
        return type.encodeReal(low + (high - low) * share());
    case Kind::Sine:
        return type.encodeReal(low + (high - low) * (1 + std::sin(TwoPi * share())) / 2);
    case Kind::List:
        return values.at(number % values.size());
    default:
        break;
    }
    const double drawn = randomShare(seed, stream, number);
    return type.kind == ValueType::Kind::Float
        ? type.encodeReal(low + (high - low) * drawn)
        : type.encodeReal(std::floor(low + (high - low + 1) * drawn));
}

QString readBehaviour(const QJsonValue &json, const ValueType &type, Behaviour *behaviour)
{
    ObjectReader reader(json);
    reader.require("kind");
    reader.read("kind", QStringLiteral("one of count, ramp, sine, list, random, echo"),
                &behaviour->kind, behaviourOf);
    const bool needsNumber =
        behaviour->kind != Behaviour::Kind::List && behaviour->kind != Behaviour::Kind::Echo;
    if (type.kind == ValueType::Kind::Text && needsNumber)
        reader.fail(QStringLiteral("kind"), QStringLiteral("a text can only be a list or an echo"));
    else if (behaviour->kind != Behaviour::Kind::None)
        readMembers(reader, type, behaviour);
    return reader.end();
}

} // namespace KorvinSimulator
