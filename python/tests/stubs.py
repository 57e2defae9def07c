"""Prints korvinpackage/_core.pyi: the types of the C++ module, whose packages come from its classes.

With --classes it prints korvinpackage/_classes.py instead, which lists the classes.
"""

from __future__ import annotations

import sys

from korvinpackage import _core
from korvinpackage._enums import members_of

NUMBER, CODE, FLAG, TEXT, DATA, LENGTH = range(6)
TYPES = {NUMBER: "int", FLAG: "bool", TEXT: "str", DATA: "bytes", LENGTH: "int"}

HEAD = '''\
# Made by python/tests/stubs.py; do not edit.

from collections.abc import Callable, Sequence
from typing import ClassVar, Protocol, Self

from korvinpackage._enums import (
    ClientPackageType,
    CommResult,
    Form,
    PackResult,
    ReadWriteCode,
)
from korvinpackage._values import Value, Verdict

_Bytes = bytes | bytearray | memoryview
_Message = str | _Bytes

GuessRow = tuple[str, int, int, Verdict, str]
_FieldRow = tuple[
    str, int, int | None, int, int, bytes, Value, str, str, tuple[str, ...], str
]
_EventRow = tuple[int, int, int, int, Verdict, int, float, int, int, int, bytes, str]
_TraceRow = tuple[int, float, str, int, int, int, bytes, Verdict, str, bytes]

class _Settings(Protocol):
    @property
    def first_serial_num(self) -> int: ...
    @property
    def last_serial_num(self) -> int: ...
    @property
    def forms(self) -> Sequence[Form]: ...
    @property
    def timeout(self) -> float: ...
    @property
    def queue_timeout(self) -> float: ...
    @property
    def rest(self) -> float: ...
    @property
    def rest_after_reply(self) -> float: ...
    @property
    def attempts(self) -> int: ...
    @property
    def pause(self) -> float: ...
    @property
    def longest_pause(self) -> float: ...
    @property
    def in_flight(self) -> int: ...
    @property
    def queued(self) -> int: ...
    @property
    def bytes_in_flight(self) -> int: ...
    @property
    def message_size(self) -> int: ...
    @property
    def announced_data(self) -> int: ...
    @property
    def serial_numbers(self) -> int: ...

class _Fault(Protocol):
    @property
    def kind(self) -> int: ...
    @property
    def delay(self) -> float: ...
    @property
    def position(self) -> int: ...
    @property
    def ack_code(self) -> int: ...
    @property
    def comm_result(self) -> int: ...
    @property
    def pack_result(self) -> int: ...

class Package:
    class_name: ClassVar[str]
    field_names: ClassVar[tuple[str, ...]]
    __hash__: ClassVar[None]  # type: ignore[assignment]
    def __eq__(self, other: object, /) -> bool: ...
    @property
    def is_success(self) -> bool: ...
    def to_json(self) -> str: ...
    @classmethod
    def from_json(cls, json: _Message) -> Self: ...
'''

DECODER = '''\
    @classmethod
    def from_{form}(
        cls,
        message: {message},
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...
'''

