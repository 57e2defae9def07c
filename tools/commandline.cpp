#include "commandline.h"

#include "shapewords.h"
#include "suggestion.h"
#include "terminal.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/messageshape.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

using namespace KorvinInspect;

namespace {

QString dashed(const QString &option)
{
    return QLatin1String("--") + option;
}

QString dashed(const char *option)
{
    return dashed(QString::fromLatin1(option));
}

bool isHex(const QString &text)
{
    QByteArray bytes;
    return bytesFromHex(text, &bytes).isEmpty() && !bytes.isEmpty();
}

} // namespace

void note(const QString &message)
{
    constexpr int LongestNote = 2000;
    const QByteArray line = "korvinpack: " + printable(message, LongestNote).toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
}

[[noreturn]] void fail(const QString &message)
{
    note(message);
    std::exit(WrongInput);
}

void print(const QByteArray &output)
{
    const auto size = static_cast<std::size_t>(output.size());
    if (std::fwrite(output.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0)
        fail(QStringLiteral("cannot write to standard output"));
}

void announceTerminal()
{
    if (isTerminal(stdin))
        note(QStringLiteral("waiting for input on the terminal; Ctrl-D ends it"));
}

QByteArray contentOf(const QString &fileName)
{
    if (fileName.isEmpty())
        fail(QStringLiteral("the name of a file is empty"));
    QFile file(fileName);
    const bool isInput = fileName == QLatin1String("-");
    if (isInput)
        announceTerminal();
    const bool open =
        isInput ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!open)
        fail(QStringLiteral("%1: %2").arg(fileName, file.errorString()));
    QByteArray content = file.readAll();
    if (content.isEmpty())
        fail(QStringLiteral("%1: empty").arg(fileName));
    return content;
}

const PackageClass &classNamed(const QString &name, const QString &place)
{
    const PackageClass *found = packageClass(name);
    if (found)
        return *found;
    if (name == className(ClassId::PackageRequestCombination))
        fail(QStringLiteral("%1%2: a single package is expected, not a combination")
                 .arg(place, name));
    QString hint = suggestion(name, classNames());
    if (hint.isEmpty())
        hint = QStringLiteral("; \"korvinpack classes\" lists them");
    fail(QStringLiteral("%1%2: no such class%3").arg(place, name, hint));
}

