#ifndef KORVINPACKAGE_PACKAGEREQUESTREADMEMDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTREADMEMDATA_H

#include "packagerequestread.h"

/// A request to read device memory from an offset on.
///
/// The frame is that of PackageRequestRead; the offset is not in it.
///
/// **Record column**, behind those of PackageRequestRead:
///
/// | request | reply | column         |
/// |---------|-------|----------------|
/// | 17      | 18    | offset, signed |
///
/// It is read with 32 bits; a number out of that range reads as 0. A request for 16 bytes from 100
/// on ends in `,16,memData,100`.
///
/// The meta-object is that of PackageRequestRead.
class KORVINPACKAGE_EXPORT PackageRequestReadMemData : public PackageRequestRead
{
public:
    /// An empty memory read: see PackageRequestRead(). Its kind stays `DataPackage` until a decoder
    /// sets it.
    PackageRequestReadMemData();

    /// A memory read with the next serial number and the kind `MemDataPackage`.
    PackageRequestReadMemData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                              uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                              uchar reserved2, int timeout, QString tag,
                              OrvexEnum::CommResults commResult, int replyDataLength, long offset);

    /// The same with `CommOk`.
    PackageRequestReadMemData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                              uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                              uchar reserved2, int timeout, QString tag, int replyDataLength,
                              long offset);

    /// @{
    /// Copies all fields and the offset. A moved-from package keeps its fields: there is nothing in
    /// it that moves.
    PackageRequestReadMemData(const PackageRequestReadMemData &other);
    PackageRequestReadMemData(PackageRequestReadMemData &&other);
    PackageRequestReadMemData &operator=(const PackageRequestReadMemData &other);
    PackageRequestReadMemData &operator=(PackageRequestReadMemData &&other);
    /// @}

    ~PackageRequestReadMemData() override;

    /// @{
    /// Position of the block in the device's memory, in bytes. Records carry 32 bits of it, signed.
    long offset() const;
    void setOffset(long offset);
    /// @}

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestRead::unPackageReply;

    /// @return false, with nothing changed, for fewer than 19 columns.
    bool unPackageReply(QString text) override;

    /// @return false, with nothing changed, for fewer than 18 columns.
    bool unPackageRequest(QString text) override;

private:
    int m_nMemRequestFieldCount = 1;
    int m_nMemReplyFieldCount = 1;
    long m_nOffset = 0;
};

#endif
