// The strict verdict: a row for every fault, everything that encoders write, and nothing accepted
// that no encoder writes.

#include "codecagreement.h"
#include "generatedpackages.h"
#include "testvectors.h"

#include <korvininspect/packagecheck.h>
#include <korvininspect/packageguess.h>

#include <QtCore/QMap>
#include <QtCore/QStringList>

namespace {

QByteArray encoded(PackageBase &package, const Encoding &encoding)
{
    QByteArray bytes;
    EXPECT_TRUE(encodePackage(package, encoding, &bytes).isOk());
    return bytes;
}

struct RefusedRow
{
    const char *className;
    Form form;
    Direction direction;
    const char *input; // hexadecimal digits or text
    Refusal refusal;
    const char *verdict;
};

// The header of a request without key and tag, without its marker and its read/write code.
#define HEAD "0000 0000 03000000 0700 01 02 03 04 0500 "
#define TAIL " 06 0700 0800 "

// Columns 0 to 14 of a record.
#define COLUMNS "7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok"
#define WRITE_COLUMNS "7,key,1,2,3,4,5,6,7,8,write,9,tag,ok,ok"

constexpr auto Request = Direction::Request;
constexpr auto Reply = Direction::Reply;

const RefusedRow RefusedRows[] = {
    {"PackageBase", Form::Frame, Request, "", Refusal::Truncated,
     "marker at 0: truncated: 1 byte expected, 0 bytes found"},
    {"PackageBase", Form::Frame, Request, "00 0500 6162", Refusal::LengthTooLarge,
     "deviceKey at 3: announced 5 bytes, left 2 bytes"},
    {"PackageBase", Form::Frame, Request, "00 0100 61 0100", Refusal::LengthTooLarge,
     "tag at 6: announced 1 byte, left 0 bytes"},
    {"PackageBase", Form::Frame, Request, "00 0000 0000 0300", Refusal::Truncated,
     "timeout at 5: truncated: 4 bytes expected, 2 bytes found"},
    {"PackageBase", Form::Frame, Request,
     "00 0200 6100 0000 03000000 0700 01 02 03 04 0500 00" TAIL, Refusal::ZeroInText,
     "deviceKey at 3: the text contains a zero byte, where a decoder ends it"},
    {"PackageBase", Form::Frame, Request, "00 0000 0100 FF 03000000 0700 01 02 03 04 0500 00" TAIL,
     Refusal::NotUtf8, "tag at 5: the text is not UTF-8"},
    {"PackageBase", Form::Text, Request, "7,\xFF,1,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotUtf8, "the text is not UTF-8"},
    {"PackageBase", Form::Frame, Request, "00 " HEAD "02" TAIL, Refusal::UnknownCode,
     "readWriteCode at 17: unknown access code 2; expected one of 0, 1"},
    {"PackageBase", Form::Frame, Request, "01 " HEAD "00" TAIL, Refusal::UnknownMarker,
     "marker at 0: unknown marker 0x1; expected 0x0"},
    {"PackageBase", Form::Frame, Request, "00 " HEAD "00" TAIL "00", Refusal::TrailingBytes,
     "at 23: trailing bytes after the last field: 23 bytes expected, 24 bytes found"},
    {"PackageBase", Form::Frame, Reply, "00 0700 00 08 00", Refusal::UnknownCode,
     "commResult at 4: unknown result code 8; expected one of 0, 1, 2, 3, 4, 5, 6, 7"},
    {"PackageBase", Form::Frame, Reply, "00 0700 00 01 0B", Refusal::UnknownCode,
     "packResult at 5: unknown result code 11; expected one of 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, "
     "245, 246, 247, 248, 249, 250, 251, 252, 253, 254, 255"},
    {"PackageBase", Form::Frame, Reply, "00 0700 00 01", Refusal::Truncated,
     "packResult at 5: truncated: 1 byte expected, 0 bytes found"},
    {"PackageBase", Form::Frame, Reply, "02 " HEAD "00" TAIL "00 00 01 00 00 00",
     Refusal::UnknownMarker, "marker at 0: unknown marker 0x2; expected 0x1"},
    {"PackageBase", Form::Frame, Reply, "01 " HEAD "00" TAIL "00 00 01 00 00", Refusal::Truncated,
     "at 28: truncated: 1 byte expected, 0 bytes found"},
    {"PackageRequestRead", Form::Frame, Request, "00 " HEAD "00" TAIL "FFFFFFFF 00",
     Refusal::OutOfRange, "replyDataLength at 23: out of range: a length expected, -1 found"},
    {"PackageRequestRead", Form::Frame, Request, "00 " HEAD "00" TAIL "01000000 03",
     Refusal::UnknownCode, "clientPackageType at 27: unknown kind code 3; expected one of 0, 1, 2"},
    {"PackageRequestWrite", Form::Frame, Request, "00 " HEAD "01" TAIL "02 00",
     Refusal::UnknownCode, "broadcast at 23: unknown flag 2; expected 0 or 1"},
    {"PackageRequestWriteData", Form::Frame, Request, "00 " HEAD "01" TAIL "00 00 FFFFFF7F 01",
     Refusal::LengthTooLarge, "data at 29: announced 2147483647 bytes, left 1 byte"},
    {"PackageRequestWriteData", Form::Frame, Request, "00 " HEAD "01" TAIL "00 00 01000000 01 02",
     Refusal::TrailingBytes,
     "at 30: trailing bytes after the last field: 30 bytes expected, 31 bytes found"},
    {"PackageRequestReadData", Form::Frame, Request, "00 " HEAD "00" TAIL "02000000 00 02000000 01",
     Refusal::LengthTooLarge, "data at 32: announced 2 bytes, left 1 byte"},
    {"PackageRequestReadData", Form::Frame, Reply, "00 0700 00 01 00 02000000",
     Refusal::LengthTooLarge, "data at 10: announced 2 bytes, left 0 bytes"},
    {"PackageRequestReadFile", Form::Frame, Reply, "00 0700 00 01 00 0200 61",
     Refusal::LengthTooLarge, "fileNameWithPath at 8: announced 2 bytes, left 1 byte"},
    {"PackageRequestWriteFile", Form::Frame, Request, "00 " HEAD "01" TAIL "00 01 000000",
     Refusal::Truncated, "at 28: truncated: 1 byte expected, 0 bytes found"},
    {"PackageRequestWriteFile", Form::Frame, Request, "00 " HEAD "01" TAIL "00 01 01000000 61",
     Refusal::Truncated, "offset at 30: truncated: 4 bytes expected, 0 bytes found"},

    {"PackageRequestReadData", Form::Linux, Reply, "55 55", Refusal::Truncated,
     "at 2: truncated: at least 20 bytes expected, 2 bytes found"},
    {"PackageRequestReadData", Form::Linux, Reply,
     "54AA 00 05 00000000 0000 00 00 0000 0000 0000 5A55", Refusal::UnknownMarker,
     "start at 0: unknown marker 0x54; expected 0x55"},
    {"PackageRequestReadData", Form::Linux, Reply,
     "55AA 00 05 00000000 0000 00 00 0000 0000 0000 5B55", Refusal::WrongChecksum,
     "checksum at 18: wrong checksum: 0x555A expected, 0x555B found"},
    {"PackageRequestReadData", Form::Linux, Reply,
     "55AA 00 05 00000000 0000 00 00 0000 0000 0200 01 5D55", Refusal::LengthTooLarge,
     "data at 18: announced 2 bytes, left 1 byte"},
    {"PackageRequestReadData", Form::Linux, Reply,
     "55AA 00 05 00000000 0000 00 00 0000 0000 0100 01 02 5E55", Refusal::TrailingBytes,
     "at 19: trailing bytes after the last field: 19 bytes expected, 20 bytes found"},
    {"PackageRequestReadData", Form::Linux, Request,
     "55AA 00 05 00000000 0000 00 00 0000 0000 0100 01 5C55", Refusal::TrailingBytes,
     "at 18: trailing bytes after the last field: 18 bytes expected, 19 bytes found"},
    {"PackageRequestReadData", Form::Linux, Request,
     "55AA 04 05 00000000 0000 00 00 0000 0000 0000 5E55", Refusal::OutOfRange,
     "status at 2: out of range: 0 in a request expected, 4 found"},
    {"PackageRequestRead", Form::Linux, Reply, "", Refusal::NoSuchForm,
     "the class has no such form"},

    {"PackageBase", Form::Text, Request, "7,key", Refusal::TooFewFields,
     "too few: 15 columns expected, 2 found"},
    {"PackageBase", Form::Text, Request, COLUMNS ",0", Refusal::TooManyFields,
     "too many: 15 columns expected, 16 found"},
    {"PackageBase", Form::Text, Reply, COLUMNS, Refusal::TooFewFields,
     "too few: 16 columns expected, 15 found"},
    {"PackageBase", Form::Text, Reply, COLUMNS ",4294967295", Refusal::OutOfRange,
     "ackCode at 15: out of range: a number from 0 to 2147483647 expected, \"4294967295\" found"},
    {"PackageBase", Form::Text, Request, "07,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotANumber,
     "serialNum at 0: not a number: a number from 0 to 2147483647 expected, \"07\" found"},
    {"PackageBase", Form::Text, Request, "2147483648,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::OutOfRange,
     "serialNum at 0: out of range: a number from 0 to 2147483647 expected, \"2147483648\" found"},
    {"PackageBase", Form::Text, Request,
     "99999999999999999999999999999999999999999999999999,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::OutOfRange,
     "serialNum at 0: out of range: a number from 0 to 2147483647 expected, "
     "\"9999999999999999999999999999999999999999...\" found"},
    {"PackageBase", Form::Text, Request, "7,a/b,1,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotEscaped, "deviceKey at 1: not escaped: #*# for / expected, \"a/b\" found"},
    {"PackageBase", Form::Text, Request, "7,key,-2147483649,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::OutOfRange,
     "deviceType at 2: out of range: a number from -2147483648 to 2147483647 expected, "
     "\"-2147483649\" found"},
    {"PackageBase", Form::Text, Request, "7,key,-0,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotANumber,
     "deviceType at 2: not a number: a number from -2147483648 to 2147483647 expected, \"-0\" "
     "found"},
    {"PackageBase", Form::Text, Request, "7,key,-,2,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotANumber,
     "deviceType at 2: not a number: a number from -2147483648 to 2147483647 expected, \"-\" "
     "found"},
    {"PackageBase", Form::Text, Request, "7,key,1,256,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::OutOfRange,
     "scrAddr at 3: out of range: a number from 0 to 255 expected, \"256\" found"},
    {"PackageBase", Form::Text, Request, "7,key,1,,3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotANumber,
     "scrAddr at 3: not a number: a number from 0 to 255 expected, \"\" found"},
    {"PackageBase", Form::Text, Request, "7,key,1,2, 3,4,5,6,7,8,read,9,tag,ok,ok",
     Refusal::NotANumber,
     "desAddr at 4: not a number: a number from 0 to 255 expected, \" 3\" found"},
    {"PackageBase", Form::Text, Request, "7,key,1,2,3,4,65536,6,7,8,read,9,tag,ok,ok",
     Refusal::OutOfRange,
     "scanBoardAddr at 6: out of range: a number from 0 to 65535 expected, \"65536\" found"},
    {"PackageBase", Form::Text, Request, "7,key,1,2,3,4,5,6,7,-1,read,9,tag,ok,ok",
     Refusal::OutOfRange,
     "reserved2 at 9: out of range: a number from 0 to 2147483647 expected, \"-1\" found"},
    {"PackageBase", Form::Text, Request, "7,key,1,2,3,4,5,6,7,8,Read,9,tag,ok,ok",
     Refusal::UnknownName,
     "readWriteCode at 10: unknown access name \"Read\"; expected one of read, write"},
    {"PackageBase", Form::Text, Request, "7,key,1,2,3,4,5,6,7,8,read,9,tag,timeOut,ok",
     Refusal::UnknownName,
     "commResult at 13: unknown result name \"timeOut\"; expected one of pending, ok, crcErr, "
     "lengthErr, portErr, timeout, codeErr, forcedCancel"},
    {"PackageBase", Form::Text, Request, "7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,",
     Refusal::UnknownName,
     "packResult at 14: unknown result name \"\"; expected one of ok, fileErr, memErr, "
     "fileDeleteErr, "
     "directoryCreateErr, invalidPort, parseFailure, messageDisconnect, forceCancel, sendError, "
     "parsePackAddrFailure, failure, disConnect, fileNoExist, fileReadFailure, fileCreatFailure, "
     "fileWriteFailure, deviceSpaceNoEnough, cancelWait, cancel, abort, timeOut"},
    {"PackageRequestRead", Form::Text, Request, COLUMNS ",-1,data", Refusal::OutOfRange,
     "replyDataLength at 15: out of range: a number from 0 to 2147483647 expected, \"-1\" found"},
    {"PackageRequestRead", Form::Text, Request, COLUMNS ",1,Data", Refusal::UnknownName,
     "clientPackageType at 16: unknown kind name \"Data\"; expected one of data, file, memData"},
    {"PackageRequestWrite", Form::Text, Reply, WRITE_COLUMNS ",0,True,data", Refusal::UnknownName,
     "broadcast at 16: unknown flag \"True\"; expected true or false"},
    {"PackageRequestWriteData", Form::Text, Request, COLUMNS ",false,data,2,1/2",
     Refusal::OtherAccess,
     "readWriteCode at 10: not what the class is for: write expected, read found"},
    {"PackageRequestReadData", Form::Text, Reply, WRITE_COLUMNS ",0,2,data,2,1/2",
     Refusal::OtherAccess,
     "readWriteCode at 10: not what the class is for: read expected, write found"},
    {"PackageRequestRead", Form::Frame, Request, "00 " HEAD "01" TAIL "02000000 00",
     Refusal::OtherAccess,
     "readWriteCode at 17: not what the class is for: read expected, write found"},
    {"PackageRequestWriteMemData", Form::Frame, Reply,
     "01 " HEAD "00" TAIL "00 02 00 00 01 00 00 00 00 02", Refusal::OtherAccess,
     "readWriteCode at 17: not what the class is for: write expected, read found"},
    {"PackageRequestReadData", Form::Text, Reply, COLUMNS ",0,2,data,2,1/2/3",
     Refusal::DataStringMismatch,
     "data at 19: the data string does not have the announced length: 2 numbers expected, 3 "
     "found"},
    {"PackageRequestReadData", Form::Text, Reply, COLUMNS ",0,3,data,2,1/2", Refusal::Contradiction,
     "replyDataLength at 18: differs from the first copy: 3 expected, 2 found"},
    {"PackageRequestReadData", Form::Frame, Request, "00 " HEAD "00" TAIL "02000000 00 03000000",
     Refusal::Contradiction,
     "replyDataLength at 28: differs from the first copy: 2 expected, 3 found"},
    {"PackageRequestReadFile", Form::Frame, Reply,
     "01 " HEAD "00" TAIL "02000000 00 0100 61 00 00 01 00 00 00 02000000 00 0100 62",
     Refusal::Contradiction,
     "fileNameWithPath at 44: differs from the first copy: the same bytes expected, others found"},
    {"PackageRequestReadData", Form::Text, Reply, COLUMNS ",0,0,data,0,",
     Refusal::DataStringMismatch,
     "data at 19: the data string does not have the announced length: 0 numbers expected, 1 "
     "found"},
    {"PackageRequestWriteData", Form::Text, Request, WRITE_COLUMNS ",true,data,0,",
     Refusal::DataStringMismatch,
     "data at 18: the data string does not have the announced length: 0 numbers expected, 1 "
     "found"},
    {"PackageRequestWriteData", Form::Text, Request, WRITE_COLUMNS ",true,data,2147483647,1",
     Refusal::DataStringMismatch,
     "data at 18: the data string does not have the announced length: 2147483647 numbers "
     "expected, 1 found"},
    {"PackageRequestWriteData", Form::Text, Request, WRITE_COLUMNS ",true,data,2,1/256",
     Refusal::OutOfRange,
     "data at 18: out of range: a number from 0 to 255 expected, \"256\" found"},
    {"PackageRequestWriteData", Form::Text, Request, WRITE_COLUMNS ",true,data,2,1/",
     Refusal::NotANumber, "data at 18: not a number: a number from 0 to 255 expected, \"\" found"},
    {"PackageRequestReadMemData", Form::Text, Request, COLUMNS ",1,memData,x", Refusal::NotANumber,
     "offset at 17: not a number: a number from -2147483648 to 2147483647 expected, \"x\" found"},
    {"SpecialPackageRequest", Form::Text, Request, "1,2", Refusal::TooFewFields,
     "too few: 3 columns expected, 2 found"},
    {"SpecialPackageRequest", Form::Text, Request, "1,2,a,b", Refusal::TooManyFields,
     "too many: 3 columns expected, 4 found"},
    {"SpecialPackageRequest", Form::Text, Request, "1,-2,a", Refusal::OutOfRange,
     "timeout at 1: out of range: a number from 0 to 2147483647 expected, \"-2\" found"},
    {"SpecialPackageRequest", Form::Text, Reply, "1,2,a,0", Refusal::TooFewFields,
     "too few: 16 columns expected, 4 found"},
    {"PackageRequestCombination", Form::Text, Request, "", Refusal::TooFewFields,
     "item 1, too few: 2 parts expected, 1 found"},
    {"PackageRequestCombination", Form::Text, Request, "ReadData", Refusal::TooFewFields,
     "item 1, too few: 2 parts expected, 1 found"},
    {"PackageRequestCombination", Form::Text, Request,
     "ReadData^" COLUMNS ",1,data|ReadData^" COLUMNS ",1,data^", Refusal::TooManyFields,
     "item 2, too many: 2 parts expected, 3 found"},
    {"PackageRequestCombination", Form::Text, Request, "ReadMemData^" COLUMNS ",1,memData,5",
     Refusal::UnknownType,
     "item 1, type at 0: unknown type word \"ReadMemData\"; expected one of ReadData, ReadFile, "
     "writeData, writeFile"},
    {"PackageRequestCombination", Form::Text, Request, "ReadData^" COLUMNS ",1,data|readData^",
     Refusal::UnknownType,
     "item 2, type at 0: unknown type word \"readData\"; expected one of ReadData, ReadFile, "
     "writeData, writeFile"},
    {"PackageRequestCombination", Form::Text, Request, "ReadFile^" COLUMNS ",x,file,name",
     Refusal::NotANumber,
     "item 1, replyDataLength at 15: not a number: a number from 0 to 2147483647 expected, \"x\" "
     "found"},
};

ClassId idOf(const char *name)
{
    const PackageClass *found = packageClass(QLatin1String(name));
    return found ? found->id : ClassId::PackageRequestCombination;
}

TEST(Check, RefusesWithAReason)
{
    for (const RefusedRow &row : RefusedRows) {
        SCOPED_TRACE(row.verdict);
        const QByteArray input = row.form == Form::Text ? QByteArray(row.input) : hex(row.input);
        const Verdict verdict = check(input, {idOf(row.className), row.form, row.direction});
        EXPECT_FALSE(verdict.isOk());
        EXPECT_EQ(int(verdict.refusal), int(row.refusal));
        EXPECT_EQ(describe(verdict), QString::fromLatin1(row.verdict));
    }
}

TEST(Check, EveryVerdictHasWords)
{
    Verdict verdict;
    EXPECT_EQ(describe(verdict), QStringLiteral("ok"));
    verdict.refusal = Refusal::OutOfMemory;
    EXPECT_EQ(describe(verdict), QStringLiteral("out of memory"));
}

TEST(Check, VerdictSaysWhere)
{
    const Verdict verdict =
        check(hex("00 0500 6162"), {ClassId::PackageBase, Form::Frame, Request});
    EXPECT_EQ(verdict.field, QStringLiteral("deviceKey"));
    EXPECT_EQ(verdict.position, 3);
    EXPECT_EQ(verdict.item, 0);
    EXPECT_EQ(verdict.expected, QStringLiteral("5 bytes"));
    EXPECT_EQ(verdict.found, QStringLiteral("2 bytes"));
}

struct AcceptedRow
{
    const char *className;
    Form form;
    Direction direction;
    const char *input;
};

const AcceptedRow AcceptedRows[] = {
    {"PackageBase", Form::Frame, Request, "00 " HEAD "00" TAIL},
    {"PackageBase", Form::Frame, Reply, "00 0700 FF 07 F5"},
    {"PackageBase", Form::Frame, Reply, "01 " HEAD "00" TAIL "FF 99 07 99 F5 99"},
    // A request to read announces data that it does not carry.
    {"PackageRequestReadData", Form::Frame, Request, "00 " HEAD "00" TAIL "04000000 00 04000000"},
    {"PackageRequestReadData", Form::Frame, Reply,
     "01 " HEAD "00" TAIL "04000000 00 04000000 00 00 01 00 00 00 04000000 00 04000000"},
    // The layout that readers of a file write expect.
    {"PackageRequestWriteFile", Form::Frame, Request,
     "00 " HEAD "01" TAIL "00 01 01000000 61 05000000"},
    {"PackageRequestWriteFile", Form::Frame, Request, "00 " HEAD "01" TAIL "00 01 00000000 61"},
    {"PackageRequestWriteFile", Form::Frame, Request, "00 " HEAD "01" TAIL "00 01"},
    {"PackageRequestWriteData", Form::Linux, Reply,
     "55AA FF 05 00000000 0000 01 FF 0000 0000 0000 5957"},
    {"PackageBase", Form::Text, Reply, COLUMNS ",2147483647"},
    {"PackageRequestWriteData", Form::Text, Reply, WRITE_COLUMNS ",0,true,data,0,"},
    {"PackageRequestWriteData", Form::Text, Request, WRITE_COLUMNS ",true,data,1,255"},
    {"PackageRequestReadMemData", Form::Text, Request, COLUMNS ",1,memData,-2147483648"},
    {"SpecialPackageRequest", Form::Text, Request, "-1,2147483647,"},
    {"PackageRequestCombination", Form::Text, Request, "ReadFile^" COLUMNS ",1,file,name"},
};

TEST(Check, AcceptsWhatEncodersWrite)
{
    for (const AcceptedRow &row : AcceptedRows) {
        SCOPED_TRACE(row.input);
        const QByteArray input = row.form == Form::Text ? QByteArray(row.input) : hex(row.input);
        EXPECT_EQ(describe(check(input, {idOf(row.className), row.form, row.direction})),
                  QStringLiteral("ok"));
    }
}

TEST(Check, TextOnlyTakesRecords)
{
    EXPECT_EQ(
        int(check(QStringLiteral("1,2,3"), {ClassId::PackageBase, Form::Frame, Request}).refusal),
        int(Refusal::NoSuchForm));
}

bool isRefusedReply(const MessageShape &shape)
{
    return shape.classId == ClassId::SpecialPackageRequest && shape.form == Form::Text
        && shape.direction == Reply;
}

TEST(Check, AcceptsEveryConsistentPackageAndNothingThatNoEncoderWrites)
{
    Generator generate(42);
    for (int i = 0; i < 20000 && !testing::Test::HasFailure(); ++i) {
        const PackageClass &itsClass = generate.anyClass();
        const Encoding encoding = generate.anyEncoding(itsClass);
        const MessageShape shape = shapeOf(itsClass, encoding);
        const QByteArray input = encoded(*generate.consistentPackage(itsClass), encoding);
        SCOPED_TRACE(testing::Message() << i << ": " << describe(shape).toStdString());
        EXPECT_EQ(check(input, shape).isOk(), !isRefusedReply(shape))
            << describe(check(input, shape)).toStdString() << '\n'
            << input.toHex(' ').toStdString();
        expectWrittenByAnEncoder(input, itsClass, encoding);
        expectWrittenByAnEncoder(generate.mutated(input, encoding.form), itsClass, encoding);
    }
}

TEST(Check, RefusesTruncationsAndFlippedBitsThatAReaderCanNotice)
{
    Generator generate(43);
    for (const PackageClass &itsClass : packageClasses()) {
        for (const FormOfVector &form : EncodedForms) {
            const MessageShape shape = shapeOf(itsClass, form.encoding);
            if (!exists(shape))
                continue;
            SCOPED_TRACE(describe(shape).toStdString());
            const QByteArray input = encoded(*generate.consistentPackage(itsClass), form.encoding);
            for (int size = 0; size < input.size(); ++size)
                expectWrittenByAnEncoder(input.left(size), itsClass, form.encoding);
            for (int bit = 0; bit < 8 * input.size(); ++bit) {
                QByteArray flipped = input;
                flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ (1 << bit % 8));
                // Bytes that are not UTF-8 are not a record.
                if (form.encoding.form != Form::Text
                    || QString::fromUtf8(flipped).toUtf8() == flipped)
                    expectWrittenByAnEncoder(flipped, itsClass, form.encoding);
            }
        }
    }
}

TEST(Check, RefusesEveryTruncationOfFramesThatCarryTheirLengths)
{
    Generator generate(44);
    for (const PackageClass &itsClass : packageClasses()) {
        // The name of a written file ends where its frame ends.
        if (itsClass.id == ClassId::PackageRequestWriteFile)
            continue;
        for (const FormOfVector &form : EncodedForms) {
            const MessageShape shape = shapeOf(itsClass, form.encoding);
            if (!exists(shape) || shape.form == Form::Text)
                continue;
            SCOPED_TRACE(testing::Message() << form.name << ' ' << describe(shape).toStdString());
            const auto package = generate.consistentPackage(itsClass);
            const QByteArray input = encoded(*package, form.encoding);
            for (int size = 0; size < input.size(); ++size) {
                // A data read without its data is a request.
                const bool isRequest = itsClass.id == ClassId::PackageRequestReadData
                    && QByteArray(form.name) == "requestFrame"
                    && size == input.size() - package->data().size();
                EXPECT_EQ(check(input.left(size), shape).isOk(), isRequest) << size;
            }
        }
    }
}

TEST(Check, RefusesEveryFlippedBitOfALinuxFrame)
{
    Generator generate(45);
    const PackageClass &itsClass = *packageClass(QStringLiteral("PackageRequestWriteData"));
    const Encoding encoding{Form::Linux, Request, ReplySize::Short};
    const QByteArray input = encoded(*generate.consistentPackage(itsClass), encoding);
    ASSERT_TRUE(check(input, shapeOf(itsClass, encoding)).isOk());
    for (int bit = 0; bit < 8 * input.size(); ++bit) {
        QByteArray flipped = input;
        flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ (1 << bit % 8));
        EXPECT_FALSE(check(flipped, shapeOf(itsClass, encoding)).isOk()) << bit;
    }
}

TEST(Check, CombinationsOfConsistentRequestsAreAccepted)
{
    Generator generate(46);
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Text, Request};
    for (int i = 0; i < 500; ++i) {
        QStringList items;
        while (items.size() < 3) {
            const PackageClass &itsClass = generate.anyClass();
            if (itsClass.combinationType.isEmpty())
                continue;
            items << itsClass.combinationType + QLatin1Char('^')
                    + generate.consistentPackage(itsClass)->makePackageRequest();
        }
        EXPECT_EQ(describe(check(items.join(QLatin1Char('|')), shape)), QStringLiteral("ok"));
    }
}

