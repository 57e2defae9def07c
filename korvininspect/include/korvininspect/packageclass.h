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

/// The classes of packages. New ones are added at the end, so that the others keep their numbers.
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

/// The type of the value of a field.
enum class ValueType {
    Number, ///< A whole number.
    Code,   ///< A code: a name, or a number for a code without a name.
    Flag,   ///< True or false.
    Text,   ///< A text.
    Data,   ///< Bytes.
    Length  ///< The number of bytes of data.
};

/// One field of a class.
struct PackageField
{
    QString name;        ///< As in JSON and in docs/protocol.md.
    ValueType valueType; ///< Determines the type of JSON value of get().

    QString type;   ///< In words, such as "a whole number from 0 to 255".
    QString setter; ///< The operation that stores a value; empty if only constructors do.

    /// Returns the value: a number, a name of a code, a boolean, a text, or hexadecimal digits.
    std::function<QJsonValue(const PackageBase &)> get;

    /// Stores a value. Numbers and booleans may also be given as text, numbers also as text in
    /// hexadecimal with the prefix 0x.
    ///
    /// @return what is wrong with the value; empty on success.
    std::function<QString(PackageBase &, const QJsonValue &)> set;

    /// Returns the value for people, such as "write (1)" or "2560 (0xA00)".
    std::function<QString(const PackageBase &)> describe;

    /// Returns the value as a C++ expression.
    std::function<QString(const PackageBase &)> expression;
};

/// A class of packages: its fields, and how to create a package. PackageRequestCombination is a
/// list of packages, and so not one of these classes.
struct PackageClass
{
    ClassId id;   ///< The class in a MessageShape.
    QString name; ///< The name of the C++ class.

    /// The type word of the class in the record of a combination; empty if none carries it.
    QString combinationType;

    /// Creates a package with serial number 0 and otherwise the defaults of the class. Draws
    /// no serial number.
    std::function<std::unique_ptr<PackageBase>()> create;

    /// Returns whether a package is of this class or of one that derives from it.
    std::function<bool(const PackageBase *)> isClassOf;

    std::vector<PackageField> fields; ///< Includes inherited fields.

    /// Returns the field of that name, or null.
    KORVININSPECT_EXPORT const PackageField *field(const QString &fieldName) const;
};

/// Returns all classes of packages, PackageBase first. The library owns them and never changes
/// them.
KORVININSPECT_EXPORT const std::vector<PackageClass> &packageClasses();

/// Returns the class of that name, or null.
KORVININSPECT_EXPORT const PackageClass *packageClass(const QString &name);

/// Returns the class of that id, or null for PackageRequestCombination.
KORVININSPECT_EXPORT const PackageClass *packageClass(ClassId id);

/// Returns in a few words what packages of a class do, such as "asks to write a block of bytes";
/// empty for an unknown class.
KORVININSPECT_EXPORT QString descriptionOf(ClassId id);

/// Returns in a few words what the fields of a name are for, such as "port of the device"; empty
/// for an unknown name.
KORVININSPECT_EXPORT QString descriptionOf(const QString &fieldName);

/// Returns the most derived of the classes that @p package belongs to.
KORVININSPECT_EXPORT const PackageClass &classOf(const PackageBase &package);

} // namespace KorvinInspect

#endif
