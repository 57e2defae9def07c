#ifndef REPLIES_H
#define REPLIES_H

#include "message.h"

#include <packagebase.h>

#include <memory>

/// Decodes a reply from a peer that is not trusted: looks at it before a decoder sees it, and
/// decodes it into a package of its own, since a decoder replaces the fields of its package.
///
/// @param reason becomes why there is none.
/// @return null for what is no reply.
std::unique_ptr<PackageBase> decodeReply(const Message &reply, QString *reason);

/// Takes over into @p request what @p reply brings: outcome and data.
///
/// @param reply must have the serial number of the request already.
/// @return false, with nothing changed, for a reply to another request, as far as a reply shows it.
bool takeOver(PackageBase *request, const PackageBase &reply, KorvinInspect::Form form);

/// Stores the outcome of a request that the transport could not bring to an end.
void fail(PackageBase *request, OrvexEnum::CommResults commResult,
          OrvexEnum::PackageResults packResult);

/// The reply record of a request with an outcome.
QByteArray replyRecord(PackageBase *request);

/// Whether the request succeeded, or how not: "ok", or "timeout, timeOut, acknowledge code 0".
QString outcomeText(PackageBase *request);

#endif
