#include "serialterminal.h"

#include <QtCore/QFile>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

struct Speed
{
    int baud;
    speed_t speed;
};

constexpr Speed Speeds[] = {{1200, B1200},     {2400, B2400},     {4800, B4800},
                            {9600, B9600},     {19200, B19200},   {38400, B38400},
                            {57600, B57600},   {115200, B115200}, {230400, B230400},
                            {460800, B460800}, {921600, B921600}};

speed_t speedOf(int baud)
{
    for (const Speed &row : Speeds) {
        if (row.baud == baud)
            return row.speed;
    }
    return B0;
}

/// Lets all bytes pass, with 8 data bits and no parity.
bool makeRaw(int descriptor, speed_t speed)
{
    termios settings = {};
    if (::tcgetattr(descriptor, &settings) != 0)
        return false;
    ::cfmakeraw(&settings);
    settings.c_cflag &= ~tcflag_t(CSTOPB | CRTSCTS);
    settings.c_cflag |= CLOCAL | CREAD;
    ::cfsetispeed(&settings, speed);
    ::cfsetospeed(&settings, speed);
    return ::tcsetattr(descriptor, TCSAFLUSH, &settings) == 0;
}

bool isTemporary(int error)
{
    return error == EAGAIN || error == EINTR;
}

constexpr int OpenFlags = O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;

} // namespace

std::unique_ptr<SerialTerminal> SerialTerminal::openSerial(const QString &path, int baud,
                                                           QString *fault)
{
    const speed_t speed = speedOf(baud);
    if (speed == B0) {
        *fault = QStringLiteral("%1 baud are not supported").arg(baud);
        return {};
    }
    const int descriptor = ::open(QFile::encodeName(path).constData(), OpenFlags);
    if (descriptor < 0 || !makeRaw(descriptor, speed)) {
        *fault = systemError();
        if (descriptor >= 0)
            ::close(descriptor);
        return {};
    }
    return std::unique_ptr<SerialTerminal>(new SerialTerminal(descriptor, path));
}

std::unique_ptr<SerialTerminal> SerialTerminal::makePseudo(const QString &link, QString *fault)
{
    const int descriptor = ::posix_openpt(OpenFlags);
    char name[256] = "";
    if (descriptor < 0 || ::grantpt(descriptor) != 0 || ::unlockpt(descriptor) != 0
        || ::ptsname_r(descriptor, name, sizeof name) != 0) {
        *fault = systemError();
        if (descriptor >= 0)
            ::close(descriptor);
        return {};
    }
    std::unique_ptr<SerialTerminal> terminal(
        new SerialTerminal(descriptor, QFile::decodeName(name)));
    terminal->m_other = ::open(name, OpenFlags);
    if (terminal->m_other < 0 || !makeRaw(terminal->m_other, B115200)) {
        *fault = systemError();
        return {};
    }
    if (link.isEmpty())
        return terminal;
    if (::symlink(name, QFile::encodeName(link).constData()) != 0) {
        *fault = QStringLiteral("%1: %2").arg(link, systemError());
        return {};
    }
    terminal->m_link = link;
    terminal->m_path = link;
    return terminal;
}

SerialTerminal::SerialTerminal(int descriptor, const QString &path)
    : m_descriptor(descriptor)
    , m_path(path)
    , m_readable(descriptor, QSocketNotifier::Read)
    , m_writable(descriptor, QSocketNotifier::Write)
{
    m_writable.setEnabled(false);
    connect(&m_readable, &QSocketNotifier::activated, this, &SerialTerminal::onReadable);
    connect(&m_writable, &QSocketNotifier::activated, this, &SerialTerminal::flush);
    QIODevice::open(QIODevice::ReadWrite | QIODevice::Unbuffered);
}

SerialTerminal::~SerialTerminal()
{
    m_readable.setEnabled(false);
    m_writable.setEnabled(false);
    if (!m_link.isEmpty())
        QFile::remove(m_link);
    if (m_other >= 0)
        ::close(m_other);
    ::close(m_descriptor);
}

/// Takes what has come, and no more before that is read. Only reading tells whether the device is
/// gone: a terminal may be called readable and have nothing.
void SerialTerminal::onReadable()
{
    char piece[4096];
    const ssize_t size = ::read(m_descriptor, piece, sizeof piece);
    if (size < 0 && isTemporary(errno))
        return;
    m_readable.setEnabled(false);
    if (size <= 0) {
        Q_EMIT readChannelFinished();
        return;
    }
    m_received = QByteArray(piece, static_cast<int>(size));
    Q_EMIT readyRead();
}

qint64 SerialTerminal::readData(char *data, qint64 most)
{
    if (m_received.isEmpty())
        return 0;
    const auto size = qMin<qint64>(most, m_received.size());
    std::memcpy(data, m_received.constData(), static_cast<std::size_t>(size));
    m_received.remove(0, static_cast<int>(size));
    m_readable.setEnabled(m_received.isEmpty());
    return size;
}

qint64 SerialTerminal::writeData(const char *data, qint64 size)
{
    m_unsent.append(data, static_cast<int>(size));
    m_writable.setEnabled(true);
    return size;
}

void SerialTerminal::flush()
{
    const ssize_t size =
        ::write(m_descriptor, m_unsent.constData(), static_cast<std::size_t>(m_unsent.size()));
    if (size < 0 && !isTemporary(errno)) {
        m_unsent.clear();
        m_writable.setEnabled(false);
        Q_EMIT readChannelFinished();
        return;
    }
    m_unsent.remove(0, static_cast<int>(qMax<ssize_t>(size, 0)));
    m_writable.setEnabled(!m_unsent.isEmpty());
    if (size > 0)
        Q_EMIT bytesWritten(size);
}
