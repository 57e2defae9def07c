#ifndef KORVININSPECT_PACKAGEDEBUG_H
#define KORVININSPECT_PACKAGEDEBUG_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QDebug>

class CommPackageBase;
class PackageBase;
class PackageRequestCombination;

/// @file
/// Packages in debug output: the class, then each field with its name. Numbers are printed in
/// decimal and hexadecimal, codes with their names, data with its size and first 32 bytes.
///
///     qDebug() << package;
///     // PackageRequestRead(serialNum=7, deviceKey="usb0", ..., readWriteCode=read (0), ...)

/// Prints a package of any class.
KORVININSPECT_EXPORT QDebug operator<<(QDebug debug, const PackageBase &package);

/// Prints a combination and each of its packages.
KORVININSPECT_EXPORT QDebug operator<<(QDebug debug, const PackageRequestCombination &combination);

/// Prints a frame slice.
KORVININSPECT_EXPORT QDebug operator<<(QDebug debug, const CommPackageBase &slice);

#endif
