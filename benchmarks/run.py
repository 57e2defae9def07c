"""The rows of a run of the benchmarks, and whether the machine was quiet."""

import collections
import json
import pathlib
import re
import statistics

FLOOR = "malloc + memcpy + free"

# The smallest times of two processes for the same work may differ by this factor.
MOST_SPREAD = 0.10
# The clock's time may exceed the processor's time by this factor: other programs used the processor meanwhile.
MOST_WAITING = 0.10

FIELDS = "who way form subject operation payload object"
Row = collections.namedtuple("Row", f"{FIELDS} threads memory bytes spread min median")


class BrokenRun(Exception):
    """A row has failed, or the run has no rows."""


class Run:
    """The measurements of the processes of a run; each has measured each row several times."""

    def __init__(self, processes):
        """Takes the JSON of the processes."""
        self.context = processes[0]["context"]
        self.waits = []
        times, seen = collections.defaultdict(lambda: [[] for _ in processes]), {}
        for number, process in enumerate(processes):
            for result in process["benchmarks"]:
                if result.get("error_occurred"):
                    raise BrokenRun(f"{result['name']}: {result['error_message']}")
                if result["run_type"] == "iteration":
                    key = self._key(result)
                    times[key][number].append(self._time(result))
                    seen[key] = result.get("label", ""), round(result["bytes"])
        if not times or any(not some for all_times in times.values() for some in all_times):
            raise BrokenRun("not every process has every row")
        self.rows = [self._row(key, times[key], *seen[key]) for key in times]

    @staticmethod
    def of_files(paths):
        try:
            return Run([json.loads(pathlib.Path(path).read_text()) for path in paths])
        except json.JSONDecodeError as fault:
            raise BrokenRun("a process has no rows") from fault

    @staticmethod
    def _key(result):
        name = re.sub(r"/(repeats:\d+|real_time|threads:\d+)(?=/|$)", "", result["run_name"])
        return (*name.split("/"), result["threads"])

    def _time(self, result):
        """Returns the time of one operation: the processor's, or with threads the clock's for all of them."""
        if "/threads:" in result["run_name"]:
            return result["real_time"]
        self.waits.append(result["real_time"] / result["cpu_time"])
        return result["cpu_time"]

    @staticmethod
    def _row(key, processes, memory, size):
        # Where a process has its memory makes it slower for good. So another one has to confirm the least time.
        least = sorted(min(times) for times in processes)
        spread = least[min(1, len(least) - 1)] / least[0] - 1
        return Row(*key, memory, size, spread, least[0], statistics.median(sum(processes, [])))

    def all(self, **wanted):
        """Returns the rows with these fields. A callable value accepts or refuses a field."""
        def fits(row):
            values = ((getattr(row, name), value) for name, value in wanted.items())
            return all(value(has) if callable(value) else has == value for has, value in values)

        return [row for row in self.rows if fits(row)]

    def best(self, **wanted):
        """Returns the quickest of the rows with these fields, or None."""
        return min(self.all(**{"threads": 1, "way": lambda way: way != "threads", **wanted}),
                   key=lambda row: row.min, default=None)

    def floor(self, row):
        """Returns the floor for as many bytes."""
        return self.best(subject=FLOOR, bytes=row.bytes)

    @property
    def waiting(self):
        """Returns the factor between the clock's time and the processor's."""
        return statistics.mean(self.waits or [1]) - 1

    def doubts(self, floors):
        """Returns why these floors judge nothing; empty on a quiet machine."""
        found = [f"the smallest times of {row.who}, {row.subject}, {row.operation} of {row.bytes} bytes, differ by "
                 f"{row.spread:.0%} between the two best processes, not at most {MOST_SPREAD:.0%}"
                 for row in floors if row.spread > MOST_SPREAD]
        if self.waiting > MOST_WAITING:
            found.append(f"the clock's time is {self.waiting:.0%} above the processor's, "
                         f"not at most {MOST_WAITING:.0%}: others had the processor meanwhile")
        return found
