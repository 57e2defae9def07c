#ifndef KORVINPACKAGE_PACKAGEREQUESTCOMBINATION_H
#define KORVINPACKAGE_PACKAGEREQUESTCOMBINATION_H

#include "korvinpackageglobal.h"
#include "packagebase.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <list>

namespace KorvinInspect {
class CombinationAccess; // reads combinations from JSON
}

/// Several requests in one text record. Decoding creates a new object for each.
///
/// **Record**: items joined by "|"; each item is a type word, "^", and the request record of that
/// request. Nothing is escaped, so a request record that contains "|" or "^" cannot be carried.
///
///     writeData^7,usb0,1,...,2,1/255|ReadFile^8,usb0,1,...,a.txt
///
/// @dotfile combination.dot "A record of requests"
///
/// | type word      | becomes                                                     |
/// |----------------|-------------------------------------------------------------|
/// | "writeData"    | a PackageRequestWriteData                                   |
/// | "writeFile"    | a PackageRequestWriteFile                                   |
/// | "ReadData"     | a PackageRequestReadData                                    |
/// | "ReadFile"     | a PackageRequestReadFile                                    |
/// | "writeMemData" | refused, with the warning "ReadMemData is not support !!!"  |
/// | "ReadMemData"  | refused, with the warning "ReadMemData is not support !!!"  |
/// | any other      | refused, "Error package type of CMBPackages."               |
///
/// This class decodes such records; KorvinInspect::encodeCombination() writes them.
///
/// A combination does not own its requests: the caller deletes those that packageList() returns.
/// Copies refer to the same requests.
class KORVINPACKAGE_EXPORT PackageRequestCombination : public QObject
{
    Q_OBJECT

public:
    /// Makes an empty combination with time-out and serial number 0.
    PackageRequestCombination();

    /// Makes an empty combination with the next serial number of PackageBase::makeSerialNum().
    PackageRequestCombination(int timeout, const QString &deviceKey);

    /// @{
    /// Copies refer to the same requests. Assignment drops the requests of the target without
    /// deleting them.
    PackageRequestCombination(const PackageRequestCombination &other);
    PackageRequestCombination &operator=(const PackageRequestCombination &other);
    /// @}

    ~PackageRequestCombination() override;

    /// Returns the requests in the order of the record.
    std::list<PackageBase *> packageList();

    /// @{
    /// The values of the constructor. The record of a combination does not carry them; each of its
    /// requests has a device key, serial number and time-out of its own.
    QString getDeviceKey() const;
    quint64 getSerialNum() const;
    int getTimeout() const;
    /// @}

    /// Decodes a combination record into new requests. The list drops its earlier entries without
    /// deleting them.
    ///
    /// Decoding ends at an item that does not have exactly two parts. A request whose own record
    /// cannot be decoded stays in the list as its decoder left it.
    ///
    /// @return false, with a warning, for a refused type word; the requests of the items before it
    ///     stay in the list. True otherwise.
    bool unCombinationPackageRequest(const QString &text);

    /// Checks that the requests can be carried out: a read must expect at least one byte; a data
    /// write must not have a negative length; a file write must name a local file or directory
    /// whose size is not 0.
    ///
    /// The kind of a write is that of PackageBase::getClientPackageType(), or if that is
    /// `DataPackage`, that of PackageRequestWrite::getClientPackageType().
    ///
    /// @return false, with a warning, for an empty list or a write that fails; false without a
    ///     warning for a read that fails.
    bool makeCombinationPackageRequest();

private:
    friend class KorvinInspect::CombinationAccess;

    void setSerialNum(quint64 serialNum);

    std::list<PackageBase *> m_packageList;
    QString m_deviceKey;
    int m_timeout = 0;
    quint64 m_serialNum = 0;
};

#endif
