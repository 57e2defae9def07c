#ifndef LAYOUTS_P_H
#define LAYOUTS_P_H

#include "packagebase_p.h"

/// @file
/// Every byte layout and every column of the protocol, once, in wire order.
///
/// A walker passes over a layout and writes, reads or explains each field; it counts positions
/// itself. u8, u16 and i32 are little-endian integers in a frame and decimal numbers in a record,
/// s8 is a signed byte. A part refers to the fields of its package. Where the two directions of a
/// layout differ there are two walks; peers rely on the difference.

namespace Korvin {

enum FrameMarker : quint8 { RequestMarker = 0, ShortReplyMarker = 0, FullReplyMarker = 1 };

/// The part that every request shares.
struct CommonPart
{
    static constexpr int RequestColumns = 15;
    static constexpr int ReplyColumns = 16; // the acknowledge code comes behind
    static constexpr int ShortReplySize = 6;
    static constexpr int ResultsSize = 6; // of a full reply

    PackageBasePrivate &package;

    /// Header of every request frame, 23 bytes and the two texts.
    template <typename Walker>
    void header(Walker &w)
    {
        w.constant("marker", RequestMarker);
        w.sizedText("deviceKey", package.deviceKey);
        w.sizedText("tag", package.tag);
        w.i32("timeout", package.timeout);
        w.u16("serialNum", package.serialNum);
        w.u8("scrAddr", package.scrAddr);
        w.u8("desAddr", package.desAddr);
        w.u8("deviceType", package.deviceType);
        w.u8("portAddr", package.portAddr);
        w.u16("scanBoardAddr", package.scanBoardAddr);
        w.access("readWriteCode", package.readWriteCode);
        w.u8("reserved2", package.reserved2);
        w.u16("lowAddr", package.lowAddr);
        w.u16("highAddr", package.highAddr);
    }

    /// The short reply.
    template <typename Walker>
    void shortReply(Walker &w)
    {
        w.constant("marker", ShortReplyMarker);
        w.u16("serialNum", package.serialNum);
        results(w);
    }

    /// The results as every reader takes them.
    template <typename Walker>
    void results(Walker &w)
    {
        w.u8("ackCode", package.ackCode);
        w.u8("commResult", package.commResult);
        w.u8("packResult", package.packResult);
    }

    /// The results as a full reply carries them behind the request frame: each with an undefined
    /// byte behind it, so that results() above does not read back what was written.
    template <typename Walker>
    void fullReplyResults(Walker &w)
    {
        w.u8("ackCode", package.ackCode);
        w.gap();
        w.u8("commResult", package.commResult);
        w.gap();
        w.u8("packResult", package.packResult);
        w.gap();
    }

    /// Columns 0 to 14 of every record but the special request's.
    template <typename Walker>
    void columns(Walker &w)
    {
        w.u64WrittenI32Read("serialNum", package.serialNum);
        w.escaped("deviceKey", package.deviceKey);
        w.i32("deviceType", package.deviceType);
        w.u8("scrAddr", package.scrAddr);
        w.u8("desAddr", package.desAddr);
        w.u8("portAddr", package.portAddr);
        w.u16("scanBoardAddr", package.scanBoardAddr);
        w.u16("highAddr", package.highAddr);
        w.u16("lowAddr", package.lowAddr);
        w.i32WrittenU32Read("reserved2", package.reserved2);
        w.access("readWriteCode", package.readWriteCode);
        w.i32("timeout", package.timeout);
        w.text("tag", package.tag);
        w.result("commResult", package.commResult);
        w.result("packResult", package.packResult);
    }
};

/// Column 15 of a reply record.
struct AckColumn
{
    quint32 &ackCode;

    template <typename Walker>
    void columns(Walker &w)
    {
        w.u32WrittenI32Read("ackCode", ackCode);
    }
};

/// What a register read adds behind the header, and its two columns.
struct RegisterReadPart
{
    static constexpr int PayloadSize = 5;
    static constexpr int Columns = 2;

    qint32 &replyDataLength;
    OrvexEnum::ClientPackageType &clientPackageType;

    template <typename Walker>
    void payload(Walker &w)
    {
        w.i32("replyDataLength", replyDataLength);
        w.u8("clientPackageType", clientPackageType);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.i32("replyDataLength", replyDataLength);
        w.readKind("clientPackageType", clientPackageType);
    }
};

/// What a register write adds behind the header, and its two columns.
struct RegisterWritePart
{
    static constexpr int PayloadSize = 2;

    bool &broadcast;
    OrvexEnum::ClientPackageType &clientPackageType;

