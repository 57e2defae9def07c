"""Enumerations, with the numbers of the C++ headers."""

from __future__ import annotations

from enum import IntEnum


class ReadWriteCode(IntEnum):
    """Direction of a register access."""

    READ = 0
    WRITE = 1


class CommResult(IntEnum):
    """Outcome of the transport."""

    PENDING = 0
    OK = 1
    CRC_ERR = 2
    LENGTH_ERR = 3
    PORT_ERR = 4
    TIMEOUT = 5
    CODE_ERR = 6
    FORCED_CANCEL = 7


class PackResult(IntEnum):
    """Outcome that the device or the receiving side reports."""

    OK = 0
    FILE_ERR = 1
    MEM_ERR = 2
    FILE_DELETE_ERR = 3
    DIRECTORY_CREATE_ERR = 4
    INVALID_PORT = 5
    PARSE_FAILURE = 6
    MESSAGE_DISCONNECT = 7
    FORCE_CANCEL = 8
    SEND_ERROR = 9
    PARSE_PACK_ADDR_FAILURE = 10
    FAILURE = 245
    DIS_CONNECT = 246
    FILE_NO_EXIST = 247
    FILE_READ_FAILURE = 248
    FILE_CREAT_FAILURE = 249
    FILE_WRITE_FAILURE = 250
    DEVICE_SPACE_NO_ENOUGH = 251
    CANCEL_WAIT = 252
    CANCEL = 253
    ABORT = 254
    TIME_OUT = 255


class ClientPackageType(IntEnum):
    """Kind of payload."""

    DATA = 0
    FILE = 1
    MEM_DATA = 2


class Form(IntEnum):
    """Encoding of a message: byte frame, text record, Linux frame."""

    FRAME = 0
    TEXT = 1
    LINUX = 2


class Direction(IntEnum):
    """Direction of a message: to the device, or back from it."""

    REQUEST = 0
    REPLY = 1


class Refusal(IntEnum):
    """Why a message is refused."""

    NONE = 0
    NO_SUCH_FORM = 1
    TRUNCATED = 2
    LENGTH_TOO_LARGE = 3
    TRAILING_BYTES = 4
    UNKNOWN_MARKER = 5
    UNKNOWN_CODE = 6
    WRONG_CHECKSUM = 7
    ZERO_IN_TEXT = 8
    NOT_UTF8 = 9
    TOO_FEW_FIELDS = 10
    TOO_MANY_FIELDS = 11
    NOT_A_NUMBER = 12
    OUT_OF_RANGE = 13
    UNKNOWN_NAME = 14
    NOT_ESCAPED = 15
    CONTRADICTION = 16
    DATA_STRING_MISMATCH = 17
    UNKNOWN_TYPE = 18
    OUT_OF_MEMORY = 19
    OTHER_REQUEST = 20
    OTHER_ACCESS = 21


class Outcome(IntEnum):
    """How a request has ended."""

    SUCCESS = 0
    FAILURE = 1
    TIMED_OUT = 2
    CANCELLED = 3
    LINK_LOST = 4
    REFUSED = 5
    REFUSED_REPLY = 6


class SendError(IntEnum):
    """Why a request was not sent."""

    NONE = 0
    QUEUE_FULL = 1
    TOO_MANY_ITEMS = 2
    NOT_CARRIED = 3
    NOT_ACCEPTED = 4
    TOO_LONG = 5
    TOO_MUCH_DATA = 6
    OUT_OF_MEMORY = 7


class Repeat(IntEnum):
    """Whether a request that is not answered may be sent again.

    The device then carries it out twice if only the reply was lost. ``READS`` repeats
    only what reads, except data reads of a register that does not advance.
    """

    READS = 0
    ALWAYS = 1
    NEVER = 2


class TransferKind(IntEnum):
    """What a transfer moves, and which way."""

    WRITE_DATA = 0
    READ_DATA = 1
    WRITE_FILE = 2
    READ_FILE = 3
    WRITE_MEMORY = 4
    READ_MEMORY = 5


class FramingFault(IntEnum):
    """Why no more messages can be read from a stream of bytes."""

    NONE = 0
    TOO_LONG = 1
    OVERDUE = 2
    INCOMPLETE = 3
    OUT_OF_MEMORY = 4


class TraceEvent(IntEnum):
    """What happened with a message."""

    SENT = 0
    REPEATED = 1
    ANSWERED = 2
    LATE = 3
    DUPLICATE = 4
    UNKNOWN = 5
    REFUSED_REPLY = 6


class FaultKind(IntEnum):
    """A fault that a simulated device shows on purpose."""

    NONE = 0
    DROP_REQUEST = 1
    DROP_REPLY = 2
    DELAY = 3
    CORRUPT = 4
    TRUNCATE = 5
    DUPLICATE = 6
    STALE_SERIAL = 7
    RESULT = 8


CODES: tuple[type[IntEnum], ...] = (ReadWriteCode, CommResult, PackResult, ClientPackageType)
"""The enumerations that packages have fields of."""


def wire_name(member: IntEnum) -> str:
    """Return the name of a code as records and JSON have it: FORCED_CANCEL is forcedCancel."""
    first, *others = member.name.lower().split("_")
    return first + "".join(word.capitalize() for word in others)


def members_of(description: str) -> dict[str, IntEnum]:
    """Return the members, by their names on the wire, that the type of a field lists."""
    words = description.removeprefix("one of ").partition(", or a number")[0].split(", ")
    for enumeration in CODES:
        members = {wire_name(member): member for member in enumeration}
        if list(members) == words:
            return members
    raise LookupError(f"no enumeration has the codes {words}")
