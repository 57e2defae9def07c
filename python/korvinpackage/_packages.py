"""The documentation of packages and their fields, and combinations of packages."""

from __future__ import annotations

import json
from collections.abc import Iterable
from typing import Any, ClassVar

from korvinpackage import _core
from korvinpackage._core import Package, PackageBase

# What the descriptions of the fields leave out.
NOTES: dict[str, str] = {
    "serial_num": "Frames carry its low 16 bits, Linux frames its low 8.",
    "tag": "The peer echoes it. A comma breaks a record.",
    "device_type": "Frames carry its low 8 bits.",
    "reserved2": "Frames carry its low 8 bits.",
    "timeout": "Usually milliseconds. The library only carries it.",
    "ack_code": "Frames carry its low 8 bits.",
    "reply_data_length": "In bytes.",
    "package_data_length": "In bytes.",
    "data": "Its length is a field of its own.",
    "file_name_with_path": "A comma breaks a record.",
    "offset": "In bytes. Frames do not carry it.",
    "str_data": "In a reply, of its answer. A comma breaks a record.",
}


def _sentence(description: str) -> str:
    return description[0].upper() + description[1:] + "."


def _document() -> None:
    for itself, _, fields, purpose in _core.describe_classes():
        lines = [_sentence(purpose), ""]
        for name, _, value_type, _, description in fields:
            text = f"{_sentence(description)} {NOTES.get(name, '')}".rstrip()
            getattr(itself, name).__doc__ = f"{text}\n\nType: {value_type}."
            lines.append(f"{name} -- {text} Type: {value_type}.")
        lines += ["", "A value of another type raises TypeError, one out of range ValueError."]
        itself.__doc__ = "\n".join(lines)


_document()


def restore(itself: type[Package], fields: dict[str, object]) -> Package:
    """Make a package for pickle and copy, without calling ``__init__``."""
    return _core.restore(itself, fields)


_Bytes = bytes | bytearray | memoryview


class PackageRequestCombination:
    """Several requests in one text record.

    packages -- the requests: data and file requests, which a combination can carry
    device_key, timeout, serial_num -- for the caller; the record does not carry them
    """

    class_name: ClassVar[str] = "PackageRequestCombination"

    def __init__(
        self,
        packages: Iterable[PackageBase] = (),
        *,
        device_key: str = "",
        timeout: int = 0,
        serial_num: int = 0,
    ) -> None:
        self.packages = list(packages)
        # A package checks the ranges.
        fields = PackageBase(device_key=device_key, timeout=timeout, serial_num=serial_num)
        self.device_key = fields.device_key
        self.timeout = fields.timeout
        self.serial_num = fields.serial_num

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, PackageRequestCombination):
            return NotImplemented
        return vars(self) == vars(other)

    def __repr__(self) -> str:
        return (
            f"PackageRequestCombination({self.packages!r}, device_key={self.device_key!r}, "
            f"timeout={self.timeout!r}, serial_num={self.serial_num!r})"
        )

    def to_record(self) -> str:
        """Return the record: the request records of all packages, with their type words.

        Raises RefusedError for a class that no combination carries, and for records that
        contain "|" or "^".
        """
        for package in self.packages:
            if not isinstance(package, PackageBase):
                raise TypeError(f"packages: {package!r} is not a package")
        return _core.encode_combination(list(self.packages))

    @classmethod
    def from_record(
        cls,
        record: str | _Bytes,
        *,
        checked: bool = True,
        announced_data: int | None = None,
    ) -> PackageRequestCombination:
        """Decode a record. The parameters are those of PackageBase.from_record()."""
        return cls(_core.decode_combination(record, checked, announced_data))

    def to_json(self) -> str:
        """Return all fields as JSON."""
        fields: dict[str, Any] = {
            "class": self.class_name,
            "deviceKey": self.device_key,
            "packages": [json.loads(package.to_json()) for package in self.packages],
            "serialNum": json.loads(PackageBase(serial_num=self.serial_num).to_json())["serialNum"],
            "timeout": self.timeout,
        }
        return json.dumps(fields, separators=(",", ":"), ensure_ascii=False)

    @classmethod
    def from_json(cls, text: str | _Bytes) -> PackageRequestCombination:
        """Make a combination from JSON. Raises ValueError for wrong fields."""
        if isinstance(text, memoryview):
            text = text.tobytes()
        try:
            fields = json.loads(text)
        except RecursionError as error:
            raise ValueError("not JSON: too deep") from error
        if not isinstance(fields, dict):
            raise ValueError("not a JSON object")
        if fields.pop("class", cls.class_name) != cls.class_name:
            raise ValueError(f"class: expected {cls.class_name}")
        items = fields.pop("packages", [])
        if not isinstance(items, list):
            raise ValueError("packages: expected a list")
        packages = [PackageBase.from_json(json.dumps(item)) for item in items]
        unknown = fields.keys() - {"deviceKey", "timeout", "serialNum"}
        if unknown:
            raise ValueError(f"{min(unknown)}: {cls.class_name} has no such field")
        own = PackageBase.from_json(json.dumps({"timeout": 0, **fields}))
        return cls(
            packages, device_key=own.device_key, timeout=own.timeout, serial_num=own.serial_num
        )
