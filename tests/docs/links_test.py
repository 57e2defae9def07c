"""Finds the relative links of markdown pages that lead nowhere, and those to a heading that is not there.

Usage: links_test.py [--within FOLDER] PAGE...
  --within  a link must not leave this folder, as those of an installed package
"""

import argparse
import pathlib
import re
import sys
import urllib.parse

LINK = re.compile(r"!?\[[^\]]*\]\(([^()\s]+)\)")
CODE = re.compile(r"^```.*?^```\n", re.M | re.S)


def anchors_of(page):
    """The anchors of the headings, as web pages of repositories make them."""
    headings = re.findall(r"^#+ (.*)$", CODE.sub("", page.read_text("utf-8")), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def fault_of(page, link, within):
    """Why a link leads nowhere; nothing where it is good."""
    url = urllib.parse.urlsplit(link)
    if url.scheme:
        return None
    target = (page.parent / urllib.parse.unquote(url.path)).resolve() if url.path else page.resolve()
    if not target.exists():
        return "leads nowhere"
    if within and within not in target.parents:
        return f"leaves {within}"
    if url.fragment and url.fragment not in anchors_of(target):
        return "has no such heading"
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--within", type=pathlib.Path)
    parser.add_argument("pages", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    within = arguments.within and arguments.within.resolve()
    links, faults = 0, []
    for page in arguments.pages:
        for link in LINK.findall(CODE.sub("", page.read_text("utf-8"))):
            links += 1
            fault = fault_of(page, link, within)
            if fault:
                faults.append(f"{page}: {link} {fault}")
    print(*faults, f"links: {links} of {len(arguments.pages)} pages, {len(faults)} lead nowhere", sep="\n")
    return 1 if faults or not links else 0


if __name__ == "__main__":
    sys.exit(main())
