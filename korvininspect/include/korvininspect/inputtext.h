#ifndef KORVININSPECT_INPUTTEXT_H
#define KORVININSPECT_INPUTTEXT_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KorvinInspect {

/// The text of all bytes; QString::fromUtf8() of an array would end at its first zero byte.
KORVININSPECT_EXPORT QString textFromUtf8(const QByteArray &utf8);

/// A text of the input for terminals and logs: what moves the cursor, changes colours or the
/// direction of writing becomes \\u and four hexadecimal digits.
///
/// @param maxCharacters cuts a longer text and ends it with "...".
KORVININSPECT_EXPORT QString printable(const QString &text, int maxCharacters = 200);

} // namespace KorvinInspect

#endif
