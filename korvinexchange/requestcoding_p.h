#ifndef KORVINEXCHANGE_REQUESTCODING_P_H
#define KORVINEXCHANGE_REQUESTCODING_P_H

#include "include/korvinexchange/outcome.h"
#include "include/korvinexchange/settings.h"

#include <korvininspect/packageclass.h>

#include <QtCore/QByteArray>

#include <utility>
#include <vector>

class PackageBase;

/// @file
/// Encodes requests for the peer, and stores what replies carry.

namespace KorvinExchange {

/// The form that was chosen for a request.
struct ChosenForm
{
    KorvinInspect::Verdict verdict; ///< If no form carries it: why the preferred form does not.
    KorvinInspect::Form form = KorvinInspect::Form::Text;
};

/// Returns the first form that carries all of a request, and serial numbers from
/// @p leastSerialNum on.
ChosenForm chooseForm(const PackageBase &package, KorvinInspect::ClassId classId,
                      const std::vector<KorvinInspect::Form> &forms, quint32 leastSerialNum);

/// Returns the largest serial number that a form carries.
quint32 lastSerialNumOf(KorvinInspect::Form form);

/// Returns whether a request has no serial number on the wire. Special requests travel in records
/// only.
bool isWithoutSerialNum(KorvinInspect::ClassId classId);

/// Returns whether a request reads, and so may be carried out twice.
bool isRead(const PackageBase &package, KorvinInspect::ClassId classId);

/// Returns whether the replies to requests of a class carry data.
bool bringsData(KorvinInspect::ClassId classId);

/// Returns the number of data bytes that the reply to a request may carry.
int askedData(const PackageBase &package, KorvinInspect::ClassId classId);

/// Encodes a request with a serial number of the link and marks the package as pending. Restores
/// the package's own serial number.
///
/// @return the verdict of KorvinInspect::encodePackage() or check().
KorvinInspect::Verdict encodeRequest(PackageBase &package, quint32 serialNum,
                                     const KorvinInspect::MessageShape &shape, QByteArray *message);

/// Does the same for the items of a combination, each with its serial number.
KorvinInspect::Verdict encodeItems(const std::vector<std::pair<PackageBase *, quint32>> &packages,
                                   QByteArray *message);

/// Returns the request records of a combination.
std::vector<QByteArray> itemsOf(const QByteArray &combination);

/// Stores the results of a request that ended without a reply.
void setOutcome(PackageBase *package, Outcome outcome);

/// Stores the results and data of a reply.
void takeOver(PackageBase *package, const PackageBase &reply);

} // namespace KorvinExchange

#endif
