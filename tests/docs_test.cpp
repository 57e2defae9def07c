// Holds the documentation to the code: the tables of docs/protocol.md are those that the layouts
// give, and every korvinpack command that README.md, docs/ and tests/data/golden/ show prints what
// they say it prints. The start pages that need a library installed are for scripts/start-pages.sh.

#include "layouts_p.h"
#include "testsupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

namespace {

/// Walks over the layout of a frame and describes it, a row for each field.
class ByteTable
{
public:
    QString markdown() const
    {
        return QStringLiteral("| offset | width | field | value |\n|---|---|---|---|\n") + m_rows;
    }

    void constant(const char *name, quint8 value)
    {
        const QString digits = QString::number(value, 16).toUpper();
        row("1", name, QStringLiteral("always %1").arg(digits.rightJustified(2, QLatin1Char('0'))));
    }

    void gap() { row("1", "-", QStringLiteral("undefined, written as 00")); }

    template <typename T>
    void u8(const char *name, T &)
    {
        row("1", name, QStringLiteral("unsigned"));
    }

    template <typename T>
    void s8(const char *name, T &)
    {
        row("1", name, QStringLiteral("signed"));
    }

    template <typename T>
    void u16(const char *name, T &)
    {
        row("2", name, QStringLiteral("unsigned"));
    }

    template <typename T>
    void i32(const char *name, T &)
    {
        row("4", name, QStringLiteral("signed"));
    }

    void access(const char *name, OrvexEnum::ReadWriteCode)
    {
        row("1", name, QStringLiteral("0 read; 1 any other code"));
    }

    void flag(const char *name, bool)
    {
        row("1", name, QStringLiteral("1 true; any other byte false"));
    }

    void sizedText(const char *name, const QString &field)
    {
        row("2", "", QStringLiteral("unsigned, the size of %1").arg(QLatin1String(letter(name))));
        text(name, field);
    }

    void uncountedText(const char *name, const QString &field) { sizedText(name, field); }

    void text(const char *name, const QString &)
    {
        row(letter(name), name, QStringLiteral("UTF-8 without a terminator"));
    }

    void text(const char *name, int, const QString &field) { text(name, field); }

    void block(const char *name, int, const QByteArray &)
    {
        row(letter(name), name, QStringLiteral("bytes"));
    }

private:
    /// What stands for the size of a field in the tables.
    static const char *letter(const char *name)
    {
        static const QMap<QByteArray, const char *> letters{
            {"deviceKey", "K"}, {"tag", "T"}, {"fileNameWithPath", "N"}, {"data", "L"}};
        return letters.value(name);
    }

    void row(const char *width, const char *field, const QString &value)
    {
        m_rows += QStringLiteral("| %1%2 | %3 | %4 | %5 |\n")
                      .arg(m_fixed)
                      .arg(m_variable, QLatin1String(width), QLatin1String(field), value);
        bool number = false;
        m_fixed += QByteArray(width).toInt(&number);
        if (!number)
            m_variable += QLatin1Char('+') + QLatin1String(width);
    }

    QString m_rows;
    int m_fixed = 0;
    QString m_variable;
};

/// Walks over the columns of a record and describes them, a row for each.
class ColumnTable
{
public:
    explicit ColumnTable(int first)
        : m_column(first)
    {
    }

    QString markdown() const
    {
        return QStringLiteral("| column | field | written | read |\n|---|---|---|---|\n") + m_rows;
    }

    template <typename T>
    void u8(const char *name, T &)
    {
        row(name, "0 to 255", "unsigned, low 8 bits kept");
    }

    template <typename T>
    void u16(const char *name, T &)
    {
        row(name, "0 to 65535", "unsigned, low 16 bits kept");
    }

    template <typename T>
    void i32(const char *name, T &)
    {
        row(name, "signed", "signed 32-bit");
    }

    template <typename T>
    void u32WrittenI32Read(const char *name, T &)
    {
        row(name, "unsigned 32-bit", "signed 32-bit");
    }

    template <typename T>
    void i32WrittenU32Read(const char *name, T &)
    {
        row(name, "signed 32-bit", "unsigned 32-bit");
    }

    template <typename T>
    void u64WrittenI32Read(const char *name, T &)
    {
        row(name, "unsigned 64-bit", "signed 32-bit");
    }

    void text(const char *name, const QString &) { row(name, "as it stands", "as it stands"); }

    void escaped(const char *name, const QString &)
    {
        row(name, "`/` as `#*#`, then `,` as `*#*`", "`*#*` as `,`, then `#*#` as `/`");
    }

    void access(const char *name, OrvexEnum::ReadWriteCode)
    {
        row(name, "`write` for code 1, else `read`", "`read` as 0, any other text as 1");
    }

    void flag(const char *name, bool)
    {
        row(name, "`true` or `false`", "`true` as true, any other text as false");
    }

    void readKind(const char *name, OrvexEnum::ClientPackageType)
    {
        row(name, "`data`, `file` or `memData`", "any other text as `memData`");
    }

    void writeKind(const char *name, OrvexEnum::ClientPackageType)
    {
        row(name, "`data`, `file` or `memData`", "any other text as `data`");
    }

    template <typename Result>
    void result(const char *name, Result)
    {
        row(name, "name, or nothing for a code without one", "any other text as `ok`");
    }

    void dataString(const char *name, const QString &)
    {
        row(name, "bytes as numbers joined by `/`", "low 8 bits of each number kept");
    }

private:
    void row(const char *field, const char *written, const char *read)
    {
        m_rows += QStringLiteral("| %1 | %2 | %3 | %4 |\n")
                      .arg(m_column++)
                      .arg(QLatin1String(field), QLatin1String(written), QLatin1String(read));
    }

