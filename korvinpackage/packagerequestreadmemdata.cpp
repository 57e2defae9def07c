#include "include/packagerequestreadmemdata.h"

#include "ownpart_p.h"

using namespace Korvin;

namespace {

constexpr ClassRow MemoryRead = rowOf("PackageRequestReadMemData");

} // namespace

PackageRequestReadMemData::PackageRequestReadMemData()
    : m_nMemRequestFieldCount(MemoryRead.ownRequestColumns)
    , m_nMemReplyFieldCount(MemoryRead.ownReplyColumns)
{
}

PackageRequestReadMemData::PackageRequestReadMemData(
    QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType, uchar portAddr,
    ushort scanBoardAddr, ushort highAddr, ushort lowAddr, uchar reserved2, int timeout,
    QString tag, OrvexEnum::CommResults commResult, int replyDataLength, long offset)
    : PackageRequestRead(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                         scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                         commResult, replyDataLength, MemoryRead.usualKind)
    , m_nMemRequestFieldCount(MemoryRead.ownRequestColumns)
    , m_nMemReplyFieldCount(MemoryRead.ownReplyColumns)
    , m_nOffset(offset)
{
}

PackageRequestReadMemData::PackageRequestReadMemData(QString deviceKey, uchar scrAddr,
                                                     uchar desAddr, uchar deviceType,
                                                     uchar portAddr, ushort scanBoardAddr,
                                                     ushort highAddr, ushort lowAddr,
                                                     uchar reserved2, int timeout, QString tag,
                                                     int replyDataLength, long offset)
    : PackageRequestReadMemData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                                scanBoardAddr, highAddr, lowAddr, reserved2, timeout,
                                std::move(tag), OrvexEnum::CommOk, replyDataLength, offset)
{
}

PackageRequestReadMemData::PackageRequestReadMemData(const PackageRequestReadMemData &other) =
    default;

PackageRequestReadMemData::PackageRequestReadMemData(PackageRequestReadMemData &&other) = default;

PackageRequestReadMemData &
PackageRequestReadMemData::operator=(const PackageRequestReadMemData &other) = default;

PackageRequestReadMemData &
PackageRequestReadMemData::operator=(PackageRequestReadMemData &&other) = default;

PackageRequestReadMemData::~PackageRequestReadMemData() = default;

long PackageRequestReadMemData::offset() const
{
    return m_nOffset;
}

void PackageRequestReadMemData::setOffset(long offset)
{
    m_nOffset = offset;
}

QString PackageRequestReadMemData::makePackageReply()
{
    return continued(PackageRequestRead::makePackageReply(), MemoryReadPart{m_nOffset});
}

QString PackageRequestReadMemData::makePackageRequest()
{
    return continued(PackageRequestRead::makePackageRequest(), MemoryReadPart{m_nOffset});
}

bool PackageRequestReadMemData::unPackageReply(QString text)
{
    return readReply<PackageRequestRead>(
        *this, text, replyColumns(MemoryRead, RegisterReadPart::Columns, m_nMemReplyFieldCount),
        MemoryReadPart{m_nOffset});
}

bool PackageRequestReadMemData::unPackageRequest(QString text)
{
    return readRequest<PackageRequestRead>(
        *this, text, requestColumns(RegisterReadPart::Columns, m_nMemRequestFieldCount),
        MemoryReadPart{m_nOffset});
}
