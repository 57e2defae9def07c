#include "textmessages.h"

#include "capturemessages.h"
#include "hexdump.h"
#include "shapewords.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>

#include <QtCore/QIODevice>

#include <algorithm>

using namespace KorvinInspect;

namespace {

/// Messages of more rows than fit into this are refused.
constexpr int LongestText = 64 * 1024 * 1024;

bool isDeclarationOfSize(const QByteArray &line)
{
    return line.startsWith("unsigned int ") && line.contains("_len = ");
}

bool isHexDigit(char letter)
{
    return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'F')
        || (letter >= 'a' && letter <= 'f');
}

/// Returns whether a line of base64 is one of those that "base64" and MIME break lines at.
bool isBase64Row(const QByteArray &line)
{
    constexpr int MimeRow = 76;
    constexpr int MailRow = 64;
    const auto isOfBase64 = [](char letter) {
        return isHexDigit(letter) || (letter >= 'G' && letter <= 'Z')
            || (letter >= 'g' && letter <= 'z') || letter == '+' || letter == '/';
    };
    return (line.size() == MimeRow || line.size() == MailRow)
        && std::all_of(line.begin(), line.end(), isOfBase64);
}

/// Returns whether a line is nothing but digits, as "xxd -p" prints them.
bool isPlainRow(const QByteArray &line, int *size)
{
    QByteArray bytes;
    const QByteArray digits = line.trimmed();
    *size = static_cast<int>(digits.size());
    return !digits.isEmpty() && !digits.contains(' ')
        && bytesFromHex(QString::fromLatin1(digits), &bytes).isEmpty();
}

/// Returns whether a text begins an array of C. A record may have a brace after its first column.
bool beginsArray(const QByteArray &text)
{
    const auto brace = text.indexOf('{');
    const auto comma = text.indexOf(',');
    return brace >= 0 && (comma < 0 || comma > brace);
}

/// Returns whether the message goes on in the next line.
bool goesOn(const QByteArray &text, const QByteArray &lastLine, Notation notation)
{
    if (beginsArray(text)) {
        return !lastLine.contains('}')
            || !withoutComments(textFromUtf8(lastLine)).contains(QLatin1Char('}'));
    }
    const QByteArray line = lastLine.trimmed();
    const bool isList = text.trimmed().startsWith("0x") && line.endsWith(',');
    const bool isString = text.contains("\\x") && line.endsWith('\\');
    if (isList || isString)
        return true;
    // A line of hexadecimal digits is a message of its own.
    const QByteArray trimmed = text.trimmed();
    const bool isBase64 =
        notation == Notation::Base64 || !std::all_of(trimmed.begin(), trimmed.end(), isHexDigit);
    return isBase64 && isBase64Row(line);
}

} // namespace

TextMessages::TextMessages(QIODevice *device, const InputSettings &settings)
    : m_device(device)
    , m_settings(settings)
    , m_packets(settings.framing)
{
}

/// Reads a line without its end. Returns false at the end of the input.
bool TextMessages::readLine(QByteArray *line)
{
    *line = m_putBack.isNull() ? m_device->readLine() : m_putBack;
    m_putBack = QByteArray();
    if (line->isEmpty())
        return false;
    ++m_line;
    return true;
}

/// Appends the lines that belong to the same array, list, string or base64.
void TextMessages::readRows(QByteArray *text)
{
    QByteArray line = *text;
    const bool isArray = text->contains('{');
    while (text->size() < LongestText
           && (m_settings.isOneText || goesOn(*text, line, m_settings.notation)) && readLine(&line))
        *text += line;
    if (!isArray || !readLine(&line))
        return;
    if (isDeclarationOfSize(line)) {
        *text += line;
        return;
    }
    m_putBack = line;
    --m_line;
}

/// Returns whether a line may be a full row of "xxd -p" that the next line continues. Such a line
/// is often a message as well.
bool TextMessages::isContinued(const QByteArray &line)
{
    constexpr int FullRow = 60;
    int size = 0;
    if (!isPlainRow(line, &size) || size != FullRow
        || isMessage(QByteArray::fromHex(line.trimmed())))
        return false;
    QByteArray next;
    const bool isContinued = readLine(&next) && isPlainRow(next, &size) && size <= FullRow;
    if (!next.isEmpty()) {
        m_putBack = next;
        --m_line;
    }
    return isContinued;
}

