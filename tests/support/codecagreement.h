#ifndef CODECAGREEMENT_H
#define CODECAGREEMENT_H

#include "testsupport.h"

#include <korvininspect/packageforms.h>

#include <QtCore/QByteArray>

/// @file
/// Expectations about what decoders, encoders, check() and explain() must agree on for any input.

MessageShape shapeOf(const PackageClass &itsClass, const Encoding &encoding);

/// Expects that the explained fields are the input without a gap and, where it decodes, that their
/// values are those that a decoder stores. A large announced block is not decoded.
void expectExplained(const QByteArray &input, const PackageClass &itsClass,
                     const Encoding &encoding);

/// Expects the same of a combination record and each of its items.
void expectCombinationExplained(const QString &record);

/// Expects that an input which check() accepts decodes, and that an encoder writes it: from the
/// decoded package, where the form is lossless.
void expectWrittenByAnEncoder(const QByteArray &input, const PackageClass &itsClass,
                              const Encoding &encoding);

#endif
