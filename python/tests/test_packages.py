"""Packages: fields, ranges, forms, copies, JSON."""

from __future__ import annotations

import copy
import json
import pickle

import pytest

import korvinpackage
from korvinpackage import (
    ClientPackageType,
    CommResult,
    PackageBase,
    PackageRequestCombination,
    PackageRequestRead,
    PackageRequestReadData,
    PackageRequestReadFile,
    PackageRequestWrite,
    PackageRequestWriteData,
    PackageRequestWriteIP,
    PackResult,
    ReadWriteCode,
    RefusedError,
    Refusal,
    SpecialPackageRequest,
    _core,
)

ROWS = _core.describe_classes()
CLASSES = [itself for itself, *_ in ROWS]
# Worked out by hand: docs/protocol.md says what each byte and column is.
FORMS = [
    (
        PackageBase(serial_num=5),
        "to_reply_frame",
        bytes.fromhex("00 0500 00 01 00"),
    ),
    (
        PackageBase(ack_code=7),
        "to_reply_record",
        "0,,0,0,0,0,0,0,0,0,read,3,,ok,ok,7",
    ),
    (
        PackageBase(device_key="ab", tag="c", timeout=-2, serial_num=0x1234, scr_addr=1,
                    des_addr=2, device_type=3, port_addr=4, scan_board_addr=0x0605,
                    read_write_code=ReadWriteCode.WRITE, reserved2=8, low_addr=0x0A09,
                    high_addr=0x0C0B),
        "to_frame",
        bytes.fromhex("00 0200 6162 0100 63 FEFFFFFF 3412 01 02 03 04 0506 01 08 090A 0B0C"),
    ),
    (
        PackageRequestWriteData(data=b"\x01\xff\x10"),
        "to_record",
        "0,,0,0,0,0,0,0,0,0,write,3,,ok,ok,false,data,3,1/255/16",
    ),
    (
        PackageRequestWriteData(data=b"\x01\x02\x03"),
        "to_linux_frame",
        # 0x5555 + 01 (write) + 03 (length) + 01 + 02 + 03 = 0x555F
        bytes.fromhex("55AA 00 00 00 00 00 00 0000 01 00 0000 0000 0300 010203 5F55"),
    ),
    (
        PackageRequestReadData(serial_num=5, data=b"\x01\xff\x10"),
        "to_linux_reply_frame",
        # 0x5555 + 05 + 03 + 01 + FF + 10 = 0x566D
        bytes.fromhex("55AA 00 05 00 00 00 00 0000 00 00 0000 0000 0300 01FF10 6D56"),
    ),
    (
        SpecialPackageRequest(id=12, timeout=0, str_data="hello"),
        "to_record",
        "12,0,hello",
    ),
]


@pytest.mark.parametrize("package, encoder, encoded", FORMS)
def test_forms(package, encoder, encoded):
    assert getattr(package, encoder)() == encoded
    decoder = getattr(type(package), encoder.replace("to_", "from_"))
    assert getattr(decoder(encoded), encoder)() == encoded


def test_full_reply():
    # Marker 1, the request, then the results with a zero byte after each.
    frame = PackageBase(ack_code=7).to_reply_frame(full=True)
    assert frame == bytes.fromhex("01 0000 0000 03000000 0000 00 00 00 00 0000 00 00 0000 0000"
                                  "07 00 01 00 00 00")
    assert PackageBase.from_reply_frame(frame).ack_code == 7


def test_there_is_a_class_for_each_row():
    assert len(CLASSES) == 11
    for itself in CLASSES:
        assert getattr(korvinpackage, itself.class_name) is itself
        assert itself.__module__ == "korvinpackage"
        for name in itself.field_names:
            assert getattr(itself, name).__doc__


def test_classes_derive_from_each_other_as_in_the_interface():
    assert PackageRequestReadData.__bases__ == (PackageRequestRead,)
    assert PackageRequestWriteIP.__bases__ == (PackageRequestWriteData,)
    assert PackageRequestWrite.__bases__ == (PackageBase,)


