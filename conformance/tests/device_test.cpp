// korvinpack conform --device with devices that answer rightly, wrongly, late, or not at all. The
// device is the simulated one: in memory, on a pseudo-terminal, and on a TCP port.

#include "devicejudge.h"
#include "korvinpackrun.h"

#include <korvinsimulator/simulateddevice.h>
#include <packagebase.h>
#include <packagerequestreaddata.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using namespace KorvinSimulator;

namespace {

constexpr quint32 Address = 0x0A000010;
const QByteArray Block = QByteArray::fromHex("01FF10AA");

/// A device with the bytes 01 FF 10 AA at register 0A000010, at 0/255/1/2/65535.
DeviceState stateWithBlock()
{
    DeviceState state;
    state.units[{0, 255, 1, 2, 65535}].blocks[Address] = {Block + QByteArray(4, '\0')};
    return state;
}

const QJsonObject UnitFields{{QStringLiteral("desAddr"), 255},
                             {QStringLiteral("deviceType"), 1},
                             {QStringLiteral("portAddr"), 2},
                             {QStringLiteral("scanBoardAddr"), 65535}};

DevicePlan planFor(Form form)
{
    DevicePlan plan;
    plan.forms = {form};
    plan.fields = UnitFields;
    plan.reads = {{Address, 4, Block}};
    return plan;
}

/// A device in memory, with changes of requests and replies on the way.
class SimulatedLink : public DeviceLink
{
public:
    explicit SimulatedLink(SimulatedDevice &device)
        : m_device(device)
    {
    }

    Exchange exchange(const QByteArray &request, const MessageShape &shape, double seconds) override
    {
        QByteArray arriving = request;
        if (changeRequest)
            changeRequest(&arriving);
        const Answer answer = m_device.answer(arriving, shape.classId, shape.form);
        Exchange exchange;
        exchange.seconds = answer.delay / 1000.0;
        for (QByteArray reply : answer.replies) {
            if (changeReply)
                changeReply(&reply);
            if (exchange.seconds <= seconds)
                exchange.replies.append(reply);
        }
        return exchange;
    }

    std::function<void(QByteArray *)> changeRequest;
    std::function<void(QByteArray *)> changeReply;

private:
    SimulatedDevice &m_device;
};

QByteArray withChecksum(QByteArray frame)
{
    int sum = 0;
    int end = 0;
    PackageBase::calcRevise(frame, 2, frame.size() - 4, &sum);
    PackageBase::SetBytesFromInt(&frame, frame.size() - 2, 2, sum, &end);
    return frame;
}

/// The failed checks, each with its reason.
QStringList failuresOf(DeviceLink &link, const DevicePlan &plan)
{
    QStringList failures;
    const QVector<TestResult> results = judgeDevice(link, plan, [](const TestResult &) {});
    for (const TestResult &result : results) {
        if (result.verdict != TestResult::Passed)
            failures << result.name + QLatin1String(": ") + result.reason;
    }
    return failures;
}

TEST(DeviceJudge, PassesARightDevice)
{
    for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
        SimulatedDevice device(stateWithBlock());
        SimulatedLink link(device);
        DevicePlan plan = planFor(form);
        plan.writes = {{Address, 3, QByteArray::fromHex("112233")}};
        int reported = 0;
        const QVector<TestResult> results =
            judgeDevice(link, plan, [&](const TestResult &) { ++reported; });
        EXPECT_EQ(countOf(TestResult::Passed, results), results.size());
        EXPECT_EQ(results.size(), form == Form::Linux ? 11 : 10);
        EXPECT_EQ(reported, results.size());
        // The written registers get their old values back.
        EXPECT_EQ(device.state().units.first().blocks[Address].data, Block + QByteArray(4, '\0'));
    }
}

