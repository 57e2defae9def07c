// Configurations: what is read, how mistakes are told, and that what is saved is read again.

#include "testsupport.h"

#include <korvinsimulator/configureddevice.h>

using namespace KorvinSimulator;

namespace {

QString readOnly(const QByteArray &json, std::vector<ConfiguredDevice> *devices)
{
    return readConfiguration(json, {}, devices);
}

QJsonObject get(ConfiguredDevice &device, const char *range)
{
    return device.control({{QStringLiteral("command"), QStringLiteral("get")},
                           {QStringLiteral("range"), QLatin1String(range)}});
}

QByteArray compact(const QJsonValue &value)
{
    return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
}

struct ValueRow
{
    const char *members; ///< Of a range.
    const char *value;   ///< As it is read.
    const char *bytes;
};

TEST(Configuration, RangesHaveTypes)
{
    const ValueRow rows[] = {
        {R"("type": "uint8", "value": 255)", "[255]", "FF"},
        {R"("type": "uint16", "value": 258)", "[258]", "02 01"},
        {R"("type": "uint16", "value": 258, "byteOrder": "big")", "[258]", "01 02"},
        {R"("type": "uint16", "value": 258, "byteOrder": "little")", "[258]", "02 01"},
        {R"("type": "uint32", "value": "0x01020304")", "[16909060]", "04 03 02 01"},
        {R"("type": "uint64", "value": "18446744073709551615")", R"(["18446744073709551615"])",
         "FF FF FF FF FF FF FF FF"},
        {R"("type": "uint64", "value": 1, "byteOrder": "big")", "[1]", "00 00 00 00 00 00 00 01"},
        {R"("type": "int8", "value": -1)", "[-1]", "FF"},
        {R"("type": "int16", "value": -2, "byteOrder": "big")", "[-2]", "FF FE"},
        {R"("type": "int32", "value": -3)", "[-3]", "FD FF FF FF"},
        {R"("type": "int64", "value": "-9223372036854775807")", R"(["-9223372036854775807"])",
         "01 00 00 00 00 00 00 80"},
        {R"("type": "int64", "value": "-9223372036854775808")", R"(["-9223372036854775808"])",
         "00 00 00 00 00 00 00 80"},
        {R"("type": "float32", "value": 1.5)", "[1.5]", "00 00 C0 3F"},
        {R"("type": "float32", "value": 3.4028234663852886e38)", "[3.4028234663852886e+38]",
         "FF FF 7F 7F"},
        {R"("type": "float32", "value": "-1.5")", "[-1.5]", "00 00 C0 BF"},
        {R"("type": "float64", "value": "1e300")", "[1e+300]", "9C 75 00 88 3C E4 37 7E"},
        {R"("type": "float64", "value": -2, "byteOrder": "big")", "[-2]",
         "C0 00 00 00 00 00 00 00"},
        {R"("type": "text", "size": 4, "value": "ab")", R"(["ab"])", "61 62 00 00"},
        {R"("type": "text", "size": 2, "value": "ab")", R"(["ab"])", "61 62"},
        {R"("type": "text", "size": 2, "behaviour": {"kind": "list", "values": ["ab"], "every": 1})",
         R"(["ab"])", "61 62"},
        {R"("type": "uint8", "repeat": 3)", "[[0,0,0]]", "00 00 00"},
        {R"("type": "uint8", "repeat": 3, "value": 7)", "[[7,7,7]]", "07 07 07"},
        {R"("type": "uint8", "repeat": 3, "value": [1, 2])", "[[1,2,0]]", "01 02 00"},
        {R"("type": "uint8", "repeat": 3, "fill": 9)", "[[9,9,9]]", "09 09 09"},
        {R"("type": "uint8", "repeat": 3, "fill": 9, "value": [1])", "[[1,9,9]]", "01 09 09"},
    };
    for (const ValueRow &row : rows) {
        SCOPED_TRACE(row.members);
        std::vector<ConfiguredDevice> devices;
        const QByteArray json =
            QByteArray(R"({"units": [{"ranges": [{"name": "r", "address": 16, )") + row.members
            + "}]}]}";
        ASSERT_EQ(readOnly(json, &devices), QString());
        EXPECT_EQ(compact(get(devices[0], "r").value(QStringLiteral("value"))),
                  QByteArray(row.value));
        const QJsonObject raw =
            devices[0].control({{QStringLiteral("command"), QStringLiteral("get")},
                                {QStringLiteral("address"), 16},
                                {QStringLiteral("size"), hex(row.bytes).size()}});
        EXPECT_EQ(hex(raw.value(QStringLiteral("data")).toString().toLatin1()), hex(row.bytes));
        const QJsonObject more =
            devices[0].control({{QStringLiteral("command"), QStringLiteral("get")},
                                {QStringLiteral("address"), 16},
                                {QStringLiteral("size"), hex(row.bytes).size() + 1}});
        EXPECT_TRUE(more.contains(QStringLiteral("error"))) << "there are no more bytes";
    }
}

TEST(Configuration, SpecialFloatsHaveWords)
{
    const std::pair<const char *, const char *> rows[] = {
        {"0000C07F", R"(["nan"])"}, {"0000807F", R"(["inf"])"}, {"000080FF", R"(["-inf"])"}};
    for (const auto &[bytes, word] : rows) {
        std::vector<ConfiguredDevice> devices;
        const QByteArray json = QByteArray(R"({"units": [{"blocks": [{"address": 0, "data": ")")
            + bytes + R"("}], "ranges": [{"name": "r", "address": 0, "type": "float32"}]}]})";
        ASSERT_EQ(readOnly(json, &devices), QString());
        EXPECT_EQ(compact(get(devices[0], "r").value(QStringLiteral("value"))), QByteArray(word));
    }
}

