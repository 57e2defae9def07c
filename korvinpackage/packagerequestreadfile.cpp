#include "include/packagerequestreadfile.h"

#include "bytecursors_p.h"
#include "layouts_p.h"
#include "recordcursors_p.h"

using namespace Korvin;

namespace {

constexpr ClassRow FileRead = rowOf("PackageRequestReadFile");
static_assert(FileRead.has(InShortReply), "the hooks below write and read it in every frame");

} // namespace

PackageRequestReadFile::PackageRequestReadFile()
    : m_nFileRequestFieldCount(FileRead.ownRequestColumns)
    , m_nFileReplyFieldCount(FileRead.ownReplyColumns)
{
}

PackageRequestReadFile::PackageRequestReadFile(QString deviceKey, uchar scrAddr, uchar desAddr,
                                               uchar deviceType, uchar portAddr,
                                               ushort scanBoardAddr, ushort highAddr,
                                               ushort lowAddr, uchar reserved2, int timeout,
                                               QString tag, OrvexEnum::CommResults commResult,
                                               int replyDataLength, QString fileNameWithPath)
    : PackageRequestRead(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                         scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                         commResult, replyDataLength, FileRead.usualKind)
    , m_nFileRequestFieldCount(FileRead.ownRequestColumns)
    , m_nFileReplyFieldCount(FileRead.ownReplyColumns)
    , m_fileNameWithPath(std::move(fileNameWithPath))
{
}

PackageRequestReadFile::PackageRequestReadFile(QString deviceKey, uchar scrAddr, uchar desAddr,
                                               uchar deviceType, uchar portAddr,
                                               ushort scanBoardAddr, ushort highAddr,
                                               ushort lowAddr, uchar reserved2, int timeout,
                                               QString tag, int replyDataLength,
                                               QString fileNameWithPath)
    : PackageRequestReadFile(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                             scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                             OrvexEnum::CommOk, replyDataLength, std::move(fileNameWithPath))
{
}

PackageRequestReadFile::PackageRequestReadFile(const PackageRequestReadFile &other) = default;

PackageRequestReadFile &
PackageRequestReadFile::operator=(const PackageRequestReadFile &other) = default;

PackageRequestReadFile::~PackageRequestReadFile() = default;

QString PackageRequestReadFile::fileNameWithPath() const
{
    return m_fileNameWithPath;
}

void PackageRequestReadFile::setFileNameWithPath(const QString &fileNameWithPath)
{
    m_fileNameWithPath = fileNameWithPath;
}

bool PackageRequestReadFile::isBroadcastRspToAllApp() const
{
    return m_bBroadcastRspToAllApp;
}

void PackageRequestReadFile::set_isBroadcastRspToAllApp(bool isBroadcastRspToAllApp)
{
    m_bBroadcastRspToAllApp = isBroadcastRspToAllApp;
}

void PackageRequestReadFile::AppendDataToPackage(bool isRequest, QByteArray *package)
{
    PackageRequestRead::AppendDataToPackage(isRequest, package);
    ByteWriter writer(package);
    FileReadPart{m_fileNameWithPath}.payload(writer);
    writer.finish();
}

bool PackageRequestReadFile::ParseDataFromPackage(bool isRequest, QByteArray package,
                                                  int startIndex, int *parsedLength)
{
    const int baseLength = parseRegisterPayload(isRequest, package, startIndex);
    *parsedLength = baseLength;
    return guarded([&] {
        ByteReader reader(package, wrapped(qint64(startIndex) + baseLength));
        FileReadPart{m_fileNameWithPath}.payload(reader);
        *parsedLength = reader.distanceFrom(startIndex);
        return true;
    });
}

QString PackageRequestReadFile::makePackageReply()
{
    return continued(PackageRequestRead::makePackageReply(), FileReadPart{m_fileNameWithPath});
}

QString PackageRequestReadFile::makePackageRequest()
{
    return continued(PackageRequestRead::makePackageRequest(), FileReadPart{m_fileNameWithPath});
}

bool PackageRequestReadFile::unPackageReply(QString text)
{
    RecordReader record(
        text, CommonPart::ReplyColumns + RegisterReadPart::Columns + m_nFileReplyFieldCount);
    if (!record.isComplete() || !PackageRequestRead::unPackageReply(text))
        return false;
    return record.read(countedCommonColumns(FileRead) + RegisterReadPart::Columns,
                       FileReadPart{m_fileNameWithPath});
}

bool PackageRequestReadFile::unPackageRequest(QString text)
{
    constexpr int BaseColumns = CommonPart::RequestColumns + RegisterReadPart::Columns;
    RecordReader record(text, BaseColumns + m_nFileRequestFieldCount);
    if (!record.isComplete() || !PackageRequestRead::unPackageRequest(text))
        return false;
    return record.read(BaseColumns, FileReadPart{m_fileNameWithPath});
}
