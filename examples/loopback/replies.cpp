#include "replies.h"

#include <korvininspect/packageclass.h>
#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <specialpackagerequest.h>

using namespace KorvinInspect;

namespace {

bool sameAddress(const PackageBase &one, const PackageBase &other)
{
    return one.getScrAddr() == other.getScrAddr() && one.getDesAddr() == other.getDesAddr()
        && one.getPortAddr() == other.getPortAddr()
        && one.getScanBoardAddr() == other.getScanBoardAddr()
        && one.getHighAddr() == other.getHighAddr() && one.getLowAddr() == other.getLowAddr();
}

} // namespace

std::unique_ptr<PackageBase> decodeReply(const Message &reply, QString *reason)
{
    std::unique_ptr<PackageBase> package;
    const Verdict verdict =
        decodeMessage(reply.bytes, {reply.classId, reply.form, Direction::Reply}, &package);
    *reason = describe(verdict);
    return package;
}

bool takeOver(PackageBase *request, const PackageBase &reply, Form form)
{
    const ClassId id = classOf(*request).id;
    const bool hasAddress = form != Form::Frame && id != ClassId::SpecialPackageRequest;
    if (id != classOf(reply).id || (hasAddress && !sameAddress(*request, reply)))
        return false;
    if (auto *read = qobject_cast<PackageRequestReadData *>(request)) {
        const bool isSuccess = reply.getAckCode() == 0 && reply.getPackResult() == OrvexEnum::PackOk
            && reply.getCommResult() == OrvexEnum::CommOk;
        // All that was asked for, or no success.
        if (isSuccess && reply.data().size() != read->getReplyDataLength())
            return false;
        read->setData(isSuccess ? reply.data() : QByteArray());
    }
    if (auto *special = qobject_cast<SpecialPackageRequest *>(request))
        special->setStrData(static_cast<const SpecialPackageRequest &>(reply).strData());
    request->setAckCode(reply.getAckCode());
    request->setCommResult(reply.getCommResult());
    request->setPackResult(reply.getPackResult());
    return true;
}

void fail(PackageBase *request, OrvexEnum::CommResults commResult,
          OrvexEnum::PackageResults packResult)
{
    request->setAckCode(0);
    request->setCommResult(commResult);
    request->setPackResult(packResult);
}

QByteArray replyRecord(PackageBase *request)
{
    if (auto *read = qobject_cast<PackageRequestReadData *>(request)) {
        // A record without data is refused by its reader.
        if (read->data().isEmpty())
            read->setData(QByteArray(1, '\0'));
        read->setReplyDataLength(read->data().size());
    }
    return request->makePackageReply().toUtf8();
}

QString outcomeText(PackageBase *request)
{
    if (request->isPackageSuccess())
        return QStringLiteral("ok");
    const PackageClass &itsClass = classOf(*request);
    return QStringLiteral("%1, %2, acknowledge code %3")
        .arg(itsClass.field(QStringLiteral("commResult"))->get(*request).toString(),
             itsClass.field(QStringLiteral("packResult"))->get(*request).toString())
        .arg(request->getAckCode());
}
