// FlatBuffers, with its own types and with Qt's.

#include "peer.h"

#include "writedata_generated.h"

namespace {

using flatbuffers::FlatBufferBuilder;
using peers::flat::WriteData;
using peers::flat::WriteDataT;

WriteDataT makeObject()
{
    WriteDataT object;
    object.device_key = DeviceKey;
    object.tag = Tag;
    object.timeout = Sample::Timeout;
    object.serial_num = 7;
    object.scr_addr = Sample::ScrAddr;
    object.des_addr = Sample::DesAddr;
    object.device_type = Sample::DeviceType;
    object.port_addr = Sample::PortAddr;
    object.scan_board_addr = Sample::ScanBoardAddr;
    object.read_write_code = 1;
    object.reserved2 = Sample::Reserved2;
    object.low_addr = Sample::LowAddr;
    object.high_addr = Sample::HighAddr;
    object.data.assign(block().begin(), block().end());
    return object;
}

/// Returns the message in the bytes; null if they are not well-formed.
const WriteData *verified(std::string_view bytes)
{
    const auto *data = reinterpret_cast<const quint8 *>(bytes.data());
    flatbuffers::Verifier verifier(data, bytes.size());
    return peers::flat::VerifyWriteDataBuffer(verifier) ? peers::flat::GetWriteData(data) : nullptr;
}

bool readObject(std::string_view bytes, WriteDataT &object)
{
    const WriteData *view = verified(bytes);
    if (!view)
        return false;
    view->UnPackTo(&object);
    return object.data.size() == LargeBlock;
}

void writeObject(FlatBufferBuilder &builder, const WriteDataT &object)
{
    builder.Finish(peers::flat::CreateWriteData(builder, &object));
}

/// Writes fields that have texts in UTF-8.
template <typename Numbers>
void writeFields(FlatBufferBuilder &builder, std::string_view deviceKey, std::string_view tag,
                 const Numbers &f, const char *data)
{
    const auto deviceKeyAt = builder.CreateString(deviceKey.data(), deviceKey.size());
    const auto tagAt = builder.CreateString(tag.data(), tag.size());
    const auto dataAt = builder.CreateVector(reinterpret_cast<const quint8 *>(data), LargeBlock);
    builder.Finish(peers::flat::CreateWriteData(
        builder, deviceKeyAt, tagAt, f.timeout, f.serialNum, f.scrAddr, f.desAddr, f.deviceType,
        f.portAddr, f.scanBoardAddr, f.readWriteCode, f.reserved2, f.lowAddr, f.highAddr,
        f.broadcast, f.clientPackageType, dataAt));
}

void writeStdFields(FlatBufferBuilder &builder)
{
    static const StdFields numbers;
    writeFields(builder, DeviceKey, Tag, numbers, block().constData());
}

std::string_view viewOf(const QByteArray &bytes)
{
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

/// Writes fields of the types that programs with Qt use.
void writeQtFields(FlatBufferBuilder &builder, const QtFields &fields)
{
    writeFields(builder, viewOf(fields.deviceKey.toUtf8()), viewOf(fields.tag.toUtf8()), fields,
                fields.data.constData());
}

/// Reads fields into the types that programs with Qt use.
bool readQtFields(std::string_view bytes, QtFields &fields)
{
    const WriteData *view = verified(bytes);
    if (!view || view->data()->size() != LargeBlock)
        return false;
    const auto text = [](const flatbuffers::String *string) {
        return QString::fromUtf8(string->c_str(), static_cast<int>(string->size()));
    };
    fields.deviceKey = text(view->device_key());
    fields.tag = text(view->tag());
    fields.timeout = view->timeout();
    fields.serialNum = view->serial_num();
    fields.scrAddr = view->scr_addr();
    fields.desAddr = view->des_addr();
    fields.deviceType = view->device_type();
    fields.portAddr = view->port_addr();
    fields.scanBoardAddr = view->scan_board_addr();
    fields.readWriteCode = view->read_write_code();
    fields.reserved2 = view->reserved2();
    fields.lowAddr = view->low_addr();
    fields.highAddr = view->high_addr();
    fields.broadcast = view->broadcast();
    fields.clientPackageType = view->client_package_type();
    fields.data.resize(LargeBlock);
    std::memcpy(fields.data.data(), view->data()->data(), LargeBlock);
    return true;
}

/// Adds the rows of an encoder with every kind of builder.
template <typename Object, typename Write>
void addEncoders(const Peer<Object> &peer, const char *object, const std::string &prefix,
                 const std::string &block, Write write)
{
    const auto add = [&](const char *way, const char *result, auto encode) {
        peer.encodes(object, (prefix + way).c_str(), (result + block).c_str(), encode);
    };
    add("plain", "owned", [write] {
        FlatBufferBuilder builder;
        write(builder);
        return builder.Release();
    });
    add("4 KiB builder", "owned", [write] {
        FlatBufferBuilder builder(4096);
        write(builder);
        return builder.Release();
    });
    const auto builder = std::make_shared<FlatBufferBuilder>();
    const auto writeKept = [write, builder] {
        builder->Clear();
        write(*builder);
        return std::string_view(reinterpret_cast<const char *>(builder->GetBufferPointer()),
                                builder->GetSize());
    };
    add("kept builder", "kept", writeKept);
    add("kept builder, copied out", "owned", [writeKept] {
        const std::string_view bytes = writeKept();
        return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
    });
}

void addObjectRows()
{
    const Peer<WriteDataT> peer("FlatBuffers", readObject,
                                [](const WriteDataT &object) { return object == makeObject(); });
    const auto original = std::make_shared<WriteDataT>(makeObject());
    addEncoders(peer, "reused", "", ", block copied",
                [original](FlatBufferBuilder &builder) { writeObject(builder, *original); });
    addEncoders(peer, "fresh", "", ", block copied",
                [](FlatBufferBuilder &builder) { writeObject(builder, makeObject()); });
    addEncoders(peer, "fresh", "no object, ", ", block in place", writeStdFields);

    FlatBufferBuilder builder;
    writeStdFields(builder);
    const auto bytes = std::make_shared<flatbuffers::DetachedBuffer>(builder.Release());
    const std::string_view view(reinterpret_cast<const char *>(bytes->data()), bytes->size());
    peer.decodes("plain", "owned, block copied",
                 [bytes, view](WriteDataT &object) { return readObject(view, object); });
    // Fields are looked up in the bytes, not stored.
    peer.decodes("fresh", "view", "view, block in place", [bytes, view] {
        const WriteData *message = verified(view);
        if (!message)
            return false;
        benchmark::DoNotOptimize(message->device_key()->c_str());
        benchmark::DoNotOptimize(message->timeout() + message->serial_num() + message->high_addr());
        return message->data()->size() == LargeBlock;
    });
}

void addQtTypesRows()
{
    const Peer<QtFields> peer("FlatBuffers with Qt types", readQtFields,
                              [](const QtFields &fields) { return fields == makeQtFields(); });
    const auto original = std::make_shared<QtFields>(makeQtFields());
    addEncoders(peer, "reused", "", ", block shared",
                [original](FlatBufferBuilder &builder) { writeQtFields(builder, *original); });
    addEncoders(peer, "fresh", "", ", block shared",
                [](FlatBufferBuilder &builder) { writeQtFields(builder, makeQtFields()); });

    FlatBufferBuilder builder;
    writeQtFields(builder, *original);
    const auto bytes = std::make_shared<flatbuffers::DetachedBuffer>(builder.Release());
    const std::string_view view(reinterpret_cast<const char *>(bytes->data()), bytes->size());
    peer.decodes("plain", "owned, block copied",
                 [bytes, view](QtFields &fields) { return readQtFields(view, fields); });
}

} // namespace

void addFlatBuffersRows()
{
    addObjectRows();
    addQtTypesRows();
}
