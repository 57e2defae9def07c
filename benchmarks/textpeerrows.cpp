// Measures other ways to write and read the columns of a record and the numbers of its data: bare
// loops, which are the floor of text, conversions of the C++ library, and common idioms of Qt.

#include "rows.h"
#include "samples.h"

#include <QtCore/QStringList>

#ifdef BENCHMARK_PEERS
#include <fmt/format.h>
#endif

#include <array>
#include <charconv>
#include <cstring>
#include <memory>

namespace {

/// Writes a byte as decimal digits and a slash.
struct Decimal
{
    char16_t text[4];
    int size;
};

std::array<Decimal, 256> decimalTable()
{
    std::array<Decimal, 256> table = {};
    for (int value = 0; value < 256; ++value) {
        Decimal &entry = table[static_cast<std::size_t>(value)];
        const QString text = QString::number(value) + QLatin1Char('/');
        entry.size = text.size();
        std::memcpy(entry.text, text.constData(), static_cast<std::size_t>(text.size()) * 2);
    }
    return table;
}

QString tableLoop(const QByteArray &block)
{
    static const std::array<Decimal, 256> table = decimalTable();
    QString text(4 * block.size(), Qt::Uninitialized);
    QChar *out = text.data();
    for (const char byte : block) {
        const Decimal &entry = table[static_cast<quint8>(byte)];
        std::memcpy(out, entry.text, sizeof entry.text);
        out += entry.size;
    }
    text.truncate(static_cast<int>(out - text.constData()) - 1);
    return text;
}

/// Reads a number from 0 to 255, and refuses anything else.
bool checkedLoop(const QString &text, QByteArray *block)
{
    char *out = block->data();
    const char *const end = out + block->size();
    unsigned value = 0;
    for (const QChar character : text) {
        if (character == QLatin1Char('/')) {
            if (out == end || value > 255)
                return false;
            *out++ = static_cast<char>(value);
            value = 0;
            continue;
        }
        const unsigned digit = character.unicode() - unsigned('0');
        if (digit > 9)
            return false;
        value = 10 * value + digit;
    }
    if (out == end || value > 255)
        return false;
    *out++ = static_cast<char>(value);
    return out == end;
}

QString listJoin(const QByteArray &block)
{
    QStringList numbers;
    for (const char byte : block)
        numbers.append(QString::number(static_cast<quint8>(byte)));
    return numbers.join(QLatin1Char('/'));
}

bool splitToInt(const QString &text, QByteArray *block)
{
    const QStringList numbers = text.split(QLatin1Char('/'));
    if (numbers.size() != block->size())
        return false;
    for (int i = 0; i < numbers.size(); ++i)
        (*block)[i] = static_cast<char>(numbers.at(i).toInt());
    return true;
}

QString toChars(const QByteArray &block)
{
    QByteArray text(4 * block.size(), Qt::Uninitialized);
    char *out = text.data();
    char *const end = out + text.size();
    for (const char byte : block) {
        out = std::to_chars(out, end, static_cast<quint8>(byte)).ptr;
        *out++ = '/';
    }
    return QString::fromLatin1(text.constData(), static_cast<int>(out - text.constData()) - 1);
}

bool fromChars(const QString &text, QByteArray *block)
{
    const QByteArray characters = text.toLatin1();
    const char *in = characters.constData();
    const char *const end = in + characters.size();
    for (char &byte : *block) {
        quint8 value = 0;
        const std::from_chars_result result = std::from_chars(in, end, value);
        if (result.ec != std::errc())
            return false;
        byte = static_cast<char>(value);
        in = result.ptr + 1;
    }
    return in == end + 1;
}

#ifdef BENCHMARK_PEERS
QString fmtJoin(const QByteArray &block)
{
    const auto *begin = reinterpret_cast<const quint8 *>(block.constData());
    const std::string text = fmt::format("{}", fmt::join(begin, begin + block.size(), "/"));
    return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}
#endif

void addNumberRows(const char *who, QString (*write)(const QByteArray &),
                   bool (*read)(const QString &, QByteArray *))
{
    const std::vector<QByteArray> blocks = rotatingBlocks(LargeBlock);
    std::vector<QString> texts;
    for (const QByteArray &block : blocks)
        texts.push_back(tableLoop(block));
    QByteArray block(LargeBlock, '\0');
    require(!write || write(blocks.front()) == texts.front(), who);
    require(!read || (read(texts.front(), &block) && block == blocks.front()), who);

    Row row;
    row.who = who;
    row.form = "numbers";
    row.subject = "2,048 numbers of a record";
    row.payload = "large";
    row.object = "fresh";
    row.memory = "owned";
    row.bytes = texts.front().size() * qint64(sizeof(QChar));
    row.operation = "encode";
    if (write) {
        addRow(row, [write, blocks, i = std::size_t(0)]() mutable {
            i = (i + 1) % blocks.size();
            QString text = write(blocks[i]);
            benchmark::DoNotOptimize(text.data());
            return !text.isEmpty();
        });
    }
    row.operation = "decode";
    row.object = "reused";
    if (read) {
        addRow(row, [read, texts, block, i = std::size_t(0)]() mutable {
            i = (i + 1) % texts.size();
            const bool ok = read(texts[i], &block);
            benchmark::ClobberMemory();
            return ok;
        });
    }
}

/// Makes the columns of a common record as most programs do: with arg() and a list.
QString commonRecordByArg(const Sample &sample, int serialNum)
{
    QString deviceKey = sample.deviceKey;
    deviceKey.replace(QLatin1Char('/'), QLatin1String("#*#"));
    deviceKey.replace(QLatin1Char(','), QLatin1String("*#*"));
    return QStringLiteral("%1,%2,%3,%4,%5,%6,%7,%8,%9,%10,%11,%12,%13,%14,%15")
        .arg(serialNum)
        .arg(deviceKey)
        .arg(Sample::DeviceType)
        .arg(Sample::ScrAddr)
        .arg(Sample::DesAddr)
        .arg(Sample::PortAddr)
        .arg(Sample::ScanBoardAddr)
        .arg(Sample::HighAddr)
        .arg(Sample::LowAddr)
        .arg(Sample::Reserved2)
        .arg(QStringLiteral("read"))
        .arg(Sample::Timeout)
        .arg(sample.tag)
        .arg(QStringLiteral("ok"))
        .arg(QStringLiteral("ok"));
}

/// Reads them with split() and setters.
bool readCommonRecordBySplit(const QString &record, PackageBase *package)
{
    const QStringList columns = record.split(QLatin1Char(','));
    if (columns.size() < 15)
        return false;
    QString deviceKey = columns.at(1);
    deviceKey.replace(QLatin1String("*#*"), QLatin1String(","));
    deviceKey.replace(QLatin1String("#*#"), QLatin1String("/"));
    package->setSerialNum(static_cast<quint64>(columns.at(0).toInt()));
    package->setDeviceKey(deviceKey);
    package->setDeviceType(columns.at(2).toInt());
    package->setScrAddr(static_cast<char>(columns.at(3).toUInt()));
    package->setDesAddr(static_cast<char>(columns.at(4).toUInt()));
    package->setPortAddr(static_cast<char>(columns.at(5).toUInt()));
    package->setScanBoardAddr(columns.at(6).toInt());
    package->setHighAddr(static_cast<ushort>(columns.at(7).toUInt()));
    package->setLowAddr(static_cast<ushort>(columns.at(8).toUInt()));
    package->setReserved2(static_cast<int>(columns.at(9).toUInt()));
    package->setReadWriteCode(columns.at(10) == QLatin1String("read") ? OrvexEnum::Read
                                                                      : OrvexEnum::Write);
    package->setTimeout(columns.at(11).toInt());
    package->setTag(columns.at(12));
    package->setCommResult(columns.at(13) == QLatin1String("ok") ? OrvexEnum::CommOk
                                                                 : OrvexEnum::CommTimeout);
    package->setPackResult(columns.at(14) == QLatin1String("ok") ? OrvexEnum::PackOk
                                                                 : OrvexEnum::PackFailure);
    return true;
}

void addCommonRecordRows()
{
    const Sample sample;
    auto package = std::make_shared<PackageBase>();
    const QString record = commonRecordByArg(sample, 7);
    require(package->unPackageRequest(record) && package->makePackageRequest() == record,
            "common record");
    Row row;
    row.form = "request record";
    row.subject = "PackageBase";
    row.payload = "small";
    row.memory = "owned";
    row.bytes = record.size() * qint64(sizeof(QChar));
    row.object = "reused";
    row.who = "QString::arg";
    row.operation = "encode";
    addRow(row, [sample] {
        QString text = commonRecordByArg(sample, 7);
        benchmark::DoNotOptimize(text.data());
        return !text.isEmpty();
    });
    row.who = "QString::split + toInt";
    row.operation = "decode";
    addRow(row, [record, package] {
        const bool ok = readCommonRecordBySplit(record, package.get());
        benchmark::ClobberMemory();
        return ok;
    });
}

} // namespace

void addTextPeerRows()
{
    addNumberRows("floor, bare loop", tableLoop, checkedLoop);
    addNumberRows("QStringList::join", listJoin, nullptr);
    addNumberRows("QString::split + toInt", nullptr, splitToInt);
    addNumberRows("std::to_chars", toChars, nullptr);
    addNumberRows("std::from_chars", nullptr, fromChars);
#ifdef BENCHMARK_PEERS
    addNumberRows("fmt::join", fmtJoin, nullptr);
#endif
    addCommonRecordRows();
}
