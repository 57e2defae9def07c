#include "shapewords.h"

#include "suggestion.h"

#include <korvininspect/packageclass.h>

using namespace KorvinInspect;

QStringList formWords()
{
    return {QStringLiteral("frame"), QStringLiteral("text"), QStringLiteral("linux")};
}

QStringList directionWords()
{
    return {QStringLiteral("request"), QStringLiteral("reply")};
}

QStringList classNames()
{
    static const QStringList names = [] {
        QStringList all;
        for (const PackageClass &listed : packageClasses())
            all << listed.name;
        return all << className(ClassId::PackageRequestCombination);
    }();
    return names;
}

KnownShape takeLabel(QByteArray *message, QString *fault)
{
    constexpr int LongestLabel = 80;
    const QByteArray start = message->left(LongestLabel);
    const auto formEnd = start.indexOf(' ');
    const auto classEnd = start.indexOf(' ', formEnd + 1);
    if (formEnd < 0 || classEnd < 0)
        return {};
    const QString formWord = QString::fromLatin1(start.left(formEnd));
    const auto form = formWords().indexOf(formWord);
    if (form < 0)
        return {};
    const QString name = QString::fromLatin1(start.mid(formEnd + 1, classEnd - formEnd - 1));
    const auto classId = classNames().indexOf(name);
    if (classId < 0 && fault) {
        *fault = QStringLiteral("begins with \"%1 %2\": no such class%3")
                     .arg(formWord, name, suggestion(name, classNames()));
    }
    if (classId < 0)
        return {};
    message->remove(0, classEnd + 1);
    return {static_cast<ClassId>(classId), static_cast<Form>(form), {}};
}

bool isMessage(const QByteArray &bytes)
{
    QByteArray message = bytes;
    const KnownShape label = takeLabel(&message);
    const std::optional<Guess> best = bestGuess(message, label);
    return best && best->verdict.isOk();
}
