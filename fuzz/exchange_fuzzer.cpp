// The engine and the framings: calls in any order, with any messages from the peer.

#include "fuzztarget.h"

#include <korvinexchange/engine.h>
#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>
#include <korvinexchange/linuxframing.h>
#include <korvinexchange/pcapngwriter.h>
#include <korvinexchange/transfer.h>
#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>

#include <map>
#include <vector>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

/// Observes the messages that the engine reports.
class ObservingTrace : public Trace
{
public:
    void add(const TraceEntry &entry) override
    {
        if (::observations.areKept)
            observe(PcapngWriter().packet(entry));
    }
};

/// Makes the calls that an input stands for, and expects that each request ends once.
class Player
{
public:
    explicit Player(FuzzInput &input)
        : m_input(input)
        , m_settings(chosenSettings(input))
        , m_engine(m_settings)
    {
        m_engine.setTrace(&m_trace);
    }

    void play()
    {
        constexpr int MostCalls = 200;
        for (int calls = 0; calls < MostCalls && !m_input.atEnd(); ++calls) {
            call(m_input.byte() % 12);
            takeEvents();
            checkLimits();
        }
        m_engine.linkLost(m_now);
        takeEvents();
        EXPECT_TRUE(m_packages.empty());
        EXPECT_EQ(m_engine.inFlight(), 0);
        EXPECT_EQ(m_engine.queued(), 0);
        EXPECT_EQ(m_engine.bytesInFlight(), 0);
        EXPECT_EQ(m_engine.serialNumbers(), 0);
        EXPECT_EQ(m_engine.nextTimeout(), std::nullopt);
    }

private:
    static Settings chosenSettings(FuzzInput &input)
    {
        const quint8 flags = input.byte();
        Settings settings;
        settings.forms.clear();
        for (const Form form : {Form::Linux, Form::Frame, Form::Text}) {
            if (flags & 1 << static_cast<int>(form))
                settings.forms.push_back(form);
        }
        settings.lastSerialNum = flags & 8 ? 3 : 65535;
        settings.limits.inFlight = flags & 16 ? 2 : 64;
        settings.limits.queued = flags & 32 ? 4 : 1024;
        settings.limits.bytesInFlight = flags & 64 ? 200 : 1 << 20;
        settings.limits.announcedData = 1000;
        settings.retry.attempts = flags & 128 ? 1 : 3;
        return settings;
    }

    void call(int kind)
    {
        switch (kind) {
        case 0:
        case 1:
            send();
            break;
        case 2:
            sendCombination();
            break;
        case 3:
            start();
            break;
        case 4:
        case 5:
            take();
            break;
        case 6:
        case 7:
            reply();
            break;
        case 8:
            m_engine.receive(Form(m_input.byte() % 3), m_input.bytes(m_input.byte()), m_now);
            break;
        case 9:
            moveOn();
            break;
        case 10:
            m_engine.cancel(m_input.byte(), m_now);
            break;
        default:
            if (m_input.byte() % 8 == 0)
                m_engine.linkLost(m_now);
            else if (!m_packages.empty())
                m_packages.begin()->second.reset();
            break;
        }
    }

    std::unique_ptr<PackageBase> package()
    {
        const PackageClass *const named = m_input.packageClass();
        auto package = named ? named->create() : std::make_unique<PackageRequestReadData>();
        const quint8 size = m_input.byte();
        package->setReadWriteCode(qobject_cast<PackageRequestWrite *>(package.get())
                                      ? OrvexEnum::Write
                                      : OrvexEnum::Read);
        package->setLowAddr(size % 4);
        if (auto *read = qobject_cast<PackageRequestRead *>(package.get()))
            read->setReplyDataLength(size);
        if (auto *write = qobject_cast<PackageRequestWriteData *>(package.get())) {
            write->setData(QByteArray(size, 'w'));
            write->setPackageDataLength(size);
        }
        return package;
    }

    void accept(RequestId id, std::unique_ptr<PackageBase> package)
    {
        if (id != 0) {
            EXPECT_TRUE(m_packages.emplace(id, std::move(package)).second);
        }
    }

