#ifndef LINK_H
#define LINK_H

#include "arguments.h"
#include "message.h"

#include <korvinexchange/client.h>

/// A client of the library over TCP whose messages say what they are. It logs what reaches no
/// request.
class Link : public KorvinExchange::Client, private KorvinExchange::Trace
{
    Q_OBJECT

public:
    /// @param name says in the log which link it is.
    Link(const QString &name, Wire wire, const KorvinExchange::Settings &settings,
         QObject *parent = nullptr);

    /// Connects to a place, and again whenever the connection ends.
    void open(const Place &place);

protected:
    std::unique_ptr<KorvinExchange::Framing> makeFraming() const override;
    QByteArray wrap(const KorvinExchange::OutgoingMessage &message) const override;
    std::optional<KorvinExchange::IncomingMessage> unwrap(const QByteArray &bytes) const override;

private:
    void add(const KorvinExchange::TraceEntry &entry) override;

    QString m_name;
    Wire m_wire;
};

#endif
