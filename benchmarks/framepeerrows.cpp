// The fields and the block of a write-data request with other libraries, each used as its manual
// shows and with its own types.

#include "rows.h"
#include "samples.h"

#include "writedata.nano.h"
#include "writedata.pb.h"
#include "writedata_generated.h"

#include <QtCore/QCborArray>
#include <QtCore/QCborValue>
#include <QtCore/QDataStream>
#include <QtSerialBus/QModbusRequest>

#include <msgpack.hpp>
#include <pb_decode.h>
#include <pb_encode.h>

#include <cstring>
#include <memory>

namespace {

/// The fields with the text and byte types of a library.
template <typename Text, typename Bytes>
struct Fields
{
    Text deviceKey;
    Text tag;
    qint32 timeout = Sample::Timeout;
    quint16 serialNum = 7;
    quint8 scrAddr = Sample::ScrAddr;
    quint8 desAddr = Sample::DesAddr;
    quint8 deviceType = Sample::DeviceType;
    quint8 portAddr = Sample::PortAddr;
    quint16 scanBoardAddr = Sample::ScanBoardAddr;
    quint8 readWriteCode = 1;
    quint8 reserved2 = Sample::Reserved2;
    quint16 lowAddr = Sample::LowAddr;
    quint16 highAddr = Sample::HighAddr;
    bool broadcast = false;
    quint8 clientPackageType = 0;
    Bytes data;

