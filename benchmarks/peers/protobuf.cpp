// Protocol buffers: protobuf and nanopb.

#include "peer.h"

#include "writedata.nano.h"
#include "writedata.pb.h"

#include <google/protobuf/arena.h>

#include <pb_decode.h>
#include <pb_encode.h>

#include <array>
#include <cstring>

namespace {

using Message = peers::WriteData;

/// Stores the fields with the setters that protobuf generates.
void setFields(Message &message)
{
    message.set_device_key(DeviceKey);
    message.set_tag(Tag);
    message.set_timeout(Sample::Timeout);
    message.set_serial_num(7);
    message.set_scr_addr(Sample::ScrAddr);
    message.set_des_addr(Sample::DesAddr);
    message.set_device_type(Sample::DeviceType);
    message.set_port_addr(Sample::PortAddr);
    message.set_scan_board_addr(Sample::ScanBoardAddr);
    message.set_read_write_code(1);
    message.set_reserved2(Sample::Reserved2);
    message.set_low_addr(Sample::LowAddr);
    message.set_high_addr(Sample::HighAddr);
    message.set_data(block().constData(), static_cast<std::size_t>(block().size()));
}

Message makeMessage()
{
    Message message;
    setFields(message);
    return message;
}

bool readMessage(std::string_view bytes, Message &message)
{
    return message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))
        && message.data().size() == LargeBlock;
}

/// An arena that is reused; its first block is large enough for a message.
class KeptArena
{
public:
    KeptArena()
        : m_arena(m_block.data(), m_block.size())
    {
    }

    /// Returns a new message, after deleting the one before.
    Message &message()
    {
        m_arena.Reset();
        return *google::protobuf::Arena::CreateMessage<Message>(&m_arena);
    }

private:
    std::array<char, 4096> m_block;
    google::protobuf::Arena m_arena;
};

/// Adds the rows of an encoder into a new string and into one that is reused. @p make returns a
/// message.
template <typename Make>
void addEncoders(const Peer<Message> &peer, const char *object, const std::string &prefix,
                 Make make)
{
    peer.encodes(object, (prefix + "plain").c_str(), "owned, block copied", [make]() mutable {
        const Message &message = make();
        return message.SerializeAsString();
    });
    const auto kept = std::make_shared<std::string>();
    peer.encodes(object, (prefix + "kept string").c_str(), "kept, block copied",
                 [make, kept]() mutable {
                     const Message &message = make();
                     message.SerializeToString(kept.get());
                     return std::string_view(*kept);
                 });
}

void addProtobuf()
{
    const Peer<Message> peer("protobuf", readMessage, [](const Message &message) {
        return message.SerializeAsString() == makeMessage().SerializeAsString();
    });
    const auto original = std::make_shared<Message>(makeMessage());
    const auto arena = std::make_shared<KeptArena>();
    addEncoders(peer, "reused", "", [original]() -> const Message & { return *original; });
    addEncoders(peer, "fresh", "", makeMessage);
    addEncoders(peer, "fresh", "arena, ", [arena]() -> const Message & {
        Message &message = arena->message();
        setFields(message);
        return message;
    });
    addEncoders(peer, "fresh", "set anew, ", [original]() -> const Message & {
        original->Clear();
        setFields(*original);
        return *original;
    });

    const auto bytes = std::make_shared<std::string>(original->SerializeAsString());
    peer.decodes("plain", "owned, block copied",
                 [bytes](Message &message) { return readMessage(*bytes, message); });
    peer.decodes("fresh", "arena", "owned, block copied", [bytes, arena] {
        Message &message = arena->message();
        const bool ok = readMessage(*bytes, message);
        benchmark::DoNotOptimize(&message);
        benchmark::ClobberMemory();
        return ok;
    });
}

peers_WriteData makeNano()
{
    peers_WriteData message = peers_WriteData_init_zero;
    DeviceKey.copy(message.device_key, sizeof message.device_key - 1);
    Tag.copy(message.tag, sizeof message.tag - 1);
    message.timeout = Sample::Timeout;
    message.serial_num = 7;
    message.scr_addr = Sample::ScrAddr;
    message.des_addr = Sample::DesAddr;
    message.device_type = Sample::DeviceType;
    message.port_addr = Sample::PortAddr;
    message.scan_board_addr = Sample::ScanBoardAddr;
    message.read_write_code = 1;
    message.reserved2 = Sample::Reserved2;
    message.low_addr = Sample::LowAddr;
    message.high_addr = Sample::HighAddr;
    message.data.size = static_cast<pb_size_t>(block().size());
    std::memcpy(message.data.bytes, block().constData(), LargeBlock);
    return message;
}

bool readNano(std::string_view bytes, peers_WriteData &message, unsigned flags)
{
    pb_istream_t stream =
        pb_istream_from_buffer(reinterpret_cast<const pb_byte_t *>(bytes.data()), bytes.size());
    return pb_decode_ex(&stream, peers_WriteData_fields, &message, flags)
        && message.data.size == LargeBlock;
}

/// Returns the number of bytes written; 0 on failure.
std::size_t writeNano(const peers_WriteData &message, char *bytes)
{
    pb_ostream_t stream =
        pb_ostream_from_buffer(reinterpret_cast<pb_byte_t *>(bytes), peers_WriteData_size);
    return pb_encode(&stream, peers_WriteData_fields, &message) ? stream.bytes_written : 0;
}

QByteArray nanoBytes(const peers_WriteData &message)
{
    QByteArray bytes(peers_WriteData_size, Qt::Uninitialized);
    bytes.truncate(static_cast<int>(writeNano(message, bytes.data())));
    return bytes;
}

bool isRightNano(const peers_WriteData &message)
{
    return nanoBytes(message) == nanoBytes(makeNano()) && Tag == message.tag;
}

void addNanopb()
{
    const Peer<peers_WriteData> peer(
        "nanopb",
        [](std::string_view bytes, peers_WriteData &message) {
            return readNano(bytes, message, 0);
        },
        isRightNano);
    const auto original = std::make_shared<peers_WriteData>(makeNano());
    peer.encodes("reused", "plain", "owned, block copied",
                 [original] { return nanoBytes(*original); });
    peer.encodes("fresh", "plain", "owned, block copied", [] { return nanoBytes(makeNano()); });
    const auto kept = std::make_shared<std::array<char, peers_WriteData_size>>();
    peer.encodes("reused", "kept buffer", "kept, block copied", [original, kept] {
        return std::string_view(kept->data(), writeNano(*original, kept->data()));
    });
    peer.encodes("fresh", "kept buffer", "kept, block copied", [kept] {
        return std::string_view(kept->data(), writeNano(makeNano(), kept->data()));
    });

    const QByteArray bytes = nanoBytes(*original);
    const std::string_view view(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    peer.decodes("plain", "owned, block copied",
                 [bytes, view](peers_WriteData &message) { return readNano(view, message, 0); });
    const auto message = std::make_shared<peers_WriteData>(makeNano());
    peer.decodes("reused", "no defaults", "owned, block copied",
                 [bytes, view, message] { return readNano(view, *message, PB_DECODE_NOINIT); });
}

} // namespace

void addProtobufRows()
{
    addProtobuf();
    addNanopb();
}
