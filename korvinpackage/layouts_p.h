#ifndef LAYOUTS_P_H
#define LAYOUTS_P_H

#include "packagebase_p.h"

#include <iterator>
#include <optional>
#include <string_view>

/// @file
/// Every byte layout and every column of the protocol, in wire order, and the parts of each class.
/// Nothing else in the libraries repeats them.
///
/// A part has a function for each of its layouts. A walker visits the fields of a layout and
/// writes, reads or explains each; it keeps track of positions itself. The verb says what a field
/// is; the name is only a label. Integers in frames are little-endian, numbers in records are
/// decimal.
///
/// | verb             | field                                                                   |
/// |------------------|-------------------------------------------------------------------------|
/// | constant         | byte of a fixed value                                                   |
/// | gap              | byte that the format leaves undefined                                   |
/// | u8, u16, i32, s8 | number; s8 is a signed byte                                             |
/// | serial           | serial number; a frame carries its low 16 bits                          |
/// | shortSerial      | low 8 bits of the serial number                                         |
/// | timeout          | time-out                                                                |
/// | unsignedTimeout  | time-out in a column that is read unsigned                              |
/// | reserved         | reserved number that a proxy may change; a byte in a frame              |
/// | signedReserved   | the same in a signed byte                                               |
/// | ack              | acknowledge code; a frame carries its low 8 bits                        |
/// | length           | number of bytes of data                                                 |
/// | clampedLength    | the same; a negative length reads as 0                                  |
/// | textLength       | number of bytes of the text after it, 32 bits                           |
/// | offset           | position in bytes                                                       |
/// | access           | read/write code: 0 or 1 in a frame, a word in a record                  |
/// | rawAccess        | read/write code as it is, in a signed byte                              |
/// | kind             | kind of payload in a byte                                               |
/// | readKind         | kind of payload as a word; an unknown word reads as memory data         |
/// | writeKind        | kind of payload as a word; an unknown word reads as data                |
/// | result           | communication or package result                                         |
/// | status           | signed byte for acknowledge code and both results                       |
/// | flag             | true or false                                                           |
/// | sizedText        | 16-bit size, then the text                                              |
/// | uncountedText    | the same; a reader does not count the text as consumed, and ignores an  |
/// |                  | empty one                                                               |
/// | keptText         | text whose size is in an earlier field; a reader ignores it if the size |
/// |                  | is 0 or less                                                            |
/// | text             | text without its size                                                   |
/// | escaped          | text without its size, in which "/" and "," are escaped                 |
/// | block            | bytes whose length is in an earlier field                               |
/// | uncountedBlock   | the same; a reader does not count them as consumed                      |
/// | announcedBlock   | the same; a request gives their length, but need not carry them         |
/// | answer           | text that differs between a request and its reply                       |
/// | dataString       | bytes as numbers joined by "/"                                          |
///
/// A part refers to fields of its package. If a layout is not the same in both directions, there
/// are two functions. Peers rely on such differences.

namespace Korvin {

enum FrameMarker : quint8 { RequestMarker = 0, ShortReplyMarker = 0, FullReplyMarker = 1 };

/// The part that all packages share.
struct CommonPart
{
    static constexpr int RequestColumns = 15;
    static constexpr int ReplyColumns = RequestColumns + 1; // the acknowledge code
    static constexpr int ShortReplySize = 6;
    static constexpr int ResultsSize = 6; // of a full reply

    PackageBasePrivate &package;

    /// Header of every request frame: 23 bytes and the two texts.
    template <typename Walker>
    void header(Walker &w)
    {
        w.constant("marker", RequestMarker);
        w.sizedText("deviceKey", package.deviceKey);
        w.sizedText("tag", package.tag);
        w.timeout("timeout", package.timeout);
        w.serial("serialNum", package.serialNum);
        w.u8("scrAddr", package.scrAddr);
        w.u8("desAddr", package.desAddr);
        w.u8("deviceType", package.deviceType);
        w.u8("portAddr", package.portAddr);
        w.u16("scanBoardAddr", package.scanBoardAddr);
        w.access("readWriteCode", package.readWriteCode);
        w.reserved("reserved2", package.reserved2);
        w.u16("lowAddr", package.lowAddr);
        w.u16("highAddr", package.highAddr);
    }

