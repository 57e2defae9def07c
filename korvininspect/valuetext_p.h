#ifndef VALUETEXT_P_H
#define VALUETEXT_P_H

#include <korvininspect/hexbytes.h>

/// @file
/// Formats values for people.

namespace KorvinInspect {

/// Returns a number as "2560 (0xA00)"; a small or negative number only in decimal.
template <typename Integer>
QString numberForPeople(Integer number)
{
    QString decimal = QString::number(number);
    if (number < 10)
        return decimal;
    return QStringLiteral("%1 (0x%2)").arg(decimal, QString::number(number, 16).toUpper());
}

inline QString byteCount(qint64 count)
{
    return count == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(count);
}

/// Returns the size and the first 32 bytes.
inline QString firstBytes(const QByteArray &data)
{
    constexpr int MaxBytes = 32;
    QString text = byteCount(data.size());
    if (!data.isEmpty())
        text += QLatin1String(": ") + hexFromBytes(data.left(MaxBytes));
    if (data.size() > MaxBytes)
        text += QLatin1String(" ...");
    return text;
}

} // namespace KorvinInspect

#endif
