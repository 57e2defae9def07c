"""A client and a simulated device for asyncio."""

from __future__ import annotations

import asyncio
import functools
import os
from collections.abc import Sequence
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
from korvinpackage.engine import Engine, Result, Settings
from korvinpackage.simulator import DeviceSession, SimulatedDevice


class _Protocol(asyncio.Protocol):
    """Passes what asyncio reports to a client."""

    def __init__(self, client: AsyncClient) -> None:
        self._client = client

    def connection_made(self, transport: asyncio.BaseTransport) -> None:
        self._client._attach(transport)

    def data_received(self, data: bytes) -> None:
        self._client._received(data)

    def connection_lost(self, error: Exception | None) -> None:
        self._client._lose(str(error) if error else "the peer has closed the link")

    def pause_writing(self) -> None:
        self._client._is_full = True

    def resume_writing(self) -> None:
        self._client._is_full = False
        self._client._work()


class AsyncClient:
    """Sends packages to a peer, any number at a time. Cancelling a task ends its request.

    Open it with tcp(), unix() or serial(). Form and words are those of Client.
    """

    def __init__(self, settings: Settings = Settings(), *, words: bool = False) -> None:
        self._link = Link(settings, words)
        self._loop = asyncio.get_running_loop()
        self._timer: asyncio.TimerHandle | None = None
        self._transports: list[asyncio.BaseTransport] = []
        self._writer: asyncio.WriteTransport | None = None
        self._is_full = False
        self._lost = "not connected"

    @classmethod
    async def tcp(
        cls, host: str, port: int, settings: Settings = Settings(), *, words: bool = False
    ) -> AsyncClient:
        """Connect to a TCP port. Raises OSError if that fails."""
        client = cls(settings, words=words)
        await client._loop.create_connection(lambda: _Protocol(client), host, port)
        return client

    @classmethod
    async def unix(
        cls, path: str, settings: Settings = Settings(), *, words: bool = False
    ) -> AsyncClient:
        """Connect to a Unix socket. Raises OSError if that fails."""
        client = cls(settings, words=words)
        await client._loop.create_unix_connection(lambda: _Protocol(client), path)
        return client

    @classmethod
    async def serial(
        cls,
        port: str,
        baudrate: int = 115200,
        settings: Settings = Settings(forms=(Form.LINUX,)),
        *,
        words: bool = False,
    ) -> AsyncClient:
        """Open a serial port of a POSIX system with pyserial, which must be installed."""
        import serial

        client = cls(settings, words=words)
        opened = serial.Serial(port, baudrate)
        # Each transport closes its file.
        reading = os.fdopen(os.dup(opened.fd), "rb", 0)
        writing = os.fdopen(os.dup(opened.fd), "wb", 0)
        opened.close()
        await client._loop.connect_read_pipe(lambda: _Protocol(client), reading)
        await client._loop.connect_write_pipe(lambda: _Protocol(client), writing)
        return client

    def _attach(self, transport: asyncio.BaseTransport) -> None:
        self._transports.append(transport)
        if isinstance(transport, asyncio.WriteTransport):
            self._writer = transport
            self._lost = ""

    async def __aenter__(self) -> AsyncClient:
        return self

    async def __aexit__(
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

    async def exchange(
        self,
        package: PackageBase,
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> Result:
        """Send a request and return its result: see Engine.send()."""
        self._require()
        id = self.engine.send(package, self._loop.time(), timeout=timeout, repeat=repeat,
                              deadline=deadline)
        return (await self._results([self._link.add(id)]))[0]

    async def exchange_combination(
        self,
        packages: Sequence[PackageBase],
        *,
        timeout: float | None = None,
        repeat: Repeat = Repeat.READS,
        deadline: float | None = None,
    ) -> list[Result]:
        """Send several requests in one record and return their results."""
        self._require()
        ids = self.engine.send_combination(packages, self._loop.time(), timeout=timeout,
                                           repeat=repeat, deadline=deadline)
        return await self._results([self._link.add(id) for id in ids])

    async def transfer(
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
    ) -> Result:
        """Transfer more data than one request carries: see Engine.start().

        progress -- is called with the bytes that are done, and all bytes
        """
        self._require()
        id = self.engine.start(kind, package, self._loop.time(), data=data, window=window,
                               timeout=timeout, repeat=repeat, deadline=deadline)
        later = None if progress is None else functools.partial(self._loop.call_soon, progress)
        return (await self._results([self._link.add(id, later)]))[0]

    async def _results(self, pending: list[Pending]) -> list[Result]:
        futures = []
        for one in pending:
            future: asyncio.Future[Result] = self._loop.create_future()
            one.finished = functools.partial(_resolve, future)
            futures.append(future)
        self._work()
        try:
            return [await future for future in futures]
        except asyncio.CancelledError:
            for one in pending:
                self.engine.cancel(one.id, self._loop.time())
            self._work()
            raise

    # Transfers.

    async def write_data(
        self, package: PackageRequestWriteData, progress: ProgressCallback | None = None
    ) -> Result:
        """Write the data of a package in parts."""
        return await self.transfer(TransferKind.WRITE_DATA, package, progress=progress)

    async def read_data(
        self, package: PackageRequestReadData, progress: ProgressCallback | None = None
    ) -> Result:
        """Read as many bytes as the package says in parts. They become its data."""
        return await self.transfer(TransferKind.READ_DATA, package, progress=progress)

    async def write_file(
        self,
        package: PackageRequestWriteFile,
        contents: bytes,
        progress: ProgressCallback | None = None,
    ) -> Result:
        """Write a file, starting at the offset of the package."""
        return await self.transfer(
            TransferKind.WRITE_FILE, package, data=contents, progress=progress
        )

    async def read_file(
        self, package: PackageRequestReadFile, progress: ProgressCallback | None = None
    ) -> Result:
        """Read the beginning of a file: Result.data."""
        return await self.transfer(TransferKind.READ_FILE, package, progress=progress)

    async def write_memory(
        self,
        package: PackageRequestWriteMemData,
        data: bytes,
        progress: ProgressCallback | None = None,
    ) -> Result:
        """Write memory, starting at the offset of the package."""
        return await self.transfer(
            TransferKind.WRITE_MEMORY, package, data=data, progress=progress
        )

    async def read_memory(
        self, package: PackageRequestReadMemData, progress: ProgressCallback | None = None
    ) -> Result:
        """Read memory, starting at the offset of the package: Result.data."""
        return await self.transfer(TransferKind.READ_MEMORY, package, progress=progress)

    # The link.

    def _require(self) -> None:
        if self._lost:
            raise LinkLostError(self._lost)

    def _received(self, data: bytes) -> None:
        self._guarded(functools.partial(self._link.receive, data, self._loop.time()))

    def _on_timer(self) -> None:
        self._guarded(functools.partial(self._link.handle_timeout, self._loop.time()))

    def _guarded(self, operation: functools.partial[None]) -> None:
        try:
            operation()
        except LinkLostError as error:
            self._lose(str(error))
        self._work()

    def _work(self) -> None:
        """Send what may be sent, tell what has ended, and set the timer."""
        if self._timer is not None:
            self._timer.cancel()
            self._timer = None
        if self._lost:
            return
        assert self._writer is not None
        while not self._is_full:
            message = next(self._link.outgoing(self._loop.time()), None)
            if message is None:
                break
            self._writer.write(message)
        self._link.settle()
        due = self._link.next_timeout()
        if due is not None:
            self._timer = self._loop.call_at(due, self._on_timer)

    def _lose(self, reason: str) -> None:
        if self._lost:
            return
        self._lost = reason
        for transport in self._transports:
            transport.close()
        self._link.lost(self._loop.time())
        self._link.settle()
        self._work()


def _resolve(future: asyncio.Future[Result], result: Result) -> None:
    if not future.done():
        future.set_result(result)


class DeviceServer:
    """A simulated device on a TCP port or a Unix socket.

    Use it with ``async with``, or call close(). Form and words are those of DeviceSession.
    """

    def __init__(self, device: SimulatedDevice, form: Form = Form.TEXT, *, words: bool = False) -> None:
        self.device = device
        self._form = form
        self._words = words
        self._server: asyncio.Server | None = None
        self._connections: dict[asyncio.Task[None], asyncio.StreamWriter] = {}

    @classmethod
    async def tcp(
        cls,
        device: SimulatedDevice,
        host: str = "127.0.0.1",
        port: int = 0,
        form: Form = Form.TEXT,
        *,
        words: bool = False,
    ) -> DeviceServer:
        """Listen on a TCP port; 0 is any that is free, see port. Nothing authenticates peers."""
        server = cls(device, form, words=words)
        server._server = await asyncio.start_server(server._serve, host, port)
        return server

    @classmethod
    async def unix(
        cls, device: SimulatedDevice, path: str, form: Form = Form.TEXT, *, words: bool = False
    ) -> DeviceServer:
        """Listen on a Unix socket."""
        server = cls(device, form, words=words)
        server._server = await asyncio.start_unix_server(server._serve, path)
        return server

    @property
    def port(self) -> int:
        """The TCP port that it listens on."""
        assert self._server is not None
        port: int = self._server.sockets[0].getsockname()[1]
        return port

    async def __aenter__(self) -> DeviceServer:
        return self

    async def __aexit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        await self.close()

    async def close(self) -> None:
        """Stop listening and end all connections."""
        assert self._server is not None
        self._server.close()
        for writer in self._connections.values():
            writer.transport.abort()
        await asyncio.gather(*self._connections)

    async def _serve(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        loop = asyncio.get_running_loop()
        session = DeviceSession(self.device, self._form, self._words)
        task: asyncio.Task[None] = asyncio.current_task()  # type: ignore[assignment]
        self._connections[task] = writer
        try:
            while data := await reader.read(65536):
                for delay, reply in session.receive(data, loop.time()):
                    loop.call_later(delay, _write, writer, reply)
                await writer.drain()
        except ConnectionError:
            writer.transport.abort()
        finally:
            del self._connections[task]
            writer.close()


def _write(writer: asyncio.StreamWriter, reply: bytes) -> None:
    if not writer.is_closing():
        writer.write(reply)
