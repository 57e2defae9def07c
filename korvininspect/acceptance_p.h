#ifndef ACCEPTANCE_P_H
#define ACCEPTANCE_P_H

#include <korvininspect/packagecheck.h>

namespace KorvinInspect {

/// Returns whether check() accepts an input, without a reason if it does not. Takes a fraction of
/// the time that the scanners take, which find the reason. May return false for an input that they
/// accept, but never true for one that they refuse. The shape must exist.
/// @{
bool isAcceptable(const QByteArray &frame, const MessageShape &shape, const CheckOptions &options);
bool isAcceptable(QStringView record, const MessageShape &shape, const CheckOptions &options);
/// @}

/// Returns a request record without its data string, which no reply is compared with.
QString withoutData(const QByteArray &request, const MessageShape &shape);

} // namespace KorvinInspect

#endif