def test_defaults():
    package = PackageRequestWrite()
    assert package.read_write_code is ReadWriteCode.WRITE
    assert package.comm_result is CommResult.OK
    assert package.pack_result is PackResult.OK
    assert package.client_package_type is ClientPackageType.DATA
    assert package.serial_num == 0
    assert package.max_part_size == 2048
    assert package.is_success
    assert not PackageBase(ack_code=1).is_success


@pytest.mark.parametrize(
    "name, value, message",
    [
        ("scr_addr", 256, "scr_addr: 256 is not a whole number from 0 to 255"),
        ("scr_addr", -1, "scr_addr: -1 is not a whole number from 0 to 255"),
        ("device_type", 1 << 31, "device_type: 2147483648 is not a whole number from -2147483648"),
        ("serial_num", 1 << 64, "from 0 to 18446744073709551615"),
        ("serial_num", -1, "from 0 to 18446744073709551615"),
        ("serial_num", 1 << 20000, "from 0 to 18446744073709551615"),
        ("serial_num", -(1 << 20000), "from 0 to 18446744073709551615"),
        ("high_addr", (1 << 63) + 1, "high_addr: "),
        ("high_addr", (1 << 60), "high_addr: "),
        ("comm_result", 1 << 31, "comm_result: 2147483648 is not one of pending, ok,"),
        ("tag", "a\ud800", "surrogate"),
        ("tag", "\U0001f600\ud800", "surrogate"),
    ],
    ids=lambda value: value if isinstance(value, str) and value.isidentifier() else "",
)
def test_values_out_of_range(name, value, message):
    with pytest.raises(ValueError, match=message):
        PackageBase(**{name: value})
    package = PackageBase()
    before = getattr(package, name)
    with pytest.raises(ValueError, match=message):
        setattr(package, name, value)
    assert getattr(package, name) == before


@pytest.mark.parametrize(
    "name, value",
    [
        ("scr_addr", 1.0),
        ("scr_addr", "1"),
        ("scr_addr", None),
        ("tag", b"bytes"),
        ("tag", 1),
        ("subcribe_hardware", 1),
        ("comm_result", "ok"),
        ("no_such_field", 1),
    ],
)
def test_wrong_types(name, value):
    with pytest.raises(TypeError):
        PackageBase(**{name: value})
    with pytest.raises((TypeError, AttributeError)):
        setattr(PackageBase(), name, value)


def test_positional_arguments_are_refused():
    with pytest.raises(TypeError):
        PackageBase("usb0")


@pytest.mark.parametrize("name", ["serial_num"])
@pytest.mark.parametrize("value", [0, (1 << 53) - 1, 1 << 53, (1 << 53) + 1, (1 << 63), (1 << 64) - 1])
def test_large_numbers(name, value):
    package = PackageBase(**{name: value})
    assert getattr(package, name) == value
    assert pickle.loads(pickle.dumps(package)) == package


def test_codes_without_a_name():
    package = PackageBase(comm_result=99, pack_result=-3)
    assert package.comm_result == 99
    assert package.pack_result == -3
    assert not isinstance(package.comm_result, CommResult)
    assert eval(repr(package), vars(korvinpackage)) == package


def test_texts_of_every_width():
    for text in ("", "ascii", "tég", "\0", "\ufeffmark", "漢字", "\U0001f600", "é\U0001f600漢\0"):
        package = PackageBase(tag=text)
        assert package.tag == text
        assert copy.copy(package) == package


@pytest.mark.parametrize("data", [b"\x01\x02", bytearray(b"\x01\x02"), memoryview(b"\x01\x02")])
def test_bytes_like_data(data):
    package = PackageRequestWriteData(data=data)
    assert package.data == b"\x01\x02"
    assert package.package_data_length == 2


def test_lengths_follow_data_only_in_the_constructor():
    package = PackageRequestWriteData(data=b"abc", package_data_length=1)
    assert package.package_data_length == 1
    assert eval(repr(package), vars(korvinpackage)) == package
    package.data = b"abcd"
    assert package.package_data_length == 1
    assert PackageRequestReadData(data=b"ab").reply_data_length == 2


