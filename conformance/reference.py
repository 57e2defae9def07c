#!/usr/bin/env python3
"""A second implementation of the protocol, written from docs/protocol.md alone.

It answers the cases of the conformance kit on standard input and output. It favours plainness over
speed, and shares nothing with the library.
"""

import collections
import json
import re
import sys

COMM_RESULTS = {
    0: "pending", 1: "ok", 2: "crcErr", 3: "lengthErr", 4: "portErr", 5: "timeout", 6: "codeErr",
    7: "forcedCancel",
}
PACKAGE_RESULTS = {
    0: "ok", 1: "fileErr", 2: "memErr", 3: "fileDeleteErr", 4: "directoryCreateErr",
    5: "invalidPort", 6: "parseFailure", 7: "messageDisconnect", 8: "forceCancel", 9: "sendError",
    10: "parsePackAddrFailure", 245: "failure", 246: "disConnect", 247: "fileNoExist",
    248: "fileReadFailure", 249: "fileCreatFailure", 250: "fileWriteFailure",
    251: "deviceSpaceNoEnough", 252: "cancelWait", 253: "cancel", 254: "abort", 255: "timeOut",
}
ACCESS = {0: "read", 1: "write"}
KINDS = {0: "data", 1: "file", 2: "memData"}
CODES = {
    "commResult": COMM_RESULTS, "packResult": PACKAGE_RESULTS, "readWriteCode": ACCESS,
    "clientPackageType": KINDS,
}

DATA_WRITES = {"PackageRequestWriteData", "PackageRequestWriteIP"}

MOST_ANNOUNCED = 1 << 28


class Refused(Exception):
    """The input does not have its form."""


def signed(number, bits):
    return number - (1 << bits) if number >> (bits - 1) else number


def zeros(count):
    """Returns the bytes that data announces but lacks: zeros; none if it announces more than MOST_ANNOUNCED."""
    return bytes(count) if 0 < count <= MOST_ANNOUNCED else b""


def code_number(names, value):
    """Returns the number of a code that a case gives by name, or by number if it has no name."""
    for number, name in names.items():
        if value == name:
            return number
    return int(value)


def is_read(cls):
    return cls.startswith("PackageRequestRead")


def is_write(cls):
    return cls.startswith("PackageRequestWrite")


# Byte frames


class FrameWriter:
    def __init__(self):
        self.frame = bytearray()

    def integer(self, width, value):
        self.frame += (value & ((1 << 8 * width) - 1)).to_bytes(width, "little")

    def bytes(self, data):
        self.frame += data


class FrameReader:
    def __init__(self, frame):
        self.frame = frame
        self.position = 0

    def integer(self, width, is_signed=False):
        """Reads a number. One that does not fit into the data reads as 0 and takes no bytes."""
        raw = self.frame[self.position:self.position + width]
        if len(raw) < width:
            return 0
        self.position += width
        return int.from_bytes(raw, "little", signed=is_signed)

    def bytes(self, size):
        """Reads the next bytes; None if some of them are missing. All count as read."""
        start = self.position
        self.position += size
        return self.frame[start:start + size] if self.position <= len(self.frame) else None

    def text(self, size):
        """Reads a text, which ends at its first zero byte."""
        raw = self.bytes(size) or b""
        return raw.split(b"\0")[0].decode("utf-8", "replace")


def write_header(out, f):
    key = f["deviceKey"].encode()
    tag = f["tag"].encode()
    out.integer(1, 0)
    out.integer(2, len(key))
    out.bytes(key)
    out.integer(2, len(tag))
    out.bytes(tag)
    out.integer(4, f["timeout"])
    out.integer(2, f["serialNum"])
    out.integer(1, f["scrAddr"])
    out.integer(1, f["desAddr"])
    out.integer(1, f["deviceType"])
    out.integer(1, f["portAddr"])
    out.integer(2, f["scanBoardAddr"])
    out.integer(1, 0 if f["readWriteCode"] == 0 else 1)
    out.integer(1, f["reserved2"])
    out.integer(2, f["lowAddr"])
    out.integer(2, f["highAddr"])


def read_header(src, f):
    src.position += 1
    f["deviceKey"] = src.text(src.integer(2))
    f["tag"] = src.text(src.integer(2))
    f["timeout"] = src.integer(4, True)
    f["serialNum"] = src.integer(2)
    f["scrAddr"] = src.integer(1)
    f["desAddr"] = src.integer(1)
    f["deviceType"] = src.integer(1)
    f["portAddr"] = src.integer(1)
    f["scanBoardAddr"] = src.integer(2)
    f["readWriteCode"] = 0 if src.integer(1) == 0 else 1
    f["reserved2"] = src.integer(1)
    f["lowAddr"] = src.integer(2)
    f["highAddr"] = src.integer(2)


