#ifndef KORVINPACKAGE_PACKAGEBASE_H
#define KORVINPACKAGE_PACKAGEBASE_H

#include "korvinpackageglobal.h"
#include "orvexenum.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <cstddef>

namespace KORVIN_LINUX_CLIENT {
/// The time-out timer of the caller's side. A package only keeps a pointer to it.
class PackageTimerOut;
} // namespace KORVIN_LINUX_CLIENT

struct PackageBasePrivate;

/// A packet addressed to one device operation: the root of every request and reply.
///
/// A package holds the address of the operation (screen, destination, device type, port, scan
/// board, register), its identity (serial number, device key, tag), the bookkeeping of a split
/// transfer, and the outcome. It turns itself into a byte frame for the device side and into a
/// text record for the proxy link, and reads both back. Subclasses append their own part to each.
/// Use a subclass for a request; use PackageBase itself to look at the part that all share.
///
/// @dotfile frame.dot "Byte frames, and the bytes of their parts"
///
/// **Request frame**, integers little-endian, D and T the UTF-8 sizes of device key and tag:
///
/// <!-- table: request header -->
///
/// | offset | width | field         | value                      |
/// |--------|-------|---------------|----------------------------|
/// | 0      | 1     | marker        | always 00                  |
/// | 1      | 2     | deviceKeySize | D, unsigned                |
/// | 3      | D     | deviceKey     | UTF-8 without a terminator |
/// | 3+D    | 2     | tagSize       | T, unsigned                |
/// | 5+D    | T     | tag           | UTF-8 without a terminator |
/// | 5+D+T  | 4     | timeout       | signed                     |
/// | 9+D+T  | 2     | serialNum     | unsigned, low 16 bits      |
/// | 11+D+T | 1     | scrAddr       | unsigned                   |
/// | 12+D+T | 1     | desAddr       | unsigned                   |
/// | 13+D+T | 1     | deviceType    | unsigned, low 8 bits       |
/// | 14+D+T | 1     | portAddr      | unsigned                   |
/// | 15+D+T | 2     | scanBoardAddr | unsigned                   |
/// | 17+D+T | 1     | readWriteCode | 0 read; 1 any other code   |
/// | 18+D+T | 1     | reserved2     | unsigned, low 8 bits       |
/// | 19+D+T | 2     | lowAddr       | unsigned                   |
/// | 21+D+T | 2     | highAddr      | unsigned                   |
///
/// **Short reply**, 6 bytes; serial number 5 and success are `00 05 00 00 01 00`:
///
/// <!-- table: short reply -->
///
/// | offset | width | field      | value                 |
/// |--------|-------|------------|-----------------------|
/// | 0      | 1     | marker     | always 00             |
/// | 1      | 2     | serialNum  | unsigned, low 16 bits |
/// | 3      | 1     | ackCode    | unsigned, low 8 bits  |
/// | 4      | 1     | commResult | code, low 8 bits      |
/// | 5      | 1     | packResult | code, low 8 bits      |
///
/// **Full reply**: the request frame with marker 1, then the results:
///
/// <!-- table: results of a full reply as written -->
///
/// | offset | width | field      | value                    |
/// |--------|-------|------------|--------------------------|
/// | 0      | 1     | ackCode    | unsigned, low 8 bits     |
/// | 1      | 1     | -          | undefined, written as 00 |
/// | 2      | 1     | commResult | code, low 8 bits         |
/// | 3      | 1     | -          | undefined, written as 00 |
/// | 4      | 1     | packResult | code, low 8 bits         |
/// | 5      | 1     | -          | undefined, written as 00 |
///
/// The decoder reads them in another way, and so does not get back what was written. Both sides of
/// the protocol do this; it stays.
///
/// <!-- table: results of a full reply as read -->
///
/// | offset | width | field      | value                |
/// |--------|-------|------------|----------------------|
/// | 0      | 1     | ackCode    | unsigned, low 8 bits |
/// | 1      | 1     | commResult | code, low 8 bits     |
/// | 2      | 1     | packResult | code, low 8 bits     |
///
/// **Records**: columns joined by ",", 15 in a request and 16 in a reply, numbers in decimal.
///
/// <!-- table: common columns -->
///
/// | column | field | written | read |
/// |---|---|---|---|
/// | 0 | serialNum | unsigned 64-bit | signed 32-bit |
/// | 1 | deviceKey | `/` as `#*#`, then `,` as `*#*` | `*#*` as `,`, then `#*#` as `/` |
/// | 2 | deviceType | signed | signed 32-bit |
/// | 3 | scrAddr | 0 to 255 | unsigned, low 8 bits kept |
/// | 4 | desAddr | 0 to 255 | unsigned, low 8 bits kept |
/// | 5 | portAddr | 0 to 255 | unsigned, low 8 bits kept |
/// | 6 | scanBoardAddr | 0 to 65535 | unsigned, low 16 bits kept |
/// | 7 | highAddr | 0 to 65535 | unsigned, low 16 bits kept |
/// | 8 | lowAddr | 0 to 65535 | unsigned, low 16 bits kept |
/// | 9 | reserved2 | signed 32-bit | unsigned 32-bit |
/// | 10 | readWriteCode | `write` for code 1, else `read` | `read` as 0, any other text as 1 |
/// | 11 | timeout | signed | signed 32-bit |
/// | 12 | tag | as it stands | as it stands |
/// | 13 | commResult | name, or nothing for a code without one | any other text as `ok` |
/// | 14 | packResult | name, or nothing for a code without one | any other text as `ok` |
///
/// A reply has one more:
///
/// <!-- table: acknowledge column -->
///
/// | column | field   | written         | read          |
/// |--------|---------|-----------------|---------------|
/// | 15     | ackCode | unsigned 32-bit | signed 32-bit |
///
/// @dotfile record.dot "The columns of a record in groups"
///
/// A request record:
///
///     7,usb#*#0*#*1,1,0,255,2,65535,2560,16,0,write,3000,t1,pending,ok
///
/// Decoders return false and leave the object as it was when the input is too short, has too few
/// columns or fails its checksum. A number that does not parse, and a byte field that does not
/// fit, reads as 0. When memory runs out an encoder returns an empty frame or record and a decoder
/// returns false (but a decoder of frames ignores the result of its payload hook, whatever the
/// reason); no exception leaves an operation that reports by its result.
///
/// A package belongs to one thread at a time. Pointers to out-parameters must not be null.
class KORVINPACKAGE_EXPORT PackageBase : public QObject
{
    Q_OBJECT

public:
    /// @name Construction
    /// @{

