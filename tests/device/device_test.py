"""The program korvin-device, as its users see it.

Usage: device_test.py DEVICE SCHEMA [unittest options]
"""

import contextlib
import fcntl
import json
import os
import pathlib
import re
import resource
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

import jsonschema

DEVICE = os.path.abspath(sys.argv[1])
SCHEMA = json.loads(pathlib.Path(sys.argv[2]).read_text("utf-8"))

# Sanitizers take more memory, and time.
MEMORY_FACTOR = int(os.environ.get("MEMORY_FACTOR", 1))

UNIT = {"desAddr": 255, "deviceType": 1, "portAddr": 2, "scanBoardAddr": 65535}
CONFIGURATION = {
    "$schema": "korvin-device.schema.json",
    "units": [
        {
            **UNIT, "name": "left",
            "ranges": [
                {"name": "counter", "address": "0x0A000010", "type": "uint32",
                 "behaviour": {"kind": "count"}},
                {"name": "level", "address": "0x0A000020", "type": "uint16", "value": 7},
                {"name": "slow", "address": "0x0A000030", "type": "uint8", "delay": 300},
                {"name": "wave", "address": "0x0A000040", "type": "float32", "repeat": 2,
                 "behaviour": {"kind": "sine", "low": 1, "high": 2, "period": 1000}},
                {"name": "key", "address": "0x0A000050", "type": "uint8", "access": "write",
                 "delay": {"mean": 1, "deviation": 0.5},
                 "onWrite": {"set": [{"range": "level", "value": 1}], "outcome": {"ackCode": 9}}},
            ],
            "files": [{"name": "a", "text": "hello"}, {"name": "b", "data": "00FF", "size": 3}],
        },
        {**UNIT, "portAddr": 3, "blocks": [{"address": 16, "data": "0102", "size": 70000}],
         "memory": {"size": 4}},
    ],
    "specials": [{"id": 12, "answer": "pong"}],
    "limits": {"connections": 1100},
}

READ_LEVEL = "7,k,1,0,255,2,65535,2560,32,0,read,3,t,ok,ok,2,data"
LEVEL = "7,k,1,0,255,2,65535,2560,32,0,read,3,t,ok,ok,0,2,data,2,7/0"
READ_SLOW = READ_LEVEL.replace(",32,0,", ",48,0,").replace(",2,data", ",1,data")


def line_of(record, name="PackageRequestReadData"):
    return f"text {name} {record}\n".encode()


def prefixed(message):
    return struct.pack("<I", len(message)) + message


