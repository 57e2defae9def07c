#include "link.h"

#include <QtNetwork/QTcpSocket>

using namespace KorvinExchange;

namespace {

ClientSettings withPauses(const Settings &settings)
{
    ClientSettings all{settings};
    all.reconnectPause = std::chrono::milliseconds(20);
    all.longestReconnectPause = std::chrono::milliseconds(1000);
    all.limits.messageSize = MaxContentSize;
    return all;
}

} // namespace

Link::Link(const QString &name, Wire wire, const Settings &settings, QObject *parent)
    : Client(withPauses(settings), parent)
    , m_name(name)
    , m_wire(wire)
{
    setTrace(this);
}

void Link::open(const Place &place)
{
    setOpener([place] {
        auto *socket = new QTcpSocket;
        QObject::connect(socket, &QTcpSocket::connected, socket,
                         [socket] { socket->setSocketOption(QAbstractSocket::LowDelayOption, 1); });
        socket->connectToHost(place.address, place.port);
        return socket;
    });
}

std::unique_ptr<Framing> Link::makeFraming() const
{
    return ::makeFraming(m_wire);
}

QByteArray Link::wrap(const OutgoingMessage &message) const
{
    return pack({message.shape.classId, message.shape.form, message.bytes});
}

std::optional<IncomingMessage> Link::unwrap(const QByteArray &bytes) const
{
    const std::optional<Message> message = unpack(bytes);
    if (!message) {
        qInfo("%s: not a message: it does not begin with a form and a class",
              qUtf8Printable(m_name));
        return {};
    }
    return IncomingMessage{message->form, message->bytes, message->classId};
}

void Link::add(const TraceEntry &entry)
{
    const auto leftOut = [&](const char *what) {
        qInfo("%s: a reply is left out: %s%s", qUtf8Printable(m_name), what,
              entry.verdict.isOk() ? "" : qUtf8Printable(describe(entry.verdict)));
    };
    switch (entry.event) {
    case TraceEvent::Late:
        return leftOut("late");
    case TraceEvent::Duplicate:
        return leftOut("the request has been answered");
    case TraceEvent::Unknown:
        return leftOut("to no request");
    case TraceEvent::RefusedReply:
        return leftOut("refused: ");
    default:
        return;
    }
}
