#ifndef ANNOTATEDDUMP_H
#define ANNOTATEDDUMP_H

#include <korvininspect/packageexplain.h>

/// An explained frame as a hex dump with a row for each field, or a record with its columns.
///
/// @param isColored gives fields colours of a terminal.
QByteArray annotatedDump(const QVector<KorvinInspect::ExplainedField> &fields,
                         const KorvinInspect::MessageShape &shape, bool isColored);

/// What a field is, in words: the meaning of its value, and what it is for.
QString wordsOf(const KorvinInspect::ExplainedField &field);

#endif
