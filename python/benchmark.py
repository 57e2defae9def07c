"""Measures encoding, decoding, memory and checking, beside the struct module and other libraries.

Usage: scripts/bench.sh --python

Peers that are not installed (python3-pymodbus, python3-scapy) are left out. A time is the smallest of many
repetitions, all in one run; repetitions of all rows take turns, so that a busy machine slows all of them.
"""

import gc
import importlib.util
import itertools
import resource
import struct
import timeit

from korvinpackage import PackageRequestWriteData, check_lines

ROUNDS = 15
CALLS = 2000
LIMITS = {16: 1.5, 2048: 2.0}  # microseconds
FACTOR = 10
LIVE = 100_000


class StructWrite:
    """The same frame in pure Python, field by field."""

    HEADER = struct.Struct("<iHBBBBHBBHH")
    BLOCK = struct.Struct("<BBi")

    def __init__(self, device_key, tag, numbers, data):
        self.device_key, self.tag, self.numbers, self.data = device_key, tag, numbers, data

    def encode(self):
        """Return the frame."""
        key, tag = self.device_key.encode(), self.tag.encode()
        return b"".join((
            b"\0", struct.pack("<H", len(key)), key, struct.pack("<H", len(tag)), tag,
            self.HEADER.pack(*self.numbers), self.BLOCK.pack(0, 0, len(self.data)), self.data))

    @classmethod
    def decode(cls, frame):
        """Return the fields of a frame."""
        (size,) = struct.unpack_from("<H", frame, 1)
        key = frame[3:3 + size].decode()
        at = 3 + size
        (size,) = struct.unpack_from("<H", frame, at)
        tag = frame[at + 2:at + 2 + size].decode()
        at += 2 + size
        numbers = cls.HEADER.unpack_from(frame, at)
        at += cls.HEADER.size
        _, _, length = cls.BLOCK.unpack_from(frame, at)
        at += cls.BLOCK.size
        return cls(key, tag, numbers, frame[at:at + length])


def struct_rows(size):
    """The struct module."""
    write = StructWrite("usb0", "t", (3000, 7, 0, 255, 1, 2, 65535, 1, 0, 16, 2560), bytes(size))
    frame = write.encode()
    ours = PackageRequestWriteData(
        device_key="usb0", tag="t", timeout=3000, serial_num=7, des_addr=255, device_type=1,
        port_addr=2, scan_board_addr=65535, low_addr=16, high_addr=2560, data=bytes(size))
    assert frame == ours.to_frame()
    return write.encode, lambda: StructWrite.decode(frame)


def pymodbus_rows(size):
    """A write of registers, in frames of at most 246 bytes."""
    from pymodbus.register_write_message import WriteMultipleRegistersRequest

    request = WriteMultipleRegistersRequest(16, [0] * (min(size, 246) // 2))
    payload = request.encode()

    def decode():
        decoded = WriteMultipleRegistersRequest()
        decoded.decode(payload)
        return decoded

    return request.encode, decode


def scapy_rows(size):
    """A packet with fields of the same widths."""
    from scapy.fields import FieldLenField, LEIntField, LEShortField, StrLenField
    from scapy.fields import XByteField
    from scapy.packet import Packet

    class Write(Packet):
        name = "write"
        fields_desc = [
            XByteField("marker", 0), LEShortField("key", 0), LEShortField("tag", 0),
            LEIntField("timeout", 3000), LEShortField("serial", 7),
            *(XByteField(f"byte{number}", 0) for number in range(4)), LEShortField("board", 0),
            XByteField("code", 1), XByteField("reserved", 0), LEShortField("low", 16),
            LEShortField("high", 2560), XByteField("broadcast", 0), XByteField("kind", 0),
            FieldLenField("length", None, length_of="data", fmt="<I"),
            StrLenField("data", b"", length_from=lambda packet: packet.length)]

    data = bytes(size)
    frame = bytes(Write(data=data))
    return lambda: bytes(Write(data=data)), lambda: Write(frame)


def our_rows(size):
    """This package."""
    write = PackageRequestWriteData(
        device_key="usb0", tag="t", timeout=3000, serial_num=7, des_addr=255, device_type=1,
        port_addr=2, scan_board_addr=65535, low_addr=16, high_addr=2560, data=bytes(size))
    frame = write.to_frame()
    decode = PackageRequestWriteData.from_frame
    return write.to_frame, lambda: decode(frame)


def measured(rows):
    """Return the smallest time of each row in microseconds."""
    best = {name: float("inf") for name in rows}
    timers = {name: timeit.Timer(call) for name, call in rows.items()}
    gc.disable()
    for _ in range(ROUNDS):
        for name, timer in timers.items():
            best[name] = min(best[name], timer.timeit(CALLS) / CALLS * 1e6)
    gc.enable()
    return best


def compare(size):
    """Print the times for data of a size, and return what misses its limit."""
    makers = {"korvinpackage": our_rows, "struct": struct_rows}
    for name, maker in (("pymodbus", pymodbus_rows), ("scapy", scapy_rows)):
        if importlib.util.find_spec(name):
            makers[name] = maker
        else:
            print(f"{name} is not installed")
    rows = {}
    for name, maker in makers.items():
        rows[name, "encode"], rows[name, "decode"] = maker(size)
    times = measured(rows)
    missed = []
    for (name, way), time in times.items():
        ours = times["korvinpackage", way]
        print(f"{size:5} bytes  {way}  {name:13} {time:8.2f} us  {time / ours:6.1f} x")
        if name == "korvinpackage" and time > LIMITS[size]:
            missed.append(f"{way} of {size} bytes: {time:.2f} us, not {LIMITS[size]}")
        elif name != "korvinpackage" and time < FACTOR * ours:
            missed.append(f"{way} of {size} bytes: {time / ours:.1f} x {name}, not {FACTOR}")
    return missed


def resident():
    """Return the peak of memory in MB."""
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024


def main():
    """Print all figures, and what misses its target."""
    before = resident()
    live = [PackageRequestWriteData(device_key="usb0", tag="t", data=bytes(16)) for _ in range(LIVE)]
    memory = resident() - before
    print(f"{len(live)} live packages take {memory:.0f} MB")
    del live
    missed = [] if memory <= 100 else [f"live packages: {memory:.0f} MB, not 100"]

    record = PackageRequestWriteData(data=bytes(16)).to_record() + "\n"
    before = resident()
    lines = itertools.repeat(record, 1_000_000)
    seconds = timeit.timeit(
        lambda: all(check_lines(lines, PackageRequestWriteData)), number=1)
    print(f"1,000,000 lines checked in {seconds:.2f} s, {resident() - before:.0f} MB more")

    for size in LIMITS:
        missed += compare(size)
    for line in missed:
        print("missed:", line)


if __name__ == "__main__":
    main()
