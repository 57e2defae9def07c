#ifndef KORVINSIMULATOR_SIMULATEDDEVICE_H
#define KORVINSIMULATOR_SIMULATEDDEVICE_H

#include <korvininspect/packagecheck.h>
#include <korvinsimulator/devicestate.h>
#include <korvinsimulator/faultplan.h>
#include <korvinsimulator/korvinsimulatorglobal.h>

#include <QtCore/QByteArray>

#include <vector>

namespace KorvinSimulator {

/// The answer of a device to a request.
struct Answer
{
    /// The replies, each a frame or record, to be sent after the delay. Usually one; none if the
    /// request was refused, or a fault loses request or reply; two if a fault duplicates the reply.
    std::vector<QByteArray> replies;

    int delay = 0; ///< In milliseconds.

    /// The verdict of KorvinInspect::check() on the request. A refused request is not carried out
    /// and has no reply.
    KorvinInspect::Verdict verdict;

    FaultKind fault = FaultKind::None; ///< The planned fault that the request met.
};

/// A device in memory: accepts requests in every encoding, carries them out on its state, and
/// returns the replies in the same encoding.
///
/// It has no socket, thread or timer. A transport passes it the bytes:
///
///     SimulatedDevice device(state);
///     const Answer answer = device.answer(request, ClassId::PackageRequestReadData, Form::Frame);
///     for (const QByteArray &reply : answer.replies)
///         transport.send(reply);
///
/// Any input is safe: requests that KorvinInspect::check() refuses are not decoded.
/// docs/simulator.md says what each class of request does.
class KORVINSIMULATOR_EXPORT SimulatedDevice
{
public:
    /// Makes a device with a copy of @p state and without faults.
    explicit SimulatedDevice(const DeviceState &state = {});
    virtual ~SimulatedDevice();

    /// @{
    /// The current state. It may be changed between two requests.
    DeviceState &state();
    const DeviceState &state() const;
    /// @}

    /// Sets the faults of the next requests.
    void setFaults(const FaultPlan &faults);

    /// Answers one request. Throws nothing.
    ///
    /// The reply to a byte frame is a short one; the reply to a Linux frame has the header of the
    /// request.
    ///
    /// @param request is a frame, or a record in UTF-8.
    Answer answer(const QByteArray &request, KorvinInspect::ClassId classId,
                  KorvinInspect::Form form);

    /// Carries out a decoded request and stores outcome and data in it. answer() calls it for each
    /// request and for each item of a combination. Override it to add behaviour of your device.
    virtual void carryOut(PackageBase &request);

private:
    QByteArray replyTo(const QByteArray &request, KorvinInspect::ClassId classId,
                       KorvinInspect::Form form, const Fault &fault);

    DeviceState m_state;
    FaultPlan m_faults;
};

} // namespace KorvinSimulator

#endif
