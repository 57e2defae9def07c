#include "completion.h"

#include "shapewords.h"

using namespace KorvinInspect;

namespace {

/// Returns the names of the fields to set, as "NAME=", of the class that the words name.
QStringList assignments(const QStringList &words)
{
    const QString name = words.value(words.indexOf(QStringLiteral("--class")) + 1);
    const PackageClass *named = packageClass(name);
    QStringList names;
    for (const PackageField &field : (named ? *named : packageClasses().front()).fields)
        names << field.name + QLatin1Char('=');
    return names;
}

QStringList valuesOf(const CommandOption &option, const QStringList &words)
{
    if (QByteArray(option.name) == "class")
        return classNames();
    if (QByteArray(option.name) == "set")
        return assignments(words);
    return option.words;
}

QStringList namesOf(const std::vector<const Command *> &commands)
{
    QStringList names;
    for (const Command *command : commands)
        names << QString::fromLatin1(command->name);
    return names;
}

/// Returns all words that may stand in the place of the last one.
QStringList candidates(const std::vector<const Command *> &commands, const QStringList &words)
{
    if (words.size() < 2)
        return namesOf(commands) << QStringLiteral("--help") << QStringLiteral("--version");
    const int index = namesOf(commands).indexOf(words.constFirst());
    if (index < 0)
        return {};
    const Command &command = *commands.at(static_cast<std::size_t>(index));
    const CommandLine line(command);
    QStringList options{QStringLiteral("--help")};
    for (const CommandOption &option : line.options()) {
        const QString name = QLatin1String("--") + QLatin1String(option.name);
        if (option.value && words.at(words.size() - 2) == name)
            return valuesOf(option, words);
        options << name;
    }
    if (words.constLast().startsWith(QLatin1Char('-')))
        return options;
    if (QByteArray(command.name) == "classes")
        return classNames();
    return QByteArray(command.name) == "help" ? namesOf(commands) : QStringList();
}

} // namespace

QStringList completions(const std::vector<const Command *> &commands, const QStringList &words)
{
    QStringList fitting;
    for (const QString &candidate : candidates(commands, words)) {
        if (candidate.startsWith(words.isEmpty() ? QString() : words.constLast()))
            fitting << candidate;
    }
    return fitting;
}
