#ifndef CLASSLAYOUTS_P_H
#define CLASSLAYOUTS_P_H

#include "framescanner_p.h"
#include "layouts_p.h"
#include "recordscanner_p.h"

#include <korvininspect/messageshape.h>

#include <optional>

/// @file
/// Which layouts each class has, in the order of the frame or record: as its decoder reads them,
/// and as its encoder writes them. The two differ in full replies, in file writes and in reply
/// records.

namespace KorvinInspect {

/// The fields that the layouts of all classes refer to.
struct LayoutFields
{
    PackageBasePrivate common;
    qint32 replyDataLength = 0;
    qint32 packageDataLength = 0;
    bool broadcast = false;
    OrvexEnum::ClientPackageType writeKind = OrvexEnum::DataPackage;
    QString fileName;
    qint32 fileOffset = 0;
    long memoryOffset = 0;
    QByteArray data;
    QStringView numbers;
    qint32 id = 0;
    QString strData;

    Korvin::CommonPart commonPart() { return {common}; }
    Korvin::AckColumn ackColumn() { return {common.ackCode}; }
    Korvin::RegisterReadPart registerRead() { return {replyDataLength, common.clientPackageType}; }
    Korvin::RegisterWritePart registerWrite() { return {broadcast, writeKind}; }
    Korvin::FileReadPart fileRead() { return {fileName}; }
    Korvin::FileWritePart fileWrite() { return {fileName, fileOffset}; }
    Korvin::MemoryReadPart memoryRead() { return {memoryOffset}; }
    Korvin::MemoryWritePart memoryWrite() { return {memoryOffset, packageDataLength}; }
    Korvin::SpecialPart special() { return {id, common.timeout, strData}; }

    Korvin::DataColumns<QStringView> readDataColumns()
    {
        return {"replyDataLength", replyDataLength, numbers};
    }

    Korvin::DataColumns<QStringView> writeDataColumns()
    {
        return {"packageDataLength", packageDataLength, numbers};
    }
};

inline bool isRead(ClassId id)
{
    return id == ClassId::PackageRequestRead || id == ClassId::PackageRequestReadData
        || id == ClassId::PackageRequestReadFile || id == ClassId::PackageRequestReadMemData;
}

inline bool isDataWrite(ClassId id)
{
    return id == ClassId::PackageRequestWriteData || id == ClassId::PackageRequestWriteIP;
}

inline bool isWrite(ClassId id)
{
    return id == ClassId::PackageRequestWrite || isDataWrite(id)
        || id == ClassId::PackageRequestWriteFile || id == ClassId::PackageRequestWriteMemData;
}

/// Adds up the widths of the integers of a layout.
class WidthCounter
{
public:
    qint64 width() const { return m_width; }

    void gap() { ++m_width; }
    void flag(const char *, bool) { ++m_width; }
    void text(const char *, const QString &) { }

    template <typename T>
    void u8(const char *, T &)
    {
        ++m_width;
    }

    template <typename T>
    void i32(const char *, T &)
    {
        m_width += 4;
    }

private:
    qint64 m_width = 0;
};

/// A byte frame as the decoder of a class reads it.
template <typename Scanner>
class FrameAsRead
{
public:
    FrameAsRead(ClassId id, Scanner &scanner)
        : m_id(id)
        , m_scanner(scanner)
    {
    }

    void request()
    {
        m_fields.commonPart().header(m_scanner);
        payload(true);
    }

    void shortReply()
    {
        m_fields.commonPart().shortReply(m_scanner);
        m_scanner.setPosition(6); // however short the frame is
        payload(false);
    }

    void fullReply()
    {
        request();
        m_fields.commonPart().results(m_scanner);
        payload(true);
    }

private:
    void payload(bool withRequest)
    {
        if (isRead(m_id) && withRequest)
            m_fields.registerRead().payload(m_scanner);
        if (isWrite(m_id) && withRequest)
            m_fields.registerWrite().payload(m_scanner);
        if (m_id == ClassId::PackageRequestReadFile)
            m_fields.fileRead().payload(m_scanner);
        else if (m_id == ClassId::PackageRequestReadData)
            block("replyDataLength");
        else if (isDataWrite(m_id) && withRequest)
            m_scanner.setPosition(block("packageDataLength")); // the data is not counted
        else if (m_id == ClassId::PackageRequestWriteFile && withRequest)
            m_fields.fileWrite().readPayload(m_scanner);
    }

