"""The classes of packages, with the documentation of their fields."""

from __future__ import annotations

import json
from collections.abc import Iterable
from typing import Any, ClassVar

from korvinpackage import _core
from korvinpackage._core import (
    Package,
    PackageBase,
    PackageRequestRead,
    PackageRequestReadData,
    PackageRequestReadFile,
    PackageRequestReadMemData,
    PackageRequestWrite,
    PackageRequestWriteData,
    PackageRequestWriteFile,
    PackageRequestWriteIP,
    PackageRequestWriteMemData,
    SpecialPackageRequest,
)

CLASSES: dict[str, str] = {
    "PackageBase": "A package without a payload: the fields that all classes share.",
    "PackageRequestRead": "A request to read a register.",
    "PackageRequestReadData": "A request to read a block of bytes; its reply carries them.",
    "PackageRequestReadFile": "A request to read a file into the buffer of the device.",
    "PackageRequestReadMemData": "A request to read memory into the buffer of the device.",
    "PackageRequestWrite": "A request to write a register.",
    "PackageRequestWriteData": "A request to write a block of bytes.",
    "PackageRequestWriteIP": "A data write that sets an IP address.",
    "PackageRequestWriteFile": "A request to write the buffer of the device into a file.",
    "PackageRequestWriteMemData": "A request to write the buffer of the device into memory.",
    "SpecialPackageRequest": "A request to the proxy itself.",
}

FIELDS: dict[str, str] = {
    "serial_num": "Ties a reply to its request. Frames carry its low 16 bits, Linux frames its low 8.",
    "device_key": "Key of the device on its link.",
    "tag": "The caller's own label, which the peer echoes. A comma breaks a record.",
    "tag_proto": "Protocol tag, for the caller. Not encoded.",
    "server_connection_key": "Key of the server connection. Not encoded.",
    "scr_addr": "Address of the screen.",
    "des_addr": "Address of the destination.",
    "device_type": "Type of the device. Frames carry its low 8 bits.",
    "port_addr": "Port of the device.",
    "scan_board_addr": "Address of the scan board.",
    "high_addr": "High word of the register address.",
    "low_addr": "Low word of the register address.",
    "read_write_code": "Direction of the access.",
    "reserved2": "Reserved. Frames carry its low 8 bits.",
    "is_register_addr_self_increasing": "Whether the register address advances. Not encoded.",
    "timeout": "Time-out, in the unit of the peers, usually milliseconds. The library only carries it.",
    "max_part_size": "Most bytes of one part of a transfer. Not encoded.",
    "part_count": "Number of parts of a transfer. Not encoded.",
    "cur_part_index": "Index of the first part that is not done. Not encoded.",
    "client_package_type": "Kind of payload.",
    "base_client_package_type": "Kind of payload that the base class keeps. Not encoded.",
    "subcribe_hardware": "Whether the caller subscribes to notifications. Not encoded.",
    "ack_code": "Acknowledge code of the device: 0 is success. Frames carry its low 8 bits.",
    "comm_result": "Outcome of the transport.",
    "pack_result": "Outcome of the request.",
    "reply_data_length": "Bytes that a read asks for, or that its reply brings.",
    "package_data_length": "Bytes that a write transfers.",
    "data": "The bytes themselves. Their length is a field of its own.",
    "broadcast": "Whether a write goes to all devices.",
    "file_name_with_path": "Name of the file. A comma breaks a record.",
    "broadcast_rsp_to_all_app": "Whether all clients get the reply. Not encoded.",
    "offset": "Where in the file or memory to begin, in bytes. Frames do not carry it.",
    "ip_address": "The address as text, for the caller. Not encoded.",
    "id": "Id of the special request.",
    "str_data": "Text of the special request, or of its answer. A comma breaks a record.",
    "special_flag_end_time_out": "For the caller. Not encoded.",
    "enabled_special_pack_for_all_port": "For the caller. Not encoded.",
}


def _document() -> None:
    for itself, _, fields in _core.describe_classes():
        lines = [CLASSES[itself.class_name], ""]
        for name, _, value_type, _ in fields:
            text = f"{FIELDS[name]}\n\nType: {value_type}."
            getattr(itself, name).__doc__ = text
            lines.append(f"{name} -- {FIELDS[name]} Type: {value_type}.")
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


__all__ = [
    "Package",
    "PackageBase",
    "PackageRequestCombination",
    "PackageRequestRead",
    "PackageRequestReadData",
    "PackageRequestReadFile",
    "PackageRequestReadMemData",
    "PackageRequestWrite",
    "PackageRequestWriteData",
    "PackageRequestWriteFile",
    "PackageRequestWriteIP",
    "PackageRequestWriteMemData",
    "SpecialPackageRequest",
]
