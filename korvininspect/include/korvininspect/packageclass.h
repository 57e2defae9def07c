#ifndef KORVININSPECT_PACKAGECLASS_H
#define KORVININSPECT_PACKAGECLASS_H

#include <korvininspect/korvininspectglobal.h>
#include <packagebase.h>

#include <QtCore/QJsonValue>
#include <QtCore/QString>

#include <functional>
#include <memory>
#include <vector>

namespace KorvinInspect {

/// The classes whose frames and records are explained.
enum class ClassId {
    PackageBase,
    PackageRequestRead,
    PackageRequestReadData,
    PackageRequestReadFile,
    PackageRequestReadMemData,
    PackageRequestWrite,
    PackageRequestWriteData,
    PackageRequestWriteIP,
    PackageRequestWriteFile,
    PackageRequestWriteMemData,
    SpecialPackageRequest,
    PackageRequestCombination
};

/// What the value of a field is.
enum class ValueType { Number, Code, Flag, Text, Data };

/// One field of a class, by the name that it has in JSON.
struct PackageField
{
    QString name;        ///< As in JSON and in docs/protocol.md.
    ValueType valueType; ///< Says which type of JSON value get() gives.

    QString type;   ///< In words, for people: "a whole number from 0 to 255", "a text".
    QString setter; ///< The operation that stores a value; empty where only constructors do.

    /// The value: a number, a name of a code, a boolean, a text, or hexadecimal digits.
    std::function<QJsonValue(const PackageBase &)> get;

    /// Stores a value. Numbers and booleans may come as text, numbers also as 0x hexadecimal.
    ///
    /// @return what is wrong with the value, or an empty text.
    std::function<QString(PackageBase &, const QJsonValue &)> set;

    /// The value for people, such as "write (1)" or "2560 (0xA00)".
    std::function<QString(const PackageBase &)> describe;

    /// The value as a C++ expression.
    std::function<QString(const PackageBase &)> expression;
};

/// A class of packages: how to make one, and its fields. PackageRequestCombination, which is a
/// list of packages and not one itself, has none of this.
struct PackageClass
{
    ClassId id;   ///< What names the class in a MessageShape.
    QString name; ///< That of the C++ class.

    /// The type word of the class in a combination record; empty where a record carries none.
    QString combinationType;

    /// A package with serial number 0 and otherwise what the constructor of the class gives. Draws
    /// no serial number.
    std::function<std::unique_ptr<PackageBase>()> create;

    /// Whether a package is of this class or of one that derives from it.
    std::function<bool(const PackageBase *)> isClassOf;

    std::vector<PackageField> fields; ///< Inherited ones too.

    /// The field of that name, or null.
    KORVININSPECT_EXPORT const PackageField *field(const QString &fieldName) const;
};

/// All classes of packages, PackageBase first. Owned by the library, which never changes them.
KORVININSPECT_EXPORT const std::vector<PackageClass> &packageClasses();

/// The class of that name, or null.
KORVININSPECT_EXPORT const PackageClass *packageClass(const QString &name);

/// The class of that id, or null for PackageRequestCombination.
KORVININSPECT_EXPORT const PackageClass *packageClass(ClassId id);

/// The most derived of the classes that @p package is of.
KORVININSPECT_EXPORT const PackageClass &classOf(const PackageBase &package);

} // namespace KorvinInspect

#endif
