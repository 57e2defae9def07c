#include "enumeration.h"

#include "exchangesupport.h"

#include <unordered_set>

namespace {

constexpr quint32 Register = 0x0A000010;
constexpr int DataSize = 4;

struct Action
{
    enum Kind { Begin, Send, Reply, Duplicate, Spoil, Cancel, Lose, Tick };
    Kind kind;
    int index = 0; ///< Of the request or copy.
};

const char *const Names[] = {
    "begin",  "send",      "reply to copy", "duplicate reply to copy", "spoilt reply to copy",
    "cancel", "lose link", "tick"};

/// A message that was sent.
struct Copy
{
    int request;
    int attempt;
    quint32 serial;
    QByteArray reply;
    Time sentAt;
    std::optional<Time> firstReply; ///< Also of a spoilt one.
    bool isAnswered = false;
    bool isGone = false; ///< With its link.
};

struct Request
{
    std::unique_ptr<PackageBase> package;
    bool isWrite = false;
    RequestId id = 0;
    int ends = 0;
    Outcome outcome = Outcome::Success;
    Time endedAt{0};
    bool isCancelled = false;
    bool isLinkLost = false;
};

/// An engine after some events, and what is known of them.
class World
{
public:
    World(const std::string &requests, const EnumeratedFaults &faults)
        : m_left(faults)
    {
        Settings settings;
        settings.forms = {Form::Frame};
        settings.lastSerialNum = 2;
        settings.timeout = std::chrono::milliseconds(100);
        settings.retry = {2, std::chrono::milliseconds(30), std::chrono::milliseconds(30)};
        settings.rest = m_rest;
        settings.restAfterReply = m_restAfterReply;
        m_engine = std::make_unique<Engine>(settings);
        for (const char kind : requests) {
            m_requests.emplace_back();
            m_requests.back().isWrite = kind == 'w';
            if (kind == 'w')
                m_requests.back().package = makeWrite(Register, QByteArray(DataSize, 'x'));
            else
                m_requests.back().package = makeRead(Register, DataSize);
        }
    }

    std::vector<Action> actions() const
    {
        std::vector<Action> possible;
        if (m_begun < m_requests.size())
            possible.push_back({Action::Begin});
        possible.push_back({Action::Send});
        if (m_left.ticks > 0 && m_engine->nextTimeout())
            possible.push_back({Action::Tick});
        if (m_left.lost > 0 && m_begun > 0)
            possible.push_back({Action::Lose});
        for (int i = 0; i < static_cast<int>(m_begun); ++i) {
            if (m_left.cancelled > 0 && m_requests[static_cast<std::size_t>(i)].ends == 0)
                possible.push_back({Action::Cancel, i});
        }
        for (int i = 0; i < static_cast<int>(m_copies.size()); ++i)
            addReplies(i, &possible);
        return possible;
    }

    /// @return whether it made a difference.
    bool play(const Action &action)
    {
        switch (action.kind) {
        case Action::Begin: {
            Request &request = m_requests[m_begun++];
            request.id = m_engine->send(request.package.get(), {}, m_now).id;
            break;
        }
        case Action::Send:
            if (!send())
                return false;
            break;
        case Action::Tick:
            --m_left.ticks;
            m_now = *m_engine->nextTimeout();
            m_engine->handleTimeout(m_now);
            break;
        case Action::Lose:
            --m_left.lost;
            loseLink();
            break;
        case Action::Cancel:
            --m_left.cancelled;
            m_requests[static_cast<std::size_t>(action.index)].isCancelled = true;
            m_engine->cancel(m_requests[static_cast<std::size_t>(action.index)].id, m_now);
            break;
        default:
            receive(action.kind, m_copies[static_cast<std::size_t>(action.index)]);
            break;
        }
        takeEvents();
        expect(m_engine->serialNumbers() <= 2, "there are two serial numbers");
        return true;
    }