class Device:
    """A running program; arguments that are not text are a configuration."""

    def __init__(self, folder, *arguments, command=(), **options):
        words = []
        for argument in arguments:
            if not isinstance(argument, str):
                path = folder / "device.json"
                path.write_text(json.dumps(argument), "utf-8")
                argument = f"--config={path}"
            words.append(argument)
        self.folder = folder
        number = len(list(folder.glob("log*")))
        self.log_name = folder / f"log{number}"
        self.log_file = open(self.log_name, "w+", encoding="utf-8")
        self.control = str(folder / f"control{number}")
        self.process = subprocess.Popen(
            [DEVICE, *command, "--control", self.control, *words], cwd=folder, text=True,
            stdout=subprocess.PIPE, stderr=self.log_file, **options)
        self.places = [self.process.stdout.readline().rpartition(" ")[2].strip()]

    def connect(self):
        host, _, port = self.places[0].rpartition(":")
        return socket.create_connection((host, int(port)), timeout=20)

    def log(self):
        return self.log_name.read_text("utf-8")

    def wait_for_log(self, text, start=0):
        end = time.monotonic() + 15
        while text not in self.log()[start:]:
            if time.monotonic() > end:
                raise AssertionError(f"{text!r} not in {self.log()[-2000:]}")
            time.sleep(0.02)

    def ctl(self, *words):
        return subprocess.run([DEVICE, "ctl", self.control, *words], capture_output=True, text=True,
                              cwd=self.folder, timeout=20, check=False)

    def value(self, *words):
        run = self.ctl(*words)
        assert run.returncode == 0, run.stderr
        return run.stdout.strip()

    def end(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.process.wait(20)

    def memory(self):
        with open(f"/proc/{self.process.pid}/status", encoding="utf-8") as file:
            return next(int(line.split()[1]) / 1024 for line in file if line.startswith("VmRSS"))

    def processor_seconds(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="utf-8") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.log_file.close()


def is_ended(connection):
    """Whether the other side ends the connection; with a reset, where it has not read everything."""
    try:
        return connection.recv(10) == b""
    except ConnectionResetError:
        return True


class DeviceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="device-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def start(self, *arguments, **options):
        device = Device(self.folder, *arguments, **options)
        self.addCleanup(device.close)
        return device

    def lines(self, device):
        """A function that sends a line and returns the reply, without its first two words."""
        connection = device.connect()
        self.addCleanup(connection.close)
        stream = connection.makefile("rwb", buffering=0)
        self.addCleanup(stream.close)
        reader = connection.makefile("rb")
        self.addCleanup(reader.close)

        def ask(record, name="PackageRequestReadData"):
            stream.write(line_of(record, name))
            return reader.readline().decode().partition(f"{name} ")[2].strip()
        return ask

    def run_device(self, *arguments, **options):
        return subprocess.run([DEVICE, *arguments], capture_output=True, text=True, timeout=20,
                              cwd=self.folder, check=False, **options)


class Options(DeviceTest):
    def test_each_is_looked_at(self):
        rows = [
            (["--faults", "5%"], '--faults: "5%" is not a number from 0 to 1'),
            (["--seed", "-1"], '--seed: "-1" is not a number from 0 to 4294967295'),
            (["--serial", "s", "--baud", "x"], '--baud: "x" is not a number from 1 to 2147483647'),
            (["--framing", "raw"], '--framing: "raw" is not one of prefix, lines, linux'),
            (["--serial", "/nowhere"], "cannot listen on /nowhere: No such file or directory"),
            (["--serial", "/dev/null", "--baud", "7"], "cannot listen on /dev/null: 7 baud are not supported"),
            (["--serial", "/dev/null", "--baud", "0x1F"], "cannot listen on /dev/null: 31 baud are not supported"),
            (["--serial", "/dev/null"], "cannot listen on /dev/null: Inappropriate ioctl for device"),
            (["--unix", "/nowhere/s"],
             "cannot listen on /nowhere/s: there is no such folder"),
            (["--control", "/nowhere/s"],
             "cannot listen on /nowhere/s: there is no such folder"),
            (["--unix", "/" + "s" * 107],
             f"cannot listen on /{'s' * 107}: the path of a socket has at most 107 bytes"),
            (["--trace", "/nowhere/t"], "cannot write /nowhere/t: No such file or directory"),
            (["--pcap", "/nowhere/t"], "cannot write /nowhere/t: No such file or directory"),
            (["--config", "/nowhere/c"], "/nowhere/c: No such file or directory"),
            (["--bogus"], "--bogus: no such option; --help lists them"),
            (["ctl", "--bogus"], "--bogus: no such option; --help lists them"),
            (["--port"], "Missing value after '--port'."),
            (["recrod", "x"], "recrod: no such command; --help lists them"),
            (["--framing", "lines", "record", "F", "--upstream", "127.0.0.1:1"],
             "record: a command comes before all options"),
            (["--config", "a", "--config", "b"], "--config: more than once"),
            (["--baud", "9600"], "--baud: only with --serial"),
            (["--faults", "\x1b[31m"], '--faults: "\\u001b[31m" is not a number from 0 to 1'),
            (["--save", "/nowhere/x"], "cannot write /nowhere/x: No such file or directory"),
            *[([f"--{name}", ""], f"--{name}: empty")
              for name in ("unix", "config", "control", "save", "trace", "pcap", "journal", "serial")],
            (["ctl"], "SOCKET COMMAND expected; ctl --help lists the commands"),
            (["ctl", "s", "stop"], "stop: no such command; ctl --help lists them"),
            (["ctl", "s", "set", "x"], "set [UNIT/]RANGE VALUE, or set [UNIT/]0xADDRESS DATA expected"),
            (["ctl", "s", "faults", "5%"], 'faults: "5%" is not a number from 0 to 1'),
            (["ctl", "/nowhere", "quit"], "/nowhere: there is no such socket"),
        ]
        for arguments, message in rows:
            with self.subTest(arguments=arguments):
                run = self.run_device(*arguments)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertEqual(run.stderr, f"korvin-device: {message}\n")

    def test_a_taken_port_is_told(self):
        device = self.start()
        run = self.run_device("--port", device.places[0].rpartition(":")[2])
        self.assertEqual(run.returncode, 2)
        self.assertEqual(run.stderr,
                         f"korvin-device: cannot listen on {device.places[0]}: The bound address is already in use\n")

    def test_an_address_of_the_file_is_looked_at(self):
        (self.folder / "c").write_text('{"listen": [{"tcp": "host:1"}]}')
        run = self.run_device("--config", "c")
        self.assertEqual((run.returncode, run.stderr),
                         (2, 'korvin-device: cannot listen on host:1: "host" is not an IP address\n'))

    def test_mistakes_in_files_have_a_place(self):
        rows = [
            ('{"units": [\n  {"portAddr": 256}]}',
             "c:2:16: units: 1: portAddr: not a whole number from 0 to 255"),
            ('{"units": [{"files": [{"name": "a", "from": "missing"}]}]}',
             "c:1:45: units: 1: files: 1: from: missing: No such file or directory"),
            ('{"units": [{"files": [{"name": "a", "from": "."}]}]}',
             "c:1:45: units: 1: files: 1: from: .: file to open is a directory"),
            ("[]", "c:1:1: not an object"),
        ]
        for text, message in rows:
            (self.folder / "c").write_text(text)
            run = self.run_device("--config", "c")
            self.assertEqual((run.returncode, run.stdout, run.stderr), (2, "", f"korvin-device: {message}\n"))
        (self.folder / "c").write_text('{"devices": [{"name": "a"}, {"name": "b"}]}')
        run = self.run_device("--config", "c", "--port", "0")
        self.assertEqual(run.stderr,
                         'korvin-device: c has several devices: "listen" says there where each listens\n')

    def test_help_and_version(self):
        shown = self.run_device("--help").stdout
        self.assertEqual(shown.partition("\n")[0], "Usage: korvin-device [options]")
        self.assertIn("--faults <share>", shown)
        self.assertNotIn("Qt", shown)
        shown = self.run_device("ctl", "--help").stdout
        self.assertEqual(shown.partition("\n")[0], "Usage: korvin-device ctl [options] SOCKET COMMAND")
        self.assertIn("statistics", shown)
        self.assertRegex(self.run_device("--version").stdout, r"^korvin-device \d+\.\d+\.\d+\n$")


class Files(DeviceTest):
    """What is there when the program starts is lost only to what replaces it."""

    def test_a_socket_takes_the_place_of_no_file(self):
        rows = [["--control", "kept"], ["--unix", "kept"], ["--config", "c"]]
        (self.folder / "c").write_text('{"listen": [{"unix": "kept"}]}')
        (self.folder / "target").write_text("contents")
        for arguments in rows:
            for make in (lambda path: path.write_text("contents"), lambda path: path.symlink_to("target"),
                         lambda path: path.symlink_to("nothing")):
                with self.subTest(arguments):
                    path = self.folder / "kept"
                    path.unlink(missing_ok=True)
                    make(path)
                    before = os.lstat(path)
                    run = self.run_device(*arguments)
                    self.assertEqual((run.returncode, run.stdout, run.stderr), (
                        2, "", "korvin-device: cannot listen on kept: there is a file that is not a socket\n"))
                    self.assertEqual(os.lstat(path).st_ino, before.st_ino)
        self.assertEqual((self.folder / "target").read_text(), "contents")

    def test_a_socket_in_use_stays_with_its_device(self):
        device = self.start("--unix", "socket")
        for option, path in (("--control", device.control), ("--unix", "socket"), ("--control", "socket")):
            run = self.run_device(option, path)
            self.assertEqual((run.returncode, run.stderr),
                             (2, f"korvin-device: cannot listen on {path}: in use\n"))
        self.assertEqual(device.value("addresses"), json.dumps(device.places))
        device.process.kill()
        device.process.wait()
        self.assertEqual(device.ctl("quit").stderr, f"korvin-device: {device.control}: no device listens there\n")
        run = self.run_device("--control", device.control, "--detach")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(device.value("quit"), "")
        while os.path.exists(device.control):
            time.sleep(0.02)

    def test_a_start_that_fails_empties_no_file(self):
        taken = self.start().places[0].rpartition(":")[2]
        rows = [
            ["record", "kept", "--upstream", "127.0.0.1:1", "--port", taken],
            ["record", "kept", "--upstream", "127.0.0.1:1", "--control", "/nowhere/c"],
            *[[option, "kept", *wrong] for option in ("--trace", "--pcap")
              for wrong in (["--port", taken], ["--config", "missing"], ["--save", "/nowhere/s"])],
        ]
        for arguments in rows:
            with self.subTest(arguments):
                (self.folder / "kept").write_text("contents")
                self.assertEqual(self.run_device(*arguments).returncode, 2)
                self.assertEqual((self.folder / "kept").read_text(), "contents")

    def test_a_log_that_cannot_be_opened_leaves_no_sockets(self):
        for arguments in (["--trace", "/nowhere/t"], ["record", "/nowhere/r", "--upstream", "127.0.0.1:1"]):
            run = self.run_device(*arguments, "--unix", "socket", "--control", "control")
            self.assertEqual((run.returncode, run.stdout), (2, ""))
            self.assertFalse((self.folder / "socket").exists() or (self.folder / "control").exists())

    def test_a_place_where_nothing_can_be_saved_is_told_at_once(self):
        (self.folder / "file").write_text("contents")
        for place, reason in (("file/x", "Not a directory"), (".", "Is a directory")):
            run = self.run_device("--save", place)
            self.assertEqual((run.returncode, run.stdout, run.stderr),
                             (2, "", f"korvin-device: cannot write {place}: {reason}\n"))

    def test_a_pipe_takes_what_is_saved(self):
        os.mkfifo(self.folder / "pipe")
        device = self.start("--save", "pipe")
        with open(os.open(self.folder / "pipe", os.O_RDONLY | os.O_NONBLOCK), encoding="utf-8") as pipe:
            self.assertEqual(device.end(), 0)
            self.assertEqual(json.load(pipe)["units"], [])


class Completions(DeviceTest):
    FOLDER = pathlib.Path(sys.argv[2]).resolve().parent

    def shown(self, shell, script):
        run = subprocess.run([shell, "-c", script], capture_output=True, text=True, timeout=20, check=False,
                             cwd=self.FOLDER)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return sorted(run.stdout.split())

    def test_have_every_option(self):
        for command in ([], ["record"], ["ctl"]):
            options = set(re.findall(r"^ .*--([a-z]+)", self.run_device(*command, "--help").stdout, re.MULTILINE))
            self.assertGreater(len(options), 2)
            for name, spelling in (("korvin-device.bash", "--{}"), ("_korvin-device", "--{}"),
                                   ("korvin-device.fish", "-l {}")):
                text = (self.FOLDER / name).read_text("utf-8")
                lacking = {option for option in options
                           if not re.search(rf"{spelling.format(option)}\b", text)}
                self.assertEqual(lacking, set(), name)

    def test_have_every_command_of_ctl(self):
        known = re.findall(r"^ {20}([a-z]+)", self.run_device("ctl", "--help").stdout, re.MULTILINE)
        for name in ("korvin-device.bash", "_korvin-device", "korvin-device.fish"):
            text = (self.FOLDER / name).read_text("utf-8")
            listed = re.search(r"\bget( [a-z]+)+", text).group().split()
            self.assertEqual(sorted(listed), sorted(known), name)

    def test_work_in_bash(self):
        rows = [
            ("--framing ''", ["lines", "linux", "prefix"]),
            ("--s", ["--save", "--seed", "--serial"]),
            ("re", ["record", "replay"]),
            ("ctl socket s", ["save", "set", "statistics"]),
            ("ctl --d", ["--device"]),
            ("--baud ''", []),
        ]
        for words, offered in rows:
            with self.subTest(words=words):
                self.assertEqual(self.shown("bash", f"source korvin-device.bash; COMP_WORDS=(korvin-device {words})"
                                                    "; COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _korvin_device"
                                                    '; echo "${COMPREPLY[*]}"'), offered)

    def test_work_in_zsh(self):
        # _arguments works only while a person types: print what it would get.
        arguments = "words=(korvin-device {}); _arguments() {{ print -l -- $@ }}; source ./_korvin-device"
        self.assertIn("speed", " ".join(self.shown("zsh", arguments.format("--b"))))
        self.assertNotIn("speed", " ".join(self.shown("zsh", arguments.format("ctl s"))))

    def test_work_in_fish(self):
        for words, offered in (("--framing ", ["lines", "linux", "prefix"]), ("--pt", ["--pty"])):
            lines = self.shown("fish", f"source korvin-device.fish; complete -C 'korvin-device {words}' | cut -f 1")
            self.assertEqual(lines, offered)


class Schema(DeviceTest):
    """What the schema takes, the program takes, and the other way round."""

    def test_it_is_a_schema(self):
        jsonschema.Draft7Validator.check_schema(SCHEMA)

    def test_good_configurations(self):
        everything = {
            **CONFIGURATION,
            "name": "a", "seed": 3, "clock": 5, "bandwidth": 9600, "maxPartSize": 16,
            "listen": [{"tcp": "127.0.0.1:0"}, {"unix": "s", "framing": "lines"}, {"pty": ""}],
            "faults": [
                {"kind": "any", "chance": 0.5},
                {"script": ["none", {"kind": "corrupt", "bit": 3}, {"kind": "truncate", "keep": 1}]},
                {"kind": "result", "ackCode": 3, "commResult": "timeout", "packResult": "cancel", "after": 1,
                 "every": 2, "count": 3, "access": "read", "unit": "left", "address": 16, "size": 4,
                 "class": "PackageRequestReadData"},
                {"kind": "slices", "bytes": 3, "pause": 4},
                {"kind": "delay", "delay": {"median": 5, "sigma": 1}},
                {"kind": "delay", "delay": {"from": 5, "to": 6}},
            ],
        }
        several = {"$schema": "s", "devices": [{"name": "a"}, {"name": "b"}]}
        for configuration in ({}, CONFIGURATION, everything, several):
            jsonschema.validate(configuration, SCHEMA, jsonschema.Draft7Validator)
            device = self.start(configuration)
            device.value("save", "saved.json")
            self.assertEqual(device.end(), 0)
            saved = json.loads((self.folder / "saved.json").read_text("utf-8"))
            jsonschema.validate(saved, SCHEMA, jsonschema.Draft7Validator)
            again = self.start(saved)
            again.value("save", "again.json")
            self.assertEqual(again.end(), 0)
            second = json.loads((self.folder / "again.json").read_text("utf-8"))
            for state in (saved, second):
                state.pop("clock", None)
                for one in state.get("devices", []):
                    one.pop("clock")
            self.assertEqual(second, saved)

    def test_bad_configurations(self):
        unit_rows = [
            {"name": "a/b"}, {"blocks": {}}, {"blocks": [{"data": "0x"}]}, {"files": [{"data": "00"}]},
            {"memory": []}, {"ranges": [{"name": "r", "address": 1}]},
            {"ranges": [{"name": "r", "address": 1, "type": "byte"}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "access": "rw"}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "behaviour": {"kind": "jump"}}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "behaviour": {"kind": "ramp"}}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "delay": {"mean": 1}}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "onWrite": {"outcome": {"ackCode": 0}}}]},
            {"desAddr": 256}, {"deviceType": -5}, {"scrAddr": 256}, {"portAddr": 256}, {"scanBoardAddr": 65536},
            {"blocks": [{}]}, {"blocks": [{"address": 4294967296, "size": 1}]}, {"blocks": [{"size": 16777217}]},
            {"blocks": [{"size": 1, "filled": -1}]}, {"fileSpace": -1}, {"memory": {"size": -1}},
            {"files": [{"name": "a", "text": "a", "data": "00"}]}, {"files": [{"name": "a", "size": 16777217}]},
            {"ranges": [{"name": "r", "address": -1, "type": "uint8"}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "repeat": 0}]},
            {"ranges": [{"name": "r", "address": 1, "type": "text", "size": 0}]},
            {"ranges": [{"name": "r", "address": 1, "type": "uint8", "requests": -1}]},
        ]
        rule_rows = [
            {"kind": "delay"}, {"kind": "slices"}, {"kind": "slices", "bytes": 0},
            {"kind": "slices", "bytes": 1, "pause": 10001}, {"script": []}, {"script": ["delay"]},
            {"script": [{"kind": "slices"}]}, {"kind": "close", "size": 2},
            {"kind": "close", "address": 0, "size": 0}, {"kind": "corrupt", "bit": -1},
            {"kind": "close", "after": -1}, {"kind": "close", "every": 0}, {"kind": "close", "count": -1},
            {"kind": "close", "met": -1},
        ]
        rows = [{"colour": 1}, {"units": {}}, {"listen": [{}]}, {"listen": [{"tcp": "5001"}]},
                {"listen": [{"tcp": "a:1", "pty": ""}]}, {"specials": [{"id": 1}]},
                {"specials": [{"id": 1, "answer": "a,b"}]}, {"devices": []}, {"devices": [{}], "units": []},
                {"faults": [{}]}, {"faults": [{"kind": "lost"}]}, {"faults": [{"kind": "close", "chance": 2}]},
                {"faults": [{"script": ["lost"]}]}, [], 5, {"seed": 4294967296}, {"clock": -1}, {"bandwidth": 0},
                {"maxPartSize": 0}, {"limits": {"connections": 0}}, {"limits": {"messageSize": 16777217}},
                {"specials": [{"id": 2147483648, "answer": ""}]}, {"listen": [{"tcp": "a:1", "baud": 9600}]},
                {"listen": [{"serial": "a", "baud": 0}]}]
        rows += [{"units": [row]} for row in unit_rows] + [{"faults": [row]} for row in rule_rows]
        for row in rows:
            with self.subTest(row):
                with self.assertRaises(jsonschema.ValidationError):
                    jsonschema.validate(row, SCHEMA, jsonschema.Draft7Validator)
                (self.folder / "c").write_text(json.dumps(row))
                self.assertEqual(self.run_device("--config", "c").returncode, 2)