def test_equality():
    assert PackageBase() == PackageBase()
    assert PackageBase() != PackageBase(tag="a")
    assert PackageBase() != PackageRequestRead()
    assert PackageRequestReadData(data=b"a") != PackageRequestReadData(data=b"b")
    assert PackageBase() != 1
    with pytest.raises(TypeError):
        hash(PackageBase())


def test_repr():
    package = PackageRequestReadFile(tag="it's", comm_result=CommResult.TIMEOUT)
    assert repr(package) == (
        "PackageRequestReadFile(tag=\"it's\", comm_result=CommResult.TIMEOUT)"
    )


class Labelled(PackageRequestReadData):
    """A class of a user, with an attribute of its own."""

    def __init__(self, label, **fields):
        super().__init__(**fields)
        self.label = label


def test_subclasses():
    package = Labelled("mine", tag="t", data=b"x")
    assert package.to_frame() == PackageRequestReadData(tag="t", data=b"x").to_frame()
    for same in (copy.copy(package), copy.deepcopy(package), pickle.loads(pickle.dumps(package))):
        assert type(same) is Labelled
        assert same == package
        assert same.label == "mine"
    assert type(Labelled.from_frame(package.to_frame())) is Labelled
    assert type(Labelled.from_json(package.to_json())) is Labelled


@pytest.mark.parametrize("itself", CLASSES)
def test_copies(itself):
    package = itself(tag="t", serial_num=9)
    for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
        assert pickle.loads(pickle.dumps(package, protocol)) == package
    other = copy.copy(package)
    other.tag = "u"
    assert package.tag == "t"


def test_decoders_refuse():
    with pytest.raises(RefusedError) as refused:
        PackageBase.from_frame(b"\0\5\0a")
    assert refused.value.verdict.refusal is Refusal.LENGTH_TOO_LARGE
    assert refused.value.verdict.field == "deviceKey"
    assert refused.value.verdict.position == 3
    assert str(refused.value) == refused.value.verdict.reason
    assert isinstance(refused.value, ValueError)
    # The decoder of the protocol is lenient.
    assert PackageBase.from_frame(b"\0\5\0a", checked=False).serial_num == 0
    with pytest.raises(RefusedError):
        PackageBase.from_record("1,2", checked=False)


def test_forms_that_a_class_does_not_have():
    with pytest.raises(RefusedError) as refused:
        PackageBase().to_linux_frame()
    assert refused.value.verdict.refusal is Refusal.NO_SUCH_FORM
    with pytest.raises(RefusedError):
        PackageBase.from_linux_frame(bytes(20))
    with pytest.raises(RefusedError) as refused:
        PackageRequestReadData(data=bytes(65536)).to_linux_reply_frame()
    assert refused.value.verdict.refusal is Refusal.OUT_OF_RANGE


def test_replies_are_compared_with_the_request():
    request = PackageRequestReadData(serial_num=5, reply_data_length=1)
    reply = PackageRequestReadData(serial_num=6, data=b"a").to_reply_record()
    with pytest.raises(RefusedError) as refused:
        PackageRequestReadData.from_reply_record(reply, request=request.to_record())
    assert refused.value.verdict.refusal is Refusal.OTHER_REQUEST


def test_announced_data():
    frame = PackageRequestWriteData(data=bytes(100)).to_frame()
    for checked in (False, True):
        with pytest.raises(RefusedError):
            PackageRequestWriteData.from_frame(frame, checked=checked, announced_data=99)
        decoded = PackageRequestWriteData.from_frame(frame, checked=checked, announced_data=100)
        assert decoded.data == bytes(100)


def test_long_data():
    data = bytes(range(256)) * 256
    package = PackageRequestWriteData(data=data, broadcast=True)
    assert PackageRequestWriteData.from_frame(package.to_frame()) == package
    assert PackageRequestWriteData.from_record(package.to_record()).data == data


