#ifndef KORVINEXCHANGE_LINUXFRAMING_H
#define KORVINEXCHANGE_LINUXFRAMING_H

#include "framing.h"

#include <korvininspect/messageshape.h>

#include <vector>

namespace KorvinExchange {

/// Linux frames as they are, for serial lines: each begins with 55 AA and ends with its checksum,
/// and its header says how much data lies between.
///
/// Bytes that begin no frame whose checksum holds are passed over, one by one, so that reading goes
/// on after noise, wherever in the stream. What looks like the beginning of a frame is waited for,
/// at most until its deadline and for 65,555 bytes; frames that it has hidden are found then. A
/// frame inside the data of another one is data. encode() takes whole frames of the other direction
/// whose checksum holds.
class KORVINEXCHANGE_EXPORT LinuxFraming : public Framing
{
public:
    /// @param direction is what is received: a request to read announces data without carrying it.
    /// @param messageSize is the longest frame; what announces more is no frame.
    explicit LinuxFraming(KorvinInspect::Direction direction = KorvinInspect::Direction::Reply,
                          std::chrono::milliseconds deadline = std::chrono::milliseconds(1000),
                          int messageSize = 65555);
    ~LinuxFraming() override;

protected:
    std::optional<QByteArray> encoded(const QByteArray &message) const override;
    Found find(const QByteArray &buffer, int start) override;
    void taken(int count) override;
    bool resynchronises() const override;

private:
    bool holds(const QByteArray &buffer, int start, int size);

    KorvinInspect::Direction m_direction;
    std::vector<quint32> m_sums; ///< Of all bytes before each position: none is summed twice.
};

} // namespace KorvinExchange

#endif
