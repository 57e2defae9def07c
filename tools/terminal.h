#ifndef TERMINAL_H
#define TERMINAL_H

#include <QtCore/QString>

#include <cstdio>

/// Returns whether a standard stream is a terminal.
bool isTerminal(std::FILE *stream);

/// Returns the columns of the terminal that standard output is; 0 if it is none.
int terminalWidth();

/// Breaks a long line between words, at @p width columns. Every later row begins with @p indent
/// blanks. Leaves the line as it is if the width is 0, or leaves too little room for words.
QString wrapped(const QString &line, int indent, int width);

/// Shows on standard error how many frames and records have been read, if standard error is a
/// terminal and standard output is not.
class Progress
{
public:
    Progress();
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(int line);

private:
    bool m_isShown;
    bool m_hasLine = false;
};

#endif
