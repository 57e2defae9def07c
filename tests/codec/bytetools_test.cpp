// The byte tools and the checksum, also with positions and lengths outside the array.

#include "testsupport.h"

#include <limits>

namespace {

constexpr int MinInt = std::numeric_limits<int>::min();
constexpr int MaxInt = std::numeric_limits<int>::max();

struct CopyRow
{
    const char *source;
    int sourceIndex;
    const char *destination;
    int destIndex;
    int length;
    bool result;
    const char *after;
    bool reported;
};

const CopyRow CopyRows[] = {
    {"01 02 03 04", 1, "A0 A1 A2 A3", 1, 2, true, "A0 02 03 A3", false},
    {"01 02 03 04", 2, "A0", 0, 2, true, "03 04", false},       // ends with the source
    {"01 02 03 04", 3, "A0", 0, 2, false, "A0", true},          // one byte more
    {"01 02", 0, "", 0, 2, true, "01 02", false},               // grows from nothing
    {"01 02", 0, "A0", 3, 2, true, "A0 00 00 01 02", false},    // the gap is 0
    {"01 02", 0, "A0 A1 A2", 2, 2, true, "A0 A1 01 02", false}, // grows at the end
    {"01 02", 1, "A0", 0, 0, true, "A0", false},
    {"01 02", 2, "A0", 0, 0, true, "A0", false},
    {"01 02", 3, "A0", 0, 0, false, "A0", true}, // the test comes before the length
    {"01 02", 3, "A0", 0, -1, true, "A0", false},
    {"01 02", 0, "A0", -5, -1, true, "A0", false}, // nothing to copy to there
    {"", 0, "", 0, 0, true, "", false},
    {"", 0, "", 0, 1, false, "", true},
    {"01 02", -1, "A0", 0, 2, false, "A0", false}, // not short, but outside
    {"01 02", 0, "A0", -1, 2, false, "A0", false},
    {"01 02", MinInt, "A0", 0, MaxInt, false, "A0", false},
    {"01 02", MaxInt, "A0", 0, MaxInt, false, "A0", true}, // the sum exceeds an int
    {"01 02", 0, "A0", MaxInt, 2, false, "A0", false},
};

TEST(ArrayCopy, Rows)
{
    for (const CopyRow &row : CopyRows) {
        SCOPED_TRACE(testing::Message() << row.source << " from " << row.sourceIndex << " to "
                                        << row.destIndex << ", length " << row.length);
        QByteArray destination = hex(row.destination);
        const LogCapture log;
        EXPECT_EQ(PackageBase::ArrayCopy(hex(row.source), row.sourceIndex, &destination,
                                         row.destIndex, row.length),
                  row.result);
        EXPECT_EQ(destination, hex(row.after));
        EXPECT_EQ(log.messages().size(), row.reported ? 1U : 0U);
    }
}

TEST(ArrayCopy, OfAnArrayIntoItself)
{
    QByteArray array = hex("01 02 03 04");
    EXPECT_TRUE(PackageBase::ArrayCopy(array, 0, &array, 1, 4));
    EXPECT_EQ(array, hex("01 01 02 03 04"));
}

TEST(ArrayCopy, ReportsAShortSource)
{
    QByteArray destination;
    const LogCapture log;
    EXPECT_FALSE(PackageBase::ArrayCopy(hex("01"), 0, &destination, 0, 2));
    ASSERT_EQ(log.messages().size(), 1U);
    const LogCapture::Entry &message = log.messages().front();
    EXPECT_EQ(message.type, QtDebugMsg);
    EXPECT_EQ(message.file, QStringLiteral("packagebase"));
    EXPECT_EQ(message.line, 530);
    EXPECT_TRUE(message.function.contains(QStringLiteral("PackageBase::ArrayCopy(QByteArray")))
        << message.function.toStdString();
    // The text is logged as its GBK bytes, which Qt takes for UTF-8.
    const QByteArray gbk("sourceArray \xB3\xA4\xB6\xC8\xD0\xA1\xD3\xDA sourceIndex\xD3\xEB"
                         "length\xD6\xAE\xBA\xCD");
    EXPECT_EQ(message.text, QString::fromUtf8(gbk));
}

struct SetRow
{
    const char *array;
    int start;
    int count;
    int value;
    bool result;
    const char *after;
    int index;
};

const SetRow SetRows[] = {
    {"00 00 00 00", 0, 4, 0x12345678, true, "78 56 34 12", 4},
    {"A0 A1 A2 A3", 1, 2, 0x1234, true, "A0 34 12 A3", 3},
    {"A0 A1", 0, 1, 0x1234, true, "34 A1", 1}, // cut to its low byte
    {"00 00", 0, 2, -1, true, "FF FF", 2},
    {"00 00 00 00", 0, 4, MinInt, true, "00 00 00 80", 4},
    {"", 0, 1, 7, true, "07", 1}, // a field may end one byte past the array
    {"", 0, 2, 7, false, "", 2},
    {"A0 A1", 1, 2, 0x1234, true, "A0 34 12", 3},
    {"A0 A1", 2, 1, 0x34, true, "A0 A1 34", 3},
    {"A0 A1", 2, 2, 0x1234, false, "A0 A1", 4},
    {"A0 A1", 3, 1, 0x34, false, "A0 A1", 4},
    {"A0 A1", 1, 0, 7, false, "A0 A1", 1},
    {"A0 A1", 1, -1, 7, false, "A0 A1", 0},
    {"A0 A1", -1, 2, 7, false, "A0 A1", 1},
    {"A0 A1", MaxInt, 4, 7, false, "A0 A1", MinInt + 3},
    {"A0 A1", MinInt, MinInt, 7, false, "A0 A1", 0},
    {"00 00 00 00 00 00", 0, 6, -1, true, "FF FF FF FF 00 00", 6}, // an int has four bytes
};

TEST(SetBytesFromInt, Rows)
{
    for (const SetRow &row : SetRows) {
        SCOPED_TRACE(testing::Message() << row.array << " at " << row.start << ", count "
                                        << row.count << ", value " << row.value);
        QByteArray array = hex(row.array);
        int index = -99;
        EXPECT_EQ(PackageBase::SetBytesFromInt(&array, row.start, row.count, row.value, &index),
                  row.result);
        EXPECT_EQ(array, hex(row.after));
        EXPECT_EQ(index, row.index);
    }
}

constexpr int Untouched = -99;

struct GetRow
{
    const char *array;
    int start;
    int count;
    int value;
    int index;
};

const GetRow GetRows[] = {
    {"34 12", 0, 2, 4660, 2},
    {"FF", 0, 1, 255, 1}, // never negative
    {"FF FF FF FF", 0, 4, -1, 4},
    {"FF FF FF FF", 0, 3, 0xFFFFFF, 3},
    {"A0 34 12 A3", 1, 2, 0x1234, 3},
    {"A0 34 12", 1, 2, 0x1234, 3},    // ends with the array
    {"A0 34 12", 2, 2, 0, Untouched}, // one byte more
    {"A0", 0, 0, 0, 0},
    {"A0", 1, 0, 0, 1},
    {"A0", 1, -1, 0, 0},
    {"", 0, 0, 0, 0},
    {"", 0, 1, 0, Untouched},
    {"01 02 03 04 05 06", 0, 6, 0x04030201, 6}, // an int has four bytes
    {"01 02", -1, 2, 0, 1},                     // not past the end, but outside
    {"01 02", MaxInt, 4, 0, Untouched},
    {"01 02", MinInt, 4, 0, MinInt + 4},
};

TEST(GetVauleFromBytes, Rows)
{
    for (const GetRow &row : GetRows) {
        SCOPED_TRACE(testing::Message()
                     << row.array << " at " << row.start << ", count " << row.count);
        int index = Untouched;
        EXPECT_EQ(PackageBase::GetVauleFromBytes(hex(row.array), row.start, row.count, &index),
                  row.value);
        EXPECT_EQ(index, row.index);
    }
}

TEST(ByteTools, StartAndIndexMayBeTheSameVariable)
{
    QByteArray array(7, '\0');
    int position = 0;
    EXPECT_TRUE(PackageBase::SetBytesFromInt(&array, position, 4, 0x04030201, &position));
    EXPECT_TRUE(PackageBase::SetBytesFromInt(&array, position, 2, 0x0605, &position));
    EXPECT_TRUE(PackageBase::SetBytesFromInt(&array, position, 1, 0x07, &position));
    EXPECT_EQ(array, hex("01 02 03 04 05 06 07"));
    position = 0;
    EXPECT_EQ(PackageBase::GetVauleFromBytes(array, position, 4, &position), 0x04030201);
    EXPECT_EQ(PackageBase::GetVauleFromBytes(array, position, 2, &position), 0x0605);
    EXPECT_EQ(PackageBase::GetVauleFromBytes(array, position, 1, &position), 0x07);
    EXPECT_EQ(position, 7);
}

struct SumRow
{
    const char *data;
    int start;
    int length;
    int sum;
};

const SumRow SumRows[] = {
    {"", 0, 0, 21845},
    {"01 02 03", 0, 0, 21845},
    {"01 02 03", 0, 3, 21851},
    {"01 FF 03", 1, 1, 22100},  // bytes are unsigned
    {"01 02 03", 1, 99, 21850}, // missing bytes add nothing
    {"01 02 03", -1, 2, 21846},
    {"01 02 03", 3, 1, 21845},
    {"01 02 03", 2, -1, 21845},
    {"01 02 03", MinInt, MaxInt, 21845},
    {"01 02 03", MaxInt, MaxInt, 21845},
};

TEST(CalcRevise, Rows)
{
    for (const SumRow &row : SumRows) {
        SCOPED_TRACE(testing::Message()
                     << row.data << " at " << row.start << ", length " << row.length);
        int revise = 0;
        PackageBase::calcRevise(hex(row.data), row.start, row.length, &revise);
        EXPECT_EQ(revise, row.sum);
    }
}

TEST(CalcRevise, IsTheFullSum)
{
    int revise = 0;
    PackageBase::calcRevise(QByteArray(1000, '\xFF'), 0, 1000, &revise);
    EXPECT_EQ(revise, 21845 + 255000) << "not cut to 16 bits";
}

struct CheckRow
{
    const char *data;
    int start;
    int length;
    bool ok;
};

const CheckRow CheckRows[] = {
    {"55 AA 01 02 58 55", 0, 6, true},
    {"00 00 01 02 58 55", 0, 6, true}, // the first two bytes are not summed
    {"55 AA 01 02 59 55", 0, 6, false},
    {"55 AA 01 02 58 56", 0, 6, false},
    {"55 AA 01 03 58 55", 0, 6, false},
    {"FF 55 AA 01 02 58 55 FF", 1, 6, true},
    {"55 AA 01 02 58 55", 0, 7, false}, // the array ends before the frame
    {"55 AA 01 02 58", 0, 6, false},
    {"55 AA 55 55", 0, 4, true}, // an empty body
    {"AA 55 55", 0, 3, true},
    {"55 55", 0, 2, true},
    {"55", 0, 1, false},
    {"", 0, 0, false},
    {"00 00 00 00", 0, 4, false},
    {"55 55", 2, 0, true}, // the two bytes before the position
    {"55 55", 5, -3, true},
    {"55 AA 01 02 58 55", -1, 7, false},
    {"55 AA 01 02 58 55", MaxInt, MaxInt, false},
    {"55 AA 01 02 58 55", MinInt, MinInt, false},
    {"55 AA 01 02 58 55", MaxInt, MinInt, false},
};

TEST(ReviseOk, Rows)
{
    for (const CheckRow &row : CheckRows) {
        SCOPED_TRACE(testing::Message()
                     << row.data << " at " << row.start << ", length " << row.length);
        EXPECT_EQ(PackageBase::ReviseOk(hex(row.data), row.start, row.length), row.ok);
    }
}

TEST(ReviseOk, SumIsTakenModulo65536)
{
    // 0x5555 + 43691 = 0x10000: the checksum of this body is 0.
    QByteArray frame = hex("55 AA") + QByteArray(171, '\xFF') + hex("56 00 00");
    EXPECT_TRUE(PackageBase::ReviseOk(frame, 0, frame.size()));
}

TEST(ReviseOk, NoticesEverySingleBitOfBodyAndChecksum)
{
    const QByteArray frame = hex("55 AA 00 01 7F 80 FF 3C A5 35 58");
    ASSERT_TRUE(PackageBase::ReviseOk(frame, 0, frame.size()));
    for (int bit = 0; bit < 8 * frame.size(); ++bit) {
        QByteArray flipped = frame;
        flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ (1 << (bit % 8)));
        EXPECT_EQ(PackageBase::ReviseOk(flipped, 0, flipped.size()), bit / 8 < 2) << bit;
    }
}

} // namespace
