#ifndef KORVININSPECT_PACKAGEGUESS_H
#define KORVININSPECT_PACKAGEGUESS_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

namespace KorvinInspect {

/// What an input may be.
struct Guess
{
    MessageShape shape; ///< Class, form and direction.
    Verdict verdict;    ///< That of check() for the shape.
    QString reason;     ///< Why it may be this, or why not quite.
};

/// What a captured frame or record may be, best first.
///
/// The form shows by itself: 55 AA and a checksum, columns of text, else a byte frame. Then every
/// class is tried, and after those of this form the ones of the others. Those that check() accepts
/// come first, and among them those whose read/write code and kind of payload are usual for the
/// class; then records with the right number of columns; then those that are refused latest.
///
/// Several classes share a layout, so that the first guess need not be right: a short reply of most
/// classes is the same six bytes.
///
/// @param input is the frame, or the record in UTF-8.
KORVININSPECT_EXPORT QVector<Guess> guess(const QByteArray &input);

} // namespace KorvinInspect

#endif
