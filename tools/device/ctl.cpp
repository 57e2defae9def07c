// korvin-device ctl: tells a running device what to do.

#include "arguments.h"
#include "controlserver.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtNetwork/QLocalSocket>

namespace {

constexpr int Patience = 10000; // milliseconds

/// Returns the value that a text stands for: JSON, or else the text itself.
QJsonValue valueOf(const QString &text)
{
    const QByteArray list = '[' + text.toUtf8() + ']';
    const QJsonArray values = QJsonDocument::fromJson(list).array();
    return values.size() == 1 ? values.first() : QJsonValue(text);
}

void takeRange(const QString &text, QJsonObject *command)
{
    const int slash = static_cast<int>(text.indexOf(QLatin1Char('/')));
    if (slash >= 0)
        command->insert(QStringLiteral("unit"), text.left(slash));
    const QString name = text.mid(slash + 1);
    const bool isAddress = name.startsWith(QLatin1String("0x"));
    command->insert(isAddress ? QStringLiteral("address") : QStringLiteral("range"), name);
}

/// Returns the rules that a share or a list in JSON stands for.
QJsonValue faultsOf(const QString &text)
{
    QJsonValue value = valueOf(text);
    if (value.isArray())
        return value;
    return QJsonArray{
        QJsonObject{{QStringLiteral("kind"), QStringLiteral("any")},
                    {QStringLiteral("chance"), shareFrom(QStringLiteral("faults"), text)}}};
}

struct Usage
{
    const char *word;
    int least; ///< Arguments after the word.
    int most;
    const char *usage;
};

constexpr Usage Usages[] = {
    {"get", 1, 2, "get [UNIT/]RANGE, or get [UNIT/]0xADDRESS SIZE"},
    {"set", 2, 2, "set [UNIT/]RANGE VALUE, or set [UNIT/]0xADDRESS DATA"},
    {"faults", 0, 1, "faults [SHARE | RULES]"},
    {"statistics", 0, 0, "statistics"},
    {"addresses", 0, 0, "addresses"},
    {"save", 0, 1, "save [FILE]"},
    {"reload", 0, 0, "reload"},
    {"quit", 0, 0, "quit"},
};

const Usage &usageOf(const QStringList &words)
{
    for (const Usage &known : Usages) {
        if (words.first() != QLatin1String(known.word))
            continue;
        if (words.size() - 1 < known.least || words.size() - 1 > known.most)
            fail(QStringLiteral("%1 expected").arg(QLatin1String(known.usage)));
        return known;
    }
    fail(QStringLiteral("%1: no such command; ctl --help lists them").arg(words.first()));
}

QJsonObject commandOf(const QStringList &words)
{
    const QString word = QLatin1String(usageOf(words).word);
    QJsonObject command{{QStringLiteral("command"), word}};
    if (word == QLatin1String("get") || word == QLatin1String("set"))
        takeRange(words.at(1), &command);
    const bool isAddress = command.contains(QLatin1String("address"));
    if (word == QLatin1String("set"))
        command.insert(isAddress ? QStringLiteral("data") : QStringLiteral("value"),
                       isAddress ? QJsonValue(words.at(2)) : valueOf(words.at(2)));
    if (word == QLatin1String("get") && words.size() > 2)
        command.insert(QStringLiteral("size"), valueOf(words.at(2)));
    if (word == QLatin1String("faults") && words.size() > 1)
        command.insert(QStringLiteral("faults"), faultsOf(words.at(1)));
    if (word == QLatin1String("save") && words.size() > 1)
        command.insert(QStringLiteral("file"), QFileInfo(words.at(1)).absoluteFilePath());
    return command;
}

QJsonObject exchange(const QString &path, const QJsonObject &command)
{
    QLocalSocket socket;
    socket.connectToServer(QFileInfo(path).absoluteFilePath());
    if (!socket.waitForConnected(Patience))
        fail(QStringLiteral("%1: %2").arg(path, socket.errorString()));
    socket.write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(Patience))
            fail(QStringLiteral("%1: no answer: %2").arg(path, socket.errorString()));
    }
    return QJsonDocument::fromJson(socket.readLine()).object();
}

/// Returns a value as people and scripts like to read it.
QString textOf(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isObject())
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson().trimmed());
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(list.mid(1, list.size() - 2));
}

} // namespace

int runControl(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tells a running device what to do."));
    const QCommandLineOption device(QStringLiteral("device"),
                                    QStringLiteral("Which device, where there are several."),
                                    QStringLiteral("name"));
    parser.addOption(device);
    QString list;
    for (const Usage &known : Usages)
        list += QLatin1String("\n  ") + QLatin1String(known.usage);
    parser.addPositionalArgument(QStringLiteral("SOCKET"),
                                 QStringLiteral("That of --control of the device."));
    parser.addPositionalArgument(QStringLiteral("COMMAND"), QStringLiteral("One of these:") + list);
    parse(&parser, arguments);
    const QStringList words = parser.positionalArguments();
    if (words.size() < 2)
        fail(QStringLiteral("SOCKET COMMAND expected; ctl --help lists the commands"));
    QJsonObject command = commandOf(words.mid(1));
    if (parser.isSet(device))
        command.insert(QStringLiteral("device"), parser.value(device));
    const QJsonObject answer = exchange(words.first(), command);
    if (answer.contains(QLatin1String("error"))) {
        std::fprintf(stderr, "korvin-device: %s\n",
                     qUtf8Printable(answer.value(QLatin1String("error")).toString()));
        return 1;
    }
    if (answer.size() == 1)
        print(textOf(answer.begin().value()) + QLatin1Char('\n'));
    else if (!answer.isEmpty())
        print(textOf(answer) + QLatin1Char('\n'));
    return 0;
}
