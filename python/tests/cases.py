"""Compares the package with cases of the conformance kit, which are lines of JSON."""

from __future__ import annotations

import json
from typing import Any

from korvinpackage import PackageBase, PackageRequestCombination, RefusedError, _core
from korvinpackage._enums import members_of

CODE, DATA = 1, 4
CLASSES = {itself.class_name: itself for itself, *_ in _core.describe_classes()}
FIELDS = {
    itself.class_name: {json_name: (name, kind, text) for name, kind, text, json_name, _ in fields}
    for itself, _, fields, _ in _core.describe_classes()
}
SUFFIXES = {
    ("frame", "request"): "frame",
    ("frame", "reply"): "reply_frame",
    ("text", "request"): "record",
    ("text", "reply"): "reply_record",
    ("linux", "request"): "linux_frame",
    ("linux", "reply"): "linux_reply_frame",
}


def values_of(class_name: str, fields: dict[str, Any]) -> dict[str, Any]:
    """Return JSON fields as keyword arguments."""
    values = {}
    for json_name, value in fields.items():
        if json_name == "class":
            continue
        name, kind, text = FIELDS[class_name][json_name]
        if kind == DATA:
            value = bytes.fromhex(value)
        elif kind == CODE:
            value = members_of(text).get(value, value)
        elif kind == 0 and isinstance(value, str):
            value = int(value)
        values[name] = value
    return values


def differences(package: PackageBase, class_name: str, fields: dict[str, Any]) -> list[str]:
    """Return where the fields of a package are not those of a case."""
    return [
        f"{name}: {getattr(package, name)!r}, not {value!r}"
        for name, value in values_of(class_name, fields).items()
        if getattr(package, name) != value
    ]


def _combination(case: dict[str, Any]) -> list[str]:
    try:
        decoded = PackageRequestCombination.from_record(case["text"], checked=False)
    except RefusedError:
        return [] if case["verdict"] == "refused" else ["refused"]
    if case["verdict"] == "refused":
        return ["accepted"]
    expected = case["fields"]["packages"]
    if len(decoded.packages) != len(expected):
        return [f"{len(decoded.packages)} packages, not {len(expected)}"]
    return [
        fault
        for package, fields in zip(decoded.packages, expected)
        for fault in differences(package, fields["class"], fields)
    ]


def _encode(case: dict[str, Any]) -> list[str]:
    itself = CLASSES[case["class"]]
    package = itself(**values_of(case["class"], case["fields"]))
    to = getattr(package, "to_" + SUFFIXES[case["form"], case["direction"]])
    encoded = to(full=True) if case.get("reply") == "full" else to()
    expected = case.get("text", case.get("bytes"))
    found = encoded if isinstance(encoded, str) else encoded.hex()
    return [] if found == expected else [f"{found}, not {expected}"]


def _decode(case: dict[str, Any]) -> list[str]:
    decode = getattr(CLASSES[case["class"]], "from_" + SUFFIXES[case["form"], case["direction"]])
    message = case["text"] if "text" in case else bytes.fromhex(case["bytes"])
    try:
        package = decode(message, checked=False)
    except RefusedError:
        return [] if case["verdict"] == "refused" else ["refused"]
    if case["verdict"] == "refused":
        return ["accepted"]
    return differences(package, case["class"], case["fields"])


def judge(line: str) -> list[str]:
    """Return what differs from a case, with the name of the case."""
    case = json.loads(line)
    if case["class"] == PackageRequestCombination.class_name:
        faults = _combination(case)
    else:
        faults = _encode(case) if case["task"] == "encode" else _decode(case)
    return [f"{case['case']}: {case['task']}: {fault}" for fault in faults]
