#include <korvininspect/packageforms.h>

#include "bytecursors_p.h"
#include "checksum_p.h"
#include "classlayouts_p.h"
#include "fieldrules_p.h"
#include "memory_p.h"
#include "valuetext_p.h"

#include <korvininspect/inputtext.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QByteArrayList>

#include <charconv>
#include <limits>

namespace KorvinInspect {

namespace {

using Korvin::LinuxHeader;

/// Runs an encoder or decoder, and reports a failed allocation as a verdict.
template <typename Operation>
Verdict guarded(Operation operation)
{
    return Korvin::guarded(operation, refused(Refusal::OutOfMemory));
}

/// Stores the result of an encoder, which is empty when memory ran out.
Verdict store(const QByteArray &made, QByteArray *encoded)
{
    if (made.isEmpty())
        return refused(Refusal::OutOfMemory);
    *encoded = made;
    return {};
}

/// Returns the fields of a package that a Linux frame carries.
PackageBasePrivate linuxFields(const PackageBase &package)
{
    PackageBasePrivate fields;
    fields.serialNum = package.getSerialNum();
    fields.scrAddr = package.getScrAddr();
    fields.desAddr = static_cast<quint8>(package.getDesAddr());
    fields.deviceType = package.getDeviceType();
    fields.portAddr = package.getPortAddr();
    fields.scanBoardAddr = static_cast<quint16>(package.getScanBoardAddr());
    fields.readWriteCode = package.getReadWriteCode();
    fields.reserved2 = package.getReserved2();
    fields.lowAddr = package.getLowAddr();
    fields.highAddr = package.getHighAddr();
    return fields;
}

/// Returns the status byte that stands for the three results; 0 only for success.
qint32 linuxStatus(PackageBase &package)
{
    constexpr int LowByte = 0xFF;
    if (package.isPackageSuccess())
        return 0;
    int status = package.getPackResult();
    if (package.getAckCode() != 0)
        status = static_cast<int>(package.getAckCode());
    else if (package.getCommResult() != OrvexEnum::CommOk)
        status = package.getCommResult() - OrvexEnum::CommOk;
    return (status & LowByte) != 0 ? status : -1;
}

Verdict encodeLinuxReply(PackageBase &package, const QByteArray &data, QByteArray *encoded)
{
    constexpr qint64 MostData = std::numeric_limits<quint16>::max();
    if (data.size() > MostData) {
        Verdict verdict = refused(Refusal::OutOfRange);
        verdict.field = QStringLiteral("data");
        verdict.position = LinuxHeader::Size;
        verdict.expected = QStringLiteral("at most %1").arg(byteCount(MostData));
        verdict.found = byteCount(data.size());
        return verdict;
    }
    PackageBasePrivate fields = linuxFields(package);
    QByteArray frame;
    Korvin::ByteWriter writer(&frame, LinuxHeader::Size + data.size() + LinuxHeader::ChecksumSize);
    LinuxHeader{fields, linuxStatus(package), static_cast<quint16>(data.size())}.walk(writer);
    writer.block("data", static_cast<int>(data.size()), data);
    writer.finish();
    const int sum = Korvin::additiveSum(frame, LinuxHeader::StartSize,
                                        static_cast<int>(frame.size()) - LinuxHeader::StartSize);
    writer.u16("checksum", sum);
    writer.finish();
    return store(frame, encoded);
}

Verdict encodeLinux(PackageBase &package, Direction direction, QByteArray *encoded)
{
    auto *read = qobject_cast<PackageRequestReadData *>(&package);
    auto *write = qobject_cast<PackageRequestWriteData *>(&package);
    if (!read && !write)
        return refused(Refusal::NoSuchForm);
    if (direction == Direction::Reply)
        return encodeLinuxReply(package, read ? read->data() : QByteArray(), encoded);
    return store(read ? read->ParseSendRequest_Linux() : write->ParseSendRequest_Linux(), encoded);
}

/// Makes an item of a combination: the type word and the request record.
Verdict encodeItem(PackageBase &package, QByteArray *item)
{
    Verdict verdict;
    const PackageClass &itsClass = classOf(package);
    if (itsClass.combinationType.isEmpty()) {
        verdict = refused(Refusal::UnknownType);
        verdict.field = QStringLiteral("type");
        verdict.expected = QStringLiteral("one that a combination carries");
        verdict.found = QLatin1String("class ") + itsClass.name;
        return verdict;
    }
    verdict = encodePackage(package, {Form::Text, Direction::Request, ReplySize::Short}, item);
    if (verdict.isOk() && (item->contains('|') || item->contains('^'))) {
        verdict = refused(Refusal::TooManyFields);
        verdict.expected = QStringLiteral("a record without \"|\" and \"^\"");
        verdict.found = QLatin1Char('"') + printable(textFromUtf8(*item)) + QLatin1Char('"');
    }
    *item = itsClass.combinationType.toUtf8() + '^' + *item;
    return verdict;
}

bool readLinux(PackageBase &package, const QByteArray &frame)
{
    if (auto *read = qobject_cast<PackageRequestReadData *>(&package))
        return read->unPackageReply_Linux(frame);
    return static_cast<PackageRequestWriteData &>(package).unPackageReply_Linux(frame);
}

bool readWith(PackageBase &package, const MessageShape &shape, const QByteArray &encoded,
              int *consumed)
{
    const bool request = shape.direction == Direction::Request;
    *consumed = static_cast<int>(encoded.size());
    if (shape.form == Form::Linux)
        return readLinux(package, encoded);
    if (shape.form == Form::Text) {
        const QString record = textFromUtf8(encoded);
        return request ? package.unPackageRequest(record) : package.unPackageReply(record);
    }
    bool full = false;
    return request ? package.UnPackageRequest(encoded, 0, consumed)
                   : package.UnPackageReply(encoded, 0, consumed, &full);
}

class NoSink : public FieldSink
{
public:
    void add(const WireField &) override { }
};

/// Finds the first field that announces more data than is allowed.
class ExcessSink : public FieldSink
{
public:
    ExcessSink(Form form, int most)
        : m_lengthType(form == Form::Linux ? WireType::Length : WireType::Block)
        , m_most(most)
    {
    }

