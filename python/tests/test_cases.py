"""The frames and records of releases and of the conformance kit are the same from Python."""

from __future__ import annotations

import json
import os
import pathlib
import subprocess

import cases
import pytest

SOURCE = pathlib.Path(os.environ["KORVINPACKAGE_SOURCE"])
GENERATOR = os.environ.get("KORVINPACKAGE_GENERATOR", "")
RELEASED = sorted((SOURCE / "tests/data/released").glob("*/*.jsonl"))


def judged(lines):
    faults = []
    count = 0
    for line in lines:
        count += 1
        faults += cases.judge(line)
    return faults, count


def test_the_released_files_are_there():
    assert len(RELEASED) >= 60


@pytest.mark.parametrize("path", RELEASED, ids=lambda path: path.stem)
def test_released(path):
    faults, count = judged(path.read_text("utf-8").splitlines())
    assert not faults
    assert count > 0


def test_conformance_cases():
    faults, count = judged((SOURCE / "conformance/cases.jsonl").read_text("utf-8").splitlines())
    assert not faults
    assert count > 5000


FORMS = {
    "requestFrame": ("to_frame", {}),
    "shortReply": ("to_reply_frame", {}),
    "fullReply": ("to_reply_frame", {"full": True}),
    "requestRecord": ("to_record", {}),
    "replyRecord": ("to_reply_record", {}),
    "linuxRequest": ("to_linux_frame", {}),
}


VECTORS = SOURCE / "tests/data/vectors"
COMMON = json.loads((VECTORS / "common.json").read_text("utf-8"))


def fields_of(vector):
    return {**(COMMON["fields"] if "common" in vector else {}), **vector["fields"]}


def encoded_of(vector, form):
    expected = COMMON[form] if vector[form] == "common" else vector[form]
    if "text" in expected:
        return expected["text"]
    pieces = "".join(expected["bytes"])
    if "header" in pieces:
        pieces = pieces.replace("header", "".join(COMMON["header"][vector["common"]]))
    return bytes.fromhex(pieces)


@pytest.mark.parametrize(
    "path", sorted(VECTORS.glob("[A-Z]*.json")), ids=lambda path: path.stem
)
def test_vectors(path):
    content = json.loads(path.read_text("utf-8"))
    compared = 0
    for vector in content["cases"]:
        for form, (encoder, arguments) in FORMS.items():
            if form not in vector or vector.get("decodeOnly"):
                continue
            values = cases.values_of(content["class"], fields_of(vector))
            package = cases.CLASSES[content["class"]](**values)
            assert getattr(package, encoder)(**arguments) == encoded_of(vector, form)
            compared += 1
    assert compared > 0


@pytest.mark.skipif(not GENERATOR, reason="needs the generator of cases")
def test_generated_packages():
    count = int(os.environ.get("KORVINPACKAGE_GENERATED", "2000"))
    with subprocess.Popen([GENERATOR, "1", str(count)], stdout=subprocess.PIPE,
                          encoding="utf-8") as program:
        faults, judged_cases = judged(program.stdout)
    assert program.returncode == 0
    assert not faults
    assert judged_cases > count
