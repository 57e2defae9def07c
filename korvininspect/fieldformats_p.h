#ifndef FIELDFORMATS_P_H
#define FIELDFORMATS_P_H

#include "cppexpressions_p.h"
#include "jsonvalues_p.h"
#include "valuetext_p.h"
#include <korvininspect/packageclass.h>

#include <orvexenum.h>

#include <functional>

/// @file
/// The formats of field values in JSON, for people and in C++.

namespace KorvinInspect {

template <typename Value>
struct Format
{
    ValueType valueType;
    QString type; // in words
    std::function<QJsonValue(const Value &)> toJson;
    std::function<std::optional<Value>(const QJsonValue &)> fromJson;
    std::function<QString(const Value &)> forPeople;
    std::function<QString(const Value &)> expression;
};

/// Makes the format of whole numbers from @p min to @p max.
template <typename Integer>
Format<Integer> numberFormat(Integer min, Integer max)
{
    return {ValueType::Number,
            QStringLiteral("a whole number from %1 to %2").arg(min).arg(max),
            numberToJson<Integer>,
            [=](const QJsonValue &value) {
                const std::optional<Integer> number = numberFromJson<Integer>(value);
                return number && *number >= min && *number <= max ? number : std::nullopt;
            },
            numberForPeople<Integer>,
            [](Integer number) { return numberExpression(number); }};
}

/// @{
/// Makes the format of codes: a name, or a number for a code without one.
Format<qint64> formatOf(OrvexEnum::ReadWriteCode);
Format<qint64> formatOf(OrvexEnum::CommResults);
Format<qint64> formatOf(OrvexEnum::PackageResults);
Format<qint64> formatOf(OrvexEnum::ClientPackageType);
/// @}

Format<QString> textFormat();
Format<bool> flagFormat();
Format<QByteArray> dataFormat();

} // namespace KorvinInspect

#endif
