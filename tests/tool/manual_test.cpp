// The manual page says of every command and option what the program says of itself.

#include "korvinpackrun.h"

#include <QtCore/QRegularExpression>

namespace {

/// The commands that "korvinpack help" lists.
QStringList commands()
{
    QStringList names;
    const QString help = QString::fromUtf8(outputOf({QStringLiteral("help")}));
    static const QRegularExpression row(QStringLiteral("^  ([a-z]+) "),
                                        QRegularExpression::MultilineOption);
    for (auto matches = row.globalMatch(help); matches.hasNext();)
        names << matches.next().captured(1);
    return names;
}

/// The options in a text, such as "--form".
QSet<QString> optionsIn(const QString &text)
{
    QSet<QString> names;
    static const QRegularExpression option(QStringLiteral("--[a-z]+"));
    for (auto matches = option.globalMatch(text); matches.hasNext();)
        names.insert(matches.next().captured());
    return names;
}

/// The options that a command takes, from the left column of its help.
QSet<QString> optionsOf(const QString &command)
{
    QSet<QString> names;
    const QString help = QString::fromUtf8(outputOf({QStringLiteral("help"), command}));
    static const QRegularExpression row(QStringLiteral("^  (?:-h, )?(--[a-z]+)"),
                                        QRegularExpression::MultilineOption);
    const QString options =
        help.section(QStringLiteral("\nOptions:\n"), 1).section(QStringLiteral("\nExample"), 0, 0);
    for (auto matches = row.globalMatch(options); matches.hasNext();)
        names.insert(matches.next().captured(1));
    names.remove(QStringLiteral("--help"));
    return names;
}

QString manual()
{
    QFile file(QStringLiteral(MANUAL));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return QString::fromUtf8(file.readAll()).replace(QLatin1String("\\-"), QLatin1String("-"));
}

/// The part of the manual page after a heading.
QString sectionOf(const QString &page, const QString &heading)
{
    const auto begin = page.indexOf(heading);
    const auto end = page.indexOf(QStringLiteral("\n.S"), begin + 1);
    return begin < 0 ? QString() : page.mid(begin, end - begin);
}

TEST(Manual, NamesEveryCommandAndItsOptions)
{
    const QString page = manual();
    const QStringList names = commands();
    EXPECT_EQ(names.size(), page.count(QStringLiteral("\n.SS ")));
    for (const QString &command : names) {
        SCOPED_TRACE(command.toStdString());
        const QString section = sectionOf(page, QStringLiteral("\n.SS %1").arg(command));
        ASSERT_FALSE(section.isEmpty());
        QSet<QString> described;
        for (const QString &line : section.split(QLatin1Char('\n'))) {
            if (line.startsWith(QLatin1String(".B")) && command != QLatin1String("help"))
                described += optionsIn(line);
        }
        EXPECT_EQ(described, optionsOf(command));
    }
}

TEST(Manual, HasTheExitStatuses)
{
    const QString section = sectionOf(manual(), QStringLiteral("\n.SH EXIT STATUS"));
    for (const char *status : {"\n0\t", "\n1\t", "\n2\t"})
        EXPECT_TRUE(section.contains(QLatin1String(status))) << status;
}

} // namespace
