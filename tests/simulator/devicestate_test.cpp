#include "testsupport.h"

#include <korvinsimulator/devicestate.h>

#include <QtCore/QJsonArray>

using namespace KorvinSimulator;

namespace {

QJsonObject json(const char *text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
    return document.object();
}

const char Example[] = R"({
    "maxPartSize": 8,
    "specials": [{"id": -12, "answer": "pong"}],
    "units": [
        {"scrAddr": 1, "desAddr": 255, "deviceType": 3, "portAddr": 4, "scanBoardAddr": 65535,
         "blocks": [{"address": "0x0A000010", "data": "01FF10"},
                    {"address": 167772179, "size": 4, "data": "0A", "filled": 1},
                    {"address": "0xFFFFFFFF", "size": 1}],
         "files": [{"name": "a/b.txt", "data": "68 69"}, {"name": "", "data": ""}],
         "fileSpace": 199,
         "memory": {"size": 3, "data": "AB"}},
        {}
    ]})";

TEST(DeviceState, IsReadFromJson)
{
    DeviceState state;
    state.specials[1] = QStringLiteral("earlier");
    ASSERT_EQ(stateFromJson(json(Example), &state), QString());
    EXPECT_EQ(state.maxPartSize, 8);
    EXPECT_EQ(state.specials.keys(), QList<int>{-12});
    EXPECT_EQ(state.specials[-12], QStringLiteral("pong"));
    ASSERT_EQ(state.units.size(), 2);
    const Unit unit = state.units.value({1, 255, 3, 4, 65535});
    ASSERT_EQ(unit.blocks.size(), 3);
    EXPECT_EQ(unit.blocks[0x0A000010].data, hex("01FF10"));
    EXPECT_EQ(unit.blocks[0x0A000010].filled, 0);
    EXPECT_EQ(unit.blocks[0x0A000013].data, hex("0A000000"));
    EXPECT_EQ(unit.blocks[0x0A000013].filled, 1);
    EXPECT_EQ(unit.blocks[0xFFFFFFFF].data, hex("00"));
    EXPECT_EQ(unit.files[QStringLiteral("a/b.txt")], "hi");
    EXPECT_EQ(unit.files.size(), 2);
    EXPECT_EQ(unit.fileSpace, 199);
    EXPECT_EQ(unit.memory, hex("AB0000"));
    const Unit plain = state.units.value({});
    EXPECT_TRUE(plain.blocks.isEmpty());
    EXPECT_TRUE(plain.memory.isEmpty());
    EXPECT_EQ(plain.fileSpace, 1048576);
}

TEST(DeviceState, SurvivesJson)
{
    DeviceState state;
    EXPECT_EQ(stateFromJson({}, &state), QString());
    EXPECT_EQ(state.maxPartSize, 2048);
    ASSERT_EQ(stateFromJson(json(Example), &state), QString());
    const QJsonObject saved = stateToJson(state);
    EXPECT_EQ(saved, json(R"({
        "maxPartSize": 8,
        "specials": [{"id": -12, "answer": "pong"}],
        "units": [
            {"scrAddr": 0, "desAddr": 0, "deviceType": 0, "portAddr": 0, "scanBoardAddr": 0,
             "blocks": [], "files": [], "fileSpace": 1048576, "memory": {"size": 0, "data": ""}},
            {"scrAddr": 1, "desAddr": 255, "deviceType": 3, "portAddr": 4, "scanBoardAddr": 65535,
             "blocks": [
                {"address": "0x0a000010", "data": "01ff10", "size": 3, "filled": 0},
                {"address": "0x0a000013", "data": "0a", "size": 4, "filled": 1},
                {"address": "0xffffffff", "data": "", "size": 1, "filled": 0}],
             "files": [{"name": "", "data": ""}, {"name": "a/b.txt", "data": "6869"}],
             "fileSpace": 199,
             "memory": {"size": 3, "data": "ab"}}]})"));
    DeviceState again;
    ASSERT_EQ(stateFromJson(saved, &again), QString());
    EXPECT_EQ(stateToJson(again), saved);
}