/// One fault, planted in the second request, fails the second check and no other.
TEST(DeviceJudge, NoticesEachFault)
{
    using Kind = FaultKind;
    const RequestOutcome failure{5, OrvexEnum::CommOk, OrvexEnum::PackParsePackAddrFailure};
    const struct
    {
        Form form;
        KorvinSimulator::Fault fault;
        const char *reason; // what it begins with
    } rows[] = {
        {Form::Frame,
         {Kind::StaleSerial},
         "serialNum at 1: not that of the request: 255 expected, 254 found"},
        {Form::Text,
         {Kind::StaleSerial},
         "serialNum at 0: not that of the request: 255 expected, 254 found"},
        {Form::Linux,
         {Kind::StaleSerial},
         "serialNum at 3: not that of the request: 127 expected, 126 found"},
        {Form::Frame, {Kind::Truncate, 0, 8}, "replyDataLength at 6: truncated"},
        {Form::Frame, {Kind::Truncate, 0, 12}, "data at 10: announced 4 bytes, left 2 bytes"},
        {Form::Text,
         {Kind::Truncate, 0, 20},
         "too few: 20 columns expected, 7 found: \"255,,1,0,255,2,65535\""},
        {Form::Linux, {Kind::Truncate, 0, 21}, "data at 18: announced 4 bytes, left 1 byte"},
        {Form::Frame, {Kind::Delay, 1500}, "the reply came after 1.5 s"},
        {Form::Frame, {Kind::Delay, 2500}, "no reply within 2 s"},
        {Form::Linux, {Kind::DropReply}, "no reply within 2 s"},
        {Form::Text, {Kind::DropRequest}, "no reply within 2 s"},
        {Form::Frame, {Kind::Duplicate}, "2 replies"},
        // A bit of the marker, of the communication result, and of the checksum.
        {Form::Frame, {Kind::Corrupt, 0, 0}, "deviceKey at 3: announced 255 bytes, left 11 bytes"},
        {Form::Frame, {Kind::Corrupt, 0, 8 * 4 + 7}, "commResult at 4: unknown result code 129"},
        {Form::Linux, {Kind::Corrupt, 0, 8 * 22}, "checksum at 22: wrong checksum"},
        {Form::Frame,
         {Kind::Result, 0, 0, failure},
         "the device reports a failure: ackCode 5, commResult ok (1), "
         "packResult parsePackAddrFailure (10)"},
        {Form::Linux, {Kind::Result, 0, 0, failure}, "the device reports a failure: ackCode 5"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.reason);
        SimulatedDevice device(stateWithBlock());
        device.setFaults(FaultPlan::scripted({{}, row.fault}));
        SimulatedLink link(device);
        const QStringList failures = failuresOf(link, planFor(row.form));
        ASSERT_EQ(failures.size(), 1) << failures.join(QLatin1Char('\n')).toStdString();
        const QString second =
            row.form == Form::Linux ? QStringLiteral("127") : QStringLiteral("255");
        EXPECT_TRUE(failures[0].startsWith(
            QStringLiteral("read 4 bytes at 0x0A000010, serial number %1: %2")
                .arg(second, QLatin1String(row.reason))))
            << failures[0].toStdString();
    }
}

/// Reads the register after the requested one.
class WrongRegister : public SimulatedDevice
{
public:
    using SimulatedDevice::SimulatedDevice;

    void carryOut(PackageBase &request) override
    {
        request.setLowAddr(static_cast<ushort>(request.getLowAddr() + 1));
        SimulatedDevice::carryOut(request);
        request.setLowAddr(static_cast<ushort>(request.getLowAddr() - 1));
    }
};

TEST(DeviceJudge, NoticesTheDataOfAWrongRegister)
{
    for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
        DeviceState state = stateWithBlock();
        WrongRegister device(state);
        SimulatedLink link(device);
        const QStringList failures = failuresOf(link, planFor(form));
        EXPECT_EQ(failures.size(), 5);
        for (const QString &failure : failures) {
            EXPECT_TRUE(
                failure.endsWith(QStringLiteral("data: expected 01 FF 10 AA, got FF 10 AA 00")))
                << failure.toStdString();
        }
    }
}

/// Reports a write that it has not done.
class ForgetfulDevice : public SimulatedDevice
{
public:
    using SimulatedDevice::SimulatedDevice;

    void carryOut(PackageBase &request) override
    {
        const DeviceState before = state();
        SimulatedDevice::carryOut(request);
        state() = before;
    }
};

TEST(DeviceJudge, NoticesAWriteThatIsNotDone)
{
    ForgetfulDevice device(stateWithBlock());
    SimulatedLink link(device);
    DevicePlan plan = planFor(Form::Frame);
    plan.reads.clear();
    plan.writes = {{Address, 2, QByteArray::fromHex("0102")}};
    EXPECT_EQ(failuresOf(link, plan),
              QStringList{QStringLiteral("read 2 bytes at 0x0A000010, after the write: "
                                         "data: expected 01 02, got 01 FF")});
}

