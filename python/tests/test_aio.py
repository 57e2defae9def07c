"""The client and the server for asyncio."""

from __future__ import annotations

import asyncio
import os
import pty
import socket
import struct
import tty

import pytest

from korvinpackage import (
    AsyncClient,
    DeviceServer,
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


@pytest.mark.parametrize("form, words", FORMS)
async def test_over_tcp(device, form, words):
    async with await DeviceServer.tcp(device, form=form, words=words) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port, Settings(forms=(form,)),
                                         words=words) as client:
            assert await client.exchange(write(b"\x01\xff\x10"))
            assert (await client.exchange(read())).package.data == b"\x01\xff\x10"


async def test_over_a_unix_socket(device, tmp_path):
    path = str(tmp_path / "device")
    async with await DeviceServer.unix(device, path), await AsyncClient.unix(path) as client:
        results = await client.exchange_combination([write(b"ab"), read(2)])
        assert all(results)
        assert results[1].package.data == b"ab"


async def test_over_a_serial_line(device):
    pytest.importorskip("serial")
    device_end, client_end = pty.openpty()
    tty.setraw(client_end)
    session = DeviceSession(device, Form.LINUX)

    def serve():
        for _, reply in session.receive(os.read(device_end, 65536), 0):
            os.write(device_end, reply)

    asyncio.get_running_loop().add_reader(device_end, serve)
    async with await AsyncClient.serial(os.ttyname(client_end)) as client:
        assert await client.exchange(write(b"\x01\xff\x10"))
        assert (await client.exchange(read())).package.data == b"\x01\xff\x10"
    asyncio.get_running_loop().remove_reader(device_end)
    os.close(client_end)
    os.close(device_end)


async def test_many_in_flight(device):
    async with await DeviceServer.tcp(device) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            results = await asyncio.gather(*(client.exchange(read()) for _ in range(300)))
            assert all(results)
            assert client.engine.counters.answered == 300


async def test_replies_that_overtake_each_other(device):
    device.script_faults([Fault(FaultKind.DELAY, delay=0.1)])
    async with await DeviceServer.tcp(device) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            slow = asyncio.ensure_future(client.exchange(read(1)))
            await asyncio.sleep(0)
            assert (await client.exchange(read(2))).package.data == bytes(2)
            assert not slow.done()
            assert (await slow).latency >= 0.1


async def test_time_outs(device):
    device.draw_faults(1, [FaultKind.DROP_REPLY])
    async with await DeviceServer.tcp(device) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port,
                                         Settings(timeout=0.02, pause=0)) as client:
            result = await client.exchange(read())
            assert result.outcome is Outcome.TIMED_OUT
            assert result.attempts == 3


async def test_cancelled_tasks(device):
    device.script_faults([Fault(FaultKind.DROP_REPLY)])
    async with await DeviceServer.tcp(device) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            package = read()
            task = asyncio.ensure_future(client.exchange(package))
            await asyncio.sleep(0.01)
            task.cancel()
            with pytest.raises(asyncio.CancelledError):
                await task
            assert package.comm_result.name == "FORCED_CANCEL"
            assert client.engine.counters.cancelled == 1
            with pytest.raises(asyncio.TimeoutError):
                device.script_faults([Fault(FaultKind.DROP_REPLY)])
                await asyncio.wait_for(client.exchange(read()), 0.02)
            assert await client.exchange(read())


async def test_transfers(device):
    progress = []
    data = bytes(range(30))
    async with await DeviceServer.tcp(device) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            assert await client.write_data(write(data, max_part_size=8),
                                           lambda done, total: progress.append(done))
            await asyncio.sleep(0)
            assert progress[-1] == 30
            assert (await client.read_data(read(30, max_part_size=8))).data == data
            writing = at_buffer(PackageRequestWriteFile, file_name_with_path="f")
            assert await client.write_file(writing, data)
            assert device.file("f") == data
            reading = at_buffer(PackageRequestReadFile, file_name_with_path="f",
                                reply_data_length=30)
            assert (await client.read_file(reading)).data == data
            assert await client.write_memory(at_buffer(PackageRequestWriteMemData, offset=5), data)
            reading = at_buffer(PackageRequestReadMemData, offset=5, reply_data_length=30)
            assert (await client.read_memory(reading)).data == data


