#include "include/packagerequestwritedata.h"

#include "ownpart_p.h"
#include "packagebase_p.h"

using namespace Korvin;

namespace {

constexpr ClassRow DataWrite = rowOf("PackageRequestWriteData");
static_assert(!DataWrite.has(InShortReply), "the hooks below skip it in a short reply");

} // namespace

PackageRequestWriteData::PackageRequestWriteData()
    : m_nDataRequestFieldCount(DataWrite.ownRequestColumns)
    , m_nDataReplyFieldCount(DataWrite.ownReplyColumns)
{
}

PackageRequestWriteData::PackageRequestWriteData(QString deviceKey, uchar scrAddr, uchar desAddr,
                                                 uchar deviceType, uchar portAddr,
                                                 ushort scanBoardAddr, ushort highAddr,
                                                 ushort lowAddr, uchar reserved2, int timeout,
                                                 QString tag, OrvexEnum::CommResults commResult,
                                                 bool bBroadcast, QByteArray data, int dataLength)
    : PackageRequestWrite(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                          scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                          commResult, bBroadcast, DataWrite.usualKind)
    , m_data(std::move(data))
    , m_nDataRequestFieldCount(DataWrite.ownRequestColumns)
    , m_nDataReplyFieldCount(DataWrite.ownReplyColumns)
{
    resizeToAnnounced(m_data, dataLength, m_data.size());
    PackageRequestWrite::setPackageDataLength(dataLength);
}

PackageRequestWriteData::PackageRequestWriteData(QString deviceKey, uchar scrAddr, uchar desAddr,
                                                 uchar deviceType, uchar portAddr,
                                                 ushort scanBoardAddr, ushort highAddr,
                                                 ushort lowAddr, uchar reserved2, int timeout,
                                                 QString tag, bool bBroadcast, QByteArray data,
                                                 int dataLength)
    : PackageRequestWriteData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                              scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                              OrvexEnum::CommOk, bBroadcast, std::move(data), dataLength)
{
}

PackageRequestWriteData::PackageRequestWriteData(const PackageRequestWriteData &other) = default;

PackageRequestWriteData &
PackageRequestWriteData::operator=(const PackageRequestWriteData &other) = default;

PackageRequestWriteData::~PackageRequestWriteData() = default;

QByteArray PackageRequestWriteData::data() const
{
    return m_data;
}

void PackageRequestWriteData::setData(const QByteArray &data)
{
    m_data = data;
}

void PackageRequestWriteData::AppendDataToPackage(bool isRequest, QByteArray *package)
{
    PackageRequestWrite::AppendDataToPackage(isRequest, package);
    if (!isRequest)
        return;
    int length = getPackageDataLength();
    ByteWriter writer(package, BlockLengthSize + qint64(m_data.size()));
    WriteBlockPart{length, m_data}.payload(writer);
    writer.finish();
}

bool PackageRequestWriteData::ParseDataFromPackage(bool isRequest, QByteArray package,
                                                   int startIndex, int *parsedLength)
{
    *parsedLength = 0;
    const int baseLength = parseRegisterPayload(isRequest, package, startIndex);
    if (!isRequest)
        return true;
    return guarded([&] {
        ByteReader reader(package, wrapped(qint64(startIndex) + baseLength));
        int length = 0;
        WriteBlockPart block{length, m_data};
        block.lengthField(reader);
        setPackageDataLength(length);
        if (getPackageDataLength() >= 1) {
            block.dataField(reader);
        } else {
            m_data.clear();
            setPackageDataLength(0);
        }
        *parsedLength = reader.distanceFrom(startIndex);
        return true;
    });
}

QString PackageRequestWriteData::makePackageReply()
{
    int length = getPackageDataLength();
    const DataStringSource numbers{m_data, length == 0 ? 0 : qMax(length, 1)};
    return continued(PackageRequestWrite::makePackageReply(), WriteBlockPart{length, numbers});
}

QString PackageRequestWriteData::makePackageRequest()
{
    // In a request the data decides whether there is a first byte; in a reply the length does.
    int length = getPackageDataLength();
    const DataStringSource numbers{m_data, m_data.isEmpty() ? 0 : qMax(length, 1)};
    return continued(PackageRequestWrite::makePackageRequest(), WriteBlockPart{length, numbers});
}

bool PackageRequestWriteData::unPackageReply(QString text)
{
    const OwnColumns columns = replyColumns(DataWrite, m_nReplyFieldCount, m_nDataReplyFieldCount);
    int length = 0;
    QStringView numbers;
    if (!readReply<PackageRequestWrite>(*this, text, columns, WriteBlockPart{length, numbers}))
        return false;
    setPackageDataLength(length);
    return readDataString(numbers, getPackageDataLength(), m_data);
}

bool PackageRequestWriteData::unPackageRequest(QString text)
{
    const OwnColumns columns = requestColumns(m_nRequestFieldCount, m_nDataRequestFieldCount);
    int length = 0;
    QStringView numbers;
    if (!readRequest<PackageRequestWrite>(*this, text, columns, WriteBlockPart{length, numbers}))
        return false;
    setPackageDataLength(length);
    if (dataStringParts(numbers) != getPackageDataLength()
        || !readDataString(numbers, getPackageDataLength(), m_data)) {
        return false;
    }
    setPartCount(partCount(getPackageDataLength(), getMaxPartSize()));
    return true;
}

QByteArray PackageRequestWriteData::ParseSendRequest_Linux()
{
    return makeLinuxRequest(*m_pPackageBasePri, getPackageDataLength(), m_data);
}

bool PackageRequestWriteData::unPackageReply_Linux(QByteArray bytes)
{
    if (!unBasePackageReply_Linux(bytes))
        return false;
    return guarded([&] {
        setPackageDataLength(linuxReplyLength(bytes));
        const std::string_view data = linuxReplyData(bytes, getPackageDataLength());
        const auto size = static_cast<QByteArray::size_type>(data.size());
        resizeToAnnounced(m_data, getPackageDataLength(), size);
        m_data.replace(QByteArray::size_type(0), size, data.data(), size);
        return true;
    });
}
