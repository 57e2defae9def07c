#include <korvininspect/hexbytes.h>

namespace KorvinInspect {

namespace {

int digitValue(QChar digit)
{
    const ushort code = digit.toLower().unicode();
    if (code >= '0' && code <= '9')
        return code - '0';
    if (code >= 'a' && code <= 'f')
        return code - 'a' + 10;
    return -1;
}

} // namespace

QString bytesFromHex(const QString &text, QByteArray *bytes)
{
    bytes->clear();
    int high = -1;
    qint64 position = 0;
    for (const QChar character : text) {
        ++position;
        if (high < 0 && character.isSpace())
            continue;
        const int value = digitValue(character);
        if (value < 0) {
            return QStringLiteral("\"%1\" at character %2 is not a hexadecimal digit")
                .arg(character)
                .arg(position);
        }
        if (high < 0) {
            high = value;
        } else {
            bytes->append(static_cast<char>(16 * high + value));
            high = -1;
        }
    }
    if (high >= 0) {
        return QStringLiteral(
                   "the hexadecimal digit at character %1 is not followed by a second one")
            .arg(text.size());
    }
    return {};
}

QString hexFromBytes(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

} // namespace KorvinInspect
