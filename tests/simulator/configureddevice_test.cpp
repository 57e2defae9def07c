// Devices that a configuration describes: values that change, faults, times, and commands.

#include "testsupport.h"

#include <korvinsimulator/configureddevice.h>

#include <cmath>
#include <set>

using namespace KorvinSimulator;

namespace {

constexpr auto ReadData = ClassId::PackageRequestReadData;
constexpr auto WriteData = ClassId::PackageRequestWriteData;

/// A device on a clock that tests set.
class Bench
{
public:
    explicit Bench(const QByteArray &json)
    {
        std::vector<ConfiguredDevice> devices;
        EXPECT_EQ(readConfiguration(json, {}, &devices), QString()) << json.toStdString();
        if (!devices.empty())
            device = std::move(devices[0]);
        device.setTime(std::chrono::milliseconds(0));
    }

    void setTime(int milliseconds) { device.setTime(std::chrono::milliseconds(milliseconds)); }

    /// Reads registers: results, acknowledge code and the data in decimal, or how often there is a
    /// reply otherwise.
    QByteArray read(int address, int length, int port = 0)
    {
        const QByteArray request = "7,k,0,0,0," + QByteArray::number(port) + ",0,0,"
            + QByteArray::number(address) + ",0,read,3,t,ok,ok," + QByteArray::number(length)
            + ",data";
        return ask(ReadData, request, 19);
    }

    /// Writes registers: results and acknowledge code.
    QByteArray write(int address, const char *data, int port = 0, bool isBroadcast = false)
    {
        const QByteArray request = "7,k,0,0,0," + QByteArray::number(port) + ",0,0,"
            + QByteArray::number(address) + ",0,write,3,t,ok,ok," + (isBroadcast ? "true" : "false")
            + ",data," + data;
        return ask(WriteData, request, -1);
    }

    QByteArray ask(ClassId classId, const QByteArray &request, int dataColumn)
    {
        last = device.answer(request, classId, Form::Text);
        if (last.answer.replies.size() != 1)
            return QByteArray::number(static_cast<int>(last.answer.replies.size())) + " replies";
        const QList<QByteArray> columns = last.answer.replies[0].split(',');
        QByteArray results = columns.value(13) + ',' + columns.value(14) + ',' + columns.value(15);
        if (dataColumn >= 0)
            results += ' ' + columns.value(dataColumn);
        return results;
    }

    QByteArray control(const QByteArray &command)
    {
        return QJsonDocument(device.control(QJsonDocument::fromJson(command).object()))
            .toJson(QJsonDocument::Compact);
    }

    ConfiguredDevice device;
    DeviceAnswer last;
};

/// A device with a range of one byte at address 16, and others after it.
QByteArray withRange(const QByteArray &members, const QByteArray &others = {})
{
    return R"({"seed": 5, "units": [{"ranges": [{"name": "r", "address": 16, )" + members + "}"
        + others + "]}]}";
}

struct Moment
{
    int time;
    const char *reply;
};

struct BehaviourRow
{
    const char *members;
    std::vector<Moment> moments;
};

TEST(ConfiguredDevice, ValuesFollowTheClock)
{
    const BehaviourRow rows[] = {
        {R"("type": "uint8", "behaviour": {"kind": "count", "every": 1000})",
         {{0, "0"}, {999, "0"}, {1000, "1"}, {5500, "5"}, {256000, "0"}}},
        {R"("type": "int8", "behaviour": {"kind": "count", "from": 1, "step": -1, "every": 10})",
         {{0, "1"}, {10, "0"}, {20, "255"}}},
        {R"("type": "uint8", "behaviour": {"kind": "count", "from": "255", "every": 1})",
         {{0, "255"}, {1, "0"}}},
        {R"("type": "uint64", "repeat": 1, "behaviour": {"kind": "count", "from": "18446744073709551615", "every": 1})",
         {{0, "255"}, {1, "0"}}},
        {R"("type": "uint8", "behaviour": {"kind": "ramp", "from": 0, "to": 100, "period": 1000})",
         {{0, "0"}, {500, "50"}, {999, "100"}, {1000, "0"}, {1250, "25"}}},
        {R"("type": "uint8", "behaviour": {"kind": "sine", "low": 0, "high": 200, "period": 1000})",
         {{0, "100"}, {250, "200"}, {500, "100"}, {750, "0"}, {1000, "100"}}},
        {R"("type": "uint8", "behaviour": {"kind": "sine", "low": 20, "high": 220, "period": 1000})",
         {{0, "120"}, {250, "220"}, {500, "120"}, {750, "20"}, {1000, "120"}}},
        {R"("type": "uint8", "behaviour": {"kind": "ramp", "from": -100, "to": 900, "period": 1000})",
         {{0, "0"}, {200, "100"}, {600, "255"}}},
        // 3 times 2^62, the high byte first
        {R"("type": "uint64", "byteOrder": "big", "behaviour": {"kind": "ramp",
            "from": 13835058055282163712, "to": 13835058055282163712, "period": 1})",
         {{0, "192"}}},
        {R"("type": "int8", "behaviour": {"kind": "ramp", "from": -300, "to": 300, "period": 600})",
         {{0, "128"}, {200, "156"}, {599, "127"}}},
        {R"("type": "uint8", "behaviour": {"kind": "list", "values": [3, 1, 4], "every": 100})",
         {{0, "3"}, {100, "1"}, {299, "4"}, {300, "3"}}},
        {R"("type": "uint8", "behaviour": {"kind": "count"})",
         {{0, "0"}, {0, "1"}, {0, "2"}, {5000, "3"}}},
    };
    for (const BehaviourRow &row : rows) {
        SCOPED_TRACE(row.members);
        Bench bench(withRange(row.members));
        for (const Moment &moment : row.moments) {
            bench.setTime(moment.time);
            EXPECT_EQ(bench.read(16, 1), QByteArray("ok,ok,0 ") + moment.reply) << moment.time;
        }
    }
}

