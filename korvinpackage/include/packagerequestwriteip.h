#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEIP_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEIP_H

#include "packagerequestwritedata.h"

/// A data write that sets an IP address, and keeps that address as text for its caller.
///
/// The text is not encoded, and nothing converts it: put the bytes to write into the data. Frames,
/// records and meta-object are those of PackageRequestWriteData.
class KORVINPACKAGE_EXPORT PackageRequestWriteIP : public PackageRequestWriteData
{
public:
    /// Makes an empty write: see PackageRequestWriteData().
    PackageRequestWriteIP();

    /// Makes a write with the next serial number and an empty address.
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
    /// Copies all fields, including data and address.
    PackageRequestWriteIP(const PackageRequestWriteIP &other);
    PackageRequestWriteIP &operator=(const PackageRequestWriteIP &other);
    /// @}

    ~PackageRequestWriteIP() override;

    /// @{
    /// The address as text. Any text is accepted.
    QString getIPAddress() const;
    void setIPAddress(QString ipAddress);
    /// @}

private:
    QString m_ipAddress;
};

#endif