    /// An empty package: serial number 0 (none is drawn), time-out 3, maximum part size 2048,
    /// `CommOk`, `PackOk`, tag protocol "3rd-proto", register address self-increasing.
    PackageBase();

    /// A package with the next serial number, an acknowledge code, and the kind `DataPackage`.
    PackageBase(QString deviceKey, uchar ackCode, uchar scrAddr, uchar desAddr, uchar deviceType,
                uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                OrvexEnum::ReadWriteCode readWriteCode, uchar reserved2, int timeout, QString tag,
                OrvexEnum::CommResults commResult, bool isRegisterAddrSelfIncreasing);

    /// A package with the next serial number, acknowledge code 0, and a kind.
    PackageBase(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType, uchar portAddr,
                ushort scanBoardAddr, ushort highAddr, ushort lowAddr, uchar reserved2, int timeout,
                QString tag, OrvexEnum::CommResults commResult,
                OrvexEnum::ClientPackageType clientPackageType,
                OrvexEnum::ReadWriteCode readWriteCode, bool isRegisterAddrSelfIncreasing);

    /// A package with the same fields, serial number, user token and timer included. The server
    /// connection key and all that belongs to QObject (parent, name, connections) start empty.
    PackageBase(const PackageBase &other);

    /// Takes over the same fields as the copy constructor; keeps its own server connection key.
    PackageBase &operator=(const PackageBase &other);

    /// Deletes neither the user token nor the timer.
    ~PackageBase() override;

    /// Disconnects both signals of @p package, then deletes it. Null is allowed.
    static void clear(PackageBase *package);

    /// @}

    /// Draws the next serial number of the process: 2, 3 and so on to 255, then from 1. Not
    /// locked: threads that create packages at the same time must take turns.
    static quint64 makeSerialNum();

    /// The serial number that was drawn last, initially 1. Set it to give each process a start of
    /// its own, or to draw the same numbers again.
    static quint64 SERIALNUM;

