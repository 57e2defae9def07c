#include "include/korvinexchange/pcapngwriter.h"

#include <korvininspect/inputtext.h>

#include <QtCore/QtEndian>

#include <initializer_list>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

/// A longer message is cut: a UDP datagram and its headers must be smaller than 64 KiB.
constexpr int LongestPayload = 65000;

constexpr quint32 ClientAddress = 0x0A000001;
constexpr quint32 PeerAddress = 0x0A000002;
constexpr quint16 ClientPort = 40000;
constexpr quint16 PeerPort = 5000;

/// Builds the body of a block. pcapng numbers are little-endian, those of network headers
/// big-endian.
class BlockWriter
{
public:
    template <typename Number>
    BlockWriter &little(Number number)
    {
        const auto at = m_bytes.size();
        m_bytes.resize(at + static_cast<int>(sizeof number));
        qToLittleEndian(number, m_bytes.data() + at);
        return *this;
    }

    template <typename Number>
    BlockWriter &big(Number number)
    {
        const auto at = m_bytes.size();
        m_bytes.resize(at + static_cast<int>(sizeof number));
        qToBigEndian(number, m_bytes.data() + at);
        return *this;
    }

    /// Appends bytes, padded to a multiple of four.
    BlockWriter &padded(const QByteArray &bytes)
    {
        constexpr int Alignment = 4;
        m_bytes += bytes;
        while (m_bytes.size() % Alignment != 0)
            m_bytes += '\0';
        return *this;
    }

    BlockWriter &raw(const QByteArray &bytes)
    {
        m_bytes += bytes;
        return *this;
    }

    QByteArray bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// Makes a block: its type, its size, the body, and the size again.
QByteArray block(quint32 type, const QByteArray &body)
{
    constexpr quint32 FrameSize = 12;
    const auto size = static_cast<quint32>(body.size()) + FrameSize;
    return BlockWriter().little(type).little(size).raw(body).little(size).bytes();
}

const char *wordOf(Form form)
{
    switch (form) {
    case Form::Frame:
        return "frame ";
    case Form::Text:
        return "text ";
    default:
        return "linux ";
    }
}

/// Makes a datagram with its Ethernet, IPv4 and UDP headers.
QByteArray datagram(const QByteArray &payload, bool isRequest)
{
    constexpr quint16 IpType = 0x0800;
    constexpr quint8 VersionAndHeaderSize = 0x45;
    constexpr quint8 TimeToLive = 64;
    constexpr quint8 Udp = 17;
    constexpr int IpHeaderSize = 20;
    constexpr int UdpHeaderSize = 8;
    constexpr int MacAddresses = 12;
    const auto udpSize = static_cast<quint16>(UdpHeaderSize + payload.size());
    const quint32 from = isRequest ? ClientAddress : PeerAddress;
    const quint32 to = isRequest ? PeerAddress : ClientAddress;
    BlockWriter writer;
    writer.raw(QByteArray(MacAddresses, '\0')).big(IpType);
    writer.big(VersionAndHeaderSize)
        .big(quint8(0))
        .big(static_cast<quint16>(IpHeaderSize + udpSize));
    writer.big(quint32(0)).big(TimeToLive).big(Udp).big(quint16(0)).big(from).big(to);
    writer.big(isRequest ? ClientPort : PeerPort).big(isRequest ? PeerPort : ClientPort);
    return writer.big(udpSize).big(quint16(0)).raw(payload).bytes();
}

} // namespace

PcapngWriter::PcapngWriter(Time origin)
    : m_origin(origin)
{
}

QByteArray PcapngWriter::header() const
{
    constexpr quint32 SectionHeader = 0x0A0D0D0A;
    constexpr quint32 ByteOrder = 0x1A2B3C4D;
    constexpr quint16 Major = 1;
    constexpr quint32 InterfaceDescription = 1;
    constexpr quint16 Ethernet = 1;
    const QByteArray section = BlockWriter()
                                   .little(ByteOrder)
                                   .little(Major)
                                   .little(quint16(0))
                                   .little(qint64(-1)) // of unknown length
                                   .bytes();
    const QByteArray interface =
        BlockWriter().little(Ethernet).little(quint16(0)).little(quint32(0)).bytes();
    return block(SectionHeader, section) + block(InterfaceDescription, interface);
}

QByteArray PcapngWriter::packet(const TraceEntry &entry) const
{
    constexpr quint32 EnhancedPacket = 6;
    constexpr quint16 Comment = 1;
    constexpr int HalfBits = 32;
    constexpr int LongestComment = 8000;
    const QByteArray words =
        QByteArray(wordOf(entry.shape.form)) + className(entry.shape.classId).toLatin1() + ' ';
    const QByteArray captured = datagram((words + entry.message).left(LongestPayload),
                                         entry.shape.direction == Direction::Request);
    const QByteArray comment = printable(describe(entry), LongestComment).toUtf8();
    const auto moment = static_cast<quint64>((m_origin + entry.time).count());
    BlockWriter writer;
    writer.little(quint32(0)).little(static_cast<quint32>(moment >> HalfBits));
    writer.little(static_cast<quint32>(moment)).little(static_cast<quint32>(captured.size()));
    writer.little(static_cast<quint32>(captured.size())).padded(captured);
    writer.little(Comment).little(static_cast<quint16>(comment.size())).padded(comment);
    return block(EnhancedPacket, writer.little(quint32(0)).bytes());
}

} // namespace KorvinExchange
