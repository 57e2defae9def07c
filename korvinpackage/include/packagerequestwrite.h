#ifndef KORVINPACKAGE_PACKAGEREQUESTWRITE_H
#define KORVINPACKAGE_PACKAGEREQUESTWRITE_H

#include "packagebase.h"

/// A request to write: a register by itself, more with the classes that derive from it.
///
/// **Payload**, 2 bytes behind the header of PackageBase:
///
/// | offset | width | field                                                        |
/// |--------|-------|--------------------------------------------------------------|
/// | 0      | 1     | broadcast: 1 to all receivers; any byte but 1 reads as false |
/// | 1      | 1     | kind: 0 data, 1 file, 2 memory data                          |
///
/// A broadcast of memory data: `01 02`. A full reply ends with a second copy of the payload, a
/// short reply has none. The package data length is not in the payload.
///
/// **Record columns**, behind those of PackageBase:
///
/// | request | reply | column                                 |
/// |---------|-------|----------------------------------------|
/// | 15      | 16    | broadcast: "true" or "false"           |
/// | 16      | 17    | kind word: "data", "file" or "memData" |
///
/// A reply has them behind the acknowledge code, but is read at 15 and 16 as well: reading a reply
/// record that this class made gives broadcast false and the kind `DataPackage`. Peers rely on it.
///
/// A write keeps a kind of its own; the kind in its PackageBase part stays `DataPackage` unless it
/// is set there.
class KORVINPACKAGE_EXPORT PackageRequestWrite : public PackageBase
{
    Q_OBJECT

public:
    /// An empty write: see PackageBase(); no broadcast, kind `DataPackage`, data length 0.
    PackageRequestWrite();

    /// A write with the next serial number. Reserved 2 of 0x30 sets the tag protocol
    /// "3rdCalder-proto".
    PackageRequestWrite(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                        uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                        uchar reserved2, int timeout, QString tag,
                        OrvexEnum::CommResults commResult, bool bBroadcast,
                        OrvexEnum::ClientPackageType clientPackageType);

    /// @{
    /// Copies all fields, the broadcast, the kind and the package data length.
    PackageRequestWrite(const PackageRequestWrite &other);
    PackageRequestWrite &operator=(const PackageRequestWrite &other);
    /// @}

    ~PackageRequestWrite() override;

    /// Whether the write goes to all receivers.
    bool bBroadcast() const;

    /// The write's own kind; it hides the one of PackageBase.
    OrvexEnum::ClientPackageType getClientPackageType() const;

    /// The virtual getPackageDataLength().
    int getDataLength() const override;

    /// @{
    /// Number of data bytes that the write sends. A negative number is stored as it is.
    void setPackageDataLength(int packageDataLength) override;
    int getPackageDataLength() const override;
    /// @}

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

    /// @return false, with nothing changed, for fewer than 17 columns.
    bool unPackageRequest(QString text) override;

protected:
    /// Reads the payload of this class, which those of its subclasses follow:
    /// ParseDataFromPackage() without a copy of the frame.
    ///
    /// @return the number of bytes consumed.
    int parseRegisterPayload(bool isRequest, const QByteArray &package, int startIndex);

    int m_nRequestFieldCount = 2; ///< Columns that this class adds to a request record.
    int m_nReplyFieldCount = 2;   ///< Columns that this class adds to a reply record.

private:
    OrvexEnum::ClientPackageType m_clientPackageType = OrvexEnum::DataPackage;
    bool m_bBroadcast = false;
    int m_nPackageDataLength = 0;
};

#endif
