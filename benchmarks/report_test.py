"""Tests how runs of the benchmarks are judged, with invented runs.

Usage: report_test.py FOLDER [ARGUMENT...]

FOLDER has the scripts of the benchmarks. The other arguments are unittest's.
"""

import contextlib
import copy
import io
import json
import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree

sys.path.insert(0, sys.argv.pop(1))
sys.dont_write_bytecode = True

import report
import targets
from run import BrokenRun, Run

CONTEXT = {"date": "2026-01-02T03:04:05+00:00", "num_cpus": 4, "mhz_per_cpu": 2500,
           "caches": [{"level": 1, "type": "Data", "size": 32768}]}
FLOOR = "floor/plain/memory/malloc + memcpy + free/copy/100/fresh"
ENCODE = "library/plain/request frame/PackageRequestWriteData/encode/large/reused"
PEER = "protobuf/{}/request frame/PackageRequestWriteData/encode/large/reused"
TARGET = targets.Target("encode", targets.own("request frame", "encode", "reused"), 2.5, targets.FLOOR)


def repetitions(name, *times, label="owned", threads=1, waiting=1.0):
    """The JSON of a row with these measurements."""
    return [{"name": name, "run_name": name, "run_type": "iteration", "threads": threads, "label": label,
             "bytes": 100.0, "cpu_time": time, "real_time": time * waiting} for time in times]


def run_of(*processes, **context):
    return Run([{"context": {**CONTEXT, **context}, "benchmarks": sum(rows, [])} for rows in processes])


def threaded(who, *rates):
    """A row of 1, 2 and 4 threads that do so many operations in 1,000 nanoseconds."""
    name = f"{who}/threads/request frame/PackageRequestWriteData/decode/large/fresh/real_time/threads:"
    return sum((repetitions(name + str(threads), 1000 / rate, threads=threads, waiting=1)
                for threads, rate in zip((1, 2, 4), rates)), [])


class JudgingTest(unittest.TestCase):
    def test_the_smallest_times_of_all_processes_count(self):
        run = run_of([repetitions(FLOOR, 100, 900), repetitions(ENCODE, 900, 800)],
                     [repetitions(FLOOR, 104, 105), repetitions(ENCODE, 700, 240)])
        verdict = targets.judged(run, TARGET)
        self.assertAlmostEqual(verdict.ratio, 2.4)
        self.assertTrue(verdict.is_met)

    def test_at_the_limit_a_target_is_met_and_above_it_is_missed(self):
        for time, is_met in ((250, True), (251, False)):
            run = run_of([repetitions(FLOOR, 100), repetitions(ENCODE, time)])
            self.assertEqual(targets.judged(run, TARGET).is_met, is_met)

    def test_without_its_rows_a_target_has_no_verdict(self):
        self.assertIsNone(targets.judged(run_of([repetitions(FLOOR, 100)]), TARGET))
        self.assertIsNone(targets.judged(run_of([repetitions(ENCODE, 100)]), TARGET))

    def test_the_floor_is_that_of_as_many_bytes(self):
        other = repetitions(FLOOR.replace("100", "7"), 1)
        other[0]["bytes"] = 7.0
        run = run_of([repetitions(FLOOR, 100), other, repetitions(ENCODE, 200)])
        self.assertEqual(targets.judged(run, TARGET).ratio, 2)

    def test_others_count_by_their_quickest_way_and_the_library_by_its_plain_one(self):
        run = run_of([repetitions(PEER.format("plain"), 300, label="owned, block copied"),
                      repetitions(PEER.format("arena"), 200, label="owned, block copied"),
                      repetitions(PEER.format("kept string"), 100, label="kept, block copied"),
                      repetitions(ENCODE, 150), repetitions(ENCODE.replace("plain", "set anew"), 10)])
        owned = targets.judged(run, targets.beside("protobuf", "encode", "reused", "owned"))
        self.assertEqual((owned.other.way, owned.ratio, owned.is_met), ("arena", 0.75, True))
        kept = targets.judged(run, targets.beside("protobuf", "encode", "reused", "kept"))
        self.assertEqual((kept.other.way, kept.ratio, kept.is_met), ("kept string", 1.5, False))

    def test_a_row_that_went_wrong_breaks_the_run(self):
        row = {"name": ENCODE, "error_occurred": True, "error_message": "wrong result"}
        with self.assertRaisesRegex(BrokenRun, "wrong result"):
            run_of([[row]])

    def test_a_row_that_a_process_lacks_breaks_the_run(self):
        with self.assertRaises(BrokenRun):
            run_of([repetitions(FLOOR, 100), repetitions(ENCODE, 100)], [repetitions(FLOOR, 100)])
        with self.assertRaises(BrokenRun):
            run_of([])


