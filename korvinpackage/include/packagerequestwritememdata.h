#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEMEMDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEMEMDATA_H

#include "packagerequestwrite.h"

/// A request to write device memory, starting at an offset.
///
/// The frame is that of PackageRequestWrite; offset and length are not in it.
///
/// **Record columns**, after those of PackageRequestWrite:
///
/// <!-- table: columns of PackageRequestWriteMemData -->
///
/// | request | reply | reply as read | field             | written       | read          |
/// |---------|-------|---------------|-------------------|---------------|---------------|
/// | 17      | 18    | 17            | offset            | bytes, signed | signed 32-bit |
/// | 18      | 19    | 18            | packageDataLength | bytes, signed | signed 32-bit |
///
/// A number that does not fit into 32 bits reads as 0. A request to write 16 bytes at offset 100
/// ends in `,false,memData,100,16`. A reply has the columns at 18 and 19, but its decoder reads 17
/// and 18: it reads a reply record of its own encoder with the offset 0, and with the offset as the
/// length. Peers rely on it.
///
/// The meta-object is that of PackageRequestWrite.
class KORVINPACKAGE_EXPORT PackageRequestWriteMemData : public PackageRequestWrite
{
public:
    /// Makes a memory write with the next serial number and the kind `MemDataPackage`.
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
    /// Copies all fields, including the offset.
    PackageRequestWriteMemData(const PackageRequestWriteMemData &other);
    PackageRequestWriteMemData &operator=(const PackageRequestWriteMemData &other);
    /// @}

    ~PackageRequestWriteMemData() override;

    /// @{
    /// Position of the block in the device's memory, in bytes. Records carry its low 32 bits,
    /// signed.
    long offset() const;
    void setOffset(long offset);
    /// @}

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestWrite::unPackageReply;

    /// @return false, with nothing changed, for fewer than 20 columns.
    bool unPackageReply(QString text) override;

    /// Sets the part count from the package data length minus the offset, in 32 bits, and from the
    /// maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 19 columns.
    bool unPackageRequest(QString text) override;

private:
    int m_nMemRequestFieldCount;
    int m_nMemReplyFieldCount;
    long m_nOffset = 0;
};

#endif
