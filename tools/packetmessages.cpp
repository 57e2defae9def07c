#include "packetmessages.h"

#include "bytenotation.h"

#include <QtCore/QStringList>

#include <algorithm>

using namespace KorvinInspect;

namespace {

/// More streams at a time are not kept: the one that was quiet for longest ends.
constexpr std::size_t MostStreams = 1024;

QString counted(int count, const QString &noun)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(noun,
                                                    count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace

PacketMessages::PacketMessages(StreamFraming framing)
    : m_framing(framing)
{
}

bool PacketMessages::take(PacketMessage *message)
{
    if (m_messages.empty())
        return false;
    *message = std::move(m_messages.front());
    m_messages.pop_front();
    return true;
}

void PacketMessages::add(const CapturedPacket &packet)
{
    ++m_packets;
    const Segment segment = segmentOf(packet);
    switch (segment.kind) {
    case Segment::Udp:
        return addDatagram(segment, packet);
    case Segment::Tcp:
        return addToStream(segment, packet);
    case Segment::UnknownLink:
        ++m_leftOut[QStringLiteral("of link type %1").arg(packet.linkType)];
        return;
    case Segment::Fragment:
        ++m_leftOut[QStringLiteral("that are IP fragments")];
        return;
    default:
        ++m_leftOut[QStringLiteral("without UDP or TCP")];
    }
}

void PacketMessages::addDatagram(const Segment &segment, const CapturedPacket &packet)
{
    if (segment.payload.isEmpty() && segment.missing == 0)
        return;
    PacketMessage message{segment.payload, {}, packet.number, packet.time, segment.from,
                          segment.to,      {}};
    if (segment.missing > 0) {
        message.fault = QStringLiteral("the capture has cut off %1 of the datagram")
                            .arg(byteCount(segment.missing));
    }
    m_messages.push_back(message);
    ++m_found;
}

/// Returns the stream of a segment, null for one without bytes that begins no stream.
PacketMessages::Stream *PacketMessages::streamOf(const Segment &segment)
{
    const auto key = std::make_pair(segment.from, segment.to);
    auto found = m_streams.find(key);
    if (found != m_streams.end() && segment.isFirst) {
        endStream(&found->second);
        m_streams.erase(found);
        found = m_streams.end();
    }
    if (found != m_streams.end())
        return &found->second;
    if (segment.payload.isEmpty() && !segment.isFirst)
        return nullptr;
    if (m_streams.size() >= MostStreams) {
        const auto quietest =
            std::min_element(m_streams.begin(), m_streams.end(), [](const auto &a, const auto &b) {
                return a.second.packet < b.second.packet;
            });
        endStream(&quietest->second);
        m_streams.erase(quietest);
    }
    Stream stream{{}, StreamReader(m_framing), segment.from, segment.to, {}};
    if (segment.isFirst)
        stream.direction = segment.isAnswer ? Direction::Reply : Direction::Request;
    return &m_streams.emplace(key, std::move(stream)).first->second;
}

void PacketMessages::addToStream(const Segment &segment, const CapturedPacket &packet)
{
    Stream *const stream = streamOf(segment);
    if (!stream)
        return;
    stream->packet = packet.number;
    stream->time = packet.time;
    read(stream,
         stream->segments.add(segment.sequence, {segment.payload, packet.number, packet.time}));
    // What was sent twice may still come: the stream is kept.
    if (segment.isLast && !stream->segments.isWaiting())
        endReader(stream);
}

/// Reads pieces that are in order. After missing bytes, reading begins anew.
void PacketMessages::read(Stream *stream, const std::vector<Piece> &pieces)
{
    for (const Piece &piece : pieces) {
        if (piece.isLate) {
            endReader(stream);
            ++m_gaps;
        }
        const bool couldRead = stream->reader.fault().isEmpty();
        stream->isRead = true;
        append(*stream, stream->reader.add(piece));
        if (couldRead && !stream->reader.fault().isEmpty())
            appendFault(*stream);
    }
}

void PacketMessages::append(const Stream &stream, const std::vector<Piece> &messages)
{
    for (const Piece &message : messages) {
        m_messages.push_back({message.bytes,
                              {},
                              message.packet,
                              message.time,
                              stream.from,
                              stream.to,
                              stream.direction});
        ++m_found;
    }
}

void PacketMessages::appendFault(const Stream &stream)
{
    m_messages.push_back({{},
                          stream.reader.fault(),
                          stream.packet,
                          stream.time,
                          stream.from,
                          stream.to,
                          stream.direction});
}

void PacketMessages::endReader(Stream *stream)
{
    if (!stream->isRead)
        return;
    const bool couldRead = stream->reader.fault().isEmpty();
    append(*stream, stream->reader.end());
    if (couldRead && !stream->reader.fault().isEmpty())
        appendFault(*stream);
    ++m_framings[stream->reader.framing()];
    stream->reader = StreamReader(m_framing);
    stream->isRead = false;
}

void PacketMessages::endStream(Stream *stream)
{
    read(stream, stream->segments.end());
    endReader(stream);
}

void PacketMessages::end()
{
    for (auto &[partners, stream] : m_streams)
        endStream(&stream);
    m_streams.clear();
}

QString PacketMessages::summary() const
{
    QStringList parts{counted(m_packets, QStringLiteral("packet")),
                      counted(m_found, QStringLiteral("message"))};
    for (const auto &[framing, count] : m_framings) {
        parts << QStringLiteral("%1 framed by %2")
                     .arg(counted(count, QStringLiteral("TCP stream")), describe(framing));
    }
    if (m_gaps > 0)
        parts
            << QStringLiteral("bytes missing in %1").arg(counted(m_gaps, QStringLiteral("place")));
    for (const auto &[which, count] : m_leftOut)
        parts << QStringLiteral("left out %1 %2")
                     .arg(counted(count, QStringLiteral("packet")), which);
    return parts.join(QLatin1String(", "));
}