    /// @{
    /// Ties a reply to its request. Frames carry its low 16 bits, Linux frames its low 8; records
    /// are written with all 64, and read with 32.
    ///
    /// Reads as 0, with a critical log message, if the package has lost its fields.
    quint64 getSerialNum() const;
    void setSerialNum(quint64 serialNum);
    /// @}

    /// @{
    /// Key of the device on its link. In frames up to 65535 bytes of UTF-8; a zero byte ends it.
    QString getDeviceKey() const;
    void setDeviceKey(QString deviceKey);
    /// @}

    /// @{
    /// The caller's tag, echoed by the peer. A "," in it shifts all later columns of a record. In
    /// frames up to 65535 bytes of UTF-8; a zero byte ends it.
    QString getTag() const;
    void setTag(QString tag);
    /// @}

    /// @{
    /// Protocol tag, for the caller; in no encoding.
    QString getTagProto() const;
    void setTagProto(QString tagProto);
    /// @}

    /// @{
    /// Key of the server connection that the package travels on; neither encoded nor copied.
    QString getSeverConnectionKey();
    void setServerConnectionKey(const QString &serverConnectionKey);
    /// @}

    /// Orders by serial number, as unsigned numbers.
    bool operator<(const PackageBase &other);

    /// @{
    /// Screen, destination, device type, port and scan board; then the register, as a high and a
    /// low word, and the direction.
    ///
    /// Screen, destination and port are bytes, 0 to 255, whatever type a setter takes. The scan
    /// board address and both words have 16 bits; more is cut off. Device type and reserved 2 have
    /// 32 bits, signed: records carry all of them, frames the low byte. Whether the register
    /// address advances by itself is in no encoding.
    uchar getScrAddr() const;
    void setScrAddr(char scrAddr);
    ushort getDesAddr() const;
    void setDesAddr(char desAddr);
    int getDeviceType() const;
    void setDeviceType(int deviceType);
    uchar getPortAddr() const;
    void setPortAddr(char portAddr);
    int getScanBoardAddr() const;
    void setScanBoardAddr(int scanBoardAddr);
    ushort getHighAddr() const;
    void setHighAddr(ushort highAddr);
    ushort getLowAddr() const;
    void setLowAddr(ushort lowAddr);
    OrvexEnum::ReadWriteCode getReadWriteCode() const;
    void setReadWriteCode(OrvexEnum::ReadWriteCode readWriteCode);
    int getReserved2() const;
    void setReserved2(int reserved2);
    bool getIsRegisterAddrSelfIncreasing() const;
    void setIsRegisterAddrSelfIncreasing(bool isRegisterAddrSelfIncreasing);
    /// @}

    /// @{
    /// Time-out in the caller's unit, signed, 32 bits; the library only stores and transmits it.
    /// Linux frames do not carry it.
    int getTimeout() const;
    void setTimeout(int timeout);
    /// @}

    /// @{
    /// Largest payload of one part in bytes, number of parts, and index of the part being handled.
    ///
    /// In no encoding. Decoders of request records derive the part count where their class says so.
    int getMaxPartSize() const;
    void setMaxPartSize(int maxPartSize);
    int getPartCount() const;
    void setPartCount(int partCount);
    int getCurPartIndex() const;
    void setCurPartIndex(int curPartIndex);
    /// @}

    /// True when @p sentParts is at least the part count; always true with part count 0.
    bool partSendComplete(int sentParts);

    /// @{
    /// Kind of payload, carried by read requests. PackageRequestWrite keeps a kind of its own
    /// beside this one.
    OrvexEnum::ClientPackageType getClientPackageType() const;
    void setClientPackageType(OrvexEnum::ClientPackageType clientPackageType);
    /// @}

    /// @{
    /// Whether the caller subscribes to hardware notifications; not in any encoding.
    bool getSubcribeHardware();
    void setSubcribeHardware(bool subcribeHardware);
    /// @}

    /// @{
    /// The caller's own pointer; copied with the package, never dereferenced or freed.
    void *getUserToken() const;
    void setUserToken(void *userToken);
    /// @}

    /// @{
    /// The caller's timer; copied with the package, never used or freed.
    KORVIN_LINUX_CLIENT::PackageTimerOut *getTimeOutTimer() const;
    void setTimeOutTimer(KORVIN_LINUX_CLIENT::PackageTimerOut *timeOutTimer);
    /// @}