TEST(ConfiguredDevice, FloatsFollowTheClock)
{
    Bench bench(withRange(
        R"("type": "float64", "behaviour": {"kind": "count", "from": 0.5, "step": 0.25, "every": 1})",
        R"(, {"name": "s", "address": 24, "type": "float32",
              "behaviour": {"kind": "random", "low": 2, "high": 3, "every": 1}},
             {"name": "t", "address": 32, "type": "float32", "behaviour": {"kind": "count", "every": 1}})"));
    bench.setTime(2);
    EXPECT_EQ(bench.control(R"({"command": "get", "range": "r"})"), R"({"value":1})");
    EXPECT_EQ(bench.control(R"({"command": "get", "range": "t"})"),
              R"({"value":2})"); // from 0 by 1
    const double drawn = bench.device
                             .control({{QStringLiteral("command"), QStringLiteral("get")},
                                       {QStringLiteral("range"), QStringLiteral("s")}})
                             .value(QStringLiteral("value"))
                             .toDouble();
    EXPECT_GE(drawn, 2);
    EXPECT_LT(drawn, 3);
}

TEST(ConfiguredDevice, RandomValuesDependOnTheSeed)
{
    const QByteArray json =
        withRange(R"("type": "uint8", "behaviour": {"kind": "random", "low": 3, "high": 6})");
    Bench bench(json);
    Bench same(json);
    Bench other(json);
    other.device.setSeed(6);
    std::set<QByteArray> values;
    int differences = 0;
    for (int i = 0; i < 200; ++i) {
        const QByteArray value = bench.read(16, 1);
        values.insert(value);
        EXPECT_EQ(same.read(16, 1), value);
        differences += other.read(16, 1) != value ? 1 : 0;
    }
    EXPECT_EQ(values, (std::set<QByteArray>{"ok,ok,0 3", "ok,ok,0 4", "ok,ok,0 5", "ok,ok,0 6"}));
    EXPECT_GT(differences, 100);
}

/// A saved device goes on as it would have, whatever version reads it. The numbers of a range are
/// those of a SplitMix64 generator, seeded with an output of another one, which the device seeds.
TEST(ConfiguredDevice, RandomNumbersStayTheSame)
{
    // A number in the range of 53 bits is what the generator gives, without its last 11 bits.
    const QByteArray behaviour =
        R"("behaviour": {"kind": "random", "low": 0, "high": 9007199254740992, "every": 1})";
    Bench bench(withRange(R"("type": "float64", )" + behaviour,
                          R"(, {"name": "s", "address": 24, "type": "float64", )" + behaviour
                              + R"(}, {"name": "t", "address": 32, "type": "uint8",
                                  "delay": {"mean": 300000, "deviation": 50000}})"));
    const QByteArray values[][2] = {{"8825626438804648", "1777070774994534"},
                                    {"953582386936078", "4767351985825211"},
                                    {"7780987636076090", "3811584184249261"}};
    for (int step = 0; step < 3; ++step) {
        bench.setTime(step);
        EXPECT_EQ(bench.control(R"({"command": "get", "range": "r"})"),
                  "{\"value\":" + values[step][0] + '}');
        EXPECT_EQ(bench.control(R"({"command": "get", "range": "s"})"),
                  "{\"value\":" + values[step][1] + '}');
    }
    // mean + deviation * sqrt(-2 * ln(1 - a)) * cos(2 * pi * b), where a and b are two numbers
    for (const int delay : {267766, 326266, 347354, 278092}) {
        bench.read(32, 1);
        EXPECT_EQ(bench.last.answer.delay, delay);
    }
}

