#include "tcpstream.h"

namespace {

constexpr int MostWaiting = 4 * 1024 * 1024;

// A piece needs memory of its own, however short it is.
constexpr std::size_t MostWaitingPieces = 4096;

} // namespace

std::vector<Piece> TcpStream::add(quint32 sequence, const Piece &piece)
{
    if (!m_next) {
        m_next = sequence;
        m_base = sequence;
    }
    std::vector<Piece> pieces;
    if (piece.bytes.isEmpty())
        return pieces;
    m_waiting.emplace(static_cast<qint32>(sequence - m_base), piece);
    m_waitingSize += static_cast<int>(piece.bytes.size());
    takeWaiting(&pieces);
    if (m_waitingSize > MostWaiting || m_waiting.size() > MostWaitingPieces) {
        skipGap();
        takeWaiting(&pieces);
    }
    return pieces;
}

std::vector<Piece> TcpStream::end()
{
    std::vector<Piece> pieces;
    while (!m_waiting.empty()) {
        skipGap();
        takeWaiting(&pieces);
    }
    m_next.reset();
    return pieces;
}

/// Moves on to the first piece that waits.
void TcpStream::skipGap()
{
    if (m_waiting.empty())
        return;
    m_next = m_base + static_cast<quint32>(m_waiting.begin()->first);
    m_hasGap = true;
}

/// Takes the pieces that begin before the next sequence number, without their bytes before it.
void TcpStream::takeWaiting(std::vector<Piece> *pieces)
{
    while (!m_waiting.empty()) {
        const auto first = m_waiting.begin();
        const auto known =
            static_cast<qint32>(*m_next - (m_base + static_cast<quint32>(first->first)));
        if (known < 0)
            break;
        Piece piece = std::move(first->second);
        m_waitingSize -= static_cast<int>(piece.bytes.size());
        m_waiting.erase(first);
        piece.bytes.remove(0, known);
        if (piece.bytes.isEmpty())
            continue;
        piece.isLate = m_hasGap;
        m_hasGap = false;
        *m_next += static_cast<quint32>(piece.bytes.size());
        pieces->push_back(piece);
    }
    if (!m_waiting.empty())
        return;
    m_base = *m_next; // keys stay small, however long the stream is
}
