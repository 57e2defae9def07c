"""Looks into messages: check, explain, guess, diff."""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from typing import Protocol

from korvinpackage import _core
from korvinpackage._enums import Direction, Form
from korvinpackage._values import Difference, ExplainedField, Guess, Verdict

Bytes = bytes | bytearray | memoryview
Message = str | Bytes


class MessageClass(Protocol):
    """A class of packages, or of combinations."""

    @property
    def class_name(self) -> str: ...


ClassOrName = MessageClass | str


def name_of(itself: ClassOrName) -> str:
    """Return the name of a class."""
    name = itself if isinstance(itself, str) else getattr(itself, "class_name", None)
    if not isinstance(name, str):
        raise TypeError(f"{itself!r} is not a class of packages")
    return name


def _form_of(message: Message, form: Form | None) -> Form:
    if form is None:
        return Form.TEXT if isinstance(message, str) else Form.FRAME
    return form


def check(
    message: Message,
    package_class: ClassOrName,
    form: Form | None = None,
    direction: Direction = Direction.REQUEST,
    *,
    request: Message | None = None,
    announced_data: int | None = None,
) -> Verdict:
    """Check a message that is not trusted, before it is decoded.

    message -- the bytes, or the text of a record
    package_class -- the class that should decode it, or its name
    form -- by default a record for a text, a byte frame for bytes
    request -- for a reply: the encoded request that it must answer
    announced_data -- the most bytes of data that the message may announce

    Returns a verdict that is true if an encoder can have written the message.
    """
    form = _form_of(message, form)
    name = name_of(package_class)
    return _core.check(message, name, form, direction, request, announced_data)


def check_lines(
    lines: Iterable[Message],
    package_class: ClassOrName,
    form: Form = Form.TEXT,
    direction: Direction = Direction.REQUEST,
) -> Iterator[Verdict]:
    """Check records, or byte frames and Linux frames in hexadecimal digits, one per line.

    Takes constant memory, however many lines there are: pass an open file.
    """
    name = name_of(package_class)
    if isinstance(lines, str | bytes | bytearray | memoryview):
        raise TypeError("lines: expected an iterable of lines, such as an open file, not one text")
    for line in lines:
        text = line if isinstance(line, str) else bytes(line).decode("utf-8", "replace")
        text = text.rstrip("\r\n")
        message: Message = text if form == Form.TEXT else bytes.fromhex(text)
        yield _core.check(message, name, form, direction, None, None)


def explain(
    message: Message,
    package_class: ClassOrName,
    form: Form | None = None,
    direction: Direction = Direction.REQUEST,
) -> list[ExplainedField]:
    """Explain a message field by field, in wire order, valid or not."""
    name = name_of(package_class)
    rows = _core.explain(message, name, _form_of(message, form), direction)
    return [ExplainedField(*row) for row in rows]


def _guess_of(row: _core.GuessRow) -> Guess:
    name, form, direction, verdict, reason = row
    return Guess(name, Form(form), Direction(direction), verdict, reason)


def guess(message: Message) -> list[Guess]:
    """Return what a message may be, best guess first."""
    return [_guess_of(row) for row in _core.guess(message)]


def best_guess(
    message: Message,
    package_class: ClassOrName | None = None,
    form: Form | None = None,
    direction: Direction | None = None,
) -> Guess | None:
    """Return the first of guess() that agrees with what is known, in a fraction of the time."""
    name = None if package_class is None else name_of(package_class)
    row = _core.best_guess(message, name, form, direction)
    return None if row is None else _guess_of(row)


_Place = tuple[int, str, int]


def _by_place(fields: list[ExplainedField]) -> dict[_Place, ExplainedField]:
    places: dict[_Place, ExplainedField] = {}
    for field in fields:
        occurrence = 0
        while (field.item, field.name, occurrence) in places:
            occurrence += 1
        places[field.item, field.name, occurrence] = field
    return places


def diff(
    first: Message,
    second: Message,
    package_class: ClassOrName | None = None,
    form: Form | None = None,
    direction: Direction | None = None,
) -> list[Difference]:
    """Return the fields in which two messages differ. What is not given is guessed of the first."""
    shape = best_guess(first, package_class, form, direction)
    if shape is None:
        raise ValueError("no guess agrees with class, form and direction")
    before = _by_place(explain(first, shape.class_name, shape.form, shape.direction))
    after = _by_place(explain(second, shape.class_name, shape.form, shape.direction))
    places = {**after, **before}
    differences = []
    for place, field in sorted(places.items(), key=lambda pair: pair[1].offset):
        one, other = before.get(place), after.get(place)
        if one is not None and other is not None and one.raw == other.raw:
            continue
        differences.append(
            Difference(
                name=field.name,
                item=field.item,
                position=field.offset if field.column is None else field.column,
                first=None if one is None else one.text,
                second=None if other is None else other.text,
            )
        )
    return differences


def shape_exists(package_class: ClassOrName, form: Form, direction: Direction) -> bool:
    """Return whether a class has a form: only data requests have Linux frames."""
    return _core.shape_exists(name_of(package_class), form, direction)


def describe_shape(package_class: ClassOrName, form: Form, direction: Direction) -> str:
    """Return class, form and direction in words, such as "reply frame of PackageRequestRead"."""
    return _core.describe_shape(name_of(package_class), form, direction)
