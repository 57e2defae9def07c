#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITE_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITE_H

#include "packagebase.h"

/// A request to write a register. Derived classes write data blocks, files and memory.
///
/// **Payload**: 2 bytes after the header of PackageBase.
///
/// <!-- table: payload of PackageRequestWrite -->
///
/// | offset | width | field             | value                        |
/// |--------|-------|-------------------|------------------------------|
/// | 0      | 1     | broadcast         | 1 true; any other byte false |
/// | 1      | 1     | clientPackageType | 0 data, 1 file, 2 memData    |
///
/// A broadcast of memory data is `01 02`. A full reply ends with a second copy of the payload. A
/// short reply has no payload. The package data length is not in the payload.
///
/// **Record columns**, after those of PackageBase; "reply as read" is where the decoder of a reply
/// looks for the column:
///
/// <!-- table: columns of PackageRequestWrite -->
///
/// | request | reply | reply as read | field | written | read |
/// |---|---|---|---|---|---|
/// | 15 | 16 | 15 | broadcast | `true` or `false` | `true` as true, any other text as false |
/// | 16 | 17 | 16 | clientPackageType | `data`, `file` or `memData` | any other text as `data` |
///
/// A reply has them after the acknowledge code, but its decoder reads columns 15 and 16: it reads a
/// reply record of its own encoder with broadcast false and the kind `DataPackage`. Peers rely on
/// it.
///
/// A write has a kind of its own. The kind of its PackageBase part stays `DataPackage` until
/// PackageBase::setClientPackageType() sets it.
class KORVINPACKAGE_EXPORT PackageRequestWrite : public PackageBase
{
    Q_OBJECT

public:
    /// Makes an empty write: see PackageBase(); no broadcast, kind `DataPackage`, data length 0.
    PackageRequestWrite();

    /// Makes a write with the next serial number. If reserved 2 is 0x30, the tag protocol becomes
    /// "3rdCalder-proto".
    PackageRequestWrite(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                        uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                        uchar reserved2, int timeout, QString tag,
                        OrvexEnum::CommResults commResult, bool bBroadcast,
                        OrvexEnum::ClientPackageType clientPackageType);

    /// @{
    /// Copies all fields, including broadcast, kind and package data length.
    PackageRequestWrite(const PackageRequestWrite &other);
    PackageRequestWrite &operator=(const PackageRequestWrite &other);
    /// @}

    ~PackageRequestWrite() override;

    /// Returns whether the write goes to all receivers.
    bool bBroadcast() const;

    /// Returns the write's own kind. Hides PackageBase::getClientPackageType().
    OrvexEnum::ClientPackageType getClientPackageType() const;

    /// Returns what the virtual getPackageDataLength() returns.
    int getDataLength() const override;

    /// @{
    /// Number of data bytes that the write sends; stored as it is, even if it is negative.
    void setPackageDataLength(int packageDataLength) override;
    int getPackageDataLength() const override;
    /// @}

    QByteArray MackPackageRequest() override;
    bool UnPackageRequest(QByteArray data, int startIndex, int *parsedLength) override;
    QByteArray MackPackageReply(bool withRequest) override;
    bool UnPackageReply(QByteArray data, int startIndex, int *parsedLength,
                        bool *withRequest) override;
    void AppendDataToPackage(bool isRequest, QByteArray *package) override;
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageBase::unPackageReply;

    /// @return false, with nothing changed, for fewer than 18 columns.
    bool unPackageReply(QString text) override;

    /// @return false, with nothing changed, for fewer than 17 columns.
    bool unPackageRequest(QString text) override;

protected:
    /// Reads the payload of this class, which comes before those of its subclasses. Does the same
    /// as ParseDataFromPackage(), without a copy of the frame.
    ///
    /// @return the number of bytes consumed.
    int parseRegisterPayload(bool isRequest, const QByteArray &package, int startIndex);

    int m_nRequestFieldCount; ///< Columns that this class adds to a request record.
    int m_nReplyFieldCount;   ///< Columns that this class adds to a reply record.

private:
    OrvexEnum::ClientPackageType m_clientPackageType = OrvexEnum::DataPackage;
    bool m_bBroadcast = false;
    int m_nPackageDataLength = 0;
};

#endif