TEST(ConfiguredDevice, EchoesHaveTheBytesOfTheirSource)
{
    Bench bench(withRange(
        R"("type": "uint16", "behaviour": {"kind": "count", "every": 10})",
        R"(, {"name": "e", "address": 32, "type": "int16", "behaviour": {"kind": "echo", "of": "r"}},
             {"name": "plain", "address": 40, "type": "uint8", "value": 9},
             {"name": "f", "address": 48, "type": "uint8", "behaviour": {"kind": "echo", "of": "plain"}})"));
    bench.setTime(2580);
    EXPECT_EQ(bench.read(32, 2), "ok,ok,0 2/1");
    EXPECT_EQ(bench.read(48, 1), "ok,ok,0 9");
}

TEST(ConfiguredDevice, AWrittenValueStaysUntilTheNextStep)
{
    Bench bench(withRange(R"("type": "uint8", "behaviour": {"kind": "count", "every": 100})"));
    EXPECT_EQ(bench.read(16, 1), "ok,ok,0 0");
    EXPECT_EQ(bench.write(16, "1,77"), "ok,ok,0");
    EXPECT_EQ(bench.read(16, 1), "ok,ok,0 77");
    bench.setTime(100);
    EXPECT_EQ(bench.read(16, 1), "ok,ok,0 1");

    Bench shortest(withRange(
        R"("type": "uint8", "behaviour": {"kind": "ramp", "from": 5, "to": 9, "period": 1})"));
    EXPECT_EQ(shortest.read(16, 1), "ok,ok,0 5");
    EXPECT_EQ(shortest.write(16, "1,77"), "ok,ok,0");
    EXPECT_EQ(shortest.read(16, 1), "ok,ok,0 77");
    shortest.setTime(1);
    EXPECT_EQ(shortest.read(16, 1), "ok,ok,0 5");
}

TEST(ConfiguredDevice, RangesMayBeClosedToReadsOrWrites)
{
    struct Row
    {
        const char *access;
        const char *read;
        const char *written;
    };
    const Row rows[] = {
        {"readWrite", "ok,ok,0 1", "ok,ok,0"},
        {"read", "ok,ok,0 1", "codeErr,failure,5"},
        {"write", "codeErr,failure,5 0", "ok,ok,0"},
        {"none", "codeErr,failure,5 0", "codeErr,failure,5"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.access);
        Bench bench(withRange(R"("type": "uint8", "value": 1, "access": ")" + QByteArray(row.access)
                              + "\""));
        EXPECT_EQ(bench.read(16, 1), row.read);
        EXPECT_EQ(bench.write(16, "1,2"), row.written);
    }
}

TEST(ConfiguredDevice, AccessCountsWhereverARequestBegins)
{
    Bench bench(R"({"units": [{"blocks": [{"address": 0, "size": 16}],
        "ranges": [{"name": "r", "address": 4, "type": "uint16", "access": "write"}]}]})");
    const std::pair<std::pair<int, int>, const char *> rows[] = {
        {{0, 4}, "ok,ok,0"},           {{0, 5}, "codeErr,failure,5"}, {{4, 2}, "codeErr,failure,5"},
        {{5, 1}, "codeErr,failure,5"}, {{5, 4}, "codeErr,failure,5"}, {{6, 4}, "ok,ok,0"}};
    for (const auto &[place, results] : rows) {
        EXPECT_EQ(bench.read(place.first, place.second).split(' ').first(), QByteArray(results))
            << place.first << ' ' << place.second;
    }
}

