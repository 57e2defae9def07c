"""The blocking client, over memory, TCP, Unix sockets and a serial line."""

from __future__ import annotations

import contextlib
import os
import pty
import socket
import threading
import tty

import pytest

from korvinpackage import (
    Client,
    DeviceSession,
    Fault,
    FaultKind,
    Form,
    LinkLostError,
    Outcome,
    PackageRequestReadData,
    PackageRequestReadFile,
    PackageRequestReadMemData,
    PackageRequestWriteData,
    PackageRequestWriteFile,
    PackageRequestWriteMemData,
    Settings,
    SimulatedDevice,
)

ADDRESS = 0x0A000010
FORMS = [(form, words) for form in Form for words in (False, True)]


def read(length=3, **fields):
    return PackageRequestReadData(reply_data_length=length, high_addr=0x0A00, low_addr=0x10, **fields)


def write(data, **fields):
    return PackageRequestWriteData(data=data, high_addr=0x0A00, low_addr=0x10, **fields)


def at_buffer(itself, **fields):
    return itself(high_addr=0x0A00, low_addr=0x10, max_part_size=8, **fields)


@pytest.fixture
def device():
    made = SimulatedDevice({"units": [{"memory": {"size": 64}}]})
    made.set_block(ADDRESS, bytes(64))
    return made


def serve(connection, session):
    """Answer what comes over a socket, until it ends."""
    with connection, contextlib.suppress(OSError):
        while data := connection.recv(65536):
            for _, reply in session.receive(data, 0):
                connection.sendall(reply)


@contextlib.contextmanager
def listening(device, form=Form.TEXT, words=False, path=None):
    """Serve one connection of a device."""
    server = socket.socket(socket.AF_UNIX) if path else socket.socket()
    server.bind(path or ("127.0.0.1", 0))
    server.listen()

    def run():
        connection, _ = server.accept()
        serve(connection, DeviceSession(device, form, words))

    thread = threading.Thread(target=run)
    thread.start()
    try:
        yield server.getsockname()
    finally:
        thread.join()
        server.close()


@pytest.mark.parametrize("form, words", FORMS)
def test_in_memory(device, form, words):
    with Client.device(device, Settings(forms=(form,)), words=words) as client:
        assert client.exchange(write(b"\x01\xff\x10"))
        package = read()
        assert client.exchange(package)
        assert package.data == b"\x01\xff\x10"


@pytest.mark.parametrize("form, words", FORMS)
def test_over_tcp(device, form, words):
    with listening(device, form, words) as (host, port):
        with Client.tcp(host, port, Settings(forms=(form,)), words=words) as client:
            assert client.exchange(write(b"\x01\xff\x10"))
            assert client.exchange(read()).package.data == b"\x01\xff\x10"


def test_over_a_unix_socket(device, tmp_path):
    path = str(tmp_path / "device")
    with listening(device, path=path), Client.unix(path) as client:
        assert client.exchange(read())
    with pytest.raises(OSError):
        Client.unix(str(tmp_path / "nothing"))


def test_over_a_serial_line(device):
    pytest.importorskip("serial")
    device_end, client_end = pty.openpty()
    tty.setraw(client_end)
    session = DeviceSession(device, Form.LINUX)

    def run():
        with contextlib.suppress(OSError):
            while data := os.read(device_end, 65536):
                for _, reply in session.receive(data, 0):
                    os.write(device_end, reply)

    thread = threading.Thread(target=run)
    thread.start()
    with Client.serial(os.ttyname(client_end)) as client:
        assert client.exchange(write(b"\x01\xff\x10"))
        assert client.exchange(read()).package.data == b"\x01\xff\x10"
        device.script_faults([Fault(FaultKind.DROP_REPLY)])
        assert client.exchange(read(), timeout=0.05).attempts == 2
    os.close(client_end)
    thread.join()
    os.close(device_end)


def test_many_in_flight(device):
    with listening(device) as (host, port), Client.tcp(host, port) as client:
        results = client.exchange_all(write(bytes([index % 256]) * 8) for index in range(300))
        assert all(results)
        assert len({id(result.package) for result in results}) == 300
        assert client.engine.counters.answered == 300


