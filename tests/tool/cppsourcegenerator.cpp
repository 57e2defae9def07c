// Writes builtFromCppSource(), which builds each of the cases by the source that cppSource() gives
// for it.

#include "cppsource.h"
#include "cppsourcecases.h"

#include <QtCore/QFile>
#include <QtCore/QTextStream>

int main(int, char *argv[])
{
    QFile file(QFile::decodeName(argv[1]));
    if (!file.open(QIODevice::WriteOnly))
        qFatal("%s", qUtf8Printable(file.errorString()));
    QTextStream out(&file);
    QString calls;
    int number = 0;
    out << "#include \"cppsourcecases.h\"\n#include <korvininspect/packagejson.h>\n";
    for (const std::unique_ptr<PackageBase> &package : cppSourceCases()) {
        const QString source = cppSource(*package);
        const int blankLine = source.indexOf(QLatin1String("\n\n"));
        const QString name = QStringLiteral("build%1()").arg(++number);
        out << source.left(blankLine) << "\nstatic QJsonObject " << name << "\n{"
            << source.mid(blankLine) << "return KorvinInspect::packageToJson(package);\n}\n";
        calls += name + QLatin1String(",\n");
    }
    out << "std::vector<QJsonObject> builtFromCppSource()\n{\nreturn {" << calls << "};\n}\n";
}
