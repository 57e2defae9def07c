// Texts and bytes from the input, and how terminals and logs show them.

#include "testsupport.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>

namespace {

TEST(InputText, ZeroBytesAreCharacters)
{
    EXPECT_EQ(textFromUtf8(QByteArray("a\0\xC3\xA9", 4)).size(), 3);
    EXPECT_EQ(textFromUtf8({}), QString());
}

TEST(InputText, ControlCharactersAreEscaped)
{
    const QString text = QString::fromUtf8("a\x1B[1m\n\x7F\xC2\x9B\xE2\x80\xAEé\xF0\x9F\x98\x80");
    EXPECT_EQ(printable(text),
              QString::fromUtf8("a\\u001b[1m\\u000a\\u007f\\u009b\\u202eé\xF0\x9F\x98\x80"));
}

TEST(InputText, LongTextsAreCut)
{
    EXPECT_EQ(printable(QStringLiteral("abcde"), 5), QStringLiteral("abcde"));
    EXPECT_EQ(printable(QStringLiteral("abcdef"), 5), QStringLiteral("abcde..."));
    EXPECT_EQ(printable(QStringLiteral("abcdef"), 0), QStringLiteral("..."));
    EXPECT_EQ(printable(QStringLiteral("abc\U0001F600"), 5), QStringLiteral("abc\U0001F600"));
    EXPECT_EQ(printable(QStringLiteral("abc\U0001F600d"), 5), QStringLiteral("abc\U0001F600..."));
    EXPECT_EQ(printable(QStringLiteral("abcd\U0001F600"), 5), QStringLiteral("abcd..."));
    const QString half(QChar(0xD83D)); // of a pair
    EXPECT_EQ(printable(half, 5), half);
}

TEST(HexBytes, DigitsInPairs)
{
    QByteArray bytes("before");
    EXPECT_EQ(bytesFromHex(QStringLiteral("09 aAfF\n\t5a "), &bytes), QString());
    EXPECT_EQ(bytes, QByteArray("\x09\xAA\xFF\x5A"));
    EXPECT_EQ(hexFromBytes(bytes), QStringLiteral("09 AA FF 5A"));
    EXPECT_EQ(bytesFromHex(QString(), &bytes), QString());
    EXPECT_EQ(bytes, QByteArray());

    const std::pair<const char *, const char *> refused[] = {
        {"g0", "\"g\" at character 1 is not a hexadecimal digit"},
        {"00 0/", "\"/\" at character 5 is not a hexadecimal digit"},
        {"00 :0", "\":\" at character 4 is not a hexadecimal digit"},
        {"00 `0", "\"`\" at character 4 is not a hexadecimal digit"},
        {"0 0", "\" \" at character 2 is not a hexadecimal digit"},
        {"01 2", "the hexadecimal digit at character 4 is not followed by a second one"},
    };
    for (const auto &[digits, fault] : refused)
        EXPECT_EQ(bytesFromHex(QLatin1String(digits), &bytes), QLatin1String(fault));
}

} // namespace
