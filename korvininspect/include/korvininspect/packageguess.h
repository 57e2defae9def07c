#ifndef KORVININSPECT_PACKAGEGUESS_H
#define KORVININSPECT_PACKAGEGUESS_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

#include <optional>

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

/// What is known of the shape of an input; the rest is guessed.
struct KnownShape
{
    std::optional<ClassId> classId = {};     ///< Which class reads it.
    std::optional<Form> form = {};           ///< Which encoding it is in.
    std::optional<Direction> direction = {}; ///< Which way it goes.

    /// Whether @p shape is not another one than what is known.
    bool agreesWith(const MessageShape &shape) const
    {
        return classId.value_or(shape.classId) == shape.classId
            && form.value_or(shape.form) == shape.form
            && direction.value_or(shape.direction) == shape.direction;
    }
};

/// The first one of guess() that agrees with what is known, in a fraction of the time.
///
/// @return nothing where no shape agrees with it.
KORVININSPECT_EXPORT std::optional<Guess> bestGuess(const QByteArray &input,
                                                    const KnownShape &known = {});

} // namespace KorvinInspect

#endif
