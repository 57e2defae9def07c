#include "include/korvinexchange/linuxframing.h"

#include <korvininspect/packageforms.h>
#include <packagebase.h>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

constexpr int StartSize = 2;    // not summed
constexpr int ChecksumSize = 2; // not summed

/// The checksum of no bytes.
quint32 seed()
{
    int sum = 0;
    PackageBase::calcRevise({}, 0, 0, &sum);
    return static_cast<quint32>(sum);
}

} // namespace

LinuxFraming::LinuxFraming(Direction direction, std::chrono::milliseconds deadline, int messageSize)
    : Framing(messageSize, deadline)
    , m_direction(direction)
    , m_sums(1, 0)
{
}

LinuxFraming::~LinuxFraming() = default;

std::optional<QByteArray> LinuxFraming::encoded(const QByteArray &message) const
{
    const Direction other =
        m_direction == Direction::Request ? Direction::Reply : Direction::Request;
    const auto size = static_cast<int>(message.size());
    const bool isFrame = size > 0 && size <= messageSize()
        && linuxFrameSize(message, 0, other) == size && PackageBase::ReviseOk(message, 0, size);
    return isFrame ? std::optional(message) : std::nullopt;
}

Framing::Found LinuxFraming::find(const QByteArray &buffer, int start)
{
    const auto end = static_cast<int>(buffer.size());
    auto begin = static_cast<int>(buffer.indexOf(LinuxFrameStart, start));
    if (begin < 0) // the last byte may be the first one of a frame
        begin = buffer.endsWith(LinuxFrameStart[0]) ? end - 1 : end;
    if (begin > start)
        return {Kind::Nothing, 0, begin - start};
    const int size = linuxFrameSize(buffer, begin, m_direction);
    if (size > messageSize())
        return {Kind::Nothing, 0, StartSize};
    if (size == 0 || size > end - begin)
        return {};
    if (!holds(buffer, begin, size))
        return {Kind::Nothing, 0, StartSize};
    return {Kind::Message, 0, size};
}

void LinuxFraming::taken(int count)
{
    const auto known = qMin(static_cast<std::size_t>(count), m_sums.size() - 1);
    m_sums.erase(m_sums.begin(), m_sums.begin() + static_cast<std::ptrdiff_t>(known));
}

bool LinuxFraming::resynchronises() const
{
    return true;
}

/// Returns whether the checksum of a frame is right.
bool LinuxFraming::holds(const QByteArray &buffer, int start, int size)
{
    for (auto at = static_cast<int>(m_sums.size()) - 1; at < start + size; ++at)
        m_sums.push_back(m_sums.back() + static_cast<quint8>(buffer.at(at)));
    const int end = start + size - ChecksumSize;
    const int summed = start + StartSize;
    const quint32 sum = seed() + m_sums.at(static_cast<std::size_t>(end))
        - m_sums.at(static_cast<std::size_t>(summed));
    int next = 0;
    const int stored = PackageBase::GetVauleFromBytes(buffer, end, ChecksumSize, &next);
    return static_cast<quint16>(sum) == stored;
}

} // namespace KorvinExchange
