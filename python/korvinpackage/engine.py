"""Ties replies to requests, without sockets, threads, timers and clocks."""

from __future__ import annotations

from collections import deque
from collections.abc import Sequence
from dataclasses import dataclass, field

from korvinpackage import _core
from korvinpackage._classes import PackageBase
from korvinpackage._enums import (
    Direction,
    Form,
    FramingFault,
    Outcome,
    Repeat,
    SendError,
    TraceEvent,
    TransferKind,
)
from korvinpackage._inspect import Bytes, Message
from korvinpackage._values import Verdict


@dataclass(frozen=True)
class Settings:
    """Settings of a link. Times are in seconds.

    Numbers outside 1 to the largest of their type raise ValueError when an engine is made.
    """

    first_serial_num: int = 1
    last_serial_num: int = 255
    """Leave it at 255 unless the peer is known to return larger numbers."""
    forms: Sequence[Form] = (Form.TEXT,)
    """The forms that the peer accepts, the preferred one first."""
    timeout: float = 3.0
    """How long a reply may take."""
    queue_timeout: float = 60.0
    """How long a request may wait before it is sent."""
    rest: float = 0.0
    """How long a serial number rests after a request without a reply; 0: ten time-outs, at least 60."""
    rest_after_reply: float = 0.1
    attempts: int = 3
    """Attempts of a request that may be repeated, including the first."""
    pause: float = 0.1
    """Pause before the second attempt; it doubles before each further one."""
    longest_pause: float = 5.0
    in_flight: int = 64
    """Most requests under way at a time."""
    queued: int = 1024
    """Most waiting requests and events."""
    bytes_in_flight: int = 4 << 20
    message_size: int = 1 << 20
    """Largest message in bytes."""
    announced_data: int = 1 << 20
    """Most bytes of data that one request may ask for."""
    serial_numbers: int = 4096


@dataclass(frozen=True)
class Result:
    """How a request or transfer has ended. True if it has succeeded."""

    outcome: Outcome
    package: PackageBase
    """The caller's package. It has the results; after a data read, the data."""
    send_error: SendError = SendError.NONE
    verdict: Verdict = Verdict()
    """Why the request, or a reply to it, was refused."""
    attempts: int = 0
    latency: float = 0.0
    """Seconds from the first attempt to the reply."""
    done: int = 0
    """Of a transfer: bytes done without a gap from its beginning on."""
    total: int = 0
    failed_offset: int = -1
    """Of a transfer that failed: the offset of its first part that is not done."""
    data: bytes = field(default=b"", repr=False)
    """Of a transfer that reads: its first ``done`` bytes."""
    reason: str = ""
    """All of it in one line."""

    def __bool__(self) -> bool:
        return self.outcome == Outcome.SUCCESS

    def __str__(self) -> str:
        return self.reason


@dataclass(frozen=True)
class Finished:
    """A request or transfer has ended. It is the last event of its id."""

    id: int
    result: Result


@dataclass(frozen=True)
class Progress:
    """The first ``done`` of ``total`` bytes of a transfer are done."""

    id: int
    done: int
    total: int


@dataclass(frozen=True)
class OutgoingMessage:
    """A message to send."""

    request: int
    class_name: str
    form: Form
    attempt: int
    bytes: bytes
    due: float
    """When the time for its reply is over."""


@dataclass(frozen=True)
class TraceEntry:
    """A message, and what happened with it."""

    event: TraceEvent
    time: float
    class_name: str
    form: Form
    direction: Direction
    request: int
    message: bytes
    verdict: Verdict
    text: str
    """All of it in one line."""
    packet: bytes = field(repr=False)
    """The message as a block of a pcapng file, see capture.py."""


@dataclass(frozen=True)
class Counters:
    """Counts of events on a link."""

    sent: int
    repeated: int
    bytes_sent: int
    bytes_received: int
    answered: int
    late: int
    duplicate: int
    unknown: int
    refused_replies: int
    succeeded: int
    failed: int
    timed_out: int
    cancelled: int
    link_lost: int
    refused: int


