#include "messageinput.h"

#include "capturemessages.h"
#include "commandline.h"
#include "shapewords.h"
#include "terminal.h"
#include "textmessages.h"

#include <korvininspect/hexbytes.h>

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

using namespace KorvinInspect;

namespace {

/// Hands out the bytes of one message.
class RawMessage : public MessageSource
{
public:
    explicit RawMessage(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool next(FoundMessage *message) override
    {
        if (m_bytes.isEmpty())
            return false;
        *message = FoundMessage();
        message->bytes = std::move(m_bytes);
        m_bytes.clear();
        message->label = takeLabel(&message->bytes, &message->fault);
        message->number = 1;
        return true;
    }

    QString summary() const override { return {}; }

private:
    QByteArray m_bytes;
};

InputSettings settingsOf(const CommandLine &line, std::optional<Form> form)
{
    InputSettings settings;
    settings.form = form;
    if (line.isSet("as"))
        settings.notation = static_cast<Notation>(line.choice("as") + 1);
    if (line.isSet("framing"))
        settings.framing = static_cast<StreamFraming>(line.choice("framing") + 1);
    return settings;
}

QString timeText(qint64 nanoseconds)
{
    constexpr qint64 InASecond = 1000000000;
    constexpr qint64 InAMicrosecond = 1000;
    constexpr int Digits = 6;
    const QDateTime seconds = QDateTime::fromSecsSinceEpoch(nanoseconds / InASecond, Qt::UTC);
    return seconds.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.%1Z"))
        .arg(nanoseconds % InASecond / InAMicrosecond, Digits, 10, QLatin1Char('0'));
}

/// Returns where a message was found, for people and in JSON.
void setPlace(const FoundMessage &message, Captured *captured)
{
    if (message.from.isEmpty()) {
        captured->place = QStringLiteral("line %1").arg(message.number);
        captured->placeJson = {{QStringLiteral("line"), message.number}};
        return;
    }
    captured->place = QStringLiteral("packet %1").arg(message.number);
    captured->placeJson = {{QStringLiteral("packet"), message.number},
                           {QStringLiteral("from"), message.from},
                           {QStringLiteral("to"), message.to}};
    if (message.time >= 0) {
        captured->place += QLatin1String(", ") + timeText(message.time);
        captured->placeJson.insert(QStringLiteral("time"), timeText(message.time));
    }
    captured->place += QStringLiteral(", %1 -> %2").arg(message.from, message.to);
}

} // namespace

void MessageInput::addNotation(CommandLine &line)
{
    line.addOption({"as",
                    "How bytes are written: hex, dump (rows with offsets) or base64; their look "
                    "decides by default.",
                    "NOTATION",
                    {QStringLiteral("hex"), QStringLiteral("dump"), QStringLiteral("base64")}});
}

void MessageInput::addOptions(CommandLine &line)
{
    line.addOption({"file",
                    "Reads a file: a frame or record in each line, dumps, or a capture (pcap, "
                    "pcapng).",
                    "FILE"});
    line.addOption({"raw", "The input is the bytes of one frame or record."});
    addNotation(line);
    line.addOption({"framing",
                    "Where messages end in captured TCP streams: lines, length, linux or segments; "
                    "each stream shows it by default.",
                    "FRAMING",
                    {QStringLiteral("lines"), QStringLiteral("length"), QStringLiteral("linux"),
                     QStringLiteral("segments")}});
    line.addArgument("INPUT",
                     "A frame in hexadecimal digits, or a record. Default: standard input.");
}

MessageInput::MessageInput(const CommandLine &line, std::optional<Form> form, bool isOneText)
    : m_line(line)
    , m_isRaw(line.isSet("raw"))
{
    line.refuseTogether("raw", {"as", "framing"});
    InputSettings settings = settingsOf(line, form);
    settings.isOneText = isOneText || !line.arguments().isEmpty();
    if (line.arguments().isEmpty()) {
        open(line);
    } else {
        if (line.isSet("file"))
            fail(QStringLiteral("--file %1: not allowed with INPUT").arg(line.value("file")));
        m_name = QStringLiteral("INPUT");
        m_text = line.arguments().constFirst().toUtf8();
    }
    begin(settings);
}

MessageInput::MessageInput(const CommandLine &line, std::optional<Form> form, const QString &name,
                           const QByteArray &text)
    : m_line(line)
    , m_name(name)
    , m_text(text)
{
    InputSettings settings = settingsOf(line, form);
    settings.isOneText = true;
    begin(settings);
}

void MessageInput::open(const CommandLine &line)
{
    m_name = line.isSet("file") ? line.value("file") : QStringLiteral("-");
    m_file.setFileName(m_name);
    const bool isInput = m_name == QLatin1String("-");
    if (isInput)
        announceTerminal();
    // Open standard input by its descriptor: lines read from a FILE end at the first zero byte.
    constexpr int StandardInput = 0;
    const bool isOpen = isInput ? m_file.open(StandardInput, QIODevice::ReadOnly)
                                : m_file.open(QIODevice::ReadOnly);
    if (isOpen)
        return;
    QByteArray bytes;
    const bool isMessage = bytesFromHex(m_name, &bytes).isEmpty() && beginAsMessage(bytes);
    fail(QStringLiteral("%1: %2%3")
             .arg(m_name, m_file.errorString(),
                  isMessage ? QStringLiteral("; give bytes without --file") : QString()));
}

void MessageInput::begin(InputSettings settings)
{
    QIODevice *device = &m_file;
    if (!m_file.isOpen()) {
        m_buffer.setBuffer(&m_text);
        m_buffer.open(QIODevice::ReadOnly);
        device = &m_buffer;
    }
    constexpr int Start = 4;
    m_isCapture = !m_isRaw && CaptureFile::isCapture(device->peek(Start));
    if (m_isCapture && m_line.isSet("as"))
        fail(QStringLiteral("--as %1: not allowed with a capture, %2")
                 .arg(m_line.value("as"), m_name));
    if (m_isRaw)
        m_source = std::make_unique<RawMessage>(device->readAll());
    else if (m_isCapture)
        m_source = std::make_unique<CaptureMessages>(device, settings.framing);
    else
        m_source = std::make_unique<TextMessages>(device, settings);
}

/// Ends the program with what is wrong with the only input, and a hint if it is a file.
void MessageInput::failOf(const QString &fault) const
{
    const QString argument = QString::fromUtf8(m_text);
    const bool isFile = !m_file.isOpen() && m_text.size() < 256 && QFileInfo::exists(argument);
    fail(QStringLiteral("%1: %2%3")
             .arg(m_name, fault,
                  isFile ? QStringLiteral("; there is a file of this name: --file %1 reads it")
                               .arg(argument)
                         : QString()));
}

/// Returns how the words before a message contradict the options; empty if they do not.
QString MessageInput::contradictionOf(const KnownShape &label) const
{
    if (!label.form)
        return {};
    const QString form = formWords().at(static_cast<int>(*label.form));
    const QString name = className(*label.classId);
    const bool hasOtherForm = m_line.isSet("form") && m_line.value("form") != form;
    const bool hasOtherClass = m_line.isSet("class") && m_line.value("class") != name;
    if (!hasOtherForm && !hasOtherClass)
        return {};
    return QStringLiteral("begins with \"%1 %2\", which contradicts --%3 %4")
        .arg(form, name, QLatin1String(hasOtherForm ? "form" : "class"),
             m_line.value(hasOtherForm ? "form" : "class"));
}

/// Says once what each notation was understood as.
void MessageInput::tell(const FoundMessage &message)
{
    const bool isLabelled = message.label.form && message.from.isEmpty();
    QStringList parts;
    if (!message.notation.isEmpty())
        parts << QStringLiteral("%1 in %2").arg(byteCount(message.bytes.size()), message.notation);
    if (isLabelled)
        parts << QStringLiteral("a message after its form and class");
    const QString key = message.notation + QString::number(int(isLabelled));
    if (parts.isEmpty() || m_told.contains(key))
        return;
    m_told.insert(key);
    const QString line =
        m_file.isOpen() ? QStringLiteral(", line %1").arg(message.number) : QString();
    note(
        QStringLiteral("%1: understood as %2").arg(m_name + line, parts.join(QLatin1String(", "))));
}

bool MessageInput::read(Captured *captured)
{
    FoundMessage message;
    if (!m_source->next(&message))
        return false;
    const QString contradiction = contradictionOf(message.label);
    if (!contradiction.isEmpty())
        message.fault = contradiction;
    if (message.fault.isEmpty())
        tell(message);
    *captured = Captured();
    captured->bytes = message.bytes;
    captured->fault = message.fault;
    captured->label = message.label;
    captured->number = message.number;
    setPlace(message, captured);
    captured->isOnly = m_isRaw;
    return true;
}

bool MessageInput::next(Captured *captured)
{
    const bool isFirst = m_count++ == 0;
    bool isRead = true;
    if (m_second) {
        *captured = *std::move(m_second);
        m_second.reset();
    } else {
        isRead = read(captured);
    }
    if (isFirst && isRead && !m_isCapture) {
        Captured second;
        if (!m_isRaw && read(&second))
            m_second = second;
        captured->isOnly = !m_second && captured->placeJson.contains(QLatin1String("line"));
    }
    if (!isRead) {
        const QString summary = m_source->summary();
        if (isFirst && summary.isEmpty())
            fail(QStringLiteral("%1: empty; a frame or record is expected").arg(m_name));
        if (isFirst)
            fail(QStringLiteral("%1: no message in %2").arg(m_name, summary));
        if (!summary.isEmpty())
            note(QStringLiteral("%1: understood as %2").arg(m_name, summary));
        return false;
    }
    captured->origin = captured->isOnly ? m_name : m_name + QLatin1String(", ") + captured->place;
    if (captured->isOnly && !captured->fault.isEmpty())
        failOf(captured->fault);
    return true;
}

Captured MessageInput::only()
{
    Captured captured;
    Captured second;
    next(&captured);
    if (next(&second))
        fail(QStringLiteral("%1: more than one message; expected one").arg(m_name));
    captured.origin = m_name;
    if (!captured.fault.isEmpty())
        failOf(captured.fault);
    return captured;
}