class DoubtTest(unittest.TestCase):
    def doubts(self, *floors, waiting=1.0):
        return targets.doubts(run_of(*([repetitions(FLOOR, *times), repetitions(ENCODE, 200, waiting=waiting)]
                                       for times in floors)))

    def test_a_quiet_run_has_none(self):
        self.assertEqual(self.doubts([100, 500], [300, 109], [104]), [])

    def test_floors_that_differ_between_processes(self):
        self.assertEqual(self.doubts([100], [150], [104]), [])  # two agree
        found = self.doubts([100, 100], [111, 130], [112])
        self.assertEqual(len(found), 1)
        self.assertIn("differ by 11% between the two best processes, not at most 10%", found[0])

    def test_only_floors_that_something_is_compared_with_count(self):
        name = FLOOR.replace("100", "7")
        others = [[{**row, "bytes": 7.0} for row in repetitions(name, time)] for time in (1, 2)]
        run = run_of(*([repetitions(FLOOR, 100), repetitions(ENCODE, 200), other] for other in others))
        self.assertEqual(targets.doubts(run), [])

    def test_others_that_have_the_processor(self):
        self.assertEqual(self.doubts([100], waiting=1.19), [])  # of half of the rows
        found = self.doubts([100], waiting=1.3)
        self.assertEqual(len(found), 1)
        self.assertIn("15% above the processor's", found[0])


class ThreadsTest(unittest.TestCase):
    def test_the_cores_that_are_there_count(self):
        for cores, parts in ((4, [1, 0.95, 0.9]), (2, [1, 0.95, 1.8])):
            run = run_of([threaded("floor", 10, 19, 36)], num_cpus=cores)
            rates = targets.scaling(run)["floor", "decode", "fresh"]
            self.assertEqual([threads for threads, *_ in rates], [1, 2, 4])
            for (_, _, part), expected in zip(rates, parts):
                self.assertAlmostEqual(part, expected)

    def test_the_library_is_compared_with_threads_that_copy(self):
        run = run_of([threaded("floor", 10, 20, 32) + threaded("library", 5, 9, 8)])
        parts = [part for *_, part in targets.scaling(run)["library", "decode", "fresh"]]
        self.assertEqual(parts, [1, 0.9, 0.5])

    def test_rates_are_those_of_the_clock(self):
        rows = threaded("floor", 1, 2, 4) + threaded("library", 10, 20, 40)
        for row in rows:
            row["cpu_time"] = 100.0
        rates = targets.scaling(run_of([rows]))["library", "decode", "fresh"]
        self.assertEqual([round(rate) for _, rate, _ in rates], [10_000_000, 20_000_000, 40_000_000])

    def test_threads_that_wait_are_no_sign_of_others(self):
        rows = threaded("library", 10, 20, 40)
        for row in rows:
            row["cpu_time"] = row["real_time"] / 3
        run = run_of([rows, repetitions(FLOOR, 100)])
        self.assertEqual(run.waiting, 0)

    def test_a_floor_that_does_not_scale_is_a_doubt(self):
        self.assertEqual(targets.thread_doubts(run_of([threaded("floor", 10, 20, 31)])), [])
        found = targets.thread_doubts(run_of([threaded("floor", 10, 20, 29)]))
        self.assertEqual(len(found), 1)
        self.assertIn("4 threads that only copy memory reach 72.5%", found[0])


def check(form, nanoseconds, of_decoder=100):
    """Rows of check() and of the decoder of a message."""
    name = f"library/plain/{form}/PackageBase"
    return (repetitions(f"{name}/check/small/fresh", nanoseconds)
            + repetitions(f"{name}/decode/small/reused", of_decoder))


def exchange(form, by_hand, engine):
    name = f"{{}}/exchange of {form}/PackageRequestReadData/exchange/small/reused"
    return (repetitions(f"library/{name.format('by hand')}", by_hand)
            + repetitions(f"library/{name.format('engine')}", engine))


class OwnTargetsTest(unittest.TestCase):
    def test_every_message_is_checked_as_fast_as_it_is_decoded(self):
        run = run_of([check("request frame", 90), check("reply record", 100), check("short reply frame", 101),
                      repetitions("library/plain/request record/PackageBase/check/small/fresh", 7)])
        self.assertEqual([(verdict.target.name, round(verdict.ratio, 2), verdict.is_met)
                          for verdict in targets.checks(run)],
                         [("request frame, PackageBase, small, check", 0.9, True),
                          ("reply record, PackageBase, small, check", 1, True),
                          ("short reply frame, PackageBase, small, check", 1.01, False)])

    def test_the_engine_is_compared_with_coding_by_hand(self):
        run = run_of([exchange("frames", 300, 1300), exchange("records", 2000, 3500)])
        self.assertEqual(targets.engine_times(run), {"exchange of frames": 1000, "exchange of records": 1500})

    def test_misses_are_named(self):
        run = run_of([repetitions(FLOOR, 100), check("request frame", 90), check("reply record", 95),
                      check("short reply frame", 250), exchange("frames", 300, 1300),
                      exchange("records", 2000, 3001)])
        lines = list(report.Verdicts(run).lines())
        for line in (["check of 2 of 3 messages, the slowest of them", "1 x decode", "0.95 x", "met"],
                     ["short reply frame, PackageBase, small, check", "1 x decode", "2.50 x", "**missed**"],
                     ["exchange of frames, by the engine", "1,000 ns more than by hand", "1,000 ns", "met"],
                     ["exchange of records, by the engine", "1,000 ns more than by hand", "1,001 ns", "**missed**"]):
            self.assertIn(line, lines)


