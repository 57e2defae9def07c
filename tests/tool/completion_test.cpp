// What the program completes, and that the shells ask it.

#include "korvinpackrun.h"

#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>

#include <algorithm>

namespace {

QByteArrayList completions(const QStringList &words)
{
    QByteArrayList lines = outputOf(QStringList{QStringLiteral("--complete")} + words).split('\n');
    EXPECT_EQ(lines.takeLast(), QByteArray());
    return lines;
}

TEST(Completion, OffersCommandsOptionsAndValues)
{
    const struct
    {
        const char *words; // the last one is to be completed
        const char *expected;
    } rows[] = {
        {"c", "check combine conform classes"},
        {"--v", "--version"},
        {"encode --c", "--class --cpp"},
        {"encode --form ", "frame text linux"},
        {"encode --form t", "text"},
        {"encode --direction re", "request reply"},
        {"check --class SpecialP", "SpecialPackageRequest"},
        {"check --as ", "hex dump base64"},
        {"check --framing l", "lines length linux"},
        {"conform --framing l", "labelled"},
        {"encode --class SpecialPackageRequest --set strD", "strData="},
        {"encode --set time", "timeout="},
        {"classes PackageRequestC", "PackageRequestCombination"},
        {"help ex", "explain"},
        // Shells complete names of files.
        {"check --file f", ""},
        {"explain f", ""},
        {"explode f", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words);
        const QByteArray expected(row.expected);
        EXPECT_EQ(completions(words(row.words)),
                  expected.isEmpty() ? QByteArrayList() : expected.split(' '));
    }
}

/// Tests in a shell that not every machine has.
class Completes : public testing::TestWithParam<const char *>
{
protected:
    /// Runs a script in the shell with korvinpack in the path; returns what it prints.
    static QByteArray shown(const QString &script)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PATH"),
                           QFileInfo(QStringLiteral(KORVINPACK)).path() + QLatin1Char(':')
                               + environment.value(QStringLiteral("PATH")));
        QProcess shell;
        shell.setProcessEnvironment(environment);
        shell.setProcessChannelMode(QProcess::MergedChannels);
        shell.start(QString::fromLatin1(GetParam()), {QStringLiteral("-c"), script});
        EXPECT_TRUE(shell.waitForFinished());
        return shell.readAll();
    }
};

/// What asks each shell for the completions of "korvinpack check --form ".
QString scriptFor(const QByteArray &shell)
{
    const QString folder = QStringLiteral(COMPLETIONS_DIR);
    if (shell == "bash") {
        return QStringLiteral("source %1/korvinpack.bash; COMP_WORDS=(korvinpack check --form '')\n"
                              "COMP_CWORD=3; _korvinpack; printf '%s\\n' \"${COMPREPLY[@]}\"")
            .arg(folder);
    }
    if (shell == "zsh") {
        // compadd works only while a person types: print what it would get.
        return QStringLiteral(
                   "compadd() { shift; print -l -- \"$@\" }\n"
                   "words=(korvinpack check --form ''); CURRENT=4; source %1/_korvinpack")
            .arg(folder);
    }
    return QStringLiteral("source %1/korvinpack.fish; complete -C 'korvinpack check --form '")
        .arg(folder);
}

TEST_P(Completes, WhatTheProgramOffers)
{
    if (QStandardPaths::findExecutable(QString::fromLatin1(GetParam())).isEmpty())
        GTEST_SKIP() << "no " << GetParam();
    QByteArrayList lines = shown(scriptFor(GetParam())).split('\n');
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (QByteArrayList{"", "frame", "linux", "text"}));
}

INSTANTIATE_TEST_SUITE_P(Shells, Completes, testing::Values("bash", "zsh", "fish"),
                         [](const auto &shell) { return std::string(shell.param); });

} // namespace