    /// @{
    /// Acknowledge code of the device, 0 for accepted; result of the transport; result of the
    /// device or the receiving side.
    ///
    /// Frames carry the low byte of each, records the number of the first and the names of the
    /// others. A Linux frame has one signed status byte for all three.
    uint getAckCode() const;
    void setAckCode(uint ackCode);
    OrvexEnum::CommResults getCommResult() const;
    void setCommResult(OrvexEnum::CommResults commResult);
    OrvexEnum::PackageResults getPackResult() const;
    void setPackResult(OrvexEnum::PackageResults packResult);

    /// True exactly for `CommOk`, `PackOk` and acknowledge code 0.
    bool isPackageSuccess();

    /// @}
    /// @name Byte tools
    /// Positions and lengths may be any number; nothing outside an array is read or written.
    /// @{

    /// Copies @p length bytes, enlarging @p destination where it is too short (the gap is 0).
    ///
    /// @return false, with a debug message, when the source ends before @p sourceIndex + @p length;
    ///     false for a negative position. True without copying for a length of 0 or less.
    static bool ArrayCopy(QByteArray sourceArray, int sourceIndex, QByteArray *destination,
                          int destIndex, int length);

    /// Writes the low @p count bytes of @p value at @p start, least significant first.
    ///
    /// A field may end one byte behind the array, which then grows by that byte.
    ///
    /// @param index becomes @p start + @p count, also when the call fails.
    /// @return false, with nothing written, for a field that ends further out or starts at a
    ///     negative position, or for a count of 0 or less.
    static bool SetBytesFromInt(QByteArray *array, int start, int count, int value, int *index);

    /// Reads @p count bytes at @p start as an unsigned number, least significant first; of more
    /// than four bytes the first four count.
    ///
    /// @param index becomes @p start + @p count; unchanged when the field does not fit.
    /// @return the value; 0 when the field does not fit or starts at a negative position.
    static int GetVauleFromBytes(QByteArray array, int start, int count, int *index);

    /// Adds the @p length bytes from @p start to the seed 0x5555. A checksum is the low 16 bits.
    static void calcRevise(QByteArray data, int start, int length, int *revise);

    /// Verifies a frame of @p length bytes at @p start that ends in its checksum.
    ///
    /// The first two and the last two bytes are not summed; the last two hold the sum, low byte
    /// first. A frame of two to four bytes has an empty body and verifies when it ends in 55 55.
    ///
    /// @return false for a wrong checksum and for an array that ends before the frame does.
    static bool ReviseOk(QByteArray data, int start, int length);

    /// @}
    /// @name Payload
    /// Hooks for subclasses that carry data; the base carries none.
    /// @{

    /// Number of data bytes that the operation moves.
    virtual int getDataLength() const;

    /// The data; empty in the base.
    virtual QByteArray data() const;

    /// Stores the data, without its length; the base does nothing.
    virtual void setData(const QByteArray &data);

    /// Stores the number of bytes that a write sends; the base does nothing.
    virtual void setPackageDataLength(int packageDataLength);

    /// The number of bytes that a write sends; 0 in the base.
    virtual int getPackageDataLength() const;

    /// @}
    /// @name Byte frame
    /// @{

    /// The request frame; empty when memory has run out.
    virtual QByteArray MackPackageRequest();

    /// Reads a request frame that begins at @p startIndex. Its marker is skipped, not tested.
    ///
    /// A field that does not fit reads as 0 and takes no bytes, so that a later, shorter field may
    /// still read what is there.
    ///
    /// @param index becomes the number of bytes consumed.
    /// @return true, however short the data is.
    virtual bool UnPackageRequest(QByteArray data, int startIndex, int *index);

    /// The reply frame: full, with the request frame of MackPackageRequest() inside, or short.
    ///
    /// Where an override makes an empty request frame, the full reply is acknowledge code, marker,
    /// communication result, 0, package result, 0.
    virtual QByteArray MackPackageReply(bool full);

    /// Reads a reply frame that begins at @p startIndex.
    ///
    /// The marker that tells full from short is the first byte of @p data, whatever @p startIndex
    /// is; an empty array counts as a short reply.
    ///
    /// @param index becomes the number of bytes consumed; 6 for a short reply, however short.
    /// @param full becomes true for a full reply.
    /// @return false only when the request inside a full reply is refused.
    virtual bool UnPackageReply(QByteArray data, int startIndex, int *index, bool *full);

