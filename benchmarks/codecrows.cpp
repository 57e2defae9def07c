// Adds the library's own rows: every class and form, sizes from nothing to 16 MiB, and threads.

#include "rows.h"
#include "samples.h"

#include <korvininspect/packagecheck.h>
#include <packagerequestcombination.h>

#include <QtCore/QStringList>

#include <memory>
#include <mutex>

using namespace KorvinInspect;

namespace {

struct RequestFrame
{
    static constexpr char Name[] = "request frame";
    static constexpr Form WireForm = Form::Frame;
    static constexpr Direction Way = Direction::Request;
    static constexpr int BytesPerUnit = 1;

    static QByteArray encode(PackageBase &package) { return package.MackPackageRequest(); }

    static bool decode(PackageBase &package, const QByteArray &frame)
    {
        int index = 0;
        return package.UnPackageRequest(frame, 0, &index) && index > 0;
    }
};

template <bool Full>
struct ReplyFrame
{
    static constexpr const char *Name = Full ? "full reply frame" : "short reply frame";
    static constexpr Form WireForm = Form::Frame;
    static constexpr Direction Way = Direction::Reply;
    static constexpr int BytesPerUnit = 1;

    static QByteArray encode(PackageBase &package) { return package.MackPackageReply(Full); }

    static bool decode(PackageBase &package, const QByteArray &frame)
    {
        int index = 0;
        bool full = !Full;
        return package.UnPackageReply(frame, 0, &index, &full) && full == Full && index > 0;
    }
};

struct RequestRecord
{
    static constexpr char Name[] = "request record";
    static constexpr Form WireForm = Form::Text;
    static constexpr Direction Way = Direction::Request;
    static constexpr int BytesPerUnit = sizeof(QChar);

    static QString encode(PackageBase &package) { return package.makePackageRequest(); }

    static bool decode(PackageBase &package, const QString &record)
    {
        return package.unPackageRequest(record);
    }
};

struct ReplyRecord
{
    static constexpr char Name[] = "reply record";
    static constexpr Form WireForm = Form::Text;
    static constexpr Direction Way = Direction::Reply;
    static constexpr int BytesPerUnit = sizeof(QChar);

    static QString encode(PackageBase &package) { return package.makePackageReply(); }

    static bool decode(PackageBase &package, const QString &record)
    {
        return package.unPackageReply(record);
    }
};

/// The request that a client makes and the reply that it reads.
struct LinuxFrame
{
    static constexpr char Name[] = "Linux frame";
    static constexpr Form WireForm = Form::Linux;
    static constexpr Direction Way = Direction::Reply;
    static constexpr int BytesPerUnit = 1;

    template <typename Package>
    static QByteArray encode(Package &package)
    {
        return package.ParseSendRequest_Linux();
    }

