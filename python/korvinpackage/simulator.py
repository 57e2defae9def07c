"""A device in memory, and its face on a stream of bytes."""

from __future__ import annotations

import json
import weakref
from collections.abc import Iterable, Mapping
from dataclasses import dataclass
from typing import Any

from korvinpackage import _core
from korvinpackage._classes import PackageBase
from korvinpackage._enums import CommResult, Direction, FaultKind, Form, PackResult
from korvinpackage._inspect import ClassOrName, Message, best_guess, check, name_of
from korvinpackage._values import Verdict
from korvinpackage._words import pack, unpack
from korvinpackage.engine import Framing


@dataclass(frozen=True)
class Fault:
    """A fault that one request meets.

    delay -- of DELAY: seconds, rounded to milliseconds
    position -- of CORRUPT: the bit to flip; of TRUNCATE: how many bytes to keep
    ack_code, comm_result, pack_result -- of RESULT: the outcome; ack_code is 0 to 127
    """

    kind: FaultKind
    delay: float = 0.0
    position: int = 0
    ack_code: int = 0
    comm_result: CommResult = CommResult.OK
    pack_result: PackResult = PackResult.OK


@dataclass(frozen=True)
class Answer:
    """What a device answers to a request."""

    replies: tuple[bytes, ...]
    """To be sent after the delay: usually one, none if something was lost or refused."""
    delay: float
    """In seconds."""
    verdict: Verdict
    """That of check() on the request."""
    fault: FaultKind
    """The fault that the request met."""


class SimulatedDevice:
    """A device in memory: registers, data blocks, files and memory.

    state -- the state as docs/simulator.md describes it in JSON. Raises ValueError if it is wrong.

    An address of a unit is given by the fields of a package: scr_addr, des_addr, device_type,
    port_addr, scan_board_addr, each 0 by default.
    """

    def __init__(self, state: Mapping[str, Any] | None = None) -> None:
        is_own = type(self).carry_out is SimulatedDevice.carry_out
        method = None if is_own else weakref.WeakMethod(self.carry_out)
        self._core = _core.Device(json.dumps(dict(state or {})), method)

    @property
    def state(self) -> dict[str, Any]:
        """The whole state as JSON. Assign it to change it; to change the copy changes nothing."""
        state: dict[str, Any] = json.loads(self._core.state())
        return state

    @state.setter
    def state(self, state: Mapping[str, Any]) -> None:
        self._core.set_state(json.dumps(dict(state)))

    def answer(self, request: Message, package_class: ClassOrName, form: Form) -> Answer:
        """Answer one request."""
        replies, delay, verdict, fault = self._core.answer(request, name_of(package_class), form)
        return Answer(replies, delay / 1000, verdict, FaultKind(fault))

    def carry_out(self, request: PackageBase) -> None:
        """Carry out a decoded request, and store results and data in it.

        answer() calls it for each request, and for each one of a combination. Override it to add
        behaviour of your device. What it raises, answer() raises.
        """
        self._core.carry_out(request)

    def script_faults(self, faults: Iterable[Fault]) -> None:
        """Set the faults of the next requests, one for each; later ones meet none."""
        self._core.script_faults(list(faults))

    def draw_faults(
        self, share: float, kinds: Iterable[FaultKind] = tuple(FaultKind)[1:], *, seed: int = 0
    ) -> None:
        """Let a share (0 to 1) of the requests meet one of the kinds, the same for each seed."""
        self._core.draw_faults(seed, share, list(kinds))

    def set_block(self, address: int, data: bytes, **unit: int) -> None:
        """Put bytes at register addresses from ``address`` on, instead of what begins there."""
        data = bytes(memoryview(data))  # a text has none
        state = self.state
        blocks = _unit_of(state, unit).setdefault("blocks", [])
        blocks[:] = [block for block in blocks if int(block["address"], 0) != address]
        blocks.append({"address": f"0x{address:08X}", "data": data.hex(), "filled": len(data)})
        self.state = state

    def block(self, address: int, **unit: int) -> bytes:
        """Return the bytes that begin at a register address. Raises KeyError if there are none."""
        for block in _unit_of(self.state, unit).get("blocks", []):
            if int(block["address"], 0) == address:
                return bytes.fromhex(block.get("data", "")).ljust(block.get("size", 0), b"\0")
        raise KeyError(f"no block begins at 0x{address:08X}")

    def set_file(self, name: str, data: bytes, **unit: int) -> None:
        """Put a file on a unit, instead of one of the same name."""
        data = bytes(memoryview(data))
        state = self.state
        files = _unit_of(state, unit).setdefault("files", [])
        files[:] = [file for file in files if file["name"] != name]
        files.append({"name": name, "data": data.hex()})
        self.state = state

    def file(self, name: str, **unit: int) -> bytes:
        """Return the bytes of a file. Raises KeyError if there is none."""
        for file in _unit_of(self.state, unit).get("files", []):
            if file["name"] == name:
                return bytes.fromhex(file["data"])
        raise KeyError(f"no file {name!r}")


_UNIT = {
    "scr_addr": "scrAddr",
    "des_addr": "desAddr",
    "device_type": "deviceType",
    "port_addr": "portAddr",
    "scan_board_addr": "scanBoardAddr",
}


def _unit_of(state: dict[str, Any], address: dict[str, int]) -> dict[str, Any]:
    """Return the unit of an address in a state, which gets a new one if it has none."""
    for name in address:
        if name not in _UNIT:
            raise TypeError(f"a unit has no address {name!r}")
    wanted = {key: address.get(name, 0) for name, key in _UNIT.items()}
    units: list[dict[str, Any]] = state.setdefault("units", [])
    for unit in units:
        if all(unit.get(key, 0) == value for key, value in wanted.items()):
            return unit
    units.append(dict(wanted))
    return units[-1]


class DeviceSession:
    """The side of a device on a stream of bytes, without I/O.

    form -- the form of the requests, which are framed as Framing says
    words -- whether messages begin with the words for form and class, as those of the proxy and
        device of this project. Without them the class of a request is the best guess, and a read
        of a register, whose record is that of a data read, is a data read.
    """

    def __init__(self, device: SimulatedDevice, form: Form = Form.TEXT, words: bool = False) -> None:
        self.device = device
        self._form = form
        self._words = words
        framed = Form.FRAME if words and form == Form.LINUX else form
        self.framing = Framing(framed, direction=Direction.REQUEST)

    def receive(self, data: bytes, now: float) -> list[tuple[float, bytes]]:
        """Return the delays, in seconds, and the bytes of the answers to received bytes."""
        answers = []
        for message in self.framing.receive(data, now):
            delay, replies = self._answer(message)
            answers += [(delay, reply) for reply in replies]
        return answers

    def _answer(self, message: bytes) -> tuple[float, list[bytes]]:
        shape = self._shape_of(message)
        if shape is None:
            return 0.0, []
        form, name, request = shape
        answer = self.device.answer(request, name, form)
        replies = [pack(form, name, reply) if self._words else reply for reply in answer.replies]
        framed = [self.framing.encode(reply) for reply in replies]
        return answer.delay, [reply for reply in framed if reply is not None]

    def _shape_of(self, message: bytes) -> tuple[Form, str, bytes] | None:
        if self._words:
            return unpack(message)
        guessed = best_guess(message, None, self._form, Direction.REQUEST)
        assert guessed is not None, "every form has requests"
        name = guessed.class_name
        if name == "PackageRequestRead" and check(message, "PackageRequestReadData", self._form):
            name = "PackageRequestReadData"
        return self._form, name, message
