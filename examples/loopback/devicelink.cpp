#include "devicelink.h"

#include "replies.h"

#include <korvininspect/packagecheck.h>
#include <korvininspect/packageclass.h>
#include <korvininspect/packageforms.h>
#include <packagerequestwrite.h>

#include <utility>

using namespace KorvinInspect;

namespace {

constexpr int ReopenMilliseconds = 200;
constexpr int LongestTimeout = 60000;
constexpr quint64 LastSerial = 255;

/// A frame, except where it leaves something out.
Form formOf(const PackageBase &request, bool prefersLinux)
{
    const ClassId id = classOf(request).id;
    switch (id) {
    case ClassId::PackageRequestWriteFile:   // its offset
    case ClassId::PackageRequestReadMemData: // its offset
    case ClassId::PackageRequestWriteMemData:
        return Form::Text;
    default:
        break;
    }
    // A Linux frame cannot say that it is a broadcast.
    const auto *write = qobject_cast<const PackageRequestWrite *>(&request);
    const bool isBroadcast = write && write->bBroadcast();
    const bool hasLinux = exists({id, Form::Linux, Direction::Request});
    return prefersLinux && hasLinux && !isBroadcast ? Form::Linux : Form::Frame;
}

/// A request as it is sent to a device.
Message encode(PackageBase *request, bool prefersLinux)
{
    Message message{classOf(*request).id, formOf(*request, prefersLinux), {}};
    encodePackage(*request, {message.form, Direction::Request}, &message.bytes);
    return message;
}

} // namespace

DeviceLink::DeviceLink(const QString &deviceKey, const QHostAddress &address, quint16 port,
                       bool prefersLinux, QObject *parent)
    : QObject(parent)
    , m_deviceKey(deviceKey)
    , m_address(address)
    , m_port(port)
    , m_prefersLinux(prefersLinux)
{
    for (quint64 serial = 1; serial <= LastSerial; ++serial)
        m_freeSerials.enqueue(serial);
    open();
}

void DeviceLink::open()
{
    auto *socket = new QTcpSocket;
    m_socket = new MessageSocket(socket, MessageSocket::Framing::LengthPrefix, this);
    connect(socket, &QTcpSocket::connected, this, [this] {
        m_isOpen = true;
        qInfo("device %s is there", qUtf8Printable(m_deviceKey));
    });
    connect(m_socket, &MessageSocket::received, this, &DeviceLink::receive);
    connect(m_socket, &MessageSocket::closed, this, [this](const QString &reason) {
        if (m_isOpen)
            qInfo("device %s is gone: %s", qUtf8Printable(m_deviceKey), qUtf8Printable(reason));
        m_isOpen = false;
        m_socket->deleteLater();
        failAll();
        QTimer::singleShot(ReopenMilliseconds, this, [this] { open(); });
    });
    socket->connectToHost(m_address, m_port);
}

void DeviceLink::send(PackageBase *request)
{
    auto *timer = new Timer(qBound(1, request->getTimeout(), LongestTimeout), this);
    request->setTimeOutTimer(timer);
    connect(timer, &Timer::timeout, this, [=] {
        fail(request, timer->commResult(), timer->packResult());
        complete(request);
    });
    m_queue.enqueue(request);
    if (m_isOpen)
        sendQueued();
    else
        timer->giveUp(OrvexEnum::CommForcedCancel, OrvexEnum::PackDisConnect);
}

void DeviceLink::sendQueued()
{
    while (m_isOpen && !m_queue.isEmpty() && !m_freeSerials.isEmpty()) {
        PackageBase *request = m_queue.dequeue();
        const quint64 serial = m_freeSerials.dequeue();
        m_underWay.insert(serial, {request, request->getSerialNum()});
        request->setSerialNum(serial);
        Q_EMIT request->BeginRequestEvent(this, request);
        const Message message = encode(request, m_prefersLinux);
        // A record can hold what a frame cannot. The device would close the connection of all.
        if (!check(message.bytes, {message.classId, message.form, Direction::Request}).isOk()
            || !m_socket->send(message)) {
            request->getTimeOutTimer()->giveUp(OrvexEnum::CommLengthErr,
                                               OrvexEnum::PackParseFailure);
        }
    }
}

void DeviceLink::receive(const Message &message)
{
    QString reason;
    const auto reply = decodeReply(message, &reason);
    if (!reply) {
        qInfo("device %s: a reply is left out: %s", qUtf8Printable(m_deviceKey),
              qUtf8Printable(reason));
        return;
    }
    PackageBase *request = m_underWay.value(reply->getSerialNum()).request;
    if (request && takeOver(request, *reply, message.form)) {
        complete(request);
        return;
    }
    // It comes too late, or twice.
    qInfo("device %s: a reply to no request, serial number %llu, is left out",
          qUtf8Printable(m_deviceKey), reply->getSerialNum());
}

/// Ends a request, under way or in the queue, that has an outcome.
void DeviceLink::complete(PackageBase *request)
{
    const quint64 serial = request->getSerialNum();
    if (m_underWay.value(serial).request == request) {
        request->setSerialNum(m_underWay.take(serial).clientSerial);
        m_freeSerials.enqueue(serial);
    } else {
        m_queue.removeOne(request);
    }
    // It may be the timer that has just run out.
    request->getTimeOutTimer()->deleteLater();
    request->getTimeOutTimer()->stop();
    request->setTimeOutTimer(nullptr);
    Q_EMIT request->CompleteRequestEvent(this, request);
    sendQueued();
}

/// Ends all that is under way or waits.
void DeviceLink::failAll()
{
    QList<PackageBase *> requests = m_queue;
    for (const UnderWay &underWay : std::as_const(m_underWay))
        requests << underWay.request;
    for (PackageBase *request : requests) {
        fail(request, OrvexEnum::CommForcedCancel, OrvexEnum::PackDisConnect);
        complete(request);
    }
}
