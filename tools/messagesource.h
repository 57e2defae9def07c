#ifndef MESSAGESOURCE_H
#define MESSAGESOURCE_H

#include "bytenotation.h"
#include "streamreader.h"

#include <korvininspect/packageguess.h>

/// How an input is read.
struct InputSettings
{
    std::optional<KorvinInspect::Form> form = {}; ///< What its messages are, if that is known.
    Notation notation = Notation::Any;
    StreamFraming framing = StreamFraming::Unknown;
    bool isOneText = false; ///< Whether lines that are no dump are one message.
};

/// A message as it was found in an input.
struct FoundMessage
{
    QByteArray bytes; ///< The frame, or the record in UTF-8.
    QString fault;    ///< Why it cannot be read; otherwise empty.
    QString notation; ///< What it was understood as; empty for plain digits and records.
    KorvinInspect::KnownShape label; ///< What stands before it; the direction of its connection.
    int number = 0;                  ///< Of its line or packet, counted from 1.
    qint64 time = -1;                ///< Nanoseconds since 1970; -1 if the input does not say.
    QString from;                    ///< Who sent it; empty if the input does not say.
    QString to;
};

/// Finds messages in an input of any kind, one by one.
class MessageSource
{
public:
    virtual ~MessageSource();

    /// Reads the next message, or what is in its place. Returns false at the end.
    virtual bool next(FoundMessage *message) = 0;

    /// Says what the input was understood as, once it has ended; empty if there is nothing to say.
    virtual QString summary() const = 0;
};

#endif
