#include "streamreader.h"

#include "shapewords.h"

#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>
#include <korvinexchange/linuxframing.h>

#include <QtCore/QtEndian>

#include <algorithm>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

constexpr int PrefixSize = 4;
constexpr int LargestMessage = 1 << 20;

// A capture is read as fast as it can be.
constexpr Time Now{0};
constexpr std::chrono::hours Deadline{1};

/// How the beginning of a stream agrees with a framing.
enum class Agreement { None, Perhaps, Whole };

/// Reads one length after the other. They agree if the last message ends with the bytes.
Agreement lengthsOf(const QByteArray &bytes)
{
    qint64 at = 0;
    while (at + PrefixSize <= bytes.size()) {
        const auto size = qFromLittleEndian<quint32>(bytes.constData() + at);
        if (size == 0 || size > LargestMessage)
            return Agreement::None;
        at += PrefixSize + qint64(size);
    }
    return at == bytes.size() ? Agreement::Whole : Agreement::Perhaps;
}

Agreement linesOf(const QByteArray &bytes)
{
    const auto isOfText = [](char letter) { return letter >= ' ' || letter < 0 || letter == '\t'; };
    const auto *const end = std::find_if_not(bytes.begin(), bytes.end(), isOfText);
    if (end == bytes.end())
        return Agreement::Perhaps;
    return *end == '\n' || *end == '\r' ? Agreement::Whole : Agreement::None;
}

qint64 sizeOf(const std::vector<QByteArray> &messages)
{
    qint64 size = 0;
    for (const QByteArray &message : messages)
        size += message.size();
    return size;
}

} // namespace

QString describe(StreamFraming framing)
{
    switch (framing) {
    case StreamFraming::Lines:
        return QStringLiteral("lines");
    case StreamFraming::Length:
        return QStringLiteral("length");
    case StreamFraming::Linux:
        return QStringLiteral("start bytes");
    default:
        return QStringLiteral("segments");
    }
}

StreamReader::StreamReader(StreamFraming framing)
    : m_framing(framing)
{
    begin();
}

/// Makes what splits the stream.
void StreamReader::begin()
{
    if (m_framing == StreamFraming::Lines)
        m_splitters.push_back(std::make_unique<LineFraming>(LargestMessage, Deadline));
    if (m_framing == StreamFraming::Length)
        m_splitters.push_back(std::make_unique<LengthPrefixFraming>(LargestMessage, Deadline));
    if (m_framing != StreamFraming::Linux)
        return;
    for (const Direction direction : {Direction::Request, Direction::Reply})
        m_splitters.push_back(std::make_unique<LinuxFraming>(direction, Deadline));
}

/// Returns the framing that the beginning of the stream shows; unknown if it takes more to tell.
StreamFraming StreamReader::found(const Piece &last) const
{
    if (m_start.startsWith("\x55\xAA"))
        return StreamFraming::Linux;
    const Agreement lengths = lengthsOf(m_start);
    const Agreement lines = linesOf(m_start);
    if (lengths == Agreement::Whole)
        return StreamFraming::Length;
    if (lines == Agreement::Whole)
        return StreamFraming::Lines;
    const bool isUnlikely = lengths == Agreement::None && lines == Agreement::None;
    if (isUnlikely || m_start.size() > LargestMessage + PrefixSize
        || (lines == Agreement::None && isMessage(last.bytes)))
        return StreamFraming::Segments;
    return StreamFraming::Unknown;
}

std::vector<Piece> StreamReader::add(const Piece &piece)
{
    if (!m_fault.isEmpty())
        return {};
    m_last = piece;
    if (m_framing != StreamFraming::Unknown)
        return split(piece);
    m_pending.push_back(piece);
    m_start += piece.bytes;
    m_framing = found(piece);
    return m_framing == StreamFraming::Unknown ? std::vector<Piece>() : flush();
}

/// Splits what came before the framing was known.
std::vector<Piece> StreamReader::flush()
{
    begin();
    std::vector<Piece> messages;
    for (const Piece &piece : m_pending) {
        for (Piece &message : split(piece))
            messages.push_back(std::move(message));
    }
    m_pending.clear();
    m_start.clear();
    return messages;
}

std::vector<Piece> StreamReader::split(const Piece &piece)
{
    if (m_framing == StreamFraming::Segments)
        return {piece};
    std::vector<QByteArray> found = m_splitters.front()->receive(piece.bytes, Now);
    if (m_splitters.size() > 1) {
        // Only reads differ by direction: the wrong one finds nothing, or less.
        std::vector<QByteArray> others = m_splitters.back()->receive(piece.bytes, Now);
        if (found != others) {
            const bool isReply = sizeOf(others) > sizeOf(found);
            m_splitters.erase(isReply ? m_splitters.begin() : m_splitters.end() - 1);
            if (isReply)
                found = std::move(others);
        }
    }
    const FramingFault fault = m_splitters.front()->fault();
    if (fault != FramingFault::None)
        m_fault = KorvinExchange::describe(fault);
    std::vector<Piece> messages;
    messages.reserve(found.size());
    for (const QByteArray &bytes : found)
        messages.push_back({bytes, piece.packet, piece.time, false});
    return messages;
}

std::vector<Piece> StreamReader::end()
{
    std::vector<Piece> messages;
    if (m_framing == StreamFraming::Unknown && !m_pending.empty()) {
        m_framing = StreamFraming::Segments;
        messages = flush();
    }
    if (m_splitters.empty() || !m_fault.isEmpty())
        return messages;
    for (const QByteArray &bytes : m_splitters.front()->end())
        messages.push_back({bytes, m_last.packet, m_last.time, false});
    const FramingFault fault = m_splitters.front()->fault();
    if (fault != FramingFault::None)
        m_fault = KorvinExchange::describe(fault);
    return messages;
}
