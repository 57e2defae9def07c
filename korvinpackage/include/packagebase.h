#ifndef KORVINPACKAGE_PACKAGEBASE_H
#define KORVINPACKAGE_PACKAGEBASE_H

#include "korvinpackageglobal.h"
#include "orvexenum.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <cstddef>

namespace KORVIN_LINUX_CLIENT {
/// The caller's time-out timer. A package only keeps a pointer to it.
class PackageTimerOut;
} // namespace KORVIN_LINUX_CLIENT

struct PackageBasePrivate;

/// A package addressed to one register of a device: the base class of every request and reply.
///
/// A package holds the address of the operation (screen, destination, device type, port, scan
/// board, register), its identity (serial number, device key, tag), the bookkeeping of a split
/// transfer, and the outcome. It encodes itself as a byte frame for the device and as a text record
/// for the proxy link, and decodes both. Subclasses append their own fields to each. Use a subclass
/// to make a request; use PackageBase itself to read the fields that all classes share.
///
/// @dotfile frame.dot "Byte frames, and the bytes of their parts"
///
/// **Request frame**: integers are little-endian, D and T are the sizes of device key and tag in
/// UTF-8.
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
/// **Short reply**: 6 bytes. With serial number 5 and success it is `00 05 00 00 01 00`.
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
/// **Full reply**: the request frame with marker 1, then the results.
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
/// The decoder reads the results from the first three bytes instead, and so does not get back what
/// was written. Both ends of the protocol do this, and it will not change.
///
/// <!-- table: results of a full reply as read -->
///
/// | offset | width | field      | value                |
/// |--------|-------|------------|----------------------|
/// | 0      | 1     | ackCode    | unsigned, low 8 bits |
/// | 1      | 1     | commResult | code, low 8 bits     |
/// | 2      | 1     | packResult | code, low 8 bits     |
///
/// **Records**: columns joined by ",", 15 in a request and 16 in a reply. Numbers are decimal.
///
/// <!-- table: common columns -->
///
/// | column | field | written | read |
/// |---|---|---|---|
/// | 0 | serialNum | unsigned 64-bit | signed 32-bit |
/// | 1 | deviceKey | `/` as `#*#`, `,` as `*#*` | `*#*` as `,`, then `#*#` as `/` |
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
/// A reply has one more column:
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
/// columns or has a wrong checksum. A number that does not parse reads as 0, and so does a field
/// past the end of a frame. When memory runs out, an encoder returns an empty frame or record, and
/// a decoder returns false; except that a decoder of frames ignores the result of its payload hook.
/// An operation that reports by its result throws no exception.
///
/// A package belongs to one thread at a time. Pointers to out-parameters must not be null.
class KORVINPACKAGE_EXPORT PackageBase : public QObject
{
    Q_OBJECT

public:
    /// @name Construction
    /// @{

    /// Makes an empty package: serial number 0 (it draws none), time-out 3, maximum part size 2048,
    /// `CommOk`, `PackOk`, tag protocol "3rd-proto", self-increasing register address.
    PackageBase();

    /// Makes a package with the next serial number, an acknowledge code, and the kind
    /// `DataPackage`.
    PackageBase(QString deviceKey, uchar ackCode, uchar scrAddr, uchar desAddr, uchar deviceType,
                uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                OrvexEnum::ReadWriteCode readWriteCode, uchar reserved2, int timeout, QString tag,
                OrvexEnum::CommResults commResult, bool isRegisterAddrSelfIncreasing);

    /// Makes a package with the next serial number, acknowledge code 0, and a kind.
    PackageBase(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType, uchar portAddr,
                ushort scanBoardAddr, ushort highAddr, ushort lowAddr, uchar reserved2, int timeout,
                QString tag, OrvexEnum::CommResults commResult,
                OrvexEnum::ClientPackageType clientPackageType,
                OrvexEnum::ReadWriteCode readWriteCode, bool isRegisterAddrSelfIncreasing);

    /// Copies all fields, including serial number, user token and timer. The server connection key
    /// and the state of QObject (parent, name, connections) are not copied.
    PackageBase(const PackageBase &other);

    /// Copies the same fields as the copy constructor. The target keeps its server connection key.
    PackageBase &operator=(const PackageBase &other);

    /// Deletes neither the user token nor the timer.
    ~PackageBase() override;

    /// Disconnects both signals of @p package, then deletes it. Null is allowed.
    static void clear(PackageBase *package);

    /// @}