/// What an input may announce.
struct AnnouncedRow
{
    const char *className;
    Form form;
    Direction direction;
    const char *input;
    int announced;
    const char *field;
};

const AnnouncedRow AnnouncedRows[] = {
    {"PackageRequestReadData", Form::Frame, Request, "00 " HEAD "00" TAIL "04000000 00 04000000", 4,
     "replyDataLength at 23"},
    {"PackageRequestReadData", Form::Frame, Reply, "00 0700 00 01 00 02000000 0102", 2,
     "replyDataLength at 6"},
    {"PackageRequestWriteData", Form::Frame, Request, "00 " HEAD "01" TAIL "00 00 02000000 0102", 2,
     "packageDataLength at 25"},
    {"PackageRequestWriteData", Form::Linux, Request,
     "55AA 00 05 00000000 0000 01 00 0000 0000 0200 01 02 6055", 2, "dataLength at 16"},
    {"PackageRequestWriteData", Form::Text, Request, WRITE_COLUMNS ",true,data,2,1/2", 2,
     "packageDataLength at 17"},
    {"PackageRequestReadFile", Form::Text, Request, COLUMNS ",9,file,a.txt", 9,
     "replyDataLength at 15"},
};

TEST(CheckOptions, LimitWhatAnInputAnnounces)
{
    for (const AnnouncedRow &row : AnnouncedRows) {
        SCOPED_TRACE(row.input);
        const QByteArray input = row.form == Form::Text ? QByteArray(row.input) : hex(row.input);
        const MessageShape shape{idOf(row.className), row.form, row.direction};
        CheckOptions options;
        options.announcedData = row.announced;
        EXPECT_EQ(describe(check(input, shape, options)), QStringLiteral("ok"));
        options.announcedData = row.announced - 1;
        const Verdict verdict = check(input, shape, options);
        EXPECT_EQ(int(verdict.refusal), int(Refusal::OutOfRange));
        EXPECT_EQ(describe(verdict),
                  QStringLiteral("%1: out of range: a length of at most %2 expected, %3 found")
                      .arg(QLatin1String(row.field))
                      .arg(row.announced - 1)
                      .arg(row.announced));
        std::unique_ptr<PackageBase> package;
        EXPECT_EQ(describe(decodeMessage(input, shape, &package, options)), describe(verdict));
        EXPECT_EQ(package, nullptr);
    }
    CheckOptions options;
    options.announcedData = 1;
    EXPECT_EQ(describe(check(QByteArray("ReadData^" COLUMNS ",1,data|ReadData^" COLUMNS ",2,data"),
                             {ClassId::PackageRequestCombination, Form::Text, Request}, options)),
              QStringLiteral("item 2, replyDataLength at 15: out of range: a length of at most 1 "
                             "expected, 2 found"));
}