TEST(Configuration, RangesThatTouchBecomeOneBlock)
{
    std::vector<ConfiguredDevice> devices;
    ASSERT_EQ(readOnly(R"({"units": [{"blocks": [{"address": 100, "size": 8}], "ranges": [
        {"name": "second", "address": 2, "type": "uint16"},
        {"name": "first", "address": 0, "type": "uint16"},
        {"name": "apart", "address": 6, "type": "uint8"},
        {"name": "inside", "address": 102, "type": "uint8", "value": 5}]}]})",
                       &devices),
              QString());
    QByteArray blocks;
    const QJsonArray units = devices[0].toJson().value(QStringLiteral("units")).toArray();
    for (const QJsonValue block :
         units.at(0).toObject().value(QStringLiteral("blocks")).toArray()) {
        const QJsonObject members = block.toObject();
        blocks += members.value(QStringLiteral("address")).toString().toLatin1() + ':'
            + QByteArray::number(members.value(QStringLiteral("size")).toInt()) + ' ';
    }
    EXPECT_EQ(blocks, "0x00000000:4 0x00000006:1 0x00000064:8 ");
}

const char Example[] = R"({
    "$schema": "korvin-device.schema.json",
    "name": "bench",
    "listen": [{"tcp": "127.0.0.1:5001"}, {"unix": "/tmp/s", "framing": "lines"},
               {"serial": "/dev/ttyS0", "baud": 9600}, {"pty": ""}],
    "seed": 7,
    "bandwidth": 1000,
    "limits": {"connections": 5, "messageSize": 6, "unsentSize": 7},
    "maxPartSize": 99,
    "specials": [{"id": 12, "answer": "pong"}],
    "units": [
        {"name": "left", "portAddr": 2,
         "ranges": [
            {"name": "counter", "address": "0x0A000010", "type": "uint32",
             "behaviour": {"kind": "count", "every": 1000}},
            {"name": "reads", "address": "0x0A000014", "type": "uint8", "behaviour": {"kind": "count"}},
            {"name": "slow", "address": "0x0A000020", "type": "uint16", "value": 7,
             "delay": {"mean": 100, "deviation": 20}},
            {"name": "reset", "address": "0x0A000030", "type": "uint8", "access": "write",
             "onWrite": {"set": [{"range": "slow", "value": 0}], "delay": 5,
                         "outcome": {"ackCode": 9, "commResult": "timeout", "packResult": "cancel"}}}],
         "files": [{"name": "a", "text": "hello"}, {"name": "b", "data": "00FF"}]},
        {"portAddr": 3, "memory": {"size": 4, "data": "0102"}}],
    "faults": [{"kind": "lostReply", "chance": 0.5}, {"script": ["none", "close"], "unit": "2"}]
})";

