"""The programs of examples/loopback, with hostile and lying peers on either side.

Usage: programs_test.py DEVICE PROXY CLIENT [unittest options]
"""

import os
import random
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

DEVICE, PROXY, CLIENT = sys.argv[1:4]

# Sanitizers take more memory.
MEMORY_FACTOR = int(os.environ.get("MEMORY_FACTOR", 1))

STATE = """{"maxPartSize": 2048, "units": [{"scrAddr": 0, "desAddr": 255, "deviceType": 1, "portAddr": 2,
"scanBoardAddr": 65535, "fileSpace": 1048576, "memory": {"size": 4096},
"blocks": [{"address": "0x0A000010", "size": 65536}, {"address": "0x0B000000", "size": 65536}]}]}"""

# The columns of a request to register 0x0A000010 between serial number and time-out, and after it.
ADDRESS = "device0,1,0,255,2,65535,2560,16,0"


def read_record(serial, length=4, timeout=3000, tag="t", key="device0"):
    address = ADDRESS.replace("device0", key)
    return f"{serial},{address},read,{timeout},{tag},ok,ok,{length},data"


def write_record(serial, timeout=3000, code="write"):
    return f"{serial},{ADDRESS},{code},{timeout},t,ok,ok,false,data,2,1/2"


def read_line(*arguments, **options):
    return f"text PackageRequestReadData {read_record(*arguments, **options)}\n".encode()


def write_line(*arguments, **options):
    return f"text PackageRequestWriteData {write_record(*arguments, **options)}\n".encode()


def combination_line(records):
    return ("text PackageRequestCombination " + "|".join("ReadData^" + r for r in records) + "\n").encode()


class Program:
    """A program that listens, with its log."""

    def __init__(self, path, *arguments):
        self.log_file = tempfile.NamedTemporaryFile("r+")
        self.process = subprocess.Popen([path, *arguments], stdout=subprocess.PIPE, text=True,
                                        stderr=self.log_file)
        line = self.process.stdout.readline()
        self.host, _, port = line.rpartition(" ")[2].rpartition(":")
        self.port = int(port)

    def log(self):
        with open(self.log_file.name) as file:
            return file.read()

    def wait_for_log(self, text, count=1):
        end = time.monotonic() + 15
        while self.log().count(text) < count:
            if time.monotonic() > end:
                raise AssertionError(f"{text!r} not {count} times in {self.log()[-2000:]}")
            time.sleep(0.02)

    def status(self, name):
        """A size in MiB of /proc/PID/status."""
        with open(f"/proc/{self.process.pid}/status") as file:
            return next(int(line.split()[1]) / 1024 for line in file if line.startswith(name))

    def processor_seconds(self):
        with open(f"/proc/{self.process.pid}/stat") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


class Frame:
    """A request frame as a device gets it."""

    def __init__(self, message):
        form, self.name, frame = message.split(b" ", 2)
        assert form == b"frame", message
        self.key, at = self.text(frame, 1)
        self.tag, at = self.text(frame, at)
        self.timeout, self.serial = struct.unpack_from("<IH", frame, at)
        self.header = frame[1:at + 6 + 12]

    @staticmethod
    def text(frame, at):
        size = struct.unpack_from("<H", frame, at)[0]
        return frame[at + 2:at + 2 + size], at + 2 + size

    def reply(self, data=None, ack=0, comm=1, pack=0, serial=None, name=None):
        """The short reply, as it travels."""
        frame = struct.pack("<BHBBB", 0, self.serial if serial is None else serial, ack, comm, pack)
        if data is not None:
            frame += struct.pack("<I", len(data)) + data
        return prefixed(b"frame " + (name or self.name) + b" " + frame)


def prefixed(message):
    return struct.pack("<I", len(message)) + message


