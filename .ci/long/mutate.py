#!/usr/bin/env python3
"""Changes one token of a source at a time, and counts the changes that the tests notice.

With --library layouts it plants wrong layouts instead, which the replay of the fuzzers' corpora should
notice: two neighbours swapped, a field moved, missing, doubled or with another verb, another constant. With
--library rules it breaks the rules of the engine of korvinexchange, as tests/exchange/enginefaults.py lists them;
all of these must be killed.

The mutants are made in a copy of the tree, in build/mutate. The tests are built once, with clang++ and
without optimisation, and find each mutant of the library as their shared library. A mutant of a header that they
do not notice is judged once more, with all that includes the header built anew.
The same seed and sources make the same mutants. Exits with 1 where less than 98 % of those that
docs/mutation.md does not explain are killed.
"""

import argparse
import collections
import contextlib
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "exchange"))
from enginefaults import FAULTS  # noqa: E402

WORK = ROOT / "build" / "mutate"
TREE = WORK / "source"
BUILD = WORK / "build"
EXPLAINED = ROOT / "docs" / "mutation.md"

# What is judged: the tests that are run, the quickest first: a program and its filter of GoogleTest, a fuzz
# target and its corpus, or ctest and the name of a test.
LARGE = "*256Mebibytes:*.LengthFarBeyond*:*.DataStringThatNoTextCanHold*"
LONG = "*TakeNoMoreMemory*:WrongCalls.*:*OfEveryClassAndForm*"
GENERATED = "*.AgreesWithTheDecoders*OnGeneratedInput"
SLOW = ("Guess.TheBestOne*:Guess.FindsThe*:BrokenGuess.NamesWhatTheMessageWas*:Check.AcceptsEvery*:"
        "Check.Agrees*:Check.RefusesTruncations*:Explain.AgreesWithTheDecoderOf*:Explain.TextOfJsonIs*")
LIBRARIES = {
    "korvinpackage": [
        ("korvinpackage_tests", f"-{LARGE}"),
        ("outofmemory_tests", "*OutOfMemory*"),
        ("korvininspect_tests", f"-{GENERATED}"),
        ("korvinpackage_tests", LARGE),
        ("outofmemory_tests", "*DecoderMemory*:AnnouncedMemory*"),
        ("korvininspect_tests", GENERATED),
    ],
    "korvininspect": [
        ("korvininspect_tests", f"-{GENERATED}:{SLOW}"),
        ("korvinpack_tests", "*"),
        ("cppsource_tests", "*"),
        ("korvininspect_tests", SLOW),
        ("outofmemory_tests", "*"),
        ("korvininspect_tests", GENERATED),
    ],
    "korvinsimulator": [
        ("korvinsimulator_tests", "*"),
        ("outofmemory_tests", "SimulatorMemory.*"),
        ("korvinexchange_tests", "Transfer*:ClientTcp*"),  # those that exchange with it
    ],
    "korvinexchange": [
        ("korvinexchange_tests", "-Engine/Orders*"),
        ("outofmemory_tests", "*Engine*:*Framing*:ClientMemory*"),
        ("korvinexchange_tests", "Engine/Orders*"),
    ],
    "rules": [
        ("korvinexchange_tests", "-Engine/Orders*"),
        ("korvinexchange_tests", "Engine/Orders*"),
    ],
    "tools": [
        ("korvinpack_readers_tests", "*"),
        ("korvinpack_tests", f"-{LONG}"),
        ("ctest", "^Documentation[.](Picture|Commands|StartPages)"),
        ("htmlpage_tests", "*"),
        ("korvinpack_tests", LONG),
        ("cppsource_tests", "*"),
        ("ctest", "^htmlpage_needs_a_browser$"),
    ],
    "tools/device": [("ctest", "^device_[A-Z]")],
    "wireshark": [("ctest", "^dissector$")],
    "layouts": [(f"{target}_replay", target) for target in
                ("frame", "record", "linuxframe", "combination", "inspect")],
}
LAYOUTS = "korvinpackage/layouts_p.h"
# What is built again for a mutant: the library, unless the tests find it in another way.
REBUILT = {
    "tools": ["korvinpack"],
    "tools/device": ["korvin-device"],
    "wireshark": ["korvinpack", "conformance_generator"],
    "layouts": ["korvinpackage", "korvininspect"],
    "rules": ["korvinexchange"],
}
RELINKED = {"tools"}  # whose test programs hold the mutant; each is built when its turn has come
REQUIRED = 0.98
MEMORY_LIMIT = 8 << 30  # of a test program; a mutant may ask for anything