    QString m_rows;
    int m_column;
};

/// The tables of docs/protocol.md by their names there.
QMap<QString, QString> tablesOfTheLayouts()
{
    using namespace Korvin;
    PackageBasePrivate package;
    int number = 0;
    long offset = 0;
    bool flag = false;
    QString text;
    QByteArray data;
    auto kind = OrvexEnum::DataPackage;
    CommonPart common{package};
    RegisterReadPart registerRead{number, kind};
    RegisterWritePart registerWrite{flag, kind};
    DataBlock readBlock{"replyDataLength"};
    DataBlock writeBlock{"packageDataLength"};
    FileReadPart fileRead{text};
    FileWritePart fileWrite{text, number};

    QMap<QString, QString> tables;
    const auto bytes = [&tables](const char *name, auto walk) {
        ByteTable table;
        walk(table);
        tables[QString::fromLatin1(name)] = table.markdown();
    };
    const auto columns = [&tables](const char *name, int first, auto part) {
        ColumnTable table(first);
        part.columns(table);
        tables[QString::fromLatin1(name)] = table.markdown();
    };

    bytes("request header", [&](auto &w) { common.header(w); });
    bytes("short reply", [&](auto &w) { common.shortReply(w); });
    bytes("full reply results as written", [&](auto &w) { common.fullReplyResults(w); });
    bytes("full reply results as read", [&](auto &w) { common.results(w); });
    bytes("register read payload", [&](auto &w) { registerRead.payload(w); });
    bytes("register write payload", [&](auto &w) { registerWrite.payload(w); });
    bytes("data block of a read", [&](auto &w) {
        readBlock.lengthField(w);
        readBlock.dataField(w, data);
    });
    bytes("data block of a write", [&](auto &w) {
        writeBlock.lengthField(w);
        writeBlock.dataField(w, data);
    });
    bytes("file read payload", [&](auto &w) { fileRead.payload(w); });
    bytes("file write payload as written", [&](auto &w) { fileWrite.writtenPayload(w); });
    bytes("file write payload as read", [&](auto &w) { fileWrite.readPayload(w); });
    bytes("Linux header", [&](auto &w) { LinuxHeader{package}.walk(w); });

    columns("common columns", 0, common);
    columns("acknowledge column", 15, AckColumn{package.ackCode});
    columns("register read columns of a request", 15, registerRead);
    columns("register read columns of a reply", 16, registerRead);
    columns("register write columns of a request", 15, registerWrite);
    columns("register write columns of a reply", 16, registerWrite);
    columns("data read columns of a reply", 18, DataColumns{"replyDataLength", number, text});
    columns("data write columns of a request", 17, DataColumns{"packageDataLength", number, text});
    columns("data write columns of a reply", 18, DataColumns{"packageDataLength", number, text});
    columns("file read column of a request", 17, fileRead);
    columns("file read column of a reply", 18, fileRead);
    columns("file write columns of a request", 17, fileWrite);
    columns("file write columns of a reply", 18, fileWrite);
    columns("memory read column of a request", 17, MemoryReadPart{offset});
    columns("memory read column of a reply", 18, MemoryReadPart{offset});
    columns("memory write columns of a request", 17, MemoryWritePart{offset, number});
    columns("memory write columns of a reply", 18, MemoryWritePart{offset, number});
    columns("special record", 0, SpecialPart{number, number, text});
    return tables;
}

QString contentOf(const QString &fileName)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + fileName);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << fileName.toStdString();
    return QString::fromUtf8(file.readAll());
}

/// The tables of the document: each stands behind a line "<!-- table: its name -->".
QMap<QString, QString> tablesOfTheDocument()
{
    static const QRegularExpression table(
        QStringLiteral("^<!-- table: ([^\\n]*) -->\\n\\n((?:\\|[^\\n]*\\n)+)"),
        QRegularExpression::MultilineOption);
    QMap<QString, QString> tables;
    const QString document = contentOf(QStringLiteral("docs/protocol.md"));
    auto found = table.globalMatch(document);
    while (found.hasNext()) {
        const QRegularExpressionMatch match = found.next();
        EXPECT_FALSE(tables.contains(match.captured(1))) << match.captured(1).toStdString();
        tables[match.captured(1)] = match.captured(2);
    }
    return tables;
}

TEST(Documentation, TablesAreThoseOfTheLayouts)
{
    const QMap<QString, QString> expected = tablesOfTheLayouts();
    const QMap<QString, QString> documented = tablesOfTheDocument();
    for (auto table = expected.begin(); table != expected.end(); ++table) {
        EXPECT_TRUE(documented.value(table.key()) == table.value())
            << "docs/protocol.md must have\n<!-- table: " << table.key().toStdString() << " -->\n\n"
            << table.value().toStdString();
    }
    EXPECT_EQ(documented.keys(), expected.keys());
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
         {"examples/roundtrip.cpp", "examples/inspect.cpp", "examples/simulator.cpp"}) {
        position = readme.indexOf(begin, position) + begin.size();
        ASSERT_GE(position, begin.size()) << name;
        const QString shown =
            readme.mid(position, readme.indexOf(QStringLiteral("```"), position) - position);
        QString example = contentOf(QString::fromLatin1(name));
        example.replace(QStringLiteral("\n    "), QStringLiteral("\n"));
        EXPECT_GE(shown.count(QLatin1Char('\n')), 6);
        EXPECT_TRUE(example.contains(shown)) << shown.toStdString();
    }
    EXPECT_EQ(readme.indexOf(begin, position), -1) << "a block that no example holds";
}

} // namespace
