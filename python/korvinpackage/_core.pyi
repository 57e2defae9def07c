# Made by python/tests/stubs.py; do not edit.

from collections.abc import Callable, Sequence
from typing import ClassVar, Protocol, Self

from korvinpackage._enums import (
    ClientPackageType,
    CommResult,
    Form,
    PackResult,
    ReadWriteCode,
)
from korvinpackage._values import Value, Verdict

_Bytes = bytes | bytearray | memoryview
_Message = str | _Bytes

GuessRow = tuple[str, int, int, Verdict, str]
_FieldRow = tuple[
    str, int, int | None, int, int, bytes, Value, str, str, tuple[str, ...], str
]
_EventRow = tuple[int, int, int, int, Verdict, int, float, int, int, int, bytes, str]
_TraceRow = tuple[int, float, str, int, int, int, bytes, Verdict, str, bytes]

class _Settings(Protocol):
    @property
    def first_serial_num(self) -> int: ...
    @property
    def last_serial_num(self) -> int: ...
    @property
    def forms(self) -> Sequence[Form]: ...
    @property
    def timeout(self) -> float: ...
    @property
    def queue_timeout(self) -> float: ...
    @property
    def rest(self) -> float: ...
    @property
    def rest_after_reply(self) -> float: ...
    @property
    def attempts(self) -> int: ...
    @property
    def pause(self) -> float: ...
    @property
    def longest_pause(self) -> float: ...
    @property
    def in_flight(self) -> int: ...
    @property
    def queued(self) -> int: ...
    @property
    def bytes_in_flight(self) -> int: ...
    @property
    def message_size(self) -> int: ...
    @property
    def announced_data(self) -> int: ...
    @property
    def serial_numbers(self) -> int: ...

class _Fault(Protocol):
    @property
    def kind(self) -> int: ...
    @property
    def delay(self) -> float: ...
    @property
    def position(self) -> int: ...
    @property
    def ack_code(self) -> int: ...
    @property
    def comm_result(self) -> int: ...
    @property
    def pack_result(self) -> int: ...