SWAPPED = {
    "==": ["!="], "!=": ["=="],
    "<": ["<=", ">"], "<=": ["<", ">"], ">": [">=", "<"], ">=": [">", "<"],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
    "&": ["|"], "|": ["&"], "&&": ["||"], "||": ["&&"],
    "<<": [">>"], ">>": ["<<"],
    "+=": ["-="], "-=": ["+="], "|=": ["&="], "++": ["--"], "--": ["++"],
    "true": ["false"], "false": ["true"], "~=": ["=="], "and": ["or"], "or": ["and"],
    "qMin": ["qMax"], "qMax": ["qMin"],
}
# Between blanks, so that brackets of templates, references and pointers are left alone.
BINARY = re.compile(r"(?<= )(?:==|!=|<=|>=|&&|\|\||<<|>>|\+=|-=|\|=|[-<>+*/%&|])(?= )")
WORD = re.compile(r"\b(?:true|false|qMin|qMax)\b|\+\+|--")
NUMBER = re.compile(r"(?<![\w.])(0x[0-9A-Fa-f]+|\d+)(?![\w.'])")
NEGATION = re.compile(r"!(?=[\w(])")
ARGUMENTS = re.compile(r"(?<!qMin)(?<!qMax)(?<!qMin<qint64>)(?<!qMax<qint64>)"
                       r"\((\w+(?:\.\w+\(\))?), (\w+(?:\.\w+\(\))?)\)")
CONDITION = re.compile(r"\bif \((?=.*\)$|.*\) \{$)")
STATEMENT = re.compile(r"^\s+(?!return\b|break;|using\b|auto\b|const\b|static\b|case\b|template\b)"
                       r"(?:[\w:>\-.*\[\]\(\)]+(?:\(.*\)| (?:[-+|]?=) .+)|(?:\+\+|--)[\w.]+);$")
RETURN = re.compile(r"\breturn (?=[^;]+;)")
NOTHING = ("{}", "false", "nullptr", "0", "EXIT_SUCCESS", "QString()")  # what {} stands for
ROW = re.compile(r"^    \{.+\},$")

# The same in Lua; a call or an assignment is a statement.
LUA_SWAPPED = {**SWAPPED, "==": ["~="]}
LUA_BINARY = re.compile(r"(?<= )(?:==|~=|<=|>=|and|or|[-<>+*/%])(?= )")
LUA_WORD = re.compile(r"\b(?:true|false)\b")
LUA_NEGATION = re.compile(r"\bnot (?=[\w(])")
LUA_CONDITION = re.compile(r"\b(?:if|while) (?=.* (?:then|do)$)")
LUA_STATEMENT = re.compile(r"^\s+(?!return\b|local\b|break\b)[\w.:\[\]]+(?:\(.*\)| = [^{]+)$")
LUA_RETURN = re.compile(r"\breturn (?=.)")

# A line of a layout, a constant of one, and the verbs that a field may have by mistake.
FIELD = re.compile(r"^\s+(?:w\.(\w+)|\w+)\(.*\);$")
CONSTANT = re.compile(r"static constexpr int|w\.constant|Marker = ")
OTHER_VERBS = {
    "u8": ["s8", "u16", "i32", "flag", "access"], "s8": ["u8", "u16"], "u16": ["u8", "i32"],
    "i32": ["u8", "u16", "i32WrittenU32Read"], "flag": ["u8"], "access": ["u8", "flag"],
    "u64WrittenI32Read": ["i32", "u16", "i32WrittenU32Read"],
    "u32WrittenI32Read": ["i32", "i32WrittenU32Read"],
    "i32WrittenU32Read": ["i32", "u16"], "escaped": ["text"], "text": ["escaped", "sizedText"],
    "sizedText": ["uncountedText", "text"], "uncountedText": ["sizedText", "text"],
    "readKind": ["writeKind"], "writeKind": ["readKind"],
}


