#ifndef KORVINEXCHANGE_LENGTHPREFIXFRAMING_H
#define KORVINEXCHANGE_LENGTHPREFIXFRAMING_H

#include "framing.h"

namespace KorvinExchange {

/// Messages of any kind with their length before them: the number of bytes, 32 bits, unsigned, the
/// least significant byte first.
///
/// A length of 0 is passed over; a message of no bytes cannot be carried.
class KORVINEXCHANGE_EXPORT LengthPrefixFraming : public Framing
{
public:
    /// The parameters are those of Framing.
    explicit LengthPrefixFraming(
        int messageSize = 1 << 20,
        std::chrono::milliseconds deadline = std::chrono::milliseconds(3000));
    ~LengthPrefixFraming() override;

protected:
    std::optional<QByteArray> encoded(const QByteArray &message) const override;
    Found find(const QByteArray &buffer, int start) override;
};

} // namespace KorvinExchange

#endif
