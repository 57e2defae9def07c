// The simulated device: its answers, byte by byte, and its state after them.

#include "generatedpackages.h"

#include <korvininspect/packagecheck.h>
#include <korvinsimulator/simulateddevice.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

using namespace KorvinSimulator;

namespace {

constexpr UnitAddress Here{0, 255, 1, 2, 65535};
constexpr UnitAddress Elsewhere{0, 255, 1, 3, 65535};
constexpr quint32 Register = 0x0A000010;
constexpr quint32 Buffer = 0x0A000100;

DeviceState exampleState()
{
    DeviceState state;
    Unit &unit = state.units[Here];
    unit.blocks[Register] = {hex("10 11 12 13 14 15 16 17 18 19 1A 1B")};
    unit.blocks[Buffer] = {hex("00 00 00 00 00 00 00 00")};
    unit.files[QStringLiteral("a.txt")] = "hello";
    unit.fileSpace = 2 * (64 + 5) + 16; // two files with names of 5 bytes and 16 bytes of contents
    unit.memory = "ABCDEFGH";
    state.specials[12] = QStringLiteral("pong");
    state.maxPartSize = 8;
    return state;
}

/// A request and its reply: hexadecimal digits for frames, the text for records.
struct Row
{
    const char *name;
    ClassId classId;
    Form form;
    const char *request;
    const char *reply;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

QByteArray bytesOf(Form form, const char *text)
{
    return form == Form::Text ? QByteArray(text) : hex(text);
}

#define HEADER "00 0100 6B 0100 74 03000000 0700 00 FF 01 02 FFFF "
#define READ HEADER "00 00 1000 000A "
#define READ_BUFFER HEADER "00 00 0001 000A "
#define WRITE HEADER "01 00 1000 000A "
#define WRITE_BUFFER HEADER "01 00 0001 000A "
#define READ_COLUMNS "7,k,1,0,255,2,65535,2560,16,0,read,3,t,"
#define READ_BUFFER_COLUMNS "7,k,1,0,255,2,65535,2560,256,0,read,3,t,"
#define WRITE_COLUMNS "7,k,1,0,255,2,65535,2560,16,0,write,3,t,"
#define WRITE_BUFFER_COLUMNS "7,k,1,0,255,2,65535,2560,256,0,write,3,t,"

constexpr auto Base = ClassId::PackageBase;
constexpr auto Read = ClassId::PackageRequestRead;
constexpr auto ReadData = ClassId::PackageRequestReadData;
constexpr auto ReadFile = ClassId::PackageRequestReadFile;
constexpr auto ReadMemory = ClassId::PackageRequestReadMemData;
constexpr auto Write = ClassId::PackageRequestWrite;
constexpr auto WriteData = ClassId::PackageRequestWriteData;
constexpr auto WriteIP = ClassId::PackageRequestWriteIP;
constexpr auto WriteFile = ClassId::PackageRequestWriteFile;
constexpr auto WriteMemory = ClassId::PackageRequestWriteMemData;
constexpr auto Special = ClassId::SpecialPackageRequest;
constexpr auto Combination = ClassId::PackageRequestCombination;

const Row Rows[] = {
    // Register requests: whether the register exists and is as wide as the request says.
    {"base frame", Base, Form::Frame, READ, "00 0700 00 01 00"},
    {"base record", Base, Form::Text, READ_COLUMNS "ok,ok", READ_COLUMNS "ok,ok,0"},
    {"register read frame", Read, Form::Frame, READ "0C000000 00", "00 0700 00 01 00"},
    {"register read record", Read, Form::Text, READ_COLUMNS "ok,ok,12,data",
     READ_COLUMNS "ok,ok,0,12,data"},
    {"register read of too many bytes", Read, Form::Frame, READ "0D000000 00", "00 0700 02 01 02"},
    {"register write frame", Write, Form::Frame, WRITE "00 00", "00 0700 00 01 00"},
    {"register write record", Write, Form::Text, WRITE_COLUMNS "ok,ok,false,data",
     WRITE_COLUMNS "ok,ok,0,false,data"},
    {"outcomes of the request do not matter", Base, Form::Text, READ_COLUMNS "timeout,abort",
     READ_COLUMNS "ok,ok,0"},

    // Data.
    {"data read frame", ReadData, Form::Frame, READ "03000000 00 03000000",
     "00 0700 00 01 00 03000000 10 11 12"},
    {"data read record", ReadData, Form::Text, READ_COLUMNS "ok,ok,3,data",
     READ_COLUMNS "ok,ok,0,3,data,3,16/17/18"},
    {"data read Linux frame", ReadData, Form::Linux,
     "55AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 7958",
     "55AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 10 11 12 AC58"},
    {"data read from the middle to the end", ReadData, Form::Frame,
     HEADER "00 00 1800 000A 04000000 00 04000000", "00 0700 00 01 00 04000000 18 19 1A 1B"},
    {"data read past the end, frame", ReadData, Form::Frame,
     HEADER "00 00 1800 000A 05000000 00 05000000", "00 0700 02 01 02 00000000"},
    {"data read past the end, record", ReadData, Form::Text,
     "7,k,1,0,255,2,65535,2560,24,0,read,3,t,ok,ok,5,data",
     "7,k,1,0,255,2,65535,2560,24,0,read,3,t,ok,memErr,2,1,data,1,0"},
    {"data read past the end, Linux frame", ReadData, Form::Linux,
     "55AA 00 07 00 FF 01 02 FFFF 00 00 1800 000A 0500 8358",
     "55AA 02 07 00 FF 01 02 FFFF 00 00 1800 000A 0000 8058"},
    {"data read of an unknown register, frame", ReadData, Form::Frame,
     HEADER "00 00 0F00 000A 01000000 00 01000000", "00 0700 05 01 0A 00000000"},
    {"data read past the last register", ReadData, Form::Frame,
     HEADER "00 00 0801 000A 01000000 00 01000000", "00 0700 05 01 0A 00000000"},
    {"data read of an unknown register, record", ReadData, Form::Text,
     "7,k,1,0,255,2,65535,2560,15,0,read,3,t,ok,ok,1,data",
     "7,k,1,0,255,2,65535,2560,15,0,read,3,t,ok,parsePackAddrFailure,5,1,data,1,0"},
    {"data read of an unknown unit, frame", ReadData, Form::Frame,
     "00 0100 6B 0100 74 03000000 0700 00 FF 01 09 FFFF 00 00 1000 000A 01000000 00 01000000",
     "00 0700 03 01 05 00000000"},
    {"data read of an unknown unit, Linux frame", ReadData, Form::Linux,
     "55AA 00 07 00 FF 01 09 FFFF 00 00 1000 000A 0100 7E58",
     "55AA 03 07 00 FF 01 09 FFFF 00 00 1000 000A 0000 8058"},
    {"data read of more than a part", ReadData, Form::Frame, READ "09000000 00 09000000",
     "00 0700 02 03 02 00000000"},
    {"data read of more than there can be", ReadData, Form::Frame, READ "FFFFFF7F 00 FFFFFF7F",
     "00 0700 02 03 02 00000000"},
    {"data read of nothing", ReadData, Form::Text, READ_COLUMNS "ok,ok,0,data",
     READ_COLUMNS "lengthErr,memErr,2,1,data,1,0"},
    {"data write frame", WriteData, Form::Frame, WRITE "00 00 03000000 01 FF 10",
     "00 0700 00 01 00"},
    {"data write record", WriteData, Form::Text, WRITE_COLUMNS "ok,ok,false,data,3,1/255/16",
     WRITE_COLUMNS "ok,ok,0,false,data,3,1/255/16"},
    {"data write Linux frame", WriteData, Form::Linux,
     "55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0300 01 FF 10 8A59",
     "55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0000 7758"},
    {"data write past the end", WriteData, Form::Frame,
     HEADER "01 00 1800 000A 00 00 05000000 01 02 03 04 05", "00 0700 02 01 02"},
    {"data write of more than a part", WriteData, Form::Frame,
     WRITE "00 00 09000000 01 02 03 04 05 06 07 08 09", "00 0700 02 03 02"},
    {"IP write frame", WriteIP, Form::Frame, WRITE "00 00 04000000 0A 00 00 01",
     "00 0700 00 01 00"},
    {"IP write record", WriteIP, Form::Text, WRITE_COLUMNS "ok,ok,false,data,4,10/0/0/1",
     WRITE_COLUMNS "ok,ok,0,false,data,4,10/0/0/1"},

    // Files.
    {"file read frame", ReadFile, Form::Frame, READ_BUFFER "05000000 01 0500 612E747874",
     "00 0700 00 01 00 0500 612E747874"},
    {"file read record", ReadFile, Form::Text, READ_BUFFER_COLUMNS "ok,ok,5,file,a.txt",
     READ_BUFFER_COLUMNS "ok,ok,0,5,file,a.txt"},
    {"file read, no such file", ReadFile, Form::Frame, READ_BUFFER "05000000 01 0500 622E747874",
     "00 0700 01 01 F7 0500 622E747874"},
    {"file read of more than there is", ReadFile, Form::Text,
     READ_BUFFER_COLUMNS "ok,ok,6,file,a.txt",
     READ_BUFFER_COLUMNS "ok,fileReadFailure,1,6,file,a.txt"},
    {"file read of more than the buffer holds", ReadFile, Form::Text,
     READ_BUFFER_COLUMNS "ok,ok,9,file,a.txt", READ_BUFFER_COLUMNS "ok,memErr,2,9,file,a.txt"},
    {"file read into no block", ReadFile, Form::Text,
     "7,k,1,0,255,2,65535,2560,17,0,read,3,t,ok,ok,5,file,a.txt",
     "7,k,1,0,255,2,65535,2560,17,0,read,3,t,ok,parsePackAddrFailure,5,5,file,a.txt"},
    {"file write frame as readers expect it", WriteFile, Form::Frame,
     WRITE_BUFFER "00 01 05000000 622E747874 00000000", "00 0700 00 01 00"},
    {"file write frame as it is written", WriteFile, Form::Frame,
     WRITE_BUFFER "00 01 00000000 622E747874", "00 0700 01 01 F9"},
    {"file write record", WriteFile, Form::Text, WRITE_BUFFER_COLUMNS "ok,ok,false,file,b.txt,0",
     WRITE_BUFFER_COLUMNS "ok,ok,0,false,file,b.txt,0"},
    {"file write past the end", WriteFile, Form::Text,
     WRITE_BUFFER_COLUMNS "ok,ok,false,file,b.txt,1",
     WRITE_BUFFER_COLUMNS "ok,fileWriteFailure,1,false,file,b.txt,1"},
    {"file write from no block", WriteFile, Form::Text,
     "7,k,1,0,255,2,65535,2560,17,0,write,3,t,ok,ok,false,file,b.txt,0",
     "7,k,1,0,255,2,65535,2560,17,0,write,3,t,ok,parsePackAddrFailure,5,false,file,b.txt,0"},

    // Memory.
    {"memory read frame", ReadMemory, Form::Frame, READ_BUFFER "04000000 02", "00 0700 00 01 00"},
    {"memory read record", ReadMemory, Form::Text, READ_BUFFER_COLUMNS "ok,ok,4,memData,4",
     READ_BUFFER_COLUMNS "ok,ok,0,4,memData,4"},
    {"memory read past the end", ReadMemory, Form::Text, READ_BUFFER_COLUMNS "ok,ok,4,memData,5",
     READ_BUFFER_COLUMNS "ok,memErr,2,4,memData,5"},
    {"memory read before the beginning", ReadMemory, Form::Text,
     READ_BUFFER_COLUMNS "ok,ok,4,memData,-1", READ_BUFFER_COLUMNS "ok,memErr,2,4,memData,-1"},
    {"memory read far past the end", ReadMemory, Form::Text,
     READ_BUFFER_COLUMNS "ok,ok,4,memData,2147483647",
     READ_BUFFER_COLUMNS "ok,memErr,2,4,memData,2147483647"},
    {"memory read of more than the buffer holds", ReadMemory, Form::Text,
     READ_BUFFER_COLUMNS "ok,ok,9,memData,0", READ_BUFFER_COLUMNS "ok,memErr,2,9,memData,0"},
    {"memory write frame", WriteMemory, Form::Frame, WRITE_BUFFER "00 02", "00 0700 00 01 00"},
    {"memory write record", WriteMemory, Form::Text, WRITE_BUFFER_COLUMNS "ok,ok,false,memData,4,4",
     WRITE_BUFFER_COLUMNS "ok,ok,0,false,memData,4,4"},
    {"memory write past the end", WriteMemory, Form::Text,
     WRITE_BUFFER_COLUMNS "ok,ok,false,memData,5,4",
     WRITE_BUFFER_COLUMNS "ok,memErr,2,false,memData,5,4"},
    {"memory write of more than the buffer holds", WriteMemory, Form::Text,
     WRITE_BUFFER_COLUMNS "ok,ok,false,memData,0,9",
     WRITE_BUFFER_COLUMNS "ok,memErr,2,false,memData,0,9"},

    // Special requests: a frame has no id, so it is 0 there.
    {"special record", Special, Form::Text, "12,0,ping", "12,0,pong,0"},
    {"unknown special record", Special, Form::Text, "13,0,ping", "13,0,ping,5"},
    {"special frame", Special, Form::Frame, READ, "00 0700 05 01 F5"},

    // Combinations: in order, each item with an outcome of its own.
    {"combination", Combination, Form::Text,
     "writeData^" WRITE_BUFFER_COLUMNS "ok,ok,false,data,3,1/2/3|writeFile^" WRITE_BUFFER_COLUMNS
     "ok,ok,false,file,c.txt,0|ReadFile^" READ_COLUMNS "ok,ok,3,file,c.txt|ReadData^" READ_COLUMNS
     "ok,ok,4,data|ReadFile^" READ_COLUMNS "ok,ok,3,file,d.txt|ReadData^" READ_COLUMNS
     "ok,ok,1,data",
     WRITE_BUFFER_COLUMNS
     "ok,ok,0,false,data,3,1/2/3|" WRITE_BUFFER_COLUMNS "ok,ok,0,false,file,c.txt,0|" READ_COLUMNS
     "ok,ok,0,3,file,c.txt|" READ_COLUMNS "ok,ok,0,4,data,4,1/2/3/19|" READ_COLUMNS
     "ok,fileNoExist,1,3,file,d.txt|" READ_COLUMNS "ok,ok,0,1,data,1,1"},
};

class SimulatedDeviceRow : public testing::TestWithParam<Row>
{
};

TEST_P(SimulatedDeviceRow, Answers)
{
    const Row &row = GetParam();
    SimulatedDevice device(exampleState());
    const Answer answer = device.answer(bytesOf(row.form, row.request), row.classId, row.form);
    EXPECT_TRUE(answer.verdict.isOk()) << describe(answer.verdict).toStdString();
    ASSERT_EQ(answer.replies.size(), 1U);
    EXPECT_EQ(answer.replies.front(), bytesOf(row.form, row.reply));
    EXPECT_EQ(answer.delay, 0);
    EXPECT_EQ(answer.fault, FaultKind::None);
}

INSTANTIATE_TEST_SUITE_P(Requests, SimulatedDeviceRow, testing::ValuesIn(Rows));

/// Sends a record, which must be carried out, and returns the reply.
QByteArray tell(SimulatedDevice &device, ClassId classId, const QByteArray &record)
{
    const Answer answer = device.answer(record, classId, Form::Text);
    EXPECT_TRUE(answer.verdict.isOk()) << describe(answer.verdict).toStdString();
    return answer.replies.empty() ? QByteArray() : answer.replies.front();
}

TEST(SimulatedDevice, ReadsBackWhatWasWrittenInAnyEncoding)
{
    const QByteArray data = hex("A0 A1 A2");
    PackageRequestWriteData write(QStringLiteral("k"), 0, 255, 1, 2, 65535, 0x0A00, 0x0012, 0, 3,
                                  QStringLiteral("t"), false, data, data.size());
    PackageRequestReadData read(QStringLiteral("k"), 0, 255, 1, 2, 65535, 0x0A00, 0x0012, 0, 3,
                                QStringLiteral("t"), data.size());
    for (const Form writing : {Form::Frame, Form::Text, Form::Linux}) {
        SimulatedDevice device(exampleState());
        QByteArray request;
        ASSERT_TRUE(encodePackage(write, {writing, Direction::Request}, &request).isOk());
        ASSERT_EQ(device.answer(request, WriteData, writing).replies.size(), 1U);
        for (const Form reading : {Form::Frame, Form::Text, Form::Linux}) {
            read.setData({});
            ASSERT_TRUE(encodePackage(read, {reading, Direction::Request}, &request).isOk());
            const QByteArray reply = device.answer(request, ReadData, reading).replies.at(0);
            ASSERT_TRUE(decodePackage(read, {reading, Direction::Reply}, reply).isOk());
            EXPECT_EQ(read.data(), data);
            EXPECT_TRUE(read.isPackageSuccess());
        }
        EXPECT_EQ(device.state().units[Here].blocks[Register].data,
                  hex("10 11 A0 A1 A2 15 16 17 18 19 1A 1B"));
    }
}

TEST(SimulatedDevice, SplitTransfersAdvanceTheRegister)
{
    DeviceState state = exampleState();
    state.units[Here].blocks[0x0000FFF0] = {QByteArray(40, '\0')}; // across the low word's end
    SimulatedDevice device(state);
    QByteArray data;
    for (int i = 0; i < 20; ++i)
        data.append(static_cast<char>(i));
    PackageRequestWriteData whole(QStringLiteral("k"), 0, 255, 1, 2, 65535, 0, 0xFFF0, 0, 3,
                                  QStringLiteral("t"), false, data, data.size());
    whole.setMaxPartSize(state.maxPartSize);
    whole.setPartCount(3); // 8 + 8 + 4 bytes
    int part = 0;
    for (; !whole.partSendComplete(part); ++part) {
        whole.setCurPartIndex(part);
        const QByteArray bytes = data.mid(part * whole.getMaxPartSize(), whole.getMaxPartSize());
        const quint32 address = 0xFFF0 + quint32(part * whole.getMaxPartSize());
        PackageRequestWriteData write(
            QStringLiteral("k"), 0, 255, 1, 2, 65535, static_cast<ushort>(address >> 16),
            static_cast<ushort>(address), 0, 3, QStringLiteral("t"), false, bytes, bytes.size());
        device.carryOut(write);
        EXPECT_TRUE(write.isPackageSuccess());
    }
    EXPECT_EQ(part, 3);
    const Block &block = device.state().units[Here].blocks[0xFFF0];
    EXPECT_EQ(block.data, data + QByteArray(20, '\0'));
    EXPECT_EQ(block.filled, 20);
}

TEST(SimulatedDevice, FilesAreWrittenInPartsFromTheBuffer)
{
    SimulatedDevice device(exampleState());
    Unit &unit = device.state().units[Here];
    const QString name = QStringLiteral("b.txt");
    const auto writePart = [&](const char *data, const char *offset) {
        tell(device, WriteData, QByteArray(WRITE_BUFFER_COLUMNS "ok,ok,false,data,") + data);
        return tell(device, WriteFile,
                    QByteArray(WRITE_BUFFER_COLUMNS "ok,ok,false,file,b.txt,") + offset);
    };
    writePart("3,97/98/99", "0");
    EXPECT_EQ(unit.files[name], "abc");
    writePart("2,100/101", "3");
    EXPECT_EQ(unit.files[name], "abcde");
    // The same part once more, as after a lost reply.
    writePart("2,100/101", "3");
    EXPECT_EQ(unit.files[name], "abcde");
    // 5 bytes of a.txt and 5 + 7 of this one are more than 16.
    EXPECT_EQ(writePart("7,1/2/3/4/5/6/7", "5"),
              WRITE_BUFFER_COLUMNS "ok,deviceSpaceNoEnough,2,false,file,b.txt,5");
    EXPECT_EQ(unit.files[name], "abcde");
    writePart("6,1/2/3/4/5/6", "5");
    EXPECT_EQ(unit.files[name], "abcde\1\2\3\4\5\6");
    // From the beginning: the file is a new one.
    writePart("1,120", "0");
    EXPECT_EQ(unit.files[name], "x");
}

TEST(SimulatedDevice, WritesToTheStartOfABlockBeginATransfer)
{
    SimulatedDevice device(exampleState());
    const Block &block = device.state().units[Here].blocks[Buffer];
    const auto write = [&](const char *lowWord, const char *data) {
        tell(device, WriteData,
             QByteArray("7,k,1,0,255,2,65535,2560,") + lowWord + ",0,write,3,t,ok,ok,false,data,"
                 + data);
        return block.filled;
    };
    EXPECT_EQ(write("256", "4,1/2/3/4"), 4);
    EXPECT_EQ(write("260", "3,5/6/7"), 7);
    EXPECT_EQ(write("257", "1,9"), 7);
    EXPECT_EQ(write("256", "2,8/8"), 2);
    EXPECT_EQ(block.data, hex("08 08 03 04 05 06 07 00"));
}

TEST(SimulatedDevice, MemoryGoesThroughTheBuffer)
{
    SimulatedDevice device(exampleState());
    Unit &unit = device.state().units[Here];
    tell(device, ReadMemory, READ_BUFFER_COLUMNS "ok,ok,3,memData,5");
    EXPECT_EQ(unit.blocks[Buffer].data, QByteArray("FGH\0\0\0\0\0", 8));
    EXPECT_EQ(unit.blocks[Buffer].filled, 3);
    tell(device, WriteMemory, WRITE_BUFFER_COLUMNS "ok,ok,false,memData,1,2");
    EXPECT_EQ(unit.memory, "AFGDEFGH");
    // A length of 0, as in frames, means all that the buffer is filled with.
    tell(device, WriteMemory, WRITE_BUFFER_COLUMNS "ok,ok,false,memData,0,0");
    EXPECT_EQ(unit.memory, "FGHDEFGH");
    tell(device, ReadFile, READ_BUFFER_COLUMNS "ok,ok,2,file,a.txt");
    EXPECT_EQ(unit.blocks[Buffer].data, QByteArray("heH\0\0\0\0\0", 8));
    EXPECT_EQ(unit.blocks[Buffer].filled, 2);
}

/// Lengths and offsets that no encoder writes, in packages made by hand.
TEST(SimulatedDevice, ImpossibleLengthsAreRefused)
{
    SimulatedDevice device(exampleState());
    const auto refused = [&](PackageBase &&package) {
        device.carryOut(package);
        return package.getPackResult() != OrvexEnum::PackOk && package.getAckCode() != 0;
    };
    const QString key = QStringLiteral("k");
    EXPECT_TRUE(refused(PackageRequestRead(key, 0, 255, 1, 2, 65535, 0x0A00, 0x0010, 0, 3, key,
                                           OrvexEnum::CommOk, -1, OrvexEnum::DataPackage)));
    EXPECT_TRUE(refused(
        PackageRequestReadMemData(key, 0, 255, 1, 2, 65535, 0x0A00, 0x0100, 0, 3, key, -1, 0L)));
    EXPECT_TRUE(refused(
        PackageRequestReadMemData(key, 0, 255, 1, 2, 65535, 0x0A00, 0x0011, 0, 3, key, 1, 0L)));
    EXPECT_TRUE(refused(PackageRequestWriteFile(key, 0, 255, 1, 2, 65535, 0x0A00, 0x0100, 0, 3, key,
                                                false, QStringLiteral("a.txt"), -1)));
    EXPECT_EQ(stateToJson(device.state()), stateToJson(exampleState()));
}

struct BroadcastRow
{
    const char *name;
    int size; ///< Of the register of the second unit; 0 for none.
    const char *lowWord;
    const char *outcome;
    const char *first;
    const char *second;
};

TEST(SimulatedDevice, BroadcastsReachEveryUnitThatHasTheRegister)
{
    const BroadcastRow rows[] = {
        {"both have it", 12, "16", "ok,ok,0", "0102 12 13", "0102 00 00"},
        {"the second has none", 0, "16", "ok,ok,0", "0102 12 13", ""},
        {"it is too short in the second", 1, "16", "ok,memErr,2", "0102 12 13", "00"},
        {"no unit has it", 12, "15", "ok,parsePackAddrFailure,5", "10 11 12 13", "00 00 00 00"},
        {"it is too short in both", 12, "27", "ok,memErr,2", "10 11 12 13", "00 00 00 00"},
    };
    for (const BroadcastRow &row : rows) {
        SCOPED_TRACE(row.name);
        DeviceState state = exampleState();
        Unit &second = state.units[Elsewhere];
        if (row.size > 0)
            second.blocks[Register] = {QByteArray(row.size, '\0')};
        SimulatedDevice device(state);
        const QByteArray common = QByteArray("7,k,1,0,255,9,65535,2560,") + row.lowWord;
        EXPECT_EQ(tell(device, WriteData, common + ",0,write,3,t,ok,ok,true,data,2,1/2"),
                  common + ",0,write,3,t," + row.outcome + ",true,data,2,1/2");
        EXPECT_EQ(device.state().units[Here].blocks[Register].data.left(4), hex(row.first));
        EXPECT_EQ(device.state().units[Elsewhere].blocks.value(Register).data.left(4),
                  hex(row.second));
    }
}

TEST(SimulatedDevice, BroadcastFailuresAreNotForgotten)
{
    DeviceState state = exampleState();
    state.units[{}].blocks[Register] = {QByteArray(1, '\0')}; // the first of all
    SimulatedDevice device(state);
    EXPECT_EQ(tell(device, WriteData, WRITE_COLUMNS "ok,ok,true,data,2,1/2"),
              WRITE_COLUMNS "ok,memErr,2,true,data,2,1/2");
    EXPECT_EQ(device.state().units[Here].blocks[Register].data.left(2), hex("01 02"));
}

TEST(SimulatedDevice, TheLowByteOfTheDeviceTypeCounts)
{
    DeviceState state;
    state.units[{1, 2, 200, 4, 5}].blocks[0x00060007] = {hex("AB")};
    SimulatedDevice device(state);
    // A Linux frame's device type is read as a signed byte.
    const Answer answer = device.answer(
        hex("55AA 00 09 01 02 C8 04 0500 00 00 0700 0600 0100 4056"), ReadData, Form::Linux);
    ASSERT_EQ(answer.replies.size(), 1U) << describe(answer.verdict).toStdString();
    EXPECT_EQ(answer.replies.front(),
              hex("55AA 00 09 01 02 C8 04 0500 00 00 0700 0600 0100 AB EB56"));
}

struct FaultRow
{
    const char *name;
    KorvinSimulator::Fault fault;
    Form form;
    std::vector<const char *> replies;
    int delay;
    bool carriedOut;
};

KorvinSimulator::Fault fault(FaultKind kind, quint32 position = 0)
{
    KorvinSimulator::Fault fault;
    fault.kind = kind;
    fault.position = position;
    fault.delay = 70;
    fault.outcome = {9, OrvexEnum::CommCrcErr, OrvexEnum::PackAbort};
    return fault;
}

TEST(SimulatedDevice, FaultsOnDemand)
{
    const char *const good = "00 0700 00 01 00";
    const char *const goodLinux = "55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0000 7758";
    const FaultRow rows[] = {
        {"none", fault(FaultKind::None), Form::Frame, {good}, 0, true},
        {"lost request", fault(FaultKind::DropRequest), Form::Frame, {}, 0, false},
        {"lost reply", fault(FaultKind::DropReply), Form::Frame, {}, 0, true},
        {"late", fault(FaultKind::Delay), Form::Frame, {good}, 70, true},
        {"corrupt, bit 3 of byte 4",
         fault(FaultKind::Corrupt, 35),
         Form::Frame,
         {"00 0700 00 09 00"},
         0,
         true},
        {"corrupt, more than the reply has",
         fault(FaultKind::Corrupt, 48 + 7),
         Form::Frame,
         {"80 0700 00 01 00"},
         0,
         true},
        {"truncated", fault(FaultKind::Truncate, 6 + 2), Form::Frame, {"00 07"}, 0, true},
        {"truncated to nothing", fault(FaultKind::Truncate, 6), Form::Frame, {""}, 0, true},
        {"twice", fault(FaultKind::Duplicate), Form::Frame, {good, good}, 0, true},
        {"stale", fault(FaultKind::StaleSerial), Form::Frame, {"00 0600 00 01 00"}, 0, true},
        {"stale, Linux",
         fault(FaultKind::StaleSerial),
         Form::Linux,
         {"55AA 00 06 00 FF 01 02 FFFF 01 00 1000 000A 0000 7658"},
         0,
         true},
        {"outcome", fault(FaultKind::Result), Form::Frame, {"00 0700 09 02 FE"}, 0, false},
        {"outcome, Linux",
         fault(FaultKind::Result),
         Form::Linux,
         {"55AA 09 07 00 FF 01 02 FFFF 01 00 1000 000A 0000 8058"},
         0,
         false},
    };
    for (const FaultRow &row : rows) {
        SCOPED_TRACE(row.name);
        SimulatedDevice device(exampleState());
        device.setFaults(FaultPlan::scripted({row.fault}));
        const QByteArray request = row.form == Form::Frame
            ? hex(WRITE "00 00 03000000 01 FF 10")
            : hex("55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0300 01 FF 10 8A59");
        const Answer answer = device.answer(request, WriteData, row.form);
        EXPECT_TRUE(answer.verdict.isOk());
        EXPECT_EQ(answer.fault, row.fault.kind);
        EXPECT_EQ(answer.delay, row.delay);
        std::vector<QByteArray> expected;
        for (const char *reply : row.replies)
            expected.push_back(hex(reply));
        EXPECT_EQ(answer.replies, expected);
        EXPECT_EQ(device.state().units[Here].blocks[Register].data.left(3),
                  row.carriedOut ? hex("01 FF 10") : hex("10 11 12"));

        // The script is over.
        EXPECT_EQ(device.answer(request, WriteData, row.form).replies.at(0),
                  row.form == Form::Frame ? hex(good) : hex(goodLinux));
    }
}

TEST(SimulatedDevice, RepliesWithAGivenOutcomeHaveNoData)
{
    SimulatedDevice device(exampleState());
    device.setFaults(FaultPlan::scripted({fault(FaultKind::Result)}));
    EXPECT_EQ(device.answer(hex(READ "03000000 00 03000000"), ReadData, Form::Frame).replies.at(0),
              hex("00 0700 09 02 FE 00000000"));
}

TEST(SimulatedDevice, StaleSerialNumbersStayFrom1To255)
{
    const std::pair<const char *, const char *> rows[] = {
        {"0,", "255,"}, {"1,", "255,"}, {"2,", "1,"}, {"255,", "254,"}};
    for (const auto &[serial, stale] : rows) {
        SimulatedDevice device(exampleState());
        device.setFaults(FaultPlan::scripted({fault(FaultKind::StaleSerial)}));
        const char *const common = "k,1,0,255,2,65535,2560,16,0,read,3,t,ok,ok";
        EXPECT_EQ(tell(device, Base, serial + QByteArray(common)),
                  stale + QByteArray(common) + ",0");
    }
}

TEST(SimulatedDevice, FaultsMeetWholeCombinations)
{
    SimulatedDevice device(exampleState());
    device.setFaults(FaultPlan::scripted({fault(FaultKind::Result)}));
    EXPECT_EQ(tell(device, Combination,
                   "ReadFile^" READ_COLUMNS "ok,ok,3,file,a.txt|ReadData^" READ_COLUMNS
                   "ok,ok,4,data"),
              READ_COLUMNS "crcErr,abort,9,3,file,a.txt|" READ_COLUMNS "crcErr,abort,9,1,data,1,0");
}

TEST(SimulatedDevice, RefusesWhatCheckRefuses)
{
    const Row rows[] = {
        {"empty frame", ReadData, Form::Frame, "", nullptr},
        {"truncated", WriteData, Form::Frame, WRITE "00 00 04000000 01 FF 10", nullptr},
        {"reply", ReadData, Form::Frame, "01 0700 00 01 00 00000000", nullptr},
        {"wrong checksum", ReadData, Form::Linux,
         "55AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 7858", nullptr},
        {"short Linux frame", ReadData, Form::Linux, "5555", nullptr},
        {"no such form", ReadFile, Form::Linux, "5555", nullptr},
        {"empty record", Combination, Form::Text, "", nullptr},
        {"last item broken", Combination, Form::Text,
         "ReadData^" READ_COLUMNS "ok,ok,4,data|ReadData^x", nullptr},
        {"not UTF-8", Special, Form::Text, "12,0,\xFF", nullptr},
    };
    SimulatedDevice device(exampleState());
    device.setFaults(FaultPlan::scripted({fault(FaultKind::Duplicate)}));
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Answer answer = device.answer(bytesOf(row.form, row.request), row.classId, row.form);
        EXPECT_FALSE(answer.verdict.isOk());
        EXPECT_TRUE(answer.replies.empty());
        EXPECT_EQ(answer.fault, FaultKind::None);
    }
    EXPECT_EQ(stateToJson(device.state()), stateToJson(exampleState()));
    // They do not use up the script of faults.
    EXPECT_EQ(device.answer("12,0,ping", Special, Form::Text).replies.size(), 2U);
}

/// Any input is refused, or answered with a reply that its reader accepts.
TEST(SimulatedDevice, EveryReplyCanBeRead)
{
    Generator generator(20261);
    SimulatedDevice device(exampleState());
    int answered = 0;
    for (int i = 0; i < 20000; ++i) {
        const PackageClass &ofClass = generator.anyClass();
        auto package = generator.consistentPackage(ofClass);
        if (generator.oneIn(2)) { // addressed to the unit
            package->setScrAddr(0);
            package->setDesAddr(static_cast<char>(255));
            package->setDeviceType(1);
            package->setPortAddr(2);
            package->setScanBoardAddr(65535);
            package->setHighAddr(0x0A00);
            package->setLowAddr(generator.oneIn(2) ? 0x0010 : 0x0100);
        }
        Encoding encoding = generator.anyEncoding(ofClass);
        encoding.direction = Direction::Request;
        QByteArray request;
        ASSERT_TRUE(encodePackage(*package, encoding, &request).isOk());
        if (generator.oneIn(2))
            request = generator.mutated(request, encoding.form);

        const Answer answer = device.answer(request, ofClass.id, encoding.form);
        EXPECT_EQ(answer.replies.size(), answer.verdict.isOk() ? 1U : 0U);
        // No record of a special request's reply is accepted.
        if (answer.replies.empty() || ofClass.id == Special)
            continue;
        const Verdict verdict =
            check(answer.replies.front(), {ofClass.id, encoding.form, Direction::Reply});
        EXPECT_TRUE(verdict.isOk())
            << ofClass.name.toStdString() << ' ' << answer.replies.front().toHex().toStdString()
            << ' ' << describe(verdict).toStdString();
        ++answered;
    }
    EXPECT_GT(answered, 5000);
}

/// Counts requests; knows a special request of its own.
class OwnDevice : public SimulatedDevice
{
public:
    using SimulatedDevice::SimulatedDevice;

    void carryOut(PackageBase &request) override
    {
        ++requests;
        SimulatedDevice::carryOut(request);
        if (classOf(request).id == Special) {
            request.setAckCode(0);
            request.setPackResult(OrvexEnum::PackOk);
        }
    }

    int requests = 0;
};

TEST(SimulatedDevice, CanBeExtended)
{
    OwnDevice device(exampleState());
    EXPECT_EQ(tell(device, Special, "99,0,x"), "99,0,x,0");
    tell(device, Combination,
         "ReadFile^" READ_COLUMNS "ok,ok,3,file,a.txt|ReadData^" READ_COLUMNS "ok,ok,4,data");
    EXPECT_EQ(device.requests, 3);
    const SimulatedDevice &constant = device;
    EXPECT_EQ(constant.state().specials.size(), 1);
}

} // namespace
