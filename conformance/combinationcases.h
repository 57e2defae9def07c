#ifndef COMBINATIONCASES_H
#define COMBINATIONCASES_H

/// Prints cases of combination records: every type word and what looks like one, items that are
/// broken or empty, and items whose record does not decode.
void writeCombinationCases();

#endif