class Package:
    class_name: ClassVar[str]
    field_names: ClassVar[tuple[str, ...]]
    __hash__: ClassVar[None]  # type: ignore[assignment]
    def __eq__(self, other: object, /) -> bool: ...
    @property
    def is_success(self) -> bool: ...
    def to_json(self) -> str: ...
    @classmethod
    def from_json(cls, json: _Message) -> Self: ...
    def to_frame(self) -> bytes: ...
    @classmethod
    def from_frame(
        cls,
        message: _Bytes,
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...
    def to_reply_frame(self, full: bool = False) -> bytes: ...
    @classmethod
    def from_reply_frame(
        cls,
        message: _Bytes,
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...
    def to_record(self) -> str: ...
    @classmethod
    def from_record(
        cls,
        message: _Message,
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...
    def to_reply_record(self) -> str: ...
    @classmethod
    def from_reply_record(
        cls,
        message: _Message,
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...
    def to_linux_frame(self) -> bytes: ...
    @classmethod
    def from_linux_frame(
        cls,
        message: _Bytes,
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...
    def to_linux_reply_frame(self) -> bytes: ...
    @classmethod
    def from_linux_reply_frame(
        cls,
        message: _Bytes,
        *,
        checked: bool = True,
        request: _Message | None = None,
        announced_data: int | None = None,
    ) -> Self: ...

class PackageBase(Package):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
    ) -> None: ...
    @property
    def serial_num(self) -> int: ...
    @serial_num.setter
    def serial_num(self, value: int) -> None: ...
    @property
    def device_key(self) -> str: ...
    @device_key.setter
    def device_key(self, value: str) -> None: ...
    @property
    def tag(self) -> str: ...
    @tag.setter
    def tag(self, value: str) -> None: ...
    @property
    def tag_proto(self) -> str: ...
    @tag_proto.setter
    def tag_proto(self, value: str) -> None: ...
    @property
    def server_connection_key(self) -> str: ...
    @server_connection_key.setter
    def server_connection_key(self, value: str) -> None: ...
    @property
    def scr_addr(self) -> int: ...
    @scr_addr.setter
    def scr_addr(self, value: int) -> None: ...
    @property
    def des_addr(self) -> int: ...
    @des_addr.setter
    def des_addr(self, value: int) -> None: ...
    @property
    def device_type(self) -> int: ...
    @device_type.setter
    def device_type(self, value: int) -> None: ...
    @property
    def port_addr(self) -> int: ...
    @port_addr.setter
    def port_addr(self, value: int) -> None: ...
    @property
    def scan_board_addr(self) -> int: ...
    @scan_board_addr.setter
    def scan_board_addr(self, value: int) -> None: ...
    @property
    def high_addr(self) -> int: ...
    @high_addr.setter
    def high_addr(self, value: int) -> None: ...
    @property
    def low_addr(self) -> int: ...
    @low_addr.setter
    def low_addr(self, value: int) -> None: ...
    @property
    def read_write_code(self) -> ReadWriteCode | int: ...
    @read_write_code.setter
    def read_write_code(self, value: int) -> None: ...
    @property
    def reserved2(self) -> int: ...
    @reserved2.setter
    def reserved2(self, value: int) -> None: ...
    @property
    def is_register_addr_self_increasing(self) -> bool: ...
    @is_register_addr_self_increasing.setter
    def is_register_addr_self_increasing(self, value: bool) -> None: ...
    @property
    def timeout(self) -> int: ...
    @timeout.setter
    def timeout(self, value: int) -> None: ...
    @property
    def max_part_size(self) -> int: ...
    @max_part_size.setter
    def max_part_size(self, value: int) -> None: ...
    @property
    def part_count(self) -> int: ...
    @part_count.setter
    def part_count(self, value: int) -> None: ...
    @property
    def cur_part_index(self) -> int: ...
    @cur_part_index.setter
    def cur_part_index(self, value: int) -> None: ...
    @property
    def client_package_type(self) -> ClientPackageType | int: ...
    @client_package_type.setter
    def client_package_type(self, value: int) -> None: ...
    @property
    def subcribe_hardware(self) -> bool: ...
    @subcribe_hardware.setter
    def subcribe_hardware(self, value: bool) -> None: ...
    @property
    def ack_code(self) -> int: ...
    @ack_code.setter
    def ack_code(self, value: int) -> None: ...
    @property
    def comm_result(self) -> CommResult | int: ...
    @comm_result.setter
    def comm_result(self, value: int) -> None: ...
    @property
    def pack_result(self) -> PackResult | int: ...
    @pack_result.setter
    def pack_result(self, value: int) -> None: ...

class PackageRequestRead(PackageBase):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        reply_data_length: int = ...,
    ) -> None: ...
    @property
    def reply_data_length(self) -> int: ...
    @reply_data_length.setter
    def reply_data_length(self, value: int) -> None: ...

class PackageRequestReadData(PackageRequestRead):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        reply_data_length: int = ...,
        data: _Bytes = ...,
    ) -> None: ...
    @property
    def data(self) -> bytes: ...
    @data.setter
    def data(self, value: _Bytes) -> None: ...

class PackageRequestReadFile(PackageRequestRead):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        reply_data_length: int = ...,
        file_name_with_path: str = ...,
        broadcast_rsp_to_all_app: bool = ...,
    ) -> None: ...
    @property
    def file_name_with_path(self) -> str: ...
    @file_name_with_path.setter
    def file_name_with_path(self, value: str) -> None: ...
    @property
    def broadcast_rsp_to_all_app(self) -> bool: ...
    @broadcast_rsp_to_all_app.setter
    def broadcast_rsp_to_all_app(self, value: bool) -> None: ...

class PackageRequestReadMemData(PackageRequestRead):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        reply_data_length: int = ...,
        offset: int = ...,
    ) -> None: ...
    @property
    def offset(self) -> int: ...
    @offset.setter
    def offset(self, value: int) -> None: ...

