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

/// Several requests in one text record, handed out as new objects.
///
/// **Record**: items joined by "|"; each item is a type word, "^", and the request record of that
/// request. Nothing is escaped, so a request record with "|" or "^" in it cannot be carried.
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
/// The library reads such records; a sender joins them itself.
///
/// A combination owns none of its requests: whoever takes them from packageList() deletes them.
/// Copies refer to the same requests.
class KORVINPACKAGE_EXPORT PackageRequestCombination : public QObject
{
    Q_OBJECT

public:
    /// An empty combination with time-out and serial number 0.
    PackageRequestCombination();

    /// An empty combination with the next serial number of PackageBase::makeSerialNum().
    PackageRequestCombination(int timeout, const QString &deviceKey);

    /// @{
    /// A copy refers to the same requests; assigning drops those that the target had, without
    /// deleting them.
    PackageRequestCombination(const PackageRequestCombination &other);
    PackageRequestCombination &operator=(const PackageRequestCombination &other);
    /// @}

    ~PackageRequestCombination() override;

    /// The requests in the order of the record.
    std::list<PackageBase *> packageList();

    /// @{
    /// What the constructor was given or drew. The record of a combination carries none of it, and
    /// the requests have a device key, serial number and time-out each.
    QString getDeviceKey() const;
    quint64 getSerialNum() const;
    int getTimeout() const;
    /// @}

    /// Decodes a combination record into new requests. The earlier entries of the list are dropped,
    /// not deleted.
    ///
    /// An item that does not have exactly two parts ends the decoding. A request whose own record
    /// does not decode stays in the list as its decoder left it.
    ///
    /// @return false, with a warning, for a refused type word; the requests of the items before it
    ///     stay in the list.
    bool unCombinationPackageRequest(const QString &text);

    /// Checks that the requests can be carried out: a read must expect at least one byte, a data
    /// write must not have a negative length, a file write must name a local file, or a directory,
    /// whose size is not 0.
    ///
    /// The kind of a write is the one in its PackageBase part; where that is `DataPackage`, the
    /// write's own.
    ///
    /// @return false, with a warning, for an empty list or a write that fails; false without one
    ///     for a read that fails.
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
