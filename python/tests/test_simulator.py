"""The simulated device, its state and its faults."""

from __future__ import annotations

import weakref

import pytest

from korvinpackage import (
    Answer,
    Client,
    CommResult,
    Direction,
    Fault,
    FaultKind,
    Form,
    PackageBase,
    PackageRequestCombination,
    PackageRequestReadData,
    PackageRequestWriteData,
    PackResult,
    Refusal,
    SimulatedDevice,
    SpecialPackageRequest,
)

ADDRESS = 0x0A000010
READ = PackageRequestReadData(reply_data_length=3, high_addr=0x0A00, low_addr=0x10, des_addr=255)


def answered(device, request=READ):
    return device.answer(request.to_record(), type(request), Form.TEXT)


def device():
    made = SimulatedDevice()
    made.set_block(ADDRESS, b"\x01\xff\x10", des_addr=255)
    return made


def test_answers():
    answer = answered(device())
    assert isinstance(answer, Answer)
    assert answer.verdict
    assert answer.delay == 0
    assert answer.fault is FaultKind.NONE
    (reply,) = answer.replies
    decoded = PackageRequestReadData.from_reply_record(reply, request=READ.to_record())
    assert decoded.data == b"\x01\xff\x10"
    for form, frame in ((Form.FRAME, READ.to_frame()), (Form.LINUX, READ.to_linux_frame())):
        assert device().answer(frame, "PackageRequestReadData", form).replies


class Counter(SimulatedDevice):
    """A device whose register at ADDRESS counts how often it was read."""

    reads = 0

    def carry_out(self, request):
        super().carry_out(request)
        if isinstance(request, PackageRequestReadData) and request.low_addr == 0x10:
            self.reads += 1
            request.data = bytes([self.reads])
            request.comm_result = CommResult.OK
            request.pack_result = PackResult.OK
            request.ack_code = 0


def test_behaviour_of_a_device():
    made = Counter({"specials": [{"id": 12, "answer": "hello"}]})
    for reads in (1, 2):
        with Client.device(made) as client:
            read = PackageRequestReadData(reply_data_length=1, low_addr=0x10)
            assert client.exchange(read)
            assert read.data == bytes([reads])
            assert not client.exchange(PackageRequestReadData(reply_data_length=1))
            assert client.exchange(SpecialPackageRequest(id=12)).package.str_data == "hello"
    record = PackageRequestCombination([READ, READ]).to_record()
    made.answer(record, "PackageRequestCombination", Form.TEXT)
    assert made.reads == 4


def test_behaviour_that_fails():
    class Broken(SimulatedDevice):
        def carry_out(self, request):
            raise self.error

    made = Broken()
    for error in (KeyError("none"), MemoryError(), KeyboardInterrupt()):
        made.error = error
        with pytest.raises(type(error)):
            answered(made)
    made = Broken()
    abandoned = weakref.ref(made)
    inner = made._core
    del made
    assert abandoned() is None
    (reply,) = inner.answer(READ.to_record(), "PackageRequestReadData", Form.TEXT)[0]
    assert not PackageRequestReadData.from_reply_record(reply).is_success


def test_behaviour_that_does_what_it_must_not():
    class Wild(SimulatedDevice):
        def carry_out(self, request):
            if self.depth < 3:
                self.depth += 1
                answered(self)
                self.state = {}
            else:
                request.__class__ = self.other
                request.__init__()

    made = Wild()
    for other in (PackageBase, SpecialPackageRequest):
        made.depth, made.other = 0, other
        (reply,) = answered(made).replies
        assert PackageRequestReadData.from_reply_record(reply, request=READ.to_record())
    for wrong in (None, 1, object(), PackageBase.__new__(PackageBase)):
        with pytest.raises((TypeError, RuntimeError)):
            SimulatedDevice().carry_out(wrong)


def test_refused_requests():
    answer = device().answer(b"nothing", PackageBase, Form.TEXT)
    assert answer.replies == ()
    assert answer.verdict.refusal is Refusal.TOO_FEW_FIELDS


def test_state():
    made = SimulatedDevice({"specials": [{"id": 12, "answer": "hello"}], "maxPartSize": 7})
    reply = answered(made, SpecialPackageRequest(id=12)).replies[0]
    assert reply == b"12,3,hello,0"
    state = made.state
    assert state["maxPartSize"] == 7
    state["maxPartSize"] = 8
    assert made.state["maxPartSize"] == 7
    made.state = state
    assert made.state["maxPartSize"] == 8
    for wrong in ({"unknown": 1}, {"maxPartSize": "x"}):
        with pytest.raises(ValueError):
            made.state = wrong
        with pytest.raises(ValueError):
            SimulatedDevice(wrong)
    assert made.state["maxPartSize"] == 8


