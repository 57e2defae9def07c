#include "include/packagerequestwritefile.h"

#include "ownpart_p.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace Korvin;

namespace {

constexpr ClassRow FileWrite = rowOf("PackageRequestWriteFile");
static_assert(!FileWrite.has(InShortReply), "the hooks below skip it in a short reply");

} // namespace

PackageRequestWriteFile::PackageRequestWriteFile()
    : m_nFileRequestFieldCount(FileWrite.ownRequestColumns)
    , m_nFileReplyFieldCount(FileWrite.ownReplyColumns)
{
}

PackageRequestWriteFile::PackageRequestWriteFile(QString deviceKey, uchar scrAddr, uchar desAddr,
                                                 uchar deviceType, uchar portAddr,
                                                 ushort scanBoardAddr, ushort highAddr,
                                                 ushort lowAddr, uchar reserved2, int timeout,
                                                 QString tag, OrvexEnum::CommResults commResult,
                                                 bool bBroadcast, QString fileNameWithPath,
                                                 int offset)
    : PackageRequestWrite(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                          scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                          commResult, bBroadcast, FileWrite.usualKind)
    , m_fileNameWithPath(std::move(fileNameWithPath))
    , m_nOffset(offset)
    , m_nFileRequestFieldCount(FileWrite.ownRequestColumns)
    , m_nFileReplyFieldCount(FileWrite.ownReplyColumns)
{
}

PackageRequestWriteFile::PackageRequestWriteFile(QString deviceKey, uchar scrAddr, uchar desAddr,
                                                 uchar deviceType, uchar portAddr,
                                                 ushort scanBoardAddr, ushort highAddr,
                                                 ushort lowAddr, uchar reserved2, int timeout,
                                                 QString tag, bool bBroadcast,
                                                 QString fileNameWithPath, int offset)
    : PackageRequestWriteFile(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                              scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                              OrvexEnum::CommOk, bBroadcast, std::move(fileNameWithPath), offset)
{
}

PackageRequestWriteFile::PackageRequestWriteFile(const PackageRequestWriteFile &other) = default;

PackageRequestWriteFile &
PackageRequestWriteFile::operator=(const PackageRequestWriteFile &other) = default;

PackageRequestWriteFile::~PackageRequestWriteFile() = default;

QString PackageRequestWriteFile::fileNameWithPath() const
{
    return m_fileNameWithPath;
}

void PackageRequestWriteFile::setFileNameWithPaht(const QString &fileNameWithPath)
{
    m_fileNameWithPath = fileNameWithPath;
}

bool PackageRequestWriteFile::isBroadcastRspToAllApp() const
{
    return m_bBroadcastRspToAllApp;
}

void PackageRequestWriteFile::set_isBroadcastRspToAllApp(bool isBroadcastRspToAllApp)
{
    m_bBroadcastRspToAllApp = isBroadcastRspToAllApp;
}

int PackageRequestWriteFile::Offset() const
{
    return m_nOffset;
}

int PackageRequestWriteFile::getPackageDataLength() const
{
    return guarded([this] {
        if (!QFile::exists(m_fileNameWithPath))
            return 0;
        return wrapped(QFileInfo(m_fileNameWithPath).size());
    });
}

void PackageRequestWriteFile::AppendDataToPackage(bool isRequest, QByteArray *package)
{
    PackageRequestWrite::AppendDataToPackage(isRequest, package);
    if (!isRequest || m_fileNameWithPath.isEmpty())
        return;
    ByteWriter writer(package);
    FileWritePart{m_fileNameWithPath, m_nOffset}.writtenPayload(writer);
    writer.finish();
}

bool PackageRequestWriteFile::ParseDataFromPackage(bool isRequest, QByteArray package,
                                                   int startIndex, int *parsedLength)
{
    *parsedLength = 0;
    const int baseLength = parseRegisterPayload(isRequest, package, startIndex);
    if (!isRequest)
        return true;
    return guarded([&] {
        ByteReader reader(package, wrapped(qint64(startIndex) + baseLength));
        FileWritePart{m_fileNameWithPath, m_nOffset}.payload(reader);
        *parsedLength = reader.distanceFrom(startIndex);
        return true;
    });
}

QString PackageRequestWriteFile::makePackageReply()
{
    return continued(PackageRequestWrite::makePackageReply(),
                     FileWritePart{m_fileNameWithPath, m_nOffset});
}

QString PackageRequestWriteFile::makePackageRequest()
{
    return continued(PackageRequestWrite::makePackageRequest(),
                     FileWritePart{m_fileNameWithPath, m_nOffset});
}

bool PackageRequestWriteFile::unPackageReply(QString text)
{
    return readReply<PackageRequestWrite>(
        *this, text, replyColumns(FileWrite, m_nReplyFieldCount, m_nFileReplyFieldCount),
        FileWritePart{m_fileNameWithPath, m_nOffset});
}

bool PackageRequestWriteFile::unPackageRequest(QString text)
{
    const OwnColumns columns = requestColumns(m_nRequestFieldCount, m_nFileRequestFieldCount);
    if (!readRequest<PackageRequestWrite>(*this, text, columns,
                                          FileWritePart{m_fileNameWithPath, m_nOffset})) {
        return false;
    }
    return guarded([this] {
        const qint64 remaining = QFileInfo(m_fileNameWithPath).size() - m_nOffset;
        setPartCount(partCount(remaining, getMaxPartSize()));
        return true;
    });
}
