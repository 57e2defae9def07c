#ifndef WIREFIELD_P_H
#define WIREFIELD_P_H

#include <QtCore/QString>

namespace KorvinInspect {

/// The meaning of a field.
enum class WireType {
    Constant, // must equal max
    Gap,
    Number,
    Serial,
    Setting,    // number that a proxy may change
    Ack,        // acknowledge code
    Length,     // number of bytes of data
    TextLength, // number of bytes of the text after it
    Offset,     // position in bytes
    Status,     // status byte of a Linux frame
    ReadWriteCode,
    Flag,
    Kind,
    CommResult,
    PackageResult,
    TextSize, // size of the text after it
    Text,
    EscapedText,
    Answer, // text that differs between a request and its reply
    Block,
    DataString,
    Checksum // must equal max
};

/// One field of a frame or record, as a scanner reports it.
struct WireField
{
    const char *name = nullptr;
    WireType type = WireType::Number;
    const void *source = nullptr; // the corresponding field of the package

    int column = -1;    // -1 in a frame
    qint64 offset = 0;  // in bytes, or in characters of the record
    qint64 width = 0;   // size of the whole field; in a record the characters of the column
    qint64 present = 0; // how much of it the input holds; -1 for a missing column

    qint64 left = 0; // rest of the input from the offset on, at most the width

    qint64 number = 0; // as in the input; of texts and blocks the announced size
    qint64 taken = 0;  // the number that a decoder reads
    qint64 min = 0;    // range that an encoder writes
    qint64 max = 0;
    bool isUnsigned64 = false; // number holds an unsigned 64-bit value
    bool isPadded = false;     // a decoder fills up a block that is cut off with zeros

    QStringView text;            // of a column
    const char *bytes = nullptr; // of a text or block in a frame
};

class FieldSink
{
public:
    virtual ~FieldSink() = default;
    virtual void add(const WireField &field) = 0;
};

} // namespace KorvinInspect

#endif
