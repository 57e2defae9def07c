#include "serialnumbers_p.h"

#include <algorithm>
#include <new>
#include <utility>

namespace KorvinExchange {

namespace {

/// The first key after all serial numbers.
constexpr SerialNumbers::Key FirstSpecial = SerialNumbers::Key(1) << 32;

} // namespace

FreeNumbers::FreeNumbers(quint32 first, quint32 last)
    : m_first(first)
    , m_last(last)
    , m_next(first)
    , m_starts{{last, first}}
{
}

std::optional<quint32> FreeNumbers::draw(quint32 most)
{
    auto interval = m_starts.lower_bound(m_next);
    if (interval == m_starts.end() || qMax(interval->second, m_next) > most)
        interval = m_starts.begin();
    if (interval == m_starts.end())
        return {};
    const auto [end, start] = *interval;
    const quint32 number = m_next > start && m_next <= end && m_next <= most ? m_next : start;
    if (number > most)
        return {};
    if (number > start) // the numbers before it stay free
        m_starts.emplace(number - 1, start);
    m_next = number + 1;
    if (number < end) {
        interval->second = number + 1;
        return number;
    }
    Starts::node_type used = m_starts.extract(interval);
    if (m_starts.empty())
        m_spare = std::move(used);
    return number;
}

void FreeNumbers::release(quint32 number) noexcept
{
    if (m_starts.empty()) {
        insertSpare(number, number);
        return;
    }
    const auto next = m_starts.lower_bound(number);
    const auto previous = next == m_starts.begin() ? m_starts.end() : std::prev(next);
    const bool joinsPrevious = previous != m_starts.end() && previous->first == number - 1;
    const bool joinsNext = next != m_starts.end() && next->second == number + 1;
    if (joinsNext)
        next->second = joinsPrevious ? previous->second : number;
    if (joinsPrevious && joinsNext) {
        m_starts.erase(previous);
    } else if (joinsPrevious) {
        const quint32 start = previous->second;
        m_spare = m_starts.extract(previous); // takes no memory
        insertSpare(start, number);
    } else if (!joinsNext) {
        try {
            m_starts.emplace_hint(next, number, number);
        } catch (const std::bad_alloc &) {
            return;
        }
    }
}

void FreeNumbers::reset() noexcept
{
    m_spare = m_starts.extract(m_starts.begin()); // the last free number is never lost
    m_starts.clear();
    insertSpare(m_first, m_last);
}

void FreeNumbers::insertSpare(quint32 first, quint32 last) noexcept
{
    m_spare.key() = last;
    m_spare.mapped() = first;
    m_starts.insert(std::move(m_spare));
}

SerialNumbers::Key SerialNumbers::ofSpecial(int id)
{
    return FirstSpecial + static_cast<quint32>(id);
}

SerialNumbers::SerialNumbers(quint32 first, quint32 last, int most, const Rests &rests)
    : m_free(first, last)
    , m_most(static_cast<std::size_t>(most))
    , m_rests(rests)
{
}

SerialNumbers::Number *SerialNumbers::draw(quint32 last)
{
    if (m_numbers.size() >= m_most)
        return nullptr;
    const std::optional<quint32> number = m_free.draw(last);
    return number ? add(*number) : nullptr;
}

SerialNumbers::Number *SerialNumbers::claim(Key key)
{
    return m_numbers.size() >= m_most ? nullptr : add(key);
}

void SerialNumbers::release(Number *number)
{
    const Key key = number->key;
    m_numbers.erase(key);
    number->list->erase(number->place);
    if (key < FirstSpecial)
        m_free.release(static_cast<quint32>(key));
}

void SerialNumbers::rest(Number *number, EndedRequest ended, Time now)
{
    const bool isShort = ended.isAnswered && ended.isSentOnce;
    number->job = nullptr;
    number->ended = std::move(ended);
    number->until = now + (isShort ? m_rests.answered : m_rests.unanswered);
    moveTo(isShort ? &m_answered : &m_unanswered, number);
}

void SerialNumbers::restAnswered(Number *number, Time now)
{
    number->ended.isAnswered = true;
    if (number->ended.isSentOnce)
        rest(number, number->ended, now);
}

SerialNumbers::Number *SerialNumbers::find(Key key)
{
    const auto found = m_numbers.find(key);
    return found == m_numbers.end() ? nullptr : found->second;
}

std::optional<SerialNumbers::Key> SerialNumbers::expireNext(Time now)
{
    for (List *list : {&m_unanswered, &m_answered}) {
        if (list->empty() || list->front().until > now)
            continue;
        const Key key = list->front().key;
        release(&list->front());
        return key;
    }
    return {};
}

std::optional<Time> SerialNumbers::nextExpiry() const
{
    std::optional<Time> next;
    for (const List *list : {&m_unanswered, &m_answered}) {
        if (!list->empty())
            next = next ? qMin(*next, list->front().until) : list->front().until;
    }
    return next;
}

void SerialNumbers::reset()
{
    while (expireNext(Time::max())) { }
    m_free.reset(); // including numbers that were lost
}

SerialNumbers::Number *SerialNumbers::add(Key key)
{
    try {
        List added(1);
        Number &number = added.front();
        m_numbers.insert({key, &number});
        number.key = key;
        number.list = &m_inUse;
        number.place = added.begin();
        m_inUse.splice(m_inUse.end(), added);
    } catch (const std::bad_alloc &) {
        if (key < FirstSpecial)
            m_free.release(static_cast<quint32>(key));
        throw;
    }
    return &m_inUse.back();
}

void SerialNumbers::moveTo(List *list, Number *number)
{
    list->splice(list->end(), *number->list, number->place);
    number->list = list;
}

} // namespace KorvinExchange