def test_blocks_and_files():
    made = device()
    made.set_block(0, b"other")
    made.set_block(ADDRESS, b"new", des_addr=255)
    assert made.block(ADDRESS, des_addr=255) == b"new"
    assert made.block(0) == b"other"
    with pytest.raises(KeyError):
        made.block(1)
    with pytest.raises(KeyError):
        SimulatedDevice().block(0)
    with pytest.raises(TypeError):
        made.block(0, unknown=1)
    made.set_file("a", b"1")
    made.set_file("b", b"2")
    made.set_file("a", b"3")
    assert (made.file("a"), made.file("b")) == (b"3", b"2")
    with pytest.raises(KeyError):
        made.file("c")
    made.answer(PackageRequestWriteData(data=b"ab").to_frame(), PackageRequestWriteData, Form.FRAME)
    assert made.block(0) == b"abher"


def test_scripted_faults():
    made = device()
    whole = answered(made).replies
    made.script_faults([
        Fault(FaultKind.DROP_REQUEST),
        Fault(FaultKind.DROP_REPLY),
        Fault(FaultKind.DELAY, delay=0.25),
        Fault(FaultKind.TRUNCATE, position=4),
        Fault(FaultKind.CORRUPT, position=0),
        Fault(FaultKind.DUPLICATE),
        Fault(FaultKind.RESULT, ack_code=3, comm_result=CommResult.PORT_ERR,
              pack_result=PackResult.INVALID_PORT),
    ])
    answers = [answered(made) for _ in range(8)]
    assert answers[0].replies == answers[1].replies == ()
    assert answers[2].delay == 0.25
    assert answers[3].replies[0] == whole[0][:4]
    assert answers[4].replies[0][0] == whole[0][0] ^ 1
    assert answers[5].replies == whole * 2
    assert b",portErr,invalidPort,3," in answers[6].replies[0]
    assert answers[7].fault is FaultKind.NONE
    assert [answer.fault for answer in answers[:7]] == [
        FaultKind.DROP_REQUEST, FaultKind.DROP_REPLY, FaultKind.DELAY, FaultKind.TRUNCATE,
        FaultKind.CORRUPT, FaultKind.DUPLICATE, FaultKind.RESULT]


def test_drawn_faults():
    made = device()

    def drawn(seed):
        made.draw_faults(0.5, seed=seed)
        return [answered(made).fault for _ in range(50)]

    assert drawn(1) == drawn(1)
    assert drawn(1) != drawn(2)
    assert FaultKind.NONE in drawn(1)
    made.draw_faults(0)
    assert answered(made).fault is FaultKind.NONE
    made.draw_faults(1, [FaultKind.DELAY])
    assert answered(made).fault is FaultKind.DELAY


@pytest.mark.parametrize(
    "arguments", [(2,), (-1,), (float("nan"),), (0.5, []), (0.5, [9])]
)
def test_wrong_faults(arguments):
    with pytest.raises(ValueError):
        device().draw_faults(*arguments)


@pytest.mark.parametrize(
    "fault, error",
    [
        (Fault(9), ValueError),
        (Fault(FaultKind.RESULT, ack_code=128), ValueError),
        (Fault(FaultKind.TRUNCATE, position=-1), ValueError),
        (Fault(FaultKind.DELAY, delay=float("inf")), ValueError),
        (Fault(FaultKind.DELAY, delay="x"), TypeError),
        (1, AttributeError),
    ],
)
def test_wrong_scripts(fault, error):
    with pytest.raises(error):
        device().script_faults([fault])


def test_a_session_ignores_what_it_cannot_guess():
    from korvinpackage import DeviceSession

    session = DeviceSession(device(), Form.TEXT)
    assert session.receive(b"nothing\n", 0) == []
    record = PackageRequestReadData(reply_data_length=3, high_addr=0x0A00, low_addr=0x10,
                                    des_addr=255).to_record()
    ((delay, reply),) = session.receive(record.encode() + b"\n", 0)
    assert delay == 0
    assert reply.endswith(b",3,1/255/16\n")
    worded = DeviceSession(device(), Form.TEXT, words=True)
    assert worded.receive(b"nothing\n", 0) == []
    assert Direction.REPLY == 1
