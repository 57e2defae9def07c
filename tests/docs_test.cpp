// Holds the documentation to the code: the tables of docs/protocol.md and of the headers are those
// that the layouts give, and every korvinpack command that README.md, docs/ and tests/data/golden/
// show prints what they say it prints. The start pages that need a library installed are for
// scripts/start-pages.sh.

#include "doctables.h"
#include "testsupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

namespace {

QString contentOf(const QString &fileName)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + fileName);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << fileName.toStdString();
    return QString::fromUtf8(file.readAll());
}

const char *const ProtocolPage = "docs/protocol.md";

QString headerOf(const QString &className)
{
    return QStringLiteral("korvinpackage/include/%1.h").arg(className.toLower());
}

/// Expects that all tables of a file are as the layouts give them.
///
/// @return their names.
QStringList expectDocTables(const QString &fileName)
{
    const QString content = contentOf(fileName);
    QStringList names;
    EXPECT_TRUE(withDocTables(content, &names) == content)
        << fileName.toStdString()
        << " is out of date: cmake --build --preset dev --target regenerate";
    for (const QString &name : std::as_const(names))
        EXPECT_TRUE(docTables().contains(name))
            << name.toStdString() << " in " << fileName.toStdString();
    return names;
}

TEST(Documentation, ProtocolHasTheTablesOfTheLayouts)
{
    QStringList names = expectDocTables(QString::fromLatin1(ProtocolPage));
    names.sort();
    EXPECT_EQ(names, QStringList(docTables().keys()));
}

TEST(Documentation, HeadersHaveTheTablesOfTheLayouts)
{
    const QMap<QString, DocTable> tables = docTables();
    for (const PackageClass &listed : packageClasses()) {
        const QString header = headerOf(listed.name);
        QStringList expected;
        for (auto table = tables.begin(); table != tables.end(); ++table) {
            if (table->className == listed.name && table.key() != QLatin1String("classes"))
                expected << table.key();
        }
        QStringList names = expectDocTables(header);
        names.sort();
        EXPECT_EQ(names, expected) << header.toStdString();
        const QRegularExpression byHand(
            QStringLiteral("(?<!///\n)/// \\| (offset|column|request) "));
        EXPECT_FALSE(contentOf(header).contains(byHand)) << header.toStdString();
    }
}

TEST(Documentation, ProtocolCoversEveryClass)
{
    const QString document = contentOf(QStringLiteral("docs/protocol.md"));
    for (const PackageClass &listed : packageClasses()) {
        EXPECT_TRUE(document.contains(QLatin1Char('`') + listed.name + QLatin1Char('`')))
            << listed.name.toStdString();
    }
    EXPECT_TRUE(document.contains(QStringLiteral("`PackageRequestCombination`")));
}

/// A command and what the document says that it prints.
struct Shown
{
    QString command;
    QString output;
};

/// The commands of the "console" blocks; each begins with "$ ", a "\" continues it.
std::vector<Shown> commandsOf(const QString &document)
{
    std::vector<Shown> commands;
    bool inConsole = false;
    bool continued = false;
    for (const QString &line : document.split(QLatin1Char('\n'))) {
        if (line.startsWith(QStringLiteral("```"))) {
            inConsole = line == QStringLiteral("```console");
            continue;
        }
        if (!inConsole)
            continue;
        if (line.startsWith(QStringLiteral("$ ")))
            commands.push_back({line.mid(2) + QLatin1Char('\n'), {}});
        else if (continued)
            commands.back().command += line + QLatin1Char('\n');
        else
            commands.back().output += line + QLatin1Char('\n');
        continued = line.endsWith(QLatin1Char('\\'));
    }
    return commands;
}

/// The environment with korvinpack in its path.
QProcessEnvironment toolsEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       QStringLiteral(TOOLS_DIR ":") + environment.value(QStringLiteral("PATH")));
    return environment;
}

TEST(Documentation, CommandsPrintWhatIsShown)
{
    const QProcessEnvironment environment = toolsEnvironment();
    int commands = 0;
    QStringList fileNames{QStringLiteral("README.md"), QStringLiteral("docs/protocol.md"),
                          QStringLiteral("docs/known-properties.md"),
                          QStringLiteral("docs/conformance.md")};
    const QString golden = QStringLiteral("tests/data/golden/");
    for (const QString &name : QDir(QStringLiteral(SOURCE_DIR "/") + golden).entryList(QDir::Files))
        fileNames << golden + name;
    for (const QString &fileName : fileNames) {
        for (const Shown &shown : commandsOf(contentOf(fileName))) {
            if (!shown.command.contains(QStringLiteral("korvinpack ")))
                continue;
            SCOPED_TRACE(fileName.toStdString() + ": " + shown.command.toStdString());
            QProcess process;
            process.setProcessEnvironment(environment);
            process.setWorkingDirectory(QStringLiteral(SOURCE_DIR));
            process.start(QStringLiteral("sh"), {QStringLiteral("-c"), shown.command});
            ASSERT_TRUE(process.waitForFinished());
            EXPECT_EQ(QString::fromUtf8(process.readAllStandardOutput()), shown.output);
            EXPECT_EQ(QString::fromUtf8(process.readAllStandardError()), QString());
            EXPECT_EQ(process.exitCode(), 0);
            ++commands;
        }
    }
    EXPECT_GE(commands, 40);
}

/// They write files and use them, one after the other, in a folder of their own.
TEST(Documentation, StartPagesPrintWhatIsShown)
{
    // Where a user's dissectors are.
    QTemporaryDir home;
    ASSERT_TRUE(QDir(home.path()).mkpath(QStringLiteral(".local/lib/wireshark")));
    ASSERT_TRUE(QFile::link(QStringLiteral(SOURCE_DIR "/wireshark"),
                            home.filePath(QStringLiteral(".local/lib/wireshark/plugins"))));
    QProcessEnvironment environment = toolsEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral("python3"),
                  {QStringLiteral(SOURCE_DIR "/tests/startpages_test.py"),
                   QStringLiteral(SOURCE_DIR "/docs/start-capture.md"),
                   QStringLiteral(SOURCE_DIR "/docs/start-firmware.md")});
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardOutput().toStdString()
                                     << process.readAllStandardError().toStdString();
}

/// The C++ blocks of README.md are parts of examples that are built and run.
TEST(Documentation, ReadmeShowsTheExamples)
{
    const QString readme = contentOf(QStringLiteral("README.md"));
    const QString begin = QStringLiteral("```cpp\n");
    int position = 0;
    for (const char *name :
         {"examples/roundtrip.cpp", "examples/inspect.cpp", "examples/tcpclient.cpp",
          "examples/simulator.cpp"}) {
        position = readme.indexOf(begin, position) + begin.size();
        ASSERT_GE(position, begin.size()) << name;
        const QString shown =
            readme.mid(position, readme.indexOf(QStringLiteral("```"), position) - position);
        const QString whole = contentOf(QString::fromLatin1(name));
        QString body = whole;
        body.replace(QStringLiteral("\n    "), QStringLiteral("\n"));
        EXPECT_GE(shown.count(QLatin1Char('\n')), 6);
        EXPECT_TRUE(whole == shown || body.contains(shown)) << shown.toStdString();
    }
    EXPECT_EQ(readme.indexOf(begin, position), -1) << "a block that no example holds";
}

} // namespace
