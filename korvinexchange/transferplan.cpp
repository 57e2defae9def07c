#include "transferplan_p.h"

#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>

#include <limits>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

using Kind = Transfer::Kind;

constexpr int WordBits = 16;

bool reads(Kind kind)
{
    return kind == Kind::ReadData || kind == Kind::ReadFile || kind == Kind::ReadMemory;
}

/// Returns whether all parts go through the same buffer.
bool goesThroughBuffer(Kind kind)
{
    return kind == Kind::WriteFile || kind == Kind::WriteMemory || kind == Kind::ReadMemory;
}

quint32 registerOf(const PackageBase &package)
{
    return quint32(package.getHighAddr()) << WordBits | package.getLowAddr();
}

/// Returns the offset in the file or memory where a transfer begins.
qint64 firstOffsetOf(const Transfer &transfer)
{
    const PackageBase &package = *transfer.package();
    switch (transfer.kind()) {
    case Kind::WriteFile:
        return static_cast<const PackageRequestWriteFile &>(package).Offset();
    case Kind::WriteMemory:
        return static_cast<const PackageRequestWriteMemData &>(package).offset();
    case Kind::ReadMemory:
        return static_cast<const PackageRequestReadMemData &>(package).offset();
    default:
        return 0;
    }
}

Verdict outOfRange(const char *field, const QString &expected, const QString &found)
{
    Verdict verdict;
    verdict.refusal = Refusal::OutOfRange;
    verdict.position = -1; // there is no message
    verdict.field = QString::fromLatin1(field);
    verdict.expected = expected;
    verdict.found = found;
    return verdict;
}

Verdict outOfRange(const char *field, qint64 least, qint64 most, qint64 found)
{
    return outOfRange(field, QStringLiteral("%1 to %2").arg(least).arg(most),
                      QString::number(found));
}

QString hexadecimal(qint64 address)
{
    return QLatin1String("0x") + QString::number(address, 16).toUpper();
}

} // namespace

TransferPlan::TransferPlan(const Transfer &transfer, bool emptiesBuffer)
    : m_transfer(transfer)
    , m_emptiesBuffer(emptiesBuffer)
    , m_total(reads(transfer.kind()) ? transfer.package()->getDataLength() : transfer.data().size())
    , m_partSize(transfer.package()->getMaxPartSize())
    , m_advances(transfer.package()->getIsRegisterAddrSelfIncreasing())
    , m_register(registerOf(*transfer.package()))
    , m_firstOffset(firstOffsetOf(transfer))
{
}

Verdict TransferPlan::check() const
{
    constexpr qint64 Most = std::numeric_limits<qint32>::max();
    if (m_total < 0)
        return outOfRange("replyDataLength", 0, Most, m_total);
    if (m_partSize < 1)
        return outOfRange("maxPartSize", 1, Most, m_partSize);
    constexpr qint64 Registers = qint64(1) << 32;
    const qint64 largest = qMin<qint64>(m_partSize, m_total);
    const qint64 used = goesThroughBuffer(m_transfer.kind()) || !m_advances ? largest : m_total;
    if (m_register > Registers - used) {
        return outOfRange(
            "lowAddr", QLatin1String("a register address of 0 to ") + hexadecimal(Registers - used),
            hexadecimal(m_register));
    }
    if (m_firstOffset > Most - m_total)
        return outOfRange("offset", 0, Most - m_total, m_firstOffset);
    return {};
}

int TransferPlan::partCount() const
{
    return static_cast<int>((m_total + m_partSize - 1) / m_partSize);
}

int TransferPlan::partAt(qint64 offset) const
{
    return static_cast<int>((offset + m_partSize - 1) / m_partSize);
}

int TransferPlan::stepCount() const
{
    switch (m_transfer.kind()) {
    case Kind::WriteData:
    case Kind::ReadData:
        return partCount();
    case Kind::ReadFile:
        return 1 + partCount();
    case Kind::WriteFile:
        if (m_total == 0)
            return m_emptiesBuffer ? 2 : 1;
        return 2 * partCount();
    default:
        return 2 * partCount();
    }
}

bool TransferPlan::waits(int step) const
{
    const bool isFileRead = m_transfer.kind() == Kind::ReadFile && step <= 1;
    return isFileRead || goesThroughBuffer(m_transfer.kind()) || !m_advances;
}

