#ifndef CONFORM_H
#define CONFORM_H

#include <QtCore/QStringList>

/// The command conform.
///
/// @return the exit status.
int conformProgram(const QStringList &arguments);

#endif
