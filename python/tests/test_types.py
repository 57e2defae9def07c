"""Enumerations, stubs and documentation agree with the C++ headers and the module."""

from __future__ import annotations

import doctest
import inspect
import os
import pathlib
import re
import subprocess
import sys

import pytest
import stubs

import korvinpackage
from korvinpackage import PackageBase, PackageRequestRead, _core, _enums, _packages

SOURCE = pathlib.Path(os.environ["KORVINPACKAGE_SOURCE"])
PYTHON = SOURCE / "python"

HEADERS = [
    (_enums.ReadWriteCode, "korvinpackage/include/orvexenum.h", "ReadWriteCode", "", ""),
    (_enums.CommResult, "korvinpackage/include/orvexenum.h", "CommResults", "Comm", ""),
    (_enums.PackResult, "korvinpackage/include/orvexenum.h", "PackageResults", "Pack", ""),
    (_enums.ClientPackageType, "korvinpackage/include/orvexenum.h", "ClientPackageType", "",
     "Package"),
    (_enums.Form, "korvininspect/include/korvininspect/messageshape.h", "Form", "", ""),
    (_enums.Direction, "korvininspect/include/korvininspect/messageshape.h", "Direction", "", ""),
    (_enums.Refusal, "korvininspect/include/korvininspect/packagecheck.h", "Refusal", "", ""),
    (_enums.Outcome, "korvinexchange/include/korvinexchange/outcome.h", "Outcome", "", ""),
    (_enums.SendError, "korvinexchange/include/korvinexchange/outcome.h", "SendError", "", ""),
    (_enums.Repeat, "korvinexchange/include/korvinexchange/settings.h", "Repeat", "", ""),
    (_enums.TransferKind, "korvinexchange/include/korvinexchange/transfer.h", "Kind", "", ""),
    (_enums.FramingFault, "korvinexchange/include/korvinexchange/framing.h", "FramingFault", "", ""),
    (_enums.TraceEvent, "korvinexchange/include/korvinexchange/trace.h", "TraceEvent", "", ""),
    (_enums.FaultKind, "korvinsimulator/include/korvinsimulator/faultplan.h", "FaultKind", "", ""),
]


def enumerators(path, name):
    """Return the enumerators of a header and their numbers."""
    text = (SOURCE / path).read_text("utf-8")
    body = re.search(rf"enum (?:class )?{name}(?: : int)? {{(.*?)}};", text, re.S)[1]
    found = {}
    for word, number in re.findall(r"^\s*(\w+)(?: = (\d+))?,?\s*(?:///.*)?$",
                                   re.sub(r"///.*|//.*", "", body).replace(", ", ",\n"), re.M):
        found[word] = int(number) if number else len(found)
    return found


def camel(word):
    return "".join(part.capitalize() for part in word.split("_"))


@pytest.mark.parametrize("enumeration, path, name, prefix, suffix", HEADERS)
def test_enumerations_are_those_of_the_headers(enumeration, path, name, prefix, suffix):
    expected = {prefix + camel(member.name) + suffix: int(member) for member in enumeration}
    assert expected == enumerators(path, name)


def test_codes_of_fields_that_nobody_knows():
    with pytest.raises(LookupError):
        _enums.members_of("one of a, b, or a number from 1 to 2")


def test_the_documentation_is_complete():
    names = {name for _, _, fields, _ in _core.describe_classes() for name, *_ in fields}
    assert names >= set(_packages.NOTES)
    assert PackageRequestRead.__doc__.startswith("Asks to read a register; the reply brings no data.\n\nserial_num -- Ties a reply")
    assert PackageBase.timeout.__doc__ == (
        "Time-out, in the unit of the peers. Usually milliseconds. The library only carries it.\n\n"
        "Type: a whole number from -2147483648 to 2147483647.")
    for name in korvinpackage.__all__:
        thing = getattr(korvinpackage, name)
        assert thing.__doc__, name
        if not inspect.isclass(thing):
            continue
        for attribute, value in vars(thing).items():
            if not attribute.startswith("_") and callable(value):
                assert inspect.getdoc(value), f"{name}.{attribute}"


def test_ranges_are_documented():
    assert "from 0 to 255" in korvinpackage.PackageBase.scr_addr.__doc__
    assert "RefusedError" in korvinpackage.PackageBase.from_frame.__doc__
    assert "ValueError" in korvinpackage.PackageBase.__doc__


def test_examples_of_docstrings():
    assert doctest.testmod(korvinpackage).attempted > 0
    assert doctest.testmod(korvinpackage).failed == 0


def test_the_stub_is_up_to_date(capsys):
    stubs.print_stub()
    assert capsys.readouterr().out == (PYTHON / "korvinpackage/_core.pyi").read_text("utf-8")
    stubs.print_classes()
    assert capsys.readouterr().out == (PYTHON / "korvinpackage/_classes.py").read_text("utf-8")


def test_mypy(tmp_path):
    pytest.importorskip("mypy")
    environment = {**os.environ, "PYTHONPATH": "", "MYPYPATH": ""}
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--config-file", "pyproject.toml",
         "--cache-dir", str(tmp_path), "korvinpackage"],
        env=environment, cwd=PYTHON, check=False, text=True, stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT)
    assert done.returncode == 0, done.stdout


def test_the_stub_names_what_the_module_has():
    text = (PYTHON / "korvinpackage/_core.pyi").read_text("utf-8")
    stubbed = set(re.findall(r"^(?:class|def) ([A-Za-z]\w*)", text, re.M))
    assert stubbed == {name for name in vars(_core) if not name.startswith("__")}
    for itself in (_core.Engine, _core.Framing, _core.Device, _core.Package):
        body = re.search(rf"^class {itself.__name__}.*?(?=^\S|\Z)", text, re.M | re.S)[0]
        methods = set(re.findall(r"def ([a-z]\w*)", body))
        assert methods == {name for name in vars(itself) if not name.startswith("_")}
