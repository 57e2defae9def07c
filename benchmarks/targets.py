"""What the codecs have to reach: each row of the table is a row of the run, and how many times as long as
another it may take."""

import collections

WRITE = "PackageRequestWriteData"
NUMBERS = "2,048 numbers of a record"
PEERS = ("FlatBuffers", "FlatBuffers with Qt types", "protobuf", "msgpack-cxx", "nanopb", "QDataStream",
         "QCborValue", "QModbusRequest, block only")

Target = collections.namedtuple("Target", "name measured limit other")
Verdict = collections.namedtuple("Verdict", "name limit other ratio is_met")


def own(form, operation, obj, **more):
    return {"who": "library", "form": form, "subject": WRITE, "operation": operation, "payload": "large",
            "object": obj, **more}


def peer(who, operation, obj, result):
    return {"who": who, "form": "request frame", "operation": operation, "object": obj,
            "memory": lambda memory: memory.startswith(result)}


def loop(operation):
    return {"who": "floor, bare loop", "subject": NUMBERS, "operation": operation}


# Rows of the library beside the floor of as many bytes, or beside another row.
FLOOR = None
TARGETS = [
    Target("request frame, encode, reused", own("request frame", "encode", "reused"), 2.3, FLOOR),
    Target("request frame, decode, reused", own("request frame", "decode", "reused"), 1.5, FLOOR),
    Target("request frame, encode, fresh", own("request frame", "encode", "fresh"), 3.9, FLOOR),
    Target("request frame, decode, fresh", own("request frame", "decode", "fresh"), 3.9, FLOOR),
    Target("Linux frame, encode, reused", own("Linux frame", "encode", "reused"), 3.5, FLOOR),
    Target("Linux frame, decode, reused", own("Linux frame", "decode", "reused"), 3.5, FLOOR),
    Target("request record, 2,048 numbers, make", own("request record", "encode", "reused"), 1.1, loop("encode")),
    Target("request record, 2,048 numbers, read", own("request record", "decode", "reused"), 0.5, loop("decode")),
    Target("reply record, 2,048 numbers, make", own("reply record", "encode", "reused"), 1.1, loop("encode")),
    Target("reply record, 2,048 numbers, read", own("reply record", "decode", "reused"), 0.5, loop("decode")),
] + [
    Target(f"{form}, check", own(form, "check", "fresh"), 1, own(form, "decode", "reused"))
    for form in ("request frame", "Linux frame", "request record", "reply record")
] + [
    Target(f"request frame, {operation}, {obj}", own("request frame", operation, obj), 1,
           peer(who, operation, obj, "owned"))
    for operation in ("encode", "decode") for obj in ("reused", "fresh") for who in PEERS
]

# A peer's frame in memory that the next one overwrites, beside one of the library, which has its own.
COMPARISONS = [
    Target(f"request frame, encode, {obj}", own("request frame", "encode", obj), 1, peer(who, "encode", obj, "kept"))
    for obj in ("reused", "fresh") for who in PEERS
]

# The most instructions of one operation, of those that benchmarks/instructions.txt lists.
MOST_INSTRUCTIONS = {"common record, make": 1500, "common record, read": 1500}

# So much of what the threads have to reach, which is the frames of one thread for each core.
LEAST_SCALING = 0.9


def rows_of(runs, target):
    """The quickest way of what is measured, and that of what it is compared with; None if not in the run."""
    measured = runs.best(**target.measured)
    if target.other is FLOOR:
        return measured, runs.floor(measured) if measured else None
    return measured, runs.best(**target.other)


def name_of(row):
    if row.who == "floor":
        return f"malloc, memcpy and free of {row.bytes:,} bytes"
    if row.who == "library":
        return row.operation
    return row.who if row.way == "plain" else f"{row.who} ({row.way})"


def judged(runs, targets=None):
    """The verdicts on those targets that the run has rows for, by the ratio of the smallest times."""
    verdicts = []
    for target in TARGETS if targets is None else targets:
        measured, other = rows_of(runs, target)
        if measured and other:
            ratio = measured.min / other.min
            verdicts.append(Verdict(target.name, target.limit, name_of(other), ratio, ratio <= target.limit))
    return verdicts


def judged_instructions(counts):
    """The same for instruction counts: name, limit, count, whether it is met."""
    return [(name, limit, counts[name], counts[name] <= limit) for name, limit in MOST_INSTRUCTIONS.items()]


def scaling(runs):
    """For each threaded row: the frames a second of 1, 2 ... threads, and the part that was reached of what
    the cores allow."""
    cores = runs.context["num_cpus"]
    found = collections.defaultdict(dict)
    for row in runs.all(way="threads"):
        found[row.who, row.operation, row.object][row.threads] = 1e9 / row.min
    return {key: [(threads, rate, rate / rates[1] / min(threads, cores)) for threads, rate in sorted(rates.items())]
            for key, rates in found.items()}


def floors_of(runs):
    """The rows that others are compared with and that do the same work in each run."""
    floors = {}
    for target in TARGETS:
        _, other = rows_of(runs, target)
        if other and other.who.startswith("floor"):
            floors[other.who, other.operation, other.bytes] = other
    return list(floors.values())


def doubts(runs):
    """Why the run cannot be judged; empty on a quiet machine."""
    found = runs.doubts(floors_of(runs))
    for (who, *_), rates in scaling(runs).items():
        found += [f"{threads} threads that copy memory reach {part:.0%} of what the cores allow, "
                  f"not at least {LEAST_SCALING:.0%}: not all cores were free"
                  for threads, _, part in rates if who == "floor" and part < LEAST_SCALING]
    return found
