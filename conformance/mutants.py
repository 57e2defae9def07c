#!/usr/bin/env python3
"""Judges the conformance kit by faults: a case must notice each of them.

The faults are changes of the reference, one at a time: those of faults.py, and mechanical ones (an
operator, a constant, a bound, an encoding, the order of two statements, a statement left out ...). A
mechanical one that no case notices is listed, unless EXPLAINED says why nothing on the wire shows it. The
answer that gives a fault away is judged once more by korvinpack conform itself, which must also notice
many of the faults at once.

Usage: mutants.py KORVINPACK CASES REFERENCE EXPLAINED [--jobs N]
"""

import argparse
import ast
import collections
import copy
import json
import multiprocessing
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile
import time

from faults import FAULTS

LEAST_NOTICED = 0.98
LEAST_AT_ONCE = 22
SECONDS = 5  # that all cases together may take a mutant
MEMORY = 2 << 30
LONGEST_ANSWER = 1 << 20

COMPARISONS = {
    ast.Lt: (ast.LtE, ast.GtE), ast.LtE: (ast.Lt, ast.Gt), ast.Gt: (ast.GtE, ast.LtE),
    ast.GtE: (ast.Gt, ast.Lt), ast.Eq: (ast.NotEq,), ast.NotEq: (ast.Eq,), ast.In: (ast.NotIn,),
    ast.NotIn: (ast.In,), ast.Is: (ast.IsNot,), ast.IsNot: (ast.Is,),
}
OPERATORS = {
    ast.Add: (ast.Sub,), ast.Sub: (ast.Add,), ast.Mult: (ast.Add,), ast.BitAnd: (ast.BitOr,),
    ast.BitOr: (ast.BitAnd,), ast.LShift: (ast.RShift,), ast.RShift: (ast.LShift,),
}
NAMES = {"min": "max", "max": "min", "int32": "uint32", "uint32": "int32", "is_read": "is_write",
         "is_write": "is_read"}
STRINGS = {"utf-8": "latin-1", "little": "big", "replace": "ignore"}


def name(identifier):
    return ast.Name(identifier, ast.Load())


def plus(node, amount):
    return ast.BinOp(node, ast.Add() if amount > 0 else ast.Sub(), ast.Constant(abs(amount)))


def without(items, index):
    return items[:index] + items[index + 1:]


def swapped(items, index):
    return items[:index] + [items[index + 1], items[index]] + items[index + 2:]


def changed(node, **fields):
    other = copy.copy(node)
    for field, value in fields.items():
        setattr(other, field, value)
    return other


def of_constant(node):
    value = node.value
    if isinstance(value, bool):
        yield ast.Constant(not value)
    elif isinstance(value, int):
        yield ast.Constant(value + 1)
        yield ast.Constant(value - 1)
    elif isinstance(value, str):
        if value in STRINGS:
            yield ast.Constant(STRINGS[value])
        else:
            yield ast.Constant(value[:-1] if value else "x")
            yield ast.Constant(value.swapcase() if value.swapcase() != value else value + "x")
    elif isinstance(value, bytes):
        yield ast.Constant(value + b"\1")
        if value:
            yield ast.Constant(value[:-1])


def of_call(node):
    method = node.func.attr if isinstance(node.func, ast.Attribute) else ""
    if method == "encode":
        yield changed(node, args=[ast.Constant("latin-1"), ast.Constant("replace")])
        yield changed(node, args=[ast.Constant("utf-16-le")])
    if method == "replace" and isinstance(node.func.value, ast.Call):
        inner = node.func.value
        yield changed(node, args=inner.args,
                      func=changed(node.func, value=changed(inner, args=node.args)))
    if method == "replace":
        yield node.func.value
        yield changed(node, args=node.args + [ast.Constant(1)])
    if not (isinstance(node.func, ast.Name) and node.func.id in NAMES):
        for i in range(len(node.args) - 1):
            yield changed(node, args=swapped(node.args, i))
    for i in range(len(node.keywords)):
        yield changed(node, keywords=without(node.keywords, i))


def of_slice(node):
    for bound in ("lower", "upper"):
        value = getattr(node, bound)
        if value is None:
            continue
        yield changed(node, **{bound: None})
        if not isinstance(value, ast.Constant):
            yield changed(node, **{bound: plus(value, 1)})
            yield changed(node, **{bound: plus(value, -1)})


