#ifndef KORVININSPECT_INPUTTEXT_H
#define KORVININSPECT_INPUTTEXT_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KorvinInspect {

/// Converts UTF-8 to text, including zero bytes, at which QString::fromUtf8() of an array stops.
KORVININSPECT_EXPORT QString textFromUtf8(const QByteArray &utf8);

/// Makes a text of the input safe for terminals and logs: characters that move the cursor, or
/// change colours or the writing direction, become \\u and four hexadecimal digits.
///
/// @param maxCharacters is the longest text that is not cut; a cut one ends in "...".
KORVININSPECT_EXPORT QString printable(const QString &text, int maxCharacters = 200);

} // namespace KorvinInspect

#endif