TEST(DeviceJudge, WritesNothingWhereItCannotRead)
{
    SimulatedDevice device(stateWithBlock());
    SimulatedLink link(device);
    DevicePlan plan = planFor(Form::Frame);
    plan.reads.clear();
    plan.writes = {{Address + 8, 1, QByteArray(1, 'x')}};
    const QVector<TestResult> results = judgeDevice(link, plan, [](const TestResult &) {});
    ASSERT_EQ(results.size(), 1);
    EXPECT_TRUE(results[0].reason.startsWith(QStringLiteral("the device reports a failure")));
}

TEST(DeviceJudge, NoticesRepliesThatAreChangedOnTheWay)
{
    const auto replace = [](const char *before, const char *after) {
        return [=](QByteArray *reply) { reply->replace(before, after); };
    };
    const struct
    {
        Form form;
        std::function<void(QByteArray *)> change;
        const char *reason;
    } rows[] = {
        {Form::Text, replace(",ok,ok,", ",OK,ok,"), "commResult at 13: unknown result name \"OK\""},
        {Form::Text, replace(",ok,ok,", ",ok,success,"),
         "packResult at 14: unknown result name \"success\""},
        {Form::Text, replace(",255,2,", ",255,3,"),
         "portAddr at 5: not that of the request: 2 expected, 3 found"},
        {Form::Text, replace(",read,", ",write,"),
         "readWriteCode at 10: not what the class is for: read expected, write found"},
        {Form::Frame,
         [](QByteArray *reply) {
             PackageRequestReadData read;
             read.setData(Block);
             read.setReplyDataLength(4);
             *reply = read.MackPackageReply(true);
         },
         "a full reply, whose results do not read back as written"},
        {Form::Frame,
         [](QByteArray *reply) {
             (*reply)[6] = 3;
             reply->chop(1);
         },
         "data: expected 4 bytes, got 3"},
        {Form::Linux,
         [](QByteArray *reply) {
             (*reply)[7] = 9;
             *reply = withChecksum(*reply);
         },
         "portAddr at 7: not that of the request: 2 expected, 9 found"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.reason);
        SimulatedDevice device(stateWithBlock());
        SimulatedLink link(device);
        link.changeReply = row.change;
        const QStringList failures = failuresOf(link, planFor(row.form));
        EXPECT_EQ(failures.size(), 5);
        EXPECT_TRUE(failures.value(0).contains(QLatin1String(row.reason)))
            << failures.value(0).toStdString();
    }
}

TEST(DeviceJudge, ComparesATagThatIsLong)
{
    SimulatedDevice device(stateWithBlock());
    SimulatedLink link(device);
    link.changeReply = [](QByteArray *reply) { reply->replace(" ,ok", ",ok"); }; // trimmed
    const QStringList failures = failuresOf(link, planFor(Form::Text));
    ASSERT_EQ(failures.size(), 1);
    EXPECT_TRUE(failures[0].contains(
        QStringLiteral("with a long tag: tag at 12: not that of the request")));
}

TEST(DeviceJudge, NoticesADeviceThatDoesNotLookAtTheChecksum)
{
    SimulatedDevice device(stateWithBlock());
    SimulatedLink link(device);
    link.changeRequest = [](QByteArray *request) { *request = withChecksum(*request); };
    EXPECT_EQ(failuresOf(link, planFor(Form::Linux)),
              QStringList{QStringLiteral("read 4 bytes at 0x0A000010, with a wrong checksum: "
                                         "the device reports success")});
}

TEST(DeviceJudge, GivesUpADeviceThatIsSilent)
{
    SimulatedDevice device(stateWithBlock());
    device.setFaults(FaultPlan::random(1, 1, {FaultKind::DropRequest}));
    SimulatedLink link(device);
    const QVector<TestResult> results =
        judgeDevice(link, planFor(Form::Frame), [](const TestResult &) {});
    EXPECT_EQ(countOf(TestResult::Failed, results), 3);
    EXPECT_EQ(countOf(TestResult::NotRun, results), 2);
}

TEST(DeviceJudge, NoticesEveryFlippedBitOfALinuxFrame)
{
    constexpr quint32 Bits = 8 * (20 + 4);
    for (quint32 bit = 0; bit < Bits; ++bit) {
        SimulatedDevice device(stateWithBlock());
        device.setFaults(FaultPlan::scripted({{FaultKind::Corrupt, 0, bit}}));
        SimulatedLink link(device);
        EXPECT_EQ(failuresOf(link, planFor(Form::Linux)).size(), 1) << "bit " << bit;
    }
}