def of_sequence(node):
    for i in range(len(node.elts)):
        yield changed(node, elts=without(node.elts, i))
    for i in range(0 if isinstance(node, ast.Set) else len(node.elts) - 1):
        yield changed(node, elts=swapped(node.elts, i))


def of_dict(node):
    for i in range(len(node.keys)):
        yield changed(node, keys=without(node.keys, i), values=without(node.values, i))
    for i in range(len(node.keys) - 1):
        yield changed(node, values=swapped(node.values, i))


def of_expression(node):
    """Returns wrong expressions to put in place of this one."""
    if isinstance(node, ast.Constant):
        yield from of_constant(node)
    elif isinstance(node, ast.Compare) and len(node.ops) == 1:
        for operator in COMPARISONS[type(node.ops[0])]:
            yield changed(node, ops=[operator()])
    elif isinstance(node, ast.Compare):
        for i in range(len(node.ops)):
            for operator in COMPARISONS[type(node.ops[i])]:
                yield changed(node, ops=node.ops[:i] + [operator()] + node.ops[i + 1:])
    elif isinstance(node, ast.BoolOp):
        yield changed(node, op=ast.Or() if isinstance(node.op, ast.And) else ast.And())
        for i in range(len(node.values)):
            rest = without(node.values, i)
            yield rest[0] if len(rest) == 1 else changed(node, values=rest)
    elif isinstance(node, ast.BinOp):
        for operator in OPERATORS.get(type(node.op), ()):
            yield changed(node, op=operator())
        yield node.left
        yield node.right
    elif isinstance(node, ast.UnaryOp):
        yield node.operand
    elif isinstance(node, ast.IfExp):
        yield changed(node, body=node.orelse, orelse=node.body)
        yield node.body
        yield node.orelse
    elif isinstance(node, ast.Call):
        yield from of_call(node)
    elif isinstance(node, ast.Slice):
        yield from of_slice(node)
    elif isinstance(node, ast.Subscript) and isinstance(node.slice, (ast.Name, ast.BinOp)):
        yield changed(node, slice=plus(node.slice, 1))
        yield changed(node, slice=plus(node.slice, -1))
    elif isinstance(node, (ast.Tuple, ast.List, ast.Set)) and not isinstance(
            getattr(node, "ctx", None), ast.Store):
        yield from of_sequence(node)
    elif isinstance(node, ast.Dict):
        yield from of_dict(node)
    elif isinstance(node, ast.Name) and node.id in NAMES and isinstance(node.ctx, ast.Load):
        yield name(NAMES[node.id])


def of_statements(statements):
    """Returns wrong lists of statements to put in place of these."""
    for i, statement in enumerate(statements):
        if is_definition(statement) or isinstance(statement, ast.Pass):
            continue
        if isinstance(statement, ast.Return) and statement.value:
            yield i, statements[:i] + [ast.Return(ast.Constant(None))] + statements[i + 1:]
            continue
        if isinstance(statement, ast.If):
            for test in (True, False):
                yield i, statements[:i] + [changed(statement, test=ast.Constant(test))] + statements[i + 1:]
        yield i, without(statements, i) or [ast.Pass()]
    for i in range(len(statements) - 1):
        if not any(map(is_definition, statements[i:i + 2])) and not are_independent(*statements[i:i + 2]):
            yield i, swapped(statements, i)


def is_definition(statement):
    """Returns whether a statement has the same effect wherever it stands."""
    return is_text(statement) or is_plumbing(statement) or isinstance(statement, (
        ast.Import, ast.FunctionDef, ast.ClassDef)) or (
            isinstance(statement, ast.Assign) and is_constant(statement.targets[0]))


def are_independent(first, second):
    """Returns whether two statements may change places: not both move a position, and neither needs the other."""
    if not (isinstance(first, (ast.Assign, ast.Expr)) and isinstance(second, (ast.Assign, ast.Expr))):
        return False

    def names(statement, context):
        return {ast.unparse(node) for node in ast.walk(statement)
                if isinstance(node, (ast.Name, ast.Subscript)) and isinstance(node.ctx, context)}

    def moves(statement):
        return any(isinstance(node, ast.Name) and node.id in ("out", "src") for node in ast.walk(statement))

    return not (moves(first) and moves(second) or names(first, ast.Store) & names(second, ast.Load)
                or names(second, ast.Store) & names(first, ast.Load))


