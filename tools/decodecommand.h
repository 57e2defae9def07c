#ifndef DECODECOMMAND_H
#define DECODECOMMAND_H

#include "commandline.h"

#include <korvininspect/packageforms.h>

extern const Command DecodeCommand;

/// Returns the fields that a message carries: decoding changes them, or they had the value before
/// that it gives. @p decoded is the package that the message becomes.
QStringList carriedFields(const KorvinInspect::PackageClass &packageClass,
                          const KorvinInspect::Encoding &encoding, const QByteArray &message,
                          const PackageBase &decoded);

#endif