class Places(DeviceTest):
    def test_every_encoding_comes_after_its_length(self):
        device = self.start(CONFIGURATION)
        frame = bytes.fromhex("00 0100 6B 0100 74 03000000 0700 00 FF 01 02 FFFF 00 00 2000 000A"
                              "02000000 00 02000000".replace(" ", ""))
        linux = bytes.fromhex("55AA000700FF0102FFFF00002000000A02008858")
        rows = [
            (b"frame PackageRequestReadData " + frame,
             b"frame PackageRequestReadData " + bytes.fromhex("000700000100020000000700")),
            (b"linux PackageRequestReadData " + linux,
             b"linux PackageRequestReadData " + bytes.fromhex("55AA000700FF0102FFFF00002000000A020007008F58")),
            (line_of(READ_LEVEL).strip(), line_of(LEVEL).strip()),
        ]
        with device.connect() as connection, connection.makefile("rb") as stream:
            connection.sendall(b"".join(prefixed(request) for request, _ in rows))
            for _, reply in rows:
                self.assertEqual(stream.read(4 + len(reply)), prefixed(reply))

    def test_records_as_lines(self):
        self.assertEqual(self.lines(self.start(CONFIGURATION, "--framing", "lines"))(READ_LEVEL), LEVEL)

    def test_unix_socket(self):
        device = self.start(CONFIGURATION, "--unix", "socket", "--framing", "lines")
        self.assertEqual(device.places[0], str(self.folder / "socket"))
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(device.places[0])
            connection.sendall(line_of(READ_LEVEL))
            self.assertEqual(connection.recv(1000), line_of(LEVEL))
        device.process.kill()
        device.process.wait()
        # Its file is left over, and does not matter.
        again = self.start(CONFIGURATION, "--unix", "socket")
        self.assertEqual(again.end(), 0)
        self.assertFalse((self.folder / "socket").exists())

    def test_linux_frames_on_a_pseudo_terminal(self):
        """In pieces, and with a limit that lets one reply after the other be sent."""
        device = self.start({**CONFIGURATION, "limits": {"unsentSize": 1},
                             "listen": [{"pty": str(self.folder / "line")}]})
        self.assertEqual(device.places[0], str(self.folder / "line"))
        request = bytes.fromhex("55AA000700FF0102FFFF00002000000A02008858")
        reply = bytes.fromhex("55AA000700FF0102FFFF00002000000A020007008F58")
        for noise in (b"", b"\x00\x55\xaa", b"\xff"):  # each time it is opened again
            line = os.open(device.places[0], os.O_RDWR | os.O_NOCTTY)
            os.write(line, noise + request[:9])
            time.sleep(0.1)
            os.write(line, request[9:] + request)
            received = b""
            while len(received) < 2 * len(reply) and select.select([line], [], [], 10)[0]:
                received += os.read(line, 100)
            os.close(line)
            self.assertEqual(received, 2 * reply)
        self.assertEqual(device.end(), 0)
        self.assertFalse((self.folder / "line").is_symlink())

    def test_serial_device(self):
        main, other = os.openpty()
        device = self.start(CONFIGURATION, "--serial", os.ttyname(other), "--baud", "9600")
        for _ in range(200):
            os.write(main, bytes.fromhex("55AA000700FF0102FFFF00002000000A02008858"))
            received = b""
            while len(received) < 22 and select.select([main], [], [], 10)[0]:
                received += os.read(main, 100)
            self.assertEqual(received, bytes.fromhex("55AA000700FF0102FFFF00002000000A020007008F58"))
        os.close(main)
        device.wait_for_log("ended")
        os.close(other)

    def test_several_devices(self):
        configuration = {"devices": [
            {**CONFIGURATION, "name": "one"},
            {"name": "two", "specials": [{"id": 1, "answer": "x"}]}]}
        configuration["devices"][0].pop("$schema", None)
        device = self.start(configuration)
        device.places.append(device.process.stdout.readline().rpartition(" ")[2].strip())
        self.assertEqual(json.loads(device.value("addresses")), device.places)
        self.assertEqual(device.value("--device", "one", "get", "level"), "7")
        self.assertEqual(device.ctl("--device", "three", "get", "level").stderr,
                         'korvin-device: device: there is no "three"\n')


