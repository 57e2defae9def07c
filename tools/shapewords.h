#ifndef SHAPEWORDS_H
#define SHAPEWORDS_H

#include <korvininspect/packageguess.h>

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

/// The words for form and direction, in the order of the enumerations.
QStringList formWords();
QStringList directionWords();

/// Returns the names of all classes in the order of the enumeration; that of combinations is the
/// last.
QStringList classNames();

/// Removes form and class before a message, as in "frame PackageRequestRead ", and returns
/// them. Nothing is known and nothing removed if there are none. @p fault becomes what is wrong
/// with a word after a form that is no class.
KorvinInspect::KnownShape takeLabel(QByteArray *message, QString *fault = nullptr);

/// Returns whether bytes are a message that check() accepts, with form and class before it or not.
bool isMessage(const QByteArray &bytes);

#endif
