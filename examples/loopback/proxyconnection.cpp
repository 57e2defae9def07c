#include "proxyconnection.h"

#include "replies.h"

#include <korvininspect/packageforms.h>
#include <specialpackagerequest.h>

#include <limits>
#include <utility>

using namespace KorvinInspect;

namespace {

/// The proxy gives up after the time-out of the request; its reply needs a moment as well.
constexpr int GraceMilliseconds = 1000;

void giveUp(PackageBase *request)
{
    request->getTimeOutTimer()->giveUp(OrvexEnum::CommForcedCancel, OrvexEnum::PackSendError);
}

} // namespace

ProxyConnection::ProxyConnection(QObject *parent)
    : QObject(parent)
{
}

ProxyConnection::~ProxyConnection() = default;

void ProxyConnection::open(const QHostAddress &address, quint16 port)
{
    auto *socket = new QTcpSocket;
    m_socket = new MessageSocket(socket, MessageSocket::Framing::Lines, this);
    connect(socket, &QTcpSocket::connected, this, [this] {
        m_isOpen = true;
        Q_EMIT opened();
    });
    connect(m_socket, &MessageSocket::received, this, &ProxyConnection::receive);
    connect(m_socket, &MessageSocket::closed, this, [this](const QString &reason) {
        m_isOpen = false;
        m_socket->deleteLater();
        m_socket = nullptr;
        failAll();
        Q_EMIT closed(reason);
    });
    socket->connectToHost(address, port);
}

void ProxyConnection::close()
{
    if (m_socket)
        m_socket->close(QStringLiteral("closed"));
}

void ProxyConnection::send(PackageBase *request)
{
    begin(request, request->getTimeout() + GraceMilliseconds);
    const Message message{classOf(*request).id, Form::Text, request->makePackageRequest().toUtf8()};
    if (!m_isOpen || !m_socket->send(message))
        giveUp(request);
}

void ProxyConnection::sendCombination(const std::vector<PackageBase *> &requests)
{
    int timeout = GraceMilliseconds;
    for (const PackageBase *request : requests)
        timeout += request->getTimeout();
    for (PackageBase *request : requests)
        begin(request, timeout);
    Message message{ClassId::PackageRequestCombination, Form::Text, {}};
    if (encodeCombination(requests, &message.bytes).isOk() && m_isOpen && m_socket->send(message))
        return;
    for (PackageBase *request : requests)
        giveUp(request);
}

void ProxyConnection::begin(PackageBase *request, int timeout)
{
    // The counter of the library has 255 numbers; a record can carry many more, so that a reply
    // which comes too late meets no other request.
    m_lastSerial = m_lastSerial == std::numeric_limits<int>::max() ? 1 : m_lastSerial + 1;
    request->setSerialNum(static_cast<quint64>(m_lastSerial));
    m_pending.insert(request->getSerialNum(), request);
    auto *timer = new Timer(timeout, this);
    request->setTimeOutTimer(timer);
    connect(timer, &Timer::timeout, this, [=] {
        fail(request, timer->commResult(), timer->packResult());
        complete(request);
    });
    Q_EMIT request->BeginRequestEvent(this, request);
}

void ProxyConnection::complete(PackageBase *request)
{
    m_pending.remove(request->getSerialNum());
    // It may be the timer that has just run out.
    request->getTimeOutTimer()->deleteLater();
    request->getTimeOutTimer()->stop();
    request->setTimeOutTimer(nullptr);
    Q_EMIT request->CompleteRequestEvent(this, request);
}

void ProxyConnection::failAll()
{
    const QList<PackageBase *> pending = m_pending.values();
    for (PackageBase *request : pending) {
        fail(request, OrvexEnum::CommForcedCancel, OrvexEnum::PackDisConnect);
        complete(request);
    }
}

void ProxyConnection::receive(const Message &message)
{
    if (message.classId == ClassId::SpecialPackageRequest) {
        receiveSpecial(message);
        return;
    }
    // The reply of a combination is those of its items, in the same order; their classes are those
    // of the requests that have the serial numbers.
    const bool isCombination = message.classId == ClassId::PackageRequestCombination;
    const QList<QByteArray> records =
        isCombination ? message.bytes.split('|') : QList<QByteArray>{message.bytes};
    for (const QByteArray &record : records) {
        const quint64 serial = record.left(record.indexOf(',')).toULongLong();
        PackageBase *request = m_pending.value(serial);
        if (!request) {
            qInfo("a reply to no request, serial number %llu, is left out", serial);
            continue;
        }
        QString reason = QStringLiteral("it is about something else");
        const auto reply = decodeReply({classOf(*request).id, Form::Text, record}, &reason);
        if (reply && takeOver(request, *reply, Form::Text))
            complete(request);
        else
            qInfo("a reply is left out: %s", qUtf8Printable(reason));
    }
}

/// A special record has no serial number: the request with the same id that waits longest is meant.
void ProxyConnection::receiveSpecial(const Message &message)
{
    QString reason;
    const auto reply = decodeReply(message, &reason);
    SpecialPackageRequest *request = nullptr;
    for (PackageBase *pending : std::as_const(m_pending)) {
        auto *special = qobject_cast<SpecialPackageRequest *>(pending);
        if (reply && special
            && special->id() == static_cast<const SpecialPackageRequest &>(*reply).id()
            && (!request || *special < *request)) {
            request = special;
        }
    }
    if (request && takeOver(request, *reply, Form::Text))
        complete(request);
    else
        qInfo("a reply to no special request is left out. %s", qUtf8Printable(reason));
}