    MSGPACK_DEFINE(deviceKey, tag, timeout, serialNum, scrAddr, desAddr, deviceType, portAddr,
                   scanBoardAddr, readWriteCode, reserved2, lowAddr, highAddr, broadcast,
                   clientPackageType, data)
};

using QtFields = Fields<QString, QByteArray>;
using StdFields = Fields<std::string, std::vector<char>>;

const QByteArray &block()
{
    static const QByteArray bytes = randomBlock(LargeBlock, 1);
    return bytes;
}

/// What the library makes of the same fields.
const QByteArray &libraryFrame()
{
    static const QByteArray frame = [] {
        const Sample sample;
        return makeRequest<PackageRequestWriteData>(sample, false, block(), block().size())
            .MackPackageRequest();
    }();
    return frame;
}

const std::string DeviceKey = Sample().deviceKey.toStdString();
const std::string Tag = Sample().tag.toStdString();

/// The four rows of a library: encode and decode, with an object that is there and a fresh one.
template <typename Make, typename Encode, typename Decode>
void addPeer(const char *who, const char *note, Make make, Encode encode, Decode decode)
{
    using Object = decltype(make());
    const auto encodes = [encode](const Object &object) {
        const auto bytes = encode(object);
        benchmark::DoNotOptimize(bytes.data());
        return bytes.size() >= LargeBlock;
    };
    const auto decodes = [decode](const auto &bytes, Object &object) {
        const bool ok = decode(bytes, object);
        benchmark::DoNotOptimize(&object);
        benchmark::ClobberMemory();
        return ok;
    };
    const auto original = std::make_shared<Object>(make());
    const auto reused = std::make_shared<Object>();
    const auto bytes = std::make_shared<decltype(encode(*original))>(encode(*original));
    require(decodes(*bytes, *reused), who);

    Row row;
    row.who = who;
    row.form = "request frame";
    row.subject = "PackageRequestWriteData";
    row.payload = "large";
    row.note = note;
    row.bytes = libraryFrame().size();
    row.operation = "encode";
    row.object = "reused";
    addRow(row, [encodes, original] { return encodes(*original); });
    row.object = "fresh";
    addRow(row, [encodes, make] { return encodes(make()); });
    row.operation = "decode";
    row.object = "reused";
    addRow(row, [decodes, bytes, reused] { return decodes(*bytes, *reused); });
    row.object = "fresh";
    addRow(row, [decodes, bytes] {
        Object fresh;
        return decodes(*bytes, fresh);
    });
}

QtFields makeQtFields()
{
    QtFields fields;
    fields.deviceKey = Sample().deviceKey;
    fields.tag = Sample().tag;
    fields.data = block();
    return fields;
}

QDataStream &operator<<(QDataStream &out, const QtFields &f)
{
    return out << f.deviceKey << f.tag << f.timeout << f.serialNum << f.scrAddr << f.desAddr
               << f.deviceType << f.portAddr << f.scanBoardAddr << f.readWriteCode << f.reserved2
               << f.lowAddr << f.highAddr << f.broadcast << f.clientPackageType << f.data;
}

QDataStream &operator>>(QDataStream &in, QtFields &f)
{
    return in >> f.deviceKey >> f.tag >> f.timeout >> f.serialNum >> f.scrAddr >> f.desAddr
        >> f.deviceType >> f.portAddr >> f.scanBoardAddr >> f.readWriteCode >> f.reserved2
        >> f.lowAddr >> f.highAddr >> f.broadcast >> f.clientPackageType >> f.data;
}

void addQDataStream()
{
    addPeer(
        "QDataStream", "owned, no checksum", makeQtFields,
        [](const QtFields &fields) {
            QByteArray bytes;
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            stream << fields;
            return bytes;
        },
        [](const QByteArray &bytes, QtFields &fields) {
            QDataStream stream(bytes);
            stream >> fields;
            return stream.status() == QDataStream::Ok && fields.data.size() == LargeBlock;
        });
}

void addQCbor()
{
    addPeer(
        "QCborValue", "owned, no checksum", makeQtFields,
        [](const QtFields &f) {
            return QCborValue(QCborArray{f.deviceKey, f.tag, f.timeout, f.serialNum, f.scrAddr,
                                         f.desAddr, f.deviceType, f.portAddr, f.scanBoardAddr,
                                         f.readWriteCode, f.reserved2, f.lowAddr, f.highAddr,
                                         f.broadcast, f.clientPackageType, f.data})
                .toCbor();
        },
        [](const QByteArray &bytes, QtFields &f) {
            const QCborArray values = QCborValue::fromCbor(bytes).toArray();
            const auto number = [&values](int i) { return values.at(i).toInteger(); };
            f.deviceKey = values.at(0).toString();
            f.tag = values.at(1).toString();
            f.timeout = static_cast<qint32>(number(2));
            f.serialNum = static_cast<quint16>(number(3));
            f.scrAddr = static_cast<quint8>(number(4));
            f.desAddr = static_cast<quint8>(number(5));
            f.deviceType = static_cast<quint8>(number(6));
            f.portAddr = static_cast<quint8>(number(7));
            f.scanBoardAddr = static_cast<quint16>(number(8));
            f.readWriteCode = static_cast<quint8>(number(9));
            f.reserved2 = static_cast<quint8>(number(10));
            f.lowAddr = static_cast<quint16>(number(11));
            f.highAddr = static_cast<quint16>(number(12));
            f.broadcast = values.at(13).toBool();
            f.clientPackageType = static_cast<quint8>(number(14));
            f.data = values.at(15).toByteArray();
            return f.data.size() == LargeBlock;
        });
}

/// Stores the fields with the setters that protobuf generates.
peers::WriteData makeProtobuf()
{
    peers::WriteData message;
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
    return message;
}

void addProtobuf()
{
    using Message = peers::WriteData;
    addPeer(
        "protobuf", "owned, no checksum", makeProtobuf,
        [](const Message &message) { return message.SerializeAsString(); },
        [](const std::string &bytes, Message &message) {
            return message.ParseFromString(bytes) && message.data().size() == LargeBlock;
        });
}

peers::flat::WriteDataT makeFlat()
{
    peers::flat::WriteDataT object;
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

/// From the types that programs with Qt have.
flatbuffers::DetachedBuffer writeFlat(const QtFields &f)
{
    flatbuffers::FlatBufferBuilder builder;
    const auto deviceKey = builder.CreateString(f.deviceKey.toStdString());
    const auto tag = builder.CreateString(f.tag.toStdString());
    const auto data = builder.CreateVector(reinterpret_cast<const quint8 *>(f.data.constData()),
                                           static_cast<std::size_t>(f.data.size()));
    builder.Finish(peers::flat::CreateWriteData(
        builder, deviceKey, tag, f.timeout, f.serialNum, f.scrAddr, f.desAddr, f.deviceType,
        f.portAddr, f.scanBoardAddr, f.readWriteCode, f.reserved2, f.lowAddr, f.highAddr,
        f.broadcast, f.clientPackageType, data));
    return builder.Release();
}

/// Into the types that programs with Qt go on with.
bool readFlat(const flatbuffers::DetachedBuffer &bytes, QtFields &fields)
{
    flatbuffers::Verifier verifier(bytes.data(), bytes.size());
    if (!peers::flat::VerifyWriteDataBuffer(verifier))
        return false;
    const peers::flat::WriteData *view = peers::flat::GetWriteData(bytes.data());
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
    fields.data = QByteArray(reinterpret_cast<const char *>(view->data()->data()),
                             static_cast<int>(view->data()->size()));
    return fields.data.size() == LargeBlock;
}

void addFlatBuffers()
{
    const auto encode = [](const peers::flat::WriteDataT &object) {
        flatbuffers::FlatBufferBuilder builder;
        builder.Finish(peers::flat::CreateWriteData(builder, &object));
        return builder.Release();
    };
    addPeer("FlatBuffers", "owned, no checksum", makeFlat, encode,
            [](const flatbuffers::DetachedBuffer &bytes, peers::flat::WriteDataT &object) {
                flatbuffers::Verifier verifier(bytes.data(), bytes.size());
                if (!peers::flat::VerifyWriteDataBuffer(verifier))
                    return false;
                peers::flat::GetWriteData(bytes.data())->UnPackTo(&object);
                return object.data.size() == LargeBlock;
            });
    addPeer("FlatBuffers, Qt types", "owned, no checksum", makeQtFields, writeFlat, readFlat);
    // Without the cost of having the fields: they are looked up in the bytes.
    addPeer("FlatBuffers view", "view, no checksum", makeFlat, encode,
            [](const flatbuffers::DetachedBuffer &bytes, peers::flat::WriteDataT &) {
                flatbuffers::Verifier verifier(bytes.data(), bytes.size());
                if (!peers::flat::VerifyWriteDataBuffer(verifier))
                    return false;
                const peers::flat::WriteData *view = peers::flat::GetWriteData(bytes.data());
                benchmark::DoNotOptimize(view->device_key()->c_str());
                benchmark::DoNotOptimize(view->timeout() + view->serial_num() + view->high_addr());
                return view->data()->size() == LargeBlock;
            });
}

StdFields makeStdFields()
{
    StdFields fields;
    fields.deviceKey = DeviceKey;
    fields.tag = Tag;
    fields.data.assign(block().begin(), block().end());
    return fields;
}

void addMsgpack()
{
    addPeer(
        "msgpack-cxx", "owned, no checksum", makeStdFields,
        [](const StdFields &fields) {
            msgpack::sbuffer buffer;
            msgpack::pack(buffer, fields);
            return buffer;
        },
        [](const msgpack::sbuffer &bytes, StdFields &fields) {
            msgpack::unpack(bytes.data(), bytes.size()).get().convert(fields);
            return fields.data.size() == LargeBlock;
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

void addNanopb()
{
    addPeer(
        "nanopb", "owned, no checksum", makeNano,
        [](const peers_WriteData &message) {
            QByteArray bytes(peers_WriteData_size, Qt::Uninitialized);
            pb_ostream_t stream =
                pb_ostream_from_buffer(reinterpret_cast<pb_byte_t *>(bytes.data()),
                                       static_cast<std::size_t>(bytes.size()));
            const bool ok = pb_encode(&stream, peers_WriteData_fields, &message);
            bytes.truncate(ok ? static_cast<int>(stream.bytes_written) : 0);
            return bytes;
        },
        [](const QByteArray &bytes, peers_WriteData &message) {
            pb_istream_t stream =
                pb_istream_from_buffer(reinterpret_cast<const pb_byte_t *>(bytes.constData()),
                                       static_cast<std::size_t>(bytes.size()));
            return pb_decode(&stream, peers_WriteData_fields, &message)
                && message.data.size == LargeBlock;
        });
}

/// The most registers that one request can write.
constexpr int Registers = 123;

/// The block as registers; there is no room for the other fields.
void addQModbus()
{
    addPeer(
        "QModbusRequest, 9 requests", "owned, block only, no checksum", makeQtFields,
        [](const QtFields &fields) {
            QByteArray bytes;
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            const int count = fields.data.size() / 2;
            for (int first = 0; first < count; first += Registers) {
                QVector<quint16> registers(qMin(Registers, count - first));
                std::memcpy(registers.data(), fields.data.constData() + 2 * first,
                            2 * static_cast<std::size_t>(registers.size()));
                stream << QModbusRequest(QModbusRequest::WriteMultipleRegisters,
                                         static_cast<quint16>(first),
                                         static_cast<quint16>(registers.size()),
                                         static_cast<quint8>(2 * registers.size()), registers);
            }
            return bytes;
        },
        [](const QByteArray &bytes, QtFields &fields) {
            QDataStream stream(bytes);
            fields.data.resize(0);
            while (!stream.atEnd()) {
                QModbusRequest request;
                stream >> request;
                if (!request.isValid())
                    return false;
                fields.data.append(request.data().mid(5)); // address, count, size
            }
            return fields.data.size() == LargeBlock;
        });
}

} // namespace

void addFramePeerRows()
{
    addQDataStream();
    addQCbor();
    addProtobuf();
    addFlatBuffers();
    addMsgpack();
    addNanopb();
    addQModbus();
}
