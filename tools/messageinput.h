#ifndef MESSAGEINPUT_H
#define MESSAGEINPUT_H

#include "messagesource.h"

#include <QtCore/QBuffer>
#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QSet>

#include <memory>
#include <optional>

class CommandLine;

/// One captured frame or record.
struct Captured
{
    QByteArray bytes;                ///< The frame, or the record in UTF-8.
    QString fault;                   ///< Why it is neither a frame nor a record; otherwise empty.
    KorvinInspect::KnownShape label; ///< What stands before it.
    QString origin;                  ///< Its name in messages.
    QString place;                   ///< Its line, or its packet, time and partners.
    QJsonObject placeJson;           ///< The same.
    int number = 0;                  ///< Of the line or packet.
    bool isOnly = false;             ///< Whether it is the only input, and of no capture file.
};

/// Reads captured frames and records one by one: the argument of a command, or those of a file or
/// of standard input. Says on standard error what an input was understood as.
class MessageInput
{
public:
    /// Adds the options that the constructor reads.
    static void addOptions(CommandLine &line);

    /// Adds only the option that says how bytes are written.
    static void addNotation(CommandLine &line);

    /// @param isOneText says that all lines are one message.
    MessageInput(const CommandLine &line, std::optional<KorvinInspect::Form> form,
                 bool isOneText = false);

    /// Reads a text as one message. @p name is its name in messages.
    MessageInput(const CommandLine &line, std::optional<KorvinInspect::Form> form,
                 const QString &name, const QByteArray &text);

    /// Reads the next input. Ends the program if there is none at all, or if the only one is
    /// neither a frame nor a record; another one that is neither has a fault.
    ///
    /// @return false at the end.
    bool next(Captured *captured);

    /// Reads the only input. Ends the program if there are more.
    Captured only();

private:
    void open(const CommandLine &line);
    void begin(InputSettings settings);
    bool read(Captured *captured);
    QString contradictionOf(const KorvinInspect::KnownShape &label) const;
    void tell(const FoundMessage &message);
    [[noreturn]] void failOf(const QString &fault) const;

    const CommandLine &m_line;
    QString m_name;
    QByteArray m_text;
    QBuffer m_buffer;
    QFile m_file;
    std::unique_ptr<MessageSource> m_source;
    bool m_isCapture = false;
    bool m_isRaw = false;
    int m_count = 0;
    std::optional<Captured> m_second;
    QSet<QString> m_told; ///< Notations.
};

#endif
