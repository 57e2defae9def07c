#ifndef KORVINPACKAGE_PACKAGEREQUESTREAD_H
#define KORVINPACKAGE_PACKAGEREQUESTREAD_H

#include "packagebase.h"

/// A request to read a register. Derived classes read data blocks, files and memory.
///
/// **Payload**: 5 bytes after the header of PackageBase.
///
/// <!-- table: payload of PackageRequestRead -->
///
/// | offset | width | field             | value                     |
/// |--------|-------|-------------------|---------------------------|
/// | 0      | 4     | replyDataLength   | bytes, signed             |
/// | 4      | 1     | clientPackageType | 0 data, 1 file, 2 memData |
///
/// A read of 4096 bytes of a file is `00 10 00 00 01`. A full reply ends with a second copy of the
/// payload. A short reply has no payload.
///
/// **Record columns**, after those of PackageBase; "reply as read" is where the decoder of a reply
/// looks for the column:
///
/// <!-- table: columns of PackageRequestRead -->
///
/// | request | reply | reply as read | field | written | read |
/// |---|---|---|---|---|---|
/// | 15 | 16 | 15 | replyDataLength | bytes, signed | signed 32-bit |
/// | 16 | 17 | 16 | clientPackageType | `data`, `file` or `memData` | any other text as `memData` |
///
/// A reply has them after the acknowledge code, but its decoder reads columns 15 and 16: it reads a
/// reply record of its own encoder with the acknowledge code as the length, and with the kind
/// `MemDataPackage`. Peers rely on it.
class KORVINPACKAGE_EXPORT PackageRequestRead : public PackageBase
{
    Q_OBJECT

public:
    /// Makes an empty read: see PackageBase(); reply data length 0.
    PackageRequestRead();

    /// Makes a read with the next serial number. If reserved 2 is 0x30, the tag protocol becomes
    /// "3rdCalder-proto".
    PackageRequestRead(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                       uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                       uchar reserved2, int timeout, QString tag, OrvexEnum::CommResults commResult,
                       int replyDataLength, OrvexEnum::ClientPackageType clientPackageType);

    /// Copies the PackageBase part, and the reply data length through the virtual getter of
    /// @p other.
    PackageRequestRead(const PackageRequestRead &other);

    /// Copies the PackageBase part and the reply data length.
    PackageRequestRead &operator=(const PackageRequestRead &other);

    ~PackageRequestRead() override;

    /// Stores the number of data bytes expected in the reply, even if it is negative.
    void setReplyDataLength(int replyDataLength);

    /// Returns what the virtual getReplyDataLength() returns.
    int getDataLength() const override;

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

    /// Sets the part count from the reply data length and the maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 17 columns.
    bool unPackageRequest(QString text) override;

    /// Returns the number of data bytes expected in the reply.
    virtual int getReplyDataLength() const;

protected:
    /// Reads the payload of this class, which comes before those of its subclasses. Does the same
    /// as ParseDataFromPackage(), without a copy of the frame.
    ///
    /// @return the number of bytes consumed.
    int parseRegisterPayload(bool isRequest, const QByteArray &package, int startIndex);

private:
    int m_nReplyDataLength = 0;
};

#endif
