"""Does what the start pages say, and compares what comes out with what they show.

Usage: startpages_test.py PAGE...

A page's block behind "<!-- file: NAME -->" is written into that file, and its "console" blocks are run, in
one folder and in the order of the page. Programs, libraries and headers are those that the environment
leads to: PATH, PKG_CONFIG_PATH, LD_RUN_PATH, HOME.
"""

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


def follow(page, folder):
    """The faults of a page, and how many commands it has."""
    faults = []
    commands = 0
    for block in BLOCK.finditer(page.read_text("utf-8")):
        if block["file"]:
            (folder / block["file"]).write_text(block["text"], "utf-8")
        if block["kind"] != "console":
            continue
        for command, expected in commands_of(block["text"]):
            done = subprocess.run(["sh", "-c", command], cwd=folder, timeout=SECONDS, encoding="utf-8",
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            commands += 1
            if (done.stdout, done.returncode) != (expected, 0):
                faults.append(f"{page}: exit status {done.returncode}\n$ {command}{done.stdout}"
                              f"--- in place of\n{expected}")
    return faults, commands


def main():
    faults = []
    for name in sys.argv[1:]:
        with tempfile.TemporaryDirectory(prefix="start-") as folder:
            found, commands = follow(pathlib.Path(name), pathlib.Path(folder))
        faults += found
        if commands == 0:
            faults.append(f"{name}: no command to run")
        print(f"{name}: {commands} commands, {len(found)} faults")
    print("\n".join(faults), end="")
    return 1 if faults or len(sys.argv) < 2 else 0


if __name__ == "__main__":
    sys.exit(main())
