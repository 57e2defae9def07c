#ifndef KORVININSPECT_PACKAGEJSON_H
#define KORVININSPECT_PACKAGEJSON_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class CommPackageBase;
class PackageBase;
class PackageRequestCombination;

/// @file
/// Packages of every class as JSON, without loss in both directions.
///
/// Numbers are JSON numbers, but for whole numbers above 2^53, which JSON readers round: they are
/// decimal text. Codes are their names, or numbers where they have none; data is hexadecimal
/// digits. What a package only points to, its user token and its time-out timer, is not part of
/// it. The name of the class stands in "class".
///
/// Readers take any subset of the fields and leave the others as they are. They take numbers and
/// booleans also as text, and numbers also as hexadecimal with 0x in front.

namespace KorvinInspect {

struct PackageClass;

/// All fields of a package by the names that packageClasses() lists, and its class.
KORVININSPECT_EXPORT QJsonObject packageToJson(const PackageBase &package);

/// Stores the fields that @p json has; "class" is not looked at. Where it has data but no length,
/// the length becomes the size of the data.
///
/// @return what is wrong, beginning with the name of the field, or an empty text. The fields in
///     front of a wrong one, by name, are stored.
KORVININSPECT_EXPORT QString packageFromJson(const QJsonObject &json, PackageBase &package);

/// "class", "deviceKey", "timeout", "serialNum" and "packages", the list.
KORVININSPECT_EXPORT QJsonObject combinationToJson(const PackageRequestCombination &combination);

/// Replaces @p combination by what @p json describes. The packages are new, and their owner is the
/// caller, as after PackageRequestCombination::unCombinationPackageRequest().
///
/// @return what is wrong, or an empty text; @p combination is unchanged then.
KORVININSPECT_EXPORT QString combinationFromJson(const QJsonObject &json,
                                                 PackageRequestCombination &combination);

/// The six fields of a frame slice.
KORVININSPECT_EXPORT QJsonObject frameSliceToJson(const CommPackageBase &slice);

/// Stores the fields that @p json has.
///
/// @return what is wrong, or an empty text.
KORVININSPECT_EXPORT QString frameSliceFromJson(const QJsonObject &json, CommPackageBase &slice);

} // namespace KorvinInspect

#endif