/// The other end of a serial port, with a simulated device.
class SerialDevice
{
public:
    explicit SerialDevice(Form form)
        : m_form(form)
        , m_device(stateWithBlock())
        , m_terminal(::posix_openpt(O_RDWR | O_NOCTTY))
    {
        EXPECT_EQ(::grantpt(m_terminal), 0);
        EXPECT_EQ(::unlockpt(m_terminal), 0);
        m_name = QString::fromLocal8Bit(::ptsname(m_terminal));
        // Keeps the terminal alive while nobody has it open.
        m_held = ::open(m_name.toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
        termios settings = {};
        ::tcgetattr(m_held, &settings);
        ::cfmakeraw(&settings);
        ::tcsetattr(m_held, TCSANOW, &settings);
        m_thread = std::thread([this] { serve(); });
    }

    ~SerialDevice()
    {
        m_ends = true;
        m_thread.join();
        ::close(m_held);
        ::close(m_terminal);
    }

    SerialDevice(const SerialDevice &) = delete;
    SerialDevice &operator=(const SerialDevice &) = delete;

    SimulatedDevice &device() { return m_device; }
    QString name() const { return m_name; }
    speed_t speed() const
    {
        termios settings = {};
        ::tcgetattr(m_held, &settings);
        return ::cfgetospeed(&settings);
    }

private:
    /// Takes the bytes before a short silence for a request.
    void serve()
    {
        QByteArray request;
        while (!m_ends) {
            pollfd polled{m_terminal, POLLIN, 0};
            if (::poll(&polled, 1, 10) > 0) {
                char bytes[4096];
                const auto count = ::read(m_terminal, bytes, sizeof bytes);
                request.append(bytes, static_cast<int>(qMax<qint64>(count, 0)));
            } else if (!request.isEmpty()) {
                answer(request);
                request.clear();
            }
        }
    }

    void answer(QByteArray request)
    {
        if (m_form == Form::Text) {
            EXPECT_TRUE(request.endsWith('\n'));
            request.chop(1);
        }
        const Answer answer = m_device.answer(request, ClassId::PackageRequestReadData, m_form);
        std::this_thread::sleep_for(std::chrono::milliseconds(answer.delay));
        for (QByteArray reply : answer.replies) {
            if (m_form == Form::Text)
                reply += "\r\n";
            // In two pieces, as adapters send them.
            send(reply.left(5));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            send(reply.mid(5));
        }
    }

    void send(const QByteArray &bytes) const
    {
        EXPECT_EQ(::write(m_terminal, bytes.constData(), static_cast<std::size_t>(bytes.size())),
                  bytes.size());
    }

    Form m_form;
    SimulatedDevice m_device;
    int m_terminal;
    int m_held = -1;
    QString m_name;
    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};

class ConformDevice : public KorvinpackRun
{
protected:
    static Finished conform(const QString &place, const QString &options)
    {
        return korvinpack(QStringList{QStringLiteral("conform"), QStringLiteral("--device"), place,
                                      QStringLiteral("--set"), QStringLiteral("desAddr=255"),
                                      QStringLiteral("--set"), QStringLiteral("deviceType=1"),
                                      QStringLiteral("--set"), QStringLiteral("portAddr=2"),
                                      QStringLiteral("--set"),
                                      QStringLiteral("scanBoardAddr=65535")}
                          + options.split(QLatin1Char(' ')));
    }
};

TEST_F(ConformDevice, AsksThroughASerialPort)
{
    const struct
    {
        Form form;
        const char *word;
        int checks;
    } rows[] = {{Form::Frame, "frame", 5}, {Form::Text, "text", 5}, {Form::Linux, "linux", 6}};
    for (const auto &row : rows) {
        SerialDevice serial(row.form);
        const Finished run =
            conform(serial.name(),
                    QStringLiteral("--baud 57600 --read 0x0A000010=01FF10AA --form ")
                        + QLatin1String(row.word));
        EXPECT_EQ(run.error, QString());
        EXPECT_EQ(run.exitStatus, 0) << run.output.toStdString();
        EXPECT_TRUE(run.output.endsWith(
            QStringLiteral("%1 checks: %1 passed, 0 failed, 0 not run\n").arg(row.checks).toUtf8()))
            << run.output.toStdString();
        EXPECT_EQ(serial.speed(), B57600);
    }
}

TEST_F(ConformDevice, ReportsFaultsOfASerialDevice)
{
    SerialDevice serial(Form::Frame);
    serial.device().setFaults(FaultPlan::scripted({{},
                                                   {FaultKind::Truncate, 0, 12},
                                                   {FaultKind::Duplicate},
                                                   {FaultKind::DropReply},
                                                   {FaultKind::Delay, 700}}));
    const QString report = path("report.xml");
    const Finished run = conform(
        serial.name(), QStringLiteral("--timeout 0.5 --read 0x0A000010:4 --junit ") + report);
    EXPECT_EQ(run.exitStatus, 1);
    const char *const lines[] = {
        "ok      frame: read 4 bytes at 0x0A000010, serial number 1",
        "FAILED  frame: read 4 bytes at 0x0A000010, serial number 255: data at 10: announced 4 "
        "bytes, left 2 bytes: 00 FF 00 00 01 00 04 00 00 00 01 FF",
        "FAILED  frame: read 4 bytes at 0x0A000010, serial number 256: at 14: trailing bytes after "
        "the "
        "last field: 14 bytes expected, 28 bytes found: 00 00 01 00 01 00",
        "FAILED  frame: read 4 bytes at 0x0A000010, serial number 65535: no reply within 1 s",
        "FAILED  frame: read 4 bytes at 0x0A000010, with a long tag: the reply came after 0.",
        "5 checks: 1 passed, 4 failed, 0 not run",
        "",
    };
    const QByteArrayList printed = run.output.split('\n');
    ASSERT_EQ(printed.size(), static_cast<int>(std::size(lines)));
    for (int i = 0; i < printed.size(); ++i)
        EXPECT_TRUE(printed[i].startsWith(lines[i])) << printed[i].toStdString();
    QFile file(report);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("tests=\"5\" failures=\"4\" errors=\"0\" skipped=\"0\""));
}

