#ifndef OBJECTREADER_P_H
#define OBJECTREADER_P_H

#include "jsonvalues_p.h"

#include <QtCore/QJsonArray>

#include <limits>

namespace KorvinInspect {

/// Puts the name of a member before a message about it.
inline QString inMember(const QString &name, const QString &fault)
{
    return QStringLiteral("%1: %2").arg(name, fault);
}

/// Reads the members of a JSON object one by one and keeps the first fault. A missing member leaves
/// its value unchanged.
class ObjectReader
{
public:
    explicit ObjectReader(const QJsonValue &value)
        : m_object(value.toObject())
    {
        if (!value.isObject())
            m_fault = QStringLiteral("not an object");
    }

    /// Returns a member, or undefined, and marks the member as known.
    QJsonValue member(const char *name)
    {
        m_known.emplace_back(name);
        return m_object.value(m_known.back());
    }

    void require(const char *name)
    {
        if (!m_object.contains(QLatin1String(name)))
            fail(QLatin1String(name), QStringLiteral("missing"));
    }

    /// Reads a member with @p parse and stores the result.
    template <typename Value, typename Parse>
    void read(const char *name, const QString &type, Value *value, Parse parse)
    {
        const QJsonValue json = member(name);
        if (json.isUndefined())
            return;
        if (const auto parsed = parse(json))
            *value = *parsed;
        else
            fail(QLatin1String(name), QLatin1String("not ") + type);
    }

    template <typename Integer>
    void number(const char *name, qint64 min, qint64 max, Integer *value)
    {
        read(name, QStringLiteral("a whole number from %1 to %2").arg(min).arg(max), value,
             [=](const QJsonValue &json) {
                 const std::optional<qint64> number = numberFromJson<qint64>(json);
                 return number && *number >= min && *number <= max
                     ? std::optional(static_cast<Integer>(*number))
                     : std::nullopt;
             });
    }

    void number(const char *name, int *value)
    {
        number(name, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), value);
    }

    void number(const char *name, quint64 *value)
    {
        read(name, QStringLiteral("a whole number of 0 or more"), value, numberFromJson<quint64>);
    }

    void text(const char *name, QString *value)
    {
        read(name, QStringLiteral("a text"), value, textFromJson);
    }

    void data(const char *name, QByteArray *value)
    {
        read(name, QStringLiteral("bytes in hexadecimal digits"), value, dataFromJson);
    }

    /// Calls @p readItem with each item of a list. @p readItem returns what is wrong with the item.
    template <typename ReadItem>
    void list(const char *name, ReadItem readItem)
    {
        QJsonArray items;
        read(name, QStringLiteral("a list"), &items, [](const QJsonValue &json) {
            return json.isArray() ? std::optional(json.toArray()) : std::nullopt;
        });
        int number = 0;
        for (const QJsonValue item : std::as_const(items)) {
            const QString fault = readItem(item);
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

    /// Returns the first fault, or an empty text. An unknown member is a fault.
    QString end()
    {
        for (auto member = m_object.constBegin(); member != m_object.constEnd(); ++member) {
            const QString name = member.key();
            if (std::find(m_known.begin(), m_known.end(), name) == m_known.end())
                fail(name, QStringLiteral("there is no such member"));
        }
        return m_fault;
    }

private:
    QJsonObject m_object;
    std::vector<QLatin1String> m_known;
    QString m_fault;
};

} // namespace KorvinInspect

#endif