def whole_run():
    """The JSON of a quiet process with all rows that the page needs; each takes 100 nanoseconds."""
    rows = []

    def add(who="library", way="plain", form="request frame", subject=targets.WRITE, operation="encode",
            payload="large", object="reused", label="owned"):
        rows.extend(repetitions(f"{who}/{way}/{form}/{subject}/{operation}/{payload}/{object}", 100, label=label))

    for target in targets.TARGETS:
        add(**target.measured)
        if target.other is not targets.FLOOR:
            add(**{"way": "plain", "form": "numbers", "payload": "large", "object": "fresh", **target.other})
    for operation, obj in targets.PLACES:
        for who in targets.PEERS:
            add(who, operation=operation, object=obj)
    for operation in ("encode", "decode"):
        add(form="request record", subject="PackageBase", payload="small", operation=operation)
    add(subject=f"{targets.WRITE} by size", payload="1024")
    rows += check("request frame", 100) + exchange("frames", 100, 100) + exchange("records", 100, 100)
    rows += repetitions(FLOOR, 100) + threaded("floor", 10, 20, 40) + threaded("library", 10, 20, 40)
    unique = {row["name"]: row for row in rows}
    return {"context": CONTEXT, "benchmarks": list(unique.values())}


class ReportTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name, kind in (("PAGE", "md"), ("CHART", "svg"), ("ROWS", "csv")):
            path = self.folder / f"page.{kind}"
            path.write_text("")
            self.addCleanup(setattr, report, name, getattr(report, name))
            setattr(report, name, path)
        report.PAGE.write_text(f"head\n{report.BEGIN}\nold\n{report.END}\ntail\n")

    def report(self, *processes, arguments=("--write",)):
        """The exit status with its message, and the output."""
        files = []
        for process in processes:
            files.append(self.folder / f"{len(files)}.json")
            files[-1].write_text(json.dumps(process))
        printed, status = io.StringIO(), 0
        with contextlib.redirect_stdout(printed):
            try:
                report.main([*arguments, *map(str, files)])
            except SystemExit as end:
                status = end.code
        return status, printed.getvalue()

    def test_a_quiet_run_is_judged_and_written(self):
        status, printed = self.report(whole_run(), whole_run(), whole_run())
        self.assertEqual(status, 0)
        self.assertIn("| request frame, encode, reused | 2.3 x floor | 1.00 x | met |", printed)
        self.assertIn("| request record, 2,048 numbers, read | 0.5 x floor, bare loop | 1.00 x | **missed** |", printed)
        self.assertIn("| nanopb | met, 1.00 x plain |", printed)
        self.assertNotIn("ot judged", printed)
        page = report.PAGE.read_text()
        self.assertTrue(page.startswith(f"head\n{report.BEGIN}\n"))
        self.assertTrue(page.endswith(f"{report.END}\ntail\n"))
        self.assertIn(printed.strip(), page)
        self.assertNotIn("old", page)
        rows = report.ROWS.read_text().splitlines()
        self.assertEqual(len(rows), 1 + len(whole_run()["benchmarks"]))
        self.assertIn("protobuf,plain,request frame,PackageRequestWriteData,encode,large,reused,1,owned,100,100.0,"
                      "100.0,1.00", rows)

    def test_the_chart_names_all_libraries(self):
        self.report(whole_run())
        texts = ["".join(text.itertext()) for text in
                 xml.etree.ElementTree.parse(report.CHART).iter("{http://www.w3.org/2000/svg}text")]
        for who in ("korvinpackage", *targets.PEERS):
            self.assertEqual(texts.count(who), len(targets.PLACES), who)

    def test_a_busy_run_is_not_judged(self):
        busy = whole_run()
        for row in busy["benchmarks"]:
            row["real_time"] *= 2
        status, printed = self.report(busy, copy.deepcopy(busy))
        self.assertIn("not judged", status)
        self.assertIn("the clock's time is 100% above", status)
        self.assertIn("| request frame, encode, reused | 2.3 x floor | 1.00 x | not judged |", printed)
        self.assertIn("**Not judged, run it again on a quiet machine**", report.PAGE.read_text())

    def test_a_run_without_other_libraries_is_neither_judged_nor_written(self):
        few = whole_run()
        few["benchmarks"] = [row for row in few["benchmarks"] if not row["name"].startswith("protobuf")]
        status, printed = self.report(few)
        self.assertIn("not judged: not all rows", status)
        self.assertIn("old", report.PAGE.read_text())
        status, printed = self.report(few, arguments=())
        self.assertEqual(status, 0)
        self.assertIn("100.0 ns  library / plain / request frame / PackageRequestWriteData / encode", printed)
        self.assertNotIn("met", printed)


if __name__ == "__main__":
    unittest.main()
