#ifndef SUGGESTION_H
#define SUGGESTION_H

#include <QtCore/QString>
#include <QtCore/QStringList>

/// Returns "; did you mean NAME?" with the one of @p names that is most like @p word, or that alone
/// begins with it, in any case of letters; empty if there is none.
QString suggestion(const QString &word, const QStringList &names);

#endif
