#ifndef BYTENOTATION_H
#define BYTENOTATION_H

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

/// How bytes may be written.
enum class Notation {
    Any,   ///< Its look decides.
    Hex,   ///< Hexadecimal digits, whatever stands between them.
    Dump,  ///< Hexadecimal digits in rows, after offsets.
    Base64 ///< As in MIME.
};

/// What a text was understood as.
struct Reading
{
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    QString notation; ///< In words; empty for plain hexadecimal digits and for records.
    QString fault;    ///< Why the text cannot be read, or not in one way only; otherwise empty.
};

/// Reads bytes as people and programs write them: plain, with colons or dashes, with 0x, as an
/// array or a string of C, or in base64. Any other text with separators is a record.
///
/// @param form is that of the message, if it is known.
Reading readBytes(const QByteArray &text, std::optional<KorvinInspect::Form> form,
                  Notation notation);

/// Returns a text of C without its comments.
QString withoutComments(const QString &text);

/// Returns whether bytes begin as a frame, a record or a message with its class before it does.
bool beginAsMessage(const QByteArray &bytes);

/// Returns the size in words.
QString byteCount(qint64 count);

#endif
