#ifndef KORVININSPECT_PACKAGEJSON_H
#define KORVININSPECT_PACKAGEJSON_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class CommPackageBase;
class PackageBase;
class PackageRequestCombination;

/// @file
/// Converts packages of every class to JSON and back without loss.
///
/// Numbers are JSON numbers, except that whole numbers above 2^53, which JSON readers round, are
/// decimal text. Codes are names, or numbers if they have no name. Data is hexadecimal digits. The
/// user token and the time-out timer, which a package only points to, are left out. The member
/// "class" has the name of the class.
///
/// The functions that read JSON accept any subset of the fields and leave the other fields
/// unchanged. They also accept numbers and booleans as text, and numbers as text in hexadecimal
/// with the prefix 0x.

namespace KorvinInspect {

struct PackageClass;

/// Returns all fields of a package, by the names that packageClasses() lists, and its class.
KORVININSPECT_EXPORT QJsonObject packageToJson(const PackageBase &package);

/// Stores the fields that @p json has and ignores "class". If @p json has data but no length, the
/// length becomes the size of the data.
///
/// @return what is wrong, beginning with the name of the field; empty on success. If a field is
///     wrong, those whose names sort before it have been stored.
KORVININSPECT_EXPORT QString packageFromJson(const QJsonObject &json, PackageBase &package);

/// Returns "class", "deviceKey", "timeout", "serialNum", and the list "packages".
KORVININSPECT_EXPORT QJsonObject combinationToJson(const PackageRequestCombination &combination);

/// Replaces @p combination by what @p json describes. The packages are new and belong to the
/// caller, as after PackageRequestCombination::unCombinationPackageRequest().
///
/// @return what is wrong, with @p combination unchanged; empty on success.
KORVININSPECT_EXPORT QString combinationFromJson(const QJsonObject &json,
                                                 PackageRequestCombination &combination);

/// Returns the six fields of a frame slice.
KORVININSPECT_EXPORT QJsonObject frameSliceToJson(const CommPackageBase &slice);

/// Stores the fields that @p json has.
///
/// @return what is wrong; empty on success.
KORVININSPECT_EXPORT QString frameSliceFromJson(const QJsonObject &json, CommPackageBase &slice);

} // namespace KorvinInspect

#endif