    RequestOptions options()
    {
        RequestOptions options;
        options.repeat = Repeat(m_input.byte() % 3);
        return options;
    }

    void send()
    {
        auto made = package();
        const Accepted accepted = m_engine.send(made.get(), options(), m_now);
        accept(accepted.id, std::move(made));
    }

    void sendCombination()
    {
        std::vector<std::unique_ptr<PackageBase>> made;
        std::vector<PackageBase *> packages;
        for (int items = m_input.byte() % 4; items > 0; --items) {
            made.push_back(package());
            packages.push_back(made.back().get());
        }
        const Accepted accepted = m_engine.sendCombination(packages, options(), m_now);
        for (std::size_t i = 0; i < made.size(); ++i)
            accept(accepted.id == 0 ? 0 : accepted.id + i, std::move(made[i]));
    }

    void start()
    {
        auto made = package();
        made->setMaxPartSize(m_input.byte() % 64);
        const std::optional<Transfer> transfer = transferOf(made.get());
        if (transfer) {
            const Accepted accepted = m_engine.start(*transfer, options(), m_now);
            accept(accepted.id, std::move(made));
        }
    }

    static std::optional<Transfer> transferOf(PackageBase *package)
    {
        if (auto *read = dynamic_cast<PackageRequestReadData *>(package))
            return Transfer::readData(read);
        if (auto *write = dynamic_cast<PackageRequestWriteData *>(package))
            return Transfer::writeData(write);
        if (auto *read = dynamic_cast<PackageRequestReadFile *>(package))
            return Transfer::readFile(read);
        if (auto *write = dynamic_cast<PackageRequestWriteFile *>(package))
            return Transfer::writeFile(write, "contents");
        if (auto *read = dynamic_cast<PackageRequestReadMemData *>(package))
            return Transfer::readMemory(read);
        if (auto *write = dynamic_cast<PackageRequestWriteMemData *>(package))
            return Transfer::writeMemory(write, "contents");
        return {};
    }

    void take()
    {
        const std::optional<OutgoingMessage> message = m_engine.takeMessage(m_now);
        if (!message)
            return;
        EXPECT_TRUE(check(message->bytes, message->shape).isOk());
        EXPECT_EQ(m_packages.count(message->request), 1U);
        m_sent.push_back(*message);
    }

    /// Replies to what was sent, perhaps with one byte changed.
    void reply()
    {
        if (m_sent.empty())
            return;
        const OutgoingMessage &message = m_sent[m_input.byte() % m_sent.size()];
        std::vector<std::unique_ptr<PackageBase>> packages(1);
        if (message.shape.classId == ClassId::PackageRequestCombination)
            decodeCombination(message.bytes, &packages);
        else
            decodeMessage(message.bytes, message.shape, &packages.front());
        QByteArray bytes;
        for (const auto &package : packages) {
            const quint8 ackCode = m_input.byte();
            package->setAckCode(ackCode < 128 ? 0 : ackCode);
            if (auto *read = qobject_cast<PackageRequestReadData *>(package.get()))
                read->setData(QByteArray(read->getReplyDataLength(), 'r'));
            QByteArray encoded;
            encodePackage(*package,
                          {message.shape.form, Direction::Reply,
                           ackCode % 2 == 0 ? ReplySize::Short : ReplySize::Full},
                          &encoded);
            bytes += bytes.isEmpty() ? encoded : '|' + encoded;
        }
        const quint8 change = m_input.byte();
        if (change > 128)
            bytes[change % bytes.size()] = static_cast<char>(m_input.byte());
        m_engine.receive(message.shape.form, bytes, m_now);
    }

    void moveOn()
    {
        const quint8 how = m_input.byte();
        const std::optional<Time> due = m_engine.nextTimeout();
        if (how % 2 == 0 && due) {
            EXPECT_GT(*due, m_now);
            m_now = *due;
        } else {
            m_now += std::chrono::milliseconds(how);
        }
        m_engine.handleTimeout(m_now);
    }

