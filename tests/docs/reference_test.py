"""Tests the reference in HTML, as Doxygen makes it, in a headless browser.

Usage: reference_test.py FOLDER

FOLDER has the pages. Screenshots are written next to it, in FOLDER/../screenshots.
"""

import html
import pathlib
import re
import sys
import unittest
import urllib.parse
import xml.etree.ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from browser import colours, contrast, luminance, run_tests

FOLDER = pathlib.Path(sys.argv[1]).resolve()
SCREENSHOTS = FOLDER.parent / "screenshots"
DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
SECONDS = 60  # for everything

STARTS = ["client", "proxy", "firmware", "capture"]
START_PAGES = [f"md_docs_start_{name}" for name in STARTS]
CLASS_PAGES = ["classPackageBase", "classPackageRequestReadData", "classPackageRequestCombination",
               "namespaceKorvinInspect", "classKorvinSimulator_1_1SimulatedDevice"]
PAGES = ["index", *START_PAGES, "md_docs_protocol", "md_docs_performance", *CLASS_PAGES]
DIAGRAMS = ["frame", "record", "linux", "combination"]

# What a page shows: its links, once a script has added the menu; its pictures with their sizes, of those
# in a frame the frame's; its tables; its width, and what is wider than the window and does not scroll by
# itself.
LOOKS = """
const width = document.documentElement.clientWidth;
const scrolls = element => element
    && (getComputedStyle(element).overflowX === 'auto' || scrolls(element.parentElement));
return {
  links: [...document.links].filter(link => !link.href.startsWith('javascript:'))
      .map(link => [link.href, link.closest('.contents') !== null && link.offsetHeight > 0]),
  pictures: [...document.querySelectorAll('object, iframe[src$=".svg"], img[src$=".svg"]')]
      .map(element => [element.src || element.data, element.offsetWidth, element.offsetHeight])
      .filter(([source]) => source.endsWith('.svg') && !source.includes('/search/')
          && !source.endsWith('/doxygen.svg')),
  tables: [...document.querySelectorAll('table.markdownTable')].map(table =>
      [...table.rows].map(row => [...row.cells].map(cell => cell.textContent.trim()))),
  width: document.documentElement.scrollWidth,
  tooWide: [...document.querySelectorAll('body *')]
      .filter(element => element.getBoundingClientRect().right > width + 1 && !scrolls(element))
      .map(element => element.outerHTML.slice(0, 100)),
};
"""
WIDTH = 400

# The types of members that have more lines than words.
TORN = """
return [...document.querySelectorAll('td.memItemLeft')].filter(cell => {
  const range = document.createRange();
  range.selectNodeContents(cell);
  const lines = new Set([...range.getClientRects()].map(line => line.top));
  return lines.size > cell.innerText.trim().split(/\\s+/).length;
}).map(cell => cell.innerText);
"""


def links_of(page):
    """What a page links to or shows."""
    return set(map(html.unescape, re.findall(r'\b(?:href|src|data)="([^"]*)"', page.read_text("utf-8"))))


def anchors_of(page):
    return set(re.findall(r'\b(?:id|name)="([^"]*)"', page.read_text("utf-8")))


def document_tables():
    """The tables of docs/protocol.md with the text of their cells."""
    tables = re.findall(r"^(?:\|.*\n)+", (DOCS / "protocol.md").read_text("utf-8"), re.M)
    return [[[cell.strip().replace("`", "") for cell in row.strip("|").split("|")]
             for number, row in enumerate(table.splitlines()) if number != 1] for table in tables]


def named_table(name):
    """The rows of a table of docs/protocol.md."""
    text = (DOCS / "protocol.md").read_text("utf-8")
    table = re.search(rf"<!-- table: {name} -->\n\n((?:\|.*\n)+)", text).group(1)
    return [[cell.strip() for cell in row.strip("|").split("|")]
            for row in table.splitlines()[2:]]


def diagram_file(name):
    return FOLDER / f"dot_{name}.svg"


def diagram_lines(name):
    """The lines of text of a diagram, in the order of its source."""
    root = xml.etree.ElementTree.parse(diagram_file(name)).getroot()
    return ["".join(text.itertext()) for text in root.iter("{http://www.w3.org/2000/svg}text")]


def pairs(lines, pattern):
    return [match.groups() for match in map(re.compile(pattern).fullmatch, lines) if match]


