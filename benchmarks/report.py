"""Judges a run of the benchmarks, prints its results, and writes them into docs/.

Usage: report.py [--write] PROCESS.json...

The files are those of the processes of one run. --write writes docs/performance.svg, docs/performance.csv with all rows,
and the results in docs/performance.md, between the two comment lines of which the first names this script. A
run of a busy machine is not judged: it says why, and the exit status is 1. Neither is a run without some of the
rows: it is printed.
"""

import csv
import pathlib
import sys

import instructions
import run as measured
import targets
from chart import chart

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE, CHART, ROWS = (ROOT / "docs" / f"performance.{kind}" for kind in ("md", "svg", "csv"))
COUNTS = ROOT / "benchmarks" / "instructions.txt"
LIVE = ROOT / "benchmarks" / "livepackages.txt"
BEGIN, END = "<!-- from benchmarks/report.py -->", "<!-- to here -->"


TITLES = {("encode", "reused"): "encode, package kept", ("encode", "fresh"): "encode, new package",
          ("decode", "reused"): "decode, package kept", ("decode", "fresh"): "decode, new package"}


def table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for line in lines:
        yield "| " + " | ".join(line) + " |"
    yield ""


def a_second(rate):
    """Formats a rate with two digits."""
    if rate >= 1e6:
        return f"{rate / 1e6:,.{0 if rate >= 1e7 else 1}f} million"
    return f"{round(rate, 2 - len(str(int(rate)))):,.0f}"


def live_packages():
    """Returns the memory of live packages: class, then bytes and blocks of an empty and of a decoded one."""
    lines = (line.split() for line in LIVE.read_text().splitlines() if not line.startswith("#"))
    return {name: [int(number) for number in numbers] for name, *numbers in lines}


def machine(run):
    caches = ", ".join(f"L{cache['level']} {cache['type'].lower()} {cache['size'] >> 10} KiB"
                       for cache in run.context["caches"])
    spread = max((floor.spread for floor in targets.floors(run)), default=0)
    return (f"Measured {run.context['date'][:10]} on {run.context['num_cpus']} processors of "
            f"{run.context['mhz_per_cpu'] / 1000:.1f} GHz ({caches}). Between the two best of three processes the "
            f"smallest times of a floor differ by at most {spread:.0%}, and the clock's time is {run.waiting:.0%} above the "
            "processor's.")


def beside_others(run):
    """Returns the quickest way of each library to owned frames and fields."""
    def cell(operation, obj, **wanted):
        row = run.best(**{**targets.peer(None, operation, obj, "owned"), **wanted})
        own = run.best(**targets.own("request frame", operation, obj))
        return f"{row.min:,.0f} ({row.min / own.min:.1f} x)" if row else ""

    def line(name, **wanted):
        return [name, *(cell(operation, obj, **wanted) for operation, obj in targets.PLACES)]

    library = {"who": "library", "subject": targets.WRITE, "payload": "large"}
    lines = [line("**korvinpackage**", way="plain", **library),
             line("korvinpackage, a kept package set anew", way="set anew", **library)]
    lines += [line(who, who=who) for who in targets.PEERS]
    return table(["nanoseconds", *TITLES.values()], lines)


def for_a_user(run):
    def rates(form, operation, objects, subject=targets.WRITE, payload="large"):
        rows = [run.best(**targets.own(form, operation, obj, subject=subject, payload=payload)) for obj in objects]
        return [a_second(1e9 / row.min) for row in rows]

    both = ["reused", "fresh"]
    lines = [
        ["request frames with 2,048 bytes encoded a second by one core; package kept, new package",
         *rates("request frame", "encode", both)],
        ["the same decoded", *rates("request frame", "decode", both)],
        ["records with 2,048 numbers made, read a second by one core",
         *rates("request record", "encode", ["reused"]), *rates("request record", "decode", ["reused"])],
        ["records without data made, read a second by one core",
         *rates("request record", "encode", ["reused"], "PackageBase", "small"),
         *rates("request record", "decode", ["reused"], "PackageBase", "small")],
        ["frames decoded a second by 1, 2, 4 threads, new packages",
         *(a_second(rate) for _, rate, _ in targets.scaling(run)["library", "decode", "fresh"])],
    ]
    lines = [[name, ", ".join(values)] for name, *values in lines]
    for name, what in (("PackageBase", ""), (targets.WRITE, " with 16 bytes")):
        size, blocks = live_packages()[name][2:]
        lines.append([f"memory of a {name} that has read a request{what}", f"{size} bytes in {blocks} blocks"])
    return table(["", "up to"], lines)