async def test_more_than_the_peer_takes_at_once(device):
    device.set_block(0, bytes(2048))
    settings = Settings(forms=(Form.FRAME,), in_flight=1000, last_serial_num=65535)
    async with await DeviceServer.tcp(device, form=Form.FRAME) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port, settings) as client:
            packages = [PackageRequestWriteData(data=bytes(2048)) for _ in range(500)]
            assert all(await asyncio.gather(*(client.exchange(one) for one in packages)))


async def test_a_peer_that_does_not_read_for_a_while(device):
    session = DeviceSession(device, Form.FRAME)

    async def serve(reader, writer):
        await asyncio.sleep(0.1)
        while data := await reader.read(65536):
            for _, reply in session.receive(data, 0):
                writer.write(reply)
        writer.close()

    server = await asyncio.start_server(serve, "127.0.0.1", 0, limit=1)
    port = server.sockets[0].getsockname()[1]
    settings = Settings(forms=(Form.FRAME,), in_flight=5000, last_serial_num=65535, queued=5000,
                        bytes_in_flight=1 << 30, timeout=30)
    device.set_block(0, bytes(2048))
    async with await AsyncClient.tcp("127.0.0.1", port, settings) as client:
        packages = [PackageRequestWriteData(data=bytes(2048)) for _ in range(4000)]
        tasks = [asyncio.ensure_future(client.exchange(one)) for one in packages]
        await asyncio.sleep(0.05)
        assert client._is_full
        assert client.engine.in_flight < 4000
        assert all(await asyncio.gather(*tasks))
    server.close()


async def test_a_connection_that_is_reset(device):
    async with await DeviceServer.tcp(device) as server:
        reader, writer = await asyncio.open_connection("127.0.0.1", server.port)
        await asyncio.sleep(0.01)
        # The end of the connection is not an orderly one.
        writer.get_extra_info("socket").setsockopt(
            socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        writer.transport.abort()
        await asyncio.sleep(0.01)
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            assert await client.exchange(read())


async def test_the_end_of_a_link(device):
    device.draw_faults(1, [FaultKind.DROP_REPLY])
    async with await DeviceServer.tcp(device) as server:
        client = await AsyncClient.tcp("127.0.0.1", server.port)
        task = asyncio.ensure_future(client.exchange(read()))
        await asyncio.sleep(0.01)
        await server.close()
        assert (await task).outcome is Outcome.LINK_LOST
        with pytest.raises(LinkLostError):
            await client.exchange(read())
        with pytest.raises(LinkLostError):
            await client.exchange_combination([read()])
        with pytest.raises(LinkLostError):
            await client.read_data(read())
        client.close()


async def test_a_closed_client(device):
    device.draw_faults(1, [FaultKind.DROP_REPLY])
    async with await DeviceServer.tcp(device) as server:
        client = await AsyncClient.tcp("127.0.0.1", server.port)
        task = asyncio.ensure_future(client.exchange(read()))
        await asyncio.sleep(0.01)
        client.close()
        assert (await task).outcome is Outcome.LINK_LOST


async def test_a_peer_that_sends_garbage():
    async def serve(reader, writer):
        writer.write(b"x" * 200)

    server = await asyncio.start_server(serve, "127.0.0.1", 0)
    port = server.sockets[0].getsockname()[1]
    client = await AsyncClient.tcp("127.0.0.1", port, Settings(message_size=100))
    assert (await client.exchange(read())).outcome is Outcome.LINK_LOST
    server.close()


async def test_a_client_that_was_never_connected():
    client = AsyncClient()
    with pytest.raises(LinkLostError):
        await client.exchange(read())
    with pytest.raises(OSError):
        await AsyncClient.unix("/nothing/there")


async def test_peers_that_leave_the_server(device):
    device.script_faults([Fault(FaultKind.DELAY, delay=0.05)])
    async with await DeviceServer.tcp(device) as server:
        for _ in range(3):
            _, writer = await asyncio.open_connection("127.0.0.1", server.port)
            writer.write((read().to_record() + "\n").encode() * 50)
            await writer.drain()
            writer.transport.abort()
        await asyncio.sleep(0.1)
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            assert await client.exchange(read())
