// Puts the tables that the layouts give into the documents and headers that are named as arguments.

#include "doctables.h"

#include <QtCore/QFile>

int main(int argc, char *argv[])
{
    for (int i = 1; i < argc; ++i) {
        QFile file(QFile::decodeName(argv[i]));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s: %s", argv[i], qUtf8Printable(file.errorString()));
        const QString before = QString::fromUtf8(file.readAll());
        file.close();
        QStringList names;
        const QString after = withDocTables(before, &names);
        if (after == before)
            continue;
        if (!file.open(QIODevice::WriteOnly))
            qFatal("%s: %s", argv[i], qUtf8Printable(file.errorString()));
        file.write(after.toUtf8());
    }
    return 0;
}
