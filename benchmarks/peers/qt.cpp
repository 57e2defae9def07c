// Qt's own ways to write fields: QDataStream, CBOR, and Modbus requests with the block as
// registers.

#include "peer.h"

#include <QtCore/QBuffer>
#include <QtCore/QCborArray>
#include <QtCore/QCborStreamReader>
#include <QtCore/QCborStreamWriter>
#include <QtCore/QCborValue>
#include <QtCore/QDataStream>
#include <QtCore/QtEndian>
#include <QtSerialBus/QModbusRequest>

namespace {

constexpr int Room = LargeBlock + 256; // enough for each of them

template <typename Stream>
Stream writerTo(QByteArray *bytes)
{
    if constexpr (std::is_same_v<Stream, QDataStream>)
        return QDataStream(bytes, QIODevice::WriteOnly);
    else
        return QCborStreamWriter(bytes);
}

/// A stream and its buffer, reused for each frame.
template <typename Stream>
struct KeptStream
{
    QByteArray bytes;
    QBuffer buffer{&bytes};
    Stream stream{&buffer};

    KeptStream() { buffer.open(QIODevice::ReadWrite); }

    /// Begins to read other bytes, without a copy.
    void begin(const QByteArray &other)
    {
        buffer.close();
        buffer.setData(other);
        buffer.open(QIODevice::ReadOnly);
    }
};

/// Adds the rows of encoders that write to a stream.
template <typename Stream, typename Write>
void addEncoders(const Peer<QtFields> &peer, const std::string &prefix, Write write)
{
    const auto add = [&](const char *way, const char *memory, auto encode) {
        const std::string name = prefix + way;
        const auto original = std::make_shared<QtFields>(makeQtFields());
        peer.encodes("reused", name.c_str(), memory,
                     [encode, original]() mutable { return encode(*original); });
        peer.encodes("fresh", name.c_str(), memory,
                     [encode]() mutable { return encode(makeQtFields()); });
    };
    add("plain", "owned, block shared", [write](const QtFields &fields) {
        QByteArray bytes;
        Stream stream = writerTo<Stream>(&bytes);
        write(stream, fields);
        return bytes;
    });
    add("reserve", "owned, block shared", [write](const QtFields &fields) {
        QByteArray bytes;
        bytes.reserve(Room);
        Stream stream = writerTo<Stream>(&bytes);
        write(stream, fields);
        return bytes;
    });
    const auto kept = std::make_shared<KeptStream<Stream>>();
    const auto writeKept = [write, kept](const QtFields &fields) {
        kept->buffer.seek(0);
        write(kept->stream, fields);
        return std::string_view(kept->bytes.constData(),
                                static_cast<std::size_t>(kept->buffer.pos()));
    };
    add("kept stream", "kept, block shared", writeKept);
    add("kept stream, copied out", "owned, block shared", [writeKept](const QtFields &fields) {
        const std::string_view bytes = writeKept(fields);
        return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
    });
}

QByteArray rawBytes(std::string_view bytes)
{
    return QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size()));
}

