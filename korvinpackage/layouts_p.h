#ifndef LAYOUTS_P_H
#define LAYOUTS_P_H

#include "packagebase_p.h"

#include <iterator>
#include <string_view>

/// @file
/// Every byte layout and every column of the protocol, once, in wire order, and what each class
/// consists of.
///
/// A walker passes over a layout and writes, reads or explains each field; it counts positions
/// itself. The verb says what a field is, the name only labels it. In frames integers are
/// little-endian, in records numbers are decimal.
///
/// | verb | field |
/// |---|---|
/// | constant, gap | byte of a fixed value; byte that the format leaves undefined |
/// | u8, u16, i32, s8 | number; s8 is a signed byte |
/// | serial, shortSerial | serial number; low 16 bits of it in a frame, or 8 in a Linux frame |
/// | timeout, unsignedTimeout | time-out; the latter as a column that is read unsigned |
/// | reserved, signedReserved | reserved number, a byte in a frame; a proxy may change it |
/// | ack | acknowledge code, low 8 bits of it in a frame |
/// | length, clampedLength | number of bytes of data; the latter is 0 where it is negative |
/// | textLength | number of bytes of the text after it, 32 bits |
/// | offset | position in bytes |
/// | access, rawAccess | direction of the access; the latter as it is, in a signed byte |
/// | kind, readKind, writeKind | kind of payload; the latter differ in what an unknown word means |
/// | result | communication or package result |
/// | status | signed byte that stands for all three results |
/// | flag | true or false |
/// | sizedText | text after its 16-bit size |
/// | uncountedText | the same; readers do not count it, and keep theirs where the size is 0 |
/// | keptText | text whose size stands in a field before it; kept where the size is 0 or less |
/// | text, escaped | text without its size; the latter with escapes |
/// | block | bytes whose length stands in a field before them |
/// | uncountedBlock | the same; readers do not count them |
/// | announcedBlock | the same; a request announces them, but need not carry them |
/// | answer | text that a reply has its own of |
/// | dataString | bytes as numbers joined by "/" |
///
/// A part refers to the fields of its package. Where the two directions of a layout differ there
/// are two walks; peers rely on the difference.

namespace Korvin {

enum FrameMarker : quint8 { RequestMarker = 0, ShortReplyMarker = 0, FullReplyMarker = 1 };

/// The part that every request shares.
struct CommonPart
{
    static constexpr int RequestColumns = 15;
    static constexpr int ReplyColumns = RequestColumns + 1; // the acknowledge code
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

    /// The results as every reader takes them.
    template <typename Walker>
    void results(Walker &w)
    {
        w.ack("ackCode", package.ackCode);
        w.result("commResult", package.commResult);
        w.result("packResult", package.packResult);
    }

    /// The results as a full reply carries them after the request frame: an undefined byte follows
    /// each, so that results() above does not read back what was written.
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

/// What a register read adds after the header, and its two columns.
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

/// What a register write adds after the header, and its two columns.
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

/// What a data read adds after the register payload, and the two columns of its reply. The length
/// and the data come from different fields of the package and need not agree.
///
/// The data is a QByteArray in a frame, a DataStringSource in a record that is written, and text in
/// one that is read.
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

/// What a data write adds after the register payload, and its two columns. Length and data are as
/// those of a read.
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

    /// Readers take what follows, the results of a full reply, from where the data begins.
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

/// What a file read adds after the register payload, and its column.
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

/// What a file write adds after the register payload, and its two columns.
struct FileWritePart
{
    QString &fileNameWithPath;
    qint32 &offset;

    /// What a reader expects.
    template <typename Walker>
    void payload(Walker &w)
    {
        qint32 size = 0;
        w.textLength("fileNameSize", size);
        w.keptText("fileNameWithPath", size, fileNameWithPath);
        w.offset("offset", offset);
    }

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

    template <typename Walker>
    void columns(Walker &w)
    {
        w.text("fileNameWithPath", fileNameWithPath);
        w.offset("offset", offset);
    }
};

/// The column that a memory read adds; its frame is that of the register read.
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

/// The columns that a memory write adds; its frame is that of the register write.
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

/// What a class has in common with others.
enum class Base {
    Common,  // the common part only
    Read,    // the common part and RegisterReadPart
    Write,   // the common part and RegisterWritePart
    Special, // the common part in frames, SpecialPart in records
    Items    // no part: the records of other classes
};

/// What a class adds.
enum class Own { None, ReadBlock, WriteBlock, FileRead, FileWrite, MemoryRead, MemoryWrite };

enum ClassTrait : unsigned {
    Plain = 0,
    ReadEarly = 1, // a reply's own columns are read one column before the one they are written to
    InShortReply = 2, // a short reply carries what the class adds, too
    Linux = 4         // the class has a Linux frame
};

/// What a class consists of.
struct ClassRow
{
    std::string_view name;
    Base base;
    Own own;
    int ownRequestColumns; // how many the class adds
    int ownReplyColumns;
    unsigned traits;
    OrvexEnum::ClientPackageType usualKind;
    QStringView typeWord; // in a combination; empty for a class that no combination carries

