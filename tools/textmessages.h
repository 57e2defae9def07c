#ifndef TEXTMESSAGES_H
#define TEXTMESSAGES_H

#include "messagesource.h"
#include "packetmessages.h"

class QIODevice;

/// Finds messages in a text. Most lines are a message each; dumps and arrays are of many lines. The
/// messages of network packets in dumps are found as those of a capture file.
class TextMessages : public MessageSource
{
public:
    /// @param device must be open, and live as long.
    TextMessages(QIODevice *device, const InputSettings &settings);

    bool next(FoundMessage *message) override;
    QString summary() const override;

private:
    bool readLine(QByteArray *line);
    void readRows(QByteArray *text);
    bool isContinued(const QByteArray &line);
    bool isBeforeDump(bool isComment);
    bool isHeading(const QByteArray &line, const FoundMessage &message);
    Reading readGroup(const QByteArray &line, std::optional<KorvinInspect::Form> form);
    void readMessage(QByteArray line, FoundMessage *message);
    bool takeFromPackets(FoundMessage *message);

    QIODevice *m_device;
    InputSettings m_settings;
    QByteArray m_putBack; ///< A line that was read too early.
    int m_line = 0;
    PacketMessages m_packets;
    bool m_hasPackets = false;
    int m_headings = 0; ///< Lines before dumps.
    bool m_isEnded = false;
};

#endif