def test_json():
    package = PackageRequestWriteData(tag="t", data=b"\x01\xff", comm_result=CommResult.TIMEOUT)
    fields = json.loads(package.to_json())
    assert fields["class"] == "PackageRequestWriteData"
    assert fields["data"] == "01ff"
    assert fields["commResult"] == "timeout"
    assert PackageRequestWriteData.from_json(package.to_json()) == package
    # A base class makes a package of the class that the text names.
    assert PackageBase.from_json(package.to_json().encode()) == package
    assert PackageBase.from_json('{"tag": "u"}') == PackageBase(tag="u")


@pytest.mark.parametrize(
    "text, message",
    [
        ("", "not JSON"),
        ("[]", "not a JSON object"),
        ('{"class": "Nothing"}', 'no class "Nothing"'),
        ('{"class": "PackageRequestWrite"}', "PackageRequestWrite is not a PackageRequestRead"),
        ('{"noField": 1}', "noField"),
        ('{"scrAddr": 256}', "scrAddr: 256 is not a whole number"),
        ("[" * 100000, "not JSON"),
        ('{"tag":' * 100000, "not JSON"),
    ],
)
def test_wrong_json(text, message):
    with pytest.raises(ValueError, match=message):
        PackageRequestRead.from_json(text)


def test_combinations():
    packages = [PackageRequestWriteData(tag="a", data=b"\x01"),
                PackageRequestReadFile(file_name_with_path="f")]
    combination = PackageRequestCombination(packages, device_key="k", timeout=5, serial_num=6)
    record = combination.to_record()
    assert record == (
        "writeData^0,,0,0,0,0,0,0,0,0,write,3,a,ok,ok,false,data,1,1"
        "|ReadFile^0,,0,0,0,0,0,0,0,0,read,3,,ok,ok,0,file,f"
    )
    assert [type(one) for one in PackageRequestCombination.from_record(record).packages] == [
        PackageRequestWriteData, PackageRequestReadFile]
    lenient = PackageRequestCombination.from_record(record, checked=False)
    assert lenient.packages[1].file_name_with_path == "f"
    assert eval(repr(combination), vars(korvinpackage)) == combination
    assert PackageRequestCombination.from_json(combination.to_json()) == combination
    assert PackageRequestCombination.from_json(memoryview(b"{}")) == PackageRequestCombination()
    assert pickle.loads(pickle.dumps(combination)) == combination
    assert combination != PackageRequestCombination()
    assert combination != 1


@pytest.mark.parametrize("number", [1 << 54, (1 << 64) - 1])
def test_large_numbers_of_combinations(number):
    combination = PackageRequestCombination(serial_num=number)
    assert PackageRequestCombination.from_json(combination.to_json()) == combination


@pytest.mark.parametrize(
    "text, message",
    [
        ("[]", "not a JSON object"),
        ("[" * 100000, "too deep"),
        ('{"class": "PackageBase"}', "class: expected PackageRequestCombination"),
        ('{"packages": 1}', "packages: expected a list"),
        ('{"packages": [1]}', "not JSON"),
        ('{"x": 1}', "x: PackageRequestCombination has no such field"),
        ('{"timeout": 1.5}', "timeout"),
    ],
)
def test_wrong_json_of_combinations(text, message):
    with pytest.raises(ValueError, match=message):
        PackageRequestCombination.from_json(text)


def test_wrong_combinations():
    with pytest.raises(RefusedError) as refused:
        PackageRequestCombination([PackageBase()]).to_record()
    assert refused.value.verdict.refusal is Refusal.UNKNOWN_TYPE
    assert refused.value.verdict.item == 1
    with pytest.raises(RefusedError):
        PackageRequestCombination([PackageRequestReadFile(tag="|")]).to_record()
    for checked in (False, True):
        with pytest.raises(RefusedError):
            PackageRequestCombination.from_record("ReadMemData^1", checked=checked)
    with pytest.raises(ValueError):
        PackageRequestCombination(serial_num=-1)
