#ifndef CODECPROGRAM_H
#define CODECPROGRAM_H

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <memory>

class QProcess;

/// A program under test that answers one line with one line.
class CodecProgram
{
public:
    /// @param timeout is how long an answer may take, in milliseconds.
    CodecProgram(const QStringList &command, int timeout);
    ~CodecProgram();
    CodecProgram(const CodecProgram &) = delete;
    CodecProgram &operator=(const CodecProgram &) = delete;

    /// Starts the program unless it is running.
    ///
    /// @return why it cannot be started, or an empty text.
    QString start();

    /// Asks for one line.
    ///
    /// @return why there is no answer, or an empty text.
    QString ask(const QByteArray &line, QByteArray *answer);

    void end();

private:
    QString howItEnded() const;

    QStringList m_command;
    int m_timeout;
    std::unique_ptr<QProcess> m_process;
};

#endif
