// Runs a fixed list of operations, for callgrind to count the instructions of each. Each starts
// with the same heap, whatever ran before it.

#include "exchange.h"
#include "rows.h"
#include "samples.h"

#include <packagerequestcombination.h>

#include <valgrind/callgrind.h>

#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

using KorvinInspect::ClassId;
using KorvinInspect::Direction;
using KorvinInspect::Form;

namespace {

constexpr int Repetitions = 100;

/// Allocates all freed memory. Otherwise the operations before would change how long malloc
/// searches for a block.
void takeFreedMemory()
{
    constexpr std::size_t Most = 64 << 20; // more than the operations free
    std::size_t taken = 0;
    std::uintptr_t highest = 0;
    for (std::size_t size = 8192; size > 0; size -= 16) {
        std::uintptr_t block = 0;
        do {
            void *memory = std::malloc(size);
            benchmark::DoNotOptimize(memory);
            block = reinterpret_cast<std::uintptr_t>(memory);
            taken += size;
            require(memory && taken < Most, "the freed memory");
        } while (block < highest); // a new block is above all others
        highest = block;
    }
}

/// Counts an operation in a copy of this process. Runs it first without counting, so that set-up
/// and loading are not counted.
template <typename Operation>
void count(const char *name, Operation operation)
{
    const pid_t child = fork();
    if (child == 0) {
        takeFreedMemory();
        bool ok = true;
        for (int i = 0; i < 2 * Repetitions; ++i) {
            if (i == Repetitions) {
                CALLGRIND_START_INSTRUMENTATION;
                CALLGRIND_ZERO_STATS;
            }
            ok = operation() && ok;
        }
        CALLGRIND_DUMP_STATS_AT(name);
        CALLGRIND_STOP_INSTRUMENTATION;
        std::_Exit(ok ? 0 : 1);
    }
    int status = 1;
    require(waitpid(child, &status, 0) == child && status == 0, name);
}

/// Counts check() of a message with a known shape.
template <typename Message>
void countCheck(const char *name, const Message &message, const KorvinInspect::MessageShape &shape,
                const KorvinInspect::CheckOptions &options = {})
{
    count(name, [&] { return KorvinInspect::check(message, shape, options).isOk(); });
}

bool readRequest(PackageBase &package, const QByteArray &frame)
{
    int index = 0;
    return package.UnPackageRequest(frame, 0, &index) && index > 0;
}

bool readReply(PackageBase &package, const QByteArray &frame)
{
    int index = 0;
    bool full = false;
    return package.UnPackageReply(frame, 0, &index, &full) && index > 0;
}

template <typename Encoded>
bool kept(const Encoded &encoded)
{
    benchmark::DoNotOptimize(encoded.constData());
    return !encoded.isEmpty();
}

void countCommon()
{
    auto package = makeRequest<PackageBase>(Sample(), OrvexEnum::CommOk, OrvexEnum::DataPackage,
                                            OrvexEnum::Read, true);
    const QByteArray frame = package.MackPackageRequest();
    const QByteArray reply = package.MackPackageReply(true);
    const QString record = package.makePackageRequest();
    count("common frame, encode", [&] { return kept(package.MackPackageRequest()); });
    count("common frame, decode", [&] { return readRequest(package, frame); });
    countCheck("common frame, check", frame,
               {ClassId::PackageBase, Form::Frame, Direction::Request});
    count("common full reply, encode", [&] { return kept(package.MackPackageReply(true)); });
    count("common full reply, decode", [&] { return readReply(package, reply); });
    const KorvinInspect::MessageShape replyShape{ClassId::PackageBase, Form::Frame,
                                                 Direction::Reply};
    countCheck("common full reply, check", reply, replyShape);
    KorvinInspect::CheckOptions ofRequest;
    ofRequest.request = frame;
    countCheck("common full reply, check with its request", reply, replyShape, ofRequest);
    count("common short reply, encode", [&] { return kept(package.MackPackageReply(false)); });
    count("common record, make", [&] { return kept(package.makePackageRequest()); });
    count("common record, read", [&] { return package.unPackageRequest(record); });
    countCheck("common record, check", record,
               {ClassId::PackageBase, Form::Text, Direction::Request});
}

void countWriteData()
{
    Sample sample;
    sample.block = randomBlock(LargeBlock, 1);
    const auto make = [&sample] {
        return makeRequest<PackageRequestWriteData>(sample, false, sample.block,
                                                    sample.block.size());
    };
    PackageRequestWriteData package = make();
    const QByteArray frame = package.MackPackageRequest();
    const QByteArray linuxFrame = package.ParseSendRequest_Linux();
    const QString record = package.makePackageRequest();
    const QString reply = package.makePackageReply();
    count("write data frame, encode", [&] { return kept(package.MackPackageRequest()); });
    count("write data frame, encode fresh", [&] { return kept(make().MackPackageRequest()); });
    count("write data frame, decode", [&] { return readRequest(package, frame); });
    count("write data frame, decode fresh", [&] {
        PackageRequestWriteData fresh;
        return readRequest(fresh, frame);
    });
    constexpr ClassId Class = ClassId::PackageRequestWriteData;
    countCheck("write data frame, check", frame, {Class, Form::Frame, Direction::Request});
    count("write data Linux frame, encode", [&] { return kept(package.ParseSendRequest_Linux()); });
    count("write data Linux frame, decode",
          [&] { return package.unPackageReply_Linux(linuxFrame); });
    countCheck("write data Linux frame, check", linuxFrame,
               {Class, Form::Linux, Direction::Request});
    count("write data record, make", [&] { return kept(package.makePackageRequest()); });
    count("write data record, read", [&] { return package.unPackageRequest(record); });
    countCheck("write data record, check", record, {Class, Form::Text, Direction::Request});
    count("write data reply record, read", [&] { return package.unPackageReply(reply); });
}

void countReadData()
{
    Sample sample;
    sample.block = randomBlock(LargeBlock, 1);
    auto package = makeRequest<PackageRequestReadData>(sample, sample.block, sample.block.size());
    const QByteArray frame = package.MackPackageReply(false);
    const QString record = package.makePackageReply();
    count("read data short reply, encode", [&] { return kept(package.MackPackageReply(false)); });
    count("read data short reply, decode", [&] { return readReply(package, frame); });
    count("read data reply record, make", [&] { return kept(package.makePackageReply()); });
    count("read data reply record, read", [&] { return package.unPackageReply(record); });
}

void countOthers()
{
    auto file =
        makeRequest<PackageRequestReadFile>(Sample(), 2048, QStringLiteral("config/wall-2.rcfgx"));
    const QByteArray frame = file.MackPackageRequest();
    const QString record = file.makePackageRequest();
    count("read file frame, encode", [&] { return kept(file.MackPackageRequest()); });
    count("read file frame, decode", [&] { return readRequest(file, frame); });
    count("read file record, make", [&] { return kept(file.makePackageRequest()); });
    count("read file record, read", [&] { return file.unPackageRequest(record); });
    constexpr ClassId Class = ClassId::PackageRequestReadFile;
    countCheck("read file frame, check", frame, {Class, Form::Frame, Direction::Request});
    countCheck("read file record, check", record, {Class, Form::Text, Direction::Request});

    SpecialPackageRequest special(7, 5000, Sample().deviceKey);
    const QString specialRecord = special.makePackageRequest();
    count("special record, make", [&] { return kept(special.makePackageRequest()); });
    count("special record, read", [&] { return special.unPackageRequest(specialRecord); });

    const QString item = QStringLiteral("ReadFile^") + record;
    const QString combined = item + QLatin1Char('|') + item;
    PackageRequestCombination combination;
    count("combination of two, read", [&] {
        const bool ok = combination.unCombinationPackageRequest(combined);
        qDeleteAll(combination.packageList());
        return ok;
    });
}

void countExchange()
{
    Exchange frames(Form::Frame);
    count("exchange of frames, by hand", [&] { return frames.byHand(); });
    count("exchange of frames, by the engine", [&] { return frames.byEngine(); });
    Exchange records(Form::Text);
    count("exchange of records, by hand", [&] { return records.byHand(); });
    count("exchange of records, by the engine", [&] { return records.byEngine(); });
}

} // namespace

int main()
{
    countCommon();
    countWriteData();
    countReadData();
    countOthers();
    countExchange();
}