    /// Lets all end that has not.
    void finish()
    {
        for (int ticks = 0; m_engine->nextTimeout() && ticks < 100; ++ticks) {
            while (m_engine->takeMessage(m_now)) { }
            m_now = qMax(m_now, *m_engine->nextTimeout());
            m_engine->handleTimeout(m_now);
            takeEvents();
        }
        for (std::size_t i = 0; i < m_begun; ++i)
            expect(m_requests[i].ends == 1, "each request ends once");
        expect(m_engine->inFlight() == 0 && m_engine->queued() == 0
                   && m_engine->bytesInFlight() == 0,
               "nothing is left");
    }

    QString failure() const { return m_failure; }

    /// All that decides about what may happen from here on.
    std::string state() const
    {
        std::string text;
        const auto add = [&](qint64 number) { text += std::to_string(number) + ' '; };
        add(m_now.count());
        for (const int left : {m_left.duplicates, m_left.spoilt, m_left.cancelled, m_left.lost,
                               m_left.ticks, static_cast<int>(m_begun)})
            add(left);
        for (const Request &request : m_requests) {
            add(request.ends);
            add(static_cast<int>(request.outcome));
            add(request.endedAt.count());
        }
        for (const Copy &copy : m_copies) {
            add(copy.request);
            add(copy.attempt);
            add(copy.serial);
            add(copy.sentAt.count());
            add(copy.firstReply ? copy.firstReply->count() : -1);
            add(copy.isAnswered * 2 + copy.isGone);
        }
        add(m_engine->inFlight());
        add(m_engine->queued());
        add(m_engine->serialNumbers());
        add(m_engine->nextTimeout().value_or(Time(-1)).count());
        return text;
    }

private:
    /// The replies that may come: within the times that the engine is promised.
    void addReplies(int index, std::vector<Action> *possible) const
    {
        const Copy &copy = m_copies[static_cast<std::size_t>(index)];
        if (copy.isGone || m_now - copy.sentAt >= m_rest)
            return;
        const bool mayComeAgain = !copy.firstReply || m_now < *copy.firstReply + m_restAfterReply;
        if (!copy.isAnswered && mayComeAgain)
            possible->push_back({Action::Reply, index});
        if (copy.isAnswered && mayComeAgain && m_left.duplicates > 0)
            possible->push_back({Action::Duplicate, index});
        if (mayComeAgain && m_left.spoilt > 0)
            possible->push_back({Action::Spoil, index});
    }

    bool send()
    {
        const std::optional<OutgoingMessage> message = m_engine->takeMessage(m_now);
        if (!message)
            return false;
        const auto request = static_cast<std::size_t>(message->request - 1);
        expect(m_requests[request].ends == 0, "what is sent has not ended");
        expect(message->attempt == 1 || !m_requests[request].isWrite, "no write is sent twice");
        const auto copyIndex = static_cast<int>(m_copies.size());
        const auto reply = replyTo(*message, [&](PackageBase &package) {
            if (qobject_cast<PackageRequestReadData *>(&package))
                package.setData(QByteArray(DataSize, static_cast<char>('A' + copyIndex)));
        });
        const quint32 serial = *serialNumOfReply(reply, Form::Frame);
        for (const Copy &copy : m_copies) {
            const bool isInFlight = m_requests[static_cast<std::size_t>(copy.request)].ends == 0;
            expect(!isInFlight || copy.request == static_cast<int>(request)
                       || copy.serial != serial,
                   "no serial number is in flight twice");
            expect(copy.request != static_cast<int>(request) || copy.serial == serial,
                   "it is repeated with its serial number");
        }
        m_copies.push_back({static_cast<int>(request), message->attempt, serial, reply, m_now, {}});
        return true;
    }