    /// Draws the next serial number of the process: 2, 3 and so on to 255, then from 1 again. Not
    /// thread-safe: threads that create packages must not do so at the same time.
    static quint64 makeSerialNum();

    /// The last serial number drawn, initially 1. Set it to start each process at a different
    /// number, or to draw the same numbers again.
    static quint64 SERIALNUM;

    /// @{
    /// Matches a reply to its request. Frames carry its low 16 bits, Linux frames its low 8.
    /// Records are written with all 64 bits, and read with 32.
    ///
    /// The getter returns 0, and logs a critical message, if a subclass has dropped the fields.
    quint64 getSerialNum() const;
    void setSerialNum(quint64 serialNum);
    /// @}

    /// @{
    /// Key of the device on its link. A frame carries up to 65535 bytes of it in UTF-8, and
    /// decoders of frames end it at a zero byte.
    QString getDeviceKey() const;
    void setDeviceKey(QString deviceKey);
    /// @}

    /// @{
    /// The caller's tag, which the peer echoes. A "," in it shifts all later columns of a record. A
    /// frame carries up to 65535 bytes of it in UTF-8, and decoders of frames end it at a zero
    /// byte.
    QString getTag() const;
    void setTag(QString tag);
    /// @}

    /// @{
    /// Protocol tag, for the caller. Not encoded.
    QString getTagProto() const;
    void setTagProto(QString tagProto);
    /// @}

    /// @{
    /// Key of the server connection that carries the package. Neither encoded nor copied.
    QString getSeverConnectionKey();
    void setServerConnectionKey(const QString &serverConnectionKey);
    /// @}

    /// Compares the serial numbers as unsigned numbers.
    bool operator<(const PackageBase &other);

    /// @{
    /// Screen, destination, device type, port and scan board; then the register, as a high and a
    /// low word, and the direction.
    ///
    /// Screen, destination and port are bytes, 0 to 255, whatever type a setter takes. The scan
    /// board address and both words have 16 bits; setters drop higher bits. Device type and
    /// reserved 2 have 32 bits, signed: records carry all 32, frames the low 8. Whether the
    /// register address advances by itself is not encoded.
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
    /// Time-out in the caller's unit, signed, 32 bits. The library only stores and encodes it.
    /// Linux frames do not carry it.
    int getTimeout() const;
    void setTimeout(int timeout);
    /// @}

    /// @{
    /// Largest payload of one part in bytes, number of parts, and index of the part being handled.
    ///
    /// Not encoded. The decoders of request records that set the part count say so.
    int getMaxPartSize() const;
    void setMaxPartSize(int maxPartSize);
    int getPartCount() const;
    void setPartCount(int partCount);
    int getCurPartIndex() const;
    void setCurPartIndex(int curPartIndex);
    /// @}

    /// Returns whether @p sentParts is at least the part count; always true with part count 0.
    bool partSendComplete(int sentParts);

    /// @{
    /// Kind of payload, which read requests carry. PackageRequestWrite has a second kind of its
    /// own.
    OrvexEnum::ClientPackageType getClientPackageType() const;
    void setClientPackageType(OrvexEnum::ClientPackageType clientPackageType);
    /// @}

    /// @{
    /// Whether the caller subscribes to hardware notifications. Not encoded.
    bool getSubcribeHardware();
    void setSubcribeHardware(bool subcribeHardware);
    /// @}

    /// @{
    /// The caller's own pointer. It is copied with the package, never dereferenced or freed.
    void *getUserToken() const;
    void setUserToken(void *userToken);
    /// @}

    /// @{
    /// The caller's timer. It is copied with the package, never used or freed.
    KORVIN_LINUX_CLIENT::PackageTimerOut *getTimeOutTimer() const;
    void setTimeOutTimer(KORVIN_LINUX_CLIENT::PackageTimerOut *timeOutTimer);
    /// @}

    /// @{
    /// Acknowledge code of the device, where 0 means accepted; result of the transport; result of
    /// the device or the receiving side.
    ///
    /// Frames carry the low byte of each. Records carry the acknowledge code as a number and the
    /// results by name. A Linux frame has one signed status byte for all three.
    uint getAckCode() const;
    void setAckCode(uint ackCode);
    OrvexEnum::CommResults getCommResult() const;
    void setCommResult(OrvexEnum::CommResults commResult);
    OrvexEnum::PackageResults getPackResult() const;
    void setPackResult(OrvexEnum::PackageResults packResult);

    /// Returns true for `CommOk`, `PackOk` and acknowledge code 0, otherwise false.
    bool isPackageSuccess();