TEST(Configuration, IsReadWhole)
{
    std::vector<ConfiguredDevice> devices;
    ASSERT_EQ(readOnly(Example, &devices), QString());
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].name(), QStringLiteral("bench"));
    EXPECT_EQ(devices[0].limits().connections, 5);
    EXPECT_EQ(devices[0].limits().messageSize, 6);
    EXPECT_EQ(devices[0].limits().unsentSize, 7);
    const std::vector<Endpoint> endpoints = devices[0].endpoints();
    ASSERT_EQ(endpoints.size(), 4U);
    EXPECT_EQ(endpoints[0].kind, QStringLiteral("tcp"));
    EXPECT_EQ(endpoints[0].place, QStringLiteral("127.0.0.1"));
    EXPECT_EQ(endpoints[0].port, 5001);
    EXPECT_EQ(endpoints[0].framing, QStringLiteral("prefix"));
    EXPECT_EQ(endpoints[1].kind, QStringLiteral("unix"));
    EXPECT_EQ(endpoints[1].framing, QStringLiteral("lines"));
    EXPECT_EQ(endpoints[2].baud, 9600);
    EXPECT_EQ(endpoints[2].framing, QStringLiteral("linux"));
    EXPECT_EQ(endpoints[3].place, QString());
    const QByteArray saved = QJsonDocument(devices[0].toJson()).toJson(QJsonDocument::Compact);
    EXPECT_TRUE(saved.contains(R"({"data":"68656c6c6f","name":"a"})")) << "its text in UTF-8";
}

TEST(Configuration, WhatIsSavedIsReadToTheSameDevice)
{
    std::vector<ConfiguredDevice> devices;
    ASSERT_EQ(readOnly(Example, &devices), QString());
    devices[0].setTime(std::chrono::milliseconds(100));
    devices[0].setTime(std::chrono::milliseconds(4200));
    for (int i = 0; i < 5; ++i) {
        devices[0].answer("7,k,0,0,0,2,0,2560,20,0,read,3,t,ok,ok,1,data",
                          ClassId::PackageRequestReadData, Form::Text);
    }
    EXPECT_EQ(get(devices[0], "counter").value(QStringLiteral("value")).toInt(), 4);
    const QJsonObject saved = configurationOf({&devices[0]});
    EXPECT_EQ(saved.value(QStringLiteral("clock")).toInt(), 4100);
    std::vector<ConfiguredDevice> again;
    ASSERT_EQ(readOnly(QJsonDocument(saved).toJson(), &again), QString());
    EXPECT_EQ(configurationOf({&again[0]}), saved);
    again[0].setTime(std::chrono::milliseconds(0));
    devices[0].setTime(std::chrono::milliseconds(6200));
    again[0].setTime(std::chrono::milliseconds(2000));
    EXPECT_EQ(get(again[0], "counter"), get(devices[0], "counter"));
    for (int i = 0; i < 20; ++i) {
        const char request[] = "7,k,0,0,0,2,0,2560,20,0,read,3,t,ok,ok,1,data";
        EXPECT_EQ(
            again[0].answer(request, ClassId::PackageRequestReadData, Form::Text).answer.replies,
            devices[0].answer(request, ClassId::PackageRequestReadData, Form::Text).answer.replies);
    }
}

TEST(Configuration, HasSeveralDevices)
{
    const QByteArray json =
        R"({"$schema": "s", "devices": [{"name": "a"}, {"name": "b", "seed": 2}]})";
    std::vector<ConfiguredDevice> devices;
    ASSERT_EQ(readOnly(json, &devices), QString());
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[1].name(), QStringLiteral("b"));
    const QJsonObject saved = configurationOf({&devices[0], &devices[1]});
    ASSERT_EQ(readOnly(QJsonDocument(saved).toJson(), &devices), QString());
    EXPECT_EQ(configurationOf({&devices[0], &devices[1]}), saved);
}

