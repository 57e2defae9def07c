#!/usr/bin/env python3
"""Shows that the time of every decoder is linear in the size of its input.

Counts instructions, which are the same in every run, for inputs of n, 2n, 4n and 8n bytes: from 4n to
8n a linear decoder takes four times as many more as from n to 2n, a quadratic one sixteen times.

Usage: decodercosts_test.py PROGRAM [--table]
"""

import glob
import re
import subprocess
import sys
import tempfile

LIMIT = 6
# Containers that grow and copies of whole pages do not come evenly. A quadratic decoder takes millions.
SLACK = 100000


def counted(program):
    """Instructions by name of the input and size."""
    with tempfile.TemporaryDirectory() as directory:
        printed = subprocess.run(
            ["valgrind", "--tool=callgrind", "--quiet", f"--callgrind-out-file={directory}/out",
             "--zero-before=measured", "--dump-after=measured", program],
            check=True, capture_output=True, text=True).stdout.splitlines()
        costs = {}
        for number, line in enumerate(printed, 1):
            size, name = line.split(" ", 1)
            with open(f"{directory}/out.{number}", encoding="utf-8", errors="replace") as dump:
                totals = re.search(r"^(?:totals|summary): (\d+)", dump.read(), re.MULTILINE)
            costs.setdefault(name, {})[int(size)] = int(totals.group(1))
        return costs


def main():
    costs = counted(sys.argv[1])
    failed = 0
    for name, of_sizes in sorted(costs.items()):
        n, n2, n4, n8 = (of_sizes[size] for size in sorted(of_sizes))
        is_linear = n8 - n4 <= LIMIT * max(n2 - n, 0) + SLACK
        failed += not is_linear
        if not is_linear or "--table" in sys.argv:
            print(f"{'' if is_linear else 'not linear: '}{name}: {n} {n2} {n4} {n8}")
    print(f"{len(costs)} inputs, {failed} of them not in linear time")
    return 1 if failed or not costs else 0


if __name__ == "__main__":
    sys.exit(main())
