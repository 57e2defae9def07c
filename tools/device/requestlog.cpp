#include "requestlog.h"

#include "connection.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageclass.h>
#include <korvininspect/packageexplain.h>

#include <QtCore/QDateTime>
#include <QtCore/QStringList>

#include <unistd.h>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

constexpr int LongestLine = 4000;

QString cannotWrite(const QFile &file)
{
    return QStringLiteral("cannot write %1: %2").arg(file.fileName(), file.errorString());
}

QString openFile(QFile &file, const QString &fileName, QIODevice::OpenMode mode)
{
    file.setFileName(fileName);
    const bool isOpen = fileName == QLatin1String("-")
        ? file.open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered)
        : file.open(mode | QIODevice::Unbuffered);
    return isOpen ? QString() : cannotWrite(file);
}

} // namespace

QString RequestLog::openTrace(const QString &fileName)
{
    return openFile(m_trace, fileName, QIODevice::WriteOnly);
}

QString RequestLog::openCapture(const QString &fileName)
{
    const qint64 start = QDateTime::currentMSecsSinceEpoch() * 1000 - timeSinceStart().count();
    m_writer.emplace(Time(start));
    QString fault = openFile(m_capture, fileName, QIODevice::WriteOnly);
    if (fault.isEmpty())
        write(m_capture, m_writer->header());
    return fault;
}

QString RequestLog::openJournal(const QString &fileName)
{
    return openFile(m_journal, fileName, QIODevice::Append);
}

void RequestLog::addRequest(const Message &message, const QString &peer, const Verdict &verdict)
{
    if (!isOpen())
        return;
    TraceEntry entry;
    entry.event = verdict.isOk() ? TraceEvent::Sent : TraceEvent::RefusedReply;
    entry.shape = {message.classId, message.form, Direction::Request};
    entry.message = message.bytes;
    entry.verdict = verdict;
    add(entry, peer);
}

void RequestLog::addUnknownRequest(const Message &message, const QString &peer)
{
    if (!isOpen())
        return;
    TraceEntry entry;
    entry.shape = {message.classId, message.form, Direction::Request};
    entry.message = message.bytes;
    add(entry, peer, QStringLiteral("not in the recording"));
}

void RequestLog::addReply(const Message &message, const QString &peer)
{
    if (!isOpen())
        return;
    TraceEntry entry;
    entry.event = TraceEvent::Answered;
    entry.shape = {message.classId, message.form, Direction::Reply};
    entry.message = message.bytes;
    add(entry, peer);
}

void RequestLog::add(const TraceEntry &entry, const QString &peer, const QString &remark)
{
    constexpr double Second = 1e6;
    TraceEntry timed = entry;
    timed.time = timeSinceStart();
    if (m_capture.isOpen())
        write(m_capture, m_writer->packet(timed));
    if (!m_trace.isOpen())
        return;
    QString serial = QStringLiteral("-");
    QStringList fields{describe(timed.shape)};
    for (const ExplainedField &field : explain(timed.message, timed.shape)) {
        if (field.name == QLatin1String("serialNum") && serial == QLatin1String("-"))
            serial = field.value.toString();
        if (!field.name.isEmpty())
            fields << field.name + QLatin1Char(' ') + valueForPeople(field);
    }
    if (!timed.verdict.isOk())
        fields.prepend(QLatin1String("refused: ") + describe(timed.verdict));
    if (!remark.isEmpty())
        fields.prepend(remark);
    const QString line =
        QStringLiteral("%1 %2 %3 %4 %5")
            .arg(static_cast<double>(timed.time.count()) / Second, 0, 'f', 6)
            .arg(timed.shape.direction == Direction::Request ? QStringLiteral("->")
                                                             : QStringLiteral("<-"),
                 peer, serial, fields.join(QLatin1String(", ")));
    write(m_trace, printable(line, LongestLine).toUtf8() + '\n');
}

void RequestLog::addCarriedOut(const PackageBase &request)
{
    if (!m_journal.isOpen())
        return;
    const QString line = QStringLiteral("%1 %2 %3\n")
                             .arg(classOf(request).name, printable(request.getTag(), LongestLine),
                                  QString::number(request.getPackResult()));
    write(m_journal, line.toUtf8());
}

void RequestLog::write(QFile &file, const QByteArray &bytes)
{
    if (!file.isOpen() || file.write(bytes) == bytes.size())
        return;
    qWarning("%s; nothing more is written there", qUtf8Printable(cannotWrite(file)));
    file.close();
}
