#ifndef DEVICE_REQUESTLOG_H
#define DEVICE_REQUESTLOG_H

#include "message.h"

#include <korvinexchange/pcapngwriter.h>
#include <korvininspect/packagecheck.h>

#include <QtCore/QFile>

#include <optional>

class PackageBase;

/// Tells people and Wireshark of requests and replies, and keeps a journal of what is carried out.
///
/// A file that cannot be written any further, as on a full disk, is told once; the device goes on.
class RequestLog
{
public:
    /// @{
    /// Opens a file, or standard output for "-". Returns what is wrong; empty on success.
    QString openTrace(const QString &fileName);
    QString openCapture(const QString &fileName);
    QString openJournal(const QString &fileName);
    /// @}

    /// Whether add() does anything.
    bool isOpen() const { return m_trace.isOpen() || m_capture.isOpen(); }

    /// Adds a request, with the reason if it is refused.
    void addRequest(const Message &message, const QString &peer,
                    const KorvinInspect::Verdict &verdict);

    /// Adds a request that is not in the recording from which others are answered.
    void addUnknownRequest(const Message &message, const QString &peer);

    /// Adds a reply as it is sent.
    void addReply(const Message &message, const QString &peer);

    /// Adds a line to the journal.
    void addCarriedOut(const PackageBase &request);

private:
    void add(const KorvinExchange::TraceEntry &entry, const QString &peer,
             const QString &remark = {});
    static void write(QFile &file, const QByteArray &bytes);

    QFile m_trace;
    QFile m_capture;
    QFile m_journal;
    std::optional<KorvinExchange::PcapngWriter> m_writer;
};

#endif
