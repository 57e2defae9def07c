"""Prints the table of a benchmark run, and writes its page and chart.

Usage: report.py RUN.json [PAGE.md CHART.svg]

The page keeps its text; what stands between the two comment lines that name this script is
replaced by the tables of the run.
"""

import collections
import html
import json
import math
import pathlib
import statistics
import sys

BEGIN, END = "<!-- from report.py -->", "<!-- to here -->"
FLOOR = "malloc + memcpy + free"
TABLE_LOOP = "floor, bare loop"
NUMBERS = "2,048 numbers of a record"
WRITE = "PackageRequestWriteData"

Row = collections.namedtuple("Row", "who form subject operation payload object note bytes min median")


def rows_of(run):
    times, others = collections.defaultdict(list), {}
    for result in run["benchmarks"]:
        if result.get("error_occurred"):
            sys.exit(f"report: {result['name']}: {result['error_message']}")
        if result["run_type"] != "iteration":
            continue
        name = result["run_name"].split("/repeats:")[0]
        times[name].append(result["cpu_time"])
        others[name] = (result.get("label", ""), int(result["bytes"]))
    return [
        Row(*name.split("/"), *others[name], min(values), statistics.median(values))
        for name, values in times.items()
    ]


class Run:
    def __init__(self, path):
        run = json.loads(pathlib.Path(path).read_text())
        self.context = run["context"]
        self.rows = rows_of(run)
        self.floors = {row.bytes: row for row in self.rows if row.subject == FLOOR}

    def find(self, **wanted):
        for row in self.rows:
            if all(getattr(row, key) == value for key, value in wanted.items()):
                return row
        return None

    def ratio(self, row):
        """A row's median to that of the floor of as many bytes."""
        floor = self.floors.get(row.bytes)
        return row.median / floor.median if floor else None


def time_text(nanoseconds):
    if nanoseconds < 10_000:
        return f"{nanoseconds:,.0f} ns"
    if nanoseconds < 10_000_000:
        return f"{nanoseconds / 1000:,.0f} µs"
    return f"{nanoseconds / 1_000_000:,.1f} ms"


def ratio_text(ratio):
    return f"{ratio:.2f} x" if ratio else ""


def targets(run):
    """The rows of the targets: operation, limit, figure, whether it is met."""

    def frame(form, operation, object_):
        return run.find(who="library", form=form, subject=WRITE, operation=operation,
                        payload="large", object=object_)

    def to_floor(name, row, limit):
        ratio = run.ratio(row)
        return name, f"{limit} x floor", ratio_text(ratio), ratio <= limit

    def to_other(name, limit, other, row, least=False):
        ratio = other.median / row.median if least else row.median / other.median
        good = ratio >= limit if least else ratio <= limit
        text = f"at least {limit} x faster" if least else f"{limit} x"
        return name, f"{text} than {other.who}" if least else f"{text} {other.who}", ratio_text(ratio), good

    lines = [
        to_floor("request frame, encode", frame("request frame", "encode", "reused"), 2.6),
        to_floor("request frame, decode", frame("request frame", "decode", "reused"), 3.0),
        to_floor("request frame, encode, fresh object", frame("request frame", "encode", "fresh"), 5.0),
        to_floor("request frame, decode, fresh object", frame("request frame", "decode", "fresh"), 5.0),
        to_floor("Linux frame, encode", frame("Linux frame", "encode", "reused"), 3.5),
        to_floor("Linux frame, decode", frame("Linux frame", "decode", "reused"), 3.5),
    ]
    for operation in ("encode", "decode"):
        mine = frame("request frame", operation, "fresh")
        for who in ("QDataStream", "QCborValue", "QModbusRequest, 9 requests", "FlatBuffers",
                    "FlatBuffers, Qt types", "nanopb", "protobuf"):
            peer = run.find(who=who, operation=operation, object="fresh")
            if peer and (who != "protobuf" or operation == "encode"):
                lines.append(to_other(f"request frame, {operation}, fresh object", 1, peer, mine, True))
    numbers = {(row.who, row.operation): row for row in run.rows if row.subject == NUMBERS}
    for form in ("request record", "reply record"):
        make, read = frame(form, "encode", "reused"), frame(form, "decode", "reused")
        lines += [
            to_other(f"{form}, 2,048 numbers, make", 1.5, numbers[TABLE_LOOP, "encode"], make),
            to_other(f"{form}, 2,048 numbers, make", 50, numbers["QStringList::join", "encode"], make, True),
            to_other(f"{form}, 2,048 numbers, read", 2.0, numbers[TABLE_LOOP, "decode"], read),
            to_other(f"{form}, 2,048 numbers, read", 10, numbers["QString::split + toInt", "decode"], read, True),
        ]
    for operation, who in (("encode", "QString::arg"), ("decode", "QString::split + toInt")):
        idiom = run.find(who=who, form="request record", operation=operation)
        mine = run.find(who="library", form="request record", subject="PackageBase", operation=operation,
                        object="reused")
        lines.append(to_other(f"common record, {operation}", 3, idiom, mine, True))
    return lines


def table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for line in lines:
        yield "| " + " | ".join(line) + " |"


def peers(run):
    """Who writes and reads the fields of a write-data request with 2,048 bytes."""
    return sorted(
        (row for row in run.rows
         if row.form == "request frame" and row.subject == WRITE and row.payload == "large"),
        key=lambda row: (row.operation == "decode", row.object, row.median))


def sizes(run):
    found = collections.defaultdict(dict)
    for row in run.rows:
        if row.subject.endswith("by size") and row.object == "reused":
            found[int(row.payload)][row.form, row.operation] = row
    return found


