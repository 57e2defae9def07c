#ifndef LINK_H
#define LINK_H

#include "arguments.h"
#include "messagesocket.h"

#include <korvinexchange/engine.h>
#include <korvinexchange/transfer.h>

#include <QtCore/QHash>

#include <functional>
#include <vector>

/// The requests of a connection that is opened again, after a growing pause, whenever it ends.
///
/// It gives an engine its messages, its time and its transport. What is sent while the connection
/// is closed waits; when it ends, all ends with it.
class Link : public QObject, private KorvinExchange::Trace
{
    Q_OBJECT

public:
    /// Is told the events of a request or transfer; never inside of the operation that sends it,
    /// and not after cancel().
    using Listener = std::function<void(const KorvinExchange::Event &)>;

    /// @param name says in the log which link it is.
    Link(const QString &name, const KorvinExchange::Settings &settings,
         MessageSocket::Framing framing, QObject *parent = nullptr);
    ~Link() override;

    /// Opens the connection, as often as it takes.
    void open(const Place &place);

    /// Ends it for good, with all that is under way.
    void close();

    bool isOpen() const { return m_isOpen; }

    /// @{
    /// As those of the engine. A request that is refused at once has no events.
    KorvinExchange::Accepted send(PackageBase *package,
                                  const KorvinExchange::RequestOptions &options,
                                  const Listener &listener);
    KorvinExchange::Accepted sendCombination(const std::vector<PackageBase *> &packages,
                                             const KorvinExchange::RequestOptions &options,
                                             const Listener &listener);
    KorvinExchange::Accepted start(const KorvinExchange::Transfer &transfer,
                                   const KorvinExchange::RequestOptions &options,
                                   const Listener &listener);
    void cancel(KorvinExchange::RequestId id);
    const KorvinExchange::Counters &counters() const { return m_engine.counters(); }
    /// @}

Q_SIGNALS:
    void opened();

    /// The connection has ended, or cannot be opened for another reason than before.
    void closed(const QString &reason);

private:
    void add(const KorvinExchange::TraceEntry &entry) override;
    KorvinExchange::Accepted listen(const KorvinExchange::Accepted &accepted, std::size_t count,
                                    const Listener &listener);
    void connectToPeer();
    void onClosed(const QString &reason);
    void schedule();
    void work();
    void tellEvents();
    void setTimer();

    QString m_name;
    MessageSocket::Framing m_framing;
    KorvinExchange::Engine m_engine;
    QHash<KorvinExchange::RequestId, Listener> m_listeners;
    Place m_place;
    MessageSocket *m_socket = nullptr;
    QTimer m_timer; ///< For the engine.
    KorvinExchange::Time m_timerDue{0};
    QString m_lastReason; ///< Of the end of a connection.
    std::chrono::milliseconds m_pause;
    bool m_isOpen = false;
    bool m_isEnding = false;
    bool m_isScheduled = false;
};

#endif
