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

/// What a Client goes by: that of its engine, and of its device.
struct ClientSettings : Settings
{
    /// How long a device may take until it is connected.
    std::chrono::milliseconds connectTimeout{10000};

    /// @{
    /// From the end of a device to the opening of the next one. Twice as long before each further
    /// one, until a message is received.
    std::chrono::milliseconds reconnectPause{100};
    std::chrono::milliseconds longestReconnectPause{10000};
    /// @}

    /// While the device has at least so many bytes to write, nothing is sent.
    qint64 bytesToWrite = 65536;
};

/// A message that was received.
struct IncomingMessage
{
    KorvinInspect::Form form = KorvinInspect::Form::Text; ///< Its encoding.
    QByteArray bytes;                                     ///< The frame, or the record in UTF-8.
    std::optional<KorvinInspect::ClassId> classId = {};   ///< Its class, where the peer says it.
};

/// An Engine on a QIODevice: sends packages to a peer, and tells what has become of them.
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
/// QLocalSocket, QSerialPort, QProcess. It may be about to be connected: it is connected when it is
/// open and QIODevice::writeChannelCount() is not 0. Until then requests wait, at most for
/// Settings::queueTimeout. The link is lost when the device closes or is deleted, when it has no
/// more to read, where it emits a signal `errorOccurred`, where writing to it fails, and where the
/// framing finds a fault; the last two close the device. What has been received before is looked
/// at; then all requests end with `Outcome::LinkLost`. Those that are handed over later wait for
/// the next device.
///
/// **Who opens the device.** Either the caller, and hands it over with setDevice(); or a function
/// of the caller, see setOpener(). Only with the latter the client reconnects.
///
/// **Messages** are framed as the first form of the settings says: records as lines, byte frames
/// with a length prefix, Linux frames as they are. Settings::forms has one form only. For peers
/// that want something else, or several forms, derive a class and override makeFraming(), wrap()
/// and unwrap().
///
/// **Packages** are treated as Engine says. Their own signals tell of them, with the client as
/// token: PackageBase::BeginRequestEvent() when a package is sent for the first time, of a transfer
/// when its first message is; PackageBase::CompleteRequestEvent() when it has its outcome, also
/// where it was never sent, directly before Reply::finished().
///
/// **Signals** of the client, its replies and its packages are emitted from the event loop, never
/// inside of an operation, nor of a signal of the device; except by exchange(), waitForFinished()
/// and the destructor. A slot may do anything, even delete the client.
///
/// A client belongs to one thread, which has an event loop; a program without one uses exchange().
/// Only the constructor throws. Where memory runs out for what is sent or received, the link is
/// lost; a request that was accepted still has its one end. Qt itself does not survive it while a
/// signal is connected, as those of a new device are.
class KORVINEXCHANGE_EXPORT Client : public QObject
{
    Q_OBJECT

public:
    /// Opens a device anew. A null pointer, or a device that is not connected in time, means that
    /// it cannot be opened now.
    using Opener = std::function<QIODevice *()>;

    /// A client without a device.
    explicit Client(const ClientSettings &settings = {}, QObject *parent = nullptr);

    /// Ends all that is not finished with `Outcome::LinkLost`, and announces it. What is sent from
    /// the slots is refused.
    ~Client() override;

    /// Uses a device, which stays the caller's, instead of the one before; null for none.
    void setDevice(QIODevice *device);

    /// Calls @p opener from the event loop, now and each time the link is lost. The client owns the
    /// devices that it returns.
    void setOpener(const Opener &opener);

    /// The present device; null where there is none.
    QIODevice *device() const;

    /// Whether messages can be sent: there is a device, and it is connected.
    bool isConnected() const;

    /// Sends a request of any class, as Engine::send() does.
    ///
    /// @return its reply. Null where memory has run out, and while the client is being deleted:
    ///     then nothing is announced, and the package has the results of `Outcome::Refused`.
    Reply *send(PackageBase *package, const RequestOptions &options = {});

    /// Sends several requests in one record, as Engine::sendCombination() does.
    ///
    /// @return their replies, in the same order; none for no packages, and where send() returns
    ///     null.
    std::vector<Reply *> sendCombination(const std::vector<PackageBase *> &packages,
                                         const RequestOptions &options = {});

    /// Begins a transfer, as Engine::start() does; the reply is that of send().
    Reply *start(const Transfer &transfer, const RequestOptions &options = {});

    /// Sends a request, waits until it has its outcome, and returns it: for programs and tests that
    /// do one thing after the other. After @p deadline it is aborted.
    ///
    /// Runs an event loop without user input meanwhile, so that it works with every device, and
    /// reconnects: there must be a QCoreApplication. All else goes on, slots are called. Where a
    /// slot waits as well, the waiting that has begun first ends last.
    /// @{
    Event exchange(PackageBase *package, std::chrono::milliseconds deadline,
                   const RequestOptions &options = {});
    Event exchange(const Transfer &transfer, std::chrono::milliseconds deadline,
                   const RequestOptions &options = {});
    /// @}

    /// The engine, to look at: counters, what is under way.
    const Engine &engine() const;

    /// As Engine::setTrace().
    void setTrace(Trace *trace);

Q_SIGNALS:
    /// The device is connected.
    void connected();

    /// The link is lost, or a device could not be opened; @p reason is for people.
    void disconnected(const QString &reason);

protected:
    /// Makes the framing for a new device.
    virtual std::unique_ptr<Framing> makeFraming() const;

    /// Returns what a message travels as: by default its bytes. For peers that are told what it is.
    /// May throw std::bad_alloc.
    virtual QByteArray wrap(const OutgoingMessage &message) const;

    /// Returns the message that @p bytes carry: by default themselves, in the first form of the
    /// settings. Nothing for bytes to leave out. May throw std::bad_alloc.
    virtual std::optional<IncomingMessage> unwrap(const QByteArray &bytes) const;

private:
    friend class ClientPrivate;

    std::unique_ptr<class ClientPrivate> d;
};

} // namespace KorvinExchange

#endif
