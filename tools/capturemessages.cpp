#include "capturemessages.h"

#include "shapewords.h"

CaptureMessages::CaptureMessages(QIODevice *device, StreamFraming framing)
    : m_file(device)
    , m_packets(framing)
{
}

bool CaptureMessages::next(FoundMessage *message)
{
    PacketMessage found;
    while (!m_packets.take(&found)) {
        CapturedPacket packet;
        if (m_isEnded)
            return false;
        if (m_file.next(&packet)) {
            m_packets.add(packet);
        } else {
            m_packets.end();
            m_isEnded = true;
        }
    }
    *message = foundMessage(found);
    return true;
}

QString CaptureMessages::summary() const
{
    const QString fault = m_file.fault();
    return QStringLiteral("%1: %2%3")
        .arg(m_file.format(), m_packets.summary(),
             fault.isEmpty() ? QString() : QStringLiteral("; unreadable ") + fault);
}

FoundMessage foundMessage(const PacketMessage &message)
{
    FoundMessage found;
    found.bytes = message.bytes;
    found.fault = message.fault;
    found.label = takeLabel(&found.bytes, &found.fault);
    found.label.direction = message.direction;
    found.number = message.packet;
    found.time = message.time;
    found.from = message.from;
    found.to = message.to;
    return found;
}