def test_no_reply_is_mixed_up(device):
    packages = []
    for index in range(64):
        device.set_block(0x100 * index, bytes([index]) * 4)
        packages.append(PackageRequestReadData(reply_data_length=4, low_addr=0x100 * index))
    device.draw_faults(0.3, [FaultKind.DELAY, FaultKind.DUPLICATE, FaultKind.DROP_REPLY,
                             FaultKind.STALE_SERIAL], seed=7)
    with Client.device(device, Settings(timeout=0.05, attempts=20, last_serial_num=65535)) as client:
        for _ in range(3):
            assert all(client.exchange_all(packages))
            assert [package.data for package in packages] == [bytes([i]) * 4 for i in range(64)]
        assert client.engine.counters.repeated > 0


def test_lost_replies_take_no_real_time(device):
    device.draw_faults(1, [FaultKind.DROP_REPLY])
    with Client.device(device, Settings(timeout=3000)) as client:
        result = client.exchange(read())
    assert result.outcome is Outcome.TIMED_OUT
    assert result.attempts == 3


def test_combinations(device):
    with Client.device(device) as client:
        pending = client.send_combination([write(b"ab"), read(2)])
        assert all(client.wait(one) for one in pending)
        assert pending[1].result.package.data == b"ab"


def test_transfers(device):
    progress = []

    def note(done, total):
        progress.append((done, total))

    data = bytes(range(30))
    with Client.device(device) as client:
        assert client.write_data(write(data, max_part_size=8), note)
        assert progress == [(8, 30), (16, 30), (24, 30), (30, 30)]
        package = read(30, max_part_size=8)
        assert client.read_data(package).data == data == package.data
        assert client.write_file(at_buffer(PackageRequestWriteFile, file_name_with_path="f"), data)
        assert device.file("f") == data
        reading = at_buffer(PackageRequestReadFile, file_name_with_path="f", reply_data_length=30)
        assert client.read_file(reading).data == data
        assert client.write_memory(at_buffer(PackageRequestWriteMemData, offset=5), data)
        reading = at_buffer(PackageRequestReadMemData, offset=5, reply_data_length=30)
        assert client.read_memory(reading).data == data
        failed = client.read_file(at_buffer(PackageRequestReadFile, file_name_with_path="none",
                                            reply_data_length=1))
        assert not failed
        assert failed.failed_offset == 0


def test_a_callback_that_raises_cancels_its_transfer(device):
    def fail(done, total):
        raise RuntimeError("stop")

    with Client.device(device) as client:
        with pytest.raises(RuntimeError, match="stop"):
            client.write_data(write(bytes(30), max_part_size=8), fail)
        assert client.exchange(read())
        assert client.engine.counters.cancelled > 0 or client.engine.counters.succeeded > 0


def test_cancel(device):
    with Client.device(device) as client:
        pending = client.send(read())
        assert client.cancel(pending)
        assert client.wait(pending).outcome is Outcome.CANCELLED


def test_the_end_of_a_link():
    client_end, other = socket.socketpair()
    from korvinpackage._transports import SocketTransport

    client = Client(SocketTransport(client_end))
    pending = client.send(read())
    other.close()
    result = client.wait(pending)
    assert result.outcome is Outcome.LINK_LOST
    with pytest.raises(LinkLostError):
        client.send(read())
    with pytest.raises(LinkLostError):
        client.send_combination([read()])
    with pytest.raises(LinkLostError):
        client.read_data(read())
    client.close()


def test_a_peer_that_closes_in_peace():
    client_end, other = socket.socketpair()
    from korvinpackage._transports import SocketTransport

    with other, Client(SocketTransport(client_end)) as client:
        pending = client.send(read())
        other.shutdown(socket.SHUT_WR)
        assert client.wait(pending).outcome is Outcome.LINK_LOST


def test_a_peer_that_sends_garbage():
    client_end, other = socket.socketpair()
    from korvinpackage._transports import SocketTransport

    with other, Client(SocketTransport(client_end), Settings(message_size=100)) as client:
        pending = client.send(read())
        other.sendall(b"x" * 200)
        assert client.wait(pending).outcome is Outcome.LINK_LOST


def test_more_than_the_peer_takes_at_once(device):
    device.set_block(0, bytes(2048))
    with listening(device, Form.FRAME) as (host, port):
        settings = Settings(forms=(Form.FRAME,), in_flight=1000, last_serial_num=65535)
        with Client.tcp(host, port, settings) as client:
            packages = [PackageRequestWriteData(data=bytes(2048)) for _ in range(500)]
            assert all(client.exchange_all(packages))


def test_no_server():
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    with pytest.raises(OSError):
        Client.tcp("127.0.0.1", port)