/// The reply of a package to itself as the request.
Verdict checkReply(const QByteArray &reply, const QByteArray &request, const MessageShape &shape)
{
    CheckOptions options;
    options.request = request;
    return check(reply, shape, options);
}

/// The forms of a request and of its reply.
struct ReplyForm
{
    Form form;
    ReplySize size;
};

const ReplyForm ReplyForms[] = {
    {Form::Frame, ReplySize::Short},
    {Form::Frame, ReplySize::Full},
    {Form::Text, ReplySize::Short},
    {Form::Linux, ReplySize::Short},
};

/// Changes a field to another valid value.
void change(PackageBase &package, const PackageField &field)
{
    const QJsonValue before = field.get(package);
    const QJsonValue others[] = {7,    8,     QStringLiteral("read"), QStringLiteral("write"),
                                 true, false, QStringLiteral("file"), QStringLiteral("data")};
    for (const QJsonValue &value : others) {
        const bool isOfAName = field.valueType == ValueType::Code && value.isDouble();
        if (!isOfAName && value != before && field.set(package, value).isEmpty())
            return;
    }
}

TEST(CheckOptions, AReplyRepeatsWhatIdentifiesItsRequest)
{
    const QStringList mayDiffer{
        QStringLiteral("timeout"),    QStringLiteral("reserved2"),
        QStringLiteral("ackCode"),    QStringLiteral("commResult"),
        QStringLiteral("packResult"), QStringLiteral("baseClientPackageType")};
    QMap<QString, int> refusals;
    Generator generate(47);
    for (const PackageClass &itsClass : packageClasses()) {
        for (const ReplyForm &form : ReplyForms) {
            const MessageShape shape{itsClass.id, form.form, Reply};
            if (!exists(shape) || isRefusedReply(shape))
                continue;
            const std::unique_ptr<PackageBase> package = generate.consistentPackage(itsClass);
            const Encoding encoding{form.form, Reply, form.size};
            const QByteArray request = encoded(*package, {form.form, Request, ReplySize::Short});
            const QByteArray reply = encoded(*package, encoding);
            SCOPED_TRACE(describe(shape).toStdString());
            EXPECT_EQ(describe(checkReply(reply, request, shape)), QStringLiteral("ok"));
            for (const PackageField &field : itsClass.fields) {
                const QJsonObject before = snapshot(*package);
                if (field.valueType != ValueType::Data && !field.name.endsWith(u"DataLength"))
                    change(*package, field);
                const QByteArray other = encoded(*package, encoding);
                packageFromJson(before, *package);
                if (other == reply)
                    continue;
                const Verdict verdict = checkReply(other, request, shape);
                EXPECT_EQ(verdict.isOk(), mayDiffer.contains(field.name))
                    << field.name.toStdString();
                if (verdict.isOk())
                    continue;
                EXPECT_TRUE(verdict.refusal == Refusal::OtherRequest
                            || (verdict.refusal == Refusal::OtherAccess
                                && field.name == QLatin1String("readWriteCode")))
                    << describe(verdict).toStdString();
                EXPECT_EQ(verdict.field, field.name);
                ++refusals[field.name];
            }
        }
    }
    for (const char *name : {"serialNum", "deviceKey", "tag", "deviceType", "scrAddr", "desAddr",
                             "portAddr", "scanBoardAddr", "highAddr", "lowAddr", "readWriteCode",
                             "clientPackageType", "broadcast", "fileNameWithPath", "offset"})
        EXPECT_GT(refusals.value(QLatin1String(name)), 0) << name;
}