    /// @return where the data begins.
    int block(const char *lengthName)
    {
        Korvin::DataBlock block{lengthName};
        block.lengthField(m_scanner);
        const int start = m_scanner.position();
        block.length = qMax(block.length, 0); // no data where it is negative
        block.dataField(m_scanner, m_fields.data);
        return start;
    }

    ClassId m_id;
    Scanner &m_scanner;
    LayoutFields m_fields;
};

/// A byte frame as the encoder of a class writes it. Sizes that the frame does not carry follow
/// from the size of the frame.
class FrameAsWritten
{
public:
    FrameAsWritten(ClassId id, FrameScanner &scanner)
        : m_id(id)
        , m_scanner(scanner)
    {
    }

    void request()
    {
        m_fields.commonPart().header(m_scanner);
        payload(Place::Request);
    }

    void shortReply()
    {
        m_fields.commonPart().shortReply(m_scanner);
        payload(Place::ShortReply);
    }

    void fullReply()
    {
        m_fields.commonPart().header(m_scanner);
        payload(Place::RequestInReply);
        m_fields.commonPart().fullReplyResults(m_scanner);
        payload(Place::EndOfFullReply);
    }

    /// What the walk has met but for texts and data.
    const LayoutFields &fields() const { return m_fields; }

    /// Whether the data that the block of a data read announces is there.
    bool carriesData() const { return m_carriesData; }

private:
    enum class Place { Request, ShortReply, RequestInReply, EndOfFullReply };

    void payload(Place place)
    {
        if (place != Place::ShortReply)
            registerPayload(m_scanner);
        if (m_id == ClassId::PackageRequestReadFile)
            m_scanner.sizedText("fileNameWithPath", m_fields.fileName);
        else if (m_id == ClassId::PackageRequestReadData)
            readBlock(place);
        else if (isDataWrite(m_id) && place != Place::ShortReply)
            block("packageDataLength", true);
        else if (m_id == ClassId::PackageRequestWriteFile && place != Place::ShortReply)
            writtenFile(place);
    }

    template <typename Walker>
    void registerPayload(Walker &w)
    {
        if (isRead(m_id))
            m_fields.registerRead().payload(w);
        if (isWrite(m_id))
            m_fields.registerWrite().payload(w);
    }

    void block(const char *lengthName, bool carriesData)
    {
        Korvin::DataBlock block{lengthName};
        block.lengthField(m_scanner);
        if (block.length > 0 && carriesData)
            block.dataField(m_scanner, m_fields.data);
    }

    /// A data read that is not answered yet announces data that it does not carry; then the frame
    /// ends with the length, or with what else a full reply has.
    void readBlock(Place place)
    {
        if (place == Place::Request || place == Place::RequestInReply) {
            WidthCounter rest;
            Korvin::DataBlock length{"replyDataLength"};
            length.lengthField(rest);
            if (place == Place::RequestInReply) {
                m_fields.commonPart().fullReplyResults(rest);
                registerPayload(rest);
                length.lengthField(rest);
            }
            m_carriesData = m_scanner.remaining() > rest.width();
        }
        block("replyDataLength", m_carriesData);
    }

    /// Takes also the layout that readers expect, which a peer may write: its size is not 0.
    void writtenFile(Place place)
    {
        if (place == Place::Request && m_scanner.peek() != 0) {
            m_fields.fileWrite().readPayload(m_scanner);
            return;
        }
        // A full reply has the name twice, around the results.
        qint64 size = m_scanner.remaining();
        if (place == Place::RequestInReply) {
            WidthCounter rest;
            m_fields.commonPart().fullReplyResults(rest);
            registerPayload(rest);
            size = (size - rest.width()) / 2;
        }
        WidthCounter gaps;
        m_fields.fileWrite().writtenPayload(gaps);
        m_scanner.setTextSize(qMax<qint64>(0, size - gaps.width()));
        if (size > 0)
            m_fields.fileWrite().writtenPayload(m_scanner);
    }

