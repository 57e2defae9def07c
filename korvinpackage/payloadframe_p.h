#ifndef PAYLOADFRAME_P_H
#define PAYLOADFRAME_P_H

#include "packagebase_p.h"

/// @file
/// The frames of a class with a payload: the common frame, and the payload behind it through the
/// virtual hooks.

namespace Korvin {

/// The header of a request frame at @p startIndex; @p length becomes its length.
bool readHeader(PackageBasePrivate &fields, const QByteArray &data, int startIndex, int *length);

QByteArray makeRequestFrame(PackageBase &package);

/// @p fields are those of @p package.
bool readRequestFrame(PackageBase &package, PackageBasePrivate &fields, QByteArray data,
                      int startIndex, int *parsedLength);

/// A full reply has the payload twice: the request inside carries it, and the hook adds it again
/// behind the results. Peers expect both.
QByteArray makeReplyFrame(PackageBase &package, bool withRequest);
bool readReplyFrame(PackageBase &package, QByteArray data, int startIndex, int *parsedLength,
                    bool *withRequest);

} // namespace Korvin

#endif
