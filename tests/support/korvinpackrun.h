#ifndef KORVINPACKRUN_H
#define KORVINPACKRUN_H

#include "testsupport.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

/// The end of a run of korvinpack.
struct Finished
{
    int exitStatus;
    QByteArray output;
    QString error;
};

inline Finished korvinpack(const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.start(QStringLiteral(KORVINPACK), arguments);
    process.write(input);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    return {process.exitCode(), process.readAllStandardOutput(),
            QString::fromUtf8(process.readAllStandardError())};
}

/// Expects success and nothing on standard error; returns standard output.
inline QByteArray outputOf(const QStringList &arguments, const QByteArray &input = {})
{
    const Finished run = korvinpack(arguments, input);
    EXPECT_EQ(run.exitStatus, 0) << run.error.toStdString();
    EXPECT_EQ(run.error, QString());
    return run.output;
}

inline QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}

/// A test with a directory of its own for files.
class KorvinpackRun : public testing::Test
{
protected:
    QString write(const char *name, const QByteArray &content) const
    {
        QFile file(m_directory.filePath(QString::fromUtf8(name)));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    QString path(const char *name) const { return m_directory.filePath(QString::fromUtf8(name)); }

private:
    QTemporaryDir m_directory;
};

#endif
