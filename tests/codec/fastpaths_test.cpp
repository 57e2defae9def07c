// Compares the fast path of each primitive with the careful one.

#include "checksum_p.h"
#include "datastring_p.h"
#include "testsupport.h"
#include "textparts_p.h"
#include "utf8_p.h"

#include <QtCore/QStringList>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

namespace {

/// Texts that look like number fields: mostly digits, and all that Qt's parsers treat specially.
class FieldGenerator
{
public:
    QString next()
    {
        switch (m_engine() % 4) {
        case 0:
            return QString::number(m_engine() % 256);
        case 1:
            return QString::number(static_cast<qint64>(m_engine() % 20000000000U) - 5000000000);
        default:
            return text();
        }
    }

private:
    QString text()
    {
        // Blanks of ASCII, of Latin-1 and beyond, signs, digits of other scripts, prefixes, commas.
        static const std::u16string characters =
            u"00112233445566778899 \t\n\r\v\f\u00A0\u2003+-.,xXeE_'\u0663\uFF11\u2212\u200F\uFEFF";
        QString field;
        for (std::size_t size = m_engine() % 13; size > 0; --size) {
            const bool digit = m_engine() % 4 != 0;
            const std::size_t position = m_engine() % (digit ? 20 : characters.size());
            field += QChar(characters[position]);
        }
        return field;
    }

