#!/usr/bin/env python3
"""Changes one token of a source at a time, and looks whether the tests notice.

The mutants are made in a copy of the tree, in build/mutate, where the library is built without
optimisation and the tests are linked to it dynamically: for a mutant only the library is built again.
The same seed and sources make the same mutants. Exits with 1 where less than 98 % of those that
docs/mutation.md does not explain are killed.
"""

import argparse
import os
import random
import re
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
TREE = WORK / "source"
BUILD = WORK / "build"
EXPLAINED = ROOT / "docs" / "mutation.md"

# Library: the test programs that are run, the quickest first.
LIBRARIES = {
    "korvinpackage": ["korvinpackage_tests", "outofmemory_tests", "korvininspect_tests"],
    "korvininspect": ["korvininspect_tests", "outofmemory_tests", "korvinpack_tests"],
}
REQUIRED = 0.98
MEMORY_LIMIT = 8 << 30  # of a test program; a mutant may ask for anything

SWAPPED = {
    "==": ["!="], "!=": ["=="],
    "<": ["<=", ">"], "<=": ["<", ">"], ">": [">=", "<"], ">=": [">", "<"],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
    "&": ["|"], "|": ["&"], "&&": ["||"], "||": ["&&"],
    "<<": [">>"], ">>": ["<<"],
    "+=": ["-="], "-=": ["+="], "|=": ["&="], "++": ["--"], "--": ["++"],
    "true": ["false"], "false": ["true"],
    "qMin": ["qMax"], "qMax": ["qMin"],
}
# Between blanks, so that brackets of templates, references and pointers are left alone.
BINARY = re.compile(r"(?<= )(?:==|!=|<=|>=|&&|\|\||<<|>>|\+=|-=|\|=|[-<>+*/%&|])(?= )")
WORD = re.compile(r"\b(?:true|false|qMin|qMax)\b|\+\+|--")
NUMBER = re.compile(r"(?<![\w.])(0x[0-9A-Fa-f]+|\d+)(?![\w.'])")
NEGATION = re.compile(r"!(?=[\w(])")
ARGUMENTS = re.compile(r"(?<!qMin)(?<!qMax)\((\w+(?:\.\w+\(\))?), (\w+(?:\.\w+\(\))?)\)")
CONDITION = re.compile(r"\bif \((?=.*\)$|.*\) \{$)")
STATEMENT = re.compile(r"^\s+(?!return\b|break;|using\b|auto\b|const\b|static\b|case\b|template\b)"
                       r"(?:[\w:>\-.*\[\]\(\)]+(?:\(.*\)| (?:[-+|]?=) .+)|(?:\+\+|--)[\w.]+);$")
RETURN = re.compile(r"\breturn (?=[^;]+;)")
ROW = re.compile(r"^    \{.+\},$")


def blanked(text):
    """The text with the characters of comments, literals and directives as blanks."""
    pattern = re.compile(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'|^#[^\n]*",
                         re.DOTALL | re.MULTILINE)
    return pattern.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


def candidates(path):
    """All mutants of a source: line number from 0, the line, and the line after the change."""
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
            if line[match.end():end] != "{}":
                change(match.end(), end, "{}")
    return found


def chosen(sources, count, seed):
    """The mutants of each source in a random order, and as many of them as are its share."""
    orders = {}
    for source in sources:
        orders[source] = candidates(ROOT / source)
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
    """Copies the tree and builds the test programs in it."""
    TREE.mkdir(parents=True, exist_ok=True)
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True)
    for name in files.stdout.decode().split("\0"):
        origin, copy = ROOT / name, TREE / name
        if name and origin.is_file():
            if not copy.exists() or copy.read_bytes() != origin.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(origin, copy)
    # Most of the time goes into Qt's headers: three sources are compiled in one go, where they do not
    # use the same names.
    (WORK / "together.cmake").write_text(
        "cmake_language(DEFER CALL set_target_properties korvinpackage"
        " PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 3)\n")
    for together in (WORK / "together.cmake", ""):
        subprocess.run(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=",
                        "-DCMAKE_CXX_FLAGS=-O0 -w", "-DBUILD_SHARED_LIBS=ON",
                        "-DKORVINPACKAGE_BUILD_EXAMPLES=OFF",
                        f"-DCMAKE_PROJECT_INCLUDE={together}"],
                       check=True, stdout=subprocess.DEVNULL)
        if build("korvinpackage"):
            break
    build(*programs, check=True)