TEST(ConfiguredDevice, AWriteSetsOthersFailsAndTakesTime)
{
    Bench bench(withRange(
        R"("type": "uint8", "onWrite": {"set": [{"range": "a", "value": 515}], "delay": 40})",
        R"(, {"name": "a", "address": 32, "type": "uint16"},
             {"name": "fails", "address": 40, "type": "uint8", "value": 3, "delay": 10,
              "onWrite": {"outcome": {"ackCode": 9, "commResult": "timeout", "packResult": "cancel"},
                          "set": [{"range": "a", "value": 1}]}})"));
    EXPECT_EQ(bench.write(16, "1,5"), "ok,ok,0");
    EXPECT_EQ(bench.last.answer.delay, 40);
    EXPECT_EQ(bench.read(32, 2), "ok,ok,0 3/2");
    EXPECT_EQ(bench.last.answer.delay, 0);
    EXPECT_EQ(bench.write(40, "1,5"), "timeout,cancel,9");
    EXPECT_EQ(bench.last.answer.delay, 10);
    EXPECT_EQ(bench.read(40, 1), "ok,ok,0 3");
    EXPECT_EQ(bench.last.answer.delay, 10);
    EXPECT_EQ(bench.read(32, 2), "ok,ok,0 3/2");
    // Past the end of the block, so that nothing is written.
    EXPECT_EQ(bench.write(16, "2,5/6"), "ok,memErr,2");
}

TEST(ConfiguredDevice, DelaysMayFollowADistribution)
{
    struct Row
    {
        const char *delay;
        double least;
        double most;
        double mean;
        double tolerance;
    };
    // The mean of a log-normal distribution is the median times exp(sigma * sigma / 2).
    const Row rows[] = {
        {"25", 25, 25, 25, 0},
        {R"({"from": 100, "to": 200})", 100, 200, 150, 3},
        {R"({"mean": 500, "deviation": 20})", 400, 600, 500, 2},
        {R"({"mean": 0, "deviation": 20})", 0, 120, 7.98, 1},
        {R"({"median": 100, "sigma": 0.5})", 10, 1000, 113.3, 5},
        {R"({"from": 0, "to": 0})", 0, 0, 0, 0},
        {R"({"mean": 30, "deviation": 0})", 30, 30, 30, 0},
        {R"({"median": 30, "sigma": 0})", 30, 30, 30, 0},
        {R"({"median": 0, "sigma": 1})", 0, 0, 0, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.delay);
        Bench bench(withRange(R"("type": "uint8", "delay": )" + QByteArray(row.delay)));
        constexpr int Requests = 2000;
        double sum = 0;
        for (int i = 0; i < Requests; ++i) {
            bench.read(16, 1);
            EXPECT_GE(bench.last.answer.delay, row.least);
            EXPECT_LE(bench.last.answer.delay, row.most);
            sum += bench.last.answer.delay;
        }
        EXPECT_NEAR(sum / Requests, row.mean, row.tolerance);
    }
}

TEST(ConfiguredDevice, BroadcastsMeetTheRangesOfAllUnits)
{
    Bench bench(R"({"units": [
        {"ranges": [{"name": "r", "address": 16, "type": "uint8",
                     "onWrite": {"set": [{"range": "s", "value": 1}]}},
                    {"name": "s", "address": 20, "type": "uint8"}]},
        {"portAddr": 1, "ranges": [{"name": "r", "address": 16, "type": "uint8", "delay": 7},
                                   {"name": "only", "address": 18, "type": "uint8", "access": "read"}]}]})");
    EXPECT_EQ(bench.write(16, "1,5", 0, true), "ok,ok,0");
    EXPECT_EQ(bench.last.answer.delay, 7);
    EXPECT_EQ(bench.read(16, 1, 1), "ok,ok,0 5");
    EXPECT_EQ(bench.read(20, 1), "ok,ok,0 1");
    EXPECT_EQ(bench.write(18, "1,5", 0, true), "codeErr,failure,5");
    EXPECT_EQ(bench.read(16, 1, 9), "ok,invalidPort,3 0");
}

TEST(ConfiguredDevice, TheFirstFailureOfABroadcastIsItsOutcome)
{
    Bench bench(R"({"units": [
        {"ranges": [{"name": "r", "address": 16, "type": "uint8", "access": "read"}]},
        {"portAddr": 1, "ranges": [{"name": "r", "address": 16, "type": "uint8",
                                    "onWrite": {"outcome": {"ackCode": 9}}}]}]})");
    EXPECT_EQ(bench.write(16, "1,5", 0, true), "codeErr,failure,5");
    EXPECT_EQ(bench.write(16, "1,5", 1, false), "ok,failure,9");
}

TEST(ConfiguredDevice, WhatARuleDoesNotSayIsLeftToChance)
{
    Bench bench(R"({"units": [{"blocks": [{"address": 0, "size": 1}]}],
                    "faults": [{"kind": "corrupt", "every": 2}, {"kind": "truncate"}]})");
    std::set<QByteArray> corrupt;
    std::set<int> sizes;
    for (int i = 0; i < 50; ++i) {
        bench.read(0, 1);
        corrupt.insert(bench.last.answer.replies.at(0));
        bench.read(0, 1);
        sizes.insert(bench.last.answer.replies.at(0).size());
    }
    EXPECT_GT(corrupt.size(), 30U);
    EXPECT_GT(sizes.size(), 15U);
}

TEST(ConfiguredDevice, OtherRequestsAreThoseOfSimulatedDevice)
{
    Bench bench(
        R"({"specials": [{"id": 12, "answer": "pong"}], "units": [{"blocks": [{"address": 0, "size": 4}]}]})");
    EXPECT_EQ(bench.device.answer("12,0,ping", ClassId::SpecialPackageRequest, Form::Text)
                  .answer.replies.at(0),
              "12,0,pong,0");
    EXPECT_EQ(bench.ask(ClassId::PackageBase, "7,k,0,0,0,0,0,0,0,0,write,3,t,ok,ok", -1),
              "ok,ok,0");
    EXPECT_EQ(bench.ask(ClassId::PackageRequestReadFile,
                        "7,k,0,0,0,0,0,0,0,0,read,3,t,ok,ok,1,file,a", -1),
              "ok,fileNoExist,1");
    EXPECT_EQ(bench.ask(ReadData, "nothing", -1), "0 replies");
    EXPECT_EQ(bench.last.answer.verdict.refusal, Refusal::TooFewFields);
    EXPECT_EQ(bench.control(R"({"command": "statistics"})"),
              R"({"carriedOut":3,"clock":0,"faults":0,"refused":1,"replies":3,"requests":3})");
}

