#ifndef CLASSLAYOUTS_P_H
#define CLASSLAYOUTS_P_H

#include "classrow_p.h"
#include "framescanner_p.h"
#include "recordscanner_p.h"

#include <korvininspect/messageshape.h>

#include <optional>

/// @file
/// Walks over the layouts of a whole frame or record, according to the row of its class: as its
/// decoder reads them, or as its encoder writes them. The two differ in full replies, in file
/// writes and in reply records.

namespace KorvinInspect {

inline const Korvin::ClassRow &rowOf(const MessageShape &shape)
{
    return rowOf(shape.classId);
}

/// Adds up the widths of the fields of a layout, except texts and blocks.
class WidthCounter
{
public:
    qint64 width() const { return m_width; }

    void gap() { ++m_width; }
    void flag(const char *, bool) { ++m_width; }
    void ack(const char *, quint32) { ++m_width; }
    void result(const char *, int) { ++m_width; }
    void kind(const char *, OrvexEnum::ClientPackageType) { ++m_width; }
    void length(const char *, qint32) { m_width += 4; }

private:
    qint64 m_width = 0;
};

/// Walks over a byte frame as the decoder of a class reads it.
template <typename Scanner>
class FrameAsRead
{
public:
    FrameAsRead(const Korvin::ClassRow &row, Korvin::LayoutFields &fields, Scanner &scanner)
        : m_row(row)
        , m_fields(fields)
        , m_scanner(scanner)
    {
    }

    void request()
    {
        Korvin::CommonPart{m_fields.common}.header(m_scanner);
        payload(true);
    }

    void shortReply()
    {
        Korvin::CommonPart{m_fields.common}.shortReply(m_scanner);
        m_scanner.goTo(Korvin::CommonPart::ShortReplySize); // even if the frame is shorter
        payload(false);
    }

    void fullReply()
    {
        request();
        Korvin::CommonPart{m_fields.common}.results(m_scanner);
        payload(true);
    }

private:
    void payload(bool withRequest)
    {
        const auto walk = [this](auto part) { part.payload(m_scanner); };
        if (withRequest)
            Korvin::visitBase(m_row, m_fields, walk);
        if (Korvin::carriesOwn(m_row, withRequest))
            Korvin::visitOwn(m_row, m_fields, walk);
    }

    const Korvin::ClassRow &m_row;
    Korvin::LayoutFields &m_fields;
    Scanner &m_scanner;
};

/// Walks over a byte frame as the encoder of a class writes it. Derives sizes that the frame does
/// not carry from the size of the frame.
template <typename Scanner>
class FrameAsWritten
{
public:
    FrameAsWritten(const Korvin::ClassRow &row, Korvin::LayoutFields &fields, Scanner &scanner)
        : m_row(row)
        , m_fields(fields)
        , m_scanner(scanner)
    {
    }

    void request()
    {
        Korvin::CommonPart{m_fields.common}.header(m_scanner);
        payload(Section::Request);
    }

    void shortReply()
    {
        Korvin::CommonPart{m_fields.common}.shortReply(m_scanner);
        payload(Section::ShortReply);
    }

    void fullReply()
    {
        Korvin::CommonPart{m_fields.common}.header(m_scanner);
        payload(Section::RequestInReply);
        Korvin::CommonPart{m_fields.common}.fullReplyResults(m_scanner);
        payload(Section::EndOfFullReply);
    }

private:
    enum class Section { Request, ShortReply, RequestInReply, EndOfFullReply };

    void payload(Section section)
    {
        if (section != Section::ShortReply)
            Korvin::visitBase(m_row, m_fields, [this](auto part) { part.payload(m_scanner); });
        if (Korvin::carriesOwn(m_row, section != Section::ShortReply))
            Korvin::visitOwn(m_row, m_fields,
                             [this, section](auto part) { this->walk(part, section); });
    }

    template <typename Part>
    void walk(Part part, Section)
    {
        part.payload(m_scanner);
    }

    /// A data read without a reply announces data that it does not carry. Nothing follows its
    /// length then, except the rest of a full reply.
    template <typename Bytes>
    void walk(Korvin::ReadBlockPart<Bytes> part, Section section)
    {
        part.lengthField(m_scanner);
        if (section == Section::Request)
            m_scanner.announce(0);
        else if (section == Section::RequestInReply)
            m_scanner.announce(endOfFullReply() + Korvin::BlockLengthSize);
        part.dataField(m_scanner);
    }

