#ifndef KORVINPACKAGE_PACKAGEREQUESTREADFILE_H
#define KORVINPACKAGE_PACKAGEREQUESTREADFILE_H

#include "packagerequestread.h"

/// A request to read a file of the device side.
///
/// **Payload**, behind the payload of PackageRequestRead in a request, and at the end of every
/// reply, short or full:
///
/// | offset | width | field                                  |
/// |--------|-------|----------------------------------------|
/// | 0      | 2     | N, size of the file name               |
/// | 2      | N     | file name, UTF-8                       |
///
/// The file a/b.txt: `07 00 61 2F 62 2E 74 78 74`. Readers do not count the N bytes of the name as
/// consumed. Peers rely on it.
///
/// **Record column**, behind those of PackageRequestRead:
///
/// | request | reply | column                                              |
/// |---------|-------|-----------------------------------------------------|
/// | 17      | 18    | file name as it stands; a "," in it ends the column |
///
/// A request for that file ends in `,0,file,a/b.txt`.
class KORVINPACKAGE_EXPORT PackageRequestReadFile : public PackageRequestRead
{
    Q_OBJECT

public:
    /// An empty file read: see PackageRequestRead(). Its kind stays `DataPackage` until a decoder
    /// sets it.
    PackageRequestReadFile();

    /// A file read with the next serial number and the kind `FilePackage`.
    PackageRequestReadFile(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                           uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                           uchar reserved2, int timeout, QString tag,
                           OrvexEnum::CommResults commResult, int replyDataLength,
                           QString fileNameWithPath);

    /// The same with `CommOk`.
    PackageRequestReadFile(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                           uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                           uchar reserved2, int timeout, QString tag, int replyDataLength,
                           QString fileNameWithPath);

    /// @{
    /// Copies all fields, the file name and the broadcast of the response.
    PackageRequestReadFile(const PackageRequestReadFile &other);
    PackageRequestReadFile &operator=(const PackageRequestReadFile &other);
    /// @}

    ~PackageRequestReadFile() override;

    /// @{
    /// Path of the file on the device side.
    QString fileNameWithPath() const;
    void setFileNameWithPath(const QString &fileNameWithPath);
    /// @}

    /// @{
    /// Whether the proxy hands the response to every connected application; true at first, in no
    /// encoding.
    bool isBroadcastRspToAllApp() const;
    void set_isBroadcastRspToAllApp(bool isBroadcastRspToAllApp);
    /// @}

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// A size of 0 keeps the name. A name that runs past the end of the frame reads as empty.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestRead::unPackageReply;

    /// @return false, with nothing changed, for fewer than 19 columns.
    bool unPackageReply(QString text) override;

    /// @return false, with nothing changed, for fewer than 18 columns.
    bool unPackageRequest(QString text) override;

private:
    int m_nFileRequestFieldCount = 1;
    int m_nFileReplyFieldCount = 1;
    QString m_fileNameWithPath;
    bool m_bBroadcastRspToAllApp = true;
};

#endif
