#include "linuxframe_p.h"

#include "bytecursors_p.h"
#include "checksum_p.h"
#include "layouts_p.h"

namespace Korvin {

QByteArray makeLinuxRequest(PackageBasePrivate &package, int length, const QByteArray &data)
{
    const bool isWrite = package.readWriteCode == OrvexEnum::Write;
    if (isWrite)
        length = qMax(length, 0);
    return guarded([&] {
        QByteArray frame;
        if (isWrite || package.readWriteCode == OrvexEnum::Read) {
            ByteWriter writer(&frame);
            LinuxHeader header{package, 0, static_cast<quint16>(length)};
            header.walk(writer);
        } else {
            frame.fill('\0', LinuxHeader::Size);
        }
        int extent = 0;
        if (isWrite && length > 0) {
            extent = length > MaxAnnouncedLength ? qMin(length, data.size()) : length;
            frame.append(data);
        }
        const qint64 checksum = qint64(LinuxHeader::Size) + extent;
        const qint64 end = checksum + LinuxHeader::ChecksumSize;
        if (end > frame.size())
            resizeWithZeros(frame, end);
        const int sum = additiveSum(frame, LinuxHeader::StartSize,
                                    static_cast<int>(checksum) - LinuxHeader::StartSize);
        int index = 0;
        PackageBase::SetBytesFromInt(&frame, static_cast<int>(checksum), LinuxHeader::ChecksumSize,
                                     sum, &index);
        return frame;
    });
}

int linuxReplyLength(const QByteArray &frame)
{
    LinuxFrameReader reader(frame);
    PackageBasePrivate ignored;
    LinuxHeader header{ignored};
    header.walk(reader);
    return header.dataLength;
}

QByteArray linuxReplyData(const QByteArray &frame, int length)
{
    const int available = frame.size() - LinuxHeader::Size - LinuxHeader::ChecksumSize;
    return frame.mid(LinuxHeader::Size, qBound(0, length, qMax(available, 0)));
}

} // namespace Korvin
