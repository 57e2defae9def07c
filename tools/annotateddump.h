#ifndef ANNOTATEDDUMP_H
#define ANNOTATEDDUMP_H

#include <korvininspect/packageexplain.h>

/// Returns an explained frame as a hex dump with a row for each field, or a record with a row for
/// each column.
///
/// @param isColored colours the fields for a terminal.
QByteArray annotatedDump(const QVector<KorvinInspect::ExplainedField> &fields,
                         const KorvinInspect::MessageShape &shape, bool isColored);

/// Returns a field in words: the meaning of its value and its purpose.
QString wordsOf(const KorvinInspect::ExplainedField &field);

#endif
