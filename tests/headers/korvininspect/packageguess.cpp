#include <korvininspect/packageguess.h>

bool korvininspect_packageguess();

bool korvininspect_packageguess()
{
    const QVector<KorvinInspect::Guess> guesses = KorvinInspect::guess(QByteArray(6, '\0'));
    const KorvinInspect::KnownShape known{{}, KorvinInspect::Form::Frame, {}};
    return KorvinInspect::bestGuess(QByteArray(6, '\0'), known) && guesses.size() > 1
        && !guesses.front().reason.isEmpty()
        && guesses.front().shape.form == KorvinInspect::Form::Frame;
}
