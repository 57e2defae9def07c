"""Captures in files, and the plugin for pytest."""

from __future__ import annotations

import struct

import pytest

from korvinpackage import Client, Direction, Form, PackageRequestReadData, SimulatedDevice
from korvinpackage.capture import CaptureError, read_capture, read_exchanges, write_capture

pytest_plugins = ["pytester"]

READ = {"reply_data_length": 3, "low_addr": 16}


@pytest.fixture
def capture(tmp_path):
    """A capture of two reads of a device."""
    device = SimulatedDevice()
    device.set_block(16, b"\x01\xff\x10")
    path = tmp_path / "reads.pcapng"
    with Client.device(device) as client:
        client.engine.set_tracing(True)
        for _ in range(2):
            assert client.exchange(PackageRequestReadData(**READ))
        write_capture(path, client.engine.take_trace(origin=1000))
    return path


def test_read_capture(capture):
    messages = list(read_capture(capture))
    assert [one.direction for one in messages] == [Direction.REQUEST, Direction.REPLY] * 2
    assert messages[0].form is Form.TEXT
    assert messages[0].class_name == "PackageRequestReadData"
    assert messages[0].time == 1000
    assert messages[0].message == PackageRequestReadData(serial_num=1, **READ).to_record().encode()
    assert str(messages[0]) == "request of PackageRequestReadData at 1000.000000 s"
    with pytest.raises(CaptureError, match="no UDP datagram from or to port 5001 has a message"):
        list(read_capture(capture, port=5001))


def test_replay(capture):
    device = SimulatedDevice()
    device.set_block(16, b"\x01\xff\x10")
    exchanges = read_exchanges(capture)
    assert len(exchanges) == 2
    for exchange in exchanges:
        assert exchange.replay(device) == tuple(reply.message for reply in exchange.replies)
    assert str(exchanges[0]).startswith("request of")


def block(kind, body, order="<"):
    size = len(body) + 12
    return struct.pack(order + "II", kind, size) + body + struct.pack(order + "I", size)


def section(order="<"):
    return block(0x0A0D0D0A, struct.pack(order + "IHHq", 0x1A2B3C4D, 1, 0, -1), order)


def packet(contents, order="<"):
    padded = contents + bytes(-len(contents) % 4)
    head = struct.pack(order + "IIIII", 0, 0, 7, len(contents), len(contents))
    return block(6, head + padded, order)


def datagram(payload, source=40000, target=5000, kind=b"\x08\x00", protocol=17):
    udp = struct.pack(">HHHH", source, target, 8 + len(payload), 0) + payload
    ip = bytes([0x45, 0]) + struct.pack(">H", 20 + len(udp)) + bytes(5) + bytes([protocol]) + bytes(10)
    return bytes(12) + kind + ip + udp


MESSAGE = b"text PackageBase 1,2"


def test_replies_find_their_requests(tmp_path):
    header = "usb0,1,0,255,2,65535,2560,32,0,read,3,,ok,ok"
    requests = [f"text PackageRequestReadData {number},{header},1,data" for number in (1, 2)]
    replies = [f"text PackageRequestReadData {number},{header},0,1,data,1,7" for number in (1, 2)]
    replies.append("text SpecialPackageRequest 1,3,0,late")
    path = tmp_path / "x.pcapng"
    path.write_bytes(section() + b"".join(packet(datagram(text.encode())) for text in requests)
                     + b"".join(packet(datagram(text.encode(), 5000, 40000)) for text in replies))
    first, second = read_exchanges(path)
    assert [reply.message[:2] for reply in first.replies] == [b"1,"]
    # What answers none is with the last request.
    assert [reply.class_name for reply in second.replies] == ["PackageRequestReadData", "SpecialPackageRequest"]


@pytest.mark.parametrize("order", "<>")
def test_both_byte_orders(tmp_path, order):
    path = tmp_path / "x.pcapng"
    path.write_bytes(section(order) + packet(datagram(MESSAGE), order))
    (message,) = read_capture(path)
    assert (message.time, message.message) == (7e-6, b"1,2")


