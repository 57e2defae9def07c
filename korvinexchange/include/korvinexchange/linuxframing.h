#ifndef KORVINEXCHANGE_LINUXFRAMING_H
#define KORVINEXCHANGE_LINUXFRAMING_H

#include "framing.h"

#include <korvininspect/messageshape.h>

#include <vector>

namespace KorvinExchange {

/// Linux frames as they are, for serial lines: each begins with 55 AA and ends with its checksum,
/// and its header says how much data comes between them.
///
/// Bytes that do not begin a frame with a right checksum are skipped one by one, so reading
/// continues after noise. If bytes look like the beginning of a frame, the framing waits for the
/// rest, until the deadline at the latest and for at most 65,555 bytes; if the rest does not come,
/// it finds frames among these bytes. A frame inside the data of another frame is data. encode()
/// accepts whole frames of the other direction with a right checksum.
class KORVINEXCHANGE_EXPORT LinuxFraming : public Framing
{
public:
    /// @param direction is the direction of received frames: a read request announces data without
    ///     carrying it.
    /// @param messageSize is the largest size of a frame; bytes that announce more are not a frame.
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
    std::vector<quint32> m_sums; ///< Sums of all bytes before each position.
};

} // namespace KorvinExchange

#endif