class Running(DeviceTest):
    def test_ctl_reads_and_changes_values(self):
        device = self.start(CONFIGURATION, "--framing", "lines")
        ask = self.lines(device)
        self.assertEqual(device.value("get", "level"), "7")
        self.assertEqual(device.value("set", "left/level", "513"), "")
        self.assertEqual(ask(READ_LEVEL), LEVEL.replace("7/0", "1/2"))
        self.assertEqual(device.value("get", "left/0x0A000020", "2"), "0102")
        self.assertEqual(device.value("set", "left/0x0A000020", "0500"), "")
        self.assertEqual(device.value("get", "level"), "5")
        run = device.ctl("set", "level", "70000")
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertEqual(run.stderr, "korvin-device: value: not a whole number from 0 to 65535\n")
        self.assertEqual(device.ctl("set", "\x1b[31m", "1").stderr,
                         'korvin-device: range: there is no "\\u001b[31m"\n')
        statistics = json.loads(device.value("statistics"))
        self.assertEqual((statistics["requests"], statistics["connections"]), (1, 1))
        self.assertEqual(device.value("faults"), "[]")
        self.assertEqual(device.value("faults", "1"), "")
        self.assertEqual(json.loads(device.value("faults"))[0]["chance"], 1)
        self.assertEqual(device.value("faults", "[]"), "")
        self.assertEqual(device.value("quit"), "")
        self.assertEqual(device.process.wait(10), 0)

    def test_ctl_takes_values_of_every_type(self):
        rows = [
            ("int16", "-1", "-1"), ("int16", "0x10", "16"), ("int16", "-0", "0"), ("float32", "-1.5", "-1.5"),
            ("float32", "2", "2"), ("uint64", "18446744073709551615", "18446744073709551615"),
            ("text", "12", "12"), ("text", "01", "01"), ("text", "1e2", "1e2"), ("text", "true", "true"),
            ("text", '"1"', "1"), ("text", "-.5", "-.5"), ("list", "[1, 2]", "[1,2]"), ("list", "3", "[3,3]"),
        ]
        types = [{"type": "int16"}, {"type": "float32"}, {"type": "uint64"}, {"type": "text", "size": 4},
                 {"type": "uint8", "repeat": 2, "name": "list"}]
        device = self.start({"units": [{"ranges": [
            {"name": one["type"], "address": 16 * number, **one} for number, one in enumerate(types)]}]})
        for name, written, value in rows:
            with self.subTest(name=name, written=written):
                self.assertEqual(device.value("set", name, written), "")
                self.assertEqual(device.value("get", name), value)
        self.assertEqual(device.value("--", "set", "int16", "-7"), "")
        self.assertEqual(device.value("get", "int16"), "-7")
        self.assertEqual(device.ctl("set", "text", "-x").stderr,
                         "korvin-device: -x: no such option; --help lists them\n")

    def test_the_control_connection_takes_lines_of_json(self):
        device = self.start(CONFIGURATION)
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(device.control)
            connection.sendall(b'{"command": "get", "range": "level"}\nx\n[]\n{"command": "stop"}\n')
            stream = connection.makefile("rb")
            self.assertEqual(stream.readline(), b'{"value":7}\n')
            self.assertEqual(stream.readline(), b'{"error":"illegal value"}\n')
            self.assertEqual(stream.readline(), b'{"error":"not an object"}\n')
            self.assertEqual(stream.readline(), b'{"error":"command: not one of get, set, faults, statistics, '
                                                b'addresses, save, reload, quit"}\n')
            with contextlib.suppress(ConnectionError):
                connection.sendall(b"x" * 1200000)
            device.wait_for_log("control connection closed: a line is longer than 1 MiB")
            stream.close()
        self.assertEqual(device.value("get", "level"), "7")
        self.assertEqual(os.stat(device.control).st_mode & 0o077, 0)

    def test_control_connections_have_a_limit(self):
        device = self.start()
        sockets = [socket.socket(socket.AF_UNIX) for _ in range(17)]
        for one in sockets:
            one.connect(device.control)
        device.wait_for_log("control connection refused: there are 16 already")
        for one in sockets:
            one.close()
        self.assertEqual(device.value("faults"), "[]")

    def test_sighup_reads_the_file_again(self):
        device = self.start(CONFIGURATION, "--framing", "lines")
        ask = self.lines(device)
        device.value("set", "level", "9")
        self.assertEqual(ask(READ_LEVEL), LEVEL.replace("7/0", "9/0"))
        device.process.send_signal(signal.SIGHUP)
        device.wait_for_log("the configuration has been read again")
        self.assertEqual(ask(READ_LEVEL), LEVEL)  # on the same connection
        device.value("set", "level", "9")
        (self.folder / "device.json").write_text("{]")
        device.process.send_signal(signal.SIGHUP)
        device.wait_for_log("device.json:1:")
        self.assertEqual(ask(READ_LEVEL), LEVEL.replace("7/0", "9/0"))
        (self.folder / "device.json").write_text('{"devices": [{"name": "a"}, {"name": "b"}]}')
        self.assertIn("there are 2 devices, not 1", device.ctl("reload").stderr)
        self.assertIn("no configuration to read again", self.start().ctl("reload").stderr)

    def test_detached_it_goes_on(self):
        run = self.run_device("--detach", "--control", "c")
        self.assertRegex(run.stdout, r"^korvin-device: listening on 127\.0\.0\.1:\d+\n$")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(self.run_device("ctl", "c", "addresses").stdout,
                         '["%s"]\n' % run.stdout.split()[-1])
        # No terminal that is closed ends it.
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(str(self.folder / "c"))
            process, = struct.unpack_from("i", control.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))
        session = os.getsid(process)
        self.assertEqual(self.run_device("ctl", "c", "quit").returncode, 0)
        self.assertEqual(session, process)
        run = self.run_device("--detach", "--faults", "x")
        self.assertEqual((run.returncode, run.stdout), (2, ""))

    def test_trace_and_capture(self):
        device = self.start(CONFIGURATION, "--framing", "lines", "--trace", "trace", "--pcap", "t.pcapng",
                            "--journal", "journal")
        ask = self.lines(device)
        ask(READ_LEVEL)
        self.assertEqual(ask("nonsense"), "")
        device.wait_for_log("ended: refused: ")
        self.assertEqual(device.end(), 0)
        lines = (self.folder / "trace").read_text("utf-8").splitlines()
        self.assertRegex(lines[0], r"^\d+\.\d{6} -> 127\.0\.0\.1:\d+ 7 request record of "
                                   r"PackageRequestReadData, serialNum 7.*replyDataLength 2")
        self.assertRegex(lines[1], r"^\d+\.\d{6} <- 127\.0\.0\.1:\d+ 7 reply record of .*data 2 bytes: 07 00")
        self.assertRegex(lines[2], r"-> \S+ 0 refused: too few: 17 columns expected, 1 found, request record")
        self.assertEqual(len(lines), 3)
        self.assertEqual((self.folder / "journal").read_text("utf-8"), "PackageRequestReadData t 0\n")

        home = self.folder / "home"
        plugins = home / ".local/lib/wireshark"
        plugins.mkdir(parents=True)
        (plugins / "plugins").symlink_to(pathlib.Path(sys.argv[2]).resolve().parents[2] / "wireshark")
        run = subprocess.run(
            [shutil.which("tshark") or self.fail("tshark is missing"), "-r", "t.pcapng", "-d",
             "udp.port==5000,korvinpackage", "-T", "fields", "-e", "_ws.col.Info"],
            cwd=self.folder, env={**os.environ, "HOME": str(home)}, capture_output=True, text=True, check=False)
        shown = run.stdout.splitlines()
        self.assertEqual(len(shown), 3, run.stderr)
        self.assertIn("PackageRequestReadData", shown[0])
        self.assertIn("PackageRequestReadData", shown[1])

    def test_a_trace_to_standard_output_comes_at_once(self):
        device = self.start(CONFIGURATION, "--framing", "lines", "--trace", "-")
        self.lines(device)(READ_LEVEL)
        self.assertTrue(select.select([device.process.stdout], [], [], 5)[0])
        self.assertIn(" -> ", device.process.stdout.readline())
        self.assertIn(" <- ", device.process.stdout.readline())

    def test_a_tag_forges_no_line_of_the_journal(self):
        device = self.start(CONFIGURATION, "--journal", "journal")
        tags = (b"a\nPackageRequestWriteData fake 0", b"%1", b"%2\x1b[31m")
        for tag in tags:
            record = READ_LEVEL.encode().replace(b",t,", b"," + tag + b",")
            with device.connect() as connection, connection.makefile("rb") as stream:
                connection.sendall(prefixed(b"text PackageRequestReadData " + record))
                self.assertEqual(len(stream.read(4)), 4)
        self.assertEqual((self.folder / "journal").read_text("utf-8"),
                         "PackageRequestReadData a\\u000aPackageRequestWriteData fake 0 0\n"
                         "PackageRequestReadData %1 0\n"
                         "PackageRequestReadData %2\\u001b[31m 0\n")

    def test_a_full_disk_does_not_stop_the_trace_silently(self):
        for option in ("--trace", "--pcap", "--journal"):
            device = self.start(CONFIGURATION, "--framing", "lines", option, "/dev/full")
            self.assertEqual(self.lines(device)(READ_LEVEL), LEVEL)
            device.wait_for_log("cannot write /dev/full: No space left on device; nothing more is written there")
            self.assertEqual(device.end(), 0)

    def test_faults_reach_the_connection(self):
        device = self.start({**CONFIGURATION, "faults": [{"script": [
            {"kind": "slices", "bytes": 30, "pause": 100}, "close", "none", "restart"]}]}, "--framing", "lines")
        with device.connect() as connection:
            connection.sendall(line_of(READ_LEVEL))
            begin = time.monotonic()
            received = []
            while b"\n" not in b"".join(received):
                received.append(connection.recv(1000))
            self.assertEqual(b"".join(received), line_of(LEVEL))
            self.assertEqual([len(piece) for piece in received][:2], [30, 30])
            self.assertGreater(time.monotonic() - begin, 0.15)
            connection.sendall(line_of(READ_LEVEL))
            self.assertTrue(is_ended(connection))
        device.value("set", "level", "9")
        ask = self.lines(device)
        other = self.lines(device)
        self.assertEqual(other(READ_LEVEL), LEVEL.replace("7/0", "9/0"))
        self.assertEqual(ask(READ_LEVEL), "")
        with contextlib.suppress(ConnectionError):
            self.assertEqual(other(READ_LEVEL), "")
        self.assertEqual(device.value("get", "level"), "7")

    def test_a_slow_register_does_not_hold_up_others(self):
        device = self.start(CONFIGURATION, "--framing", "lines")
        with device.connect() as connection, connection.makefile("rb") as stream:
            begin = time.monotonic()
            connection.sendall(line_of(READ_SLOW) + line_of(READ_LEVEL))
            self.assertEqual(stream.readline(), line_of(LEVEL))
            self.assertLess(time.monotonic() - begin, 0.25)
            self.assertIn(b",48,0,", stream.readline())
            self.assertGreaterEqual(time.monotonic() - begin, 0.29)


