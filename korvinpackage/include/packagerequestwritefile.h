#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITEFILE_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITEFILE_H

#include "packagerequestwrite.h"

/// A request to write a file of the device side, from an offset on.
///
/// **Payload as written**, behind the payload of PackageRequestWrite in a request whose file name
/// is not empty (otherwise nothing; a short reply has none):
///
/// | offset | width | field                                  |
/// |--------|-------|----------------------------------------|
/// | 0      | 4     | 0, undefined                           |
/// | 4      | N     | file name, UTF-8                       |
///
/// **Payload as read**:
///
/// | offset | width | field                                  |
/// |--------|-------|----------------------------------------|
/// | 0      | 4     | N, size of the file name, signed       |
/// | 4      | N     | file name, UTF-8                       |
/// | 4+N    | 4     | offset, signed                         |
///
/// A frame that this class made therefore does not give the file name back. Peers rely on both;
/// the record carries everything.
///
/// **Record columns**, behind those of PackageRequestWrite:
///
/// | request | reply | column                                              |
/// |---------|-------|-----------------------------------------------------|
/// | 17      | 18    | file name as it stands; a "," in it ends the column |
/// | 18      | 19    | offset, signed                                      |
///
/// A request to write a/b.txt from 5 on ends in `,false,file,a/b.txt,5`. A reply has the columns
/// one place further back, but is read at 17 and 18 as well: reading a reply record that this class
/// made gives the kind word as the file name.
class KORVINPACKAGE_EXPORT PackageRequestWriteFile : public PackageRequestWrite
{
    Q_OBJECT

public:
    /// An empty file write: see PackageRequestWrite(). Its kind stays `DataPackage` until a decoder
    /// sets it.
    PackageRequestWriteFile();

    /// A file write with the next serial number and the kind `FilePackage`.
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
    /// Copies all fields, the file name, the offset and the broadcast of the response.
    PackageRequestWriteFile(const PackageRequestWriteFile &other);
    PackageRequestWriteFile &operator=(const PackageRequestWriteFile &other);
    /// @}

    ~PackageRequestWriteFile() override;

    /// @{
    /// Path of the file; on the sending side that of a local file.
    QString fileNameWithPath() const;
    void setFileNameWithPaht(const QString &fileNameWithPath);
    /// @}

    /// @{
    /// Whether the proxy hands the response to every connected application; true at first, in no
    /// encoding.
    bool isBroadcastRspToAllApp() const;
    void set_isBroadcastRspToAllApp(bool isBroadcastRspToAllApp);
    /// @}

    /// Position in the file at which this transfer starts, in bytes.
    int Offset() const;

    /// Size of the local file, cut to 32 bits; 0 where there is none. Asks the file system each
    /// time; what setPackageDataLength() stores is not used.
    int getPackageDataLength() const override;

    void AppendDataToPackage(bool isRequest, QByteArray *package) override;

    /// A size of 0 or less keeps the name. A name that runs past the end of the frame reads as
    /// empty, a missing offset as 0.
    bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                              int *parsedLength) override;

    QString makePackageReply() override;
    QString makePackageRequest() override;
    using PackageRequestWrite::unPackageReply;

    /// @return false, with nothing changed, for fewer than 20 columns.
    bool unPackageReply(QString text) override;

    /// Derives the part count from what the local file of that name holds behind the offset, and
    /// from the maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 19 columns.
    bool unPackageRequest(QString text) override;

private:
    QString m_fileNameWithPath;
    int m_nOffset = 0;
    int m_nReserved = 0;
    int m_nFileRequestFieldCount = 2;
    int m_nFileReplyFieldCount = 2;
    bool m_bBroadcastRspToAllApp = true;
};

#endif
