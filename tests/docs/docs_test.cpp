// Compares the documentation with the code: the tables of docs/protocol.md and of the headers with
// those that the layouts give, and the programs of README.md with examples/. pages_test.py runs the
// commands.

#include "doctables.h"
#include "testsupport.h"

#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QRegularExpression>

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

/// The programs of README.md are examples that are built and run.
TEST(Documentation, ReadmeShowsTheExamples)
{
    const QString readme = contentOf(QStringLiteral("README.md"));
    const QString begin = QStringLiteral("```cpp\n");
    int position = 0;
    for (const char *name : {"examples/roundtrip.cpp", "examples/tcpclient.cpp"}) {
        position = readme.indexOf(begin, position) + begin.size();
        ASSERT_GE(position, begin.size()) << name;
        EXPECT_EQ(readme.mid(position, readme.indexOf(QStringLiteral("```"), position) - position),
                  contentOf(QString::fromLatin1(name)));
    }
    EXPECT_EQ(readme.indexOf(begin, position), -1) << "a block that no example holds";
}

} // namespace
