#include <korvinsimulator/simulateddevice.h>

#include "unitoperations_p.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageclass.h>
#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QStringList>

#include <memory>
#include <new>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

void setOutcome(PackageBase &request, const RequestOutcome &outcome)
{
    request.setAckCode(outcome.ackCode);
    request.setCommResult(outcome.commResult);
    request.setPackResult(outcome.packResult);
}

/// The length and the data of a package go together.
void setReadData(PackageRequestReadData &read, const QByteArray &data)
{
    read.setData(data);
    read.setReplyDataLength(static_cast<int>(data.size()));
}

/// Carries out a read on the unit it is addressed to.
template <typename Operation>
RequestOutcome onUnit(DeviceState &state, const PackageBase &request, Operation operation)
{
    const auto unit = state.units.find(unitAddressOf(request));
    return unit == state.units.end() ? UnknownUnit : operation(*unit);
}

/// Carries out a write on its unit, a broadcast on every unit that has the register: the first
/// failure is the outcome.
template <typename Operation>
RequestOutcome onUnits(DeviceState &state, const PackageRequestWrite &request, Operation operation)
{
    if (!request.bBroadcast())
        return onUnit(state, request, operation);
    const auto isUnknownRegister = [](const RequestOutcome &outcome) {
        return outcome.packResult == UnknownRegister.packResult;
    };
    RequestOutcome outcome = UnknownRegister;
    for (Unit &unit : state.units) {
        const RequestOutcome ofUnit = operation(unit);
        if (!isUnknownRegister(ofUnit) && (outcome.ackCode == 0 || isUnknownRegister(outcome)))
            outcome = ofUnit;
    }
    return outcome;
}

RequestOutcome carryOutRead(DeviceState &state, PackageRequestReadData &request)
{
    const int length = request.getReplyDataLength();
    QByteArray data;
    const RequestOutcome outcome = length < 1 || length > state.maxPartSize
        ? WrongLength
        : onUnit(state, request, [&](Unit &unit) {
              return readBlock(unit, registerAddressOf(request), length, &data);
          });
    setReadData(request, data);
    return outcome;
}

RequestOutcome carryOutWrite(DeviceState &state, const PackageRequestWriteData &request)
{
    const QByteArray data = request.data();
    if (data.size() > state.maxPartSize)
        return WrongLength;
    return onUnits(state, request,
                   [&](Unit &unit) { return writeBlock(unit, registerAddressOf(request), data); });
}

RequestOutcome carryOutSpecial(const DeviceState &state, SpecialPackageRequest &request)
{
    const auto answer = state.specials.constFind(request.id());
    if (answer == state.specials.constEnd())
        return UnknownSpecial;
    request.setStrData(*answer);
    return Done;
}

/// A request without a payload of its own, or whose payload says only how many bytes it is about.
RequestOutcome carryOutProbe(DeviceState &state, const PackageBase &request, int length)
{
    return onUnit(state, request,
                  [&](Unit &unit) { return probe(unit, registerAddressOf(request), length); });
}

RequestOutcome outcomeOf(DeviceState &state, PackageBase &request)
{
    const quint32 address = registerAddressOf(request);
    switch (classOf(request).id) {
    case ClassId::PackageRequestReadData:
        return carryOutRead(state, static_cast<PackageRequestReadData &>(request));
    case ClassId::PackageRequestWriteData:
    case ClassId::PackageRequestWriteIP:
        return carryOutWrite(state, static_cast<PackageRequestWriteData &>(request));
    case ClassId::PackageRequestReadFile: {
        const auto &read = static_cast<PackageRequestReadFile &>(request);
        return onUnit(state, read, [&](Unit &unit) {
            return readFile(unit, address, read.fileNameWithPath(), read.getReplyDataLength());
        });
    }
    case ClassId::PackageRequestWriteFile: {
        const auto &write = static_cast<PackageRequestWriteFile &>(request);
        return onUnits(state, write, [&](Unit &unit) {
            return writeFile(unit, address, write.fileNameWithPath(), write.Offset());
        });
    }
    case ClassId::PackageRequestReadMemData: {
        const auto &read = static_cast<PackageRequestReadMemData &>(request);
        return onUnit(state, read, [&](Unit &unit) {
            return readMemory(unit, address, read.offset(), read.getReplyDataLength());
        });
    }
    case ClassId::PackageRequestWriteMemData: {
        const auto &write = static_cast<PackageRequestWriteMemData &>(request);
        return onUnits(state, write, [&](Unit &unit) {
            return writeMemory(unit, address, write.offset(), write.getPackageDataLength());
        });
    }
    case ClassId::SpecialPackageRequest:
        return carryOutSpecial(state, static_cast<SpecialPackageRequest &>(request));
    case ClassId::PackageRequestWrite:
        return onUnits(state, static_cast<PackageRequestWrite &>(request),
                       [&](Unit &unit) { return probe(unit, address, 0); });
    default:
        return carryOutProbe(state, request, request.getDataLength());
    }
}

