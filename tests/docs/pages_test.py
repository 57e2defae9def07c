"""Runs the commands that pages show, and compares what comes out with what they show.

Usage: pages_test.py [--tools FOLDER] [--only WORD --in FOLDER] PAGE...
  --tools  where programs are found first
  --only   runs only commands with this word, in the folder of --in, and writes no files

A block after "<!-- file: NAME -->" is written into that file, and "console" blocks are run, in a new
folder for each page and in the order of the page. Programs, libraries and headers are those that the
environment leads to: PATH, PKG_CONFIG_PATH, LD_RUN_PATH, HOME.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(
    r"(?:^<!-- file: (?P<file>\S+) -->\n\n)?^```(?P<kind>\w*)\n(?P<text>.*?)^```\n", re.M | re.S)
SECONDS = 60  # for each command


def commands_of(block):
    """The commands of a console block, each with what it is shown to print."""
    shown = []
    continued = False
    for line in block.splitlines(keepends=True):
        if line.startswith("$ "):
            shown.append([line[2:], ""])
        else:
            shown[-1][0 if continued else 1] += line
        continued = line.endswith("\\\n")
    return shown


def follow(page, folder, word):
    """The faults of a page, and how many commands it has."""
    faults = []
    commands = 0
    for block in BLOCK.finditer(page.read_text("utf-8")):
        if block["file"] and not word:
            (folder / block["file"]).write_text(block["text"], "utf-8")
        if block["kind"] != "console":
            continue
        for command, expected in commands_of(block["text"]):
            if word and word not in command.split():
                continue
            done = subprocess.run(["sh", "-c", command], cwd=folder, timeout=SECONDS, encoding="utf-8",
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            commands += 1
            if (done.stdout, done.returncode) != (expected, 0):
                faults.append(f"{page}: exit status {done.returncode}\n$ {command}{done.stdout}"
                              f"--- instead of\n{expected}")
    return faults, commands


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tools")
    parser.add_argument("--only", default="")
    parser.add_argument("--in", dest="folder", type=pathlib.Path)
    parser.add_argument("pages", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    if arguments.tools:
        os.environ["PATH"] = arguments.tools + os.pathsep + os.environ["PATH"]

    faults = []
    for page in arguments.pages:
        with tempfile.TemporaryDirectory(prefix="page-") as folder:
            found, commands = follow(page, arguments.folder or pathlib.Path(folder), arguments.only)
        faults += found
        if commands == 0:
            faults.append(f"{page}: no command to run\n")
        print(f"{page}: {commands} commands, {len(found)} faults")
    print("\n".join(faults), end="")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