def build(*targets, check=False):
    return subprocess.run(["cmake", "--build", BUILD, "--target", *targets], check=check,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def limited():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(program, timeout):
    environment = dict(os.environ, LC_ALL="C.UTF-8", GTEST_FAIL_FAST="1", GTEST_BRIEF="1")
    process = subprocess.Popen([BUILD / "tests" / program], env=environment, cwd=WORK,
                               preexec_fn=limited, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        return process.wait(timeout) == 0
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return False


def explained():
    """The survivors that docs/mutation.md says no test can kill: source, line before and after."""
    rows = set()
    for line in EXPLAINED.read_text().split("\n") if EXPLAINED.exists() else []:
        cells = re.match(r"\| `([^`]+)` \| `` (.+?) `` \| `` (.+?) `` \|", line)
        if cells:
            rows.add(tuple(cell.replace("\\|", "|") for cell in cells.groups()))
    return rows


def cell(text):
    return "`` " + (text.strip() or ";").replace("|", "\\|") + " ``"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--count", type=int, default=240, help="number of mutants (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="which mutants (%(default)s)")
    parser.add_argument("--library", choices=LIBRARIES, default="korvinpackage")
    parser.add_argument("sources", nargs="*", help="sources instead of all of the library")
    arguments = parser.parse_args()

    programs = LIBRARIES[arguments.library]
    sources = arguments.sources or sorted(
        str(path.relative_to(ROOT)) for suffix in ("*.cpp", "*_p.h")
        for path in (ROOT / arguments.library).glob(suffix))
    orders, shares = chosen(sources, arguments.count, arguments.seed)
    prepare(programs)
    timeouts = {}
    for program in programs:
        start = time.monotonic()
        if not passes(program, 600):
            sys.exit(f"mutate: {program} fails without a mutant")
        timeouts[program] = 20 + 5 * (time.monotonic() - start)

    known = explained()
    killed, equivalent, survivors, stillborn = 0, 0, [], 0
    start = time.monotonic()
    for source in sources:
        original = (ROOT / source).read_text()
        pending = list(orders[source])
        alive, done = 0, 0
        while pending and done < shares[source]:
            number, before, after = pending.pop(0)
            lines = original.split("\n")
            lines[number] = after
            (TREE / source).write_text("\n".join(lines))
            if not build(arguments.library):
                stillborn += 1
                continue
            done += 1
            if not all(passes(program, timeouts[program]) for program in programs):
                killed += 1
            elif (source, before.strip(), after.strip() or ";") in known:
                equivalent += 1
            else:
                alive += 1
                survivors.append((source, number + 1, before, after))
                print(f"survives: | `{source}` | {cell(before)} | {cell(after)} | line {number + 1}",
                      flush=True)
        (TREE / source).write_text(original)
        print(f"{source}: {done} mutants, {alive} survive ({time.monotonic() - start:.0f} s)",
              flush=True)
    build(*programs, check=True)

    judged = killed + len(survivors)
    rate = killed / judged if judged else 0
    print(f"{judged + equivalent} mutants of {len(sources)} sources, {killed} killed, {equivalent} "
          f"explained, {len(survivors)} survive; {stillborn} more did not compile; "
          f"{100 * rate:.1f} % killed of those that are not explained")
    return 0 if rate >= REQUIRED else 1


if __name__ == "__main__":
    sys.exit(main())
