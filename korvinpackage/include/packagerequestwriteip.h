#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEIP_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEIP_H

#include "packagerequestwritedata.h"

/// A data write that keeps the IP address it is about, as text, for its caller.
///
/// The address is in no encoding, and nothing converts it: put the bytes to write into the data.
/// Frames and records are those of PackageRequestWriteData with the same fields; so is the
/// meta-object.
class KORVINPACKAGE_EXPORT PackageRequestWriteIP : public PackageRequestWriteData
{
public:
    /// An empty write: see PackageRequestWriteData().
    PackageRequestWriteIP();

    /// A write with the next serial number and no address yet.
    PackageRequestWriteIP(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                          uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                          uchar reserved2, int timeout, QString tag,
                          OrvexEnum::CommResults commResult, bool bBroadcast, QByteArray data,
                          int dataLength);

    /// The same with `CommOk`.
    PackageRequestWriteIP(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                          uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                          uchar reserved2, int timeout, QString tag, bool bBroadcast,
                          QByteArray data, int dataLength);

    /// @{
    /// Copies all fields, the data and the address.
    PackageRequestWriteIP(const PackageRequestWriteIP &other);
    PackageRequestWriteIP &operator=(const PackageRequestWriteIP &other);
    /// @}

    ~PackageRequestWriteIP() override;

    /// @{
    /// The address as text; any text will do.
    QString getIPAddress() const;
    void setIPAddress(QString ipAddress);
    /// @}

private:
    QString m_ipAddress;
};

#endif
