#include "classlayouts_p.h"

#include "checksum_p.h"

namespace KorvinInspect {

using Korvin::LinuxHeader;

void scanLinuxFrame(const QByteArray &frame, const MessageShape &shape,
                    Korvin::LayoutFields &fields, FieldSink &sink)
{
    FrameScanner scanner(frame, sink, ShortField::TakesItsBytes);
    fields.linuxHeader.walk(scanner);
    const int length = fields.linuxHeader.dataLength;
    // A request to read announces the data of its reply, but does not carry it.
    const bool carriesData =
        shape.direction == Direction::Reply || fields.common.readWriteCode != OrvexEnum::Read;
    const int checksum = qMax(0, static_cast<int>(frame.size()) - LinuxHeader::ChecksumSize);
    if (carriesData && length > 0) {
        const QByteArray body = QByteArray::fromRawData(frame.constData(), checksum);
        FrameScanner data(body, sink);
        data.goTo(scanner.position());
        if (Korvin::padsLinuxData(rowOf(shape)))
            data.paddedBlock("data", length, fields.data);
        else
            data.block("data", length, fields.data);
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