TEST(ConfiguredDevice, TheObserverSeesWhatIsCarriedOut)
{
    Bench bench(R"({"faults": [{"script": ["lostRequest", "none", "lostReply"]}]})");
    int seen = 0;
    bench.device.setObserver([&](const PackageBase &request) {
        EXPECT_EQ(request.getPackResult(), OrvexEnum::PackInvalidPort);
        ++seen;
    });
    for (int i = 0; i < 3; ++i)
        bench.read(16, 1);
    EXPECT_EQ(seen, 2);

    Bench closed(withRange(R"("type": "uint8", "access": "write")"));
    closed.device.setObserver([&](const PackageBase &request) {
        EXPECT_EQ(request.getAckCode(), 5U);
        EXPECT_EQ(request.getDataLength(), 0) << "of the data that the reply has";
        ++seen;
    });
    closed.read(16, 1);
    EXPECT_EQ(seen, 3);
}

struct FaultRow
{
    const char *fault;
    const char *reply; ///< To a write of 5.
    const char *after; ///< The value after it.
};

TEST(ConfiguredDevice, EachKindOfFaultIsReached)
{
    const FaultRow rows[] = {
        {R"("kind": "none")", "ok,ok,0", "5"},
        {R"("kind": "lostRequest")", "0 replies", "1"},
        {R"("kind": "lostReply")", "0 replies", "5"},
        {R"("kind": "delay", "delay": 30)", "ok,ok,0", "5"},
        {R"("kind": "corrupt", "bit": 0)", "ok,ok,0", "5"},
        {R"("kind": "truncate", "keep": 0)", ",,", "5"},
        {R"("kind": "duplicate")", "2 replies", "5"},
        {R"("kind": "staleSerial")", "ok,ok,0", "5"},
        {R"("kind": "result", "packResult": "cancel")", "ok,cancel,6", "1"},
        {R"("kind": "slices", "bytes": 3, "pause": 9)", "ok,ok,0", "5"},
        {R"("kind": "close")", "0 replies", "1"},
        {R"("kind": "restart")", "0 replies", "1"},
    };
    for (const FaultRow &row : rows) {
        SCOPED_TRACE(row.fault);
        Bench bench(
            R"({"units": [{"ranges": [{"name": "r", "address": 16, "type": "uint8", "value": 1}]}],
            "faults": [{"access": "write", )"
            + QByteArray(row.fault) + "}]}");
        EXPECT_EQ(bench.write(16, "1,5"), row.reply);
        EXPECT_EQ(bench.read(16, 1), QByteArray("ok,ok,0 ") + row.after);
    }
}

TEST(ConfiguredDevice, FaultsHaveDetails)
{
    Bench bench(
        R"({"units": [{"ranges": [{"name": "r", "address": 16, "type": "uint8", "value": 1}]}],
        "faults": [{"script": [{"kind": "delay", "delay": 30}, {"kind": "corrupt", "bit": 1},
                               {"kind": "truncate", "keep": 3}, "staleSerial",
                               {"kind": "slices", "bytes": 3, "pause": 9},
                               {"kind": "slices", "bytes": 1}, "close", "restart"]}]})");
    bench.read(16, 1);
    EXPECT_EQ(bench.last.answer.delay, 30);
    EXPECT_EQ(bench.last.answer.fault, FaultKind::Delay);
    bench.read(16, 1);
    EXPECT_EQ(bench.last.answer.replies.at(0).left(2), "5,"); // 7 with bit 1 flipped
    bench.read(16, 1);
    EXPECT_EQ(bench.last.answer.replies.at(0), "7,k");
    bench.read(16, 1);
    EXPECT_EQ(bench.last.answer.replies.at(0).left(2), "6,");
    bench.read(16, 1);
    EXPECT_EQ(bench.last.sliceSize, 3);
    EXPECT_EQ(bench.last.slicePause, 9);
    bench.read(16, 1);
    EXPECT_EQ(bench.last.sliceSize, 1);
    EXPECT_EQ(bench.last.slicePause, 0);
    bench.read(16, 1);
    EXPECT_EQ(bench.last.link, LinkFault::Close);
    bench.setTime(500);
    bench.read(16, 1);
    EXPECT_EQ(bench.last.link, LinkFault::Restart);
    // The device is as it was at first, and so is the script.
    bench.setTime(600);
    EXPECT_TRUE(bench.control(R"({"command": "statistics"})").contains(R"("clock":100)"));
    bench.read(16, 1);
    EXPECT_EQ(bench.last.answer.delay, 30);
}

