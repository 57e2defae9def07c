// Wrong calls of the command-line program. A table beside this file has the exact message of each:
// one line, which names the place and says what to do.

#include "korvinpackrun.h"

#include <QtCore/QFileInfo>

namespace {

/// A command for the shell and what it prints.
struct WrongCall
{
    int line;
    QString command;
    QByteArray output;
};

/// Reads the table: a command after "$ ", and its output in the lines after it.
std::vector<WrongCall> wrongCalls()
{
    QFile file(QStringLiteral(WRONG_CALLS));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    std::vector<WrongCall> calls;
    for (int number = 1; !file.atEnd(); ++number) {
        const QByteArray line = file.readLine();
        if (line.startsWith("$ "))
            calls.push_back({number, QString::fromUtf8(line.mid(2).trimmed()), {}});
        else if (line != "\n" && !line.startsWith('#'))
            calls.back().output += line;
    }
    return calls;
}

class WrongCalls : public KorvinpackRun
{
protected:
    void SetUp() override { write("frame.hex", "00 0500 00 01 00\n"); }

    /// Runs a command with both kinds of output in one.
    QByteArray run(const QString &command, int *exitStatus) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PATH"),
                           QFileInfo(QStringLiteral(KORVINPACK)).path() + QLatin1Char(':')
                               + environment.value(QStringLiteral("PATH")));
        QProcess shell;
        shell.setProcessEnvironment(environment);
        shell.setProcessChannelMode(QProcess::MergedChannels);
        shell.setWorkingDirectory(path("."));
        shell.setStandardInputFile(QProcess::nullDevice());
        shell.start(QStringLiteral("bash"), {QStringLiteral("-c"), command});
        EXPECT_TRUE(shell.waitForFinished());
        *exitStatus = shell.exitCode();
        return shell.readAll();
    }
};

TEST_F(WrongCalls, GetOneLineAndStatus2)
{
    const std::vector<WrongCall> calls = wrongCalls();
    EXPECT_GE(calls.size(), 200U);
    for (const WrongCall &call : calls) {
        SCOPED_TRACE("line " + std::to_string(call.line) + ": " + call.command.toStdString());
        int exitStatus = 0;
        const QByteArray output = run(call.command, &exitStatus);
        EXPECT_EQ(output, call.output);
        EXPECT_EQ(output.count('\n'), 1);
        EXPECT_EQ(exitStatus, 2);
    }
}

} // namespace
