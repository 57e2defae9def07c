#!/usr/bin/env python3
"""Compares the Wireshark dissector with the library: every field of every frame and record has the
place, the value and the faults that korvinpack explain gives, the class is guessed as the library
guesses it, and no input makes the dissector fail.

tshark takes milliseconds for a message, so not every case of the conformance kit is dissected by every
test. All messages of tests/data, which were written by hand, are. Of the others, which stand for the
edges of each field, fields are compared for one in EDGES_OF_FIELDS and guesses for one in
EDGES_OF_GUESSES, and COUNT says how many are generated and broken. A COUNT above 100 takes all edges.

Usage: dissector_test.py KORVINPACK GENERATOR DISSECTOR CASES [COUNT]
"""

import collections
import functools
import itertools
import json
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import unittest

import captures

KORVINPACK, GENERATOR, DISSECTOR, CASES = sys.argv[1:5]
COUNT = int(sys.argv[5]) if len(sys.argv) > 5 else 100
GUESSES = 50 * COUNT
EDGES_OF_FIELDS = 2 if COUNT <= 100 else 1
EDGES_OF_GUESSES = 5 if COUNT <= 100 else 1
DATA = pathlib.Path(__file__).resolve().parents[2] / "tests" / "data"


@functools.cache
def cases():
    with open(CASES, encoding="utf-8") as file:
        return [json.loads(line) for line in file]


@functools.cache
def vectors():
    """The cases that were written by hand."""
    names = set()
    for path in [*DATA.glob("vectors/[A-Z]*.json"), DATA / "combinations.json"]:
        vector = json.loads(path.read_text(encoding="utf-8"))
        names |= {(vector["class"], case["name"]) for case in vector["cases"]}
    found = [case for case in cases() if (case["class"], case["case"].split(": ")[1]) in names]
    assert {(case["class"], case["case"].split(": ")[1]) for case in found} == names
    return found