    /// The short reply.
    template <typename Walker>
    void shortReply(Walker &w)
    {
        w.constant("marker", ShortReplyMarker);
        w.serial("serialNum", package.serialNum);
        results(w);
    }

    /// The results as every decoder reads them.
    template <typename Walker>
    void results(Walker &w)
    {
        w.ack("ackCode", package.ackCode);
        w.result("commResult", package.commResult);
        w.result("packResult", package.packResult);
    }

    /// The results as an encoder writes them after the request frame of a full reply. An undefined
    /// byte follows each, so a decoder, which walks results(), does not get back what was written.
    template <typename Walker>
    void fullReplyResults(Walker &w)
    {
        w.ack("ackCode", package.ackCode);
        w.gap();
        w.result("commResult", package.commResult);
        w.gap();
        w.result("packResult", package.packResult);
        w.gap();
    }

    /// Columns 0 to 14 of every record except the special request's.
    template <typename Walker>
    void columns(Walker &w)
    {
        w.serial("serialNum", package.serialNum);
        w.escaped("deviceKey", package.deviceKey);
        w.i32("deviceType", package.deviceType);
        w.u8("scrAddr", package.scrAddr);
        w.u8("desAddr", package.desAddr);
        w.u8("portAddr", package.portAddr);
        w.u16("scanBoardAddr", package.scanBoardAddr);
        w.u16("highAddr", package.highAddr);
        w.u16("lowAddr", package.lowAddr);
        w.reserved("reserved2", package.reserved2);
        w.access("readWriteCode", package.readWriteCode);
        w.timeout("timeout", package.timeout);
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
        w.ack("ackCode", ackCode);
    }
};

/// The payload and the columns that a register read adds to the common part.
struct RegisterReadPart
{
    static constexpr int PayloadSize = 5;
    static constexpr int Columns = 2;

    qint32 &replyDataLength;
    OrvexEnum::ClientPackageType &clientPackageType;

    template <typename Walker>
    void payload(Walker &w)
    {
        w.length("replyDataLength", replyDataLength);
        w.kind("clientPackageType", clientPackageType);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.length("replyDataLength", replyDataLength);
        w.readKind("clientPackageType", clientPackageType);
    }
};

/// The payload and the columns that a register write adds to the common part.
struct RegisterWritePart
{
    static constexpr int PayloadSize = 2;
    static constexpr int Columns = 2;

    bool &broadcast;
    OrvexEnum::ClientPackageType &clientPackageType;

    template <typename Walker>
    void payload(Walker &w)
    {
        w.flag("broadcast", broadcast);
        w.kind("clientPackageType", clientPackageType);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.flag("broadcast", broadcast);
        w.writeKind("clientPackageType", clientPackageType);
    }
};

constexpr int BlockLengthSize = 4;

/// The payload that a data read adds to that of a register read, and the two columns of its reply.
/// Length and data are different fields of the package and need not agree.
///
/// The data is a QByteArray in a frame, a DataStringSource in a record to write, and a text in a
/// record to read.
template <typename Bytes>
struct ReadBlockPart
{
    qint32 &replyDataLength;
    Bytes &data;

    template <typename Walker>
    void lengthField(Walker &w)
    {
        w.length("replyDataLength", replyDataLength);
    }

    template <typename Walker>
    void dataField(Walker &w)
    {
        w.announcedBlock("data", replyDataLength, data);
    }

