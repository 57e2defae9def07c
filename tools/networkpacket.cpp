#include "networkpacket.h"

#include <QtCore/QStringList>
#include <QtCore/QtEndian>

namespace {

constexpr int IpVersion4 = 0x0800;
constexpr int IpVersion6 = 0x86DD;
constexpr int NibbleBits = 4;
constexpr int NibbleMask = 0xF;
constexpr int ByteBits = 8;
constexpr quint8 TcpProtocol = 6;
constexpr quint8 UdpProtocol = 17;

/// Returns an unsigned byte; 0 past the end.
int byteAt(const QByteArray &bytes, int at)
{
    return at >= 0 && at < bytes.size() ? static_cast<quint8>(bytes.at(at)) : 0;
}

/// Returns a big-endian 16-bit number.
int wordAt(const QByteArray &bytes, int at)
{
    return byteAt(bytes, at) << ByteBits | byteAt(bytes, at + 1);
}

/// The IP packet inside a link frame.
struct Inner
{
    bool isKnown = true; ///< Whether the link type is.
    int start = 0;
};

/// Returns the position after the Ethernet type; VLAN tags may come before it.
int ethernetPayload(const QByteArray &bytes)
{
    constexpr int TypeAt = 12;
    constexpr int VlanTag = 0x8100;
    constexpr int ServiceTag = 0x88A8;
    constexpr int TagSize = 4;
    int at = TypeAt;
    while (wordAt(bytes, at) == VlanTag || wordAt(bytes, at) == ServiceTag)
        at += TagSize;
    const int type = wordAt(bytes, at);
    return type == IpVersion4 || type == IpVersion6 ? at + 2 : static_cast<int>(bytes.size());
}

Inner innerOf(const CapturedPacket &packet)
{
    constexpr int FamilySize = 4;
    constexpr int CookedSize = 16;
    constexpr int Cooked2Size = 20;
    constexpr int OldRawIp = 12;
    constexpr int Ipv4Only = 228;
    constexpr int Ipv6Only = 229;
    switch (packet.linkType) {
    case Ethernet:
        return {true, ethernetPayload(packet.bytes)};
    case NullLink:
    case OpenBsdLoop:
        return {true, FamilySize};
    case LinuxCooked:
        return {true, CookedSize};
    case LinuxCooked2:
        return {true, Cooked2Size};
    case RawIp:
    case OldRawIp:
    case Ipv4Only:
    case Ipv6Only:
        return {true, 0};
    default:
        return {false, 0};
    }
}

QString ipv4Address(const QByteArray &bytes, int at)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(byteAt(bytes, at))
        .arg(byteAt(bytes, at + 1))
        .arg(byteAt(bytes, at + 2))
        .arg(byteAt(bytes, at + 3));
}

/// Returns an address in brackets, its longest run of zero words as "::".
QString ipv6Address(const QByteArray &bytes, int at)
{
    constexpr int Words = 8;
    int runStart = 0;
    int runSize = 0;
    for (int start = 0; start < Words; ++start) {
        int size = 0;
        while (start + size < Words && wordAt(bytes, at + 2 * (start + size)) == 0)
            ++size;
        if (size > runSize) {
            runStart = start;
            runSize = size;
        }
    }
    const auto words = [&](int begin, int end) {
        QStringList list;
        for (int i = begin; i < end; ++i)
            list << QString::number(wordAt(bytes, at + 2 * i), 16);
        return list.join(QLatin1Char(':'));
    };
    if (runSize < 2)
        return QStringLiteral("[%1]").arg(words(0, Words));
    return QStringLiteral("[%1::%2]").arg(words(0, runStart), words(runStart + runSize, Words));
}

/// What an IP header says.
struct IpPacket
{
    quint8 protocol = 0; ///< 0 for none that is read.
    bool isFragment = false;
    QString from;
    QString to;
    QByteArray payload; ///< What was captured of it.
    int size = 0;       ///< The size that is announced for the payload.
};

IpPacket ipv4Packet(const QByteArray &bytes)
{
    constexpr int SmallestHeader = 20;
    constexpr int WordSize = 4;
    constexpr int SizeAt = 2;
    constexpr int FragmentAt = 6;
    constexpr int FragmentBits = 0x3FFF; // more fragments, and the offset
    constexpr int ProtocolAt = 9;
    constexpr int FromAt = 12;
    constexpr int ToAt = 16;
    const int header = (byteAt(bytes, 0) & NibbleMask) * WordSize;
    // An adapter that cuts large packets itself leaves the size 0.
    const int size = wordAt(bytes, SizeAt) > 0 ? wordAt(bytes, SizeAt) : int(bytes.size());
    if (header < SmallestHeader || header > bytes.size() || size < header)
        return {};
    IpPacket packet;
    packet.protocol = static_cast<quint8>(byteAt(bytes, ProtocolAt));
    packet.isFragment = (wordAt(bytes, FragmentAt) & FragmentBits) != 0;
    packet.from = ipv4Address(bytes, FromAt);
    packet.to = ipv4Address(bytes, ToAt);
    packet.payload = bytes.mid(header, size - header);
    packet.size = size - header;
    return packet;
}