    constexpr bool has(ClassTrait trait) const { return (traits & trait) != 0; }
};

constexpr auto Data = OrvexEnum::DataPackage;
constexpr auto File = OrvexEnum::FilePackage;
constexpr auto Memory = OrvexEnum::MemDataPackage;

// clang-format off
/// Every class, at the index of its KorvinInspect::ClassId; a class comes after those it derives from.
constexpr ClassRow Classes[] = {
    // class                        base           own part          own columns           usual   type word
    //                                                                 req. reply  traits  kind    in a combination
    {"PackageBase",                Base::Common,  Own::None,        0, 0, Plain,                Data,   u""},
    {"PackageRequestRead",         Base::Read,    Own::None,        0, 0, Plain,                Data,   u""},
    {"PackageRequestReadData",     Base::Read,    Own::ReadBlock,   0, 2, InShortReply | Linux, Data,   u"ReadData"},
    {"PackageRequestReadFile",     Base::Read,    Own::FileRead,    1, 1, InShortReply,         File,   u"ReadFile"},
    {"PackageRequestReadMemData",  Base::Read,    Own::MemoryRead,  1, 1, Plain,                Memory, u""},
    {"PackageRequestWrite",        Base::Write,   Own::None,        0, 0, Plain,                Data,   u""},
    {"PackageRequestWriteData",    Base::Write,   Own::WriteBlock,  2, 2, Linux,                Data,   u"writeData"},
    {"PackageRequestWriteIP",      Base::Write,   Own::WriteBlock,  2, 2, Linux,                Data,   u""},
    {"PackageRequestWriteFile",    Base::Write,   Own::FileWrite,   2, 2, ReadEarly,            File,   u"writeFile"},
    {"PackageRequestWriteMemData", Base::Write,   Own::MemoryWrite, 2, 2, ReadEarly,            Memory, u""},
    {"SpecialPackageRequest",      Base::Special, Own::None,        0, 0, Plain,                Data,   u""},
    {"PackageRequestCombination",  Base::Items,   Own::None,        0, 0, Plain,                Data,   u""},
};
// clang-format on

/// Returns the row of a class, as a constant: a name without a row does not compile.
constexpr const ClassRow &rowOf(std::string_view name)
{
    const ClassRow *row = Classes;
    while (row->name != name)
        ++row;
    return *row;
}

/// Returns whether a frame carries what the class adds. All frames except short replies have the
/// request inside.
constexpr bool carriesOwn(const ClassRow &row, bool withRequest)
{
    return withRequest || row.has(InShortReply);
}

/// Returns how many columns come from the part that a class has in common with others, except the
/// acknowledge code of a reply.
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

/// Returns how many columns an encoder writes.
constexpr int writtenColumns(const ClassRow &row, bool isReply)
{
    return baseColumns(row.base) + (isReply ? 1 + row.ownReplyColumns : row.ownRequestColumns);
}

/// Returns how many columns a decoder needs: as many as an encoder writes, except that the reply of
/// a special request is read as that of PackageBase.
constexpr int neededColumns(const ClassRow &row, bool isReply)
{
    return isReply && row.base == Base::Special ? CommonPart::ReplyColumns
                                                : writtenColumns(row, isReply);
}

/// Returns how many common columns stand before the others in a reply, as a decoder counts them to
/// find what the class adds.
constexpr int countedCommonColumns(const ClassRow &row)
{
    return row.has(ReadEarly) ? CommonPart::RequestColumns : CommonPart::ReplyColumns;
}

/// Returns whether the decoder of a record takes an empty data string for no numbers. Others take
/// it for one.
constexpr bool takesNoNumbers(const ClassRow &row, bool isReply)
{
    return isReply && row.own == Own::WriteBlock;
}

/// Returns whether the decoder of a Linux reply gives the data its announced length, with zeros for
/// what is missing. Others take what is there.
constexpr bool padsLinuxData(const ClassRow &row)
{
    return row.own == Own::WriteBlock;
}

/// The fields that the parts of all classes refer to, for walkers that have no package.
struct LayoutFields
{
    LayoutFields() = default;
    LayoutFields(const LayoutFields &) = delete; // the header refers to the common fields
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

/// Hands the part that a class has in common with others to @p visit, besides the common part.
template <typename Visitor>
void visitBase(const ClassRow &row, LayoutFields &fields, Visitor &&visit)
{
    switch (row.base) {
    case Base::Read:
        return visit(RegisterReadPart{fields.replyDataLength, fields.common.clientPackageType});
    case Base::Write:
        return visit(RegisterWritePart{fields.broadcast, fields.writeKind});
    case Base::Common:
    case Base::Special:
    case Base::Items:
        return;
    }
}

/// Hands the part that a class adds to @p visit.
template <typename Visitor>
void visitOwn(const ClassRow &row, LayoutFields &fields, Visitor &&visit)
{
    switch (row.own) {
    case Own::None:
        return;
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
    }
}

} // namespace Korvin

#endif
