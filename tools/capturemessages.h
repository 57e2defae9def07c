#ifndef CAPTUREMESSAGES_H
#define CAPTUREMESSAGES_H

#include "messagesource.h"
#include "packetmessages.h"

/// Finds the messages of a capture file.
class CaptureMessages : public MessageSource
{
public:
    /// @param device must be open, and live as long.
    CaptureMessages(QIODevice *device, StreamFraming framing);

    bool next(FoundMessage *message) override;
    QString summary() const override;

private:
    CaptureFile m_file;
    PacketMessages m_packets;
    bool m_isEnded = false;
};

/// Makes of a message of packets one of the input.
FoundMessage foundMessage(const PacketMessage &message);

#endif
