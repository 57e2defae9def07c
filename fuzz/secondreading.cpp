#include "secondreading.h"

#include "fuzztarget.h"

#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwriteip.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

#include <optional>

using namespace KorvinInspect;

namespace {

QStringList words(const QByteArray &list)
{
    return QString::fromLatin1(list).split(QLatin1Char(' '));
}

// The names of codes, at the index of their number.
const QStringList Kinds = words("data file memData");
const QStringList CommNames =
    words("pending ok crcErr lengthErr portErr timeout codeErr forcedCancel");
const QStringList PackNames =
    words("ok fileErr memErr fileDeleteErr directoryCreateErr invalidPort parseFailure "
          "messageDisconnect forceCancel sendError parsePackAddrFailure"
          + QByteArray(245 - 10, ' ') // there are no codes from 11 to 244
          + "failure disConnect fileNoExist fileReadFailure fileCreatFailure fileWriteFailure "
            "deviceSpaceNoEnough cancelWait cancel abort timeOut");

/// Returns the code of a name, or @p unknown.
int codeOf(const QStringList &names, const QString &name, int unknown)
{
    const int code = name.isEmpty() ? -1 : names.indexOf(name);
    return code < 0 ? unknown : code;
}

/// Returns the package as one of a class, or null.
template <typename Package, typename Base>
auto as(Base &package)
{
    return dynamic_cast<std::conditional_t<std::is_const_v<Base>, const Package, Package> *>(
        &package);
}

/// Stores a field that only constructors store.
void set(PackageBase &package, const char *name, const QJsonValue &value)
{
    EXPECT_EQ(classOf(package).field(QLatin1String(name))->set(package, value), QString());
}

void setDataLength(PackageBase &package, int length)
{
    if (auto *const read = as<PackageRequestRead>(package))
        read->setReplyDataLength(length);
    package.setPackageDataLength(length);
}

/// Counts the columns after the common ones, those of the register request included.
int ownColumns(const PackageBase &package, bool isReply)
{
    if (as<PackageRequestReadFile>(package) || as<PackageRequestReadMemData>(package))
        return 3;
    if (as<PackageRequestWriteData>(package) || as<PackageRequestWriteFile>(package)
        || as<PackageRequestWriteMemData>(package)
        || (as<PackageRequestReadData>(package) && isReply))
        return 4;
    return as<PackageRequestRead>(package) || as<PackageRequestWrite>(package) ? 2 : 0;
}

constexpr int KiB = 1024;

/// Returns the data after a decoder has read a length that differs from its size: cut, or filled up
/// with zeros. Allocates nothing above 64 KiB, but notes whether the decoder would.
QByteArray announcedData(const QByteArray &before, int length, Reading &reading)
{
    if (length > 64 * KiB) {
        reading.announcesMuch = reading.announcesMuch || length <= 256 * KiB * KiB;
        return {};
    }
    return before.leftJustified(qMax(length, 0), '\0', true);
}

/// Stores in a package what its decoder takes from a frame.
class FrameReader
{
public:
    FrameReader(PackageBase &package, const QByteArray &frame, int start)
        : m_package(package)
        , m_frame(frame)
        , m_start(start)
        , m_position(start)
    {
    }

    Reading request()
    {
        skip(1); // the marker
        m_package.setDeviceKey(text(integer(2)));
        m_package.setTag(text(integer(2)));
        m_package.setTimeout(integer(4));
        m_package.setSerialNum(quint64(integer(2)));
        m_package.setScrAddr(char(integer(1)));
        m_package.setDesAddr(char(integer(1)));
        m_package.setDeviceType(integer(1));
        m_package.setPortAddr(char(integer(1)));
        m_package.setScanBoardAddr(integer(2));
        m_package.setReadWriteCode(integer(1) == 0 ? OrvexEnum::Read : OrvexEnum::Write);
        m_package.setReserved2(integer(1));
        m_package.setLowAddr(ushort(integer(2)));
        m_package.setHighAddr(ushort(integer(2)));
        return payload(true);
    }