    void receive(Action::Kind kind, Copy &copy)
    {
        QByteArray reply = copy.reply;
        if (kind == Action::Spoil) {
            --m_left.spoilt;
            reply.chop(1);
        } else if (kind == Action::Duplicate) {
            --m_left.duplicates;
        } else {
            copy.isAnswered = true;
        }
        copy.firstReply = copy.firstReply.value_or(m_now);
        m_engine->receive(Form::Frame, reply, m_now);
    }

    void loseLink()
    {
        for (Request &request : m_requests)
            request.isLinkLost = true;
        for (Copy &copy : m_copies)
            copy.isGone = true;
        m_engine->linkLost(m_now);
        expect(m_engine->serialNumbers() == 0, "all numbers are free on the next link");
    }

    void takeEvents()
    {
        while (const std::optional<Event> event = m_engine->takeEvent()) {
            Request &request = m_requests[static_cast<std::size_t>(event->id - 1)];
            expect(++request.ends == 1, "each request ends once");
            request.outcome = event->outcome;
            request.endedAt = m_now;
            if (event->outcome == Outcome::Success)
                checkSuccess(request, static_cast<int>(event->id - 1));
            expect(event->outcome != Outcome::Failure, "no reply tells a failure");
            expect(event->outcome != Outcome::Cancelled || request.isCancelled,
                   "nothing is cancelled by itself");
            expect(event->outcome != Outcome::LinkLost || request.isLinkLost,
                   "no link is lost by itself");
        }
    }

    void checkSuccess(const Request &request, int index)
    {
        bool isAnswered = false;
        bool isOwnData = request.isWrite;
        for (std::size_t i = 0; i < m_copies.size(); ++i) {
            if (m_copies[i].request != index)
                continue;
            isAnswered = isAnswered || m_copies[i].isAnswered;
            const QByteArray data(DataSize, static_cast<char>('A' + i));
            isOwnData = isOwnData || (m_copies[i].isAnswered && request.package->data() == data);
        }
        expect(isAnswered, "what succeeds was answered");
        expect(isOwnData, "no data is that of another request");
    }

    void expect(bool holds, const char *what)
    {
        if (!holds && m_failure.isEmpty())
            m_failure = QLatin1String(what);
    }

    const std::chrono::milliseconds m_rest{1000};
    const std::chrono::milliseconds m_restAfterReply{20};
    EnumeratedFaults m_left;
    std::unique_ptr<Engine> m_engine;
    std::vector<Request> m_requests;
    std::vector<Copy> m_copies;
    std::size_t m_begun = 0;
    Time m_now{0};
    QString m_failure;
};

/// Follows all orders from the events of a path on.
class Enumerator
{
public:
    Enumerator(std::string requests, const EnumeratedFaults &faults)
        : m_requests(std::move(requests))
        , m_faults(faults)
    {
    }

    EnumerationResult run()
    {
        follow();
        m_result.states = static_cast<int>(m_states.size());
        return m_result;
    }

private:
    void follow()
    {
        World world(m_requests, m_faults);
        for (const Action &action : m_path) {
            if (!world.play(action))
                return;
        }
        ++m_result.events;
        if (!m_states.insert(world.state()).second)
            return;
        const std::vector<Action> actions = world.actions();
        world.finish();
        if (!world.failure().isEmpty()) {
            m_result.failure = world.failure() + QLatin1String(" after");
            for (const Action &action : m_path)
                m_result.failure += QStringLiteral(" %1 %2;")
                                        .arg(QLatin1String(Names[action.kind]))
                                        .arg(action.index);
            return;
        }
        for (const Action &action : actions) {
            m_path.push_back(action);
            follow();
            m_path.pop_back();
            if (!m_result.failure.isEmpty())
                return;
        }
    }

    std::string m_requests;
    EnumeratedFaults m_faults;
    std::vector<Action> m_path;
    std::unordered_set<std::string> m_states;
    EnumerationResult m_result;
};

} // namespace

EnumerationResult enumerateOrders(const std::string &requests, const EnumeratedFaults &faults)
{
    return Enumerator(requests, faults).run();
}