bool isRight(const QtFields &fields)
{
    return fields == makeQtFields();
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

/// Adds the rows of decoders that read from a QDataStream.
template <typename Read>
void addDecoders(const Peer<QtFields> &peer, const QByteArray &bytes, Read read)
{
    peer.decodes("plain", "owned, block copied", [bytes, read](QtFields &fields) {
        QDataStream stream(bytes);
        return read(stream, fields);
    });
    const auto kept = std::make_shared<KeptStream<QDataStream>>();
    peer.decodes("kept stream", "owned, block copied", [bytes, read, kept](QtFields &fields) {
        kept->begin(bytes);
        return read(kept->stream, fields);
    });
}

bool readDataStream(QDataStream &stream, QtFields &fields)
{
    stream >> fields;
    return stream.status() == QDataStream::Ok && fields.data.size() == LargeBlock;
}

void addQDataStream()
{
    const Peer<QtFields> peer(
        "QDataStream",
        [](std::string_view bytes, QtFields &fields) {
            QDataStream stream(rawBytes(bytes));
            return readDataStream(stream, fields);
        },
        isRight);
    addEncoders<QDataStream>(peer, {},
                             [](QDataStream &stream, const QtFields &fields) { stream << fields; });
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << makeQtFields();
    addDecoders(peer, bytes, readDataStream);
}

QByteArray writeCborValue(const QtFields &f)
{
    return QCborValue(QCborArray{f.deviceKey, f.tag, f.timeout, f.serialNum, f.scrAddr, f.desAddr,
                                 f.deviceType, f.portAddr, f.scanBoardAddr, f.readWriteCode,
                                 f.reserved2, f.lowAddr, f.highAddr, f.broadcast,
                                 f.clientPackageType, f.data})
        .toCbor();
}

bool readCborValue(const QByteArray &bytes, QtFields &f)
{
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
}

void writeCborStream(QCborStreamWriter &writer, const QtFields &f)
{
    writer.startArray(16);
    writer.append(QStringView(f.deviceKey));
    writer.append(QStringView(f.tag));
    writer.append(f.timeout);
    for (const uint number :
         {uint(f.serialNum), uint(f.scrAddr), uint(f.desAddr), uint(f.deviceType), uint(f.portAddr),
          uint(f.scanBoardAddr), uint(f.readWriteCode), uint(f.reserved2), uint(f.lowAddr),
          uint(f.highAddr)})
        writer.append(number);
    writer.append(f.broadcast);
    writer.append(uint(f.clientPackageType));
    writer.append(f.data);
    writer.endArray();
}

/// Reads a text or a block, both in one piece.
template <typename Value, typename Result>
bool readPiece(QCborStreamReader &reader, Result (QCborStreamReader::*read)(), Value &value)
{
    Result piece = (reader.*read)();
    value = std::move(piece.data);
    return piece.status == QCborStreamReader::Ok
        && (reader.*read)().status == QCborStreamReader::EndOfString;
}

template <typename Number>
void readNumber(QCborStreamReader &reader, Number &number)
{
    number = static_cast<Number>(reader.toInteger());
    reader.next();
}

bool readCborStream(QCborStreamReader &reader, QtFields &f)
{
    if (!reader.isArray() || !reader.enterContainer() || !reader.isString()
        || !readPiece(reader, &QCborStreamReader::readString, f.deviceKey) || !reader.isString()
        || !readPiece(reader, &QCborStreamReader::readString, f.tag))
        return false;
    readNumber(reader, f.timeout);
    readNumber(reader, f.serialNum);
    readNumber(reader, f.scrAddr);
    readNumber(reader, f.desAddr);
    readNumber(reader, f.deviceType);
    readNumber(reader, f.portAddr);
    readNumber(reader, f.scanBoardAddr);
    readNumber(reader, f.readWriteCode);
    readNumber(reader, f.reserved2);
    readNumber(reader, f.lowAddr);
    readNumber(reader, f.highAddr);
    f.broadcast = reader.toBool();
    reader.next();
    readNumber(reader, f.clientPackageType);
    return reader.isByteArray() && readPiece(reader, &QCborStreamReader::readByteArray, f.data)
        && reader.lastError() == QCborError::NoError && f.data.size() == LargeBlock;
}

void addQCbor()
{
    const Peer<QtFields> peer(
        "QCborValue",
        [](std::string_view bytes, QtFields &fields) {
            return readCborValue(rawBytes(bytes), fields);
        },
        isRight);
    const auto original = std::make_shared<QtFields>(makeQtFields());
    peer.encodes("reused", "plain", "owned, block shared",
                 [original] { return writeCborValue(*original); });
    peer.encodes("fresh", "plain", "owned, block shared",
                 [] { return writeCborValue(makeQtFields()); });
    addEncoders<QCborStreamWriter>(peer, "QCborStreamWriter, ", writeCborStream);
    const QByteArray bytes = writeCborValue(*original);
    peer.decodes("plain", "owned, block copied",
                 [bytes](QtFields &fields) { return readCborValue(bytes, fields); });
    peer.decodes("QCborStreamReader", "owned, block copied", [bytes](QtFields &fields) {
        QCborStreamReader reader(bytes);
        return readCborStream(reader, fields);
    });
}

/// The most registers that one request can write.
constexpr int Registers = 123;

/// Copies the bytes of the registers as they are.
void writeModbus(QDataStream &stream, const QtFields &fields)
{
    constexpr int MostBytes = 2 * Registers;
    for (int first = 0; first < fields.data.size(); first += MostBytes) {
        const int size = qMin(MostBytes, fields.data.size() - first);
        const int address = first / 2;
        const char head[] = {char(address >> 8), char(address), 0, char(size / 2), char(size)};
        QByteArray data;
        data.reserve(int(sizeof head) + size);
        data.append(head, sizeof head).append(fields.data.constData() + first, size);
        stream << QModbusRequest(QModbusRequest::WriteMultipleRegisters, data);
    }
}

/// Reads the registers as numbers, as its manual shows.
QByteArray writeModbusRegisters(const QtFields &fields)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    const int count = fields.data.size() / 2;
    for (int first = 0; first < count; first += Registers) {
        QVector<quint16> registers(qMin(Registers, count - first));
        for (int i = 0; i < registers.size(); ++i)
            registers[i] = qFromBigEndian<quint16>(fields.data.constData() + 2 * (first + i));
        stream << QModbusRequest(QModbusRequest::WriteMultipleRegisters,
                                 static_cast<quint16>(first),
                                 static_cast<quint16>(registers.size()),
                                 static_cast<quint8>(2 * registers.size()), registers);
    }
    return bytes;
}

bool readModbus(QDataStream &stream, QtFields &fields)
{
    constexpr int Head = 5; // address, count, size
    fields.data.resize(0);
    fields.data.reserve(LargeBlock);
    QModbusRequest request;
    while (!stream.atEnd()) {
        stream >> request;
        const QByteArray data = request.data();
        if (!request.isValid() || data.size() < Head)
            return false;
        fields.data.append(data.constData() + Head, data.size() - Head);
    }
    return fields.data.size() == LargeBlock;
}

void addQModbus()
{
    const Peer<QtFields> peer(
        "QModbusRequest",
        [](std::string_view bytes, QtFields &fields) {
            QDataStream stream(rawBytes(bytes));
            return readModbus(stream, fields);
        },
        [](const QtFields &fields) { return fields.data == block(); });
    const auto original = std::make_shared<QtFields>(makeQtFields());
    peer.encodes("reused", "registers", "owned, block shared",
                 [original] { return writeModbusRegisters(*original); });
    peer.encodes("fresh", "registers", "owned, block shared",
                 [] { return writeModbusRegisters(makeQtFields()); });
    addEncoders<QDataStream>(peer, "raw data, ", writeModbus);
    addDecoders(peer, writeModbusRegisters(*original), readModbus);
}

} // namespace

void addQtRows()
{
    addQDataStream();
    addQCbor();
    addQModbus();
}
