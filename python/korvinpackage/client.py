"""A client that blocks: for scripts and tests that do one thing after the other."""

from __future__ import annotations

import socket
from collections.abc import Iterable, Sequence
from types import TracebackType

from korvinpackage._classes import (
    PackageBase,
    PackageRequestReadData,
    PackageRequestReadFile,
    PackageRequestReadMemData,
    PackageRequestWriteData,
    PackageRequestWriteFile,
    PackageRequestWriteMemData,
)
from korvinpackage._enums import Form, Repeat, TransferKind
from korvinpackage._inspect import Bytes
from korvinpackage._link import Link, LinkLostError, Pending, ProgressCallback
from korvinpackage._transports import DeviceTransport, SerialTransport, SocketTransport, Transport
from korvinpackage.engine import Engine, Result, Settings
from korvinpackage.simulator import SimulatedDevice

_BUFFERED = 65536


class Client:
    """Sends packages to a peer and waits for their results.

    Open it with tcp(), unix(), serial() or device(). Records go as lines, byte frames after
    their length, Linux frames as they are: the first of Settings.forms says which.

    words -- whether messages begin with the words for form and class, which the proxy and the
        device of this project expect

    Requests of one client may be in flight together: send() them, then wait() for them. A client
    belongs to one thread at a time.
    """

    def __init__(
        self, transport: Transport, settings: Settings = Settings(), *, words: bool = False
    ) -> None:
        self._transport = transport
        self._link = Link(settings, words)
        self._unsent = b""
        self._lost = ""

    @classmethod
    def tcp(
        cls,
        host: str,
        port: int,
        settings: Settings = Settings(),
        *,
        words: bool = False,
        connect_timeout: float = 10.0,
    ) -> Client:
        """Connect to a TCP port. Raises OSError if that fails."""
        connected = socket.create_connection((host, port), connect_timeout)
        connected.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return cls(SocketTransport(connected), settings, words=words)

    @classmethod
    def unix(cls, path: str, settings: Settings = Settings(), *, words: bool = False) -> Client:
        """Connect to a Unix socket. Raises OSError if that fails."""
        connecting = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            connecting.connect(path)
        except OSError:
            connecting.close()
            raise
        return cls(SocketTransport(connecting), settings, words=words)

    @classmethod
    def serial(
        cls,
        port: str,
        baudrate: int = 115200,
        settings: Settings = Settings(forms=(Form.LINUX,)),
        *,
        words: bool = False,
    ) -> Client:
        """Open a serial port with pyserial, which must be installed."""
        import serial

        opened = serial.serial_for_url(port, baudrate=baudrate)
        return cls(SerialTransport(opened), settings, words=words)

    @classmethod
    def device(
        cls, device: SimulatedDevice, settings: Settings = Settings(), *, words: bool = False
    ) -> Client:
        """Talk to a simulated device in this process. Time-outs take no real time there."""
        return cls(DeviceTransport(device, settings.forms[0], words), settings, words=words)

    def __enter__(self) -> Client:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def close(self) -> None:
        """End the link. Requests that have not ended end with Outcome.LINK_LOST."""
        self._lose("the client was closed")

    @property
    def engine(self) -> Engine:
        """The engine, for its counters and traces."""
        return self._link.engine

    # Requests.

    def send(
        self,
        package: PackageBase,
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> Pending:
        """Send a request, and do not wait for its result: see wait() and Engine.send()."""
        self._require()
        id = self.engine.send(package, self._now(), timeout=timeout, repeat=repeat,
                              deadline=deadline)
        return self._link.add(id)

    def send_combination(
        self,
        packages: Sequence[PackageBase],
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> list[Pending]:
        """Send several requests in one record."""
        self._require()
        ids = self.engine.send_combination(packages, self._now(), timeout=timeout, repeat=repeat,
                                           deadline=deadline)
        return [self._link.add(id) for id in ids]

    def start(
        self,
        kind: TransferKind,
        package: PackageBase,
        *,
        data: Bytes = b"",
        window: int = 4,
        progress: ProgressCallback | None = None,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> Pending:
        """Begin a transfer: see Engine.start().

        progress -- is called with the bytes that are done, and all bytes
        """
        self._require()
        id = self.engine.start(kind, package, self._now(), data=data, window=window,
                               timeout=timeout, repeat=repeat, deadline=deadline)
        return self._link.add(id, progress)

    def wait(self, pending: Pending) -> Result:
        """Wait until a request has ended, and return its result."""
        try:
            while pending.result is None:
                self._step()
        except BaseException:
            self.cancel(pending)
            raise
        return pending.result

    def cancel(self, pending: Pending) -> bool:
        """End a request with Outcome.CANCELLED. Return false if it has ended."""
        return self.engine.cancel(pending.id, self._now())

    def exchange(
        self,
        package: PackageBase,
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> Result:
        """Send a request and wait for its result."""
        return self.wait(self.send(package, timeout=timeout, repeat=repeat, deadline=deadline))

    def exchange_all(self, packages: Iterable[PackageBase]) -> list[Result]:
        """Send requests, many in flight at a time, and return their results in the same order."""
        pending = [self.send(package) for package in packages]
        return [self.wait(one) for one in pending]

    # Transfers.

    def write_data(
        self, package: PackageRequestWriteData, progress: ProgressCallback | None = None
    ) -> Result:
        """Write the data of a package in parts."""
        return self.wait(self.start(TransferKind.WRITE_DATA, package, progress=progress))

    def read_data(
        self, package: PackageRequestReadData, progress: ProgressCallback | None = None
    ) -> Result:
        """Read as many bytes as the package says in parts. They become its data."""
        return self.wait(self.start(TransferKind.READ_DATA, package, progress=progress))

    def write_file(
        self,
        package: PackageRequestWriteFile,
        contents: bytes,
        progress: ProgressCallback | None = None,
    ) -> Result:
        """Write a file, starting at the offset of the package."""
        return self.wait(
            self.start(TransferKind.WRITE_FILE, package, data=contents, progress=progress)
        )

    def read_file(
        self, package: PackageRequestReadFile, progress: ProgressCallback | None = None
    ) -> Result:
        """Read the beginning of a file: Result.data."""
        return self.wait(self.start(TransferKind.READ_FILE, package, progress=progress))

    def write_memory(
        self,
        package: PackageRequestWriteMemData,
        data: bytes,
        progress: ProgressCallback | None = None,
    ) -> Result:
        """Write memory, starting at the offset of the package."""
        return self.wait(
            self.start(TransferKind.WRITE_MEMORY, package, data=data, progress=progress)
        )

    def read_memory(
        self, package: PackageRequestReadMemData, progress: ProgressCallback | None = None
    ) -> Result:
        """Read memory, starting at the offset of the package: Result.data."""
        return self.wait(self.start(TransferKind.READ_MEMORY, package, progress=progress))

    # The link.

    def _now(self) -> float:
        return self._transport.now()

    def _require(self) -> None:
        if self._lost:
            raise LinkLostError(self._lost)

    def _lose(self, reason: str) -> None:
        if not self._lost:
            self._lost = reason
            self._transport.close()
            self._link.lost(self._now())
            self._link.settle()

    def _fill(self) -> None:
        """Take messages while there is room."""
        for message in self._link.outgoing(self._now()):
            self._unsent += message
            if len(self._unsent) >= _BUFFERED:
                return

    def _step(self) -> None:
        """Send and receive what is possible, and wait until something is or is due."""
        self._fill()
        self._link.settle()
        due = self._link.next_timeout()
        timeout = None if due is None else max(0.0, due - self._now())
        try:
            written, received = self._transport.step(self._unsent, timeout)
            self._unsent = self._unsent[written:]
            if received:
                self._link.receive(received, self._now())
            elif received is None:
                self._link.handle_timeout(self._now())
            else:
                self._lose("the peer has closed the link")
        except OSError as error:
            self._lose(str(error))
        self._link.settle()
