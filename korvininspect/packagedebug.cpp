#include <korvininspect/packagedebug.h>

#include "valuetext_p.h"

#include <commpackagebase.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/packageclass.h>
#include <packagebase.h>
#include <packagerequestcombination.h>

using namespace KorvinInspect;

namespace {

QString valueOf(const PackageField &field, const PackageBase &package)
{
    switch (field.valueType) {
    case ValueType::Data:
        return firstBytes(package.data());
    case ValueType::Text:
        return QLatin1Char('"') + printable(field.describe(package)) + QLatin1Char('"');
    default:
        return field.describe(package);
    }
}

} // namespace

QDebug operator<<(QDebug debug, const PackageBase &package)
{
    const QDebugStateSaver saver(debug);
    const PackageClass &itsClass = classOf(package);
    debug.nospace().noquote() << itsClass.name << '(';
    const char *separator = "";
    for (const PackageField &field : itsClass.fields) {
        debug << separator << field.name << '=' << valueOf(field, package);
        separator = ", ";
    }
    debug << ')';
    return debug;
}

QDebug operator<<(QDebug debug, const PackageRequestCombination &combination)
{
    const QDebugStateSaver saver(debug);
    debug.nospace().noquote() << "PackageRequestCombination(deviceKey=\""
                              << printable(combination.getDeviceKey())
                              << "\", timeout=" << numberForPeople(combination.getTimeout())
                              << ", serialNum=" << numberForPeople(combination.getSerialNum())
                              << ", packages=[";
    const char *separator = "";
    for (const PackageBase *package : PackageRequestCombination(combination).packageList()) {
        debug << separator << *package;
        separator = ", ";
    }
    debug << "])";
    return debug;
}

QDebug operator<<(QDebug debug, const CommPackageBase &slice)
{
    const QDebugStateSaver saver(debug);
    debug.nospace().noquote() << "CommPackageBase(spareBytes=" << firstBytes(slice.getSpareBytes())
                              << ", spareLength=" << numberForPeople(slice.getSpareLength())
                              << ", frameSlice=" << firstBytes(slice.getFrameSlice())
                              << ", sliceLength=" << numberForPeople(slice.getSliceLength())
                              << ", checkStatus=" << numberForPeople(slice.getCheckStatus())
                              << ", spareWord=" << numberForPeople(slice.getSpareWord()) << ')';
    return debug;
}
