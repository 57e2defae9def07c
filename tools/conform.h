#ifndef CONFORM_H
#define CONFORM_H

#include <QtCore/QStringList>

/// Runs the command conform.
///
/// @return the exit status.
int conformProgram(const QStringList &arguments);

#endif
