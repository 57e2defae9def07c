#include "codecprogram.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>

namespace {

constexpr int LongestAnswer = 1024 * 1024;

} // namespace

CodecProgram::CodecProgram(const QStringList &command, int timeout)
    : m_command(command)
    , m_timeout(timeout)
{
}

CodecProgram::~CodecProgram()
{
    end();
}

QString CodecProgram::start()
{
    if (m_process)
        return {};
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process->start(m_command.constFirst(), m_command.mid(1));
    if (m_process->waitForStarted())
        return {};
    const QString reason = m_process->errorString();
    m_process.reset();
    return QStringLiteral("%1: %2").arg(m_command.constFirst(), reason);
}

QString CodecProgram::ask(const QByteArray &line, QByteArray *answer)
{
    if (m_process->bytesAvailable() > 0)
        return QStringLiteral("the program printed more than one line for the case before");
    QElapsedTimer clock;
    clock.start();
    m_process->write(line + '\n');
    while (!m_process->canReadLine()) {
        if (m_process->bytesAvailable() > LongestAnswer)
            return QStringLiteral("the answer is longer than 1 MiB");
        const int left = m_timeout - static_cast<int>(qMin<qint64>(clock.elapsed(), m_timeout));
        if (left == 0)
            return QStringLiteral("no answer within %1 s").arg(m_timeout / 1000.0);
        if (m_process->waitForReadyRead(left) || m_process->canReadLine())
            continue;
        // It has ended, closed its output, or said nothing for long enough.
        const bool isRunning = m_process->state() != QProcess::NotRunning;
        if ((!isRunning || m_process->waitForFinished(left)) && !m_process->canReadLine())
            return howItEnded();
    }
    *answer = m_process->readLine();
    return {};
}

void CodecProgram::end()
{
    if (!m_process)
        return;
    m_process->kill();
    m_process->waitForFinished(m_timeout);
    m_process.reset();
}

QString CodecProgram::howItEnded() const
{
    if (m_process->exitStatus() == QProcess::CrashExit)
        return QStringLiteral("the program crashed");
    return QStringLiteral("the program ended with exit status %1").arg(m_process->exitCode());
}
