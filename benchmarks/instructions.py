"""Compares the instruction counts of callgrind's dumps with the file that holds the accepted ones."""

import pathlib
import re
import sys

REPETITIONS = 100
TOLERANCE = 0.03


def counted(directory):
    """Returns the instructions of one run of each operation, by the name in its dump."""
    counts = {}
    for path in directory.glob("counts.*"):
        dump = path.read_text()
        trigger = re.search(r"^desc: Trigger: Client Request: (.+)$", dump, re.MULTILINE)
        total = re.search(r"^(?:totals|summary): (\d+)", dump, re.MULTILINE)
        if trigger:
            counts[trigger[1]] = round(int(total[1]) / REPETITIONS)
    return counts


def accepted(path):
    """Returns the counts in a file, by the names of the operations."""
    lines = (line.split(maxsplit=1) for line in path.read_text().splitlines())
    return {name: int(count) for count, name in lines}


def main():
    directory, file = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    counts = counted(directory)
    if not counts:
        sys.exit("instructions: nothing was counted")
    if "--update" in sys.argv[3:]:
        lines = [f"{count:>8}  {name}\n" for name, count in sorted(counts.items())]
        file.write_text("".join(lines))
    expected = accepted(file)
    failed = expected.keys() != counts.keys()
    for name in sorted(expected.keys() | counts.keys()):
        before, now = expected.get(name, 0), counts.get(name, 0)
        change = (now - before) / before if before else 1.0
        verdict = "" if abs(change) <= TOLERANCE else "  <-- differs"
        failed = failed or bool(verdict)
        print(f"{now:>8} ({change:+6.1%})  {name}{verdict}")
    if failed:
        sys.exit(f"instructions: not as in {file}; if that is meant: .ci/instructions.sh --update")
    print(f"instructions: {len(counts)} operations within {TOLERANCE:.0%} of {file}")


if __name__ == "__main__":
    main()
