#ifndef KORVINEXCHANGE_SETTINGS_H
#define KORVINEXCHANGE_SETTINGS_H

#include "korvinexchangeglobal.h"

#include <korvininspect/messageshape.h>

#include <optional>
#include <vector>

namespace KorvinExchange {

/// What an Engine may take. No peer makes it take more.
struct Limits
{
    /// Most requests under way at a time, items of combinations included; at least 1.
    int inFlight = 64;

    /// Most requests that wait, transfers, and events that nobody has taken, all together. Above it
    /// no request is accepted. Each request under way and each transfer may add an event to it.
    int queued = 1024;

    /// Most bytes of the requests under way, with the data that their replies may bring.
    qint64 bytesInFlight = 4 << 20;

    /// Longest message in bytes, either way, without what a framing adds.
    int messageSize = 1 << 20;

    /// Most data in bytes that one request may ask for. A reply may bring what was asked for, and
    /// nothing is made ready for more.
    int announcedData = 1 << 20;

    /// Most serial numbers in use and at rest.
    int serialNumbers = 4096;
};

/// How often a request is sent that is not answered, and after how long.
struct RetryPolicy
{
    int attempts = 3; ///< Including the first; 1 repeats nothing.

    /// From a time-out to the second attempt; twice as long before each further one.
    std::chrono::milliseconds pause{100};

    std::chrono::milliseconds longestPause{5000}; ///< What the pause grows to.
};

/// What an Engine goes by, for one link.
struct Settings
{
    /// @{
    /// The serial numbers that the link may have, 1 to 2,147,483,647. A request gets one that its
    /// form carries: Linux frames up to 255, byte frames up to 65,535.
    ///
    /// Leave the last one at 255 unless the peer is known to give back more: firmware may keep 8
    /// bits of it.
    quint32 firstSerialNum = 1;
    quint32 lastSerialNum = 255;
    /// @}

    /// The forms that the peer takes, the preferred one first. A request travels in the first one
    /// that carries all of it, and is refused where none does:
    ///
    /// | form        | does not carry                                                          |
    /// |-------------|-------------------------------------------------------------------------|
    /// | Linux frame | a broadcast; any request except those of data                           |
    /// | byte frame  | the offset of files and memory; a special request; a text with U+0000,  |
    /// |             | with U+FEFF at its beginning, or of more than 65,535 bytes              |
    /// | record      | a write of no bytes; a negative reserved 2; a comma in a tag or the     |
    /// |             | name of a file; a device key that its escapes change, such as "a#*#b"   |
    ///
    /// A text with one half of a surrogate pair only is carried by none of the two that have texts.
    std::vector<KorvinInspect::Form> forms = {KorvinInspect::Form::Text};

    /// How long a reply may take; of a combination, for each of its items.
    std::chrono::milliseconds timeout{3000};

    /// How long a request may wait before it is sent.
    std::chrono::milliseconds queueTimeout{60000};

    /// How long a serial number is not used again whose request ended without its reply, or was
    /// sent more than once: a reply that comes within this time reaches no other request. 0 stands
    /// for ten times the time-out, at least 60 s.
    std::chrono::milliseconds rest{0};

    /// How long a serial number is not used again after its reply: a second reply that comes within
    /// this time reaches no other request. With N serial numbers and a rest of T seconds a link
    /// carries at most N / T requests a second.
    std::chrono::milliseconds restAfterReply{100};

    RetryPolicy retry; ///< Of requests that may be repeated.
    Limits limits;     ///< What the engine may take.
};

/// Whether a request may be carried out twice: a lost reply looks like a lost request.
enum class Repeat {
    Reads, ///< A read may, a write or special request may not.
    Always,
    Never
};

/// What differs from the settings for one request.
struct RequestOptions
{
    /// Instead of the time-out of the settings; of a combination for all of it.
    std::optional<std::chrono::milliseconds> timeout = {};

    /// Whether a request that is not answered is sent again. A combination is repeated as a whole
    /// where each of its items may be, and none has been answered.
    ///
    /// A file read or memory read fills a buffer of the device. Where messages overtake each other
    /// on the link, a copy that arrives late fills it once more: repeat none there.
    Repeat repeat = Repeat::Reads;

    /// How long the request may take from its handing over to its end, with all that it waits and
    /// every attempt, for whom has promised an answer by then; of a transfer each of its requests.
    /// Nothing but the settings limits it where there is none.
    std::optional<std::chrono::milliseconds> deadline = {};
};

} // namespace KorvinExchange

#endif
