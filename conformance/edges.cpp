#include "edges.h"

#include <packagebase.h>

#include <algorithm>

using namespace KorvinInspect;

namespace {

/// Numbers at the ends of 8, 16, 32 and 64 bits, and on either side of them.
const char *const Numbers[] = {
    "0",          "1",          "-1",         "127",         "128",
    "255",        "256",        "257",        "-256",        "300",
    "32767",      "32768",      "65535",      "65536",       "65793",
    "2147483647", "2147483648", "4294967295", "-2147483648", "4294967296",
    "305419896",  "4294967301", "2147483904", "-305419896",  "9223372036854775808",
    "10000000",   "99",         "100",        "-100",        "18446744073709551615",
};

/// Columns that look like numbers.
const char *const Spellings[] = {
    "0",
    "1",
    "-1",
    "127",
    "128",
    "255",
    "256",
    "-255",
    "300",
    "65535",
    "65536",
    "65793",
    "-65537",
    "2147483647",
    "2147483648",
    "-2147483648",
    "-2147483649",
    "4294967295",
    "4294967296",
    "4294967297",
    "4294967301",
    "-4294967291",
    "9223372036854775807",
    "18446744073709551621",
    "340282366920938463463374607431768211461",
    "007",
    "-007",
    "+7",
    "+0",
    "-0",
    " 7",
    "7 ",
    "\t7 ",
    "",
    " ",
    "+",
    "-",
    "--7",
    "+-7",
    "- 7",
    "7-",
    "0x10",
    "1e3",
    "7.0",
    "1_0",
    "1 0",
    "7a",
    "seven",
    "\u0667",
};

/// Texts with characters of one to four bytes, and with characters that other fields escape, quote
/// or trim.
const char *const Texts[] = {
    "",
    "a",
    "t\u00E9g",
    "\u20AC\u00E9",
    "\U0001F600x",
    " in blanks ",
    "a/b//c",
    R"("quoted\" 100%)",
    "#*#",
    "*#*",
    "*#*#*",
    "#*#*#*",
    "#*#*#",
    "#*/*#",
    "#**#*#",
    "a#*#b#*#c",
    "a*#*b*#*c",
};

/// Texts that a record cannot carry without losing columns.
const char *const TextsWithCommas[] = {",", "a,b", "/,", ",/", "a/,/b,,c"};

/// The size of a text in a frame that needs both bytes of the size field.
constexpr int LongText = 258;

const char *const Flags[] = {"true", "false", "TRUE", "True", "1", " true", "true ", "", "yes"};

const char *const Codes[] = {"commResult", "packResult", "readWriteCode", "clientPackageType"};

/// Numbers of codes, with and without a name, and numbers with the same low byte.
const char *const CodeNumbers[] = {"2",  "3",   "8",   "11",  "244",   "255",
                                   "-1", "256", "257", "501", "65536", "-256"};

const QByteArray ThreeBytes = QByteArray::fromHex("01FF10");

/// Returns the value of the field after @p value was stored; undefined if the field refuses it.
QJsonValue stored(const PackageClass &ofClass, const PackageField &field, const QJsonValue &value)
{
    const std::unique_ptr<PackageBase> package = ofClass.create();
    return field.set(*package, value).isEmpty() ? field.get(*package) : QJsonValue::Undefined;
}

/// Returns the names of the codes of a field.
QStringList namesOf(const PackageClass &ofClass, const PackageField &field)
{
    QStringList names;
    for (int code = 0; code < 256; ++code) {
        const QJsonValue name = stored(ofClass, field, code);
        if (name.isString())
            names << name.toString();
    }
    return names;
}

template <typename List>
QStringList listed(const List &words)
{
    QStringList list;
    for (const char *word : words)
        list << QString::fromUtf8(word);
    return list;
}

/// Returns the names of every code, including those of other fields, which are unknown here, and
/// words that look like a name.
QStringList nameEdges(const PackageClass &ofClass, const PackageField &field)
{
    QStringList edges = namesOf(ofClass, field);
    const QString last = edges.constLast();
    edges << QString() << last.toUpper() << QLatin1Char(' ') + last << last + QLatin1Char(' ')
          << last.chopped(1) << last + QLatin1Char('s') << QStringLiteral("0")
          << QStringLiteral("1") << QStringLiteral("2") << QStringLiteral("unheardOf");
    for (const char *code : Codes) {
        for (const QString &name : namesOf(ofClass, *ofClass.field(QLatin1String(code)))) {
            if (!edges.contains(name))
                edges << name;
        }
    }
    return edges;
}

QStringList candidates(const PackageClass &ofClass, const PackageField &field)
{
    switch (field.valueType) {
    case ValueType::Number:
    case ValueType::Length:
        return listed(Numbers);
    case ValueType::Code:
        return namesOf(ofClass, field) + listed(CodeNumbers);
    case ValueType::Flag:
        return listed(Flags);
    case ValueType::Text:
        return listed(Texts) + listed(TextsWithCommas)
            + QStringList{QString(LongText, QLatin1Char('x'))};
    default:
        return {};
    }
}

/// Returns whether a column does not give the value back: peers read signed numbers of 32 bits.
bool isBeyondColumns(const PackageClass &ofClass, const PackageField &field, const QString &value)
{
    const bool isNumber =
        field.valueType == ValueType::Number || field.valueType == ValueType::Length;
    bool fits = false;
    value.toInt(&fits);
    return isNumber && !fits && !stored(ofClass, field, -1).isUndefined();
}

} // namespace

