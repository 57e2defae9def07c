#ifndef EDGECASES_H
#define EDGECASES_H

/// Prints the cases at the edges of every field of every form of every class: what encoders make of
/// such fields and decoders of such columns and bytes, and frames and records that are cut or have
/// sizes that are wrong.
///
/// A case has an edge in each of its fields, so that a few dozen cases are enough for a form. Which
/// fields a form has, and where, is what explain() says.
void writeEdgeCases();

#endif