TEST(Configuration, FilesComeFromTheReader)
{
    const QByteArray json = R"({"units": [{"files": [{"name": "a", "from": "x"}]}]})";
    const auto readFile = [](const QString &name, QByteArray *contents) {
        *contents = name.toUtf8() + "yz";
        return QString();
    };
    const auto failing = [](const QString &, QByteArray *) {
        return QStringLiteral("no such file");
    };
    const auto endless = [](const QString &, QByteArray *contents) {
        *contents = QByteArray(268435457, 'x');
        return QString();
    };
    std::vector<ConfiguredDevice> devices;
    ASSERT_EQ(readConfiguration(json, readFile, &devices), QString());
    EXPECT_TRUE(QJsonDocument(devices[0].toJson()).toJson().contains("78797a"));
    EXPECT_EQ(readConfiguration(json, failing, &devices),
              QStringLiteral("1:45: units: 1: files: 1: from: no such file"));
    EXPECT_EQ(readConfiguration(json, endless, &devices),
              QStringLiteral(
                  "1:45: units: 1: files: 1: from: all units together hold more than 256 MiB"));
    EXPECT_EQ(readConfiguration(json, {}, &devices),
              QStringLiteral("1:45: units: 1: files: 1: from: files cannot be read here"));
}

struct Mistake
{
    const char *json;
    const char *message;
};

