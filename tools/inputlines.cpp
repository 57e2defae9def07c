#include "inputlines.h"

#include "commandline.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>

#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

using namespace KorvinInspect;

namespace {

bool isTerminal(std::FILE *stream)
{
#ifdef Q_OS_WIN
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

} // namespace

QString capturedBytes(const QByteArray &text, std::optional<Form> form, QByteArray *bytes)
{
    if (form != Form::Text) {
        QString fault = bytesFromHex(textFromUtf8(text), bytes);
        const bool hasSeparators = text.contains(',') || text.contains('^');
        if (fault.isEmpty() || form || !hasSeparators)
            return fault;
    }
    *bytes = text;
    return {};
}

void InputLines::addOptions(CommandLine &line)
{
    line.addOption("file", "Reads a file, one frame or record in each line.", "FILE");
    line.addOption("raw", "The input is the bytes of one frame or record.");
    line.addArgument("INPUT",
                     "A frame in hexadecimal digits, or a record. Default: the lines of standard "
                     "input.");
}

InputLines::InputLines(const CommandLine &line, std::optional<Form> form)
    : m_form(form)
    , m_isRaw(line.isSet("raw"))
{
    if (!line.arguments().isEmpty()) {
        if (line.isSet("file"))
            fail(QStringLiteral("--file %1: not allowed with INPUT").arg(line.value("file")));
        m_name = QStringLiteral("INPUT");
        m_first = line.arguments().constFirst().toUtf8();
        m_line = 1;
        return;
    }
    m_name = line.isSet("file") ? line.value("file") : QStringLiteral("-");
    m_file.setFileName(m_name);
    // Open standard input by its descriptor: lines read from a FILE end at the first zero byte.
    constexpr int StandardInput = 0;
    const bool isOpen = m_name == QLatin1String("-")
        ? m_file.open(StandardInput, QIODevice::ReadOnly)
        : m_file.open(QIODevice::ReadOnly);
    if (!isOpen)
        fail(QStringLiteral("%1: %2").arg(m_name, m_file.errorString()));
    if (m_isRaw)
        m_first = m_file.readAll();
    else if (!readLine(&m_first))
        m_state = State::End;
}

bool InputLines::readLine(QByteArray *text)
{
    while (true) {
        *text = m_file.readLine();
        if (text->isEmpty())
            return false;
        ++m_line;
        while (text->endsWith('\n') || text->endsWith('\r'))
            text->chop(1);
        if (!text->isEmpty())
            return true;
    }
}

bool InputLines::next(Captured *captured)
{
    QByteArray text;
    captured->isOnly = false;
    switch (m_state) {
    case State::First:
        text = m_first;
        captured->line = qMax<std::size_t>(m_line, 1);
        captured->isOnly = m_isRaw || !m_file.isOpen() || !readLine(&m_second);
        m_state = captured->isOnly ? State::End : State::Second;
        break;
    case State::Second:
        text = m_second;
        captured->line = m_line;
        m_state = State::Later;
        break;
    case State::Later:
        if (!readLine(&text))
            return false;
        captured->line = m_line;
        break;
    case State::End:
        return false;
    }
    captured->origin =
        captured->isOnly ? m_name : QStringLiteral("%1, line %2").arg(m_name).arg(captured->line);
    captured->fault.clear();
    if (m_isRaw)
        captured->bytes = text;
    else
        captured->fault = capturedBytes(text, m_form, &captured->bytes);
    if (captured->isOnly && !captured->fault.isEmpty())
        fail(QStringLiteral("%1: %2").arg(m_name, captured->fault));
    return true;
}

Progress::Progress()
    : m_isShown(isTerminal(stderr) && !printsToTerminal())
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
    return isTerminal(stdout);
}