    Reading reply()
    {
        // The first byte of the array says which one it is, wherever the frame begins.
        m_reading.full = byteAt(m_frame, 0) != 0;
        if (m_reading.full) {
            request();
        } else {
            skip(1);
            m_package.setSerialNum(quint64(integer(2)));
        }
        m_package.setAckCode(uint(integer(1)));
        m_package.setCommResult(OrvexEnum::CommResults(integer(1)));
        m_package.setPackResult(OrvexEnum::PackageResults(integer(1)));
        if (!m_reading.full)
            m_position = cut(qint64(m_start) + 6); // however short it is
        return payload(m_reading.full);
    }

private:
    Reading payload(bool withRequest)
    {
        registerPayload(withRequest);
        if (as<PackageRequestReadData>(m_package)) {
            setDataLength(m_package, integer(4));
            data();
        } else if (auto *const readFile = as<PackageRequestReadFile>(m_package)) {
            const int size = integer(2);
            const int start = m_position; // the name is not counted
            if (size > 0)
                readFile->setFileNameWithPath(text(size));
            m_position = start;
        } else if (as<PackageRequestWriteData>(m_package) && withRequest) {
            setDataLength(m_package, qMax(integer(4), 0));
            const int start = m_position; // the data is not counted
            data();
            m_position = start;
        } else if (auto *const writeFile = as<PackageRequestWriteFile>(m_package);
                   writeFile && withRequest) {
            const int size = integer(4);
            if (size > 0)
                writeFile->setFileNameWithPaht(text(size));
            set(m_package, "offset", integer(4));
        }
        m_reading.consumed = cut(qint64(m_position) - m_start);
        return m_reading;
    }

    void registerPayload(bool withRequest)
    {
        if (auto *const read = as<PackageRequestRead>(m_package); read && withRequest) {
            read->setReplyDataLength(integer(4));
            read->setClientPackageType(OrvexEnum::ClientPackageType(integer(1)));
        } else if (as<PackageRequestWrite>(m_package) && withRequest) {
            set(m_package, "broadcast", integer(1) == 1);
            set(m_package, "clientPackageType", integer(1));
        }
    }

    /// Takes as much data as the length says.
    void data()
    {
        const int length = m_package.getDataLength();
        const std::optional<QByteArray> whole = bytes(length);
        m_package.setData(whole ? *whole : announcedData(m_package.data(), length, m_reading));
    }

    /// Takes UTF-8 up to its first zero byte; empty if part of it is missing.
    QString text(int size) { return QString::fromUtf8(bytes(size).value_or("").constData()); }

    /// Skips so many bytes, and returns them if all of them are there.
    std::optional<QByteArray> bytes(int count)
    {
        const int start = m_position;
        if (count <= 0)
            return QByteArray();
        skip(count);
        if (start < 0 || qint64(start) + count > m_frame.size())
            return {};
        return m_frame.mid(start, count);
    }

    /// Reads an integer. Returns 0 and takes no bytes if the integer ends after the array; returns
    /// 0 if it begins before the array.
    int integer(int width)
    {
        if (qint64(m_position) + width > m_frame.size())
            return 0;
        quint32 value = 0;
        for (int i = 0; m_position >= 0 && i < width; ++i)
            value |= quint32(byteAt(m_frame, m_position + i)) << (8 * i);
        skip(width);
        return cut(value);
    }

    void skip(int count) { m_position = cut(qint64(m_position) + count); }

    PackageBase &m_package;
    const QByteArray &m_frame;
    int m_start;
    int m_position;
    Reading m_reading;
};

/// Stores in a package what its decoder takes from the columns of a record.
class RecordReader
{
public:
    RecordReader(PackageBase &package, Direction direction, const QString &record)
        : m_package(package)
        , m_isReply(direction == Direction::Reply)
        , m_columns(record.split(QLatin1Char(',')))
    {
    }