IpPacket ipv6Packet(const QByteArray &bytes)
{
    constexpr int HeaderSize = 40;
    constexpr int SizeAt = 4;
    constexpr int NextAt = 6;
    constexpr int FromAt = 8;
    constexpr int ToAt = 24;
    constexpr int HopOptions = 0;
    constexpr int Routing = 43;
    constexpr int Fragment = 44;
    constexpr int Destination = 60;
    constexpr int ExtensionUnit = 8;
    const int size = wordAt(bytes, SizeAt);
    if (bytes.size() < HeaderSize)
        return {};
    IpPacket packet;
    int next = byteAt(bytes, NextAt);
    int start = HeaderSize;
    while (next == HopOptions || next == Routing || next == Destination) {
        if (start + 1 >= bytes.size())
            return {};
        next = byteAt(bytes, start);
        start += (byteAt(bytes, start + 1) + 1) * ExtensionUnit;
    }
    if (start > HeaderSize + size)
        return {};
    packet.protocol = static_cast<quint8>(next);
    packet.isFragment = next == Fragment;
    packet.from = ipv6Address(bytes, FromAt);
    packet.to = ipv6Address(bytes, ToAt);
    packet.size = HeaderSize + size - start;
    packet.payload = bytes.mid(start, packet.size);
    return packet;
}

IpPacket ipPacket(const QByteArray &bytes)
{
    switch (byteAt(bytes, 0) >> NibbleBits) {
    case 4:
        return ipv4Packet(bytes);
    case 6:
        return ipv6Packet(bytes);
    default:
        return {};
    }
}

/// Fills in what comes after a transport header of @p header bytes.
void takePayload(const IpPacket &packet, int header, int size, Segment *segment)
{
    const QByteArray &bytes = packet.payload;
    segment->payload = bytes.mid(header, size - header);
    segment->missing = size - header - static_cast<int>(segment->payload.size());
    segment->from = QStringLiteral("%1:%2").arg(packet.from).arg(wordAt(bytes, 0));
    segment->to = QStringLiteral("%1:%2").arg(packet.to).arg(wordAt(bytes, 2));
}

Segment udpSegment(const IpPacket &packet)
{
    constexpr int HeaderSize = 8;
    constexpr int SizeAt = 4;
    const int size = wordAt(packet.payload, SizeAt);
    if (packet.payload.size() < HeaderSize || size < HeaderSize || size > packet.size)
        return {};
    Segment segment;
    segment.kind = Segment::Udp;
    takePayload(packet, HeaderSize, size, &segment);
    return segment;
}

Segment tcpSegment(const IpPacket &packet)
{
    constexpr int SmallestHeader = 20;
    constexpr int SequenceAt = 4;
    constexpr int HeaderSizeAt = 12;
    constexpr int FlagsAt = 13;
    constexpr int WordSize = 4;
    constexpr int Fin = 1;
    constexpr int Syn = 2;
    constexpr int Rst = 4;
    constexpr int Ack = 16;
    const QByteArray &bytes = packet.payload;
    const int header = (byteAt(bytes, HeaderSizeAt) >> NibbleBits) * WordSize;
    if (bytes.size() < SmallestHeader || header < SmallestHeader || header > packet.size)
        return {};
    const int flags = byteAt(bytes, FlagsAt);
    Segment segment;
    segment.kind = Segment::Tcp;
    segment.isFirst = (flags & Syn) != 0;
    segment.isAnswer = segment.isFirst && (flags & Ack) != 0;
    segment.isLast = (flags & (Fin | Rst)) != 0;
    // The beginning counts as a byte.
    segment.sequence =
        qFromBigEndian<quint32>(bytes.constData() + SequenceAt) + (segment.isFirst ? 1U : 0U);
    takePayload(packet, header, packet.size, &segment);
    return segment;
}

/// Adds up the words of an IPv4 header; the result is 0xFFFF if its checksum is right.
int headerSum(const QByteArray &bytes, int start, int size)
{
    constexpr int WordBits = 16;
    constexpr int WordMask = 0xFFFF;
    int sum = 0;
    for (int at = start; at < start + size; at += 2)
        sum += wordAt(bytes, at);
    while (sum > WordMask)
        sum = (sum & WordMask) + (sum >> WordBits);
    return sum;
}

/// Returns whether a whole IP packet is at a position, with the few bytes after it that Ethernet
/// needs for its smallest frame.
bool isIpPacket(const QByteArray &bytes, int start)
{
    constexpr int SmallestFrame = 60;
    constexpr int Ipv4Header = 20;
    constexpr int Ipv4SizeAt = 2;
    constexpr int Ipv4ChecksumAt = 10;
    constexpr int RightSum = 0xFFFF;
    constexpr int Ipv6Header = 40;
    constexpr int Ipv6SizeAt = 4;
    const int left = static_cast<int>(bytes.size()) - start;
    const int first = byteAt(bytes, start);
    int size = 0;
    if (first == 0x45 && left >= Ipv4Header) {
        size = wordAt(bytes, start + Ipv4SizeAt);
        const bool isSummed = headerSum(bytes, start, Ipv4Header) == RightSum;
        if (!isSummed && wordAt(bytes, start + Ipv4ChecksumAt) != 0)
            return false;
    } else if (first >> NibbleBits == 6 && left >= Ipv6Header) {
        size = Ipv6Header + wordAt(bytes, start + Ipv6SizeAt);
    }
    return size > 0 && (size == left || (size < left && bytes.size() <= SmallestFrame));
}

} // namespace

Segment segmentOf(const CapturedPacket &packet)
{
    const Inner inner = innerOf(packet);
    Segment segment;
    if (!inner.isKnown) {
        segment.kind = Segment::UnknownLink;
        return segment;
    }
    const IpPacket ip = ipPacket(packet.bytes.mid(inner.start));
    if (ip.isFragment)
        segment.kind = Segment::Fragment;
    else if (ip.protocol == UdpProtocol)
        return udpSegment(ip);
    else if (ip.protocol == TcpProtocol)
        return tcpSegment(ip);
    return segment;
}

std::optional<int> linkTypeOf(const QByteArray &bytes)
{
    const int start = ethernetPayload(bytes);
    if (start < bytes.size() && isIpPacket(bytes, start))
        return Ethernet;
    return isIpPacket(bytes, 0) ? std::optional<int>(RawIp) : std::nullopt;
}