def write_payload(out, cls, f, with_request):
    if with_request and is_read(cls):
        out.integer(4, f["replyDataLength"])
        out.integer(1, f["clientPackageType"])
    elif with_request and is_write(cls):
        out.integer(1, 1 if f["broadcast"] else 0)
        out.integer(1, f["clientPackageType"])
    if cls == "PackageRequestReadData":
        out.integer(4, f["replyDataLength"])
        out.bytes(f["data"])
    elif cls in DATA_WRITES and with_request:
        out.integer(4, f["packageDataLength"])
        out.bytes(f["data"])
    elif cls == "PackageRequestReadFile":
        name = f["fileNameWithPath"].encode()
        out.integer(2, len(name))
        out.bytes(name)
    elif cls == "PackageRequestWriteFile" and with_request and f["fileNameWithPath"]:
        out.integer(4, 0)
        out.bytes(f["fileNameWithPath"].encode())


def read_block(src, f, length_field):
    """Reads a length and the data, and returns the position between them."""
    length = src.integer(4, True)
    start = src.position
    f[length_field] = length
    data = src.bytes(max(0, length))
    if data is None:
        announced = zeros(length)
        data = (f["data"] + announced)[:len(announced)]
    f["data"] = data
    return start


def read_payload(src, cls, f, with_request):
    if with_request and is_read(cls):
        f["replyDataLength"] = src.integer(4, True)
        f["clientPackageType"] = src.integer(1)
    elif with_request and is_write(cls):
        f["broadcast"] = src.integer(1) == 1
        f["clientPackageType"] = src.integer(1)
    if cls == "PackageRequestReadData":
        read_block(src, f, "replyDataLength")
    elif cls in DATA_WRITES and with_request:
        # The data bytes are not counted as consumed, and no length is negative.
        src.position = read_block(src, f, "packageDataLength")
        f["packageDataLength"] = max(0, f["packageDataLength"])
    elif cls == "PackageRequestReadFile":
        size = src.integer(2)
        start = src.position
        if size > 0:
            f["fileNameWithPath"] = src.text(size)
        src.position = start
    elif cls == "PackageRequestWriteFile" and with_request:
        size = src.integer(4, True)
        if size > 0:
            f["fileNameWithPath"] = src.text(size)
        f["offset"] = src.integer(4, True)


def encode_frame(cls, direction, reply, f):
    out = FrameWriter()
    if direction == "request" or reply == "full":
        write_header(out, f)
        write_payload(out, cls, f, True)
    if direction == "request":
        return bytes(out.frame)
    if reply == "full":
        out.frame[0] = 1
        for name in ("ackCode", "commResult", "packResult"):
            out.integer(1, f[name])
            out.integer(1, 0)
    else:
        out.integer(1, 0)
        out.integer(2, f["serialNum"])
        for name in ("ackCode", "commResult", "packResult"):
            out.integer(1, f[name])
    write_payload(out, cls, f, reply == "full")
    return bytes(out.frame)


def decode_frame(cls, direction, frame, f):
    src = FrameReader(frame)
    if direction == "request":
        read_header(src, f)
        read_payload(src, cls, f, True)
        return
    full = frame[:1] > b"\0"
    if full:
        read_header(src, f)
        read_payload(src, cls, f, True)
    else:
        src.position = 1
        f["serialNum"] = src.integer(2)
    for name in ("ackCode", "commResult", "packResult"):
        f[name] = src.integer(1)
    read_payload(src, cls, f, full)


# Linux frames


def checksum(frame):
    return (0x5555 + sum(frame)) & 0xFFFF


def encode_linux(cls, f):
    length = f["replyDataLength"] if cls == "PackageRequestReadData" else f["packageDataLength"]
    code = f["readWriteCode"]
    out = FrameWriter()
    out.bytes(b"\x55\xAA\0")
    out.integer(1, f["serialNum"])
    out.integer(1, f["scrAddr"])
    out.integer(1, f["desAddr"])
    out.integer(1, f["deviceType"])
    out.integer(1, f["portAddr"])
    out.integer(2, f["scanBoardAddr"])
    out.integer(1, code)
    out.integer(1, f["reserved2"])
    out.integer(2, f["lowAddr"])
    out.integer(2, f["highAddr"])
    if code == 1:
        length = max(0, length)
    out.integer(2, length)
    frame = out.frame if code in (0, 1) else bytearray(18)
    size = 18
    if code == 1 and length != 0:
        # The frame carries all of the data; the length decides where the checksum is.
        size += length
        frame += f["data"]
    frame += zeros(size + 2 - len(frame))
    frame[size:size + 2] = checksum(frame[2:size]).to_bytes(2, "little")
    return bytes(frame)


