#ifndef KORVINPACKAGE_PACKAGEREQUESTREADFILE_H
#define KORVINPACKAGE_PACKAGEREQUESTREADFILE_H

#include "packagerequestread.h"

/// A request to read a file on the device side.
///
/// **Payload**: in a request after the payload of PackageRequestRead, in a reply, short or full, at
/// the end.
///
/// <!-- table: payload of PackageRequestReadFile -->
///
/// | offset | width | field                | value                      |
/// |--------|-------|----------------------|----------------------------|
/// | 0      | 2     | fileNameWithPathSize | F, unsigned                |
/// | 2      | F     | fileNameWithPath     | UTF-8 without a terminator |
///
/// The payload for a/b.txt is `07 00 61 2F 62 2E 74 78 74`. A decoder does not count the F bytes of
/// the name as consumed. Peers rely on it.
///
/// **Record column**, after those of PackageRequestRead; a "," in the name ends the column:
///
/// <!-- table: columns of PackageRequestReadFile -->
///
/// | request | reply | reply as read | field            | written      | read         |
/// |---------|-------|---------------|------------------|--------------|--------------|
/// | 17      | 18    | 18            | fileNameWithPath | as it stands | as it stands |
///
/// A request for that file ends in `,0,file,a/b.txt`.
class KORVINPACKAGE_EXPORT PackageRequestReadFile : public PackageRequestRead
{
    Q_OBJECT

public:
    /// Makes an empty file read: see PackageRequestRead(). Its kind stays `DataPackage` until a
    /// decoder sets it.
    PackageRequestReadFile();

    /// Makes a file read with the next serial number and the kind `FilePackage`.
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
    /// Copies all fields, including the file name and isBroadcastRspToAllApp().
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
    /// Whether the proxy passes the response to every connected application; initially true. Not
    /// encoded.
    bool isBroadcastRspToAllApp() const;
    void set_isBroadcastRspToAllApp(bool isBroadcastRspToAllApp);
    /// @}

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// Reads the name. A size of 0 leaves it unchanged; a name that runs past the end of the frame
    /// reads as empty.
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
    int m_nFileRequestFieldCount;
    int m_nFileReplyFieldCount;
    QString m_fileNameWithPath;
    bool m_bBroadcastRspToAllApp = true;
};

#endif