    template <typename Walker>
    void payload(Walker &w)
    {
        w.flag("broadcast", broadcast);
        w.u8("clientPackageType", clientPackageType);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.flag("broadcast", broadcast);
        w.writeKind("clientPackageType", clientPackageType);
    }
};

/// The block that a data request adds behind the register payload. The length and the data come
/// from different fields of the package and need not agree.
struct DataBlock
{
    static constexpr int LengthSize = 4;

    const char *lengthName; // "replyDataLength" in a read, "packageDataLength" in a write
    qint32 length = 0;

    template <typename Walker>
    void lengthField(Walker &w)
    {
        w.i32(lengthName, length);
    }

    template <typename Walker, typename Bytes>
    void dataField(Walker &w, Bytes &data)
    {
        w.block("data", length, data);
    }
};

/// The two columns of a data request, for DataStringSource in a writer and QStringView in a reader.
template <typename DataString>
struct DataColumns
{
    const char *lengthName; // as in DataBlock
    qint32 &length;
    DataString &data;

    template <typename Walker>
    void columns(Walker &w)
    {
        w.i32(lengthName, length);
        w.dataString("data", data);
    }
};

template <typename DataString>
DataColumns(const char *, qint32 &, DataString &) -> DataColumns<DataString>;

/// The frame of the Linux client: this header of 18 bytes, the data of a write, and the checksum.
struct LinuxHeader
{
    static constexpr int Size = 18;
    static constexpr int StartSize = 2; // outside the checksum
    static constexpr int ChecksumSize = 2;
    static constexpr int LengthPosition = 16;

    PackageBasePrivate &package;
    qint32 status = 0;
    quint16 dataLength = 0;

    template <typename Walker>
    void walk(Walker &w)
    {
        w.constant("start", 0x55);
        w.constant("start", 0xAA);
        w.s8("status", status);
        w.u8("serialNum", package.serialNum);
        w.u8("scrAddr", package.scrAddr);
        w.u8("desAddr", package.desAddr);
        w.s8("deviceType", package.deviceType);
        w.u8("portAddr", package.portAddr);
        w.u16("scanBoardAddr", package.scanBoardAddr);
        w.s8("readWriteCode", package.readWriteCode);
        w.s8("reserved2", package.reserved2);
        w.u16("lowAddr", package.lowAddr);
        w.u16("highAddr", package.highAddr);
        w.u16("dataLength", dataLength);
    }
};

/// What a file read adds behind the register payload, and its column.
struct FileReadPart
{
    QString &fileNameWithPath;

    /// Readers do not count the bytes of the name, and keep the name they have where its size is 0.
    template <typename Walker>
    void payload(Walker &w)
    {
        w.uncountedText("fileNameWithPath", fileNameWithPath);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.text("fileNameWithPath", fileNameWithPath);
    }
};

/// What a file write adds behind the register payload, and its two columns.
struct FileWritePart
{
    QString &fileNameWithPath;
    qint32 &offset;

    /// What a writer sends where the name is not empty: neither its size nor the offset.
    template <typename Walker>
    void writtenPayload(Walker &w)
    {
        w.gap();
        w.gap();
        w.gap();
        w.gap();
        w.text("fileNameWithPath", fileNameWithPath);
    }

    /// What a reader expects. It keeps the name it has where the size is 0.
    template <typename Walker>
    void readPayload(Walker &w)
    {
        qint32 size = 0;
        w.i32("fileNameSize", size);
        w.text("fileNameWithPath", size, fileNameWithPath);
        w.i32("offset", offset);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.text("fileNameWithPath", fileNameWithPath);
        w.i32("offset", offset);
    }
};

/// The column that a memory read adds; its frame is that of the register read.
struct MemoryReadPart
{
    long &offset;

    template <typename Walker>
    void columns(Walker &w)
    {
        w.i32("offset", offset);
    }
};

/// The columns that a memory write adds; its frame is that of the register write.
struct MemoryWritePart
{
    long &offset;
    qint32 &packageDataLength;

    template <typename Walker>
    void columns(Walker &w)
    {
        w.i32("offset", offset);
        w.i32("packageDataLength", packageDataLength);
    }
};

/// The whole record of a special request.
struct SpecialPart
{
    qint32 &id;
    qint32 &timeout;
    QString &strData;

    template <typename Walker>
    void columns(Walker &w)
    {
        w.i32("id", id);
        w.i32WrittenU32Read("timeout", timeout);
        w.text("strData", strData);
    }
};

} // namespace Korvin

#endif
