#ifndef KORVINEXCHANGE_FRAMING_H
#define KORVINEXCHANGE_FRAMING_H

#include "korvinexchangeglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <deque>
#include <optional>
#include <vector>

namespace KorvinExchange {

/// Why no more messages can be read from a stream of bytes.
enum class FramingFault {
    None,
    TooLong,    ///< A message is longer than the limit.
    Overdue,    ///< The rest of a message did not come in time.
    Incomplete, ///< The stream ended inside a message.
    OutOfMemory ///< There was not enough memory for the received bytes.
};

/// Finds messages in a stream of bytes, and encodes messages as bytes. Like Engine, it opens no
/// socket and reads no clock.
///
/// The deadline of a message begins with its first byte and ends with its last one, however many
/// messages come before and after it.
///
/// After a fault the stream cannot be read any further, except where a class says otherwise,
/// because the beginning of the next message is not known. Later bytes are ignored. Only the
/// constructors throw: running out of memory is a fault.
class KORVINEXCHANGE_EXPORT Framing
{
public:
    /// @param messageSize is the largest size of a message, without the bytes that the framing
    ///     adds.
    /// @param deadline is the longest time from the first byte of a message to its last.
    Framing(int messageSize, std::chrono::milliseconds deadline);
    virtual ~Framing();

    /// Returns the bytes to send for a message; nothing if this framing cannot carry it, or if
    /// memory runs out.
    std::optional<QByteArray> encode(const QByteArray &message) const;

    /// Adds received bytes, and returns the messages that are complete now. Gives up an overdue
    /// message first, as handleTimeout() does.
    std::vector<QByteArray> receive(const QByteArray &bytes, Time now);

    /// Ends the stream. An incomplete message will not be completed.
    ///
    /// @return messages in the remaining bytes, if the framing resynchronises.
    std::vector<QByteArray> end();

    /// Returns why the stream cannot be read any further, or `FramingFault::None`.
    FramingFault fault() const { return m_fault; }

    /// Returns the deadline of an incomplete message; nothing without such a message.
    std::optional<Time> nextTimeout() const;

    /// Gives up an incomplete message if its deadline is over.
    ///
    /// @return messages in the remaining bytes, if the framing resynchronises.
    std::vector<QByteArray> handleTimeout(Time now);

    /// Returns the number of buffered bytes of an incomplete message: at most the largest size of a
    /// message and the bytes that the framing adds, and 0 after a fault.
    int buffered() const { return static_cast<int>(m_buffer.size()); }

protected:
    /// What find() found at a position of the stream.
    enum class Kind {
        Message,   ///< A message.
        Nothing,   ///< Bytes that belong to no message.
        Beginning, ///< The beginning of a message, or too few bytes to tell.
        TooLong    ///< The beginning of a message that is longer than the limit.
    };

    /// The result of find(), with its parts in the order of the stream.
    struct Found
    {
        Kind kind = Kind::Beginning; ///< What was found.
        int before = 0;              ///< Bytes of the framing before the message.
        int size = 0;                ///< Size of the message, or of bytes that belong to none.
        int after = 0;               ///< Bytes of the framing after the message.
    };

    /// Does the work of encode(). May throw std::bad_alloc.
    virtual std::optional<QByteArray> encoded(const QByteArray &message) const = 0;

    /// Examines the bytes at @p start, which is before the end of @p buffer.
    virtual Found find(const QByteArray &buffer, int start) = 0;

    /// Called after the first @p count bytes were removed from the buffer.
    virtual void taken(int count);

    /// Returns whether an incomplete message is skipped instead of being a fault.
    virtual bool resynchronises() const;

    /// The longest message in bytes.
    int messageSize() const { return m_messageSize; }

private:
    /// Bytes that were received at the same time.
    struct Arrival
    {
        Time time;
        int count;
    };

    void giveUp(Time now, std::vector<QByteArray> *messages);
    void append(const QByteArray &bytes);
    void take(std::vector<QByteArray> *messages);
    void drop(int count);

    template <typename Operation>
    std::vector<QByteArray> guarded(Operation operation);

    int m_messageSize;
    Time m_deadline;
    Time m_now{0}; ///< The latest moment that was passed.
    QByteArray m_buffer;
    std::deque<Arrival> m_arrivals; ///< Arrivals of the bytes in the buffer, in order.
    FramingFault m_fault = FramingFault::None;
};

/// Returns the fault in words.
KORVINEXCHANGE_EXPORT QString describe(FramingFault fault);

} // namespace KorvinExchange

#endif
