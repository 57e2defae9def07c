#ifndef DECODECOMMAND_H
#define DECODECOMMAND_H

#include "commandline.h"

#include <korvininspect/packageforms.h>

extern const Command DecodeCommand;

/// Gives a field a value other than that which it has.
void changeField(const KorvinInspect::PackageField &field, PackageBase &package);

#endif
