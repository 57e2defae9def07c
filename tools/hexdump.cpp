#include "hexdump.h"

#include <korvininspect/hexbytes.h>

#include <algorithm>

using namespace KorvinInspect;

namespace {

constexpr int FewestOffsetDigits = 4;
constexpr int MostOffsetDigits = 16;
constexpr int OdOffsetDigits = 7;
constexpr qint64 LargestDump = 1 << 22;

bool isHexDigit(char letter)
{
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f')
        || (letter >= 'A' && letter <= 'F');
}

bool isBlank(char letter)
{
    return letter == ' ' || letter == '\t';
}

/// Shows bytes as dumps do.
QByteArray textOf(const QByteArray &bytes)
{
    QByteArray text = bytes;
    for (char &letter : text) {
        if (letter < ' ' || letter > '~')
            letter = '.';
    }
    return text.trimmed();
}

QByteArray withGroupsReversed(QByteArray bytes, int groupSize)
{
    for (int start = 0; start < bytes.size(); start += groupSize) {
        const int end = std::min<int>(start + groupSize, static_cast<int>(bytes.size()));
        std::reverse(bytes.begin() + start, bytes.begin() + end);
    }
    return bytes;
}

/// Removes the text between bars, or angle brackets, at the end of a row. Returns whether there
/// was one.
bool removeDelimitedText(QByteArray *line)
{
    const char delimiters[][2] = {{'|', '|'}, {'>', '<'}};
    for (const auto &pair : delimiters) {
        const auto begin = line->indexOf(QByteArray("  ") + pair[0]);
        if (begin >= 0 && line->endsWith(pair[1]) && line->size() > begin + 3) {
            line->truncate(begin);
            return true;
        }
    }
    return false;
}

/// Returns the bytes of a row of "xxd -b", whose groups are the bits of a byte; empty for others.
QByteArray bytesOfBits(const QByteArray &groups)
{
    constexpr int Bits = 8;
    QByteArray bytes;
    for (const QByteArray &group : groups.simplified().split(' ')) {
        bool isNumber = false;
        bytes += static_cast<char>(group.toInt(&isNumber, 2));
        if (!isNumber || group.size() != Bits)
            return {};
    }
    return bytes;
}

} // namespace

/// Appends a group of digits. Offsets with a colon come with bytes in the order of the memory;
/// without one, groups larger than a byte are words of the machine, whose low byte comes first.
bool HexDump::appendGroup(const QByteArray &digits, Row *row)
{
    constexpr int OctalByte = 3;
    constexpr int OctalWord = 6;
    const auto size = static_cast<int>(digits.size());
    if (row->tokenSize == 0)
        row->tokenSize = size;
    if (size > row->tokenSize || (size < row->tokenSize && !row->hasColon))
        return false;
    if (row->offset.size() >= OdOffsetDigits && !row->hasColon
        && (size == OctalByte || size == OctalWord)) {
        bool isNumber = false;
        const int value = digits.toInt(&isNumber, 8);
        if (!isNumber || value > (size == OctalByte ? 0xFF : 0xFFFF))
            return false;
        row->bytes += static_cast<char>(value & 0xFF);
        if (size == OctalWord)
            row->bytes += static_cast<char>(value >> 8);
        return true;
    }
    QByteArray bytes;
    const bool isUsual = row->hasColon || size == 2 || size == 4 || size == 8 || size == 16;
    if (!isUsual || !bytesFromHex(QString::fromLatin1(digits), &bytes).isEmpty())
        return false;
    if (!row->hasColon)
        std::reverse(bytes.begin(), bytes.end());
    row->bytes += bytes;
    return true;
}

/// Reads the groups after the offset, up to the text, which is at least two blanks away from them.
bool HexDump::readGroups(const QByteArray &line, int start, Row *row)
{
    constexpr int HalfARow = 8; // some leave two blanks here
    int at = start;
    while (at < line.size()) {
        int begin = at;
        while (begin < line.size() && isBlank(line.at(begin)))
            ++begin;
        int end = begin;
        while (end < line.size() && !isBlank(line.at(end)))
            ++end;
        const int gap = begin - at;
        const bool isHalf = gap == 2 && !row->hasColon && row->bytes.size() == HalfARow
            && end - begin == row->tokenSize;
        if (row->tokenSize > 0 && gap > 1 && !isHalf)
            break;
        if (!appendGroup(line.mid(begin, end - begin), row))
            return false;
        at = end;
    }
    return compareWithText(line.mid(at).trimmed(), line.mid(start, at - start), row);
}

