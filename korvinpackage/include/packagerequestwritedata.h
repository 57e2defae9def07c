#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEDATA_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEDATA_H

#include "packagerequestwrite.h"

/// A request to write a block of bytes.
///
/// **Data block**, behind the payload of PackageRequestWrite in a request; a short reply has none:
///
/// | offset | width | field                                               |
/// |--------|-------|-----------------------------------------------------|
/// | 0      | 4     | package data length, signed                         |
/// | 4      | n     | the data, all of it, whatever the length says       |
///
/// A write of the data 01 FF 10: `03 00 00 00 01 FF 10`. Readers of the frame do not count the
/// data bytes as consumed, and so take the results of a full reply from where the data begins.
/// Peers rely on it.
///
/// **Record columns**, behind those of PackageRequestWrite:
///
/// | request | reply | column                                                    |
/// |---------|-------|-----------------------------------------------------------|
/// | 17      | 18    | package data length                                       |
/// | 18      | 19    | data string: each byte as a decimal number, joined by "/" |
///
/// The data 01 FF 10 is `3,1/255/16`. A request without data has an empty data string, which reads
/// as one part, so that such a record is refused.
///
/// **Linux frame**: see PackageRequestReadData.
///
/// Keep the package data length equal to the size of the data. Where the length is larger, missing
/// bytes are written as 0 in a record, up to 256 MiB.
class KORVINPACKAGE_EXPORT PackageRequestWriteData : public PackageRequestWrite
{
    Q_OBJECT

public:
    /// An empty data write: see PackageRequestWrite().
    PackageRequestWriteData();

    /// A data write with the next serial number, the kind `DataPackage`, and the first
    /// @p dataLength bytes of @p data; bytes that @p data lacks are 0, up to 256 MiB.
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
    /// Copies all fields and the data.
    PackageRequestWriteData(const PackageRequestWriteData &other);
    PackageRequestWriteData &operator=(const PackageRequestWriteData &other);
    /// @}

    ~PackageRequestWriteData() override;

    /// The data of a request.
    QByteArray data() const override;

    /// Leaves the package data length as it is.
    void setData(const QByteArray &data) override;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// A block that announces more than the frame holds gives data of the announced length with
    /// nothing copied (what is added is 0), or no data beyond 256 MiB.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestWrite::unPackageReply;

    /// A data string with fewer parts than the length column says leaves the rest of the data as
    /// it was, or 0 where the data grew.
    ///
    /// @return false, with nothing changed, for fewer than 20 columns.
    bool unPackageReply(QString text) override;

    /// Derives the part count from the package data length and the maximum part size.
    ///
    /// @return false for fewer than 19 columns, with nothing changed; false for a data string with
    ///     another number of parts than the length column says, with all but the data and the part
    ///     count changed.
    bool unPackageRequest(QString text) override;

    /// @name Linux frame
    /// @{

    /// The request frame. A read carries no data. A write carries all of its data unless its length
    /// is 0 or less; its checksum stands behind as many bytes as the length says, so keep that
    /// length equal to the size of the data, and below 65536. A code that is neither `Read` nor
    /// `Write` gives a header of zeros.
    QByteArray ParseSendRequest_Linux();

    /// Takes over the header of a reply (see unBasePackageReply_Linux()), its length as the package
    /// data length, and its data.
    ///
    /// The data is resized to that length and overwritten from its start; what the reply does not
    /// carry stays as it was, or is 0 where the data grew.
    ///
    /// @return false, with nothing changed, when the checksum is wrong.
    bool unPackageReply_Linux(QByteArray bytes);

    /// @}

private:
    QByteArray m_data;
    int m_nDataRequestFieldCount = 2;
    int m_nDataReplyFieldCount = 2;
};

#endif
