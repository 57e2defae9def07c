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

/// The numbers of a range that are free, as intervals. The next one is drawn behind the last one,
/// so that each is left alone as long as the range allows.
class FreeNumbers
{
public:
    FreeNumbers(quint32 first, quint32 last);

    /// A free number that is not above @p most; nothing where there is none.
    std::optional<quint32> draw(quint32 most);

    /// Makes a number free that was drawn. Without memory for it, it is lost until reset().
    void release(quint32 number) noexcept;

    /// Makes all numbers free.
    void reset();

private:
    quint32 m_first;
    quint32 m_last;
    quint32 m_next;
    std::map<quint32, quint32> m_starts; ///< Of each interval, by its end.
};

/// What a reply to a request that has ended is known by.
struct EndedRequest
{
    KorvinInspect::MessageShape shape; ///< Of its reply.

    /// The request; empty where it is not kept, so that no reply can be compared with it.
    QByteArray request;

    bool isAnswered = false;      ///< A reply to it has come.
    bool isSentOnce = true;       ///< There is one reply at most, except for duplicates.
    bool isOfCombination = false; ///< Its reply may come with others.
};

/// The serial numbers of a link: which are free, which are in use, and which rest. A special
/// request has a key of its own instead of a serial number.
class SerialNumbers
{
public:
    using Key = quint64;

    /// The key of the special requests with an id.
    static Key ofSpecial(int id);

    /// A number that is in use or rests.
    struct Number
    {
        Key key = 0;
        Job *job = nullptr; ///< The request that has it; null at rest.
        int item = 0;       ///< Of the job.
        Time until{0};      ///< The end of its rest.
        EndedRequest ended; ///< At rest.
    };

    struct Rests
    {
        Time unanswered; ///< After a request that was not answered, or was sent more than once.
        Time answered;   ///< After a reply.
    };

    /// @param most is how many may be in use and at rest.
    SerialNumbers(quint32 first, quint32 last, int most, const Rests &rests);

    /// A free number that is not above @p last, or null. Throws std::bad_alloc.
    Number *draw(quint32 last);

    /// A key that is not a serial number; null where it is in use or rests.
    Number *claim(Key key);

    /// Makes a number free that was never sent.
    void release(Number *number);

    /// Lets a number rest. Takes no memory.
    void rest(Number *number, const EndedRequest &ended, Time now);

    /// A reply to a number at rest has come.
    void restAnswered(Number *number, Time now);

    /// The number, or null for one that is free.
    Number *find(Key key);

    /// Makes numbers free that have rested long enough.
    void expire(Time now);

    /// When the next number becomes free; nothing where none rests.
    std::optional<Time> nextExpiry() const;

    /// Makes all numbers free; none must be in use.
    void reset();

    int count() const { return static_cast<int>(m_numbers.size()); }

private:
    using List = std::list<Number>;

    Number *add(Key key);
    void remove(List &list, List::iterator number);
    void moveTo(List &list, Number *number);

    FreeNumbers m_free;
    std::size_t m_most;
    Rests m_rests;
    List m_inUse;
    List m_unanswered; ///< In the order in which they become free.
    List m_answered;   ///< Likewise.

    struct Place
    {
        List *list;
        List::iterator number;
    };
    std::unordered_map<Key, Place> m_numbers;
};

} // namespace KorvinExchange

#endif