    template <typename Package>
    static bool decode(Package &package, const QByteArray &frame)
    {
        if constexpr (std::is_base_of_v<PackageRequestReadData, Package>)
            package.setData({}); // otherwise each reply would be appended to the one before
        return package.unPackageReply_Linux(frame);
    }
};

template <typename Codec, typename Maker>
void addEncodeRows(Row row, Maker make, const std::vector<Sample> &samples)
{
    using Package = decltype(make(samples.front()));
    std::vector<std::shared_ptr<Package>> packages;
    for (const Sample &sample : samples)
        packages.push_back(std::make_shared<Package>(make(sample)));

    const auto encodes = [](Package &package) {
        auto encoded = Codec::encode(package);
        benchmark::DoNotOptimize(encoded.data());
        return !encoded.isEmpty();
    };
    row.operation = "encode";
    row.memory = CarriesData<Package> ? "owned, block shared" : "owned";
    row.object = "reused";
    addRow(row, [encodes, packages, i = std::size_t(0)]() mutable {
        i = (i + 1) % packages.size();
        return encodes(*packages[i]);
    });
    row.object = "fresh";
    addRow(row, [encodes, make, samples, i = std::size_t(0)]() mutable {
        i = (i + 1) % samples.size();
        Package package = make(samples[i]);
        return encodes(package);
    });
}

/// What a reader begins with.
template <typename Package>
Package makeEmpty()
{
    if constexpr (std::is_default_constructible_v<Package>)
        return Package();
    else
        return Package({}, 0, 0, 0, 0, 0, 0, 0, 0, 0, {}, false, 0L, 0);
}

/// Whether a decoder reads all of what the encoder of its class wrote. None takes a record of no
/// data; a full reply has its payload twice, which decoders of data and files report in a message.
template <typename Codec, typename Package, typename Encoded>
bool readsAll(Package &package, const Encoded &encoded)
{
    static bool isReported = false;
    isReported = false;
    const QtMessageHandler before = qInstallMessageHandler([](auto...) { isReported = true; });
    const bool isRead = Codec::decode(package, encoded);
    qInstallMessageHandler(before);
    return isRead && !isReported;
}

template <typename Codec, typename Package, typename Encoded>
void addDecodeRows(Row row, const std::vector<Encoded> &inputs)
{
    const auto reused = std::make_shared<Package>(makeEmpty<Package>());
    if (!readsAll<Codec>(*reused, inputs.front()))
        return;
    row.operation = "decode";
    row.memory = CarriesData<Package> ? "owned, block copied" : "owned";
    row.object = "reused";
    addRow(row, [reused, inputs, i = std::size_t(0)]() mutable {
        i = (i + 1) % inputs.size();
        const bool ok = Codec::decode(*reused, inputs[i]);
        benchmark::ClobberMemory();
        return ok;
    });
    row.object = "fresh";
    addRow(row, [inputs, i = std::size_t(0)]() mutable {
        i = (i + 1) % inputs.size();
        Package package = makeEmpty<Package>();
        benchmark::DoNotOptimize(&package);
        const bool ok = Codec::decode(package, inputs[i]);
        benchmark::ClobberMemory();
        return ok;
    });
}

/// Adds the row of check(), which a proxy calls before it decodes input that it does not trust.
template <typename Codec, typename Encoded>
void addCheckRow(Row row, const std::vector<Encoded> &inputs)
{
    const MessageShape shape{packageClass(QString::fromStdString(row.subject))->id, Codec::WireForm,
                             Codec::Way};
    if (!check(inputs.front(), shape).isOk())
        return; // check() refuses some output of encoders
    row.operation = "check";
    row.memory = "view";
    row.object = "fresh";
    addRow(row, [inputs, shape, i = std::size_t(0)]() mutable {
        i = (i + 1) % inputs.size();
        return check(inputs[i], shape).isOk();
    });
}

template <typename Codec, typename Maker>
void addRows(Row row, Maker make, const std::vector<Sample> &samples)
{
    using Package = decltype(make(samples.front()));
    std::vector<decltype(Codec::encode(std::declval<Package &>()))> encoded;
    for (const Sample &sample : samples) {
        Package package = make(sample);
        encoded.push_back(Codec::encode(package));
    }
    row.who = "library";
    row.form = Codec::Name;
    row.bytes = qint64(encoded.front().size()) * Codec::BytesPerUnit;
    addEncodeRows<Codec>(row, make, samples);

    if constexpr (std::is_same_v<Codec, LinuxFrame>) {
        // A write's request is laid out as a reply of status 0 with the data that was read.
        const Sample &sample = samples.front();
        auto reply =
            makeRequest<PackageRequestWriteData>(sample, false, sample.block, sample.block.size());
        encoded.front() = reply.ParseSendRequest_Linux();
        row.bytes = encoded.front().size();
    }
    addDecodeRows<Codec, Package>(row, encoded);
    if (row.payload == "small" || row.payload == "large")
        addCheckRow<Codec>(row, encoded);
}

template <typename Maker>
void addFormRows(Row row, Maker make, const std::vector<Sample> &samples)
{
    const std::vector<Sample> first(1, samples.front());
    addRows<RequestFrame>(row, make, first);
    addRows<ReplyFrame<false>>(row, make, first);
    addRows<ReplyFrame<true>>(row, make, first);
    addRows<RequestRecord>(row, make, samples);
    addRows<ReplyRecord>(row, make, samples);
    if constexpr (CarriesData<decltype(make(samples.front()))>)
        addRows<LinuxFrame>(row, make, first);
}

/// Adds the rows that read and check a combination record.
void addCombinationRow()
{
    Sample sample;
    sample.block = randomBlock(16, 1);
    QStringList items;
    for (int item = 0; item < 5; ++item) {
        auto write =
            makeRequest<PackageRequestWriteData>(sample, false, sample.block, sample.block.size());
        auto read = makeRequest<PackageRequestReadData>(sample, sample.block.size());
        items.append(QStringLiteral("writeData^") + write.makePackageRequest());
        items.append(QStringLiteral("ReadData^") + read.makePackageRequest());
    }
    const QString record = items.join(QLatin1Char('|'));
    const auto combination = std::make_shared<PackageRequestCombination>();

    Row row;
    row.who = "library";
    row.form = "request record";
    row.subject = "PackageRequestCombination";
    row.operation = "decode and check";
    row.payload = "10 items of 16 bytes";
    row.object = "reused";
    row.memory = "owned, block copied";
    row.bytes = qint64(record.size()) * qint64(sizeof(QChar));
    addRow(row, [combination, record] {
        const bool ok = combination->unCombinationPackageRequest(record)
            && combination->makeCombinationPackageRequest();
        const std::list<PackageBase *> requests = combination->packageList();
        qDeleteAll(requests);
        return ok && requests.size() == 10;
    });
}

/// Adds rows of one class with data of no bytes up to 16 MiB.
void addSizeRows()
{
    for (const int size : {0, 1 << 10, 16 << 10, 256 << 10, 1 << 20, 4 << 20, 16 << 20}) {
        Sample sample;
        sample.block = randomBlock(size, 1);
        Row row;
        row.subject = "PackageRequestWriteData by size";
        row.payload = std::to_string(size);
        const auto make = [](const Sample &one) {
            return makeRequest<PackageRequestWriteData>(one, false, one.block, one.block.size());
        };
        addRows<RequestFrame>(row, make, {sample});
        addRows<ReplyRecord>(row, make, {sample});
    }
}

/// What makes or reads the frames of the rows beside other libraries, and of those with threads.
class LargeWrite
{
public:
    LargeWrite()
    {
        static std::mutex serialNumbers; // only one thread at a time may draw one
        const std::lock_guard<std::mutex> turn(serialNumbers);
        m_sample.block = randomBlock(LargeBlock, 1);
        m_package = std::make_unique<PackageRequestWriteData>(
            makeRequest<PackageRequestWriteData>(m_sample, false, m_sample.block, LargeBlock));
        m_frame = m_package->MackPackageRequest();
    }

