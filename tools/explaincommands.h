#ifndef EXPLAINCOMMANDS_H
#define EXPLAINCOMMANDS_H

#include <QtCore/QStringList>

/// The command explain.
void explainInputs(const QStringList &arguments);

/// The command check.
///
/// @return the exit status.
int checkInputs(const QStringList &arguments);

/// The command diff.
///
/// @return the exit status.
int diffInputs(const QStringList &arguments);

#endif
