#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEMEMDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEMEMDATA_H

#include "packagerequestwrite.h"

/// A request to write device memory from an offset on.
///
/// The frame is that of PackageRequestWrite; offset and length are not in it.
///
/// **Record columns**, behind those of PackageRequestWrite:
///
/// | request | reply | column                      |
/// |---------|-------|-----------------------------|
/// | 17      | 18    | offset, signed              |
/// | 18      | 19    | package data length, signed |
///
/// Both are read with 32 bits; a number out of that range reads as 0. A request to write 16 bytes
/// from 100 on ends in `,false,memData,100,16`. A reply has the columns one place further back, but
/// is read at 17 and 18 as well: reading a reply record that this class made gives the offset 0 and
/// the offset that was sent as the length. Peers rely on it.
///
/// The meta-object is that of PackageRequestWrite.
class KORVINPACKAGE_EXPORT PackageRequestWriteMemData : public PackageRequestWrite
{
public:
    /// A memory write with the next serial number and the kind `MemDataPackage`.
    PackageRequestWriteMemData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                               uchar portAddr, ushort scanBoardAddr, ushort highAddr,
                               ushort lowAddr, uchar reserved2, int timeout, QString tag,
                               OrvexEnum::CommResults commResult, bool bBroadcast, long offset,
                               int dataLength);

    /// The same with `CommOk`.
    PackageRequestWriteMemData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                               uchar portAddr, ushort scanBoardAddr, ushort highAddr,
                               ushort lowAddr, uchar reserved2, int timeout, QString tag,
                               bool bBroadcast, long offset, int dataLength);

    /// @{
    /// Copies all fields and the offset.
    PackageRequestWriteMemData(const PackageRequestWriteMemData &other);
    PackageRequestWriteMemData &operator=(const PackageRequestWriteMemData &other);
    /// @}

    ~PackageRequestWriteMemData() override;

    /// @{
    /// Position of the block in the device's memory, in bytes. Records carry 32 bits of it, signed.
    long offset() const;
    void setOffset(long offset);
    /// @}

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestWrite::unPackageReply;

    /// @return false, with nothing changed, for fewer than 20 columns.
    bool unPackageReply(QString text) override;

    /// Derives the part count from the package data length less the offset, in 32 bits, and from
    /// the maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 19 columns.
    bool unPackageRequest(QString text) override;

private:
    int m_nMemRequestFieldCount = 2;
    int m_nMemReplyFieldCount = 2;
    long m_nOffset = 0;
};

#endif