def is_constant(target):
    return isinstance(target, ast.Name) and target.id.isupper()


def is_text(statement):
    return isinstance(statement, ast.Expr) and isinstance(statement.value, ast.Constant)


def line_of(node):
    """Returns a node in a few words."""
    if isinstance(node, list):
        return "; ".join(line_of(statement) for statement in node) or "nothing"
    lines = ast.unparse(node).splitlines() or ["nothing"]
    return lines[0] if len(lines) == 1 else lines[0] + " ..."


class Mutant:
    """A change of one slot of the tree: parent.field, or its item INDEX."""

    def __init__(self, place, parent, field, index, other, words):
        self.parent, self.field, self.index, self.other = parent, field, index, other
        self.key = f"{place}: {words}"

    def swap(self):
        """Swaps the node in the slot with the other one; a second call restores the tree."""
        slot = getattr(self.parent, self.field)
        if self.index is None:
            setattr(self.parent, self.field, self.other)
            self.other = slot
        else:
            slot[self.index], self.other = self.other, slot[self.index]


def shortened(before, after):
    """Returns the parts of two texts that differ, with a few characters around."""
    start = len(os.path.commonprefix([before, after]))
    end = len(os.path.commonprefix([before[start:][::-1], after[start:][::-1]]))
    start, end = max(0, start - 25), max(0, end - 25)

    def cut(text):
        middle = text[start:len(text) - end]
        return ("..." if start else "") + middle + ("..." if end else "")

    return f"{cut(before)} => {cut(after)}"


def mutants_in(node, place, statement):
    """Yields all mutants below a node, in their order in the source."""
    for field, value in ast.iter_fields(node):
        if isinstance(value, list) and value and isinstance(value[0], ast.stmt):
            for i, other in of_statements(value):
                words = shortened(line_of(value[i:i + 2]), line_of(other[i:i + len(other) - len(value) + 2]))
                yield Mutant(place, node, field, None, other, words)
        children = enumerate(value) if isinstance(value, list) else [(None, value)]
        for index, child in children:
            if not isinstance(child, ast.AST):
                continue
            inner = f"{place}.{child.name}" if isinstance(child, (ast.FunctionDef, ast.ClassDef)) else place
            if is_plumbing(child) or is_text(child) or isinstance(child, (ast.Import, ast.arguments)):
                continue
            of = child if isinstance(child, ast.stmt) else statement
            for other in of_expression(child):
                mutant = Mutant(place, node, field, index, other, "")
                before = line_of(of)
                mutant.swap()
                after = line_of(of)
                mutant.swap()
                if after != before:
                    mutant.key += shortened(before, after)
                    yield mutant
            yield from mutants_in(child, inner, of)


def is_plumbing(node):
    """Returns whether a node is the loop over the lines, which is not part of the protocol."""
    return isinstance(node, ast.FunctionDef) and node.name == "main" or (
        isinstance(node, ast.If) and line_of(node).startswith("if __name__"))


def all_mutants(tree):
    """Returns the mutants, each with a key of its own."""
    counts = collections.Counter()
    mutants = []
    for mutant in mutants_in(tree, "reference", tree):
        mutant.key = mutant.key.removeprefix("reference.").removeprefix("reference: ")
        counts[mutant.key] += 1
        if counts[mutant.key] > 1:
            mutant.key += f" (number {counts[mutant.key]})"
        mutants.append(mutant)
    return mutants


# What an answer is worth


def same_value(field, wanted, got, codes):
    """Compares as the runner does: codes may be names or numbers, and numbers may be texts."""
    names = codes.get(field, {})
    wanted, got = (names.get(value, value) if isinstance(value, str) else value for value in (wanted, got))
    if field == "data" and isinstance(got, str):
        return wanted.lower() == got.lower()
    if field == "serialNum" or isinstance(wanted, int) and not isinstance(wanted, bool):
        # A number of JSON has 53 bits.
        if isinstance(got, int) and abs(got) > 1 << 53 or isinstance(got, bool):
            return False
        return str(wanted) == str(got)
    return type(wanted) is type(got) and wanted == got