CommandLine::CommandLine(const Command &command)
    : m_command(command)
{
    m_parser.setApplicationDescription(QString::fromLatin1(command.description));
    // A dash too few is a typing error, not many options of one letter.
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    command.declare(*this);
    m_parser.addOption(
        {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Prints this help.")});
}

void CommandLine::addArgument(const char *name, const char *description, bool isRequired)
{
    const QString text = QString::fromLatin1(name);
    m_parser.addPositionalArgument(text, QString::fromLatin1(description),
                                   isRequired ? text : QStringLiteral("[%1]").arg(text));
    const bool isRepeatable = QByteArray(name).endsWith("...");
    m_maxArguments = isRepeatable ? std::numeric_limits<int>::max() : m_maxArguments + 1;
}

void CommandLine::addOption(const CommandOption &option)
{
    m_options.push_back(option);
    m_parser.addOption({QString::fromLatin1(option.name), QString::fromLatin1(option.description),
                        QString::fromLatin1(option.value)});
}

/// Ends the program with what the parser found. Its messages quote the option.
void CommandLine::failToParse() const
{
    const QStringList unknown = m_parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        QStringList names{QStringLiteral("help")};
        for (const CommandOption &option : m_options)
            names << QString::fromLatin1(option.name);
        for (QString &name : names)
            name = dashed(name);
        QString hint = suggestion(dashed(unknown.constFirst()), names);
        if (hint.isEmpty())
            hint = QStringLiteral("; \"korvinpack help %1\" lists them")
                       .arg(QLatin1String(m_command.name));
        fail(QStringLiteral("--%1: %2 has no such option%3")
                 .arg(unknown.constFirst(), QLatin1String(m_command.name), hint));
    }
    const QString text = m_parser.errorText();
    const QString name =
        text.section(QLatin1Char('\''), 1, 1).remove(QRegularExpression(QStringLiteral("^-+")));
    for (const CommandOption &option : m_options) {
        if (name == QLatin1String(option.name) && option.value)
            fail(QStringLiteral("--%1: a value is missing; write --%1 %2")
                     .arg(name, QLatin1String(option.value)));
    }
    fail(QStringLiteral("--%1: takes no value").arg(name));
}

/// Returns whether a word is one of the options. As the value of another one, it shows that the
/// value itself was forgotten.
bool CommandLine::isOption(const QString &word) const
{
    return std::any_of(m_options.begin(), m_options.end(),
                       [&](const CommandOption &option) { return word == dashed(option.name); });
}

void CommandLine::checkValues() const
{
    for (const CommandOption &option : m_options) {
        QStringList given = values(option.name);
        const QString name = dashed(option.name);
        for (const QString &value : given) {
            if (value.isEmpty() || isOption(value)) {
                fail(QStringLiteral("%1: a value is missing; write %1 %2")
                         .arg(name, QLatin1String(option.value)));
            }
            if (!option.words.isEmpty() && !option.words.contains(value)) {
                fail(QStringLiteral("%1 %2: not one of %3%4")
                         .arg(name, value, option.words.join(QLatin1String(", ")),
                              suggestion(value, option.words)));
            }
        }
        given.removeDuplicates();
        if (given.size() > 1 && !option.isRepeatable)
            fail(QStringLiteral("%1: given twice, as %2 and %3; only one can be meant")
                     .arg(name, given.at(0), given.at(1)));
    }
}

void CommandLine::parse(const QStringList &arguments)
{
    const bool isParsed = m_parser.parse(arguments);
    if (m_parser.isSet(QStringLiteral("help"))) {
        print(help());
        std::exit(EXIT_SUCCESS);
    }
    if (!isParsed)
        failToParse();
    checkValues();
    m_arguments = m_parser.positionalArguments().mid(1);
    if (m_arguments.size() > m_maxArguments) {
        const QString tooMuch = m_arguments.at(m_maxArguments);
        const bool areBytes =
            isOption(QStringLiteral("--as")) && isHex(m_arguments.join(QString()));
        fail(QStringLiteral("%1: unexpected argument%2")
                 .arg(tooMuch,
                      areBytes ? QStringLiteral("; put bytes into quotation marks: \"%1\"")
                                     .arg(m_arguments.join(QLatin1Char(' ')))
                               : QStringLiteral("; %1 takes no more than %2")
                                     .arg(QLatin1String(m_command.name))
                                     .arg(m_maxArguments)));
    }
}

QByteArray CommandLine::help() const
{
    // The parser knows no commands, which come before all options.
    const QByteArray usage("Usage: korvinpack ");
    return m_parser.helpText().toUtf8().replace(usage, usage + m_command.name + ' ')
        + m_command.examples;
}

bool CommandLine::isSet(const char *option) const
{
    const QString name = dashed(option);
    return isOption(name) && m_parser.isSet(name.mid(2));
}

QString CommandLine::value(const char *option) const
{
    return m_parser.value(QString::fromLatin1(option));
}

QStringList CommandLine::values(const char *option) const
{
    return m_parser.values(QString::fromLatin1(option));
}

int CommandLine::choice(const char *option) const
{
    for (const CommandOption &declared : m_options) {
        if (QByteArray(option) == declared.name)
            return qMax(0, static_cast<int>(declared.words.indexOf(value(option))));
    }
    return 0;
}

void CommandLine::refuseTogether(const char *option,
                                 std::initializer_list<const char *> others) const
{
    for (const char *other : others) {
        if (isSet(option) && isSet(other))
            fail(QStringLiteral("%1: not allowed with %2").arg(dashed(other), dashed(option)));
    }
}

void CommandLine::refuseWithout(const char *condition,
                                std::initializer_list<const char *> options) const
{
    for (const char *option : options) {
        if (isSet(option))
            fail(QStringLiteral("%1: only with %2").arg(dashed(option), QLatin1String(condition)));
    }
}
