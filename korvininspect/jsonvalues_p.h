#ifndef JSONVALUES_P_H
#define JSONVALUES_P_H

#include <korvininspect/hexbytes.h>

#include <QtCore/QJsonObject>

#include <algorithm>
#include <cmath>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

/// @file
/// Converts values of fields to and from JSON. A reader returns nothing for a value of a wrong
/// type.

namespace KorvinInspect {

// JSON numbers are doubles, which represent all whole numbers up to this one.
constexpr double LargestJsonNumber = 9007199254740991.0;

template <typename Integer>
QJsonValue numberToJson(Integer number)
{
    const auto value = static_cast<double>(number);
    if (std::abs(value) > LargestJsonNumber)
        return QString::number(number);
    return value;
}

template <typename Integer>
std::optional<Integer> numberFromJson(const QJsonValue &value)
{
    if (value.isDouble()) {
        const double number = value.toDouble();
        if (std::floor(number) != number || std::abs(number) > LargestJsonNumber
            || (number < 0 && !std::is_signed_v<Integer>)) {
            return {};
        }
        return static_cast<Integer>(number);
    }
    const QString text = value.toString();
    const int base = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? 16 : 10;
    bool ok = false;
    Integer number = 0;
    if constexpr (std::is_signed_v<Integer>)
        number = text.toLongLong(&ok, base);
    else
        number = text.toULongLong(&ok, base);
    return ok ? std::optional(number) : std::nullopt;
}

inline std::optional<QString> textFromJson(const QJsonValue &value)
{
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

inline QJsonValue dataToJson(const QByteArray &data)
{
    return QString::fromLatin1(data.toHex());
}

inline std::optional<QByteArray> dataFromJson(const QJsonValue &value)
{
    QByteArray bytes;
    if (!value.isString() || !bytesFromHex(value.toString(), &bytes).isEmpty())
        return {};
    return bytes;
}

} // namespace KorvinInspect

#endif
