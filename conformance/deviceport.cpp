#include "deviceport.h"

#include <korvininspect/messageshape.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QtEndian>

#ifdef Q_OS_UNIX

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using namespace KorvinInspect;

namespace {

constexpr int PrefixSize = 4;
constexpr int LongestMessage = 1 << 20;

/// The most bytes that a device may send for one request, surplus replies included.
constexpr int MostReceived = 4 * LongestMessage;

constexpr int ConnectMilliseconds = 5000;
constexpr int SendMilliseconds = 5000;

/// A raw frame ends after this silence: a serial adapter passes on its bytes every 16 milliseconds,
/// and programs pause. Any reply must be followed by this silence.
constexpr int SilenceMilliseconds = 100;

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

/// A file descriptor that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int fd = -1)
        : m_fd(fd)
    {
    }

    Descriptor(Descriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }

    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }

private:
    int m_fd;
};

bool waitFor(int fd, short event, int milliseconds)
{
    pollfd polled{fd, event, 0};
    int ready = 0;
    do
        ready = ::poll(&polled, 1, milliseconds);
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

/// Connects without waiting longer than ConnectMilliseconds; leaves the reason in errno.
bool isConnected(int socket, const addrinfo &to)
{
    if (::connect(socket, to.ai_addr, to.ai_addrlen) == 0)
        return true;
    if (errno != EINPROGRESS)
        return false;
    if (!waitFor(socket, POLLOUT, ConnectMilliseconds)) {
        errno = ETIMEDOUT;
        return false;
    }
    socklen_t size = sizeof errno;
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &errno, &size) == 0 && errno == 0;
}

Descriptor connectedTo(const QString &host, const QString &port, QString *fault)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int error =
        ::getaddrinfo(host.toUtf8().constData(), port.toUtf8().constData(), &hints, &found);
    if (error != 0) {
        *fault = QString::fromLocal8Bit(::gai_strerror(error));
        return Descriptor();
    }
    Descriptor connected;
    for (const addrinfo *at = found; at && !connected.isOpen(); at = at->ai_next) {
        Descriptor socket(::socket(at->ai_family, at->ai_socktype, at->ai_protocol));
        if (socket.isOpen() && ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) == 0
            && isConnected(socket.get(), *at))
            connected = std::move(socket);
        else
            *fault = systemError();
    }
    ::freeaddrinfo(found);
    if (connected.isOpen()) {
        const int noDelay = 1;
        ::setsockopt(connected.get(), IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
    }
    return connected;
}

speed_t speedOf(int baud)
{
    const struct
    {
        int baud;
        speed_t speed;
    } speeds[] = {{9600, B9600},   {19200, B19200},   {38400, B38400},
                  {57600, B57600}, {115200, B115200}, {230400, B230400}};
    for (const auto &row : speeds) {
        if (row.baud == baud)
            return row.speed;
    }
    return B0;
}

Descriptor openedSerial(const QString &place, int baud, QString *fault)
{
    Descriptor port(::open(place.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK));
    termios settings = {};
    const speed_t speed = speedOf(baud);
    if (speed == B0) {
        *fault = QStringLiteral("%1 baud are not supported").arg(baud);
        return Descriptor();
    }
    if (!port.isOpen() || ::tcgetattr(port.get(), &settings) != 0) {
        *fault = systemError();
        return Descriptor();
    }
    ::cfmakeraw(&settings); // 8 data bits, no parity
    settings.c_cflag &= ~tcflag_t(CSTOPB | CRTSCTS);
    settings.c_cflag |= CLOCAL | CREAD;
    ::cfsetispeed(&settings, speed);
    ::cfsetospeed(&settings, speed);
    if (::tcsetattr(port.get(), TCSAFLUSH, &settings) != 0) {
        *fault = systemError();
        return Descriptor();
    }
    return port;
}

/// The label before a message: its form and class.
QByteArray labelOf(const MessageShape &shape)
{
    constexpr const char *Words[] = {"frame", "text", "linux"};
    return QByteArray(Words[static_cast<int>(shape.form)]) + ' '
        + className(shape.classId).toLatin1() + ' ';
}

class DevicePort : public DeviceLink
{
public:
    DevicePort(const QString &place, Framing framing, int baud)
        : m_place(place)
        , m_framing(framing)
        , m_baud(baud)
    {
    }

    QString open()
    {
        if (m_port.isOpen())
            return {};
        QString fault;
        const int colon = m_place.lastIndexOf(QLatin1Char(':'));
        m_port = colon > 0 && !m_place.startsWith(QLatin1Char('/'))
            ? connectedTo(m_place.left(colon), m_place.mid(colon + 1), &fault)
            : openedSerial(m_place, m_baud, &fault);
        return m_port.isOpen() ? QString() : QStringLiteral("%1: %2").arg(m_place, fault);
    }

