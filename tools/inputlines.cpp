#include "inputlines.h"

#include "commandline.h"

#include <hexbytes.h>

#include <cstdio>
#include <unistd.h>

using namespace KorvinInspect;

QByteArray capturedBytes(const QByteArray &text, bool isText, const QString &origin)
{
    if (isText)
        return text;
    QByteArray bytes;
    const QString fault = bytesFromHex(QString::fromUtf8(text), &bytes);
    if (fault.isEmpty())
        return bytes;
    // A record has separators, which are no digits.
    if (!text.contains(',') && !text.contains('^'))
        fail(QStringLiteral("%1: %2").arg(origin, fault));
    return text;
}

void InputLines::addOptions(CommandLine &line)
{
    line.addOption("file", "Reads a file, one frame or record in each line.", "FILE");
    line.addOption("raw", "The input is the bytes of one frame or record.");
    line.addArgument("INPUT",
                     "A frame in hexadecimal digits or a record; the lines of standard input where "
                     "it is missing.");
}

InputLines::InputLines(const CommandLine &line)
    : m_isText(line.value("form") == QLatin1String("text"))
    , m_isRaw(line.isSet("raw"))
{
    if (!line.arguments().isEmpty()) {
        if (line.isSet("file"))
            fail(QStringLiteral("--file %1: there is an INPUT already").arg(line.value("file")));
        m_isArgument = true;
        m_name = QStringLiteral("INPUT");
        m_ahead = line.arguments().constFirst().toUtf8();
        m_isAhead = true;
        return;
    }
    m_name = line.isSet("file") ? line.value("file") : QStringLiteral("-");
    m_file.setFileName(m_name);
    const bool isOpen = m_name == QLatin1String("-") ? m_file.open(stdin, QIODevice::ReadOnly)
                                                     : m_file.open(QIODevice::ReadOnly);
    if (!isOpen)
        fail(QStringLiteral("%1: %2").arg(m_name, m_file.errorString()));
    if (m_isRaw) {
        m_ahead = m_file.readAll();
        m_isAhead = true;
    } else {
        m_isAhead = readLine(&m_ahead);
    }
}

bool InputLines::readLine(QByteArray *text)
{
    while (!m_file.atEnd()) {
        *text = m_file.readLine();
        ++m_lineAhead;
        while (text->endsWith('\n') || text->endsWith('\r'))
            text->chop(1);
        if (!text->isEmpty())
            return true;
    }
    return false;
}

bool InputLines::next(Captured *captured)
{
    if (!m_isAhead)
        return false;
    const bool isFirst = m_line == 0;
    m_line = m_lineAhead > 0 ? m_lineAhead : 1;
    const QByteArray text = m_ahead;
    m_isAhead = !m_isArgument && !m_isRaw && readLine(&m_ahead);
    captured->line = m_line;
    captured->isOnly = isFirst && !m_isAhead;
    captured->origin =
        captured->isOnly ? m_name : QStringLiteral("%1, line %2").arg(m_name).arg(m_line);
    captured->bytes = capturedBytes(text, m_isText || m_isRaw, captured->origin);
    return true;
}

Progress::Progress()
    : m_isShown(isatty(STDERR_FILENO) && !printsToTerminal())
{
}

Progress::~Progress()
{
    if (m_hasLine)
        std::fputs("\r\x1B[K", stderr);
}

void Progress::show(std::size_t line)
{
    constexpr std::size_t Step = 10000;
    if (!m_isShown || line % Step != 0)
        return;
    std::fprintf(stderr, "\rkorvinpack: %zu lines", line);
    m_hasLine = true;
}

bool printsToTerminal()
{
    return isatty(STDOUT_FILENO);
}
