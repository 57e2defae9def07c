#include "classescommand.h"

#include "fieldtable.h"
#include "shapewords.h"

#include <korvininspect/messageshape.h>

#include <cstdlib>

using namespace KorvinInspect;

namespace {

const char ClassesExamples[] = "\n"
                               "Examples:\n"
                               "  korvinpack classes\n"
                               "  korvinpack classes PackageRequestRead\n";

/// Says what a class is for.
QString purposeOf(ClassId id)
{
    switch (id) {
    case ClassId::PackageBase:
        return QStringLiteral("a package for one register: what every request and reply has");
    case ClassId::PackageRequestRead:
        return QStringLiteral("asks to read a register");
    case ClassId::PackageRequestReadData:
        return QStringLiteral("asks to read a block of bytes; the reply brings them");
    case ClassId::PackageRequestReadFile:
        return QStringLiteral("asks to read a file on the device side");
    case ClassId::PackageRequestReadMemData:
        return QStringLiteral("asks to read device memory, starting at an offset");
    case ClassId::PackageRequestWrite:
        return QStringLiteral("asks to write a register");
    case ClassId::PackageRequestWriteData:
        return QStringLiteral("asks to write a block of bytes");
    case ClassId::PackageRequestWriteIP:
        return QStringLiteral("asks to set an IP address, by a block of bytes");
    case ClassId::PackageRequestWriteFile:
        return QStringLiteral("asks to write a file on the device side, starting at an offset");
    case ClassId::PackageRequestWriteMemData:
        return QStringLiteral("asks to write device memory, starting at an offset");
    case ClassId::SpecialPackageRequest:
        return QStringLiteral("asks the proxy itself: an identifier and a text");
    case ClassId::PackageRequestCombination:
        return QStringLiteral("carries several requests in one record");
    }
    return {};
}

Rows fieldRows(const PackageClass &listed)
{
    const std::unique_ptr<PackageBase> package = listed.create();
    Rows rows;
    for (const PackageField &field : listed.fields) {
        rows.append(
            {QStringLiteral("  ") + field.name,
             QStringLiteral("%1; default \"%2\"").arg(field.type, field.describe(*package))});
    }
    return rows;
}

void declareClasses(CommandLine &line)
{
    line.addArgument("CLASS", "The class to list the fields of.");
}

int classes(const CommandLine &line)
{
    const QString combination = className(ClassId::PackageRequestCombination);
    if (line.arguments().isEmpty()) {
        Rows rows;
        const QStringList names = classNames();
        for (int id = 0; id < names.size(); ++id)
            rows.append({names.at(id), purposeOf(static_cast<ClassId>(id))});
        print(table(rows));
        return EXIT_SUCCESS;
    }
    const QString name = line.arguments().constFirst();
    if (name == combination) {
        print(combination.toUtf8() + ": " + purposeOf(ClassId::PackageRequestCombination).toUtf8()
              + '\n'
              + table({{QStringLiteral("  packages"),
                        QStringLiteral("a list of packages in JSON, each with its class")}}));
        return EXIT_SUCCESS;
    }
    const PackageClass &listed = classNamed(name);
    print(listed.name.toUtf8() + ": " + purposeOf(listed.id).toUtf8() + '\n'
          + table(fieldRows(listed)));
    return EXIT_SUCCESS;
}

} // namespace

const Command ClassesCommand{
    "classes",
    "list the classes, or the fields of one",
    "Lists the classes and what they are for; or the fields of one class, their defaults and "
    "ranges.",
    ClassesExamples,
    declareClasses,
    classes,
};