class FakeDevice:
    """A device that does what the test says: calls serve() with each connection."""

    def __init__(self, serve):
        self.server = socket.create_server(("127.0.0.1", 0))
        self.port = self.server.getsockname()[1]
        self.serve = serve
        self.connections = []
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        while True:
            try:
                connection = self.server.accept()[0]
            except OSError:
                return
            self.connections.append(connection)
            threading.Thread(target=self.guard, args=(connection,), daemon=True).start()

    def guard(self, connection):
        try:
            self.serve(connection)
        except (ConnectionError, OSError):
            pass

    def close(self):
        self.server.close()
        for connection in self.connections:
            connection.close()


def frames_of(connection):
    """The requests that arrive, until there are no more."""
    with connection.makefile("rb") as stream:
        while True:
            size = stream.read(4)
            if len(size) < 4:
                return
            yield Frame(stream.read(struct.unpack("<I", size)[0]))


def answering(answer):
    """A device that answers each request with the bytes that answer() gives, or not where it gives none."""
    def serve(connection):
        for frame in frames_of(connection):
            connection.sendall(answer(frame) or b"")
    return serve


class Silent:
    """A device that answers nothing and remembers what it got."""

    def __init__(self):
        self.frames = []

    def __call__(self, connection):
        for frame in frames_of(connection):
            self.frames.append(frame)

    def wait_for(self, count):
        end = time.monotonic() + 10
        while len(self.frames) < count and time.monotonic() < end:
            time.sleep(0.02)
        time.sleep(0.3)  # for what must not come
        return len(self.frames)


class LoopbackTest(unittest.TestCase):
    def start(self, path, *arguments):
        program = Program(path, *arguments)
        self.addCleanup(program.kill)
        return program

    def start_device(self, *arguments):
        state = tempfile.NamedTemporaryFile("w")
        self.addCleanup(state.close)
        state.write(STATE)
        state.flush()
        return self.start(DEVICE, "--config", state.name, *arguments)

    def start_fake(self, serve):
        device = FakeDevice(serve)
        self.addCleanup(device.close)
        return device

    def start_proxy(self, device, *arguments):
        """A proxy of a device, which is there."""
        return self.start(PROXY, *arguments, f"device0=127.0.0.1:{device.port}")

    def connect(self, program):
        connection = socket.create_connection(("127.0.0.1", program.port), timeout=20)
        self.addCleanup(connection.close)
        return connection

    def ask(self, program, request):
        """The reply to a line."""
        connection = self.connect(program)
        connection.sendall(request)
        with connection.makefile("rb") as stream:
            return stream.readline().decode()

    def results(self, reply):
        """Communication result, package result and acknowledge code of a reply record."""
        return tuple(reply.split(",")[13:16])


