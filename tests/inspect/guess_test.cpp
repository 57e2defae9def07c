// Guesses of what a captured input may be.

#include "generatedpackages.h"
#include "testvectors.h"

#include <korvininspect/packageguess.h>

#include <algorithm>

namespace {

struct GuessRow
{
    const char *input; // hexadecimal digits where isText is false
    bool isText;
    const char *first;
    const char *reason;
};

#define READ_COLUMNS "7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok"
#define WRITE_COLUMNS "7,key,1,2,3,4,5,6,7,8,write,9,tag,ok,ok"

const GuessRow GuessRows[] = {
    {"00 0700 00 01 00", false, "reply frame of PackageBase", "fits to the last byte"},
    {"00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800", false,
     "request frame of PackageBase", "fits to the last byte"},
    {"00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 04000000 00", false,
     "request frame of PackageRequestRead", "fits to the last byte"},
    {"00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 04000000 02", false,
     "request frame of PackageRequestReadMemData", "fits to the last byte"},
    {"00 0000 0000 03000000 0700 01 02 03 04 0500 01 06 0700 0800 00 00 01000000 61", false,
     "request frame of PackageRequestWriteData", "fits to the last byte"},
    {"00 0700 00 01 00 02000000 01 02", false, "reply frame of PackageRequestReadData",
     "fits to the last byte"},
    {"55AA 00 05 00000000 0000 00 00 0000 0000 0000 5A55", false,
     "Linux request frame of PackageRequestReadData", "begins with 55 AA and the checksum matches"},
    {"55AA 00 05 00000000 0000 01 00 0000 0000 0100 07 6355", false,
     "Linux request frame of PackageRequestWriteData",
     "begins with 55 AA and the checksum matches"},
    {"55AA 00 05 00000000 0000 00 00 0000 0000 0100 07 6255", false,
     "Linux reply frame of PackageRequestReadData", "begins with 55 AA and the checksum matches"},
    {"55AA 04 05 00000000 0000 00 00 0000 0000 0000 5E55", false,
     "Linux reply frame of PackageRequestReadData", "begins with 55 AA and the checksum matches"},
    {"55AA 00 05 00000000 0000 00 00 0000 0000 0000 5B55", false,
     "Linux request frame of PackageRequestReadData",
     "checksum at 18: wrong checksum: 0x555A expected, 0x555B found"},
    // A start byte is wrong, but the checksum matches.
    {"54AA 00 05 00000000 0000 00 00 0000 0000 0000 5A55", false,
     "Linux request frame of PackageRequestReadData",
     "start at 0: unknown marker 0x54; expected 0x55"},
    {"55AB 00 05 00000000 0000 00 00 0000 0000 0000 5A55", false,
     "Linux request frame of PackageRequestReadData",
     "start at 1: unknown marker 0xAB; expected 0xAA"},
    // A short reply without its marker is still one.
    {"04 0700 00 01 00", false, "reply frame of PackageBase",
     "marker at 0: unknown marker 0x4; expected 0x1"},
    // Of 6 bytes of data 5 are missing, which is less than 5 trailing bytes of a register write.
    {"00 0000 0000 03000000 0700 01 02 03 04 0500 01 06 0700 0800 00 00 06000000 01", false,
     "request frame of PackageRequestWriteData", "data at 29: announced 6 bytes, left 1 byte"},
    {READ_COLUMNS, true, "request record of PackageBase", "15 columns, all in range"},
    {READ_COLUMNS ",0", true, "reply record of PackageBase", "16 columns, all in range"},
    {READ_COLUMNS ",4,data", true, "request record of PackageRequestRead",
     "17 columns, all in range"},
    {READ_COLUMNS ",4,file,5", true, "request record of PackageRequestReadFile",
     "18 columns, all in range"},
    {READ_COLUMNS ",4,memData,5", true, "request record of PackageRequestReadMemData",
     "18 columns, all in range"},
    {WRITE_COLUMNS ",true,data,1,5", true, "request record of PackageRequestWriteData",
     "19 columns, all in range"},
    // A reply may carry no numbers.
    {WRITE_COLUMNS ",0,true,data,0,", true, "reply record of PackageRequestWriteData",
     "20 columns, all in range"},
    {WRITE_COLUMNS ",true,file,1,5", true, "request record of PackageRequestWriteFile",
     "19 columns, all in range"},
    {"7,key,1,2,3,4,5,6,7,8,read,9,tag,late,ok", true, "request record of PackageBase",
     "commResult at 13: unknown result name \"late\"; expected one of pending, ok, crcErr, "
     "lengthErr, "
     "portErr, timeout, codeErr, forcedCancel"},
    {"1,2,te\txt", true, "request record of SpecialPackageRequest", "3 columns, all in range"},
    {"7,usb0", true, "request record of SpecialPackageRequest",
     "too few: 3 columns expected, 2 found"},
    {"1,2,text", true, "request record of SpecialPackageRequest", "3 columns, all in range"},
    {"ReadData^" READ_COLUMNS ",4,data", true, "request record of PackageRequestCombination",
     "type words and ^ in every item"},
    {"ReadData^" READ_COLUMNS ",4,data|x^", true, "request record of PackageRequestCombination",
     "item 2, type at 0: unknown type word \"x\"; expected one of ReadData, ReadFile, writeData, "
     "writeFile"},
};

TEST(Guess, BestFirst)
{
    for (const GuessRow &row : GuessRows) {
        SCOPED_TRACE(row.input);
        const QVector<Guess> guesses = guess(row.isText ? QByteArray(row.input) : hex(row.input));
        ASSERT_FALSE(guesses.isEmpty());
        EXPECT_EQ(describe(guesses.front().shape), QString::fromLatin1(row.first));
        EXPECT_EQ(guesses.front().reason, QString::fromLatin1(row.reason));
    }
}

/// Input that two classes write alike is not told apart.
bool sameUntilTheClass(const MessageShape &a, const MessageShape &b)
{
    return a.form == b.form && a.direction == b.direction;
}

TEST(Guess, FindsTheFormAndDirectionOfEveryEncodedPackage)
{
    Generator generate(3);
    for (int i = 0; i < 2000; ++i) {
        const PackageClass &itsClass = generate.anyClass();
        const Encoding encoding = generate.anyEncoding(itsClass);
        const MessageShape shape{itsClass.id, encoding.form, encoding.direction};
        QByteArray input;
        const auto package = generate.consistentPackage(itsClass);
        ASSERT_TRUE(encodePackage(*package, encoding, &input).isOk());
        // No decoder reads the reply record of a special request.
        if (!check(input, shape).isOk())
            continue;
        SCOPED_TRACE(testing::Message()
                     << describe(shape).toStdString() << ": " << input.toHex(' ').toStdString());
        const QVector<Guess> guesses = guess(input);
        ASSERT_FALSE(guesses.isEmpty());
        EXPECT_TRUE(sameUntilTheClass(guesses.front().shape, shape))
            << describe(guesses.front().shape).toStdString();
        int found = 0;
        bool refused = false;
        for (const Guess &candidate : guesses) {
            EXPECT_FALSE(refused && candidate.verdict.isOk()) << "best first";
            refused = !candidate.verdict.isOk();
            found += candidate.shape.classId == shape.classId
                && sameUntilTheClass(candidate.shape, shape) && candidate.verdict.isOk();
        }
        EXPECT_EQ(found, 1);
    }
}

TEST(Guess, ThereIsOneForAnyInput)
{
    for (const char *digits :
         {"", "00", "FF", "55", "55AA", "2C2C2C", "0D0A", "7F2C2C", "372CFF2C30", "012C2C", "415E",
          "EFBBBF312C322C61", "312C322C6100622C"}) {
        SCOPED_TRACE(digits);
        const QByteArray input = hex(digits);
        EXPECT_FALSE(guess(input).isEmpty());
        for (const Guess &candidate : guess(input))
            EXPECT_EQ(describe(candidate.verdict), describe(check(input, candidate.shape)));
    }
}

QString inWords(const Guess &guess)
{
    return QStringLiteral("%1: %2; %3")
        .arg(describe(guess.shape), describe(guess.verdict), guess.reason);
}

/// Expects that bestGuess() finds what stands first in the list of all guesses, whatever is known.
void expectBestIsFirst(const QByteArray &input)
{
    SCOPED_TRACE(input.toHex(' ').toStdString());
    const QVector<Guess> guesses = guess(input);
    std::vector<KnownShape> known(1);
    for (const Guess &candidate : guesses) {
        const auto [classId, form, direction] = candidate.shape;
        known.push_back({classId, {}, {}});
        known.push_back({{}, form, {}});
        known.push_back({{}, form, direction});
        known.push_back({classId, {}, direction});
    }
    for (const KnownShape &some : known) {
        const auto agrees = [&](const Guess &guess) { return some.agreesWith(guess.shape); };
        const auto first = std::find_if(guesses.begin(), guesses.end(), agrees);
        const std::optional<Guess> best = bestGuess(input, some);
        ASSERT_TRUE(best);
        EXPECT_EQ(inWords(*best), inWords(*first));
    }
}

TEST(Guess, TheBestOneIsTheFirstOfAll)
{
    for (const GuessRow &row : GuessRows)
        expectBestIsFirst(row.isText ? QByteArray(row.input) : hex(row.input));
    // A byte frame with commas, a record with a zero byte, and a start of a Linux frame in text.
    for (const char *digits :
         {"", "00", "01", "55AA", "00 2C00 2C2C", "312C322C610062", "55AA2C2C", "FF2C", "5E"})
        expectBestIsFirst(hex(digits));
    Generator generate(4);
    int accepted = 0;
    for (int i = 0; i < 500 && !testing::Test::HasFailure(); ++i) {
        const PackageClass &itsClass = generate.anyClass();
        const Encoding encoding = generate.anyEncoding(itsClass);
        QByteArray input;
        if (!encodePackage(*generate.consistentPackage(itsClass), encoding, &input).isOk())
            continue;
        expectBestIsFirst(input);
        accepted += guess(input).front().verdict.isOk();
        expectBestIsFirst(generate.mutated(input, encoding.form));
    }
    EXPECT_GT(accepted, 400);
}

TEST(Guess, ThereIsNoneForAnUnknownShape)
{
    const KnownShape combinationFrame{ClassId::PackageRequestCombination, Form::Frame, {}};
    EXPECT_FALSE(bestGuess(hex("00 0700 00 01 00"), combinationFrame));
    // A combination is not tried where the text has no ^.
    EXPECT_FALSE(bestGuess("7,usb0", {ClassId::PackageRequestCombination, {}, {}}));
    EXPECT_TRUE(bestGuess("7^usb0", {ClassId::PackageRequestCombination, {}, {}}));
}

} // namespace
