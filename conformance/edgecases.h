#ifndef EDGECASES_H
#define EDGECASES_H

/// Prints the cases at the edges of every field of every form of every class: fields to encode,
/// columns and bytes to decode, and frames and records that are cut or have wrong sizes.
///
/// A case has an edge in each of its fields, so that a few dozen cases are enough for a form. The
/// fields of a form and their places come from explain().
void writeEdgeCases();

#endif
