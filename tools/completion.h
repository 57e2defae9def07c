#ifndef COMPLETION_H
#define COMPLETION_H

#include "commandline.h"

/// Returns what the last of @p words may become: the words of the command line after the name of
/// the program. Returns nothing where a file name is expected; shells complete those themselves.
QStringList completions(const std::vector<const Command *> &commands, const QStringList &words);

#endif
