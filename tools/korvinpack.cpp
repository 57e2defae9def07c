#include "bytenotation.h"
#include "classescommand.h"
#include "commandline.h"
#include "completion.h"
#include "conform.h"
#include "decodecommand.h"
#include "encodecommands.h"
#include "explaincommands.h"
#include "suggestion.h"

#include <korvininspect/hexbytes.h>

#include <QtCore/QCoreApplication>

#include <algorithm>
#include <cstdlib>

namespace {

const char HelpExamples[] = "\n"
                            "Examples:\n"
                            "  korvinpack help\n"
                            "  korvinpack help explain\n";

void declareHelp(CommandLine &line)
{
    line.addArgument("COMMAND", "The command to describe.");
}

int help(const CommandLine &line);

const Command HelpCommand{
    "help",
    "describe the program or a command",
    "Describes the program, or a command with its options.",
    HelpExamples,
    declareHelp,
    help,
};

const std::vector<const Command *> &commands()
{
    static const std::vector<const Command *> all{
        &EncodeCommand,  &DecodeCommand,  &ExplainCommand, &CheckCommand, &DiffCommand,
        &CombineCommand, &ConformCommand, &ClassesCommand, &HelpCommand,
    };
    return all;
}

QByteArray overview()
{
    constexpr int NameWidth = 9;
    QByteArray text("Encodes and decodes the packages of a device-control protocol.\n"
                    "\n"
                    "Usage: korvinpack COMMAND [OPTIONS] [ARGUMENTS]\n"
                    "\n"
                    "Commands:\n");
    for (const Command *command : commands()) {
        text += "  " + QByteArray(command->name).leftJustified(NameWidth)
            + QByteArray(command->summary) + '\n';
    }
    return text
        + "\n"
          "See korvinpack help COMMAND for more.\n"
          "\n"
          "Exit status:\n"
          "  0  success\n"
          "  1  check refuses an input, diff found a difference, or conform a fault\n"
          "  2  wrong input or arguments: a line on standard error names or counts them\n";
}

/// Returns the command of that name. Ends the program if there is none.
const Command &commandNamed(const QString &name)
{
    QStringList names;
    for (const Command *command : commands()) {
        if (name == QLatin1String(command->name))
            return *command;
        names << QString::fromLatin1(command->name);
    }
    QString hint = suggestion(name, names);
    QByteArray bytes;
    if (KorvinInspect::bytesFromHex(name, &bytes).isEmpty() && beginAsMessage(bytes))
        hint = QStringLiteral("; write korvinpack explain \"%1\"").arg(name);
    else if (hint.isEmpty())
        hint = QStringLiteral("; see korvinpack help");
    fail(QStringLiteral("%1: no such command%2").arg(name, hint));
}

int help(const CommandLine &line)
{
    if (line.arguments().isEmpty())
        print(overview());
    else
        print(CommandLine(commandNamed(line.arguments().constFirst())).help());
    return EXIT_SUCCESS;
}

int run(const QStringList &arguments)
{
    const QString name = arguments.value(1);
    if (name == QLatin1String("--help") || name == QLatin1String("-h")) {
        print(overview());
        return EXIT_SUCCESS;
    }
    if (name == QLatin1String("--version")) {
        print("korvinpack " KORVINPACK_VERSION "\n");
        return EXIT_SUCCESS;
    }
    // For the shells: not a command that people see.
    if (name == QLatin1String("--complete")) {
        const QStringList words = completions(commands(), arguments.mid(2));
        print(words.isEmpty() ? QByteArray() : words.join(QLatin1Char('\n')).toUtf8() + '\n');
        return EXIT_SUCCESS;
    }
    if (name.isEmpty())
        fail(QStringLiteral("a command is missing; see korvinpack help"));
    const Command &command = commandNamed(name);
    CommandLine line(command);
    line.parse(arguments);
    return command.run(line);
}

} // namespace

int main(int argc, char *argv[])
{
    // Messages and usage lines name the program, not where it is.
    char name[] = "korvinpack";
    if (argc > 0)
        argv[0] = name;
    const QCoreApplication application(argc, argv);
    return run(QCoreApplication::arguments());
}
