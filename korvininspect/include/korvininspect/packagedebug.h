#ifndef KORVININSPECT_PACKAGEDEBUG_H
#define KORVININSPECT_PACKAGEDEBUG_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QDebug>

class CommPackageBase;
class PackageBase;
class PackageRequestCombination;

/// @file
/// Packages in debug output: the class, then each field with its name; numbers in decimal and
/// hexadecimal, codes with their names, of data the size and the first 32 bytes.
///
///     qDebug() << package;
///     // PackageRequestRead(serialNum=7, deviceKey="usb0", ..., readWriteCode=read (0), ...)

/// A package of any class.
KORVININSPECT_EXPORT QDebug operator<<(QDebug debug, const PackageBase &package);

/// A combination, and each of its packages.
KORVININSPECT_EXPORT QDebug operator<<(QDebug debug, const PackageRequestCombination &combination);

/// A frame slice.
KORVININSPECT_EXPORT QDebug operator<<(QDebug debug, const CommPackageBase &slice);

#endif
