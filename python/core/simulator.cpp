#include "simulator.h"

#include "conversions.h"
#include "handle.h"
#include "package.h"

#include <korvinsimulator/simulateddevice.h>

#include <utility>

using namespace KorvinInspect;
using namespace KorvinSimulator;

namespace KorvinPython {

namespace {

/// A device whose requests Python may carry out.
class Device : public SimulatedDevice
{
public:
    /// @param method is a weak reference to the method that carries out requests, or None. The
    /// Python device, whose method it is, owns this one.
    Device(const DeviceState &state, py::object method)
        : SimulatedDevice(state)
        , m_method(std::move(method))
    {
    }

    /// Lets exceptions of Python through answer(), which has nothing to clean up.
    void carryOut(PackageBase &request) override
    {
        const py::object method = m_method.is_none() ? m_method : m_method();
        if (method.is_none())
            SimulatedDevice::carryOut(request);
        else
            callWith(method, request);
    }

private:
    py::object m_method;
};

using DeviceHandle = Handle<Device>;

DeviceState stateFrom(py::handle json)
{
    DeviceState state;
    const QString fault = stateFromJson(objectFrom(json), &state);
    if (!fault.isEmpty())
        failValue(fault);
    return state;
}

py::tuple answer(DeviceHandle &self, py::handle request, const py::str &className, py::handle form)
{
    const QByteArray bytes = messageFrom(request);
    const MessageShape shape = shapeFrom(className, form, py::int_(0));
    const Answer answer = self->answer(bytes, shape.classId, shape.form);
    py::list replies;
    for (const QByteArray &reply : answer.replies)
        replies.append(toPython(reply));
    return py::make_tuple(py::tuple(replies), answer.delay, toPython(answer.verdict),
                          static_cast<int>(answer.fault));
}

/// Reads a fault: kind, delay in seconds, position, acknowledge code and both results.
Fault faultFrom(const py::object &object)
{
    constexpr int MostInt = std::numeric_limits<int>::max();
    const auto number = [&](const char *name, qint64 most) {
        return numberFrom(object.attr(name), name, 0, most);
    };
    Fault fault;
    fault.kind = enumeratorFrom(object.attr("kind"), "kind", FaultKind::Result);
    fault.delay = static_cast<int>(
        qBound<qint64>(0, durationFrom(object.attr("delay"), "delay").count(), MostInt));
    fault.position = static_cast<quint32>(number("position", std::numeric_limits<quint32>::max()));
    fault.outcome.ackCode = static_cast<unsigned>(number("ack_code", 127));
    fault.outcome.commResult = static_cast<OrvexEnum::CommResults>(number("comm_result", MostInt));
    fault.outcome.packResult =
        static_cast<OrvexEnum::PackageResults>(number("pack_result", MostInt));
    return fault;
}

void scriptFaults(DeviceHandle &self, const py::list &script)
{
    std::vector<Fault> faults;
    for (const py::handle item : script)
        faults.push_back(faultFrom(py::reinterpret_borrow<py::object>(item)));
    self->setFaults(FaultPlan::scripted(faults));
}

void drawFaults(DeviceHandle &self, py::handle seed, double share, const py::list &kinds)
{
    if (!(share >= 0 && share <= 1))
        failValue(QStringLiteral("share: not a number from 0 to 1"));
    std::vector<FaultKind> chosen;
    for (const py::handle kind : kinds)
        chosen.push_back(enumeratorFrom(kind, "kinds", FaultKind::Result));
    if (chosen.empty())
        failValue(QStringLiteral("kinds: there are none"));
    const auto number =
        static_cast<quint32>(numberFrom(seed, "seed", 0, std::numeric_limits<quint32>::max()));
    self->setFaults(FaultPlan::random(number, share, chosen));
}

} // namespace

void defineSimulator(py::module_ &module)
{
    using Self = DeviceHandle;
    py::class_<Self>(module, "Device")
        .def(py::init([](py::handle json, py::object method) {
                 return std::make_unique<Self>(
                     std::make_unique<Device>(stateFrom(json), std::move(method)));
             }),
             py::arg("state"), py::arg("method") = py::none())
        .def("answer", &answer)
        .def("carry_out",
             [](Self &self, const Package &request) { self->SimulatedDevice::carryOut(*request); })
        .def("state", [](Self &self) { return toText(stateToJson(self->state())); })
        .def("set_state", [](Self &self, py::handle json) { self->state() = stateFrom(json); })
        .def("script_faults", &scriptFaults)
        .def("draw_faults", &drawFaults);
}

} // namespace KorvinPython