def decode_linux(cls, frame, f):
    def byte(i):
        return frame[i] if 0 <= i < len(frame) else 0

    def word(i):
        return byte(i) | byte(i + 1) << 8

    if word(len(frame) - 2) != checksum(frame[2:-2]):
        raise Refused
    status = signed(byte(2), 8)
    f["commResult"] = status + 1
    f["ackCode"] = status & 0xFFFFFFFF
    f["packResult"] = status
    f["serialNum"] = byte(3)
    f["scrAddr"] = byte(4)
    f["desAddr"] = byte(5)
    f["deviceType"] = signed(byte(6), 8)
    f["portAddr"] = byte(7)
    f["scanBoardAddr"] = word(8)
    f["readWriteCode"] = signed(byte(10), 8)
    f["reserved2"] = signed(byte(11), 8)
    f["lowAddr"] = word(12)
    f["highAddr"] = word(14)
    length = word(16)
    data = frame[18:-2][:length]
    if cls == "PackageRequestReadData":
        f["replyDataLength"] = length
        f["data"] = data
    else:
        f["packageDataLength"] = length
        f["data"] = data + zeros(length - len(data))


# Text records


def number(text, low, high):
    """Reads a decimal number; 0 for any other text, and out of the range."""
    if not re.fullmatch(r"[ \t\n\v\f\r]*[+-]?[0-9]+[ \t\n\v\f\r]*", text):
        return 0
    value = int(text)
    return value if low <= value <= high else 0


def int32(text):
    return number(text, -(1 << 31), (1 << 31) - 1)


def uint32(text):
    return number(text, 0, (1 << 32) - 1)


def write_data_string(data, count):
    """Writes the first bytes of the data; 0 for missing ones."""
    data += zeros(count - len(data))
    return "/".join(str(byte) for byte in data[:max(0, count)])


def count_of_written(f, reply):
    """Returns how many bytes a write's record carries: at least one if it carries any."""
    length = f["packageDataLength"]
    carries = length != 0 if reply else bool(f["data"])
    return max(1, length) if carries else 0


def read_data_string(text, length):
    parts = [int32(part) & 0xFF for part in text.split("/")][:max(0, length)]
    return bytes(parts) + zeros(length - len(parts))


def own_columns(cls, reply, f):
    columns = []
    if is_read(cls):
        columns += [f["replyDataLength"], KINDS.get(f["clientPackageType"], "data")]
    elif is_write(cls):
        columns += ["true" if f["broadcast"] else "false",
                    KINDS.get(f["clientPackageType"], "data")]
    if cls == "PackageRequestReadData" and reply:
        length = f["replyDataLength"]
        columns += [length, write_data_string(f["data"], length)]
    elif cls in DATA_WRITES:
        columns += [f["packageDataLength"],
                    write_data_string(f["data"], count_of_written(f, reply))]
    elif cls == "PackageRequestReadFile":
        columns += [f["fileNameWithPath"]]
    elif cls == "PackageRequestWriteFile":
        columns += [f["fileNameWithPath"], f["offset"]]
    elif cls == "PackageRequestReadMemData":
        columns += [f["offset"]]
    elif cls == "PackageRequestWriteMemData":
        columns += [f["offset"], f["packageDataLength"]]
    return columns


def encode_text(cls, reply, f):
    ack = [f["ackCode"]] if reply else []
    if cls == "SpecialPackageRequest":
        columns = [f["id"], f["timeout"], f["strData"]] + ack
    else:
        columns = [
            f["serialNum"],
            f["deviceKey"].replace("/", "#*#").replace(",", "*#*"),
            f["deviceType"], f["scrAddr"], f["desAddr"], f["portAddr"], f["scanBoardAddr"],
            f["highAddr"], f["lowAddr"], f["reserved2"],
            "write" if f["readWriteCode"] == 1 else "read",
            f["timeout"], f["tag"],
            COMM_RESULTS.get(f["commResult"], ""),
            PACKAGE_RESULTS.get(f["packResult"], ""),
        ] + ack + own_columns(cls, reply, f)
    return ",".join(str(column) for column in columns)


def result(names, text, ok):
    for code, name in names.items():
        if text == name:
            return code
    return ok


def needed_columns(cls, reply):
    """A reader wants as many columns as a writer makes, but the reply to a special request needs
    those of PackageBase."""
    common = 3 if cls == "SpecialPackageRequest" and not reply else 15
    return common + reply + len(own_columns(cls, reply, collections.defaultdict(int, data=b"")))


def decode_text(cls, reply, text, f):
    c = text.split(",")
    if len(c) < needed_columns(cls, reply):
        raise Refused
    if cls == "SpecialPackageRequest":
        f["id"] = int32(c[0])
        f["timeout"] = signed(uint32(c[1]), 32)
        f["strData"] = c[2]
    else:
        decode_common_columns(c, f)
    if reply:
        f["ackCode"] = int32(c[15]) & 0xFFFFFFFF
    decode_own_columns(cls, reply, c, f)


