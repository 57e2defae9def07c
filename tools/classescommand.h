#ifndef CLASSESCOMMAND_H
#define CLASSESCOMMAND_H

#include "commandline.h"

extern const Command ClassesCommand;

#endif
