#include <korvininspect/inputtext.h>

bool korvininspect_inputtext();

bool korvininspect_inputtext()
{
    return KorvinInspect::textFromUtf8(QByteArray("\xC3\xA9")).size() == 1
        && KorvinInspect::printable(QString(3, QLatin1Char('a'))).size() == 3;
}
