#ifndef NETWORKPACKET_H
#define NETWORKPACKET_H

#include "capturefile.h"

#include <QtCore/QString>

#include <optional>

/// What a packet brings of a UDP datagram or a TCP stream.
struct Segment
{
    enum Kind {
        Other,       ///< Neither of both.
        UnknownLink, ///< A packet of a link type that cannot be read.
        Fragment,    ///< A part of a larger IP packet.
        Udp,
        Tcp
    } kind = Other;

    QString from; ///< Address and port, such as 127.0.0.1:5000 or [::1]:5000.
    QString to;
    QByteArray payload;   ///< What was captured of it.
    int missing = 0;      ///< Bytes of the payload that the capture has cut off.
    quint32 sequence = 0; ///< Of the first byte of the payload, in a TCP stream.
    bool isFirst = false; ///< Whether a TCP stream begins.
    bool isAnswer =
        false;           ///< Whether it answers the beginning of the stream in the other direction.
    bool isLast = false; ///< Whether it ends.
};

/// Takes a packet apart: its link, IPv4 or IPv6, and UDP or TCP header.
Segment segmentOf(const CapturedPacket &packet);

/// Returns the link type of a network packet in a dump; nothing for other bytes. Its headers must
/// agree with its size.
std::optional<int> linkTypeOf(const QByteArray &bytes);

#endif
