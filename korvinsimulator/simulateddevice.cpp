#include "include/simulateddevice.h"

#include "classrow_p.h"
#include "memory_p.h"
#include "unitoperations_p.h"

#include <inputtext.h>
#include <packageclass.h>
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

RequestOutcome carryOutFileRead(DeviceState &state, const PackageRequestReadFile &request)
{
    return onUnit(state, request, [&](Unit &unit) {
        return readFile(unit, registerAddressOf(request), request.fileNameWithPath(),
                        request.getReplyDataLength());
    });
}

RequestOutcome carryOutFileWrite(DeviceState &state, const PackageRequestWriteFile &request)
{
    return onUnits(state, request, [&](Unit &unit) {
        return writeFile(unit, registerAddressOf(request), request.fileNameWithPath(),
                         request.Offset());
    });
}

RequestOutcome carryOutMemoryRead(DeviceState &state, const PackageRequestReadMemData &request)
{
    return onUnit(state, request, [&](Unit &unit) {
        return readMemory(unit, registerAddressOf(request), request.offset(),
                          request.getReplyDataLength());
    });
}

RequestOutcome carryOutMemoryWrite(DeviceState &state, const PackageRequestWriteMemData &request)
{
    return onUnits(state, request, [&](Unit &unit) {
        return writeMemory(unit, registerAddressOf(request), request.offset(),
                           request.getPackageDataLength());
    });
}

/// Carries out what the request has in common with others: a register is there, and has as many
/// bytes as a read asks for.
RequestOutcome carryOutBase(DeviceState &state, PackageBase &request, Korvin::Base base)
{
    const quint32 address = registerAddressOf(request);
    switch (base) {
    case Korvin::Base::Special:
        return carryOutSpecial(state, static_cast<SpecialPackageRequest &>(request));
    case Korvin::Base::Write:
        return onUnits(state, static_cast<PackageRequestWrite &>(request),
                       [&](Unit &unit) { return probe(unit, address, 0); });
    default:
        return onUnit(state, request, [&](Unit &unit) {
            return probe(unit, address, request.getDataLength());
        });
    }
}

/// Carries out what the class of the request adds; without that, what it has in common with others.
RequestOutcome outcomeOf(DeviceState &state, PackageBase &request)
{
    const Korvin::ClassRow &row = rowOf(classOf(request).id);
    switch (row.own) {
    case Korvin::Own::ReadBlock:
        return carryOutRead(state, static_cast<PackageRequestReadData &>(request));
    case Korvin::Own::WriteBlock:
        return carryOutWrite(state, static_cast<PackageRequestWriteData &>(request));
    case Korvin::Own::FileRead:
        return carryOutFileRead(state, static_cast<PackageRequestReadFile &>(request));
    case Korvin::Own::FileWrite:
        return carryOutFileWrite(state, static_cast<PackageRequestWriteFile &>(request));
    case Korvin::Own::MemoryRead:
        return carryOutMemoryRead(state, static_cast<PackageRequestReadMemData &>(request));
    case Korvin::Own::MemoryWrite:
        return carryOutMemoryWrite(state, static_cast<PackageRequestWriteMemData &>(request));
    default:
        return carryOutBase(state, request, row.base);
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
    if (rowOf(classId).own != Korvin::Own::ReadBlock) {
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
    } else if (rowOf(classId).base != Korvin::Base::Items) {
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
    const auto run = [&] {
        answer.verdict = check(request, {classId, form, Direction::Request});
        if (!answer.verdict.isOk())
            return true;
        const Fault fault = m_faults.next();
        answer.fault = fault.kind;
        if (fault.kind == FaultKind::DropRequest)
            return true;
        const QByteArray reply = replyTo(request, classId, form, fault);
        // An encoder that runs out of memory returns nothing.
        if (reply.isEmpty())
            return false;
        answer.replies = transmit(reply, fault);
        if (fault.kind == FaultKind::Delay)
            answer.delay = fault.delay;
        return true;
    };
    if (!Korvin::guarded(run))
        answer.verdict.refusal = Refusal::OutOfMemory;
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
