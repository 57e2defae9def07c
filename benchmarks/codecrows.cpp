// The library's own rows: every class and form, and sizes from nothing to 16 MiB.

#include "rows.h"
#include "samples.h"

#include <packagerequestcombination.h>

#include <QtCore/QStringList>

#include <memory>

namespace {

struct RequestFrame
{
    static constexpr char Name[] = "request frame";
    static constexpr char Note[] = "owned, no checksum";
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
    static constexpr char Note[] = "owned, no checksum";
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
    static constexpr char Note[] = "owned, no checksum";
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
    static constexpr char Note[] = "owned, no checksum";
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
    static constexpr char Note[] = "owned, checksum";
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
            package.setData({}); // else each reply would be appended to the one before
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

template <typename Codec, typename Package, typename Encoded>
void addDecodeRows(Row row, const std::vector<Encoded> &inputs)
{
    const auto reused = std::make_shared<Package>(makeEmpty<Package>());
    const bool isAccepted = Codec::decode(*reused, inputs.front());
    require(isAccepted || row.payload == "small" || row.payload == "0", row.subject);
    if (!isAccepted)
        return; // a data string has at least one number: no decoder takes one of no data
    row.operation = "decode";
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
    row.note = Codec::Note;
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

/// Reads a combination record, checks it, and deletes its requests.
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
    row.note = "owned, no checksum";
    row.bytes = qint64(record.size()) * qint64(sizeof(QChar));
    addRow(row, [combination, record] {
        const bool ok = combination->unCombinationPackageRequest(record)
            && combination->makeCombinationPackageRequest();
        const std::list<PackageBase *> requests = combination->packageList();
        qDeleteAll(requests);
        return ok && requests.size() == 10;
    });
}

/// The same class from nothing to 16 MiB.
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
}
