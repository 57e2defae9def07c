#ifndef KORVINEXCHANGE_LENGTHPREFIXFRAMING_H
#define KORVINEXCHANGE_LENGTHPREFIXFRAMING_H

#include "framing.h"

namespace KorvinExchange {

/// Messages of any kind after their length: the number of bytes as an unsigned 32-bit number, least
/// significant byte first.
///
/// A length of 0 is skipped. An empty message cannot be carried.
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
