#include "include/packagerequestwritememdata.h"

#include "ownpart_p.h"

using namespace Korvin;

namespace {

constexpr ClassRow MemoryWrite = rowOf("PackageRequestWriteMemData");

} // namespace

PackageRequestWriteMemData::PackageRequestWriteMemData(
    QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType, uchar portAddr,
    ushort scanBoardAddr, ushort highAddr, ushort lowAddr, uchar reserved2, int timeout,
    QString tag, OrvexEnum::CommResults commResult, bool bBroadcast, long offset, int dataLength)
    : PackageRequestWrite(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                          scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                          commResult, bBroadcast, MemoryWrite.usualKind)
    , m_nMemRequestFieldCount(MemoryWrite.ownRequestColumns)
    , m_nMemReplyFieldCount(MemoryWrite.ownReplyColumns)
    , m_nOffset(offset)
{
    PackageRequestWrite::setPackageDataLength(dataLength);
}

PackageRequestWriteMemData::PackageRequestWriteMemData(QString deviceKey, uchar scrAddr,
                                                       uchar desAddr, uchar deviceType,
                                                       uchar portAddr, ushort scanBoardAddr,
                                                       ushort highAddr, ushort lowAddr,
                                                       uchar reserved2, int timeout, QString tag,
                                                       bool bBroadcast, long offset, int dataLength)
    : PackageRequestWriteMemData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                                 scanBoardAddr, highAddr, lowAddr, reserved2, timeout,
                                 std::move(tag), OrvexEnum::CommOk, bBroadcast, offset, dataLength)
{
}

PackageRequestWriteMemData::PackageRequestWriteMemData(const PackageRequestWriteMemData &other) =
    default;

PackageRequestWriteMemData &
PackageRequestWriteMemData::operator=(const PackageRequestWriteMemData &other) = default;

PackageRequestWriteMemData::~PackageRequestWriteMemData() = default;

long PackageRequestWriteMemData::offset() const
{
    return m_nOffset;
}

void PackageRequestWriteMemData::setOffset(long offset)
{
    m_nOffset = offset;
}

QString PackageRequestWriteMemData::makePackageReply()
{
    int length = getPackageDataLength();
    return continued(PackageRequestWrite::makePackageReply(), MemoryWritePart{m_nOffset, length});
}

QString PackageRequestWriteMemData::makePackageRequest()
{
    int length = getPackageDataLength();
    return continued(PackageRequestWrite::makePackageRequest(), MemoryWritePart{m_nOffset, length});
}

bool PackageRequestWriteMemData::unPackageReply(QString text)
{
    OwnColumns columns = replyColumns(MemoryWrite, m_nReplyFieldCount, m_nMemReplyFieldCount);
    // The place depends on the columns of the register write in a request, not in a reply.
    columns.first = countedCommonColumns(MemoryWrite) + m_nRequestFieldCount;
    int length = 0;
    if (!readReply<PackageRequestWrite>(*this, text, columns, MemoryWritePart{m_nOffset, length}))
        return false;
    setPackageDataLength(length);
    return true;
}

bool PackageRequestWriteMemData::unPackageRequest(QString text)
{
    const OwnColumns columns = requestColumns(m_nRequestFieldCount, m_nMemRequestFieldCount);
    int length = 0;
    if (!readRequest<PackageRequestWrite>(*this, text, columns, MemoryWritePart{m_nOffset, length}))
        return false;
    setPackageDataLength(length);
    const int remaining = wrapped(qint64(getPackageDataLength()) - m_nOffset);
    setPartCount(partCount(remaining, getMaxPartSize()));
    return true;
}
