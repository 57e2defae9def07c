#ifndef COMBINATIONCASES_H
#define COMBINATIONCASES_H

#include "generatedpackages.h"

/// Prints cases of combination records: every type word and what looks like one, items that are
/// broken or empty, and items whose record does not decode.
void writeCombinationCases();

/// Prints a case of a combination record of random items, broken or not.
void writeGeneratedCombination(Generator &generator, const QString &name);

#endif
