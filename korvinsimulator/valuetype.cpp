#include "valuetype_p.h"

#include "jsonvalues_p.h"

#include <QtCore/QStringList>

#include <cstring>
#include <limits>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

constexpr int ByteBits = 8;

struct TypeName
{
    const char *name;
    ValueType::Kind kind;
    int width;
};

constexpr TypeName TypeNames[] = {
    {"uint8", ValueType::Kind::Unsigned, 1},  {"uint16", ValueType::Kind::Unsigned, 2},
    {"uint32", ValueType::Kind::Unsigned, 4}, {"uint64", ValueType::Kind::Unsigned, 8},
    {"int8", ValueType::Kind::Signed, 1},     {"int16", ValueType::Kind::Signed, 2},
    {"int32", ValueType::Kind::Signed, 4},    {"int64", ValueType::Kind::Signed, 8},
    {"float32", ValueType::Kind::Float, 4},   {"float64", ValueType::Kind::Float, 8},
    {"text", ValueType::Kind::Text, 0},
};

template <typename Float, typename Bits>
Bits bitsOf(double number)
{
    const auto value = static_cast<Float>(number);
    Bits bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

template <typename Float, typename Bits>
double floatOf(quint64 number)
{
    const auto bits = static_cast<Bits>(number);
    Float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return static_cast<double>(value);
}

/// Returns the largest number of an integer type; its smallest is this with all bits flipped, or 0.
quint64 largest(const ValueType &type)
{
    const int spare = ByteBits * (static_cast<int>(sizeof(quint64)) - type.width)
        + (type.kind == ValueType::Kind::Signed ? 1 : 0);
    return std::numeric_limits<quint64>::max() >> spare;
}

qint64 smallest(const ValueType &type)
{
    return type.kind == ValueType::Kind::Signed ? -static_cast<qint64>(largest(type)) - 1 : 0;
}

/// Returns the bits of a whole number that the type holds.
std::optional<quint64> wholeOf(const ValueType &type, const QJsonValue &value)
{
    if (type.kind == ValueType::Kind::Unsigned) {
        const std::optional<quint64> number = numberFromJson<quint64>(value);
        return number && *number <= largest(type) ? number : std::nullopt;
    }
    const std::optional<qint64> number = numberFromJson<qint64>(value);
    if (!number || *number < smallest(type) || *number > static_cast<qint64>(largest(type)))
        return {};
    return static_cast<quint64>(*number);
}

/// Returns a number that the type holds, which may be written as text.
std::optional<double> realOf(const ValueType &type, const QJsonValue &value)
{
    bool isNumber = value.isDouble();
    const double number = isNumber ? value.toDouble() : value.toString().toDouble(&isNumber);
    return isNumber && std::abs(number) <= type.most() ? std::optional(number) : std::nullopt;
}

QJsonValue realToJson(double number)
{
    if (std::isnan(number))
        return QStringLiteral("nan");
    if (std::isinf(number))
        return number > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    return number;
}

} // namespace

std::optional<QByteArray> ValueType::encode(const QJsonValue &value) const
{
    if (kind == Kind::Text) {
        const QByteArray text = value.toString().toUtf8();
        return value.isString() && text.size() <= width
            ? std::optional(text.leftJustified(width, '\0'))
            : std::nullopt;
    }
    if (kind == Kind::Float) {
        const std::optional<double> number = realOf(*this, value);
        return number ? std::optional(encodeReal(*number)) : std::nullopt;
    }
    const std::optional<quint64> bits = wholeOf(*this, value);
    return bits ? std::optional(encodeBits(*bits)) : std::nullopt;
}

QByteArray ValueType::encodeReal(double number) const
{
    if (kind == Kind::Float) {
        return encodeBits(width == sizeof(float)
                              ? bitsOf<float, quint32>(qBound(least(), number, most()))
                              : bitsOf<double, quint64>(number));
    }
    const double rounded = std::round(number);
    if (rounded <= static_cast<double>(smallest(*this)))
        return encodeBits(static_cast<quint64>(smallest(*this)));
    if (rounded >= static_cast<double>(largest(*this)))
        return encodeBits(largest(*this));
    return encodeBits(rounded < 0 ? static_cast<quint64>(static_cast<qint64>(rounded))
                                  : static_cast<quint64>(rounded));
}

double ValueType::least() const
{
    return kind == Kind::Float ? -most() : static_cast<double>(smallest(*this));
}

double ValueType::most() const
{
    if (kind != Kind::Float)
        return static_cast<double>(largest(*this));
    return width == sizeof(float) ? static_cast<double>(std::numeric_limits<float>::max())
                                  : std::numeric_limits<double>::max();
}

QByteArray ValueType::encodeBits(quint64 bits) const
{
    QByteArray bytes(width, '\0');
    for (int i = 0; i < width; ++i)
        bytes[isBigEndian ? width - 1 - i : i] = static_cast<char>(bits >> ByteBits * i);
    return bytes;
}

QJsonValue ValueType::decode(const QByteArray &bytes) const
{
    if (kind == Kind::Text)
        return QString::fromUtf8(
            bytes.constData(),
            static_cast<int>(qstrnlen(bytes.constData(), static_cast<uint>(bytes.size()))));
    quint64 bits = 0;
    for (int i = 0; i < width; ++i)
        bits |= quint64(static_cast<quint8>(bytes.at(isBigEndian ? width - 1 - i : i)))
            << ByteBits * i;
    if (kind == Kind::Float)
        return realToJson(width == sizeof(float) ? floatOf<float, quint32>(bits)
                                                 : floatOf<double, quint64>(bits));
    if (kind == Kind::Unsigned)
        return numberToJson(bits);
    const int spare = ByteBits * (static_cast<int>(sizeof bits) - width);
    return numberToJson(static_cast<qint64>(bits << spare) >> spare);
}

QString ValueType::words() const
{
    if (kind == Kind::Text)
        return QStringLiteral("a text of at most %1 bytes").arg(width);
    if (kind == Kind::Float)
        return QStringLiteral("a number from %1 to %2").arg(least()).arg(most());
    const QString words =
        QStringLiteral("a whole number from %1 to %2").arg(smallest(*this)).arg(largest(*this));
    return width < static_cast<int>(sizeof(double))
        ? words
        : words + QLatin1String(", as text beyond 9007199254740991");
}

std::optional<ValueType> valueTypeOf(const QString &name)
{
    for (const TypeName &row : TypeNames) {
        if (name == QLatin1String(row.name))
            return ValueType{row.kind, row.width};
    }
    return {};
}

QString valueTypeNames()
{
    QStringList names;
    for (const TypeName &row : TypeNames)
        names << QLatin1String(row.name);
    return names.join(QLatin1String(", "));
}

} // namespace KorvinSimulator
