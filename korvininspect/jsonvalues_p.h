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
/// Values of fields in JSON. A reader gives nothing for a value that is not of its kind.

namespace KorvinInspect {

// Whole numbers up to this one survive in JSON, whose numbers are doubles.
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

/// The members of an object, read one by one.
class JsonMembers
{
public:
    explicit JsonMembers(QJsonObject object)
        : m_object(std::move(object))
    {
    }

    /// The member, or undefined; it is known from now on.
    QJsonValue read(const char *name)
    {
        m_known.push_back(QLatin1String(name));
        return m_object.value(m_known.back());
    }

    /// The name of the first member that is not known, if there is one.
    std::optional<QString> unknown() const
    {
        for (auto member = m_object.constBegin(); member != m_object.constEnd(); ++member) {
            const QString name = member.key();
            if (std::find(m_known.begin(), m_known.end(), name) == m_known.end())
                return name;
        }
        return {};
    }

private:
    QJsonObject m_object;
    std::vector<QLatin1String> m_known;
};

} // namespace KorvinInspect

#endif
