#include <korvininspect/inputtext.h>

namespace KorvinInspect {

QString textFromUtf8(const QByteArray &utf8)
{
    return QString::fromUtf8(utf8.constData(), utf8.size());
}

QString printable(const QString &text, int maxCharacters)
{
    QString shown;
    for (const QChar character : text.left(maxCharacters)) {
        // Keep surrogate pairs together: a half of one is not a character.
        if (character.isPrint() || character.isSurrogate())
            shown += character;
        else
            shown += QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
    }
    return text.size() > maxCharacters ? shown + QLatin1String("...") : shown;
}

} // namespace KorvinInspect
