// What korvininspect allocates, how the time of check() grows, and what happens out of memory.

#include "mallochook.h"
#include "testsupport.h"

#include <commpackagebase.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>
#include <korvininspect/packageforms.h>
#include <korvininspect/packageguess.h>
#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <ctime>
#include <functional>
#include <limits>
#include <utility>

namespace {

constexpr auto Request = Direction::Request;

struct Row
{
    const char *name;
    MessageShape shape;
    std::function<QByteArray(int)> input; // of about so many bytes
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

const char Header[] = "00 0000 0000 03000000 0700 01 02 03 04 0500 01 06 0700 0800 00 00";
const char Columns[] = "7,key,1,2,3,4,5,6,7,8,write,9,tag,ok,ok,true,data,";

QByteArray littleEndian(int value)
{
    QByteArray bytes(4, '\0');
    int index = 0;
    PackageBase::SetBytesFromInt(&bytes, 0, 4, value, &index);
    return bytes;
}

QByteArray dataFrame(int announced, int size)
{
    return hex(Header) + littleEndian(announced) + QByteArray(size, '\x01');
}

QByteArray dataRecord(int announced, int size)
{
    return Columns + QByteArray::number(announced) + ',' + QByteArray("1/").repeated(size / 2)
        + '1';
}

const MessageShape WriteFrame{ClassId::PackageRequestWriteData, Form::Frame, Request};
const MessageShape WriteRecord{ClassId::PackageRequestWriteData, Form::Text, Request};

/// Inputs that may grow.
const Row Growing[] = {
    {"data that is there", WriteFrame, [](int size) { return dataFrame(size, size); }},
    {"data that is announced only", WriteFrame, [](int size) { return dataFrame(size, 0); }},
    {"a data string", WriteRecord, [](int size) { return dataRecord(size / 2 + 1, size); }},
    {"columns",
     {ClassId::PackageBase, Form::Text, Request},
     [](int size) { return QByteArray(size, ','); }},
    {"a number",
     {ClassId::PackageBase, Form::Text, Request},
     [](int size) { return QByteArray(size, '9') + ",key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok"; }},
    {"items",
     {ClassId::PackageRequestCombination, Form::Text, Request},
     [](int size) {
         return QByteArray("ReadData^7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data|")
                    .repeated(size / 59)
             + "x";
     }},
    {"a Linux frame",
     {ClassId::PackageRequestWriteData, Form::Linux, Request},
     [](int size) { return hex("55AA") + QByteArray(size, '\0'); }},
};

class BoundedCheck : public testing::TestWithParam<Row>
{
};

/// A frame is checked in place; a record is made a text first, as a decoder needs it.
TEST_P(BoundedCheck, AllocatesNothingForWhatIsAnnounced)
{
    for (const int size : {1000, 100000, 10000000}) {
        const QByteArray input = GetParam().input(size);
        check(input, GetParam().shape); // makes what is made only once
        const Allocations before = allocations;
        allocations.largest = 0;
        const Verdict verdict = check(input, GetParam().shape);
        const std::size_t count = allocations.count - before.count;
        // UTF-16, and back to UTF-8 to compare: both reserve room for the worst case.
        const std::size_t text =
            GetParam().shape.form == Form::Text ? 4 * static_cast<std::size_t>(input.size()) : 0;
        EXPECT_LE(count, 60U) << size << ' ' << describe(verdict).toStdString();
        EXPECT_LE(allocations.largest, text + 200) << size;
    }
}

TEST_P(BoundedCheck, TakesTimeInProportionToTheInput)
{
    // Processor time, whatever else the machine is doing.
    const auto best = [&](const QByteArray &input) {
        std::clock_t shortest = std::numeric_limits<std::clock_t>::max();
        for (int run = 0; run < 7; ++run) {
            const std::clock_t start = std::clock();
            check(input, GetParam().shape);
            shortest = qMin(shortest, std::clock() - start);
        }
        return shortest;
    };
    // Quadratic time would be 64 times as much.
    constexpr std::clock_t Least = CLOCKS_PER_SEC / 50000;
    const std::clock_t once = qMax(best(GetParam().input(200000)), Least);
    EXPECT_LT(best(GetParam().input(1600000)), 30 * once);
}

INSTANTIATE_TEST_SUITE_P(Inputs, BoundedCheck, testing::ValuesIn(Growing));

/// What a check of a reply allocates beside a request that writes so many bytes.
std::size_t allocatedBeside(int size, const QByteArray &reply)
{
    const MessageShape shape{ClassId::PackageRequestWriteData, Form::Text, Direction::Reply};
    CheckOptions options;
    options.request = dataRecord(size, 2 * (size - 1));
    check(reply, shape, options); // makes what is made only once
    const std::size_t before = allocations.bytes;
    check(reply, shape, options);
    return allocations.bytes - before;
}

/// A peer that sends short replies must not make each cost as much as the request in flight.
TEST(BoundedCheck, OfAReplyDoesNotCostTheDataOfItsRequest)
{
    const QByteArray columns = Columns;
    const QByteArray replies[] = {"7,x", columns, QByteArray(20, ','),
                                  QByteArray(columns).replace("true", "0,true") + "0,"};
    for (const QByteArray &reply : replies)
        EXPECT_EQ(allocatedBeside(900000, reply), allocatedBeside(100000, reply))
            << reply.constData();
}

TEST(BoundedCheck, TheLargestAnnouncedLengthsCostNothing)
{
    for (const int announced : {std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        const QByteArray frame = dataFrame(announced, 5);
        const QString record = QString::fromLatin1(dataRecord(announced, 5));
        check(frame, WriteFrame);
        const std::size_t before = allocations.bytes;
        EXPECT_FALSE(check(frame, WriteFrame).isOk());
        EXPECT_FALSE(check(record, WriteRecord).isOk());
        EXPECT_LT(allocations.bytes - before, 3000U);
    }
}

TEST(BoundedDecoding, MakesNothingReadyThatAMessageDoesNotCarry)
{
    const QByteArray lengths = hex("FFFFFF7F 00 FFFFFF7F");
    const QByteArray header = hex("0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800");
    const QByteArray request = '\0' + header + lengths;
    const QByteArray fullReply = '\1' + header + lengths + hex("02 00 01 00 02 00") + lengths;
    const std::pair<QByteArray, Direction> rows[] = {{request, Request},
                                                     {fullReply, Direction::Reply}};
    for (const auto &[message, direction] : rows) {
        const MessageShape shape{ClassId::PackageRequestReadData, Form::Frame, direction};
        std::unique_ptr<PackageBase> package;
        decodeMessage(message, shape, &package); // makes what is made only once
        allocations.largest = 0;
        EXPECT_TRUE(decodeMessage(message, shape, &package).isOk());
        EXPECT_LT(allocations.largest, 2000U);
        EXPECT_EQ(package->getDataLength(), std::numeric_limits<int>::max());
    }
}

TEST(BoundedExplain, MakesNothingReadyThatIsAnnouncedOnly)
{
    const QByteArray frame = dataFrame(std::numeric_limits<int>::max(), 5);
    const QByteArray record = dataRecord(std::numeric_limits<int>::max(), 5);
    explain(frame, WriteFrame);
    allocations.largest = 0;
    EXPECT_FALSE(explain(frame, WriteFrame).isEmpty());
    EXPECT_FALSE(explain(record, WriteRecord).isEmpty());
    EXPECT_LT(allocations.largest, 10000U);
}

TEST(CheckOutOfMemory, IsAVerdict)
{
    const QByteArray record = dataRecord(4, 100);
    const Verdict expected = check(record, WriteRecord);
    EXPECT_EQ(int(expected.refusal), int(Refusal::DataStringMismatch));
    for (int failing = 0;; ++failing) {
        failingAllocation = failing;
        const Verdict verdict = check(record, WriteRecord);
        const bool failed = failingAllocation == -1;
        failingAllocation = -1;
        EXPECT_EQ(int(verdict.refusal),
                  int(failed ? Refusal::OutOfMemory : Refusal::DataStringMismatch));
        if (!failed)
            break;
    }
}

TEST(ExplainOutOfMemory, ExplainsNothing)
{
    const QByteArray frame = dataFrame(5, 5);
    const int fields = explain(frame, WriteFrame).size();
    EXPECT_EQ(fields, 20);
    for (int failing = 0;; ++failing) {
        failingAllocation = failing;
        const QVector<ExplainedField> explained = explain(frame, WriteFrame);
        const bool failed = failingAllocation == -1;
        failingAllocation = -1;
        // Sorting works without its buffer, only slower.
        EXPECT_TRUE(explained.size() == fields || (failed && explained.isEmpty()));
        if (!failed)
            break;
    }
}

/// Lets every allocation of an operation fail in turn. Qt's JSON is known to leak then.
template <typename Operation>
void failEachAllocation(Operation operation)
{
    operation(); // makes what is made only once
    for (int failing = 0;; ++failing) {
        failingAllocation = failing;
        EXPECT_NO_THROW(operation());
        const bool failed = failingAllocation == -1;
        failingAllocation = -1;
        if (!failed) {
            EXPECT_GT(failing, 0);
            return;
        }
    }
}

TEST(GuessOutOfMemory, ThrowsNothing)
{
    const QByteArray input = hex("00 0500 00 01 00");
    failEachAllocation([&] { guess(input); });
    failEachAllocation([&] { bestGuess(input); });
    failingAllocation = 0;
    const bool isEmpty = guess(input).isEmpty();
    failingAllocation = -1;
    EXPECT_TRUE(isEmpty);
}

TEST(ExplanationOutOfMemory, TextOfJsonThrowsNothing)
{
    const QVector<ExplainedField> fields =
        explain(hex("00 0500 00 01 00"), {ClassId::PackageBase, Form::Frame, Direction::Reply});
    failEachAllocation([&] { explanationToJsonText(fields); });
    failingAllocation = 0;
    const bool isEmpty = explanationToJsonText(fields).isEmpty();
    failingAllocation = -1;
    EXPECT_TRUE(isEmpty);
}

TEST(JsonOutOfMemory, ThrowsNothing)
{
    PackageBase package;
    const QJsonObject json = packageToJson(package);
    failEachAllocation([&] { packageToJson(package); });
    failEachAllocation([&] { packageFromJson(json, package); });
    failingAllocation = 0;
    const bool isEmpty = packageToJson(package).isEmpty();
    failingAllocation = 0;
    const QString fault = packageFromJson(json, package);
    failingAllocation = -1;
    EXPECT_TRUE(isEmpty);
    EXPECT_EQ(fault, QStringLiteral("out of memory"));
}

/// Lets every allocation of an encoder or decoder fail in turn. It must report the failure, or work
/// without the memory.
///
/// @param operation returns its verdict and a description of its result.
template <typename Operation>
void expectOutOfMemoryToldApart(Operation operation)
{
    const std::pair<Verdict, QByteArray> expected = operation();
    ASSERT_TRUE(expected.first.isOk()) << describe(expected.first).toStdString();
    for (int failing = 0;; ++failing) {
        const std::size_t inUse = allocations.inUse;
        bool failed = false;
        {
            failingAllocation = failing;
            const std::pair<Verdict, QByteArray> result = operation();
            failed = failingAllocation == -1;
            failingAllocation = -1;
            EXPECT_EQ(result.first.isOk(), result.second == expected.second) << failing;
            EXPECT_TRUE(result.first.isOk() || result.first.refusal == Refusal::OutOfMemory)
                << failing;
            EXPECT_TRUE(failed || result.first.isOk());
        }
        EXPECT_EQ(allocations.inUse, inUse) << "leaks after allocation " << failing;
        if (!failed)
            return;
    }
}

/// Lets no allocation fail while it lives.
class Spared
{
public:
    ~Spared() { failingAllocation = m_failing; }

private:
    int m_failing = std::exchange(failingAllocation, -1);
};

/// What a decoder has read from a message.
QByteArray observed(const PackageBase *package)
{
    const Spared spared;
    return package ? QJsonDocument(packageToJson(*package)).toJson() : QByteArray();
}

const char Key[] = "a key that is longer than what a text holds in itself";

TEST(PackageFormsOutOfMemory, EncodersSaySo)
{
    PackageRequestReadData read;
    read.setDeviceKey(QLatin1String(Key));
    read.setData(QByteArray(100, 'x'));
    read.setReplyDataLength(100);
    for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
        for (const Direction direction : {Direction::Request, Direction::Reply}) {
            expectOutOfMemoryToldApart([&] {
                QByteArray encoded;
                const Verdict verdict = encodePackage(read, {form, direction}, &encoded);
                return std::make_pair(verdict, encoded);
            });
        }
    }
    const std::vector<PackageBase *> items{&read, &read};
    expectOutOfMemoryToldApart([&] {
        QByteArray encoded;
        const Verdict verdict = encodeCombination(items, &encoded);
        return std::make_pair(verdict, encoded);
    });
}

TEST(PackageFormsOutOfMemory, DecodersSaySo)
{
    const std::pair<MessageShape, QByteArray> rows[] = {
        {WriteFrame, dataFrame(100, 100)},
        {WriteRecord, dataRecord(100, 198)},
        {{ClassId::PackageRequestRead, Form::Frame, Direction::Request},
         hex("00 3500") + QByteArray(Key)
             + hex("0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 04000000 00")},
        {{ClassId::PackageRequestReadData, Form::Frame, Direction::Reply},
         hex("00 0500 00 01 00 64000000") + QByteArray(100, 'x')},
        {{ClassId::PackageRequestReadFile, Form::Frame, Direction::Reply},
         hex("00 0500 00 01 00 3500") + QByteArray(Key)},
        {{ClassId::PackageRequestRead, Form::Frame, Direction::Reply},
         hex("01 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 04000000 00 "
             "00 00 01 00 00 00 04000000 00")},
        {{ClassId::SpecialPackageRequest, Form::Text, Direction::Reply},
         QByteArray("1,2,") + Key + ",3"},
        {{ClassId::PackageRequestReadData, Form::Linux, Direction::Reply},
         hex("55AA 00 07 00 00 00 00 0000 00 00 0000 0000 0100 AB 0856")},
    };
    for (const auto &[shape, message] : rows) {
        SCOPED_TRACE(describe(shape).toStdString());
        expectOutOfMemoryToldApart([&, shape = shape, message = message] {
            std::unique_ptr<PackageBase> package;
            const Verdict verdict = decodeMessage(message, shape, &package);
            return std::make_pair(verdict, observed(package.get()));
        });
    }
    const QByteArray write = dataRecord(100, 198);
    expectOutOfMemoryToldApart([&] {
        const std::unique_ptr<PackageBase> package = [] {
            const Spared spared;
            return std::make_unique<PackageRequestWriteData>();
        }();
        const Verdict verdict = decodePackage(*package, {Form::Text, Request}, write);
        return std::make_pair(verdict, observed(verdict.isOk() ? package.get() : nullptr));
    });
    const QByteArray item =
        QByteArray("ReadData^7,") + Key + ",1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data";
    const QByteArray combination = item + '|' + item;
    expectOutOfMemoryToldApart([&] {
        std::vector<std::unique_ptr<PackageBase>> packages;
        const Verdict verdict = decodeCombination(combination, &packages);
        return std::make_pair(verdict,
                              observed(packages.empty() ? nullptr : packages.back().get()));
    });
}

/// Deletes the packages that it holds.
class Owner : public PackageRequestCombination
{
public:
    ~Owner() override
    {
        for (PackageBase *package : packageList())
            PackageBase::clear(package);
    }
};

TEST(CombinationJsonOutOfMemory, LeavesTheCombinationAsItIs)
{
    const QJsonObject json =
        QJsonDocument::fromJson(
            R"({"deviceKey": "after", "timeout": 5, "serialNum": 6, "packages": [
            {"class": "PackageRequestReadData", "tag": "tag"},
            {"class": "PackageRequestWriteData", "data": "010203"}]})")
            .object();
    bool failed = true;
    for (int failing = 0; failed; ++failing) {
        Owner combination;
        failingAllocation = failing;
        const QString fault = combinationFromJson(json, combination);
        failed = failingAllocation == -1;
        failingAllocation = -1;
        EXPECT_EQ(combination.packageList().size(), fault.isEmpty() ? 2U : 0U) << failing;
        EXPECT_EQ(combination.getTimeout(), fault.isEmpty() ? 5 : 0) << failing;
        EXPECT_EQ(combination.getDeviceKey().isEmpty(), !fault.isEmpty()) << failing;
        EXPECT_TRUE(failed || fault.isEmpty());
    }
    Owner combination;
    ASSERT_EQ(combinationFromJson(json, combination), QString());
    failEachAllocation([&] { combinationToJson(combination); });
}

TEST(FrameSliceJsonOutOfMemory, LeavesTheSliceAsItIs)
{
    const QJsonObject json =
        QJsonDocument::fromJson(R"({"frameSlice": "55AA", "sliceLength": 2})").object();
    bool failed = true;
    for (int failing = 0; failed; ++failing) {
        CommPackageBase slice;
        failingAllocation = failing;
        const QString fault = frameSliceFromJson(json, slice);
        failed = failingAllocation == -1;
        failingAllocation = -1;
        EXPECT_EQ(slice.getFrameSlice().size(), fault.isEmpty() ? 2 : 0) << failing;
        EXPECT_EQ(slice.getSliceLength(), fault.isEmpty() ? 2 : 0) << failing;
        EXPECT_TRUE(failed || fault.isEmpty());
    }
    const CommPackageBase slice(hex("55AA 5555"), 0, 4);
    failEachAllocation([&] { frameSliceToJson(slice); });
}

} // namespace
