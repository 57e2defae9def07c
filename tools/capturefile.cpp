#include "capturefile.h"

#include <QtCore/QIODevice>
#include <QtCore/QtEndian>

#include <algorithm>
#include <limits>

namespace {

constexpr int HalfBits = 32;
constexpr quint64 Microseconds = 1000000;
constexpr quint64 Nanoseconds = 1000000000;

// Longer ones are broken: no capture program writes them.
constexpr quint32 LargestPacket = 1 << 20;
constexpr quint32 LargestBlock = 1 << 24;

constexpr quint32 SectionHeader = 0x0A0D0D0A;
constexpr quint32 InterfaceDescription = 1;
constexpr quint32 SimplePacket = 3;
constexpr quint32 EnhancedPacket = 6;

/// The first bytes of the kinds of pcap files.
constexpr struct
{
    const char *start;
    bool isBigEndian;
    quint64 ticksPerSecond;
} PcapStarts[] = {
    {"\xD4\xC3\xB2\xA1", false, Microseconds},
    {"\xA1\xB2\xC3\xD4", true, Microseconds},
    {"\x4D\x3C\xB2\xA1", false, Nanoseconds},
    {"\xA1\xB2\x3C\x4D", true, Nanoseconds},
};

/// Reads a number; 0 past the end.
template <typename Number>
Number numberAt(const QByteArray &bytes, int at, bool isBigEndian)
{
    if (at < 0 || at + static_cast<int>(sizeof(Number)) > bytes.size())
        return 0;
    const char *const source = bytes.constData() + at;
    return isBigEndian ? qFromBigEndian<Number>(source) : qFromLittleEndian<Number>(source);
}

/// Returns nanoseconds since 1970; -1 for times after the year 9999.
qint64 timeOf(quint64 ticks, quint64 ticksPerSecond, qint64 offset)
{
    constexpr qint64 EndOfTimes = 253402300800;
    const quint64 seconds = ticks / ticksPerSecond;
    const quint64 rest = ticks % ticksPerSecond;
    if (seconds >= EndOfTimes || offset <= -EndOfTimes || offset >= EndOfTimes)
        return -1;
    const qint64 total = static_cast<qint64>(seconds) + offset;
    // In nanoseconds, a signed 64-bit number ends in the year 2262.
    if (total < 0 || total >= std::numeric_limits<qint64>::max() / qint64(Nanoseconds))
        return -1;
    const quint64 fraction = ticksPerSecond > Nanoseconds ? rest / (ticksPerSecond / Nanoseconds)
                                                          : rest * Nanoseconds / ticksPerSecond;
    return total * qint64(Nanoseconds) + qint64(std::min(fraction, Nanoseconds - 1));
}

} // namespace

bool CaptureFile::isCapture(const QByteArray &start)
{
    const auto begins = [&](const auto &kind) { return start.startsWith(kind.start); };
    return start.startsWith("\x0A\x0D\x0D\x0A")
        || std::any_of(std::begin(PcapStarts), std::end(PcapStarts), begins);
}

CaptureFile::CaptureFile(QIODevice *device)
    : m_device(device)
{
    constexpr int Start = 4;
    m_isPcapng = device->peek(Start).startsWith('\x0A');
    if (!m_isPcapng)
        readPcapHeader();
}

QString CaptureFile::format() const
{
    return m_isPcapng ? QStringLiteral("a pcapng capture") : QStringLiteral("a pcap capture");
}

bool CaptureFile::refuse(const QString &fault)
{
    if (m_fault.isEmpty())
        m_fault = QStringLiteral("after packet %1: %2").arg(m_packets).arg(fault);
    return false;
}

/// Reads so many bytes; fewer are a fault.
bool CaptureFile::read(qint64 size, QByteArray *bytes)
{
    *bytes = m_device->read(size);
    if (bytes->size() == size)
        return true;
    return refuse(QStringLiteral("the file is cut off: %1 bytes expected, %2 left")
                      .arg(size)
                      .arg(bytes->size()));
}

