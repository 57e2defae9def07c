#ifndef KORVININSPECT_PACKAGEGUESS_H
#define KORVININSPECT_PACKAGEGUESS_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

#include <optional>

namespace KorvinInspect {

/// One possible shape of an input.
struct Guess
{
    MessageShape shape; ///< Class, form and direction.
    Verdict verdict;    ///< The verdict of check() for the shape.
    QString reason;     ///< Why the input may have this shape, or what speaks against it.
};

/// Returns what a captured frame or record may be, best guess first.
///
/// Guesses that check() accepts come first, ordered by whether read/write code and kind of payload
/// are usual for the class. Then come refused guesses in the form that the input looks like: a
/// Linux frame begins with 55 AA and has a checksum, a record is text with columns, everything else
/// is a byte frame. Refused guesses in other forms come last. Refused guesses of one form are
/// ordered by how much of the input disagrees with them: codes, words and numbers that the class
/// does not have, and bytes or columns that are missing or left over. A message with a small fault,
/// such as a lost byte or a misspelt word, is mostly named as what it was.
///
/// Several classes share a layout, so the first guess need not be right: a short reply is the same
/// six bytes for most classes.
///
/// @param input is the frame, or the record in UTF-8.
KORVININSPECT_EXPORT QVector<Guess> guess(const QByteArray &input);

/// What is known of the shape of an input; the rest is guessed.
struct KnownShape
{
    std::optional<ClassId> classId = {};     ///< Which class reads it.
    std::optional<Form> form = {};           ///< Which encoding it is in.
    std::optional<Direction> direction = {}; ///< Which way it goes.

    /// Returns whether @p shape agrees with what is known.
    bool agreesWith(const MessageShape &shape) const
    {
        return classId.value_or(shape.classId) == shape.classId
            && form.value_or(shape.form) == shape.form
            && direction.value_or(shape.direction) == shape.direction;
    }
};

/// Returns the first guess of guess() that agrees with what is known, in a fraction of the time.
///
/// @return nothing if no shape agrees with it.
KORVININSPECT_EXPORT std::optional<Guess> bestGuess(const QByteArray &input,
                                                    const KnownShape &known = {});

} // namespace KorvinInspect

#endif