TEST(ConfiguredDevice, SilenceLastsUntilThereAreOtherFaults)
{
    Bench bench(
        R"({"units": [{"blocks": [{"address": 0, "size": 1}]}], "faults": [{"script": ["silence"]}]})");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(bench.write(0, "1,5"), "0 replies");
        EXPECT_EQ(bench.last.link, LinkFault::Silence);
    }
    EXPECT_EQ(bench.control(R"({"command": "statistics"})"),
              R"({"carriedOut":0,"clock":0,"faults":1,"refused":0,"replies":0,"requests":3})");
    EXPECT_EQ(bench.control(R"({"command": "faults", "faults": []})"), "{}");
    EXPECT_EQ(bench.read(0, 1), "ok,ok,0 0");
}

struct RuleRow
{
    const char *rule;
    const char *lost; ///< A 1 for each of the requests below that is lost.
};

TEST(ConfiguredDevice, RulesChooseRequests)
{
    // Reads of 16 and 32 of both units, then writes of them.
    const RuleRow rows[] = {
        {"", "11111111"},
        {R"("access": "read",)", "11110000"},
        {R"("access": "write",)", "00001111"},
        {R"("class": "PackageRequestReadData",)", "11110000"},
        {R"("class": "PackageRequestCombination",)", "00000000"},
        {R"("unit": "b",)", "00110011"},
        {R"("unit": "1",)", "11001100"},
        {R"("address": 16,)", "10101010"},
        {R"("address": 17, "size": 16,)", "01010101"},
        {R"("address": "0x10", "size": 17,)", "11111111"},
        {R"("address": 0, "size": 4294967296,)", "11111111"},
        {R"("after": 3,)", "00011111"},
        {R"("every": 3,)", "10010010"},
        {R"("after": 1, "every": 3,)", "01001001"},
        {R"("count": 2,)", "11000000"},
        {R"("count": 2, "every": 2,)", "10100000"},
        {R"("chance": 0,)", "00000000"},
        {R"("chance": 1,)", "11111111"},
        {R"("access": "write", "unit": "b", "address": 32,)", "00000001"},
    };
    for (const RuleRow &row : rows) {
        SCOPED_TRACE(row.rule);
        Bench bench(R"({"units": [{"blocks": [{"address": 16, "size": 32}]},
                                  {"portAddr": 1, "name": "b", "blocks": [{"address": 16, "size": 32}]}],
            "faults": [{)"
                    + QByteArray(row.rule) + R"("kind": "lostReply"}]})");
        QByteArray lost;
        for (int i = 0; i < 8; ++i) {
            const int address = i % 2 == 0 ? 16 : 32;
            const int port = i / 2 % 2;
            const QByteArray reply =
                i < 4 ? bench.read(address, 1, port) : bench.write(address, "1,1", port);
            lost += reply == "0 replies" ? '1' : '0';
        }
        EXPECT_EQ(lost, QByteArray(row.lost));
    }
}

TEST(ConfiguredDevice, TheFirstRuleWithAFaultDecides)
{
    Bench bench(R"({"faults": [{"script": ["none", "lostReply"]},
        {"kind": "duplicate", "class": "PackageRequestReadData"}, {"kind": "lostRequest"}]})");
    EXPECT_EQ(bench.read(16, 1), "2 replies");
    EXPECT_EQ(bench.read(16, 1), "0 replies");
    EXPECT_EQ(bench.read(16, 1), "2 replies");
    EXPECT_EQ(bench.write(16, "1,1"), "0 replies");
}

TEST(ConfiguredDevice, ACombinationIsOneRequest)
{
    Bench bench(R"({"units": [{"blocks": [{"address": 16, "size": 4}]}],
        "faults": [{"class": "PackageRequestCombination", "kind": "result"}]})");
    const QByteArray item = "7,k,0,0,0,0,0,0,16,0,read,3,t,ok,ok,1,data";
    const DeviceAnswer answer = bench.device.answer(
        "ReadFile^7,k,0,0,0,0,0,0,16,0,read,3,t,ok,ok,1,file,a|ReadData^" + item,
        ClassId::PackageRequestCombination, Form::Text);
    EXPECT_EQ(answer.answer.replies.at(0),
              "7,k,0,0,0,0,0,0,16,0,read,3,t,ok,failure,6,1,file,a|"
              "7,k,0,0,0,0,0,0,16,0,read,3,t,ok,failure,6,1,data,1,0");
    EXPECT_EQ(bench.read(16, 1), "ok,ok,0 0");
}

