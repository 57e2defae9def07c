#include "delay_p.h"

#include "randomnumbers_p.h"

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

constexpr double LongestDraw = 600000;

QString readDistribution(const QJsonValue &json, Delay *delay)
{
    constexpr double LargestSigma = 10;
    ObjectReader reader(json);
    const QJsonObject members = json.toObject();
    if (members.contains(QLatin1String("mean"))) {
        delay->kind = Delay::Kind::Normal;
        readReal(reader, "mean", 0, LongestDraw, &delay->first);
        reader.require("deviation");
        readReal(reader, "deviation", 0, LongestDraw, &delay->second);
    } else if (members.contains(QLatin1String("median"))) {
        delay->kind = Delay::Kind::LogNormal;
        readReal(reader, "median", 0, LongestDraw, &delay->first);
        reader.require("sigma");
        readReal(reader, "sigma", 0, LargestSigma, &delay->second);
    } else {
        delay->kind = Delay::Kind::Range;
        readReal(reader, "from", 0, LongestDraw, &delay->first);
        reader.require("to");
        readReal(reader, "to", delay->first, LongestDraw, &delay->second);
    }
    return reader.end();
}

} // namespace

int Delay::draw(quint64 seed, quint64 stream, quint64 index) const
{
    double time = first;
    if (kind == Kind::Range)
        time += (second - first) * randomShare(seed, stream, index);
    else if (kind == Kind::Normal)
        time += second * randomNormal(seed, stream, index);
    else if (kind == Kind::LogNormal)
        time *= std::exp(second * randomNormal(seed, stream, index));
    return static_cast<int>(std::lround(qBound(0.0, time, LongestDraw)));
}

void readDelay(ObjectReader &reader, const char *name, Delay *delay)
{
    const QJsonValue json = reader.member(name);
    if (json.isObject()) {
        const QString fault = readDistribution(json, delay);
        if (!fault.isEmpty())
            reader.fail(QLatin1String(name), fault);
        return;
    }
    readReal(reader, name, 0, LongestDraw, &delay->first);
}

void readReal(ObjectReader &reader, const char *name, double least, double most, double *value)
{
    reader.read(name, QStringLiteral("a number from %1 to %2").arg(least).arg(most), value,
                [=](const QJsonValue &json) {
                    const double number = json.toDouble();
                    return json.isDouble() && number >= least && number <= most
                        ? std::optional(number)
                        : std::nullopt;
                });
}

} // namespace KorvinSimulator