def decode_common_columns(c, f):
    f["serialNum"] = int32(c[0]) & 0xFFFFFFFFFFFFFFFF
    f["deviceKey"] = c[1].replace("*#*", ",").replace("#*#", "/")
    f["deviceType"] = int32(c[2])
    f["scrAddr"], f["desAddr"], f["portAddr"] = (uint32(c[i]) & 0xFF for i in (3, 4, 5))
    f["scanBoardAddr"], f["highAddr"], f["lowAddr"] = (
        uint32(c[i]) & 0xFFFF for i in (6, 7, 8))
    f["reserved2"] = signed(uint32(c[9]), 32)
    f["readWriteCode"] = 0 if c[10] == "read" else 1
    f["timeout"] = int32(c[11])
    f["tag"] = c[12]
    f["commResult"] = result(COMM_RESULTS, c[13], 1)
    f["packResult"] = result(PACKAGE_RESULTS, c[14], 0)


def decode_own_columns(cls, reply, c, f):
    # Register columns, and those of file and memory writes, are read where a request has them.
    if is_read(cls):
        f["replyDataLength"] = int32(c[15])
        f["clientPackageType"] = result(KINDS, c[16], 2)
    elif is_write(cls):
        f["broadcast"] = c[15] == "true"
        f["clientPackageType"] = result(KINDS, c[16], 0)
    own = 18 if reply else 17
    if cls == "PackageRequestReadData" and reply:
        f["replyDataLength"] = int32(c[18])
        read_data(c[19], f["replyDataLength"], f, True)
    elif cls in DATA_WRITES:
        f["packageDataLength"] = int32(c[own])
        read_data(c[own + 1], f["packageDataLength"], f, not reply)
    elif cls == "PackageRequestReadFile":
        f["fileNameWithPath"] = c[own]
    elif cls == "PackageRequestReadMemData":
        f["offset"] = int32(c[own])
    elif cls == "PackageRequestWriteFile":
        f["fileNameWithPath"] = c[17]
        f["offset"] = int32(c[18])
    elif cls == "PackageRequestWriteMemData":
        f["offset"] = int32(c[17])
        f["packageDataLength"] = int32(c[18])


def read_data(column, length, f, must_agree):
    if must_agree and length != column.count("/") + 1:
        raise Refused
    if length <= MOST_ANNOUNCED:
        f["data"] = read_data_string(column, length)


COMBINATION_TYPES = {
    "writeData": "PackageRequestWriteData", "writeFile": "PackageRequestWriteFile",
    "ReadData": "PackageRequestReadData", "ReadFile": "PackageRequestReadFile",
}


def decode_combination(text):
    packages = []
    for item in text.split("|"):
        parts = item.split("^")
        if len(parts) != 2:
            break
        if parts[0] not in COMBINATION_TYPES:
            raise Refused
        fields = {"data": b""}
        try:
            decode_text(COMBINATION_TYPES[parts[0]], False, parts[1], fields)
        except Refused:
            pass  # The package stays as it is by now.
        packages.append({"class": COMBINATION_TYPES[parts[0]], **fields_for_answer(fields)})
    return packages


# Cases


def fields_from_case(case):
    fields = dict(case["fields"])
    for name, value in fields.items():
        if name in CODES:
            fields[name] = code_number(CODES[name], value)
        elif name == "data":
            fields[name] = bytes.fromhex(value)
        elif name == "serialNum":
            fields[name] = int(value)
    return fields


def fields_for_answer(fields):
    """Codes may be numbers; a serial number may have more digits than a number of JSON."""
    return {**fields, "data": fields["data"].hex(), "serialNum": str(fields.get("serialNum", 0))}


def answer_to(case):
    cls, form, direction = case["class"], case["form"], case["direction"]
    if case["task"] == "encode":
        fields = fields_from_case(case)
        if form == "text":
            return {"text": encode_text(cls, direction == "reply", fields)}
        if form == "linux":
            return {"bytes": encode_linux(cls, fields).hex()}
        return {"bytes": encode_frame(cls, direction, case.get("reply"), fields).hex()}
    if cls == "PackageRequestCombination":
        return {"fields": {"packages": decode_combination(case["text"])}}
    fields = {"data": b"", "fileNameWithPath": ""}
    if form == "text":
        decode_text(cls, direction == "reply", case["text"], fields)
    elif form == "linux":
        decode_linux(cls, bytes.fromhex(case["bytes"]), fields)
    else:
        decode_frame(cls, direction, bytes.fromhex(case["bytes"]), fields)
    return {"fields": fields_for_answer(fields)}


def main():
    for line in sys.stdin:
        case = json.loads(line)
        try:
            answer = {"verdict": "accepted", **answer_to(case)}
        except Refused:
            answer = {"verdict": "refused"}
        answer["case"] = case["case"]
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