TransferStep TransferPlan::makeStep(int step) const
{
    const Kind kind = m_transfer.kind();
    if (kind == Kind::ReadFile && step == 0)
        return {makeControl({0, static_cast<int>(m_total)}), 0, 0, false};
    if (kind == Kind::ReadFile || !goesThroughBuffer(kind)) {
        const Part part = partOf(kind == Kind::ReadFile ? step - 1 : step);
        return {reads(kind) ? makeRead(part) : makeWrite(part), part.offset, part.size,
                reads(kind)};
    }
    // First the buffer, then the file or memory, and the reverse for reads; no buffer if it cannot
    // be emptied.
    const Part part = partOf(step / 2);
    const bool isSecond = step % 2 == 1 || stepCount() == 1;
    const int finishes = isSecond ? part.size : 0;
    if (reads(kind) == isSecond)
        return {reads(kind) ? makeRead(part) : makeWrite(part), part.offset, finishes, isSecond};
    return {makeControl(part), part.offset, finishes, false};
}

TransferPlan::Part TransferPlan::partOf(int index) const
{
    const qint64 offset = qint64(index) * m_partSize;
    return {offset, static_cast<int>(qMin<qint64>(m_partSize, m_total - offset))};
}

/// Makes the data write of a part; a broadcast if the transfer is one.
std::unique_ptr<PackageBase> TransferPlan::makeWrite(const Part &part) const
{
    const auto &whole = static_cast<const PackageRequestWrite &>(*m_transfer.package());
    const QByteArray data = m_transfer.data().mid(static_cast<int>(part.offset), part.size);
    std::unique_ptr<PackageBase> write;
    if (m_transfer.kind() == Kind::WriteData) {
        write = std::make_unique<PackageRequestWriteData>(
            static_cast<const PackageRequestWriteData &>(whole));
    } else if (whole.bBroadcast()) { // only a constructor can set it
        write = std::make_unique<PackageRequestWriteData>(QString(), 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                          QString(), true, QByteArray(), 0);
        *write = static_cast<const PackageBase &>(whole);
    } else {
        write = std::make_unique<PackageRequestWriteData>();
        *write = static_cast<const PackageBase &>(whole);
    }
    write->setData(data);
    write->setPackageDataLength(part.size);
    setRegister(write.get(), part.offset);
    return write;
}

std::unique_ptr<PackageBase> TransferPlan::makeRead(const Part &part) const
{
    auto read = std::make_unique<PackageRequestReadData>();
    static_cast<PackageBase &>(*read) = *m_transfer.package();
    read->setClientPackageType(OrvexEnum::DataPackage);
    read->setReplyDataLength(part.size);
    setRegister(read.get(), part.offset);
    return read;
}

/// Makes the file or memory request of a part.
std::unique_ptr<PackageBase> TransferPlan::makeControl(const Part &part) const
{
    const PackageBase &package = *m_transfer.package();
    const qint64 offset = m_firstOffset + part.offset;
    const Kind kind = m_transfer.kind();
    if (kind == Kind::ReadFile) {
        return std::make_unique<PackageRequestReadFile>(
            static_cast<const PackageRequestReadFile &>(package));
    }
    if (kind == Kind::ReadMemory) {
        auto read = std::make_unique<PackageRequestReadMemData>(
            static_cast<const PackageRequestReadMemData &>(package));
        read->setOffset(static_cast<long>(offset));
        read->setReplyDataLength(part.size);
        return read;
    }
    if (kind == Kind::WriteMemory) {
        auto write = std::make_unique<PackageRequestWriteMemData>(
            static_cast<const PackageRequestWriteMemData &>(package));
        write->setOffset(static_cast<long>(offset));
        write->setPackageDataLength(part.size);
        return write;
    }
    const auto &file = static_cast<const PackageRequestWriteFile &>(package);
    if (part.offset == 0)
        return std::make_unique<PackageRequestWriteFile>(file);
    // Only a constructor can set the offset.
    auto write = std::make_unique<PackageRequestWriteFile>(
        QString(), 0, 0, 0, 0, 0, 0, 0, 0, 0, QString(), file.bBroadcast(), file.fileNameWithPath(),
        static_cast<int>(offset));
    static_cast<PackageBase &>(*write) = package;
    return write;
}

/// Advances the register address by the offset of a part. Does not advance it for a buffer, which
/// all parts share, or if the register does not advance.
void TransferPlan::setRegister(PackageBase *package, qint64 offset) const
{
    if (goesThroughBuffer(m_transfer.kind()) || !m_advances)
        return;
    const quint32 address = m_register + static_cast<quint32>(offset);
    package->setHighAddr(static_cast<ushort>(address >> WordBits));
    package->setLowAddr(static_cast<ushort>(address));
}

} // namespace KorvinExchange