/// Reads the same bytes as text, which shows their order. Returns false for a line that is no row.
bool HexDump::compareWithText(const QByteArray &text, const QByteArray &groups, Row *row)
{
    const QByteArray bits = bytesOfBits(groups);
    if (row->hasColon && !text.isEmpty() && text == textOf(bits)) {
        row->bytes = bits;
        row->tokenSize = 2;
        return true;
    }
    const QByteArray reversed = withGroupsReversed(row->bytes, row->tokenSize / 2);
    const bool isInOrder = text == textOf(row->bytes);
    const bool isReversed = row->hasColon && row->tokenSize > 2 && text == textOf(reversed);
    if (isInOrder != isReversed)
        row->order = isInOrder ? Order::OfDigits : Order::LowByteFirst;
    row->isCertain = row->isCertain || (isInOrder && !text.isEmpty());
    // Text may be that of other bytes where somebody has changed digits, but it is not longer.
    if (row->hasColon && text.size() > row->bytes.size()) {
        row->fault = QStringLiteral("the row at offset %1 has more text than bytes; print it with "
                                    "xxd -g1")
                         .arg(QString::fromLatin1(row->offset));
    }
    return row->hasColon || text.isEmpty() || isInOrder;
}

std::optional<HexDump::Row> HexDump::rowOf(const QByteArray &line)
{
    QByteArray text = line.trimmed();
    if (text.startsWith("0x"))
        text.remove(0, 2);
    Row row;
    int end = 0;
    while (end < text.size() && isHexDigit(text.at(end)))
        ++end;
    if (end < FewestOffsetDigits || end > MostOffsetDigits)
        return {};
    row.offset = text.left(end);
    row.hasColon = text.mid(end, 1) == ":";
    row.isCertain = row.hasColon || end == OdOffsetDigits;
    if (row.hasColon)
        ++end;
    if (end == text.size())
        return row;
    if (!isBlank(text.at(end)))
        return {};
    // Nobody sets the first bytes of a frame so far apart.
    row.isCertain = row.isCertain || isBlank(text.at(end + 1));
    if (!row.hasColon && removeDelimitedText(&text))
        row.isCertain = true;
    if (!readGroups(text, end, &row) || row.bytes.isEmpty())
        return {};
    return row;
}

bool HexDump::begin(const QByteArray &line)
{
    const std::optional<Row> row = rowOf(line);
    if (!row || row->bytes.isEmpty() || !(row->isCertain || row->offset.endsWith('0')))
        return false;
    constexpr int XxdOffsetDigits = 8;
    const auto digits = row->offset.size();
    const bool isOd = digits == OdOffsetDigits && !row->hasColon;
    const bool isXxd = digits == XxdOffsetDigits && row->hasColon;
    for (const int radix : {16, 8, 10}) {
        bool isNumber = false;
        const qint64 first = row->offset.toLongLong(&isNumber, radix);
        // A row that is missing could pass as one whose offset is in a smaller base.
        if (isNumber && (radix == 16 || isOd || (radix == 10 && isXxd)))
            m_radices.push_back({radix, first});
    }
    m_fault = row->fault;
    m_order = row->order;
    m_tokenSize = row->tokenSize;
    m_isCertain = row->isCertain;
    m_firstLine = line;
    m_last = *row;
    m_bytes = row->bytes;
    return !m_radices.empty();
}