void CaptureFile::readPcapHeader()
{
    constexpr int HeaderSize = 24;
    constexpr int LinkTypeAt = 20;
    constexpr quint32 LinkTypeBits = 0xFFFF; // flags are above
    QByteArray header;
    if (!read(HeaderSize, &header))
        return;
    for (const auto &kind : PcapStarts) {
        if (!header.startsWith(kind.start))
            continue;
        m_isBigEndian = kind.isBigEndian;
        m_ticksPerSecond = kind.ticksPerSecond;
    }
    m_linkType =
        static_cast<int>(numberAt<quint32>(header, LinkTypeAt, m_isBigEndian) & LinkTypeBits);
}

bool CaptureFile::next(CapturedPacket *packet)
{
    if (!m_fault.isEmpty())
        return false;
    *packet = CapturedPacket();
    if (!(m_isPcapng ? nextOfPcapng(packet) : nextOfPcap(packet)))
        return false;
    packet->number = ++m_packets;
    return true;
}

bool CaptureFile::nextOfPcap(CapturedPacket *packet)
{
    constexpr int HeaderSize = 16;
    constexpr int FractionAt = 4;
    constexpr int SizeAt = 8;
    if (m_device->peek(1).isEmpty())
        return false;
    QByteArray header;
    if (!read(HeaderSize, &header))
        return false;
    const auto size = numberAt<quint32>(header, SizeAt, m_isBigEndian);
    if (size > LargestPacket)
        return refuse(QStringLiteral("a packet of %1 bytes is announced").arg(size));
    const quint64 ticks = quint64(numberAt<quint32>(header, 0, m_isBigEndian)) * m_ticksPerSecond
        + numberAt<quint32>(header, FractionAt, m_isBigEndian);
    packet->time = timeOf(ticks, m_ticksPerSecond, 0);
    packet->linkType = m_linkType;
    return read(size, &packet->bytes);
}

/// Reads a block without its type and the sizes around it. Returns false at the end of the file.
bool CaptureFile::readBlock(quint32 *type, QByteArray *body)
{
    constexpr quint32 FrameSize = 12; // type, and the size at both ends
    constexpr int HeaderSize = 8;
    constexpr int SizeAt = 4;
    constexpr quint32 ByteOrder = 0x1A2B3C4D;
    if (m_device->peek(1).isEmpty())
        return false;
    QByteArray header;
    if (!read(HeaderSize, &header))
        return false;
    *type = numberAt<quint32>(header, 0, m_isBigEndian);
    if (*type == SectionHeader) {
        const QByteArray order = m_device->peek(sizeof ByteOrder);
        m_isBigEndian = numberAt<quint32>(order, 0, true) == ByteOrder;
        if (!m_isBigEndian && numberAt<quint32>(order, 0, false) != ByteOrder)
            return refuse(QStringLiteral("a section begins without its byte order"));
    }
    const auto size = numberAt<quint32>(header, SizeAt, m_isBigEndian);
    if (size < FrameSize || size % SizeAt != 0 || size > LargestBlock)
        return refuse(QStringLiteral("a block of %1 bytes is announced").arg(size));
    QByteArray rest;
    if (!read(size - HeaderSize, &rest))
        return false;
    const auto end = static_cast<int>(rest.size()) - SizeAt;
    if (numberAt<quint32>(rest, end, m_isBigEndian) != size)
        return refuse(QStringLiteral("the two sizes of a block differ"));
    *body = rest.left(end);
    return true;
}

bool CaptureFile::nextOfPcapng(CapturedPacket *packet)
{
    quint32 type = 0;
    QByteArray body;
    while (readBlock(&type, &body)) {
        if (type == SectionHeader)
            m_interfaces.clear();
        else if (type == InterfaceDescription && !addInterface(body))
            return false;
        else if (type == EnhancedPacket)
            return takeEnhanced(body, packet);
        else if (type == SimplePacket)
            return takeSimple(body, packet);
    }
    return false;
}

