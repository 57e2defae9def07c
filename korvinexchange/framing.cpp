#include "include/korvinexchange/framing.h"

#include <algorithm>
#include <new>

namespace KorvinExchange {

namespace {

/// Size of the pieces in which bytes are processed, so that the buffer holds at most a message and
/// a piece.
constexpr int Piece = 65536;

/// The largest moment and the longest deadline, so that their sum is a moment, too.
constexpr Time LargestTime = Time::max() / 2;
constexpr auto LongestDeadline = std::chrono::duration_cast<std::chrono::milliseconds>(LargestTime);

} // namespace

Framing::Framing(int messageSize, std::chrono::milliseconds deadline)
    : m_messageSize(qMax(messageSize, 1))
    , m_deadline(qBound(std::chrono::milliseconds(0), deadline, LongestDeadline))
{
}

Framing::~Framing() = default;

std::optional<QByteArray> Framing::encode(const QByteArray &message) const
{
    try {
        return encoded(message);
    } catch (const std::bad_alloc &) {
        return {};
    }
}

std::vector<QByteArray> Framing::receive(const QByteArray &bytes, Time now)
{
    return guarded([&](std::vector<QByteArray> *messages) {
        giveUp(now, messages);
        for (int start = 0; start < bytes.size() && m_fault == FramingFault::None; start += Piece) {
            append(bytes.mid(start, Piece));
            take(messages);
        }
    });
}

std::vector<QByteArray> Framing::end()
{
    return guarded([&](std::vector<QByteArray> *messages) {
        const bool isInside = !m_buffer.isEmpty();
        while (resynchronises() && !m_buffer.isEmpty()) {
            drop(1);
            take(messages);
        }
        if (isInside)
            m_fault = FramingFault::Incomplete;
    });
}

std::optional<Time> Framing::nextTimeout() const
{
    if (m_arrivals.empty())
        return {};
    return m_arrivals.front().time + m_deadline;
}

std::vector<QByteArray> Framing::handleTimeout(Time now)
{
    return guarded([&](std::vector<QByteArray> *messages) { giveUp(now, messages); });
}

void Framing::taken(int) { }

bool Framing::resynchronises() const
{
    return false;
}

/// Sets the clock, and gives up what is overdue then.
void Framing::giveUp(Time now, std::vector<QByteArray> *messages)
{
    m_now = qBound(m_now, now, LargestTime);
    for (auto due = nextTimeout(); due && *due <= m_now; due = nextTimeout()) {
        if (!resynchronises()) {
            m_fault = FramingFault::Overdue;
            return;
        }
        drop(1);
        take(messages);
    }
}

void Framing::append(const QByteArray &bytes)
{
    const auto count = static_cast<int>(bytes.size());
    if (!m_arrivals.empty() && m_arrivals.back().time == m_now)
        m_arrivals.back().count += count;
    else
        m_arrivals.push_back({m_now, count});
    m_buffer.append(bytes);
}

/// Removes complete messages, and bytes that belong to no message, from the buffer.
void Framing::take(std::vector<QByteArray> *messages)
{
    int start = 0;
    while (start < m_buffer.size()) {
        const Found found = find(m_buffer, start);
        if (found.kind == Kind::TooLong)
            m_fault = FramingFault::TooLong;
        if (found.kind == Kind::TooLong || found.kind == Kind::Beginning)
            break;
        if (found.kind == Kind::Message)
            messages->push_back(m_buffer.mid(start + found.before, found.size));
        start += found.before + found.size + found.after;
    }
    drop(start);
}

void Framing::drop(int count)
{
    m_buffer.remove(0, count);
    taken(count);
    while (count > 0) {
        Arrival &first = m_arrivals.front();
        const int dropped = qMin(count, first.count);
        first.count -= dropped;
        count -= dropped;
        if (first.count == 0)
            m_arrivals.pop_front();
    }
}

/// Runs an operation unless the stream has a fault. Running out of memory is a fault. After a fault
/// nothing is kept.
template <typename Operation>
std::vector<QByteArray> Framing::guarded(Operation operation)
{
    std::vector<QByteArray> messages;
    if (m_fault != FramingFault::None)
        return messages;
    try {
        operation(&messages);
    } catch (const std::bad_alloc &) {
        m_fault = FramingFault::OutOfMemory;
    }
    if (m_fault != FramingFault::None) {
        m_buffer.clear();
        m_arrivals.clear();
    }
    return messages;
}

QString describe(FramingFault fault)
{
    switch (fault) {
    case FramingFault::None:
        return QStringLiteral("ok");
    case FramingFault::TooLong:
        return QStringLiteral("a message is too long");
    case FramingFault::Overdue:
        return QStringLiteral("the rest of a message did not come in time");
    case FramingFault::Incomplete:
        return QStringLiteral("the stream ended inside a message");
    default:
        return QStringLiteral("out of memory");
    }
}

} // namespace KorvinExchange
