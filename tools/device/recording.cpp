#include "recording.h"

#include "serialplace.h"

#include <QtCore/QJsonDocument>

using namespace KorvinInspect;

namespace {

constexpr int Version = 1;
constexpr int MostUnknownRequests = 100;

/// Hexadecimal digits take two bytes for each byte, escapes in text up to six.
constexpr qint64 MostOfALine = 6 * qint64(MaxMessageSize) + 1000;

/// Returns the two words, and the record or hexadecimal digits.
QString describe(const Message &message)
{
    const QByteArray words = pack({message.classId, message.form, {}});
    return QString::fromLatin1(words)
        + QString::fromUtf8(message.form == Form::Text ? message.bytes : message.bytes.toHex());
}

/// Reads the bytes of a message. Returns what is wrong; empty on success.
QString readBytes(const QJsonObject &line, QByteArray *bytes)
{
    const QJsonValue text = line.value(QLatin1String("text"));
    const QJsonValue data = line.value(QLatin1String("data"));
    if (text.isString() == data.isString())
        return QStringLiteral("either \"text\" or \"data\" expected");
    if (text.isString()) {
        *bytes = text.toString().toUtf8();
        return {};
    }
    const QByteArray digits = data.toString().toLatin1();
    *bytes = QByteArray::fromHex(digits);
    return bytes->toHex() == digits.toLower() ? QString()
                                              : QStringLiteral("data: not hexadecimal digits");
}

} // namespace

QString RecordingWriter::open(const QString &fileName)
{
    m_file.setFileName(fileName);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return QStringLiteral("cannot write %1: %2").arg(fileName, m_file.errorString());
    write({{QStringLiteral("recording"), Version}});
    return m_fault;
}

qint64 RecordingWriter::addRequest(const Message &request)
{
    const QList<QByteArray> words = pack({request.classId, request.form, {}}).split(' ');
    add({{QStringLiteral("request"), ++m_requests},
         {QStringLiteral("form"), QString::fromLatin1(words.at(0))},
         {QStringLiteral("class"), QString::fromLatin1(words.at(1))}},
        request);
    return m_requests;
}

void RecordingWriter::addReply(qint64 request, const Message &reply)
{
    add({{QStringLiteral("reply"), request}}, reply);
}

void RecordingWriter::add(QJsonObject line, const Message &message)
{
    const QString text = QString::fromUtf8(message.bytes);
    if (message.form == Form::Text && text.toUtf8() == message.bytes)
        line.insert(QStringLiteral("text"), text);
    else
        line.insert(QStringLiteral("data"), QString::fromLatin1(message.bytes.toHex()));
    write(line);
}

void RecordingWriter::write(const QJsonObject &line)
{
    if (!m_fault.isEmpty())
        return;
    const QByteArray bytes = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    const qint64 written = m_file.write(bytes);
    // Where only a part has room, the reason comes with the rest.
    if (written == bytes.size()
        || (written > 0
            && m_file.write(bytes.constData() + written, bytes.size() - written)
                == bytes.size() - written)) {
        m_size += bytes.size();
        return;
    }
    m_fault = QStringLiteral("cannot write %1: %2").arg(m_file.fileName(), m_file.errorString());
    m_file.resize(m_size); // not half a line
    qWarning("%s; nothing more is recorded", qUtf8Printable(m_fault));
}

QString Recording::read(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(fileName, file.errorString());
    qint64 number = 0;
    while (number == 0 || !file.atEnd()) {
        ++number;
        const QByteArray line = file.readLine(MostOfALine);
        const QString fault = number == 1 && !line.startsWith("{\"recording\":1}\n")
            ? QStringLiteral("not a recording: {\"recording\":1} expected")
            : addLine(line);
        if (!fault.isEmpty())
            return QStringLiteral("%1:%2: %3").arg(fileName, QString::number(number), fault);
    }
    return {};
}

QString Recording::addLine(const QByteArray &line)
{
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError)
        return error.errorString();
    const QJsonObject object = document.object();
    if (object.contains(QLatin1String("request")))
        return addRequest(object);
    if (object.contains(QLatin1String("reply")))
        return addReply(object);
    return object.contains(QLatin1String("recording"))
        ? QString()
        : QStringLiteral("neither a request nor a reply");
}

QString Recording::addRequest(const QJsonObject &line)
{
    const auto number = static_cast<double>(m_exchanges.size() + 1);
    if (line.value(QLatin1String("request")).toDouble() != number)
        return QStringLiteral("request: %1 expected").arg(number);
    const QString words = line.value(QLatin1String("form")).toString() + QLatin1Char(' ')
        + line.value(QLatin1String("class")).toString() + QLatin1Char(' ');
    std::optional<Message> request = unpack(words.toUtf8());
    if (!request || !request->bytes.isEmpty())
        return QStringLiteral("form and class: there is no \"%1\"").arg(words.trimmed());
    QString fault = readBytes(line, &request->bytes);
    if (!fault.isEmpty())
        return fault;
    m_rows[pack(withoutSerialNums(*request))].exchanges.push_back(m_exchanges.size());
    m_exchanges.push_back({*request, {}});
    return {};
}

QString Recording::addReply(const QJsonObject &line)
{
    const double number = line.value(QLatin1String("reply")).toDouble();
    if (!(number >= 1 && number <= static_cast<double>(m_exchanges.size())))
        return QStringLiteral("reply: not the number of a request before it");
    QByteArray reply;
    QString fault = readBytes(line, &reply);
    if (fault.isEmpty())
        m_exchanges[static_cast<std::size_t>(number) - 1].replies.push_back(reply);
    return fault;
}

std::optional<std::vector<Message>> Recording::answer(const Message &request)
{
    const auto row = m_rows.find(pack(withoutSerialNums(request)));
    if (row == m_rows.end()) {
        noteUnknown(request);
        return {};
    }
    const Exchange &exchange = m_exchanges[row->exchanges[row->next]];
    row->next = qMin(row->next + 1, row->exchanges.size() - 1);
    const std::vector<SerialPlace> recorded = serialPlacesOf(exchange.request);
    const std::vector<SerialPlace> live = serialPlacesOf(request);
    std::vector<Message> replies;
    for (const QByteArray &bytes : exchange.replies) {
        const Message reply{request.classId, request.form, bytes};
        replies.push_back({reply.classId, reply.form, withSerialNumsOf(reply, recorded, live)});
    }
    return replies;
}

void Recording::noteUnknown(const Message &request)
{
    constexpr int LongestRequest = 4000;
    ++m_unknown;
    const QString text = describe(withoutSerialNums(request)).left(LongestRequest);
    if (m_unknownRequests.size() < MostUnknownRequests && !m_unknownRequests.contains(text))
        m_unknownRequests << text;
}