class Options(LoopbackTest):
    ROWS = [
        (DEVICE, ["--port", "abc"], '--port: "abc" is not a number from 0 to 65535'),
        (DEVICE, ["--port", "70000"], '--port: "70000" is not a number from 0 to 65535'),
        (DEVICE, ["--port=-1"], '--port: "-1" is not a number from 0 to 65535'),
        (DEVICE, ["--port", ""], '--port: "" is not a number from 0 to 65535'),
        (DEVICE, ["--port", " 1"], '--port: " 1" is not a number from 0 to 65535'),
        (DEVICE, ["--address", "nowhere"], '--address: "nowhere" is not an IP address'),
        (DEVICE, ["--address", "256.0.0.1"], '--address: "256.0.0.1" is not an IP address'),
        (DEVICE, ["--faults", "5%"], '--faults: "5%" is not a number from 0 to 1'),
        (DEVICE, ["--faults", "1.5"], '--faults: "1.5" is not a number from 0 to 1'),
        (DEVICE, ["--faults", "nan"], '--faults: "nan" is not a number from 0 to 1'),
        (DEVICE, ["--seed", "x"], '--seed: "x" is not a number from 0 to 4294967295'),
        (DEVICE, ["--config", "/nowhere"], "/nowhere: No such file or directory"),
        (DEVICE, ["--journal", "/nowhere/j"], "cannot write /nowhere/j: No such file or directory"),
        (DEVICE, ["more"], "more: one argument too many"),
        (PROXY, ["--port", "abc", "d=127.0.0.1:1"], '--port: "abc" is not a number from 0 to 65535'),
        (PROXY, ["--address", "::x", "d=127.0.0.1:1"], '--address: "::x" is not an IP address'),
        (PROXY, ["--serial-numbers", "0", "d=127.0.0.1:1"],
         '--serial-numbers: "0" is not a number from 1 to 65535'),
        (PROXY, [], "no device: KEY=ADDRESS:PORT expected"),
        (PROXY, ["d"], '"d" is not KEY=ADDRESS:PORT'),
        (PROXY, ["=127.0.0.1:1"], '"=127.0.0.1:1" is not KEY=ADDRESS:PORT'),
        (PROXY, ["-x"], "-x: no such option; --help lists them"),
        (PROXY, ["d=127.0.0.1"], 'd: "127.0.0.1" is not ADDRESS:PORT'),
        (PROXY, ["d=127.0.0.1:0"], 'd: "0" is not a number from 1 to 65535'),
        (PROXY, ["d=127.0.0.1:5x"], 'd: "5x" is not a number from 1 to 65535'),
        (PROXY, ["d=host:5"], 'd: "host" is not an IP address'),
        (PROXY, ["d=127.0.0.1:5", "d=127.0.0.1:6"], 'device key "d" is there twice'),
        (CLIENT, ["special", "1"], "--proxy: missing: ADDRESS:PORT expected"),
        (CLIENT, ["--proxy", "127.0.0.1", "special", "1"], '--proxy: "127.0.0.1" is not ADDRESS:PORT'),
        (CLIENT, ["--proxy", "127.0.0.1:0", "special", "1"], '--proxy: "0" is not a number from 1 to 65535'),
    ] + [(CLIENT, ["--proxy", "127.0.0.1:1", *arguments], reason) for arguments, reason in [
        (["--timeout", "0", "special", "1"], '--timeout: "0" is not a number from 1 to 2147483647'),
        (["--attempts", "x", "special", "1"], '--attempts: "x" is not a number from 1 to 2147483647'),
        (["--buffer", "0x1G", "special", "1"], '--buffer: "0x1G" is not a number from 0 to 4294967295'),
        (["read", "1O0", "4"], 'ADDRESS: "1O0" is not a number from 0 to 4294967295'),
        (["read", "0x100000000", "4"], 'ADDRESS: "0x100000000" is not a number from 0 to 4294967295'),
        (["read", "0", "4k"], 'LENGTH: "4k" is not a number from 0 to 2147483647'),
        (["write", "0-1", "00"], 'ADDRESS: "0-1" is not a number from 0 to 4294967295'),
        (["memory-read", "", "4"], 'OFFSET: "" is not a number from 0 to 2147483647'),
        (["memory-write", "+1", "00"], 'OFFSET: "+1" is not a number from 0 to 2147483647'),
        (["special", "one"], 'ID: "one" is not a number from 0 to 2147483647'),
        (["upload", "/nowhere", "name"], "/nowhere: No such file or directory"),
        (["read", "0"], "read: ADDRESS LENGTH [FILE] expected"),
        (["upload", "a", "b", "c"], "upload: FILE NAME expected"),
        (["nothing"], "nothing: no such command; --help lists them"),
        (["--bogus"], "--bogus: no such option; --help lists them"),
        ([], "no command; --help lists them"),
    ]]

    def test_each_is_looked_at(self):
        for path, arguments, reason in self.ROWS:
            with self.subTest(program=os.path.basename(path), arguments=arguments):
                run = subprocess.run([path, *arguments], capture_output=True, text=True, timeout=10)
                self.assertEqual(run.stderr, f"{os.path.basename(path)}: {reason}\n")
                self.assertEqual((run.returncode, run.stdout), (2, ""))

    def test_localhost_is_this_machine_only(self):
        device = self.start(DEVICE, "--address", "localhost")
        self.assertEqual(device.host, "127.0.0.1")
        proxy = self.start(PROXY, "--address", "localhost", f"device0=localhost:{device.port}")
        self.assertEqual(proxy.host, "127.0.0.1")

    def test_what_cannot_be_written_is_told(self):
        with open("/dev/full", "w") as full:
            run = subprocess.run([DEVICE], stdout=full, stderr=subprocess.PIPE, text=True, timeout=10)
        self.assertEqual(run.stderr, "korvin-device: cannot write to standard output\n")


