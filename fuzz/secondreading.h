#ifndef SECONDREADING_H
#define SECONDREADING_H

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

class PackageBase;

/// @file
/// The protocol read a second time: every frame, record and Linux frame by tables and plain steps
/// of its own, which use nothing of the library except the fields of packages. A wrong layout of
/// the library agrees with itself, but not with this. A class with fields on the wire is added here
/// too.

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

/// Expects that the encoders of @p package write what they should, and observes that. They write as
/// many bytes as a length announces: with more than 4 KiB of them none is called.
void expectWritten(PackageBase &package);

#endif
