"""A plugin for pytest: a simulated device, a client of it, replays of captures.

Fixtures:

korvin_device -- a SimulatedDevice
korvin_client -- a Client of that device, in memory: time-outs take no real time

Markers:

korvin(state=..., settings=..., words=...) -- state of the device, settings of the client
korvin_capture(path, port=5000) -- runs the test once for each exchange of a pcapng file, which
    it gets as its argument ``korvin_exchange``
"""

from __future__ import annotations

from collections.abc import Iterator

import pytest

from korvinpackage._classes import PackageBase
from korvinpackage.capture import read_exchanges
from korvinpackage.client import Client
from korvinpackage.engine import Settings
from korvinpackage.simulator import SimulatedDevice


def pytest_configure(config: pytest.Config) -> None:
    """Announce the markers."""
    config.addinivalue_line(
        "markers", "korvin(state, settings, words): state of korvin_device, and how to talk to it"
    )
    config.addinivalue_line(
        "markers", "korvin_capture(path, port): run for each exchange of a pcapng file"
    )


def pytest_generate_tests(metafunc: pytest.Metafunc) -> None:
    """Run a test for each exchange of its capture."""
    marker = metafunc.definition.get_closest_marker("korvin_capture")
    if marker is not None:
        exchanges = read_exchanges(*marker.args, **marker.kwargs)
        names = [f"{number}-{one.request.class_name}" for number, one in enumerate(exchanges, 1)]
        metafunc.parametrize("korvin_exchange", exchanges, ids=names)


@pytest.fixture
def korvin_device(request: pytest.FixtureRequest) -> SimulatedDevice:
    """A simulated device, with the state that the marker korvin gives."""
    marker = request.node.get_closest_marker("korvin")
    return SimulatedDevice(marker.kwargs.get("state") if marker else None)


@pytest.fixture
def korvin_client(
    request: pytest.FixtureRequest, korvin_device: SimulatedDevice
) -> Iterator[Client]:
    """A client of korvin_device, in memory, with the settings that the marker korvin gives."""
    marker = request.node.get_closest_marker("korvin")
    options = marker.kwargs if marker else {}
    settings = options.get("settings", Settings())
    with Client.device(korvin_device, settings, words=options.get("words", False)) as client:
        yield client


def pytest_assertrepr_compare(op: str, left: object, right: object) -> list[str] | None:
    """Show the fields in which two packages differ."""
    if op != "==" or not isinstance(left, PackageBase) or not isinstance(right, PackageBase):
        return None
    if left.class_name != right.class_name:
        return [f"{left.class_name} == {right.class_name}", "the packages have other classes"]
    lines = [f"{left.class_name} == {right.class_name}: these fields differ"]
    for name in left.field_names:
        one, other = getattr(left, name), getattr(right, name)
        if one != other:
            lines.append(f"  {name}: {one!r} != {other!r}")
    return lines
