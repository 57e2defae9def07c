#include "include/korvinexchange/lengthprefixframing.h"

#include <QtCore/QtEndian>

namespace KorvinExchange {

namespace {

constexpr int PrefixSize = sizeof(quint32);

} // namespace

LengthPrefixFraming::LengthPrefixFraming(int messageSize, std::chrono::milliseconds deadline)
    : Framing(messageSize, deadline)
{
}

LengthPrefixFraming::~LengthPrefixFraming() = default;

std::optional<QByteArray> LengthPrefixFraming::encoded(const QByteArray &message) const
{
    if (message.isEmpty() || message.size() > messageSize())
        return {};
    QByteArray bytes(PrefixSize, '\0');
    qToLittleEndian(static_cast<quint32>(message.size()), bytes.data());
    return bytes + message;
}

Framing::Found LengthPrefixFraming::find(const QByteArray &buffer, int start)
{
    if (buffer.size() - start < PrefixSize)
        return {};
    const auto size = qFromLittleEndian<quint32>(buffer.constData() + start);
    if (size == 0)
        return {Kind::Nothing, 0, PrefixSize};
    if (size > static_cast<quint32>(messageSize()))
        return {Kind::TooLong};
    if (static_cast<quint32>(buffer.size() - start - PrefixSize) < size)
        return {};
    return {Kind::Message, PrefixSize, static_cast<int>(size), 0};
}

} // namespace KorvinExchange
