#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include <QtCore/QCommandLineParser>
#include <QtCore/QString>
#include <QtNetwork/QHostAddress>

/// @file
/// What users say on the command line. Each operation ends the program with one line and status 2
/// where it is not what is expected: nothing is guessed.

/// Ends the program with a line on standard error.
[[noreturn]] void fail(const QString &message);

/// Prints to standard output, at once; ends the program where that fails.
void print(const QString &text);

/// Reads the arguments of the program, or of one of its commands: the first is its name in the help.
/// Ends the program after it has printed the help or the version.
void parse(QCommandLineParser *parser, const QStringList &arguments);

/// Reads a whole number, decimal or hexadecimal after "0x".
///
/// @param name says in the message what the number is for.
qint64 numberFrom(const QString &name, const QString &text, qint64 least, qint64 most);

/// Reads a number from 0 to 1.
double shareFrom(const QString &name, const QString &text);

/// Reads an IP address, or "localhost".
QHostAddress addressFrom(const QString &name, const QString &text);

/// Where a program listens.
struct Place
{
    QHostAddress address;
    quint16 port = 0;
};

/// Reads ADDRESS:PORT.
Place placeFrom(const QString &name, const QString &text);

#endif
