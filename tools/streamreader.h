#ifndef STREAMREADER_H
#define STREAMREADER_H

#include "tcpstream.h"

#include <korvinexchange/framing.h>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

/// Where a message ends in a TCP stream.
enum class StreamFraming {
    Unknown, ///< The stream shows it.
    Lines,   ///< Each message is a line.
    Length,  ///< The size comes before each message, in four bytes, the low one first.
    Linux,   ///< Each message begins with 55 AA and ends with its checksum.
    Segments ///< Each segment is a message.
};

/// Returns a framing in words.
QString describe(StreamFraming framing);

/// Finds the messages in one direction of a TCP connection.
class StreamReader
{
public:
    explicit StreamReader(StreamFraming framing);

    /// Returns the messages that are complete now, with the packet that completed them.
    std::vector<Piece> add(const Piece &piece);

    /// Returns the messages that only the end of the stream completes.
    std::vector<Piece> end();

    /// Returns the framing that was found. It is unknown until enough of the stream was seen.
    StreamFraming framing() const { return m_framing; }

    /// Returns why the rest of the stream cannot be read; empty if it can.
    QString fault() const { return m_fault; }

private:
    using Framing = KorvinExchange::Framing;

    StreamFraming found(const Piece &last) const;
    std::vector<Piece> flush();
    std::vector<Piece> split(const Piece &piece);
    void begin();

    StreamFraming m_framing;
    std::vector<Piece> m_pending;                      ///< What came before the framing was known.
    QByteArray m_start;                                ///< The same as one.
    std::vector<std::unique_ptr<Framing>> m_splitters; ///< Linux has one for each direction.
    Piece m_last;
    QString m_fault;
};

#endif
