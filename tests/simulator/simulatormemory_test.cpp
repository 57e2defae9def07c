// What the simulator allocates for hostile input, and what happens out of memory.

#include "mallochook.h"
#include "testsupport.h"

#include <korvinsimulator/configureddevice.h>
#include <korvinsimulator/simulateddevice.h>

using namespace KorvinSimulator;

namespace {

DeviceState exampleState()
{
    DeviceState state;
    Unit &unit = state.units[{}];
    unit.blocks[0] = {"12345678"};
    unit.files[QStringLiteral("a")] = "1234";
    unit.memory = "1234";
    state.specials[1] = QStringLiteral("one");
    return state;
}

const char Read[] = "00 0000 0000 03000000 0700 00 00 00 00 0000 00 00 0000 0000 ";

TEST(SimulatorMemory, AnnouncedLengthsCostNothing)
{
    SimulatedDevice device(exampleState());
    const QByteArray request = hex(Read) + hex("FFFFFF7F 00 FFFFFF7F");
    device.answer(request, ClassId::PackageRequestReadData,
                  Form::Frame); // makes what is made only once
    allocations.largest = 0;
    const Answer answer = device.answer(request, ClassId::PackageRequestReadData, Form::Frame);
    EXPECT_LT(allocations.largest, 2000U);
    ASSERT_EQ(answer.replies.size(), 1U);
    EXPECT_EQ(answer.replies.front(), hex("00 0700 02 03 02 00000000"));
}

struct Row
{
    ClassId classId;
    Form form;
    QByteArray request;
};

TEST(SimulatorMemory, OutOfMemoryThereIsNoReply)
{
    const Row rows[] = {
        {ClassId::PackageRequestReadData, Form::Frame, hex(Read) + hex("04000000 00 04000000")},
        {ClassId::PackageRequestReadFile, Form::Frame, hex(Read) + hex("04000000 01 0100 61")},
        {ClassId::SpecialPackageRequest, Form::Text, "1,0,x"},
        {ClassId::PackageRequestWriteData, Form::Linux,
         hex("55AA 00 07 00 00 00 00 0000 01 00 0000 0000 0100 AB 0956")},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(className(row.classId).toStdString());
        SimulatedDevice good(exampleState());
        const Answer expected = good.answer(row.request, row.classId, row.form);
        ASSERT_EQ(expected.replies.size(), 1U) << describe(expected.verdict).toStdString();
        int failures = 0;
        bool done = false;
        for (int allocation = 0; !done; ++allocation) {
            SimulatedDevice device(exampleState());
            failingAllocation = allocation;
            const Answer answer = device.answer(row.request, row.classId, row.form);
            done = failingAllocation >= 0;
            failingAllocation = -1;
            if (answer.replies.empty()) {
                EXPECT_EQ(answer.verdict.refusal, KorvinInspect::Refusal::OutOfMemory);
                ++failures;
            }
            ASSERT_LT(allocation, 10000);
        }
        EXPECT_GT(failures, 5);
    }
}

TEST(SimulatorMemory, OutOfMemoryNoStateIsReadOrWritten)
{
    const QJsonObject json = stateToJson(exampleState());
    int failures = 0;
    bool done = false;
    for (int allocation = 0; !done; ++allocation) {
        DeviceState state;
        failingAllocation = allocation;
        const QString fault = stateFromJson(json, &state);
        const QJsonObject written = fault.isEmpty() ? stateToJson(state) : QJsonObject();
        done = failingAllocation >= 0;
        failingAllocation = -1;
        if (!fault.isEmpty()) {
            EXPECT_TRUE(state.units.isEmpty());
            ++failures;
        } else {
            EXPECT_TRUE(written.isEmpty() || written == json);
        }
        ASSERT_LT(allocation, 10000);
    }
    EXPECT_GT(failures, 5);
}

TEST(SimulatorMemory, OutOfMemoryConfiguredDevicesSaySo)
{
    const QByteArray json = R"({"units": [{"ranges": [{"name": "r", "address": 0, "type": "uint8",
        "behaviour": {"kind": "count"}}]}], "faults": [{"kind": "delay", "delay": 3}]})";
    const QByteArray request = hex(Read) + hex("01000000 00 01000000");
    int failures = 0;
    bool done = false;
    // At first none fails: what is allocated only once would hide what comes after it.
    for (int allocation = -1; !done; ++allocation) {
        std::vector<ConfiguredDevice> devices;
        ASSERT_EQ(readConfiguration(json, {}, &devices), QString());
        failingAllocation = allocation;
        const DeviceAnswer answer =
            devices[0].answer(request, ClassId::PackageRequestReadData, Form::Frame);
        done = failingAllocation >= 0;
        failingAllocation = -1;
        EXPECT_EQ(answer.answer.verdict.isOk(), answer.answer.replies.size() == 1);
        failures += answer.answer.verdict.isOk() ? 0 : 1;
        ASSERT_LT(allocation, 10000);
    }
    EXPECT_GT(failures, 5);
}

} // namespace
