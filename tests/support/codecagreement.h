#ifndef CODECAGREEMENT_H
#define CODECAGREEMENT_H

#include "testsupport.h"

#include <korvininspect/packageforms.h>

#include <QtCore/QByteArray>

/// @file
/// What decoders, encoders, check() and explain() must agree on for any input, as expectations.

MessageShape shapeOf(const PackageClass &itsClass, const Encoding &encoding);

/// Expects that the explained fields are the input without a gap and, where it decodes, that their
/// values are those that a decoder stores. A block of which more than a little is announced is not
/// decoded.
void expectExplained(const QByteArray &input, const PackageClass &itsClass,
                     const Encoding &encoding);

/// The same of a combination record and each of its items.
void expectCombinationExplained(const QString &record);

/// Expects of what check() accepts that it decodes, and that an encoder writes it: where the form
/// is lossless, from what was decoded.
void expectWrittenByAnEncoder(const QByteArray &input, const PackageClass &itsClass,
                              const Encoding &encoding);

#endif