    ClassId m_id;
    FrameScanner &m_scanner;
    LayoutFields m_fields;
    bool m_carriesData = true;
};

/// Walks over a byte frame in one of the two ways above.
///
/// @return where the walk ended.
template <typename Frame>
int scanFrame(const QByteArray &frame, const MessageShape &shape, FieldSink &sink)
{
    FrameScanner scanner(frame, sink);
    Frame layout(shape.classId, scanner);
    if (shape.direction == Direction::Request) {
        layout.request();
    } else if (Korvin::byteAt(frame, 0) == Korvin::ShortReplyMarker) {
        layout.shortReply();
    } else {
        scanner.setMarker(Korvin::FullReplyMarker);
        layout.fullReply();
    }
    return scanner.position();
}

/// Walks over a Linux frame: the header, what lies between it and the checksum as data, as much as
/// the length announces, and the checksum at the end.
void scanLinuxFrame(const QByteArray &frame, const MessageShape &shape, FieldSink &sink);

/// The columns that a decoder needs. The encoder writes as many, but for the reply of a special
/// request.
int neededColumns(const MessageShape &shape);

/// The columns that an encoder writes.
int writtenColumns(const MessageShape &shape);

template <typename Scanner>
void scanCommonColumns(Scanner &scanner, const MessageShape &shape, LayoutFields &fields)
{
    if (shape.classId == ClassId::SpecialPackageRequest)
        scanner.scan(0, fields.special());
    else
        scanner.scan(0, fields.commonPart());
}

template <typename Scanner>
void scanRegisterColumns(Scanner &scanner, const MessageShape &shape, int column,
                         LayoutFields &fields)
{
    if (isRead(shape.classId))
        scanner.scan(column, fields.registerRead());
    if (isWrite(shape.classId))
        scanner.scan(column, fields.registerWrite());
}

/// The columns behind those of a register request, the first of which is @p column.
template <typename Scanner>
void scanOwnColumns(Scanner &scanner, const MessageShape &shape, int column, LayoutFields &fields)
{
    switch (shape.classId) {
    case ClassId::PackageRequestReadData:
        if (shape.direction == Direction::Reply)
            scanner.scan(column, fields.readDataColumns());
        break;
    case ClassId::PackageRequestReadFile:
        scanner.scan(column, fields.fileRead());
        break;
    case ClassId::PackageRequestReadMemData:
        scanner.scan(column, fields.memoryRead());
        break;
    case ClassId::PackageRequestWriteData:
    case ClassId::PackageRequestWriteIP:
        scanner.scan(column, fields.writeDataColumns());
        break;
    case ClassId::PackageRequestWriteFile:
        scanner.scan(column, fields.fileWrite());
        break;
    case ClassId::PackageRequestWriteMemData:
        scanner.scan(column, fields.memoryWrite());
        break;
    default:
        break;
    }
}

/// Walks over the columns of a record as its decoder reads them; they are not in their order where
/// a reply is read one column early.
template <typename Scanner>
void scanRecordAsRead(Scanner &scanner, const MessageShape &shape)
{
    using Korvin::CommonPart;
    LayoutFields fields;
    scanCommonColumns(scanner, shape, fields);
    const bool reply = shape.direction == Direction::Reply;
    if (reply)
        scanner.scan(CommonPart::RequestColumns, fields.ackColumn());
    // Register, file write and memory write columns are read where a request has them.
    scanRegisterColumns(scanner, shape, CommonPart::RequestColumns, fields);
    const bool early = shape.classId == ClassId::PackageRequestWriteFile
        || shape.classId == ClassId::PackageRequestWriteMemData;
    const int common = reply && !early ? CommonPart::ReplyColumns : CommonPart::RequestColumns;
    scanOwnColumns(scanner, shape, common + Korvin::RegisterReadPart::Columns, fields);
}

/// Walks over the columns of a record as its encoder writes them.
template <typename Scanner>
void scanRecordAsWritten(Scanner &scanner, const MessageShape &shape)
{
    LayoutFields fields;
    scanCommonColumns(scanner, shape, fields);
    if (shape.direction == Direction::Reply)
        scanner.scan(scanner.column(), fields.ackColumn());
    scanRegisterColumns(scanner, shape, scanner.column(), fields);
    scanOwnColumns(scanner, shape, scanner.column(), fields);
}

/// The class that a type word of a combination stands for; nothing for a word that none carries.
std::optional<ClassId> classOfType(QStringView word);

} // namespace KorvinInspect

#endif