# A request in each encoding and the reply, as they are recorded, and as they are with serial number 9
# (1,000 where the encoding has room for it).
EXCHANGES = [
    (b"frame PackageRequestReadData ",
     "00 0100 6B 0100 74 03000000 0700 00 FF 01 02 FFFF 00 00 2000 000A 02000000 00 02000000",
     "000700000100020000000700",
     "00 0100 6B 0100 74 03000000 E803 00 FF 01 02 FFFF 00 00 2000 000A 02000000 00 02000000",
     "00E803000100020000000700"),
    (b"linux PackageRequestReadData ",
     "55AA000700FF0102FFFF00002000000A02008858", "55AA000700FF0102FFFF00002000000A020007008F58",
     "55AA000900FF0102FFFF00002000000A02008A58", "55AA000900FF0102FFFF00002000000A020007009158"),
    (b"text PackageRequestReadData ", READ_LEVEL, LEVEL, "1000" + READ_LEVEL[1:], "1000" + LEVEL[1:]),
    # Both its numbers change, and a tag that looks like one does not.
    (b"text PackageRequestCombination ",
     f"ReadData^{READ_LEVEL}|ReadData^8{READ_LEVEL[1:]}".replace(",t,", ",7,"),
     f"{LEVEL}|8{LEVEL[1:]}".replace(",t,", ",7,"),
     f"ReadData^1000{READ_LEVEL[1:]}|ReadData^9{READ_LEVEL[1:]}".replace(",t,", ",7,"),
     f"1000{LEVEL[1:]}|9{LEVEL[1:]}".replace(",t,", ",7,")),
]


