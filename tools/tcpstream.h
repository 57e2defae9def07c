#ifndef TCPSTREAM_H
#define TCPSTREAM_H

#include <QtCore/QByteArray>

#include <map>
#include <optional>
#include <vector>

/// Bytes of a stream that came in one packet.
struct Piece
{
    QByteArray bytes;
    int packet = 0;      ///< Number of the packet.
    qint64 time = -1;    ///< Time of the packet.
    bool isLate = false; ///< Whether bytes before it are missing in the capture.
};

/// Puts the segments of one direction of a TCP connection into order, and leaves out what was sent
/// twice. Keeps at most 4 MiB that came too early.
class TcpStream
{
public:
    /// Takes a segment. Returns the pieces that are in order now.
    std::vector<Piece> add(quint32 sequence, const Piece &piece);

    /// Returns what is left, in spite of missing bytes.
    std::vector<Piece> end();

    /// Returns whether pieces wait for bytes before them.
    bool isWaiting() const { return !m_waiting.empty(); }

private:
    void takeWaiting(std::vector<Piece> *pieces);
    void skipGap();

    std::optional<quint32> m_next;          ///< The next sequence number.
    bool m_hasGap = false;                  ///< Whether bytes before the next ones are missing.
    std::multimap<qint32, Piece> m_waiting; ///< By sequence number, relative to m_base.
    quint32 m_base = 0;
    int m_waitingSize = 0;
};

#endif
