#ifndef DOCTABLES_H
#define DOCTABLES_H

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

/// @file
/// The tables of the documents and of the public headers that the layouts and the rows of the
/// classes give. In a document each stands after a line `<!-- table: NAME -->` and a blank line.

/// A table by its name, and the class that it belongs to: PackageBase for what all classes share.
struct DocTable
{
    QString className;
    QString markdown;
};

QMap<QString, DocTable> docTables();

/// Replaces the tables of a document by those of docTables(); in a header, where lines begin with
/// "///", as well.
///
/// @param names becomes the names of the tables that the document has.
QString withDocTables(const QString &document, QStringList *names);

#endif