TEST(ConfiguredDevice, FaultsByChanceAreAsOftenAsTheyShouldBe)
{
    Bench bench(R"({"units": [{"blocks": [{"address": 0, "size": 1}]}]})");
    bench.device.addFaults(0.25);
    std::map<FaultKind, int> counts;
    constexpr int Requests = 20000;
    for (int i = 0; i < Requests; ++i) {
        bench.read(0, 1);
        ++counts[bench.last.answer.fault];
        if (bench.last.answer.fault == FaultKind::Delay) {
            EXPECT_GE(bench.last.answer.delay, 1);
            EXPECT_LE(bench.last.answer.delay, 100);
        }
    }
    EXPECT_NEAR(counts[FaultKind::None], Requests * 3 / 4, 300);
    for (const FaultKind kind : FaultPlan::all())
        EXPECT_NEAR(counts[kind], Requests / 32, 120) << describe(kind).toStdString();
}

TEST(ConfiguredDevice, BandwidthIsShared)
{
    // A reply is 45 bytes long, which take 45 ms.
    Bench bench(R"({"bandwidth": 1000, "units": [{"blocks": [{"address": 0, "size": 1}]}],
                    "faults": [{"script": ["none", "none", "lostReply"]}]})");
    bench.read(0, 1);
    const int time = bench.last.answer.replies.at(0).size();
    EXPECT_EQ(bench.last.answer.delay, time);
    bench.read(0, 1);
    EXPECT_EQ(bench.last.answer.delay, 2 * time);
    bench.read(0, 1);
    EXPECT_EQ(bench.last.answer.delay, 0); // nothing is sent
    bench.setTime(10);
    bench.read(0, 1);
    EXPECT_EQ(bench.last.answer.delay, 3 * time - 10);
    bench.setTime(1000);
    bench.read(0, 1);
    EXPECT_EQ(bench.last.answer.delay, time);
}

TEST(ConfiguredDevice, TheClockDoesNotGoBack)
{
    Bench bench(R"({"clock": 50})");
    bench.setTime(100);
    bench.setTime(70);
    EXPECT_TRUE(bench.control(R"({"command": "statistics"})").contains(R"("clock":150)"));
    bench.device.restart();
    EXPECT_TRUE(bench.control(R"({"command": "statistics"})").contains(R"("clock":50)"));
}

struct CommandRow
{
    const char *command;
    QByteArray answer;
};

TEST(ConfiguredDevice, CommandsReadAndChangeValues)
{
    const CommandRow rows[] = {
        {R"({"command": "get", "unit": "a", "range": "r"})", R"({"value":7})"},
        {R"({"command": "get", "unit": "b", "range": "r"})", R"({"value":[1,2]})"},
        {R"({"command": "get", "range": "s"})", R"({"value":0})"},
        {R"({"command": "get", "range": "s"})", R"({"value":0})"}, // no read by a client
        {R"({"command": "get", "range": "large"})",
         "{\"value\":[0" + QByteArray(",0").repeated(65535) + "]}"},
        {R"({"command": "get", "range": "larger"})",
         "{\"data\":\"" + QByteArray("00").repeated(65536) + "\"}"},
        {R"({"command": "set", "unit": "b", "range": "r", "value": [9]})", "{}"},
        {R"({"command": "get", "unit": "b", "range": "r"})", R"({"value":[9,0]})"},
        {R"({"command": "get", "unit": "b", "address": 16, "size": 2})", R"({"data":"0900"})"},
        {R"({"command": "set", "unit": "b", "address": "0x11", "data": "FF"})", "{}"},
        {R"({"command": "get", "unit": "b", "address": 17})", R"({"data":"ff"})"},
        // What is wrong.
        {R"({"command": "stop"})",
         R"({"error":"command: not one of get, set, faults, statistics"})"},
        {R"({"command": "get"})", R"({"error":"unit: missing, since several would do"})"},
        {R"({"command": "get", "range": "r"})",
         R"({"error":"unit: missing, since several would do"})"},
        {R"({"command": "get", "range": "x"})", R"({"error":"range: there is no \"x\""})"},
        {R"({"command": "get", "unit": "x"})", R"({"error":"unit: there is no \"x\""})"},
        {R"({"command": "get", "unit": "a"})", R"({"error":"range: missing; or an address"})"},
        {R"({"command": "get", "unit": "a", "address": 99})",
         R"({"error":"address: no block has these bytes"})"},
        {R"({"command": "get", "unit": "a", "address": 1})",
         R"({"error":"address: no block has these bytes"})"},
        {R"({"command": "get", "unit": "a", "size": 0})",
         R"({"error":"size: not a whole number from 1 to 65536"})"},
        {R"({"command": "get", "name": "a"})", R"({"error":"name: there is no such member"})"},
        {R"({"command": "set", "range": "s", "value": 256})",
         R"({"error":"value: not a whole number from 0 to 255"})"},
        {R"({"command": "set", "range": "s", "data": "0"})",
         R"({"error":"data: not bytes in hexadecimal digits"})"},
        {R"({"command": "set", "unit": "b"})",
         R"({"error":"range: missing; or an address and data"})"},
        {R"({"command": "set", "unit": "b", "address": 16})",
         R"({"error":"range: missing; or an address and data"})"},
        {R"({"command": "set", "unit": "b", "address": 17, "data": "0000"})",
         R"({"error":"address: no block has these bytes"})"},
        {R"({"command": "set", "unit": "c", "address": 17, "data": "0000"})",
         R"({"error":"unit: there is no \"c\""})"},
        {R"({"command": "faults", "faults": 5})", R"({"error":"faults: not a list"})"},
        {R"({"command": "faults", "faults": [{}]})", R"({"error":"faults: 1: kind: missing"})"},
        {R"({"command": "faults", "faults": [{"kind": "close", "unit": "b", "count": 1}]})", "{}"},
        {R"({"command": "faults"})",
         R"({"faults":[{"count":1,"kind":"close","met":0,"seen":0,"unit":"b"}]})"},
    };
    Bench bench(R"({"units": [
        {"name": "a", "ranges": [{"name": "r", "address": 16, "type": "uint8", "value": 7},
                                 {"name": "s", "address": 32, "type": "uint8", "behaviour": {"kind": "count"}},
                                 {"name": "large", "address": 1000, "type": "uint8", "repeat": 65536},
                                 {"name": "larger", "address": 99999, "type": "uint8", "repeat": 65537}]},
        {"name": "b", "portAddr": 1,
         "ranges": [{"name": "r", "address": 16, "type": "uint8", "repeat": 2, "value": [1, 2]}]}]})");
    for (const CommandRow &row : rows)
        EXPECT_EQ(bench.control(row.command), row.answer) << row.command;
}

