#ifndef KORVINEXCHANGE_CLIENT_H
#define KORVINEXCHANGE_CLIENT_H

#include "engine.h"
#include "framing.h"
#include "korvinexchangeglobal.h"
#include "reply.h"
#include "settings.h"
#include "transfer.h"

#include <QtCore/QIODevice>
#include <QtCore/QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace KorvinExchange {

/// The settings of a Client: those of its engine, and those of its device.
struct ClientSettings : Settings
{
    /// The time within which a device must be connected; at least 1 ms.
    std::chrono::milliseconds connectTimeout{10000};

    /// @{
    /// The pause between the loss of a device and the opening of the next one. It doubles with each
    /// further attempt, until a message is received. Both are at least 1 ms.
    std::chrono::milliseconds reconnectPause{100};
    std::chrono::milliseconds longestReconnectPause{10000};
    /// @}

    /// Nothing is sent while the device has at least this many bytes to write.
    qint64 bytesToWrite = 65536;
};

/// A message that was received.
struct IncomingMessage
{
    KorvinInspect::Form form = KorvinInspect::Form::Text; ///< Its encoding.
    QByteArray bytes;                                     ///< The frame, or the record in UTF-8.
    std::optional<KorvinInspect::ClassId> classId = {};   ///< Its class, if the peer says it.
};

/// An Engine on a QIODevice: sends packages to a peer and reports their outcomes.
///
///     Client client;
///     client.setOpener([] {
///         auto *socket = new QTcpSocket;
///         socket->connectToHost(QStringLiteral("proxy"), 5000);
///         return socket;
///     });
///     connect(client.send(&read), &Reply::finished, ...);
///
/// **The device** is sequential and emits readyRead() and bytesWritten(): a QTcpSocket,
/// QLocalSocket, QSerialPort, QProcess. It need not be connected yet: it counts as connected when
/// it is open and QIODevice::writeChannelCount() is not 0. Until then requests wait, at most for
/// Settings::queueTimeout. The link is lost when the device closes or is deleted, when its peer
/// sends nothing more, when it emits a signal `errorOccurred`, when writing to it fails, and when
/// the framing finds a fault; the last two close the device. The client handles all bytes received
/// before; then all requests end with `Outcome::LinkLost`. Later requests wait for the next device.
///
/// **Opening the device.** Either the caller opens it and passes it to setDevice(), or the client
/// calls a function of the caller, see setOpener(). Only the latter lets the client reconnect.
///
/// **Messages** are framed according to the first form of the settings: records as lines, byte
/// frames with a length prefix, Linux frames as they are. All bytes of a Linux frame must come
/// within Settings::timeout or 1 s, whichever is longer. Settings::forms has only one form. For
/// peers that need something else, or several forms, derive a class and override makeFraming(),
/// wrap() and unwrap().
///
/// **Packages** are treated as described at Engine. The client emits their own signals, with itself
/// as token: PackageBase::BeginRequestEvent() when a package, or the first message of a transfer,
/// is sent for the first time; PackageBase::CompleteRequestEvent() when it has its outcome, even
/// if it was never sent, directly before Reply::finished(). A package that is refused because it is
/// under way emits nothing for this.
///
/// **Signals** of the client, its replies and its packages are emitted from the event loop, never
/// from inside an operation or a signal of the device, except by exchange(), waitForFinished() and
/// the destructor. A slot may do anything, even delete the client.
///
/// A client belongs to one thread, which has an event loop; a program without one uses exchange().
/// Only the constructor throws. If memory runs out while messages are sent or received, the link
/// is lost; every accepted request still ends exactly once. Qt itself does not survive a lack of
/// memory while it connects signals, such as those of a new device.
class KORVINEXCHANGE_EXPORT Client : public QObject
{
    Q_OBJECT

public:
    /// Opens a new device. A null pointer, or a device that is not connected in time, means that it
    /// cannot be opened now.
    using Opener = std::function<QIODevice *()>;

    /// Makes a client without a device.
    explicit Client(const ClientSettings &settings = {}, QObject *parent = nullptr);

    /// Ends all unfinished requests with `Outcome::LinkLost` and announces this. Refuses requests
    /// that slots send meanwhile.
    ~Client() override;

    /// Replaces the device; null removes it. The caller keeps the ownership.
    void setDevice(QIODevice *device);

    /// Calls @p opener from the event loop, now and each time the link is lost. The client owns the
    /// devices that it returns.
    void setOpener(const Opener &opener);

    /// Returns the present device, or null.
    QIODevice *device() const;

    /// Returns whether there is a connected device, so that messages can be sent.
    bool isConnected() const;

    /// Sends a request of any class, as Engine::send() does.
    ///
    /// @return its reply. Null if memory runs out, and while the client is being deleted: then
    ///     nothing is announced, and the package has the results of `Outcome::Refused`.
    Reply *send(PackageBase *package, const RequestOptions &options = {});

    /// Sends several requests in one record, as Engine::sendCombination() does.
    ///
    /// @return their replies, in the same order; empty if there are no packages, or if send() would
    ///     return null.
    std::vector<Reply *> sendCombination(const std::vector<PackageBase *> &packages,
                                         const RequestOptions &options = {});

    /// Begins a transfer, as Engine::start() does.
    ///
    /// @return its reply, or null as for send().
    Reply *start(const Transfer &transfer, const RequestOptions &options = {});

    /// Sends a request, waits for its outcome and returns it: for programs and tests that do one
    /// thing after the other. Aborts the request after @p deadline.
    ///
    /// Runs an event loop without user input meanwhile, so it works with every device and
    /// reconnects; there must be a QCoreApplication. Other requests continue and slots are called.
    /// If a slot waits as well, the outer call returns after it.
    /// @{
    Event exchange(PackageBase *package, std::chrono::milliseconds deadline,
                   const RequestOptions &options = {});
    Event exchange(const Transfer &transfer, std::chrono::milliseconds deadline,
                   const RequestOptions &options = {});
    /// @}

    /// Returns the engine, for its counters and limits.
    const Engine &engine() const;

    /// Does what Engine::setTrace() does.
    void setTrace(Trace *trace);

Q_SIGNALS:
    /// Emitted when the device is connected.
    void connected();

    /// Emitted when the link is lost or a device cannot be opened; @p reason is for people.
    void disconnected(const QString &reason);

protected:
    /// Makes the framing for a new device.
    virtual std::unique_ptr<Framing> makeFraming() const;

    /// Returns the bytes that carry a message, by default its own. Override it for peers that are
    /// told the form or class of a message. May throw std::bad_alloc.
    virtual QByteArray wrap(const OutgoingMessage &message) const;

    /// Returns the message that @p bytes carry: by default the bytes themselves, in the first form
    /// of the settings; nothing if the bytes are to be ignored. May throw std::bad_alloc.
    virtual std::optional<IncomingMessage> unwrap(const QByteArray &bytes) const;

private:
    friend class ClientPrivate;

    std::unique_ptr<class ClientPrivate> d;
};

} // namespace KorvinExchange

#endif