/// Mistakes in members of a device.
const Mistake Mistakes[] = {
    {"", "1:1: illegal value"},
    {"{\n \"units\": [,]}", "2:13: illegal value"},
    {"[]", "1:1: not an object"},
    {"{}x", "1:3: garbage at the end of the document"},
    {R"({"a": 1, "b": {}, "a": 2})", "1:19: a: there is a member of this name already"},
    {R"({"b": [{"a": "x\"", "\u0061": 2}]})", "1:21: a: there is a member of this name already"},
    {"{\n  \"colour\": 1}", "2:13: colour: there is no such member"},
    {R"({"colour": {"there is no such member": 1}})", "1:40: colour: there is no such member"},
    {R"({"units": [{"ranges": [{"name": "a", "address": 16, "type": "uint32"},
                               {"name": "b", "address": 18, "type": "uint8"}]}]})",
     "2:57: units: 1: ranges: 2: address: it overlaps \"a\""},
    {R"({"devices": []})", "1:13: devices: none"},
    {R"({"devices": [[]]})", "1:14: devices: 1: not an object"},
    {R"({"devices": [{"name": "a"}, {"name": "a"}]})",
     "1:38: devices: 2: name: there is a device \"a\" already"},
    {R"({"units": 1})", "1:11: units: not a list"},
    {R"({"units": [{"name": "a/b"}]})", "1:21: units: 1: name: not a text without \"/\""},
    {R"({"units": [{"name": ""}]})", "1:21: units: 1: name: not a text without \"/\""},
    {R"({"units": [{"name": "a"}, {"name": "a", "portAddr": 1}]})",
     "1:36: units: 2: name: there is a unit \"a\" already"},
    {R"({"units": [{"files": [{"name": "a"}, {"name": "a"}]}]})",
     "1:47: units: 1: files: 2: name: there is a file \"a\" already"},
    {R"({"units": [{"files": [{"name": "a", "text": "b", "data": "00"}]}]})",
     "1:58: units: 1: files: 1: data: only one of text, from, data"},
    {R"({"units": [{"files": [{"name": "a", "text": "", "from": "b"}]}]})",
     "1:23: units: 1: files: 1: data: only one of text, from, data"},
    {R"({"units": [{"blocks": [{"address": 1}]}]})", "1:24: units: 1: blocks: 1: size: missing"},
    {R"({"units": [{"blocks": [{"address": 1, "size": 4}, {"address": 3, "size": 4}]}]})",
     "1:63: units: 1: blocks: 2: address: it overlaps a block before it"},
    {R"({"units": [{"files": [{"name": "abc", "size": 34}], "fileSpace": 100}]})",
     "1:22: units: 1: files: they take 101 bytes with their names and entries; fileSpace is 100"},
    {R"({"specials": [{"id": 1, "answer": ""}, {"id": 1, "answer": ""}]})",
     "1:47: specials: 2: id: there is an answer to 1 already"},
    {R"({"specials": [{"id": 1, "answer": "a,b"}]})",
     "1:35: specials: 1: answer: a \",\" would end it"},
    {R"({"units": [{"memory": []}]})", "1:23: units: 1: memory: not an object"},
    {R"({"bandwidth": 0})", "1:15: bandwidth: not a whole number from 1 to 2147483647"},
    {R"({"limits": []})", "1:12: limits: not an object"},
    {R"({"limits": {"connections": 0}})",
     "1:28: limits: connections: not a whole number from 1 to 2147483647"},
    {R"({"limits": {"messageSize": 16777217}})",
     "1:28: limits: messageSize: not a whole number from 1 to 16777216"},
    {R"({"listen": [{}]})", "1:13: listen: 1: tcp: missing; or unix, serial, pty"},
    {R"({"listen": [{"tcp": "5001"}]})", "1:21: listen: 1: tcp: not ADDRESS:PORT"},
    {R"({"listen": [{"tcp": "a:"}]})", "1:21: listen: 1: tcp: not ADDRESS:PORT"},
    {R"({"listen": [{"tcp": "a:65536"}]})", "1:21: listen: 1: tcp: not ADDRESS:PORT"},
    {R"({"listen": [{"tcp": "a:-1"}]})", "1:21: listen: 1: tcp: not ADDRESS:PORT"},
    {R"({"listen": [{"tcp": "a:+1"}]})", "1:21: listen: 1: tcp: not ADDRESS:PORT"},
    {R"({"listen": [{"tcp": 5}]})", "1:21: listen: 1: tcp: not ADDRESS:PORT"},
    {R"({"listen": [{"unix": 5}]})", "1:22: listen: 1: unix: not a path"},
    {R"({"listen": [{"unix": ""}]})", "1:22: listen: 1: unix: empty"},
    {R"({"listen": [{"unix": "a", "pty": ""}]})", "1:34: listen: 1: pty: there is unix already"},
    {R"({"listen": [{"tcp": "a:1", "baud": 9600}]})",
     "1:36: listen: 1: baud: there is no such member"},
    {R"({"listen": [{"pty": "", "framing": "raw"}]})",
     "1:36: listen: 1: framing: not one of prefix, lines, linux"},
    {R"({"faults": {}})", "1:12: faults: not a list"},
    {R"({"faults": [{}]})", "1:13: faults: 1: kind: missing"},
    {R"({"faults": [7]})", "1:13: faults: 1: not an object"},
    {R"({"faults": [{"kind": "lost"}]})",
     "1:22: faults: 1: kind: not one of none, lostRequest, lostReply, delay, corrupt, truncate, "
     "duplicate, staleSerial, result, silence, close, restart, slices, any"},
    {R"({"faults": [{"kind": "close", "chance": "5%"}]})",
     "1:41: faults: 1: chance: not a number from 0 to 1"},
    {R"({"faults": [{"kind": "close", "chance": 1.5}]})",
     "1:41: faults: 1: chance: not a number from 0 to 1"},
    {R"({"faults": [{"kind": "close", "class": "Read"}]})",
     "1:40: faults: 1: class: not the name of a class"},
    {R"({"faults": [{"kind": "close", "access": "rw"}]})",
     "1:41: faults: 1: access: not read or write"},
    {R"({"faults": [{"kind": "close", "unit": "a"}]})",
     "1:39: faults: 1: unit: not the name of a unit"},
    {R"({"faults": [{"kind": "close", "address": 4294967295, "size": 2}]})",
     "1:62: faults: 1: size: not a whole number from 1 to 1"},
    {R"({"faults": [{"kind": "close", "size": 2}]})", "1:13: faults: 1: address: missing"},
    {R"({"faults": [{"script": []}]})", "1:24: faults: 1: script: empty"},
    {R"({"faults": [{"kind": "delay"}]})", "1:13: faults: 1: delay: missing"},
    {R"({"faults": [{"script": ["none", "delay"]}]})",
     "1:33: faults: 1: script: 2: delay: missing"},
    {R"({"faults": [{"kind": "slices", "pause": 5}]})", "1:13: faults: 1: bytes: missing"},
    {R"({"faults": [{"kind": "close", "delay": 1}]})",
     "1:40: faults: 1: delay: there is no such member"},
    {R"({"faults": [{"script": ["close", "shut"]}]})",
     "1:34: faults: 1: script: 2: kind: not one of none, lostRequest, lostReply, delay, corrupt, "
     "truncate, duplicate, staleSerial, result, silence, close, restart, slices, any"},
    {R"({"faults": [{"kind": "delay", "delay": -1}]})",
     "1:40: faults: 1: delay: not a number from 0 to 600000"},
    {R"({"faults": [{"kind": "delay", "delay": {"from": 5, "to": 4}}]})",
     "1:58: faults: 1: delay: to: not a number from 5 to 600000"},
    {R"({"faults": [{"kind": "delay", "delay": {"from": 5}}]})",
     "1:40: faults: 1: delay: to: missing"},
    {R"({"faults": [{"kind": "delay", "delay": {"from": -1, "to": 4}}]})",
     "1:49: faults: 1: delay: from: not a number from 0 to 600000"},
    {R"({"faults": [{"kind": "delay", "delay": {"from": 1, "to": 600001}}]})",
     "1:58: faults: 1: delay: to: not a number from 1 to 600000"},
    {R"({"faults": [{"kind": "delay", "delay": {"mean": 5, "deviation": -1}}]})",
     "1:65: faults: 1: delay: deviation: not a number from 0 to 600000"},
    {R"({"faults": [{"kind": "delay", "delay": {"median": 5, "sigma": 11}}]})",
     "1:63: faults: 1: delay: sigma: not a number from 0 to 10"},
    {R"({"faults": [{"kind": "slices", "bytes": 0}]})",
     "1:41: faults: 1: bytes: not a whole number from 1 to 2147483647"},
    {R"({"faults": [{"kind": "slices", "bytes": 1, "pause": 10001}]})",
     "1:53: faults: 1: pause: not a whole number from 0 to 10000"},
    {R"({"faults": [{"kind": "delay", "delay": {"mean": 5}}]})",
     "1:40: faults: 1: delay: deviation: missing"},
    {R"({"faults": [{"kind": "delay", "delay": {"median": 5}}]})",
     "1:40: faults: 1: delay: sigma: missing"},
};

