#ifndef KORVINEXCHANGE_PCAPNGWRITER_H
#define KORVINEXCHANGE_PCAPNGWRITER_H

#include "trace.h"

#include <QtCore/QByteArray>

namespace KorvinExchange {

/// Writes traced messages as a capture file, for Wireshark with the dissector of this project.
///
///     PcapngWriter writer;
///     file.write(writer.header());
///     file.write(writer.packet(entry)); // of each entry
///
/// Each message is a UDP datagram from 10.0.0.1, port 40000, to 10.0.0.2, port 5000, or back. It
/// begins with the words for form and class that the dissector knows. A comment has the event of
/// the message:
///
///     tshark -r trace.pcapng -d udp.port==5000,korvinpackage
///
/// A message is cut after 65,000 bytes. The file is the same on every machine.
class KORVINEXCHANGE_EXPORT PcapngWriter
{
public:
    /// @param origin is the moment 0 of the traced times, as a time since 1970.
    explicit PcapngWriter(Time origin = Time(0));

    /// Returns the beginning of a file.
    QByteArray header() const;

    /// Returns a message. Messages of several engines may be in one file.
    QByteArray packet(const TraceEntry &entry) const;

private:
    Time m_origin;
};

} // namespace KorvinExchange

#endif
