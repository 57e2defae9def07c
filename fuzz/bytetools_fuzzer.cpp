// The byte tools and the checksum against plain models of them, with any positions and lengths.

#include "fuzztarget.h"

#include <commpackagebase.h>
#include <packagebase.h>

#include <limits>

namespace {

/// The most bytes to allocate, so that a run is quick.
constexpr qint64 LargestArray = 100000;

void copy(const QByteArray &source, int sourceIndex, int destIndex, int length)
{
    const qint64 end = qint64(destIndex) + length;
    if (end > LargestArray && end <= std::numeric_limits<int>::max())
        return;
    QByteArray destination("destination");
    const QByteArray before = destination;
    const bool copied =
        PackageBase::ArrayCopy(source, sourceIndex, &destination, destIndex, length);
    const bool isThere = qint64(sourceIndex) + length <= source.size();
    const bool isInside = sourceIndex >= 0 && destIndex >= 0 && end <= LargestArray;
    EXPECT_EQ(copied, isThere && (length <= 0 || isInside));
    QByteArray expected = before;
    if (copied && length > 0) {
        expected = before.leftJustified(static_cast<int>(end), '\0');
        expected.replace(destIndex, length, source.mid(sourceIndex, length));
    }
    EXPECT_EQ(destination, expected);
    observe(destination);
}

void writeInteger(QByteArray array, int start, int count, int value)
{
    const QByteArray before = array;
    const qint64 end = qint64(start) + count;
    int index = -7;
    const bool written = PackageBase::SetBytesFromInt(&array, start, count, value, &index);
    EXPECT_EQ(index, cut(end));
    EXPECT_EQ(written, end - 1 <= before.size() && count > 0 && start >= 0);
    for (int i = 0; i < array.size(); ++i) {
        if (!written || i < start || i >= end) {
            EXPECT_EQ(byteAt(array, i), byteAt(before, i));
            continue;
        }
        const int place = i - start;
        EXPECT_EQ(byteAt(array, i),
                  place < 4 ? (static_cast<quint32>(value) >> (8 * place)) & 0xFF : 0);
    }
    EXPECT_EQ(array.size(), written ? qMax<qint64>(before.size(), end) : before.size());
}

void readInteger(const QByteArray &array, int start, int count)
{
    const qint64 end = qint64(start) + count;
    int index = -7;
    const int value = PackageBase::GetVauleFromBytes(array, start, count, &index);
    const bool fits = end <= array.size();
    EXPECT_EQ(index, fits ? cut(end) : -7);
    quint32 expected = 0;
    for (int i = 0; fits && start >= 0 && i < qMin(count, 4); ++i)
        expected |= quint32(byteAt(array, qint64(start) + i)) << (8 * i);
    EXPECT_EQ(value, static_cast<int>(expected));
}

void verify(const QByteArray &frame, int start, int length)
{
    quint32 sum = 0x5555;
    for (qint64 i = qMax(start, 0); i < qMin<qint64>(qint64(start) + length, frame.size()); ++i)
        sum += byteAt(frame, i);
    int revise = -7;
    PackageBase::calcRevise(frame, start, length, &revise);
    EXPECT_EQ(revise, static_cast<int>(sum));

    const bool holds = PackageBase::ReviseOk(frame, start, length);
    CommPackageBase slice(frame, start, length);
    EXPECT_EQ(slice.getCheckStatus(), int(holds ? OrvexEnum::CommOk : OrvexEnum::CommCrcErr));
    EXPECT_EQ(slice.ReviseOk(frame, start, length), holds);
    const qint64 end = qint64(start) + length;
    if (end > frame.size()) {
        EXPECT_FALSE(holds);
    } else if (start >= 0 && length >= 4) {
        int body = 0;
        PackageBase::calcRevise(frame, start + 2, length - 4, &body);
        EXPECT_EQ(holds, byteAt(frame, end - 2) + 256 * byteAt(frame, end - 1) == (body & 0xFFFF));
    }
    observe(slice.getFrameSlice() + (holds ? '+' : '-'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const quint8 flags = input.byte();
    // Positions near the array, or anywhere.
    const auto position = [&] { return flags & 4 ? input.number() : qint8(input.byte()); };
    const int start = position();
    const int length = position();
    const int third = position();
    const QByteArray array = input.rest();
    switch (flags & 3) {
    case 0:
        copy(array, start, third, length);
        break;
    case 1:
        writeInteger(array, start, length, third);
        break;
    case 2:
        readInteger(array, start, length);
        break;
    default:
        verify(array, start, length);
        break;
    }
    return 0;
}
