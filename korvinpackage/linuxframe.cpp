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
        int extent = 0;
        if (isWrite)
            extent = length > MaxAnnouncedLength ? qMin(length, checkedSize(data.size())) : length;
        const qint64 checksum = qint64(LinuxHeader::Size) + extent;
        const qint64 end = checksum + LinuxHeader::ChecksumSize;

        QByteArray frame;
        ByteWriter writer(&frame, qMax(end, qint64(LinuxHeader::Size) + data.size()));
        if (isWrite || package.readWriteCode == OrvexEnum::Read)
            LinuxHeader{package, 0, static_cast<quint16>(length)}.walk(writer);
        else
            writer.zeros(LinuxHeader::Size);
        if (isWrite && length > 0)
            writer.block("data", length, data);
        writer.zeros(static_cast<int>(qMax<qint64>(end - writer.size(), 0)));
        writer.finish();
        const int sum = additiveSum(frame, LinuxHeader::StartSize,
                                    static_cast<int>(checksum) - LinuxHeader::StartSize);
        storeLittleEndian<LinuxHeader::ChecksumSize>(frame.data() + checksum,
                                                     static_cast<quint32>(sum));
        return frame;
    });
}

int linuxReplyLength(const QByteArray &frame)
{
    LinuxFrameReader reader(frame, LinuxHeader::LengthPosition);
    quint16 length = 0;
    reader.u16("dataLength", length);
    return length;
}

std::string_view linuxReplyData(const QByteArray &frame, int length)
{
    const qint64 available = frame.size() - LinuxHeader::Size - LinuxHeader::ChecksumSize;
    if (available <= 0)
        return {};
    return {frame.constData() + LinuxHeader::Size,
            static_cast<size_t>(qMax<qint64>(0, qMin<qint64>(length, available)))};
}

} // namespace Korvin
