#ifndef INPUTLINES_H
#define INPUTLINES_H

#include <korvininspect/messageshape.h>

#include <QtCore/QFile>

#include <cstddef>
#include <optional>

class CommandLine;

/// One frame or record to look at.
struct Captured
{
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    QString fault;    ///< Why it is neither; empty for one that is.
    QString origin;   ///< What messages call it.
    std::size_t line = 0;
    bool isOnly = false; ///< Whether there is no other one.
};

/// Takes hexadecimal digits for a frame and any other text with separators for a record; where
/// @p form is given, for what it says.
///
/// @return why the text is neither, or an empty text.
QString capturedBytes(const QByteArray &text, std::optional<KorvinInspect::Form> form,
                      QByteArray *bytes);

/// Hands out captured frames and records: the argument of a command, or the lines of a file or of
/// standard input, one after the other, without keeping them. Empty lines are passed over.
class InputLines
{
public:
    /// Adds the options that the constructor looks at.
    static void addOptions(CommandLine &line);

    InputLines(const CommandLine &line, std::optional<KorvinInspect::Form> form);

    /// The next one. Ends the program for an only one that is neither a frame nor a record; of
    /// several, such a one has its fault.
    ///
    /// @return false at the end.
    bool next(Captured *captured);

private:
    bool readLine(QByteArray *text);

    QFile m_file;
    QString m_name;
    std::optional<KorvinInspect::Form> m_form;
    bool m_isRaw;
    std::size_t m_line = 0;
    QByteArray m_first;
    QByteArray m_second;
    enum class State { First, Second, Later, End } m_state = State::First;
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