    Exchange exchange(const QByteArray &request, const MessageShape &shape, double seconds) override
    {
        Exchange result;
        // Drop late replies to requests before.
        m_count = 0;
        while (receive(0)) { }
        m_received.clear();
        m_count = 0;
        result.fault = open();
        if (!result.fault.isEmpty())
            return result;
        if (!send(packed(request, shape))) {
            m_port = Descriptor();
            result.fault = QStringLiteral("cannot send: %1").arg(systemError());
            return result;
        }
        collect(shape, seconds, &result);
        return result;
    }

private:
    /// Collects replies until one is followed by silence, or the time is over.
    void collect(const MessageShape &shape, double seconds, Exchange *result)
    {
        QElapsedTimer clock;
        clock.start();
        const auto patience = static_cast<qint64>(std::ceil(seconds * 1000));
        bool more = true;
        while (more && result->fault.isEmpty()) {
            const bool endsWithSilence = m_framing == Framing::Raw && shape.form != Form::Text;
            const bool waits = m_received.isEmpty() ? result->replies.isEmpty() : !endsWithSilence;
            const qint64 silence = waits ? patience : SilenceMilliseconds;
            const qint64 left = qMin(silence, patience + SilenceMilliseconds - clock.elapsed());
            more = left > 0 && receive(static_cast<int>(left));
            if (more && result->replies.isEmpty())
                result->seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
            result->fault = takeReplies(shape, !more, result);
        }
        if (!m_received.isEmpty() && result->fault.isEmpty())
            result->fault = QStringLiteral("the reply ends too early");
        if (!m_port.isOpen() && result->replies.isEmpty() && result->fault.isEmpty())
            result->fault = QStringLiteral("the device closed the connection");
        // Where the next message begins is not known.
        if (!result->fault.isEmpty())
            m_port = Descriptor();
    }

    /// Moves complete messages from the received bytes to the replies.
    QString takeReplies(const MessageShape &shape, bool isEnd, Exchange *result)
    {
        if (m_framing == Framing::Labelled)
            return takeLabelled(labelOf(shape), result);
        if (shape.form == Form::Text) {
            for (int end = m_received.indexOf('\n'); end >= 0; end = m_received.indexOf('\n')) {
                const QByteArray line = m_received.left(end);
                result->replies.append(line.endsWith('\r') ? line.chopped(1) : line);
                m_received.remove(0, end + 1);
            }
        } else if (isEnd && !m_received.isEmpty()) {
            result->replies.append(std::exchange(m_received, {}));
        }
        return {};
    }

    QString takeLabelled(const QByteArray &label, Exchange *result)
    {
        while (m_received.size() >= PrefixSize) {
            const auto size = qFromLittleEndian<quint32>(m_received.constData());
            if (size > LongestMessage)
                return QStringLiteral("the reply announces %1 bytes").arg(size);
            const int end = PrefixSize + static_cast<int>(size);
            if (m_received.size() < end)
                break;
            const QByteArray message = m_received.mid(PrefixSize, static_cast<int>(size));
            m_received.remove(0, end);
            if (!message.startsWith(label)) {
                return QStringLiteral("the reply does not begin with \"%1\"")
                    .arg(QString::fromLatin1(label));
            }
            result->replies.append(message.mid(label.size()));
        }
        return {};
    }

    QByteArray packed(const QByteArray &request, const MessageShape &shape) const
    {
        if (m_framing == Framing::Raw)
            return shape.form == Form::Text ? request + '\n' : request;
        const QByteArray message = labelOf(shape) + request;
        QByteArray prefix(PrefixSize, '\0');
        qToLittleEndian(static_cast<quint32>(message.size()), prefix.data());
        return prefix + message;
    }

    bool send(const QByteArray &bytes)
    {
        int sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::write(m_port.get(), bytes.constData() + sent,
                                          static_cast<std::size_t>(bytes.size() - sent));
            if (count > 0)
                sent += static_cast<int>(count);
            else if (errno != EAGAIN || !waitFor(m_port.get(), POLLOUT, SendMilliseconds))
                return false;
        }
        return true;
    }

    /// Receives what comes within @p milliseconds.
    ///
    /// @return false if nothing comes, if the connection has ended, or if too many bytes come.
    bool receive(int milliseconds)
    {
        if (!m_port.isOpen() || m_count > MostReceived
            || !waitFor(m_port.get(), POLLIN, milliseconds))
            return false;
        char bytes[4096];
        const ssize_t count = ::read(m_port.get(), bytes, sizeof bytes);
        if (count > 0) {
            m_count += static_cast<int>(count);
            m_received.append(bytes, static_cast<int>(count));
            return true;
        }
        if (count == 0 || errno != EAGAIN)
            m_port = Descriptor();
        return false;
    }

    QString m_place;
    Framing m_framing;
    int m_baud;
    Descriptor m_port;
    QByteArray m_received;
    int m_count = 0; ///< The bytes received since the request.
};

} // namespace

std::unique_ptr<DeviceLink> openDevice(const QString &place, Framing framing, int baud,
                                       QString *fault)
{
    // Writing to a connection that the device has closed must not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    auto port = std::make_unique<DevicePort>(place, framing, baud);
    *fault = port->open();
    if (!fault->isEmpty())
        return nullptr;
    return port;
}

#else

std::unique_ptr<DeviceLink> openDevice(const QString &place, Framing, int, QString *fault)
{
    *fault = QStringLiteral("%1: devices are reached on POSIX systems only").arg(place);
    return nullptr;
}

#endif
