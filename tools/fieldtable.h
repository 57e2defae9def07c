#ifndef FIELDTABLE_H
#define FIELDTABLE_H

#include <QtCore/QByteArray>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QVector>

using Rows = QVector<QPair<QString, QString>>;

/// Formats two columns, the first one padded to at least @p width characters. Fits them to the
/// terminal, and escapes what is not printable.
QByteArray table(const Rows &rows, int width = 0);

#endif
