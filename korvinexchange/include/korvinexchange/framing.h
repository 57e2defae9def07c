#ifndef KORVINEXCHANGE_FRAMING_H
#define KORVINEXCHANGE_FRAMING_H

#include "korvinexchangeglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <deque>
#include <optional>
#include <vector>

namespace KorvinExchange {

/// Why a stream of bytes cannot be read any further.
enum class FramingFault {
    None,
    TooLong,    ///< A message is longer than the limit.
    Overdue,    ///< The rest of a message did not come in time.
    Incomplete, ///< The stream ended inside of a message.
    OutOfMemory ///< There was no memory for what came.
};

/// Finds messages in a stream of bytes, and makes bytes of messages. Opens nothing and reads no
/// clock, like Engine.
///
/// A deadline for the rest of a message begins with the first byte of the message, and ends with
/// its last one, however many messages come before and after it.
///
/// A fault is the end of the stream, except where a class says otherwise: what comes later is not
/// looked at, as nobody can tell where a message begins. Only the constructors throw: out of memory
/// is a fault.
class KORVINEXCHANGE_EXPORT Framing
{
public:
    /// @param messageSize is the longest message in bytes, without what the framing adds.
    /// @param deadline is how long a message may take from its first byte to its last.
    Framing(int messageSize, std::chrono::milliseconds deadline);
    virtual ~Framing();

    /// The bytes to send for a message; nothing for one that this framing cannot carry, and out of
    /// memory.
    std::optional<QByteArray> encode(const QByteArray &message) const;

    /// Takes bytes that were received, and returns the messages that are complete now.
    std::vector<QByteArray> receive(const QByteArray &bytes, Time now);

    /// The stream has ended: what has begun will not be completed.
    ///
    /// @return messages that are found in what is left, of a framing that resynchronises.
    std::vector<QByteArray> end();

    /// Whether the stream can be read on, or why not.
    FramingFault fault() const { return m_fault; }

    /// When the deadline of a message that has begun is over; nothing where none has.
    std::optional<Time> nextTimeout() const;

    /// Gives up a message whose deadline is over by now.
    ///
    /// @return messages that are found in what is left, of a framing that resynchronises.
    std::vector<QByteArray> handleTimeout(Time now);

    /// Bytes that are kept of a message that has begun. At most those of the longest message, and
    /// what the framing adds.
    int buffered() const { return static_cast<int>(m_buffer.size()); }

protected:
    /// What lies at a position of the stream.
    enum class Kind {
        Message,   ///< A message.
        Nothing,   ///< Bytes that belong to no message.
        Beginning, ///< The beginning of a message, or less than one can tell.
        TooLong    ///< The beginning of a message that is longer than the limit.
    };

    /// What was found, in the order in which it lies there.
    struct Found
    {
        Kind kind = Kind::Beginning; ///< What it is.
        int before = 0;              ///< Bytes before the message that the framing adds.
        int size = 0;                ///< Of the message, or of bytes that belong to none.
        int after = 0;               ///< Bytes after the message that the framing adds.
    };

    /// What encode() returns. May throw std::bad_alloc.
    virtual std::optional<QByteArray> encoded(const QByteArray &message) const = 0;

    /// Looks at what lies at @p start, which is before the end of @p buffer.
    virtual Found find(const QByteArray &buffer, int start) = 0;

    /// The first @p count bytes of the buffer have been taken out of it.
    virtual void taken(int count);

    /// Whether a message that is not completed is passed over, instead of ending the stream.
    virtual bool resynchronises() const;

    /// The longest message in bytes.
    int messageSize() const { return m_messageSize; }

private:
    /// Bytes that have come at the same time.
    struct Arrival
    {
        Time time;
        int count;
    };

    void append(const QByteArray &bytes, Time now);
    void take(std::vector<QByteArray> *messages);
    void drop(int count);

    template <typename Operation>
    std::vector<QByteArray> guarded(Operation operation);

    int m_messageSize;
    Time m_deadline;
    QByteArray m_buffer;
    std::deque<Arrival> m_arrivals; ///< Of the bytes in the buffer, in order.
    FramingFault m_fault = FramingFault::None;
};

/// The fault in words.
KORVINEXCHANGE_EXPORT QString describe(FramingFault fault);

} // namespace KorvinExchange

#endif