    template <typename Walker>
    void payload(Walker &w)
    {
        lengthField(w);
        dataField(w);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.length("replyDataLength", replyDataLength);
        w.dataString("data", replyDataLength, data);
    }
};

template <typename Bytes>
ReadBlockPart(qint32 &, Bytes &) -> ReadBlockPart<Bytes>;

/// The payload and the two columns that a data write adds to those of a register write. Length and
/// data are like those of a read.
template <typename Bytes>
struct WriteBlockPart
{
    qint32 &packageDataLength;
    Bytes &data;

    template <typename Walker>
    void lengthField(Walker &w)
    {
        w.clampedLength("packageDataLength", packageDataLength);
    }

    /// A decoder reads the next field, the results of a full reply, where the data begins.
    template <typename Walker>
    void dataField(Walker &w)
    {
        w.uncountedBlock("data", packageDataLength, data);
    }

    template <typename Walker>
    void payload(Walker &w)
    {
        lengthField(w);
        dataField(w);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.length("packageDataLength", packageDataLength);
        w.dataString("data", packageDataLength, data);
    }
};

template <typename Bytes>
WriteBlockPart(qint32 &, Bytes &) -> WriteBlockPart<Bytes>;

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
        w.status("status", status);
        w.shortSerial("serialNum", package.serialNum);
        w.u8("scrAddr", package.scrAddr);
        w.u8("desAddr", package.desAddr);
        w.s8("deviceType", package.deviceType);
        w.u8("portAddr", package.portAddr);
        w.u16("scanBoardAddr", package.scanBoardAddr);
        w.rawAccess("readWriteCode", package.readWriteCode);
        w.signedReserved("reserved2", package.reserved2);
        w.u16("lowAddr", package.lowAddr);
        w.u16("highAddr", package.highAddr);
        w.length("dataLength", dataLength);
    }
};

/// The payload and the column that a file read adds to those of a register read.
struct FileReadPart
{
    QString &fileNameWithPath;

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

/// The payload and the two columns that a file write adds to those of a register write.
struct FileWritePart
{
    QString &fileNameWithPath;
    qint32 &offset;

    /// The payload as a decoder reads it.
    template <typename Walker>
    void payload(Walker &w)
    {
        qint32 size = 0;
        w.textLength("fileNameSize", size);
        w.keptText("fileNameWithPath", size, fileNameWithPath);
        w.offset("offset", offset);
    }

    /// The payload as an encoder writes it, unless the name is empty. It has neither the size of
    /// the name nor the offset.
    template <typename Walker>
    void writtenPayload(Walker &w)
    {
        w.gap();
        w.gap();
        w.gap();
        w.gap();
        w.text("fileNameWithPath", fileNameWithPath);
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.text("fileNameWithPath", fileNameWithPath);
        w.offset("offset", offset);
    }
};

/// The column that a memory read adds. Its frame is that of a register read.
struct MemoryReadPart
{
    long &offset;

    template <typename Walker>
    void payload(Walker &)
    {
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.offset("offset", offset);
    }
};

/// The columns that a memory write adds. Its frame is that of a register write.
struct MemoryWritePart
{
    long &offset;
    qint32 &packageDataLength;

    template <typename Walker>
    void payload(Walker &)
    {
    }

    template <typename Walker>
    void columns(Walker &w)
    {
        w.offset("offset", offset);
        w.length("packageDataLength", packageDataLength);
    }
};

/// The whole record of a special request.
struct SpecialPart
{
    static constexpr int Columns = 3;

    qint32 &id;
    qint32 &timeout;
    QString &strData;

