#ifndef WIREFIELD_P_H
#define WIREFIELD_P_H

#include <QtCore/QString>

namespace KorvinInspect {

/// What a field carries.
enum class WireType {
    Constant, // number is what it must be
    Gap,
    Number,
    Serial,
    Setting,    // number that a proxy may change
    Ack,        // acknowledge code
    Length,     // number of bytes of data
    TextLength, // number of bytes of the text after it
    Offset,     // position in bytes
    Status,     // of a Linux frame
    ReadWriteCode,
    Flag,
    Kind,
    CommResult,
    PackageResult,
    TextSize, // of the text after it
    Text,
    EscapedText,
    Answer, // text that a reply has its own of
    Block,
    DataString,
    Checksum // number is what is stored, max what it must be
};

/// One field as a scanner meets it in a frame or record.
struct WireField
{
    const char *name = nullptr;
    WireType type = WireType::Number;
    const void *source = nullptr; // the field of the package that it stands for

    int column = -1;    // -1 in a frame
    qint64 offset = 0;  // in bytes, or in characters of the record
    qint64 width = 0;   // what the field needs; in a record the characters of the column
    qint64 present = 0; // what is there of it; -1 for a column that is missing

    qint64 left = 0; // what is there from the offset on, at most the width

    qint64 number = 0; // as it is there; of texts and blocks the announced size
    qint64 taken = 0;  // what a decoder makes of the number
    qint64 min = 0;    // what an encoder writes
    qint64 max = 0;
    bool isUnsigned64 = false; // number stands for 64 unsigned bits
    bool isKept = false;       // a decoder keeps the text that it has where the size is 0 or less
    bool isPadded = false;     // a decoder adds zeros to a block that is not all there

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