class ReferenceTest(unittest.TestCase):
    browser = None  # the same for all tests
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.looks = {}
        with cls.browser.window(WIDTH, 800):
            for page in PAGES:
                cls.browser.open(FOLDER / f"{page}.html", "light")
                cls.looks[page] = cls.browser.run(LOOKS)

    def dead(self, page, targets, anchors):
        """The targets that are missing."""
        found = []
        for target in targets:
            url = urllib.parse.urlsplit(target.removeprefix(f"{FOLDER.as_uri()}/"))
            if url.scheme in ("http", "https", "javascript"):
                continue
            name = urllib.parse.unquote(url.path) or page.name
            fragment = urllib.parse.unquote(url.fragment)
            if name not in anchors or (fragment and fragment not in anchors[name]):
                found.append(f"{page.name}: {target}")
        return found

    def test_no_link_is_dead(self):
        pages = [*FOLDER.glob("*.html"), *FOLDER.glob("dot_*.svg"), *FOLDER.glob("*__graph.svg")]
        self.assertGreater(len(pages), 100)
        anchors = {str(file.relative_to(FOLDER)): set() for file in FOLDER.glob("**/*.*")}
        anchors |= {page.name: anchors_of(page) for page in pages}
        dead = [text for page in pages for text in self.dead(page, links_of(page), anchors)]
        for name, looks in self.looks.items():
            links = {link for link, _ in looks["links"]}
            self.assertGreater(len(links), 10, name)
            dead += self.dead(FOLDER / f"{name}.html", links, anchors)
        self.assertEqual(dead, [])

    def test_the_main_page_leads_to_the_start_pages(self):
        for page in START_PAGES:
            self.assertIn([(FOLDER / f"{page}.html").as_uri(), True], self.looks["index"]["links"])

    def test_pictures_are_there(self):
        seen = set()
        for name, looks in self.looks.items():
            for source, width, height in looks["pictures"]:
                self.assertTrue(width > 50 and height > 20, (name, source, width, height))
                seen.add(source)
        for diagram in DIAGRAMS:
            self.assertIn(diagram_file(diagram).as_uri(), seen)
        for source in seen:
            self.browser.get(source)
            kind, size, texts = self.browser.run(
                "const root = document.documentElement;"
                "return [root.nodeName, root.getBBox().width, root.querySelectorAll('text').length]")
            self.assertEqual(kind, "svg", source)
            self.assertGreater(size, 50, source)
            self.assertGreater(texts, 1, source)

    def test_the_protocol_has_its_tables(self):
        expected = document_tables()
        self.assertGreater(len(expected), 20)
        self.assertEqual(self.looks["md_docs_protocol"]["tables"], expected)

    def test_diagrams_agree_with_the_protocol(self):
        fields = r"([A-Za-z]\w*) (\d|D|T)"
        self.assertEqual(
            pairs(diagram_lines("frame"), fields),
            [(name, width) for _, width, name, _ in named_table("request header")])
        self.assertEqual(
            pairs(diagram_lines("linux"), fields),
            [(name, width) for _, width, name, _ in named_table("Linux header")]
            + [("checksum", "2")])
        columns = named_table("common columns") + named_table("acknowledge column")
        self.assertEqual(
            pairs(diagram_lines("record"), r"(\d+) (\w+)"),
            [(column, name) for column, name, _, _ in columns])

    def test_nothing_is_wider_than_a_small_window(self):
        for name, looks in self.looks.items():
            self.assertEqual(looks["tooWide"], [], name)
            self.assertLessEqual(looks["width"], WIDTH, name)

    def test_classes_begin_with_their_layouts(self):
        self.browser.open(FOLDER / "classPackageRequestReadData.html", "light")
        table, members = self.browser.run(
            "return ['table.markdownTable', 'table.memberdecls'].map(selector =>"
            "    document.querySelector('.contents ' + selector).getBoundingClientRect().top);")
        self.assertLess(table, members)

    def test_operations_are_one_click_from_their_class(self):
        self.browser.open(FOLDER / "classPackageRequestReadData.html", "light")
        shown = self.browser.run(
            "return [...document.querySelectorAll('.memItemRight')]"
            "    .filter(cell => cell.offsetHeight > 0).map(cell => cell.textContent.split(' (')[0].trim())")
        for name in ("data", "getReplyDataLength", "UnPackageReply", "isPackageSuccess", "getSerialNum"):
            self.assertIn(name, shown)

    def test_large_windows_have_a_tree(self):
        trees = []
        for width in (1400, WIDTH):
            with self.browser.window(width, 800):
                self.browser.open(FOLDER / "classPackageBase.html", "light")
                trees.append(self.browser.run("return document.querySelector('#side-nav').offsetWidth > 100"))
        self.assertEqual(trees, [True, False])

    def test_types_of_members_are_whole(self):
        for name in CLASS_PAGES:
            self.browser.open(FOLDER / f"{name}.html", "light")
            self.assertGreater(
                self.browser.run("return document.querySelectorAll('td.memItemLeft').length"), 2)
            self.assertEqual(self.browser.run(TORN), [], name)

    def picture(self, name, scheme, place):
        path = SCREENSHOTS / f"{name}-{scheme}.png"
        with self.browser.window(500, 400):
            self.browser.open(FOLDER / f"{name}.html", scheme)
            self.browser.run("document.querySelector(arguments[0]).scrollIntoView()", place)
            return self.browser.picture(path)

    def test_light_and_dark(self):
        SCREENSHOTS.mkdir(exist_ok=True)
        for name, place in (("index", ".contents"), ("classPackageBase", "iframe[src*=frame]"),
                            ("md_docs_protocol", "table"), ("md_docs_start_client", ".fragment")):
            for scheme in ("light", "dark"):
                with self.subTest(page=name, scheme=scheme):
                    picture = self.picture(name, scheme, place)
                    behind = picture.getpixel((2, 200))
                    light = luminance(behind)
                    self.assertTrue(light > 0.8 if scheme == "light" else light < 0.05, light)
                    self.assertGreater(
                        max(contrast(behind, colour) for colour in colours(picture)), 7)


if __name__ == "__main__":
    run_tests(ReferenceTest, SECONDS)
