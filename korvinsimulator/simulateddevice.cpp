#include <korvinsimulator/simulateddevice.h>

#include "classrow_p.h"
#include "memory_p.h"
#include "requestoperations_p.h"

#include <korvininspect/packageclass.h>
#include <korvininspect/packageexplain.h>
#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QByteArrayList>

#include <algorithm>
#include <memory>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

/// Stores data together with its length.
void setReadData(PackageRequestReadData &read, const QByteArray &data)
{
    read.setData(data);
    read.setReplyDataLength(static_cast<int>(data.size()));
}

/// Carries out a read on the unit that it is addressed to.
template <typename Operation>
RequestOutcome onUnit(DeviceState &state, const PackageBase &request, Operation operation)
{
    const auto unit = state.units.find(unitAddressOf(request));
    return unit == state.units.end() ? UnknownUnit : operation(*unit);
}

/// Carries out a write on its unit, or a broadcast on every unit that has the register. The first
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

RequestOutcome carryOutFileWrite(DeviceState &state, const PackageRequestWriteFile &request,
                                 SpaceCache *used)
{
    return onUnits(state, request, [&](Unit &unit) {
        return writeFile(unit, registerAddressOf(request), request.fileNameWithPath(),
                         request.Offset(), used);
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

/// Carries out the part that all requests share: checks that the register exists and has as many
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
        return onUnit(state, request,
                      [&](Unit &unit) { return probe(unit, address, request.getDataLength()); });
    }
}

/// Carries out the part that the class of the request adds, or the shared part if it adds nothing.
RequestOutcome outcomeOf(DeviceState &state, PackageBase &request, SpaceCache *used)
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
        return carryOutFileWrite(state, static_cast<PackageRequestWriteFile &>(request), used);
    case Korvin::Own::MemoryRead:
        return carryOutMemoryRead(state, static_cast<PackageRequestReadMemData &>(request));
    case Korvin::Own::MemoryWrite:
        return carryOutMemoryWrite(state, static_cast<PackageRequestWriteMemData &>(request));
    default:
        return carryOutBase(state, request, row.base);
    }
}

using Packages = std::vector<std::unique_ptr<PackageBase>>;

/// Ends an answer because memory ran out. For any other reason, decoding a request that check() has
/// accepted, and encoding its reply, cannot fail.
void require(const Verdict &verdict)
{
    if (!verdict.isOk())
        throw std::bad_alloc();
}

/// Decodes the record of a file write field by field. The decoder of its class asks the real file
/// system for the size of the file.
std::unique_ptr<PackageBase> decodeFileWrite(const QByteArray &record, const MessageShape &shape)
{
    const PackageClass &itsClass = *packageClass(shape.classId);
    std::unique_ptr<PackageBase> package = itsClass.create();
    for (const ExplainedField &field : explain(record, shape)) {
        // All columns of a record that check() has accepted are fields.
        itsClass.field(field.name)->set(*package, QJsonValue::fromVariant(field.value));
    }
    return package;
}

std::unique_ptr<PackageBase> decodeOne(const QByteArray &request, ClassId classId, Form form)
{
    const MessageShape shape{classId, form, Direction::Request};
    std::unique_ptr<PackageBase> package;
    if (form == Form::Text && rowOf(classId).own == Korvin::Own::FileWrite)
        package = decodeFileWrite(request, shape);
    else
        require(decodeMessage(request, shape, &package));
    return package;
}

/// Returns the class of a type word that check() has accepted.
ClassId classOfType(const QByteArray &type)
{
    const auto &classes = packageClasses();
    return std::find_if(
               classes.begin(), classes.end(),
               [&](const PackageClass &listed) { return listed.combinationType.toUtf8() == type; })
        ->id;
}

/// Decodes the requests of an input that check() has accepted: one, or those of a combination.
Packages decode(const QByteArray &request, ClassId classId, Form form)
{
    Packages packages;
    if (rowOf(classId).base != Korvin::Base::Items) {
        packages.push_back(decodeOne(request, classId, form));
        return packages;
    }
    for (const QByteArray &item : request.split('|')) {
        const int end = static_cast<int>(item.indexOf('^'));
        packages.push_back(decodeOne(item.mid(end + 1), classOfType(item.left(end)), form));
    }
    return packages;
}

/// Sets the length of a data read's reply to the size of its data.
void settleData(PackageBase &package, Form form)
{
    auto *read = qobject_cast<PackageRequestReadData *>(&package);
    if (!read)
        return;
    // The decoder refuses a record without data.
    const bool needsByte = form == Form::Text && read->data().isEmpty();
    setReadData(*read, needsByte ? QByteArray(1, '\0') : read->data());
}

/// Encodes the reply in the form of the request. The reply to a combination joins those of its
/// items.
QByteArray encodeReply(const Packages &packages, Form form)
{
    QByteArrayList replies;
    for (const auto &package : packages) {
        QByteArray reply;
        require(encodePackage(*package, {form, Direction::Reply, ReplySize::Short}, &reply));
        replies << reply;
    }
    return replies.join('|');
}

/// Returns the bytes with one bit flipped.
QByteArray flipped(QByteArray bytes, quint64 bit)
{
    const auto position = static_cast<int>(bit / 8);
    bytes[position] = static_cast<char>(bytes.at(position) ^ (1 << bit % 8));
    return bytes;
}

} // namespace

void setOutcome(PackageBase &request, const RequestOutcome &outcome)
{
    request.setAckCode(outcome.ackCode);
    request.setCommResult(outcome.commResult);
    request.setPackResult(outcome.packResult);
}

void setStaleSerial(PackageBase &request)
{
    constexpr quint64 LastSerial = 255;
    const quint64 serial = request.getSerialNum();
    request.setSerialNum(serial > 1 ? serial - 1 : LastSerial);
}

void carryOutOn(DeviceState &state, PackageBase &request, SpaceCache *used)
{
    setOutcome(request, outcomeOf(state, request, used));
}

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
    carryOutOn(m_state, request, nullptr);
}

QByteArray SimulatedDevice::replyTo(const QByteArray &request, ClassId classId, Form form,
                                    const Fault &fault)
{
    const Packages packages = decode(request, classId, form);
    for (const auto &package : packages) {
        if (fault.kind == FaultKind::Result)
            setOutcome(*package, fault.outcome);
        else
            carryOut(*package);
        settleData(*package, form);
        if (fault.kind == FaultKind::StaleSerial)
            setStaleSerial(*package);
    }
    return encodeReply(packages, form);
}

} // namespace KorvinSimulator