def message_of(words, text):
    return words + (text.encode() if words.startswith(b"text") else bytes.fromhex(text))


class Recording(DeviceTest):
    """Recording what a device answers, and answering from that."""

    def record(self, upstream, *arguments, file="rec", **options):
        place = upstream if isinstance(upstream, str) else upstream.places[0]
        return self.start("--upstream", place, *arguments, file, command=["record"], **options)

    def replay(self, *arguments, **options):
        return self.start("rec", *arguments, command=["replay"], **options)

    def exchange(self, device, request, size):
        with device.connect() as connection, connection.makefile("rb") as stream:
            connection.sendall(request)
            return stream.read(size)

    def test_every_encoding_with_another_serial_number(self):
        device = self.start(CONFIGURATION)
        recorder = self.record(device)
        for words, request, reply, _, _ in EXCHANGES:
            reply = prefixed(message_of(words, reply))
            self.assertEqual(self.exchange(recorder, prefixed(message_of(words, request)), len(reply)), reply)
        self.assertEqual(recorder.end(), 0)
        device.end()
        replay = self.replay()
        for words, request, reply, other_request, other_reply in EXCHANGES:
            for sent, expected in ((request, reply), (other_request, other_reply), (request, reply)):
                expected = prefixed(message_of(words, expected))
                self.assertEqual(self.exchange(replay, prefixed(message_of(words, sent)), len(expected)), expected)
        self.assertEqual(replay.end(), 0)
        self.assertEqual(replay.process.stdout.read(), "")

    def test_linux_frames_as_they_are(self):
        device = self.start(CONFIGURATION, "--framing", "linux")
        recorder = self.record(device, "--framing", "linux")
        _, request, reply, other_request, other_reply = EXCHANGES[1]
        noise = b"\x00\x55\xaa"
        answer = self.exchange(recorder, noise + bytes.fromhex(request), len(reply) // 2)
        self.assertEqual(answer, bytes.fromhex(reply))
        recorder.end()
        replay = self.replay("--framing", "linux")
        answer = self.exchange(replay, bytes.fromhex(other_request), len(other_reply) // 2)
        self.assertEqual(answer, bytes.fromhex(other_reply))

    def test_a_recording_is_lines_of_json(self):
        device = self.start(CONFIGURATION, "--framing", "lines")
        recorder = self.record(device, "--framing", "lines")
        ask = self.lines(recorder)
        self.assertEqual(ask(READ_LEVEL), LEVEL)
        self.assertEqual(json.loads(recorder.value("addresses")), recorder.places)
        self.assertIn("get: not while recording; addresses or quit expected", recorder.ctl("get", "level").stderr)
        self.assertEqual(recorder.value("quit"), "")
        self.assertEqual(recorder.process.wait(10), 0)
        lines = [json.loads(line) for line in (self.folder / "rec").read_text("utf-8").splitlines()]
        self.assertEqual(lines, [
            {"recording": 1},
            {"request": 1, "form": "text", "class": "PackageRequestReadData", "text": READ_LEVEL},
            {"reply": 1, "text": LEVEL}])

    def test_late_repeated_and_missing_replies(self):
        device = self.start({**CONFIGURATION, "faults": [
            {"script": ["lostReply", "duplicate", "none", "staleSerial"], "unit": "left", "access": "read",
             "address": 0x0A000020, "size": 2}]}, "--framing", "lines")
        recorder = self.record(device, "--framing", "lines")
        level = {number: line_of(f"{number}{LEVEL[1:]}") for number in (2, 3, 4)}
        slow = line_of(READ_SLOW.replace("7,k", "1,k", 1))
        requests = b"".join(line_of(f"{number}{READ_LEVEL[1:]}") for number in (7, 2, 3, 5))
        with recorder.connect() as connection, connection.makefile("rb") as stream:
            connection.sendall(slow + requests)
            stale = level[4]  # belongs to no request
            for line in (level[2], level[2], level[3], stale):
                self.assertEqual(stream.readline(), line)
            self.assertTrue(stream.readline().startswith(b"text PackageRequestReadData 1,"))
        recorder.wait_for_log("ended: closed by the client; 1 messages answered no request and are not recorded")
        recorder.end()
        replies = [json.loads(line).get("reply") for line in (self.folder / "rec").read_text("utf-8").splitlines()]
        self.assertEqual([number for number in replies if number], [3, 3, 4, 1])

        replay = self.replay("--framing", "lines")
        with replay.connect() as connection, connection.makefile("rb") as stream:
            # As recorded: none, two, one, none; then the last ones again.
            for number in range(21, 26):
                connection.sendall(line_of(f"{number}{READ_LEVEL[1:]}"))
            connection.sendall(slow)
            for number in (22, 22, 23):
                self.assertEqual(stream.readline(), line_of(f"{number}{LEVEL[1:]}"))
            self.assertTrue(stream.readline().startswith(b"text PackageRequestReadData 1,"))
        self.assertEqual(replay.end(), 0)

    def test_unknown_requests_are_told(self):
        (self.folder / "rec").write_text(
            '{"recording":1}\n'
            '{"request":1,"form":"text","class":"PackageRequestReadData","text":"%s"}\n'
            '{"reply":1,"text":"%s"}\n' % (READ_LEVEL, LEVEL), "utf-8")
        replay = self.replay("--framing", "lines", "--trace", "trace")
        with replay.connect() as connection, connection.makefile("rb") as stream:
            for record in (READ_SLOW, "8" + READ_SLOW[1:], READ_LEVEL):
                connection.sendall(line_of(record))
            self.assertEqual(stream.readline(), line_of(LEVEL))
            unknown = "text PackageRequestReadData 0" + READ_SLOW[1:]
            self.assertEqual(json.loads(replay.value("statistics")),
                             {"connections": 1, "unknown": 2, "unknownRequests": [unknown]})
        self.assertIn("get: not during a replay; statistics, addresses or quit expected",
                      replay.ctl("get", "level").stderr)
        self.assertEqual(replay.end(), 1)
        self.assertEqual(replay.process.stdout.read(),
                         f"korvin-device: 2 requests were not in the recording:\n{unknown}\n")
        trace = (self.folder / "trace").read_text("utf-8").splitlines()
        self.assertEqual([" not in the recording, request record of " in line for line in trace],
                         [True, True, False, False])

    def test_who_asks_twice_to_end_does_not_wait(self):
        """Here for what cannot be written, since nobody reads it."""
        (self.folder / "rec").write_text('{"recording":1}\n', "utf-8")
        replay = self.replay("--framing", "lines")
        fcntl.fcntl(replay.process.stdout, fcntl.F_SETPIPE_SZ, 4096)
        with replay.connect() as connection:
            for number in range(100):
                connection.sendall(line_of(READ_LEVEL.replace(",t,", f",{number},")))
            connection.shutdown(socket.SHUT_WR)
            self.assertTrue(is_ended(connection))
            replay.process.send_signal(signal.SIGINT)
            self.assertTrue(select.select([replay.process.stdout], [], [], 20)[0])
            self.assertEqual(replay.end(signal.SIGINT), -signal.SIGINT)

    def test_broken_files_are_told_with_their_line(self):
        begin = '{"recording":1}\n'
        request = '{"request":1,"form":"text","class":"PackageBase","text":"7"}\n'
        rows = [
            ("", "1: not a recording: {\"recording\":1} expected"),
            ("{}\n", "1: not a recording: {\"recording\":1} expected"),
            (begin + request + "{\n", "3: unterminated object"),
            (begin + "[]\n", "2: neither a request nor a reply"),
            (begin + request + request, "3: request: 2 expected"),
            (begin + request.replace("text", "word", 1), '2: form and class: there is no "word PackageBase"'),
            (begin + request.replace("Base", "Base "), '2: form and class: there is no "text PackageBase"'),
            (begin + request.replace('"text":', '"data":'), "2: data: not hexadecimal digits"),
            (begin + request.replace(',"text":"7"', ""), '2: either "text" or "data" expected'),
            (begin + request + '{"reply":2,"text":"7"}\n', "3: reply: not the number of a request before it"),
            (begin + request + '{"reply":1,"data":"7"}\n', "3: data: not hexadecimal digits"),
        ]
        for text, message in rows:
            with self.subTest(message):
                (self.folder / "rec").write_text(text, "utf-8")
                run = self.run_device("replay", "rec")
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertEqual(run.stderr, f"korvin-device: rec:{message}\n")

    def test_options_are_looked_at(self):
        rows = [
            (["record"], "FILE expected"),
            (["record", "rec"], "--upstream ADDRESS:PORT expected"),
            (["record", "rec", "--upstream", "5001"], '--upstream: "5001" is not ADDRESS:PORT'),
            (["record", "a", "b", "--upstream", "127.0.0.1:1"], "b: one argument too many"),
            (["record", "/nowhere/rec", "--upstream", "127.0.0.1:1"],
             "cannot write /nowhere/rec: No such file or directory"),
            (["record", "rec", "--faults", "1"], "--faults: not an option of this command"),
            (["replay", "missing"], "missing: No such file or directory"),
            (["replay", "rec", "--config", "c"], "--config: not an option of this command"),
            (["--upstream", "127.0.0.1:1"], "--upstream: not an option of this command"),
        ]
        for arguments, message in rows:
            with self.subTest(message):
                run = self.run_device(*arguments)
                self.assertEqual((run.returncode, run.stdout, run.stderr), (2, "", f"korvin-device: {message}\n"))

    def test_a_full_disk_is_told_and_all_passes_on(self):
        def few_bytes():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (300, 300))
        device = self.start(CONFIGURATION, "--framing", "lines")
        recorder = self.record(device, "--framing", "lines", preexec_fn=few_bytes)
        ask = self.lines(recorder)
        for _ in range(3):
            self.assertEqual(ask(READ_LEVEL), LEVEL)
        self.assertEqual(recorder.end(), 2)
        self.assertEqual(recorder.log().count("cannot write rec: File too large; nothing more is recorded"), 1)
        self.assertTrue((self.folder / "rec").read_text("utf-8").endswith("}\n"))
        self.assertEqual(self.replay().end(), 0)

    def test_clients_on_a_unix_socket(self):
        device = self.start(CONFIGURATION, "--framing", "lines")
        recorder = self.record(device, "--framing", "lines", "--unix", "socket")
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(recorder.places[0])
            connection.sendall(line_of(READ_LEVEL))
            self.assertEqual(connection.recv(1000), line_of(LEVEL))
        recorder.wait_for_log("/socket#1 ended: closed by the client\n")
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(recorder.places[0])
            connection.sendall(line_of(READ_LEVEL))
            self.assertEqual(connection.recv(1000), line_of(LEVEL))
            device.end()
            self.assertTrue(is_ended(connection))
        recorder.wait_for_log("/socket#2 ended: ")

    def test_a_device_that_is_not_there(self):
        recorder = self.record("127.0.0.1:1")
        with recorder.connect() as connection:
            self.assertTrue(is_ended(connection))
        recorder.wait_for_log("ended: Connection refused")

    def test_what_is_no_message_passes_and_is_told(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            recorder = self.record("127.0.0.1:%d" % server.getsockname()[1])
            with recorder.connect() as connection:
                connection.sendall(b"\xff" * 5 + b"x" * 3000000)
                device = server.accept()[0]
                with device, device.makefile("rb") as stream:
                    self.assertEqual(stream.read(3000005)[:6], b"\xff" * 5 + b"x")
                    device.sendall(prefixed(b"nonsense"))
                    self.assertEqual(connection.recv(100), prefixed(b"nonsense"))
            recorder.wait_for_log("what a client sends is passed on and not recorded any more: a message is too long")
            recorder.wait_for_log("; 1 messages answered no request")

    def test_who_does_not_read_holds_up_the_other_side(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            recorder = self.record("127.0.0.1:%d" % server.getsockname()[1], "--framing", "lines")
            before = recorder.memory()
            with recorder.connect() as connection, server.accept()[0]:
                connection.setblocking(False)
                data = line_of(READ_LEVEL) * 500
                sent, begin = 0, time.monotonic()
                while time.monotonic() - begin < 2 and sent < 50 << 20:
                    with contextlib.suppress(BlockingIOError):
                        sent += connection.send(data[sent % len(data):])
                self.assertLess(sent, 50 << 20)
                self.assertLess(recorder.memory() - before, 12 * MEMORY_FACTOR)


class Saving(DeviceTest):
    def test_at_the_end_and_on_command(self):
        device = self.start(CONFIGURATION, "--save", "saved.json")
        device.value("set", "level", "1234")
        device.value("save")
        (self.folder / "saved.json").unlink()
        self.assertEqual(device.end(signal.SIGINT), 0)
        again = self.start(json.loads((self.folder / "saved.json").read_text("utf-8")))
        self.assertEqual(again.value("get", "level"), "1234")
        self.assertIn("file: missing", again.ctl("save").stderr)

    def test_a_full_disk_loses_nothing(self):
        def few_bytes():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (200, 200))
        (self.folder / "saved.json").write_text("before")
        device = self.start("--save", "saved.json", *[CONFIGURATION], preexec_fn=few_bytes)
        self.assertIn("cannot write", device.ctl("save").stderr)
        self.assertEqual(device.value("get", "level"), "7")
        self.assertEqual(device.end(), 2)
        self.assertIn("cannot write", device.log())
        self.assertEqual((self.folder / "saved.json").read_text(), "before")
        self.assertEqual(sorted(path.name for path in self.folder.glob("saved*")), ["saved.json"])

    def test_a_small_state_on_a_full_device_is_an_error(self):
        (self.folder / "full").symlink_to("/dev/full")  # never at risk to be replaced itself
        device = self.start("--save", "full")
        self.assertEqual(device.end(), 2)
        self.assertIn("cannot write full: No space left on device", device.log())


class Limits(DeviceTest):
    def test_a_thousand_idle_connections_take_10_mib(self):
        device = self.start(CONFIGURATION)
        with contextlib.ExitStack() as stack:
            stack.enter_context(device.connect())
            time.sleep(0.3)
            before = device.memory()
            for _ in range(1000):
                stack.enter_context(device.connect())
            while json.loads(device.value("statistics"))["connections"] < 1001:
                time.sleep(0.1)
            self.assertLess(device.memory() - before, 10 * MEMORY_FACTOR)
            begin = device.processor_seconds()
            time.sleep(1)
            self.assertLess(device.processor_seconds() - begin, 0.2 * MEMORY_FACTOR)

    def test_too_many_are_refused_with_a_line(self):
        device = self.start({**CONFIGURATION, "limits": {"connections": 3}})
        with contextlib.ExitStack() as stack:
            connections = [stack.enter_context(device.connect()) for _ in range(10)]
            device.wait_for_log("refused, and further ones: there are 3 already")
            begin = device.processor_seconds()
            time.sleep(0.5)
            self.assertLess(device.processor_seconds() - begin, 0.2)
            self.assertEqual(device.log().count("refused"), 1)
            self.assertTrue(is_ended(connections[-1]))
            connections[0].close()
            device.wait_for_log("closed by the peer")
            again = [stack.enter_context(device.connect()) for _ in range(2)]
            self.assertTrue(is_ended(again[-1]))
            self.assertEqual(device.log().count("refused"), 2)

    def test_few_descriptors_are_a_limit(self):
        device = self.start(CONFIGURATION, "--framing", "lines", preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_NOFILE, (80, 80)))
        with contextlib.ExitStack() as stack:
            for _ in range(60):
                stack.enter_context(device.connect())
            device.wait_for_log("refused, and further ones: there are 16 already")
            begin = device.processor_seconds()
            time.sleep(1)
            self.assertLess(device.processor_seconds() - begin, 0.3 * MEMORY_FACTOR)
        while json.loads(device.value("statistics"))["connections"] > 0:
            time.sleep(0.1)
        self.assertEqual(self.lines(device)(READ_LEVEL), LEVEL)

    def test_what_is_no_message_closes_its_connection_with_a_reason(self):
        device = self.start(CONFIGURATION)
        rows = [
            (prefixed(b"nonsense"), "not a message: it does not begin with a form and a class"),
            (prefixed(b"frame Nothing x"), "not a message: it does not begin with a form and a class"),
            (prefixed(b"frame PackageBase"), "not a message: it does not begin with a form and a class"),
            (prefixed(b"frame PackageRequestReadData x"), "refused: "),
            (b"\xff\xff\xff\xff", "a message is too long"),
            (b"\x05\x00\x00\x00ab", "the stream ended inside a message"),
        ]
        for data, reason in rows:
            start = len(device.log())
            with device.connect() as connection:
                connection.sendall(data)
                if "ended" in reason:
                    connection.shutdown(socket.SHUT_WR)
                self.assertTrue(is_ended(connection))
            device.wait_for_log(reason, start)

    def test_a_fault_after_as_many_replies_as_the_limit_closes_its_connection(self):
        device = self.start({**CONFIGURATION, "limits": {"unsentSize": 1}})
        with device.connect() as connection:
            connection.sendall(prefixed(line_of(READ_LEVEL)[:-1]) + b"\xff\xff\xff\xff")
            with connection.makefile("rb") as replies:
                self.assertEqual(replies.read(), prefixed(line_of(LEVEL)[:-1]))
        device.wait_for_log("a message is too long")

    def test_half_a_message_is_cut_after_three_seconds(self):
        device = self.start(CONFIGURATION)
        with device.connect() as connection:
            connection.sendall(b"\x05")
            begin = time.monotonic()
            self.assertTrue(is_ended(connection))
            self.assertTrue(2.5 < time.monotonic() - begin < 6)

    def test_who_does_not_read_costs_no_more_than_the_limit(self):
        requests = {"slow": READ_SLOW, "large": READ_LEVEL.replace("2,65535,2560,32", "3,65535,0,16")
                    .replace(",2,data", ",2048,data")}
        for name, record in requests.items():
            with self.subTest(name):
                slow = json.loads(json.dumps(CONFIGURATION))
                slow["units"][0]["ranges"][2]["delay"] = 600000
                device = self.start(slow, "--framing", "lines")
                before = device.memory()
                with device.connect() as connection:
                    connection.setblocking(False)
                    data = line_of(record) * 500
                    sent, begin = 0, time.monotonic()
                    while time.monotonic() - begin < 4 and sent < 50 << 20:
                        try:
                            sent += connection.send(data[sent % len(data):])
                        except BlockingIOError:
                            time.sleep(0.02)
                    self.assertLess(device.memory() - before, 12 * MEMORY_FACTOR)
                    self.assertEqual(device.log(), "")

    def test_large_configurations_load_fast(self):
        units = [{"portAddr": i % 256, "scanBoardAddr": i // 256,
                  "blocks": [{"address": 16 * j, "size": 4} for j in range(10)]} for i in range(10000)]
        device = self.start({"units": units})
        self.assertLess(device.processor_seconds(), 2 * MEMORY_FACTOR)
        self.assertEqual(device.end(), 0)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
