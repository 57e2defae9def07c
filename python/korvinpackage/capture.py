"""Capture files in the format pcapng: messages of an engine's trace, and their replay.

Each message is a UDP datagram that begins with the words for form and class, as
``korvinpackage::PcapngWriter`` and Engine.take_trace() write them, and as the Wireshark
dissector of this project reads them.
"""

from __future__ import annotations

import os
import struct
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field

from korvinpackage._enums import Direction, Form
from korvinpackage._inspect import check
from korvinpackage._words import unpack
from korvinpackage.engine import TraceEntry, pcapng_header
from korvinpackage.simulator import SimulatedDevice

_SECTION = 0x0A0D0D0A
_PACKET = 6
_LEAST_BLOCK = 12
_IPV4 = b"\x08\x00"
_UDP = 17


class CaptureError(ValueError):
    """A file is not a capture of this kind."""


@dataclass(frozen=True)
class CapturedMessage:
    """A message of a capture."""

    time: float
    """In seconds since 1970, or whatever origin the capture has."""
    form: Form
    class_name: str
    direction: Direction
    message: bytes

    def __str__(self) -> str:
        return f"{self.direction.name.lower()} of {self.class_name} at {self.time:.6f} s"


@dataclass
class Exchange:
    """A request of a capture, and the replies to it."""

    request: CapturedMessage
    replies: list[CapturedMessage] = field(default_factory=list)

    def __str__(self) -> str:
        return str(self.request)

    def replay(self, device: SimulatedDevice) -> tuple[bytes, ...]:
        """Return what a device replies to the request."""
        request = self.request
        return device.answer(request.message, request.class_name, request.form).replies


def write_capture(path: str | os.PathLike[str], entries: Iterable[TraceEntry]) -> None:
    """Write the messages of a trace into a file, for Wireshark and read_capture()."""
    with open(path, "wb") as file:
        file.write(pcapng_header())
        file.writelines(entry.packet for entry in entries)


def read_capture(path: str | os.PathLike[str], port: int = 5000) -> Iterator[CapturedMessage]:
    """Read the messages of a capture.

    port -- the UDP port of the peer: what goes there is a request, what comes from there a reply

    Skips what is not such a message. Raises CaptureError if the file is not pcapng, or has no such
    message at all.
    """
    with open(path, "rb") as file:
        contents = file.read()
    is_empty = True
    for time, packet in _packets(contents):
        message = _message_of(time, packet, port)
        if message is not None:
            is_empty = False
            yield message
    if is_empty:
        raise CaptureError(f"no UDP datagram from or to port {port} has a message")


def read_exchanges(path: str | os.PathLike[str], port: int = 5000) -> list[Exchange]:
    """Read a capture as requests with their replies.

    A reply belongs to the last request that it can be the answer to; one that answers none, to the
    last request. Raises CaptureError as read_capture() does, and where there is no request.
    """
    exchanges: list[Exchange] = []
    for message in read_capture(path, port):
        if message.direction == Direction.REQUEST:
            exchanges.append(Exchange(message))
        elif exchanges:
            answered = (one for one in reversed(exchanges) if _answers(message, one.request))
            next(answered, exchanges[-1]).replies.append(message)
    if not exchanges:
        raise CaptureError(f"no UDP datagram to port {port} has a request")
    return exchanges


def _answers(reply: CapturedMessage, request: CapturedMessage) -> bool:
    if (reply.form, reply.class_name) != (request.form, request.class_name):
        return False
    return bool(
        check(reply.message, reply.class_name, reply.form, Direction.REPLY, request=request.message)
    )


def _packets(contents: bytes) -> Iterator[tuple[float, bytes]]:
    """Read the packets of a file, each with its time."""
    order = "<"
    position = 0
    if contents[:4] != _SECTION.to_bytes(4, "little"):
        raise CaptureError("not a pcapng file")
    while position < len(contents):
        if len(contents) - position < _LEAST_BLOCK:
            raise CaptureError(f"a block at byte {position} is cut off")
        kind = int.from_bytes(contents[position : position + 4], "little")
        if kind == _SECTION:
            magic = contents[position + 8 : position + 12]
            order = "<" if magic == b"\x4d\x3c\x2b\x1a" else ">"
        kind, size = struct.unpack_from(order + "II", contents, position)
        if size < _LEAST_BLOCK or size > len(contents) - position:
            raise CaptureError(f"a block at byte {position} has a wrong size")
        if kind == _PACKET and size >= 32:
            high, low, captured = struct.unpack_from(order + "III", contents, position + 12)
            packet = contents[position + 28 : position + 28 + min(captured, size - 32)]
            yield ((high << 32) + low) / 1e6, packet
        position += size


def _message_of(time: float, packet: bytes, port: int) -> CapturedMessage | None:
    """Return the message in an Ethernet frame with an IPv4 datagram of UDP."""
    ip = packet[14:]
    if packet[12:14] != _IPV4 or len(ip) < 20 or ip[9] != _UDP:
        return None
    udp = ip[4 * (ip[0] & 15) :]
    if len(udp) < 8:
        return None
    source, target = struct.unpack_from(">HH", udp)
    unpacked = unpack(udp[8:])
    if unpacked is None or port not in (source, target):
        return None
    form, class_name, message = unpacked
    direction = Direction.REQUEST if target == port else Direction.REPLY
    return CapturedMessage(time, form, class_name, direction, message)
