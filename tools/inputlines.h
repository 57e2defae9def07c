#ifndef INPUTLINES_H
#define INPUTLINES_H

#include <korvininspect/messageshape.h>

#include <QtCore/QFile>

#include <cstddef>
#include <optional>

class CommandLine;

/// One captured frame or record.
struct Captured
{
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    QString fault;    ///< Why it is neither a frame nor a record; otherwise empty.
    QString origin;   ///< Its name in messages.
    std::size_t line = 0;
    bool isOnly = false; ///< Whether it is the only input.
};

/// Reads hexadecimal digits as a frame and any other text with separators as a record, unless
/// @p form says what it is.
///
/// @return why the text is neither; empty on success.
QString capturedBytes(const QByteArray &text, std::optional<KorvinInspect::Form> form,
                      QByteArray *bytes);

/// Reads captured frames and records one by one: the argument of a command, or the lines of a file
/// or of standard input. Skips empty lines.
class InputLines
{
public:
    /// Adds the options that the constructor reads.
    static void addOptions(CommandLine &line);

    InputLines(const CommandLine &line, std::optional<KorvinInspect::Form> form);

    /// Reads the next input. If it is neither a frame nor a record, ends the program if it is the
    /// only input, and otherwise sets its fault.
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

/// Shows on standard error how many frames and records have been read, if standard error is a
/// terminal and standard output is not.
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

/// Returns whether standard output is a terminal.
bool printsToTerminal();

#endif