    /// Hook: appends the subclass's payload to @p package. The base appends nothing. Reports no
    /// result, so it may throw std::bad_alloc to the encoder that called it.
    virtual void AppendDataToPackage(bool isRequest, QByteArray *package);

    /// Hook: reads the subclass's payload at @p startIndex. The base reads nothing.
    ///
    /// @param parsedLength becomes the number of bytes consumed.
    virtual bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                                      int *parsedLength);

    /// @}
    /// @name Text record
    /// @{

    /// The reply record: the request record, then the acknowledge code.
    virtual QString makePackageReply();

    /// The request record.
    virtual QString makePackageRequest();

    /// Placeholder of a raw-buffer form: changes nothing and returns true.
    virtual bool unPackageReply(void *buffer, int length);

    /// Reads a reply record: its common columns with unPackage(), then the acknowledge code.
    ///
    /// @return false when unPackage() refuses the record, and when it has fewer than 16 columns.
    ///     Nothing is changed then, except by an override of unPackage() that accepts fewer than
    ///     15 columns, such as the one of SpecialPackageRequest. A record of exactly 15 columns is
    ///     refused before unPackage() sees it.
    virtual bool unPackageReply(QString text);

    /// Reads a request record.
    ///
    /// A serial number above 2147483647 reads as 0 and "-1" as all ones, since the column is
    /// written unsigned with 64 bits and read signed with 32.
    ///
    /// @return false, with nothing changed, when it has fewer than 15 columns.
    virtual bool unPackageRequest(QString text);

protected:
    /// Reads the 15 common columns; further columns are ignored.
    virtual bool unPackage(QString text);

public:
    /// Placeholder of a raw-buffer form: changes nothing and returns true.
    bool unPackage(void *buffer, int length);

    /// @}
    /// @name Linux frame
    /// @{

    /// Verifies the checksum of a reply of the Linux client's frame and takes over its header.
    ///
    /// The status byte s, signed, sets the communication result s + 1, the acknowledge code s and
    /// the package result s. Device type, read/write code and reserved 2 are signed bytes. Bytes
    /// behind the end of a short frame read as 0.
    ///
    /// @return false, with nothing changed, when the checksum is wrong.
    virtual bool unBasePackageReply_Linux(QByteArray bytes);

    /// @}

protected:
    /// The 15 common columns; empty when memory has run out.
    virtual QString makePackage();

Q_SIGNALS:
    /// For the caller's transport, to announce that it begins with @p package. The library never
    /// emits it; @p token is the transport's own.
    void BeginRequestEvent(void *token, PackageBase *package);

    /// For the caller's transport, to announce that it has completed @p package. The library never
    /// emits it; @p token is the transport's own.
    void CompleteRequestEvent(void *token, PackageBase *package);

private:
    static QString GetCommResultsToStr(OrvexEnum::CommResults result);
    static OrvexEnum::CommResults GetCommResults(QString name);
    static QString GetPackageResultsToStr(OrvexEnum::PackageResults result);
    static OrvexEnum::PackageResults GetPackageResultsStr(QString name);

protected:
    /// Owns the protocol fields, whose type only the library knows. They lie inside of their owner,
    /// which saves an allocation for each package.
    class KORVINPACKAGE_EXPORT FieldsOwner
    {
    public:
        FieldsOwner();                         ///< Makes fields with their defaults.
        FieldsOwner(const FieldsOwner &other); ///< Copies the fields.
        ~FieldsOwner();

        FieldsOwner &operator=(const FieldsOwner &) = delete;

        /// @{
        /// Destroys the fields; the owner is null then.
        void reset();
        FieldsOwner &operator=(std::nullptr_t);
        /// @}

        /// @{
        /// As of a pointer.
        PackageBasePrivate *get() const { return m_fields; }
        PackageBasePrivate *operator->() const { return m_fields; }
        PackageBasePrivate &operator*() const { return *m_fields; }
        explicit operator bool() const { return m_fields != nullptr; }
        /// @}

    private:
        PackageBasePrivate *m_fields;
        alignas(quint64) char m_memory[3 * sizeof(QString) + 2 * sizeof(void *) + 80];
    };

    /// All protocol fields. Every constructor makes them; a subclass that drops them may call
    /// getSerialNum() and destroy the package, and nothing else.
    FieldsOwner m_pPackageBasePri;

private:
    QString m_serverConnectionKey;
};

#endif
