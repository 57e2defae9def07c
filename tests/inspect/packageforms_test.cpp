// Packages of every class in every form, encoded and decoded without knowing the class.

#include "generatedpackages.h"
#include "testsupport.h"
#include "testvectors.h"

#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwriteip.h>
#include <specialpackagerequest.h>

#include <limits>

namespace {

constexpr Encoding LinuxReplies{Form::Linux, Direction::Reply, ReplySize::Short};

/// The results of a package, its status in a Linux frame, and what a reader makes of that.
struct StatusRow
{
    uint ackCode;
    int commResult;
    int packResult;
    const char *frame;
    uint readAckCode;
    int readCommResult;
    int readPackResult;
};

// The checksum is 0x555A plus the status.
const StatusRow StatusRows[] = {
    {0, 1, 0, "55AA 00 05 00 00 00 00 0000 00 00 0000 0000 0000 5A55", 0, 1, 0},
    {5, 1, 0, "55AA 05 05 00 00 00 00 0000 00 00 0000 0000 0000 5F55", 5, 6, 5},
    {5, 4, 247, "55AA 05 05 00 00 00 00 0000 00 00 0000 0000 0000 5F55", 5, 6, 5},
    {127, 1, 0, "55AA 7F 05 00 00 00 00 0000 00 00 0000 0000 0000 D955", 127, 128, 127},
    {200, 1, 0, "55AA C8 05 00 00 00 00 0000 00 00 0000 0000 0000 2256", 0xFFFFFFC8, -55, -56},
    {256, 1, 0, "55AA FF 05 00 00 00 00 0000 00 00 0000 0000 0000 5956", 0xFFFFFFFF, 0, -1},
    {0, 2, 0, "55AA 01 05 00 00 00 00 0000 00 00 0000 0000 0000 5B55", 1, 2, 1},
    {0, 5, 255, "55AA 04 05 00 00 00 00 0000 00 00 0000 0000 0000 5E55", 4, 5, 4},
    {0, 0, 0, "55AA FF 05 00 00 00 00 0000 00 00 0000 0000 0000 5956", 0xFFFFFFFF, 0, -1},
    {0, 257, 0, "55AA FF 05 00 00 00 00 0000 00 00 0000 0000 0000 5956", 0xFFFFFFFF, 0, -1},
    {0, 1, 10, "55AA 0A 05 00 00 00 00 0000 00 00 0000 0000 0000 6455", 10, 11, 10},
    {0, 1, 245, "55AA F5 05 00 00 00 00 0000 00 00 0000 0000 0000 4F56", 0xFFFFFFF5, -10, -11},
    {0, 1, 256, "55AA FF 05 00 00 00 00 0000 00 00 0000 0000 0000 5956", 0xFFFFFFFF, 0, -1},
};

TEST(PackageForms, StatusOfALinuxReplyIsTheFirstResultThatFails)
{
    for (const StatusRow &row : StatusRows) {
        SCOPED_TRACE(row.frame);
        PackageRequestReadData package;
        package.setSerialNum(5);
        package.setAckCode(row.ackCode);
        package.setCommResult(OrvexEnum::CommResults(row.commResult));
        package.setPackResult(OrvexEnum::PackageResults(row.packResult));
        QByteArray frame;
        ASSERT_TRUE(encodePackage(package, LinuxReplies, &frame).isOk());
        EXPECT_EQ(frame, hex(row.frame));

        PackageRequestReadData read;
        ASSERT_TRUE(decodePackage(read, LinuxReplies, frame).isOk());
        EXPECT_EQ(read.getAckCode(), row.readAckCode);
        EXPECT_EQ(read.getCommResult(), row.readCommResult);
        EXPECT_EQ(read.getPackResult(), row.readPackResult);
        EXPECT_EQ(read.isPackageSuccess(), package.isPackageSuccess());
    }
}

TEST(PackageForms, LinuxReplyHasEveryFieldOfTheHeaderAndTheDataOfARead)
{
    // The checksum is 0x5555 plus 1447 of the header and 483 of the data.
    const QByteArray reply = hex("55AA 02 66 77 88 99 AA CCBB 00 DD 1F0E 3C2D 0300 A0 A1 A2 DF5C");
    PackageRequestReadData read(QStringLiteral("key"), 0x77, 0x88, 0x99, 0xAA, 0xBBCC, 0x2D3C,
                                0x0E1F, 0xDD, 3, QStringLiteral("tag"), hex("A0 A1 A2"), 17);
    read.setSerialNum(0x5566);
    read.setAckCode(2);
    QByteArray frame;
    ASSERT_TRUE(encodePackage(read, LinuxReplies, &frame).isOk());
    EXPECT_EQ(frame, reply);
    EXPECT_TRUE(
        check(frame, {ClassId::PackageRequestReadData, Form::Linux, Direction::Reply}).isOk());

    // A write is answered with its header alone: 0x5555 plus 1443.
    PackageRequestWriteIP write(QStringLiteral("key"), 0x77, 0x88, 0x99, 0xAA, 0xBBCC, 0x2D3C,
                                0x0E1F, 0xDD, 3, QStringLiteral("tag"), false, hex("A0 A1 A2"), 3);
    write.setSerialNum(0x66);
    ASSERT_TRUE(encodePackage(write, LinuxReplies, &frame).isOk());
    EXPECT_EQ(frame, hex("55AA 00 66 77 88 99 AA CCBB 01 DD 1F0E 3C2D 0000 F85A"));
}

TEST(PackageForms, LinuxReplyCarriesAtMostWhatItsLengthCounts)
{
    PackageRequestReadData read;
    QByteArray frame("before");
    read.setData(QByteArray(65536, 'x'));
    const Verdict verdict = encodePackage(read, LinuxReplies, &frame);
    EXPECT_EQ(describe(verdict),
              QStringLiteral("data at 18: out of range: at most 65535 bytes expected, "
                             "65536 bytes found"));
    EXPECT_EQ(frame, QByteArray("before"));
    read.setData(QByteArray(65535, 'x'));
    ASSERT_TRUE(encodePackage(read, LinuxReplies, &frame).isOk());
    EXPECT_EQ(frame.size(), 20 + 65535);
    PackageRequestReadData decoded;
    ASSERT_TRUE(decodePackage(decoded, LinuxReplies, frame).isOk());
    EXPECT_EQ(decoded.data(), read.data());
}

TEST(PackageForms, ClassesWithoutALinuxFrame)
{
    for (const PackageClass &listed : packageClasses()) {
        for (const Direction direction : {Direction::Request, Direction::Reply}) {
            const std::unique_ptr<PackageBase> package = listed.create();
            QByteArray frame("before");
            const bool has = exists({listed.id, Form::Linux, direction});
            const Encoding encoding{Form::Linux, direction, ReplySize::Short};
            EXPECT_EQ(int(encodePackage(*package, encoding, &frame).refusal),
                      int(has ? Refusal::None : Refusal::NoSuchForm));
            EXPECT_EQ(frame == "before", !has);
            EXPECT_EQ(int(decodePackage(*package, encoding, hex("55AA 5555")).refusal),
                      int(has ? Refusal::None : Refusal::NoSuchForm));
        }
    }
}

TEST(PackageForms, DecodersSayWhatIsWrong)
{
    const auto faultOf = [](PackageBase &package, const Encoding &encoding, const char *input) {
        const QJsonObject before = snapshot(package);
        QString fault = describe(decodePackage(package, encoding, input));
        EXPECT_EQ(snapshot(package), before);
        return fault;
    };
    PackageRequestReadData read;
    EXPECT_EQ(faultOf(read, {Form::Text, Direction::Request}, "1,2"),
              QStringLiteral("too few: 17 columns expected, 2 found"));
    EXPECT_EQ(faultOf(read, LinuxReplies, "xx"),
              QStringLiteral("at 2: truncated: at least 20 bytes expected, 2 bytes found"));
    int consumed = 0;
    EXPECT_TRUE(
        decodePackage(read, {Form::Frame, Direction::Reply}, hex("00 0500 00 01 00"), &consumed)
            .isOk());
    EXPECT_EQ(consumed, 6);
}

/// Messages that a new package is decoded from: the vectors of every form that check() accepts.
TEST(PackageForms, MessagesDecodeAsTheirClassDecodesThem)
{
    const LogCapture log; // short blocks are reported
    std::vector<FormOfVector> forms(std::begin(EncodedForms), std::end(EncodedForms));
    forms.push_back(LinuxReply);
    int decodedOnes = 0;
    for (const Vector &vector : allVectors()) {
        const PackageClass &itsClass = *packageClass(vector.className);
        for (const FormOfVector &form : forms) {
            const QJsonValue expected = vector.content.value(QLatin1String(form.name));
            const MessageShape shape{itsClass.id, form.encoding.form, form.encoding.direction};
            const QByteArray message = encodedForm(expected.toObject());
            const Verdict verdict = check(message, shape);
            const bool isSpecialReply = itsClass.id == ClassId::SpecialPackageRequest
                && form.encoding.form == Form::Text && form.encoding.direction == Direction::Reply;
            if (expected.isUndefined() || isSpecialReply)
                continue;
            SCOPED_TRACE(vector.className.toStdString() + ' ' + form.name);
            std::unique_ptr<PackageBase> decoded = itsClass.create();
            EXPECT_EQ(describe(decodeMessage(message, shape, &decoded)), describe(verdict));
            EXPECT_EQ(decoded != nullptr, verdict.isOk());
            const bool isFull = form.encoding.replySize == ReplySize::Full;
            const bool isDataRead = itsClass.id == ClassId::PackageRequestReadData;
            if (!verdict.isOk() || isFull || (isDataRead && form.encoding.form == Form::Frame))
                continue;
            const std::unique_ptr<PackageBase> again = itsClass.create();
            EXPECT_TRUE(decodePackage(*again, form.encoding, message).isOk());
            EXPECT_EQ(snapshot(*decoded), snapshot(*again));
            ++decodedOnes;
        }
    }
    EXPECT_GT(decodedOnes, 50);
}

#define HEADER " 0100 6B 0100 74 03000000 0700 01 FE 03 04 0605 00 08 0A09 0C0B "
#define WRITE_HEADER " 0100 6B 0100 74 03000000 0700 01 FE 03 04 0605 01 08 0A09 0C0B "

/// Frames that their class does not read back as they were written.
struct MessageRow
{
    const char *name;
    MessageShape shape;
    const char *message; // hexadecimal digits, or a record
    uint ackCode;
    int commResult;
    int packResult;
    int dataLength;
    const char *data;
};

void PrintTo(const MessageRow &row, std::ostream *out)
{
    *out << row.name;
}

constexpr MessageShape DataReadRequest{ClassId::PackageRequestReadData, Form::Frame,
                                       Direction::Request};
constexpr MessageShape DataReadReply{ClassId::PackageRequestReadData, Form::Frame,
                                     Direction::Reply};

const MessageRow MessageRows[] = {
    {"request of a data read", DataReadRequest, "00" HEADER "03000000 00 03000000", 0, 1, 0, 3, ""},
    {"request of a data read that announces 2 GiB", DataReadRequest,
     "00" HEADER "FFFFFF7F 00 FFFFFF7F", 0, 1, 0, 0x7FFFFFFF, ""},
    {"request of a data read with data", DataReadRequest,
     "00" HEADER "03000000 00 03000000 A0 A1 A2", 0, 1, 0, 3, "A0 A1 A2"},
    {"short reply of a data read", DataReadReply, "00 0700 02 03 02 02000000 A0 A1", 2, 3, 2, 2,
     "A0 A1"},
    {"full reply",
     {ClassId::PackageBase, Form::Frame, Direction::Reply},
     "01" HEADER "05 00 03 00 F7 00",
     5,
     3,
     247,
     0,
     ""},
    {"full reply of a register read",
     {ClassId::PackageRequestRead, Form::Frame, Direction::Reply},
     "01" HEADER "03000000 00 05 00 03 00 F7 00 03000000 00",
     5,
     3,
     247,
     3,
     ""},
    {"full reply of a data read", DataReadReply,
     "01" HEADER "02000000 00 02000000 A0 A1 00 00 01 00 00 00 02000000 00 02000000 A0 A1", 0, 1, 0,
     2, "A0 A1"},
    {"full reply of a data read without data", DataReadReply,
     "01" HEADER "02000000 00 02000000 02 00 01 00 02 00 02000000 00 02000000", 2, 1, 2, 2, ""},
    {"full reply of a data write",
     {ClassId::PackageRequestWriteData, Form::Frame, Direction::Reply},
     "01" WRITE_HEADER "00 00 02000000 A0 A1 05 00 03 00 F7 00 00 00 02000000 A0 A1",
     5,
     3,
     247,
     2,
     "A0 A1"},
};

class Messages : public testing::TestWithParam<MessageRow>
{
};

TEST_P(Messages, DecodeAsAnEncoderWritesThem)
{
    const MessageRow &row = GetParam();
    std::unique_ptr<PackageBase> package;
    const Verdict verdict = decodeMessage(hex(row.message), row.shape, &package);
    ASSERT_TRUE(package) << describe(verdict).toStdString();
    EXPECT_EQ(package->getSerialNum(), 7U);
    EXPECT_EQ(package->getAckCode(), row.ackCode);
    EXPECT_EQ(package->getCommResult(), row.commResult);
    EXPECT_EQ(package->getPackResult(), row.packResult);
    EXPECT_EQ(package->getDataLength(), row.dataLength);
    EXPECT_EQ(package->data(), hex(row.data));
    if (row.message[1] == '1') {
        EXPECT_EQ(package->getTag(), QStringLiteral("t"));
        EXPECT_EQ(package->getHighAddr(), 0x0B0C);
    }
}

INSTANTIATE_TEST_SUITE_P(Frames, Messages, testing::ValuesIn(MessageRows));

TEST(PackageForms, ReplyRecordOfASpecialRequest)
{
    const MessageShape shape{ClassId::SpecialPackageRequest, Form::Text, Direction::Reply};
    std::unique_ptr<PackageBase> package;
    ASSERT_TRUE(decodeMessage("12,3,pong,2147483647", shape, &package).isOk());
    const auto &special = static_cast<const SpecialPackageRequest &>(*package);
    EXPECT_EQ(special.id(), 12);
    EXPECT_EQ(special.getTimeout(), 3);
    EXPECT_EQ(special.strData(), QStringLiteral("pong"));
    EXPECT_EQ(special.getAckCode(), 2147483647U);
    EXPECT_EQ(special.getSerialNum(), 0U);

    const std::pair<const char *, const char *> refused[] = {
        {"12,3,pong", "too few: 3 columns expected, 2 found"},
        {"12,3,pong,0,0", "too many: 3 columns expected, 4 found"},
        {"", "too few: 3 columns expected, 1 found"},
        {"x,3,pong,0",
         "id at 0: not a number: a number from -2147483648 to 2147483647 expected, "
         "\"x\" found"},
        {"12,3,pong,",
         "ackCode at 3: not a number: a number from 0 to 2147483647 expected, \"\" "
         "found"},
        {"12,3,pong,-1",
         "ackCode at 3: not a number: a number from 0 to 2147483647 expected, "
         "\"-1\" found"},
        {"12,3,pong,01",
         "ackCode at 3: not a number: a number from 0 to 2147483647 expected, "
         "\"01\" found"},
        {"12,3,pong,2147483648",
         "ackCode at 3: not a number: a number from 0 to 2147483647 "
         "expected, \"2147483648\" found"},
    };
    for (const auto &[record, fault] : refused) {
        EXPECT_EQ(describe(decodeMessage(record, shape, &package)), QLatin1String(fault));
        EXPECT_EQ(package, nullptr);
    }
}

TEST(PackageForms, MessagesThatAreRefused)
{
    std::unique_ptr<PackageBase> package = std::make_unique<PackageBase>();
    EXPECT_EQ(
        int(decodeMessage("1", {ClassId::PackageRequestCombination, Form::Text}, &package).refusal),
        int(Refusal::NoSuchForm));
    EXPECT_EQ(package, nullptr);
    EXPECT_EQ(int(decodeMessage("1", {ClassId::PackageRequestRead, Form::Linux}, &package).refusal),
              int(Refusal::NoSuchForm));
    EXPECT_EQ(describe(decodeMessage(
                  hex("00 0500"), {ClassId::PackageBase, Form::Frame, Direction::Reply}, &package)),
              QStringLiteral("ackCode at 3: truncated: 1 byte expected, 0 bytes found"));
}

#define RECORD "7,k,1,0,255,2,3,2560,16,0,"

TEST(PackageForms, Combinations)
{
    PackageRequestWriteData write(QStringLiteral("k"), 0, 255, 1, 2, 3, 2560, 16, 0, 9,
                                  QStringLiteral("t"), false, hex("01 FF"), 2);
    PackageRequestReadData read(QStringLiteral("k"), 0, 255, 1, 2, 3, 2560, 16, 0, 9,
                                QStringLiteral("u"), 4);
    write.setSerialNum(7);
    read.setSerialNum(7);
    const QByteArray expected = "writeData^" RECORD "write,9,t,ok,ok,false,data,2,1/255|"
                                "ReadData^" RECORD "read,9,u,ok,ok,4,data";
    QByteArray record;
    ASSERT_TRUE(encodeCombination({&write, &read}, &record).isOk());
    EXPECT_EQ(record, expected);
    std::vector<std::unique_ptr<PackageBase>> packages;
    ASSERT_TRUE(decodeCombination(record, &packages).isOk());
    ASSERT_EQ(packages.size(), 2U);
    EXPECT_EQ(packages.at(0)->data(), hex("01 FF"));
    EXPECT_EQ(packages.at(1)->getDataLength(), 4);
    EXPECT_EQ(packages.at(1)->getTag(), QStringLiteral("u"));

    EXPECT_EQ(describe(decodeCombination(record + "|", &packages)),
              QStringLiteral("item 3, too few: 2 parts expected, 1 found"));
    EXPECT_TRUE(packages.empty());
    EXPECT_TRUE(encodeCombination({}, &record).isOk());
    EXPECT_EQ(record, QByteArray());

    PackageRequestWriteIP address;
    EXPECT_EQ(describe(encodeCombination({&write, &address}, &record)),
              QStringLiteral("item 2, type at 0: unknown class PackageRequestWriteIP; expected one "
                             "that a combination carries"));
    for (const char *separator : {"|", "^"}) {
        read.setTag(QLatin1String(separator));
        EXPECT_EQ(describe(encodeCombination({&read}, &record)),
                  QStringLiteral("item 1, too many: a record without \"|\" and \"^\" expected, "
                                 "\"7,k,1,0,255,2,3,2560,16,0,read,9,%1,ok,ok,4,data\" found")
                      .arg(QLatin1String(separator)));
    }
}

TEST(PackageForms, ClassesById)
{
    for (const PackageClass &listed : packageClasses())
        EXPECT_EQ(packageClass(listed.id), &listed);
    EXPECT_EQ(packageClass(ClassId::PackageRequestCombination), nullptr);
}

TEST(PackageForms, NewPackagesDrawNoSerialNumber)
{
    packageClasses();
    const quint64 before = PackageBase::makeSerialNum();
    for (const PackageClass &listed : packageClasses())
        EXPECT_EQ(listed.create()->getSerialNum(), 0U);
    EXPECT_EQ(PackageBase::makeSerialNum(), before % 255 + 1);
}

TEST(PackageForms, NewPackagesAskForNothing)
{
    const QJsonObject nothing{
        {QStringLiteral("replyDataLength"), 0}, {QStringLiteral("packageDataLength"), 0},
        {QStringLiteral("offset"), 0},          {QStringLiteral("fileNameWithPath"), QString()},
        {QStringLiteral("data"), QString()},    {QStringLiteral("broadcast"), false}};
    for (const PackageClass &listed : packageClasses()) {
        const QJsonObject created = snapshot(*listed.create());
        for (auto member = created.begin(); member != created.end(); ++member) {
            EXPECT_TRUE(!nothing.contains(member.key()) || nothing.value(member.key()) == *member)
                << member.key().toStdString() << " of " << listed.name.toStdString();
        }
    }
}

TEST(PackageForms, AReplyIsThatOfItsRequest)
{
    CheckOptions options;
    options.request = "12,3,ping";
    const MessageShape shape{ClassId::SpecialPackageRequest, Form::Text, Direction::Reply};
    std::unique_ptr<PackageBase> package;
    EXPECT_TRUE(decodeMessage("12,4,pong,0", shape, &package, options).isOk());
    EXPECT_EQ(describe(decodeMessage("13,3,pong,0", shape, &package, options)),
              QStringLiteral("id at 0: not that of the request: 12 expected, 13 found"));
}

/// The most bytes that a lenient decoder may allocate.
struct ReadyRow
{
    ClassId classId;
    Encoding encoding;
    const char *input;
    int announced;
    const char *verdict;
};

#define COLUMNS "7,k,1,0,255,2,3,2560,16,0,write,9,t,ok,ok"

TEST(PackageForms, DecodersAnnounceNoMoreThanTheyMay)
{
    constexpr Encoding RequestFrame{Form::Frame, Direction::Request, ReplySize::Short};
    constexpr Encoding ReplyFrame{Form::Frame, Direction::Reply, ReplySize::Short};
    constexpr Encoding ReplyRecord{Form::Text, Direction::Reply, ReplySize::Short};
    constexpr Encoding LinuxReply{Form::Linux, Direction::Reply, ReplySize::Short};
    const ReadyRow rows[] = {
        {ClassId::PackageRequestReadData, RequestFrame, "00" HEADER "05000000 00 05000000", 5,
         "data at 34: out of range: at most 4 bytes expected, 5 bytes found"},
        {ClassId::PackageRequestReadData, ReplyFrame, "00 0700 00 01 00 05000000", 5,
         "data at 10: out of range: at most 4 bytes expected, 5 bytes found"},
        {ClassId::PackageRequestWriteData, ReplyRecord, COLUMNS ",0,true,data,5,1", 5,
         "data at 19: out of range: at most 4 bytes expected, 5 bytes found"},
        {ClassId::PackageRequestWriteData, LinuxReply,
         "55AA 00 05 00000000 0000 00 00 0000 0000 0500 5F55", 5,
         "dataLength at 16: out of range: at most 4 bytes expected, 5 bytes found"},
    };
    const LogCapture log; // short blocks are reported
    for (const ReadyRow &row : rows) {
        SCOPED_TRACE(row.input);
        const bool isText = row.encoding.form == Form::Text;
        const QByteArray input = isText ? QByteArray(row.input) : hex(row.input);
        const auto decoded = [&](int most, Verdict *verdict) {
            auto package = packageClass(row.classId)->create();
            *verdict = decodePackage(*package, row.encoding, input, nullptr, most);
            return package->data().size();
        };
        Verdict verdict;
        EXPECT_EQ(decoded(row.announced, &verdict), row.announced);
        EXPECT_EQ(describe(verdict), QStringLiteral("ok"));
        EXPECT_EQ(decoded(row.announced - 1, &verdict), 0);
        EXPECT_EQ(describe(verdict), QLatin1String(row.verdict));
    }
    // Too few columns announce nothing.
    PackageRequestReadData read;
    EXPECT_EQ(describe(decodePackage(read, ReplyRecord, COLUMNS, nullptr, 0)),
              QStringLiteral("too few: 20 columns expected, 15 found"));
}

TEST(PackageForms, SerialNumberOfAReply)
{
    const auto ofFrame = [](const char *digits) {
        return serialNumOfReply(hex(digits), Form::Frame);
    };
    EXPECT_EQ(ofFrame("00 2C01 00 01 00"), 300U);
    EXPECT_EQ(ofFrame("00 2C01"), 300U);
    EXPECT_EQ(ofFrame("00 2C"), std::nullopt);
    EXPECT_EQ(ofFrame(""), std::nullopt);
    EXPECT_EQ(ofFrame("01" HEADER), 7U);
    EXPECT_EQ(ofFrame("01 0100 6B 0100 74 03000000 07"), std::nullopt);
    EXPECT_EQ(ofFrame("01 FF00 6B 0100 74 03000000 0700"), std::nullopt);
    EXPECT_EQ(ofFrame("02" HEADER), std::nullopt);

    const auto ofRecord = [](const char *record) { return serialNumOfReply(record, Form::Text); };
    EXPECT_EQ(ofRecord("2147483647,key,1"), 2147483647U);
    EXPECT_EQ(ofRecord("0,"), 0U);
    EXPECT_EQ(ofRecord("12,0,pong,0"), std::nullopt);
    EXPECT_EQ(ofRecord("12,0,pong,0,"), 12U);
    EXPECT_EQ(ofRecord("12,0,pong"), 12U);
    for (const char *record : {"", ",", "7", "x,", "-1,", "+1,", "01,", "00,", " 1,", "1 ,", "1x,",
                               "2147483648,", "4294967297,", "99999999999,"})
        EXPECT_EQ(ofRecord(record), std::nullopt) << record;

    const auto ofLinux = [](const char *digits) {
        return serialNumOfReply(hex(digits), Form::Linux);
    };
    EXPECT_EQ(ofLinux("55AA 00 FF"), 255U);
    EXPECT_EQ(ofLinux("55AA 00"), std::nullopt);
    EXPECT_EQ(ofLinux("55AB 00 FF"), std::nullopt);
}

TEST(PackageForms, SizeOfALinuxFrame)
{
    const char read[] = "55AA 00 05 00 00 00 00 0000 00 00 0000 0000 0201";
    const char write[] = "55AA 00 05 00 00 00 00 0000 01 00 0000 0000 FFFF";
    const auto sizeOf = [](const char *digits, Direction direction) {
        return linuxFrameSize(hex(digits), 0, direction);
    };
    EXPECT_EQ(sizeOf(read, Direction::Request), 20);
    EXPECT_EQ(sizeOf(read, Direction::Reply), 20 + 0x0102);
    EXPECT_EQ(sizeOf(write, Direction::Request), 65555);
    EXPECT_EQ(sizeOf(write, Direction::Reply), 65555);
    EXPECT_EQ(linuxFrameSize("noise" + hex(read), 5, Direction::Reply), 20 + 0x0102);

    EXPECT_EQ(linuxFrameSize(hex(read).chopped(1), 0, Direction::Reply), 0);
    EXPECT_EQ(sizeOf("55AA", Direction::Reply), 0);
    EXPECT_EQ(sizeOf("55", Direction::Reply), 0);
    EXPECT_EQ(sizeOf("", Direction::Reply), 0);
    EXPECT_EQ(sizeOf("AA", Direction::Reply), -1);
    EXPECT_EQ(sizeOf("55AB", Direction::Reply), -1);
    EXPECT_EQ(linuxFrameSize(hex(read), 1, Direction::Reply), -1);
    EXPECT_EQ(linuxFrameSize(hex(read), 18, Direction::Reply), 0);
    EXPECT_EQ(linuxFrameSize(hex(read), std::numeric_limits<int>::max(), Direction::Reply), 0);
    EXPECT_EQ(linuxFrameSize(hex(read), -2, Direction::Reply), -1);
    EXPECT_EQ(linuxFrameSize(hex(read), std::numeric_limits<int>::min(), Direction::Reply), -1);
}

} // namespace
