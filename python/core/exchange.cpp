#include "exchange.h"

#include "conversions.h"
#include "package.h"

#include <korvinexchange/engine.h>
#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>
#include <korvinexchange/linuxframing.h>
#include <korvinexchange/pcapngwriter.h>
#include <korvinexchange/transfer.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>

#include <deque>
#include <limits>
#include <new>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace KorvinPython {

namespace {

constexpr int MostInt = std::numeric_limits<int>::max();

/// Keeps what happens until Python takes it. Without memory an entry is left out.
class KeepingTrace : public Trace
{
public:
    void add(const TraceEntry &entry) override
    {
        try {
            m_entries.push_back(entry);
        } catch (const std::bad_alloc &) {
            return;
        }
    }

    std::deque<TraceEntry> take() { return std::exchange(m_entries, {}); }

private:
    std::deque<TraceEntry> m_entries;
};

struct TracedEngine
{
    explicit TracedEngine(const Settings &settings)
        : engine(settings)
    {
    }

    KeepingTrace trace; ///< Outlives the engine.
    Engine engine;
};

using EngineHandle = Handle<TracedEngine>;
using FramingHandle = Handle<Framing>;

Time momentFrom(py::handle now)
{
    return timeFrom(now, "now").value_or(Time(0));
}

/// Reads the settings from the attributes of a Python object.
class SettingsReader
{
public:
    explicit SettingsReader(const py::object &settings)
        : m_settings(settings)
    {
    }

    std::chrono::milliseconds duration(const char *name) const
    {
        return durationFrom(m_settings.attr(name), name);
    }

    template <typename Number>
    Number number(const char *name, Number most = std::numeric_limits<Number>::max()) const
    {
        return static_cast<Number>(
            numberFrom(m_settings.attr(name), name, 1, static_cast<qint64>(most)));
    }