struct OtherRow
{
    const char *className;
    Form form;
    const char *request;
    const char *reply;
    const char *verdict;
};

const OtherRow OtherRows[] = {
    {"PackageBase", Form::Frame, "00 " HEAD "00" TAIL, "00 0800 00 01 00",
     "serialNum at 1: not that of the request: 7 expected, 8 found"},
    {"PackageBase", Form::Frame, "00 0200 6162 0000 03000000 0700 01 02 03 04 0500 00" TAIL,
     "01 0200 6163 0000 03000000 0700 01 02 03 04 0500 00" TAIL "00 00 01 00 00 00",
     "deviceKey at 3: not that of the request: \"ab\" expected, \"ac\" found"},
    {"PackageBase", Form::Frame, "00 0200 6162 0000 03000000 0700 01 02 03 04 0500 00" TAIL,
     "01 0100 61 0000 03000000 0700 01 02 03 04 0500 00" TAIL "00 00 01 00 00 00",
     "deviceKey at 3: not that of the request: \"ab\" expected, \"a\" found"},
    {"PackageBase", Form::Text, COLUMNS, "7,key,1,2,3,4,5,6,7,8,read,9,Tag,ok,ok,0",
     "tag at 12: not that of the request: \"tag\" expected, \"Tag\" found"},
    {"PackageBase", Form::Text, COLUMNS, "7,key,1,2,3,4,5,6,7,8,write,9,tag,ok,ok,0",
     "readWriteCode at 10: not that of the request: 0 expected, 1 found"},
    {"PackageBase", Form::Text, COLUMNS, "7,key,1,2,3,4,5,6,7,9,read,10,tag,timeout,abort,9", "ok"},
    // As much data as was asked for, or less.
    {"PackageRequestReadData", Form::Frame, "00 " HEAD "00" TAIL "02000000 00 02000000",
     "00 0700 00 01 00 02000000 0102", "ok"},
    {"PackageRequestReadData", Form::Frame, "00 " HEAD "00" TAIL "02000000 00 02000000",
     "00 0700 02 01 02 00000000", "ok"},
    {"PackageRequestReadData", Form::Frame, "00 " HEAD "00" TAIL "02000000 00 02000000",
     "00 0700 00 01 00 03000000 010203",
     "replyDataLength at 6: out of range: a length of at most 2 expected, 3 found"},
    {"PackageRequestReadData", Form::Linux, "55AA 00 05 00000000 0000 00 00 0000 0000 0100 5B55",
     "55AA 00 05 00000000 0000 00 00 0000 0000 0200 01 02 5F55",
     "dataLength at 16: out of range: a length of at most 1 expected, 2 found"},
    {"PackageRequestReadData", Form::Linux, "55AA 00 05 00000000 0000 00 00 0000 0000 0100 5B55",
     "55AA 00 05 00000000 0000 00 00 0100 0000 0100 01 5D55",
     "lowAddr at 12: not that of the request: 0 expected, 1 found"},
    {"PackageRequestReadData", Form::Text, COLUMNS ",2,data", COLUMNS ",0,3,data,3,1/2/3",
     "replyDataLength at 16: out of range: a length of at most 2 expected, 3 found"},
    {"PackageRequestWriteMemData", Form::Text, WRITE_COLUMNS ",false,memData,4,5",
     WRITE_COLUMNS ",0,false,memData,5,5",
     "offset at 18: not that of the request: 4 expected, 5 found"},
};

