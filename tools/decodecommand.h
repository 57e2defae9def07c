#ifndef DECODECOMMAND_H
#define DECODECOMMAND_H

#include "commandline.h"

extern const Command DecodeCommand;

#endif
