#ifndef KORVINEXCHANGE_LINEFRAMING_H
#define KORVINEXCHANGE_LINEFRAMING_H

#include "framing.h"

namespace KorvinExchange {

/// Records as lines: a line feed (0A) ends each.
///
/// A carriage return directly before the line feed is dropped, and empty lines are skipped. A
/// record that is empty, contains a line feed or ends with a carriage return cannot be carried.
class KORVINEXCHANGE_EXPORT LineFraming : public Framing
{
public:
    /// The parameters are those of Framing.
    explicit LineFraming(int messageSize = 1 << 20,
                         std::chrono::milliseconds deadline = std::chrono::milliseconds(3000));
    ~LineFraming() override;

protected:
    std::optional<QByteArray> encoded(const QByteArray &message) const override;
    Found find(const QByteArray &buffer, int start) override;
    void taken(int count) override;

private:
    int m_searched = 0; ///< The first bytes of the buffer, which contain no line feed.
};

} // namespace KorvinExchange

#endif