    template <typename Walker>
    void columns(Walker &w)
    {
        w.i32("id", id);
        w.unsignedTimeout("timeout", timeout);
        w.answer("strData", strData);
    }
};

/// The parts that a class shares with others.
enum class Base {
    Common,  // the common part only
    Read,    // the common part and RegisterReadPart
    Write,   // the common part and RegisterWritePart
    Special, // the common part in frames, SpecialPart in records
    Items    // no part: the records of other classes
};

/// The part that a class adds to them.
enum class Own {
    None,
    ReadBlock,
    WriteBlock,
    FileRead,
    FileWrite,
    MemoryRead,
    MemoryWrite,
};

enum ClassTrait : unsigned {
    Plain = 0,
    ReadEarly = 1,    // a reply's own columns are read one column before they are written
    InShortReply = 2, // a short reply carries the class's own part
    Linux = 4,        // the class has a Linux frame
    InConstructor =
        8 // a constructor takes the fields of the class's own part; otherwise setters do
};

/// The parts and traits of a class.
struct ClassRow
{
    std::string_view name;
    Base base;
    Own own;
    int ownRequestColumns; // number of columns that the class adds
    int ownReplyColumns;
    unsigned traits;
    OrvexEnum::ClientPackageType usualKind;
    QStringView typeWord; // in a combination; empty if no combination carries the class

    constexpr bool has(ClassTrait trait) const { return (traits & trait) != 0; }
};

constexpr auto Data = OrvexEnum::DataPackage;
constexpr auto File = OrvexEnum::FilePackage;
constexpr auto Memory = OrvexEnum::MemDataPackage;

// clang-format off
/// Every class, at the index of its KorvinInspect::ClassId. A class comes after its base classes.
constexpr ClassRow Classes[] = {
    // class                        base           own part          own columns                            usual   type word
    //                                                                 req. reply  traits                   kind    in a combination
    {"PackageBase",                Base::Common,  Own::None,        0, 0, Plain,                                Data,   u""},
    {"PackageRequestRead",         Base::Read,    Own::None,        0, 0, Plain,                                Data,   u""},
    {"PackageRequestReadData",     Base::Read,    Own::ReadBlock,   0, 2, InShortReply | Linux | InConstructor, Data,   u"ReadData"},
    {"PackageRequestReadFile",     Base::Read,    Own::FileRead,    1, 1, InShortReply | InConstructor,         File,   u"ReadFile"},
    {"PackageRequestReadMemData",  Base::Read,    Own::MemoryRead,  1, 1, InConstructor,                        Memory, u""},
    {"PackageRequestWrite",        Base::Write,   Own::None,        0, 0, Plain,                                Data,   u""},
    {"PackageRequestWriteData",    Base::Write,   Own::WriteBlock,  2, 2, Linux | InConstructor,                Data,   u"writeData"},
    {"PackageRequestWriteIP",      Base::Write,   Own::WriteBlock,  2, 2, Linux | InConstructor,                Data,   u""},
    {"PackageRequestWriteFile",    Base::Write,   Own::FileWrite,   2, 2, ReadEarly | InConstructor,            File,   u"writeFile"},
    {"PackageRequestWriteMemData", Base::Write,   Own::MemoryWrite, 2, 2, ReadEarly | InConstructor,            Memory, u""},
    {"SpecialPackageRequest",      Base::Special, Own::None,        0, 0, Plain,                                Data,   u""},
    {"PackageRequestCombination",  Base::Items,   Own::None,        0, 0, Plain,                                Data,   u""},
};
// clang-format on

/// Returns the row of a class. In a constant expression, a name without a row does not compile.
constexpr const ClassRow &rowOf(std::string_view name)
{
    const ClassRow *row = Classes;
    while (row->name != name)
        ++row;
    return *row;
}

/// Returns the only read/write code of a class that is named after it; none if the class has both.
constexpr std::optional<OrvexEnum::ReadWriteCode> onlyAccess(const ClassRow &row)
{
    switch (row.base) {
    case Base::Read:
        return OrvexEnum::Read;
    case Base::Write:
        return OrvexEnum::Write;
    default:
        return {};
    }
}

/// Returns whether a frame carries the class's own part. @p withRequest is false for a short reply.
constexpr bool carriesOwn(const ClassRow &row, bool withRequest)
{
    return withRequest || row.has(InShortReply);
}

/// Returns the number of columns of the shared parts, without the acknowledge code of a reply.
constexpr int baseColumns(Base base)
{
    switch (base) {
    case Base::Special:
        return SpecialPart::Columns;
    case Base::Read:
        return CommonPart::RequestColumns + RegisterReadPart::Columns;
    case Base::Write:
        return CommonPart::RequestColumns + RegisterWritePart::Columns;
    default:
        return CommonPart::RequestColumns;
    }
}

/// Returns the number of columns that an encoder writes.
constexpr int writtenColumns(const ClassRow &row, bool isReply)
{
    return baseColumns(row.base) + (isReply ? 1 + row.ownReplyColumns : row.ownRequestColumns);
}

/// Returns the number of columns that a decoder needs. It is the number that an encoder writes,
/// except that the reply of a special request is decoded as that of PackageBase.
constexpr int neededColumns(const ClassRow &row, bool isReply)
{
    return isReply && row.base == Base::Special ? CommonPart::ReplyColumns
                                                : writtenColumns(row, isReply);
}

/// Returns the number of common columns that a decoder of replies skips before the other columns.
constexpr int countedCommonColumns(const ClassRow &row)
{
    return row.has(ReadEarly) ? CommonPart::RequestColumns : CommonPart::ReplyColumns;
}

/// Returns whether the decoder of a record counts no numbers in an empty data string. Other
/// decoders count one.
constexpr bool takesNoNumbers(const ClassRow &row, bool isReply)
{
    return isReply && row.own == Own::WriteBlock;
}

/// Returns whether the decoder of a Linux reply resizes the data to its announced length, with
/// zeros for missing bytes. Other decoders append the bytes that are there.
constexpr bool padsLinuxData(const ClassRow &row)
{
    return row.own == Own::WriteBlock;
}

/// Fields for the parts of all classes, for walkers that have no package.
struct LayoutFields
{
    LayoutFields() = default;
    LayoutFields(const LayoutFields &) = delete; // linuxHeader refers to common
    LayoutFields &operator=(const LayoutFields &) = delete;

