"""Check, explain, guess and diff answer as the C++ library does."""

from __future__ import annotations

import itertools
import json
import os
import subprocess
import tracemalloc

import pytest

from korvinpackage import (
    Difference,
    Direction,
    Form,
    PackageBase,
    PackageRequestCombination,
    PackageRequestReadData,
    PackageRequestWriteData,
    Refusal,
    Verdict,
    best_guess,
    check,
    check_lines,
    describe_shape,
    diff,
    explain,
    guess,
    shape_exists,
)

REPLY = bytes.fromhex("00 0500 00 05 00")


def test_verdicts():
    accepted = check(REPLY, PackageBase, Form.FRAME, Direction.REPLY)
    assert accepted
    assert accepted == Verdict()
    assert str(accepted) == "ok"
    refused = check(b"\0\5\0a", "PackageBase")
    assert not refused
    assert refused == Verdict(
        Refusal.LENGTH_TOO_LARGE, "deviceKey", 0, 3, "5 bytes", "1 byte", refused.reason)
    assert str(refused) == "deviceKey at 3: announced 5 bytes, left 1 byte"
    assert "LENGTH_TOO_LARGE" in repr(refused)


def test_the_form_follows_the_type_of_the_message():
    package = PackageRequestWriteData(data=b"a")
    assert check(package.to_record(), PackageRequestWriteData)
    assert check(package.to_record().encode(), PackageRequestWriteData, Form.TEXT)
    assert check(bytearray(package.to_frame()), PackageRequestWriteData)
    assert not check(package.to_record().encode(), PackageRequestWriteData)


def test_options():
    request = PackageRequestReadData(serial_num=1, reply_data_length=1).to_record()
    reply = PackageRequestReadData(serial_num=2, data=b"a").to_reply_record()
    arguments = (reply, PackageRequestReadData, Form.TEXT, Direction.REPLY)
    assert check(*arguments)
    assert check(*arguments, request=request).refusal is Refusal.OTHER_REQUEST
    assert check(*arguments, announced_data=0).refusal is Refusal.OUT_OF_RANGE


def test_shapes():
    assert shape_exists(PackageRequestReadData, Form.LINUX, Direction.REPLY)
    assert not shape_exists(PackageBase, Form.LINUX, Direction.REPLY)
    assert shape_exists(PackageRequestCombination, Form.TEXT, Direction.REQUEST)
    assert describe_shape("PackageBase", Form.FRAME, Direction.REPLY) == "reply frame of PackageBase"


@pytest.mark.parametrize(
    "arguments, error",
    [
        ((b"", "Nothing"), ValueError),
        ((b"", "PackageBase", 3), ValueError),
        ((b"", "PackageBase", Form.FRAME, 2), ValueError),
        ((b"", "PackageBase", Form.FRAME, -1), ValueError),
        ((1, "PackageBase"), TypeError),
        ((None, "PackageBase"), TypeError),
        (("\ud800", "PackageBase"), ValueError),
        ((b"", 1), TypeError),
    ],
)
def test_wrong_arguments(arguments, error):
    with pytest.raises(error):
        check(*arguments)
    with pytest.raises(error):
        explain(*arguments)


def test_explain():
    fields = explain(REPLY, PackageBase, Form.FRAME, Direction.REPLY)
    assert [(one.name, one.offset, one.raw.hex(), one.value, one.meaning) for one in fields[:5]] == [
        ("marker", 0, "00", 0, fields[0].meaning),
        ("serialNum", 1, "0500", 5, fields[1].meaning),
        ("ackCode", 3, "00", 0, fields[2].meaning),
        ("commResult", 4, "05", 5, "timeout"),
        ("packResult", 5, "00", 0, "ok"),
    ]
    assert fields[1].description == "ties a reply to its request"
    assert fields[1].column is None
    assert fields[1].remarks == ()
    record = explain("7,a/b", PackageBase)
    assert (record[1].name, record[1].column, record[1].value) == ("deviceKey", 1, "a/b")
    assert any(one.remarks for one in record)
    write = PackageRequestWriteData(data=b"\1\2", broadcast=True)
    assert {type(one.value) for one in explain(write.to_frame(), PackageRequestWriteData)} == {
        int, str, bool, bytes}
    assert {type(one.value) for one in explain(write.to_record(), PackageRequestWriteData)} >= {
        int, str, bool}
    large = explain(PackageBase(serial_num=(1 << 64) - 1).to_record(), PackageBase)
    assert large[0].value is not None
    cut = explain(PackageRequestWriteData(data=bytes(9)).to_frame()[:-5], PackageRequestWriteData)
    assert cut[-1].remarks