def blanked(text):
    """The text with the characters of comments, literals and directives as blanks."""
    pattern = re.compile(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'|^#[^\n]*",
                         re.DOTALL | re.MULTILINE)
    return pattern.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


def lua_candidates(path):
    """All mutants of a source in Lua, as candidates() has them."""
    lines = path.read_text().split("\n")
    found = []
    for number, line in enumerate(lines):
        code = re.sub(r"\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])*'|--.*", lambda m: " " * len(m.group()), line)

        def change(start, end, replacement):
            found.append((number, line, line[:start] + replacement + line[end:]))

        for match in list(LUA_BINARY.finditer(code)) + list(LUA_WORD.finditer(code)):
            for replacement in LUA_SWAPPED[match.group()]:
                change(*match.span(), replacement)
        for match in NUMBER.finditer(code):
            change(*match.span(), str(int(match.group(), 0) + 1))
        for match in LUA_NEGATION.finditer(code):
            change(*match.span(), "")
        for match in LUA_CONDITION.finditer(code):
            end = re.search(r" (?:then|do)$", code).start()
            change(match.end(), end, f"not ({line[match.end():end]})")
        if LUA_STATEMENT.match(code) and code.count("(") == code.count(")"):
            change(0, len(line), "")
        for match in LUA_RETURN.finditer(code):
            if code.count("(") == code.count(")") and not code.rstrip().endswith("end"):
                change(match.end(), len(line), "nil")
    return found


def candidates(path):
    """All mutants of a source: line number from 0, the line, and the line after the change."""
    if path.suffix == ".lua":
        return lua_candidates(path)
    lines = path.read_text().split("\n")
    found = []
    for number, (line, code) in enumerate(zip(lines, blanked("\n".join(lines)).split("\n"))):
        if "static_assert" in code:
            continue

        def change(start, end, replacement):
            found.append((number, line, line[:start] + replacement + line[end:]))

        for match in list(BINARY.finditer(code)) + list(WORD.finditer(code)):
            for replacement in SWAPPED[match.group()]:
                change(*match.span(), replacement)
        for match in NUMBER.finditer(code):
            change(*match.span(), str(int(match.group(), 0) + 1))
        for match in NEGATION.finditer(code):
            change(*match.span(), "")
        for match in ARGUMENTS.finditer(code):
            if match.group(1) != match.group(2) and not re.search(r"\w+ \w+\($", code[:match.start() + 1]):
                change(*match.span(), f"({match.group(2)}, {match.group(1)})")
        for match in CONDITION.finditer(code):
            if code.count("(") == code.count(")"):
                end = code.rindex(")")
                change(match.start(), end, f"if (!({line[match.end():end]})")
        if STATEMENT.match(code):
            change(len(line) - len(line.lstrip()), len(line), ";")
        if ROW.match(code):
            found.append((number, line, ""))
        for match in RETURN.finditer(code):
            end = code.index(";", match.end())
            if line[match.end():end] not in NOTHING:
                change(match.end(), end, "{}")
    return found


def wrong_layouts(path):
    """The same for a source of layouts. What is before and after the change may be several lines."""
    lines = path.read_text().split("\n")
    found = []
    start = 0  # of the layout that a line belongs to
    for number, line in enumerate(lines):
        if CONSTANT.search(line):
            for match in NUMBER.finditer(line):
                found += [(number, line, line[:match.start()] + str(value) + line[match.end():])
                          for value in (int(match.group(), 0) - 1, int(match.group(), 0) + 1) if value >= 0]
        match = FIELD.match(line)
        if match:
            verbs = OTHER_VERBS.get(match.group(1), [])
            others = [line.replace(f".{match.group(1)}(", f".{verb}(") for verb in verbs]
            found += [(number, line, other) for other in ["", f"{line}\n{line}", *others]]
            continue
        layout = lines[start:number]
        found += [(start + i, f"{a}\n{b}", f"{b}\n{a}") for i, (a, b) in enumerate(zip(layout, layout[1:]))
                  if a != b]
        if len(layout) > 2:
            orders = layout[1:] + layout[:1], layout[-1:] + layout[:-1], layout[::-1]
            found += [(start, "\n".join(layout), "\n".join(order)) for order in orders if order != layout]
        start = number + 1
    return found