    PackageBasePrivate common;
    LinuxHeader linuxHeader{common};
    qint32 replyDataLength = 0;
    qint32 packageDataLength = 0;
    bool broadcast = false;
    OrvexEnum::ClientPackageType writeKind = OrvexEnum::DataPackage;
    QString fileName;
    qint32 fileOffset = 0;
    long memoryOffset = 0;
    QStringView data;
    qint32 id = 0;
    QString strData;
};

/// Calls @p visit with the part that a class shares with others in addition to the common part.
template <typename Visitor>
void visitBase(const ClassRow &row, LayoutFields &fields, Visitor &&visit)
{
    switch (row.base) {
    case Base::Read:
        return visit(RegisterReadPart{fields.replyDataLength, fields.common.clientPackageType});
    case Base::Write:
        return visit(RegisterWritePart{fields.broadcast, fields.writeKind});
    default:
        return;
    }
}

/// Calls @p visit with the class's own part.
template <typename Visitor>
void visitOwn(const ClassRow &row, LayoutFields &fields, Visitor &&visit)
{
    switch (row.own) {
    case Own::ReadBlock:
        return visit(ReadBlockPart{fields.replyDataLength, fields.data});
    case Own::WriteBlock:
        return visit(WriteBlockPart{fields.packageDataLength, fields.data});
    case Own::FileRead:
        return visit(FileReadPart{fields.fileName});
    case Own::FileWrite:
        return visit(FileWritePart{fields.fileName, fields.fileOffset});
    case Own::MemoryRead:
        return visit(MemoryReadPart{fields.memoryOffset});
    case Own::MemoryWrite:
        return visit(MemoryWritePart{fields.memoryOffset, fields.packageDataLength});
    default: // Own::None
        return;
    }
}

} // namespace Korvin

#endif
