#include "commandline.h"

#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>

[[noreturn]] void fail(const QString &message)
{
    std::fprintf(stderr, "korvinpack: %s\n", qUtf8Printable(message));
    std::exit(WrongInput);
}

void print(const QByteArray &output)
{
    const auto size = static_cast<std::size_t>(output.size());
    if (std::fwrite(output.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0)
        fail(QStringLiteral("cannot write to standard output"));
}

QByteArray contentOf(const QString &fileName)
{
    QFile file(fileName);
    const bool open = fileName == QLatin1String("-") ? file.open(stdin, QIODevice::ReadOnly)
                                                     : file.open(QIODevice::ReadOnly);
    if (!open)
        fail(QStringLiteral("%1: %2").arg(fileName, file.errorString()));
    return file.readAll();
}

const KorvinInspect::PackageClass &classNamed(const QString &name)
{
    const KorvinInspect::PackageClass *found = KorvinInspect::packageClass(name);
    if (!found)
        fail(QStringLiteral("%1: no such class; \"korvinpack classes\" lists them").arg(name));
    return *found;
}

CommandLine::CommandLine(const QString &command, const QString &description, const char *examples)
    : m_examples(examples)
{
    m_parser.setApplicationDescription(description);
    m_parser.addPositionalArgument(command, description, command);
}

void CommandLine::addArgument(const char *name, const char *description)
{
    m_parser.addPositionalArgument(QString::fromLatin1(name), QString::fromLatin1(description),
                                   QStringLiteral("[%1]").arg(QLatin1String(name)));
}

void CommandLine::addOption(const char *name, const char *description, const char *value)
{
    m_parser.addOption(
        {QString::fromLatin1(name), QString::fromLatin1(description), QString::fromLatin1(value)});
}

void CommandLine::parse(const QStringList &arguments, int maxArguments)
{
    const QCommandLineOption help = m_parser.addHelpOption();
    if (!m_parser.parse(arguments))
        fail(m_parser.errorText());
    if (m_parser.isSet(help)) {
        print(m_parser.helpText().toUtf8() + m_examples);
        std::exit(EXIT_SUCCESS);
    }
    m_arguments = m_parser.positionalArguments().mid(1);
    if (m_arguments.size() > maxArguments)
        fail(QStringLiteral("%1: unexpected argument").arg(m_arguments.at(maxArguments)));
}

QStringList CommandLine::arguments() const
{
    return m_arguments;
}

bool CommandLine::isSet(const char *option) const
{
    return m_parser.isSet(QString::fromLatin1(option));
}

QString CommandLine::value(const char *option) const
{
    return m_parser.value(QString::fromLatin1(option));
}

QStringList CommandLine::values(const char *option) const
{
    return m_parser.values(QString::fromLatin1(option));
}

int CommandLine::choice(const char *option, const QStringList &words) const
{
    if (!isSet(option))
        return 0;
    const int index = words.indexOf(value(option));
    if (index < 0) {
        fail(QStringLiteral("--%1 %2: not one of %3")
                 .arg(QLatin1String(option), value(option), words.join(QLatin1String(", "))));
    }
    return index;
}