    /// @}
    /// @name Byte tools
    /// Any number is allowed as a position or length: nothing outside an array is read or written.
    /// @{

    /// Copies @p length bytes. A @p destination that is too short grows; bytes between its old end
    /// and @p destIndex become 0.
    ///
    /// @return false, with a debug message, if the source ends before @p sourceIndex + @p length;
    ///     false for a negative position; true, with nothing copied, for a length of 0 or less.
    static bool ArrayCopy(QByteArray sourceArray, int sourceIndex, QByteArray *destination,
                          int destIndex, int length);

    /// Writes the low @p count bytes of @p value at @p start, least significant first.
    ///
    /// A field may end one byte past the end of the array, which then grows by that byte.
    ///
    /// @param index becomes @p start + @p count, also when the call fails.
    /// @return false, with nothing written, for a field that ends later or starts at a negative
    ///     position, or for a count of 0 or less.
    static bool SetBytesFromInt(QByteArray *array, int start, int count, int value, int *index);

    /// Reads @p count bytes at @p start as an unsigned number, least significant first. Of more
    /// than four bytes, it uses the first four.
    ///
    /// @param index becomes @p start + @p count; unchanged if the field does not lie in the array.
    /// @return the value; 0 if the field does not lie in the array.
    static int GetVauleFromBytes(QByteArray array, int start, int count, int *index);

    /// Sets @p revise to 0x5555 plus the sum of the @p length bytes from @p start on. A checksum is
    /// its low 16 bits.
    static void calcRevise(QByteArray data, int start, int length, int *revise);

    /// Verifies a frame of @p length bytes at @p start that ends with its checksum.
    ///
    /// The last two bytes hold the checksum, low byte first: 0x5555 plus all bytes except the first
    /// two and the last two. A frame of two to four bytes has nothing to sum, and is right if it
    /// ends in 55 55.
    ///
    /// @return false for a wrong checksum, and for an array that ends before the frame does.
    static bool ReviseOk(QByteArray data, int start, int length);

    /// @}
    /// @name Payload
    /// Hooks for subclasses that carry data; the base carries none.
    /// @{

    /// Returns the number of data bytes that the operation transfers; 0 in the base.
    virtual int getDataLength() const;

    /// Returns the data; empty in the base.
    virtual QByteArray data() const;

    /// Stores the data, but not its length. The base does nothing.
    virtual void setData(const QByteArray &data);

    /// Stores the number of bytes that a write sends. The base does nothing.
    virtual void setPackageDataLength(int packageDataLength);

    /// Returns the number of bytes that a write sends; 0 in the base.
    virtual int getPackageDataLength() const;

    /// @}
    /// @name Byte frame
    /// @{

    /// Returns the request frame; empty when memory runs out.
    virtual QByteArray MackPackageRequest();

    /// Reads a request frame that begins at @p startIndex. It skips the marker without a test.
    ///
    /// A field that does not fit into the rest of the data reads as 0 and consumes no bytes. A
    /// later, shorter field may then read those bytes.
    ///
    /// @param index becomes the number of bytes consumed.
    /// @return true, however short the data is.
    virtual bool UnPackageRequest(QByteArray data, int startIndex, int *index);

    /// Returns the reply frame: full, with the request frame of MackPackageRequest() inside, or
    /// short.
    ///
    /// If an override returns an empty request frame, the full reply is acknowledge code, marker,
    /// communication result, 0, package result, 0.
    virtual QByteArray MackPackageReply(bool full);

    /// Reads a reply frame that begins at @p startIndex.
    ///
    /// The marker that tells a full reply from a short one is the first byte of @p data, not the
    /// byte at @p startIndex. An empty array counts as a short reply.
    ///
    /// @param index becomes the number of bytes consumed; 6 for a short reply, even if it is cut
    ///     off.
    /// @param full becomes true for a full reply.
    /// @return false only if the request inside a full reply is refused.
    virtual bool UnPackageReply(QByteArray data, int startIndex, int *index, bool *full);

    /// Hook: appends the subclass's payload to @p package. The base appends nothing. It has no
    /// result, and so may throw std::bad_alloc to the encoder that calls it.
    virtual void AppendDataToPackage(bool isRequest, QByteArray *package);

