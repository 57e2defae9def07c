#ifndef SUGGESTION_H
#define SUGGESTION_H

#include <QtCore/QString>
#include <QtCore/QStringList>

/// Returns "; did you mean NAME?" with the one of @p names that is most like @p word in any case of
/// letters; empty if none is like it.
QString suggestion(const QString &word, const QStringList &names);

#endif
