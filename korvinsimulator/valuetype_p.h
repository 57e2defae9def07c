#ifndef VALUETYPE_P_H
#define VALUETYPE_P_H

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

#include <optional>

namespace KorvinSimulator {

/// How the bytes of a range are values.
struct ValueType
{
    enum class Kind { Unsigned, Signed, Float, Text };

    Kind kind = Kind::Unsigned;
    int width = 1; ///< Bytes of one value.
    bool isBigEndian = false;

    /// Returns the bytes of a value; nothing for a value that is not of the type.
    std::optional<QByteArray> encode(const QJsonValue &value) const;

    /// Returns the bytes of a number. One that is too large or too small becomes the largest or
    /// smallest of the type.
    QByteArray encodeReal(double number) const;

    /// Returns the bytes of the low bits of a number.
    QByteArray encodeBits(quint64 bits) const;

    /// @{
    /// Returns the least and the largest number. Not for a text.
    double least() const;
    double most() const;
    /// @}

    /// Returns the value of bytes.
    QJsonValue decode(const QByteArray &bytes) const;

    /// Returns what values there are, such as "a whole number from 0 to 255".
    QString words() const;
};

/// Returns the type of that name, such as "uint16"; a text has the width 0.
std::optional<ValueType> valueTypeOf(const QString &name);

/// Returns the names of all types.
QString valueTypeNames();

} // namespace KorvinSimulator

#endif
