#ifndef WIREFIELD_P_H
#define WIREFIELD_P_H

#include <QtCore/QString>

#include <cstring>

namespace KorvinInspect {

/// What a field carries.
enum class WireType {
    Constant, // number is what it must be
    Gap,
    Number,
    ReadWriteCode,
    Flag,
    Kind,
    CommResult,
    PackageResult,
    TextSize, // of the text behind it
    Text,
    EscapedText,
    Block,
    DataString,
    Checksum // number is what is stored, max what it must be
};

/// One field as a scanner meets it in a frame or record.
struct WireField
{
    const char *name = nullptr;
    WireType type = WireType::Number;

    int column = -1;    // -1 in a frame
    qint64 offset = 0;  // in bytes, or in characters of the record
    qint64 width = 0;   // what the field needs; in a record the characters of the column
    qint64 present = 0; // what is there of it; -1 for a column that is missing

    qint64 left = 0; // what is there from the offset on, at most the width

    qint64 number = 0; // as a decoder takes it; of texts and blocks the announced size
    qint64 min = 0;    // what an encoder writes
    qint64 max = 0;
    bool isUnsigned64 = false; // number stands for 64 unsigned bits

    QStringView text;            // of a column
    const char *bytes = nullptr; // of a text or block in a frame
};

/// Whether a field has a name. Most differ in their first character.
inline bool isNamed(const WireField &field, const char *name)
{
    return field.name == name || (field.name[0] == name[0] && std::strcmp(field.name, name) == 0);
}

class FieldSink
{
public:
    virtual ~FieldSink() = default;
    virtual void add(const WireField &field) = 0;
};

} // namespace KorvinInspect

#endif