/// Returns whether a row is at the offset that comes next. The last offset, which has no bytes, may
/// be a few bytes less: it leaves out what fills up the last word.
bool HexDump::follows(const Row &row)
{
    const qint64 size = m_bytes.size();
    const qint64 least = row.bytes.isEmpty() ? size - m_last.tokenSize / 2 + 1 : size;
    std::vector<Radix> right;
    qint64 position = size;
    for (const Radix &candidate : m_radices) {
        bool isNumber = false;
        const qint64 offset = row.offset.toLongLong(&isNumber, candidate.radix) - candidate.first;
        if (!isNumber || offset > size || offset < std::min(least, size))
            continue;
        right.push_back(candidate);
        position = std::min(position, offset);
    }
    if (right.empty())
        return false;
    m_radices = right;
    m_bytes.truncate(static_cast<int>(position));
    return true;
}

/// Fills in the rows that a dump leaves out since they are the same as the one before.
void HexDump::repeatUpTo(const QByteArray &offset)
{
    m_isRepeated = false;
    qint64 end = -1;
    bool isAmbiguous = false;
    for (const Radix &candidate : m_radices) {
        bool isNumber = false;
        const qint64 position = offset.toLongLong(&isNumber, candidate.radix) - candidate.first;
        const qint64 missing = position - m_bytes.size();
        if (!isNumber || missing <= 0 || missing % m_last.bytes.size() != 0)
            continue;
        isAmbiguous = isAmbiguous || (end >= 0 && end != position);
        end = position;
    }
    if (isAmbiguous || end < 0 || end > LargestDump) {
        m_fault = QStringLiteral("rows are left out (*): print them with od -v or hexdump -v");
        return;
    }
    while (m_bytes.size() < end)
        m_bytes += m_last.bytes;
}

bool HexDump::add(const QByteArray &line)
{
    if (m_isEnded || !m_fault.isEmpty())
        return false;
    if (line.trimmed() == "*") {
        m_isRepeated = true;
        return true;
    }
    const std::optional<Row> row = rowOf(line);
    if (!row)
        return false;
    if (m_isRepeated)
        repeatUpTo(row->offset);
    if (m_fault.isEmpty() && !follows(*row)) {
        const bool isFirst = row->offset.count('0') == row->offset.size();
        if (isFirst || !row->isCertain)
            return false;
        m_fault = QStringLiteral("the row at offset %1 does not follow the row before it")
                      .arg(QString::fromLatin1(row->offset));
    }
    if (m_fault.isEmpty())
        m_fault = row->fault;
    if (row->order != Order::Unknown)
        m_order = row->order;
    m_isCertain = true;
    m_isEnded = row->bytes.isEmpty();
    if (!m_isEnded)
        m_last = *row;
    m_bytes += row->bytes;
    if (m_bytes.size() > LargestDump)
        m_fault = QStringLiteral("the dump is too long");
    return true;
}

Reading HexDump::finish(bool isDump) const
{
    if (!m_fault.isEmpty())
        return {{}, {}, m_fault};
    if (m_isRepeated)
        return {{}, {}, QStringLiteral("the dump ends after *, before the next offset")};
    QByteArray plain;
    if (!m_isCertain && !isDump
        && bytesFromHex(QString::fromLatin1(m_firstLine), &plain).isEmpty()) {
        return {{},
                {},
                QStringLiteral("%1 in hexadecimal digits, or a dump with the offset %2 and %3; "
                               "--as hex or --as dump says which")
                    .arg(byteCount(plain.size()), QString::fromLatin1(m_last.offset),
                         byteCount(m_bytes.size()))};
    }
    constexpr int DigitsOfWord = 8; // groups that only xxd -g4 and xxd -e print
    const QByteArray reversed = withGroupsReversed(m_bytes, m_tokenSize / 2);
    const bool isUnknown = m_order == Order::Unknown && m_last.hasColon;
    if (isUnknown && m_tokenSize == DigitsOfWord && reversed != m_bytes) {
        return {{},
                {},
                QStringLiteral("%1 in the order of their digits, or the last one of each group "
                               "first; print them with xxd -g1")
                    .arg(byteCount(m_bytes.size()))};
    }
    const bool hasWords = m_last.tokenSize > 2 && !m_last.hasColon;
    return {m_order == Order::LowByteFirst ? reversed : m_bytes,
            hasWords ? QStringLiteral("a dump of words, the low byte first")
                     : QStringLiteral("a dump with offsets"),
            {}};
}
