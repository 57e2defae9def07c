#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEDATA_H

#include "packagerequestwrite.h"

/// A request to write a block of bytes.
///
/// **Data block**: after the payload of PackageRequestWrite. A short reply has none. An encoder
/// writes all of the data, whatever the length says.
///
/// <!-- table: payload of PackageRequestWriteData -->
///
/// | offset | width | field             | value         |
/// |--------|-------|-------------------|---------------|
/// | 0      | 4     | packageDataLength | bytes, signed |
/// | 4      | D     | data              | bytes         |
///
/// The block of the data 01 FF 10 is `03 00 00 00 01 FF 10`. A decoder of frames does not count the
/// data bytes as consumed, and so reads the results of a full reply where the data begins. Peers
/// rely on it.
///
/// **Record columns**, after those of PackageRequestWrite:
///
/// <!-- table: columns of PackageRequestWriteData -->
///
/// | request | reply | reply as read | field | written | read |
/// |---|---|---|---|---|---|
/// | 17 | 18 | 18 | packageDataLength | bytes, signed | signed 32-bit |
/// | 18 | 19 | 19 | data | bytes as numbers joined by `/` | low 8 bits of each number kept |
///
/// The columns of the data 01 FF 10 are `3,1/255/16`. A request without data has an empty data
/// string. The decoder counts one number in it and so refuses the record.
///
/// **Linux frame**: see PackageRequestReadData.
///
/// Keep the package data length equal to the size of the data. If the length is larger, a record is
/// filled up with zeros, up to 256 MiB.
class KORVINPACKAGE_EXPORT PackageRequestWriteData : public PackageRequestWrite
{
    Q_OBJECT

public:
    /// Makes an empty data write: see PackageRequestWrite().
    PackageRequestWriteData();

    /// Makes a data write with the next serial number, the kind `DataPackage`, and the first
    /// @p dataLength bytes of @p data, filled up with zeros to at most 256 MiB.
    PackageRequestWriteData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                            uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                            uchar reserved2, int timeout, QString tag,
                            OrvexEnum::CommResults commResult, bool bBroadcast, QByteArray data,
                            int dataLength);

    /// The same with `CommOk`.
    PackageRequestWriteData(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                            uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                            uchar reserved2, int timeout, QString tag, bool bBroadcast,
                            QByteArray data, int dataLength);

    /// @{
    /// Copies all fields, including the data.
    PackageRequestWriteData(const PackageRequestWriteData &other);
    PackageRequestWriteData &operator=(const PackageRequestWriteData &other);
    /// @}

    ~PackageRequestWriteData() override;

    /// Returns the data of a request.
    QByteArray data() const override;

    /// Stores the data of a request. The package data length stays as it is.
    void setData(const QByteArray &data) override;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// If a block announces more than the frame holds, nothing is copied: the data gets the
    /// announced length, and the bytes that this adds are 0. Above 256 MiB the data becomes empty.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestWrite::unPackageReply;

    /// If the data string has fewer numbers than the length column says, the rest of the data
    /// stays as it was; bytes that the data grows by are 0.
    ///
    /// @return false, with nothing changed, for fewer than 20 columns.
    bool unPackageReply(QString text) override;

    /// Sets the part count from the package data length and the maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 19 columns; false, with everything
    ///     except the data and the part count changed, if the data string does not have as many
    ///     numbers as the length column says.
    bool unPackageRequest(QString text) override;

    /// @name Linux frame
    /// @{

    /// Returns the request frame. A read carries no data. A write carries all of its data unless
    /// its length is 0 or less. Its checksum comes after as many bytes as the length says: keep the
    /// length equal to the size of the data, and below 65536. A code that is neither `Read` nor
    /// `Write` gives a header of zeros.
    QByteArray ParseSendRequest_Linux();

    /// Reads the header of a reply (see unBasePackageReply_Linux()), the package data length, and
    /// the data.
    ///
    /// The data is resized to that length and overwritten from its start. Bytes that the reply does
    /// not carry stay as they were; bytes that the data grows by are 0.
    ///
    /// @return false, with nothing changed, if the checksum is wrong.
    bool unPackageReply_Linux(QByteArray bytes);

    /// @}

private:
    QByteArray m_data;
    int m_nDataRequestFieldCount;
    int m_nDataReplyFieldCount;
};

#endif
