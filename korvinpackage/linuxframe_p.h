#ifndef LINUXFRAME_P_H
#define LINUXFRAME_P_H

#include "packagebase_p.h"

#include <string_view>

/// @file
/// The frame of the Linux client, for the data requests.

namespace Korvin {

/// The request frame. With the code `Write` it carries the data and an extent of @p length bytes:
/// the checksum stands behind that extent, whatever the size of the data. A code that is neither
/// `Read` nor `Write` gives a header of zeros.
QByteArray makeLinuxRequest(PackageBasePrivate &package, int length, const QByteArray &data);

/// The data length that a reply announces.
int linuxReplyLength(const QByteArray &frame);

/// The data in front of the checksum of a reply, at most @p length bytes; it lives as long as the
/// frame.
std::string_view linuxReplyData(const QByteArray &frame, int length);

} // namespace Korvin

#endif
