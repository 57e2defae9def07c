// Guesses of what messages with a small fault are: the class, form and direction that a person
// would name. No shape accepts any of them.

#include "generatedpackages.h"

#include <korvininspect/packageguess.h>

#include <functional>
#include <string>

namespace {

struct BrokenRow
{
    const char *fault;
    const char *input; // hexadecimal digits where it is not a record
    const char *meant;
    const char *named = nullptr; // what the guess names instead, where it is wrong
};

// Where classes write the same bytes, the first of them is meant.
const BrokenRow BrokenFrames[] = {
    // Register requests.
    {"a byte short", "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 00",
     "request frame of PackageBase"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 7F",
     "request frame of PackageBase"},
    {"marker", "02 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A",
     "request frame of PackageBase"},
    {"zero in the key", "00 0400 75730030 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A",
     "request frame of PackageBase"},
    {"a byte short",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 04000000",
     "request frame of PackageRequestRead"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 04000000 00 00",
     "request frame of PackageRequestRead"},
    {"unknown kind",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 04000000 07",
     "request frame of PackageRequestRead"},
    {"a byte lost from the key",
     "00 0400 756230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 04000000 00",
     "request frame of PackageRequestRead"},
    {"negative length",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A FCFFFFFF 00",
     "request frame of PackageRequestRead"},
    {"a byte short", "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00",
     "request frame of PackageRequestWrite"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 00",
     "request frame of PackageRequestWrite"},
    {"broadcast of 2",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 02 00",
     "request frame of PackageRequestWrite"},
    {"unknown kind",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 01 09",
     "request frame of PackageRequestWrite"},

    // Data requests.
    {"a byte short",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 030000",
     "request frame of PackageRequestReadData"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 03000000 "
     "00",
     "request frame of PackageRequestReadData"},
    {"other length in the second place",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 04000000",
     "request frame of PackageRequestReadData"},
    {"code of a write",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 03000000 00 03000000",
     "request frame of PackageRequestReadData"},
    {"unknown access code",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 09 00 1000 000A 03000000 00 03000000",
     "request frame of PackageRequestReadData"},
    {"a byte lost from the time-out",
     "00 0400 75736230 0100 74 B80B00 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 03000000",
     "request frame of PackageRequestReadData"},
    {"size of the key one less",
     "00 0300 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 03000000",
     "request frame of PackageRequestReadData"},
    {"size of the tag one more",
     "00 0400 75736230 0200 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 03000000",
     "request frame of PackageRequestReadData"},
    {"a byte short",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 03000000 01FF",
     "request frame of PackageRequestWriteData"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 03000000 "
     "01FF10 "
     "55",
     "request frame of PackageRequestWriteData"},
    {"length one more",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 04000000 "
     "01FF10",
     "request frame of PackageRequestWriteData"},
    {"length one less",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 02000000 "
     "01FF10",
     "request frame of PackageRequestWriteData"},
    {"unknown kind",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 03 03000000 "
     "01FF10",
     "request frame of PackageRequestWriteData"},
    {"code of a read",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 00 00 03000000 "
     "01FF10",
     "request frame of PackageRequestWriteData", "request frame of PackageRequestReadData"},
    {"length in the other order of bytes",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 00000003 "
     "01FF10",
     "request frame of PackageRequestWriteData"},
    {"a byte too many in the addresses",
     "00 0400 75736230 0100 74 B80B0000 0500 00 00 FF 01 02 FFFF 01 00 1000 000A 00 00 03000000 "
     "01FF10",
     "request frame of PackageRequestWriteData"},

    // File and memory requests.
    {"a byte short",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 00000000 01 0700 "
     "612F622E7478",
     "request frame of PackageRequestReadFile"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 00000000 01 0700 "
     "612F622E747874 00",
     "request frame of PackageRequestReadFile"},
    {"not UTF-8",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 00000000 01 0700 "
     "612F62FE747874",
     "request frame of PackageRequestReadFile"},
    {"code of a write",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00000000 01 0700 "
     "612F622E747874",
     "request frame of PackageRequestReadFile"},
    {"a byte short",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 01 07000000 "
     "612F622E747874 050000",
     "request frame of PackageRequestWriteFile"},
    {"unknown broadcast",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 40 01 00000000 "
     "612F622E747874",
     "request frame of PackageRequestWriteFile"},
    {"a zero after the name",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 01 00000000 "
     "612F622E747874 00",
     "request frame of PackageRequestWriteFile"},
    {"a byte short",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 100000 02",
     "request frame of PackageRequestReadMemData", "request frame of PackageRequestRead"},
    {"a byte too many",
     "00 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 10000000 02 00",
     "request frame of PackageRequestReadMemData"},
    {"marker", "80 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 02",
     "request frame of PackageRequestWriteMemData"},

    // Replies.
    {"a byte short", "00 0500 00 01", "reply frame of PackageBase"},
    {"a byte too many", "00 0500 00 01 00 00", "reply frame of PackageBase"},
    {"unknown result", "00 0500 00 09 00", "reply frame of PackageBase"},
    {"marker", "04 0500 00 01 00", "reply frame of PackageBase"},
    {"a byte short", "00 0500 00 01 00 03000000 01FF", "reply frame of PackageRequestReadData"},
    {"a byte too many", "00 0500 00 01 00 03000000 01FF10 00",
     "reply frame of PackageRequestReadData"},
    {"unknown result", "00 0500 00 21 00 03000000 01FF10", "reply frame of PackageRequestReadData"},
    {"negative length", "00 0500 00 01 00 FDFFFFFF 01FF10", "reply frame of PackageRequestReadData",
     "reply frame of PackageRequestReadFile"},
    {"a byte short", "00 0500 00 01 00 0700 612F622E7478", "reply frame of PackageRequestReadFile"},
    {"a byte too many", "00 0500 00 01 00 0700 612F622E747874 74",
     "reply frame of PackageRequestReadFile"},
    {"zero in the name", "00 0500 00 01 00 0700 612F620E007874",
     "reply frame of PackageRequestReadFile"},
    {"a byte short",
     "01 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 00 00 01 00 00",
     "reply frame of PackageBase"},
    {"a byte short",
     "01 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 03000000 00 03000000 "
     "01FF10 00 00 01 00 00 00 03000000 00 03000000 01FF",
     "reply frame of PackageRequestReadData"},
    {"unknown result",
     "01 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 01 00 1000 000A 00 00 03000000 "
     "01FF10 "
     "00 00 0B 00 00 00 00 00 03000000 01FF10",
     "reply frame of PackageRequestWriteData"},
    {"marker",
     "11 0400 75736230 0100 74 B80B0000 0500 00 FF 01 02 FFFF 00 00 1000 000A 04000000 00 00 00 01 "
     "00 00 00 04000000 00",
     "reply frame of PackageRequestRead"},

    // Linux frames.
    {"flipped bit in the checksum", "55AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 7957",
     "Linux request frame of PackageRequestReadData"},
    {"first start byte", "54AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 7958",
     "Linux request frame of PackageRequestReadData"},
    {"a byte short", "55AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 79",
     "Linux request frame of PackageRequestReadData"},
    {"unknown access code", "55AA 00 07 00 FF 01 02 FFFF 04 00 1000 000A 0300 7D58",
     "Linux request frame of PackageRequestReadData"},
    {"flipped bit in the checksum", "55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0300 01FF10 8A5A",
     "Linux request frame of PackageRequestWriteData"},
    {"a byte short", "55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0300 01FF 7A59",
     "Linux request frame of PackageRequestWriteData"},
    {"second start byte", "55AB 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0300 01FF10 8A59",
     "Linux request frame of PackageRequestWriteData"},
    {"length one more", "55AA 00 07 00 FF 01 02 FFFF 01 00 1000 000A 0400 01FF10 8B59",
     "Linux request frame of PackageRequestWriteData"},
    {"flipped bit in the data", "55AA 00 07 00 FF 01 02 FFFF 00 00 1000 000A 0300 01FE10 8959",
     "Linux reply frame of PackageRequestReadData"},
};

#define TO_CODE "7,usb0,1,0,255,2,65535,2560,16,0,"

const BrokenRow BrokenRecords[] = {
    {"result in capitals", TO_CODE "read,3000,t1,OK,ok", "request record of PackageBase"},
    {"column missing", "7,usb0,1,0,255,2,2560,16,0,read,3000,t1,ok,ok",
     "request record of PackageBase"},
    {"no number", TO_CODE "read,3s,t1,ok,ok,0", "reply record of PackageBase"},
    {"column missing", "7,usb0,1,0,255,65535,2560,16,0,read,3000,t1,ok,ok,4,data",
     "request record of PackageRequestRead"},
    {"column doubled", TO_CODE "read,3000,t1,t1,ok,ok,4,data",
     "request record of PackageRequestRead"},
    {"out of range", "7,usb0,1,0,256,2,65535,2560,16,0,read,3000,t1,ok,ok,4,data",
     "request record of PackageRequestRead"},
    {"unknown kind", TO_CODE "read,3000,t1,ok,ok,4,Data", "request record of PackageRequestRead"},
    {"code of a write", TO_CODE "write,3000,t1,ok,ok,4,data",
     "request record of PackageRequestRead"},
    {"misspelt access", TO_CODE "raed,3000,t1,ok,ok,0,4,data",
     "reply record of PackageRequestRead"},
    {"a number too many", TO_CODE "read,3000,t1,ok,ok,0,3,data,3,1/255/16/9",
     "reply record of PackageRequestReadData"},
    {"acknowledge code missing", TO_CODE "read,3000,t1,ok,ok,3,data,3,1/255/16",
     "reply record of PackageRequestReadData"},
    {"column doubled", "7,usb0,1,0,255,2,65535,2560,2560,16,0,read,3000,t1,ok,ok,0,file,a/b.txt",
     "request record of PackageRequestReadFile"},
    {"comma in the name", TO_CODE "read,3000,t1,ok,ok,0,file,a,b.txt",
     "request record of PackageRequestReadFile"},
    {"misspelt kind", TO_CODE "read,3000,t1,ok,ok,16,memdata,100",
     "request record of PackageRequestReadMemData"},
    {"misspelt flag", TO_CODE "write,3000,t1,ok,ok,False,data",
     "request record of PackageRequestWrite"},
    {"data string missing", TO_CODE "write,3000,t1,ok,ok,false,data,3",
     "request record of PackageRequestWriteData", "request record of PackageRequestWrite"},
    {"wrong length", TO_CODE "write,3000,t1,ok,ok,false,data,4,1/255/16",
     "request record of PackageRequestWriteData"},
    {"column missing", TO_CODE "write,t1,ok,ok,false,data,3,1/255/16",
     "request record of PackageRequestWriteData"},
    {"code of a read", TO_CODE "read,3000,t1,ok,ok,0,false,data,3,1/255/16",
     "reply record of PackageRequestWriteData", "reply record of PackageRequestReadData"},
    {"no offset", TO_CODE "write,3000,t1,ok,ok,false,file,a/b.txt,",
     "request record of PackageRequestWriteFile"},
    {"blank before a number", TO_CODE "write, 3000,t1,ok,ok,0,false,memData,100,16",
     "reply record of PackageRequestWriteMemData"},
    {"no number", "12,soon,hello", "request record of SpecialPackageRequest"},
    {"no numbers, items in the text", "12s,0s,a|ReadData^b|ReadData^c|ReadData^d",
     "request record of SpecialPackageRequest"},
    {"comma in the text", "12,0,hello,world", "request record of SpecialPackageRequest"},
    {"misspelt type word", "ReadDate^" TO_CODE "read,3000,t1,ok,ok,4,data",
     "request record of PackageRequestCombination"},
    {"misspelt type word",
     "ReadDate^" TO_CODE "read,3000,t1,ok,ok,4,data|ReadData^" TO_CODE "read,3000,t1,ok,ok,4,data",
     "request record of PackageRequestCombination"},
};

constexpr int FewestInPercent = 92;

struct Tally
{
    int all = 0;
    int right = 0;
    std::string wrong;

