"""Opens the HTML pages of explained frames and records in a headless browser, light and dark.

Usage: htmlpage_test.py FOLDER

FOLDER holds pages as NAME.html with the fields that each explains as NAME.json. Screenshots are
written next to them. It needs Debian's packages chromium and chromium-driver.
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

FOLDER = pathlib.Path(sys.argv[1]).resolve()
SECONDS = 180  # for everything
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the key of elements in the WebDriver protocol

# What a person sees of each byte or character and of each row.
LOOKS = """
const look = element => {
  const style = getComputedStyle(element);
  return [style.backgroundColor, style.color, style.boxShadow].join(' ');
};
return {
  cells: [...document.querySelectorAll('[data-at]')].map(look),
  rows: [...document.querySelectorAll('tbody tr')].map(row => look(row.cells[1])),
};
"""

# The colour of the text and those of all that is painted behind it, the nearest first.
COLOURS = """
return [...document.querySelectorAll('h1, p, th, td, td *, .map b, .map span')].map(element => {
  const behind = [];
  for (let one = element; one; one = one.parentElement)
    behind.push(getComputedStyle(one).backgroundColor);
  return [element.className, getComputedStyle(element).color, behind];
});
"""


# What the hostile tag would change if it were more than text.
STATE = """
return [
  typeof window.pwned,
  document.querySelectorAll('script').length,
  document.querySelectorAll('img').length,
  performance.getEntriesByType('resource').length,
  document.body.textContent.includes('"><script>window.pwned=1</script><img src=x'),
];
"""


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

    def open(self, name, scheme):
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.call("POST", "/url", {"url": (FOLDER / f"{name}.html").as_uri()})

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

    def screenshot(self, name):
        """The path of a picture of the window as it is."""
        path = FOLDER / f"{name}.png"
        path.write_bytes(base64.b64decode(self.call("GET", "/screenshot")))
        return path

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


def opaque(colour):
    """The channels of a CSS colour, or None where one looks through it."""
    numbers = [float(number) for number in re.findall(r"[\d.]+", colour)]
    return tuple(numbers[:3]) if colour.startswith("rgb(") else None


def differing(before, after):
    return [i for i, (one, other) in enumerate(zip(before, after)) if one != other]


def pages(*names):
    return [(name, scheme) for name in names for scheme in ("light", "dark")]


class HtmlPageTest(unittest.TestCase):
    browser = None  # the same for all tests

    def open(self, name, scheme):
        self.browser.open(name, scheme)
        self.browser.move_away()
        self.fields = json.loads((FOLDER / f"{name}.json").read_text())
        self.offsets = self.browser.run(
            "return [...document.querySelectorAll('[data-at]')].map(e => Number(e.dataset.at))")
        self.assertEqual(
            self.browser.run("return document.querySelectorAll('tbody tr').length"),
            len(self.fields))
        self.plain = self.browser.run(LOOKS)

    def covers(self, field, offset):
        return field["offset"] <= offset < field["offset"] + field["width"]

    def cells_of(self, field):
        return [i for i, offset in enumerate(self.offsets) if self.covers(field, offset)]

    def rows_of(self, cell):
        return [i for i, field in enumerate(self.fields) if self.covers(field, self.offsets[cell])]

    def changes(self):
        looks = self.browser.run(LOOKS)
        return (differing(self.plain["cells"], looks["cells"]),
                differing(self.plain["rows"], looks["rows"]))

    def expect_nothing_marked(self):
        self.browser.move_away()
        self.assertEqual(self.changes(), ([], []))

    def check_row(self, row):
        self.browser.move_to(f"tbody tr:nth-child({row + 1})")
        self.assertEqual(self.changes(), (self.cells_of(self.fields[row]), [row]))
        self.expect_nothing_marked()

    def check_cell(self, cell):
        self.browser.move_to(f"[data-at='{self.offsets[cell]}']")
        self.assertEqual(self.changes(), ([cell], self.rows_of(cell)))
        self.expect_nothing_marked()

    @contextlib.contextmanager
    def page(self, name, scheme):
        with self.subTest(page=name, scheme=scheme):
            self.open(name, scheme)
            yield

    @contextlib.contextmanager
    def window(self, width, height):
        self.browser.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                              deviceScaleFactor=1, mobile=False)
        try:
            yield
        finally:
            self.browser.devtools("Emulation.clearDeviceMetricsOverride")

    def test_pointing_at_a_row_marks_its_bytes(self):
        for name, scheme in pages("request", "record", "combination"):
            with self.page(name, scheme):
                rows = [i for i, field in enumerate(self.fields) if field["width"] > 0]
                for row in (rows[0], rows[len(rows) // 2], rows[-1]):
                    self.check_row(row)

    def test_pointing_at_a_byte_marks_its_rows(self):
        for name, scheme in pages("request", "record", "combination"):
            with self.page(name, scheme):
                for cell in (0, len(self.offsets) // 2, len(self.offsets) - 1):
                    self.check_cell(cell)

    def test_bytes_of_two_fields_mark_both(self):
        for name, scheme in pages("overlap"):
            with self.page(name, scheme):
                shared = [i for i in range(len(self.offsets)) if len(self.rows_of(i)) > 1]
                self.assertTrue(shared)
                self.check_cell(shared[0])
                for row in self.rows_of(shared[0]):
                    self.check_row(row)

    def test_separators_belong_to_no_row(self):
        for name, scheme in pages("record"):
            with self.page(name, scheme):
                self.assertEqual(self.rows_of(1), [])
                self.check_cell(1)

    def test_a_field_without_bytes_shows_its_place(self):
        for name, scheme in pages("combination"):
            with self.page(name, scheme):
                row = next(i for i, field in enumerate(self.fields) if field["width"] == 0)
                self.browser.move_to(f"tbody tr:nth-child({row + 1})")
                place = self.offsets.index(self.fields[row]["offset"])
                self.assertEqual(self.changes(), ([place], [row]))
                self.expect_nothing_marked()

    def test_the_keyboard_marks_a_row(self):
        for name, scheme in pages("request"):
            with self.page(name, scheme):
                focused = -1
                for _ in range(5):
                    self.browser.press("\ue004")  # Tab
                    focused = self.browser.run(
                        "return [...document.querySelectorAll('tbody tr')]"
                        ".indexOf(document.activeElement)")
                    if focused >= 0:
                        break
                self.assertEqual(focused, 0)
                self.assertEqual(self.changes(), (self.cells_of(self.fields[0]), [0]))

    def top(self, selector):
        return self.browser.run(
            "return document.querySelector(arguments[0]).getBoundingClientRect().top", selector)

    def test_pointing_brings_the_other_into_view(self):
        with self.window(1500, 400), self.page("large", "light"):
            last = f"tbody tr:nth-child({len(self.fields)})"
            self.browser.run("document.querySelector('.bytes').scrollTop = 1e6")
            self.assertLess(self.top("[data-at='0']"), 0)
            self.browser.move_to("tbody tr:nth-child(1)")
            self.assertGreater(self.top("[data-at='0']"), 0)
            self.browser.move_away()
            self.browser.run("document.querySelector('.fields').scrollTop = 0")
            self.assertGreater(self.top(last), 400)
            self.browser.move_to("[data-at='4095']")
            self.assertLess(self.top(last), 400)

    def test_text_can_be_read(self):
        for name, scheme in pages("request", "record", "short", "overlap"):
            with self.page(name, scheme):
                self.browser.move_to("tbody tr:nth-child(2)")
                for kind, colour, behind in self.browser.run(COLOURS):
                    background = next(filter(None, map(opaque, behind)))
                    self.assertGreaterEqual(
                        contrast(opaque(colour), background), 4.5, (kind, colour, background))

    def test_input_does_nothing(self):
        for name, scheme in pages("request", "record"):
            with self.page(name, scheme):
                state = self.browser.run(STATE)
                self.assertEqual(state, ["undefined", 1, 0, 0, True])

    def test_nothing_sticks_out_of_a_small_window(self):
        for width in (1500, 1000, 400):
            with self.window(width, 800):
                self.expect_no_scrolling("request", width)
                self.expect_no_scrolling("record", width)

    def expect_no_scrolling(self, name, width):
        with self.page(name, "light"):
            self.assertEqual(
                self.browser.run("return [innerWidth, document.documentElement.scrollWidth]"),
                [width, width])

    def test_screenshots(self):
        for name, scheme in pages("overlap", "combination"):
            with self.page(name, scheme):
                self.browser.move_to("tbody tr:nth-child(3)")
                picture = Picture(self.browser.screenshot(f"{name}-{scheme}"))
                self.assertGreaterEqual(picture.width, 1200)
                self.assertGreaterEqual(picture.height, 700)
                self.assertGreater(len(picture.colours()), 20)
                light = luminance(picture.pixel(1, 1))
                self.assertTrue(light > 0.8 if scheme == "light" else light < 0.02, light)


def stop(number, _):
    # The only exception that ends unittest at once.
    raise KeyboardInterrupt(f"stopped by signal {number}")


if __name__ == "__main__":
    for signal_number in (signal.SIGALRM, signal.SIGTERM, signal.SIGINT):
        signal.signal(signal_number, stop)
    signal.alarm(SECONDS)
    with tempfile.TemporaryDirectory(prefix="htmlpage-") as folder:
        with contextlib.closing(Browser(folder)) as HtmlPageTest.browser:
            unittest.main(argv=sys.argv[:1], verbosity=2)