def broken_rules(path):
    """The same for a source of the engine: the faults that are listed for it."""
    text = path.read_text()
    found = []
    for what, source, before, after in FAULTS:
        if source != path.name:
            continue
        if text.count(before) != 1:
            sys.exit(f"mutate: {source} must have once what is to be replaced where it {what}: {before}")
        at = text.index(before)
        start = text.rfind("\n", 0, at) + 1
        lines = text[start:text.index("\n", at + len(before))]
        found.append((text.count("\n", 0, start), lines, lines.replace(before, after)))
    return found


def chosen(sources, mutants_of, count, seed):
    """The mutants of each source in a random order, and as many of them as are its share."""
    orders = {}
    for source in sources:
        orders[source] = mutants_of(TREE / source)
        random.Random(f"{seed} {source}").shuffle(orders[source])
    shares = {source: 0 for source in sources}
    while sum(shares.values()) < count:
        growing = [s for s in sources if shares[s] < len(orders[s])]
        if not growing:
            break
        for source in growing[: count - sum(shares.values())]:
            shares[source] += 1
    return orders, shares


def prepare(programs):
    """Installs what is missing, copies the tree and builds the test programs in it."""
    subprocess.run([ROOT / "scripts" / "setup.sh", "--ci"], check=True)
    TREE.mkdir(parents=True, exist_ok=True)
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True)
    for name in files.stdout.decode().split("\0"):
        origin, copy = ROOT / name, TREE / name
        if name and origin.is_file():
            if not copy.exists() or copy.read_bytes() != origin.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(origin, copy)
    subprocess.run(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                    "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w",
                    "-DBUILD_SHARED_LIBS=ON", "-DKORVINPACKAGE_BUILD_EXAMPLES=OFF"],
                   check=True, stdout=subprocess.DEVNULL)
    if not build(programs):
        sys.exit(f"mutate: {' '.join(programs)} cannot be built without a mutant")