class PackageRequestWrite(PackageBase):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        base_client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        broadcast: bool = ...,
        client_package_type: int = ...,
        package_data_length: int = ...,
    ) -> None: ...
    @property
    def base_client_package_type(self) -> ClientPackageType | int: ...
    @base_client_package_type.setter
    def base_client_package_type(self, value: int) -> None: ...
    @property
    def broadcast(self) -> bool: ...
    @broadcast.setter
    def broadcast(self, value: bool) -> None: ...
    @property
    def package_data_length(self) -> int: ...
    @package_data_length.setter
    def package_data_length(self, value: int) -> None: ...

class PackageRequestWriteData(PackageRequestWrite):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        base_client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        broadcast: bool = ...,
        client_package_type: int = ...,
        package_data_length: int = ...,
        data: _Bytes = ...,
    ) -> None: ...
    @property
    def data(self) -> bytes: ...
    @data.setter
    def data(self, value: _Bytes) -> None: ...

class PackageRequestWriteIP(PackageRequestWriteData):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        base_client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        broadcast: bool = ...,
        client_package_type: int = ...,
        package_data_length: int = ...,
        data: _Bytes = ...,
        ip_address: str = ...,
    ) -> None: ...
    @property
    def ip_address(self) -> str: ...
    @ip_address.setter
    def ip_address(self, value: str) -> None: ...

class PackageRequestWriteFile(PackageRequestWrite):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        base_client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        broadcast: bool = ...,
        client_package_type: int = ...,
        file_name_with_path: str = ...,
        offset: int = ...,
        broadcast_rsp_to_all_app: bool = ...,
    ) -> None: ...
    @property
    def file_name_with_path(self) -> str: ...
    @file_name_with_path.setter
    def file_name_with_path(self, value: str) -> None: ...
    @property
    def offset(self) -> int: ...
    @offset.setter
    def offset(self, value: int) -> None: ...
    @property
    def broadcast_rsp_to_all_app(self) -> bool: ...
    @broadcast_rsp_to_all_app.setter
    def broadcast_rsp_to_all_app(self, value: bool) -> None: ...

class PackageRequestWriteMemData(PackageRequestWrite):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        base_client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        broadcast: bool = ...,
        client_package_type: int = ...,
        package_data_length: int = ...,
        offset: int = ...,
    ) -> None: ...
    @property
    def offset(self) -> int: ...
    @offset.setter
    def offset(self, value: int) -> None: ...

class SpecialPackageRequest(PackageBase):
    def __init__(
        self,
        *,
        serial_num: int = ...,
        device_key: str = ...,
        tag: str = ...,
        tag_proto: str = ...,
        server_connection_key: str = ...,
        scr_addr: int = ...,
        des_addr: int = ...,
        device_type: int = ...,
        port_addr: int = ...,
        scan_board_addr: int = ...,
        high_addr: int = ...,
        low_addr: int = ...,
        read_write_code: int = ...,
        reserved2: int = ...,
        is_register_addr_self_increasing: bool = ...,
        timeout: int = ...,
        max_part_size: int = ...,
        part_count: int = ...,
        cur_part_index: int = ...,
        client_package_type: int = ...,
        subcribe_hardware: bool = ...,
        ack_code: int = ...,
        comm_result: int = ...,
        pack_result: int = ...,
        id: int = ...,
        str_data: str = ...,
        special_flag_end_time_out: int = ...,
        enabled_special_pack_for_all_port: bool = ...,
    ) -> None: ...
    @property
    def id(self) -> int: ...
    @id.setter
    def id(self, value: int) -> None: ...
    @property
    def str_data(self) -> str: ...
    @str_data.setter
    def str_data(self, value: str) -> None: ...
    @property
    def special_flag_end_time_out(self) -> int: ...
    @special_flag_end_time_out.setter
    def special_flag_end_time_out(self, value: int) -> None: ...
    @property
    def enabled_special_pack_for_all_port(self) -> bool: ...
    @enabled_special_pack_for_all_port.setter
    def enabled_special_pack_for_all_port(self, value: bool) -> None: ...

