#ifndef CONFORM_H
#define CONFORM_H

#include "commandline.h"

extern const Command ConformCommand;

#endif