def build(targets):
    """Builds the libraries or programs; tests find the libraries where they were linked to them."""
    return subprocess.run(["cmake", "--build", BUILD, "--target", *targets], check=False,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def limited():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(program, tests, timeout):
    environment = dict(os.environ, LC_ALL="C.UTF-8", GTEST_FAIL_FAST="1", GTEST_FILTER=tests)
    command = [BUILD / "tests" / program]
    if program.endswith("_replay"):
        command = [BUILD / "fuzz" / program, ROOT / "fuzz" / "corpus" / tests]
        del environment["GTEST_FILTER"]
    elif program == "ctest":
        command = ["ctest", "--test-dir", BUILD, "--stop-on-failure", "-R", tests]
        del environment["GTEST_FILTER"]
    process = subprocess.Popen(command, env=environment, cwd=WORK,
                               preexec_fn=limited, start_new_session=True, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        return process.wait(timeout) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        # What a test has started may hang, too.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()


def explained():
    """The survivors that docs/mutation.md says no test can kill: source, line before and after."""
    rows = set()
    for line in EXPLAINED.read_text().split("\n") if EXPLAINED.exists() else []:
        cells = re.match(r"\| `([^`]+)` \| `` (.+?) `` \| `` (.+?) `` \|", line)
        if cells:
            rows.add(tuple(cell.replace("\\|", "|") for cell in cells.groups()))
    return rows


def on_one_line(text):
    return re.sub(r"\s*\n\s*", " ", text.strip()) or ";"


def cell(text):
    return "`` " + on_one_line(text).replace("|", "\\|") + " ``"


def parsed_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--count", type=int, default=240, help="number of mutants (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="which mutants (%(default)s)")
    parser.add_argument("--library", choices=LIBRARIES, default="korvinpackage")
    parser.add_argument("sources", nargs="*", help="sources instead of all of the library")
    return parser.parse_args()


def sources_of(arguments):
    if arguments.library == "layouts":
        return [LAYOUTS]
    if arguments.library == "rules":
        return sorted({f"korvinexchange/{source}" for _, source, _, _ in FAULTS})
    return arguments.sources or sorted(
        str(path.relative_to(ROOT)) for suffix in ("*.cpp", "*_p.h", "*.lua")
        for path in (ROOT / arguments.library).glob(suffix)
        if not path.stem.endswith(("generator", "_layouts")))


def timeouts_of(suites):
    """Runs the suites without a mutant, and gives each some times as long as it took."""
    timeouts = {}
    for suite in suites:
        start = time.monotonic()
        if not passes(*suite, 600):
            sys.exit(f"mutate: {' '.join(suite)} fails without a mutant")
        timeouts[suite] = 20 + 5 * (time.monotonic() - start)
    return timeouts


class Judge:
    """Counts what becomes of the mutants of some sources."""

    def __init__(self, library, names, timeouts, programs):
        self.library = library
        self.names = names
        self.timeouts = timeouts
        self.programs = programs
        self.known = explained()
        self.counts = collections.Counter()

    def outcome_of(self, source, original, mutant):
        number, before, after = mutant
        lines = original.split("\n")
        lines[number:number + before.count("\n") + 1] = after.split("\n")
        (TREE / source).write_text("\n".join(lines))
        if not build(self.names):
            return "not compiled"
        if not self.all_pass():
            return "killed"
        if (source, on_one_line(before), on_one_line(after)) in self.known:
            return "explained"
        if source.endswith(".h") and not self.pass_when_built_anew(source, original):
            return "killed"
        print(f"survives: | `{source}` | {cell(before)} | {cell(after)} | line {number + 1}", flush=True)
        return "survives"

    def all_pass(self):
        return all(self.notices_nothing(suite, timeout) for suite, timeout in self.timeouts.items())

    def pass_when_built_anew(self, source, original):
        """Judges a mutant of a header again: tests and other libraries have code of the header, too."""
        survives = build(self.programs) and self.all_pass()
        (TREE / source).write_text(original)
        build(self.programs)
        return survives

    def notices_nothing(self, suite, timeout):
        if self.library in RELINKED and suite[0] != "ctest" and not build([suite[0]]):
            return False  # a test compiles what the mutant writes
        return passes(*suite, timeout)

    def judge(self, source, mutants, share):
        """Judges mutants until as many as the share have compiled."""
        start = time.monotonic()
        original = (TREE / source).read_text()
        counts, done = collections.Counter(), 0
        for mutant in mutants:
            if done == share:
                break
            outcome = self.outcome_of(source, original, mutant)
            counts[outcome] += 1
            done += outcome != "not compiled"
        (TREE / source).write_text(original)
        self.counts += counts
        print(f"{source}: {done} mutants, {counts['survives']} survive ({time.monotonic() - start:.0f} s)",
              flush=True)


def main():
    arguments = parsed_arguments()
    suites = LIBRARIES[arguments.library]
    sources = sources_of(arguments)
    rebuilt = REBUILT.get(arguments.library, [arguments.library])
    programs = sorted({program for program, _ in suites if program != "ctest"} | set(rebuilt))
    prepare(programs)
    mutants_of = {"layouts": wrong_layouts, "rules": broken_rules}.get(arguments.library, candidates)
    count = len(FAULTS) if arguments.library == "rules" else arguments.count
    orders, shares = chosen(sources, mutants_of, count, arguments.seed)
    judge = Judge(arguments.library, rebuilt, timeouts_of(suites), programs)
    for source in sources:
        judge.judge(source, orders[source], shares[source])

    counts = judge.counts
    judged = counts["killed"] + counts["survives"]
    rate = counts["killed"] / judged if judged else 0
    print(f"{judged + counts['explained']} mutants of {len(sources)} sources, {counts['killed']} killed, "
          f"{counts['explained']} explained, {counts['survives']} survive; {counts['not compiled']} more did "
          f"not compile; {100 * rate:.1f} % killed of those that are not explained")
    if arguments.library == "rules":
        return 0 if counts["killed"] == len(FAULTS) else 1
    return 0 if rate >= REQUIRED else 1


if __name__ == "__main__":
    sys.exit(main())