TEST(DeviceState, FaultsOfJsonAreNamed)
{
    const std::pair<const char *, const char *> rows[] = {
        {R"({"colour": 1})", "colour: there is no such member"},
        {R"({"maxPartSize": 0})", "maxPartSize: not a whole number from 1 to 2147483647"},
        {R"({"maxPartSize": "many"})", "maxPartSize: not a whole number from 1 to 2147483647"},
        {R"({"units": {}})", "units: not a list"},
        {R"({"units": [7]})", "units: 1: not an object"},
        {R"({"units": [{}, {}]})", "units: 2: scrAddr: there is a unit at this address already"},
        {R"({"units": [{"portAddr": 256}]})",
         "units: 1: portAddr: not a whole number from 0 to 255"},
        {R"({"units": [{"portAddr": -1, "desAddr": -1}]})",
         "units: 1: desAddr: not a whole number from 0 to 255"},
        {R"({"units": [{"blocks": [{"data": "0"}]}]})",
         "units: 1: blocks: 1: data: not hexadecimal digits of at most 16 MiB"},
        {R"({"units": [{"blocks": [{"data": "0102", "size": 1}]}]})",
         "units: 1: blocks: 1: size: not a whole number from 2 to 16777216"},
        {R"({"units": [{"blocks": [{"size": 16777217}]}]})",
         "units: 1: blocks: 1: size: not a whole number from 0 to 16777216"},
        {R"({"units": [{"blocks": [{"size": 2, "address": "0xFFFFFFFF"}]}]})",
         "units: 1: blocks: 1: address: not a whole number from 0 to 4294967294"},
        {R"({"units": [{"blocks": [{"size": 2, "filled": 3}]}]})",
         "units: 1: blocks: 1: filled: not a whole number from 0 to 2"},
        {R"({"units": [{"blocks": [{"size": 2, "address": 5}, {"size": 6}]}]})",
         "units: 1: blocks: 2: address: it overlaps a block before it"},
        {R"({"units": [{"blocks": [{"size": 6}, {"size": 2, "address": 5}]}]})",
         "units: 1: blocks: 2: address: it overlaps a block before it"},
        {R"({"units": [{"blocks": [{"address": 5, "size": 0}, {"address": 5, "size": 0}]}]})",
         "units: 1: blocks: 2: address: it overlaps a block before it"},
        {R"({"units": [{"blocks": [{"address": 5}]}]})", "units: 1: blocks: 1: size: missing"},
        {R"({"units": [{"files": [{"name": "a"}, {"data": "00"}]}]})",
         "units: 1: files: 2: name: missing"},
        {R"({"units": [{"memory": 5}]})", "units: 1: memory: not an object"},
        {R"({"specials": [{"id": 2147483648, "answer": "x"}]})",
         "specials: 1: id: not a whole number from -2147483648 to 2147483647"},
        {R"({"specials": [{"id": 1}]})", "specials: 1: answer: missing"},
    };
    for (const auto &[text, fault] : rows) {
        DeviceState state;
        state.maxPartSize = 77;
        EXPECT_EQ(stateFromJson(json(text), &state), QLatin1String(fault));
        EXPECT_EQ(state.maxPartSize, 77);
    }
}

TEST(DeviceState, DataIsBounded)
{
    constexpr int Most = 16777216;
    const auto read = [](int size) {
        const QJsonObject memory{{QStringLiteral("data"), QString(2 * size, QLatin1Char('0'))}};
        DeviceState state;
        return stateFromJson({{QStringLiteral("units"),
                               QJsonArray{QJsonObject{{QStringLiteral("memory"), memory}}}}},
                             &state);
    };
    EXPECT_EQ(read(Most), QString());
    EXPECT_EQ(read(Most + 1),
              QStringLiteral("units: 1: memory: data: not hexadecimal digits of at most 16 MiB"));
}

TEST(DeviceState, UnitsAreOrderedByEveryPartOfTheAddress)
{
    const UnitAddress rows[] = {
        {0, 0, 0, 0, 1}, {0, 0, 0, 1, 0}, {0, 0, 1, 0, 0}, {0, 1, 0, 0, 0}, {1, 0, 0, 0, 0}};
    UnitAddress before;
    for (const UnitAddress &row : rows) {
        EXPECT_TRUE(before < row);
        EXPECT_FALSE(row < before);
        EXPECT_FALSE(row < row);
        before = row;
    }
}

TEST(DeviceState, AddressesOfPackages)
{
    PackageBase package;
    package.setScrAddr(static_cast<char>(201));
    package.setDesAddr(static_cast<char>(202));
    package.setDeviceType(-53);
    package.setPortAddr(static_cast<char>(204));
    package.setScanBoardAddr(0xABCD);
    package.setHighAddr(0xFEDC);
    package.setLowAddr(0xBA98);
    const UnitAddress address = unitAddressOf(package);
    EXPECT_EQ(address.screen, 201);
    EXPECT_EQ(address.destination, 202);
    EXPECT_EQ(address.deviceType, 203);
    EXPECT_EQ(address.port, 204);
    EXPECT_EQ(address.scanBoard, 0xABCD);
    EXPECT_EQ(registerAddressOf(package), 0xFEDCBA98U);
}

} // namespace
