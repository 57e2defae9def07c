#ifndef MESSAGE_H
#define MESSAGE_H

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QString>

/// What the example's transport moves. Frames and records carry neither their length nor their
/// kind, so a transport adds both, here in the format of QDataStream.
struct Message
{
    QString kind;
    QByteArray bytes;
};

inline QDataStream &operator<<(QDataStream &stream, const Message &message)
{
    return stream << message.kind << message.bytes;
}

inline QDataStream &operator>>(QDataStream &stream, Message &message)
{
    return stream >> message.kind >> message.bytes;
}

#endif