    void takeEvents()
    {
        while (const std::optional<Event> event = m_engine.takeEvent()) {
            observe(describe(*event).toUtf8());
            const auto package = m_packages.find(event->id);
            ASSERT_NE(package, m_packages.end()) << "a request has ended twice";
            EXPECT_EQ(event->package, package->second.get());
            if (event->type == Event::Type::Progress)
                continue;
            if (event->package) {
                EXPECT_EQ(event->package->isPackageSuccess(),
                          event->outcome == KorvinExchange::Outcome::Success);
                observe(*event->package);
            }
            m_packages.erase(package);
        }
    }

    void checkLimits()
    {
        EXPECT_LE(m_engine.inFlight(), m_settings.limits.inFlight);
        EXPECT_LE(m_engine.bytesInFlight(), m_settings.limits.bytesInFlight);
        EXPECT_LE(m_engine.serialNumbers(), static_cast<int>(m_settings.lastSerialNum) + 256);
    }

    FuzzInput &m_input;
    Settings m_settings;
    ObservingTrace m_trace;
    Engine m_engine;
    Time m_now{0};
    std::map<RequestId, std::unique_ptr<PackageBase>>
        m_packages; ///< Those of requests that have not ended.
    std::vector<OutgoingMessage> m_sent;
};

/// Expects that a stream gives the same messages wherever it is cut, and that framing them again
/// gives the stream.
void readStream(Framing &whole, Framing &cut, Framing &peer, const QByteArray &stream, int piece)
{
    std::vector<QByteArray> messages = whole.receive(stream, Time(0));
    std::vector<QByteArray> pieces;
    for (int start = 0; start < stream.size(); start += piece) {
        for (const QByteArray &message : cut.receive(stream.mid(start, piece), Time(0)))
            pieces.push_back(message);
    }
    EXPECT_EQ(messages, pieces);
    EXPECT_EQ(static_cast<int>(whole.fault()), static_cast<int>(cut.fault()));
    EXPECT_LE(whole.buffered(), stream.size());
    for (const QByteArray &message : messages) {
        observe(message);
        EXPECT_TRUE(stream.contains(message));
        // A carriage return is left only if the line ended with two of them.
        const std::optional<QByteArray> encoded = peer.encode(message);
        EXPECT_TRUE(encoded ? encoded->contains(message) : message.endsWith('\r'));
    }
    // The rest ends at its deadline, or with the stream.
    const bool isInside = whole.buffered() > 0 && whole.fault() == FramingFault::None;
    EXPECT_EQ(whole.nextTimeout().has_value(), isInside);
    for (const QByteArray &message : whole.handleTimeout(std::chrono::hours(1)))
        observe(message);
    EXPECT_EQ(whole.nextTimeout(), std::nullopt);
    cut.end();
    EXPECT_EQ(cut.fault() != FramingFault::None, isInside || whole.fault() != FramingFault::None);
}

void readStreams(FuzzInput &input)
{
    constexpr int Longest = 100;
    constexpr std::chrono::milliseconds Deadline(10);
    const quint8 kind = input.byte();
    const int piece = 1 + input.byte() % 40;
    const QByteArray stream = input.rest();
    if (kind % 4 == 0) {
        LineFraming framings[] = {LineFraming(Longest, Deadline), LineFraming(Longest, Deadline),
                                  LineFraming(Longest, Deadline)};
        readStream(framings[0], framings[1], framings[2], stream, piece);
    } else if (kind % 4 == 1) {
        LengthPrefixFraming framings[] = {LengthPrefixFraming(Longest, Deadline),
                                          LengthPrefixFraming(Longest, Deadline),
                                          LengthPrefixFraming(Longest, Deadline)};
        readStream(framings[0], framings[1], framings[2], stream, piece);
    } else {
        const bool isReply = kind % 4 == 2;
        const Direction direction = isReply ? Direction::Reply : Direction::Request;
        const Direction other = isReply ? Direction::Request : Direction::Reply;
        LinuxFraming whole(direction, Deadline);
        LinuxFraming cut(direction, Deadline);
        LinuxFraming peer(other, Deadline);
        readStream(whole, cut, peer, stream, piece);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    if (input.byte() % 4 == 0)
        readStreams(input);
    else
        Player(input).play();
    return 0;
}
