"""The engine, the framings and the link of both clients, without I/O."""

from __future__ import annotations

import gc

import pytest

from korvinpackage import (
    Direction,
    Engine,
    Finished,
    Form,
    Framing,
    FramingFault,
    LinkLostError,
    Outcome,
    PackageBase,
    PackageRequestReadData,
    PackageRequestWriteData,
    PackageRequestWriteFile,
    PackResult,
    Progress,
    Repeat,
    SendError,
    Settings,
    SimulatedDevice,
    SpecialPackageRequest,
    TraceEvent,
    TransferKind,
)
from korvinpackage._link import Link

ADDRESS = 0x0A000010


def read(length=3, **fields):
    return PackageRequestReadData(reply_data_length=length, high_addr=0x0A00, low_addr=0x10, **fields)


def device():
    made = SimulatedDevice()
    made.set_block(ADDRESS, b"\x01\xff\x10")
    return made


def answer(engine, made, now):
    """Let a device answer all messages."""
    while message := engine.take_message(now):
        for reply in made.answer(message.bytes, message.class_name, message.form).replies:
            engine.receive(message.form, reply, now, message.class_name)


def test_a_read():
    engine = Engine()
    package = read(serial_num=900)
    id = engine.send(package, 0)
    assert package.comm_result.name == "PENDING"
    message = engine.take_message(0)
    assert (message.request, message.class_name, message.form, message.attempt) == (
        id, "PackageRequestReadData", Form.TEXT, 1)
    assert message.due == 3.0
    assert engine.in_flight == 1
    assert engine.bytes_in_flight > 0
    assert engine.serial_numbers == 1
    assert engine.next_timeout() == 3.0
    assert engine.take_message(0) is None
    reply = device().answer(message.bytes, message.class_name, message.form).replies[0]
    engine.receive(Form.TEXT, reply, 0.25)
    event = engine.take_event()
    assert isinstance(event, Finished)
    assert event.id == id
    result = event.result
    assert result
    assert str(result) == "success"
    assert result.package is package
    assert (result.attempts, result.latency) == (1, 0.25)
    assert package.data == b"\x01\xff\x10"
    assert package.serial_num == 900
    assert engine.take_event() is None
    assert engine.counters.answered == 1
    assert engine.latency_percentile(0.5) >= 0.25
    assert engine.next_timeout() is None


def test_a_time_out():
    engine = Engine(Settings(attempts=1))
    package = PackageRequestWriteData(data=b"a")
    engine.send(package, 0, timeout=0.5)
    engine.take_message(0)
    engine.handle_timeout(0.499999)
    assert engine.take_event() is None
    engine.handle_timeout(0.5)
    result = engine.take_event().result
    assert not result
    assert result.outcome is Outcome.TIMED_OUT
    assert package.pack_result is PackResult.TIME_OUT


def test_a_deadline_and_repeats():
    engine = Engine(Settings(timeout=1, pause=0))
    engine.send(read(), 0, deadline=1.5, repeat=Repeat.ALWAYS)
    assert engine.take_message(0).attempt == 1
    assert engine.take_message(1).attempt == 2
    engine.handle_timeout(1.5)
    assert engine.take_event().result.outcome is Outcome.TIMED_OUT


def test_refused_requests_have_an_event_too():
    engine = Engine(Settings(queued=1))
    engine.send(read(), 0)
    id = engine.send(read(), 0)
    event = engine.take_event()
    assert event.id == id
    assert event.result.outcome is Outcome.REFUSED
    assert event.result.send_error is SendError.QUEUE_FULL
    assert "queue" in str(event.result) or "many" in str(event.result)
    assert not engine.cancel(id, 0)
    assert engine.queued == 1


def test_not_carried():
    engine = Engine(Settings(forms=(Form.LINUX,)))
    engine.send(PackageBase(), 0)
    assert engine.take_message(0) is None
    assert engine.take_event().result.send_error is SendError.NOT_CARRIED
    id = engine.send(read(), 0)
    assert engine.take_message(0).request == id
    engine.refuse(id, 0)
    assert engine.take_event().result.send_error is SendError.NOT_CARRIED


def test_cancel_and_link_lost():
    engine = Engine()
    first, second = engine.send(read(), 0), engine.send(read(), 0)
    assert engine.cancel(first, 0)
    assert not engine.cancel(first, 0)
    engine.link_lost(0)
    assert [(engine.take_event().id, engine.take_event().id)] == [(first, second)]


def test_combinations():
    engine = Engine()
    packages = [read(), PackageRequestWriteData(data=b"ab", high_addr=0x0A00, low_addr=0x10)]
    ids = engine.send_combination(packages, 0)
    answer(engine, device(), 0)
    events = [engine.take_event() for _ in packages]
    assert [event.id for event in events] == ids
    assert all(event.result for event in events)
    refused = engine.send_combination([packages[0], packages[0]], 0)
    assert [engine.take_event().result.send_error for _ in refused] == [SendError.TOO_MANY_ITEMS] * 2


def test_transfers():
    engine = Engine(Settings(forms=(Form.FRAME,)))
    made = SimulatedDevice()
    made.set_block(ADDRESS, bytes(range(10)))
    package = read(10, max_part_size=4)
    id = engine.start(TransferKind.READ_DATA, package, 0)
    events = []
    for now in range(9):
        answer(engine, made, now)
        while event := engine.take_event():
            events.append(event)
    assert all(isinstance(event, Progress) for event in events[:-1])
    assert {event.id for event in events} == {id}
    assert events[0].total == 10
    assert events[-1].result.data == bytes(range(10)) == package.data
    assert events[-1].result.done == events[-1].result.total == 10


