#include "include/packagerequestreadfile.h"

#include "ownpart_p.h"

using namespace Korvin;

namespace {

constexpr ClassRow FileRead = rowOf("PackageRequestReadFile");

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
    appendPayload(FileRead, isRequest, package, FileReadPart{m_fileNameWithPath});
}

bool PackageRequestReadFile::ParseDataFromPackage(bool isRequest, QByteArray package,
                                                  int startIndex, int *parsedLength)
{
    *parsedLength = parseRegisterPayload(isRequest, package, startIndex);
    return readPayload(FileRead, isRequest, package, startIndex, parsedLength,
                       FileReadPart{m_fileNameWithPath});
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
    return readReply<PackageRequestRead>(
        *this, text, replyColumns(FileRead, RegisterReadPart::Columns, m_nFileReplyFieldCount),
        FileReadPart{m_fileNameWithPath});
}

bool PackageRequestReadFile::unPackageRequest(QString text)
{
    return readRequest<PackageRequestRead>(
        *this, text, requestColumns(RegisterReadPart::Columns, m_nFileRequestFieldCount),
        FileReadPart{m_fileNameWithPath});
}