bool CaptureFile::addInterface(const QByteArray &body)
{
    constexpr int SnapLengthAt = 4;
    constexpr int OptionsAt = 8;
    constexpr std::size_t MostInterfaces = 4096;
    if (body.size() < OptionsAt || m_interfaces.size() >= MostInterfaces)
        return refuse(QStringLiteral("a block describes no interface"));
    Interface interface;
    interface.linkType = numberAt<quint16>(body, 0, m_isBigEndian);
    interface.snapLength = numberAt<quint32>(body, SnapLengthAt, m_isBigEndian);
    if (!readOptions(body.mid(OptionsAt), &interface))
        return false;
    m_interfaces.push_back(interface);
    return true;
}

/// Reads what an interface says about its times: the resolution, as a power of ten or of two, and
/// an offset.
bool CaptureFile::readOptions(const QByteArray &options, Interface *interface)
{
    constexpr int HeaderSize = 4;
    constexpr int SizeAt = 2;
    constexpr quint16 Resolution = 9;
    constexpr quint16 Offset = 14;
    constexpr int PowerOfTwo = 0x80;
    constexpr int LargestPowerOfTwo = 63;
    constexpr int LargestPowerOfTen = 19;
    int at = 0;
    while (at + HeaderSize <= options.size()) {
        const auto code = numberAt<quint16>(options, at, m_isBigEndian);
        const int size = numberAt<quint16>(options, at + SizeAt, m_isBigEndian);
        at += HeaderSize;
        if (code == 0 || size > options.size() - at)
            return true;
        if (code == Offset)
            interface->offset = numberAt<qint64>(options, at, m_isBigEndian);
        if (code == Resolution && size > 0) {
            const int exponent = static_cast<quint8>(options.at(at)) & ~PowerOfTwo;
            const bool isOfTwo = (static_cast<quint8>(options.at(at)) & PowerOfTwo) != 0;
            if (exponent > (isOfTwo ? LargestPowerOfTwo : LargestPowerOfTen))
                return refuse(QStringLiteral("an interface has times that are too fine"));
            interface->ticksPerSecond = 1;
            for (int i = 0; i < exponent; ++i)
                interface->ticksPerSecond *= isOfTwo ? 2 : 10;
        }
        at += (size + HeaderSize - 1) / HeaderSize * HeaderSize;
    }
    return true;
}

bool CaptureFile::takeEnhanced(const QByteArray &body, CapturedPacket *packet)
{
    constexpr int TimeAt = 4;
    constexpr int LowTimeAt = 8;
    constexpr int SizeAt = 12;
    constexpr int BytesAt = 20;
    const auto number = numberAt<quint32>(body, 0, m_isBigEndian);
    const auto size = numberAt<quint32>(body, SizeAt, m_isBigEndian);
    if (body.size() < BytesAt || size > static_cast<quint32>(body.size() - BytesAt))
        return refuse(
            QStringLiteral("a packet of %1 bytes is announced, its block holds less").arg(size));
    if (number >= m_interfaces.size())
        return refuse(
            QStringLiteral("a packet is of interface %1, which is not described").arg(number));
    const Interface &interface = m_interfaces[number];
    const quint64 ticks = quint64(numberAt<quint32>(body, TimeAt, m_isBigEndian)) << HalfBits
        | numberAt<quint32>(body, LowTimeAt, m_isBigEndian);
    packet->time = timeOf(ticks, interface.ticksPerSecond, interface.offset);
    packet->linkType = interface.linkType;
    packet->bytes = body.mid(BytesAt, static_cast<int>(size));
    return true;
}

bool CaptureFile::takeSimple(const QByteArray &body, CapturedPacket *packet)
{
    constexpr int BytesAt = 4;
    if (body.size() < BytesAt || m_interfaces.empty())
        return refuse(QStringLiteral("a packet is of no interface"));
    auto size = qMin(numberAt<quint32>(body, 0, m_isBigEndian),
                     static_cast<quint32>(body.size() - BytesAt));
    const Interface &interface = m_interfaces.front();
    if (interface.snapLength > 0)
        size = qMin(size, interface.snapLength);
    packet->linkType = interface.linkType;
    packet->bytes = body.mid(BytesAt, static_cast<int>(size));
    return true;
}
