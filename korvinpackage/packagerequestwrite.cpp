#include "include/packagerequestwrite.h"

#include "ownpart_p.h"
#include "packagebase_p.h"

using namespace Korvin;

PackageRequestWrite::PackageRequestWrite()
    : m_nRequestFieldCount(RegisterWritePart::Columns)
    , m_nReplyFieldCount(RegisterWritePart::Columns)
{
}

PackageRequestWrite::PackageRequestWrite(QString deviceKey, uchar scrAddr, uchar desAddr,
                                         uchar deviceType, uchar portAddr, ushort scanBoardAddr,
                                         ushort highAddr, ushort lowAddr, uchar reserved2,
                                         int timeout, QString tag,
                                         OrvexEnum::CommResults commResult, bool bBroadcast,
                                         OrvexEnum::ClientPackageType clientPackageType)
    : PackageBase(std::move(deviceKey), 0, scrAddr, desAddr, deviceType, portAddr, scanBoardAddr,
                  highAddr, lowAddr, OrvexEnum::Write, reserved2, timeout, std::move(tag),
                  commResult, true)
    , m_nRequestFieldCount(RegisterWritePart::Columns)
    , m_nReplyFieldCount(RegisterWritePart::Columns)
    , m_clientPackageType(clientPackageType)
    , m_bBroadcast(bBroadcast)
{
    if (reserved2 == 0x30)
        setTagProto(QStringLiteral("3rdCalder-proto"));
}

PackageRequestWrite::PackageRequestWrite(const PackageRequestWrite &other)
    : PackageBase(other)
    , m_nRequestFieldCount(RegisterWritePart::Columns)
    , m_nReplyFieldCount(RegisterWritePart::Columns)
    , m_clientPackageType(other.m_clientPackageType)
    , m_bBroadcast(other.m_bBroadcast)
    , m_nPackageDataLength(other.m_nPackageDataLength)
{
}

PackageRequestWrite &PackageRequestWrite::operator=(const PackageRequestWrite &other)
{
    PackageBase::operator=(other);
    m_clientPackageType = other.m_clientPackageType;
    m_bBroadcast = other.m_bBroadcast;
    m_nPackageDataLength = other.m_nPackageDataLength;
    return *this;
}

PackageRequestWrite::~PackageRequestWrite() = default;

bool PackageRequestWrite::bBroadcast() const
{
    return m_bBroadcast;
}

OrvexEnum::ClientPackageType PackageRequestWrite::getClientPackageType() const
{
    return m_clientPackageType;
}

void PackageRequestWrite::setPackageDataLength(int packageDataLength)
{
    m_nPackageDataLength = packageDataLength;
}

int PackageRequestWrite::getPackageDataLength() const
{
    return m_nPackageDataLength;
}

int PackageRequestWrite::getDataLength() const
{
    return getPackageDataLength();
}

QByteArray PackageRequestWrite::MackPackageRequest()
{
    return makeRequestFrame(*this, *m_pPackageBasePri, m_nPackageDataLength);
}

bool PackageRequestWrite::UnPackageRequest(QByteArray data, int startIndex, int *parsedLength)
{
    return readRequestFrame(*this, *m_pPackageBasePri, std::move(data), startIndex, parsedLength);
}

QByteArray PackageRequestWrite::MackPackageReply(bool withRequest)
{
    return makeReplyFrame(*this, *m_pPackageBasePri, withRequest,
                          withRequest ? m_nPackageDataLength : 0);
}

bool PackageRequestWrite::UnPackageReply(QByteArray data, int startIndex, int *parsedLength,
                                         bool *withRequest)
{
    return readReplyFrame(*this, std::move(data), startIndex, parsedLength, withRequest);
}

void PackageRequestWrite::AppendDataToPackage(bool isRequest, QByteArray *package)
{
    PackageBase::AppendDataToPackage(isRequest, package);
    if (!isRequest)
        return;
    ByteWriter writer(package, RegisterWritePart::PayloadSize);
    RegisterWritePart{m_bBroadcast, m_clientPackageType}.payload(writer);
    writer.finish();
}

bool PackageRequestWrite::ParseDataFromPackage(bool isRequest, QByteArray package, int startIndex,
                                               int *parsedLength)
{
    *parsedLength = parseRegisterPayload(isRequest, package, startIndex);
    return true;
}

int PackageRequestWrite::parseRegisterPayload(bool isRequest, const QByteArray &package,
                                              int startIndex)
{
    if (!isRequest)
        return 0;
    ByteReader reader(package, startIndex);
    RegisterWritePart{m_bBroadcast, m_clientPackageType}.payload(reader);
    return reader.distanceFrom(startIndex);
}

QString PackageRequestWrite::makePackageReply()
{
    return continued(PackageBase::makePackageReply(),
                     RegisterWritePart{m_bBroadcast, m_clientPackageType});
}

QString PackageRequestWrite::makePackageRequest()
{
    return continued(PackageBase::makePackageRequest(),
                     RegisterWritePart{m_bBroadcast, m_clientPackageType});
}

bool PackageRequestWrite::unPackageReply(QString text)
{
    // Reads these columns where a request has them, one before the place where a reply has them.
    // Peers rely on it.
    return readReply<PackageBase>(
        *this, text, {CommonPart::RequestColumns, CommonPart::ReplyColumns + m_nReplyFieldCount},
        RegisterWritePart{m_bBroadcast, m_clientPackageType});
}

bool PackageRequestWrite::unPackageRequest(QString text)
{
    return readRequest<PackageBase>(*this, text, requestColumns(0, m_nRequestFieldCount),
                                    RegisterWritePart{m_bBroadcast, m_clientPackageType});
}