def test_guess():
    guesses = guess(REPLY)
    assert (guesses[0].class_name, guesses[0].form, guesses[0].direction) == (
        "PackageBase", Form.FRAME, Direction.REPLY)
    assert guesses[0].verdict
    assert guesses[0].reason
    assert best_guess(REPLY) == guesses[0]
    known = best_guess(REPLY, PackageRequestReadData, Form.TEXT, Direction.REPLY)
    assert (known.class_name, known.form) == ("PackageRequestReadData", Form.TEXT)
    assert not known.verdict
    assert best_guess(REPLY, PackageBase, Form.LINUX) is None


def test_diff():
    other = bytes.fromhex("00 0600 00 01 00")
    assert diff(REPLY, REPLY) == []
    differences = diff(REPLY, other)
    assert [(one.name, one.position) for one in differences] == [("serialNum", 1), ("commResult", 4)]
    assert differences[0] == Difference("serialNum", 0, 1, "5", "6")
    assert str(differences[0]) == "serialNum at 1: 5 -> 6"
    longer = diff("7,a", "7,b,,9", PackageBase, Form.TEXT, Direction.REQUEST)
    assert [(one.position, one.name) for one in longer] == [
        (1, "deviceKey"), (2, "deviceType"), (3, "scrAddr")]
    assert longer[1].first is None
    with pytest.raises(ValueError, match="no guess"):
        diff(REPLY, other, PackageBase, Form.LINUX)


def test_diff_of_fields_that_come_twice():
    first, second = (PackageRequestReadData(data=data).to_frame() for data in (b"a", b"bc"))
    assert [one.name for one in diff(first, second, PackageRequestReadData)] == [
        "replyDataLength", "replyDataLength", "data"]


def test_diff_of_combinations():
    record = "ReadData^1,,0,0,0,0,0,0,0,0,read,3,,ok,ok,3,data"
    differences = diff(record + "|" + record, record + "|" + record.replace("^1", "^2"),
                       PackageRequestCombination)
    assert [str(one) for one in differences] == ["item 2 serialNum at 0: 1 -> 2"]


@pytest.mark.skipif("KORVINPACKAGE_KORVINPACK" not in os.environ, reason="needs korvinpack")
def test_the_program_says_the_same():
    program = os.environ["KORVINPACKAGE_KORVINPACK"]
    messages = [REPLY.hex(), "00 0500 61", PackageRequestWriteData(data=b"ab").to_frame().hex(),
                PackageRequestReadData(reply_data_length=2).to_linux_frame().hex(),
                PackageRequestReadData(tag="t", data=b"ab").to_reply_record()]
    for message in messages:
        done = subprocess.run([program, "explain", "--json", message], check=False,
                              capture_output=True, encoding="utf-8")
        told = json.loads(done.stdout)
        raw = message if "," in message else bytes.fromhex(message)
        best = best_guess(raw)
        assert describe_shape(best.class_name, best.form, best.direction) == told["what"]
        assert bool(best.verdict) == told["verdict"]["ok"]
        fields = explain(raw, best.class_name, best.form, best.direction)
        assert [one.name for one in fields] == [one["name"] for one in told["fields"]]
        assert [one.meaning for one in fields] == [one.get("meaning", "")
                                                     for one in told["fields"]]


def test_check_lines():
    package = PackageRequestWriteData(data=b"a")
    record = package.to_record()
    verdicts = check_lines([record + "\n", record.encode() + b"\r\n", "x"], PackageRequestWriteData)
    assert [bool(one) for one in verdicts] == [True, True, False]
    frames = [package.to_frame().hex() + "\n"]
    assert all(check_lines(frames, PackageRequestWriteData, Form.FRAME))


def test_check_lines_takes_constant_memory():
    record = PackageRequestWriteData(data=b"a").to_record() + "\n"
    peaks = []
    for count in (1000, 20000):
        tracemalloc.start()
        accepted = sum(map(bool, check_lines(itertools.repeat(record, count),
                                             PackageRequestWriteData)))
        peaks.append(tracemalloc.get_traced_memory()[1])
        tracemalloc.stop()
        assert accepted == count
    assert peaks[1] < peaks[0] + 10000