    std::mt19937_64 m_engine{20230};
};

TEST(FastPaths, NumbersAreThoseOfQt)
{
    FieldGenerator generator;
    int refused = 0;
    for (int i = 0; i < 2000000; ++i) {
        const QString field = generator.next();
        ASSERT_EQ(Korvin::toInt(field), field.toInt()) << field.toStdString();
        ASSERT_EQ(Korvin::toUInt(field), field.toUInt()) << field.toStdString();
        bool ok = false;
        field.toInt(&ok);
        refused += ok ? 0 : 1;
    }
    EXPECT_GT(refused, 200000); // so both ways were walked
    EXPECT_LT(refused, 1800000);
}

TEST(FastPaths, NumberParts)
{
    FieldGenerator generator;
    for (int i = 0; i < 50000; ++i) {
        QStringList fields;
        for (int count = 1 + i % 9; count > 0; --count)
            fields.append(generator.next());
        const QString text = fields.join(QLatin1Char('/'));
        Korvin::NumberParts parts(text, '/');
        for (const QString &field : std::as_const(fields)) {
            ASSERT_FALSE(parts.atEnd()) << text.toStdString();
            ASSERT_EQ(parts.next(), field.toInt()) << text.toStdString();
        }
        ASSERT_TRUE(parts.atEnd()) << text.toStdString();
    }
}

/// Reads a data string with room for @p room numbers in the plainest way.
QByteArray numbersCarefully(const QString &text, int room)
{
    QByteArray bytes(room, 'x');
    const QStringList parts = text.split(QLatin1Char('/'));
    for (int i = 0; i < qMin(room, static_cast<int>(parts.size())); ++i)
        bytes[i] = static_cast<char>(parts.at(i).toInt());
    return bytes;
}

QByteArray numbersFast(const QString &text, int room)
{
    QByteArray bytes(room, 'x');
    Korvin::readNumbers(text, bytes.data(), bytes.data() + room);
    return bytes;
}

/// The number of parts, if each is a byte as QString::number() writes it; otherwise -1.
qsizetype writtenCarefully(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    const bool isWritten = std::all_of(parts.begin(), parts.end(), [](const QString &part) {
        return QString::number(static_cast<quint8>(part.toInt())) == part;
    });
    return isWritten ? parts.size() : -1;
}

TEST(FastPaths, DataStringsOfPlainNumbers)
{
    std::mt19937 engine(20231);
    QString text;
    for (int count = 1; count <= 300; ++count) {
        // Numbers of every width up to four digits, zeros before them and empty ones among them.
        const int widest = count % 3 == 0 ? 1000 : 256;
        text += (count > 1 ? QStringLiteral("/") : QString())
            + QString::number(engine() % static_cast<unsigned>(widest));
        for (const int room : {0, 1, count - 1, count, count + 1}) {
            ASSERT_EQ(numbersFast(text, room), numbersCarefully(text, room))
                << count << ' ' << room << ' ' << text.toStdString();
        }
        ASSERT_EQ(Korvin::writtenNumbers(text), writtenCarefully(text)) << text.toStdString();
        for (const char *end : {"/", "//", "/0", "/007", "/1234/5", "/99999999999/7"}) {
            const QString longer = text + QLatin1String(end);
            ASSERT_EQ(Korvin::writtenNumbers(longer), writtenCarefully(longer))
                << longer.toStdString();
            ASSERT_EQ(numbersFast(longer, count + 3), numbersCarefully(longer, count + 3))
                << longer.toStdString();
        }
    }
}

// Every number of up to three digits, at every place of a block of 64 characters.
TEST(FastPaths, NumbersAreThoseThatAreWritten)
{
    QStringList numbers{QString()};
    for (int number = 0; number < 1000; ++number) {
        const QString digits = QString::number(number);
        numbers << digits << digits.rightJustified(2, QLatin1Char('0'))
                << digits.rightJustified(3, QLatin1Char('0'));
    }
    for (const QString &number : std::as_const(numbers)) {
        ASSERT_EQ(Korvin::writtenNumbers(number), writtenCarefully(number));
        for (int before = 0; before < 64; before += 1 + before % 3) {
            const QString text = QStringLiteral("1/").repeated(before / 2)
                + (before % 2 == 1 ? QStringLiteral("10/") : QString()) + number
                + QStringLiteral("/255").repeated(20);
            ASSERT_EQ(Korvin::writtenNumbers(text), writtenCarefully(text)) << text.toStdString();
        }
    }
    EXPECT_EQ(Korvin::writtenNumbers(QString(200, QLatin1Char('1'))), -1);
}

// In a block that is right except for it.
TEST(FastPaths, NumbersOfFourDigitsAreNotWritten)
{
    for (const char *number : {"0000", "0123", "1000", "1234", "2550"}) {
        for (int before = 0; before < 64; ++before) {
            const QString text = QStringLiteral("1/").repeated(before) + QLatin1String(number)
                + QStringLiteral("/1").repeated(40);
            ASSERT_EQ(Korvin::writtenNumbers(text), -1) << text.toStdString();
        }
    }
}

TEST(FastPaths, DataStringsWithAnythingElseAtEveryPlace)
{
    QString plain;
    for (int i = 0; i < 60; ++i)
        plain += QString::number(i * 37 % 256) + QLatin1Char('/');
    plain.chop(1);
    for (const char16_t other : {u'.', u':', u' ', u'-', u'+', u'x', u'\0', u'\u012F', u'\u0130',
                                 u'\u2F30', u'\u7FFF', u'\uFF11', char16_t(0x8030), u'/'}) {
        for (int position = 0; position < plain.size(); ++position) {
            QString text = plain;
            text[position] = QChar(other);
            ASSERT_EQ(numbersFast(text, 62), numbersCarefully(text, 62))
                << text.toStdString() << ' ' << position;
            ASSERT_EQ(Korvin::writtenNumbers(text), writtenCarefully(text))
                << text.toStdString() << ' ' << position;
        }
    }
}

TEST(FastPaths, DataStringsAreThoseOfQt)
{
    FieldGenerator generator;
    for (int i = 0; i < 20000; ++i) {
        QStringList fields;
        for (int count = 0; count < 100; ++count)
            fields.append(count % 25 == 0 ? generator.next() : QString::number((i + count) % 256));
        const QString text = fields.join(QLatin1Char('/'));
        ASSERT_EQ(numbersFast(text, 100), numbersCarefully(text, 100)) << text.toStdString();
    }
}

TEST(FastPaths, CharactersAreFoundAndCounted)
{
    for (int size = 0; size <= 70; ++size) {
        QString text(size, QLatin1Char('/' + 1));
        EXPECT_FALSE(Korvin::contains(text, '/'));
        for (int position = 0; position < size; ++position) {
            text[position] = QChar(u'/' + 0x0100); // its low byte is that of the character
            ASSERT_EQ(Korvin::countCharacter(text, '/'), 0) << size << ' ' << position;
            text[position] = QLatin1Char('/');
            ASSERT_EQ(Korvin::findCharacter(text.constData(), text.constData() + size, '/')
                          - text.constData(),
                      position)
                << size;
            for (const int second : {0, position / 2, size - 1}) {
                QString both = text;
                both[second] = QLatin1Char('/');
                ASSERT_EQ(Korvin::countCharacter(both, '/'), both.count(QLatin1Char('/')))
                    << size << ' ' << position << ' ' << second;
            }
            text[position] = QLatin1Char('/' + 1);
        }
    }
    const QString many(100000, QLatin1Char('/'));
    EXPECT_EQ(Korvin::countCharacter(many, '/'), 100000);
}

struct NumberField
{
    const char *text;
    int asInt;
    uint asUInt;
};

const NumberField NumberFields[] = {
    {"0", 0, 0},
    {"007", 7, 7},
    {"999999999", 999999999, 999999999},
    {"1000000000", 1000000000, 1000000000},
    {"2147483647", 2147483647, 2147483647},
    {"2147483648", 0, 2147483648U},
    {"4294967295", 0, 4294967295U},
    {"4294967296", 0, 0},
    {"-1", -1, 0},
    {"-2147483648", -2147483647 - 1, 0},
    {"-2147483649", 0, 0},
    {"+5", 5, 5},
    {" 5 ", 5, 5},
    {"\t5\n", 5, 5},
    {"000000000000005", 5, 5},
    {"5 5", 0, 0},
    {"", 0, 0},
    {" ", 0, 0},
    {"-", 0, 0},
    {"5x", 0, 0},
    {"0x5", 0, 0},
    {"1e3", 0, 0},
    {"1,5", 0, 0},
};

TEST(FastPaths, NumberRows)
{
    for (const NumberField &row : NumberFields) {
        const QString text = QString::fromLatin1(row.text);
        EXPECT_EQ(Korvin::toInt(text), row.asInt) << row.text;
        EXPECT_EQ(Korvin::toUInt(text), row.asUInt) << row.text;
        Korvin::NumberParts parts(text, '/');
        EXPECT_EQ(parts.next(), row.asInt) << row.text;
        EXPECT_TRUE(parts.atEnd()) << row.text;
    }
}

/// Bytes with something other than plain ASCII at @p position, or nowhere if it is past the end.
QByteArray bytesWith(int size, int position, const QByteArray &other)
{
    QByteArray bytes(size, 'a');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(1 + i * 7 % 127);
    if (position < size)
        bytes.replace(position, qMin(other.size(), size - position), other);
    return bytes;
}

TEST(FastPaths, TextsOfFrames)
{
    for (const char *other : {"\xC3\xA9", "\x7F", "\x80", "\xFF", "\xEF\xBB\xBF", ""}) {
        const QByteArray inserted = *other == '\0' ? QByteArray(1, '\0') : QByteArray(other);
        for (int size = 0; size <= 40; ++size) {
            for (int position = 0; position <= size; ++position) {
                const QByteArray bytes = bytesWith(size, position, inserted);
                const int zero = bytes.indexOf('\0');
                const QString expected =
                    QString::fromUtf8(bytes.constData(), zero < 0 ? size : zero);
                QString fresh;
                Korvin::readUtf8(bytes.constData(), size, fresh);
                ASSERT_EQ(fresh, expected) << size << ' ' << position;
                QString reused(100, QLatin1Char('x'));
                Korvin::readUtf8(bytes.constData(), size, reused);
                ASSERT_EQ(reused, expected) << size << ' ' << position;
                const bool isPlain = position == size || inserted == "\x7F";
                ASSERT_EQ(Korvin::isPlainAscii(bytes.constData(), size), isPlain)
                    << size << ' ' << position;
            }
        }
    }
}

TEST(FastPaths, TextsForFrames)
{
    for (const char16_t other :
         {u'\x7F', u'\x80', u'\xFF', u'\u0100', u'\u20AC', char16_t(0xD800), u'\0'}) {
        for (int size = 0; size <= 40; ++size) {
            for (int position = 0; position <= size; ++position) {
                QString text = QString::fromLatin1(bytesWith(size, size, {}));
                if (position < size)
                    text[position] = QChar(other);
                QByteArray out(size, '\xAA');
                const bool isAscii = position == size || other <= 0x7F;
                ASSERT_EQ(Korvin::narrowAscii(text, out.data()), isAscii)
                    << size << ' ' << position;
                if (isAscii) {
                    ASSERT_EQ(out, text.toUtf8()) << size << ' ' << position;
                }
            }
        }
    }
}

TEST(FastPaths, SumsOfBytes)
{
    const QByteArray bytes = bytesWith(200, 3, QByteArray(150, '\xFF'));
    for (int start = 0; start < 20; ++start) {
        for (int size = 0; start + size <= bytes.size(); ++size) {
            quint32 expected = 0;
            for (const char byte : bytes.mid(start, size))
                expected += static_cast<quint8>(byte);
            ASSERT_EQ(Korvin::byteSum(bytes.constData() + start, size), expected)
                << start << ' ' << size;
        }
    }
}

TEST(FastPaths, SumsBeyond32BitsWrap)
{
    const QByteArray bytes((1 << 24) + (1 << 20), '\xFF');
    const quint64 sum = 255ULL * ((1U << 24) + (1U << 20));
    ASSERT_GT(sum, 0xFFFFFFFFULL);
    EXPECT_EQ(Korvin::byteSum(bytes.constData(), bytes.size()), static_cast<quint32>(sum));
}

TEST(FastPaths, EveryByteOfADataString)
{
    const auto decimals = Korvin::makeDecimalBytes(); // here while the program runs
    for (int value = 0; value < 256; ++value) {
        const QByteArray data(3, static_cast<char>(value));
        QString text(12, Qt::Uninitialized);
        text.resize(
            static_cast<int>(Korvin::DataStringSource(data, 3).write(text.data()) - text.data()));
        const QString number = QString::number(value);
        const Korvin::DecimalByte &decimal = decimals[static_cast<std::size_t>(value)];
        EXPECT_EQ(QString(reinterpret_cast<const QChar *>(decimal.text), decimal.size),
                  number + QLatin1Char('/'));
        EXPECT_EQ(text, QStringLiteral("%1/%1/%1").arg(number));
        QByteArray read;
        EXPECT_TRUE(Korvin::readDataString(text, 3, read));
        EXPECT_EQ(read, data);
    }
}

} // namespace