    /// Hook: reads the subclass's payload at @p startIndex. The base reads nothing.
    ///
    /// @param parsedLength becomes the number of bytes consumed.
    virtual bool ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                                      int *parsedLength);

    /// @}
    /// @name Text record
    /// @{

    /// Returns the reply record: the request record, then the acknowledge code.
    virtual QString makePackageReply();

    /// Returns the request record.
    virtual QString makePackageRequest();

    /// Placeholder of a raw-buffer form: changes nothing and returns true.
    virtual bool unPackageReply(void *buffer, int length);

    /// Reads a reply record: the common columns with unPackage(), then the acknowledge code.
    ///
    /// @return false if unPackage() refuses the record, or if it has fewer than 16 columns. Nothing
    ///     is changed then, unless an override of unPackage() accepts fewer than 15 columns, as
    ///     that of SpecialPackageRequest does. A record of exactly 15 columns is refused before
    ///     unPackage() is called.
    virtual bool unPackageReply(QString text);

    /// Reads a request record.
    ///
    /// A serial number above 2147483647 reads as 0, and "-1" as 18446744073709551615, because the
    /// column is written as an unsigned 64-bit number and read as a signed 32-bit number.
    ///
    /// @return false, with nothing changed, for fewer than 15 columns.
    virtual bool unPackageRequest(QString text);

protected:
    /// Reads the 15 common columns and ignores any further ones.
    ///
    /// @return false, with nothing changed, for fewer than 15 columns.
    virtual bool unPackage(QString text);

public:
    /// Placeholder of a raw-buffer form: changes nothing and returns true.
    bool unPackage(void *buffer, int length);

    /// @}
    /// @name Linux frame
    /// @{

    /// Verifies the checksum of a Linux reply and reads its header. See PackageRequestReadData for
    /// the bytes.
    ///
    /// The status byte s, signed, sets the communication result to s + 1, and the acknowledge code
    /// and the package result to s. Device type, read/write code and reserved 2 are signed bytes.
    /// Bytes past the end of a short frame read as 0.
    ///
    /// @return false, with nothing changed, if the checksum is wrong.
    virtual bool unBasePackageReply_Linux(QByteArray bytes);

    /// @}

protected:
    /// Returns the 15 common columns; empty when memory runs out.
    virtual QString makePackage();

Q_SIGNALS:
    /// The caller's transport may emit this when it begins with @p package, with a token of its
    /// own. The library never does.
    void BeginRequestEvent(void *token, PackageBase *package);

    /// The caller's transport may emit this when it has completed @p package, with a token of its
    /// own. The library never does.
    void CompleteRequestEvent(void *token, PackageBase *package);

private:
    static QString GetCommResultsToStr(OrvexEnum::CommResults result);
    static OrvexEnum::CommResults GetCommResults(QString name);
    static QString GetPackageResultsToStr(OrvexEnum::PackageResults result);
    static OrvexEnum::PackageResults GetPackageResultsStr(QString name);

protected:
    /// Owns the protocol fields, whose type is private. They lie inside their owner, which saves an
    /// allocation for each package.
    class KORVINPACKAGE_EXPORT FieldsOwner
    {
    public:
        FieldsOwner();                         ///< Makes fields with their defaults.
        FieldsOwner(const FieldsOwner &other); ///< Copies the fields.
        ~FieldsOwner();

        FieldsOwner &operator=(const FieldsOwner &) = delete;

        /// @{
        /// Destroys the fields. The owner is null afterwards.
        void reset();
        void reset(std::nullptr_t) { reset(); }
        FieldsOwner &operator=(std::nullptr_t);
        /// @}

        /// @{
        /// Accesses the fields as a pointer does.
        PackageBasePrivate *get() const { return m_fields; }
        PackageBasePrivate *operator->() const { return m_fields; }
        PackageBasePrivate &operator*() const { return *m_fields; }
        explicit operator bool() const { return m_fields != nullptr; }
        friend bool operator==(const FieldsOwner &owner, std::nullptr_t) { return !owner; }
        friend bool operator==(std::nullptr_t, const FieldsOwner &owner) { return !owner; }
        friend bool operator!=(const FieldsOwner &owner, std::nullptr_t) { return bool(owner); }
        friend bool operator!=(std::nullptr_t, const FieldsOwner &owner) { return bool(owner); }
        /// @}

    private:
        PackageBasePrivate *m_fields;
        alignas(quint64) char m_memory[3 * sizeof(QString) + 2 * sizeof(void *) + 80];
    };

    /// All protocol fields, which every constructor makes. After a subclass has dropped them, only
    /// getSerialNum() and the destructor may be called.
    FieldsOwner m_pPackageBasePri;

private:
    QString m_serverConnectionKey;
};

#endif