/// A Linux request has the layout of a Linux reply, so that the readers of replies will do.
std::unique_ptr<PackageBase> decodeLinux(const QByteArray &frame)
{
    auto write = std::make_unique<PackageRequestWriteData>();
    write->unPackageReply_Linux(frame);
    if (write->getReadWriteCode() == OrvexEnum::Write)
        return write;
    auto read = std::make_unique<PackageRequestReadData>();
    read->unPackageReply_Linux(frame);
    return read;
}

std::unique_ptr<PackageBase> decodeFrame(const QByteArray &frame, ClassId classId)
{
    auto package = packageClass(className(classId))->create();
    int consumed = 0;
    if (classId != ClassId::PackageRequestReadData) {
        package->UnPackageRequest(frame, 0, &consumed);
        return package;
    }
    // The reader of data reads makes room for what a request announces, however much that is.
    PackageRequestRead read;
    read.UnPackageRequest(frame, 0, &consumed);
    *package = static_cast<PackageBase &>(read);
    static_cast<PackageRequestRead &>(*package).setReplyDataLength(read.getReplyDataLength());
    return package;
}

std::unique_ptr<PackageBase> decodeRecord(const QString &record, ClassId classId)
{
    auto package = packageClass(className(classId))->create();
    package->unPackageRequest(record);
    return package;
}

/// The requests of an input that check() has accepted: one, or those of a combination.
std::vector<std::unique_ptr<PackageBase>> decode(const QByteArray &request, ClassId classId,
                                                 Form form)
{
    std::vector<std::unique_ptr<PackageBase>> packages;
    if (form == Form::Linux) {
        packages.push_back(decodeLinux(request));
    } else if (form == Form::Frame) {
        packages.push_back(decodeFrame(request, classId));
    } else if (classId != ClassId::PackageRequestCombination) {
        packages.push_back(decodeRecord(textFromUtf8(request), classId));
    } else {
        PackageRequestCombination combination;
        combination.unCombinationPackageRequest(textFromUtf8(request));
        for (PackageBase *package : combination.packageList())
            packages.emplace_back(package);
    }
    return packages;
}

/// The header of the request with a status, data, and a new checksum.
QByteArray linuxReply(const QByteArray &request, const PackageBase &outcome)
{
    constexpr int StatusOffset = 2;
    constexpr int SerialOffset = 3;
    constexpr int LengthOffset = 16;
    constexpr int HeaderSize = 18;
    // A write is answered with its header alone.
    const QByteArray data =
        outcome.getReadWriteCode() == OrvexEnum::Write ? QByteArray() : outcome.data();
    QByteArray reply = request.left(HeaderSize);
    int index = 0;
    PackageBase::SetBytesFromInt(&reply, StatusOffset, 1, static_cast<int>(outcome.getAckCode()),
                                 &index);
    PackageBase::SetBytesFromInt(&reply, SerialOffset, 1, static_cast<int>(outcome.getSerialNum()),
                                 &index);
    PackageBase::SetBytesFromInt(&reply, LengthOffset, 2, static_cast<int>(data.size()), &index);
    reply += data;
    const auto checksumOffset = static_cast<int>(reply.size());
    int sum = 0;
    PackageBase::calcRevise(reply, StatusOffset, checksumOffset - StatusOffset, &sum);
    reply.append(2, '\0');
    PackageBase::SetBytesFromInt(&reply, checksumOffset, 2, sum, &index);
    return reply;
}