def edges(one_in, seed):
    """A sample of all other cases."""
    by_hand = {case["case"] for case in vectors()}
    others = [case for case in cases() if case["case"] not in by_hand]
    return random.Random(seed).sample(others, len(others) // one_in)


def field_types():
    """The type of each field, by its name."""
    with open(DISSECTOR.replace(".lua", "_layouts.lua"), encoding="utf-8") as file:
        return dict(re.findall(r'^        (\w+) = { type = "(\w+)"', file.read(), re.MULTILINE))


TYPES = field_types()
FORMS = {"frame": "Byte frames", "text": "Text records", "linux": "Linux frames"}
PORTS = {name: 6000 + i for i, name in enumerate(sorted({case["class"] for case in cases()}))}
DECODE_AS = [f"{layer}.port=={port},{name.lower()}"
             for name, port in PORTS.items() for layer in ("udp", "tcp")]

FRAMED = "A line, or a length first"

Message = collections.namedtuple("Message", "form cls direction content")
Field = collections.namedtuple("Field", "name offset width value faulty meaning")


def message_of(case):
    content = case["text"].encode() if case["form"] == "text" else bytes.fromhex(case["bytes"])
    return Message(case["form"], case["class"], case["direction"], content)


def lines_of(stream):
    return stream.split(b"\n")[:-1]


def prefixed_of(stream):
    while stream:
        size = 4 + int.from_bytes(stream[:4], "little")
        yield stream[4:size]
        stream = stream[size:]


def is_line(message):
    """Whether korvinpack takes it from a line as it is."""
    if message.form != "text":
        return len(message.content) > 0
    return (message.content.isascii() or message.content.decode().isprintable()) and not any(
        byte < 32 or byte == 127 for byte in message.content) and message.content.strip(
        ) == message.content and not message.content.startswith((b"#", b"0x")) and message.content


def generated(count, seed=7):
    lines = subprocess.run([GENERATOR, str(seed), str(count)], capture_output=True, check=True).stdout
    return [json.loads(line) for line in lines.decode().splitlines()]


def lines_explained(lines, options):
    run = subprocess.run([KORVINPACK, "explain", "--json"] + options,
                         input=b"\n".join(lines) + b"\n", capture_output=True, check=False)
    answers = [json.loads(line) for line in run.stdout.decode().splitlines()]
    assert len(answers) == len(lines), run.stderr
    return answers


def by_group(messages, group_of, options_of):
    """What the library says of each message, asked group by group."""
    groups = collections.defaultdict(list)
    for i, message in enumerate(messages):
        groups[group_of(message)].append(i)
    result = [None] * len(messages)
    for group, places in groups.items():
        lines = [messages[i].content if messages[i].form == "text"
                 else messages[i].content.hex().encode() for i in places]
        for i, answer in zip(places, lines_explained(lines, options_of(group))):
            result[i] = answer
    return result


def explained(messages):
    return by_group(messages, lambda message: message[:3],
                    lambda group: ["--form", group[0], "--class", group[1], "--direction", group[2],
                                   *([] if group[0] == "text" else ["--as", "hex"])])


def guessed(messages):
    """What the library takes each message for, of which it knows the direction only."""
    result = [None] * len(messages)
    for direction in ("request", "reply"):
        places = [i for i, message in enumerate(messages) if message.direction == direction]
        answers = lines_explained([messages[i].content.hex().encode() for i in places],
                                  ["--direction", direction, "--as", "hex"])
        for i, answer in zip(places, answers):
            result[i] = answer["what"]
    return result


def is_guessed(message):
    """Replies of items, which the library does not read, are taken for a combination."""
    return message.content and not (message.direction == "reply" and b"^" in message.content)


def broken(message, chance):
    """The message with something changed, inserted, removed or cut off."""
    content = bytearray(message.content)
    for _ in range(chance.randrange(1, 4)):
        place = chance.randrange(len(content) + 1)
        byte = chance.choice(b"\0\1\x7F\xFF,,,/|^-0123atrue") if chance.randrange(3) \
            else chance.randrange(256)
        kind = chance.randrange(4)
        if kind == 0:
            content.insert(place, byte)
        elif kind == 1:
            content[place:place + 1] = bytes([byte])
        elif kind == 2:
            del content[place:place + chance.randrange(1, 4)]
        else:
            del content[max(1, place):]
    return message._replace(content=bytes(content) or b"\0")


NO_FAULTS = ("an encoder writes", "reads bytes", "reads the column", "not read", "read as",
             "what is")


def folded(fields):
    """The columns after the last one of a class, which the dissector shows as one."""
    end = len(fields)
    while end > 0 and not fields[end - 1]["name"] and fields[end - 1].get("column", -1) >= 0 \
            and fields[end - 1]["remarks"] == ["not read"]:
        end -= 1
    beyond = fields[end:]
    if len(beyond) < 2:
        return fields
    width = beyond[-1]["offset"] + beyond[-1]["width"] - beyond[0]["offset"]
    return fields[:end] + [{**beyond[0], "width": width}]


def folded_items(fields):
    """The same for each item of a combination."""
    items = itertools.groupby(fields, lambda field: field.get("item", 0))
    return [field for _, item in items for field in folded(list(item))]


def units_to_bytes(text):
    """The byte offset of each character, and of the end, counted in UTF-16 units."""
    offsets = []
    position = 0
    for character in text:
        width = len(character.encode())
        offsets += [position] * (len(character.encode("utf-16-le")) // 2)
        position += width
    return offsets + [position]


def expected_fields(message, explanation):
    offsets = units_to_bytes(message.content.decode()) if message.form == "text" else None
    fields = []
    full = message.direction == "reply" and message.form == "frame" and message.content[:1] != b"\0"
    for field in folded_items(explanation["fields"]):
        begin, end = field["offset"], field["offset"] + field["width"]
        if offsets:
            begin, end = offsets[begin], offsets[end]
        value = field.get("value")
        remarks = field.get("remarks", [])
        faulty = any(not remark.startswith(NO_FAULTS) for remark in remarks)
        # Where an encoder writes something else, and where it wrote nothing, the dissector has
        # its own rules.
        if full or not field["name"] or any(remark.startswith("an encoder") for remark in remarks):
            faulty = None
        if field["name"] == "serialNum":
            value = int(value)
        # Data that a request announces is not missing.
        if field["name"] == "data" and message.direction == "request" and begin == end:
            faulty = None
        # Wireshark has no range past the end.
        offset = min(begin, len(message.content) - 1) if begin == end else begin
        fields.append(Field(field["name"], offset, end - begin, value, faulty,
                            field.get("meaning")))
    return fields


def mutants(message, all_sizes, chance):
    """Truncations, flipped bits and noise in place of a message."""
    content = message.content
    if not content or len(content) > 200:
        return
    changed = [content[:size] for size in range(1, len(content))]
    if not all_sizes:
        changed = chance.sample(changed, min(5, len(changed)))
    for _ in range(10):
        flipped = bytearray(content)
        bit = chance.randrange(8 * len(flipped))
        flipped[bit // 8] ^= 1 << bit % 8
        changed.append(bytes(flipped))
    changed.append(bytes(chance.randrange(256) for _ in range(chance.randrange(80))))
    for mutant in changed:
        try:
            mutant.decode()
        except UnicodeDecodeError:
            if message.form == "text":
                continue
        yield message._replace(content=mutant)


class Dissected:
    """The fields that the dissector shows for a package."""

    def __init__(self, proto, base):
        self.fields = []
        self.base = base
        self.walk(proto)

    def walk(self, element):
        for child in element.findall("field"):
            name = child.get("name")
            if name == "_ws.expert":
                continue
            if not name.startswith("korvinpackage."):
                self.walk(child)
                continue
            name = name[len("korvinpackage."):]
            if name in ("class", "form", "direction", "response_to", "response_in",
                        "response_time"):
                continue
            self.fields.append(self.field(name, child))

    def field(self, name, element):
        shown = element.get("show")
        value = None
        faulty = any(child.get("name") == "_ws.expert"
                     and any(info.get("name") in ("korvinpackage.malformed",
                                                  "korvinpackage.checksum.bad")
                             for info in child.findall("field"))
                     for child in element.findall("field"))
        if name in ("data_string", "unread") and (name == "data_string"
                                                  or element.get("showname").startswith("data:")):
            name = "data"
            value = [child.get("show").replace(":", "") for child in element.findall("field")
                     if child.get("name") == "korvinpackage.data"]
            value = value[0] if value else ""
        elif name == "unread":
            name = ""
        elif name == "data":
            value = shown.replace(":", "")
        elif TYPES.get(name) == "string":
            value = shown
        elif TYPES.get(name) == "bool":
            value = shown in ("1", "True")
        else:
            value = int(shown, 0)
        return Field(name, int(element.get("pos")) - self.base, int(element.get("size")), value,
                     faulty, element.get("showname"))


def faults_of(element):
    """What is said to be unusual about a field itself."""
    return [info.get("show") for child in element.findall("field") if child.get("name") == "_ws.expert"
            for info in child.findall("field") if info.get("name") == "_ws.expert.message"]


def shown_values(packet):
    """The values of all fields, by their name and place."""
    return {(field.get("name")[len("korvinpackage."):], field.get("pos")): field.get("show")
            for field in packet.iter("field") if field.get("name").startswith("korvinpackage.")
            and field.get("size") != "0"}


def dissected(packet, base):
    proto, = captures.packages(packet)
    return Dissected(proto, base).fields


def same(expected, shown):
    if expected[:3] != shown[:3]:
        return False
    if expected.faulty is not None and expected.faulty != shown.faulty:
        return False
    # The dissector shows the type word of a combination and the class after it.
    if expected.meaning and expected.name != "type":
        if not re.search(rf"[ (]{expected.meaning}( \(-?\d+\)|\)|)$", shown.meaning):
            return False
    # Wireshark shows other characters in ways of its own.
    if isinstance(expected.value, str) and not expected.value.isprintable():
        return True
    # Nothing of what was announced is there.
    return (expected.value or "") == (shown.value or "") if expected.name in ("data", "") \
        else expected.value == shown.value


class DissectorTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)

    def dissect(self, packets, preferences=(), decode_as=DECODE_AS, two_passes=False,
                dissector=DISSECTOR):
        path = os.path.join(self.directory.name, "capture.pcap")
        captures.write(path, packets)
        return captures.tshark(dissector, path, decode_as, preferences, two_passes)

    def assert_shown(self, message, explanation, shown):
        expected = expected_fields(message, explanation)
        self.assertTrue(len(expected) == len(shown) and all(map(same, expected, shown)),
                        f"{message}\nexpected\n" + "\n".join(map(str, expected)) + "\nshown\n"
                        + "\n".join(map(str, shown)))
        return len(expected)

    def compare(self, messages):
        messages = [message for message in messages if is_line(message)]
        explanations = explained(messages)
        compared = 0
        for form, words in FORMS.items():
            places = [i for i, message in enumerate(messages) if message.form == form]
            packets = self.dissect([captures.udp(messages[i].content, PORTS[messages[i].cls],
                                                 messages[i].direction == "request")
                                    for i in places], [f"form:{words}"])
            self.assertEqual(len(packets), len(places))
            for i, packet in zip(places, packets):
                compared += self.assert_shown(messages[i], explanations[i],
                                              dissected(packet, captures.HEADERS))
        return compared

    def test_every_field_is_that_of_the_library(self):
        chance = random.Random(1)
        given = vectors() + edges(EDGES_OF_FIELDS, seed=1)
        broken = [message for case in given if case["task"] == "decode"
                  for message in mutants(message_of(case), "every byte differs" in case["case"],
                                         chance)]
        chance.shuffle(broken)
        messages = [message_of(case) for case in given + generated(COUNT)] + broken[:4 * COUNT]
        # What is encoded is often decoded as well.
        messages = list(dict.fromkeys(messages))
        self.assertGreater(self.compare(messages), 10 * len(messages))

    def test_what_is_no_package_at_all(self):
        """No class and no form is given; there is nothing to compare with, but it must not fail."""
        chance = random.Random(2)
        packets = []
        for i in range(COUNT // 2):
            content = chance.choice([b"", b"\x55\xAA", b"\0", b"\1", b"7,usb,", b"ReadData^1,"])
            content += bytes(chance.choice([0, 1, 255, 44, 94, 124, chance.randrange(256)])
                             for _ in range(chance.randrange(1, 60)))
            packets.append(captures.udp(content, 5000, i % 2 == 0))
        packets.append(captures.udp(b"", 5000, True))
        shown = self.dissect(packets, decode_as=["udp.port==5000,korvinpackage"])
        self.assertEqual(len(shown), len(packets))
        self.assertTrue(all(captures.packages(packet) for packet in shown[:-1]))

    def shown_value(self, packet, name):
        found = packet.findall(f".//field[@name='korvinpackage.{name}']")
        return [field.get("show") for field in found]

    def test_class_and_form_are_guessed(self):
        """As the library guesses them, for what encoders write and for what is broken."""
        chance = random.Random(4)
        given = vectors() + edges(EDGES_OF_GUESSES, seed=2)
        known = [message for message in map(message_of, given + generated(GUESSES // 2, seed=8))
                 if is_guessed(message)]
        messages = list(known)
        while len(messages) < len(given) + GUESSES:
            message = broken(chance.choice(known), chance)
            if is_guessed(message):
                messages.append(message)
        # A port for each: the class of a reply is that of its request.
        packets = self.dissect([captures.udp(message.content, 7000 + i,
                                             message.direction == "request")
                                for i, message in enumerate(messages)],
                               ["udp_ports:7000-20000"], decode_as=[])
        words = {"byte frame": "{} frame of {}", "text record": "{} record of {}",
                 "Linux frame": "Linux {} frame of {}"}
        different = []
        for message, what, packet in zip(messages, guessed(messages), packets):
            shown = words[self.shown_value(packet, "form")[0]].format(
                message.direction, self.shown_value(packet, "class")[0])
            if shown != what:
                different.append(f"{message.content.hex()}: {shown}, not {what}")
        self.assertEqual(different, [])

    def test_a_file_read_is_not_taken_for_a_data_read(self):
        frame = bytes.fromhex("00 0000 0000 03000000 0700 00 00 00 00 0000 00 00 0000 0000"
                              "00000000 00 0200 6162")
        packet, = self.dissect([captures.udp(frame, 5000, True)], ["udp_ports:5000"], decode_as=[])
        self.assertEqual(self.shown_value(packet, "class"), ["PackageRequestReadFile"])
        self.assertEqual(self.shown_value(packet, "fileNameWithPath"), ["ab"])

    def test_an_empty_file_name_leaves_the_one_before(self):
        """In the second half of a full reply, as decoders read it."""
        header = "0000 0000 03000000 0700 01 02 03 04 0500 01 06 0700 0800"
        frame = bytes.fromhex(f"01 {header} 00 01 02000000 6162 00000000"
                              "00 01 00 00 01 00000000 00000000")
        message = Message("frame", "PackageRequestWriteFile", "reply", frame)
        self.assertGreater(self.compare([message]), 20)
        packet, = self.dissect([captures.udp(frame, PORTS[message.cls], False)])
        self.assertEqual(self.shown_value(packet, "fileNameWithPath"), ["ab", "ab"])

    def test_what_decoders_do_not_read_has_the_name_of_what_is_written(self):
        """A file name after a size of 0, of which a decoder takes the first bytes for the offset."""
        frame = bytes.fromhex("00 0000 0000 03000000 0700 01 02 03 04 0500 01 06 0700 0800 00 01 00000000")
        packets = self.dissect([captures.udp(frame + text, PORTS["PackageRequestWriteFile"], True)
                                for text in (b"abcdefgh", b"abcdef\xff\xff")])
        self.assertEqual([faults_of(packet.find(".//field[@name='korvinpackage.unread']")) for packet in packets],
                         [["not read; an encoder writes fileNameWithPath here"], ["trailing 4 bytes"]])

    def test_a_request_announces_the_data_of_its_reply(self):
        """Which is not missing, even if it is a single byte."""
        header = "00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800"
        packets = self.dissect([captures.udp(bytes.fromhex(f"{header} {length} 00 {length}"),
                                             PORTS["PackageRequestReadData"], True)
                                for length in ("01000000", "03000000")])
        for packet in packets:
            self.assertEqual([fault for field in packet.iter("field") for fault in faults_of(field)],
                             ["a request announces the data that its reply is to bring"])

    def test_a_byte_order_mark_is_a_fault(self):
        """Which the library drops, so that no encoder writes it; elsewhere U+FEFF is a character."""
        rest = bytes.fromhex("0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800")
        keys = [b"\xEF\xBB\xBFa", b"a\xEF\xBB\xBF"]
        packets = self.dissect([captures.udp(b"\0\4\0" + key + rest, PORTS["PackageBase"], True)
                                for key in keys])
        self.assertEqual([faults_of(packet.find(".//field[@name='korvinpackage.deviceKey']"))
                          for packet in packets], [["the text is not UTF-8"], []])

    def test_what_is_lost_is_looked_for_in_4096_bytes_or_characters(self):
        """A write of data that lacks a column or byte is taken for another class where it is larger."""
        frame = bytes.fromhex("0000 03000000 0700 01 02 03 0500 01 06 0700 0800 00 00 03000000 616263")
        packets = []
        for size in (4096, 4097):
            for key in "kä\U0001F600":  # the library counts UTF-16
                count = size - 50
                text = key * (count // 2) + "." * (count % 2) if key > "\uFFFF" else key * count
                record = text + ",1,2,3,4,5,6,7,8,write,9,t,ok,ok,true,data,2,25/26"
                self.assertEqual(len(record.encode("utf-16-le")), 2 * size)
                packets.append(captures.udp(record.encode(), 5000 + len(packets), True))
            length = size - 3 - len(frame)
            packets.append(captures.udp(b"\0" + length.to_bytes(2, "little") + b"k" * length + frame,
                                        5000 + len(packets), True))
        shown = [self.shown_value(packet, "class") == ["PackageRequestWriteData"]
                 for packet in self.dissect(packets, ["udp_ports:5000-5010"], decode_as=[])]
        self.assertEqual(shown, 4 * [True] + 4 * [False])

    def test_replies_are_tied_to_requests(self):
        read = bytes.fromhex("0000000000030000000500" + "00" * 12 + "0300000000" + "03000000")
        short = bytes.fromhex("000500000100" + "03000000" + "01FF10")
        linux = bytes.fromhex("55AA000500000000000000000000000000035955")
        record = b"5,,0,0,0,0,0,0,0,0,read,3,,ok,ok,3,data"
        reply_record = b"5,,0,0,0,0,0,0,0,0,read,3,,ok,ok,0,3,data,3,1/255/16"
        packets = self.dissect([
            captures.udp(read, 5000, True),  # 1
            captures.udp(record, 5000, True),
            captures.udp(short, 5000, False),
            captures.udp(short, 5001, False),  # from another port
            captures.udp(reply_record, 5000, False),
            captures.udp(linux, 5000, False),  # 6: of another form
        ], ["udp_ports:5000-5001"], decode_as=[], two_passes=True)
        self.assertEqual([self.shown_value(packet, "response_in") for packet in packets],
                         [["3"], ["5"], [], [], [], []])
        self.assertEqual([self.shown_value(packet, "response_to") for packet in packets],
                         [[], [], ["1"], [], ["2"], []])
        self.assertEqual([self.shown_value(packet, "response_time") for packet in packets],
                         [[], [], ["0.002000000"], [], ["0.003000000"], []])
        # The class of a reply is that of its request.
        self.assertEqual(self.shown_value(packets[2], "class"), ["PackageRequestReadData"])
        self.assertEqual(self.shown_value(packets[2], "data"), ["01:ff:10"])

    def test_found_in_the_plugin_folder(self):
        folder = os.path.join(self.directory.name, ".local/lib/wireshark/plugins")
        os.makedirs(folder)
        for name in os.listdir(os.path.dirname(DISSECTOR)):
            if name.endswith(".lua"):
                shutil.copy(os.path.join(os.path.dirname(DISSECTOR), name), folder)
        packets = self.dissect([captures.udp(b"12,0,hello", 5000, True)],
                               decode_as=["udp.port==5000,korvinpackage"], dissector=None)
        self.assertEqual(self.shown_value(packets[0], "strData"), ["hello"])

    def test_checksums_and_failures_are_marked(self):
        good = bytes.fromhex("55AA04050000000000000000000000000000" + "5E55")
        bad = bytes.fromhex("55AA04050000000000000000000000000000" + "5F55")
        packets = self.dissect([captures.udp(frame, PORTS["PackageRequestReadData"], False)
                                for frame in (good, bad)])
        self.assertEqual([self.shown_value(packet, "checksum.status") for packet in packets],
                         [["1"], ["0"]])
        self.assertEqual([len(self.shown_value(packet, "checksum.bad")) for packet in packets],
                         [0, 1])
        self.assertEqual([len(self.shown_value(packet, "failure")) for packet in packets], [1, 1])

    def test_a_frame_with_the_byte_of_a_caret_is_no_combination(self):
        item = b"ReadData^7,a\0b,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,0,1,data,1,5"
        rows = [
            (bytes.fromhex("00 5E00 00 01 00"), ["byte frame"], ["PackageBase"]),
            (item, ["text record"], ["PackageRequestCombination"]),
        ]
        packets = self.dissect([captures.udp(content, 5000, False) for content, _, _ in rows],
                               ["udp_ports:5000"], decode_as=[])
        self.assertEqual([(self.shown_value(packet, "form"), self.shown_value(packet, "class"))
                          for packet in packets], [row[1:] for row in rows])

    def test_faults_of_frames_say_what_is_there(self):
        read = ("00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 03000000 00")
        rows = [
            ("PackageRequestRead", True, read + "00", "trailing 1 byte"),
            ("PackageRequestRead", True, read + "0000", "trailing 2 bytes"),
            ("PackageRequestRead", True, read[:-5], "truncated: 4 bytes expected, 3 bytes left"),
            ("PackageRequestRead", True, read[:-9], "truncated: 4 bytes expected, 1 byte left"),
            ("PackageRequestReadData", False, "00 0500 00 01 00 03000000 0102", "announced 3 bytes, left 2 bytes"),
            ("PackageRequestReadData", False, "00 0500 00 01 00 FFFFFFFF", "negative length -1"),
            ("PackageBase", False, "00 0500 00 09 00", "unknown code 9"),
            ("PackageBase", True, "02" + read[2:-12], "0x0 expected"),
        ]
        packets = self.dissect([captures.udp(bytes.fromhex(frame), PORTS[name], is_request)
                                for name, is_request, frame, _ in rows], ["form:Byte frames"])
        for (_, _, frame, fault), packet in zip(rows, packets):
            self.assertEqual([text for field in packet.findall(".//proto[@name='korvinpackage']/field")
                              for text in faults_of(field)][:1], [fault], frame)

    def test_faults_of_columns_say_what_is_there(self):
        rows = [
            (3, b"256", 'out of range: a number from 0 to 255 expected, "256" found'),
            (3, b"-1", 'out of range: a number from 0 to 255 expected, "-1" found'),
            (3, b"", 'not a number: ""'),
            (3, b"07", 'not a number: "07"'),
            (3, b"x" * 40, f'not a number: "{"x" * 40}"'),
            (3, b"x" * 41, f'not a number: "{"x" * 40}..."'),
            (3, b"a\tb\x7f", 'not a number: "a.b."'),
            (1, b"a/b", "a / that is not escaped"),
            (10, b"Read", 'unknown word "Read"'),
            (13, b"OK", 'unknown word "OK"'),
            (15, b"0", "a column after the last one"),
            (15, b"0,1", "2 columns after the last one"),
        ]
        packets = []
        for column, text, _ in rows:
            columns = b"7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok".split(b",")
            columns[column:column + 1] = [text]
            packets.append(captures.udp(b",".join(columns), PORTS["PackageBase"], True))
        self.assertEqual([[fault for field in packet.iter("field") for fault in faults_of(field)]
                          for packet in self.dissect(packets)], [[fault] for _, _, fault in rows])

    def test_the_list_of_packets_says_what_each_is(self):
        record = b"7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok"
        header = "0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800"
        rows = [
            ("PackageBase", True, record, "serial 7, request of PackageBase"),
            ("PackageBase", True, record + b",", "serial 7, request of PackageBase [malformed]"),
            ("PackageBase", True, record[:-3], "no serial, request of PackageBase [malformed]"),
            ("PackageBase", False, record + b",0", "serial 7, reply of PackageBase"),
            ("PackageBase", False, record + b",9",
             "serial 7, reply of PackageBase, acknowledge code 9, ok, ok"),
            ("PackageBase", False, bytes.fromhex("00 0500 00 01 00"), "serial 5, short reply of PackageBase"),
            ("PackageBase", False, bytes.fromhex("00 0500 00 05 00"),
             "serial 5, short reply of PackageBase, acknowledge code 0, timeout, ok"),
            ("PackageBase", False, bytes.fromhex("00 0500 00 01 04"),
             "serial 5, short reply of PackageBase, acknowledge code 0, ok, directoryCreateErr"),
            ("PackageBase", False, bytes.fromhex("00 0500 00 09 14"),
             "serial 5, short reply of PackageBase, acknowledge code 0, 9, 20 [malformed]"),
            ("PackageBase", False, bytes.fromhex(f"01 {header} 0300 0500 0000"),
             "serial 7, full reply of PackageBase"),
            ("PackageRequestReadData", False,
             bytes.fromhex("55AA04050000000000000000000000000000" + "5E55"),
             "serial 5, reply of PackageRequestReadData, status 4"),
            ("SpecialPackageRequest", True, b"12,0,hello", "no serial, request of SpecialPackageRequest"),
            ("PackageRequestCombination", True, b"Nothing^" + record,
             "no serial, request of PackageRequestCombination [malformed]"),
        ]
        path = os.path.join(self.directory.name, "capture.pcap")
        captures.write(path, [captures.udp(content, PORTS[name], is_request)
                              for name, is_request, content, _ in rows])
        self.assertEqual([(protocol, info.rstrip()) for protocol, info in
                          captures.columns(DISSECTOR, path, DECODE_AS)],
                         [("Korvin", info) for _, _, _, info in rows])

    def framed(self, line):
        """What is shown of a line in a TCP stream, and how many seconds it took."""
        tcp = captures.TcpStream(5000)
        content = line + b"\n"
        segments = [tcp.segment(content[i:i + 60000], True) for i in range(0, len(content), 60000)]
        path = os.path.join(self.directory.name, "capture.pcap")
        captures.write(path, segments)
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        packets = captures.tshark(DISSECTOR, path, ["tcp.port==5000,korvinpackage"],
                                  [f"framing:{FRAMED}"])
        return packets[-1], resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before

    def test_columns_beyond_the_last_one_are_one_range(self):
        record = b"7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data"
        packet, seconds = self.framed(record + b"," * (262144 - 17))
        unread, = packet.findall(".//field[@name='korvinpackage.unread']")
        # After the columns of the read that has most of them, that of a file.
        columns = len(record.split(b",")) + 1
        self.assertEqual(int(unread.get("size")), 262144 - columns - 1)
        self.assertIn("262126 columns after the last one", faults_of(unread))
        self.assertLess(seconds, 7)

    def test_items_beyond_a_thousand_are_one_range(self):
        item = b"ReadData^7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data"
        packet, _ = self.framed(b"|".join([item] * 1200))
        self.assertEqual(len(self.shown_value(packet, "type")), 1000)
        unread, = packet.findall(".//field[@name='korvinpackage.unread']")
        self.assertEqual(int(unread.get("size")), 200 * (len(item) + 1) - 1)
        self.assertIn("200 more items, which are not shown", faults_of(unread))
        packet, _ = self.framed(b"|".join([item] * 1000))
        self.assertEqual(self.shown_value(packet, "unread"), [])

    def test_a_broken_item_is_marked(self):
        record = b"ReadData^7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok,4,data|ReadData^1,2"
        packet, = self.dissect([captures.udp(record, PORTS["PackageRequestCombination"], True)])
        whole, broken = [field for field in packet.iter("field")
                         if field.get("showname", "").startswith("item ")]
        self.assertEqual(faults_of(whole), [])
        self.assertEqual(faults_of(broken), ["too few columns: 17 expected, 2 found"])

    def test_the_same_port_on_both_ends(self):
        """Then a message is taken for a request."""
        packets = [captures.udp(bytes.fromhex("000500000100"), 5000, is_request, client_port=5000)
                   for is_request in (True, False)]
        for packet in self.dissect(packets, ["udp_ports:5000"], decode_as=[]):
            self.assertEqual(self.shown_value(packet, "direction"), ["request"])

    def test_the_direction_can_be_chosen(self):
        packets = [captures.udp(bytes.fromhex("000500000100"), 5000, is_request) for is_request in (True, False)]
        for preferences, shown in [([], ["request", "short reply"]), (["direction:Requests"], 2 * ["request"]),
                                   (["direction:Replies"], 2 * ["short reply"])]:
            self.assertEqual([self.shown_value(packet, "direction")[0] for packet in
                              self.dissect(packets, ["udp_ports:5000", *preferences], decode_as=[])], shown)

    def test_what_the_capture_cuts_is_no_fault(self):
        """Every start of some messages: nothing but the field at its end is unusual, and what can be told
        of class and fields is that of the whole message."""
        read = "00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 04000000 00"
        write = ("00 0300 6B6579 0000 03000000 0700 01 02 03 04 0500 01 06 0700 0800 00 00 03000000"
                 "616263")
        linux = "55AA 00 05 00000000 0000 01 00 0000 0000 0300 616263 8456"
        record = b"7,key,1,2,3,4,5,6,7,8,write,9,tag,ok,ok,true,data,2,25/26"
        messages = [(bytes.fromhex(read), "PackageRequestRead", "byte frame"),
                    (bytes.fromhex(write), "PackageRequestWriteData", "byte frame"),
                    (bytes.fromhex(linux), "PackageRequestWriteData", "Linux frame"),
                    (record, "PackageRequestWriteData", "text record")]
        for content, name, form in messages:
            whole = captures.udp(content, PORTS[name], True)
            packet, = self.dissect([whole])
            every_value = shown_values(packet)
            self.assertFalse(any(map(faults_of, packet.iter("field"))), content)
            # With less, its form cannot be told.
            sizes = range(3, len(content))
            path = os.path.join(self.directory.name, "capture.pcap")
            captures.write(path, [whole] * len(sizes), [captures.HEADERS + size for size in sizes])
            packets = captures.tshark(DISSECTOR, path, DECODE_AS)
            self.assertEqual(len(packets), len(sizes))
            for size, packet in zip(sizes, packets):
                with self.subTest(content=content, size=size):
                    proto, = captures.packages(packet)
                    self.assertEqual(self.shown_value(packet, "form"), [form])
                    faults = [fault for field in [proto, *proto.iter("field")]
                              for fault in faults_of(field)]
                    self.assertIn(faults, ([], ["cut by the capture"]))
                    self.assertIn("[cut by the capture]", proto.get("showname"))
                    for place, value in shown_values(packet).items():
                        if place[0] != "unread":
                            self.assertEqual(value, every_value.get(place), place)

    def test_the_class_of_what_is_cut(self):
        """Guessed from what is there: the length of a short frame tells it from a longer one."""
        read = bytes.fromhex("00 0000 0000 03000000 0700 01 02 03 04 0500 00 06 0700 0800 04000000 00")
        linux = bytes.fromhex("55AA 00 05 00000000 0000 01 00 0000 0000 0300 616263 8456")
        record = b"7,key,1,2,3,4,5,6,7,8,write,9,tag,ok,ok,true,data,2,25/26"
        path = os.path.join(self.directory.name, "capture.pcap")
        for content, size, name in [(read, 26, "PackageRequestRead"), (linux, 20, "PackageRequestWriteData"),
                                    (record, 50, "PackageRequestWriteData")]:
            captures.write(path, [captures.udp(content, 5000, True)], [captures.HEADERS + size])
            packet, = captures.tshark(DISSECTOR, path, [], ["udp_ports:5000"])
            self.assertEqual(self.shown_value(packet, "class"), [name])

    def test_framed_streams_that_are_cut(self):
        record = b"text PackageBase 7,key,1,2,3,4,5,6,7,8,read,9,tag,ok,ok\n"
        frame = b"frame PackageBase " + bytes.fromhex("00 0000 0000 03000000 0700 01 02 03 04 0500 00"
                                                      "06 0700 0800")
        prefixed = len(frame).to_bytes(4, "little") + frame
        headers = 14 + 20 + 20
        path = os.path.join(self.directory.name, "capture.pcap")
        for content in (record + record, prefixed + record, record + prefixed, prefixed + prefixed):
            sizes = range(1, len(content))
            captures.write(path, [captures.TcpStream(5000, 10000 + size).segment(content, True)
                                  for size in sizes], [headers + size for size in sizes])
            packets = captures.tshark(DISSECTOR, path, ["tcp.port==5000,korvinpackage"],
                                      [f"framing:{FRAMED}"])
            first = content.index(b"\n") + 1 if content.startswith(record) else len(prefixed)
            for size, packet in zip(sizes, packets):
                with self.subTest(content=content, size=size):
                    self.assertEqual(self.shown_value(packet, "malformed"), [])
                    marked = self.shown_value(packet, "cut") + [
                        proto for proto in captures.packages(packet)
                        if "[cut by the capture]" in proto.get("showname")]
                    self.assertEqual(bool(marked), size != first)
                    shown = len(captures.packages(packet))
                    self.assertLessEqual(shown, 1 if size <= first else 2)
                    if size > first:
                        self.assertGreaterEqual(shown, 1)

    def test_tcp_segments_are_messages_by_default(self):
        cases = [case for case in vectors() if is_line(message_of(case))
                 and case["task"] == "decode" and case["form"] == "frame"][:50]
        streams = {port: captures.TcpStream(port) for port in PORTS.values()}
        packets = self.dissect([
            streams[PORTS[case["class"]]].segment(message_of(case).content,
                                                  case["direction"] == "request")
            for case in cases], ["form:Byte frames"])
        messages = [message_of(case) for case in cases]
        for message, explanation, packet in zip(messages, explained(messages), packets):
            self.assert_shown(message, explanation, dissected(packet, 14 + 20 + 20))

    def test_framed_tcp_streams(self):
        """Lines and messages after their length, cut into segments anywhere."""
        chance = random.Random(3)
        cases = [case for case in vectors() if case["task"] == "decode"
                 and case["direction"] == "request" and is_line(message_of(case))]
        chance.shuffle(cases)
        stream = b""
        for case in cases:
            message = message_of(case)
            labelled = f"{message.form} {message.cls} ".encode() + message.content
            if message.form == "text":
                stream += labelled + b"\n"
            else:
                stream += len(labelled).to_bytes(4, "little") + labelled
        tcp = captures.TcpStream(5000)
        segments = []
        while stream:
            size = chance.choice([1, 2, 3, 5, 40, 100, 400])
            segments.append(tcp.segment(stream[:size], True))
            stream = stream[size:]
        packets = self.dissect(segments, [f"framing:{FRAMED}"],
                               decode_as=["tcp.port==5000,korvinpackage"])
        shown = [value for packet in packets for value in self.shown_value(packet, "class")]
        self.assertEqual(shown, [case["class"] for case in cases])
        self.assertEqual(sum(len(self.shown_value(packet, "label")) for packet in packets),
                         len(cases))

    def test_real_traffic(self):
        """Client, proxy and device of examples/loopback, with byte frames, and with Linux frames
        and faults; the clients' port is that of the proxy, 5001 and 5003."""
        path = os.path.join(self.directory.name, "loopback.pcap")
        shutil.copy(DATA / "captures" / "loopback.pcap", path)
        sent = {}
        for ports, stream in captures.tcp_streams(path).items():
            direction = "request" if ports[1] < 5004 else "reply"
            separator = lines_of if {5001, 5003} & set(ports) else prefixed_of
            for message in separator(stream):
                form, cls, content = message.split(b" ", 2)
                sent.setdefault(ports, []).append(
                    Message(form.decode(), cls.decode(), direction, content))
        packets = captures.tshark(DISSECTOR, path, [],
                                  ["tcp_ports:5000-5003", f"framing:{FRAMED}"], two_passes=True)
        shown = collections.defaultdict(list)
        for packet in packets:
            ports = tuple(int(packet.find(f".//field[@name='tcp.{end}port']").get("show"))
                          for end in ("src", "dst"))
            shown[ports] += captures.packages(packet)
        self.assertEqual({ports: len(protos) for ports, protos in shown.items() if protos},
                         {ports: len(messages) for ports, messages in sent.items()})
        compared = 0
        for ports, messages in sent.items():
            # The library does not explain a combination of replies: it has none.
            known = [i for i, message in enumerate(messages) if message[1:3] != (
                "PackageRequestCombination", "reply")]
            for i, explanation in zip(known, explained([messages[i] for i in known])):
                proto = shown[ports][i]
                self.assert_shown(messages[i], explanation,
                                  Dissected(proto, int(proto.get("pos"))).fields)
                compared += 1
        self.assertGreater(compared, 100)
        tied = sum(len(self.shown_value(packet, "response_time")) for packet in packets)
        replies = sum(message.direction == "reply" and message.cls not in (
            "PackageRequestCombination", "SpecialPackageRequest")
                      for messages in sent.values() for message in messages)
        # Some replies have a serial number that was made another on purpose.
        self.assertGreater(tied, replies - 10)


if __name__ == "__main__":
    if not shutil.which("tshark"):
        print("tshark is missing")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], failfast="GTEST_FAIL_FAST" in os.environ)
