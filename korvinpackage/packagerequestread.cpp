#include "include/packagerequestread.h"

#include "ownpart_p.h"
#include "packagebase_p.h"

using namespace Korvin;

PackageRequestRead::PackageRequestRead() = default;

PackageRequestRead::PackageRequestRead(QString deviceKey, uchar scrAddr, uchar desAddr,
                                       uchar deviceType, uchar portAddr, ushort scanBoardAddr,
                                       ushort highAddr, ushort lowAddr, uchar reserved2,
                                       int timeout, QString tag, OrvexEnum::CommResults commResult,
                                       int replyDataLength,
                                       OrvexEnum::ClientPackageType clientPackageType)
    : PackageBase(std::move(deviceKey), 0, scrAddr, desAddr, deviceType, portAddr, scanBoardAddr,
                  highAddr, lowAddr, OrvexEnum::Read, reserved2, timeout, std::move(tag),
                  commResult, true)
    , m_nReplyDataLength(replyDataLength)
{
    if (reserved2 == 0x30)
        setTagProto(QStringLiteral("3rdCalder-proto"));
    setClientPackageType(clientPackageType);
}

PackageRequestRead::PackageRequestRead(const PackageRequestRead &other)
    : PackageBase(other)
    , m_nReplyDataLength(other.getReplyDataLength())
{
}

PackageRequestRead &PackageRequestRead::operator=(const PackageRequestRead &other) = default;

PackageRequestRead::~PackageRequestRead() = default;

void PackageRequestRead::setReplyDataLength(int replyDataLength)
{
    m_nReplyDataLength = replyDataLength;
}

int PackageRequestRead::getReplyDataLength() const
{
    return m_nReplyDataLength;
}

int PackageRequestRead::getDataLength() const
{
    return getReplyDataLength();
}

QByteArray PackageRequestRead::MackPackageRequest()
{
    return makeRequestFrame(*this, *m_pPackageBasePri, 0);
}

bool PackageRequestRead::UnPackageRequest(QByteArray data, int startIndex, int *parsedLength)
{
    return readRequestFrame(*this, *m_pPackageBasePri, std::move(data), startIndex, parsedLength);
}

QByteArray PackageRequestRead::MackPackageReply(bool withRequest)
{
    const bool bringsData = m_pPackageBasePri->clientPackageType == OrvexEnum::DataPackage;
    return makeReplyFrame(*this, *m_pPackageBasePri, withRequest,
                          bringsData ? m_nReplyDataLength : 0);
}

bool PackageRequestRead::UnPackageReply(QByteArray data, int startIndex, int *parsedLength,
                                        bool *withRequest)
{
    return readReplyFrame(*this, std::move(data), startIndex, parsedLength, withRequest);
}

void PackageRequestRead::AppendDataToPackage(bool isRequest, QByteArray *package)
{
    PackageBase::AppendDataToPackage(isRequest, package);
    if (!isRequest)
        return;
    ByteWriter writer(package, RegisterReadPart::PayloadSize);
    int length = getReplyDataLength();
    RegisterReadPart{length, m_pPackageBasePri->clientPackageType}.payload(writer);
    writer.finish();
}

bool PackageRequestRead::ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                                              int *parsedLength)
{
    *parsedLength = parseRegisterPayload(isRequest, package, startIndex);
    return true;
}

int PackageRequestRead::parseRegisterPayload(bool isRequest, const QByteArray &package,
                                             int startIndex)
{
    if (!isRequest)
        return 0;
    ByteReader reader(package, startIndex);
    RegisterReadPart{m_nReplyDataLength, m_pPackageBasePri->clientPackageType}.payload(reader);
    return reader.distanceFrom(startIndex);
}

QString PackageRequestRead::makePackageReply()
{
    int length = getReplyDataLength();
    return continued(PackageBase::makePackageReply(),
                     RegisterReadPart{length, m_pPackageBasePri->clientPackageType});
}

QString PackageRequestRead::makePackageRequest()
{
    int length = getReplyDataLength();
    return continued(PackageBase::makePackageRequest(),
                     RegisterReadPart{length, m_pPackageBasePri->clientPackageType});
}

bool PackageRequestRead::unPackageReply(QString text)
{
    // Reads these columns where a request has them, one before the place where a reply has them.
    // Peers rely on it.
    return readReply<PackageBase>(
        *this, text,
        {CommonPart::RequestColumns, CommonPart::ReplyColumns + RegisterReadPart::Columns},
        RegisterReadPart{m_nReplyDataLength, m_pPackageBasePri->clientPackageType});
}

bool PackageRequestRead::unPackageRequest(QString text)
{
    const RegisterReadPart own{m_nReplyDataLength, m_pPackageBasePri->clientPackageType};
    if (!readRequest<PackageBase>(*this, text, requestColumns(0, RegisterReadPart::Columns), own))
        return false;
    setPartCount(partCount(getReplyDataLength(), getMaxPartSize()));
    return true;
}
