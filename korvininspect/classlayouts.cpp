#include "classlayouts_p.h"

#include "checksum_p.h"

namespace KorvinInspect {

using Korvin::LinuxHeader;

void scanFrameAsRead(const QByteArray &frame, const MessageShape &shape, FieldSink &sink)
{
    scanFrame<FrameAsRead, FrameScanner>(frame, shape, sink);
}

void scanFrameAsWritten(const QByteArray &frame, const MessageShape &shape, FieldSink &sink)
{
    scanFrame<FrameAsWritten, WrittenFrameScanner>(frame, shape, sink);
}

void scanLinuxFrame(const QByteArray &frame, const MessageShape &shape, FieldSink &sink)
{
    FrameScanner scanner(frame, sink, ShortField::TakesItsBytes);
    Korvin::LayoutFields fields;
    LinuxHeader header{fields.common};
    header.walk(scanner);
    // A request to read announces the data of its reply.
    const bool carriesData =
        shape.direction == Direction::Reply || fields.common.readWriteCode != OrvexEnum::Read;
    const int checksum = qMax(0, static_cast<int>(frame.size()) - LinuxHeader::ChecksumSize);
    if (carriesData && header.dataLength > 0) {
        const QByteArray body = QByteArray::fromRawData(frame.constData(), checksum);
        FrameScanner data(body, sink);
        data.goTo(scanner.position());
        if (Korvin::padsLinuxData(rowOf(shape)))
            data.paddedBlock("data", header.dataLength, fields.data);
        else
            data.block("data", header.dataLength, fields.data);
    }
    scanner.goTo(checksum);
    const int sum = Korvin::additiveSum(frame, LinuxHeader::StartSize,
                                        qMax(0, checksum - LinuxHeader::StartSize));
    scanner.checksum("checksum", static_cast<quint16>(sum));
}

std::optional<ClassId> classOfType(QStringView word)
{
    for (std::size_t index = 0; index < std::size(Korvin::Classes); ++index) {
        const QStringView typeWord = Korvin::Classes[index].typeWord;
        if (!typeWord.isEmpty() && word == typeWord)
            return static_cast<ClassId>(index);
    }
    return {};
}

} // namespace KorvinInspect