/// Keeps the length of a data read's reply equal to its data.
void settleData(PackageBase &package, Form form)
{
    auto *read = qobject_cast<PackageRequestReadData *>(&package);
    if (!read)
        return;
    // A record without data is refused by its reader.
    const bool needsByte = form == Form::Text && read->data().isEmpty();
    setReadData(*read, needsByte ? QByteArray(1, '\0') : read->data());
}

QByteArray recordReply(const std::vector<std::unique_ptr<PackageBase>> &packages)
{
    QStringList records;
    for (const auto &package : packages)
        records << package->makePackageReply();
    return records.join(QLatin1Char('|')).toUtf8();
}

/// The same bytes but for one bit.
QByteArray flipped(QByteArray bytes, quint64 bit)
{
    const auto position = static_cast<int>(bit / 8);
    bytes[position] = static_cast<char>(bytes.at(position) ^ (1 << bit % 8));
    return bytes;
}

/// What the line makes of a reply.
std::vector<QByteArray> transmit(const QByteArray &reply, const Fault &fault)
{
    const auto size = static_cast<quint64>(reply.size());
    switch (fault.kind) {
    case FaultKind::DropReply:
        return {};
    case FaultKind::Corrupt:
        return {flipped(reply, fault.position % (8 * size))};
    case FaultKind::Truncate:
        return {reply.left(static_cast<int>(fault.position % size))};
    case FaultKind::Duplicate:
        return {reply, reply};
    default:
        return {reply};
    }
}

} // namespace

SimulatedDevice::SimulatedDevice(const DeviceState &state)
    : m_state(state)
{
}

SimulatedDevice::~SimulatedDevice() = default;

DeviceState &SimulatedDevice::state()
{
    return m_state;
}

const DeviceState &SimulatedDevice::state() const
{
    return m_state;
}

void SimulatedDevice::setFaults(const FaultPlan &faults)
{
    m_faults = faults;
}

Answer SimulatedDevice::answer(const QByteArray &request, ClassId classId, Form form)
{
    Answer answer;
    try {
        answer.verdict = check(request, {classId, form, Direction::Request});
        if (!answer.verdict.isOk())
            return answer;
        const Fault fault = m_faults.next();
        answer.fault = fault.kind;
        if (fault.kind == FaultKind::DropRequest)
            return answer;
        const QByteArray reply = replyTo(request, classId, form, fault);
        // An encoder that runs out of memory returns nothing.
        if (reply.isEmpty())
            throw std::bad_alloc();
        answer.replies = transmit(reply, fault);
        if (fault.kind == FaultKind::Delay)
            answer.delay = fault.delay;
    } catch (const std::bad_alloc &) {
        answer.verdict.fault = KorvinInspect::Fault::OutOfMemory;
    }
    return answer;
}

void SimulatedDevice::carryOut(PackageBase &request)
{
    setOutcome(request, outcomeOf(m_state, request));
}

QByteArray SimulatedDevice::replyTo(const QByteArray &request, ClassId classId, Form form,
                                    const Fault &fault)
{
    const auto packages = decode(request, classId, form);
    for (const auto &package : packages) {
        if (fault.kind == FaultKind::Result)
            setOutcome(*package, fault.outcome);
        else
            carryOut(*package);
        settleData(*package, form);
        constexpr quint64 LastSerial = 255;
        if (fault.kind == FaultKind::StaleSerial) {
            const quint64 serial = package->getSerialNum();
            package->setSerialNum(serial > 1 ? serial - 1 : LastSerial);
        }
    }
    if (form == Form::Linux)
        return linuxReply(request, *packages.front());
    if (form == Form::Frame)
        return packages.front()->MackPackageReply(false);
    return recordReply(packages);
}

} // namespace KorvinSimulator
