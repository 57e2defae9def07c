// Every decoder takes a stated multiple of its input, and the block that the input announces, up to
// 256 MiB.

#include "growinginputs.h"
#include "mallochook.h"
#include "testsupport.h"

#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <limits>

namespace {

/// What a decoder may take besides the announced block: large blocks are whole pages.
constexpr std::size_t Constant = 8192;

/// The most memory in use during @p run, above what was in use before.
template <typename Run>
std::size_t peakOf(const Run &run)
{
    const std::size_t before = allocations.inUse;
    allocations.peak = before;
    run();
    return allocations.peak - before;
}

class DecoderMemory : public testing::TestWithParam<GrowingInput>
{
protected:
    DecoderMemory()
    {
        qInstallMessageHandler([](auto...) {});
    }
    ~DecoderMemory() override { qInstallMessageHandler(nullptr); }
};

TEST_P(DecoderMemory, IsAMultipleOfTheInput)
{
    GetParam().prepare(100)(); // makes what is made only once
    for (const int size : {1, 100, 1000, 10000, 60000}) {
        const auto run = GetParam().prepare(size);
        const std::size_t peak = peakOf(run);
        const MemoryBound &bound = GetParam().bound;
        EXPECT_LE(peak, static_cast<std::size_t>(bound.multiple * size + bound.constant))
            << GetParam().name << ", " << size;
        RecordProperty("PeakOf" + std::to_string(size), std::to_string(peak));
    }
}

INSTANTIATE_TEST_SUITE_P(Decoders, DecoderMemory, testing::ValuesIn(growingInputs()));

constexpr int MaxInt = std::numeric_limits<int>::max();
constexpr int Limit = 256 << 20;

/// An announced length, and the most memory that it may cost.
struct AnnouncedRow
{
    int announced;
    std::size_t allowed;
};

constexpr AnnouncedRow AnnouncedRows[] = {
    {std::numeric_limits<int>::min(), Constant},
    {-1, Constant},
    {0, Constant},
    {1 << 20, (1 << 20) + Constant},
    {Limit, Limit + Constant},
    {Limit + 1, Constant},
    {MaxInt, Constant},
};

QByteArray littleEndian(int value)
{
    QByteArray bytes;
    int index = 0;
    PackageBase::SetBytesFromInt(&bytes, 0, 1, value, &index);
    for (int i = 1; i < 4; ++i)
        PackageBase::SetBytesFromInt(&bytes, i, 1, value >> (8 * i), &index);
    return bytes;
}

class AnnouncedMemory : public DecoderMemory
{
protected:
    /// Expects a decoder to allocate the announced block, or nothing.
    template <typename Package, typename Decode>
    static void expectBounded(const AnnouncedRow &row, Decode decode)
    {
        Package package;
        const std::size_t peak = peakOf([&] { decode(package); });
        EXPECT_LE(peak, row.allowed);
        EXPECT_EQ(package.data().size(),
                  row.announced > 0 && row.announced <= Limit ? row.announced : 0);
    }
};

TEST_F(AnnouncedMemory, OfFrames)
{
    const QByteArray header(23, '\0');
    for (const AnnouncedRow &row : AnnouncedRows) {
        SCOPED_TRACE(row.announced);
        const QByteArray length = littleEndian(row.announced);
        int consumed = 0;
        bool full = false;
        const QByteArray write = header + QByteArray(2, '\0') + length;
        expectBounded<PackageRequestWriteData>(
            row, [&](auto &package) { package.UnPackageRequest(write, 0, &consumed); });
        const QByteArray read = header + QByteArray(5, '\0') + length;
        expectBounded<PackageRequestReadData>(
            row, [&](auto &package) { package.UnPackageRequest(read, 0, &consumed); });
        const QByteArray reply = QByteArray(6, '\0') + length;
        expectBounded<PackageRequestReadData>(
            row, [&](auto &package) { package.UnPackageReply(reply, 0, &consumed, &full); });
        PackageRequestWriteFile file;
        EXPECT_LE(peakOf([&] { file.UnPackageRequest(write, 0, &consumed); }), Constant);
    }
}

TEST_F(AnnouncedMemory, OfFramesThatAreLongerIsThatOfTheirBytes)
{
    const QByteArray frame =
        QByteArray(25, '\0') + littleEndian(Limit + 1) + QByteArray(Limit, 'd');
    int consumed = 0;
    PackageRequestWriteData write;
    write.UnPackageRequest(frame, 0, &consumed);
    EXPECT_EQ(write.data().size(), 0) << "one byte is missing";
    write.UnPackageRequest(frame + 'd', 0, &consumed);
    EXPECT_EQ(write.data().size(), Limit + 1);
}

TEST_F(AnnouncedMemory, OfRecords)
{
    for (const AnnouncedRow &row : AnnouncedRows) {
        SCOPED_TRACE(row.announced);
        const QString record =
            QString(18, QLatin1Char(',')) + QString::number(row.announced) + QLatin1String(",1");
        expectBounded<PackageRequestWriteData>(
            row, [&](auto &package) { package.unPackageReply(record); });
        // These compare it with the number of bytes that follow.
        PackageRequestReadData read;
        EXPECT_LE(peakOf([&] { read.unPackageReply(record); }), Constant);
        PackageRequestWriteData write;
        EXPECT_LE(peakOf([&] { write.unPackageRequest(record.mid(1)); }), Constant);
    }
}

TEST_F(AnnouncedMemory, OfLinuxFramesIsAtMostTheirSixteenBits)
{
    QByteArray frame(20, '\0');
    frame.replace(16, 4, QByteArray("\xFF\xFF\x53\x57")); // 0x5555 + 2 * 0xFF
    PackageRequestWriteData write;
    EXPECT_LE(peakOf([&] { EXPECT_TRUE(write.unPackageReply_Linux(frame)); }), 65535 + Constant);
    EXPECT_EQ(write.data().size(), 65535);
    PackageRequestReadData read;
    EXPECT_LE(peakOf([&] { EXPECT_TRUE(read.unPackageReply_Linux(frame)); }), Constant);
    EXPECT_EQ(read.data().size(), 0);
}

} // namespace
