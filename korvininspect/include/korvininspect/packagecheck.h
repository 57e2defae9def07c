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
    NoSuchForm,         ///< The class does not have this form: see exists().
    Truncated,          ///< The input ends inside a field.
    LengthTooLarge,     ///< A field announces more bytes than are left.
    TrailingBytes,      ///< Trailing bytes after the last field.
    UnknownMarker,      ///< A marker or start byte has a wrong value.
    UnknownCode,        ///< A code in a frame has no name.
    WrongChecksum,      ///< The checksum does not match.
    ZeroInText,         ///< A text in a frame contains a zero byte, where a decoder ends it.
    NotUtf8,            ///< A text in a frame, or a record, is not UTF-8.
    TooFewFields,       ///< The record has too few columns, or an item too few parts.
    TooManyFields,      ///< The record has too many columns, or an item too many parts.
    NotANumber,         ///< A column is not a decimal number as encoders write it.
    OutOfRange,         ///< A number is outside the range of its field.
    UnknownName,        ///< A column is not one of the words of its field.
    NotEscaped,         ///< A device key contains a character that encoders escape.
    Contradiction,      ///< The two copies of a field differ.
    DataStringMismatch, ///< A data string does not have as many numbers as its length says.
    UnknownType,        ///< An item of a combination has an unknown type word.
    OutOfMemory,        ///< There was not enough memory to check the input.
    OtherRequest,       ///< A field of a reply differs from that of its request.
    OtherAccess         ///< A read has the code of a write, or a write that of a read.
};

/// The result of check(): why it refuses the input, and where.
struct Verdict
{
    Refusal refusal = Refusal::None; ///< Why the input is refused.

    QString field; ///< Name of the field; empty if the reason is not in a field.
    int item = 0;  ///< Item of a combination, counted from 1; 0 elsewhere.

    /// Byte offset in a frame, column in a record, both counted from 0. -1 if a package was refused
    /// before it was encoded.
    int position = 0;

    QString expected; ///< What was expected, in words.
    QString found;    ///< What was found, in words.

    /// Returns whether the input is accepted.
    bool isOk() const { return refusal == Refusal::None; }
};

/// Further conditions on the input; none by default.
struct CheckOptions
{
    /// Most bytes of data that the input may announce, whether or not it carries them. A decoder
    /// allocates memory for them. More is `Refusal::OutOfRange`.
    int announcedData = std::numeric_limits<int>::max();

    /// For a reply: the request that it should answer, in the same form and accepted by check(). If
    /// it is empty, nothing is compared.
    ///
    /// Fields that identify the request must be the same wherever the reply repeats them: serial
    /// number, device key, tag, address, direction, kind, broadcast, file name, offset, and the id
    /// of a special request. The reply may announce as much data as the request, or less. Time-out
    /// and reserved 2 may differ, since a proxy may change them. A short reply frame repeats only
    /// the serial number.
    QByteArray request = {};
};

/// Returns the verdict in one line, such as "tag at 5: announced 300 bytes, left 12 bytes".
KORVININSPECT_EXPORT QString describe(const Verdict &verdict);

/// Checks input that is not trusted, before it reaches a decoder.
///
/// Accepts what the encoder of the class writes for a package whose fields agree with each other,
/// if the decoder accepts it too. Refuses everything else. docs/protocol.md lists what encoders
/// write but check() refuses. It constructs no package, allocates nothing for data that the input
/// announces, and takes time linear in the size of the input.
///
/// @param input is the frame, or the record in UTF-8.
/// @{
KORVININSPECT_EXPORT Verdict check(const QByteArray &input, const MessageShape &shape);
KORVININSPECT_EXPORT Verdict check(const QByteArray &input, const MessageShape &shape,
                                   const CheckOptions &options);
/// @}

/// Does the same for a record that is text already.
/// @{
KORVININSPECT_EXPORT Verdict check(const QString &record, const MessageShape &shape);
KORVININSPECT_EXPORT Verdict check(const QString &record, const MessageShape &shape,
                                   const CheckOptions &options);
/// @}

} // namespace KorvinInspect

#endif