    Reading read()
    {
        const int common = m_isReply ? 16 : as<SpecialPackageRequest>(m_package) ? 3 : 15;
        m_reading.succeeded = m_columns.size() >= common + ownColumns(m_package, m_isReply);
        if (m_reading.succeeded && m_isReply)
            m_package.setAckCode(uint(number(15)));
        if (auto *const special = as<SpecialPackageRequest>(m_package)) {
            readSpecial(*special);
        } else if (m_reading.succeeded) {
            readCommon();
            readRegister();
            readOwn();
        }
        if (m_reading.succeeded && !m_isReply)
            countParts();
        return m_reading;
    }

private:
    QString text(int column) const { return m_columns.at(column); }
    int number(int column) const { return text(column).toInt(); }
    uint positive(int column) const { return text(column).toUInt(); }

    void readCommon()
    {
        m_package.setSerialNum(quint64(number(0)));
        m_package.setDeviceKey(text(1)
                                   .replace(QLatin1String("*#*"), QLatin1String(","))
                                   .replace(QLatin1String("#*#"), QLatin1String("/")));
        m_package.setDeviceType(number(2));
        m_package.setScrAddr(char(positive(3)));
        m_package.setDesAddr(char(positive(4)));
        m_package.setPortAddr(char(positive(5)));
        m_package.setScanBoardAddr(int(positive(6)));
        m_package.setHighAddr(ushort(positive(7)));
        m_package.setLowAddr(ushort(positive(8)));
        m_package.setReserved2(int(positive(9)));
        m_package.setReadWriteCode(text(10) == QLatin1String("read") ? OrvexEnum::Read
                                                                     : OrvexEnum::Write);
        m_package.setTimeout(number(11));
        m_package.setTag(text(12));
        m_package.setCommResult(
            OrvexEnum::CommResults(codeOf(CommNames, text(13), OrvexEnum::CommOk)));
        m_package.setPackResult(
            OrvexEnum::PackageResults(codeOf(PackNames, text(14), OrvexEnum::PackOk)));
    }

    /// Reads those of a reply where a request has them, one column early.
    void readRegister()
    {
        if (auto *const read = as<PackageRequestRead>(m_package)) {
            read->setReplyDataLength(number(15));
            read->setClientPackageType(
                OrvexEnum::ClientPackageType(codeOf(Kinds, text(16), OrvexEnum::MemDataPackage)));
        } else if (as<PackageRequestWrite>(m_package)) {
            set(m_package, "broadcast", text(15) == QLatin1String("true"));
            set(m_package, "clientPackageType", codeOf(Kinds, text(16), OrvexEnum::DataPackage));
        }
    }

    void readOwn()
    {
        const int own = m_isReply ? 18 : 17;
        if (auto *const readFile = as<PackageRequestReadFile>(m_package)) {
            readFile->setFileNameWithPath(text(own));
        } else if (auto *const readMemory = as<PackageRequestReadMemData>(m_package)) {
            readMemory->setOffset(number(own));
        } else if (as<PackageRequestWriteFile>(m_package)) {
            set(m_package, "fileNameWithPath", text(17)); // one column early as well
            set(m_package, "offset", number(18));
        } else if (auto *const writeMemory = as<PackageRequestWriteMemData>(m_package)) {
            writeMemory->setOffset(number(17));
            writeMemory->setPackageDataLength(number(18));
        } else if (ownColumns(m_package, m_isReply) == 4) {
            setDataLength(m_package, number(own));
            readNumbers(text(own + 1).split(QLatin1Char('/')));
        }
    }

    /// Reads a data string. In a data read's reply and a data write's request it must have as many
    /// numbers as the length says.
    void readNumbers(const QStringList &numbers)
    {
        const bool isRead = as<PackageRequestRead>(m_package);
        const int length = m_package.getDataLength();
        m_reading.succeeded = isRead != m_isReply || numbers.size() == length;
        if (!m_reading.succeeded)
            return;
        const int known = qBound(0, length, numbers.size());
        QByteArray data = length > known ? announcedData(m_package.data(), length, m_reading)
                                         : QByteArray(known, '\0');
        for (int i = 0; i < qMin(known, data.size()); ++i)
            data[i] = char(numbers.at(i).toInt());
        m_package.setData(data);
    }