class Client(LoopbackTest):
    def client(self, proxy, *arguments, **options):
        return subprocess.run([CLIENT, "--proxy", f"127.0.0.1:{proxy.port}", *arguments], text=True,
                              timeout=30, stderr=subprocess.PIPE, **{"stdout": subprocess.PIPE, **options})

    def test_an_empty_file_is_a_file(self):
        proxy = self.start_proxy(self.start_device())
        with tempfile.NamedTemporaryFile() as file:
            file.write(b"before")
            file.flush()
            self.assertEqual(self.client(proxy, "upload", file.name, "full").returncode, 0)
            file.truncate(0)
            self.assertEqual(self.client(proxy, "upload", file.name, "empty").returncode, 0)
        self.assertEqual(self.client(proxy, "download", "empty", "0").returncode, 0)
        self.assertIn("fileReadFailure", self.client(proxy, "download", "empty", "1").stdout)
        self.assertIn("fileNoExist", self.client(proxy, "download", "missing", "0").stdout)
        self.assertIn("62 65 66 6F 72 65", self.client(proxy, "download", "full", "6").stdout)

    def test_a_full_disk_is_no_success(self):
        proxy = self.start_proxy(self.start_device())
        run = self.client(proxy, "read", "0x0A000010", "4", "/dev/full")
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertEqual(run.stderr, "korvin-client: cannot write /dev/full: No space left on device\n")
        with open("/dev/full", "w") as full:
            run = self.client(proxy, "read", "0x0A000010", "4", stdout=full)
        self.assertEqual(run.returncode, 2)
        self.assertEqual(run.stderr, "korvin-client: cannot write to standard output\n")

    def test_a_transfer_goes_on_where_it_failed(self):
        # Linux frames: in others a flipped bit of data is not noticed.
        proxy = self.start_proxy(self.start_device("--faults", "0.2", "--seed", "5"), "--linux")
        contents = random.Random(1).randbytes(40000)
        with tempfile.NamedTemporaryFile() as sent, tempfile.NamedTemporaryFile() as back:
            sent.write(contents)
            sent.flush()
            options = ["--timeout", "200", "--attempts", "20"]
            run = self.client(proxy, *options, "upload", sent.name, "file")
            self.assertEqual(run.returncode, 0, run.stdout)
            self.assertLess(run.stdout.index(" ok,"), run.stdout.index("repeated"))
            run = self.client(proxy, *options, "download", "file", "40000", back.name)
            self.assertEqual(run.returncode, 0, run.stdout)
            self.assertEqual(back.read(), contents)

    def test_started_before_its_proxy_and_device_it_waits_for_them(self):
        for _ in range(3):
            ports = []
            for _ in range(2):
                with socket.create_server(("127.0.0.1", 0)) as server:
                    ports.append(server.getsockname()[1])
            client = subprocess.Popen([CLIENT, "--proxy", f"127.0.0.1:{ports[0]}", "special", "1"],
                                      stdout=subprocess.PIPE, text=True)
            proxy = subprocess.Popen([PROXY, "--port", str(ports[0]), f"device0=127.0.0.1:{ports[1]}"],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(0.1)
            device = self.start_device("--port", str(ports[1]))
            self.assertIn("1 of 1 devices", client.communicate(timeout=10)[0])
            self.assertEqual(client.returncode, 0)
            proxy.kill()
            proxy.wait()
            device.kill()

    def test_a_combination_may_take_as_long_as_its_items(self):
        silent = FakeDevice(lambda connection: connection.recv(65536) and time.sleep(30))
        self.addCleanup(silent.close)
        begin = time.monotonic()
        run = self.client(silent, "--timeout", "100", "combination", "0102", "name")
        self.assertIn("FAILED", run.stdout)
        self.assertIn("timed out", run.stdout)
        self.assertGreater(time.monotonic() - begin, 3.3)  # three times the time-out and a second
        self.assertLess(time.monotonic() - begin, 6)


class Proxy(LoopbackTest):
    def test_a_request_to_a_closed_device_fails_at_once(self):
        device = self.start_device()
        proxy = self.start_proxy(device)
        self.assertEqual(self.results(self.ask(proxy, read_line(1))), ("ok", "ok", "0"))
        device.kill()
        proxy.wait_for_log("device device0 is not connected")
        begin = time.monotonic()
        self.assertEqual(self.results(self.ask(proxy, read_line(1, timeout=9000))),
                         ("forcedCancel", "disConnect", "0"))
        self.assertLess(time.monotonic() - begin, 1)

    def test_without_its_device_it_serves_after_two_seconds(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            port = server.getsockname()[1]
        begin = time.monotonic()
        proxy = self.start(PROXY, f"device0=127.0.0.1:{port}")
        self.assertTrue(1.8 < time.monotonic() - begin < 4)
        self.assertIn("0 of 1 devices", self.ask(proxy, b"text SpecialPackageRequest 1,3,\n"))

    def test_busy_connections_are_not_cut(self):
        """Where a message always has begun, none of them takes long."""
        proxy = self.start_proxy(self.start_device())
        connection = self.connect(proxy)
        lines = b"".join(read_line(i) for i in range(1, 42))
        size = len(read_line(1))
        for at in range(0, 40):
            begin = at * size + (size // 2 if at else 0)
            connection.sendall(lines[begin:(at + 1) * size + size // 2])
            time.sleep(0.1)
        with connection.makefile("rb") as stream:
            for i in range(1, 40):
                self.assertTrue(stream.readline().startswith(b"text PackageRequestReadData %d," % i))

    def test_half_a_message_is_cut_after_three_seconds(self):
        proxy = self.start_proxy(self.start_device())
        connection = self.connect(proxy)
        connection.sendall(read_line(1) + b"text Packa")
        begin = time.monotonic()
        with connection.makefile("rb") as stream:
            self.assertEqual(len(stream.readlines()), 1)
        self.assertTrue(2.5 < time.monotonic() - begin < 6)
        proxy.wait_for_log("the rest of a message did not come in time")

    def test_a_client_that_does_not_read_is_cut_with_that_reason(self):
        proxy = self.start_proxy(self.start_device(), "--serial-numbers", "65535")
        connection = self.connect(proxy)
        connection.setblocking(False)
        lines = memoryview(b"".join(read_line(i, 8192) for i in range(1, 3000)))
        sent = 0
        begin = time.monotonic()
        while "ended" not in proxy.log() and time.monotonic() - begin < 30:
            try:
                sent += connection.send(lines[sent % len(lines):][:65536])
            except BlockingIOError:
                time.sleep(0.1)
            except ConnectionError:
                break
        proxy.wait_for_log("does not read what it is sent")
        self.assertNotIn("did not come in time", proxy.log())
        self.assertLess(proxy.status("VmHWM"), 100 * MEMORY_FACTOR)

    def test_a_combination_whose_replies_are_too_long_is_answered(self):
        proxy = self.start_proxy(self.start_device())
        setup = "text PackageRequestWriteData " + f"1,{ADDRESS},write,3000,t,ok,ok,false,data,2048," \
            + "/".join(["255"] * 2048) + "\n"
        self.assertEqual(self.results(self.ask(proxy, setup.encode())), ("ok", "ok", "0"))
        reply = self.ask(proxy, combination_line(read_record(i, 2048) for i in range(1, 401)))
        self.assertLessEqual(len(reply), 1 << 20)
        items = reply.partition("PackageRequestCombination ")[2].strip().split("|")
        self.assertEqual([item.split(",")[0] for item in items], [str(i) for i in range(1, 401)])
        results = [self.results(item) for item in items]
        brought = results.count(("ok", "ok", "0"))
        self.assertGreater(brought, 90)  # 8 KiB each
        self.assertEqual(results.count(("lengthErr", "parseFailure", "0")), 400 - brought)

    def test_a_read_whose_reply_is_too_long_is_answered(self):
        proxy = self.start_proxy(self.start_fake(answering(lambda frame: frame.reply(b"\xff" * 300000))))
        self.assertEqual(self.results(self.ask(proxy, read_line(1, 300000))), ("lengthErr", "parseFailure", "0"))

    def test_class_and_code_must_agree(self):
        proxy = self.start_proxy(self.start_device())
        self.assertEqual(self.ask(proxy, write_line(1, code="read")), "")
        proxy.wait_for_log("refused: readWriteCode at 10: not what the class is for: write expected, read found")

    def test_the_outcome_is_that_of_the_device(self):
        proxy = self.start_proxy(self.start_fake(answering(
            lambda frame: frame.reply(b"", ack=7, comm=3, pack=9))))
        reply = self.ask(proxy, read_line(1))
        self.assertEqual(self.results(reply), ("lengthErr", "sendError", "7"))

    def test_special_requests_are_answered_in_order(self):
        proxy = self.start_proxy(self.start_device())
        connection = self.connect(proxy)
        connection.sendall(b"".join(b"text SpecialPackageRequest %d,3,%d\n" % (i % 2, i) for i in range(6)))
        with connection.makefile("rb") as stream:
            replies = [stream.readline().decode().partition("Request ")[2].strip() for _ in range(6)]
        self.assertEqual(replies, ["0,3,0,1", "1,3,1 of 1 devices,0", "0,3,2,1", "1,3,1 of 1 devices,0",
                                   "0,3,4,1", "1,3,1 of 1 devices,0"])

    def test_a_client_that_has_left_is_sent_nothing(self):
        proxy = self.start_proxy(self.start_device())
        connection = self.connect(proxy)
        connection.setblocking(False)
        lines = (b"text SpecialPackageRequest 2,3," + b"x" * 1000 + b"\n") * 8000
        # More than one read, until nothing goes on because the replies are not read.
        while select.select([], [connection], [], 0.5)[1] and lines:
            lines = lines[connection.send(lines):]
        connection.close()
        proxy.wait_for_log("ended")
        self.assertNotIn("QIODevice", proxy.log())


class LyingDevices(LoopbackTest):
    def test_replies_that_do_not_fit_reach_no_request(self):
        rows = {
            "another class": lambda frame: frame.reply(b"abcd", name=b"PackageRequestRead"),
            "another number": lambda frame: frame.reply(b"abcd", serial=frame.serial + 1),
            "too much data": lambda frame: frame.reply(b"abcde"),
            "too little data": lambda frame: frame.reply(b"abc"),
            "another address": lambda frame: prefixed(
                b"text PackageRequestReadData "
                + f"{frame.serial},device0,1,0,255,3,65535,2560,16,0,read,3000,t,ok,ok,0,4,data,4,1/2/3/4".encode()),
        }
        for name, answer in rows.items():
            with self.subTest(name):
                proxy = self.start_proxy(self.start_fake(answering(answer)))
                results = self.results(self.ask(proxy, read_line(1, timeout=200)))
                self.assertIn(results, [("timeout", "timeOut", "0"), ("codeErr", "parseFailure", "0")])
                self.assertIn("a reply is left out", proxy.log())

    def test_what_full_replies_announce_costs_nothing(self):
        def answer(frame):
            # A full reply to a read: the header and twice the length, without the data.
            length = struct.pack("<I", 1 << 26)
            full = b"\x01" + frame.header + length + b"\x00" + length + b"\x00\x00\x01\x00\x00\x00" + length + b"\x00" + length
            return prefixed(b"frame PackageRequestReadData " + full) * 300
        proxy = self.start_proxy(self.start_fake(answering(answer)))
        before = proxy.processor_seconds()
        results = self.results(self.ask(proxy, read_line(1, timeout=500)))
        self.assertIn(results, [("timeout", "timeOut", "0"), ("codeErr", "parseFailure", "0")])
        self.assertLess(proxy.processor_seconds() - before, 0.5)
        self.assertLess(proxy.status("VmHWM"), 100 * MEMORY_FACTOR)

    def test_no_request_gets_the_data_of_another(self):
        """450 requests under way, each of which asks for its own tag; the device pauses for 1.2 s with a
        time-out of 1 s, answers twice and late, in any order."""
        requests, under_way = 5000, 450
        random_bits = random.Random(3)

        def serve(connection):
            lock = threading.Lock()

            def send_later(delay, reply, latest=None):
                def send():
                    with lock:
                        if latest and time.monotonic() > latest:
                            return  # the machine is busy: the number may have had its rest
                        try:
                            connection.sendall(reply)
                        except OSError:
                            pass
                timer = threading.Timer(delay, send)
                timer.daemon = True
                timer.start()
            for count, frame in enumerate(frames_of(connection)):
                reply = frame.reply(frame.tag)
                if count in (1000, 2500):
                    time.sleep(1.2)
                chance = random_bits.random()
                if chance < 0.05:
                    send_later(0.02 * random_bits.random(), reply, time.monotonic() + 0.03)
                elif chance < 0.06:
                    send_later(1.1 + random_bits.random(), reply)
                    continue
                elif chance < 0.1:
                    send_later(0.02 * random_bits.random(), reply)
                    continue
                with lock:
                    connection.sendall(reply * (2 if chance > 0.95 else 1))

        for numbers in ("65535", "255"):
            with self.subTest(numbers=numbers):
                proxy = self.start_proxy(self.start_fake(serve), "--serial-numbers", numbers)
                succeeded, wrong, most = self.run_tagged(self.connect(proxy), requests, under_way)
                self.assertEqual(wrong, [])
                self.assertEqual(most, under_way)
                self.assertGreater(succeeded, requests // 10 if numbers == "255" else requests * 3 // 4)
                self.assertIn("a reply is left out: late", proxy.log())
                self.assertIn("a reply is left out: the request has been answered", proxy.log())

    def run_tagged(self, connection, requests, under_way):
        succeeded, wrong, sent, ended, most = 0, [], 0, set(), 0
        with connection.makefile("rb") as stream:
            while len(ended) < requests:
                lines = b""
                while sent < requests and sent - len(ended) < under_way:
                    sent += 1
                    lines += read_line(sent, 4, 1000, f"{sent:04}")
                most = max(most, sent - len(ended))
                connection.sendall(lines)
                columns = stream.readline().decode().strip().partition("Data ")[2].split(",")
                serial = int(columns[0])
                if serial in ended or columns[12] != f"{serial:04}":
                    wrong.append(columns)
                ended.add(serial)
                if tuple(columns[13:16]) == ("ok", "ok", "0"):
                    succeeded += 1
                    if bytes(int(number) for number in columns[19].split("/")) != f"{serial:04}".encode():
                        wrong.append(columns)
        return succeeded, wrong, most


class Load(LoopbackTest):
    def test_jobs_have_a_limit(self):
        silent = Silent()
        proxy = self.start_proxy(self.start_fake(silent), "--serial-numbers", "65535")
        self.connect(proxy).sendall(b"".join(read_line(i) for i in range(1, 700)))
        self.assertEqual(silent.wait_for(500), 500)

    def test_a_client_that_leaves_takes_its_requests_with_it(self):
        silent = Silent()
        device = self.start_fake(silent)
        proxy = self.start_proxy(device)
        connection = self.connect(proxy)
        connection.sendall(b"".join(read_line(i) for i in range(1, 401))
                           + combination_line(read_record(i, 4, 100) for i in range(50)))
        self.assertEqual(silent.wait_for(255), 255)  # as many as there are serial numbers
        connection.close()
        proxy.wait_for_log("closed by the peer")
        # Late replies make the numbers free for what waits; but that is gone.
        connection = device.connections[0]
        for frame in silent.frames:
            connection.sendall(frame.reply(b"abcd"))
        proxy.wait_for_log("a reply is left out: late", 255)
        self.assertEqual(silent.wait_for(256), 255)
        self.assertIn("1 of 1 devices", self.ask(proxy, b"text SpecialPackageRequest 1,3,\n"))

    def test_combinations_are_bounded_by_bytes_and_given_up_with_their_clients(self):
        proxy = self.start_proxy(self.start_fake(Silent()))
        record = read_record(1, 4, 60000)
        line = combination_line([record] * ((1 << 20) // (len(record) + 10) - 1))
        before = proxy.status("VmRSS")
        connections = [self.connect(proxy) for _ in range(21)]

        def send(connection):
            try:
                connection.sendall(line * 3)  # 63 MB in all
            except OSError:
                pass  # closed, below
        for connection in connections:
            threading.Thread(target=send, args=(connection,), daemon=True).start()
        busy = -1
        while proxy.processor_seconds() > busy:
            busy = proxy.processor_seconds()
            time.sleep(0.5)
        self.assertLess(proxy.status("VmHWM") - before, 200 * MEMORY_FACTOR)
        for connection in connections:
            # With a reset: the end of a stream would wait until what is before it has been read.
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            connection.shutdown(socket.SHUT_RDWR)  # wakes the thread
        time.sleep(0.2)
        for connection in connections:
            connection.close()
        proxy.wait_for_log("ended", 21)
        begin = proxy.processor_seconds()
        time.sleep(0.5)
        self.assertLess(proxy.processor_seconds() - begin, 0.1)

    def test_a_device_that_does_not_read_is_sent_no_more(self):
        wake = threading.Event()
        silent = Silent()

        def serve(connection):
            wake.wait()
            silent(connection)
        proxy = self.start_proxy(self.start_fake(serve))
        connection = self.connect(proxy)
        count = 20000
        threading.Thread(target=lambda: connection.sendall(
            b"".join(write_line(i, 50) for i in range(1, count + 1))), daemon=True).start()
        with connection.makefile("rb") as stream:
            for _ in range(count):
                self.assertIn(self.results(stream.readline().decode()), [("timeout", "timeOut", "0")])
        self.assertLess(proxy.status("VmHWM"), 60 * MEMORY_FACTOR)
        wake.set()
        time.sleep(1)
        self.assertLessEqual(len(silent.frames), 255)  # of writes that were answered with a time-out
        self.assertGreater(len(silent.frames), 0)

    def test_it_ends_in_five_seconds_with_what_is_finished(self):
        waiting = []

        def answer(frame):
            if frame.tag == b"wait":
                waiting.append(frame)
                return b""
            return frame.reply(b"abcd")
        proxy = self.start_proxy(self.start_fake(answering(answer)))
        connection = self.connect(proxy)
        records = [read_record(1), read_record(2, 4, 60000, "wait"), read_record(3)]
        connection.sendall(read_line(1) + combination_line(records) + read_line(2, 4, 60000, "wait"))
        while len(waiting) < 2:
            time.sleep(0.02)
        begin = time.monotonic()
        proxy.process.send_signal(signal.SIGTERM)
        with connection.makefile("rb") as stream:
            replies = stream.read().decode().splitlines()
        self.assertEqual(proxy.process.wait(10), 0)
        self.assertLess(time.monotonic() - begin, 5)
        self.assertEqual(self.results(replies[0]), ("ok", "ok", "0"))
        combination = next(reply for reply in replies if "Combination" in reply)
        given_up = ("forcedCancel", "disConnect", "0")
        self.assertEqual([self.results(item) for item in combination.split("|")],
                         [("ok", "ok", "0"), given_up, given_up])
        single = next(reply for reply in replies if "Data 2," in reply)
        self.assertEqual(self.results(single), given_up)

    def test_it_ends_although_a_client_sends_without_end(self):
        proxy = self.start_proxy(self.start_device())
        connection = self.connect(proxy)
        stop = threading.Event()

        def send():
            try:
                while not stop.is_set():
                    connection.sendall(read_line(1))
            except OSError:
                pass
        thread = threading.Thread(target=send, daemon=True)
        thread.start()
        self.addCleanup(stop.set)
        time.sleep(0.5)
        proxy.process.send_signal(signal.SIGTERM)
        self.assertEqual(proxy.process.wait(5), 0)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)
