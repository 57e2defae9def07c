#ifndef EXPLAINCOMMANDS_H
#define EXPLAINCOMMANDS_H

#include "commandline.h"

extern const Command ExplainCommand;
extern const Command CheckCommand;
extern const Command DiffCommand;

#endif
