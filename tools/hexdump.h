#ifndef HEXDUMP_H
#define HEXDUMP_H

#include "bytenotation.h"

#include <QtCore/QByteArray>

#include <optional>
#include <vector>

/// Reads the rows that od, hexdump, xxd, tcpdump and tshark print: an offset, bytes, and sometimes
/// the same bytes as text.
class HexDump
{
public:
    /// Takes the first row. Returns false if no dump begins with it.
    bool begin(const QByteArray &line);

    /// Returns whether the rows so far can be nothing but a dump.
    bool isCertain() const { return m_isCertain; }

    /// Takes another row. Returns false if the line does not belong to the dump.
    bool add(const QByteArray &line);

    /// Returns the bytes, or why they cannot be told.
    ///
    /// @param isDump says that the rows are a dump. Otherwise a single row is refused that may as
    ///     well be plain digits.
    Reading finish(bool isDump) const;

private:
    /// The order of the bytes in a group of digits, as the text shows it.
    enum class Order { Unknown, OfDigits, LowByteFirst };

    /// A row taken apart.
    struct Row
    {
        QByteArray offset;
        bool hasColon = false;  ///< Whether the offset ends with one.
        bool isCertain = false; ///< Whether nothing but a dump looks so.
        int tokenSize = 0;      ///< Digits in each group.
        QByteArray bytes;       ///< In the order of the memory, or of the digits.
        Order order = Order::Unknown;
        QString fault; ///< Why it cannot be read; otherwise empty.
    };

    /// A base in which all offsets so far are right.
    struct Radix
    {
        int radix;
        qint64 first; ///< The offset of the first row.
    };

    static std::optional<Row> rowOf(const QByteArray &line);
    static bool readGroups(const QByteArray &line, int start, Row *row);
    static bool compareWithText(const QByteArray &text, const QByteArray &groups, Row *row);
    static bool appendGroup(const QByteArray &digits, Row *row);
    bool follows(const Row &row);
    void repeatUpTo(const QByteArray &offset);

    Row m_last;
    QByteArray m_firstLine;
    QByteArray m_bytes;
    std::vector<Radix> m_radices;
    int m_tokenSize = 0; ///< That of the first row.
    Order m_order = Order::Unknown;
    bool m_isCertain = false;
    bool m_isEnded = false;
    bool m_isRepeated = false; ///< Whether rows are left out before the next one.
    QString m_fault;
};

#endif