def restore(type: type[Package], fields: dict[str, object]) -> Package: ...
def describe_classes() -> list[
    tuple[type[PackageBase], str, list[tuple[str, int, str, str, str]], str]
]: ...
def encode_combination(packages: list[PackageBase]) -> str: ...
def decode_combination(
    message: _Message, checked: bool, announced_data: int | None
) -> list[PackageBase]: ...
def check(
    message: _Message,
    class_name: str,
    form: int,
    direction: int,
    request: _Message | None,
    announced_data: int | None,
) -> Verdict: ...
def explain(
    message: _Message, class_name: str, form: int, direction: int
) -> list[_FieldRow]: ...
def guess(message: _Message) -> list[GuessRow]: ...
def best_guess(
    message: _Message, class_name: str | None, form: int | None, direction: int | None
) -> GuessRow | None: ...
def shape_exists(class_name: str, form: int, direction: int) -> bool: ...
def describe_shape(class_name: str, form: int, direction: int) -> str: ...

class Engine:
    def __init__(self, settings: _Settings) -> None: ...
    def send(
        self,
        package: PackageBase,
        now: float,
        timeout: float | None,
        repeat: int,
        deadline: float | None,
    ) -> tuple[int, int, str]: ...
    def send_combination(
        self,
        packages: list[PackageBase],
        now: float,
        timeout: float | None,
        repeat: int,
        deadline: float | None,
    ) -> tuple[int, int, str]: ...
    def start(
        self,
        kind: int,
        package: PackageBase,
        data: _Bytes,
        window: int,
        now: float,
        timeout: float | None,
        repeat: int,
        deadline: float | None,
    ) -> tuple[int, int, str]: ...
    def cancel(self, id: int, now: float) -> bool: ...
    def refuse(self, id: int, now: float) -> None: ...
    def link_lost(self, now: float) -> None: ...
    def take_message(self, now: float) -> tuple[int, str, int, int, bytes, float] | None: ...
    def receive(
        self, form: int, message: _Message, now: float, class_name: str | None
    ) -> None: ...
    def next_timeout(self) -> float | None: ...
    def handle_timeout(self, now: float) -> None: ...
    def take_event(self) -> _EventRow | None: ...
    def counters(self) -> dict[str, int]: ...
    def latency_percentile(self, share: float) -> float: ...
    def in_flight(self) -> int: ...
    def queued(self) -> int: ...
    def bytes_in_flight(self) -> int: ...
    def serial_numbers(self) -> int: ...
    def set_tracing(self, traces: bool) -> None: ...
    def take_trace(self, origin: float) -> list[_TraceRow]: ...

class Framing:
    def __init__(
        self, form: int, message_size: int, deadline: float, direction: int
    ) -> None: ...
    def encode(self, message: _Message) -> bytes | None: ...
    def receive(self, data: _Bytes, now: float) -> list[bytes]: ...
    def end(self) -> list[bytes]: ...
    def fault(self) -> int: ...
    def fault_text(self) -> str: ...
    def next_timeout(self) -> float | None: ...
    def handle_timeout(self, now: float) -> list[bytes]: ...
    def buffered(self) -> int: ...

class Device:
    def __init__(
        self,
        state: _Message,
        method: Callable[[], Callable[[PackageBase], None] | None] | None = None,
    ) -> None: ...
    def answer(
        self, request: _Message, class_name: str, form: int
    ) -> tuple[tuple[bytes, ...], int, Verdict, int]: ...
    def carry_out(self, request: PackageBase) -> None: ...
    def state(self) -> str: ...
    def set_state(self, state: _Message) -> None: ...
    def script_faults(self, faults: list[_Fault]) -> None: ...
    def draw_faults(self, seed: int, share: float, kinds: list[int]) -> None: ...

def pcapng_header() -> bytes: ...
