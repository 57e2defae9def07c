#include "replies.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageclass.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <specialpackagerequest.h>

using namespace KorvinInspect;

namespace {

/// The reply record of a special request is none of those that its reader takes: it is the request
/// record, and the acknowledge code.
std::unique_ptr<PackageBase> decodeSpecialReply(const QString &record, QString *reason)
{
    const QString request = record.section(QLatin1Char(','), 0, -2);
    const MessageShape shape{ClassId::SpecialPackageRequest, Form::Text, Direction::Request};
    const Verdict verdict = check(request, shape);
    bool isNumber = false;
    const uint ackCode = record.section(QLatin1Char(','), -1).toUInt(&isNumber);
    if (!verdict.isOk() || !isNumber) {
        *reason = verdict.isOk() ? QStringLiteral("no acknowledge code") : describe(verdict);
        return nullptr;
    }
    auto package = std::make_unique<SpecialPackageRequest>();
    package->unPackageRequest(request);
    package->setAckCode(ackCode);
    return package;
}

bool readLinuxReply(PackageBase *package, const QByteArray &frame)
{
    if (auto *read = qobject_cast<PackageRequestReadData *>(package))
        return read->unPackageReply_Linux(frame);
    auto *write = qobject_cast<PackageRequestWriteData *>(package);
    return write && write->unPackageReply_Linux(frame);
}

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
    if (reply.classId == ClassId::SpecialPackageRequest && reply.form == Form::Text)
        return decodeSpecialReply(textFromUtf8(reply.bytes), reason);
    const Verdict verdict = check(reply.bytes, {reply.classId, reply.form, Direction::Reply});
    if (!verdict.isOk()) {
        *reason = describe(verdict);
        return nullptr;
    }
    auto package = packageClass(className(reply.classId))->create();
    int consumed = 0;
    bool full = false;
    const bool decoded = reply.form == Form::Text
        ? package->unPackageReply(textFromUtf8(reply.bytes))
        : reply.form == Form::Frame ? package->UnPackageReply(reply.bytes, 0, &consumed, &full)
                                    : readLinuxReply(package.get(), reply.bytes);
    // The results of a full reply are read from other bytes than they are written to.
    if (decoded && !full)
        return package;
    *reason = QStringLiteral("a full reply, or one that does not decode");
    return nullptr;
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