    /// Reads the columns of a special request. Reads them even from a reply that is refused because
    /// it lacks the acknowledge code, except if it lacks nothing else.
    void readSpecial(SpecialPackageRequest &special)
    {
        if (m_columns.size() < 3 || (m_isReply && m_columns.size() == 15))
            return;
        special.setId(number(0));
        special.setTimeout(int(positive(1)));
        special.setStrData(text(2));
    }

    /// Counts the parts that a request is sent in.
    void countParts()
    {
        qint64 length = m_package.getDataLength();
        if (auto *const writeFile = as<PackageRequestWriteFile>(m_package))
            length = QFileInfo(writeFile->fileNameWithPath()).size() - writeFile->Offset();
        else if (auto *const writeMemory = as<PackageRequestWriteMemData>(m_package))
            length = cut(length - writeMemory->offset());
        else if (!as<PackageRequestRead>(m_package) && !as<PackageRequestWriteData>(m_package))
            return;
        const int size = m_package.getMaxPartSize();
        if (size == 0)
            m_package.setPartCount(0);
        else
            m_package.setPartCount(cut(length / size + (length % size != 0 ? 1 : 0)));
    }

    PackageBase &m_package;
    bool m_isReply;
    QStringList m_columns;
    Reading m_reading;
};

QByteArray little(qint64 value, int width)
{
    QByteArray bytes;
    for (int i = 0; i < width; ++i)
        bytes += char(value >> (8 * i));
    return bytes;
}

QByteArray sized(const QByteArray &text)
{
    return little(text.size(), 2) + text;
}

QByteArray writtenPayload(const PackageBase &package, bool withRequest)
{
    QByteArray bytes;
    if (const auto *const read = as<PackageRequestRead>(package); read && withRequest)
        bytes = little(read->getReplyDataLength(), 4) + little(read->getClientPackageType(), 1);
    if (const auto *const write = as<PackageRequestWrite>(package); write && withRequest)
        bytes = little(write->bBroadcast(), 1) + little(write->getClientPackageType(), 1);

    if (as<PackageRequestReadData>(package)
        || (as<PackageRequestWriteData>(package) && withRequest)) {
        bytes += little(package.getDataLength(), 4) + package.data();
    } else if (const auto *const readFile = as<PackageRequestReadFile>(package)) {
        bytes += sized(readFile->fileNameWithPath().toUtf8());
    } else if (const auto *const writeFile = as<PackageRequestWriteFile>(package);
               writeFile && withRequest && !writeFile->fileNameWithPath().isEmpty()) {
        bytes += little(0, 4) + writeFile->fileNameWithPath().toUtf8(); // no size and no offset
    }
    return bytes;
}

QByteArray writtenRequest(const PackageBase &package)
{
    return little(0, 1) + sized(package.getDeviceKey().toUtf8()) + sized(package.getTag().toUtf8())
        + little(package.getTimeout(), 4) + little(qint64(package.getSerialNum()), 2)
        + little(package.getScrAddr(), 1) + little(package.getDesAddr(), 1)
        + little(package.getDeviceType(), 1) + little(package.getPortAddr(), 1)
        + little(package.getScanBoardAddr(), 2)
        + little(package.getReadWriteCode() == OrvexEnum::Read ? 0 : 1, 1)
        + little(package.getReserved2(), 1) + little(package.getLowAddr(), 2)
        + little(package.getHighAddr(), 2) + writtenPayload(package, true);
}

QByteArray writtenReply(const PackageBase &package, bool full)
{
    // In a full reply an undefined byte comes after each result, and the payload a second time.
    const QByteArray gap = full ? little(0, 1) : QByteArray();
    const QByteArray start = full ? writtenRequest(package).replace(0, 1, little(1, 1))
                                  : little(0, 1) + little(qint64(package.getSerialNum()), 2);
    return start + little(package.getAckCode(), 1) + gap + little(package.getCommResult(), 1) + gap
        + little(package.getPackResult(), 1) + gap + writtenPayload(package, full);
}

QStringList writtenCommonColumns(const PackageBase &package)
{
    const auto number = [](auto value) { return QString::number(value); };
    return {number(package.getSerialNum()),
            package.getDeviceKey()
                .replace(QLatin1Char('/'), QLatin1String("#*#"))
                .replace(QLatin1Char(','), QLatin1String("*#*")),
            number(package.getDeviceType()),
            number(package.getScrAddr()),
            number(package.getDesAddr()),
            number(package.getPortAddr()),
            number(package.getScanBoardAddr()),
            number(package.getHighAddr()),
            number(package.getLowAddr()),
            number(package.getReserved2()),
            QLatin1String(package.getReadWriteCode() == OrvexEnum::Write ? "write" : "read"),
            number(package.getTimeout()),
            package.getTag(),
            CommNames.value(package.getCommResult()),
            PackNames.value(package.getPackResult())};
}

QStringList writtenRegisterColumns(const PackageBase &package)
{
    const auto *const read = as<PackageRequestRead>(package);
    const auto *const write = as<PackageRequestWrite>(package);
    if (read)
        return {QString::number(read->getReplyDataLength()),
                Kinds.value(read->getClientPackageType(), Kinds.front())};
    if (write)
        return {QLatin1String(write->bBroadcast() ? "true" : "false"),
                Kinds.value(write->getClientPackageType(), Kinds.front())};
    return {};
}

/// Writes the length and as many numbers, 0 for a byte that is not there. A data write's request
/// has a first number wherever there is data, and its reply wherever there is a length.
QStringList writtenDataColumns(const PackageBase &package, bool isReply)
{
    const int length = package.getDataLength();
    const bool hasNumbers = isReply ? length != 0 : !package.data().isEmpty();
    int count = length;
    if (as<PackageRequestWriteData>(package))
        count = hasNumbers ? qMax(length, 1) : 0;
    QStringList numbers;
    for (int i = 0; i < count; ++i)
        numbers << QString::number(byteAt(package.data(), i));
    return {QString::number(length), numbers.join(QLatin1Char('/'))};
}

QString writtenRecord(const PackageBase &package, bool isReply)
{
    const auto number = [](auto value) { return QString::number(value); };
    QStringList columns = writtenCommonColumns(package);
    if (const auto *const special = as<SpecialPackageRequest>(package))
        columns =
            QStringList{number(special->id()), number(special->getTimeout()), special->strData()};
    if (isReply)
        columns << number(package.getAckCode());
    columns << writtenRegisterColumns(package);
    if (const auto *const readFile = as<PackageRequestReadFile>(package))
        columns << readFile->fileNameWithPath();
    else if (const auto *const writeFile = as<PackageRequestWriteFile>(package))
        columns << writeFile->fileNameWithPath() << number(writeFile->Offset());
    else if (const auto *const readMemory = as<PackageRequestReadMemData>(package))
        columns << number(readMemory->offset());
    else if (const auto *const writeMemory = as<PackageRequestWriteMemData>(package))
        columns << number(writeMemory->offset()) << number(writeMemory->getPackageDataLength());
    else if (ownColumns(package, isReply) == 4)
        columns << writtenDataColumns(package, isReply);
    return columns.join(QLatin1Char(','));
}

/// Adds up all bytes except the first two and the last two.
int checksumOf(const QByteArray &frame)
{
    int sum = 0x5555;
    for (int i = 2; i < frame.size() - 2; ++i)
        sum += byteAt(frame, i);
    return sum & 0xFFFF;
}

QByteArray writtenLinuxRequest(const PackageBase &package)
{
    const bool isWrite = package.getReadWriteCode() == OrvexEnum::Write;
    const int length = isWrite ? qMax(package.getDataLength(), 0) : package.getDataLength();
    QByteArray frame = "\x55\xAA" + little(0, 1) + little(qint64(package.getSerialNum()), 1)
        + little(package.getScrAddr(), 1) + little(package.getDesAddr(), 1)
        + little(package.getDeviceType(), 1) + little(package.getPortAddr(), 1)
        + little(package.getScanBoardAddr(), 2) + little(package.getReadWriteCode(), 1)
        + little(package.getReserved2(), 1) + little(package.getLowAddr(), 2)
        + little(package.getHighAddr(), 2) + little(length, 2);
    if (!isWrite && package.getReadWriteCode() != OrvexEnum::Read)
        frame.fill('\0');
    // A write's checksum comes after as many bytes as the length says, whatever data there is.
    const int end = frame.size() + (isWrite ? length : 0);
    if (isWrite && length > 0)
        frame += package.data();
    frame = frame.leftJustified(end + 2, '\0');
    return frame.replace(end, 2, little(checksumOf(frame.left(end + 2)), 2));
}

} // namespace

