#include "fieldtable.h"

#include "terminal.h"

#include <korvininspect/inputtext.h>

QByteArray table(const Rows &rows, int width)
{
    constexpr int LongestValue = 1 << 30;
    for (const auto &row : rows)
        width = qMax(width, static_cast<int>(row.first.size()));
    const int columns = terminalWidth();
    QString text;
    for (const auto &row : rows) {
        const QString line = row.first.leftJustified(width) + QLatin1String("  ")
            + KorvinInspect::printable(row.second, LongestValue);
        text += wrapped(line, width + 2, columns) + QLatin1Char('\n');
    }
    return text.toUtf8();
}
