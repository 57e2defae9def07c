"""Opens the HTML pages of explained frames and records in a headless browser, light and dark.

Usage: htmlpage_test.py FOLDER

FOLDER holds pages as NAME.html with the fields that each explains as NAME.json. Screenshots are
written next to them.
"""

import contextlib
import json
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from browser import colours, contrast, luminance, run_tests

FOLDER = pathlib.Path(sys.argv[1]).resolve()
SECONDS = 180  # for everything

# How each byte or character and each row looks.
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


# The boxes of a field's name and value, and how many sections have something at the side.
STACKED = """
const row = document.querySelector('tbody tr:nth-child(3)');
return [
  row.querySelector('.name').getBoundingClientRect().toJSON(),
  row.querySelector('.value').getBoundingClientRect().toJSON(),
  [...document.querySelectorAll('.fields, .bytes')].filter(e => e.scrollWidth > e.clientWidth).length,
];
"""

# The colours of the paper and of the ink, the sections that are cut, and how many names are shown.
PRINTED = """
const style = getComputedStyle(document.body);
return [
  style.backgroundColor, style.color,
  [...document.querySelectorAll('section')].filter(section =>
      getComputedStyle(section).overflowX !== 'visible'
      && (section.scrollHeight > section.clientHeight || section.scrollWidth > section.clientWidth))
      .map(section => section.className),
  [...document.querySelectorAll('tbody .name')].filter(name => name.offsetHeight > 0).length,
];
"""


def opaque(colour):
    """The channels of a CSS colour, or None where it is transparent."""
    numbers = [float(number) for number in re.findall(r"[\d.]+", colour)]
    return tuple(numbers[:3]) if colour.startswith("rgb(") else None


def differing(before, after):
    return [i for i, (one, other) in enumerate(zip(before, after)) if one != other]


def pages(*names):
    return [(name, scheme) for name in names for scheme in ("light", "dark")]


class HtmlPageTest(unittest.TestCase):
    browser = None  # the same for all tests

    def open(self, name, scheme):
        self.browser.open(FOLDER / f"{name}.html", scheme)
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
                    self.browser.press_tab()
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
        with self.browser.window(1500, 400), self.page("large", "light"):
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
            with self.browser.window(width, 800):
                self.expect_no_scrolling("request", width)
                self.expect_no_scrolling("record", width)

    def expect_no_scrolling(self, name, width):
        with self.page(name, "light"):
            window, inside, needed = self.browser.run(
                "const root = document.documentElement;"
                "return [innerWidth, root.clientWidth, root.scrollWidth]")
            self.assertEqual((window, needed), (width, inside))

    def test_small_windows_stack_the_columns(self):
        with self.browser.window(500, 900):
            for name, scheme in pages("request", "record"):
                with self.page(name, scheme):
                    name_box, value_box, hidden = self.browser.run(STACKED)
                    self.assertGreaterEqual(value_box["top"], name_box["bottom"] - 1)
                    self.assertLess(value_box["left"], 250)
                    self.assertEqual(hidden, 0)

    def test_prints_all_of_it_black_on_white(self):
        for name, scheme in pages("request", "record", "short"):
            with self.page(name, scheme):
                with self.browser.printing():
                    page, ink, cut, names = self.browser.run(PRINTED)
                    self.browser.picture(FOLDER / f"{name}-{scheme}-print.png")
                self.assertEqual((page, ink), ("rgb(255, 255, 255)", "rgb(0, 0, 0)"))
                self.assertEqual(cut, [])
                self.assertEqual(names, len(self.fields))

    def test_labels_stand_beside_their_bytes(self):
        with self.page("request", "light"):
            label, byte = self.browser.run("""
                const range = document.createRange();
                return ['.map b:nth-of-type(18)', '[data-at="0"]'].map(selector => {
                  range.selectNodeContents(document.querySelector(selector));
                  return range.getBoundingClientRect().top;
                });""")
            self.assertAlmostEqual(label, byte, delta=1)

    def test_screenshots(self):
        for name, scheme in pages("overlap", "combination"):
            with self.page(name, scheme):
                self.browser.move_to("tbody tr:nth-child(3)")
                picture = self.browser.picture(FOLDER / f"{name}-{scheme}.png")
                self.assertGreaterEqual(picture.width, 1200)
                self.assertGreaterEqual(picture.height, 700)
                self.assertGreater(len(colours(picture)), 20)
                light = luminance(picture.getpixel((1, 1)))
                self.assertTrue(light > 0.8 if scheme == "light" else light < 0.02, light)


if __name__ == "__main__":
    run_tests(HtmlPageTest, SECONDS)