class Engine:
    """Matches requests and replies on one link to a peer.

    It turns packages into messages to send, and received messages into finished requests.
    The caller passes the time to each operation, in seconds since any moment: use
    ``time.monotonic()``. After each call, take the messages and the events, and call
    handle_timeout() at next_timeout().

    Do not change a package until its request has finished.
    """

    def __init__(self, settings: Settings = Settings()) -> None:
        self._core = _core.Engine(settings)
        self._packages: dict[int, PackageBase] = {}
        self._refused: deque[Finished] = deque()
        self._last_refused = 0

    def send(
        self,
        package: PackageBase,
        now: float,
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> int:
        """Send a request of any class and return its id, which its events have.

        timeout -- seconds that a reply may take, instead of those of the settings
        deadline -- seconds until the request ends at the latest, with all waiting and attempts
        """
        accepted = self._core.send(package, now, timeout, repeat, deadline)
        return self._accepted(accepted, [package])[0]

    def send_combination(
        self,
        packages: Sequence[PackageBase],
        now: float,
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> list[int]:
        """Send several requests in one record and return their ids."""
        items = list(packages)
        accepted = self._core.send_combination(items, now, timeout, repeat, deadline)
        return self._accepted(accepted, items)

    def start(
        self,
        kind: TransferKind,
        package: PackageBase,
        now: float,
        *,
        data: Bytes = b"",
        window: int = 4,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> int:
        """Begin a transfer of more data than one request carries, and return its id.

        package -- says what to transfer: address, length or data, name, offset
        data -- the bytes to write, of files and memory
        window -- the most parts in flight at a time
        """
        accepted = self._core.start(
            kind, package, data, window, now, timeout, repeat, deadline
        )
        return self._accepted(accepted, [package])[0]

    def _accepted(
        self, accepted: tuple[int, int, str], packages: list[PackageBase]
    ) -> list[int]:
        first, error, text = accepted
        if first:
            ids = list(range(first, first + len(packages)))
            self._packages.update(zip(ids, packages))
            return ids
        ids = []
        for package in packages:
            self._last_refused -= 1
            ids.append(self._last_refused)
            result = Result(Outcome.REFUSED, package, SendError(error), reason=f"refused: {text}")
            self._refused.append(Finished(self._last_refused, result))
        return ids

    def cancel(self, id: int, now: float) -> bool:
        """End a request or transfer with Outcome.CANCELLED. Return false if it has ended."""
        return id > 0 and self._core.cancel(id, now)

    def refuse(self, id: int, now: float) -> None:
        """End a request whose message the transport cannot carry."""
        self._core.refuse(id, now)

    def link_lost(self, now: float) -> None:
        """End all requests with Outcome.LINK_LOST."""
        self._core.link_lost(now)

    def take_message(self, now: float) -> OutgoingMessage | None:
        """Return the next message to send, and count it as sent."""
        row = self._core.take_message(now)
        if row is None:
            return None
        request, class_name, form, attempt, message, due = row
        return OutgoingMessage(request, class_name, Form(form), attempt, message, due)

    def receive(
        self, form: Form, message: Message, now: float, class_name: str | None = None
    ) -> None:
        """Handle a received message.

        class_name -- the class of the message, if the transport says it
        """
        self._core.receive(form, message, now, class_name)

    def next_timeout(self) -> float | None:
        """Return when to call handle_timeout(), if ever."""
        return self._core.next_timeout()

    def handle_timeout(self, now: float) -> None:
        """End what has taken too long."""
        self._core.handle_timeout(now)

    def take_event(self) -> Finished | Progress | None:
        """Return the oldest event that was not taken yet."""
        if self._refused:
            return self._refused.popleft()
        row = self._core.take_event()
        if row is None:
            return None
        (is_finished, id, outcome, error, verdict, attempts, latency, done, total, failed, data,
         reason) = row
        if not is_finished:
            return Progress(id, done, total)
        result = Result(
            Outcome(outcome), self._packages.pop(id), SendError(error), verdict, attempts,
            latency, done, total, failed, data, reason,
        )
        return Finished(id, result)

    @property
    def counters(self) -> Counters:
        """The counts of all events so far."""
        return Counters(**self._core.counters())

    def latency_percentile(self, share: float) -> float:
        """Return a time in seconds that a share (0 to 1) of the latencies did not exceed.

        It is rounded up to a power of two in microseconds; 0 if there are no latencies.
        """
        return self._core.latency_percentile(share)

    @property
    def in_flight(self) -> int:
        """Requests under way."""
        return self._core.in_flight()

    @property
    def queued(self) -> int:
        """The number that Settings.queued limits."""
        return self._core.queued()

    @property
    def bytes_in_flight(self) -> int:
        """The number that Settings.bytes_in_flight limits."""
        return self._core.bytes_in_flight()

    @property
    def serial_numbers(self) -> int:
        """Serial numbers in use or resting."""
        return self._core.serial_numbers()

    def set_tracing(self, traces: bool) -> None:
        """Keep every message from now on, or no longer, for take_trace()."""
        self._core.set_tracing(traces)

    def take_trace(self, origin: float = 0.0) -> list[TraceEntry]:
        """Return the messages that were kept.

        origin -- the moment 0 of the times, in seconds since 1970, for the packets
        """
        return [
            TraceEntry(TraceEvent(event), time, name, Form(form), Direction(direction), request,
                       message, verdict, text, packet)
            for (event, time, name, form, direction, request, message, verdict, text,
                 packet) in self._core.take_trace(origin)
        ]


class Framing:
    """Finds messages in a stream of bytes, and encodes messages as bytes.

    form -- TEXT: records as lines; FRAME: messages after their length, 4 bytes, least
        significant first; LINUX: Linux frames as they are
    deadline -- seconds from the first byte of a message to its last
    direction -- that of received Linux frames: a read request announces data without carrying it
    """

    def __init__(
        self,
        form: Form,
        *,
        message_size: int = 1 << 20,
        deadline: float = 3.0,
        direction: Direction = Direction.REPLY,
    ) -> None:
        self._core = _core.Framing(form, message_size, deadline, direction)

    def encode(self, message: Message) -> bytes | None:
        """Return the bytes to send for a message; None if this framing cannot carry it."""
        return self._core.encode(message)

    def receive(self, data: bytes | bytearray | memoryview, now: float) -> list[bytes]:
        """Add received bytes and return the messages that are complete now."""
        return self._core.receive(data, now)

    def end(self) -> list[bytes]:
        """End the stream."""
        return self._core.end()

    @property
    def fault(self) -> FramingFault:
        """Why the stream cannot be read any further, or FramingFault.NONE."""
        return FramingFault(self._core.fault())

    @property
    def fault_text(self) -> str:
        """The fault in words."""
        return self._core.fault_text()

    def next_timeout(self) -> float | None:
        """Return the deadline of an incomplete message, if there is one."""
        return self._core.next_timeout()

    def handle_timeout(self, now: float) -> list[bytes]:
        """Give up an incomplete message if its deadline is over."""
        return self._core.handle_timeout(now)

    @property
    def buffered(self) -> int:
        """Bytes of an incomplete message."""
        return self._core.buffered()


def pcapng_header() -> bytes:
    """Return the beginning of a capture file; TraceEntry.packet follows."""
    return _core.pcapng_header()