COLUMNS = (("request frame", "encode"), ("request frame", "decode"),
           ("reply record", "encode"), ("reply record", "decode"))


def machine(run):
    caches = ", ".join(f"L{cache['level']} {cache['type'].lower()} {cache['size'] >> 10} KiB"
                       for cache in run.context["caches"])
    return (f"Measured {run.context['date'][:10]} on {run.context['num_cpus']} processors of "
            f"{run.context['mhz_per_cpu'] / 1000:.1f} GHz ({caches}).")


def tables(run):
    def cells(row):
        return [time_text(row.min), time_text(row.median), ratio_text(run.ratio(row)), row.note]

    yield machine(run)
    yield ""
    yield "### Targets"
    yield ""
    yield from table(["operation", "at most", "measured", ""],
                     [[name, limit, value, "met" if good else "**missed**"]
                      for name, limit, value, good in targets(run)])
    yield ""
    yield "### The same fields with other libraries"
    yield ""
    yield from table(["who", "operation", "object", "min", "median", "to the floor", ""],
                     [[row.who, row.operation, row.object, *cells(row)] for row in peers(run)])
    yield ""
    yield "### By size of the data"
    yield ""
    yield from table(["bytes", *(f"{form}, {operation}" for form, operation in COLUMNS)],
                     [[f"{size:,}", *(time_text(found[key].median) if key in found else "refused"
                                      for key in COLUMNS)]
                      for size, found in sorted(sizes(run).items())])
    yield ""
    yield "### All rows"
    yield ""
    shown = [row for row in run.rows if row.form != "memory" or row.bytes in (0, 2112)]
    yield from table(["who", "form", "class", "operation", "payload", "object", "min", "median",
                      "to the floor", ""],
                     [[row.who, row.form, row.subject, row.operation, row.payload, row.object, *cells(row)]
                      for row in sorted(shown)])


def bars(run):
    """Encode and decode with a fresh object, as multiples of the floor."""
    left, width, height, scale = 210, 860, 20, 20
    y = 30
    yield f'<text x="10" y="{y}" class="h">Write-data request of 2,048 bytes, fresh object: multiples of {FLOOR}</text>'
    shown = [row for row in peers(run) if row.object == "fresh"]
    for operation in ("encode", "decode"):
        y += 30
        yield f'<text x="10" y="{y}" class="h">{operation}</text>'
        for row in (row for row in shown if row.operation == operation):
            y += height
            ratio = run.ratio(row)
            length = min(ratio * scale, width - left - 80)
            cut = " (cut)" if ratio * scale > length else ""
            kind = "own" if row.who == "library" else "peer"
            yield f'<text x="{left - 8}" y="{y}" text-anchor="end">{html.escape(row.who)}</text>'
            yield f'<rect x="{left}" y="{y - 12}" width="{length:.1f}" height="14" class="{kind}"/>'
            yield f'<text x="{left + length + 6:.1f}" y="{y}">{ratio:.1f}{cut}</text>'


def lines(run, top):
    """Time against size, both logarithmic: a slope of one is linear."""
    left, width, height = 80, 620, 300

    def x(size):
        return left + width * math.log2(size / 1024) / 14

    def y(nanoseconds):
        return top + height - height * (math.log10(nanoseconds) - 1.5) / 7

    yield f'<text x="10" y="{top - 20}" class="h">Time by size of the data, existing object</text>'
    for power in range(2, 9):
        unit = time_text(10 ** power)
        yield f'<path d="M{left} {y(10 ** power):.1f}h{width}" class="grid"/>'
        yield f'<text x="{left - 6}" y="{y(10 ** power) + 4:.1f}" text-anchor="end">{unit}</text>'
    for number, key in enumerate(COLUMNS):
        points = [(size, found[key].median) for size, found in sorted(sizes(run).items())
                  if size and key in found]
        path = " ".join(f"{x(size):.1f},{y(time):.1f}" for size, time in points)
        yield f'<polyline points="{path}" class="line l{number}"/>'
        below = 14 * (key == ("request frame", "decode"))  # they end in the same place
        yield f'<text x="{left + width + 6}" y="{y(points[-1][1]) + 4 + below:.1f}">{", ".join(key)}</text>'
    for size in (1 << 10, 1 << 14, 1 << 18, 1 << 20, 1 << 22, 1 << 24):
        name = f"{size >> 20} MiB" if size >= 1 << 20 else f"{size >> 10} KiB"
        yield f'<text x="{x(size):.1f}" y="{top + height + 16}" text-anchor="middle">{name}</text>'


def chart(run):
    yield '<svg xmlns="http://www.w3.org/2000/svg" width="880" height="960" viewBox="0 0 880 960">'
    yield ("<style>text{font:13px sans-serif;fill:#222}.h{font-weight:bold}.own{fill:#0a6}"
           ".peer{fill:#9ab}.grid{stroke:#ddd}.line{fill:none;stroke-width:2}.l0{stroke:#0a6}"
           ".l1{stroke:#06c}.l2{stroke:#c60}.l3{stroke:#a0a}</style>")
    yield '<rect width="880" height="960" fill="#fff"/>'
    yield from bars(run)
    yield from lines(run, 620)
    yield "</svg>"


def main():
    run = Run(sys.argv[1])
    print("\n".join(tables(run)))
    if len(sys.argv) > 3:
        page = pathlib.Path(sys.argv[2])
        before, rest = page.read_text().split(BEGIN)
        after = rest.split(END)[1]
        page.write_text("\n".join([before + BEGIN, "", *tables(run), "", END]) + after)
        pathlib.Path(sys.argv[3]).write_text("\n".join(chart(run)) + "\n")


if __name__ == "__main__":
    main()
