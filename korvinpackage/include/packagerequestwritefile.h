#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEFILE_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEFILE_H

#include "packagerequestwrite.h"

/// A request to write a file on the device side, starting at an offset.
///
/// **Payload as written**: after the payload of PackageRequestWrite, unless the file name is empty.
/// A short reply has none.
///
/// <!-- table: payload of PackageRequestWriteFile as written -->
///
/// | offset | width | field            | value                      |
/// |--------|-------|------------------|----------------------------|
/// | 0      | 1     | -                | undefined, written as 00   |
/// | 1      | 1     | -                | undefined, written as 00   |
/// | 2      | 1     | -                | undefined, written as 00   |
/// | 3      | 1     | -                | undefined, written as 00   |
/// | 4      | F     | fileNameWithPath | UTF-8 without a terminator |
///
/// **Payload as read**: in the same place, with other fields.
///
/// <!-- table: payload of PackageRequestWriteFile -->
///
/// | offset | width | field            | value                      |
/// |--------|-------|------------------|----------------------------|
/// | 0      | 4     | fileNameSize     | bytes, signed              |
/// | 4      | F     | fileNameWithPath | UTF-8 without a terminator |
/// | 4+F    | 4     | offset           | bytes, signed              |
///
/// Therefore a decoder does not get the file name back from a frame of its own encoder. Peers rely
/// on both layouts. The record carries everything.
///
/// **Record columns**, after those of PackageRequestWrite; a "," in the name ends the column:
///
/// <!-- table: columns of PackageRequestWriteFile -->
///
/// | request | reply | reply as read | field            | written       | read          |
/// |---------|-------|---------------|------------------|---------------|---------------|
/// | 17      | 18    | 17            | fileNameWithPath | as it stands  | as it stands  |
/// | 18      | 19    | 18            | offset           | bytes, signed | signed 32-bit |
///
/// A request to write a/b.txt at offset 5 ends in `,false,file,a/b.txt,5`. A reply has the columns
/// at 18 and 19, but its decoder reads 17 and 18: it reads a reply record of its own encoder with
/// the kind word as the file name. Peers rely on it.
class KORVINPACKAGE_EXPORT PackageRequestWriteFile : public PackageRequestWrite
{
    Q_OBJECT

public:
    /// Makes an empty file write: see PackageRequestWrite(). Its kind stays `DataPackage` until a
    /// decoder sets it.
    PackageRequestWriteFile();

    /// Makes a file write with the next serial number and the kind `FilePackage`.
    PackageRequestWriteFile(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                            uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                            uchar reserved2, int timeout, QString tag,
                            OrvexEnum::CommResults commResult, bool bBroadcast,
                            QString fileNameWithPath, int offset);

    /// The same with `CommOk`.
    PackageRequestWriteFile(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                            uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                            uchar reserved2, int timeout, QString tag, bool bBroadcast,
                            QString fileNameWithPath, int offset);

    /// @{
    /// Copies all fields, including file name, offset and isBroadcastRspToAllApp().
    PackageRequestWriteFile(const PackageRequestWriteFile &other);
    PackageRequestWriteFile &operator=(const PackageRequestWriteFile &other);
    /// @}

    ~PackageRequestWriteFile() override;

    /// @{
    /// Path of the file. The sender of a request uses it as the path of a local file, too.
    QString fileNameWithPath() const;
    void setFileNameWithPaht(const QString &fileNameWithPath);
    /// @}

    /// @{
    /// Whether the proxy passes the response to every connected application; initially true. Not
    /// encoded.
    bool isBroadcastRspToAllApp() const;
    void set_isBroadcastRspToAllApp(bool isBroadcastRspToAllApp);
    /// @}

    /// Returns the position in the file at which this write starts, in bytes.
    int Offset() const;

    /// Returns the low 32 bits of the size of the local file; 0 if there is no such file. Asks the
    /// file system each time, and does not use what setPackageDataLength() stores.
    int getPackageDataLength() const override;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// Reads name and offset. A size of 0 or less leaves the name unchanged; a name that runs past
    /// the end of the frame reads as empty; a missing offset reads as 0.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestWrite::unPackageReply;

    /// @return false, with nothing changed, for fewer than 20 columns.
    bool unPackageReply(QString text) override;

    /// Sets the part count from the number of bytes that the local file of that name has after the
    /// offset, and from the maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 19 columns.
    bool unPackageRequest(QString text) override;

private:
    QString m_fileNameWithPath;
    int m_nOffset = 0;
    int m_nReserved = 0;
    int m_nFileRequestFieldCount;
    int m_nFileReplyFieldCount;
    bool m_bBroadcastRspToAllApp = true;
};

#endif
