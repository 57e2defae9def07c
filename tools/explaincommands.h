#ifndef EXPLAINCOMMANDS_H
#define EXPLAINCOMMANDS_H

#include <QtCore/QStringList>

/// Runs the command explain.
void explainInputs(const QStringList &arguments);

/// Runs the command check.
///
/// @return the exit status.
int checkInputs(const QStringList &arguments);

/// Runs the command diff.
///
/// @return the exit status.
int diffInputs(const QStringList &arguments);

#endif
