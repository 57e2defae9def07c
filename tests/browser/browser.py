"""A headless browser for tests, driven by the WebDriver protocol, and pictures of what it shows.

It needs Debian's packages chromium and chromium-driver.
"""

import base64
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request
import zlib

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the key of elements in the WebDriver protocol


def processes_of(driver, profile):
    """The driver and its browsers, which are in its session or name their profile."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            state, _, _, session = (process / "stat").read_text().rpartition(")")[2].split()[:4]
            arguments = (process / "cmdline").read_text(errors="replace")
        except OSError:
            continue
        if state != "Z" and (int(session) == driver.pid or profile in arguments):
            found.append(int(process.name))
    return found


def end(driver, profile):
    """Waits for a driver and its browsers, and ends those that stay."""
    driver.terminate()
    deadline = time.monotonic() + 10
    while processes_of(driver, profile) and time.monotonic() < deadline:
        driver.poll()
        time.sleep(0.1)
    for process in processes_of(driver, profile):
        with contextlib.suppress(ProcessLookupError):
            os.kill(process, signal.SIGKILL)
    driver.stdout.close()
    driver.wait()


class Browser:
    """A headless browser and its driver, in a process session of their own."""

    def __init__(self, profile):
        self.profile = profile
        self.opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        self.driver = subprocess.Popen(
            ["chromedriver", "--port=0"], stdout=subprocess.PIPE, stdin=subprocess.DEVNULL,
            start_new_session=True, text=True)
        try:
            self.root = f"http://127.0.0.1:{self.port()}"
            session = self.call("POST", "/session", self.capabilities())["sessionId"]
            self.root += f"/session/{session}"
        except BaseException:
            end(self.driver, self.profile)
            raise

    def port(self):
        for line in self.driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                return int(found.group(1))
        raise RuntimeError("chromedriver does not start")

    def capabilities(self):
        options = {
            "binary": shutil.which("chromium"),
            "args": [
                "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--window-size=1500,1000", f"--user-data-dir={self.profile}"],
        }
        return {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options}}}

    def call(self, method, path, body=None):
        data = None if method == "GET" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.root + path, data, method=method)
        request.add_header("Content-Type", "application/json")
        try:
            with self.opener.open(request, timeout=60) as reply:
                return json.load(reply)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(f"{method} {path}: {error.read().decode()}") from error

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": arguments})

    def devtools(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def open(self, path, scheme):
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.call("POST", "/url", {"url": path.as_uri()})

    def find(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def move(self, origin, x=0, y=0):
        """Moves the pointer to an element, or to a place of the window."""
        move = {"type": "pointerMove", "duration": 0, "x": x, "y": y, "origin": origin}
        self.act({"type": "pointer", "id": "mouse", "actions": [move]})

    def move_to(self, selector):
        self.run("document.querySelector(arguments[0]).scrollIntoView({block: 'center'})", selector)
        self.move({ELEMENT: self.find(selector)})

    def move_away(self):
        self.move("viewport", 2, 2)

    def press(self, key):
        actions = [{"type": kind, "value": key} for kind in ("keyDown", "keyUp")]
        self.act({"type": "key", "id": "keys", "actions": actions})

    def act(self, actions):
        self.call("POST", "/actions", {"actions": [actions]})

    def screenshot(self, path):
        """Makes a picture of the window as it is."""
        path.write_bytes(base64.b64decode(self.call("GET", "/screenshot")))

    @contextlib.contextmanager
    def window(self, width, height):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                      deviceScaleFactor=1, mobile=False)
        try:
            yield
        finally:
            self.devtools("Emulation.clearDeviceMetricsOverride")

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            end(self.driver, self.profile)


class Picture:
    """The upper pixels of a PNG of 8 bits a channel, as rows of bytes."""

    ROWS = 250

    def __init__(self, path):
        data = path.read_bytes()
        assert data[:8] == b"\x89PNG\r\n\x1a\n"
        packed = b""
        position = 8
        while position < len(data):
            size, kind = struct.unpack_from(">I4s", data, position)
            content = data[position + 8:position + 8 + size]
            if kind == b"IHDR":
                self.width, self.height, bits, colour = struct.unpack_from(">IIBB", content)
                self.channels = {2: 3, 6: 4}[colour]
                assert bits == 8
            elif kind == b"IDAT":
                packed += content
            position += size + 12
        self.rows = self.unfiltered(zlib.decompress(packed))

    def unfiltered(self, data):
        size = self.width * self.channels
        assert len(data) == self.height * (size + 1)
        rows = []
        above = bytes(size)
        for start in range(0, self.ROWS * (size + 1), size + 1):
            above = self.unfilter(data[start], bytearray(data[start + 1:start + 1 + size]), above)
            rows.append(above)
        return rows

    def unfilter(self, kind, row, above):
        step = self.channels
        for i in range(len(row) if kind else 0):
            left = row[i - step] if i >= step else 0
            corner = above[i - step] if i >= step else 0
            up = above[i]
            guess = left + up - corner
            nearest = min((left, up, corner), key=lambda value: abs(guess - value))
            row[i] = (row[i] + (0, left, up, (left + up) // 2, nearest)[kind]) & 255
        return row

    def pixel(self, x, y):
        return tuple(self.rows[y][x * self.channels:x * self.channels + 3])

    def colours(self):
        """The colours of every fourth pixel of every fourth row."""
        return {self.pixel(x, y) for y in range(0, self.ROWS, 4) for x in range(0, self.width, 4)}


def luminance(colour):
    """The relative luminance that contrast is measured by."""
    parts = [value / 255 for value in colour]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
              for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    lights = sorted((luminance(one), luminance(other)))
    return (lights[1] + 0.05) / (lights[0] + 0.05)


def stop(number, _):
    # The only exception that ends unittest at once.
    raise KeyboardInterrupt(f"stopped by signal {number}")


def run_tests(case, seconds):
    """Runs the tests of the script, which find a browser in their class."""
    for signal_number in (signal.SIGALRM, signal.SIGTERM, signal.SIGINT):
        signal.signal(signal_number, stop)
    signal.alarm(seconds)
    with tempfile.TemporaryDirectory(prefix="browser-") as folder:
        with contextlib.closing(Browser(folder)) as case.browser:
            unittest.main(argv=sys.argv[:1], verbosity=2)
