#ifndef SIMULATION_H
#define SIMULATION_H

#include "exchangesupport.h"

#include <map>
#include <queue>
#include <random>
#include <set>
#include <string>
#include <tuple>

/// @file
/// Clients, an engine, a link and a device, played from one seed: messages get lost, come late,
/// twice, spoilt and in another order, the device pauses, the transport is full, links end and
/// clocks jump. After each step it looks whether what the engine promises holds. A seed plays the
/// same on every machine.

/// How often what has happened, to see that all of it does.
using SimulationCounts = std::map<std::string, quint64>;

/// One run.
class Simulation
{
public:
    /// @param requests is how many the clients begin.
    /// @param isVerbose prints each step.
    Simulation(quint64 seed, int requests, SimulationCounts *counts, bool isVerbose = false);
    ~Simulation();

    /// Plays until all requests have ended.
    ///
    /// @return what does not hold, or an empty text.
    QString run();

private:
    /// Of a package what no request may change.
    using Identity = std::tuple<quint64, QString, QString, int, int, int, int, int, int, int, int>;

    /// A request, and what the device knows of it: what the engine must not mix up.
    struct Truth
    {
        std::unique_ptr<PackageBase> package;
        Identity identity;
        bool mayRepeat = false;
        bool isTransfer = false;
        bool isUnsendable = false;
        bool isCancelled = false;
        bool isDeleted = false;
        bool isLinkLost = false;
        int executions = 0;
        qint64 done = 0;
        std::set<QByteArray> given; ///< The data that it was given, after the register address.
        std::set<uint> told;        ///< The acknowledge codes that it was told.
    };

    /// The copies of a message, for as long as a reply to them may come.
    struct Copies
    {
        RequestId request;
        int attempt;
        std::optional<Time> firstReply;
    };

    /// A message on the link.
    struct Parcel
    {
        Time at;
        quint64 order;
        bool isRequest;
        OutgoingMessage message; ///< That was sent, or is answered.
        std::shared_ptr<Copies> copies;
        QByteArray bytes; ///< As they arrive.

        bool operator<(const Parcel &other) const
        {
            return std::tie(other.at, other.order) < std::tie(at, order);
        }
    };

    class Listener;

    quint64 upTo(quint64 most) { return m_random() % (most + 1); }
    bool happens(int perMille) { return upTo(999) < static_cast<quint64>(perMille); }
    bool fault(const char *name, int share = 1);
    Time someTime(int most) { return Time(static_cast<qint64>(upTo(quint64(most) * 1000))); }

    // The clients.
    void chooseSettings();
    void act();
    void begin();
    void beginCombination();
    void beginTransfer();
    std::unique_ptr<PackageBase> makePackage(bool *isUnsendable);
    RequestOptions chooseOptions(const PackageBase &package, Truth *truth);
    Truth makeTruth(std::unique_ptr<PackageBase> package) const;
    void accept(RequestId id, Truth truth);
    void cancelOne();
    void deleteOne();
    void loseLink();
    static Identity identityOf(const PackageBase &package);

    // The link.
    void transmit();
    void checkSent(const OutgoingMessage &message);
    bool isInFlight(quint32 serial);
    void put(const OutgoingMessage &message, const std::shared_ptr<Copies> &copies, bool isRequest,
             Time earliest, const QByteArray &bytes);
    std::optional<Time> arrival(const std::shared_ptr<Copies> &copies, bool isRequest, Time at);
    QByteArray spoilt(const QByteArray &bytes, const MessageShape &shape);
    void deliver();

    // The device.
    void serve(const Parcel &parcel);
    QByteArray execute(const QByteArray &bytes, const MessageShape &shape, RequestId id);

    // What must hold.
    void takeEvents();
    void takeAllEvents();
    void checkEnd(const Event &event, const Truth &truth);
    void checkSuccess(const Event &event, const Truth &truth);
    void checkData(const QByteArray &data, quint32 address, const Truth &truth, RequestId id);
    void checkLate(const TraceEntry &entry);
    void checkLimits();
    void expect(bool holds, const char *what, RequestId id = 0);

    void moveOn();
    void say(const QString &text) const;

    std::mt19937_64 m_random;
    int m_requests;
    SimulationCounts &m_counts;
    bool m_isVerbose;
    QString m_failure;

    Settings m_settings;
    std::unique_ptr<Listener> m_listener;
    std::unique_ptr<Engine> m_engine;
    Time m_now{0};
    Time m_fullUntil{0};   ///< The transport takes no messages.
    Time m_pausedUntil{0}; ///< The device answers nothing.
    bool m_keepsOrder = false;
    int m_faults = 0; ///< Of each kind, per mille.
    int m_begun = 0;

    std::map<RequestId, Truth> m_truths;    ///< Of those that have not ended.
    std::map<QByteArray, RequestId> m_tags; ///< Of items of combinations.
    struct Use
    {
        RequestId request;
        Time since;
    };
    std::map<quint32, Use> m_serials;       ///< In flight.
    std::map<quint32, int> m_asked;         ///< The data, of the last request with each number.
    std::map<RequestId, QByteArray> m_sent; ///< The messages of those that may be repeated.
    RequestId m_special = 0;                ///< The special request in flight.
    std::priority_queue<Parcel> m_link;
    Time m_lastArrival[2] = {Time(0), Time(0)};
    quint64 m_order = 0;
    quint64 m_executions = 0;
};

#endif
