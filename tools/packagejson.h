#ifndef PACKAGEJSON_H
#define PACKAGEJSON_H

#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <functional>
#include <memory>
#include <vector>

class PackageBase;

/// One field of a class, by the name that it has in JSON.
struct PackageField
{
    QString name;
    QString type; ///< In words, for people: "0 to 255", "text", "true or false".
    std::function<QJsonValue(PackageBase &)> get;

    /// Stores a value. Numbers and booleans may come as text, numbers also as 0x hexadecimal.
    ///
    /// @return what is wrong with the value, or an empty text.
    std::function<QString(PackageBase &, const QJsonValue &)> set;

    /// The value for people, such as "write (1)".
    std::function<QString(PackageBase &)> describe;
};

/// A class of packages: how to make one, and its fields.
struct PackageClass
{
    QString name;

    /// A package with serial number 0 and otherwise what the constructor of the class gives.
    std::function<std::unique_ptr<PackageBase>()> create;

    std::vector<PackageField> fields;

    /// The field of that name, or null.
    const PackageField *field(const QString &fieldName) const;
};

/// All classes, PackageBase first.
const std::vector<PackageClass> &packageClasses();

/// The class of that name, or null.
const PackageClass *packageClass(const QString &name);

/// All fields of a package, and "class".
QJsonObject packageToJson(const PackageClass &packageClass, PackageBase &package);

/// Stores the fields that @p json has; "class" is not looked at. Where it has data but no length,
/// the length becomes the size of the data.
///
/// @return what is wrong, beginning with the name of the field, or an empty text.
QString packageFromJson(const PackageClass &packageClass, const QJsonObject &json,
                        PackageBase &package);

#endif
