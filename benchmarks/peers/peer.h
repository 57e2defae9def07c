#ifndef PEER_H
#define PEER_H

#include "../rows.h"
#include "../samples.h"

#include <msgpack.hpp>

#include <memory>
#include <string_view>
#include <tuple>

/// @file
/// What all peers have in common: the fields and the block of a write-data request.

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

    bool operator==(const Fields &other) const { return tied() == other.tied(); }

private:
    auto tied() const
    {
        return std::tie(deviceKey, tag, timeout, serialNum, scrAddr, desAddr, deviceType, portAddr,
                        scanBoardAddr, readWriteCode, reserved2, lowAddr, highAddr, broadcast,
                        clientPackageType, data);
    }
};

using QtFields = Fields<QString, QByteArray>;
using StdFields = Fields<std::string, std::vector<char>>;

inline const QByteArray &block()
{
    static const QByteArray bytes = randomBlock(LargeBlock, 1);
    return bytes;
}

inline const std::string DeviceKey = Sample().deviceKey.toStdString();
inline const std::string Tag = Sample().tag.toStdString();

inline QtFields makeQtFields()
{
    QtFields fields;
    fields.deviceKey = Sample().deviceKey;
    fields.tag = Sample().tag;
    fields.data = block();
    return fields;
}

inline StdFields makeStdFields()
{
    StdFields fields;
    fields.deviceKey = DeviceKey;
    fields.tag = Tag;
    fields.data.assign(block().begin(), block().end());
    return fields;
}

/// The rows of a library. @p Object holds the fields.
template <typename Object>
class Peer
{
public:
    /// @param read reads an object from bytes, and returns whether they are well-formed.
    /// @param isRight returns whether an object has the fields of the original.
    Peer(std::string who, bool (*read)(std::string_view bytes, Object &object),
         bool (*isRight)(const Object &object))
        : m_read(read)
        , m_isRight(isRight)
    {
        m_row.who = std::move(who);
        m_row.form = "request frame";
        m_row.subject = "PackageRequestWriteData";
        m_row.payload = "large";
        const Sample sample;
        m_row.bytes = makeRequest<PackageRequestWriteData>(sample, false, block(), block().size())
                          .MackPackageRequest()
                          .size();
    }

    /// Adds a row of an encoder, which returns the bytes or a view of them.
    template <typename Encode>
    void encodes(const char *object, const char *way, const char *memory, Encode encode) const
    {
        const Row row = rowOf("encode", object, way, memory);
        {
            const auto &bytes = encode();
            const auto read = std::make_unique<Object>();
            const std::string_view view(reinterpret_cast<const char *>(bytes.data()),
                                        static_cast<std::size_t>(bytes.size()));
            require(m_read(view, *read) && m_isRight(*read), nameOf(row));
        }
        addRow(row, [encode]() mutable {
            const auto &bytes = encode();
            benchmark::DoNotOptimize(bytes.data());
            benchmark::ClobberMemory();
            return bytes.size() >= LargeBlock;
        });
    }

    /// Adds the rows of a decoder into a reused object and into a fresh one.
    template <typename Decode>
    void decodes(const char *way, const char *memory, Decode decode) const
    {
        auto into = [decode](Object &object) mutable {
            const bool ok = decode(object);
            benchmark::DoNotOptimize(&object);
            benchmark::ClobberMemory();
            return ok;
        };
        const auto kept = std::make_shared<Object>();
        decodes("reused", way, memory, [into, kept]() mutable { return into(*kept); });
        require(m_isRight(*kept), m_row.who);
        decodes("fresh", way, memory, [into]() mutable {
            Object fresh;
            return into(fresh);
        });
    }

    /// Adds one row of a decoder that owns its objects and keeps them alive.
    template <typename Decode>
    void decodes(const char *object, const char *way, const char *memory, Decode decode) const
    {
        const Row row = rowOf("decode", object, way, memory);
        require(decode(), nameOf(row));
        addRow(row, decode);
    }

private:
    Row rowOf(const char *operation, const char *object, const char *way, const char *memory) const
    {
        Row row = m_row;
        row.operation = operation;
        row.object = object;
        row.way = way;
        row.memory = memory;
        return row;
    }

    Row m_row;
    bool (*m_read)(std::string_view, Object &);
    bool (*m_isRight)(const Object &);
};

#endif
