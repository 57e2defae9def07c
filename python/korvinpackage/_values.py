"""Values that operations return, and the exceptions of the package."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Union

from korvinpackage._enums import Direction, Form, Refusal

Value = Union[int, bool, str, bytes, None]


@dataclass(frozen=True)
class Verdict:
    """Whether a message is accepted, and if not, why and where. True if it is accepted."""

    refusal: Refusal = Refusal.NONE
    field: str = ""
    """Name of the field, as in JSON; empty if the reason is not in a field."""
    item: int = 0
    """Item of a combination, counted from 1; 0 elsewhere."""
    position: int = 0
    """Byte offset in a frame, column in a record, both counted from 0."""
    expected: str = ""
    found: str = ""
    reason: str = "ok"
    """All of it in one line."""

    def __post_init__(self) -> None:
        object.__setattr__(self, "refusal", Refusal(self.refusal))

    def __bool__(self) -> bool:
        return self.refusal == Refusal.NONE

    def __str__(self) -> str:
        return self.reason


class RefusedError(ValueError):
    """A message was refused, or a package cannot be encoded in this form."""

    def __init__(self, verdict: Verdict) -> None:
        super().__init__(verdict)
        self.verdict = verdict

    def __str__(self) -> str:
        return self.verdict.reason


@dataclass(frozen=True)
class ExplainedField:
    """One field of a message, as the decoder of the class reads it."""

    name: str
    """As in JSON; empty for bytes or columns that the decoder does not read."""
    item: int
    """Item of a combination, counted from 1; 0 elsewhere."""
    column: int | None
    """Column of the record, counted from 0; None in a frame."""
    offset: int
    """Position in bytes, or in characters of a record."""
    width: int
    """Bytes or characters of the field that are there."""
    raw: bytes
    """The bytes of the field; in a record its characters in UTF-8."""
    value: Value
    """The value that the decoder reads; None if it does not read it."""
    meaning: str
    """Name of a code, or the value with its unit; may be empty."""
    description: str
    remarks: tuple[str, ...]
    """What is unusual, and what the decoder makes of it."""
    text: str = field(repr=False)
    """The value for people."""


@dataclass(frozen=True)
class Guess:
    """One possible class, form and direction of a message."""

    class_name: str
    form: Form
    direction: Direction
    verdict: Verdict
    reason: str
    """Why the message may be this, or what speaks against it."""


@dataclass(frozen=True)
class Difference:
    """A field in which two messages differ."""

    name: str
    item: int
    position: int
    """Byte offset in a frame, column in a record."""
    first: str | None
    """The value for people; None if the first message has no such field."""
    second: str | None

    def __str__(self) -> str:
        item = f"item {self.item} " if self.item else ""
        return f"{item}{self.name or 'not read'} at {self.position}: {self.first} -> {self.second}"