/// A server that sends the same bytes after each request, and may then close the connection.
class ScriptedServer
{
public:
    ScriptedServer(QByteArray reply, bool closes)
        : m_reply(std::move(reply))
        , m_closes(closes)
        , m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *any = reinterpret_cast<sockaddr *>(&address);
        EXPECT_EQ(::bind(m_socket, any, size), 0);
        EXPECT_EQ(::listen(m_socket, 8), 0);
        EXPECT_EQ(::getsockname(m_socket, any, &size), 0);
        m_place = QStringLiteral("127.0.0.1:%1").arg(ntohs(address.sin_port));
        m_thread = std::thread([this] { serve(); });
    }

    ~ScriptedServer()
    {
        m_ends = true;
        m_thread.join();
        ::close(m_socket);
    }

    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    QString place() const { return m_place; }

private:
    void serve()
    {
        while (!m_ends) {
            pollfd polled{m_socket, POLLIN, 0};
            if (::poll(&polled, 1, 10) <= 0)
                continue;
            const int client = ::accept(m_socket, nullptr, nullptr);
            char bytes[4096];
            while (::read(client, bytes, sizeof bytes) > 0) {
                const auto size = static_cast<std::size_t>(m_reply.size());
                ::send(client, m_reply.constData(), size, MSG_NOSIGNAL);
                if (m_closes)
                    break;
            }
            // Closed with something unread, a connection is reset, and the reply may be lost.
            ::shutdown(client, SHUT_WR);
            while (::read(client, bytes, sizeof bytes) > 0) { }
            ::close(client);
        }
    }

    QByteArray m_reply;
    bool m_closes; ///< The connection, after each reply.
    int m_socket;
    QString m_place;
    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};

TEST_F(ConformDevice, ReportsWhatIsNotAMessage)
{
    const QByteArray label = "frame PackageRequestReadData ";
    const struct
    {
        QByteArray reply;
        bool closes;
        const char *reason;
    } rows[] = {
        {{}, true, "the device closed the connection"},
        {QByteArray(3, '\0'), true, "the reply ends too early"},
        {hex("FFFFFFFF"), false, "the reply announces 4294967295 bytes"},
        {hex("40000000") + label, true, "the reply ends too early"},
        {hex("04000000") + "text", false,
         "the reply does not begin with \"frame PackageRequestReadData \""},
        {hex("1D000000") + label, false, "marker at 0: truncated"},
        {QByteArray(8 << 20, '\0'), false, "the reply does not begin with"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.reason);
        const ScriptedServer server(row.reply, row.closes);
        const Finished run = conform(server.place(), QStringLiteral("--read 1:4"));
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_GE(run.output.count(row.reason), 3) << run.output.toStdString();
        EXPECT_FALSE(run.output.contains("ok ")) << run.output.toStdString();
    }
}

