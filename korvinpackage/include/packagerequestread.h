#ifndef KORVINPACKAGE_PACKAGEREQUESTREAD_H
#define KORVINPACKAGE_PACKAGEREQUESTREAD_H

#include "packagebase.h"

/// A request to read: a register by itself, more with the classes that derive from it.
///
/// **Payload**, 5 bytes behind the header of PackageBase:
///
/// | offset | width | field                                                   |
/// |--------|-------|---------------------------------------------------------|
/// | 0      | 4     | reply data length, signed                               |
/// | 4      | 1     | kind: 0 data, 1 file, 2 memory data                     |
///
/// A read of 4096 bytes of a file: `00 10 00 00 01`. A full reply ends with a second copy of the
/// payload, a short reply has none.
///
/// **Record columns**, behind those of PackageBase:
///
/// | request | reply | column                                 |
/// |---------|-------|----------------------------------------|
/// | 15      | 16    | reply data length                      |
/// | 16      | 17    | kind word: "data", "file" or "memData" |
///
/// A reply has them behind the acknowledge code, but is read at 15 and 16 as well: reading a reply
/// record that this class made gives the acknowledge code as the length, and the kind
/// `MemDataPackage`. Peers rely on it.
class KORVINPACKAGE_EXPORT PackageRequestRead : public PackageBase
{
    Q_OBJECT

public:
    /// An empty read: see PackageBase(); reply data length 0.
    PackageRequestRead();

    /// A read with the next serial number. Reserved 2 of 0x30 sets the tag protocol
    /// "3rdCalder-proto".
    PackageRequestRead(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                       uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                       uchar reserved2, int timeout, QString tag, OrvexEnum::CommResults commResult,
                       int replyDataLength, OrvexEnum::ClientPackageType clientPackageType);

    /// Takes the reply data length of @p other through its virtual getter.
    PackageRequestRead(const PackageRequestRead &other);

    /// Takes over the PackageBase part and the reply data length.
    PackageRequestRead &operator=(const PackageRequestRead &other);

    ~PackageRequestRead() override;

    /// Stores the number of data bytes expected in the reply. A negative number is stored as it is.
    void setReplyDataLength(int replyDataLength);

    /// The virtual getReplyDataLength().
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

    /// Derives the part count from the reply data length and the maximum part size.
    ///
    /// @return false, with nothing changed, for fewer than 17 columns.
    bool unPackageRequest(QString text) override;

    /// Number of data bytes expected in the reply.
    virtual int getReplyDataLength() const;

protected:
    /// Reads the payload of this class, which those of its subclasses follow:
    /// ParseDataFromPackage() without a copy of the frame.
    ///
    /// @return the number of bytes consumed.
    int parseRegisterPayload(bool isRequest, const QByteArray &package, int startIndex);

private:
    int m_nReplyDataLength = 0;
};

#endif