    void add(const WireField &field) override
    {
        // A Linux frame may announce data without carrying it.
        const bool announces = field.type == WireType::Block || field.type == WireType::DataString
            || field.type == m_lengthType;
        if (!m_verdict.isOk() || !announces || field.number <= m_most)
            return;
        m_verdict.refusal = Refusal::OutOfRange;
        m_verdict.field = QString::fromLatin1(field.name);
        m_verdict.position = field.column < 0 ? static_cast<int>(field.offset) : field.column;
        m_verdict.expected = QStringLiteral("at most %1").arg(byteCount(m_most));
        m_verdict.found = byteCount(field.number);
    }

    Verdict verdict() const { return m_verdict; }

private:
    WireType m_lengthType;
    int m_most;
    Verdict m_verdict;
};

/// Checks whether the decoder of a class would allocate too much.
Verdict checkAnnounced(const QByteArray &encoded, const MessageShape &shape, int most)
{
    const bool isReply = shape.direction == Direction::Reply;
    Korvin::LayoutFields fields;
    ExcessSink sink(shape.form, most);
    if (shape.form == Form::Frame) {
        scanFrameAsRead(encoded, shape, fields, sink);
    } else if (shape.form == Form::Linux) {
        scanLinuxFrame(encoded, shape, fields, sink);
    } else {
        const QString record = textFromUtf8(encoded);
        RecordScanner scanner(record, sink);
        if (scanner.count() >= Korvin::neededColumns(rowOf(shape), isReply))
            scanRecordAsRead(scanner, rowOf(shape), isReply, fields);
    }
    return sink.verdict();
}

// The decoders of a payload report that memory ran out, but those of a frame ignore it.

bool readShortReply(PackageBase &package, const QByteArray &frame)
{
    int length = 0;
    bool full = false;
    package.PackageBase::UnPackageReply(frame, 0, &length, &full); // takes no memory
    return package.ParseDataFromPackage(false, frame, length, &length);
}

/// Reads a request, or the request inside a full reply.
bool readRequest(PackageBase &package, const QByteArray &frame, bool carriesData)
{
    int length = 0;
    if (!package.PackageBase::UnPackageRequest(frame, 0, &length))
        return false;
    auto *read = carriesData ? nullptr : qobject_cast<PackageRequestReadData *>(&package);
    return read ? read->PackageRequestRead::ParseDataFromPackage(true, frame, length, &length)
                : package.ParseDataFromPackage(true, frame, length, &length);
}

/// Reads a frame that check() has accepted.
bool readFrame(PackageBase &package, const QByteArray &frame, const MessageShape &shape)
{
    const bool isReply = shape.direction == Direction::Reply;
    if (isReply && Korvin::byteAt(frame, 0) == Korvin::ShortReplyMarker)
        return readShortReply(package, frame);
    NoSink sink;
    WrittenFrameScanner scanner(frame, sink);
    Korvin::LayoutFields fields;
    scanFrame(frame, shape.direction, FrameAsWritten(rowOf(shape), fields, scanner), scanner);
    if (isReply) {
        package.setAckCode(fields.common.ackCode);
        package.setCommResult(fields.common.commResult);
        package.setPackResult(fields.common.packResult);
    }
    return readRequest(package, frame, scanner.isCarried());
}

/// Reads a record that check() has accepted.
bool readRecord(PackageBase &package, const QString &record, Direction direction)
{
    return direction == Direction::Request ? package.unPackageRequest(record)
                                           : package.unPackageReply(record);
}

/// Reads the reply record of a special request: the request record and the acknowledge code. The
/// decoder of the class expects the acknowledge code in another column.
Verdict decodeSpecialReply(const QByteArray &record, std::unique_ptr<PackageBase> *package,
                           const CheckOptions &options)
{
    const int end = static_cast<int>(qMax(record.lastIndexOf(','), 0));
    const MessageShape request{ClassId::SpecialPackageRequest, Form::Text, Direction::Request};
    std::unique_ptr<PackageBase> decoded;
    Verdict verdict = decodeMessage(record.left(end), request, &decoded, options);
    if (!verdict.isOk())
        return verdict;
    const QByteArray column = record.mid(end + 1);
    const int ackCode = column.toInt();
    if (ackCode < 0 || QByteArray::number(ackCode) != column) {
        verdict = refused(Refusal::NotANumber);
        verdict.field = QStringLiteral("ackCode");
        verdict.position = Korvin::SpecialPart::Columns;
        verdict.expected =
            QStringLiteral("a number from 0 to %1").arg(std::numeric_limits<qint32>::max());
        verdict.found = QLatin1Char('"') + printable(textFromUtf8(column)) + QLatin1Char('"');
        return verdict;
    }
    decoded->setAckCode(static_cast<uint>(ackCode));
    *package = std::move(decoded);
    return verdict;
}

/// Walks over the header up to the serial number. The frame need not be valid.
class SerialNumSink : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        if (field.type == WireType::Serial && field.present == field.width)
            m_serialNum = static_cast<quint32>(field.number);
    }

