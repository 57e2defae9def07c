#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include <korvininspect/packageclass.h>

#include <QtCore/QByteArray>
#include <QtCore/QCommandLineParser>
#include <QtCore/QStringList>

#include <vector>

/// Exit statuses other than 0.
enum ExitStatus {
    Refused = 1, ///< The input is refused, or the two inputs differ.
    WrongInput = 2
};

/// Prints one line to standard error and ends the program. Escapes what is not printable.
[[noreturn]] void fail(const QString &message);

/// Prints one line to standard error.
void note(const QString &message);

/// Prints to standard output.
void print(const QByteArray &output);

/// Reads a whole file that must not be empty; "-" is standard input.
QByteArray contentOf(const QString &fileName);

/// Tells a person at the terminal that the program waits for input, if standard input is one.
void announceTerminal();

/// Returns the class of that name. Ends the program if there is none. @p place begins its message.
const KorvinInspect::PackageClass &classNamed(const QString &name, const QString &place = {});

/// An option of a command.
struct CommandOption
{
    const char *name;
    const char *description;
    const char *value = nullptr; ///< What its value is; null for an option without one.
    QStringList words = {};      ///< The values that it takes; empty for any.
    bool isRepeatable = false;
};

class CommandLine;

/// A command of the program.
struct Command
{
    const char *name;
    const char *summary;     ///< What it does, in the list of all commands.
    const char *description; ///< What it does, in its own help.
    const char *examples;
    void (*declare)(CommandLine &line);  ///< Adds its options and arguments.
    int (*run)(const CommandLine &line); ///< Returns the exit status.
};

/// The options and arguments of one command.
class CommandLine
{
public:
    /// Declares the options of a command.
    explicit CommandLine(const Command &command);

    /// Adds an argument. One whose name ends with "..." may be repeated.
    void addArgument(const char *name, const char *description, bool isRequired = false);
    void addOption(const CommandOption &option);

    /// Parses the arguments of the program. Ends it for --help and for wrong arguments.
    void parse(const QStringList &arguments);

    /// Returns the help of the command.
    QByteArray help() const;

    const std::vector<CommandOption> &options() const { return m_options; }

    QStringList arguments() const { return m_arguments; }
    bool isSet(const char *option) const;
    QString value(const char *option) const;
    QStringList values(const char *option) const;

    /// Returns the index of the option's value in its words; 0 if it is not given.
    int choice(const char *option) const;

    /// Ends the program if @p option is given with one of @p others.
    void refuseTogether(const char *option, std::initializer_list<const char *> others) const;

    /// Ends the program if one of @p options is given, and says that it goes only with @p
    /// condition.
    void refuseWithout(const char *condition, std::initializer_list<const char *> options) const;

private:
    [[noreturn]] void failToParse() const;
    bool isOption(const QString &word) const;
    void checkValues() const;

    const Command &m_command;
    QCommandLineParser m_parser;
    std::vector<CommandOption> m_options;
    QStringList m_arguments;
    int m_maxArguments = 0;
};

#endif
