#ifndef LOOPBACK_MESSAGE_H
#define LOOPBACK_MESSAGE_H

#include <korvinexchange/framing.h>
#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>

#include <memory>
#include <optional>

/// A frame or record, and what it is: no encoding says that itself.
///
/// It travels as the words for form and class, each with a blank after it, and the frame or
/// record:
///
///     text PackageRequestReadData 7,usb0,1,0,255,2,65535,2560,16,0,read,3000,t1,ok,ok,3,data
struct Message
{
    KorvinInspect::ClassId classId = KorvinInspect::ClassId::PackageBase;
    KorvinInspect::Form form = KorvinInspect::Form::Text;
    QByteArray bytes;
};

/// How messages are found in a stream of bytes.
enum class Wire {
    Lines,       ///< Between client and proxy: records, a line feed after each.
    LengthPrefix ///< Between proxy and device: frames and records, the number of bytes before each.
};

/// No message may be longer, in bytes.
constexpr int MaxMessageSize = 1 << 20;

/// Nor a frame or record: the two words come before it.
constexpr int MaxContentSize = MaxMessageSize - 64;

/// Makes the framing; a message must come whole within 3 seconds.
std::unique_ptr<KorvinExchange::Framing> makeFraming(Wire wire);

QByteArray pack(const Message &message);

/// The message; nothing for bytes that do not begin with the two words.
std::optional<Message> unpack(const QByteArray &bytes);

#endif
