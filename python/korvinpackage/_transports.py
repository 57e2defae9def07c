"""Streams of bytes for the blocking client."""

from __future__ import annotations

import heapq
import select
import socket
import time
from typing import TYPE_CHECKING, Protocol

from korvinpackage._enums import Form
from korvinpackage.simulator import DeviceSession, SimulatedDevice

if TYPE_CHECKING:
    import serial

_PIECE = 65536


class Transport(Protocol):
    """A stream of bytes to a peer, and a clock."""

    def now(self) -> float:
        """Return the time in seconds."""

    def step(self, unsent: bytes, timeout: float | None) -> tuple[int, bytes | None]:
        """Write and read what is possible, and wait until something is, at most ``timeout`` s.

        Returns how many bytes were written, and the bytes that were received: None if there
        are none, empty if the stream has ended. Raises OSError if it fails.
        """

    def close(self) -> None:
        """End the stream."""


class SocketTransport:
    """A connected TCP or Unix socket."""

    def __init__(self, connected: socket.socket) -> None:
        self._socket = connected
        connected.setblocking(False)

    def now(self) -> float:
        return time.monotonic()

    def step(self, unsent: bytes, timeout: float | None) -> tuple[int, bytes | None]:
        writing = [self._socket] if unsent else []
        readable, writable, _ = select.select([self._socket], writing, [], timeout)
        written = self._socket.send(unsent) if writable else 0
        return written, self._socket.recv(_PIECE) if readable else None

    def close(self) -> None:
        self._socket.close()


class SerialTransport:
    """A port of pyserial."""

    def __init__(self, port: serial.SerialBase) -> None:
        self._port = port

    def now(self) -> float:
        return time.monotonic()

    def step(self, unsent: bytes, timeout: float | None) -> tuple[int, bytes | None]:
        if unsent:
            return self._port.write(unsent) or 0, None
        self._port.timeout = timeout
        first = self._port.read(1)
        return 0, (first + self._port.read(self._port.in_waiting)) or None

    def close(self) -> None:
        self._port.close()


class DeviceTransport:
    """A simulated device in the same process, with a clock that runs only while one waits.

    A time-out takes no real time, and the same calls always have the same results.
    """

    def __init__(self, device: SimulatedDevice, form: Form, words: bool) -> None:
        self._session = DeviceSession(device, form, words)
        self._now = 0.0
        self._answers: list[tuple[float, int, bytes]] = []
        self._order = 0

    def now(self) -> float:
        return self._now

    def step(self, unsent: bytes, timeout: float | None) -> tuple[int, bytes | None]:
        for delay, reply in self._session.receive(unsent, self._now):
            self._order += 1
            heapq.heappush(self._answers, (self._now + delay, self._order, reply))
        end = float("inf") if timeout is None else self._now + timeout
        if self._answers and self._answers[0][0] <= end:
            due, _, reply = heapq.heappop(self._answers)
            self._now = max(self._now, due)
            return len(unsent), reply
        if timeout is not None:
            self._now = end
        return len(unsent), None

    def close(self) -> None:
        self._answers.clear()
