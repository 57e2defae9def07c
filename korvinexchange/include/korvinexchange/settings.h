#ifndef KORVINEXCHANGE_SETTINGS_H
#define KORVINEXCHANGE_SETTINGS_H

#include "korvinexchangeglobal.h"

#include <korvininspect/messageshape.h>

#include <optional>
#include <vector>

namespace KorvinExchange {

/// Limits on the memory of an Engine, which hold whatever a peer sends.
struct Limits
{
    /// Most requests under way at a time, including items of combinations; at least 1.
    int inFlight = 64;

    /// Most waiting requests, transfers and events that were not taken, all together. No request is
    /// accepted above this limit. Each request under way and each transfer may add one event. A
    /// transfer counts once: it lets at most `inFlight` of its requests wait.
    int queued = 1024;

    /// Most bytes of the requests under way, including the data that their replies may carry.
    qint64 bytesInFlight = 4 << 20;

    /// Largest message in bytes, sent or received, without the bytes that a framing adds.
    int messageSize = 1 << 20;

    /// Most data in bytes that one request may ask for, or an item of a combination. A reply may
    /// not announce more than was asked for, and no memory is allocated for more.
    int announcedData = 1 << 20;

    /// Most serial numbers in use or resting.
    int serialNumbers = 4096;
};

/// How often and when to repeat a request that is not answered.
struct RetryPolicy
{
    int attempts = 3; ///< Attempts including the first; 1 repeats nothing.

    /// Pause between a time-out and the second attempt. It doubles before each further attempt.
    std::chrono::milliseconds pause{100};

    std::chrono::milliseconds longestPause{5000}; ///< Upper limit of the pause.
};

/// Settings of an Engine for one link.
struct Settings
{
    /// @{
    /// The range of serial numbers of the link, within 1 to 2,147,483,647. A request gets one that
    /// its form can carry: up to 255 in Linux frames, up to 65,535 in byte frames. A form that can
    /// carry none of them is not used.
    ///
    /// Leave the last one at 255 unless the peer is known to return larger numbers: firmware may
    /// keep only 8 bits.
    quint32 firstSerialNum = 1;
    quint32 lastSerialNum = 255;
    /// @}

    /// The forms that the peer accepts, the preferred one first. A request is sent in the first
    /// form that carries all of it, and is refused if none does.
    ///
    /// | form        | does not carry                                                         |
    /// |-------------|------------------------------------------------------------------------|
    /// | Linux frame | a broadcast; a kind of payload other than data; more than 65,535 bytes |
    /// |             | of data; a device type or reserved 2 outside of -128 to 255; a request |
    /// |             | that is not one of data                                                |
    /// | byte frame  | an offset of memory; the name of a file to write; a special request; a |
    /// |             | device type or reserved 2 outside of -128 to 255; a text with U+0000,  |
    /// |             | with U+FEFF as its first character, or of more than 65,535 bytes       |
    /// | record      | a data write of no bytes; a negative reserved 2; a comma in a tag, the |
    /// |             | name of a file or a special request; a device key that reads back as   |
    /// |             | another one, such as "a#*#b", which looks escaped                      |
    ///
    /// A Linux frame leaves out what does not change what the device does: the device key, the tag
    /// and the time-out. If the peer is a proxy that needs them, do not list it.
    ///
    /// Neither byte frames nor records carry a text with an unpaired surrogate.
    std::vector<KorvinInspect::Form> forms = {KorvinInspect::Form::Text};

    /// How long a reply may take. For a combination, the time is multiplied by the number of items.
    std::chrono::milliseconds timeout{3000};

    /// How long a request may wait before it is sent.
    std::chrono::milliseconds queueTimeout{60000};

    /// How long a serial number rests after its request ended without a reply, or was sent more
    /// than once, so that a reply within this time cannot reach another request. 0 stands for ten
    /// times the time-out, but at least 60 s. The id of a special request rests, too: see Engine.
    std::chrono::milliseconds rest{0};

    /// How long a serial number rests after its reply, so that a second reply within this time
    /// cannot reach another request. With N serial numbers and a rest of T seconds, a link carries
    /// at most N / T requests per second.
    std::chrono::milliseconds restAfterReply{100};

    RetryPolicy retry; ///< For requests that may be repeated.
    Limits limits;     ///< Limits of the engine.
};

/// Whether a request may be repeated. The peer then carries it out twice if only the reply was
/// lost.
enum class Repeat {
    /// Only if it reads: a write or special request is not repeated. A data read of a register that
    /// does not advance (PackageBase::setIsRegisterAddrSelfIncreasing()) is not repeated either,
    /// because the device returns the next bytes each time.
    Reads,
    Always,
    Never
};

/// Options of one request.
struct RequestOptions
{
    /// Replaces the time-out of the settings. For a combination it applies to all items together.
    std::optional<std::chrono::milliseconds> timeout = {};

    /// Whether to send a request again if it is not answered. A combination is repeated as a whole
    /// if each of its items may be repeated and none has been answered.
    ///
    /// A file read or memory read fills a buffer of the device. If messages can overtake each other
    /// on the link, a copy that arrives late fills the buffer again: do not repeat them there.
    Repeat repeat = Repeat::Reads;

    /// The time from sending the request to its end, including all waiting and every attempt: for a
    /// caller that has promised an answer by then. For a transfer it applies to each request.
    /// Without a deadline only the settings limit the time.
    std::optional<std::chrono::milliseconds> deadline = {};
};

} // namespace KorvinExchange

#endif
