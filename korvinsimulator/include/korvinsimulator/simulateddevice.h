#ifndef KORVINSIMULATOR_SIMULATEDDEVICE_H
#define KORVINSIMULATOR_SIMULATEDDEVICE_H

#include <korvininspect/packagecheck.h>
#include <korvinsimulator/devicestate.h>
#include <korvinsimulator/faultplan.h>
#include <korvinsimulator/korvinsimulatorglobal.h>

#include <QtCore/QByteArray>

#include <vector>

namespace KorvinSimulator {

/// What a device sends back for a request.
struct Answer
{
    /// The replies, each a frame or record: usually one; none for a request that was refused or
    /// lost; two for one that is sent twice. To be sent after the delay.
    std::vector<QByteArray> replies;

    int delay = 0; ///< In milliseconds.

    /// Why the request was refused: it is not what its class and form say. Then nothing is done,
    /// and there is no reply.
    KorvinInspect::Verdict verdict;

    FaultKind fault = FaultKind::None; ///< What went wrong on purpose.
};

/// A device in memory: takes requests in every encoding, carries them out on its state, and gives
/// the replies in the same encoding.
///
/// It has no socket, thread or timer; a transport hands it the bytes:
///
///     SimulatedDevice device(state);
///     const Answer answer = device.answer(request, ClassId::PackageRequestReadData, Form::Frame);
///     for (const QByteArray &reply : answer.replies)
///         transport.send(reply);
///
/// Any input will do: what KorvinInspect::check() refuses is not decoded. docs/simulator.md says
/// what each class of request does.
class KORVINSIMULATOR_EXPORT SimulatedDevice
{
public:
    /// A device with a copy of @p state, and without faults.
    explicit SimulatedDevice(const DeviceState &state = {});
    virtual ~SimulatedDevice();

    /// @{
    /// What the device holds now. It may be changed between two requests.
    DeviceState &state();
    const DeviceState &state() const;
    /// @}

    /// What goes wrong from now on.
    void setFaults(const FaultPlan &faults);

    /// Answers one request. No exception leaves it.
    ///
    /// Byte frames are answered with short replies, Linux frames with the header of the request.
    ///
    /// @param request is a frame, or a record in UTF-8.
    Answer answer(const QByteArray &request, KorvinInspect::ClassId classId,
                  KorvinInspect::Form form);

    /// Carries out a decoded request, and stores outcome and data in it. answer() calls it for each
    /// request, and for each item of a combination. Override it for what your device does besides.
    virtual void carryOut(PackageBase &request);

private:
    QByteArray replyTo(const QByteArray &request, KorvinInspect::ClassId classId,
                       KorvinInspect::Form form, const Fault &fault);

    DeviceState m_state;
    FaultPlan m_faults;
};

} // namespace KorvinSimulator

#endif
