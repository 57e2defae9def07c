#ifndef KORVININSPECT_PACKAGECHECK_H
#define KORVININSPECT_PACKAGECHECK_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <limits>

namespace KorvinInspect {

/// Why a frame or record is refused.
enum class Refusal {
    None,               ///< It is accepted.
    NoSuchForm,         ///< The class has no such form: see exists().
    Truncated,          ///< The input ends inside a field.
    LengthTooLarge,     ///< A field announces more bytes than are left.
    TrailingBytes,      ///< Trailing bytes after the last field.
    UnknownMarker,      ///< A marker or start byte has another value.
    UnknownCode,        ///< A code in a frame has no name.
    WrongChecksum,      ///< The checksum does not match.
    ZeroInText,         ///< A text in a frame holds a zero byte, where readers end it.
    NotUtf8,            ///< A text in a frame, or a record, is not UTF-8.
    TooFewFields,       ///< The record has too few columns, or an item too few parts.
    TooManyFields,      ///< The record has too many columns, or an item too many parts.
    NotANumber,         ///< A column is not a decimal number as encoders write it.
    OutOfRange,         ///< A number is out of the range of its field.
    UnknownName,        ///< A column is not one of the words of its field.
    NotEscaped,         ///< A device key holds a character that encoders escape.
    Contradiction,      ///< A field that is there twice has two values.
    DataStringMismatch, ///< A data string does not have as many numbers as its length says.
    UnknownType,        ///< An item of a combination has an unknown type word.
    OutOfMemory,        ///< There was no memory to check the input.
    OtherRequest,       ///< A field of a reply is not that of the request that it should answer.
    OtherAccess         ///< A read has the code of a write, or a write that of a read.
};

/// The result of check(): why it refuses the input, and where it found the first reason.
struct Verdict
{
    Refusal refusal = Refusal::None; ///< Why the input is refused.

    QString field;    ///< Name of the field, empty where no field is concerned.
    int item = 0;     ///< Item of a combination, counted from 1; 0 elsewhere.
    int position = 0; ///< Byte offset in a frame, column in a record, both counted from 0.
    QString expected; ///< In words.
    QString found;    ///< In words.

    /// Whether the input is accepted.
    bool isOk() const { return refusal == Refusal::None; }
};

/// What an input must hold to beside its shape; by default nothing.
struct CheckOptions
{
    /// Most bytes of data that the input may announce, whether or not it carries them: what its
    /// decoder makes ready for it. More is `Refusal::OutOfRange`.
    int announcedData = std::numeric_limits<int>::max();

    /// Of a reply: the request that it should answer, in the same form and accepted by check();
    /// nothing is compared where it is empty.
    ///
    /// What identifies a request must be the same wherever the reply repeats it: serial number,
    /// device key, tag, all of the address, direction, kind, broadcast, file name and offset, and
    /// the id of a special request. The reply may announce as much data as the request, or less.
    /// Time-out and reserved 2 may differ, which a proxy may change on the way. A short reply frame
    /// repeats the serial number only.
    QByteArray request = {};
};

/// The verdict in one line, such as "tag at 5: announced 300 bytes, left 12 bytes".
KORVININSPECT_EXPORT QString describe(const Verdict &verdict);

/// Looks at input that is not trusted, before it reaches a decoder.
///
/// Accepts what the encoder of the class writes for a package whose fields agree, where the decoder
/// accepts it too; refuses all else. docs/protocol.md lists what encoders write and this refuses.
/// No object is built, nothing is allocated for what the input announces, and the time is linear in
/// its size.
///
/// @param input is the frame, or the record in UTF-8.
/// @{
KORVININSPECT_EXPORT Verdict check(const QByteArray &input, const MessageShape &shape);
KORVININSPECT_EXPORT Verdict check(const QByteArray &input, const MessageShape &shape,
                                   const CheckOptions &options);
/// @}

/// The same for a record that is text already.
/// @{
KORVININSPECT_EXPORT Verdict check(const QString &record, const MessageShape &shape);
KORVININSPECT_EXPORT Verdict check(const QString &record, const MessageShape &shape,
                                   const CheckOptions &options);
/// @}

} // namespace KorvinInspect

#endif
