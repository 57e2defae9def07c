#ifndef DEVICE_SERIALPLACE_H
#define DEVICE_SERIALPLACE_H

#include "message.h"

#include <vector>

/// A serial number in a request or reply, in any encoding.
struct SerialPlace
{
    int item = 0;   ///< Item of a combination, counted from 1; 0 elsewhere.
    int offset = 0; ///< In bytes.
    QByteArray raw; ///< As it is written.
    quint64 value = 0;
};

/// Returns the serial numbers of a request: none for a special request as a record, one for each
/// item of a combination that has one.
std::vector<SerialPlace> serialPlacesOf(const Message &request);

/// Returns a request with all serial numbers 0, and otherwise the same.
Message withoutSerialNums(const Message &request);

/// Returns a recorded reply with the serial numbers of a live request. A number that is not the one
/// of the recorded request stays, as does a wrong checksum.
///
/// @param recorded are the places of the recorded request, and @p live those of the live one.
QByteArray withSerialNumsOf(const Message &reply, const std::vector<SerialPlace> &recorded,
                            const std::vector<SerialPlace> &live);

#endif