TEST_F(ConformDevice, RefusesWrongArguments)
{
    const QByteArray file = write("file", "").toUtf8();
    const struct
    {
        const char *place;
        const char *options;
        const char *message;
    } rows[] = {
        {"127.0.0.1:1", "--read 1:4", "127.0.0.1:1: "},
        {"127.0.0.1:x", "--read 1:4", "127.0.0.1:x: "},
        {"/nowhere", "--read 1:4", "/nowhere: "},
        {file.constData(), "--read 1:4", "file: "},
        {"/nowhere", "--read 1:4 --baud 7", "/nowhere: 7 baud are not supported"},
        {"/nowhere", "--form frame", "--read: missing"},
        {"/nowhere", "--read 1", "--read 1: not ADDRESS:LENGTH or ADDRESS=DATA"},
        {"/nowhere", "--read x:1", "--read x:1: not ADDRESS:LENGTH or ADDRESS=DATA"},
        {"/nowhere", "--read 1:0", "--read 1:0: not 1 to 65535 bytes"},
        {"/nowhere", "--read 1:65536", "--read 1:65536: not 1 to 65535 bytes"},
        {"/nowhere", "--read 1:4x", "--read 1:4x: not 1 to 65535 bytes"},
        {"/nowhere", "--read 1=", "--read 1=: not 1 to 65535 bytes"},
        {"/nowhere", "--read 1=0", "--read 1=0: "},
        {"/nowhere", "--write 1:4", "--write 1:4: not ADDRESS=DATA"},
        {"/nowhere", "--form json --read 1:4", "--form json: not one of frame, text, linux"},
        {"/nowhere", "--framing lines --read 1:4", "--framing lines: not one of labelled, raw"},
        {"/nowhere", "--set replyDataLength=1 --read 1:4", "--set replyDataLength=1: "},
        {"/nowhere", "--set desAddr=256 --read 1:4", "--set desAddr=256: "},
        {"/nowhere", "--timeout 0 --read 1:4", "--timeout 0: "},
        {"/nowhere", "--read 1:4 program", "program: not allowed with --device"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.message);
        const Finished run =
            conform(QString::fromUtf8(row.place), QString::fromLatin1(row.options));
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.output, QByteArray());
        EXPECT_TRUE(run.error.contains(QLatin1String(row.message))) << run.error.toStdString();
        EXPECT_EQ(run.error.count(QLatin1Char('\n')), 1);
    }
}

#ifdef KORVIN_DEVICE

/// The program korvin-device.
class ConformKorvinDevice : public ConformDevice
{
protected:
    void start(const QStringList &options)
    {
        const QByteArray state = QJsonDocument(stateToJson(stateWithBlock())).toJson();
        m_process.start(QStringLiteral(KORVIN_DEVICE),
                        QStringList{QStringLiteral("--config"), write("state.json", state)}
                            + options);
        while (!m_process.canReadLine())
            ASSERT_TRUE(m_process.waitForReadyRead());
        m_place = QString::fromUtf8(m_process.readLine()).section(QLatin1Char(' '), -1).trimmed();
    }

    void TearDown() override
    {
        m_process.terminate();
        EXPECT_TRUE(m_process.waitForFinished());
    }

    QProcess m_process;
    QString m_place;
};

TEST_F(ConformKorvinDevice, IsPassedWithoutFaults)
{
    start({});
    const Finished run = conform(m_place,
                                 QStringLiteral("--form frame --form text --form linux "
                                                "--read 0x0A000010:4 --write 0x0A000014=0708"));
    EXPECT_EQ(run.error, QString());
    EXPECT_EQ(run.exitStatus, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.endsWith("31 checks: 31 passed, 0 failed, 0 not run\n"));
}

TEST_F(ConformKorvinDevice, IsFailedWithFaults)
{
    start({QStringLiteral("--faults"), QStringLiteral("1"), QStringLiteral("--seed"),
           QStringLiteral("4")});
    const Finished run =
        conform(m_place, QStringLiteral("--timeout 0.2 --form linux --read 0x0A000010=01FF10AA"));
    EXPECT_EQ(run.exitStatus, 1) << run.output.toStdString();
    EXPECT_GT(run.output.count("FAILED"), 1) << run.output.toStdString();
}

#endif

} // namespace
