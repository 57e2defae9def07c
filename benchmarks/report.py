"""Judges a run of the benchmarks, prints its results, and writes them into docs/.

Usage: report.py [--write] BLOCK.json...

The files are the blocks of one run. --write writes docs/performance.svg, docs/performance.csv with all rows,
and the results in docs/performance.md, between the two comment lines that name this script. A run of a busy
machine is not judged: then its page says so, and the exit status is 1.
"""

import csv
import pathlib
import sys

import instructions
import runs as measured
import targets
from chart import PANELS, chart

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE, CHART, ROWS = (ROOT / "docs" / f"performance.{kind}" for kind in ("md", "svg", "csv"))
COUNTS = ROOT / "benchmarks" / "instructions.txt"
LIVE = ROOT / "benchmarks" / "livepackages.txt"
BEGIN, END = "<!-- from benchmarks/report.py -->", "<!-- to here -->"


def table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for line in lines:
        yield "| " + " | ".join(line) + " |"
    yield ""


def a_second(nanoseconds):
    """How often a second, to two digits."""
    rate = 1e9 / nanoseconds
    if rate >= 1e6:
        return f"{rate / 1e6:,.{0 if rate >= 1e7 else 1}f} million"
    digits = len(str(int(rate))) - 2
    return f"{round(rate, -digits):,.0f}"


def live_packages():
    """What live packages take: class, then bytes and blocks of an empty and of a decoded one."""
    lines = (line.split() for line in LIVE.read_text().splitlines() if line and not line.startswith("#"))
    return {name: [int(number) for number in numbers] for name, *numbers in lines}


def machine(run):
    caches = ", ".join(f"L{cache['level']} {cache['type'].lower()} {cache['size'] >> 10} KiB"
                       for cache in run.context["caches"])
    spread = max((run.spread(floor) for floor in targets.floors_of(run)), default=0)
    return (f"Measured {run.context['date'][:10]} on {run.context['num_cpus']} processors of "
            f"{run.context['mhz_per_cpu'] / 1000:.1f} GHz ({caches}). The smallest times of the floors differ by at "
            f"most {spread:.0%} between the blocks of the run, and the clock's time is {run.waiting:.0%} above the "
            "processor's.")


def beside_others(run):
    """The quickest way of each library, in nanoseconds and as multiples of this one."""
    own = {(operation, obj): run.best(**targets.own("request frame", operation, obj)) for operation, obj, _ in PANELS}

    def cell(who, operation, obj, result):
        row = run.best(**targets.peer(who, operation, obj, result))
        return f"{row.min:,.0f} ({row.min / own[operation, obj].min:.1f} x)" if row else ""

    lines = [["**korvinpackage**", *(f"**{row.min:,.0f}**" for row in own.values())]]
    for result, suffix in (("owned", ""), ("kept", ", frame overwritten by the next")):
        for who in targets.PEERS:
            cells = [cell(who, operation, obj, result) for operation, obj, _ in PANELS]
            if any(cells):
                lines.append([who + suffix, *cells])
    return table(["nanoseconds", *(title for _, _, title in PANELS)], lines)


def for_a_user(run):
    def both(form, operations, objects, subject=targets.WRITE, payload="large"):
        rows = [run.best(who="library", form=form, subject=subject, payload=payload, operation=operation, object=obj)
                for operation in operations for obj in objects]
        return ", ".join(a_second(row.min) for row in rows)

    live = live_packages()
    kept = ["reused", "fresh"]
    lines = [
        ["request frames with 2,048 bytes encoded a second on one core, package kept, new",
         both("request frame", ["encode"], kept)],
        ["the same decoded, package kept, new", both("request frame", ["decode"], kept)],
        ["records with 2,048 numbers made, read a second on one core",
         both("request record", ["encode", "decode"], ["reused"])],
        ["records without data made, read a second on one core",
         both("request record", ["encode", "decode"], ["reused"], "PackageBase", "small")],
    ]
    for (who, operation, obj), rates in targets.scaling(run).items():
        if who == "library" and (operation, obj) == ("decode", "fresh"):
            lines.append(["frames decoded a second by " + ", ".join(str(threads) for threads, *_ in rates) + " threads",
                          ", ".join(a_second(1e9 / rate) for _, rate, _ in rates)])
    for name in ("PackageBase", targets.WRITE):
        size, blocks = live[name][2:]
        lines.append([f"memory of a {name} that was decoded" + (", with 16 bytes" if name == targets.WRITE else ""),
                      f"{size} bytes in {blocks} blocks"])
    return table(["", "up to"], lines)


