#ifndef FIELDLIST_P_H
#define FIELDLIST_P_H

#include "fieldformats_p.h"

#include <packagebase.h>

#include <functional>
#include <limits>

namespace KorvinInspect {

/// The getter and the setter of a field.
template <typename Value>
struct Access
{
    std::function<Value(const PackageBase &)> get;
    std::function<void(PackageBase &, const Value &)> set;
};

/// Makes an access from a getter and a setter of @p Package, which may be members or callables.
template <typename Value, typename Package, typename Getter, typename Setter>
Access<Value> access(Getter getter, Setter setter)
{
    return {[getter](const PackageBase &package) {
                // Two getters of the interface are not const, but do not change the package.
                auto &object = const_cast<PackageBase &>(package); // NOLINT(*-const-cast)
                return static_cast<Value>(std::invoke(getter, static_cast<Package &>(object)));
            },
            [setter](PackageBase &package, const Value &value) {
                std::invoke(setter, static_cast<Package &>(package), value);
            }};
}

/// Returns a message about a value that does not fit a field of @p type.
QString describeMisfit(const QJsonValue &value, const QString &type);

template <typename Value>
PackageField makeField(const char *name, const QString &setter, Format<Value> format,
                       Access<Value> access)
{
    struct Binding
    {
        Format<Value> format;
        Access<Value> access;
    };
    const auto bound =
        std::make_shared<const Binding>(Binding{std::move(format), std::move(access)});
    return {
        QString::fromLatin1(name),
        bound->format.valueType,
        bound->format.type,
        setter,
        [bound](const PackageBase &package) {
            return bound->format.toJson(bound->access.get(package));
        },
        [bound](PackageBase &package, const QJsonValue &value) {
            const std::optional<Value> parsed = bound->format.fromJson(value);
            if (!parsed)
                return describeMisfit(value, bound->format.type);
            bound->access.set(package, *parsed);
            return QString();
        },
        [bound](const PackageBase &package) {
            return bound->format.forPeople(bound->access.get(package));
        },
        [bound](const PackageBase &package) {
            return bound->format.expression(bound->access.get(package));
        },
    };
}

using Fields = std::vector<PackageField>;

/// Collects the fields of a class.
template <typename Package>
class FieldList
{
public:
    explicit FieldList(Fields fields = {})
        : m_fields(std::move(fields))
    {
    }

    Fields take() { return std::move(m_fields); }

    /// Sets the name of the last field's setter, if it is not "set" and the name of the field.
    void setBy(const char *setter) { m_fields.back().setter = QString::fromLatin1(setter); }

    /// Marks the last field as one that only constructors set.
    void setByConstructor() { m_fields.back().setter.clear(); }

    /// Adds a number in the range of @p Number.
    template <typename Number, typename Getter, typename Setter>
    void number(const char *name, Getter getter, Setter setter)
    {
        using Integer = std::conditional_t<std::is_same_v<Number, quint64>, quint64, qint64>;
        add(name,
            numberFormat<Integer>(std::numeric_limits<Number>::min(),
                                  std::numeric_limits<Number>::max()),
            access<Integer, Package>(getter, setter));
    }

    /// Adds the length of the data.
    template <typename Getter, typename Setter>
    void length(const char *name, Getter getter, Setter setter)
    {
        number<qint32>(name, getter, setter);
        m_fields.back().valueType = ValueType::Length;
    }

    /// Adds an address byte, whose setter takes a char.
    template <typename Getter, typename Setter>
    void byte(const char *name, Getter getter, Setter setter)
    {
        number<quint8>(name, getter, setter);
        const auto number = m_fields.back().expression;
        m_fields.back().expression = [number](const PackageBase &package) {
            return QStringLiteral("char(%1)").arg(number(package));
        };
    }

    /// Adds a code of the enumeration @p Code.
    template <typename Code, typename Getter, typename Setter>
    void code(const char *name, Getter getter, Setter setter)
    {
        const auto set = [setter](Package &package, qint64 code) {
            std::invoke(setter, package, static_cast<Code>(code));
        };
        add(name, formatOf(Code()), access<qint64, Package>(getter, set));
    }

    template <typename Getter, typename Setter>
    void text(const char *name, Getter getter, Setter setter)
    {
        add(name, textFormat(), access<QString, Package>(getter, setter));
    }

    template <typename Getter, typename Setter>
    void flag(const char *name, Getter getter, Setter setter)
    {
        add(name, flagFormat(), access<bool, Package>(getter, setter));
    }

    void data()
    {
        add("data", dataFormat(), access<QByteArray, Package>(&Package::data, &Package::setData));
    }

private:
    template <typename Value>
    void add(const char *name, const Format<Value> &format, const Access<Value> &access)
    {
        QString setter = QLatin1String("set") + QLatin1String(name);
        setter[3] = setter.at(3).toUpper();
        m_fields.push_back(makeField(name, setter, format, access));
    }

    Fields m_fields;
};

} // namespace KorvinInspect

#endif