def same_fields(wanted, got, codes):
    if not isinstance(got, dict):
        return False
    for field, value in wanted.items():
        if field == "packages":
            packages = got.get(field)
            if not isinstance(packages, list) or len(packages) != len(value) or not all(
                    same_fields(one, other, codes) for one, other in zip(value, packages)):
                return False
        elif field not in got or not same_value(field, value, got[field], codes):
            return False
    return True


def same_bytes(case, got):
    wanted = bytes.fromhex(case["bytes"])
    got = bytearray.fromhex(got)
    for offset in case.get("undefined", ()):
        if offset < min(len(got), len(wanted)):
            got[offset] = wanted[offset]
    return got == wanted


def is_right(case, answer, codes):
    if case["verdict"] != answer["verdict"]:
        return False
    if case["verdict"] == "refused":
        return True
    if case["task"] == "decode":
        return same_fields(case["fields"], answer.get("fields"), codes)
    return case["text"] == answer.get("text") if "text" in case else same_bytes(case, answer["bytes"])


class TooLate(BaseException):
    """The mutant takes too long."""


def too_late(*_):
    raise TooLate


def run(module, question):
    try:
        return {"verdict": "accepted", **module["answer_to"](question)}
    except module["Refused"]:
        return {"verdict": "refused"}


def first_wrong(code, cases, codes):
    """Returns the first case that notices the fault, and the answer; (None, None) if no case does."""
    signal.setitimer(signal.ITIMER_REAL, SECONDS)
    case = cases[0]
    try:
        module = {"__name__": "mutant"}
        exec(code, module)  # pylint: disable=exec-used
        for i, (case, question) in enumerate(cases):
            answer = run(module, question)
            if not is_right(case, answer, codes):
                # The next case may notice it.
                cases.insert(0, cases.pop(i))
                line = json.dumps(answer)
                return case, line if len(line) < LONGEST_ANSWER else None
        return None, None
    except (Exception, TooLate):  # pylint: disable=broad-except
        return case, None
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)


def question_of(case):
    hidden = ["verdict", "undefined"] + (["bytes", "text"] if case["task"] == "encode" else ["fields"])
    return {member: value for member, value in case.items() if member not in hidden}


class Worker:
    """The state that a judging process keeps from one mutant to the next."""

    def __init__(self, source, cases):
        self.tree = ast.parse(source)
        self.mutants = all_mutants(self.tree)
        module = {"__name__": "reference"}
        exec(compile(self.tree, "reference", "exec"), module)  # pylint: disable=exec-used
        self.codes = {field: {word: number for number, word in names.items()}
                      for field, names in module["CODES"].items()}
        self.cases = [(case, question_of(case)) for case in cases]

    def judge(self, source):
        """Returns the case that notices what is wrong with a source, and the answer."""
        return first_wrong(compile(source, "fault", "exec"), self.cases, self.codes)

    def judge_mutant(self, index):
        mutant = self.mutants[index]
        mutant.swap()
        tree = ast.fix_missing_locations(self.tree)
        result = self.judge(tree)
        mutant.swap()
        return (mutant.key, *result)


def limit_worker():
    signal.signal(signal.SIGALRM, too_late)
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))


def judge_mutant(index):
    return Worker.one.judge_mutant(index)


def judge_fault(source):
    return Worker.one.judge(source)


def with_fault(source, fault):
    """Returns the source with a fault in it."""
    what, before, after = fault
    if source.count(before) != 1:
        sys.exit(f"mutants: {what}: stands {source.count(before)} times in the reference: {before}")
    return source.replace(before, after)


def with_many_faults(source):
    """Returns the source with every fault that still fits after those before it, and their number."""
    count = 0
    for fault in FAULTS:
        if source.count(fault[1]) == 1:
            source = with_fault(source, fault)
            count += 1
    return source, count


def judge_all(source, cases, jobs):
    """Returns the results of the faults and of the mutants."""
    Worker.one = Worker(source, cases)
    case, answer = judge_fault(source)
    if case:
        sys.exit(f"mutants: the reference itself fails {case['case']}: {answer}")
    with multiprocessing.get_context("fork").Pool(jobs, limit_worker) as pool:
        judged = pool.map(judge_fault, [with_fault(source, fault) for fault in FAULTS])
        faults = [(fault[0], *result) for fault, result in zip(FAULTS, judged)]
        return faults, pool.map(judge_mutant, range(len(Worker.one.mutants)), chunksize=10)


