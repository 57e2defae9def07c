#ifndef ENVELOPE_H
#define ENVELOPE_H

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QString>

/// What the example's transport moves. Frames and records carry neither their length nor their
/// kind, so a transport adds both, here in the format of QDataStream.
struct Envelope
{
    QString kind;
    QByteArray bytes;
};

inline QDataStream &operator<<(QDataStream &stream, const Envelope &envelope)
{
    return stream << envelope.kind << envelope.bytes;
}

inline QDataStream &operator>>(QDataStream &stream, Envelope &envelope)
{
    return stream >> envelope.kind >> envelope.bytes;
}

#endif
