"""Packages of a device-control protocol: make, read, check and explain them, talk to devices.

The bytes, refusals and results are those of the C++ libraries, which this package wraps.

>>> from korvinpackage import PackageRequestReadData
>>> PackageRequestReadData(device_key="usb0", reply_data_length=3).to_record()
'0,usb0,0,0,0,0,0,0,0,0,read,3,,ok,ok,3,data'
"""

from korvinpackage import _classes
from korvinpackage._classes import *  # noqa: F403
from korvinpackage._enums import (
    ClientPackageType,
    CommResult,
    Direction,
    FaultKind,
    Form,
    FramingFault,
    Outcome,
    PackResult,
    ReadWriteCode,
    Refusal,
    Repeat,
    SendError,
    TraceEvent,
    TransferKind,
)
from korvinpackage._inspect import (
    best_guess,
    check,
    check_lines,
    describe_shape,
    diff,
    explain,
    guess,
    shape_exists,
)
from korvinpackage._link import LinkLostError, Pending
from korvinpackage._packages import PackageRequestCombination
from korvinpackage._values import Difference, ExplainedField, Guess, RefusedError, Verdict
from korvinpackage.aio import AsyncClient, DeviceServer
from korvinpackage.client import Client
from korvinpackage.engine import (
    Counters,
    Engine,
    Finished,
    Framing,
    OutgoingMessage,
    Progress,
    Result,
    Settings,
    TraceEntry,
)
from korvinpackage.simulator import Answer, DeviceSession, Fault, SimulatedDevice

__all__ = [
    "Answer",
    "AsyncClient",
    "Client",
    "ClientPackageType",
    "CommResult",
    "Counters",
    "DeviceServer",
    "DeviceSession",
    "Difference",
    "Direction",
    "Engine",
    "ExplainedField",
    "Fault",
    "FaultKind",
    "Finished",
    "Form",
    "Framing",
    "FramingFault",
    "Guess",
    "LinkLostError",
    "OutgoingMessage",
    "Outcome",
    "PackResult",
    "PackageRequestCombination",
    "Pending",
    "Progress",
    "ReadWriteCode",
    "Refusal",
    "RefusedError",
    "Repeat",
    "Result",
    "SendError",
    "Settings",
    "SimulatedDevice",
    "TraceEntry",
    "TraceEvent",
    "TransferKind",
    "Verdict",
    "best_guess",
    "check",
    "check_lines",
    "describe_shape",
    "diff",
    "explain",
    "guess",
    "shape_exists",
]
__all__ += _classes.__all__
