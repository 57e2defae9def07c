#ifndef LOOPBACK_MESSAGE_H
#define LOOPBACK_MESSAGE_H

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>

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

QByteArray pack(const Message &message);

/// The message; nothing for bytes that do not begin with the two words.
std::optional<Message> unpack(const QByteArray &bytes);

#endif
