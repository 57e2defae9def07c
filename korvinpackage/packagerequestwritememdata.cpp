#include "include/packagerequestwritememdata.h"

#include "layouts_p.h"
#include "recordcursors_p.h"

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
    RecordReader record(text,
                        CommonPart::ReplyColumns + m_nReplyFieldCount + m_nMemReplyFieldCount);
    if (!record.isComplete() || !PackageRequestWrite::unPackageReply(text))
        return false;
    int length = 0;
    if (!record.read(countedCommonColumns(MemoryWrite) + m_nRequestFieldCount,
                     MemoryWritePart{m_nOffset, length})) {
        return false;
    }
    setPackageDataLength(length);
    return true;
}

bool PackageRequestWriteMemData::unPackageRequest(QString text)
{
    const int ownColumn = CommonPart::RequestColumns + m_nRequestFieldCount;
    RecordReader record(text, ownColumn + m_nMemRequestFieldCount);
    if (!record.isComplete() || !PackageRequestWrite::unPackageRequest(text))
        return false;
    int length = 0;
    if (!record.read(ownColumn, MemoryWritePart{m_nOffset, length}))
        return false;
    setPackageDataLength(length);
    const int remaining = wrapped(qint64(getPackageDataLength()) - m_nOffset);
    setPartCount(partCount(remaining, getMaxPartSize()));
    return true;
}
