"""What the codecs have to reach, and whether a run shows that they do.

Each target says how many times as long as another row a row of the library may take. The smallest times of
both count.
"""

import collections

from run import FIELDS

WRITE = "PackageRequestWriteData"
NUMBERS = "2,048 numbers of a record"
PEERS = ("FlatBuffers", "FlatBuffers with Qt types", "protobuf", "msgpack-cxx", "nanopb", "QDataStream",
         "QCborValue", "QModbusRequest")
PLACES = [(operation, obj) for operation in ("encode", "decode") for obj in ("reused", "fresh")]

Target = collections.namedtuple("Target", "name measured limit other")
Verdict = collections.namedtuple("Verdict", "target other ratio is_met")


def own(form, operation, obj, **more):
    """Returns the fields of a row of the library: its plain way, which is compared with the best of others."""
    return {"who": "library", "way": "plain", "form": form, "subject": WRITE, "operation": operation,
            "payload": "large", "object": obj, **more}


def peer(who, operation, obj, result):
    """Returns the fields of a peer's rows whose result is "owned", or in "kept" memory."""
    return {"who": who, "form": "request frame", "operation": operation, "object": obj,
            "memory": lambda memory: memory.startswith(result)}


def loop(operation):
    return {"who": "floor, bare loop", "subject": NUMBERS, "operation": operation}


FLOOR = "the floor of as many bytes"
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
]

# The most nanoseconds that the engine of korvinexchange takes for a request and its reply beside coding and checking
# them by hand.
MOST_ENGINE_TIME = 1000
EXCHANGES = ("exchange of frames", "exchange of records")

# The most instructions of an operation, of those that benchmarks/instructions.txt lists.
MOST_INSTRUCTIONS = {"common record, make": 1500, "common record, read": 1500}

# Threads have to reach this part of what threads that only copy memory reach, and those this part of what as many
# cores would allow; two threads may share a core.
LEAST_SCALING = 0.9
LEAST_CORES = 0.75


def beside(who, operation, obj, result):
    """Returns the target to be faster than another library."""
    return Target(who, own("request frame", operation, obj), 1, peer(who, operation, obj, result))


def rows_of(run, target):
    """Returns the row of the library and the quickest row to compare it with; None for a missing one."""
    measured = run.best(**target.measured)
    if target.other is FLOOR:
        return measured, measured and run.floor(measured)
    return measured, run.best(**target.other)


def judged(run, target):
    """Returns the verdict on a target; None if the run lacks the rows."""
    measured, other = rows_of(run, target)
    if not measured or not other:
        return None
    ratio = measured.min / other.min
    return Verdict(target, other, ratio, ratio <= target.limit)


def checks(run):
    """Returns the verdicts on check() of each message, which has to be at most as slow as its decoder with a kept
    package."""
    found = []
    for row in run.all(operation="check", way="plain"):
        measured = {name: getattr(row, name) for name in FIELDS.split()}
        decoder = {**measured, "operation": "decode", "object": "reused"}
        found.append(judged(run, Target(f"{row.form}, {row.subject}, {row.payload}, check", measured, 1, decoder)))
    return [verdict for verdict in found if verdict]


def engine_times(run):
    """Returns for each exchange the nanoseconds that the engine adds to coding and checking by hand."""
    rows = {form: [run.best(form=form, way=way) for way in ("by hand", "engine")] for form in EXCHANGES}
    return {form: engine.min - by_hand.min for form, (by_hand, engine) in rows.items() if engine and by_hand}


def scaling(run):
    """For each threaded row the threads, their operations a second, and the part of what can be reached: by the
    library, what threads that only copy memory reach; by those, what the cores allow."""
    found = collections.defaultdict(dict)
    for row in run.all(way="threads"):
        found[row.who, row.operation, row.object][row.threads] = 1e9 / row.min
    gains = {key: [(threads, rate, rate / rates[1]) for threads, rate in sorted(rates.items())]
             for key, rates in found.items()}
    copying = next((gain for (who, *_), gain in gains.items() if who == "floor"), [])
    reached = {threads: gain for threads, _, gain in copying}
    return {key: [(threads, rate, gain / (min(threads, run.context["num_cpus"]) if key[0] == "floor"
                                          else reached[threads]))
                  for threads, rate, gain in rows]
            for key, rows in gains.items()}


def floors(run):
    """Returns the rows that are references for others and do the same work in every run."""
    others = (rows_of(run, target)[1] for target in TARGETS)
    return list({other[:8] + (other.bytes,): other for other in others
                 if other and other.who.startswith("floor")}.values())


def doubts(run):
    """Returns why the run cannot be judged; empty on a quiet machine."""
    return run.doubts(floors(run))


def thread_doubts(run):
    """Returns why its threads cannot be judged; empty if they can."""
    return [f"{threads} threads that only copy memory reach {part:.1%} of what the cores allow, "
            f"not at least {LEAST_CORES:.0%}: not all cores are free"
            for (who, *_), rates in scaling(run).items() if who == "floor"
            for threads, _, part in rates if part < LEAST_CORES]
