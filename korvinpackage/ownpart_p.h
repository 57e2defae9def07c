#ifndef OWNPART_P_H
#define OWNPART_P_H

#include "bytecursors_p.h"
#include "layouts_p.h"
#include "recordcursors_p.h"

/// @file
/// Frames and records of a class that adds one part to those of its base class. Each operation has
/// one caller for each part, so calls would only cost time.

namespace Korvin {

/// Appends the payload of @p part to a frame, unless frames of this kind do not carry it.
template <typename Part>
Q_ALWAYS_INLINE void appendPayload(const ClassRow &row, bool withRequest, QByteArray *frame,
                                   Part part)
{
    if (!carriesOwn(row, withRequest))
        return;
    ByteWriter writer(frame);
    part.payload(writer);
    writer.finish();
}

/// Reads the payload of @p part, unless frames of this kind do not carry it. @p parsedLength is the
/// number of bytes that the base class has consumed from @p startIndex on, and then the number of
/// all bytes consumed.
///
/// @return false, with @p parsedLength unchanged, when memory runs out.
template <typename Part>
Q_ALWAYS_INLINE bool readPayload(const ClassRow &row, bool withRequest, const QByteArray &frame,
                                 int startIndex, int *parsedLength, Part part)
{
    if (!carriesOwn(row, withRequest))
        return true;
    return guarded([&] {
        ByteReader reader(frame, wrapped(qint64(startIndex) + *parsedLength));
        part.payload(reader);
        *parsedLength = reader.distanceFrom(startIndex);
        return true;
    });
}

/// Where a decoder finds the columns that a class adds, and how many columns the record needs.
struct OwnColumns
{
    int first;
    int needed;
};

/// Returns those of a request. The shared parts have 15 and @p baseColumns columns.
constexpr OwnColumns requestColumns(int baseColumns, int ownColumns)
{
    const int first = CommonPart::RequestColumns + baseColumns;
    return {first, first + ownColumns};
}

/// Returns those of a reply. The shared parts have 16 and @p baseColumns columns; some classes read
/// their own one column earlier.
constexpr OwnColumns replyColumns(const ClassRow &row, int baseColumns, int ownColumns)
{
    return {countedCommonColumns(row) + baseColumns,
            CommonPart::ReplyColumns + baseColumns + ownColumns};
}

/// Reads a request record as @p Parent does, then the columns of @p part.
///
/// @return false, with nothing changed, for too few columns.
template <typename Parent, typename Package, typename Part>
Q_ALWAYS_INLINE bool readRequest(Package &package, const QString &text, OwnColumns columns,
                                 Part part)
{
    RecordReader record(text, columns.needed);
    return record.isComplete() && package.Parent::unPackageRequest(text)
        && record.read(columns.first, part);
}

/// Reads a reply record as @p Parent does, then the columns of @p part.
///
/// @return false, with nothing changed, for too few columns.
template <typename Parent, typename Package, typename Part>
Q_ALWAYS_INLINE bool readReply(Package &package, const QString &text, OwnColumns columns, Part part)
{
    RecordReader record(text, columns.needed);
    return record.isComplete() && package.Parent::unPackageReply(text)
        && record.read(columns.first, part);
}

} // namespace Korvin

#endif