Reading readFrame(PackageBase &package, Direction direction, const QByteArray &frame, int start)
{
    FrameReader reader(package, frame, start);
    return direction == Direction::Request ? reader.request() : reader.reply();
}

Reading readRecord(PackageBase &package, Direction direction, const QString &record)
{
    return RecordReader(package, direction, record).read();
}

Reading readLinuxReply(PackageBase &package, const QByteArray &frame)
{
    const auto byte = [&frame](int at) { return byteAt(frame, at); };
    const auto word = [&byte](int at) { return byte(at) + 256 * byte(at + 1); };
    Reading reading;
    reading.succeeded = word(frame.size() - 2) == checksumOf(frame);
    if (!reading.succeeded)
        return reading;
    const auto status = qint8(byte(2));
    package.setCommResult(OrvexEnum::CommResults(status + 1));
    package.setAckCode(uint(status));
    package.setPackResult(OrvexEnum::PackageResults(status));
    package.setSerialNum(byte(3));
    package.setScrAddr(char(byte(4)));
    package.setDesAddr(char(byte(5)));
    package.setDeviceType(qint8(byte(6)));
    package.setPortAddr(char(byte(7)));
    package.setScanBoardAddr(word(8));
    package.setReadWriteCode(OrvexEnum::ReadWriteCode(qint8(byte(10))));
    package.setReserved2(qint8(byte(11)));
    package.setLowAddr(ushort(word(12)));
    package.setHighAddr(ushort(word(14)));
    if (!as<PackageRequestReadData>(package) && !as<PackageRequestWriteData>(package))
        return reading;

    // The data before the checksum, at most as much as the length says. A read appends it to its
    // data; a write overwrites the beginning of its data.
    const int length = word(16);
    const QByteArray data = frame.mid(18, qBound(0, frame.size() - 20, length));
    const QByteArray kept = package.data().leftJustified(length, '\0', true).mid(data.size());
    setDataLength(package, length);
    package.setData(as<PackageRequestRead>(package) ? package.data() + data : data + kept);
    return reading;
}

void expectWritten(PackageBase &package)
{
    if (package.getDataLength() > 4 * KiB)
        return;
    const auto expectBytes = [](const QByteArray &written, const QByteArray &expected) {
        EXPECT_EQ(written, expected);
        observe(written);
    };
    const auto expectText = [](const QString &written, const QString &expected) {
        EXPECT_EQ(written, expected);
        observe(written.toUtf8());
    };
    expectBytes(package.MackPackageRequest(), writtenRequest(package));
    expectBytes(package.MackPackageReply(false), writtenReply(package, false));
    expectBytes(package.MackPackageReply(true), writtenReply(package, true));
    expectText(package.makePackageRequest(), writtenRecord(package, false));
    expectText(package.makePackageReply(), writtenRecord(package, true));
    if (auto *const read = as<PackageRequestReadData>(package))
        expectBytes(read->ParseSendRequest_Linux(), writtenLinuxRequest(package));
    if (auto *const write = as<PackageRequestWriteData>(package))
        expectBytes(write->ParseSendRequest_Linux(), writtenLinuxRequest(package));
}