    std::vector<Form> forms() const
    {
        std::vector<Form> forms;
        for (const py::handle form : m_settings.attr("forms"))
            forms.push_back(enumeratorFrom(form, "forms", Form::Linux));
        return forms;
    }

private:
    py::object m_settings;
};

Settings settingsFrom(const py::object &object)
{
    const SettingsReader reader(object);
    constexpr quint32 LastSerialNum = MostInt;
    Settings settings;
    settings.firstSerialNum = reader.number("first_serial_num", LastSerialNum);
    settings.lastSerialNum = reader.number("last_serial_num", LastSerialNum);
    settings.forms = reader.forms();
    settings.timeout = reader.duration("timeout");
    settings.queueTimeout = reader.duration("queue_timeout");
    settings.rest = reader.duration("rest");
    settings.restAfterReply = reader.duration("rest_after_reply");
    settings.retry.attempts = reader.number<int>("attempts");
    settings.retry.pause = reader.duration("pause");
    settings.retry.longestPause = reader.duration("longest_pause");
    settings.limits.inFlight = reader.number<int>("in_flight");
    settings.limits.queued = reader.number<int>("queued");
    settings.limits.bytesInFlight = reader.number<qint64>("bytes_in_flight");
    settings.limits.messageSize = reader.number<int>("message_size");
    settings.limits.announcedData = reader.number<int>("announced_data");
    settings.limits.serialNumbers = reader.number<int>("serial_numbers");
    return settings;
}

RequestOptions optionsFrom(py::handle timeout, py::handle repeat, py::handle deadline)
{
    RequestOptions options;
    if (!timeout.is_none())
        options.timeout = durationFrom(timeout, "timeout");
    if (!deadline.is_none())
        options.deadline = durationFrom(deadline, "deadline");
    options.repeat = enumeratorFrom(repeat, "repeat", Repeat::Never);
    return options;
}

py::tuple rowOf(const Accepted &accepted)
{
    return py::make_tuple(accepted.id, static_cast<int>(accepted.sendError),
                          toPython(describe(accepted.sendError)));
}

py::tuple send(EngineHandle &self, const Package &package, py::handle now, py::handle timeout,
               py::handle repeat, py::handle deadline)
{
    const RequestOptions options = optionsFrom(timeout, repeat, deadline);
    const Time moment = momentFrom(now);
    return rowOf(self->engine.send(&*package, options, moment));
}

py::tuple sendCombination(EngineHandle &self, const py::list &items, py::handle now,
                          py::handle timeout, py::handle repeat, py::handle deadline)
{
    const RequestOptions options = optionsFrom(timeout, repeat, deadline);
    const Time moment = momentFrom(now);
    std::vector<PackageBase *> packages;
    for (const py::handle item : items)
        packages.push_back(&*item.cast<const Package &>());
    return rowOf(self->engine.sendCombination(packages, options, moment));
}

template <typename Class>
Class *classed(const Package &package)
{
    auto *object = dynamic_cast<Class *>(&*package);
    if (!object)
        throw py::type_error("this transfer takes a package of another class");
    return object;
}

Transfer transferOf(Transfer::Kind kind, const Package &package, const QByteArray &data)
{
    switch (kind) {
    case Transfer::Kind::WriteData:
        return Transfer::writeData(classed<PackageRequestWriteData>(package));
    case Transfer::Kind::ReadData:
        return Transfer::readData(classed<PackageRequestReadData>(package));
    case Transfer::Kind::WriteFile:
        return Transfer::writeFile(classed<PackageRequestWriteFile>(package), data);
    case Transfer::Kind::ReadFile:
        return Transfer::readFile(classed<PackageRequestReadFile>(package));
    case Transfer::Kind::WriteMemory:
        return Transfer::writeMemory(classed<PackageRequestWriteMemData>(package), data);
    default:
        return Transfer::readMemory(classed<PackageRequestReadMemData>(package));
    }
}

py::tuple startTransfer(EngineHandle &self, py::handle kind, const Package &package,
                        py::handle data, py::handle window, py::handle now, py::handle timeout,
                        py::handle repeat, py::handle deadline)
{
    const RequestOptions options = optionsFrom(timeout, repeat, deadline);
    const Time moment = momentFrom(now);
    const auto itsKind = enumeratorFrom(kind, "kind", Transfer::Kind::ReadMemory);
    Transfer transfer = transferOf(itsKind, package, bytesFrom(data));
    transfer.setWindow(static_cast<int>(numberFrom(window, "window", 1, MostInt)));
    return rowOf(self->engine.start(transfer, options, moment));
}

py::object takeMessage(EngineHandle &self, py::handle now)
{
    const std::optional<OutgoingMessage> message = self->engine.takeMessage(momentFrom(now));
    if (!message)
        return py::none();
    return py::make_tuple(message->request, toPython(className(message->shape.classId)),
                          static_cast<int>(message->shape.form), message->attempt,
                          toPython(message->bytes), toPython(message->due));
}

void receive(EngineHandle &self, py::handle form, py::handle message, py::handle now,
             py::handle className)
{
    const auto itsForm = enumeratorFrom(form, "form", Form::Linux);
    std::optional<ClassId> classId;
    if (!className.is_none())
        classId = shapeFrom(py::str(className), form, py::int_(0)).classId;
    const QByteArray bytes = messageFrom(message);
    self->engine.receive(itsForm, bytes, momentFrom(now), classId);
}

py::object takeEvent(EngineHandle &self)
{
    const std::optional<Event> event = self->engine.takeEvent();
    if (!event)
        return py::none();
    return py::make_tuple(static_cast<int>(event->type), event->id,
                          static_cast<int>(event->outcome), static_cast<int>(event->sendError),
                          toPython(event->verdict), event->attempts, toPython(event->latency),
                          event->done, event->total, event->failedOffset, toPython(event->data),
                          toPython(describe(*event)));
}

template <typename Moment>
py::object optionalTime(const Moment &moment)
{
    return moment ? toPython(*moment) : py::object(py::none());
}

py::dict countersOf(EngineHandle &self)
{
    const Counters &counters = self->engine.counters();
    const std::pair<const char *, quint64> rows[] = {
        {"sent", counters.sent},
        {"repeated", counters.repeated},
        {"bytes_sent", counters.bytesSent},
        {"bytes_received", counters.bytesReceived},
        {"answered", counters.answered},
        {"late", counters.late},
        {"duplicate", counters.duplicate},
        {"unknown", counters.unknown},
        {"refused_replies", counters.refusedReplies},
        {"succeeded", counters.succeeded},
        {"failed", counters.failed},
        {"timed_out", counters.timedOut},
        {"cancelled", counters.cancelled},
        {"link_lost", counters.linkLost},
        {"refused", counters.refused},
    };
    py::dict made;
    for (const auto &[name, count] : rows)
        made[name] = count;
    return made;
}

py::object latencyPercentile(EngineHandle &self, double share)
{
    if (!(share >= 0 && share <= 1))
        failValue(QStringLiteral("share: not a number from 0 to 1"));
    return toPython(self->engine.counters().latency.percentile(share));
}

/// Returns what was traced, each entry also as a packet of a capture file.
py::list takeTrace(EngineHandle &self, py::handle origin)
{
    const PcapngWriter writer(momentFrom(origin));
    py::list made;
    for (const TraceEntry &entry : self->trace.take()) {
        made.append(py::make_tuple(
            static_cast<int>(entry.event), toPython(entry.time),
            toPython(className(entry.shape.classId)), static_cast<int>(entry.shape.form),
            static_cast<int>(entry.shape.direction), entry.request, toPython(entry.message),
            toPython(entry.verdict), toPython(describe(entry)), toPython(writer.packet(entry))));
    }
    return made;
}

void defineEngine(py::module_ &module)
{
    using Self = EngineHandle;
    py::class_<Self>(module, "Engine")
        .def(py::init([](const py::object &settings) {
            return std::make_unique<Self>(std::make_unique<TracedEngine>(settingsFrom(settings)));
        }))
        .def("send", &send)
        .def("send_combination", &sendCombination)
        .def("start", &startTransfer)
        .def("take_message", &takeMessage)
        .def("receive", &receive)
        .def("take_event", &takeEvent)
        .def("cancel",
             [](Self &self, quint64 id, py::handle now) {
                 return self->engine.cancel(id, momentFrom(now));
             })
        .def("refuse",
             [](Self &self, quint64 id, py::handle now) {
                 self->engine.refuse(id, momentFrom(now));
             })
        .def("link_lost",
             [](Self &self, py::handle now) { self->engine.linkLost(momentFrom(now)); })
        .def("handle_timeout",
             [](Self &self, py::handle now) { self->engine.handleTimeout(momentFrom(now)); })
        .def("next_timeout", [](Self &self) { return optionalTime(self->engine.nextTimeout()); })
        .def("counters", &countersOf)
        .def("latency_percentile", &latencyPercentile)
        .def("in_flight", [](Self &self) { return self->engine.inFlight(); })
        .def("queued", [](Self &self) { return self->engine.queued(); })
        .def("bytes_in_flight", [](Self &self) { return self->engine.bytesInFlight(); })
        .def("serial_numbers", [](Self &self) { return self->engine.serialNumbers(); })
        .def(
            "set_tracing",
            [](Self &self, bool traces) { self->engine.setTrace(traces ? &self->trace : nullptr); })
        .def("take_trace", &takeTrace);
    module.def("pcapng_header", [] { return toPython(PcapngWriter().header()); });
}

std::unique_ptr<FramingHandle> makeFraming(py::handle form, py::handle messageSize,
                                           py::handle deadline, py::handle direction)
{
    const auto limit = durationFrom(deadline, "deadline");
    const int size = static_cast<int>(numberFrom(messageSize, "message_size", 1, MostInt));
    const auto itsDirection = enumeratorFrom(direction, "direction", Direction::Reply);
    std::unique_ptr<Framing> framing;
    switch (enumeratorFrom(form, "form", Form::Linux)) {
    case Form::Text:
        framing = std::make_unique<LineFraming>(size, limit);
        break;
    case Form::Frame:
        framing = std::make_unique<LengthPrefixFraming>(size, limit);
        break;
    default:
        framing = std::make_unique<LinuxFraming>(itsDirection, limit, size);
    }
    return std::make_unique<FramingHandle>(std::move(framing));
}

py::list listOf(const std::vector<QByteArray> &messages)
{
    py::list made;
    for (const QByteArray &message : messages)
        made.append(toPython(message));
    return made;
}

void defineFraming(py::module_ &module)
{
    using Self = FramingHandle;
    py::class_<Self>(module, "Framing")
        .def(py::init(&makeFraming))
        .def("encode",
             [](Self &self, py::handle message) -> py::object {
                 const auto bytes = self->encode(messageFrom(message));
                 return bytes ? py::object(toPython(*bytes)) : py::none();
             })
        .def("receive",
             [](Self &self, py::handle bytes, py::handle now) {
                 const QByteArray received = bytesFrom(bytes);
                 return listOf(self->receive(received, momentFrom(now)));
             })
        .def("end", [](Self &self) { return listOf(self->end()); })
        .def("fault", [](Self &self) { return static_cast<int>(self->fault()); })
        .def("fault_text", [](Self &self) { return toPython(describe(self->fault())); })
        .def("next_timeout", [](Self &self) { return optionalTime(self->nextTimeout()); })
        .def(
            "handle_timeout",
            [](Self &self, py::handle now) { return listOf(self->handleTimeout(momentFrom(now))); })
        .def("buffered", [](Self &self) { return self->buffered(); });
}

} // namespace

void defineExchange(py::module_ &module)
{
    defineEngine(module);
    defineFraming(module);
}

} // namespace KorvinPython
