#include "clientsupport.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <cstring>

MemoryDevice::MemoryDevice(State state)
{
    if (state == State::Open)
        open(ReadWrite | Unbuffered);
}

MemoryDevice::~MemoryDevice() = default;

void MemoryDevice::connectNow()
{
    open(ReadWrite | Unbuffered);
    Q_EMIT connected();
}

void MemoryDevice::deliver(const QByteArray &bytes)
{
    m_incoming += bytes;
    Q_EMIT readyRead();
}

qint64 MemoryDevice::bytesAvailable() const
{
    return announced + m_incoming.size() + QIODevice::bytesAvailable();
}

qint64 MemoryDevice::readData(char *data, qint64 maxSize)
{
    const qint64 size = qMin<qint64>(maxSize, m_incoming.size());
    std::memcpy(data, m_incoming.constData(), static_cast<std::size_t>(size));
    m_incoming.remove(0, static_cast<int>(size));
    if (onRead)
        onRead();
    return size;
}

qint64 MemoryDevice::writeData(const char *data, qint64 size)
{
    const qint64 taken = qMin(size, mostWritten);
    if (taken > 0)
        written.append(data, static_cast<int>(taken));
    if (taken < 0)
        setErrorString(QStringLiteral("the cable is cut"));
    if (onWritten)
        onWritten();
    return taken;
}

MemoryPeer::MemoryPeer(MemoryDevice *device)
    : m_device(device)
{
}

std::vector<QByteArray> MemoryPeer::takeRequests()
{
    return m_framing.receive(std::exchange(m_device->written, {}), Time(0));
}

QByteArray MemoryPeer::replyOf(const QByteArray &request, const CarryOut &carryOut)
{
    QByteArray replies;
    for (const QByteArray &item : request.split('|')) {
        const QByteArray record = item.mid(item.indexOf('^') + 1);
        const bool isWrite = record.split(',').value(10) == "write";
        const ClassId classId =
            isWrite ? ClassId::PackageRequestWriteData : ClassId::PackageRequestReadData;
        if (!replies.isEmpty())
            replies += '|';
        replies += replyTo(record, {classId, Form::Text, Direction::Request}, carryOut);
    }
    return replies;
}

void MemoryPeer::answerAll(const CarryOut &carryOut)
{
    for (const QByteArray &request : takeRequests())
        m_device->deliver(replyOf(request, carryOut) + '\n');
}

void MemoryPeer::answerAtOnce()
{
    m_device->onWritten = [this] { answerAll(); };
}

ClientTest::ClientTest()
{
    start();
}

void ClientTest::start()
{
    client = std::make_unique<Client>(settings);
    client->setDevice(&device);
}

void ClientTest::logSignals(PackageBase &package)
{
    const auto note = [this, &package](const char *signal) {
        return [this, &package, signal](void *token, const PackageBase *concerned) {
            EXPECT_EQ(token, client.get());
            EXPECT_EQ(concerned, &package);
            log << QLatin1String(signal);
        };
    };
    QObject::connect(&package, &PackageBase::BeginRequestEvent, note("begin"));
    QObject::connect(&package, &PackageBase::CompleteRequestEvent, note("complete"));
}

bool waitUntil(const std::function<bool()> &isDone)
{
    constexpr qint64 Longest = 10000;
    QElapsedTimer clock;
    clock.start();
    while (!isDone() && clock.elapsed() < Longest)
        runFor(std::chrono::milliseconds(1));
    return isDone();
}

void runFor(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}