std::vector<QJsonValue> valueEdges(const PackageClass &ofClass, const PackageField &field)
{
    std::vector<QJsonValue> edges;
    for (const QString &candidate : candidates(ofClass, field)) {
        const QJsonValue value = stored(ofClass, field, candidate);
        if (!value.isUndefined() && !isBeyondColumns(ofClass, field, candidate)
            && std::find(edges.begin(), edges.end(), value) == edges.end())
            edges.push_back(value);
    }
    return edges;
}

QStringList columnEdges(const PackageClass &ofClass, const PackageField &field)
{
    switch (field.valueType) {
    case ValueType::Number:
    case ValueType::Length:
        return listed(Spellings);
    case ValueType::Code:
        return nameEdges(ofClass, field);
    case ValueType::Flag:
        return listed(Flags);
    default:
        return listed(Texts);
    }
}

const std::vector<QByteArray> &byteEdges(int width)
{
    const auto bytes = [](const char *digits) { return QByteArray::fromHex(digits); };
    static const std::vector<QByteArray> ofOne{bytes("00"), bytes("01"), bytes("02"), bytes("7F"),
                                               bytes("80"), bytes("FF"), bytes("31")};
    static const std::vector<QByteArray> ofTwo{bytes("0000"), bytes("0100"), bytes("FF00"),
                                               bytes("0001"), bytes("FF7F"), bytes("0080"),
                                               bytes("FFFF"), bytes("3412")};
    static const std::vector<QByteArray> ofFour{
        bytes("00000000"), bytes("01000000"), bytes("FF000000"), bytes("00010000"),
        bytes("FFFF0000"), bytes("00000100"), bytes("FFFFFF7F"), bytes("00000080"),
        bytes("FFFFFFFF"), bytes("78563412")};
    return width == 1 ? ofOne : width == 2 ? ofTwo : ofFour;
}

const std::vector<DataEdge> &dataEdges()
{
    static const std::vector<DataEdge> edges = [] {
        QByteArray allBytes;
        for (int i = 0; i < 300; ++i)
            allBytes += static_cast<char>(i);
        return std::vector<DataEdge>{{0, {}},
                                     {1, QByteArray(1, '\0')},
                                     {3, ThreeBytes},
                                     {2, ThreeBytes},
                                     {2, QByteArray::fromHex("0102030405060708")},
                                     {0, ThreeBytes},
                                     {300, allBytes},
                                     // Checksums above 32767, and beyond 65535.
                                     {100, QByteArray(100, '\xFF')},
                                     {290, QByteArray(290, '\xFF')}};
    }();
    return edges;
}

const std::vector<DataColumnsEdge> &agreeingDataColumns()
{
    static const std::vector<DataColumnsEdge> edges{
        {"3", QStringLiteral("1/255/16")},
        {"1", QStringLiteral("0")},
        {"1", {}},
        {"2", QStringLiteral("/")},
        {"3", QStringLiteral("5//7")},
        {"4", QStringLiteral("256/-1/300/65793")},
        {"+5", QStringLiteral(" 7/+7/7 /007/0x7")},
        {" 4 ", QStringLiteral("seven/7.0/1_0/-129")},
        {"04", QStringLiteral("4294967297/-2147483649/2147483647/18446744073709551623")},
        {"300", QStringLiteral("9/").repeated(299) + QStringLiteral("254")},
    };
    return edges;
}

const std::vector<DataColumnsEdge> &disagreeingDataColumns()
{
    static const std::vector<DataColumnsEdge> edges{
        {"0", {}},
        {"-1", QStringLiteral("1")},
        {"0", QStringLiteral("1")},
        {"0", QStringLiteral("1/2")},
        {"2", QStringLiteral("1/2/3")},
        {"4", QStringLiteral("1/2/3")},
        {"3", {}},
        {"", QStringLiteral("1")},
        {"three", QStringLiteral("1/2/3")},
        {"0x3", QStringLiteral("1/2/3")},
        {"3.0", QStringLiteral("1/2/3")},
        {"4294967299", QStringLiteral("1/2/3")},
        {"3", QStringLiteral("1/2/3/")},
        {"3", QStringLiteral("1 2 3")},
    };
    return edges;
}
