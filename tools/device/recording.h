#ifndef DEVICE_RECORDING_H
#define DEVICE_RECORDING_H

#include "message.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QJsonObject>

#include <vector>

/// Requests and the replies of a device, as lines of JSON: a line for the format, then one for each
/// message in the order in which they came. A reply names its request by its number.
///
///     {"recording":1}
///     {"class":"PackageBase","form":"frame","request":1,"data":"000100..."}
///     {"reply":1,"data":"000700..."}
///
/// A record that is UTF-8 is "text" instead of "data".
class RecordingWriter
{
public:
    /// Creates the file. Returns what is wrong; empty on success.
    QString open(const QString &fileName);

    /// Adds a request. Returns its number.
    qint64 addRequest(const Message &request);

    void addReply(qint64 request, const Message &reply);

    /// Returns why the file could not be written any further; empty if it has everything. It holds
    /// whole lines even then.
    QString fault() const { return m_fault; }

private:
    void add(QJsonObject line, const Message &message);
    void write(const QJsonObject &line);

    QFile m_file;
    qint64 m_size = 0; ///< Of the whole lines.
    qint64 m_requests = 0;
    QString m_fault;
};

/// Answers requests from a recording.
class Recording
{
public:
    /// Reads a file. Returns what is wrong, with the line; empty on success.
    QString read(const QString &fileName);

    /// Finds the replies to a request, whatever its serial number is, and gives them that number. A
    /// request that was recorded several times gets its replies in their order, and then the last
    /// ones again.
    ///
    /// @return nothing if the request is not in the recording.
    std::optional<std::vector<Message>> answer(const Message &request);

    /// Returns how often requests came that are not in the recording.
    qint64 unknown() const { return m_unknown; }

    /// Returns those requests, each once, as their first two words and the record or hexadecimal
    /// digits; the first 100 of them.
    QStringList unknownRequests() const { return m_unknownRequests; }

private:
    struct Exchange
    {
        Message request;
        std::vector<QByteArray> replies;
    };

    /// The exchanges of requests that are equal except for their serial numbers.
    struct Row
    {
        std::vector<std::size_t> exchanges;
        std::size_t next = 0;
    };

    QString addLine(const QByteArray &line);
    QString addRequest(const QJsonObject &line);
    QString addReply(const QJsonObject &line);
    void noteUnknown(const Message &request);

    std::vector<Exchange> m_exchanges;
    QHash<QByteArray, Row> m_rows;
    qint64 m_unknown = 0;
    QStringList m_unknownRequests;
};

#endif