REPLAY = """import json, sys
answers = list(open(sys.argv[1]))
for line in sys.stdin:
    print(end=answers[int(json.loads(line)["case"])], flush=True)
"""


def conform(korvinpack, *arguments):
    """Returns what korvinpack conform prints for a Python program."""
    command = [korvinpack, "conform", *arguments[:-2], "--", sys.executable, *arguments[-2:]]
    return subprocess.run(command, capture_output=True, check=False, text=True).stdout


def doubted_by(korvinpack, results):
    """Returns the answers that reveal faults but that korvinpack conform accepts."""
    answered = [(case, json.loads(answer)) for _, case, answer in results if answer]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        replay, cases, answers = (folder / word for word in ("replay.py", "cases", "answers"))
        replay.write_text(REPLAY, "utf-8")
        for path, lines in (cases, [case for case, _ in answered]), (answers, [line for _, line in answered]):
            path.write_text("".join(json.dumps({**line, "case": str(i)}) + "\n"
                                    for i, line in enumerate(lines)), "utf-8")
        output = conform(korvinpack, "--cases", cases, replay, answers)
    failed = {int(line.split()[1].rstrip(":")) for line in output.splitlines() if line.startswith("FAILED")}
    return [pair for i, pair in enumerate(answered) if i not in failed]


def is_noticed_at_once(korvinpack, cases, source):
    """Returns whether korvinpack conform notices a program with many faults."""
    with tempfile.TemporaryDirectory() as name:
        program = pathlib.Path(name) / "codec.py"
        program.write_text(source, "utf-8")
        return "FAILED" in conform(korvinpack, "--cases", cases, "-u", program)


def explanations(path):
    """Reads the reason for each mutant: paragraphs of "# reason" and the mutants below it."""
    reasons = {}
    reason = ""
    previous = ""
    for line in path.read_text("utf-8").splitlines():
        if line.startswith("#"):
            reason = reason + " " + line[1:].strip() if previous.startswith("#") else line[1:].strip()
        elif line:
            assert reason, f"{path}: no reason for {line}"
            reasons[line] = reason
        previous = line
    return reasons


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("korvinpack")
    parser.add_argument("cases", type=pathlib.Path)
    parser.add_argument("reference", type=pathlib.Path)
    parser.add_argument("explained", type=pathlib.Path)
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    arguments = parser.parse_args()

    start = time.monotonic()
    source = arguments.reference.read_text("utf-8")
    cases = [json.loads(line) for line in arguments.cases.read_text("utf-8").splitlines()]
    faults, mutants = judge_all(source, cases, arguments.jobs)
    explained = explanations(arguments.explained)
    survivors = [key for key, case, _ in mutants if not case]
    unexplained = [key for key in survivors if key not in explained]
    complaints = [f"fault not noticed: {what}" for what, case, _ in faults if not case]
    complaints += [f"explained, but noticed or not made: {key}" for key in sorted(set(explained) - set(survivors))]
    complaints += [f"korvinpack conform takes this for right: {case['case']}: {answer}"
                   for case, answer in doubted_by(arguments.korvinpack, faults + mutants)]
    faulty, at_once = with_many_faults(source)
    if at_once < LEAST_AT_ONCE or not is_noticed_at_once(arguments.korvinpack, arguments.cases, faulty):
        complaints.append(f"{at_once} faults at once are not noticed")
    visible = len(mutants) - len(survivors) + len(unexplained)
    noticed = visible - len(unexplained)
    if noticed < LEAST_NOTICED * visible:
        complaints.append(f"fewer than {100 * LEAST_NOTICED:.0f} % of the mutants are noticed")
    for line in [f"not noticed: {key}" for key in unexplained] + complaints:
        print(line)
    print(f"mutants: {len(cases)} cases notice {noticed} of {visible} mutants of the reference "
          f"({100 * noticed / visible:.1f} %), {len(survivors) - len(unexplained)} more are explained, and "
          f"{sum(case is not None for _, case, _ in faults)} of {len(faults)} faults, {at_once} of them at "
          f"once; {time.monotonic() - start:.0f} s")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
