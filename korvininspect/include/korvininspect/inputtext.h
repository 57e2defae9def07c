#ifndef KORVININSPECT_INPUTTEXT_H
#define KORVININSPECT_INPUTTEXT_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KorvinInspect {

/// Converts all bytes. QString::fromUtf8() of an array would stop at the first zero byte.
KORVININSPECT_EXPORT QString textFromUtf8(const QByteArray &utf8);

/// Makes a text of the input safe for terminals and logs: characters that move the cursor, or
/// change colours or the writing direction, become \\u and four hexadecimal digits.
///
/// @param maxCharacters is the length at which a text is cut; "..." follows it then.
KORVININSPECT_EXPORT QString printable(const QString &text, int maxCharacters = 200);

} // namespace KorvinInspect

#endif