class Verdicts:
    """The targets and the verdicts of a run on them; there are no verdicts from a busy machine."""

    def __init__(self, run):
        self.run = run
        self.doubts = targets.doubts(run)
        self.thread_doubts = self.doubts + targets.thread_doubts(run)

    @staticmethod
    def word(is_met, doubts=()):
        return "not judged" if doubts else "met" if is_met else "**missed**"

    def lines(self):
        """Returns the verdicts on floors and decoders, on the engine, on threads and on instructions."""
        for target in targets.TARGETS:
            verdict = targets.judged(self.run, target)
            if verdict:
                yield self.line(target.name, verdict)
        checks = targets.checks(self.run)
        met = [verdict for verdict in checks if verdict.is_met]
        if met:
            yield self.line(f"check of {len(met)} of {len(checks)} messages, the slowest of them",
                            max(met, key=lambda verdict: verdict.ratio))
        for verdict in checks:
            if not verdict.is_met:
                yield self.line(verdict.target.name, verdict)
        for form, time in targets.engine_times(self.run).items():
            yield [f"{form}, by the engine", f"{targets.MOST_ENGINE_TIME:,} ns more than by hand", f"{time:,.0f} ns",
                   self.word(time <= targets.MOST_ENGINE_TIME, self.doubts)]
        for (who, operation, obj), rates in targets.scaling(self.run).items():
            for threads, _, part in rates:
                if who == "library" and threads > 1:
                    yield [f"request frame, {operation}, {obj}, {threads} threads",
                           f"at least {targets.LEAST_SCALING:.0%} of threads that copy", f"{part:.0%}",
                           self.word(part >= targets.LEAST_SCALING, self.thread_doubts)]
        counts = instructions.accepted(COUNTS)
        for name, most in targets.MOST_INSTRUCTIONS.items():
            yield [name, f"{most:,} instructions", f"{counts[name]:,}", self.word(counts[name] <= most)]

    def line(self, name, verdict):
        other = verdict.other.operation if verdict.other.who == "library" else verdict.other.who
        return [name, f"{verdict.target.limit:g} x {other}", f"{verdict.ratio:.2f} x",
                self.word(verdict.is_met, self.doubts)]

    def beside_others(self, result):
        """Returns a line for each peer that has rows with such a result."""
        for who in targets.PEERS:
            verdicts = [targets.judged(self.run, targets.beside(who, *place, result)) for place in targets.PLACES]
            if any(verdicts):
                yield [who, *(self.cell(verdict) for verdict in verdicts)]

    def cell(self, verdict):
        if not verdict:
            return ""
        return f"{self.word(verdict.is_met, self.doubts)}, {verdict.ratio:.2f} x {verdict.other.way}"


def by_size(run):
    columns = [("request frame", "encode"), ("request frame", "decode"),
               ("reply record", "encode"), ("reply record", "decode")]
    rows = {(int(row.payload), row.form, row.operation): row.min / 1000
            for row in run.all(subject=f"{targets.WRITE} by size", object="reused")}
    return table(["bytes", *(f"{form}, {operation}, µs" for form, operation in columns)],
                 [[f"{size:,}", *(f"{rows[size, *column]:,.2f}" if (size, *column) in rows else "refused"
                                  for column in columns)] for size in sorted({size for size, *_ in rows})])


def results(run, verdicts):
    yield "![What libraries need for the same frame](performance.svg)"
    yield ""
    yield from beside_others(run)
    yield from for_a_user(run)
    yield machine(run)
    yield ""
    yield "## Targets"
    yield ""
    for doubt in verdicts.thread_doubts:
        yield f"**Not judged, run it again on a quiet machine**: {doubt}."
        yield ""
    yield from table(["operation", "at most", "measured", ""], verdicts.lines())
    yield ("The time of this library as a multiple of the quickest way of others, which has to be at most 1; frames "
           "and fields are owned:")
    yield ""
    yield from table(["who", *TITLES.values()], verdicts.beside_others("owned"))
    yield "The same beside frames in memory that the next frame overwrites, which this library does not offer:"
    yield ""
    yield from table(["who", *list(TITLES.values())[:2]], (line[:3] for line in verdicts.beside_others("kept")))
    yield "## Memory of live packages"
    yield ""
    yield from table(["class", "empty", "after it has read a request"],
                     [[name, f"{size} bytes in {blocks} blocks", f"{read} bytes in {read_blocks} blocks"]
                      for name, (size, blocks, read, read_blocks) in live_packages().items()])
    yield "## By size of the data"
    yield ""
    yield from by_size(run)


def write_rows(run, path):
    """Returns all rows, in nanoseconds and as multiples of the floor of the same size."""
    with path.open("w", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow([*measured.FIELDS.split(), "threads", "memory", "bytes", "min", "median", "floors"])
        for row in sorted(run.rows):
            floor = run.floor(row)
            writer.writerow([*row[:-3], f"{row.min:.1f}", f"{row.median:.1f}",
                             f"{row.min / floor.min:.2f}" if floor else ""])


def is_complete(run):
    """Returns whether the run has all rows that the page shows, those of other libraries included."""
    wanted = [targets.beside(who, *place, "owned") for who in targets.PEERS for place in targets.PLACES]
    return (all(targets.judged(run, target) for target in targets.TARGETS + wanted)
            and len(targets.engine_times(run)) == len(targets.EXCHANGES) and bool(targets.checks(run)))


def main(arguments):
    try:
        run = measured.Run.of_files(path for path in arguments if path != "--write")
    except measured.BrokenRun as fault:
        sys.exit(f"report: {fault}")
    if not is_complete(run):
        print("\n".join(f"{row.min:>14,.1f} ns  {' / '.join(row[:7])}" for row in sorted(run.rows)))
        sys.exit("report: not judged: not all rows were measured" if "--write" in arguments else 0)
    verdicts = Verdicts(run)
    text = "\n".join(results(run, verdicts))
    print(text)
    if "--write" in arguments:
        before, rest = PAGE.read_text().split(BEGIN)
        PAGE.write_text(f"{before}{BEGIN}\n\n{text}\n{END}{rest.split(END)[1]}")
        CHART.write_text("\n".join(chart(run, TITLES)) + "\n")
        write_rows(run, ROWS)
    if verdicts.thread_doubts:
        sys.exit("report: not judged: " + "; ".join(verdicts.thread_doubts))


if __name__ == "__main__":
    main(sys.argv[1:])
