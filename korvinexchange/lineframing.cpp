#include "include/korvinexchange/lineframing.h"

namespace KorvinExchange {

LineFraming::LineFraming(int messageSize, std::chrono::milliseconds deadline)
    : Framing(messageSize, deadline)
{
}

LineFraming::~LineFraming() = default;

std::optional<QByteArray> LineFraming::encoded(const QByteArray &message) const
{
    if (message.isEmpty() || message.size() > messageSize() || message.contains('\n')
        || message.endsWith('\r')) {
        return {};
    }
    return message + '\n';
}

Framing::Found LineFraming::find(const QByteArray &buffer, int start)
{
    const auto end = static_cast<int>(buffer.indexOf('\n', qMax(start, m_searched)));
    if (end < 0) {
        m_searched = static_cast<int>(buffer.size());
        // The last byte may be a carriage return, which is not part of the message.
        const bool isTooLong = buffer.size() - start - 1 > messageSize();
        return {isTooLong ? Kind::TooLong : Kind::Beginning};
    }
    const bool endsWithReturn = end > start && buffer.at(end - 1) == '\r';
    const int size = end - start - (endsWithReturn ? 1 : 0);
    if (size > messageSize())
        return {Kind::TooLong};
    return {size > 0 ? Kind::Message : Kind::Nothing, 0, size, end + 1 - start - size};
}

void LineFraming::taken(int count)
{
    m_searched = qMax(m_searched - count, 0);
}

} // namespace KorvinExchange