    std::optional<quint32> serialNum() const { return m_serialNum; }

private:
    std::optional<quint32> m_serialNum;
};

// Every reply passes here: all of the walk is inlined.
[[gnu::flatten]] std::optional<quint32> serialNumOfFrame(const QByteArray &frame)
{
    PackageBasePrivate fields;
    Korvin::CommonPart part{fields};
    SerialNumSink sink;
    FrameScanner scanner(frame, sink);
    const quint8 marker = Korvin::byteAt(frame, 0);
    if (marker == Korvin::ShortReplyMarker)
        part.shortReply(scanner);
    else if (marker == Korvin::FullReplyMarker)
        part.header(scanner);
    return sink.serialNum();
}

std::optional<quint32> serialNumOfLinuxFrame(const QByteArray &frame)
{
    PackageBasePrivate fields;
    SerialNumSink sink;
    FrameScanner scanner(frame, sink);
    LinuxHeader{fields}.walk(scanner);
    const bool begins = frame.startsWith("\x55\xAA");
    return begins ? sink.serialNum() : std::nullopt;
}

/// Returns whether a record has this number of columns. Does not look at further ones.
bool hasColumns(const QByteArray &record, int columns)
{
    auto comma = record.indexOf(',');
    for (; columns > 1 && comma >= 0; --columns)
        comma = record.indexOf(',', comma + 1);
    return columns == 1 && comma < 0;
}

std::optional<quint32> serialNumOfRecord(const QByteArray &record)
{
    constexpr int SpecialReplyColumns = Korvin::SpecialPart::Columns + 1;
    const char *const first = record.constData();
    const char *const end = first + qMax<qint64>(record.indexOf(','), 0);
    quint32 number = 0;
    const auto [stop, error] = std::from_chars(first, end, number);
    const bool isNumber = error == std::errc() && stop == end
        && number <= quint32(std::numeric_limits<qint32>::max());
    const bool hasLeadingZero = *first == '0' && end - first > 1;
    if (!isNumber || hasLeadingZero || hasColumns(record, SpecialReplyColumns))
        return {};
    return number;
}

/// Compares those start bytes that are there.
class StartSink : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        const bool isOther = field.present > 0 && field.number != field.max;
        m_isStart = m_isStart && !(field.type == WireType::Constant && isOther);
    }

    bool isStart() const { return m_isStart; }

private:
    bool m_isStart = true;
};

/// Decodes a message that check() has accepted into a new package of its class.
bool decodeAccepted(PackageBase &package, const QByteArray &message, const MessageShape &shape)
{
    switch (shape.form) {
    case Form::Frame:
        return readFrame(package, message, shape);
    case Form::Text:
        return readRecord(package, textFromUtf8(message), shape.direction);
    default:
        return readLinux(package, message);
    }
}

} // namespace