def test_transfers_of_other_classes():
    engine = Engine()
    for kind in TransferKind:
        with pytest.raises(TypeError):
            engine.start(kind, PackageBase(), 0)
    with pytest.raises(ValueError):
        engine.start(6, read(), 0)
    with pytest.raises(ValueError):
        engine.start(TransferKind.READ_DATA, read(), 0, window=0)


def test_a_deleted_package_stays_until_its_event():
    engine = Engine()
    engine.send(read(tag="kept"), 0)
    gc.collect()
    assert engine.take_message(0) is not None
    engine.link_lost(0)
    assert engine.take_event().result.package.tag == "kept"


def test_a_raw_engine_survives_that_its_package_is_gone():
    from korvinpackage import _core

    raw = _core.Engine(Settings())
    raw.send(read(), 0, None, 0, None)
    gc.collect()
    assert raw.take_message(0) is None
    assert raw.take_event()[2] == Outcome.CANCELLED
    raw.start(TransferKind.READ_DATA, read(9, max_part_size=2), b"", 4, 0, None, 0, None)
    gc.collect()
    assert raw.take_message(0) is None


def test_trace():
    engine = Engine()
    engine.set_tracing(True)
    engine.send(read(), 1)
    answer(engine, device(), 1)
    entries = engine.take_trace()
    assert [entry.event for entry in entries] == [TraceEvent.SENT, TraceEvent.ANSWERED]
    assert [entry.direction for entry in entries] == [Direction.REQUEST, Direction.REPLY]
    assert entries[0].time == 1.0
    assert entries[0].verdict
    assert "PackageRequestReadData" in entries[0].text
    assert engine.take_trace() == []
    engine.set_tracing(False)
    engine.send(read(), 1)
    answer(engine, device(), 1)
    assert engine.take_trace() == []


@pytest.mark.parametrize(
    "settings",
    [
        {"first_serial_num": 0},
        {"last_serial_num": 1 << 31},
        {"forms": (7,)},
        {"timeout": float("nan")},
        {"timeout": float("inf")},
        {"in_flight": 0},
        {"bytes_in_flight": 1 << 64},
    ],
)
def test_settings_out_of_range(settings):
    with pytest.raises(ValueError, match=next(iter(settings))):
        Engine(Settings(**settings))


@pytest.mark.parametrize("settings", [{"forms": 1}, {"timeout": "1"}, {"attempts": 1.5}])
def test_settings_of_wrong_types(settings):
    with pytest.raises(TypeError):
        Engine(Settings(**settings))


def test_wrong_times_and_shares():
    engine = Engine()
    for now in (float("nan"), float("inf"), 1e300):
        with pytest.raises(ValueError, match="now"):
            engine.handle_timeout(now)
    with pytest.raises(ValueError):
        engine.latency_percentile(1.1)


def test_framings():
    lines = Framing(Form.TEXT, message_size=4, deadline=1)
    assert lines.encode("ab") == b"ab\n"
    assert lines.encode(b"a\nb") is None
    assert lines.receive(b"ab\r\nc", 0) == [b"ab"]
    assert lines.buffered == 1
    assert lines.next_timeout() == 1.0
    assert lines.handle_timeout(2) == []
    assert lines.fault is FramingFault.OVERDUE
    assert lines.fault_text
    prefixed = Framing(Form.FRAME)
    assert prefixed.encode(b"ab") == b"\2\0\0\0ab"
    assert prefixed.receive(b"\2\0\0\0ab", 0) == [b"ab"]
    assert prefixed.end() == []
    assert prefixed.fault is FramingFault.NONE
    frame = read().to_linux_frame()
    assert Framing(Form.LINUX, direction=Direction.REQUEST).receive(b"x" + frame, 0) == [frame]
    for wrong in ({"message_size": 0}, {"deadline": float("nan")}, {"direction": 2}):
        with pytest.raises(ValueError):
            Framing(Form.TEXT, **wrong)


def test_a_link_refuses_what_its_framing_cannot_carry():
    link = Link(Settings(forms=(Form.TEXT,)), words=False)
    pending = link.add(link.engine.send(SpecialPackageRequest(str_data="a\nb"), 0))
    assert list(link.outgoing(0)) == []
    link.settle()
    assert pending.result.outcome is Outcome.REFUSED


def test_a_link_ignores_messages_without_words():
    link = Link(Settings(forms=(Form.LINUX,)), words=True)
    pending = link.add(link.engine.send(read(), 0))
    (sent,) = link.outgoing(0)
    assert sent[4:].startswith(b"linux PackageRequestReadData \x55\xaa")
    for message in (b"nothing", b"linux Nothing x", b"other PackageBase x"):
        link.receive(len(message).to_bytes(4, "little") + message, 0)
    link.settle()
    assert pending.result is None


def test_a_link_is_lost_with_its_framing():
    link = Link(Settings(message_size=1), words=False)
    with pytest.raises(LinkLostError):
        link.receive(b"too long", 0)
    link = Link(Settings(), words=False)
    link.receive(b"begun", 0)
    assert link.next_timeout() == 3.0
    with pytest.raises(LinkLostError):
        link.handle_timeout(4)


def test_writing_a_file():
    engine = Engine()
    made = SimulatedDevice()
    made.set_block(ADDRESS, bytes(8))
    package = PackageRequestWriteFile(file_name_with_path="a", high_addr=0x0A00, low_addr=0x10,
                                      max_part_size=8)
    engine.start(TransferKind.WRITE_FILE, package, 0, data=b"hello, device")
    for now in range(9):
        answer(engine, made, now)
    assert made.file("a") == b"hello, device"
