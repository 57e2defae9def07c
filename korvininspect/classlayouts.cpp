#include "classlayouts_p.h"

#include "checksum_p.h"

namespace KorvinInspect {

using Korvin::CommonPart;
using Korvin::LinuxHeader;

namespace {

// The columns that a register request has of its own.
constexpr int RegisterColumns = Korvin::RegisterReadPart::Columns;

int ownColumns(const MessageShape &shape)
{
    switch (shape.classId) {
    case ClassId::PackageRequestReadData:
        return shape.direction == Direction::Reply ? 2 : 0;
    case ClassId::PackageRequestReadFile:
    case ClassId::PackageRequestReadMemData:
        return 1;
    case ClassId::PackageRequestWriteData:
    case ClassId::PackageRequestWriteIP:
    case ClassId::PackageRequestWriteFile:
    case ClassId::PackageRequestWriteMemData:
        return 2;
    default:
        return 0;
    }
}

} // namespace

void scanLinuxFrame(const QByteArray &frame, const MessageShape &shape, FieldSink &sink)
{
    FrameScanner scanner(frame, sink, ShortField::TakesItsBytes);
    PackageBasePrivate common;
    LinuxHeader header{common};
    header.walk(scanner);
    // A request to read announces the data of its reply.
    const bool carriesData =
        shape.direction == Direction::Reply || common.readWriteCode != OrvexEnum::Read;
    const int checksum = qMax(0, static_cast<int>(frame.size()) - LinuxHeader::ChecksumSize);
    if (carriesData && header.dataLength > 0) {
        const QByteArray body = QByteArray::fromRawData(frame.constData(), checksum);
        FrameScanner data(body, sink);
        data.setPosition(scanner.position());
        data.block("data", header.dataLength, body);
    }
    scanner.setPosition(checksum);
    const int sum = Korvin::additiveSum(frame, LinuxHeader::StartSize,
                                        qMax(0, checksum - LinuxHeader::StartSize));
    scanner.checksum("checksum", static_cast<quint16>(sum));
}

int neededColumns(const MessageShape &shape)
{
    const bool reply = shape.direction == Direction::Reply;
    if (shape.classId == ClassId::SpecialPackageRequest && !reply)
        return 3;
    const int common = reply ? CommonPart::ReplyColumns : CommonPart::RequestColumns;
    const bool isRegister = isRead(shape.classId) || isWrite(shape.classId);
    return common + (isRegister ? RegisterColumns : 0) + ownColumns(shape);
}

int writtenColumns(const MessageShape &shape)
{
    const bool specialReply =
        shape.classId == ClassId::SpecialPackageRequest && shape.direction == Direction::Reply;
    return specialReply ? 4 : neededColumns(shape);
}

std::optional<ClassId> classOfType(QStringView word)
{
    for (const PackageClass &listed : packageClasses()) {
        if (!listed.combinationType.isEmpty() && word == listed.combinationType)
            return listed.id;
    }
    return {};
}

} // namespace KorvinInspect
