"""Draws what korvinpack explain prints to a terminal, with its colours, as an SVG picture.

Usage: explainpicture.py KORVINPACK PICTURE [--check]
  --check  writes nothing, and fails where the picture is not what the program prints
"""

import html
import pathlib
import re
import subprocess
import sys

MESSAGE = "00 0500 00 01 00 03000000 01FF10"
COLOURS = {"36": "cyan", "32": "green", "35": "magenta", "34": "blue", "33": "yellow"}
WIDTH, HEIGHT, MARGIN = 8, 20, 16  # of a character and around all, in pixels

STYLE = """
  text { font: 13px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; fill: #1d1f24; white-space: pre; }
  rect { fill: #fffefb; stroke: #e0ddd3; }
  .cyan { fill: #0b6b78; } .green { fill: #17633a; } .magenta { fill: #8f2a76; } .blue { fill: #1f4fa3; }
  .yellow { fill: #834600; }
  @media (prefers-color-scheme: dark) {
    text { fill: #dfddd6; }
    rect { fill: #1a1d23; stroke: #2c3038; }
    .cyan { fill: #6fd3e0; } .green { fill: #74cf9b; } .magenta { fill: #e79bd6; } .blue { fill: #93b7ff; }
    .yellow { fill: #e9b15f; }
  }
"""


def spans(line):
    """The parts of a line, each with its column and colour."""
    column, colour = 0, None
    for part in re.split(r"(\x1b\[\d+m)", line):
        code = re.fullmatch(r"\x1b\[(\d+)m", part)
        if code:
            colour = COLOURS.get(code.group(1))
        elif part.strip():
            yield column + len(part) - len(part.lstrip()), colour, part.strip()
        column += 0 if code else len(part)


def drawn(line, number):
    y = MARGIN + HEIGHT * number + 14
    for column, colour, text in spans(line):
        # Of each word the place is given: fonts differ in how wide a character is.
        for word in re.finditer(r"\S+(?: \S+)*", text):
            kind = f' class="{colour}"' if colour else ""
            yield (f'<text x="{MARGIN + WIDTH * (column + word.start())}" y="{y}"{kind}>'
                   f"{html.escape(word.group())}</text>")


def picture(korvinpack):
    printed = subprocess.run([korvinpack, "explain", "--color", "always", MESSAGE], check=True,
                             stdout=subprocess.PIPE, encoding="utf-8").stdout
    lines = [f'$ korvinpack explain "{MESSAGE}"', *printed.rstrip("\n").split("\n")]
    plain = [re.sub(r"\x1b\[\d+m", "", line) for line in lines]
    width = 2 * MARGIN + WIDTH * max(map(len, plain))
    height = 2 * MARGIN + HEIGHT * len(lines)
    texts = "\n".join(text for number, line in enumerate(lines) for text in drawn(line, number))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
            f'height="{height}" role="img" aria-label="What korvinpack explain prints">\n'
            f"<style>{STYLE}</style>\n"
            f'<rect x="0.5" y="0.5" width="{width - 1}" height="{height - 1}" rx="8"/>\n{texts}\n</svg>\n')


def main():
    korvinpack, path = sys.argv[1], pathlib.Path(sys.argv[2])
    if sys.argv[3:] != ["--check"]:
        path.write_text(picture(korvinpack), "utf-8")
    elif path.read_text("utf-8") != picture(korvinpack):
        sys.exit(f"{path} is not what korvinpack prints; build the target regenerate")


if __name__ == "__main__":
    main()
