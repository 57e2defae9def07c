#ifndef SECONDREADING_H
#define SECONDREADING_H

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

class PackageBase;

/// @file
/// The second reading: a decoder and encoder of every frame, record and Linux frame that shares
/// nothing with the library except the fields of packages. A wrong layout of the library agrees
/// with itself, but not with this. A new class with fields on the wire must be added here.

/// What a decoder reports, apart from the fields that it stores.
struct Reading
{
    bool succeeded = true;
    int consumed = 0;
    bool full = false;

    /// The input announces between 64 KiB and 256 MiB of data that it does not hold: builds of
    /// fuzzers leave the data empty, other builds allocate all of it, which takes time. Then the
    /// fields are not those that a decoder stores.
    bool announcesMuch = false;
};

/// Stores in @p package what the decoder of its class reads from a frame.
Reading readFrame(PackageBase &package, KorvinInspect::Direction direction, const QByteArray &frame,
                  int start);

/// Stores in @p package what the decoder of its class reads from a record.
Reading readRecord(PackageBase &package, KorvinInspect::Direction direction, const QString &record);

/// Stores in @p package what a data request takes from a reply of the Linux client, and a request
/// of any other class from its header.
Reading readLinuxReply(PackageBase &package, const QByteArray &frame);

/// Expects that the encoders of @p package write the bytes of the second reading, and observes
/// them. Does nothing if the length is above 4 KiB, since encoders write as many bytes as it
/// announces.
void expectWritten(PackageBase &package);

#endif
