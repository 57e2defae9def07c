#include <korvininspect/inputtext.h>

namespace KorvinInspect {

QString textFromUtf8(const QByteArray &utf8)
{
    return QString::fromUtf8(utf8.constData(), utf8.size());
}

QString printable(const QString &text, int maxCharacters)
{
    // Keep surrogate pairs together: a half of one is not a character.
    QString kept = text.left(maxCharacters);
    if (kept.size() < text.size() && !kept.isEmpty() && kept.at(kept.size() - 1).isHighSurrogate())
        kept.chop(1);
    QString shown;
    for (const QChar character : kept) {
        if (character.isPrint() || character.isSurrogate())
            shown += character;
        else
            shown += QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
    }
    return text.size() > maxCharacters ? shown + QLatin1String("...") : shown;
}

} // namespace KorvinInspect
