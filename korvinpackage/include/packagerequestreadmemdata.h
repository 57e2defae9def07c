#ifndef KORVINPACKAGE_PACKAGEREQUESTREADMEMDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTREADMEMDATA_H

#include "packagerequestread.h"

/// A request to read device memory, starting at an offset.
///
/// The frame is that of PackageRequestRead; the offset is not in it.
///
/// **Record column**, after those of PackageRequestRead:
///
/// <!-- table: columns of PackageRequestReadMemData -->
///
/// | request | reply | reply as read | field  | written       | read          |
/// |---------|-------|---------------|--------|---------------|---------------|
/// | 17      | 18    | 18            | offset | bytes, signed | signed 32-bit |
///
/// A number that does not fit into 32 bits reads as 0. A request for 16 bytes at offset 100 ends
/// in `,16,memData,100`.
///
/// The meta-object is that of PackageRequestRead.
class KORVINPACKAGE_EXPORT PackageRequestReadMemData : public PackageRequestRead
{
public:
    /// Makes an empty memory read: see PackageRequestRead(). Its kind stays `DataPackage` until a
    /// decoder sets it.
    PackageRequestReadMemData();

    /// Makes a memory read with the next serial number and the kind `MemDataPackage`.
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
    /// Copies all fields, including the offset. Moving does the same as copying.
    PackageRequestReadMemData(const PackageRequestReadMemData &other);
    PackageRequestReadMemData(PackageRequestReadMemData &&other);
    PackageRequestReadMemData &operator=(const PackageRequestReadMemData &other);
    PackageRequestReadMemData &operator=(PackageRequestReadMemData &&other);
    /// @}

    ~PackageRequestReadMemData() override;

    /// @{
    /// Position of the block in the device's memory, in bytes. Records carry its low 32 bits,
    /// signed.
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
    int m_nMemRequestFieldCount;
    int m_nMemReplyFieldCount;
    long m_nOffset = 0;
};

#endif