/// Mistakes in members of a range of uint8 at address 16, which "name" comes before.
const Mistake RangeMistakes[] = {
    {R"("type": "uint8")", "name: missing"},
    {R"("name": "a/b", "type": "uint8")", "name: a \"/\" stands after the name of a unit"},
    {R"("name": "r")", "type: missing"},
    {R"("name": "r", "type": "byte")",
     "type: not one of uint8, uint16, uint32, uint64, int8, int16, int32, int64, float32, "
     "float64, text"},
    {R"("name": "r", "type": "text")", "size: missing"},
    {R"("name": "r", "type": "uint8", "byteOrder": "middle")", "byteOrder: not little or big"},
    {R"("name": "r", "type": "uint8", "repeat": 0)",
     "repeat: not a whole number from 1 to 16777216"},
    {R"("name": "r", "type": "uint16", "repeat": 8388609)",
     "repeat: not a whole number from 1 to 8388608"},
    {R"("name": "r", "type": "uint8", "access": "rw")",
     "access: not one of read, write, readWrite, none"},
    {R"("name": "r", "type": "uint8", "value": 256)", "value: not a whole number from 0 to 255"},
    {R"("name": "r", "type": "uint8", "value": "x")", "value: not a whole number from 0 to 255"},
    {R"("name": "r", "type": "uint8", "onWrite": {"outcome": {"packResult": "bad"}})",
     "onWrite: outcome: packResult: not one of ok, fileErr, memErr, fileDeleteErr, "
     "directoryCreateErr, invalidPort, parseFailure, messageDisconnect, forceCancel, sendError, "
     "parsePackAddrFailure, failure, disConnect, fileNoExist, fileReadFailure, fileCreatFailure, "
     "fileWriteFailure, deviceSpaceNoEnough, cancelWait, cancel, abort, timeOut"},
    {R"("name": "r", "type": "int8", "value": 128)", "value: not a whole number from -128 to 127"},
    {R"("name": "r", "type": "int8", "value": -129)", "value: not a whole number from -128 to 127"},
    {R"("name": "r", "type": "int8", "value": "x")", "value: not a whole number from -128 to 127"},
    {R"("name": "r", "type": "uint64", "value": 18446744073709551615)",
     "value: not a whole number from 0 to 18446744073709551615, as text beyond 9007199254740991"},
    {R"("name": "r", "type": "int64", "value": -9223372036854775808)",
     "value: not a whole number from -9223372036854775808 to 9223372036854775807, as text beyond "
     "9007199254740991"},
    {R"("name": "r", "type": "float32", "value": "x")",
     "value: not a number from -3.40282e+38 to 3.40282e+38"},
    {R"("name": "r", "type": "float32", "value": true)",
     "value: not a number from -3.40282e+38 to 3.40282e+38"},
    {R"("name": "r", "type": "float32", "value": 1e39)",
     "value: not a number from -3.40282e+38 to 3.40282e+38"},
    {R"("name": "r", "type": "float32", "value": "nan")",
     "value: not a number from -3.40282e+38 to 3.40282e+38"},
    {R"("name": "r", "type": "float64", "value": "inf")",
     "value: not a number from -1.79769e+308 to 1.79769e+308"},
    {R"("name": "r", "type": "text", "size": 2, "value": "abc")",
     "value: not a text of at most 2 bytes"},
    {R"("name": "r", "type": "text", "size": 2, "value": 5)",
     "value: not a text of at most 2 bytes"},
    {R"("name": "r", "type": "uint8", "fill": 256)", "fill: not a whole number from 0 to 255"},
    {R"("name": "r", "type": "uint8", "repeat": 2, "value": [1, 2, 3])",
     "value: not a whole number from 0 to 255, or a list of at most 2 of them"},
    {R"("name": "r", "type": "uint8", "repeat": 2, "value": [256])",
     "value: not a whole number from 0 to 255, or a list of at most 2 of them"},
    {R"("name": "r", "type": "uint8", "behaviour": 5)", "behaviour: not an object"},
    {R"("name": "r", "type": "uint8", "behaviour": {})", "behaviour: kind: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "jump"})",
     "behaviour: kind: not one of count, ramp, sine, list, random, echo"},
    {R"("name": "r", "type": "text", "size": 2, "behaviour": {"kind": "count"})",
     "behaviour: kind: a text can only be a list or an echo"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "count", "step": 0.5})",
     "behaviour: step: not a whole number"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "ramp", "to": 1, "period": 5})",
     "behaviour: from: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "count", "from": 256})",
     "behaviour: from: not a whole number from 0 to 255"},
    {R"("name": "r", "type": "float32", "behaviour": {"kind": "count", "from": 1e39})",
     "behaviour: from: not a number from -3.40282e+38 to 3.40282e+38"},
    {R"("name": "r", "type": "float32", "behaviour": {"kind": "count", "step": -1e39})",
     "behaviour: step: not a number from -3.40282e+38 to 3.40282e+38"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "random", "low": -1, "high": 5})",
     "behaviour: low: not a number from 0 to 255"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "random", "low": 1, "high": 256})",
     "behaviour: high: not a number from 1 to 255"},
    {R"("name": "r", "type": "float64", "behaviour": {"kind": "random", "low": 5, "high": 4})",
     "behaviour: high: not a number from 5 to 1e+300"},
    {R"("name": "r", "type": "float64", "behaviour": {"kind": "random", "low": -1e301})",
     "behaviour: high: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "ramp", "from": 1, "period": 5})",
     "behaviour: to: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "sine", "low": 1, "high": 2})",
     "behaviour: period: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "list", "values": []})",
     "behaviour: values: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "list", "values": [1, 256]})",
     "behaviour: values: 2: not a whole number from 0 to 255"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "random", "low": 1})",
     "behaviour: high: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "echo"})", "behaviour: of: missing"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "echo", "of": "none"})",
     "behaviour: of: not a range of this unit that has as many bytes and is not an echo "
     "itself"},
    {R"("name": "r", "type": "uint8", "behaviour": {"kind": "echo", "of": "r"})",
     "behaviour: of: not a range of this unit that has as many bytes and is not an echo "
     "itself"},
    {R"("name": "r", "type": "uint16", "behaviour": {"kind": "echo", "of": "other"})",
     "behaviour: of: not a range of this unit that has as many bytes and is not an echo "
     "itself"},
    {R"("name": "r", "type": "uint8", "onWrite": [])", "onWrite: not an object"},
    {R"("name": "r", "type": "uint8", "onWrite": {"set": [{"value": 1}]})",
     "onWrite: set: 1: range: missing"},
    {R"("name": "r", "type": "uint8", "onWrite": {"set": [{"range": "other"}]})",
     "onWrite: set: 1: value: missing"},
    {R"("name": "r", "type": "uint8", "onWrite": {"set": [{"range": "none", "value": 1}]})",
     "onWrite: set: 1: range: there is no \"none\""},
    {R"("name": "r", "type": "uint8", "onWrite": {"set": [{"range": "other", "value": 256}]})",
     "onWrite: set: 1: value: not a whole number from 0 to 255"},
    {R"("name": "r", "type": "uint8", "onWrite": {"outcome": {"ackCode": 0}})",
     "onWrite: outcome: ackCode: not a whole number from 1 to 127"},
    {R"("name": "r", "type": "uint8", "onWrite": {"outcome": {"commResult": "bad"}})",
     "onWrite: outcome: commResult: not one of pending, ok, crcErr, lengthErr, portErr, timeout, "
     "codeErr, forcedCancel"},
    {R"("name": "other", "type": "uint8")", "name: there is a range of this name already"},
    {R"("name": "r", "type": "uint16", "repeat": 9)", "address: it overlaps \"other\""},
    {R"("name": "r", "type": "uint64", "repeat": 2)", "address: only a part of it is in a block"},
};