    /// Walks over a file write. A full reply has the name twice: before and after the results.
    void walk(Korvin::FileWritePart part, Section section)
    {
        const auto written = [&](qint64 rest, int copies) {
            m_scanner.tail(rest, copies, [&] { part.writtenPayload(m_scanner); });
        };
        if (section == Section::RequestInReply) {
            written(endOfFullReply(), 2);
        } else if (section == Section::EndOfFullReply) {
            written(0, 1);
        } else {
            // A peer may write the layout that decoders read; the size in it is not 0.
            m_scanner.either([&] { part.payload(m_scanner); }, [&] { written(0, 1); });
        }
    }

    /// Returns the number of bytes after the request in a full reply, without those of the class's
    /// own part.
    qint64 endOfFullReply()
    {
        WidthCounter counter;
        Korvin::CommonPart{m_fields.common}.fullReplyResults(counter);
        Korvin::visitBase(m_row, m_fields, [&counter](auto part) { part.payload(counter); });
        return counter.width();
    }

    const Korvin::ClassRow &m_row;
    Korvin::LayoutFields &m_fields;
    Scanner &m_scanner;
};

/// Walks over a byte frame in one of the two ways above.
template <typename Layout, typename Scanner>
void scanFrame(const QByteArray &frame, Direction direction, Layout layout, Scanner &scanner)
{
    if (direction == Direction::Request) {
        layout.request();
    } else if (Korvin::byteAt(frame, 0) == Korvin::ShortReplyMarker) {
        layout.shortReply();
    } else {
        scanner.setMarker(Korvin::FullReplyMarker);
        layout.fullReply();
    }
}

/// @{
/// Walks over a frame and reports its fields. @p fields are the fields that the layouts refer to.
inline void scanFrameAsRead(const QByteArray &frame, const MessageShape &shape,
                            Korvin::LayoutFields &fields, FieldSink &sink)
{
    FrameScanner scanner(frame, sink);
    scanFrame(frame, shape.direction, FrameAsRead(rowOf(shape), fields, scanner), scanner);
}

inline void scanFrameAsWritten(const QByteArray &frame, const MessageShape &shape,
                               Korvin::LayoutFields &fields, FieldSink &sink)
{
    WrittenFrameScanner scanner(frame, sink);
    scanFrame(frame, shape.direction, FrameAsWritten(rowOf(shape), fields, scanner), scanner);
}

/// Walks over a Linux frame: the header; the bytes between header and checksum as data, up to the
/// announced length; the checksum at the end.
void scanLinuxFrame(const QByteArray &frame, const MessageShape &shape,
                    Korvin::LayoutFields &fields, FieldSink &sink);
/// @}

template <typename Scanner>
void scanCommonColumns(Scanner &scanner, const Korvin::ClassRow &row, Korvin::LayoutFields &fields)
{
    if (row.base == Korvin::Base::Special)
        scanner.scan(Korvin::SpecialPart{fields.id, fields.common.timeout, fields.strData});
    else
        scanner.scan(Korvin::CommonPart{fields.common});
}

template <typename Scanner>
void scanOwnColumns(Scanner &scanner, const Korvin::ClassRow &row, bool isReply,
                    Korvin::LayoutFields &fields)
{
    if ((isReply ? row.ownReplyColumns : row.ownRequestColumns) > 0)
        Korvin::visitOwn(row, fields, [&](auto part) { scanner.scan(part); });
}

/// Walks over the columns of a record as its decoder reads them. They are out of order if a reply
/// is read one column early.
template <typename Scanner>
void scanRecordAsRead(Scanner &scanner, const Korvin::ClassRow &row, bool isReply,
                      Korvin::LayoutFields &fields)
{
    using Korvin::CommonPart;
    scanCommonColumns(scanner, row, fields);
    scanner.goTo(CommonPart::RequestColumns);
    if (isReply)
        scanner.scan(Korvin::AckColumn{fields.common.ackCode});
    // The decoder reads register columns where a request has them, even in a reply.
    scanner.goTo(CommonPart::RequestColumns);
    Korvin::visitBase(row, fields, [&](auto part) { scanner.scan(part); });
    const int shift = isReply ? Korvin::countedCommonColumns(row) - CommonPart::RequestColumns : 0;
    scanner.goTo(Korvin::baseColumns(row.base) + shift);
    scanOwnColumns(scanner, row, isReply, fields);
}

/// Walks over the columns of a record as its encoder writes them.
template <typename Scanner>
void scanRecordAsWritten(Scanner &scanner, const Korvin::ClassRow &row, bool isReply,
                         Korvin::LayoutFields &fields)
{
    scanCommonColumns(scanner, row, fields);
    if (isReply)
        scanner.scan(Korvin::AckColumn{fields.common.ackCode});
    Korvin::visitBase(row, fields, [&](auto part) { scanner.scan(part); });
    scanOwnColumns(scanner, row, isReply, fields);
}

/// Returns the class of a type word of a combination, if there is one.
std::optional<ClassId> classOfType(QStringView word);

} // namespace KorvinInspect

#endif