Verdict encodePackage(PackageBase &package, const Encoding &encoding, QByteArray *encoded)
{
    const bool request = encoding.direction == Direction::Request;
    return guarded([&] {
        switch (encoding.form) {
        case Form::Frame:
            return store(request ? package.MackPackageRequest()
                                 : package.MackPackageReply(encoding.replySize == ReplySize::Full),
                         encoded);
        case Form::Text:
            return store(
                (request ? package.makePackageRequest() : package.makePackageReply()).toUtf8(),
                encoded);
        default:
            return encodeLinux(package, encoding.direction, encoded);
        }
    });
}

Verdict encodeCombination(const std::vector<PackageBase *> &packages, QByteArray *record)
{
    return guarded([&] {
        QByteArrayList items;
        for (PackageBase *package : packages) {
            QByteArray item;
            Verdict verdict = encodeItem(*package, &item);
            items << item;
            if (!verdict.isOk()) {
                verdict.item = static_cast<int>(items.size());
                return verdict;
            }
        }
        *record = items.join('|');
        return Verdict();
    });
}

Verdict decodePackage(PackageBase &package, const Encoding &encoding, const QByteArray &encoded,
                      int *consumed, int announcedData)
{
    return guarded([&] {
        const MessageShape shape{classOf(package).id, encoding.form, encoding.direction};
        int length = 0;
        if (!exists(shape))
            return refused(Refusal::NoSuchForm);
        Verdict excess;
        if (announcedData != std::numeric_limits<int>::max())
            excess = checkAnnounced(encoded, shape, announcedData);
        if (!excess.isOk())
            return excess;
        const bool isRead = readWith(package, shape, encoded, consumed ? consumed : &length);
        if (isRead)
            return Verdict();
        const Verdict verdict = check(encoded, shape);
        return verdict.isOk() ? refused(Refusal::OutOfMemory) : verdict;
    });
}

Verdict decodeMessage(const QByteArray &message, const MessageShape &shape,
                      std::unique_ptr<PackageBase> *package, const CheckOptions &options)
{
    package->reset();
    return guarded([&] {
        const PackageClass *itsClass = packageClass(shape.classId);
        if (!itsClass)
            return refused(Refusal::NoSuchForm);
        if (rowOf(shape).base == Korvin::Base::Special && shape.form == Form::Text
            && shape.direction == Direction::Reply)
            return decodeSpecialReply(message, package, options);
        Verdict verdict = check(message, shape, options);
        if (!verdict.isOk())
            return verdict;
        auto decoded = itsClass->create();
        if (!decodeAccepted(*decoded, message, shape))
            return refused(Refusal::OutOfMemory);
        *package = std::move(decoded);
        return verdict;
    });
}

Verdict decodeCombination(const QByteArray &record,
                          std::vector<std::unique_ptr<PackageBase>> *packages,
                          const CheckOptions &options)
{
    packages->clear();
    return guarded([&] {
        Verdict verdict = check(
            record, {ClassId::PackageRequestCombination, Form::Text, Direction::Request}, options);
        if (!verdict.isOk())
            return verdict;
        const QString text = textFromUtf8(record);
        std::vector<std::unique_ptr<PackageBase>> decoded;
        for (Korvin::TextParts items(text, '|'); !items.atEnd();) {
            Korvin::TextParts parts(items.next(), '^');
            decoded.push_back(packageClass(*classOfType(parts.next()))->create());
            if (!decoded.back()->unPackageRequest(parts.next().toString()))
                return refused(Refusal::OutOfMemory);
        }
        *packages = std::move(decoded);
        return verdict;
    });
}

int linuxFrameSize(const QByteArray &bytes, int start, Direction direction)
{
    PackageBasePrivate common;
    LinuxHeader header{common};
    StartSink sink;
    FrameScanner scanner(bytes, sink);
    scanner.goTo(start);
    header.walk(scanner);
    if (!sink.isStart())
        return -1;
    if (bytes.size() - start < LinuxHeader::Size)
        return 0;
    const bool carriesData =
        direction == Direction::Reply || common.readWriteCode != OrvexEnum::Read;
    return LinuxHeader::Size + LinuxHeader::ChecksumSize + (carriesData ? header.dataLength : 0);
}

std::optional<quint32> serialNumOfReply(const QByteArray &reply, Form form)
{
    switch (form) {
    case Form::Frame:
        return serialNumOfFrame(reply);
    case Form::Text:
        return serialNumOfRecord(reply);
    default:
        return serialNumOfLinuxFrame(reply);
    }
}

} // namespace KorvinInspect