TEST(CheckOptions, SayHowAReplyDiffersFromItsRequest)
{
    for (const OtherRow &row : OtherRows) {
        SCOPED_TRACE(row.reply);
        const bool isText = row.form == Form::Text;
        const QByteArray request = isText ? QByteArray(row.request) : hex(row.request);
        const QByteArray reply = isText ? QByteArray(row.reply) : hex(row.reply);
        const MessageShape shape{idOf(row.className), row.form, Reply};
        ASSERT_TRUE(check(request, {shape.classId, shape.form, Request}).isOk());
        EXPECT_EQ(describe(checkReply(reply, request, shape)), QLatin1String(row.verdict));
        if (isText) {
            CheckOptions options;
            options.request = request;
            EXPECT_EQ(describe(check(QString::fromUtf8(reply), shape, options)),
                      QLatin1String(row.verdict));
        }
    }
}

// A request that check() would refuse should not be given. Its texts may end outside of it.
TEST(CheckOptions, DoNotReadPastTheEndOfABrokenRequest)
{
    const MessageShape shape{ClassId::PackageBase, Form::Frame, Reply};
    const QByteArray request = hex("00 FFFF 6162");
    EXPECT_FALSE(check(request, {shape.classId, shape.form, Request}).isOk());
    const QByteArray reply =
        hex("01 0200 6163 0000 03000000 0700 01 02 03 04 0500 00" TAIL "00 00 01 00 00 00");
    EXPECT_TRUE(checkReply(reply, request, shape).isOk()) << "no field of it can be compared";
    EXPECT_TRUE(
        checkReply(hex("00 0700 00 01 00"), "\x55", {ClassId::PackageBase, Form::Frame, Reply})
            .isOk());
    EXPECT_TRUE(checkReply(hex("55AA 00 05 00000000 0000 00 00 0000 0000 0000 5A55"), "\x55",
                           {ClassId::PackageRequestReadData, Form::Linux, Reply})
                    .isOk());
    EXPECT_TRUE(checkReply(COLUMNS ",0", "7,key", {shape.classId, Form::Text, Reply}).isOk());
}

// A walk without words accepts nearly all that is accepted; guesses know only the walk with words.
TEST(Check, AVerdictOnAPackageHasNoPosition)
{
    Verdict verdict;
    verdict.refusal = Refusal::OutOfRange;
    verdict.field = QStringLiteral("tag");
    verdict.position = -1;
    verdict.expected = QStringLiteral("a");
    verdict.found = QStringLiteral("b");
    EXPECT_EQ(describe(verdict), QStringLiteral("tag: out of range: a expected, b found"));
}

TEST(Check, AgreesWithGuesses)
{
    Generator generate(20261122);
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i) {
        const PackageClass &itsClass = generate.anyClass();
        const Encoding encoding = generate.anyEncoding(itsClass);
        const auto package = generate.consistentPackage(itsClass);
        QByteArray input = encoded(*package, encoding);
        if (generate.oneIn(2))
            input = generate.mutated(input, encoding.form);
        for (const Guess &guessed : guess(input)) {
            SCOPED_TRACE(describe(guessed.shape).toStdString() + ": "
                         + (encoding.form == Form::Text ? input : input.toHex(' ')).toStdString());
            EXPECT_EQ(describe(check(input, guessed.shape)), describe(guessed.verdict));
        }
    }
}

} // namespace