    static Row row(const char *operation, const char *object)
    {
        Row row;
        row.who = "library";
        row.form = RequestFrame::Name;
        row.subject = "PackageRequestWriteData";
        row.operation = operation;
        row.payload = "large";
        row.object = object;
        row.memory = row.operation == "encode" ? "owned, block shared" : "owned, block copied";
        row.bytes = LargeWrite().m_frame.size();
        return row;
    }

    bool encode()
    {
        const QByteArray frame = m_package->MackPackageRequest();
        benchmark::DoNotOptimize(frame.constData());
        return frame.size() == m_frame.size();
    }

    bool decode(PackageBase &package) const
    {
        const bool ok = RequestFrame::decode(package, m_frame);
        benchmark::DoNotOptimize(&package);
        benchmark::ClobberMemory();
        return ok;
    }

    bool decodeIntoKept() { return decode(*m_package); }

    /// Gives the package the fields of another request.
    void set()
    {
        m_package->setSerialNum(PackageBase::makeSerialNum());
        m_package->setDeviceKey(m_sample.deviceKey);
        m_package->setTag(m_sample.tag);
        m_package->setTimeout(Sample::Timeout);
        m_package->setScrAddr(char(Sample::ScrAddr));
        m_package->setDesAddr(char(Sample::DesAddr));
        m_package->setDeviceType(Sample::DeviceType);
        m_package->setPortAddr(char(Sample::PortAddr));
        m_package->setScanBoardAddr(Sample::ScanBoardAddr);
        m_package->setHighAddr(Sample::HighAddr);
        m_package->setLowAddr(Sample::LowAddr);
        m_package->setReserved2(Sample::Reserved2);
        m_package->setReadWriteCode(OrvexEnum::Write);
        m_package->setData(m_sample.block);
        m_package->setPackageDataLength(LargeBlock);
    }

private:
    Sample m_sample;
    std::unique_ptr<PackageRequestWriteData> m_package;
    QByteArray m_frame;
};

/// Each thread has packages and frames of its own.
void addThreadedCodecRows()
{
    addThreadedRows(LargeWrite::row("encode", "reused"),
                    [] { return [write = LargeWrite()]() mutable { return write.encode(); }; });
    addThreadedRows(LargeWrite::row("decode", "reused"), [] {
        return [write = LargeWrite()]() mutable { return write.decodeIntoKept(); };
    });
    addThreadedRows(LargeWrite::row("decode", "fresh"), [] {
        return [write = LargeWrite()] {
            PackageRequestWriteData package;
            return write.decode(package);
        };
    });
}

/// Adds the rows of one package that is reused: setters give it the fields of each request.
void addSetAnewRow()
{
    Row row = LargeWrite::row("encode", "fresh");
    row.way = "set anew";
    const auto write = std::make_shared<LargeWrite>();
    addRow(row, [write] {
        write->set();
        return write->encode();
    });
}

} // namespace

void addCodecRows()
{
    std::vector<Sample> large;
    for (const QByteArray &block : rotatingBlocks(LargeBlock)) {
        large.emplace_back();
        large.back().block = block;
    }
    forEachClass([&large](const char *name, auto make) {
        Row row;
        row.subject = name;
        row.payload = "small";
        addFormRows(row, make, {Sample()});
        if constexpr (CarriesData<decltype(make(large.front()))>) {
            row.payload = "large";
            addFormRows(row, make, large);
        }
    });
    addCombinationRow();
    addSizeRows();
    addSetAnewRow();
    addThreadedCodecRows();
}
