#include "arguments.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

[[noreturn]] void refuse(const QString &name, const QString &text, const QString &expected)
{
    fail(QStringLiteral("%1: \"%2\" is not %3").arg(name, text, expected));
}

} // namespace

void fail(const QString &message)
{
    std::fprintf(stderr, "%s: %s\n", qUtf8Printable(QCoreApplication::applicationName()),
                 qUtf8Printable(message));
    std::exit(2);
}

void print(const QString &text)
{
    if (std::fputs(qUtf8Printable(text), stdout) < 0 || std::fflush(stdout) != 0)
        fail(QStringLiteral("cannot write to standard output"));
}

void parse(QCommandLineParser *parser, const QStringList &arguments)
{
    // Qt's own option would offer options of Qt.
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Print this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Print the version."));
    parser->addOptions({help, version});
    const bool isParsed = parser->parse(arguments);
    if (parser->isSet(help)) {
        print(parser->helpText().replace(QCoreApplication::arguments().constFirst(),
                                         QFileInfo(arguments.constFirst()).fileName()));
        std::exit(EXIT_SUCCESS);
    }
    if (parser->isSet(version)) {
        print(QStringLiteral("%1 %2\n").arg(QCoreApplication::applicationName(),
                                            QStringLiteral(KORVINPACKAGE_VERSION)));
        std::exit(EXIT_SUCCESS);
    }
    const QStringList unknown = parser->unknownOptionNames();
    if (!unknown.isEmpty()) {
        const QString &name = unknown.constFirst();
        fail(QStringLiteral("%1%2: no such option; --help lists them")
                 .arg(QLatin1String(name.size() == 1 ? "-" : "--"), name));
    }
    if (!isParsed)
        fail(parser->errorText());
}

qint64 numberFrom(const QString &name, const QString &text, qint64 least, qint64 most)
{
    const bool isHexadecimal = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    const QString digits = isHexadecimal ? text.mid(2) : text;
    bool isNumber = false;
    const qint64 number = digits.toLongLong(&isNumber, isHexadecimal ? 16 : 10);
    // Neither signs nor blanks.
    const bool beginsWithDigit = !digits.isEmpty() && digits.front().isLetterOrNumber();
    if (!isNumber || !beginsWithDigit || number < least || number > most)
        refuse(name, text, QStringLiteral("a number from %1 to %2").arg(least).arg(most));
    return number;
}

double shareFrom(const QString &name, const QString &text)
{
    bool isNumber = false;
    const double share = text.toDouble(&isNumber);
    if (!isNumber || !(share >= 0 && share <= 1))
        refuse(name, text, QStringLiteral("a number from 0 to 1"));
    return share;
}

QHostAddress addressFrom(const QString &name, const QString &text)
{
    const QHostAddress address = text == QLatin1String("localhost")
        ? QHostAddress(QHostAddress::LocalHost)
        : QHostAddress(text);
    if (address.isNull())
        refuse(name, text, QStringLiteral("an IP address"));
    return address;
}

Place placeFrom(const QString &name, const QString &text)
{
    if (!text.contains(QLatin1Char(':')))
        refuse(name, text, QStringLiteral("ADDRESS:PORT"));
    return {addressFrom(name, text.section(QLatin1Char(':'), 0, -2)),
            static_cast<quint16>(numberFrom(name, text.section(QLatin1Char(':'), -1), 1,
                                            std::numeric_limits<quint16>::max()))};
}