    /// @param meant has the shapes that are right.
    void add(const std::string &fault, const QByteArray &input, const QStringList &meant)
    {
        const QVector<Guess> guesses = guess(input);
        ASSERT_FALSE(guesses.isEmpty());
        EXPECT_FALSE(guesses.front().verdict.isOk()) << fault;
        const QString named = describe(guesses.front().shape);
        ++all;
        right += meant.contains(named) ? 1 : 0;
        if (!meant.contains(named)) {
            wrong += fault + ": " + meant.join(QStringLiteral(" or ")).toStdString() + ", not "
                + named.toStdString() + ": " + printable(input) + '\n';
        }
    }

    static std::string printable(const QByteArray &input)
    {
        return (input.contains(',') && !input.contains('\0') ? input : input.toHex(' '))
            .toStdString();
    }
};

void expectNamed(const BrokenRow &row, const QByteArray &input)
{
    const Guess guessed = guess(input).constFirst();
    EXPECT_FALSE(guessed.verdict.isOk());
    EXPECT_EQ(describe(guessed.shape), QLatin1String(row.named ? row.named : row.meant))
        << row.fault << ": " << row.input;
}

TEST(BrokenGuess, NamesWhatAPersonWouldName)
{
    for (const BrokenRow &row : BrokenFrames)
        expectNamed(row, hex(row.input));
    for (const BrokenRow &row : BrokenRecords)
        expectNamed(row, row.input);
}

struct Damage
{
    const char *name;
    std::function<void(QByteArray &, Generator &)> apply;
};

const Damage DamageOfFrames[] = {
    {"last byte lost", [](QByteArray &frame, Generator &) { frame.chop(1); }},
    {"byte appended",
     [](QByteArray &frame, Generator &any) { frame.append(static_cast<char>(any.upTo(255))); }},
    {"byte lost",
     [](QByteArray &frame, Generator &any) { frame.remove(any.upTo(frame.size() - 1), 1); }},
    {"byte inserted",
     [](QByteArray &frame, Generator &any) {
         frame.insert(any.upTo(frame.size()), static_cast<char>(any.upTo(255)));
     }},
    {"byte changed",
     [](QByteArray &frame, Generator &any) {
         frame[any.upTo(frame.size() - 1)] = static_cast<char>(any.upTo(255));
     }},
    {"bit flipped",
     [](QByteArray &frame, Generator &any) {
         const int place = any.upTo(frame.size() - 1);
         frame[place] = static_cast<char>(frame.at(place) ^ 1 << any.upTo(7));
     }},
};

/// Makes a damage of a record out of one of its columns.
template <typename Change>
std::function<void(QByteArray &, Generator &)> inColumns(Change change)
{
    return [change](QByteArray &record, Generator &any) {
        QList<QByteArray> columns = record.split(',');
        change(columns, any.upTo(columns.size() - 1), any);
        record = columns.join(',');
    };
}

using Columns = QList<QByteArray>;

const Damage DamageOfRecords[] = {
    {"column lost", inColumns([](Columns &columns, int at, Generator &) { columns.removeAt(at); })},
    {"column doubled",
     inColumns([](Columns &columns, int at, Generator &) { columns.insert(at, columns.at(at)); })},
    {"column emptied",
     inColumns([](Columns &columns, int at, Generator &) { columns[at].clear(); })},
    {"letter changed", inColumns([](Columns &columns, int at, Generator &any) {
         QByteArray &column = columns[at];
         if (!column.isEmpty())
             column[any.upTo(column.size() - 1)] = 'x';
     })},
    {"out of range",
     inColumns([](Columns &columns, int at, Generator &) { columns[at].prepend("99999999999"); })},
    {"last character lost", [](QByteArray &record, Generator &) { record.chop(1); }},
};

/// Returns the shapes that accept an input and have the form and direction of its first guess.
QStringList namesOf(const QByteArray &input)
{
    QStringList names;
    const QVector<Guess> guesses = guess(input);
    for (const Guess &candidate : guesses) {
        const bool isAlike = candidate.shape.form == guesses.front().shape.form
            && candidate.shape.direction == guesses.front().shape.direction;
        if (candidate.verdict.isOk() && isAlike)
            names << describe(candidate.shape);
    }
    return names;
}

/// Breaks a message that the library makes. A class that writes the same bytes is right, too. Does
/// nothing where a shape still accepts the message.
void addGenerated(Tally &tally, Generator &any)
{
    const PackageClass &itsClass = any.anyClass();
    const Encoding encoding = any.anyEncoding(itsClass);
    QByteArray input;
    const auto package = any.consistentPackage(itsClass);
    if (!encodePackage(*package, encoding, &input).isOk())
        return;
    const QStringList meant = namesOf(input);
    const Damage &damage = encoding.form == Form::Text
        ? DamageOfRecords[any.upTo(std::size(DamageOfRecords) - 1)]
        : DamageOfFrames[any.upTo(std::size(DamageOfFrames) - 1)];
    damage.apply(input, any);
    if (!meant.isEmpty() && !bestGuess(input)->verdict.isOk())
        tally.add(damage.name, input, meant);
}

TEST(BrokenGuess, NamesWhatTheMessageWasBefore)
{
    Tally tally;
    Generator any(5);
    while (tally.all < 500 && !testing::Test::HasFailure())
        addGenerated(tally, any);
    EXPECT_GE(100 * tally.right, FewestInPercent * tally.all) << tally.right << '\n' << tally.wrong;
}

/// In a message of more than 4,096 characters no lost column is looked for.
TEST(BrokenGuess, LongRecordsAreWeighedAsTheyAre)
{
    const QByteArray tail = ",0,255,1,2,65535,2560,16,0,write,3000,tag,ok,ok,false,data,3";
    EXPECT_EQ(describe(bestGuess("7," + QByteArray(5000, 'k') + tail)->shape),
              QStringLiteral("request record of PackageRequestWrite"));
}

} // namespace
