#ifndef PACKETMESSAGES_H
#define PACKETMESSAGES_H

#include "capturefile.h"
#include "networkpacket.h"
#include "streamreader.h"

#include <korvininspect/messageshape.h>

#include <deque>
#include <map>
#include <optional>
#include <utility>

/// A message that network packets have brought.
struct PacketMessage
{
    QByteArray bytes;
    QString fault;  ///< Why there is no whole message; otherwise empty.
    int packet = 0; ///< Number of the packet that completed it.
    qint64 time = -1;
    QString from;
    QString to;
    /// That of the connection: who opens it sends requests. Nothing if the capture begins later.
    std::optional<KorvinInspect::Direction> direction = {};
};

/// Collects the messages of network packets: the datagrams of UDP, and those of each TCP stream.
class PacketMessages
{
public:
    explicit PacketMessages(StreamFraming framing);

    void add(const CapturedPacket &packet);

    /// Ends all streams.
    void end();

    /// Takes the next message. Returns false if none is complete.
    bool take(PacketMessage *message);

    /// Says what was found and what was left out.
    QString summary() const;

private:
    /// One direction of a TCP connection.
    struct Stream
    {
        TcpStream segments;
        StreamReader reader;
        QString from;
        QString to;
        std::optional<KorvinInspect::Direction> direction = {};
        int packet = 0;      ///< The last one.
        qint64 time = -1;    ///< That of the last one.
        bool isRead = false; ///< Whether the reader has seen bytes.
    };
    using Streams = std::map<std::pair<QString, QString>, Stream>;

    void addDatagram(const Segment &segment, const CapturedPacket &packet);
    void addToStream(const Segment &segment, const CapturedPacket &packet);
    Stream *streamOf(const Segment &segment);
    void read(Stream *stream, const std::vector<Piece> &pieces);
    void append(const Stream &stream, const std::vector<Piece> &messages);
    void appendFault(const Stream &stream);
    void endReader(Stream *stream);
    void endStream(Stream *stream);

    StreamFraming m_framing;
    Streams m_streams;
    std::deque<PacketMessage> m_messages;
    int m_packets = 0;
    int m_found = 0; ///< Messages.
    int m_gaps = 0;
    std::map<StreamFraming, int> m_framings; ///< How many streams have which.
    std::map<QString, int> m_leftOut;        ///< How many packets, and which.
};

#endif
