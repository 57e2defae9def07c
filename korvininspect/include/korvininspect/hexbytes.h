#ifndef KORVININSPECT_HEXBYTES_H
#define KORVININSPECT_HEXBYTES_H

#include <korvininspect/korvininspectglobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KorvinInspect {

/// Reads bytes from pairs of hexadecimal digits. White space between the pairs is allowed.
///
/// @return what is wrong, and at which character, counted from 1; empty on success.
KORVININSPECT_EXPORT QString bytesFromHex(const QString &text, QByteArray *bytes);

/// Writes bytes as pairs of digits with a blank between them.
KORVININSPECT_EXPORT QString hexFromBytes(const QByteArray &bytes);

} // namespace KorvinInspect

#endif
