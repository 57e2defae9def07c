"""An engine with a framing: what both clients have in common, without I/O."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from dataclasses import dataclass, field

from korvinpackage._enums import Form, FramingFault
from korvinpackage._words import pack, unpack
from korvinpackage.engine import Engine, Finished, Framing, Progress, Result, Settings

ProgressCallback = Callable[[int, int], object]

_INSTANT = 1e-6


class LinkLostError(ConnectionError):
    """The link to the peer is lost, or was never there."""


@dataclass(eq=False)
class Pending:
    """A request or transfer that was sent, and in the end its result."""

    id: int
    progress: ProgressCallback | None = None
    result: Result | None = None
    finished: Callable[[Result], object] | None = field(default=None, repr=False)


class Link:
    """Turns requests into bytes, and received bytes into results.

    words -- whether messages begin with the words for form and class, which the proxy and the
        device of this project expect
    """

    def __init__(self, settings: Settings, words: bool) -> None:
        self.engine = Engine(settings)
        self._settings = settings
        self._words = words
        self._framing = self._new_framing()
        self._pending: dict[int, Pending] = {}

    def _new_framing(self) -> Framing:
        form = self._settings.forms[0]
        if form == Form.LINUX and self._words:
            form = Form.FRAME
        return Framing(form, message_size=self._settings.message_size)

    def add(self, id: int, progress: ProgressCallback | None = None) -> Pending:
        """Expect the events of a request."""
        self._pending[id] = Pending(id, progress)
        return self._pending[id]

    def outgoing(self, now: float) -> Iterator[bytes]:
        """Return the bytes of the messages that may be sent now."""
        while message := self.engine.take_message(now):
            sent = message.bytes
            if self._words:
                sent = pack(message.form, message.class_name, sent)
            framed = self._framing.encode(sent)
            if framed is None:
                self.engine.refuse(message.request, now)
            else:
                yield framed

    def receive(self, data: bytes, now: float) -> None:
        """Handle received bytes. Raises LinkLostError if they cannot be read any further."""
        # What can be read when a time-out is looked at has come before it.
        due = self.engine.next_timeout()
        if due is not None:
            now = min(now, due - _INSTANT)
        self._deliver(self._framing.receive(data, now), now)
        self._require_framing()

    def _deliver(self, messages: list[bytes], now: float) -> None:
        for message in messages:
            if not self._words:
                self.engine.receive(self._settings.forms[0], message, now)
            elif unpacked := unpack(message):
                form, name, inner = unpacked
                self.engine.receive(form, inner, now, name)

    def _require_framing(self) -> None:
        if self._framing.fault != FramingFault.NONE:
            raise LinkLostError(self._framing.fault_text)

    def next_timeout(self) -> float | None:
        """Return when to call handle_timeout()."""
        times = [self.engine.next_timeout(), self._framing.next_timeout()]
        return min((time for time in times if time is not None), default=None)

    def handle_timeout(self, now: float) -> None:
        """End what has taken too long. Raises LinkLostError for a message that ends too late."""
        self._deliver(self._framing.handle_timeout(now), now)
        self.engine.handle_timeout(now)
        self._require_framing()

    def lost(self, now: float) -> None:
        """End all requests with Outcome.LINK_LOST."""
        self.engine.link_lost(now)
        self._framing = self._new_framing()

    def settle(self) -> None:
        """Give the events that have happened to those who wait for them."""
        while event := self.engine.take_event():
            if isinstance(event, Progress):
                progress = self._pending[event.id].progress
                if progress is not None:
                    progress(event.done, event.total)
                continue
            self._finish(event)

    def _finish(self, event: Finished) -> None:
        pending = self._pending.pop(event.id)
        pending.result = event.result
        if pending.finished is not None:
            pending.finished(event.result)


