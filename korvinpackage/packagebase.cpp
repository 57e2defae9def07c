#include "packagebase_p.h"

#include "bytecursors_p.h"
#include "checksum_p.h"
#include "codenames_p.h"
#include "layouts_p.h"
#include "recordcursors_p.h"

#include <QtCore/QMessageLogger>

#include <new>

using namespace Korvin;

namespace {

// Log messages name this file and these lines as their origin; the real lines do not matter.
constexpr char LogFile[] = "packagebase";
constexpr int MissingRecordLine = 466;
constexpr int ShortCopyLine = 530;

/// Room for a request frame and the payload that hooks append, without texts and data.
constexpr int FixedFieldsRoom = 80;

/// Returns the number of bytes to allocate for a payload of an announced length.
int roomFor(int payloadLength)
{
    constexpr int MostExpected = 64 * 1024;
    constexpr int Fields = 16; // room for the other fields of a payload with data
    return Fields + qBound(0, payloadLength, MostExpected);
}

QByteArray makeHeader(PackageBasePrivate &fields, int payloadLength)
{
    return guarded([&] {
        const qint64 texts = qint64(fields.deviceKey.size()) + fields.tag.size();
        QByteArray frame;
        ByteWriter writer(&frame, FixedFieldsRoom + texts + roomFor(payloadLength));
        CommonPart{fields}.header(writer);
        writer.finish();
        return frame;
    });
}

/// Makes a short reply, or a full reply with the request inside, without the payload that hooks
/// append after the results.
QByteArray makeReply(PackageBase &package, PackageBasePrivate &fields, bool full, int payloadLength)
{
    return guarded([&] {
        QByteArray frame;
        if (!full) {
            ByteWriter writer(&frame, CommonPart::ShortReplySize + roomFor(payloadLength));
            CommonPart{fields}.shortReply(writer);
            writer.finish();
            return frame;
        }
        frame = package.MackPackageRequest();
        if (isOutOfMemory(frame))
            return frame;
        // The results follow the request. If an override made an empty request, the acknowledge
        // code is byte 0, and the marker replaces the byte after it.
        const int markerPosition = frame.isEmpty() ? 1 : 0;
        ByteWriter writer(&frame, CommonPart::ResultsSize + roomFor(payloadLength));
        CommonPart{fields}.fullReplyResults(writer);
        writer.finish();
        frame.data()[markerPosition] = FullReplyMarker;
        return frame;
    });
}

/// Reads the header of a request frame at @p startIndex and sets @p length to its length.
bool readHeader(PackageBasePrivate &fields, const QByteArray &data, int startIndex, int *length)
{
    *length = 0;
    return guarded([&] {
        ByteReader reader(data, startIndex);
        CommonPart{fields}.header(reader);
        *length = reader.distanceFrom(startIndex);
        return true;
    });
}

} // namespace