def verdicts(run, doubts):
    def word(is_met):
        return "not judged" if doubts else "met" if is_met else "**missed**"

    lines = [[verdict.name, f"{verdict.limit:g} x {verdict.other}", f"{verdict.ratio:.2f} x", word(verdict.is_met)]
             for verdict in targets.judged(run)]
    for (who, operation, obj), rates in targets.scaling(run).items():
        if who == "library":
            lines += [[f"request frame, {operation}, {obj}, {threads} threads",
                       f"at least {targets.LEAST_SCALING:.0%} of the cores", f"{part:.0%}",
                       word(part >= targets.LEAST_SCALING)] for threads, _, part in rates if threads > 1]
    lines += [[name, f"{limit:,} instructions", f"{count:,}", "met" if is_met else "**missed**"]
              for name, limit, count, is_met in targets.judged_instructions(instructions.accepted(COUNTS))]
    yield from table(["operation", "at most", "measured", ""], lines)
    yield "Beside frames in memory that the next one overwrites, which this library does not offer:"
    yield ""
    yield from table(["operation", "at most", "measured", ""],
                     [[one.name, f"{one.limit:g} x {one.other}", f"{one.ratio:.2f} x", word(one.is_met)]
                      for one in targets.judged(run, targets.COMPARISONS)])


def by_size(run):
    columns = [("request frame", "encode"), ("request frame", "decode"),
               ("reply record", "encode"), ("reply record", "decode")]
    rows = {(int(row.payload), row.form, row.operation): row.min / 1000
            for row in run.all(subject=f"{targets.WRITE} by size", object="reused")}
    return table(["bytes", *(f"{form}, {operation}, µs" for form, operation in columns)],
                 [[f"{size:,}", *(f"{rows[size, *column]:,.2f}" if (size, *column) in rows else "refused"
                                  for column in columns)] for size in sorted({size for size, *_ in rows})])


def results(run, doubts):
    if doubts:
        yield "**This run cannot be judged.** " + "; ".join(doubts) + ". Run it again on a quiet machine."
        yield ""
    yield "![What libraries need for the same frame](performance.svg)"
    yield ""
    yield from beside_others(run)
    yield from for_a_user(run)
    yield machine(run)
    yield ""
    yield "## Targets"
    yield ""
    yield from verdicts(run, doubts)
    yield "## Memory of live packages"
    yield ""
    yield from table(["class", "empty", "decoded"],
                     [[name, f"{size} bytes in {blocks}", f"{decoded} bytes in {decoded_blocks}"]
                      for name, (size, blocks, decoded, decoded_blocks) in live_packages().items()])
    yield "## By size of the data"
    yield ""
    yield from by_size(run)


def write_rows(run, path):
    """All rows, in nanoseconds, and as multiples of the floor of as many bytes."""
    with path.open("w", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow([*measured.FIELDS.split(), "threads", "memory", "bytes", "min", "median", "floors"])
        for row in sorted(run.rows):
            floor = run.floor(row)
            writer.writerow([*row[:-3], f"{row.min:.1f}", f"{row.median:.1f}",
                             f"{row.min / floor.min:.2f}" if floor else ""])


def is_complete(run):
    """Whether all rows that the page is made of are there: other libraries are not always measured."""
    return all(None not in targets.rows_of(run, target) for target in targets.TARGETS)


def main(arguments):
    is_written = "--write" in arguments
    try:
        run = measured.Runs.of_files(path for path in arguments if path != "--write")
    except measured.BrokenRun as fault:
        sys.exit(f"report: {fault}")
    doubts = targets.doubts(run)
    if is_complete(run):
        text = "\n".join(results(run, doubts))
        print(text)
        if is_written:
            before, rest = PAGE.read_text().split(BEGIN)
            PAGE.write_text(f"{before}{BEGIN}\n\n{text}\n{END}{rest.split(END)[1]}")
            CHART.write_text("\n".join(chart(run)) + "\n")
            write_rows(run, ROWS)
    else:
        for row in sorted(run.rows):
            print(f"{row.min:>12,.1f} ns  {' / '.join(row[:7])}")
        if is_written:
            sys.exit("report: nothing is written: not all rows were measured")
    if doubts:
        sys.exit("report: this run cannot be judged: " + "; ".join(doubts))


if __name__ == "__main__":
    main(sys.argv[1:])
