// msgpack-cxx.

#include "peer.h"

namespace {

bool isRight(const StdFields &fields)
{
    return fields == makeStdFields();
}

/// Copies texts and the block only into the object, not into the zone of the values.
bool readInto(msgpack::zone &zone, std::string_view bytes, StdFields &fields)
{
    const auto isReferenced = [](msgpack::type::object_type, std::size_t, void *) { return true; };
    std::size_t offset = 0;
    zone.clear();
    msgpack::unpack(zone, bytes.data(), bytes.size(), offset, isReferenced).convert(fields);
    return fields.data.size() == LargeBlock;
}

/// Packs the fields directly, with the same bytes as packing an object.
void packFields(msgpack::sbuffer &buffer)
{
    static const StdFields f = makeStdFields();
    msgpack::packer<msgpack::sbuffer> packer(buffer);
    packer.pack_array(16);
    packer.pack(f.deviceKey).pack(f.tag).pack(f.timeout).pack(f.serialNum).pack(f.scrAddr);
    packer.pack(f.desAddr).pack(f.deviceType).pack(f.portAddr).pack(f.scanBoardAddr);
    packer.pack(f.readWriteCode).pack(f.reserved2).pack(f.lowAddr).pack(f.highAddr);
    packer.pack(f.broadcast).pack(f.clientPackageType);
    packer.pack_bin(static_cast<std::uint32_t>(f.data.size()));
    packer.pack_bin_body(f.data.data(), static_cast<std::uint32_t>(f.data.size()));
}

std::string_view viewOf(const msgpack::sbuffer &buffer)
{
    return {buffer.data(), buffer.size()};
}

void addEncoders(const Peer<StdFields> &peer)
{
    const auto original = std::make_shared<StdFields>(makeStdFields());
    const auto packed = [](const StdFields &fields, std::size_t room) {
        msgpack::sbuffer buffer(room);
        msgpack::pack(buffer, fields);
        return buffer;
    };
    constexpr std::size_t Sized = LargeBlock + 256;
    peer.encodes("reused", "plain", "owned, block copied",
                 [packed, original] { return packed(*original, MSGPACK_SBUFFER_INIT_SIZE); });
    peer.encodes("fresh", "plain", "owned, block copied",
                 [packed] { return packed(makeStdFields(), MSGPACK_SBUFFER_INIT_SIZE); });
    peer.encodes("reused", "sized buffer", "owned, block copied",
                 [packed, original] { return packed(*original, Sized); });
    peer.encodes("fresh", "sized buffer", "owned, block copied",
                 [packed] { return packed(makeStdFields(), Sized); });
    peer.encodes("fresh", "packer, sized buffer", "owned, block in place", [] {
        msgpack::sbuffer buffer(Sized);
        packFields(buffer);
        return buffer;
    });
    const auto kept = std::make_shared<msgpack::sbuffer>();
    peer.encodes("reused", "kept buffer", "kept, block copied", [kept, original] {
        kept->clear();
        msgpack::pack(*kept, *original);
        return viewOf(*kept);
    });
    peer.encodes("fresh", "packer, kept buffer", "kept, block in place", [kept] {
        kept->clear();
        packFields(*kept);
        return viewOf(*kept);
    });
}

} // namespace

void addMsgpackRows()
{
    const Peer<StdFields> peer(
        "msgpack-cxx",
        [](std::string_view bytes, StdFields &fields) {
            msgpack::zone zone;
            return readInto(zone, bytes, fields);
        },
        isRight);
    addEncoders(peer);
    const auto bytes = std::make_shared<msgpack::sbuffer>();
    msgpack::pack(*bytes, makeStdFields());
    peer.decodes("plain", "owned, block copied", [bytes](StdFields &fields) {
        msgpack::unpack(bytes->data(), bytes->size()).get().convert(fields);
        return fields.data.size() == LargeBlock;
    });
    const auto zone = std::make_shared<msgpack::zone>();
    peer.decodes("kept zone, referenced", "owned, block copied", [bytes, zone](StdFields &fields) {
        return readInto(*zone, viewOf(*bytes), fields);
    });
}
