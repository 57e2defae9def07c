#ifndef INPUTLINES_H
#define INPUTLINES_H

#include <QtCore/QFile>

#include <cstddef>

class CommandLine;

/// One frame or record to look at.
struct Captured
{
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    QString origin;   ///< What messages call it.
    std::size_t line = 0;
    bool isOnly = false; ///< Whether there is no other one.
};

/// The bytes of a frame that is given in hexadecimal digits, or of a record as it stands; ends the
/// program for what is neither.
///
/// @param isText takes digits for a record too.
QByteArray capturedBytes(const QByteArray &text, bool isText, const QString &origin);

/// Hands out captured frames and records: the argument of a command, or the lines of a file or of
/// standard input, one after the other, without keeping them.
///
/// A line of hexadecimal digits is a frame, any other line a record; empty lines are passed over.
class InputLines
{
public:
    /// Adds the options that the constructor looks at.
    static void addOptions(CommandLine &line);

    explicit InputLines(const CommandLine &line);

    /// The next one; ends the program where it cannot be read.
    ///
    /// @return false at the end.
    bool next(Captured *captured);

private:
    bool readLine(QByteArray *text);

    QFile m_file;
    QString m_name;
    QByteArray m_ahead;
    std::size_t m_line = 0;
    std::size_t m_lineAhead = 0;
    bool m_isAhead = false;
    bool m_isText = false;
    bool m_isRaw = false;
    bool m_isArgument = false;
};

/// Frames and records that have been looked at, in a line of standard error, where that is a
/// terminal and standard output is none.
class Progress
{
public:
    Progress();
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(std::size_t line);

private:
    bool m_isShown;
    bool m_hasLine = false;
};

/// Whether standard output is a terminal.
bool printsToTerminal();

#endif
