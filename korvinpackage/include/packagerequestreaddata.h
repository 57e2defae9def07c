#ifndef KORVINPACKAGE_PACKAGEREQUESTREADDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTREADDATA_H

#include "packagerequestread.h"

/// A request to read a block of bytes.
///
/// **Data block**: in a request after the payload of PackageRequestRead, in a reply, short or full,
/// at the end. An encoder writes all of the data, whatever the length says.
///
/// <!-- table: payload of PackageRequestReadData -->
///
/// | offset | width | field           | value         |
/// |--------|-------|-----------------|---------------|
/// | 0      | 4     | replyDataLength | bytes, signed |
/// | 4      | D     | data            | bytes         |
///
/// The block of the data 01 FF 10 is `03 00 00 00 01 FF 10`.
///
/// **Record columns**, after those of PackageRequestRead, in a reply only:
///
/// <!-- table: columns of PackageRequestReadData -->
///
/// | request | reply | reply as read | field | written | read |
/// |---|---|---|---|---|---|
/// | - | 18 | 18 | replyDataLength | bytes, signed | signed 32-bit |
/// | - | 19 | 19 | data | bytes as numbers joined by `/` | low 8 bits of each number kept |
///
/// The columns of the data 01 FF 10 are `3,1/255/16`. A reply without data has an empty data
/// string. The decoder counts one number in it and so refuses the record.
///
/// @dotfile linux.dot "The frame of the Linux client"
///
/// **Linux frame**, little-endian: this header; as many bytes of data as the data length says; the
/// low 16 bits of 0x5555 plus the sum of the bytes from offset 2 on (see PackageBase::ReviseOk()).
///
/// <!-- table: Linux header -->
///
/// | offset | width | field         | value                    |
/// |--------|-------|---------------|--------------------------|
/// | 0      | 1     | start         | always 55                |
/// | 1      | 1     | start         | always AA                |
/// | 2      | 1     | status        | signed, 0 in a request   |
/// | 3      | 1     | serialNum     | unsigned, low 8 bits     |
/// | 4      | 1     | scrAddr       | unsigned                 |
/// | 5      | 1     | desAddr       | unsigned                 |
/// | 6      | 1     | deviceType    | signed, low 8 bits       |
/// | 7      | 1     | portAddr      | unsigned                 |
/// | 8      | 2     | scanBoardAddr | unsigned                 |
/// | 10     | 1     | readWriteCode | code, signed, low 8 bits |
/// | 11     | 1     | reserved2     | signed, low 8 bits       |
/// | 12     | 2     | lowAddr       | unsigned                 |
/// | 14     | 2     | highAddr      | unsigned                 |
/// | 16     | 2     | dataLength    | bytes, unsigned          |
///
/// Keep the reply data length equal to the size of the data. If the length is larger, a record is
/// filled up with zeros, up to 256 MiB.
class KORVINPACKAGE_EXPORT PackageRequestReadData : public PackageRequestRead
{
    Q_OBJECT

public:
    /// Makes an empty data read: see PackageRequestRead().
    PackageRequestReadData();

    /// Makes a data read with the next serial number and the kind `DataPackage`.
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

    /// Returns the data of a reply.
    QByteArray data() const override;

    /// Stores the data of a reply. The reply data length stays as it is.
    void setData(const QByteArray &data) override;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// If a block announces more than the frame holds, nothing is copied: the data gets the
    /// announced length, and the bytes that this adds are 0. Above 256 MiB the data becomes empty.
    /// The announced bytes count as consumed either way.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestRead::unPackageReply;

    /// @return false, with nothing changed, for fewer than 20 columns; false, with everything
    ///     except the data changed, if the data string does not have as many numbers as the length
    ///     column says.
    bool unPackageReply(QString text) override;
    bool unPackageRequest(QString text) override;

    /// @name Linux frame
    /// @{

    /// Returns the request frame. A read carries no data. A write carries all of its data unless
    /// its length is 0 or less. Its checksum comes after as many bytes as the length says: keep the
    /// length equal to the size of the data, and below 65536. A code that is neither `Read` nor
    /// `Write` gives a header of zeros.
    QByteArray ParseSendRequest_Linux();

    /// Reads the header of a reply (see unBasePackageReply_Linux()), the reply data length, and the
    /// data.
    ///
    /// The data is appended to the data of the object: clear it first unless replies should add up.
    ///
    /// @return false, with nothing changed, if the checksum is wrong.
    bool unPackageReply_Linux(QByteArray bytes);

    /// @}

private:
    int m_nDataRequestFieldCount;
    int m_nDataReplyFieldCount;
    QByteArray m_data;
};

#endif
