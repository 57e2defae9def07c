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
/// What a request becomes on the way to the peer, and what its reply brings.

namespace KorvinExchange {

/// What the forms say about a request that one of them shall carry.
struct ChosenForm
{
    KorvinInspect::Verdict verdict; ///< Why the preferred form does not carry it, where none does.
    KorvinInspect::Form form = KorvinInspect::Form::Text;
};

/// The first of the forms that carries all of a request.
ChosenForm chooseForm(const PackageBase &package, KorvinInspect::ClassId classId,
                      const std::vector<KorvinInspect::Form> &forms);

/// The largest serial number that a form carries.
quint32 lastSerialNumOf(KorvinInspect::Form form);

/// Whether a request has no serial number on the wire.
bool isWithoutSerialNum(KorvinInspect::ClassId classId, KorvinInspect::Form form);

/// Whether a request reads, so that it may be carried out twice.
bool isRead(const PackageBase &package, KorvinInspect::ClassId classId);

/// The bytes of data that the reply to a request may bring.
int askedData(const PackageBase &package, KorvinInspect::ClassId classId);

/// Encodes a request with a serial number of the link. The package has its own one again
/// afterwards, and is marked as pending.
///
/// @return what KorvinInspect::encodePackage() or check() say.
KorvinInspect::Verdict encodeRequest(PackageBase &package, quint32 serialNum,
                                     const KorvinInspect::MessageShape &shape, QByteArray *message);

/// The same for the items of a combination, each with its serial number.
KorvinInspect::Verdict encodeItems(const std::vector<std::pair<PackageBase *, quint32>> &packages,
                                   QByteArray *message);

/// The request records of a combination.
std::vector<QByteArray> itemsOf(const QByteArray &combination);

/// Stores the results of a request that no reply has ended.
void setOutcome(PackageBase *package, Outcome outcome);

/// Stores what a reply brings.
void takeOver(PackageBase *package, const PackageBase &reply);

} // namespace KorvinExchange

#endif