namespace Korvin {

QByteArray makeRequestFrame(PackageBase &package, PackageBasePrivate &fields, int payloadLength)
{
    return guarded([&] {
        QByteArray frame = makeHeader(fields, payloadLength);
        if (!isOutOfMemory(frame))
            package.AppendDataToPackage(true, &frame);
        return frame;
    });
}

bool readRequestFrame(PackageBase &package, PackageBasePrivate &fields, QByteArray data,
                      int startIndex, int *parsedLength)
{
    *parsedLength = 0;
    int baseLength = 0;
    if (!readHeader(fields, data, startIndex, &baseLength))
        return false;
    int payloadLength = 0;
    package.ParseDataFromPackage(true, std::move(data), wrapped(qint64(startIndex) + baseLength),
                                 &payloadLength);
    *parsedLength = wrapped(qint64(baseLength) + payloadLength);
    return true;
}

QByteArray makeReplyFrame(PackageBase &package, PackageBasePrivate &fields, bool withRequest,
                          int payloadLength)
{
    return guarded([&] {
        QByteArray frame = makeReply(package, fields, withRequest, payloadLength);
        if (!isOutOfMemory(frame))
            package.AppendDataToPackage(withRequest, &frame);
        return frame;
    });
}

bool readReplyFrame(PackageBase &package, QByteArray data, int startIndex, int *parsedLength,
                    bool *withRequest)
{
    *parsedLength = 0;
    int baseLength = 0;
    if (!package.PackageBase::UnPackageReply(data, startIndex, &baseLength, withRequest))
        return false;
    int payloadLength = 0;
    package.ParseDataFromPackage(*withRequest, std::move(data),
                                 wrapped(qint64(startIndex) + baseLength), &payloadLength);
    *parsedLength = wrapped(qint64(baseLength) + payloadLength);
    return true;
}

QByteArray makeLinuxRequest(PackageBasePrivate &fields, int length, const QByteArray &data)
{
    const bool isWrite = fields.readWriteCode == OrvexEnum::Write;
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
        if (isWrite || fields.readWriteCode == OrvexEnum::Read)
            LinuxHeader{fields, 0, static_cast<quint16>(length)}.walk(writer);
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
    reader.length("dataLength", length);
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

quint64 PackageBase::SERIALNUM = 1;

PackageBase::FieldsOwner::FieldsOwner()
    : m_fields(new (m_memory) PackageBasePrivate)
{
    static_assert(sizeof(PackageBasePrivate) <= sizeof m_memory);
    static_assert(alignof(PackageBasePrivate) <= alignof(quint64));
}

PackageBase::FieldsOwner::FieldsOwner(const FieldsOwner &other)
    : m_fields(new (m_memory) PackageBasePrivate(*other))
{
}

PackageBase::FieldsOwner::~FieldsOwner()
{
    reset();
}

void PackageBase::FieldsOwner::reset()
{
    if (m_fields)
        m_fields->~PackageBasePrivate();
    m_fields = nullptr;
}

PackageBase::FieldsOwner &PackageBase::FieldsOwner::operator=(std::nullptr_t)
{
    reset();
    return *this;
}

PackageBase::PackageBase() = default;

PackageBase::PackageBase(QString deviceKey, uchar ackCode, uchar scrAddr, uchar desAddr,
                         uchar deviceType, uchar portAddr, ushort scanBoardAddr, ushort highAddr,
                         ushort lowAddr, OrvexEnum::ReadWriteCode readWriteCode, uchar reserved2,
                         int timeout, QString tag, OrvexEnum::CommResults commResult,
                         bool isRegisterAddrSelfIncreasing)
    : PackageBase()
{
    m_pPackageBasePri->serialNum = makeSerialNum();
    m_pPackageBasePri->deviceKey = std::move(deviceKey);
    m_pPackageBasePri->ackCode = ackCode;
    m_pPackageBasePri->scrAddr = scrAddr;
    m_pPackageBasePri->desAddr = desAddr;
    m_pPackageBasePri->deviceType = deviceType;
    m_pPackageBasePri->portAddr = portAddr;
    m_pPackageBasePri->scanBoardAddr = scanBoardAddr;
    m_pPackageBasePri->highAddr = highAddr;
    m_pPackageBasePri->lowAddr = lowAddr;
    m_pPackageBasePri->readWriteCode = readWriteCode;
    m_pPackageBasePri->reserved2 = reserved2;
    m_pPackageBasePri->timeout = timeout;
    m_pPackageBasePri->tag = std::move(tag);
    m_pPackageBasePri->commResult = commResult;
    m_pPackageBasePri->isRegisterAddrSelfIncreasing = isRegisterAddrSelfIncreasing;
}

PackageBase::PackageBase(QString deviceKey, uchar scrAddr, uchar desAddr, uchar deviceType,
                         uchar portAddr, ushort scanBoardAddr, ushort highAddr, ushort lowAddr,
                         uchar reserved2, int timeout, QString tag,
                         OrvexEnum::CommResults commResult,
                         OrvexEnum::ClientPackageType clientPackageType,
                         OrvexEnum::ReadWriteCode readWriteCode, bool isRegisterAddrSelfIncreasing)
    : PackageBase(std::move(deviceKey), 0, scrAddr, desAddr, deviceType, portAddr, scanBoardAddr,
                  highAddr, lowAddr, readWriteCode, reserved2, timeout, std::move(tag), commResult,
                  isRegisterAddrSelfIncreasing)
{
    m_pPackageBasePri->clientPackageType = clientPackageType;
}

PackageBase::PackageBase(const PackageBase &other)
    : QObject()
    , m_pPackageBasePri(other.m_pPackageBasePri)
{
}

PackageBase &PackageBase::operator=(const PackageBase &other)
{
    *m_pPackageBasePri = *other.m_pPackageBasePri;
    return *this;
}

PackageBase::~PackageBase() = default;

void PackageBase::clear(PackageBase *package)
{
    if (!package)
        return;
    disconnect(package, SIGNAL(CompleteRequestEvent(void *, PackageBase *)), nullptr, nullptr);
    disconnect(package, SIGNAL(BeginRequestEvent(void *, PackageBase *)), nullptr, nullptr);
    delete package;
}

quint64 PackageBase::makeSerialNum()
{
    if (++SERIALNUM > 255)
        SERIALNUM = 1;
    return SERIALNUM;
}

quint64 PackageBase::getSerialNum() const
{
    if (m_pPackageBasePri)
        return m_pPackageBasePri->serialNum;
    const char *const function = Q_FUNC_INFO;
    return guarded([function]() -> quint64 {
        QMessageLogger(LogFile, MissingRecordLine, function)
            .critical("ERROR!!!  m_pPackageBasePri is nullptr!!! ");
        return 0;
    });
}

void PackageBase::setSerialNum(quint64 serialNum)
{
    m_pPackageBasePri->serialNum = serialNum;
}

QString PackageBase::getDeviceKey() const
{
    return m_pPackageBasePri->deviceKey;
}

void PackageBase::setDeviceKey(QString deviceKey)
{
    m_pPackageBasePri->deviceKey = std::move(deviceKey);
}

QString PackageBase::getTag() const
{
    return m_pPackageBasePri->tag;
}

void PackageBase::setTag(QString tag)
{
    m_pPackageBasePri->tag = std::move(tag);
}

QString PackageBase::getTagProto() const
{
    return m_pPackageBasePri->tagProto;
}

void PackageBase::setTagProto(QString tagProto)
{
    m_pPackageBasePri->tagProto = std::move(tagProto);
}

QString PackageBase::getSeverConnectionKey()
{
    return m_serverConnectionKey;
}

void PackageBase::setServerConnectionKey(const QString &serverConnectionKey)
{
    m_serverConnectionKey = serverConnectionKey;
}

bool PackageBase::operator<(const PackageBase &other)
{
    return m_pPackageBasePri->serialNum < other.m_pPackageBasePri->serialNum;
}

uchar PackageBase::getScrAddr() const
{
    return m_pPackageBasePri->scrAddr;
}

void PackageBase::setScrAddr(char scrAddr)
{
    m_pPackageBasePri->scrAddr = static_cast<quint8>(scrAddr);
}

ushort PackageBase::getDesAddr() const
{
    return m_pPackageBasePri->desAddr;
}

void PackageBase::setDesAddr(char desAddr)
{
    m_pPackageBasePri->desAddr = static_cast<quint8>(desAddr);
}

int PackageBase::getDeviceType() const
{
    return m_pPackageBasePri->deviceType;
}

void PackageBase::setDeviceType(int deviceType)
{
    m_pPackageBasePri->deviceType = deviceType;
}

uchar PackageBase::getPortAddr() const
{
    return m_pPackageBasePri->portAddr;
}

void PackageBase::setPortAddr(char portAddr)
{
    m_pPackageBasePri->portAddr = static_cast<quint8>(portAddr);
}

int PackageBase::getScanBoardAddr() const
{
    return m_pPackageBasePri->scanBoardAddr;
}

void PackageBase::setScanBoardAddr(int scanBoardAddr)
{
    m_pPackageBasePri->scanBoardAddr = static_cast<quint16>(scanBoardAddr);
}

ushort PackageBase::getHighAddr() const
{
    return m_pPackageBasePri->highAddr;
}

void PackageBase::setHighAddr(ushort highAddr)
{
    m_pPackageBasePri->highAddr = highAddr;
}

ushort PackageBase::getLowAddr() const
{
    return m_pPackageBasePri->lowAddr;
}

void PackageBase::setLowAddr(ushort lowAddr)
{
    m_pPackageBasePri->lowAddr = lowAddr;
}

OrvexEnum::ReadWriteCode PackageBase::getReadWriteCode() const
{
    return m_pPackageBasePri->readWriteCode;
}

void PackageBase::setReadWriteCode(OrvexEnum::ReadWriteCode readWriteCode)
{
    m_pPackageBasePri->readWriteCode = readWriteCode;
}

int PackageBase::getReserved2() const
{
    return m_pPackageBasePri->reserved2;
}

void PackageBase::setReserved2(int reserved2)
{
    m_pPackageBasePri->reserved2 = reserved2;
}

bool PackageBase::getIsRegisterAddrSelfIncreasing() const
{
    return m_pPackageBasePri->isRegisterAddrSelfIncreasing;
}

void PackageBase::setIsRegisterAddrSelfIncreasing(bool isRegisterAddrSelfIncreasing)
{
    m_pPackageBasePri->isRegisterAddrSelfIncreasing = isRegisterAddrSelfIncreasing;
}

int PackageBase::getTimeout() const
{
    return m_pPackageBasePri->timeout;
}

void PackageBase::setTimeout(int timeout)
{
    m_pPackageBasePri->timeout = timeout;
}

int PackageBase::getMaxPartSize() const
{
    return m_pPackageBasePri->maxPartSize;
}

void PackageBase::setMaxPartSize(int maxPartSize)
{
    m_pPackageBasePri->maxPartSize = maxPartSize;
}

int PackageBase::getPartCount() const
{
    return m_pPackageBasePri->partCount;
}

void PackageBase::setPartCount(int partCount)
{
    m_pPackageBasePri->partCount = partCount;
}

int PackageBase::getCurPartIndex() const
{
    return m_pPackageBasePri->curPartIndex;
}

void PackageBase::setCurPartIndex(int curPartIndex)
{
    m_pPackageBasePri->curPartIndex = curPartIndex;
}

bool PackageBase::partSendComplete(int sentParts)
{
    return sentParts >= m_pPackageBasePri->partCount;
}

OrvexEnum::ClientPackageType PackageBase::getClientPackageType() const
{
    return m_pPackageBasePri->clientPackageType;
}

void PackageBase::setClientPackageType(OrvexEnum::ClientPackageType clientPackageType)
{
    m_pPackageBasePri->clientPackageType = clientPackageType;
}

bool PackageBase::getSubcribeHardware()
{
    return m_pPackageBasePri->subcribeHardware;
}

void PackageBase::setSubcribeHardware(bool subcribeHardware)
{
    m_pPackageBasePri->subcribeHardware = subcribeHardware;
}

void *PackageBase::getUserToken() const
{
    return m_pPackageBasePri->userToken;
}

void PackageBase::setUserToken(void *userToken)
{
    m_pPackageBasePri->userToken = userToken;
}

KORVIN_LINUX_CLIENT::PackageTimerOut *PackageBase::getTimeOutTimer() const
{
    return m_pPackageBasePri->timeOutTimer;
}

void PackageBase::setTimeOutTimer(KORVIN_LINUX_CLIENT::PackageTimerOut *timeOutTimer)
{
    m_pPackageBasePri->timeOutTimer = timeOutTimer;
}

uint PackageBase::getAckCode() const
{
    return m_pPackageBasePri->ackCode;
}

void PackageBase::setAckCode(uint ackCode)
{
    m_pPackageBasePri->ackCode = ackCode;
}

OrvexEnum::CommResults PackageBase::getCommResult() const
{
    return m_pPackageBasePri->commResult;
}

void PackageBase::setCommResult(OrvexEnum::CommResults commResult)
{
    m_pPackageBasePri->commResult = commResult;
}

OrvexEnum::PackageResults PackageBase::getPackResult() const
{
    return m_pPackageBasePri->packResult;
}

void PackageBase::setPackResult(OrvexEnum::PackageResults packResult)
{
    m_pPackageBasePri->packResult = packResult;
}

bool PackageBase::isPackageSuccess()
{
    return m_pPackageBasePri->commResult == OrvexEnum::CommOk
        && m_pPackageBasePri->packResult == OrvexEnum::PackOk && m_pPackageBasePri->ackCode == 0;
}

bool PackageBase::ArrayCopy(QByteArray sourceArray, int sourceIndex, QByteArray *destination,
                            int destIndex, int length)
{
    const char *const function = Q_FUNC_INFO;
    return guarded([&] {
        if (sourceArray.size() < qint64(sourceIndex) + length) {
            // "长度小于" and "与length之和" in GBK: "shorter than", "and the sum of length".
            QMessageLogger(LogFile, ShortCopyLine, function)
                .debug("%s",
                       "sourceArray \xB3\xA4\xB6\xC8\xD0\xA1\xD3\xDA sourceIndex\xD3\xEB"
                       "length\xD6\xAE\xBA\xCD");
            return false;
        }
        if (length <= 0)
            return true;
        if (sourceIndex < 0 || destIndex < 0)
            return false;
        const qint64 end = qint64(destIndex) + length;
        if (end > destination->size())
            resizeWithZeros(*destination, end);
        std::memcpy(destination->data() + destIndex, sourceArray.constData() + sourceIndex,
                    static_cast<size_t>(length));
        return true;
    });
}

bool PackageBase::SetBytesFromInt(QByteArray *array, int start, int count, int value, int *index)
{
    const qint64 end = qint64(start) + count;
    *index = wrapped(end);
    if (end - 1 > array->size() || count <= 0 || start < 0)
        return false;
    return guarded([&] {
        if (end > array->size())
            resizeWithZeros(*array, end);
        char *field = array->data() + start;
        for (int i = 0; i < count; ++i)
            field[i] = littleEndianByte(static_cast<quint32>(value), i);
        return true;
    });
}

int PackageBase::GetVauleFromBytes(QByteArray array, int start, int count, int *index)
{
    return littleEndianField(array, start, count, index);
}

void PackageBase::calcRevise(QByteArray data, int start, int length, int *revise)
{
    *revise = additiveSum(data, start, length);
}

bool PackageBase::ReviseOk(QByteArray data, int start, int length)
{
    return checksumHolds(data, start, length, [&data](int bodyStart, int bodyLength) {
        return additiveSum(data, bodyStart, bodyLength);
    });
}

int PackageBase::getDataLength() const
{
    return 0;
}

QByteArray PackageBase::data() const
{
    return {};
}

void PackageBase::setData(const QByteArray &) { }

void PackageBase::setPackageDataLength(int) { }

int PackageBase::getPackageDataLength() const
{
    return 0;
}

QByteArray PackageBase::MackPackageRequest()
{
    return makeHeader(*m_pPackageBasePri, 0);
}

bool PackageBase::UnPackageRequest(QByteArray data, int startIndex, int *index)
{
    return readHeader(*m_pPackageBasePri, data, startIndex, index);
}

QByteArray PackageBase::MackPackageReply(bool full)
{
    return makeReply(*this, *m_pPackageBasePri, full, 0);
}

bool PackageBase::UnPackageReply(QByteArray data, int startIndex, int *index, bool *full)
{
    *index = 0;
    // The first byte of the array decides, even if the frame begins later.
    *full = byteAt(data, 0) != ShortReplyMarker;
    if (!*full) {
        ByteReader reader(data, startIndex);
        CommonPart{*m_pPackageBasePri}.shortReply(reader);
        *index = CommonPart::ShortReplySize;
        return true;
    }
    int requestLength = 0;
    if (!UnPackageRequest(data, startIndex, &requestLength))
        return false;
    ByteReader reader(data, wrapped(qint64(startIndex) + requestLength));
    CommonPart{*m_pPackageBasePri}.results(reader);
    *index = reader.distanceFrom(startIndex);
    return true;
}

void PackageBase::AppendDataToPackage(bool, QByteArray *) { }

bool PackageBase::ParseDataFromPackage(bool, QByteArray, int, int *parsedLength)
{
    *parsedLength = 0;
    return true;
}

QString PackageBase::makePackageReply()
{
    return continued(makePackage(), AckColumn{m_pPackageBasePri->ackCode});
}

QString PackageBase::makePackageRequest()
{
    return makePackage();
}

bool PackageBase::unPackageReply(void *, int)
{
    return true;
}

bool PackageBase::unPackageReply(QString text)
{
    RecordReader record(text, CommonPart::ReplyColumns);
    // unPackage() would accept a record that only lacks the acknowledge code, and change the
    // package.
    if (record.columns() == CommonPart::RequestColumns)
        return false;
    return unPackage(text) && record.isComplete()
        && record.read(CommonPart::RequestColumns, AckColumn{m_pPackageBasePri->ackCode});
}

bool PackageBase::unPackageRequest(QString text)
{
    return unPackage(text);
}

bool PackageBase::unPackage(QString text)
{
    RecordReader record(text, CommonPart::RequestColumns);
    return record.isComplete() && record.read(0, CommonPart{*m_pPackageBasePri});
}

bool PackageBase::unPackage(void *, int)
{
    return true;
}

bool PackageBase::unBasePackageReply_Linux(QByteArray bytes)
{
    if (!guarded([&] { return ReviseOk(bytes, 0, checkedSize(bytes.size())); }))
        return false;
    LinuxFrameReader reader(bytes);
    LinuxHeader header{*m_pPackageBasePri};
    header.walk(reader);
    m_pPackageBasePri->commResult = static_cast<OrvexEnum::CommResults>(header.status + 1);
    m_pPackageBasePri->ackCode = static_cast<quint32>(header.status);
    m_pPackageBasePri->packResult = static_cast<OrvexEnum::PackageResults>(header.status);
    return true;
}

QString PackageBase::makePackage()
{
    return guarded([this] {
        RecordWriter record;
        CommonPart{*m_pPackageBasePri}.columns(record);
        return record.take();
    });
}

QString PackageBase::GetCommResultsToStr(OrvexEnum::CommResults result)
{
    return nameOf(CommResultNames, result).toString();
}

OrvexEnum::CommResults PackageBase::GetCommResults(QString name)
{
    return codeOf(CommResultNames, name, OrvexEnum::CommOk);
}

QString PackageBase::GetPackageResultsToStr(OrvexEnum::PackageResults result)
{
    return nameOf(PackageResultNames, result).toString();
}

OrvexEnum::PackageResults PackageBase::GetPackageResultsStr(QString name)
{
    return codeOf(PackageResultNames, name, OrvexEnum::PackOk);
}