/// Returns whether the next line that is not blank begins a dump, or after a comment an array:
/// tcpdump, tshark and Wireshark print a heading before each.
bool TextMessages::isBeforeDump(bool isComment)
{
    QByteArray next;
    do {
        if (!readLine(&next))
            return false;
    } while (next.trimmed().isEmpty());
    m_putBack = next;
    --m_line;
    HexDump dump;
    return (dump.begin(next) && dump.isCertain()) || (isComment && beginsArray(next));
}

/// Returns whether a line that is no message comes before a dump or an array. A record hardly has
/// blanks.
bool TextMessages::isHeading(const QByteArray &line, const FoundMessage &message)
{
    const bool isComment = line.startsWith("//") || (line.startsWith("/*") && line.endsWith("*/"));
    const bool mayBe =
        !message.fault.isEmpty() || (message.notation.isEmpty() && message.bytes.contains(' '));
    return mayBe && !m_settings.isOneText && isBeforeDump(isComment)
        && (!message.fault.isEmpty() || !isMessage(message.bytes));
}

Reading TextMessages::readGroup(const QByteArray &line, std::optional<Form> form)
{
    const bool mayBeDump = m_settings.notation == Notation::Dump
        || (m_settings.notation == Notation::Any && form != Form::Text);
    HexDump dump;
    if (mayBeDump && dump.begin(line)) {
        QByteArray next;
        while (readLine(&next)) {
            if (dump.add(next))
                continue;
            m_putBack = next;
            --m_line;
            break;
        }
        return dump.finish(m_settings.notation == Notation::Dump);
    }
    if (m_settings.notation == Notation::Dump)
        return {{}, {}, QStringLiteral("no row of a dump: an offset and bytes expected")};
    QByteArray text = line;
    if (mayBeDump && !m_settings.isOneText && isContinued(line)) {
        return {{},
                {},
                QStringLiteral("30 bytes, or the first row of a longer message; join its rows, or "
                               "say --as hex")};
    }
    if (form != Form::Text || m_settings.isOneText)
        readRows(&text);
    for (int ends = 0; ends < 2 && (text.endsWith('\n') || text.endsWith('\r')); ++ends)
        text.chop(1);
    return readBytes(text, form, m_settings.notation);
}

void TextMessages::readMessage(QByteArray line, FoundMessage *message)
{
    *message = FoundMessage();
    message->number = m_line;
    QString labelFault;
    message->label = takeLabel(&line, &labelFault);
    const Reading reading =
        readGroup(line, m_settings.form ? m_settings.form : message->label.form);
    message->bytes = reading.bytes;
    message->fault = labelFault.isEmpty() ? reading.fault : labelFault;
    if (!message->label.form)
        message->label = takeLabel(&message->bytes, &message->fault);
    if (message->fault.isEmpty())
        message->notation = reading.notation;
}

bool TextMessages::next(FoundMessage *message)
{
    QByteArray line;
    PacketMessage found;
    while (!m_packets.take(&found)) {
        if (m_isEnded)
            return false;
        if (!readLine(&line)) {
            m_packets.end();
            m_isEnded = true;
            continue;
        }
        if (line.trimmed().isEmpty())
            continue;
        readMessage(line, message);
        if (isHeading(line.trimmed(), *message)) {
            ++m_headings;
            continue;
        }
        const std::optional<int> linkType =
            message->label.form ? std::nullopt : linkTypeOf(message->bytes);
        if (!linkType)
            return true;
        m_hasPackets = true;
        m_packets.add({message->number, -1, *linkType, message->bytes});
    }
    *message = foundMessage(found);
    return true;
}

QString TextMessages::summary() const
{
    QStringList parts;
    if (m_hasPackets)
        parts << QStringLiteral("dumps of network packets: ") + m_packets.summary();
    else if (m_settings.framing != StreamFraming::Unknown && m_line > 0)
        parts << QStringLiteral("messages that no network packets have brought: --framing has no "
                                "effect");
    if (m_headings == 1)
        parts << QStringLiteral("left out 1 line before a dump");
    else if (m_headings > 1)
        parts << QStringLiteral("left out %1 lines before dumps").arg(m_headings);
    return parts.join(QLatin1String(", "));
}
