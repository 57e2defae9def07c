#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include <korvininspect/packageclass.h>

#include <QtCore/QByteArray>
#include <QtCore/QCommandLineParser>
#include <QtCore/QStringList>

/// Exit statuses other than 0.
enum ExitStatus {
    Refused = 1, ///< The input is refused, or the two inputs differ.
    WrongInput = 2
};

/// Prints one line to standard error and ends the program.
[[noreturn]] void fail(const QString &message);

/// Prints to standard output.
void print(const QByteArray &output);

/// Reads a whole file; "-" is standard input.
QByteArray contentOf(const QString &fileName);

/// Returns the class of that name. Ends the program if there is none.
const KorvinInspect::PackageClass &classNamed(const QString &name);

/// The options of one command.
class CommandLine
{
public:
    CommandLine(const QString &command, const QString &description, const char *examples);

    void addArgument(const char *name, const char *description);

    /// Adds an option with a value, or without one if @p value is null.
    void addOption(const char *name, const char *description, const char *value = nullptr);

    /// Parses the arguments. Ends the program for --help and for wrong arguments.
    void parse(const QStringList &arguments, int maxArguments);

    QStringList arguments() const;
    bool isSet(const char *option) const;
    QString value(const char *option) const;
    QStringList values(const char *option) const;

    /// Returns the index of the option's value in @p words, of which the first is the default. Ends
    /// the program for any other value.
    int choice(const char *option, const QStringList &words) const;

private:
    QCommandLineParser m_parser;
    QByteArray m_examples;
    QStringList m_arguments;
};

#endif
