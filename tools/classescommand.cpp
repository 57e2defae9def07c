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
            rows.append({names.at(id), descriptionOf(static_cast<ClassId>(id))});
        print(table(rows));
        return EXIT_SUCCESS;
    }
    const QString name = line.arguments().constFirst();
    if (name == combination) {
        print(combination.toUtf8() + ": "
              + descriptionOf(ClassId::PackageRequestCombination).toUtf8() + '\n'
              + table({{QStringLiteral("  packages"),
                        QStringLiteral("a list of packages in JSON, each with its class")}}));
        return EXIT_SUCCESS;
    }
    const PackageClass &listed = classNamed(name);
    print(listed.name.toUtf8() + ": " + descriptionOf(listed.id).toUtf8() + '\n'
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