TAIL = '''
def restore(type: type[Package], fields: dict[str, object]) -> Package: ...
def describe_classes() -> list[
    tuple[type[PackageBase], str, list[tuple[str, int, str, str, str]], str]
]: ...
def encode_combination(packages: list[PackageBase]) -> str: ...
def decode_combination(
    message: _Message, checked: bool, announced_data: int | None
) -> list[PackageBase]: ...
def check(
    message: _Message,
    class_name: str,
    form: int,
    direction: int,
    request: _Message | None,
    announced_data: int | None,
) -> Verdict: ...
def explain(
    message: _Message, class_name: str, form: int, direction: int
) -> list[_FieldRow]: ...
def guess(message: _Message) -> list[GuessRow]: ...
def best_guess(
    message: _Message, class_name: str | None, form: int | None, direction: int | None
) -> GuessRow | None: ...
def shape_exists(class_name: str, form: int, direction: int) -> bool: ...
def describe_shape(class_name: str, form: int, direction: int) -> str: ...

class Engine:
    def __init__(self, settings: _Settings) -> None: ...
    def send(
        self,
        package: PackageBase,
        now: float,
        timeout: float | None,
        repeat: int,
        deadline: float | None,
    ) -> tuple[int, int, str]: ...
    def send_combination(
        self,
        packages: list[PackageBase],
        now: float,
        timeout: float | None,
        repeat: int,
        deadline: float | None,
    ) -> tuple[int, int, str]: ...
    def start(
        self,
        kind: int,
        package: PackageBase,
        data: _Bytes,
        window: int,
        now: float,
        timeout: float | None,
        repeat: int,
        deadline: float | None,
    ) -> tuple[int, int, str]: ...
    def cancel(self, id: int, now: float) -> bool: ...
    def refuse(self, id: int, now: float) -> None: ...
    def link_lost(self, now: float) -> None: ...
    def take_message(self, now: float) -> tuple[int, str, int, int, bytes, float] | None: ...
    def receive(
        self, form: int, message: _Message, now: float, class_name: str | None
    ) -> None: ...
    def next_timeout(self) -> float | None: ...
    def handle_timeout(self, now: float) -> None: ...
    def take_event(self) -> _EventRow | None: ...
    def counters(self) -> dict[str, int]: ...
    def latency_percentile(self, share: float) -> float: ...
    def in_flight(self) -> int: ...
    def queued(self) -> int: ...
    def bytes_in_flight(self) -> int: ...
    def serial_numbers(self) -> int: ...
    def set_tracing(self, traces: bool) -> None: ...
    def take_trace(self, origin: float) -> list[_TraceRow]: ...

class Framing:
    def __init__(
        self, form: int, message_size: int, deadline: float, direction: int
    ) -> None: ...
    def encode(self, message: _Message) -> bytes | None: ...
    def receive(self, data: _Bytes, now: float) -> list[bytes]: ...
    def end(self) -> list[bytes]: ...
    def fault(self) -> int: ...
    def fault_text(self) -> str: ...
    def next_timeout(self) -> float | None: ...
    def handle_timeout(self, now: float) -> list[bytes]: ...
    def buffered(self) -> int: ...

class Device:
    def __init__(
        self,
        state: _Message,
        method: Callable[[], Callable[[PackageBase], None] | None] | None = None,
    ) -> None: ...
    def answer(
        self, request: _Message, class_name: str, form: int
    ) -> tuple[tuple[bytes, ...], int, Verdict, int]: ...
    def carry_out(self, request: PackageBase) -> None: ...
    def state(self) -> str: ...
    def set_state(self, state: _Message) -> None: ...
    def script_faults(self, faults: list[_Fault]) -> None: ...
    def draw_faults(self, seed: int, share: float, kinds: list[int]) -> None: ...

def pcapng_header() -> bytes: ...
'''


def type_of(field: tuple[str, int, str, str, str]) -> str:
    """Return the type of the value of a field."""
    _, kind, value_type, *_ = field
    if kind == CODE:
        return type(next(iter(members_of(value_type).values()))).__name__
    return TYPES[kind]


def print_classes() -> None:
    """Print the module that lists the classes."""
    names = sorted(itself.__name__ for itself, *_ in _core.describe_classes())
    print('"""The classes of packages. Made by python/tests/stubs.py; do not edit."""\n')
    print("from korvinpackage._core import (", *(f"    {name}," for name in names), ")\n", sep="\n")
    print("__all__ = [", *(f'    "{name}",' for name in names), "]", sep="\n")


def print_stub() -> None:
    """Print the stub."""
    print(HEAD, end="")
    for form in ("frame", "reply_frame", "record", "reply_record", "linux_frame",
                 "linux_reply_frame"):
        result = "str" if "record" in form else "bytes"
        argument = ", full: bool = False" if form == "reply_frame" else ""
        print(f"    def to_{form}(self{argument}) -> {result}: ...")
        print(DECODER.format(form=form, message="_Message" if result == "str" else "_Bytes"), end="")
    for itself, _, fields, _ in _core.describe_classes():
        print(f"\nclass {itself.__name__}({itself.__bases__[0].__name__}):")
        print("    def __init__(\n        self,\n        *,")
        for field in fields:
            kind = type_of(field)
            accepted = {"bytes": "_Bytes"}.get(kind, kind if kind in TYPES.values() else "int")
            print(f"        {field[0]}: {accepted} = ...,")
        print("    ) -> None: ...")
        for field in fields:
            name, kind = field[0], type_of(field)
            if any(name in base.field_names for base in itself.__mro__[1:]
                   if hasattr(base, "field_names")):
                continue
            read = kind if kind in TYPES.values() else f"{kind} | int"
            accepted = {"bytes": "_Bytes"}.get(kind, kind if kind in TYPES.values() else "int")
            print(f"    @property\n    def {name}(self) -> {read}: ...")
            print(f"    @{name}.setter\n    def {name}(self, value: {accepted}) -> None: ...")
    print(TAIL, end="")


if __name__ == "__main__":
    print_classes() if sys.argv[1:] == ["--classes"] else print_stub()
