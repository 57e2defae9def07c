#ifndef KORVINPACKAGE_PACKAGEREQUESTREADDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTREADDATA_H

#include "packagerequestread.h"

/// A request to read a block of bytes.
///
/// **Data block**, behind the payload of PackageRequestRead in a request, and at the end of every
/// reply, short or full:
///
/// | offset | width | field                                               |
/// |--------|-------|-----------------------------------------------------|
/// | 0      | 4     | reply data length, signed                           |
/// | 4      | n     | the data, all of it, whatever the length says       |
///
/// A reply of the data 01 FF 10: `03 00 00 00 01 FF 10`.
///
/// **Record columns**, behind those of PackageRequestRead:
///
/// | request | reply | column                                                    |
/// |---------|-------|-----------------------------------------------------------|
/// | none    | 18    | reply data length                                         |
/// | none    | 19    | data string: each byte as a decimal number, joined by "/" |
///
/// The data 01 FF 10 is `3,1/255/16`. A reply without data has an empty data string, which reads as
/// one part, so that such a record is refused.
///
/// @dotfile linux.dot "The frame of the Linux client"
///
/// **Linux frame**, little-endian, closed by the 16-bit sum of the bytes from offset 2 on, seed
/// 0x5555 (see PackageBase::ReviseOk):
///
/// | offset | width | field                            |
/// |--------|-------|----------------------------------|
/// | 0      | 2     | 55 AA                            |
/// | 2      | 1     | status, 0 in a request           |
/// | 3      | 1     | serial number, low 8 bits        |
/// | 4      | 1     | screen address                   |
/// | 5      | 1     | destination address              |
/// | 6      | 1     | device type, low 8 bits          |
/// | 7      | 1     | port address                     |
/// | 8      | 2     | scan board address               |
/// | 10     | 1     | read/write code                  |
/// | 11     | 1     | reserved 2, low 8 bits           |
/// | 12     | 2     | register address, low word       |
/// | 14     | 2     | register address, high word      |
/// | 16     | 2     | data length, low 16 bits         |
/// | 18     | L     | data, L being its length         |
/// | 18+L   | 2     | checksum                         |
///
/// Keep the reply data length equal to the size of the data. Where the length is larger, missing
/// bytes are written as 0 in a record, up to 256 MiB.
class KORVINPACKAGE_EXPORT PackageRequestReadData : public PackageRequestRead
{
    Q_OBJECT

public:
    /// An empty data read: see PackageRequestRead().
    PackageRequestReadData();

    /// A data read with the next serial number and the kind `DataPackage`.
    PackageRequestReadData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                           uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                           uchar reserved2, int timeout, QString tag,
                           OrvexEnum::CommResults commResult, int replyDataLength);

    /// The same with `CommOk`.
    PackageRequestReadData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                           uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                           uchar reserved2, int timeout, QString tag, int replyDataLength);

    /// The same with `CommOk` and the data of a reply.
    PackageRequestReadData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                           uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                           uchar reserved2, int timeout, QString tag, QByteArray data,
                           int replyDataLength);

    /// Copies all fields and the data.
    PackageRequestReadData(const PackageRequestReadData &other);

    /// Copies the data only; all other fields of the target stay as they are.
    PackageRequestReadData &operator=(const PackageRequestReadData &other);

    ~PackageRequestReadData() override;

    /// The data of a reply.
    QByteArray data() const override;

    /// Leaves the reply data length as it is.
    void setData(const QByteArray &data) override;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// A block that announces more than the frame holds gives data of the announced length with
    /// nothing copied (what is added is 0), or no data beyond 256 MiB; the announced bytes count
    /// as consumed either way.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestRead::unPackageReply;

    /// @return false for fewer than 20 columns, with nothing changed; false for a data string with
    ///     another number of parts than the length column says, with all but the data changed.
    bool unPackageReply(QString text) override;
    bool unPackageRequest(QString text) override;

    /// @name Linux frame
    /// @{

    /// The request frame. A read carries no data. A write carries all of its data unless its length
    /// is 0 or less; its checksum stands behind as many bytes as the length says, so keep that
    /// length equal to the size of the data, and below 65536. A code that is neither `Read` nor
    /// `Write` gives a header of zeros.
    QByteArray ParseSendRequest_Linux();

    /// Takes over the header of a reply (see unBasePackageReply_Linux()), its length as the reply
    /// data length, and its data.
    ///
    /// The data is appended to the data that the object has: clear it first where replies must not
    /// add up.
    ///
    /// @return false, with nothing changed, when the checksum is wrong.
    bool unPackageReply_Linux(QByteArray bytes);

    /// @}

private:
    int m_nDataRequestFieldCount = 0;
    int m_nDataReplyFieldCount = 2;
    QByteArray m_data;
};

#endif