TEST(Configuration, MistakesAreToldWithTheirPlace)
{
    for (const Mistake &row : Mistakes) {
        std::vector<ConfiguredDevice> devices;
        EXPECT_EQ(readOnly(row.json, &devices), QLatin1String(row.message)) << row.json;
        EXPECT_TRUE(devices.empty());
    }
}

TEST(Configuration, MistakesInRangesAreToldWithTheirPlace)
{
    for (const Mistake &row : RangeMistakes) {
        const QByteArray json = QByteArray(R"({"units": [{"blocks": [{"address": 24, "size": 4}],
            "ranges": [{"name": "other", "address": 33, "type": "uint8"},
                       {"address": 16, )")
            + row.json + "}]}]}";
        std::vector<ConfiguredDevice> devices;
        const QString fault = readOnly(json, &devices);
        EXPECT_EQ(fault.section(QStringLiteral(": "), 1),
                  QLatin1String("units: 1: ranges: 2: ") + QLatin1String(row.message))
            << row.json;
        EXPECT_TRUE(fault.startsWith(QLatin1String("3:"))) << fault.toStdString();
    }
}

TEST(Configuration, RangesMustNotOverlapBlocksInPart)
{
    const Mistake rows[] = {
        {R"("address": 7, "type": "uint16")",
         "1:69: units: 1: ranges: 1: address: only a part of it is in a block"},
        {R"("address": 9, "type": "uint16")",
         "1:69: units: 1: ranges: 1: address: only a part of it is in a block"},
        {R"("type": "uint8")", "1:69: units: 1: ranges: 1: address: missing"},
        {R"("address": 4294967295, "type": "uint16")",
         "1:94: units: 1: ranges: 1: address: not a whole number from 0 to 4294967294"},
    };
    for (const Mistake &row : rows) {
        std::vector<ConfiguredDevice> devices;
        const QString fault = readOnly(
            QByteArray(
                R"({"units": [{"blocks": [{"address": 8, "size": 2}], "ranges": [{"name": "r", )")
                + row.json + "}]}]}",
            &devices);
        EXPECT_EQ(fault.section(QStringLiteral(": "), 1),
                  QString::fromLatin1(row.message).section(QStringLiteral(": "), 1));
    }
}

TEST(Configuration, SizesAreBoundedTogether)
{
    const QByteArray block = R"({"size": 16777216, "address": )";
    const QByteArray range = R"({"type": "uint8", "repeat": 16777216, "name": )";
    QByteArray blocks;
    QByteArray ranges;
    for (int i = 0; i < 17; ++i) {
        const QByteArray address = QByteArray::number(i * 16777216LL);
        blocks += (i > 0 ? "," : "") + block + address + "}";
        ranges +=
            (i > 0 ? "," : "") + range + "\"r" + address + "\", \"address\": " + address + "}";
    }
    std::vector<ConfiguredDevice> devices;
    EXPECT_EQ(
        readOnly(R"({"units": [{"blocks": [)" + blocks + "]}]}", &devices)
            .section(QStringLiteral(": "), 1),
        QStringLiteral("units: 1: blocks: 17: size: all units together hold more than 256 MiB"));
    EXPECT_EQ(
        readOnly(R"({"units": [{"ranges": [)" + ranges + "]}]}", &devices)
            .section(QStringLiteral(": "), 1),
        QStringLiteral("units: 1: ranges: 17: repeat: all units together hold more than 256 MiB"));
}

} // namespace
