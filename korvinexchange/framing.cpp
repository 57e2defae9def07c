#include "include/korvinexchange/framing.h"

#include <algorithm>
#include <new>

namespace KorvinExchange {

namespace {

/// Size of the pieces in which bytes are processed, so that the buffer holds at most a message and
/// a piece.
constexpr int Piece = 65536;

} // namespace

Framing::Framing(int messageSize, std::chrono::milliseconds deadline)
    : m_messageSize(qMax(messageSize, 1))
    , m_deadline(deadline)
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
        for (int start = 0; start < bytes.size() && m_fault == FramingFault::None; start += Piece) {
            append(bytes.mid(start, Piece), now);
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
    if (m_fault != FramingFault::None || m_arrivals.empty())
        return {};
    return m_arrivals.front().time + m_deadline;
}

std::vector<QByteArray> Framing::handleTimeout(Time now)
{
    return guarded([&](std::vector<QByteArray> *messages) {
        for (auto due = nextTimeout(); due && *due <= now; due = nextTimeout()) {
            if (!resynchronises()) {
                m_fault = FramingFault::Overdue;
                return;
            }
            drop(1);
            take(messages);
        }
    });
}

void Framing::taken(int) { }

bool Framing::resynchronises() const
{
    return false;
}

void Framing::append(const QByteArray &bytes, Time now)
{
    const auto count = static_cast<int>(bytes.size());
    if (!m_arrivals.empty() && m_arrivals.back().time >= now)
        m_arrivals.back().count += count;
    else
        m_arrivals.push_back({now, count});
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

/// Runs an operation unless the stream has a fault. Running out of memory is a fault.
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
