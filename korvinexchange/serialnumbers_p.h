#ifndef KORVINEXCHANGE_SERIALNUMBERS_P_H
#define KORVINEXCHANGE_SERIALNUMBERS_P_H

#include "include/korvinexchange/korvinexchangeglobal.h"

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>

#include <list>
#include <map>
#include <optional>
#include <unordered_map>

namespace KorvinExchange {

struct Job;

/// The free numbers of a range, as intervals. Draws the next free number after the last one, so
/// that each number stays unused as long as possible.
class FreeNumbers
{
public:
    FreeNumbers(quint32 first, quint32 last);

    /// Draws a free number of at most @p most; returns nothing if there is none.
    std::optional<quint32> draw(quint32 most);

    /// Makes a drawn number free. If there is no memory for it, the number is lost until reset().
    /// That cannot happen while no other number is free.
    void release(quint32 number) noexcept;

    /// Makes all numbers free; none may be in use. Takes no memory.
    void reset() noexcept;

private:
    void insertSpare(quint32 first, quint32 last) noexcept;

    quint32 m_first;
    quint32 m_last;
    quint32 m_next;
    using Starts = std::map<quint32, quint32>;
    Starts m_starts;           ///< The start of each interval, by its end.
    Starts::node_type m_spare; ///< The memory of the next interval, if there is none now.
};

/// A request that has ended, to recognise replies to it.
struct EndedRequest
{
    KorvinInspect::MessageShape shape; ///< Shape of its reply.

    /// The request; empty if it was too long to keep. Then replies are not compared with it.
    QByteArray request;

    int asked = 0;                ///< Data bytes that the reply may carry.
    bool isAnswered = false;      ///< A reply to it has arrived.
    bool isSentOnce = true;       ///< Has at most one reply, except for duplicates.
    bool isOfCombination = false; ///< Its reply may arrive with others.
};

/// The serial numbers of a link: free, in use, or resting. A special request has a key of its own
/// instead of a serial number.
class SerialNumbers
{
public:
    using Key = quint64;

    /// Returns the key of special requests with this id.
    static Key ofSpecial(int id);

    struct Number;
    using List = std::list<Number>;

    /// A number that is in use or resting.
    struct Number
    {
        Key key = 0;
        List *list = nullptr; ///< The list that contains it.
        List::iterator place;
        Job *job = nullptr; ///< The job that uses it; null while it rests.
        int item = 0;       ///< The item of the job.
        Time until{0};      ///< The end of its rest.
        EndedRequest ended; ///< While it rests: the request that used it.
    };

    struct Rests
    {
        Time unanswered; ///< Rest after a request that was not answered, or sent more than once.
        Time answered;   ///< Rest after a reply.
    };

    /// @param most is how many may be in use or resting.
    SerialNumbers(quint32 first, quint32 last, int most, const Rests &rests);

    /// Draws a free number of at most @p last; returns null if there is none. Throws
    /// std::bad_alloc.
    Number *draw(quint32 last);

    /// Takes a free key that is not a serial number; returns null if there are too many.
    Number *claim(Key key);

    /// Makes a number free that was not sent.
    void release(Number *number);

    /// Lets a number rest. Needs no memory.
    void rest(Number *number, EndedRequest ended, Time now);

    /// Notes that a reply with a resting number has arrived.
    void restAnswered(Number *number, Time now);

    /// Returns a number, or null if it is free.
    Number *find(Key key);

    /// Makes the next number free whose rest is over; returns its key, or nothing if all rest on.
    std::optional<Key> expireNext(Time now);

    /// Returns when the next number becomes free; nothing if no number rests.
    std::optional<Time> nextExpiry() const;

    /// Makes all numbers free. None may be in use.
    void reset();

    int count() const { return static_cast<int>(m_numbers.size()); }

private:
    Number *add(Key key);
    static void moveTo(List *list, Number *number);

    FreeNumbers m_free;
    std::size_t m_most;
    Rests m_rests;
    List m_inUse;
    List m_unanswered; ///< In the order in which they become free.
    List m_answered;   ///< In the same order.
    std::unordered_map<Key, Number *> m_numbers;
};

} // namespace KorvinExchange

#endif
