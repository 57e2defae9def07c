#include "terminal.h"

#include <QtCore/QString>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

bool isTerminal(std::FILE *stream)
{
#ifdef Q_OS_WIN
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

int terminalWidth()
{
    if (!isTerminal(stdout))
        return 0;
#ifdef TIOCGWINSZ
    winsize size{};
    if (ioctl(fileno(stdout), TIOCGWINSZ, &size) == 0) // NOLINT(*-vararg)
        return size.ws_col;
#endif
    return 0;
}

QString wrapped(const QString &line, int indent, int width)
{
    constexpr int LeastRoom = 16;
    if (width < indent + LeastRoom)
        return line;
    QString text;
    QString rest = line;
    while (rest.size() > width) {
        auto end = rest.lastIndexOf(QLatin1Char(' '), width);
        if (end <= indent)
            end = width; // a word that is longer than the row
        text += rest.left(end) + QLatin1Char('\n');
        rest = QString(indent, QLatin1Char(' ')) + rest.mid(end).trimmed();
    }
    return text + rest;
}

Progress::Progress()
    : m_isShown(isTerminal(stderr) && !isTerminal(stdout))
{
}

Progress::~Progress()
{
    if (m_hasLine)
        std::fputs("\r\x1B[K", stderr);
}

void Progress::show(int line)
{
    constexpr int Step = 10000;
    if (!m_isShown || line % Step != 0)
        return;
    std::fprintf(stderr, "\rkorvinpack: %d lines", line);
    m_hasLine = true;
}