@pytest.mark.parametrize(
    "contents",
    [
        block(1, bytes(8)),
        block(6, bytes(16)),
        packet(b""),
        packet(datagram(MESSAGE, kind=b"\x86\xdd")),
        packet(datagram(MESSAGE, protocol=6)),
        packet(datagram(MESSAGE)[:40]),
        packet(datagram(b"nothing of ours")),
        packet(datagram(MESSAGE, target=80)),
    ],
)
def test_other_packets_are_skipped(tmp_path, contents):
    path = tmp_path / "x.pcapng"
    path.write_bytes(section() + contents + packet(datagram(MESSAGE, 5000, 40000)))
    assert [one.direction for one in read_capture(path)] == [Direction.REPLY]
    with pytest.raises(CaptureError, match="no UDP datagram to port 5000 has a request"):
        read_exchanges(path)


@pytest.mark.parametrize(
    "contents, message",
    [
        (b"", "not a pcapng file"),
        (b"\xd4\xc3\xb2\xa1" + bytes(20), "not a pcapng file"),
        (section() + b"\1\0", "is cut off"),
        (section() + struct.pack("<III", 6, 11, 0), "wrong size"),
        (section() + struct.pack("<III", 6, 13, 0), "wrong size"),
    ],
)
def test_other_files(tmp_path, contents, message):
    path = tmp_path / "x.pcapng"
    path.write_bytes(contents)
    with pytest.raises(CaptureError, match=message):
        list(read_capture(path))


# The plugin.


def test_fixtures(korvin_device, korvin_client):
    korvin_device.set_block(16, b"\x01\xff\x10")
    assert korvin_client.exchange(PackageRequestReadData(**READ)).package.data == b"\x01\xff\x10"


def test_markers(pytester):
    pytester.makepyfile(
        """
        import pytest
        from korvinpackage import Form, PackageRequestReadData, Settings

        @pytest.mark.korvin(
            state={"units": [{"blocks": [{"address": "0x10", "data": "01FF10"}]}]},
            settings=Settings(forms=(Form.LINUX,)), words=True)
        def test_read(korvin_client):
            package = PackageRequestReadData(reply_data_length=3, low_addr=16)
            assert korvin_client.exchange(package)
            assert package.data.hex() == "01ff10"
        """
    )
    done = pytester.runpytest_inprocess("--strict-markers")
    done.assert_outcomes(passed=1)


def test_replays(pytester, capture):
    pytester.makepyfile(
        f"""
        import pytest

        @pytest.mark.korvin_capture({str(capture)!r})
        @pytest.mark.korvin(state={{"units": [{{"blocks": [{{"address": "16", "data": "01FF11"}}]}}]}})
        def test_replay(korvin_exchange, korvin_device):
            replies = tuple(reply.message for reply in korvin_exchange.replies)
            assert korvin_exchange.replay(korvin_device) == replies
        """
    )
    done = pytester.runpytest_inprocess("--strict-markers")
    done.assert_outcomes(failed=2)
    done.stdout.fnmatch_lines(["*test_replay[[]2-PackageRequestReadData[]]*"])


def test_messages_of_assertions(pytester):
    pytester.makepyfile(
        """
        from korvinpackage import PackageBase, PackageRequestRead, check

        def test_fields():
            assert PackageBase(tag="a") == PackageBase(tag="b", timeout=5)

        def test_classes():
            assert PackageBase() == PackageRequestRead()

        def test_others():
            assert PackageBase() == 1

        def test_verdict():
            assert check(b"", PackageBase)

        def test_operator():
            assert PackageBase() != PackageBase()
        """
    )
    done = pytester.runpytest_inprocess()
    done.assert_outcomes(failed=5)
    done.stdout.fnmatch_lines([
        "*PackageBase == PackageBase: these fields differ*",
        "*tag: 'a' != 'b'*",
        "*timeout: 3 != 5*",
        "*the packages have other classes*",
        "*marker at 0: truncated: 1 byte expected, 0 bytes found*",
    ])
