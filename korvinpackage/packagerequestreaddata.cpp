#include "include/packagerequestreaddata.h"

#include "ownpart_p.h"
#include "packagebase_p.h"

using namespace Korvin;

namespace {

constexpr ClassRow DataRead = rowOf("PackageRequestReadData");
static_assert(DataRead.has(InShortReply), "the hooks below write and read it in every frame");

} // namespace

PackageRequestReadData::PackageRequestReadData()
    : m_nDataRequestFieldCount(DataRead.ownRequestColumns)
    , m_nDataReplyFieldCount(DataRead.ownReplyColumns)
{
}

PackageRequestReadData::PackageRequestReadData(QString deviceKey, uchar scrAddr, uchar desAddr,
                                               uchar deviceType, uchar portAddr,
                                               ushort scanBoardAddr, ushort highAddr,
                                               ushort lowAddr, uchar reserved2, int timeout,
                                               QString tag, OrvexEnum::CommResults commResult,
                                               int replyDataLength)
    : PackageRequestRead(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                         scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                         commResult, replyDataLength, DataRead.usualKind)
    , m_nDataRequestFieldCount(DataRead.ownRequestColumns)
    , m_nDataReplyFieldCount(DataRead.ownReplyColumns)
{
}

PackageRequestReadData::PackageRequestReadData(QString deviceKey, uchar scrAddr, uchar desAddr,
                                               uchar deviceType, uchar portAddr,
                                               ushort scanBoardAddr, ushort highAddr,
                                               ushort lowAddr, uchar reserved2, int timeout,
                                               QString tag, int replyDataLength)
    : PackageRequestReadData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                             scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                             OrvexEnum::CommOk, replyDataLength)
{
}

PackageRequestReadData::PackageRequestReadData(QString deviceKey, uchar scrAddr, uchar desAddr,
                                               uchar deviceType, uchar portAddr,
                                               ushort scanBoardAddr, ushort highAddr,
                                               ushort lowAddr, uchar reserved2, int timeout,
                                               QString tag, QByteArray data, int replyDataLength)
    : PackageRequestReadData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                             scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                             OrvexEnum::CommOk, replyDataLength)
{
    m_data = std::move(data);
}

PackageRequestReadData::PackageRequestReadData(const PackageRequestReadData &other) = default;

PackageRequestReadData &PackageRequestReadData::operator=(const PackageRequestReadData &other)
{
    m_data = other.m_data;
    return *this;
}

PackageRequestReadData::~PackageRequestReadData() = default;

QByteArray PackageRequestReadData::data() const
{
    return m_data;
}

void PackageRequestReadData::setData(const QByteArray &data)
{
    m_data = data;
}

void PackageRequestReadData::AppendDataToPackage(bool isRequest, QByteArray *package)
{
    PackageRequestRead::AppendDataToPackage(isRequest, package);
    int length = getReplyDataLength();
    ByteWriter writer(package, BlockLengthSize + qint64(m_data.size()));
    ReadBlockPart{length, m_data}.payload(writer);
    writer.finish();
}

bool PackageRequestReadData::ParseDataFromPackage(bool isRequest, QByteArray package,
                                                  int startIndex, int *parsedLength)
{
    *parsedLength = 0;
    const int baseLength = parseRegisterPayload(isRequest, package, startIndex);
    return guarded([&] {
        ByteReader reader(package, wrapped(qint64(startIndex) + baseLength));
        int length = 0;
        ReadBlockPart block{length, m_data};
        block.lengthField(reader);
        setReplyDataLength(length);
        if (getReplyDataLength() >= 1)
            block.dataField(reader);
        else
            m_data.clear();
        *parsedLength = reader.distanceFrom(startIndex);
        return true;
    });
}

QString PackageRequestReadData::makePackageReply()
{
    int length = getReplyDataLength();
    const DataStringSource numbers{m_data, length};
    return continued(PackageRequestRead::makePackageReply(), ReadBlockPart{length, numbers});
}

QString PackageRequestReadData::makePackageRequest()
{
    return PackageRequestRead::makePackageRequest();
}

bool PackageRequestReadData::unPackageReply(QString text)
{
    const OwnColumns columns =
        replyColumns(DataRead, RegisterReadPart::Columns, m_nDataReplyFieldCount);
    int length = 0;
    QStringView numbers;
    if (!readReply<PackageRequestRead>(*this, text, columns, ReadBlockPart{length, numbers}))
        return false;
    setReplyDataLength(length);
    if (dataStringParts(numbers) != getReplyDataLength())
        return false;
    return readDataString(numbers, getReplyDataLength(), m_data);
}

bool PackageRequestReadData::unPackageRequest(QString text)
{
    return PackageRequestRead::unPackageRequest(text);
}

QByteArray PackageRequestReadData::ParseSendRequest_Linux()
{
    return makeLinuxRequest(*m_pPackageBasePri, getReplyDataLength(), m_data);
}

bool PackageRequestReadData::unPackageReply_Linux(QByteArray bytes)
{
    if (!unBasePackageReply_Linux(bytes))
        return false;
    return guarded([&] {
        setReplyDataLength(linuxReplyLength(bytes));
        const std::string_view data = linuxReplyData(bytes, getReplyDataLength());
        m_data.append(data.data(), static_cast<QByteArray::size_type>(data.size()));
        return true;
    });
}