/// Fills a device with files until it refuses one; returns how many there are.
TEST(ConfiguredDevice, NamesOfFilesTakeSpace)
{
    Bench bench(R"({"units": [{"blocks": [{"address": 0, "size": 4}], "fileSpace": 1000}]})");
    int files = 0;
    const auto writeFile = [&](int number, const QByteArray &name) {
        return bench.ask(ClassId::PackageRequestWriteFile,
                         "7,k,0,0,0,0,0,0,0,0,write,3,t,ok,ok,false,file,"
                             + QByteArray::number(number) + name + ",0",
                         -1);
    };
    bench.write(0, "4,1/2/3/4");
    while (writeFile(files, QByteArray(31, 'n')) == "ok,ok,0")
        ++files;
    EXPECT_EQ(files, 10); // 64 + 32 + 4 bytes each
    EXPECT_EQ(writeFile(99, "m"), "ok,deviceSpaceNoEnough,2");
    bench.write(0, "1,1");
    EXPECT_EQ(writeFile(0, QByteArray(31, 'n')), "ok,ok,0"); // it becomes shorter
    EXPECT_EQ(writeFile(0, ""), "ok,deviceSpaceNoEnough,2");
}

TEST(ConfiguredDevice, WithoutAConfigurationHasNoUnits)
{
    ConfiguredDevice empty;
    EXPECT_EQ(empty.name(), QString());
    EXPECT_TRUE(empty.endpoints().empty());
    EXPECT_EQ(empty.control({{QStringLiteral("command"), QStringLiteral("statistics")}})
                  .value(QStringLiteral("clock")),
              0);
    const DeviceAnswer answer =
        empty.answer("7,k,0,0,0,0,0,0,16,0,read,3,t,ok,ok,1,data", ReadData, Form::Text);
    EXPECT_EQ(answer.link, LinkFault::None);
    EXPECT_EQ(answer.answer.delay, 0);
    EXPECT_EQ(answer.sliceSize, 0);
    EXPECT_EQ(answer.slicePause, 0);
    ASSERT_EQ(answer.answer.replies.size(), 1U);
    EXPECT_EQ(answer.answer.replies[0],
              "7,k,0,0,0,0,0,0,16,0,read,3,t,ok,invalidPort,3,1,data,1,0");
}

TEST(ConfiguredDevice, MovesWithItsState)
{
    Bench bench(R"({"name": "one", "units": [{"blocks": [{"address": 0, "size": 1}]}]})");
    bench.write(0, "1,5");
    ConfiguredDevice moved(std::move(bench.device));
    bench.device = std::move(moved);
    EXPECT_EQ(bench.read(0, 1), "ok,ok,0 5");
}

} // namespace
